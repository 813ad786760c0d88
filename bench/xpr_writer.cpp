#include "xpr_writer.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "xbox/xbox_texture.h"

namespace vellmark::test {

using namespace xbox;

namespace {

void putBE(std::vector<std::uint8_t>& v, std::size_t at, std::uint32_t x) {
  v[at] = static_cast<std::uint8_t>(x >> 24);
  v[at + 1] = static_cast<std::uint8_t>(x >> 16);
  v[at + 2] = static_cast<std::uint8_t>(x >> 8);
  v[at + 3] = static_cast<std::uint8_t>(x);
}

std::uint32_t pageAlign(std::size_t n) { return static_cast<std::uint32_t>((n + 4095) / 4096 * 4096); }

void ensure(std::vector<std::uint8_t>& data, std::uint64_t size) {
  if (data.size() < size) data.resize(static_cast<std::size_t>(size));
}

// Writes one level's rows of blocks (already in console order) into the surface at
// `start`, with its first block at `at`.
void writeLevel(std::vector<std::uint8_t>& data, std::uint64_t start, const LevelSlot& slot, const TextureLayout& layout,
                std::uint32_t level, BlockPosition at, const std::vector<std::uint8_t>& texels) {
  const std::uint32_t bpb = layout.block.bytes;
  const std::uint32_t widthBlocks = divideRoundingUp(std::max(1u, layout.width >> level), layout.block.width);
  const std::uint32_t heightBlocks = divideRoundingUp(std::max(1u, layout.height >> level), layout.block.height);
  const std::size_t rowBytes = std::size_t{widthBlocks} * bpb;
  if (texels.size() != rowBytes * heightBlocks) throw std::invalid_argument("level texels of the wrong size");
  ensure(data, start + slot.size);
  for (std::uint32_t by = 0; by < heightBlocks; ++by) {
    for (std::uint32_t bx = 0; bx < widthBlocks; ++bx) {
      std::uint64_t offset;
      if (layout.tiled())
        offset = tiledOffset(at.x + bx, at.y + by, slot.pitchBlocks, layout.block.log2Bytes);
      else
        offset = std::uint64_t{at.y + by} * slot.rowPitch + std::uint64_t{at.x + bx} * bpb;
      if (offset + bpb > slot.size) throw std::logic_error("block outside its slot");
      std::memcpy(&data[start + offset], &texels[by * rowBytes + bx * bpb], bpb);
    }
  }
}

}  // namespace

void consoleSwap(std::vector<std::uint8_t>& d, unsigned endian) {
  for (std::size_t i = 0; endian == 1 && i + 1 < d.size(); i += 2) std::swap(d[i], d[i + 1]);
  for (std::size_t i = 0; endian == 2 && i + 3 < d.size(); i += 4) {
    std::swap(d[i], d[i + 3]);
    std::swap(d[i + 1], d[i + 2]);
  }
  for (std::size_t i = 0; endian == 3 && i + 3 < d.size(); i += 4) {
    std::swap(d[i], d[i + 2]);
    std::swap(d[i + 1], d[i + 3]);
  }
}

std::uint32_t makeFormat(unsigned gpu, unsigned endian, std::array<unsigned, 4> signs, bool integer,
                         std::array<unsigned, 4> swizzle, bool tiled) {
  std::uint32_t f = gpu | (endian << 6) | (tiled ? 0x100u : 0u) | (integer ? 1u << 17 : 0u);
  for (unsigned i = 0; i < 4; ++i) f |= signs[i] << (9 + 2 * i);
  for (unsigned i = 0; i < 4; ++i) f |= swizzle[i] << (18 + 3 * i);
  return f;
}

void XprWriter::addUser(const std::string& name, std::vector<std::uint8_t> bytes) {
  resources_.push_back({0x55534552, name, std::move(bytes), {}});
}

void XprWriter::addTexture(const std::string& name, XprTexture texture) {
  const std::uint32_t type = texture.cube ? 0x5458434D : 0x54583244;
  resources_.push_back({type, name, {}, std::move(texture)});
}

void XprWriter::addOther(std::uint32_t type, const std::string& name, std::vector<std::uint8_t> bytes) {
  resources_.push_back({type, name, std::move(bytes), {}});
}

std::vector<std::uint8_t> XprWriter::build() const {
  const std::size_t n = resources_.size();
  // Header block: count, directory, a zero word, names, then headers and user bytes.
  std::vector<std::uint8_t> header(4 + 16 * n + 4, 0);
  std::vector<std::uint32_t> nameOffsets;
  for (const auto& r : resources_) {
    nameOffsets.push_back(static_cast<std::uint32_t>(header.size()));
    header.insert(header.end(), r.name.begin(), r.name.end());
    header.push_back(0);
  }
  header.resize((header.size() + 15) / 16 * 16, 0);

  std::vector<std::uint8_t> data;
  resourceOffsets.clear();
  putBE(header, 0, static_cast<std::uint32_t>(n));
  for (std::size_t i = 0; i < n; ++i) {
    const Resource& r = resources_[i];
    const std::uint32_t offset = static_cast<std::uint32_t>(header.size());
    resourceOffsets.push_back(offset);
    std::uint32_t size;
    if ((r.type >> 16) != 0x5458) {
      header.insert(header.end(), r.bytes.begin(), r.bytes.end());
      size = static_cast<std::uint32_t>(r.bytes.size());
    } else {
      const XprTexture& t = r.texture;
      const std::uint32_t faces = t.cube ? 6 : 1;
      const std::uint32_t pitchField =
          t.pitchFieldOverride >= 0 ? static_cast<std::uint32_t>(t.pitchFieldOverride) : std::max(1u, (t.width + 31) / 32);
      const std::uint32_t base = pageAlign(data.size());
      std::uint32_t mip = 0;
      if (blockInfo(t.format & 0x3F).bytes != 0) {
        TextureLayout probe = makeTextureLayout(t.width, t.height, t.levels, faces, t.format, pitchField, base, 0, 0);
        mip = t.levels > 1 ? pageAlign(base + std::uint64_t{faces} * levelSlot(probe, 0).size) : 0;
        const TextureLayout layout = makeTextureLayout(t.width, t.height, t.levels, faces, t.format, pitchField, base, mip, 0);
        ensure(data, base + std::uint64_t{faces} * levelSlot(layout, 0).size);
        const unsigned endian = (t.format >> 6) & 3;
        for (std::uint32_t f = 0; f < faces && f < t.texels.size(); ++f) {
          for (std::uint32_t level = 0; level < t.levels && level < t.texels[f].size(); ++level) {
            std::vector<std::uint8_t> texels = t.texels[f][level];
            consoleSwap(texels, endian);
            const LevelSlot slot = levelSlot(layout, level);
            const std::uint64_t faceLevel = faceLevelOffset(layout, f, level);
            if (!layout.inTail(level)) {
              writeLevel(data, (level == 0 ? base : mip) + faceLevel, slot, layout, level, {}, texels);
              continue;
            }
            const std::uint64_t inTail = mipTailLevelOffset(t.width, t.height, 1, level, t.format & 0x3F, layout.tiled(), false);
            const BlockPosition at = mipTailLevelPosition(layout, level);
            // A tail that starts at level 0 exists under both addresses.
            if (layout.tailBase == 0) {
              const std::uint64_t faceStart = std::uint64_t{f} * levelSlot(layout, 0).size;
              writeLevel(data, base + faceStart, slot, layout, level, at, texels);
              writeLevel(data, mip + faceStart, slot, layout, level, at, texels);
            } else {
              writeLevel(data, mip + faceLevel - inTail, slot, layout, level, at, texels);
            }
          }
        }
        data.resize(pageAlign(data.size()), 0);
      }

      const std::uint32_t fmt = t.format;
      const std::uint32_t signs = (fmt >> 9) & 0xFF;
      const std::uint32_t baseField = t.baseAddressOverride >= 0 ? static_cast<std::uint32_t>(t.baseAddressOverride) : base;
      const std::uint32_t mipField = t.mipAddressOverride >= 0 ? static_cast<std::uint32_t>(t.mipAddressOverride) : mip;
      std::uint32_t words[13] = {3, 1, 0, 0, 0, 0xFFFF0000, 0xFFFF0000};
      words[7] = 2 | (signs << 2) | (pitchField << 22) | ((fmt & 0x100) ? 0x80000000u : 0u);
      words[8] = (fmt & 0xFF) | (baseField & ~0xFFFu);
      words[9] = (t.width - 1) | ((t.height - 1) << 13) | (t.cube ? 5u << 26 : 0u);
      words[10] = ((fmt >> 17) & 1) | (((fmt >> 18) & 0xFFF) << 1);
      words[11] = (t.levels - 1) << 6;
      words[12] = ((t.cube ? 3u : 1u) << 9) | 0x800u | (mipField & ~0xFFFu);
      const std::size_t at = header.size();
      header.resize(at + 52);
      for (int w = 0; w < 13; ++w) putBE(header, at + 4 * static_cast<std::size_t>(w), words[w]);
      size = 52;
    }
    header.resize((header.size() + 3) / 4 * 4, 0);
    putBE(header, 4 + 16 * i, r.type);
    putBE(header, 8 + 16 * i, offset);
    putBE(header, 12 + 16 * i, size);
    putBE(header, 16 + 16 * i, nameOffsets[i]);
  }

  std::vector<std::uint8_t> file(12 + header.size() + data.size(), 0);
  putBE(file, 0, 0x58505232);
  putBE(file, 4, static_cast<std::uint32_t>(header.size()));
  putBE(file, 8, static_cast<std::uint32_t>(data.size()));
  std::copy(header.begin(), header.end(), file.begin() + 12);
  std::copy(data.begin(), data.end(), file.begin() + 12 + static_cast<std::ptrdiff_t>(header.size()));
  return file;
}

}  // namespace vellmark::test
