// Whether somebody writes into a file that is open (Linux).
//
// It stands in for the question when the file was last written. A system that keeps times apart once somebody has asked
// for one notes a new time with every write from then on, of every file, and each flush has to carry it: a small durable
// change costs half as much again.
//
// Invariants:
//  1. What any process of this machine writes into the file, or cuts off, is seen, this process's own writes too; not
//     what is written through a mapping.
//  2. A file that other machines, or other layers of this one, can write is not watched.
#pragma once

#include <cstdint>

namespace platform {

class WriteWatch {
 public:
  WriteWatch() = default;
  ~WriteWatch() { stop(); }
  WriteWatch(const WriteWatch&) = delete;
  WriteWatch& operator=(const WriteWatch&) = delete;

  // Watches the file from now on, and forgets what was seen before. False where that cannot be, and at the first calls
  // for a file: who asks seldom is better served by the time.
  bool begin(int descriptor);

  // Whether nobody has written since begin().
  bool isQuiet() const;

  void stop();

 private:
  bool start(int descriptor);

  int queue_ = -1;   // of what was seen
  int number_ = -1;  // of the file in it
  uint32_t begun_ = 0;
};

}  // namespace platform
