#include "base/tga.h"

#include <algorithm>

namespace vellmark {

TgaHeader readTgaHeader(Bytes file, const std::string& what) {
  ByteReader reader(file, what);
  TgaHeader header;
  header.idLength = reader.u8();
  header.mapType = reader.u8();
  header.imageType = reader.u8();
  header.mapStart = reader.u16();
  header.mapLength = reader.u16();
  header.mapBits = reader.u8();
  reader.skip(4);  // origin
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

Image readTgaImage(Bytes tga, const std::string& what) {
  const TgaHeader header = readTgaHeader(tga, what);
  const std::uint8_t depth = header.pixelDepth;
  const std::uint8_t descriptor = header.descriptor;
  if (header.imageType != kTgaImageTypeTrueColour || (depth != 24 && depth != 32) || (descriptor & kTgaDescriptorRightToLeft))
    fail(ErrorKind::Unsupported, what + ": only uncompressed 24- and 32-bit left-to-right TGA images are read (type " +
                                     std::to_string(header.imageType) + ", " + std::to_string(depth) + " bits)");
  ByteReader reader(tga, what);
  reader.seek(header.dataOffset());
  Image image;
  image.width = header.width;
  image.height = header.height;
  const std::size_t bytesPerPixel = depth / 8;
  const std::size_t rowBytes = std::size_t{image.width} * bytesPerPixel;
  const Bytes rows = reader.take(rowBytes * image.height);
  const bool topFirst = (descriptor & kTgaDescriptorTopFirst) != 0;
  image.pixels.resize(std::size_t{image.width} * image.height * 4);
  for (std::size_t y = 0; y < image.height; ++y) {
    const std::uint8_t* src = rows.data() + (topFirst ? y : image.height - 1 - y) * rowBytes;
    std::uint8_t* dst = image.pixels.data() + y * image.width * 4;
    for (std::size_t x = 0; x < image.width; ++x, src += bytesPerPixel, dst += 4) {
      dst[0] = src[0], dst[1] = src[1], dst[2] = src[2];
      dst[3] = bytesPerPixel == 4 ? src[3] : 255;
    }
  }
  return image;
}

void checkImagePixels(const Image& image, const std::string& what) {
  if (image.pixels.size() < std::uint64_t{image.width} * image.height * 4)
    fail(ErrorKind::Argument, what + ": the image holds fewer bytes than its size needs");
}

std::vector<std::uint8_t> flipTgaRows(Bytes tga, std::size_t rowBytes, std::size_t rows, const std::string& what) {
  const Bytes pixels = tgaPixelRows(tga, rowBytes, rows, what);
  std::vector<std::uint8_t> out(kTgaHeaderSize + pixels.size());
  std::copy_n(tga.begin(), kTgaHeaderSize, out.begin());
  storeU16(&out[16], kTgaSystemLayout);
  auto dst = out.begin() + kTgaHeaderSize;
  for (std::size_t r = rows; r-- > 0;) {
    const auto row = pixels.subspan(r * rowBytes, rowBytes);
    dst = std::copy(row.begin(), row.end(), dst);
  }
  return out;
}

}  // namespace vellmark
