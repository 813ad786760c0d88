// Course extraction against the least any extractor must do: a bare loop of zlib
// uncompress over the same members. Run: bench/run.sh bench_extract
#include <benchmark/benchmark.h>
#include <unistd.h>
#include <zlib.h>

#include <filesystem>
#include <memory>

#include "course/extract_course.h"
#include "course_fixture.h"
#include "formats/btc_codec.h"

using namespace vellmark;

namespace {

class SilentHost : public Host {
 public:
  void messageBox(std::string_view, std::string_view) override {}
  std::string executablePath() override { return "/nonexistent/frontend"; }
  bool folderExists(const std::string&) override { return true; }
  void createFolder(const std::string&) override {}
  std::optional<std::string> openFileDialog(const std::string&) override { return std::nullopt; }
  void print(std::string_view) override {}
  [[noreturn]] void exitProcess(int) override { std::abort(); }
};

// A "BTCV" file of one square tile whose stream is opaque runs of colour blocks taken
// straight from the pixels: the decoder's work is that of a real texture of that size.
std::vector<std::uint8_t> simpleBtc(const std::vector<std::uint8_t>& tga) {
  const std::uint16_t side = loadU16(&tga[12]);
  std::vector<std::uint8_t> stream;
  const std::uint32_t blocks = (side / 4u) * (side / 4u);
  for (std::uint32_t first = 0; first < blocks; first += kBtcMaxRunLength) {
    const std::uint32_t n = std::min(kBtcMaxRunLength, blocks - first);
    appendU16(stream, btcCommand(BtcRunType::Opaque, n));
    for (std::uint32_t k = first; k < first + n; ++k)
      stream.insert(stream.end(), tga.begin() + 18 + k * 16, tga.begin() + 18 + k * 16 + 8);
  }
  std::vector<std::uint8_t> file(36 + stream.size(), 0);
  storeU32(&file[0], 0x56435442);
  storeU16(&file[4], side);
  storeU16(&file[6], side);
  storeU32(&file[16], 1);
  storeU16(&file[22], side);
  storeU32(&file[28], 36);
  storeU32(&file[32], static_cast<std::uint32_t>(stream.size()));
  std::copy(stream.begin(), stream.end(), file.begin() + 36);
  return file;
}

std::vector<std::uint8_t> simplePanorama(const std::vector<std::uint8_t>& sky, int salt) {
  std::vector<std::uint8_t> member(4 + (std::size_t{1} << 18));
  std::memcpy(member.data(), "nap", 4);
  std::copy_n(sky.begin() + 18 + salt * 4096, member.size() - 4, member.begin() + 4);
  return member;
}

const bench::GeneratedCourse& course() {
  static const bench::GeneratedCourse c = bench::generateCourse(std::size_t{64} << 20, simpleBtc, simplePanorama);
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
