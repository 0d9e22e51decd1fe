// bench_peers FOLDER RESULTS N:REPETITIONS... - the vault workload against every store, results appended to a
// file.
//
// Stores take turns within a repetition and the first of them changes from one to the next; every phase of
// every store runs in a process of its own, in the store's own folder. Single changes take turns ten by ten.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "bench/limits.h"
#include "bench/measure.h"
#include "bench/shareduserdata.h"
#include "bench/store.h"
#include "bench/turns.h"
#include "bench/vault.h"
#include "bench/workload.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

struct Peer {
  const char* name;
  std::unique_ptr<Store> (*make)();
};

constexpr Peer kPeers[] = {
    {"pmstore", NewPmstore},
    {"sqlite", [] { return NewSqlite(false); }},
    {"sqlite-wal", [] { return NewSqlite(true); }},
    {"lmdb", [] { return NewLmdb(false); }},
    {"lmdb-map", [] { return NewLmdb(true); }},
    {"leveldb", NewLevelDb},
    {"tkrzw", NewTkrzw},
};
constexpr uint32_t kPeerNum = sizeof kPeers / sizeof kPeers[0];

constexpr int kReadRuns = 3;  // cheap phases run several times in a repetition
constexpr size_t kLargeItem = 65535000;

// The bytes of all files of a folder; holes take none.
uint64_t FolderBytes(const char* folder) {
  uint64_t bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    struct stat status;
    if (!entry.is_regular_file() || stat(entry.path().c_str(), &status) != 0) continue;
    bytes += std::min<uint64_t>(static_cast<uint64_t>(status.st_size),
                                static_cast<uint64_t>(status.st_blocks) * 512);
  }
  return bytes;
}

void EmptyFolder() {
  for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry.path());
}

// A store with its vault, in a folder of its own.
class Contender {
 public:
  Contender(const Peer& peer, uint32_t count, uint32_t repetition, std::FILE* results)
      : peer_(peer),
        vault_(count, kSingleChanges),
        report_(results, {count, repetition, peer.name}),
        machine_(results, {count, repetition, "machine"}) {
    fs::create_directory(peer.name);
  }

  const Vault& vault() const { return vault_; }

  void loadAndRead() {
    run(Load, "peak memory, load");
    report_.add("bytes on disk", static_cast<double>(FolderBytes(peer_.name)));
    if (peer_.make == NewPmstore) {
      for (int i = 0; i < kReadRuns; ++i) RunInChild([&] { measureReading(); });
    }
    for (int i = 0; i < kReadRuns; ++i) {
      run(ReadOne);
      run(ReadAll, "peak memory, read all");
      run(LookUp);
    }
  }

  void change(const Turn& turn) {
    fs::current_path(peer_.name);
    Change(peer_.make().get(), &vault_, report_, turn);
  }

  void changeManyAndDelete() {
    run(ChangeMany);
    run(Delete, "peak memory, delete");
    report_.add("bytes on disk after the delete", static_cast<double>(FolderBytes(peer_.name)));
    run(Verify);
    fs::remove_all(peer_.name);
  }

 private:
  void run(Phase phase, const char* memoryStep = nullptr) {
    RunInChild([&] {
      fs::current_path(peer_.name);
      const uint64_t before = ProcessMemory("VmRSS");
      const std::unique_ptr<Store> store = peer_.make();
      phase(store.get(), &vault_, report_);
      if (memoryStep != nullptr)
        report_.add(memoryStep, static_cast<double>(ProcessMemory("VmHWM") - before));
    });
  }

  void measureReading() const {
    fs::current_path(peer_.name);
    MeasureReading("vault", machine_);
  }

  const Peer& peer_;
  Vault vault_;
  Report report_;
  Report machine_;
};

