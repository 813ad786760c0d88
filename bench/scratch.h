// Scratch folders of the benchmarks that write files, and the main() that removes them.
#pragma once

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace vellmark::bench {

// A folder of this process under the system's temporary folder, "vellmark-bench-NAME-PID",
// made when missing.
inline std::filesystem::path scratchFolder(const char* name) {
  std::string leaf = "vellmark-bench-";  // appended: GCC 12 warns falsely on "literal" + string
  leaf += name;
  leaf += '-';
  leaf += std::to_string(::getpid());
  const auto path = std::filesystem::temp_directory_path() / leaf;
  std::filesystem::create_directories(path);
  return path;
}

// Runs the benchmarks named on the command line, then removes this process's scratch folders.
inline int runBenchmarksAndClean(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::string suffix = "-";
  suffix += std::to_string(::getpid());
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path(), ec)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("vellmark-bench-", 0) == 0 && name.size() > suffix.size() && name.ends_with(suffix))
      std::filesystem::remove_all(entry.path(), ec);
  }
  return 0;
}

}  // namespace vellmark::bench
