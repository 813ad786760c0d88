// Course extraction against the least any extractor must do: a bare loop of zlib
// uncompress over the same members. Run: bench/run.sh bench_extract
#include <benchmark/benchmark.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>

#include "tools/extract_course.h"
#include "archive/member_inflate.h"
#include "course_fixture.h"
#include "silent_host.h"
#include "tools/btc_writers.h"

using namespace vellmark;
using vellmark::test::SilentHost;

namespace {

// BTC textures and the course panorama made by the project's own writers. The encoder is
// slow next to extraction, so a pool of textures is encoded once and members cycle through it.
std::vector<std::uint8_t> btcTexture(const std::vector<std::uint8_t>& tga) {
  static std::map<std::pair<uLong, std::size_t>, std::vector<std::uint8_t>> pool;
  auto& encoded = pool[{crc32(0, tga.data(), static_cast<uInt>(tga.size())), tga.size()}];
  if (encoded.empty()) encoded = makeBtcFile(readTgaImage(tga, "benchmark texture"));
  return encoded;
}

std::vector<std::uint8_t> coursePanorama(const std::vector<std::uint8_t>& sky, int salt) {
  // A 2048 x 256 band of the sky, shifted along the seamless strip for variants: a bigger
  // panorama stream nearly always holds a false signature and would be lost.
  const auto band = bench::cropTga(sky, 4800, 64 * salt, 32, 2048, 256);
  auto stream = makeTiledPanoramaStream(readTgaImage(band, "sky band"));
  std::memcpy(stream.data(), "nap", 4);
  return stream;
}

const bench::GeneratedCourse& course() {
  static const bench::GeneratedCourse c = bench::generateCourse(std::size_t{64} << 20, btcTexture, coursePanorama);
  return c;
}

struct OutputFolder {
  std::filesystem::path path;
  OutputFolder() {
    const std::filesystem::path base = std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    path = base / ("vellmark-bench-extract-" + std::to_string(::getpid()));
    std::filesystem::create_directories(path);
  }
  ~OutputFolder() { std::filesystem::remove_all(path); }
};

void BM_BareUncompress(benchmark::State& state) {
  const auto& c = course();
  const auto directory = readArchiveDirectory(c.archive);
  std::size_t largest = 0;
  for (const auto& r : directory.records) largest = std::max<std::size_t>(largest, r.uncompressedSize);
  std::vector<std::uint8_t> out(largest);
  for (auto _ : state) {
    for (const auto& r : directory.records) {
      uLongf length = r.uncompressedSize;
      const auto data = memberData(c.archive, r);
      if (uncompress(out.data(), &length, data.data(), static_cast<uLong>(data.size())) != Z_OK ||
          length != r.uncompressedSize)
        state.SkipWithError("uncompress failed");
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * c.archive.size()));
  state.counters["members"] = static_cast<double>(directory.records.size());
}

// The same loop through the inflation the extractor uses (libdeflate where the build has
// it), each member into its 8:1 allowance.
void BM_BareInflateChunk(benchmark::State& state) {
  const auto& c = course();
  const auto directory = readArchiveDirectory(c.archive);
  InflateScratch scratch;
  for (auto _ : state) {
    for (const auto& r : directory.records) {
      const auto data = memberData(c.archive, r);
      const auto member = inflateChunk(data, kInflateAllowance * data.size(), scratch);
      if (!member || member->size() != r.uncompressedSize) state.SkipWithError("inflation failed");
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * c.archive.size()));
  state.SetLabel(inflateAcceptsReservedCodes() ? "libdeflate" : "zlib");
}

void BM_Extract(benchmark::State& state) {
  const auto& c = course();
  const unsigned threads = static_cast<unsigned>(state.range(0));
  OutputFolder folder;
  SilentHost host;
  const std::string prefix = folder.path.string() + "/";
  const int expected = extractCourse(host, c.archive, prefix, 1).inflated;
  ExtractionSummary summary;
  for (auto _ : state) {
    summary = extractCourse(host, c.archive, prefix, threads);
    if (summary.inflated != expected) state.SkipWithError("extraction differs from the one-thread run");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * c.archive.size()));
  state.counters["inflated"] = summary.inflated;
  state.counters["passes"] = summary.passes;
  state.counters["btc"] = summary.count(MemberKind::Btc);
  state.counters["vrt"] = summary.count(MemberKind::Vrt);
}

// The same work with every output aimed at a folder that does not exist: what the
// extraction costs without the file system.
void BM_ExtractNoFiles(benchmark::State& state) {
  const auto& c = course();
  SilentHost host;
  const std::string prefix = "/nonexistent-vellmark-bench/";
  const int expected = extractCourse(host, c.archive, prefix, 1).inflated;
  for (auto _ : state) {
    if (extractCourse(host, c.archive, prefix, static_cast<unsigned>(state.range(0))).inflated != expected)
      state.SkipWithError("extraction differs from the one-thread run");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * c.archive.size()));
}

}  // namespace

BENCHMARK(BM_ExtractNoFiles)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BareUncompress)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BareInflateChunk)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Extract)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const auto& c = course();
  benchmark::AddCustomContext("archive", std::to_string(c.archive.size()) + " bytes, " +
                                             std::to_string(c.members.size()) + " members (" +
                                             std::to_string(c.variantsTried) + " candidates replaced)");
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
