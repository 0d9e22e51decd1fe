// Processes that take turns.
//
// What a flush costs wavers by half within a minute. Who is compared by durable changes makes a few of them next to
// a few of everybody else's.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace bench {

// Few enough that the disk is the same for all, enough that most of them find the processor's caches as the ones before
// left them.
constexpr uint32_t kChangesATurn = 10;

// A process's place in the round; one made by default is alone and need not wait.
class Turn {
 public:
  Turn() = default;
  Turn(int mine, int next) : mine_(mine), next_(next) {}
  void take() const;  // waits for it
  void give() const;  // to the next process

 private:
  int mine_ = -1, next_ = -1;  // ends of pipes
};

// Runs each in a process of its own and waits for all; throws when one failed. All take and give the same number of
// turns. Before, everything that other work left to be written is written.
void RunInTurns(const std::vector<std::function<void(const Turn&)>>& works);

}  // namespace bench
