#include "bench/turns.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/measure.h"

namespace bench {

void Turn::take() const {
  char token = 0;
  if (mine_ >= 0 && read(mine_, &token, 1) != 1) throw std::runtime_error("nobody gave a turn");
}

void Turn::give() const {
  if (next_ >= 0 && write(next_, "", 1) != 1) throw std::runtime_error("nobody takes a turn");
}

void RunInTurns(const std::vector<std::function<void(const Turn&)>>& works) {
  sync();
  std::vector<int> ends(2 * works.size());
  for (size_t i = 0; i < works.size(); ++i) {
    if (pipe(&ends[2 * i]) != 0) throw std::runtime_error("cannot make a pipe");
  }
  std::vector<pid_t> children;
  for (size_t i = 0; i < works.size(); ++i) {
    const Turn turn(ends[2 * i], ends[2 * ((i + 1) % works.size()) + 1]);
    children.push_back(StartChild([&works, i, turn] { works[i](turn); }));
  }
  Turn(-1, ends[1]).give();
  bool failed = false;
  for (size_t i = 0; i < children.size(); ++i) {
    int status = 0;
    wait(&status);
    if (failed || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) continue;
    failed = true;
    for (const pid_t child : children) kill(child, SIGKILL);  // they would wait for it
  }
  for (const int end : ends) close(end);
  if (failed) throw std::runtime_error("a measurement failed");
}

}  // namespace bench
