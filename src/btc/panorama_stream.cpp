#include "btc/panorama_stream.h"

#include <algorithm>
#include <limits>
#include <new>

#include "base/tga.h"
#include "btc/btc_codec.h"

namespace vellmark {

namespace {

constexpr std::size_t kTileRowBytes = std::size_t{kPanoramaTileSide} * 4;
constexpr std::size_t kSkyLowerRowBytes = std::size_t{kSkyLowerTileSide} * 4;

// The block stream of the next full tile record (word, length, stream).
Bytes takeTileStream(ByteReader& reader) {
  reader.skip(4);
  const std::uint32_t length = reader.u32();
  return reader.take(length);
}

void decodeTile(Bytes stream, int side, std::span<std::uint8_t> into) {
  const auto s = static_cast<std::uint16_t>(side);
  (void)decodeBtcStream(s, s, into, stream);  // sides of 256 and 64 never need the scratch image
}

std::vector<std::uint8_t> newImage(std::uint32_t width, std::uint32_t height) {
  std::vector<std::uint8_t> image(kTgaHeaderSize + std::size_t{width} * height * 4);
  // The header holds 16-bit sides; the game's tool stores the low half of each.
  const auto header = makeTgaHeader(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height));
  std::copy(header.begin(), header.end(), image.begin());
  return image;
}

}  // namespace

TileStore::TileStore() : bytes_(static_cast<std::uint8_t*>(std::calloc(kTileStoreBytes, 1))) {
  if (!bytes_) throw std::bad_alloc();
}

std::vector<std::uint8_t> buildSkyPanorama(Bytes stream, TileStore& store, const std::string& what) {
  ByteReader reader(stream, what);
  reader.skip(12);
  const std::uint32_t wideTiles = reader.u32();
  if (wideTiles != kSkyWideTileCount)
    fail(ErrorKind::Unsupported, what + ": wideTileCount is " + std::to_string(wideTiles) + ", the sky layout needs " +
                                     std::to_string(kSkyWideTileCount));
  reader.skip(4);
  for (std::size_t i = 0; i < kSkyTileCount; ++i) {
    const int side = i < kSkyWideTileCount ? kPanoramaTileSide : kSkyLowerTileSide;
    const Bytes tile = takeTileStream(reader);
    auto slot = store.slot(i).first(std::size_t(side) * side * 4);
    // Each sky tile is decoded into a fresh image before it is copied into its slot.
    std::fill(slot.begin(), slot.end(), std::uint8_t{0});
    decodeTile(tile, side, slot);
  }

  auto image = newImage(kSkyPanoramaWidth, kSkyPanoramaHeight);
  std::uint8_t* out = image.data() + kTgaHeaderSize;
  const Bytes slots = store.bytes();
  for (int r = 0; r < kPanoramaTileSide; ++r)
    for (std::size_t t = 0; t < kSkyWideTileCount; ++t) {
      // 18 x 256 + 192 = 4800: the last wide tile gives its first 192 columns.
      const std::size_t bytes = t + 1 < kSkyWideTileCount ? kTileRowBytes : 192 * 4;
      out = std::copy_n(slots.begin() + t * kTileSlotBytes + r * kTileRowBytes, bytes, out);
    }
  for (int r = 0; r < kSkyPanoramaHeight - kPanoramaTileSide; ++r)
    for (std::size_t t = kSkyWideTileCount; t < kSkyTileCount; ++t)
      out = std::copy_n(slots.begin() + t * kTileSlotBytes + r * kSkyLowerRowBytes, kSkyLowerRowBytes, out);
  return image;
}

