// BTC decoding speed: a long stream of alpha block runs against libsquish's DXT5
// decompression of the same number of 16-byte blocks, and the two panoramas end to end
// (inflate, decode, assemble) from inputs the encoder made of the real sky photograph.
#include <benchmark/benchmark.h>
#include <squish.h>
#include <zlib.h>

#include <cstring>
#include <random>

#include "btc/btc_codec.h"
#include "archive/course_archive.h"
#include "archive/zlib_member.h"
#include "base/tga.h"
#include "btc/panorama_stream_writer.h"
#include "tools/panorama.h"
#include "base/file_io.h"

using namespace vellmark;

namespace {

constexpr int kSide = 1024;  // 65,536 blocks
constexpr int kBlocks = (kSide / 4) * (kSide / 4);

std::vector<std::uint8_t> randomBlocks(std::uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<std::uint8_t> blocks(std::size_t{kBlocks} * 16);
  for (auto& b : blocks) b = static_cast<std::uint8_t>(rng());
  return blocks;
}

// Type-3 runs of 4096 blocks carrying random alpha and colour blocks.
std::vector<std::uint8_t> alphaRunStream() {
  const auto blocks = randomBlocks(1);
  std::vector<std::uint8_t> stream;
  for (int first = 0; first < kBlocks; first += 4096) {
    appendU16(stream, btcCommand(BtcRunType::Alpha, 4096));
    stream.insert(stream.end(), blocks.begin() + first * 16, blocks.begin() + (first + 4096) * 16);
  }
  return stream;
}

// Compares a few spread-out bytes with the first run's result, so that a broken decoder
// cannot post a time.
bool sameSamples(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
  for (std::size_t i = 0; i < a.size(); i += 4099)
    if (a[i] != b[i]) return false;
  return std::memcmp(a.data() + a.size() - 64, b.data() + b.size() - 64, 64) == 0;
}

void BM_BtcAlphaRuns(benchmark::State& state) {
  const auto stream = alphaRunStream();
  std::vector<std::uint8_t> image(std::size_t{kSide} * kSide * 4), reference(image.size());
  decodeBtcStream(kSide, kSide, reference, stream);
  for (auto _ : state) {
    decodeBtcStream(kSide, kSide, image, stream);
    benchmark::DoNotOptimize(image.data());
    if (!sameSamples(image, reference)) state.SkipWithError("decoded image changed");
  }
  state.SetItemsProcessed(state.iterations() * kBlocks);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(image.size()));
}
BENCHMARK(BM_BtcAlphaRuns)->Unit(benchmark::kMicrosecond);

void BM_SquishDxt5(benchmark::State& state) {
  const auto blocks = randomBlocks(1);
  std::vector<std::uint8_t> image(std::size_t{kSide} * kSide * 4), reference(image.size());
  squish::DecompressImage(reference.data(), kSide, kSide, blocks.data(), squish::kDxt5);
  for (auto _ : state) {
    squish::DecompressImage(image.data(), kSide, kSide, blocks.data(), squish::kDxt5);
    benchmark::DoNotOptimize(image.data());
    if (!sameSamples(image, reference)) state.SkipWithError("decompressed image changed");
  }
  state.SetItemsProcessed(state.iterations() * kBlocks);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(image.size()));
}
BENCHMARK(BM_SquishDxt5)->Unit(benchmark::kMicrosecond);

Image realSky() {
  const auto gz = readWholeFile(VELLMARK_TEST_DATA_DIR "/sky/sky_4800x320_top.tga.gz");
  std::vector<std::uint8_t> tga(6144018);
  z_stream z{};
  inflateInit2(&z, 16 + MAX_WBITS);
  z.next_in = const_cast<std::uint8_t*>(gz.data());
  z.avail_in = static_cast<uInt>(gz.size());
  z.next_out = tga.data();
  z.avail_out = static_cast<uInt>(tga.size());
  const int rc = inflate(&z, Z_FINISH);
  inflateEnd(&z);
  if (rc != Z_STREAM_END) fail(ErrorKind::Corrupt, "sky test image does not inflate");
  return readTgaImage(tga, "sky");
}

std::vector<std::uint8_t> archiveOf(const std::string& name, const std::vector<std::uint8_t>& member) {
  CourseArchiveWriter writer;
  writer.addMember(name, compressMember(member), static_cast<std::uint32_t>(member.size()));
  return std::move(writer).finish();
}

// Runs CreatePanorama's work on `archive` and checks the one file it makes.
void runArchive(benchmark::State& state, const std::vector<std::uint8_t>& archive, std::size_t fileSize) {
  std::size_t made = 0;
  for (auto _ : state) {
    made = 0;
    buildPanoramaFiles(archive, [&](const std::string&, Bytes file) {
      benchmark::DoNotOptimize(file.data());
      made += file.size();
    });
    if (made != fileSize) state.SkipWithError("wrong output size");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(fileSize));
}

void BM_SkyPanorama(benchmark::State& state) {
  static const auto archive = archiveOf("sky.btc", makeSkyPanoramaStream(realSky()));
  runArchive(state, archive, 6144018);
}
BENCHMARK(BM_SkyPanorama)->Unit(benchmark::kMillisecond);

void BM_TiledPanorama7200x768(benchmark::State& state) {
  // The sky photograph repeated over 7200 x 768: 28 x 3 = 84 tiles.
  static const auto archive = [] {
    const Image sky = realSky();
    Image wide{7200, 768, std::vector<std::uint8_t>(7200 * 768 * 4)};
    for (std::uint32_t y = 0; y < 768; ++y)
      for (std::uint32_t x = 0; x < 7200; ++x)
        std::memcpy(&wide.pixels[(std::size_t{y} * 7200 + x) * 4], &sky.pixels[(std::size_t{y % 320} * 4800 + x % 4800) * 4], 4);
    return archiveOf("Panorama.btc", makeTiledPanoramaStream(wide));
  }();
  runArchive(state, archive, 18 + 7200 * 768 * 4);
}
BENCHMARK(BM_TiledPanorama7200x768)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
