#include "btc/btc_codec.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace vellmark {

namespace {

template <std::size_t N>
constexpr std::array<std::uint8_t, N> expansionTable() {
  // round(i x 255 / (N - 1)); no entry falls exactly half-way, so adding half the divisor
  // before dividing rounds every one to nearest.
  std::array<std::uint8_t, N> table{};
  for (std::size_t i = 0; i < N; ++i) table[i] = static_cast<std::uint8_t>((i * 255 * 2 + (N - 1)) / (2 * (N - 1)));
  return table;
}

constexpr std::size_t kBlockBytes = 64;  // 16 pixels of 4 bytes

struct Canvas {
  std::uint8_t* base;
  std::size_t stride;  // bytes per pixel row: blocksWide x 16
};

inline void store4(std::uint8_t* p, std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  const std::uint32_t row[4] = {a, b, c, d};
  std::memcpy(p, row, sizeof row);
}

// Pixels are stored as B, G, R, A bytes; on the little-endian machines we build for that is
// the word B | G << 8 | R << 16 | A << 24, and the words are written with memcpy.
inline std::uint32_t toHost(std::uint32_t bgra) {
  if constexpr (std::endian::native == std::endian::little) return bgra;
  return __builtin_bswap32(bgra);
}

// The four-colour palette, whatever the order of the two end colours; alpha bits 0.
inline void colourPalette(const std::uint8_t* block, std::uint32_t palette[4]) {
  const std::uint32_t c0 = loadU16(block);
  const std::uint32_t c1 = loadU16(block + 2);
  const std::uint32_t r0 = kBtcExpand5[c0 >> 11], g0 = kBtcExpand6[(c0 >> 5) & 63], b0 = kBtcExpand5[c0 & 31];
  const std::uint32_t r1 = kBtcExpand5[c1 >> 11], g1 = kBtcExpand6[(c1 >> 5) & 63], b1 = kBtcExpand5[c1 & 31];
  // (2a + b) / 3 rounded to nearest is floor((2 (2a + b) + 3) / 6).
  auto third = [](std::uint32_t a, std::uint32_t b) { return (2 * (2 * a + b) + 3) / 6; };
  palette[0] = b0 | g0 << 8 | r0 << 16;
  palette[1] = b1 | g1 << 8 | r1 << 16;
  palette[2] = third(b0, b1) | third(g0, g1) << 8 | third(r0, r1) << 16;
  palette[3] = third(b1, b0) | third(g1, g0) << 8 | third(r1, r0) << 16;
}

// Eight alpha values, already shifted into the alpha byte.
inline void alphaPalette(const std::uint8_t* block, std::uint32_t palette[8]) {
  const std::uint32_t a0 = block[0], a1 = block[1];
  palette[0] = a0;
  palette[1] = a1;
  if (a0 > a1) {
    for (std::uint32_t k = 1; k <= 6; ++k) palette[k + 1] = (2 * ((7 - k) * a0 + k * a1) + 7) / 14;
  } else {
    for (std::uint32_t k = 1; k <= 4; ++k) palette[k + 1] = (2 * ((5 - k) * a0 + k * a1) + 5) / 10;
    palette[6] = 0;
    palette[7] = 255;
  }
  for (int k = 0; k < 8; ++k) palette[k] <<= 24;
}

inline void decodeOpaque(const std::uint8_t* block, std::uint8_t* out, std::size_t stride) {
  std::uint32_t palette[4];
  colourPalette(block, palette);
  for (auto& p : palette) p = toHost(p | 0xFF000000u);
  std::uint32_t indices = loadU32(block + 4);
  for (int row = 0; row < 4; ++row, indices >>= 8, out += stride)
    store4(out, palette[indices & 3], palette[(indices >> 2) & 3], palette[(indices >> 4) & 3],
           palette[(indices >> 6) & 3]);
}

inline void decodeAlpha(const std::uint8_t* block, std::uint8_t* out, std::size_t stride) {
  std::uint32_t alphas[8];
  alphaPalette(block, alphas);
  std::uint64_t alphaIndices = loadU16(block + 2) | std::uint64_t{loadU32(block + 4)} << 16;
  std::uint32_t palette[4];
  colourPalette(block + kBtcAlphaBlockSize, palette);
  std::uint32_t indices = loadU32(block + kBtcAlphaBlockSize + 4);
  for (int row = 0; row < 4; ++row, out += stride) {
    std::uint32_t px[4];
    for (int c = 0; c < 4; ++c, indices >>= 2, alphaIndices >>= 3)
      px[c] = toHost(palette[indices & 3] | alphas[alphaIndices & 7]);
    store4(out, px[0], px[1], px[2], px[3]);
  }
}

inline void decodeSolid(const std::uint8_t* pixel, std::uint8_t* out, std::size_t stride) {
  std::uint32_t value;
  std::memcpy(&value, pixel, 4);  // already in memory order
  for (int row = 0; row < 4; ++row, out += stride) store4(out, value, value, value, value);
}

inline void decodeEmpty(std::uint8_t* out, std::size_t stride) {
  for (int row = 0; row < 4; ++row, out += stride) std::memset(out, 0, 16);
}

// Decodes `count` consecutive blocks of one run of type Type, starting at block index
// `first`, with `payload` holding exactly count items. One instance per type keeps the
// type test out of the block loop.
template <unsigned Type>
void decodeRun(const std::uint8_t* payload, std::uint32_t first, std::uint32_t count, std::uint32_t blocksWide,
               const Canvas& canvas) {
  constexpr std::size_t itemSize = btcPayloadPerBlock(Type);
  std::uint32_t row = first / blocksWide;
  std::uint32_t column = first % blocksWide;
  while (count > 0) {
    const std::uint32_t segment = std::min(blocksWide - column, count);
    std::uint8_t* out = canvas.base + std::size_t{row} * 4 * canvas.stride + std::size_t{column} * 16;
    for (std::uint32_t k = 0; k < segment; ++k, out += 16, payload += itemSize) {
      if constexpr (Type == 1) decodeEmpty(out, canvas.stride);
      if constexpr (Type == 2) decodeOpaque(payload, out, canvas.stride);
      if constexpr (Type == 3) decodeAlpha(payload, out, canvas.stride);
      if constexpr (Type == 4) decodeSolid(payload, out, canvas.stride);
    }
    count -= segment;
    column = 0;
    ++row;
  }
}

void decodeRun(unsigned type, const std::uint8_t* payload, std::uint32_t first, std::uint32_t count,
               std::uint32_t blocksWide, const Canvas& canvas) {
  switch (type) {
    case 1: return decodeRun<1>(payload, first, count, blocksWide, canvas);
    case 2: return decodeRun<2>(payload, first, count, blocksWide, canvas);
    case 3: return decodeRun<3>(payload, first, count, blocksWide, canvas);
    case 4: return decodeRun<4>(payload, first, count, blocksWide, canvas);
  }
}

}  // namespace

