// What model tests of containers share: random numbers. PMSTORE_TEST_SEED repeats a run; without it each run draws its own seed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "tests/support/setting.h"

class Random {
 public:
  Random() { std::cout << "PMSTORE_TEST_SEED=" << seed_ << std::endl; }
  size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_); }
  bool oneIn(size_t n) { return below(n) == 0; }

 private:
  const uint32_t seed_ = Setting("PMSTORE_TEST_SEED", std::random_device()());
  std::mt19937 engine_{seed_};
};
