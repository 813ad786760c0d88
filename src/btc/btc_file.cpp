#include "btc/btc_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "btc/btc_codec.h"
#include "base/tga.h"

namespace vellmark {

namespace {

constexpr std::size_t kTileImageBytes = std::size_t{kBtcMaxTileSize} * kBtcMaxTileSize * 4;

struct BtcFileHeader {
  std::uint32_t magic = 0;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::int32_t entryCount = 0;
};

BtcFileHeader readHeader(Bytes file) {
  ByteReader reader(file, "BTC file header");
  BtcFileHeader header;
  header.magic = reader.u32();
  header.width = reader.u16();
  header.height = reader.u16();
  reader.skip(8);  // the flags word has no effect on the conversion; the rest is reserved
  header.entryCount = reader.i32();
  return header;
}

BtcTileEntry readEntry(Bytes file, std::size_t index) {
  ByteReader reader(file.subspan(kBtcFileHeaderSize + index * kBtcTileEntrySize, kBtcTileEntrySize), "BTC tile entry");
  BtcTileEntry entry;
  entry.tileId = reader.i16();
  entry.size = reader.i16();
  entry.x = reader.i16();
  entry.y = reader.i16();
  entry.dataOffset = reader.u32();
  entry.dataLength = reader.u32();
  return entry;
}

// Copies the part of a size x size tile (stride size x 4) that falls inside the image.
void placeTile(const std::uint8_t* tile, const BtcTileEntry& entry, std::uint16_t width, std::uint16_t height,
               std::uint8_t* pixels) {
  const int size = entry.size;
  const int firstColumn = std::max(0, -int{entry.x});
  const int endColumn = std::min(size, int{width} - entry.x);
  if (firstColumn >= endColumn) return;
  const std::size_t rowBytes = std::size_t(endColumn - firstColumn) * 4;
  for (int j = 0; j < size; ++j) {
    const int row = int{height} - entry.y - size + j;
    if (row < 0 || row >= height) continue;
    std::memcpy(pixels + (std::size_t(row) * width + std::size_t(entry.x + firstColumn)) * 4,
                tile + (std::size_t(j) * size + std::size_t(firstColumn)) * 4, rowBytes);
  }
}

}  // namespace

std::vector<std::uint8_t> convertBtcToTga(Bytes file) {
  if (file.size() < kBtcFileHeaderSize)
    fail(ErrorKind::Truncated, "BTC file of " + std::to_string(file.size()) + " bytes, shorter than its header");
  const BtcFileHeader header = readHeader(file);
  if (header.entryCount == 0) fail(ErrorKind::Corrupt, "BTC file without tile entries");

  std::vector<BtcTileEntry> entries;
  std::vector<std::size_t> source;  // index of the entry whose stream each entry decodes
  if (header.entryCount > 0) {
    const auto count = static_cast<std::uint64_t>(header.entryCount);
    if (!rangeFits(kBtcFileHeaderSize, count * kBtcTileEntrySize, file.size()))
      fail(ErrorKind::Truncated, "BTC file ends inside its " + std::to_string(count) + " tile entries");
    entries.reserve(static_cast<std::size_t>(count));
    source.reserve(static_cast<std::size_t>(count));
    std::vector<std::int32_t> firstWithId(65536, -1);
    for (std::size_t i = 0; i < count; ++i) {
      const BtcTileEntry entry = readEntry(file, i);
      if (entry.size < 0 || entry.size > kBtcMaxTileSize)
        fail(ErrorKind::Corrupt, "BTC tile entry " + std::to_string(i) + " of size " + std::to_string(entry.size));
      auto& first = firstWithId[static_cast<std::uint16_t>(entry.tileId)];
      if (first < 0) first = static_cast<std::int32_t>(i);
      entries.push_back(entry);
      source.push_back(static_cast<std::size_t>(first));
    }
    // Only streams that are decoded are read, so only theirs must lie inside the file.
    if (header.magic == kBtcFileMagic)
      for (std::size_t i = 0; i < entries.size(); ++i) {
        const BtcTileEntry& decoded = entries[source[i]];
        if (decoded.size > 0 && !rangeFits(decoded.dataOffset, decoded.dataLength, file.size()))
          fail(ErrorKind::Truncated, "BTC tile entry " + std::to_string(source[i]) + " has its stream outside the file");
      }
  }

  const std::uint64_t pixelBytes = std::uint64_t{header.width} * header.height * 4;
  if (pixelBytes > kMaxBtcImageBytes ||
      pixelBytes + kTgaHeaderSize > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()))
    fail(ErrorKind::Unsupported, "BTC image of " + std::to_string(header.width) + " x " + std::to_string(header.height) +
                                     " pixels needs more than the 1 GiB a converted image may take");
  std::vector<std::uint8_t> image(kTgaHeaderSize + static_cast<std::size_t>(pixelBytes), 0);
  const auto tgaHeader = makeTgaHeader(header.width, header.height);
  std::copy(tgaHeader.begin(), tgaHeader.end(), image.begin());
  std::uint8_t* pixels = image.data() + kTgaHeaderSize;

  // One tile image for the whole file, as in the game's converter: a stream that does not
  // cover its tile leaves the previous tile's bytes in place.
  std::vector<std::uint8_t> tile(kTileImageBytes, 0);
  std::size_t lastDecoded = std::numeric_limits<std::size_t>::max();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const BtcTileEntry& entry = entries[i];
    const BtcTileEntry& decoded = entries[source[i]];
    // Decoding the same stream again into the same tile gives the same bytes, so
    // consecutive entries of one tileId decode it once.
    if (header.magic == kBtcFileMagic && decoded.size > 0 && lastDecoded != source[i]) {
      const auto side = static_cast<std::uint16_t>(decoded.size);
      (void)decodeBtcStream(side, side, tile, file.subspan(decoded.dataOffset, decoded.dataLength));
      lastDecoded = source[i];
    }
    placeTile(tile.data(), entry, header.width, header.height, pixels);
  }
  return image;
}

}  // namespace vellmark
