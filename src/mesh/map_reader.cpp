#include "mesh/map_reader.h"

#include <algorithm>
#include <string>

#include "base/error.h"
#include "mesh/lzw.h"
#include "mesh/map_writer.h"

namespace vellmark {

namespace {

[[noreturn]] void corrupt(const std::string& what) { fail(ErrorKind::Corrupt, std::string("MAP: ") + what); }

}  // namespace

MapDirectory readMapDirectory(Bytes file) {
  if (file.size() < kMapHeaderSize) corrupt("the file is shorter than its " + std::to_string(kMapHeaderSize) + "-byte header");
  const auto word = [&](std::uint64_t at) { return loadU32(&file[at]); };
  MapDirectory d;
  d.declaredSize = word(0);
  const std::uint32_t materials = word(4), levels = word(8), levelsAt = word(12), materialsAt = word(16), sizesAt = word(24);
  const auto need = [&](std::uint64_t at, std::uint64_t count, std::uint64_t size, const std::string& what) {
    if (!rangeFits(at, count * size, file.size()))
      corrupt(what + ": " + std::to_string(count) + " of " + std::to_string(size) + " bytes at byte " + std::to_string(at) +
              " run past the file's " + std::to_string(file.size()) + " bytes");
  };
  need(levelsAt, levels, 4 * kMapLevelRecordWords, "the level table");
  need(materialsAt, materials, 4 * kMapMaterialRecordWords, "the material table");
  need(sizesAt, levels, 4, "the level sizes");
  d.levels.resize(levels);
  for (std::uint32_t i = 0; i < levels; ++i) {
    const std::uint64_t r = levelsAt + 4ull * kMapLevelRecordWords * i;
    MapLevelRecord& l = d.levels[i];
    l = {word(r), word(r + 4), word(r + 8), word(r + 28), word(r + 32), word(sizesAt + 4ull * i)};
    if (l.width == 0 && l.height == 0) continue;  // a level of a material without a texture
    need(l.paletteAt, 1, kMapPaletteSize, "level " + std::to_string(i) + "'s palette");
    need(l.dataAt, 1, l.dataSize, "level " + std::to_string(i) + "'s data");
  }
  for (std::uint32_t m = 0; m < materials; ++m) {
    const std::uint64_t r = materialsAt + 4ull * kMapMaterialRecordWords * m;
    const std::uint32_t count = word(r);
    if (count > kMapMaterialRecordWords - 2) corrupt("material " + std::to_string(m) + " has " + std::to_string(count) + " levels");
    std::vector<std::uint32_t> own;
    for (std::uint32_t j = 0; j < count; ++j) {
      const std::uint32_t level = word(r + 8 + 4ull * j);
      if (level >= levels) corrupt("material " + std::to_string(m) + " names level " + std::to_string(level) + " of " + std::to_string(levels));
      own.push_back(level);
    }
    // The writer gives every material its level count; one without a texture keeps level
    // numbers of zero over empty records.
    if (!own.empty() && d.levels[own.front()].width == 0) own.clear();
    if (m != 0 && std::all_of(own.begin(), own.end(), [](std::uint32_t l) { return l == 0; })) own.clear();
    d.materials.push_back(std::move(own));
  }
  return d;
}

MapPicture readMapLevel(Bytes file, const MapDirectory& d, std::uint32_t level) {
  if (level >= d.levels.size()) corrupt("there is no level " + std::to_string(level));
  const MapLevelRecord& l = d.levels[level];
  const std::string name = "level " + std::to_string(level);
  if (l.bitsPerPixel != kMapBitsPerPixel) corrupt(name + " has " + std::to_string(l.bitsPerPixel) + " bits per pixel");
  if (l.width > kMapMaxTextureSide || l.height > kMapMaxTextureSide)
    corrupt(name + " is " + std::to_string(l.width) + " x " + std::to_string(l.height));
  // The directory checks these only for levels with a size; a material may name any level.
  if (!rangeFits(l.paletteAt, kMapPaletteSize, file.size()) || !rangeFits(l.dataAt, l.dataSize, file.size()))
    corrupt(name + "'s palette or data runs past the file");
  MapPicture picture;
  picture.width = l.width;
  picture.height = l.height;
  try {
    picture.indices = lzwDecompress(file.subspan(l.dataAt, l.dataSize), static_cast<std::size_t>(std::uint64_t{l.width} * l.height));
  } catch (const Error& e) {
    corrupt(name + ": " + e.what());
  }
  std::copy_n(&file[l.paletteAt], kMapPaletteSize, picture.palette.begin());
  for (std::size_t i = 0; i < kMapPaletteSize; i += 4)
    if (picture.palette[i] == 255 && picture.palette[i + 1] == 0 && picture.palette[i + 2] == 255) picture.palette[i + 3] = 0;
  return picture;
}

Image decodeMapLevel(Bytes file, const MapDirectory& d, std::uint32_t level) {
  const MapPicture picture = readMapLevel(file, d, level);
  Image image{picture.width, picture.height, std::vector<std::uint8_t>(4 * picture.indices.size())};
  for (std::size_t i = 0; i < picture.indices.size(); ++i) {
    const std::uint8_t* e = &picture.palette[4 * picture.indices[i]];
    std::uint8_t* p = &image.pixels[4 * i];
    p[0] = e[2], p[1] = e[1], p[2] = e[0], p[3] = e[3];
  }
  return image;
}

}  // namespace vellmark
