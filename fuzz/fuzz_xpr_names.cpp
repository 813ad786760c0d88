// Fuzz target: the files xpr2tga would make of a bundle, short of writing them. Every name
// it hands on must pass the file name rule and hold no separator, whatever the bundle's
// names; only vellmark::Error may come back.
#include <cstdint>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file_names.h"
#include "silent_host.h"
#include "tools/xpr_to_tga.h"

namespace {

class QuietHost : public vellmark::test::SilentHost {
 public:
  void printError(std::string_view) override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> copy(data, data + size);
  copy.shrink_to_fit();
  try {
    const auto parsed = vellmark::parseXprBundle(copy, "fuzz input");
    if (!parsed.bundle) return 0;
    QuietHost host;
    const std::size_t refused = vellmark::buildXprFiles(
        host, *parsed.bundle, "base", [&](const std::string& name, std::initializer_list<vellmark::Bytes>) {
          if (vellmark::fileNameProblem(name) || name.find_first_of("/\\") != std::string::npos) __builtin_trap();
        });
    if (refused > parsed.bundle->directory.size()) __builtin_trap();
  } catch (const vellmark::Error&) {
  }
  return 0;
}
