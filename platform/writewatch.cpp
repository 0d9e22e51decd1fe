#include "platform/writewatch.h"

#include <errno.h>
#include <linux/magic.h>
#include <stdio.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

namespace platform {

namespace {

constexpr uint32_t kFewTimes = 16;

// Queues that nobody uses: the system takes milliseconds to close one.
struct IdleQueues {
  int queues[8];
  size_t count = 0;
  ~IdleQueues() {
    while (count != 0) ::close(queues[--count]);
  }
};
IdleQueues idle;

int TakeQueue() {
  return idle.count != 0 ? idle.queues[--idle.count] : inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
}

void GiveQueue(int queue) {
  if (idle.count == std::size(idle.queues)) {
    ::close(queue);
  } else {
    idle.queues[idle.count++] = queue;
  }
}

bool IsLocal(int descriptor) {
  constexpr uint32_t kLocal[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, F2FS_SUPER_MAGIC,
                                 TMPFS_MAGIC};
  struct statfs system;
  return fstatfs(descriptor, &system) == 0 &&
         std::find(std::begin(kLocal), std::end(kLocal), static_cast<uint32_t>(system.f_type)) !=
             std::end(kLocal);
}

}  // namespace

bool WriteWatch::start(int descriptor) {
  if (!IsLocal(descriptor)) return false;
  queue_ = TakeQueue();
  if (queue_ < 0) return false;
  char path[32];
  snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
  number_ = inotify_add_watch(queue_, path, IN_MODIFY);
  if (number_ >= 0) return true;
  GiveQueue(queue_);
  queue_ = -1;
  return false;
}

bool WriteWatch::begin(int descriptor) {
  if (queue_ < 0 && (++begun_ != kFewTimes || !start(descriptor))) return false;
  char events[1024];
  ssize_t seen;
  do {
    seen = read(queue_, events, sizeof events);
  } while (seen > 0 || (seen < 0 && errno == EINTR));
  return true;
}

bool WriteWatch::isQuiet() const {
  int seen = 0;
  return queue_ >= 0 && ioctl(queue_, FIONREAD, &seen) == 0 && seen == 0;
}

void WriteWatch::stop() {
  if (queue_ >= 0) {
    inotify_rm_watch(queue_, number_);
    GiveQueue(queue_);
  }
  queue_ = -1;
  begun_ = 0;
}

}  // namespace platform
