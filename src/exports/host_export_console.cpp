#include "base/host.h"

namespace vellmark {

Host& exportHost() {
  static ConsoleHost host;
  return host;
}

}  // namespace vellmark
