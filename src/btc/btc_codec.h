// The BTC block stream: a run-length coded sequence of 4 x 4 pixel blocks that the game uses
// for its sky panoramas, tiled panoramas and stand-alone textures. This module decodes one
// stream into a 32-bit image (bytes blue, green, red, alpha per pixel, rows packed, block
// row 0 first in memory).
//
// Stream: runs of a 16-bit command (bits 0-11 the length in blocks, 0 meaning 4096; bits
// 12-15 the run type) followed by one payload item per block:
//   type 1  empty run   no payload, the block is 16 pixels of 0
//   type 2  opaque run  8-byte colour block, alpha 255
//   type 3  alpha run   8-byte alpha block, then an 8-byte colour block
//   type 4  solid run   4 bytes, one pixel (B, G, R, A) for the whole block
// Types 0 and 5-15 carry no payload and write nothing, but their length still counts toward
// the running block total that cuts the stream at the image's last block.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint32_t kBtcMaxRunLength = 4096;  // a length field of 0

enum class BtcRunType : std::uint8_t {
  Empty = 1,
  Opaque = 2,
  Alpha = 3,
  Solid = 4,
};

inline constexpr std::size_t kBtcColourBlockSize = 8;
inline constexpr std::size_t kBtcAlphaBlockSize = 8;
inline constexpr std::size_t kBtcSolidPixelSize = 4;

// Payload bytes per block of a run type (0 for empty runs and for the skipped types).
constexpr std::size_t btcPayloadPerBlock(unsigned type) {
  switch (type) {
    case 2: return kBtcColourBlockSize;
    case 3: return kBtcAlphaBlockSize + kBtcColourBlockSize;
    case 4: return kBtcSolidPixelSize;
    default: return 0;
  }
}

constexpr std::uint16_t btcCommand(BtcRunType type, std::uint32_t length) {
  return static_cast<std::uint16_t>((static_cast<unsigned>(type) << 12) | (length & 0xFFF));
}

// The expansion tables of the 5- and 6-bit colour components: round(i x 255 / 31) and
// round(i x 255 / 63).
extern const std::array<std::uint8_t, 32> kBtcExpand5;
extern const std::array<std::uint8_t, 64> kBtcExpand6;

// Decodes `stream` as a width x height image into `destination` (at least width x height x 4
// bytes, else Error(Argument)). Blocks the stream does not reach keep the destination's
// bytes. The stream is never read past its end: a run whose payload the stream cuts short
// decodes the whole blocks that are present and ends decoding, and so does a command word
// cut in half.
//
// When either side is not a multiple of 4 the blocks go to a zeroed scratch image of whole
// blocks, and only (height + 3) / 4 rows of width pixels come back into the destination:
// the game's decoder copies that many and the files it made depend on it.
//
// Returns false only when the scratch image cannot be allocated (destination untouched).
bool decodeBtcStream(std::uint16_t width, std::uint16_t height, std::span<std::uint8_t> destination, Bytes stream);

}  // namespace vellmark
