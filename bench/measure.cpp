#include "bench/measure.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace bench {

double Quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const double place = share * static_cast<double>(values.size() - 1);
  const auto below = static_cast<size_t>(place);
  const size_t above = std::min(below + 1, values.size() - 1);
  return values[below] + (values[above] - values[below]) * (place - static_cast<double>(below));
}

uint64_t ProcessMemory(const char* field) {
  std::ifstream status("/proc/self/status");
  const size_t length = std::strlen(field);
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, length, field) == 0 && line[length] == ':')
      return std::stoull(line.substr(length + 1)) * 1024;
  }
  throw std::runtime_error(std::string("the system does not tell ") + field);
}

void Report::add(const char* step, double value) const {
  std::fprintf(results_, "{\"n\":%u,\"repetition\":%u,\"store\":\"%s\",\"step\":\"%s\",\"value\":%.9g}\n",
               label_.count, label_.repetition, label_.store.c_str(), step, value);
}

pid_t StartChild(const std::function<void()>& work) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child != 0) return child;
  try {
    work();
    std::fflush(nullptr);
    _exit(0);
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << std::endl;
  }
  _exit(1);
}

void RunInChild(const std::function<void()>& work) {
  sync();
  const pid_t child = StartChild(work);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error("a measurement failed");
}

}  // namespace bench
