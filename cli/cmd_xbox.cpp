#include "cli/commands.h"
#include "tools/xpr_to_tga.h"

namespace vellmark::cli {

int runXprToTga(Host& host, const std::vector<std::string>& args) {
  xprToTga(host, args[0], args[1]);
  return 0;
}

}  // namespace vellmark::cli
