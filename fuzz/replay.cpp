// Hands every file of the given folders to a fuzz target, without the fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int played = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++played;
    }
  }
  std::printf("%d inputs\n", played);
  return played != 0 ? 0 : 1;
}
