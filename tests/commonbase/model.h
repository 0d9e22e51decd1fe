// What the model tests share: random numbers, and elements that are letters in the place of addresses, so
// that a string models a container. PMSTORE_TEST_SEED repeats a run; without it each run draws its own seed.
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
  char letter(size_t number) { return static_cast<char>('A' + below(number)); }

 private:
  std::mt19937 engine_;
};

inline void* Element(char letter) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(letter));
}

inline char Letter(const void* element) {
  return static_cast<char>(reinterpret_cast<uintptr_t>(element));
}

inline std::string Sorted(std::string letters) {
  std::sort(letters.begin(), letters.end());
  return letters;
}
