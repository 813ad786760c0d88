// Helpers shared by the tests: a host that records instead of showing, scratch folders,
// the bundled real data, and small byte builders.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/host.h"

namespace vellmark::test {

struct ProcessExit {
  int status;
};

// Records every box and every printed text; exitProcess throws ProcessExit.
class RecordingHost : public Host {
 public:
  struct Box {
    std::string caption, text;
    bool operator==(const Box&) const = default;
  };
  std::vector<Box> boxes;
  std::string printed;
  std::string printedErrors;
  std::string executable = "/opt/frontend/frontend.exe";
  std::vector<std::string> createdFolders;
  std::optional<std::string> dialogAnswer;  // what the open-file dialog returns
  std::vector<std::string> dialogRequests;

  void messageBox(std::string_view caption, std::string_view text) override {
    boxes.push_back({std::string(caption), std::string(text)});
  }
  std::string executablePath() override { return executable; }
  bool folderExists(const std::string& path) override;
  void createFolder(const std::string& path) override;
  std::optional<std::string> openFileDialog(const std::string& initial) override {
    dialogRequests.push_back(initial);
    return dialogAnswer;
  }
  void print(std::string_view text) override { printed += text; }
  void printError(std::string_view text) override { printedErrors += text; }
  [[noreturn]] void exitProcess(int status) override { throw ProcessExit{status}; }
};

// A fresh empty folder under the system's temporary folder, removed with the object.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  // path / name as a string, with the platform's separator.
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  // The folder with a trailing separator, for tools that append names directly.
  std::string prefix() const { return path_.string() + "/"; }

 private:
  std::filesystem::path path_;
};

// Absolute path of a file under tests/data.
std::string dataPath(const std::string& relative);
// A file under tests/data, inflated when its name ends in ".gz".
std::vector<std::uint8_t> loadData(const std::string& relative);

std::vector<std::uint8_t> readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);
bool fileExists(const std::filesystem::path& path);

// A 32-bit TGA image: 18-byte header with the given bytes 16-17, then the pixels.
std::vector<std::uint8_t> makeTga(std::uint16_t width, std::uint16_t height, std::uint8_t depth,
                                  std::uint8_t descriptor, const std::vector<std::uint8_t>& pixels);
// Pixels width x height x 4 where every byte depends on its position (rows tell apart).
std::vector<std::uint8_t> patternPixels(int width, int height, std::uint32_t seed = 1);

// zlib's own one-shot compress2, independent of the library's helpers.
std::vector<std::uint8_t> zlibCompress(const std::vector<std::uint8_t>& data, int level = -1);
// width x height x 4 pixels whose every 4 x 4 block is one colour telling the block apart (the
// BTC encoder stores such blocks exactly).
std::vector<std::uint8_t> blockPixels(std::uint32_t width, std::uint32_t height, int seed = 0);

// A "BTCV" file of one size x size tile (size a multiple of 4, at most 256) whose stream is one
// solid run of `colour` (B, G, R, A); entryCount as given.
std::vector<std::uint8_t> solidBtcFile(std::uint16_t size, std::int32_t entryCount, std::array<std::uint8_t, 4> colour);

// A byte vector from small integers: bytes({0x78, 0x9C}).
std::vector<std::uint8_t> bytes(std::initializer_list<int> values);

void putU16(std::vector<std::uint8_t>& v, std::size_t at, std::uint16_t x);
void putU32(std::vector<std::uint8_t>& v, std::size_t at, std::uint32_t x);
std::uint32_t getU32(const std::vector<std::uint8_t>& v, std::size_t at);

// Runs the vellmark program with `args`; returns its exit status and captured streams.
struct RunResult {
  int status;
  std::string out, err;
};
RunResult runCli(const std::vector<std::string>& args);

// The kind of the Error that `run` raises; a test failure (and Io) when it raises none.
ErrorKind errorKind(const std::function<void()>& run);

}  // namespace vellmark::test