void RunRepetition(uint32_t count, uint32_t repetition, std::FILE* results) {
  EmptyFolder();
  std::vector<std::unique_ptr<Contender>> contenders;
  for (uint32_t turn = 0; turn < kPeerNum; ++turn) {
    const Peer& peer = kPeers[(repetition + turn) % kPeerNum];
    contenders.push_back(std::make_unique<Contender>(peer, count, repetition, results));
  }
  if (repetition == 0) {
    const Report report(results, {count, 0, "vault"});
    const Vault& vault = contenders[0]->vault();
    report.add("payload", static_cast<double>(vault.payload()));
    report.add("least size", static_cast<double>(vault.leastSize(vault.shuffled(0))));
  }
  for (const auto& contender : contenders) contender->loadAndRead();
  std::vector<std::function<void(const Turn&)>> changes;
  for (const auto& contender : contenders)
    changes.push_back([&contender](const Turn& turn) { contender->change(turn); });
  const Report machine(results, {count, repetition, "machine"});
  changes.push_back(
      [&machine](const Turn& turn) { MeasureChanges("pmstore/vault", 2 * kSingleChanges, machine, turn); });
  RunInTurns(changes);
  for (const auto& contender : contenders) contender->changeManyAndDelete();
}

void RunVault(uint32_t count, uint32_t repetitions, std::FILE* results) {
  for (uint32_t repetition = 0; repetition < repetitions; ++repetition) {
    std::cerr << "N = " << count << ", repetition " << repetition + 1 << " of " << repetitions << std::endl;
    RunRepetition(count, repetition, results);
  }
}

void RunLargeItem(size_t size, uint32_t repetitions, std::FILE* results) {
  Random random(size);
  std::string bytes;
  while (bytes.size() < size) bytes.push_back(static_cast<char>(random.next()));
  for (uint32_t repetition = 0; repetition < repetitions; ++repetition) {
    std::cerr << "item of " << size << " bytes, repetition " << repetition + 1 << " of " << repetitions
              << std::endl;
    for (uint32_t turn = 0; turn < kPeerNum; ++turn) {
      EmptyFolder();
      const Peer& peer = kPeers[(repetition + turn) % kPeerNum];
      const Report report(results, {1, repetition, peer.name});
      RunInChild([&] { LargeItem(peer.make().get(), bytes, report); });
    }
    EmptyFolder();
    const Report machine(results, {1, repetition, "machine"});
    RunInChild([&] {
      machine.add(("item of " + std::to_string(size) + " bytes").c_str(), PlainWriteFlushRead(bytes));
    });
  }
}

void RunSharedUserData(uint32_t repetitions, std::FILE* results) {
  for (uint32_t repetition = 0; repetition < repetitions; ++repetition) {
    std::cerr << "shared user data, repetition " << repetition + 1 << " of " << repetitions << std::endl;
    for (const bool shared : {false, true}) {
      EmptyFolder();
      const Report report(results, {kSharing, repetition, "pmstore"});
      RunInChild([&] { MeasureSharedUserData(shared, report); });
    }
  }
}

int Run(int argc, char** argv) {
  if (argc < 4) {
    std::cerr << "usage: bench_peers FOLDER RESULTS N:REPETITIONS..." << std::endl;
    return 2;
  }
  std::FILE* results = std::fopen(argv[2], "a");
  if (results == nullptr) throw std::runtime_error("cannot write the results");
  fs::create_directories(argv[1]);
  fs::current_path(argv[1]);
  for (int i = 3; i < argc; ++i) {
    char* colon = nullptr;
    const auto count = static_cast<uint32_t>(std::strtoul(argv[i], &colon, 10));
    if (*colon != ':' || count < 1000) throw std::runtime_error("a size is N:REPETITIONS, N at least 1000");
    RunVault(count, static_cast<uint32_t>(std::strtoul(colon + 1, nullptr, 10)), results);
  }
  for (const size_t size : {kLargeItem / 4, kLargeItem}) RunLargeItem(size, 3, results);
  RunSharedUserData(3, results);
  EmptyFolder();
  return std::fclose(results) == 0 ? 0 : 1;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
  try {
    return bench::Run(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "bench_peers: " << failure.what() << std::endl;
    return 1;
  }
}
