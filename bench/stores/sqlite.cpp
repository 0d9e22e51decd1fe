// SQLite with either journal, every commit flushed: one table whose IDs the store assigns, and a unique index;
// prepared statements; a batch of reads is one read transaction. What its documentation says makes it faster
// and changes no promise is set: no locks between threads, no memory statistics, names in UTF-16 as they arrive,
// larger pages for larger values, the file mapped, its lock kept. The distribution builds it to overwrite what
// is deleted; that is switched off, as no other store here does it.
#include <sqlite3.h>

#include <stdexcept>

#include "bench/store.h"

namespace bench {

namespace {

constexpr const char* kSchema =
    "BEGIN;CREATE TABLE IF NOT EXISTS items(id INTEGER PRIMARY KEY, kind INTEGER NOT NULL, name TEXT NOT "
    "NULL,"
    " bytes BLOB NOT NULL);"
    "CREATE UNIQUE INDEX IF NOT EXISTS names ON items(kind, name);COMMIT";

class Sqlite final : public Store {
 public:
  explicit Sqlite(bool writeAheadLog) : writeAheadLog_(writeAheadLog) {}

  void open() override {
    sqlite3_config(SQLITE_CONFIG_SINGLETHREAD);
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    check(sqlite3_open("vault", &db_));
    execute("PRAGMA encoding='UTF-16le'");
    execute("PRAGMA page_size=8192");
    execute("PRAGMA mmap_size=2147418112");
    execute("PRAGMA locking_mode=EXCLUSIVE");
    execute(writeAheadLog_ ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE");
    execute("PRAGMA synchronous=FULL");
    execute("PRAGMA secure_delete=OFF");
    execute(kSchema);
    insert_ = prepare("INSERT INTO items(kind, name, bytes) VALUES(?,?,?)");
    replace_ = prepare("UPDATE items SET bytes=?2 WHERE id=?1");
    remove_ = prepare("DELETE FROM items WHERE id=?");
    read_ = prepare("SELECT bytes FROM items WHERE id=?");
    lookUp_ = prepare("SELECT id FROM items WHERE kind=? AND name=?");
    enumerate_ = prepare("SELECT id FROM items WHERE kind=?");
  }

  void close() override {
    for (sqlite3_stmt* statement : {insert_, replace_, remove_, read_, lookUp_, enumerate_}) {
      sqlite3_finalize(statement);
    }
    check(sqlite3_close(db_));
  }

  void begin() override { execute("BEGIN"); }
  void commit() override { execute("COMMIT"); }

  uint32_t insert(const Item& item) override {
    sqlite3_bind_int64(insert_, 1, item.kind);
    bindName(insert_, 2, item.userData);
    bindBytes(insert_, 3, item.bytes);
    run(insert_);
    return static_cast<uint32_t>(sqlite3_last_insert_rowid(db_));
  }

  void replace(uint32_t id, std::string_view bytes) override {
    sqlite3_bind_int64(replace_, 1, id);
    bindBytes(replace_, 2, bytes);
    run(replace_);
  }

  void remove(uint32_t id) override {
    sqlite3_bind_int64(remove_, 1, id);
    run(remove_);
  }

  void beginReading() override { execute("BEGIN"); }

  void endReading() override {
    sqlite3_reset(read_);
    execute("COMMIT");
  }

  std::string_view read(uint32_t id) override {
    sqlite3_reset(read_);
    sqlite3_bind_int64(read_, 1, id);
    if (sqlite3_step(read_) != SQLITE_ROW) return {};
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(read_, 0));
    return {bytes, static_cast<size_t>(sqlite3_column_bytes(read_, 0))};
  }

  uint32_t lookUp(uint32_t kind, std::u16string_view userData) override {
    sqlite3_bind_int64(lookUp_, 1, kind);
    bindName(lookUp_, 2, userData);
    const int step = sqlite3_step(lookUp_);
    const auto id = step == SQLITE_ROW ? static_cast<uint32_t>(sqlite3_column_int64(lookUp_, 0)) : 0;
    sqlite3_reset(lookUp_);
    return id;
  }

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    sqlite3_bind_int64(enumerate_, 1, kind);
    while (sqlite3_step(enumerate_) == SQLITE_ROW)
      visit(static_cast<uint32_t>(sqlite3_column_int64(enumerate_, 0)));
    sqlite3_reset(enumerate_);
  }

 private:
  void check(int result) {
    if (result != SQLITE_OK) throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(db_));
  }

  void execute(const char* sql) { check(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr)); }

  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return statement;
  }

  void bindName(sqlite3_stmt* statement, int place, std::u16string_view name) {
    const auto size = static_cast<int>(name.size() * sizeof(char16_t));
    check(sqlite3_bind_text16(statement, place, name.data(), size, SQLITE_STATIC));
  }

  void bindBytes(sqlite3_stmt* statement, int place, std::string_view bytes) {
    check(sqlite3_bind_blob(statement, place, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC));
  }

  void run(sqlite3_stmt* statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) check(SQLITE_ERROR);
    check(sqlite3_reset(statement));
  }

  const bool writeAheadLog_;
  sqlite3* db_ = nullptr;
  sqlite3_stmt *insert_ = nullptr, *replace_ = nullptr, *remove_ = nullptr;
  sqlite3_stmt *read_ = nullptr, *lookUp_ = nullptr, *enumerate_ = nullptr;
};

}  // namespace

std::unique_ptr<Store> NewSqlite(bool writeAheadLog) {
  return std::make_unique<Sqlite>(writeAheadLog);
}

}  // namespace bench
