// The MAP file's LZW coder on a 1024 x 1024 index image: a real texture quantized to 255
// colours and tiled, and random indices (the worst case: the dictionary fills fastest).
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "mesh/lzw.h"
#include "mesh/quantize.h"

namespace {

constexpr int kSide = 1024;

std::vector<std::uint8_t> texturedIndices() {
  const std::string path = std::string(VELLMARK_TEST_DATA_DIR) + "/textures/ship_hull_wood_256x256_rgb24.tga";
  gzFile f = gzopen(path.c_str(), "rb");
  std::vector<std::uint8_t> file(18 + 256 * 256 * 3);
  file.resize(f ? static_cast<std::size_t>(std::max(0, gzread(f, file.data(), static_cast<unsigned>(file.size())))) : 0);
  if (f) gzclose(f);
  std::vector<std::uint8_t> bgra;
  for (std::size_t i = 18; i + 2 < file.size(); i += 3) bgra.insert(bgra.end(), {file[i], file[i + 1], file[i + 2], 255});
  bgra.resize(256 * 256 * 4);
  auto q = vellmark::quantizeImage(256, 256, bgra);
  std::vector<std::uint8_t> out(kSide * kSide);
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) out[y * kSide + x] = q.pixels[(y % 256) * 256 + x % 256];
  return out;
}

std::vector<std::uint8_t> randomIndices() {
  std::vector<std::uint8_t> out(kSide * kSide);
  std::uint32_t x = 12345;
  for (auto& b : out) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    b = static_cast<std::uint8_t>(x);
  }
  return out;
}

void run(benchmark::State& state, const std::vector<std::uint8_t>& input) {
  std::size_t compressed = 0;
  for (auto _ : state) {
    auto stream = vellmark::lzwCompress(input);
    // Every stream starts with the clear code at 9 bits and ends inside its last byte.
    if (stream.size() < 3 || stream[0] != 0x00 || (stream[1] & 1) != 1) state.SkipWithError("bad stream");
    compressed = stream.size();
    benchmark::DoNotOptimize(stream.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.size()));
  state.counters["ratio"] = static_cast<double>(compressed) / static_cast<double>(input.size());
}

void BM_LzwTexture(benchmark::State& state) { run(state, texturedIndices()); }
void BM_LzwRandom(benchmark::State& state) { run(state, randomIndices()); }

}  // namespace

BENCHMARK(BM_LzwTexture)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LzwRandom)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
