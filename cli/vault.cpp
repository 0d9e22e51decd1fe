#include "cli/vault.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "cli/failure.h"
#include "cli/progress.h"
#include "cli/text.h"
#include "cli/unlisted.h"
#include "storage/result.h"

namespace cli {

namespace {

constexpr int kDraws = 8;  // a draw fails once in four thousand million times

const PmChar* UserData(const std::optional<PmString>& name) {
  return name ? name->c_str() : nullptr;
}

}  // namespace

Vault::Vault(const VaultPath& path, Opening opening)
    : path_(path), isNew_(!platform::Exists(path.file.c_str())), setAside_(path.setAside()) {
  if (!isNew_) {
    const Image image(path);
    image.requireSound();
    RequireAllNamed(image);
  } else if (opening == Opening::kExisting) {
    throw Failure(ExitCode::kMissing, fmt::format("there is no vault {}", path_.shown));
  }
  std::srand(std::random_device{}());  // item IDs are drawn from rand()
  if (InitPmTotalDataController() == 0) throw Failure(ExitCode::kIoError, "not enough memory");
  handle_ = OpenDataBaseFile(path.file.c_str());
  if (handle_ == nullptr) {
    const std::string reason = call_.reason();
    ReleasePmTotalDataController();
    throw Failure(
        ExitCode::kIoError,
        fmt::format("cannot open {} for reading and writing{}", path_.shown, WhyRefused(path, reason)),
        "Check that its folder exists, that you may write there, and that the path has at most 255 "
        "characters.");
  }
  isNew_ = isNew_ && platform::SizeOf(path.file.c_str()) == 0;
  PmStartTransaction();
}

void Vault::refuse(int32_t result, const std::string& doing) const {
  const std::string reason = call_.reason();
  if (result != storage::kCannotOpen && result != storage::kWriteFailed) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("{}: cannot {}: the library gives {}", path_.shown, doing, result),
                  "Nothing was changed: what was begun is dropped.");
  }
  throw Failure(
      ExitCode::kIoError, fmt::format("{}: cannot {}{}", path_.shown, doing, WhyRefused(path_, reason)),
      isNew_ ? "What was begun is removed again."
             : fmt::format("The vault is as it was before, or as it should be now; \"pmstore ls\" shows "
                           "which. Its journal {} and its backup {} have to be made beside it.",
                           path_.journalShown, path_.backupShown));
}

Vault::~Vault() {
  if (!isNew_) return;
  ReleasePmTotalDataController();
  platform::Remove(path_.file.c_str());
  platform::Remove(path_.backup.c_str());
}

uint32_t Vault::find(uint32_t kind, const PmString& name) const {
  return GetItemIDByUserdata(handle_, kind, name.c_str());
}

void Vault::store(uint32_t id, const Bytes& bytes) {
  static const uint8_t kNothing = 0;
  const void* data = bytes.empty() ? &kNothing : bytes.data();
  const int32_t result = InserItemToDataBase(handle_, id, data, static_cast<uint32_t>(bytes.size()), 0);
  toWrite_ += uint64_t{storage::PacketsFor(static_cast<uint32_t>(bytes.size()))} * storage::kBlockSize;
  if (result != storage::kOk) refuse(result, fmt::format("store item {}", IdText(id)));
}

uint32_t Vault::add(uint32_t kind, const std::optional<PmString>& name, const Bytes& bytes) {
  uint32_t id = 0;
  for (int i = 0; i < kDraws && id == 0; ++i) id = CreateNewItemID(handle_, kind, UserData(name));
  if (id == 0) throw Failure(ExitCode::kRefused, fmt::format("{}: no ID for a new item", path_.shown));
  store(id, bytes);
  return id;
}

void Vault::add(uint32_t id, uint32_t kind, const std::optional<PmString>& name, const Bytes& bytes) {
  if (RetainID(handle_, id, kind, UserData(name)) == 0) {
    throw Failure(ExitCode::kRefused, fmt::format("{}: the ID {} is in use", path_.shown, IdText(id)));
  }
  store(id, bytes);
}

void Vault::replace(uint32_t id, const Bytes& bytes) {
  store(id, bytes);
}

void Vault::remove(uint32_t id) {
  int32_t result = DeleteItemFromDataBase(handle_, id, 0);
  // An item of no bytes has nothing in the file to delete until it is stored again.
  if (result == storage::kNoItem) {
    store(id, {});
    result = DeleteItemFromDataBase(handle_, id, 0);
  }
  if (result != storage::kOk) refuse(result, fmt::format("delete item {}", IdText(id)));
}

void Vault::removeUnlisted(uint32_t id) {
  add(id, 0, std::nullopt, {});
  remove(id);
}

void Vault::commit(Console& console) {
  const WriteProgress progress(console, {path_.file, path_.journal}, toWrite_);
  call_ = SystemCall();
  if (const int32_t result = PmStopTransaction(); result != storage::kOk) refuse(result, "write the changes");
  if (const int32_t result = CloseDataBaseFile(handle_); result != storage::kOk)
    refuse(result, "close the vault");
  isNew_ = false;
  ReleasePmTotalDataController();
  for (const std::string& file : path_.setAside()) {
    if (std::find(setAside_.begin(), setAside_.end(), file) == setAside_.end())
      console.warn(
          "{} was set aside, since it is of another state of the vault; \"pmstore check {}\" says what to do",
          file, ForShell(path_.shown));
  }
}

std::string WhyRefused(const VaultPath& path, const std::string& reason) {
  for (const PmString& file : {path.journal, path.newJournal, path.backup}) {
    std::error_code ignored;
    if (std::filesystem::is_directory(std::filesystem::u8path(ToUtf8(file)), ignored)) {
      return fmt::format(": {} is a folder, where the vault's {} has to stand", ToUtf8(file),
                         file == path.backup ? "backup" : "journal");
    }
  }
  if (!reason.empty()) return reason;
  return ": another program has changed it since it was opened, or holds one of its files";
}

}  // namespace cli
