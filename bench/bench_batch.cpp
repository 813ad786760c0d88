// One batch run of the program over 500 small BTC textures against 500 separate runs, one
// per texture, as a shell loop does them. Run: bench/run.sh bench_batch
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "btc/btc_file_writer.h"
#include "course_fixture.h"
#include "run_program.h"
#include "scratch.h"

using namespace vellmark;
using vellmark::bench::runProgram;
namespace fs = std::filesystem;

namespace {

constexpr int kFiles = 500;

const fs::path& inputFolder() {
  static const fs::path folder = [] {
    const fs::path dir = bench::scratchFolder("batch");
    fs::create_directories(dir / "in");
    const auto sky = bench::readDataFile("sky/sky_4800x320_bottom.tga.gz");
    for (int i = 0; i < kFiles; ++i) {
      // 64 x 64 crops along the sky strip, so that the files differ.
      const auto tga = bench::cropTga(sky, 4800, (i * 9) % (4800 - 64), (i * 5) % (320 - 64), 64, 64);
      const auto btc = makeBtcFile(readTgaImage(tga, "crop"));
      (void)writeWholeFile((dir / "in" / bench::numbered("t", i, ".btc")).string(), btc);
    }
    return dir;
  }();
  return folder;
}

std::vector<std::string> inputs() {
  std::vector<std::string> files;
  for (int i = 0; i < kFiles; ++i) files.push_back((inputFolder() / "in" / bench::numbered("t", i, ".btc")).string());
  return files;
}

void BM_SeparateRuns(benchmark::State& state) {
  const auto files = inputs();
  const fs::path out = inputFolder() / "separate";
  fs::create_directories(out);
  for (auto _ : state)
    for (int i = 0; i < kFiles; ++i)
      if (runProgram({VELLMARK_CLI_PATH, "-q", "btc2tga", files[i], (out / bench::numbered("t", i, ".tga")).string()}) != 0)
        state.SkipWithError("a run failed");
}
BENCHMARK(BM_SeparateRuns)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_OneBatch(benchmark::State& state) {
  std::vector<std::string> args{VELLMARK_CLI_PATH, "-q", "btc2tga", "-o", (inputFolder() / "batch").string()};
  for (const auto& f : inputs()) args.push_back(f);
  for (auto _ : state)
    if (runProgram(args) != 0) state.SkipWithError("the batch failed");
  for (int i = 0; i < kFiles; i += 97)
    if (readWholeFile((inputFolder() / "batch" / bench::numbered("t", i, ".tga")).string()) !=
        readWholeFile((inputFolder() / "separate" / bench::numbered("t", i, ".tga")).string()))
      state.SkipWithError("the batch wrote other bytes than the separate runs");
}
BENCHMARK(BM_OneBatch)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) { return vellmark::bench::runBenchmarksAndClean(argc, argv); }
