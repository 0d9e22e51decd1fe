// Random numbers, and those that the environment gives a random test, to repeat or to lengthen it: PMSTORE_TEST_SEED is
// the seed of every one. Without it a test has a seed of its own, or each run draws one.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

inline uint32_t Setting(const char* name, uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class Random {
 public:
  explicit Random(uint32_t otherwise = std::random_device()())
      : seed(Setting("PMSTORE_TEST_SEED", otherwise)) {
    std::cout << "PMSTORE_TEST_SEED=" << seed << std::endl;
  }
  uint32_t below(size_t limit) { return static_cast<uint32_t>(engine_() % limit); }
  bool oneIn(uint32_t n) { return below(n) == 0; }

  const uint32_t seed;

 private:
  std::mt19937 engine_{seed};
};
