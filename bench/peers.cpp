// bench_peers FOLDER RESULTS N:REPETITIONS... - the vault workload against every store, results appended to a
// file.
//
// Stores take turns within a repetition and the first of them changes from one to the next; every phase of
// every store runs in a process of its own, in an empty folder of its own.
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

// The bytes of all files; holes take none.
uint64_t FolderBytes() {
  uint64_t bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(".")) {
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

void RunPhase(const Peer& peer, Phase phase, Vault* vault, const Report& report,
              const char* memoryStep = nullptr) {
  RunInChild([&] {
    const uint64_t before = ProcessMemory("VmRSS");
    const std::unique_ptr<Store> store = peer.make();
    phase(store.get(), vault, report);
    if (memoryStep != nullptr) report.add(memoryStep, static_cast<double>(ProcessMemory("VmHWM") - before));
  });
}

void RunPeer(const Peer& peer, Vault* vault, std::FILE* results, uint32_t repetition) {
  EmptyFolder();
  const Report report(results, {vault->count(), repetition, peer.name});
  RunPhase(peer, Load, vault, report, "peak memory, load");
  report.add("bytes on disk", static_cast<double>(FolderBytes()));
  if (peer.make == NewPmstore) {
    const Report machine(results, {vault->count(), repetition, "machine"});
    for (int i = 0; i < kReadRuns; ++i) RunInChild([&] { MeasureLimits("vault", machine); });
  }
  for (int i = 0; i < kReadRuns; ++i) {
    RunPhase(peer, ReadOne, vault, report);
    RunPhase(peer, ReadAll, vault, report, "peak memory, read all");
    RunPhase(peer, LookUp, vault, report);
  }
  RunPhase(peer, Change, vault, report);
  RunPhase(peer, ChangeMany, vault, report);
  RunPhase(peer, Delete, vault, report, "peak memory, delete");
  report.add("bytes on disk after the delete", static_cast<double>(FolderBytes()));
  RunPhase(peer, Verify, vault, report);
}

void RunVault(uint32_t count, uint32_t repetitions, std::FILE* results) {
  for (uint32_t repetition = 0; repetition < repetitions; ++repetition) {
    for (uint32_t turn = 0; turn < kPeerNum; ++turn) {
      const Peer& peer = kPeers[(repetition + turn) % kPeerNum];
      std::cerr << "N = " << count << ", repetition " << repetition + 1 << " of " << repetitions << ": "
                << peer.name << std::endl;
      Vault vault(count, kSingleChanges);
      if (repetition == 0 && turn == 0) {
        const Report report(results, {count, 0, "vault"});
        report.add("payload", static_cast<double>(vault.payload()));
        report.add("least size", static_cast<double>(vault.leastSize(vault.shuffled(0))));
      }
      RunPeer(peer, &vault, results, repetition);
    }
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