const std::array<std::uint8_t, 32> kBtcExpand5 = expansionTable<32>();
const std::array<std::uint8_t, 64> kBtcExpand6 = expansionTable<64>();

bool decodeBtcStream(std::uint16_t width, std::uint16_t height, std::span<std::uint8_t> destination, Bytes stream) {
  const std::uint64_t needed = std::uint64_t{width} * height * 4;
  if (destination.size() < needed)
    fail(ErrorKind::Argument, "BTC destination of " + std::to_string(destination.size()) + " bytes is too small for a " +
                                  std::to_string(width) + " x " + std::to_string(height) + " image");
  const std::uint32_t blocksWide = (std::uint32_t{width} + 3) / 4;
  const std::uint32_t blocksHigh = (std::uint32_t{height} + 3) / 4;
  const std::uint32_t blockCount = blocksWide * blocksHigh;
  if (blockCount == 0) return true;

  const bool whole = width % 4 == 0 && height % 4 == 0;
  std::unique_ptr<std::uint8_t[]> scratch;
  if (!whole) {
    const std::uint64_t scratchBytes = std::uint64_t{blockCount} * kBlockBytes;
    if (scratchBytes > std::numeric_limits<std::size_t>::max()) return false;
    // Zeroed, so that blocks the stream never reaches come back as 0 rather than as
    // whatever the heap held.
    scratch.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(scratchBytes)]());
    if (!scratch) return false;
  }
  const Canvas canvas{whole ? destination.data() : scratch.get(), std::size_t{blocksWide} * 16};

  // The write position is kept as a count of blocks done; skipped run types add to the
  // running total but not to it.
  std::uint32_t done = 0;
  std::int64_t total = 0;
  std::size_t pos = 0;
  while (pos < stream.size()) {
    if (stream.size() - pos < 2) break;
    const std::uint16_t command = loadU16(&stream[pos]);
    pos += 2;
    std::int64_t length = command & 0xFFF;
    if (length == 0) length = kBtcMaxRunLength;
    const unsigned type = command >> 12;

    total += length;
    if (total > blockCount) {
      length -= total - blockCount;
      if (length < 0) break;
    }
    if (type < 1 || type > 4) continue;

    const std::size_t itemSize = btcPayloadPerBlock(type);
    bool cutShort = false;
    if (itemSize != 0) {
      const std::size_t present = (stream.size() - pos) / itemSize;
      if (static_cast<std::uint64_t>(length) > present) {
        length = static_cast<std::int64_t>(present);
        cutShort = true;
      }
    }
    // The running total never lets `done` pass blockCount: done <= total - length here.
    const auto count = static_cast<std::uint32_t>(length);
    decodeRun(type, stream.data() + pos, done, count, blocksWide, canvas);
    done += count;
    pos += std::size_t{count} * itemSize;
    if (cutShort) break;
  }

  if (!whole) {
    // Only blocksHigh rows come back, not height rows: the game's decoder does exactly this.
    const std::size_t rowBytes = std::size_t{width} * 4;
    for (std::uint32_t r = 0; r < blocksHigh; ++r)
      std::memcpy(destination.data() + r * rowBytes, canvas.base + r * canvas.stride, rowBytes);
  }
  return true;
}

}  // namespace vellmark