std::vector<std::uint8_t> buildTiledPanorama(Bytes stream, TileStore& store, const std::string& what) {
  ByteReader reader(stream, what);
  reader.skip(4);
  const std::uint32_t width = reader.u32();
  const std::uint32_t height = reader.u32();
  const std::uint32_t across = reader.u32();
  const std::uint32_t down = reader.u32();
  const std::uint64_t tiles = std::uint64_t{across} * down;
  if (tiles > kTileStoreSlots)
    fail(ErrorKind::Unsupported, what + ": " + std::to_string(across) + " x " + std::to_string(down) +
                                     " tiles, more than the " + std::to_string(kTileStoreSlots) + " the tile store holds");
  if (std::uint64_t{width} * height > kMaxPanoramaPixels)
    fail(ErrorKind::Unsupported, what + ": " + std::to_string(width) + " x " + std::to_string(height) +
                                     " pixels, more than the " + std::to_string(kMaxPanoramaPixels) + " a panorama holds");

  // Where each band's rows are read in the store, checked before anything is decoded: row r
  // of band b reads tiles b x across .. b x across + across - 1 at tile row r - 256 b, the
  // last of them for width - (across - 1) x 256 columns.
  if (height > 0) {
    const std::int64_t lastColumns = std::int64_t{width} - (std::int64_t{across} - 1) * kPanoramaTileSide;
    if (across == 0 || lastColumns < 0)
      fail(ErrorKind::Corrupt, what + ": width " + std::to_string(width) + " does not fit " + std::to_string(across) +
                                   " tiles of 256 across");
    for (std::uint32_t band = 0; band < 3 && band * 256u < height; ++band) {
      const std::uint64_t lastRow = band < 2 ? std::min<std::uint64_t>(height, (band + 1) * 256u) - 1 : height - 1;
      const std::uint64_t end = (std::uint64_t{band} * across + across - 1) * kTileSlotBytes +
                                (lastRow - band * 256u) * kTileRowBytes + static_cast<std::uint64_t>(lastColumns) * 4;
      if (end > kTileStoreBytes)
        fail(ErrorKind::Unsupported, what + ": rows of band " + std::to_string(band) + " would be read beyond the " +
                                         std::to_string(kTileStoreSlots) + "-tile store");
    }
  }

  for (std::size_t i = 0; i < tiles; ++i) {
    const std::size_t at = reader.position();
    reader.skip(kEmptyTileRecordSize);
    auto slot = store.slot(i);
    if (stream[at] == kEmptyTileMark) {
      std::fill(slot.begin(), slot.end(), std::uint8_t{0});
      continue;
    }
    reader.seek(at);
    decodeTile(takeTileStream(reader), kPanoramaTileSide, slot);
  }

  auto image = newImage(width, height);
  std::uint8_t* out = image.data() + kTgaHeaderSize;
  const Bytes slots = store.bytes();
  const std::size_t lastBytes = (std::size_t{width} - (std::size_t{across} - 1) * kPanoramaTileSide) * 4;
  for (std::uint32_t r = 0; r < height; ++r) {
    const std::size_t band = std::min<std::uint32_t>(r / 256, 2);
    const std::size_t tileRow = r - 256 * band;
    for (std::size_t k = 0; k < across; ++k) {
      const std::size_t from = (band * across + k) * kTileSlotBytes + tileRow * kTileRowBytes;
      out = std::copy_n(slots.begin() + from, k + 1 < across ? kTileRowBytes : lastBytes, out);
    }
  }
  return image;
}

std::size_t describedTiledPanoramaSize(const std::uint8_t* stream) {
  const std::uint64_t tiles = std::uint64_t{loadU32(stream + 12)} * loadU32(stream + 16);
  std::uint64_t size = kPanoramaHeaderSize;
  if (tiles > kTileStoreSlots) return static_cast<std::size_t>(size);
  for (std::uint64_t i = 0; i < tiles; ++i) {
    if (stream[size] == kEmptyTileMark) {
      size += kEmptyTileRecordSize;
      continue;
    }
    size += 8 + std::uint64_t{loadU32(stream + size + 4)};
    if (size > std::numeric_limits<std::size_t>::max() / 2)
      fail(ErrorKind::Corrupt, "tiled panorama stream describes more than " + std::to_string(size) + " bytes");
  }
  return static_cast<std::size_t>(size);
}

}  // namespace vellmark
