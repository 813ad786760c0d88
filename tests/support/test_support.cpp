#include "support/test_support.h"

#include <sys/wait.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "support/gunzip.h"

namespace vellmark::test {

namespace fs = std::filesystem;

bool RecordingHost::folderExists(const std::string& path) { return fs::is_directory(path); }

void RecordingHost::createFolder(const std::string& path) {
  createdFolders.push_back(path);
  std::error_code ec;
  fs::create_directory(path, ec);
}

ScratchDir::ScratchDir() {
  static std::mt19937_64 rng{std::random_device{}()};
  path_ = fs::temp_directory_path() / ("vellmark-test-" + std::to_string(rng()));
  fs::create_directories(path_);
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::string dataPath(const std::string& relative) { return std::string(VELLMARK_TEST_DATA_DIR) + "/" + relative; }

std::vector<std::uint8_t> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path.string());
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path.string());
}

bool fileExists(const fs::path& path) { return fs::exists(path); }

std::vector<std::uint8_t> loadData(const std::string& relative) {
  auto raw = readFile(dataPath(relative));
  if (relative.size() < 3 || relative.compare(relative.size() - 3, 3, ".gz") != 0) return raw;
  return gunzip(raw, relative);
}

std::vector<std::uint8_t> makeTga(std::uint16_t width, std::uint16_t height, std::uint8_t depth,
                                  std::uint8_t descriptor, const std::vector<std::uint8_t>& pixels) {
  // Sized once: growing an 18-byte vector trips a false -Warray-bounds in GCC 12's optimiser.
  std::vector<std::uint8_t> out(18 + pixels.size(), 0);
  out[2] = 2;
  putU16(out, 12, width);
  putU16(out, 14, height);
  out[16] = depth;
  out[17] = descriptor;
  std::copy(pixels.begin(), pixels.end(), out.begin() + 18);
  return out;
}

std::vector<std::uint8_t> patternPixels(int width, int height, std::uint32_t seed) {
  std::vector<std::uint8_t> px(static_cast<std::size_t>(width) * height * 4);
  std::uint32_t x = seed * 2654435761u + 1;
  for (auto& b : px) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    b = static_cast<std::uint8_t>(x);
  }
  return px;
}

std::vector<std::uint8_t> bytes(std::initializer_list<int> values) {
  std::vector<std::uint8_t> out;
  for (int v : values) out.push_back(static_cast<std::uint8_t>(v));
  return out;
}

void putU16(std::vector<std::uint8_t>& v, std::size_t at, std::uint16_t x) {
  v.at(at) = static_cast<std::uint8_t>(x);
  v.at(at + 1) = static_cast<std::uint8_t>(x >> 8);
}

void putU32(std::vector<std::uint8_t>& v, std::size_t at, std::uint32_t x) {
  for (int i = 0; i < 4; ++i) v.at(at + i) = static_cast<std::uint8_t>(x >> (8 * i));
}

std::uint32_t getU32(const std::vector<std::uint8_t>& v, std::size_t at) {
  return v.at(at) | (v.at(at + 1) << 8) | (v.at(at + 2) << 16) | (static_cast<std::uint32_t>(v.at(at + 3)) << 24);
}

RunResult runCli(const std::vector<std::string>& args) {
  ScratchDir capture;
  std::string command = "'" + std::string(VELLMARK_CLI_PATH) + "'";
  for (const auto& a : args) command += " '" + a + "'";
  command += " >'" + capture.file("out") + "' 2>'" + capture.file("err") + "'";
  int raw = std::system(command.c_str());
  RunResult r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  auto slurp = [&](const char* name) {
    auto bytes = readFile(capture.file(name));
    return std::string(bytes.begin(), bytes.end());
  };
  r.out = slurp("out");
  r.err = slurp("err");
  return r;
}

std::vector<std::uint8_t> zlibCompress(const std::vector<std::uint8_t>& data, int level) {
  uLongf length = compressBound(static_cast<uLong>(data.size()));
  std::vector<std::uint8_t> out(length);
  if (compress2(out.data(), &length, data.data(), static_cast<uLong>(data.size()), level) != Z_OK)
    throw std::runtime_error("zlib compress2 failed");
  out.resize(length);
  return out;
}

std::vector<std::uint8_t> blockPixels(std::uint32_t width, std::uint32_t height, int seed) {
  std::vector<std::uint8_t> px(std::size_t{width} * height * 4);
  for (std::uint32_t y = 0; y < height; ++y)
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t bx = x / 4, by = y / 4;
      std::uint8_t* p = &px[(std::size_t{y} * width + x) * 4];
      p[0] = static_cast<std::uint8_t>(bx);
      p[1] = static_cast<std::uint8_t>(bx >> 8 | by << 3);
      p[2] = static_cast<std::uint8_t>(by >> 5 | seed << 4);
      p[3] = static_cast<std::uint8_t>(128 + (bx + by) % 100);
    }
  return px;
}

// Sized in one step: growing a 4-byte vector trips a false -Warray-bounds in GCC 12 at -O3.
std::vector<std::uint8_t> solidBtcFile(std::uint16_t size, std::int32_t entryCount, std::array<std::uint8_t, 4> colour) {
  const unsigned blocks = (size / 4u) * (size / 4u);
  std::vector<std::uint8_t> m(38 + 4 * std::size_t{blocks}, 0);
  std::memcpy(m.data(), "BTCV", 4);
  putU16(m, 4, size);
  putU16(m, 6, size);
  putU32(m, 16, static_cast<std::uint32_t>(entryCount));
  putU16(m, 22, size);  // tile size; id, x and y are 0
  putU32(m, 28, 36);    // stream offset
  putU32(m, 32, 2 + 4 * blocks);
  m[36] = static_cast<std::uint8_t>(blocks);
  m[37] = static_cast<std::uint8_t>(0x40 | blocks >> 8);
  for (unsigned b = 0; b < blocks; ++b) std::copy(colour.begin(), colour.end(), m.begin() + 38 + 4 * b);
  return m;
}

ErrorKind errorKind(const std::function<void()>& run) {
  try {
    run();
  } catch (const Error& e) {
    return e.kind();
  }
  ADD_FAILURE() << "no error raised";
  return ErrorKind::Io;
}

}  // namespace vellmark::test
