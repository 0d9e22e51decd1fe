#include "tests/faults/session.h"

#include <random>

namespace fs = std::filesystem;

Bytes Blank(Bytes file) {
  for (size_t at = 0; at + vault::kBlock <= file.size(); at += vault::kBlock) {
    if (file[at + 1] != 2) continue;
    std::fill_n(file.begin() + static_cast<ptrdiff_t>(at), vault::kBlock, uint8_t{0});
    file[at + 1] = 2;
  }
  return file;
}

std::string Describe(const States& states) {
  std::string text;
  for (const Bytes& file : states) {
    text += " [";
    for (size_t at = 0; at + vault::kBlock <= file.size(); at += vault::kBlock) {
      const uint32_t sum = vault::Checksum(&file[at], vault::kBlock) % 1000;
      text += file[at + 1] == 2
                  ? "free "
                  : std::to_string(vault::Get(&file[at + 12])) + "." +
                        std::to_string(vault::Get(&file[at + 2], 2)) + "#" + std::to_string(sum) + " ";
    }
    text += "]";
  }
  return text;
}

void CopyVault(const fs::path& from, const fs::path& to) {
  const auto copy = [](const fs::path& source, const fs::path& target) {
    fs::remove(target);
    if (fs::exists(source)) fs::copy_file(source, target);
  };
  copy(from, to), copy(JournalOf(from), JournalOf(to)), copy(BackupOf(from), BackupOf(to));
}

std::string Judge(const fs::path& path, Opening opening, const States& states) {
  const PmString name = Pm(path);
  // A journal that could not be removed was emptied.
  const bool hasJournal = !ReadBytes(JournalOf(path)).value_or(Bytes()).empty(),
             left = hasJournal || fs::exists(BackupOf(path));
  const bool restored = opening == Opening::kRestore && PmRestoreBackupFile(name.c_str()) == 0;
  if (opening == Opening::kRestore && left != restored)
    return path.filename().string() + (left ? " is not restored" : " is restored from nothing");
  DataBaseHandle* handle = OpenDataBaseFile(name.c_str());
  if (handle == nullptr) return path.filename().string() + " does not open";
  if (restored) CloseDataBaseFile(handle);
  Model found;
  found.disk = ReadBytes(path).value_or(Bytes());
  std::string wrong;
  if (states.count(Blank(found.disk)) == 0)
    wrong = "found" + Describe({found.disk}) + ", expected" + Describe(states);
  // A restore that had not happened leaves the backup that it needs.
  const Bytes backup = ReadBytes(BackupOf(path)).value_or(Bytes());
  if (hasJournal && backup != found.disk && states.count(Blank(backup)) == 0)
    wrong += " the backup is no state";
  found.open();
  wrong += found.differences(handle);
  CloseDataBaseFile(handle);
  if (wrong.empty()) wrong = vault::Fault(ReadBytes(path).value_or(Bytes(1)));
  for (const auto& entry : fs::directory_iterator(path.parent_path())) {
    const std::string beside = entry.path().filename();
    if (beside.rfind("." + path.filename().string(), 0) == 0) wrong += " left behind: " + beside;
  }
  return wrong;
}

Session::Call Session::begin() const {
  Call call{};
  call.firstChange = changes_ != nullptr ? changes_->size() : 0;
  for (int v = 0; v < kVaults; ++v) call.during[v] = vaults_[v].states;
  return call;
}

void Session::end(Call call) {
  call.endChange = changes_ != nullptr ? changes_->size() : 0;
  for (int v = 0; v < kVaults; ++v) {
    call.after[v] = vaults_[v].states;
    call.during[v].insert(call.after[v].begin(), call.after[v].end());
  }
  calls_.push_back(std::move(call));
}

void Session::dropDoubles(std::vector<Model>* models) {
  std::set<std::string> traces;
  const auto isDouble = [&](const Model& model) { return !traces.insert(model.trace()).second; };
  models->erase(std::remove_if(models->begin(), models->end(), isDouble), models->end());
}

