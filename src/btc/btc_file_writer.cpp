#include "btc/btc_file_writer.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "btc/btc_encoder.h"
#include "btc/btc_file.h"

namespace vellmark {

std::vector<std::uint8_t> makeBtcFile(const Image& image) {
  checkImagePixels(image, "BTC file");
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
      auto stream = encodeBtcTile(image, x, std::int64_t{image.height} - y - side, side);
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

}  // namespace vellmark
