#include "xfile/x_header.h"

#include <cstring>

#include "xfile/x_error.h"

namespace vellmark::d3d {

namespace {

bool fieldIs(std::span<const std::uint8_t> file, std::size_t at, const char* text) {
  return std::memcmp(file.data() + at, text, 4) == 0;
}

}  // namespace

XHeader readXHeader(std::span<const std::uint8_t> file) {
  if (file.size() < kXHeaderSize || !fieldIs(file, 0, "xof "))
    failX(kBadFileType, "not a .x file: the first 16 bytes are not a \"xof \" header");
  if (!fieldIs(file, 4, "0302") && !fieldIs(file, 4, "0303"))
    failX(kBadFileVersion, "unsupported .x version (only 0302 and 0303 are read)");
  XHeader header;
  if (fieldIs(file, 8, "txt ")) {
    header.format = XBodyFormat::Text;
  } else if (fieldIs(file, 8, "bin ")) {
    header.format = XBodyFormat::Binary;
  } else if (fieldIs(file, 8, "tzip")) {
    header.format = XBodyFormat::Text;
    header.compressed = true;
  } else if (fieldIs(file, 8, "bzip")) {
    header.format = XBodyFormat::Binary;
    header.compressed = true;
  } else {
    failX(kBadFileType, "unknown .x body format (not txt, bin, tzip or bzip)");
  }
  if (fieldIs(file, 12, "0032")) {
    header.floatBytes = 4;
  } else if (fieldIs(file, 12, "0064")) {
    header.floatBytes = 8;
  } else {
    failX(kBadFileFloatSize, "unsupported .x float size (only 0032 and 0064)");
  }
  return header;
}

}  // namespace vellmark::d3d
