#include "base/tga.h"

#include <algorithm>

namespace vellmark {

TgaHeader readTgaHeader(Bytes file, const std::string& what) {
  ByteReader reader(file, what);
  reader.skip(12);
  TgaHeader header;
  header.width = reader.u16();
  header.height = reader.u16();
  header.pixelDepth = reader.u8();
  header.descriptor = reader.u8();
  return header;
}

Bytes tgaPixelRows(Bytes file, std::size_t rowBytes, std::size_t rows, const std::string& what) {
  ByteReader reader(file, what);
  reader.skip(kTgaHeaderSize);
  return reader.take(rowBytes * rows);
}

std::array<std::uint8_t, kTgaHeaderSize> makeTgaHeader(std::uint16_t width, std::uint16_t height,
                                                       std::uint8_t descriptor) {
  std::array<std::uint8_t, kTgaHeaderSize> header{};
  header[2] = kTgaImageTypeTrueColour;
  storeU16(&header[12], width);
  storeU16(&header[14], height);
  header[16] = kTgaPixelDepth32;
  header[17] = descriptor;
  return header;
}

std::vector<std::uint8_t> makeTgaImage(std::uint16_t width, std::uint16_t height, Bytes pixels,
                                       std::uint8_t descriptor) {
  const std::size_t pixelBytes = std::size_t{width} * height * 4;
  if (pixels.size() < pixelBytes)
    fail(ErrorKind::Truncated, "image of " + std::to_string(width) + " x " + std::to_string(height) + " needs " +
                                   std::to_string(pixelBytes) + " pixel bytes, " + std::to_string(pixels.size()) +
                                   " given");
  std::vector<std::uint8_t> image(kTgaHeaderSize + pixelBytes);
  auto header = makeTgaHeader(width, height, descriptor);
  std::copy(header.begin(), header.end(), image.begin());
  std::copy_n(pixels.begin(), pixelBytes, image.begin() + kTgaHeaderSize);
  return image;
}

}  // namespace vellmark