// Makes a call. Each model goes two ways: all is written, or nothing can be. What the library answers, and whether
// anything failed in this call or since the last that told, says which of them it went.
void Session::call(int v, const std::function<int32_t()>& library,
                   const std::function<int32_t(Model&)>& model) {
  if (!isOpen(v)) return;
  Vault& vault = vaults_[v];
  uint32_t noSuchId = 1000;
  seam::suspended = true;
  PmGetItemPtrByID(vault.handle, &noSuchId);  // makes the vault the current one
  seam::suspended = false;
  Call call = begin();
  std::vector<Model> written = vault.models, unwritten = vault.models;
  int32_t whenWritten = 0, whenNot = 0;
  bool writes = false, allWrite = true;
  States reached;
  for (Model& m : written) {
    const int before = m.writes;
    whenWritten = model(m);
    writes |= m.writes != before;
    allWrite &= m.writes != before;
    reached.insert(Blank(m.recovered()));
  }
  for (Model& m : unwritten) {
    m.refused = true;
    whenNot = model(m);
    m.refused = false;
  }

  const int before = seam::struck;
  const int32_t result = library();
  const bool struck = seam::struck != before;
  vault.doubtful |= struck;
  if (result == whenWritten && (result == whenNot ? !writes || !vault.doubtful : true)) {
    vault.models = written;
    if (writes) vault.states = reached;
    if (allWrite && !struck) tellApart(v);
  } else {
    EXPECT_TRUE(vault.doubtful) << "the result is " << result;
    EXPECT_TRUE(result == -1 || result == -2 || result == -4 || result == whenNot) << result;
    if (writes) vault.states.insert(reached.begin(), reached.end());
    if (result != -1) vault.models = unwritten;
    if (result == whenWritten) vault.models.insert(vault.models.end(), written.begin(), written.end());
    dropDoubles(&vault.models);
  }
  call.during[v].insert(reached.begin(), reached.end());
  end(std::move(call));
}

// All is written: of the models stay those whose data file this is.
void Session::tellApart(int v) {
  Vault& vault = vaults_[v];
  seam::suspended = true;
  const Bytes file = ReadBytes(path(v)).value_or(Bytes());
  seam::suspended = false;
  States expected;
  std::vector<Model> fitting;
  for (const Model& model : vault.models) {
    expected.insert(model.disk);
    Model anew = model;  // a table that could not be read is written anew
    if (vault.doubtful) anew.saveTableAnew();
    for (const Model& one : {model, anew}) {
      if (one.disk == file && fitting.empty()) fitting.push_back(one);
    }
  }
  EXPECT_FALSE(fitting.empty()) << "the file is" << Describe({file}) << ", expected" << Describe(expected);
  if (!fitting.empty()) vault.models = fitting;
  vault.states = {Blank(vault.models.front().recovered())};
  vault.doubtful = false;
}

void Session::open(int v, Opening opening) {
  if (isOpen(v)) return;
  Vault& vault = vaults_[v];
  Call call = begin();
  const PmString name = Pm(path(v));
  const int before = seam::struck;
  const bool restored = opening == Opening::kRestore && PmRestoreBackupFile(name.c_str()) == 0;
  vault.handle = OpenDataBaseFile(name.c_str());
  if (restored) CloseDataBaseFile(vault.handle);
  vault.failedFlushes = seam::failedFlushes[path(v)];  // a recovery that failed writes all anew the next time
  const bool struck = seam::struck != before;
  EXPECT_TRUE(struck || isOpen(v)) << "it does not open";
  if (isOpen(v)) {
    seam::suspended = true;
    Model model;
    model.disk = ReadBytes(path(v)).value_or(Bytes());
    const Bytes found = Blank(model.disk);
    model.open();
    const std::string differences = model.differences(vault.handle);
    if (struck && (vault.states.count(found) == 0 || !differences.empty()))
      return openedToRead(v, std::move(call));
    EXPECT_EQ(vault.states.count(found), 1u)
        << "found" << Describe({found}) << ", expected" << Describe(vault.states);
    EXPECT_EQ(differences, "");
    seam::suspended = false;
    vault.models = {model};
    vault.doubtful = struck;
    if (!struck) vault.states = {found};
  }
  end(std::move(call));
}

// The journal could not be carried out and lies over the file: what is read is one of the states.
void Session::openedToRead(int v, Call call) {
  const auto isRead = [&](const Bytes& state) {
    Model model;
    model.disk = state;
    model.open();
    return model.differences(vaults_[v].handle).empty();
  };
  const States& states = vaults_[v].states;
  EXPECT_TRUE(std::any_of(states.begin(), states.end(), isRead)) << "expected" << Describe(states);
  EXPECT_EQ(CloseDataBaseFile(vaults_[v].handle), 0);
  vaults_[v].handle = nullptr;
  seam::suspended = false;
  end(std::move(call));
}

// What a crash while a vault is being closed may leave, besides what it was.
States Session::closing(const Vault& vault, bool canFail) {
  States states;
  for (const Model& model : vault.models) {
    for (const Bytes& file : model.statesOfClose(canFail)) states.insert(Blank(file));
  }
  return states;
}

