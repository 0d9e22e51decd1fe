#include "bench/shareduserdata.h"

#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

#include "bench/vault.h"
#include "pmstore.h"

namespace bench {

namespace {

constexpr uint32_t kKind = 1;

void Require(bool holds) {
  if (!holds) throw std::runtime_error("pmstore fails when user data is shared");
}

std::vector<std::u16string> UserData(bool shared) {
  std::vector<std::u16string> all;
  for (uint32_t number = 0; number < kSharing; ++number) {
    const std::string text = "account-" + std::to_string(kSharing + (shared ? 0 : number));
    all.emplace_back(text.begin(), text.end());
  }
  return all;
}

std::vector<uint32_t> Shuffled(uint64_t seed) {
  std::vector<uint32_t> numbers(kSharing);
  std::iota(numbers.begin(), numbers.end(), 0U);
  Random random(seed);
  for (uint32_t left = kSharing; left > 1; --left) std::swap(numbers[left - 1], numbers[random.below(left)]);
  return numbers;
}

// The item of a number has the ID one above.
void Fill(DataBaseHandle* handle, const std::vector<std::u16string>& userData) {
  const char bytes[16] = {};
  for (uint32_t number = 0; number < kSharing; ++number) {
    Require(RetainID(handle, number + 1, kKind, userData[number].c_str()) == 1);
    Require(InserItemToDataBase(handle, number + 1, bytes, sizeof bytes, 0) == 0);
  }
}

void LookUpAll(DataBaseHandle* handle, const std::vector<std::u16string>& userData,
               const std::vector<uint32_t>& numbers) {
  for (const uint32_t number : numbers)
    Require(GetItemIDByUserdata(handle, kKind, userData[number].c_str()) != 0);
}

void DeleteAll(DataBaseHandle* handle, const std::vector<std::u16string>& userData,
               const std::vector<uint32_t>& numbers) {
  for (uint32_t i = 0; i < kSharing; ++i) {
    const uint32_t id =
        i < kSharing / 2 ? numbers[i] + 1 : GetItemIDByUserdata(handle, kKind, userData[numbers[i]].c_str());
    Require(DeleteItemFromDataBase(handle, id, 0) == 0);
  }
}

}  // namespace

void MeasureSharedUserData(bool shared, const Report& report) {
  const std::vector<std::u16string> userData = UserData(shared);
  Require(InitPmTotalDataController() == 1);
  DataBaseHandle* handle = OpenDataBaseFile(u"vault");
  Require(handle != nullptr && PmStartTransaction() == 0);
  Fill(handle, userData);
  const std::vector<uint32_t> numbers = Shuffled(kSharing);
  const Stopwatch looking;
  LookUpAll(handle, userData, numbers);
  report.add(shared ? "look up, shared" : "look up, distinct", looking.seconds());
  const Stopwatch deleting;
  DeleteAll(handle, userData, numbers);
  report.add(shared ? "delete, shared" : "delete, distinct", deleting.seconds());
  Require(GetItemCount(handle, kKind) == 0 && PmStopTransaction() == 0 && CloseDataBaseFile(handle) == 0);
  ReleasePmTotalDataController();
}

}  // namespace bench
