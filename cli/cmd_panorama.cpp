#include <filesystem>

#include "cli/commands.h"
#include "base/paths.h"
#include "tools/btc_to_tga.h"
#include "tools/btc_writers.h"
#include "tools/panorama.h"

namespace vellmark::cli {

namespace {

// The tools put their file names right behind the folder argument; on the command line a
// folder that exists is taken as a folder even without its trailing separator.
std::string outputPrefix(const std::string& arg) {
  std::error_code ec;
  if (!arg.empty() && arg.back() != kPathSeparator && std::filesystem::is_directory(arg, ec))
    return arg + kPathSeparator;
  return arg;
}

}  // namespace

int runBtcToTga(Host& host, const std::vector<std::string>& args) {
  const auto file = readInput(args[0]);
  btcToTga(host, file, args[1]);
  return 0;
}

int runPanorama(Host& host, const std::vector<std::string>& args) {
  const auto archive = readInput(args[0]);
  createPanorama(host, archive, outputPrefix(args[1]));
  return 0;
}

int runRawPanorama(Host& host, const std::vector<std::string>& args) {
  const auto stream = readInput(args[0]);
  createUncompressedPanorama(host, stream, outputPrefix(args[1]));
  return 0;
}

int runTgaToBtc(Host& host, const std::vector<std::string>& args) {
  tgaToBtc(host, args[0], args[1]);
  return 0;
}

}  // namespace vellmark::cli
