#include "cli/commands.h"
#include "panorama/btc_to_tga.h"

namespace vellmark::cli {

int runBtcToTga(Host& host, const std::vector<std::string>& args) {
  const auto file = readInput(args[0]);
  btcToTga(host, file, args[1]);
  return 0;
}

}  // namespace vellmark::cli
