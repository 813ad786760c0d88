#include "tools/btc_writers.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <unordered_map>

#include "btc/btc_encoder.h"
#include "base/file_io.h"
#include "base/tga.h"
#include "btc/btc_file.h"
#include "tools/btc_to_tga.h"
#include "tools/panorama.h"

namespace vellmark {

namespace {

// A side x side tile whose top-left pixel is (left, top) in the image; pixels outside the
// image repeat the nearest edge pixel, so edge blocks fit as well as inner ones.
std::vector<std::uint8_t> tilePixels(const Image& image, std::int64_t left, std::int64_t top, int side) {
  std::vector<std::uint8_t> tile(std::size_t(side) * side * 4);
  for (int y = 0; y < side; ++y) {
    const auto sy = static_cast<std::size_t>(std::clamp<std::int64_t>(top + y, 0, image.height - 1));
    for (int x = 0; x < side; ++x) {
      const auto sx = static_cast<std::size_t>(std::clamp<std::int64_t>(left + x, 0, image.width - 1));
      std::memcpy(&tile[(std::size_t(y) * side + x) * 4], &image.pixels[(sy * image.width + sx) * 4], 4);
    }
  }
  return tile;
}

std::vector<std::uint8_t> encodeTile(const Image& image, std::int64_t left, std::int64_t top, int side) {
  const auto s = static_cast<std::uint16_t>(side);
  return encodeBtcStream(s, s, tilePixels(image, left, top, side));
}

void appendTileRecord(std::vector<std::uint8_t>& out, const std::vector<std::uint8_t>& stream) {
  appendU32(out, 0);  // the word before each stream is not read by the game's tools
  appendU32(out, static_cast<std::uint32_t>(stream.size()));
  out.insert(out.end(), stream.begin(), stream.end());
}

void checkPixels(const Image& image, const char* what) {
  if (image.pixels.size() < std::uint64_t{image.width} * image.height * 4)
    fail(ErrorKind::Argument, std::string(what) + ": the image holds fewer bytes than its size needs");
}

}  // namespace

Image readTgaImage(Bytes tga, const std::string& what) {
  ByteReader reader(tga, what);
  const std::uint8_t idLength = reader.u8();
  const std::uint8_t mapType = reader.u8();
  const std::uint8_t imageType = reader.u8();
  reader.skip(2);
  const std::uint16_t mapLength = reader.u16();
  const std::uint8_t mapEntryBits = reader.u8();
  reader.skip(4);
  Image image;
  image.width = reader.u16();
  image.height = reader.u16();
  const std::uint8_t depth = reader.u8();
  const std::uint8_t descriptor = reader.u8();
  if (imageType != kTgaImageTypeTrueColour || (depth != 24 && depth != 32) || (descriptor & 0x10))
    fail(ErrorKind::Unsupported, what + ": only uncompressed 24- and 32-bit left-to-right TGA images are read (type " +
                                     std::to_string(imageType) + ", " + std::to_string(depth) + " bits)");
  reader.skip(idLength);
  if (mapType != 0) reader.skip(std::size_t{mapLength} * ((mapEntryBits + 7) / 8));
  const std::size_t bytesPerPixel = depth / 8;
  const std::size_t rowBytes = std::size_t{image.width} * bytesPerPixel;
  const Bytes rows = reader.take(rowBytes * image.height);
  const bool topFirst = (descriptor & 0x20) != 0;
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

std::vector<std::uint8_t> makeBtcFile(const Image& image) {
  checkPixels(image, "BTC file");
  if (image.width > 0xFFFF || image.height > 0xFFFF)
    fail(ErrorKind::Unsupported, "a BTC file holds at most 65,535 pixels a side");
  std::vector<std::uint8_t> out;
  appendU32(out, kBtcFileMagic);
  appendU16(out, static_cast<std::uint16_t>(image.width));
  appendU16(out, static_cast<std::uint16_t>(image.height));
  appendU32(out, 0);
  appendU32(out, 0);
  if (image.width == 0 || image.height == 0) {
    appendU32(out, 0xFFFFFFFFu);  // a negative count: BTC2TGA writes the empty image as it is
    return out;
  }

  const int side = static_cast<int>(std::min<std::uint32_t>(kBtcMaxTileSize, (std::max(image.width, image.height) + 3) / 4 * 4));
  struct Placed {
    std::uint32_t x, y;
    std::size_t stream;
  };
  std::vector<Placed> placed;
  std::vector<std::vector<std::uint8_t>> streams;
  std::unordered_map<std::string, std::size_t> seen;  // stream bytes -> index in streams
  // Tiles from the bottom-left corner: y counts up from the bottom edge, so only the top
  // row of tiles and the right column overhang the image.
  for (std::uint32_t y = 0; y < image.height; y += side)
    for (std::uint32_t x = 0; x < image.width; x += side) {
      if (x > 0x7FFF || y > 0x7FFF)
        fail(ErrorKind::Unsupported, "a BTC file places tiles at most 32,767 pixels from its corner");
      auto stream = encodeTile(image, x, std::int64_t{image.height} - y - side, side);
      auto [it, fresh] = seen.emplace(std::string(stream.begin(), stream.end()), streams.size());
      if (fresh) streams.push_back(std::move(stream));
      placed.push_back({x, y, it->second});
    }
  if (streams.size() > 0x10000) fail(ErrorKind::Unsupported, "more than 65,536 distinct tiles for a BTC file");
  appendU32(out, static_cast<std::uint32_t>(placed.size()));

  std::vector<std::uint64_t> offsets;
  std::uint64_t at = kBtcFileHeaderSize + placed.size() * kBtcTileEntrySize;
  for (const auto& s : streams) offsets.push_back(at), at += s.size();
  if (at > 0xFFFFFFFFu) fail(ErrorKind::Unsupported, "BTC file would exceed 4 GiB");
  for (const Placed& p : placed) {
    appendU16(out, static_cast<std::uint16_t>(p.stream));  // one tileId per distinct stream
    appendU16(out, static_cast<std::uint16_t>(side));
    appendU16(out, static_cast<std::uint16_t>(p.x));
    appendU16(out, static_cast<std::uint16_t>(p.y));
    appendU32(out, static_cast<std::uint32_t>(offsets[p.stream]));
    appendU32(out, static_cast<std::uint32_t>(streams[p.stream].size()));
  }
  for (const auto& s : streams) out.insert(out.end(), s.begin(), s.end());
  return out;
}

std::vector<std::uint8_t> makeSkyPanoramaStream(const Image& image) {
  checkPixels(image, "sky panorama");
  if (image.width != kSkyPanoramaWidth || image.height != kSkyPanoramaHeight)
    fail(ErrorKind::Argument, "a sky panorama is 4800 x 320 pixels, not " + std::to_string(image.width) + " x " +
                                  std::to_string(image.height));
  std::vector<std::uint8_t> out;
  for (std::uint32_t word : {0u, 0u, 0u, kSkyWideTileCount, 0u}) appendU32(out, word);
  for (std::size_t i = 0; i < kSkyTileCount; ++i) {
    if (i < kSkyWideTileCount)
      appendTileRecord(out, encodeTile(image, std::int64_t(i) * kPanoramaTileSide, 0, kPanoramaTileSide));
    else
      appendTileRecord(out, encodeTile(image, std::int64_t(i - kSkyWideTileCount) * kSkyLowerTileSide,
                                       kPanoramaTileSide, kSkyLowerTileSide));
  }
  return out;
}

std::vector<std::uint8_t> makeTiledPanoramaStream(const Image& image) {
  checkPixels(image, "tiled panorama");
  const std::uint32_t across = std::max<std::uint32_t>(1, (image.width + 255) / 256);
  const std::uint32_t down = (image.height + 255) / 256;
  if (image.height > 768 || std::uint64_t{image.width} * image.height > kMaxPanoramaPixels ||
      std::uint64_t{across} * down > kTileStoreSlots)
    fail(ErrorKind::Unsupported, "a tiled panorama holds at most 768 rows, 5,529,600 pixels and 94 tiles; " +
                                     std::to_string(image.width) + " x " + std::to_string(image.height) + " does not fit");
  std::vector<std::uint8_t> out;
  for (std::uint32_t word : {0u, image.width, image.height, across, down}) appendU32(out, word);
  for (std::uint32_t band = 0; band < down; ++band)
    for (std::uint32_t k = 0; k < across; ++k) {
      auto tile = image.width == 0 ? std::vector<std::uint8_t>{}
                                   : tilePixels(image, std::int64_t{k} * 256, std::int64_t{band} * 256, 256);
      if (std::all_of(tile.begin(), tile.end(), [](std::uint8_t v) { return v == 0; })) {
        out.insert(out.end(), {kEmptyTileMark, 0, 0, 0});
        continue;
      }
      appendTileRecord(out, encodeBtcStream(256, 256, tile));
    }
  return out;
}

void tgaToBtc(Host& /*host*/, const std::string& tgaPath, const std::string& btcPath) {
  const auto file = makeBtcFile(readTgaImage(readWholeFile(tgaPath), tgaPath));
  if (!writeWholeFile(btcPath, file)) fail(ErrorKind::Io, "cannot write '" + btcPath + "'");
}

}  // namespace vellmark
