// The sky-file and flip-sky tools on hostile images, read from files as the tools read
// them: the first byte picks the tool (odd: flip-sky), the next two where the preview ends
// and the main sky begins for sky-file. Outputs go to a scratch folder (flip-sky's to a
// folder that does not exist, so it writes nothing).
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

#include "base/error.h"
#include "base/file_io.h"
#include "silent_host.h"
#include "tools/flip_sky.h"
#include "tools/sky_file.h"

namespace {

// Removed when the process ends.
struct Scratch {
  std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("vellmark-fuzz-sky-" + std::to_string(std::random_device{}()));
  Scratch() { std::filesystem::create_directories(dir); }
  ~Scratch() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
};

const std::filesystem::path& scratch() {
  static const Scratch s;
  return s.dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  vellmark::test::SilentHost host;
  const std::string preview = (scratch() / "preview.tga").string(), sky = (scratch() / "sky.tga").string();
  try {
    if (data[0] & 1) {
      if (!vellmark::writeWholeFile(sky, {data + 1, size - 1})) return 0;
      (void)vellmark::flipTgaFile(host, sky);
    } else {
      const std::size_t cut = std::min<std::size_t>(size - 3, data[1] | data[2] << 8);
      if (!vellmark::writeWholeFile(preview, {data + 3, cut}) || !vellmark::writeWholeFile(sky, {data + 3 + cut, size - 3 - cut}))
        return 0;
      vellmark::createSkyFile(host, preview, sky, scratch().string() + "/", 1);
    }
  } catch (const vellmark::Error&) {
  }
  return 0;
}
