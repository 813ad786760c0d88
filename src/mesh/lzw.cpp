#include "mesh/lzw.h"

#include <algorithm>
#include <memory>
#include <string>

#include "base/error.h"

namespace vellmark {

LzwEncoder::LzwEncoder(ByteSink& sink) : sink_(sink) {
  clearTable();
  emit(kLzwClearCode);
}

void LzwEncoder::clearTable() { std::fill(std::begin(codes_), std::end(codes_), std::uint16_t{0}); }

void LzwEncoder::flush() {
  if (buffered_ == 0 || shortWrite_) return;
  if (sink_.write(buffer_, buffered_) != buffered_) shortWrite_ = true;
  buffered_ = 0;
}

void LzwEncoder::appendByte(std::uint8_t byte) {
  buffer_[buffered_++] = byte;
  if (buffered_ >= kLzwWriteChunk) flush();
}

void LzwEncoder::emit(std::uint16_t code) {
  accumulator_ |= static_cast<std::uint32_t>(code) << bitCount_;
  bitCount_ = static_cast<std::uint16_t>(bitCount_ + codeBits_);
  while (bitCount_ >= 8) {
    appendByte(static_cast<std::uint8_t>(accumulator_));
    accumulator_ >>= 8;
    bitCount_ = static_cast<std::uint16_t>(bitCount_ - 8);
  }
  // The width grows after the first code emitted once nextCode passed maxCode, so the
  // decoder (one entry behind) switches at the same code.
  if (nextCode_ > maxCode_) {
    ++codeBits_;
    maxCode_ = codeBits_ == kLzwMaxBits ? kLzwCodeLimit : static_cast<std::uint16_t>((1u << codeBits_) - 1);
  }
}

bool LzwEncoder::put(std::uint8_t k) {
  if (firstByte_) {
    prefix_ = k;
    firstByte_ = false;
    return !shortWrite_;
  }
  int slot = static_cast<std::uint16_t>((k << 5) + prefix_);
  if (slot >= kLzwCodeLimit) slot -= kLzwCodeLimit;
  if (codes_[slot] != 0) {
    if (prefixes_[slot] == prefix_ && suffixes_[slot] == k) {
      prefix_ = codes_[slot];
      return !shortWrite_;
    }
    const int step = slot == 0 ? 1 : kLzwHashSlots - slot;
    for (;;) {
      slot -= step;
      if (slot < 0) slot += kLzwHashSlots;
      if (codes_[slot] == 0) break;
      if (prefixes_[slot] == prefix_ && suffixes_[slot] == k) {
        prefix_ = codes_[slot];
        return !shortWrite_;
      }
    }
  }
  emit(prefix_);
  if (nextCode_ >= kLzwCodeLimit) {
    clearTable();
    nextCode_ = kLzwFirstCode;
    emit(kLzwClearCode);
    codeBits_ = kLzwInitialBits;
    maxCode_ = 511;
  } else {
    codes_[slot] = nextCode_++;
    prefixes_[slot] = prefix_;
    suffixes_[slot] = k;
  }
  prefix_ = k;
  return !shortWrite_;
}

bool LzwEncoder::end() {
  if (!firstByte_) emit(prefix_);
  emit(kLzwEndCode);
  if (bitCount_ > 0) appendByte(static_cast<std::uint8_t>(accumulator_));
  flush();
  return !shortWrite_;
}

std::vector<std::uint8_t> lzwCompress(Bytes data) {
  VectorSink sink;
  auto encoder = std::make_unique<LzwEncoder>(sink);
  for (std::uint8_t b : data) (void)encoder->put(b);  // the memory sink takes every chunk
  (void)encoder->end();
  return std::move(sink.bytes);
}

std::vector<std::uint8_t> lzwDecompress(Bytes stream, std::size_t expected) {
  // The table as prefix code and last byte per entry; entries are spelled out backwards.
  std::vector<std::uint16_t> prefix(kLzwCodeLimit), length(kLzwCodeLimit);
  std::vector<std::uint8_t> last(kLzwCodeLimit), first(kLzwCodeLimit);
  for (int i = 0; i < 256; ++i) last[i] = first[i] = static_cast<std::uint8_t>(i), length[i] = 1;
  std::vector<std::uint8_t> out;
  // What a level declares is not trusted with memory: the output grows with what the stream
  // really gives.
  out.reserve(std::min<std::size_t>(expected, 16 * stream.size()));
  std::uint64_t position = 0;
  const std::uint64_t bits = 8ull * stream.size();
  int width = kLzwInitialBits, size = kLzwFirstCode, previous = -1;
  for (;;) {
    if (position + width > bits) fail(ErrorKind::Corrupt, "the LZW stream ends before its end code");
    int code = 0;
    for (int i = 0; i < width; ++i, ++position) code |= ((stream[position / 8] >> (position % 8)) & 1) << i;
    if (code == kLzwClearCode) {
      size = kLzwFirstCode, width = kLzwInitialBits, previous = -1;
      continue;
    }
    if (code == kLzwEndCode) break;
    if (code > size || (code == size && (previous < 0 || size == kLzwCodeLimit)) || (previous < 0 && code >= 256))
      fail(ErrorKind::Corrupt, "LZW code " + std::to_string(code) + " with " + std::to_string(size) + " in the table");
    if (previous >= 0 && size < kLzwCodeLimit) {
      // The new entry is the previous one and the first byte of this one (of itself, when
      // this code is the entry being made).
      prefix[size] = static_cast<std::uint16_t>(previous);
      last[size] = code == size ? first[previous] : first[code];
      first[size] = first[previous];
      length[size] = static_cast<std::uint16_t>(length[previous] + 1);
      ++size;
    }
    if (out.size() + length[code] > expected)
      fail(ErrorKind::Corrupt, "the LZW stream holds more than the " + std::to_string(expected) + " bytes expected");
    out.resize(out.size() + length[code]);
    for (int c = code, at = static_cast<int>(out.size()) - 1; ; c = prefix[c], --at) {
      out[static_cast<std::size_t>(at)] = last[c];
      if (c < 256) break;
    }
    previous = code;
    if (width < kLzwMaxBits && size >= (1 << width)) ++width;
  }
  if (out.size() != expected)
    fail(ErrorKind::Corrupt, "the LZW stream holds " + std::to_string(out.size()) + " bytes, not " + std::to_string(expected));
  return out;
}

}  // namespace vellmark
