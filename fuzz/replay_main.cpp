// Runs a fuzz target over every file of the folders (or files) given, so that the seed
// corpus and past findings replay as ordinary tests in builds without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

static void runOne(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  // An exactly sized heap block, so that AddressSanitizer sees any overread.
  std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
  copy.shrink_to_fit();
  LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    fs::path arg(argv[i]);
    if (fs::is_directory(arg)) {
      for (const auto& entry : fs::recursive_directory_iterator(arg))
        if (entry.is_regular_file()) runOne(entry.path()), ++count;
    } else if (fs::exists(arg)) {
      runOne(arg), ++count;
    }
  }
  std::printf("replayed %d inputs\n", count);
  return count > 0 ? 0 : 1;
}
