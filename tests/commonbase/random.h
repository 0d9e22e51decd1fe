// What model tests of containers share: random numbers. PMSTORE_TEST_SEED repeats a run; without it each run draws its own seed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <random>
#include <string>
#include <vector>

class Random {
 public:
  Random() {
    const char* given = std::getenv("PMSTORE_TEST_SEED");
    const auto seed = given == nullptr ? std::random_device()() : std::strtoul(given, nullptr, 10);
    std::cout << "PMSTORE_TEST_SEED=" << seed << std::endl;
    engine_.seed(static_cast<uint32_t>(seed));
  }
  size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_); }
  bool oneIn(size_t n) { return below(n) == 0; }

 private:
  std::mt19937 engine_;
};
