// Whether somebody writes into a file that is open (Linux).
//
// It stands in for the question when the file was last written. A system that keeps times apart once somebody has
// asked for one notes a new time with every write from then on, of every file, and each flush has to carry it: a small
// durable change costs half as much again.
//
// Invariants:
//  1. What any process of this machine writes into the file with a call, or cuts off, is seen, this process's own
//     writes too; not what is written through a mapping, or by the kernel for who has asked it to (libaio).
//  2. A file that other machines, or other layers of this one, can write is not watched.
//  3. A watch belongs to the process that began it: a child that it forked neither asks nor empties it.
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
  // for a file: who asks seldom is better served by the time, and the system takes milliseconds to end a watch.
  bool begin(int descriptor);

  // Whether nobody has written since begin().
  bool isQuiet() const;

  void stop();

 private:
  bool start(int descriptor);
  bool forget();
  void end();

  int queue_ = -1;   // of what was seen
  int process_ = 0;  // whose it is
  uint32_t looks_ = 0;
};

}  // namespace platform
