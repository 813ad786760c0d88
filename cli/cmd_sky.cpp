#include "cli/commands.h"
#include "base/ordered_parallel.h"
#include "tools/flip_sky.h"
#include "tools/sky_file.h"

namespace vellmark::cli {

int runFlipSky(Host& host, const std::vector<std::string>& args) {
  (void)flipTgaFile(host, args[0]);
  return 0;
}

int runSkyFile(Host& host, const std::vector<std::string>& args) {
  createSkyFile(host, args[0], args[1], args[2], defaultThreadCount());
  return 0;
}

}  // namespace vellmark::cli
