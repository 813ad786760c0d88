// LZW coder of the MAP file's mip levels: variable-width codes of 9 to 13 bits, clear code
// 256, end code 257, packed least significant bit first into one plain byte stream. The
// 255-byte chunks are only a write buffer; the stream has no block-length bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint16_t kLzwClearCode = 256;
inline constexpr std::uint16_t kLzwEndCode = 257;
inline constexpr std::uint16_t kLzwFirstCode = 258;
inline constexpr std::uint16_t kLzwInitialBits = 9;
inline constexpr std::uint16_t kLzwMaxBits = 13;
inline constexpr std::uint16_t kLzwCodeLimit = 8192;  // the dictionary is full at this code
inline constexpr int kLzwHashSlots = 10009;           // a prime above the 8192 codes
inline constexpr std::size_t kLzwWriteChunk = 255;

// Where the coder's chunks go. write returns how many bytes were taken.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual std::size_t write(const std::uint8_t* data, std::size_t size) = 0;
};

class VectorSink : public ByteSink {
 public:
  std::vector<std::uint8_t> bytes;
  std::size_t write(const std::uint8_t* data, std::size_t size) override {
    bytes.insert(bytes.end(), data, data + size);
    return size;
  }
};

// One compressed stream. Constructing it starts the stream (the clear code at 9 bits);
// put feeds bytes; end finishes it. Both return false once the sink has taken a chunk
// short: the stream is then broken, and the caller stops (the mesh tool ends the process).
class LzwEncoder {
 public:
  explicit LzwEncoder(ByteSink& sink);
  [[nodiscard]] bool put(std::uint8_t byte);
  [[nodiscard]] bool end();

 private:
  void emit(std::uint16_t code);
  void appendByte(std::uint8_t byte);
  void flush();
  void clearTable();

  ByteSink& sink_;
  bool shortWrite_ = false;
  std::uint16_t codeBits_ = kLzwInitialBits;
  std::uint16_t maxCode_ = 511;
  std::uint16_t nextCode_ = kLzwFirstCode;
  std::uint16_t prefix_ = 0;
  bool firstByte_ = true;
  std::uint32_t accumulator_ = 0;
  std::uint16_t bitCount_ = 0;
  std::uint16_t codes_[kLzwHashSlots];
  std::uint16_t prefixes_[kLzwHashSlots];
  std::uint8_t suffixes_[kLzwHashSlots];
  std::uint8_t buffer_[kLzwWriteChunk];
  std::uint16_t buffered_ = 0;
};

// The whole stream of `data` in memory.
std::vector<std::uint8_t> lzwCompress(Bytes data);

// Decodes a stream into exactly `expected` bytes. Raises Error(Corrupt) for a code the table
// does not hold yet, a stream that ends before its end code, or output of another length.
std::vector<std::uint8_t> lzwDecompress(Bytes stream, std::size_t expected);

}  // namespace vellmark
