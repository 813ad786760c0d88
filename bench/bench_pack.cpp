// pack on one thread against pack on several, over 200 members of 6 MB (half random, half
// compressible, as sounds and pictures are): the time ratio, and a check that the archives
// are byte for byte the same. Run: bench/run.sh bench_pack
#include <benchmark/benchmark.h>

#include "scratch.h"
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "base/file_io.h"
#include "course_fixture.h"
#include "tools/archive_folder.h"

using namespace vellmark;
namespace fs = std::filesystem;

namespace {

constexpr int kMembers = 200;
constexpr std::size_t kMemberBytes = 6u << 20;

// The folder of members, made once: the even ones random bytes, the odd ones the sky picture's
// pixels repeated, which compress about 3:1.
const fs::path& memberFolder() {
  static const fs::path folder = [] {
    const fs::path dir = bench::scratchFolder("pack");
    fs::create_directories(dir / "in");
    const auto sky = bench::readDataFile("sky/sky_4800x320_bottom.tga.gz");
    std::mt19937_64 random(7);
    std::vector<std::uint8_t> data(kMemberBytes);
    for (int i = 0; i < kMembers; ++i) {
      if (i % 2 == 0) {
        for (std::size_t k = 0; k + 8 <= data.size(); k += 8) {
          const std::uint64_t r = random();
          std::memcpy(&data[k], &r, 8);
        }
      } else {
        for (std::size_t k = 0; k < data.size(); ++k) data[k] = sky[(k + std::size_t(i) * 4099) % sky.size()];
      }
      std::ofstream(dir / "in" / bench::numbered("m", 1000 + i, ".bin"), std::ios::binary)
          .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    }
    return dir;
  }();
  return folder;
}

void BM_Pack(benchmark::State& state) {
  const unsigned threads = static_cast<unsigned>(state.range(0));
  const fs::path& dir = memberFolder();
  const std::string archive = (dir / bench::numbered("threads", threads, ".arc")).string();
  for (auto _ : state) packFolder((dir / "in").string(), archive, {std::nullopt, threads, {}});
  const std::string single = (dir / "threads1.arc").string();
  if (threads != 1 && fs::exists(single) && readWholeFile(single) != readWholeFile(archive))
    state.SkipWithError("the archive differs from the single-thread one");
  state.SetBytesProcessed(std::int64_t(state.iterations()) * kMembers * std::int64_t(kMemberBytes));
}
BENCHMARK(BM_Pack)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

}  // namespace

int main(int argc, char** argv) { return vellmark::bench::runBenchmarksAndClean(argc, argv); }
