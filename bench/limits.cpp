#include "bench/limits.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "bench/vault.h"

namespace bench {

namespace {

constexpr size_t kPiece = size_t{1} << 20;
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

struct alignas(64) Piece {  // systems copy into aligned memory up to twice as fast
  char bytes[kPiece];
};

Piece piece;  // touched before it is timed

double ReadSequentially(const std::string& path) {
  std::memset(piece.bytes, 1, sizeof piece.bytes);
  const Stopwatch watch;
  const Descriptor file(path, O_RDONLY);
  while (true) {
    const ssize_t got = ::read(file.number(), piece.bytes, kPiece);
    Descriptor::require(got >= 0);
    if (got == 0) return watch.seconds();
  }
}

double Copy(const std::string& path, const char* copy) {
  unlink(copy);
  const Stopwatch watch;
  const Descriptor from(path, O_RDONLY), to(copy, O_RDWR | O_CREAT | O_EXCL);
  while (true) {
    const ssize_t got = ::read(from.number(), piece.bytes, kPiece);
    Descriptor::require(got >= 0 && ::write(to.number(), piece.bytes, static_cast<size_t>(got)) == got);
    if (got == 0) return watch.seconds();
  }
}

}  // namespace

void MeasureReading(const std::string& path, const Report& report) {
  report.add("sequential read", ReadSequentially(path));
}

void MeasureChanges(const std::string& path, uint32_t count, const Report& report, const Turn& turn) {
  turn.take();
  // A host may have taken memory back that nothing used, and gives it slowly: two copies' worth, for this one and a
  // store's own, is at hand when it was used just before.
  constexpr const char* kBefore = "copy before";
  Copy(path, kCopy);
  Copy(path, kBefore);
  unlink(kBefore);
  report.add("unflushed copy", Copy(path, kCopy));
  const Descriptor file(kCopy, O_RDWR);
  Descriptor::require(fsync(file.number()) == 0);
  turn.give();
  const auto blocks = static_cast<uint32_t>(file.size() / 1024);
  const std::string block(1024, 'x');
  Random random(7);
  std::vector<double> seconds;
  for (uint32_t i = 0; i < count; ++i) {
    const off_t place = off_t{random.below(blocks)} * 1024;
    if (i % kChangesATurn == 0) turn.take();
    const Stopwatch watch;
    Descriptor::require(pwrite(file.number(), block.data(), block.size(), place) == 1024);
    Descriptor::require(fdatasync(file.number()) == 0);
    seconds.push_back(watch.seconds());
    if ((i + 1) % kChangesATurn == 0) turn.give();
  }
  turn.take();
  unlink(kCopy);
  turn.give();
  report.add("overwrite 1 KiB and fdatasync", Quantile(seconds, 0.5));
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
