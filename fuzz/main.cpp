// Replay driver for compilers without libFuzzer: runs the target once per
// file named on the command line, or per file in a named directory.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void RunFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // An exact-size heap copy, so a read past the end shows under ASan.
  auto* data = new uint8_t[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), data);
  LLVMFuzzerTestOneInput(data, bytes.size());
  delete[] data;
}

}  // namespace

int main(int argc, char** argv) {
  size_t runs = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path arg(argv[i]);
    if (std::filesystem::is_directory(arg)) {
      for (const auto& entry : std::filesystem::directory_iterator(arg)) {
        if (entry.is_regular_file()) {
          RunFile(entry.path());
          ++runs;
        }
      }
    } else {
      RunFile(arg);
      ++runs;
    }
  }
  std::printf("replayed %zu inputs\n", runs);
  return runs == 0;
}
