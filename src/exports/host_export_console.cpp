#include "platform/console_host.h"
#include "platform/export_host.h"

namespace vellmark {

Host& exportHost() {
  static ConsoleHost host;
  return host;
}

}  // namespace vellmark
