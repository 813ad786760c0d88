#include "xbox/xpr_bundle.h"

#include <cstring>

#include "base/error.h"

namespace vellmark {

namespace {

void swapWords(std::uint8_t* p, std::size_t words) {
  for (std::size_t i = 0; i < words; ++i, p += 4) {
    std::swap(p[0], p[3]);
    std::swap(p[1], p[2]);
  }
}

}  // namespace

XprParse parseXprBundle(Bytes file, const std::string& what) {
  XprParse result;
  if (file.size() < 4) fail(ErrorKind::Truncated, what + ": " + std::to_string(file.size()) + " bytes, too short for a bundle");
  result.magic = loadU32BE(file.data());
  if (result.magic != kXprMagic) return result;

  ByteReader in(file, what);
  in.skip(4);
  const std::uint32_t headerSize = in.u32be();
  const std::uint32_t dataSize = in.u32be();
  if (!rangeFits(kXprFileHeaderSize, headerSize, file.size()))
    fail(ErrorKind::Truncated, what + ": header block of " + std::to_string(headerSize) + " bytes, " +
                                   std::to_string(file.size() - kXprFileHeaderSize) + " in the file");
  if (!rangeFits(kXprFileHeaderSize + std::uint64_t{headerSize}, dataSize, file.size()))
    fail(ErrorKind::Truncated, what + ": data block of " + std::to_string(dataSize) + " bytes, " +
                                   std::to_string(file.size() - kXprFileHeaderSize - headerSize) + " in the file");

  XprBundle b;
  const auto* header = file.data() + kXprFileHeaderSize;
  b.headerBlock.assign(header, header + headerSize);
  b.dataBlock.assign(header + headerSize, header + headerSize + dataSize);
  if (headerSize < kXprDirectoryOffset) fail(ErrorKind::Corrupt, what + ": header block has no resource count");
  b.resourceCount = loadU32BE(b.headerBlock.data());
  storeU32(b.headerBlock.data(), b.resourceCount);
  const std::uint64_t directoryBytes = std::uint64_t{b.resourceCount} * kXprEntrySize;
  if (!rangeFits(kXprDirectoryOffset, directoryBytes, headerSize))
    fail(ErrorKind::Corrupt, what + ": directory of " + std::to_string(b.resourceCount) +
                                 " resources does not fit the header block of " + std::to_string(headerSize) + " bytes");
  std::uint8_t* directory = b.headerBlock.data() + kXprDirectoryOffset;
  swapWords(directory, std::size_t{b.resourceCount & kXprCountMask} * 4);

  b.directory.reserve(b.resourceCount);
  for (std::uint32_t i = 0; i < b.resourceCount; ++i) {
    const std::uint8_t* e = directory + std::size_t{i} * kXprEntrySize;
    const XprResource r{loadU32(e), loadU32(e + 4), loadU32(e + 8), loadU32(e + 12)};
    if ((r.type >> 16) == kXprTextureTypePrefix) {
      if (!rangeFits(r.offset, xbox::kTextureHeaderSize, headerSize))
        fail(ErrorKind::Corrupt, what + ": texture header of resource " + std::to_string(i) + " at " +
                                     std::to_string(r.offset) + " lies outside the header block");
      swapWords(b.headerBlock.data() + r.offset, xbox::kTextureHeaderWords);
    }
    b.directory.push_back(r);
  }
  result.bundle = std::move(b);
  return result;
}

std::string xprResourceName(const XprBundle& b, const XprResource& r) {
  const auto& h = b.headerBlock;
  if (r.nameOffset < h.size()) {
    const void* end = std::memchr(h.data() + r.nameOffset, 0, h.size() - r.nameOffset);
    if (end) return std::string(reinterpret_cast<const char*>(h.data() + r.nameOffset));
  }
  fail(ErrorKind::Corrupt, "bundle resource name at " + std::to_string(r.nameOffset) +
                               " does not end inside the header block of " + std::to_string(h.size()) + " bytes");
}

Bytes xprUserData(const XprBundle& b, const XprResource& r) {
  if (!rangeFits(r.offset, r.size, b.headerBlock.size()))
    fail(ErrorKind::Corrupt, "bundle user data of " + std::to_string(r.size) + " bytes at " + std::to_string(r.offset) +
                                 " leaves the header block of " + std::to_string(b.headerBlock.size()) + " bytes");
  return Bytes(b.headerBlock).subspan(r.offset, r.size);
}

xbox::TextureHeader xprTextureHeader(const XprBundle& b, const XprResource& r) {
  if (!rangeFits(r.offset, xbox::kTextureHeaderSize, b.headerBlock.size()))
    fail(ErrorKind::Corrupt, "bundle texture header at " + std::to_string(r.offset) + " lies outside the header block");
  xbox::TextureHeader t;
  for (std::size_t i = 0; i < xbox::kTextureHeaderWords; ++i) t.words[i] = loadU32(b.headerBlock.data() + r.offset + 4 * i);
  return t;
}

}  // namespace vellmark
