// CreateSkyFile on the real sky images against the least it must do: 95 bare zlib compress
// calls on the same tiles and preview. Run: bench/run.sh bench_sky_file
#include <benchmark/benchmark.h>
#include <unistd.h>
#include <zlib.h>

#include <filesystem>

#include "course_fixture.h"
#include "silent_host.h"
#include "base/file_io.h"
#include "tools/sky_file.h"

using namespace vellmark;
using vellmark::test::SilentHost;

namespace {

struct Inputs {
  std::filesystem::path folder;
  std::vector<std::uint8_t> preview, sky;
  std::vector<std::vector<std::uint8_t>> members;  // the 94 tiles and the preview, uncompressed
  Inputs() {
    const std::filesystem::path base =
        std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    folder = base / ("vellmark-bench-sky-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    preview = bench::readDataFile("sky/sky_preview_512x35_top.tga.gz");
    sky = bench::readDataFile("sky/sky_4800x320_top.tga.gz");
    writeWholeFile((folder / "preview.tga").string(), preview);
    writeWholeFile((folder / "sky.tga").string(), sky);
    for (int n = 1; n <= kSkyTiles; ++n) members.push_back(skyTileImage(Bytes(sky).subspan(18), n));
    members.push_back(preview);
  }
  ~Inputs() { std::filesystem::remove_all(folder); }
};

Inputs& inputs() {
  static Inputs in;
  return in;
}

void BM_BareCompress(benchmark::State& state) {
  const auto& in = inputs();
  std::vector<std::uint8_t> out(compressBound(262162));
  std::size_t total = 0;
  for (auto _ : state) {
    total = 0;
    for (const auto& m : in.members) {
      uLongf length = static_cast<uLongf>(out.size());
      if (compress(out.data(), &length, m.data(), static_cast<uLong>(m.size())) != Z_OK)
        state.SkipWithError("compress failed");
      total += length;
    }
    benchmark::DoNotOptimize(total);
  }
  state.counters["compressed"] = static_cast<double>(total);
}

void BM_CreateSkyFile(benchmark::State& state) {
  const auto& in = inputs();
  const unsigned threads = static_cast<unsigned>(state.range(0));
  SilentHost host;
  const std::string output = (in.folder / "sky.sky").string();
  std::size_t size = 0;
  for (auto _ : state) {
    createSkyFile(host, (in.folder / "preview.tga").string(), (in.folder / "sky.tga").string(), in.folder.string(),
                  threads);
    size = std::filesystem::file_size(output);
    if (host.boxes != 0 || size < 16 + 95 * 64) state.SkipWithError("no sky file written");
  }
  state.counters["file"] = static_cast<double>(size);
}

}  // namespace

BENCHMARK(BM_BareCompress)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CreateSkyFile)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
