// Random numbers for the model tests. PMSTORE_TEST_SEED repeats a run; without it each run draws its own
// seed.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

class Random {
 public:
  Random() {
    const char* given = std::getenv("PMSTORE_TEST_SEED");
    const uint32_t seed =
        given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::cout << "PMSTORE_TEST_SEED=" << seed << std::endl;
    engine_.seed(seed);
  }

  // A number below `limit`.
  size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_); }
  bool oneIn(size_t n) { return below(n) == 0; }

 private:
  std::mt19937 engine_;
};