// Behind a close during which nothing failed stands the last of these states. Beside it stands nothing, unless the
// data file could not be flushed at some time: then journal and backup have to stay.
void Session::closed(int v, bool struck, Call* call) {
  Vault& vault = vaults_[v];
  const States between = closing(vault, struck || vault.doubtful);
  vault.states.insert(between.begin(), between.end());
  call->during[v].insert(between.begin(), between.end());
  vault.handle = nullptr;
  if (struck || vault.doubtful) return;
  seam::suspended = true;
  vault.models.front().opens = 1;
  vault.models.front().close();
  const Bytes file = ReadBytes(path(v)).value_or(Bytes());
  EXPECT_EQ(Describe({file}), Describe({vault.models.front().disk}));
  const bool isFlushed = seam::failedFlushes[path(v)] == vault.failedFlushes;
  EXPECT_EQ(fs::exists(JournalOf(path(v))), !isFlushed);
  EXPECT_EQ(fs::exists(BackupOf(path(v))), !isFlushed);
  vault.states = {Blank(file)};
  seam::suspended = false;
}

void Session::close(int v) {
  if (!isOpen(v)) return;
  Call call = begin();
  const int before = seam::struck;
  EXPECT_EQ(CloseDataBaseFile(vaults_[v].handle), 0);
  closed(v, seam::struck != before, &call);
  end(std::move(call));
}

void Session::takeDown() {
  Call call = begin();
  const int before = seam::struck;
  ReleasePmTotalDataController();
  const bool struck = seam::struck != before;
  seam::suspended = true;
  EXPECT_EQ(InitPmTotalDataController(), 1);
  seam::suspended = false;
  for (int v = 0; v < kVaults; ++v) {
    if (!isOpen(v)) continue;
    closed(v, struck, &call);
  }
  end(std::move(call));
}

void Session::insert(int v, uint32_t id, size_t size, bool syncNow, size_t userDataLength) {
  if (!isOpen(v)) return;
  DataBaseHandle* handle = vaults_[v].handle;
  const Bytes bytes = newBytes(size);
  const Model& model = vaults_[v].models.front();
  if (model.find(id) == nullptr && model.pending.count(id) == 0) {
    std::optional<PmString> userData;
    if (userDataLength != 0) userData = PmString(userDataLength, static_cast<PmChar>('a' + id));
    if (RetainID(handle, id, 1 + id % 2, userData ? userData->c_str() : nullptr) != 1) return;
    for (Model& m : vaults_[v].models) m.pending[id] = {{0, 0}, 1 + id % 2, id, userData};
  }
  const auto library = [&] {
    return InserItemToDataBase(handle, id, bytes.data(), static_cast<uint32_t>(size), syncNow);
  };
  call(v, library, [&](Model& m) { return m.insert(id, bytes, syncNow); });
}

void Session::modify(int v, uint32_t id, int32_t offset, size_t size, bool syncNow) {
  const Bytes bytes = newBytes(size);
  const auto library = [&] {
    return PmModifyItem(vaults_[v].handle, id, bytes.data(), offset, static_cast<uint32_t>(size), syncNow);
  };
  call(v, library, [&](Model& m) { return m.modify(id, bytes, offset, syncNow); });
}

void Session::remove(int v, uint32_t id, bool syncNow) {
  const auto library = [&] { return DeleteItemFromDataBase(vaults_[v].handle, id, syncNow); };
  call(v, library, [&](Model& m) { return m.remove(id, syncNow); });
}

void Session::read(int v, uint32_t id) {
  if (!isOpen(v)) return;
  const int before = seam::struck;
  const bool found = PmGetItemPtrByID(vaults_[v].handle, &id) != nullptr;
  if (seam::struck != before && !found) return;
  for (Model& m : vaults_[v].models) m.get(id);
}

void Session::stop(int v) {
  call(v, PmStopTransaction, &Model::stop);
  for (Model& m : vaults_[v].models) m.inTransaction = false;  // whatever the result
}

void Session::draw(uint32_t seed, int calls) {
  std::mt19937 random(seed);
  const auto draw = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  constexpr size_t kSizes[] = {0, 1, 500, 999, 1000, 1001, 1500, 2000, 2001, 3000, 3300, 4999};
  for (int i = 0; i < calls; ++i) {
    const int v = draw(6) == 0 ? 1 : 0;
    const uint32_t id = 1 + draw(6), what = draw(12);
    const bool syncNow = draw(3) == 0;
    const size_t size = kSizes[draw(std::size(kSizes))];
    open(v, draw(2) == 0 ? Opening::kPlain : Opening::kRestore);
    if (what == 0) start(v);
    if (what == 1) stop(v);
    if (what == 2) sync(v);
    if (what == 3) close(v);
    if (what == 4 || what == 5) remove(v, id, syncNow);
    if (what == 6) read(v, id);
    if (what == 7) modify(v, id, static_cast<int32_t>(draw(2200)) - 1, size, syncNow);
    if (what >= 8) insert(v, id, size, syncNow, draw(4) == 0 ? 1 + draw(600) : 0);
  }
}
