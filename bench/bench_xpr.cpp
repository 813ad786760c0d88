// Untiling cost of the Xbox texture converter: a 2048 x 2048 DXT1 and A8R8G8B8 top level
// converted from a tiled bundle (untile + convert) and from a linear bundle holding the
// same texels (convert only), side by side. Every iteration checks sampled pixels against
// the first result.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <random>

#include "xbox/xpr_bundle.h"
#include "xpr_writer.h"
#include "xbox/xpr_level.h"

namespace {

using namespace vellmark;

constexpr std::uint32_t kSize = 2048;

struct Fixture {
  XprBundle bundle;
  xbox::TextureHeader header;
  std::vector<std::uint8_t> reference;
};

const Fixture& fixture(std::uint32_t format) {
  static std::map<std::uint32_t, Fixture> cache;
  auto it = cache.find(format);
  if (it != cache.end()) return it->second;
  const bool dxt = (format & 0x3F) == 18;
  const std::size_t bytes = dxt ? std::size_t{kSize / 4} * (kSize / 4) * 8 : std::size_t{kSize} * kSize * 4;
  std::vector<std::uint8_t> texels(bytes);
  std::mt19937 rng(1234);
  for (auto& b : texels) b = static_cast<std::uint8_t>(rng());
  test::XprTexture t;
  t.width = t.height = kSize;
  t.format = format;
  t.texels = {{texels}};
  test::XprWriter w;
  w.addTexture("t", t);
  Fixture f;
  f.bundle = std::move(*parseXprBundle(w.build(), "bench").bundle);
  f.header = xprTextureHeader(f.bundle, f.bundle.directory[0]);
  f.reference = convertXprTextureLevel(f.bundle, f.header, 0, 0).pixels;
  return cache.emplace(format, std::move(f)).first->second;
}

void convertLevel(benchmark::State& state, std::uint32_t format) {
  const Fixture& f = fixture(format);
  for (auto _ : state) {
    auto image = convertXprTextureLevel(f.bundle, f.header, 0, 0);
    for (std::size_t i = 0; i < image.pixels.size(); i += 65537 * 4)
      if (std::memcmp(&image.pixels[i], &f.reference[i], 4) != 0) state.SkipWithError("pixels differ");
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kSize * kSize);
}

}  // namespace

BENCHMARK_CAPTURE(convertLevel, Dxt1Linear, 0x1A200052u)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertLevel, Dxt1Tiled, 0x1A200152u)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertLevel, A8R8G8B8Linear, 0x18280086u)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertLevel, A8R8G8B8Tiled, 0x18280186u)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
