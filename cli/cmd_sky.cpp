#include "cli/commands.h"
#include "sky/flip_sky.h"

namespace vellmark::cli {

int runFlipSky(Host& host, const std::vector<std::string>& args) {
  (void)flipTgaFile(host, args[0]);
  return 0;
}

}  // namespace vellmark::cli
