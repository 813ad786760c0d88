#include "mesh/lzw.h"

#include <algorithm>
#include <memory>

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

}  // namespace vellmark
