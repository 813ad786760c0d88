// sky from an 8192 x 4096 JPEG panorama against ImageMagick scaling the same JPEG to
// 4800 x 320 and 512 x 35 followed by sky-file, each as the program a modder would run.
// Needs ImageMagick's convert (bench/packages.txt). Run: bench/run.sh bench_make_sky
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "run_program.h"
#include "scratch.h"

using vellmark::bench::runProgram;
namespace fs = std::filesystem;

namespace {

// The panorama: the bundled 2048 x 1024 sky photograph enlarged to 8192 x 4096.
const fs::path& folder() {
  static const fs::path dir = [] {
    const fs::path d = vellmark::bench::scratchFolder("make-sky");
    runProgram({"convert", VELLMARK_TEST_DATA_DIR "/media/sunflowers_puresky_2k_jfif_baseline444.jpg", "-resize",
         "8192x4096!", "-quality", "92", (d / "pano.jpg").string()});
    return d;
  }();
  return dir;
}

void BM_VellmarkSky(benchmark::State& state) {
  const std::string out = (folder() / "ours").string();
  for (auto _ : state)
    if (runProgram({VELLMARK_CLI_PATH, "-q", "sky", (folder() / "pano.jpg").string(), out}) != 0)
      state.SkipWithError("sky failed");
}
BENCHMARK(BM_VellmarkSky)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_ImageMagickThenSkyFile(benchmark::State& state) {
  const std::string sky = (folder() / "pano.tga").string(), preview = (folder() / "preview.tga").string();
  for (auto _ : state) {
    const bool ok = runProgram({"convert", (folder() / "pano.jpg").string(), "-resize", "4800x320!", "-alpha", "on", sky}) == 0 &&
                    runProgram({"convert", sky, "-resize", "512x35!", "-alpha", "on", preview}) == 0 &&
                    runProgram({VELLMARK_CLI_PATH, "-q", "sky-file", preview, sky, (folder() / "theirs").string()}) == 0;
    if (!ok) state.SkipWithError("ImageMagick or sky-file failed");
  }
}
BENCHMARK(BM_ImageMagickThenSkyFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace

int main(int argc, char** argv) { return vellmark::bench::runBenchmarksAndClean(argc, argv); }
