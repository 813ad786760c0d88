#include "support/sha256.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vellmark::test {

// coreutils' sha256sum, so that the digests in the tests are the ones anyone can recompute.
std::string sha256Hex(std::span<const std::uint8_t> data) {
  const auto path = std::filesystem::temp_directory_path() / ("vellmark-sha-" + std::to_string(::getpid()));
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
  std::FILE* p = ::popen(("sha256sum '" + path.string() + "'").c_str(), "r");
  char hex[65] = {};
  const bool ok = p && std::fscanf(p, "%64s", hex) == 1;
  if (p) ::pclose(p);
  std::filesystem::remove(path);
  if (!ok) throw std::runtime_error("sha256sum failed");
  return hex;
}

}  // namespace vellmark::test
