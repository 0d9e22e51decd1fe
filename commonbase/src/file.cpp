#include "file.h"

#include <cstring>

#include "commonbase/src/result.h"
#include "platform/platform.h"

namespace commonbase {
namespace {

// A stream of this file's own: unbuffered, so that every write tells at once whether it worked.
FILE* OpenUnbuffered(const PmChar* path, const char* mode) {
  FILE* stream = FOpen(path, mode);
  if (stream != nullptr) std::setvbuf(stream, nullptr, _IONBF, 0);
  return stream;
}

}  // namespace
}  // namespace commonbase

using namespace commonbase;

int32_t FExists(const PmChar* path) {
  return platform::Exists(path) ? kOk : kRefused;
}

FILE* FOpen(const PmChar* path, const char* mode) {
  return platform::OpenStream(path, mode);
}

int32_t FClose(FILE* stream) {
  return std::fclose(stream);
}

int32_t FRead(void* buffer, uint32_t elementSize, uint32_t elementCount, FILE* stream) {
  return static_cast<int32_t>(std::fread(buffer, elementSize, elementCount, stream));
}

int32_t FReadLine(char* buffer, int32_t size, FILE* stream) {
  if (buffer == nullptr || size < 1) return kNothingLeft;
  std::memset(buffer, 0, static_cast<size_t>(size));
  // Where there is room for no character, fgets gives an empty line for ever.
  if (size == 1) {
    const int next = std::getc(stream);
    return next != EOF && std::ungetc(next, stream) != EOF ? 0 : kNothingLeft;
  }
  if (std::fgets(buffer, size, stream) == nullptr) return kNothingLeft;
  return static_cast<int32_t>(std::strlen(buffer));
}

int32_t FWrite(const void* buffer, uint32_t elementSize, uint32_t elementCount, FILE* stream) {
  return static_cast<int32_t>(std::fwrite(buffer, elementSize, elementCount, stream));
}

int32_t FSeek(FILE* stream, int32_t offset, int32_t origin) {
  return std::fseek(stream, offset, origin);
}

int32_t FEof(FILE* stream) {
  return std::feof(stream);
}

int32_t FSize(const PmChar* path) {
  return static_cast<int32_t>(platform::SizeOf(path));  // kNoSize stays -1
}

int32_t GetCurDir(int32_t size, PmChar* buffer) {
  const int32_t length = platform::ProgramPath(buffer, size);
  if (length <= 0) return length;
  PmChar* end = nullptr;
  for (PmChar* c = buffer; *c != 0; ++c)
    if (*c == platform::FolderSeparator()) end = c + 1;
  if (end != nullptr) *end = 0;
  return length;
}

int32_t FDelete(const PmChar* path) {
  return platform::Delete(path) ? kOk : kRefused;
}

int32_t FTruncate(const PmChar* path, int32_t size) {
  return platform::SetLength(path, size) ? kOk : kRefused;
}

int32_t FFlush(FILE* stream) {
  return std::fflush(stream);
}

int32_t FCopyToFile(const PmChar* source, const PmChar* destination) {
  FILE* from = OpenUnbuffered(source, "rb");
  if (from == nullptr) return kCannotOpen;
  FILE* to = OpenUnbuffered(destination, "wb");
  if (to == nullptr) {
    std::fclose(from);
    return kCannotOpen;
  }

  bool failed = false;
  char buffer[16 * 1024];
  while (const size_t read = std::fread(buffer, 1, sizeof buffer, from))
    if (std::fwrite(buffer, read, 1, to) == 0) failed = true;
  platform::Wipe(buffer, sizeof buffer);
  std::fclose(from);
  if (std::fclose(to) != 0) failed = true;
  return failed ? kWriteFailed : kOk;
}

int32_t FSetHideAttribute(const PmChar* path, int32_t hide) {
  return platform::SetHidden(path, hide != 0);
}
