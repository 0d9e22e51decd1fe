#include "bench/workload.h"

#include <algorithm>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint64_t kReadSeed = 11, kDeleteSeed = 12, kChangeSeed = 13;
constexpr uint32_t kEnumeratedKind = 1;

uint32_t DeletedNum(const Vault& vault) {
  return vault.count() / 10 * 3;
}

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// Does `change` for each number, each on its own, and reports the median and the sum.
template <typename ChangeOne>
std::vector<double> Singly(ChangeOne change) {
  std::vector<double> seconds;
  for (uint32_t i = 0; i < kSingleChanges; ++i) {
    const Stopwatch watch;
    change(i);
    seconds.push_back(watch.seconds());
  }
  return seconds;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

double Sum(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum;
}

// The numbers of the items that are replaced, and their new bytes: the same whenever it is asked.
std::vector<uint32_t> ChangeItems(Vault* vault) {
  std::vector<uint32_t> numbers = vault->shuffled(kChangeSeed);
  numbers.resize(kSingleChanges);
  Random random(kChangeSeed);
  for (const uint32_t number : numbers) vault->change(number, &random);
  return numbers;
}

}  // namespace

void Load(Store* store, Vault* vault, const Report& report) {
  const Stopwatch watch;
  store->open();
  store->begin();
  for (uint32_t number = 0; number < vault->count(); ++number) {
    vault->setId(number, store->insert(vault->item(number)));
  }
  store->commit();
  store->close();
  report.add("load", watch.seconds());
}

void ReadOne(Store* store, Vault* vault, const Report& report) {
  const uint32_t number = vault->count() / 2;
  const Stopwatch watch;
  store->open();
  vault->verify(number, store->read(vault->item(number).id));
  report.add("open and read one", watch.seconds());
  store->close();
}

void ReadAll(Store* store, Vault* vault, const Report& report) {
  const std::vector<uint32_t> numbers = vault->shuffled(kReadSeed);
  const uint64_t before = ProcessMemory("RssAnon");
  const Stopwatch watch;
  store->open();
  for (const uint32_t number : numbers) vault->verify(number, store->read(vault->item(number).id));
  report.add("open and read all", watch.seconds());
  const auto grown = static_cast<double>(ProcessMemory("RssAnon") - before);
  report.add("memory with all read", grown);
  store->close();
}

void LookUp(Store* store, Vault* vault, const Report& report) {
  const std::vector<uint32_t> numbers = vault->shuffled(kReadSeed);
  store->open();
  const Stopwatch looking;
  for (const uint32_t number : numbers) {
    const Item item = vault->item(number);
    Require(store->lookUp(item.kind, item.userData) == item.id, "a lookup found another item");
  }
  report.add("look up all", looking.seconds());

  uint32_t wanted = 0;
  uint64_t wantedSum = 0;
  for (const uint32_t number : numbers) {
    const Item item = vault->item(number);
    if (item.kind != kEnumeratedKind) continue;
    ++wanted;
    wantedSum += item.id;
  }
  uint32_t found = 0;
  uint64_t foundSum = 0;
  const Stopwatch enumerating;
  store->enumerate(kEnumeratedKind, [&](uint32_t id) {
    ++found;
    foundSum += id;
  });
  report.add("enumerate one kind", enumerating.seconds());
  Require(found == wanted && foundSum == wantedSum, "an enumeration found other items");
  store->close();
}

void Change(Store* store, Vault* vault, const Report& report) {
  store->open();
  const std::vector<double> inserts = Singly([&](uint32_t i) {
    const uint32_t number = vault->count() + i;
    vault->setId(number, store->insert(vault->item(number)));
  });
  const std::vector<uint32_t> numbers = ChangeItems(vault);
  const std::vector<double> replacements = Singly([&](uint32_t i) {
    const Item item = vault->item(numbers[i]);
    store->replace(item.id, item.bytes);
  });
  report.add("first insert after an open", inserts.front());
  report.add("single insert", Median(inserts));
  report.add("50 single inserts", Sum(inserts));
  report.add("single replacement", Median(replacements));
  report.add("50 single replacements", Sum(replacements));
  store->close();
}

void Delete(Store* store, Vault* vault, const Report& report) {
  const std::vector<uint32_t> numbers = vault->shuffled(kDeleteSeed);
  store->open();
  const Stopwatch watch;
  store->begin();
  for (uint32_t i = 0; i < DeletedNum(*vault); ++i) store->remove(vault->item(numbers[i]).id);
  store->commit();
  store->close();
  report.add("delete 30% and close", watch.seconds());
}

void Verify(Store* store, Vault* vault, const Report&) {
  ChangeItems(vault);
  std::vector<uint32_t> numbers = vault->shuffled(kDeleteSeed);
  for (uint32_t i = 0; i < kSingleChanges; ++i) numbers.push_back(vault->count() + i);
  store->open();
  for (uint32_t i = 0; i < numbers.size(); ++i) {
    const Item item = vault->item(numbers[i]);
    const bool deleted = i < DeletedNum(*vault);
    Require(store->lookUp(item.kind, item.userData) == (deleted ? 0 : item.id),
            "a lookup is wrong after a delete");
    if (deleted) {
      Require(store->read(item.id).data() == nullptr, "a deleted item is still there");
    } else {
      vault->verify(numbers[i], store->read(item.id));
    }
  }
  store->close();
}

void LargeItem(Store* store, const std::string& bytes, const Report& report) {
  const uint64_t checksum = Checksum(bytes);
  const Stopwatch watch;
  store->open();
  const uint32_t id = store->insert({1, 1, "a large item", bytes});
  store->close();
  store->open();
  const std::string_view back = store->read(id);
  const double seconds = watch.seconds();
  Require(back.size() == bytes.size() && Checksum(back) == checksum, "a large item came back wrong");
  report.add(("item of " + std::to_string(bytes.size()) + " bytes").c_str(), seconds);
  store->close();
}

}  // namespace bench
