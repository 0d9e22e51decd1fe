// What is run while things fail: fixed scenarios, one a kind of write, and drawn ones.
#pragma once

#include "tests/faults/session.h"

struct Scenario {
  const char* name;
  void (*prepare)(Session& s);  // before anything fails
  void (*run)(Session& s);
  bool recovers = true;  // the vault opens by the recovery rule at every moment
};

extern const std::vector<Scenario> kScenarios;

// A run of calls drawn by the seed; begins and ends with any vault open or closed.
void RunDrawn(Session& s, uint32_t seed, int length);
