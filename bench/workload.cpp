#include "bench/workload.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint64_t kReadSeed = 11, kDeleteSeed = 12, kChangeSeed = 13, kManyChangeSeed = 14;
constexpr uint32_t kEnumeratedKind = 1;

uint32_t DeletedNum(const Vault& vault) {
  return vault.count() / 10 * 3;
}

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// The seconds of each of `count` changes.
template <typename ChangeOne>
std::vector<double> Singly(uint32_t count, const Turn& turn, ChangeOne change) {
  std::vector<double> seconds;
  for (uint32_t i = 0; i < count; ++i) {
    if (i % kChangesATurn == 0) turn.take();
    const Stopwatch watch;
    change(i);
    seconds.push_back(watch.seconds());
    if ((i + 1) % kChangesATurn == 0) turn.give();
  }
  return seconds;
}

// The numbers of the items that are replaced, and their new bytes: the same whenever it is asked.
std::vector<uint32_t> ChangeItems(Vault* vault, uint64_t seed, uint32_t count) {
  std::vector<uint32_t> numbers = vault->shuffled(seed);
  numbers.resize(count);
  Random random(seed);
  for (const uint32_t number : numbers) vault->change(number, &random);
  return numbers;
}

std::vector<double> Replace(Store* store, Vault* vault, uint64_t seed, uint32_t count, const Turn& turn) {
  const std::vector<uint32_t> numbers = ChangeItems(vault, seed, count);
  return Singly(count, turn, [&](uint32_t i) {
    const Item item = vault->item(numbers[i]);
    store->replace(item.id, item.bytes);
  });
}

double Sum(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0);
}

double Worst(const std::vector<double>& values) {
  return *std::max_element(values.begin(), values.end());
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
  store->beginReading();
  vault->verify(number, store->read(vault->item(number).id));
  report.add("open and read one", watch.seconds());
  store->endReading();
  store->close();
}

void ReadAll(Store* store, Vault* vault, const Report& report) {
  const std::vector<uint32_t> numbers = vault->shuffled(kReadSeed);
  const uint64_t before = ProcessMemory("RssAnon");
  const Stopwatch watch;
  store->open();
  store->beginReading();
  for (const uint32_t number : numbers) vault->verify(number, store->read(vault->item(number).id));
  report.add("open and read all", watch.seconds());
  const auto grown = static_cast<double>(ProcessMemory("RssAnon") - before);
  report.add("memory with all read", grown);
  store->endReading();
  store->close();
}

void LookUp(Store* store, Vault* vault, const Report& report) {
  const std::vector<uint32_t> numbers = vault->shuffled(kReadSeed);
  store->open();
  store->beginReading();
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
  store->endReading();
  store->close();
}

void Change(Store* store, Vault* vault, const Report& report, const Turn& turn) {
  turn.take();
  store->open();
  turn.give();
  const std::vector<double> inserts = Singly(kSingleChanges, turn, [&](uint32_t i) {
    const uint32_t number = vault->count() + i;
    vault->setId(number, store->insert(vault->item(number)));
  });
  const std::vector<double> replacements = Replace(store, vault, kChangeSeed, kSingleChanges, turn);
  report.add("single insert", Quantile(inserts, 0.5));
  report.add("worst of 50 single inserts", Worst(inserts));
  report.add("50 single inserts", Sum(inserts));
  report.add("single replacement", Quantile(replacements, 0.5));
  report.add("worst of 50 single replacements", Worst(replacements));
  report.add("50 single replacements", Sum(replacements));
  turn.take();
  store->close();
  turn.give();
}

void ChangeMany(Store* store, Vault* vault, const Report& report) {
  store->open();
  const std::vector<double> seconds = Replace(store, vault, kManyChangeSeed, kManyChanges, Turn());
  report.add("1,000 single replacements", Sum(seconds));
  report.add("99th percentile of 1,000 replacements / median",
             Quantile(seconds, 0.99) / Quantile(seconds, 0.5));
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

void Verify(Store* store, Vault* vault, const Report& report) {
  ChangeItems(vault, kChangeSeed, kSingleChanges);
  ChangeItems(vault, kManyChangeSeed, kManyChanges);
  std::vector<uint32_t> numbers = vault->shuffled(kDeleteSeed);
  for (uint32_t i = 0; i < kSingleChanges; ++i) numbers.push_back(vault->count() + i);
  store->open();
  store->beginReading();
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
  store->endReading();
  store->close();
  numbers.erase(numbers.begin(), numbers.begin() + DeletedNum(*vault));
  report.add("least size after the delete", static_cast<double>(vault->leastSize(numbers)));
}

void LargeItem(Store* store, const std::string& bytes, const Report& report) {
  const uint64_t checksum = Checksum(bytes);
  const Stopwatch watch;
  store->open();
  const uint32_t id = store->insert({1, 1, u"a large item", bytes});
  store->close();
  store->open();
  store->beginReading();
  const std::string_view back = store->read(id);
  const double seconds = watch.seconds();
  Require(back.size() == bytes.size() && Checksum(back) == checksum, "a large item came back wrong");
  report.add(("item of " + std::to_string(bytes.size()) + " bytes").c_str(), seconds);
  store->endReading();
  store->close();
}

}  // namespace bench
