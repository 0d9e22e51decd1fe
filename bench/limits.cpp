#include "bench/limits.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/vault.h"

namespace bench {

namespace {

constexpr size_t kPiece = size_t{1} << 20;
constexpr int kSmallWrites = 50;
constexpr const char* kCopy = "copy";

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags) : number_(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    require(number_ >= 0);
  }
  ~Descriptor() { ::close(number_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }

  size_t size() const {
    struct stat status;
    require(fstat(number_, &status) == 0);
    return static_cast<size_t>(status.st_size);
  }

  static void require(bool done) {
    if (!done)
      throw std::runtime_error(std::string("a plain file operation failed: ") + std::strerror(errno));
  }

 private:
  int number_;
};

// Keeps the compiler from leaving out the work behind a value.
void Keep(uint64_t value) {
  asm volatile("" : : "r"(value) : "memory");
}

struct alignas(64) Piece {  // systems copy into aligned memory up to twice as fast
  char bytes[kPiece];
};

// With the memory that it takes, as every store pays for its own.
double ReadSequentially(const std::string& path) {
  const Stopwatch watch;
  const std::unique_ptr<Piece> piece(new Piece);
  const Descriptor file(path, O_RDONLY);
  while (true) {
    const ssize_t got = ::read(file.number(), piece->bytes, kPiece);
    Descriptor::require(got >= 0);
    if (got == 0) return watch.seconds();
  }
}

double ScanMapped(const std::string& path) {
  const Stopwatch watch;
  const Descriptor file(path, O_RDONLY);
  const size_t size = file.size();
  void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, file.number(), 0);
  Descriptor::require(mapped != MAP_FAILED);
  const auto* words = static_cast<const uint64_t*>(mapped);
  uint64_t sum = 0;
  for (size_t i = 0; i < size / sizeof(uint64_t); ++i) sum += words[i];
  Keep(sum);
  munmap(mapped, size);
  return watch.seconds();
}

double CopyAndFlush(const std::string& path) {
  unlink(kCopy);
  const Stopwatch watch;
  const Descriptor from(path, O_RDONLY), to(kCopy, O_RDWR | O_CREAT | O_EXCL);
  for (size_t left = from.size(); left > 0;) {
    const ssize_t copied = copy_file_range(from.number(), nullptr, to.number(), nullptr, left, 0);
    Descriptor::require(copied > 0);
    left -= static_cast<size_t>(copied);
  }
  Descriptor::require(fdatasync(to.number()) == 0);
  return watch.seconds();
}

// Writes 1 KiB at random places of the copy, each flushed; the mean.
double WriteSmall() {
  const Descriptor file(kCopy, O_RDWR);
  const auto blocks = static_cast<uint32_t>(file.size() / 1024);
  const std::string block(1024, 'x');
  Random random(7);
  const Stopwatch watch;
  for (int i = 0; i < kSmallWrites; ++i) {
    const off_t place = off_t{random.below(blocks)} * 1024;
    Descriptor::require(pwrite(file.number(), block.data(), block.size(), place) == 1024);
    Descriptor::require(fdatasync(file.number()) == 0);
  }
  return watch.seconds() / kSmallWrites;
}

}  // namespace

void MeasureLimits(const std::string& path, const Report& report) {
  report.add("sequential read", ReadSequentially(path));
  report.add("mapped scan", ScanMapped(path));
  report.add("copy and flush", CopyAndFlush(path));
  report.add("1 KiB write and flush", WriteSmall());
  unlink(kCopy);
}

double PlainWriteFlushRead(const std::string& bytes) {
  std::string back(bytes.size(), 'x');
  unlink(kCopy);
  const Stopwatch watch;
  for (const int flags : {O_RDWR | O_CREAT | O_EXCL, O_RDONLY}) {
    const Descriptor file(kCopy, flags);
    for (size_t done = 0; done < bytes.size();) {
      const size_t left = bytes.size() - done;
      const ssize_t moved = flags == O_RDONLY ? ::read(file.number(), &back[done], left)
                                              : ::write(file.number(), &bytes[done], left);
      Descriptor::require(moved > 0);
      done += static_cast<size_t>(moved);
    }
    if (flags != O_RDONLY) Descriptor::require(fsync(file.number()) == 0);
  }
  const double seconds = watch.seconds();
  if (back != bytes) throw std::runtime_error("a plain file came back wrong");
  unlink(kCopy);
  return seconds;
}

}  // namespace bench
