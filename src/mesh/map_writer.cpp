#include "mesh/map_writer.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "mesh/quantize.h"

namespace vellmark {

namespace {

constexpr std::uint8_t kTgaDescriptorTopFirstBit = 0x20;

void flipRows(std::uint8_t* pixels, std::size_t rowBytes, int height) {
  std::vector<std::uint8_t> row(rowBytes);
  for (int r = 0; r < height / 2; ++r) {
    std::uint8_t* a = pixels + static_cast<std::size_t>(r) * rowBytes;
    std::uint8_t* b = pixels + static_cast<std::size_t>(height - 1 - r) * rowBytes;
    std::copy_n(a, rowBytes, row.data());
    std::copy_n(b, rowBytes, a);
    std::copy_n(row.data(), rowBytes, b);
  }
}

// Entries close to magenta are the game's see-through colour: they all become index 0,
// which holds magenta, and the quantizer's transparent pixels move to the last such entry.
void applyKeyColour(MapTexture& t) {
  std::uint8_t table[256];
  int last = -1;
  for (int i = 0; i < 256; ++i) {
    const std::uint8_t* e = &t.palette[4 * i];
    const bool key = e[0] >= 240 && e[1] <= 16 && e[2] >= 240;
    table[i] = key ? 0 : static_cast<std::uint8_t>(i);
    if (key) last = i;
  }
  if (last < 0) return;
  std::array<std::uint8_t, 4> saved;
  std::copy_n(t.palette.begin(), 4, saved.begin());
  const std::array<std::uint8_t, 4> magenta = {255, 0, 255, 255};
  std::copy(magenta.begin(), magenta.end(), t.palette.begin());
  std::copy(saved.begin(), saved.end(), t.palette.begin() + 4 * last);
  table[0] = static_cast<std::uint8_t>(last);
  for (auto& p : t.pixels) p = table[p];
}

void writeWords(ByteSink& out, const std::vector<std::uint32_t>& words) {
  std::vector<std::uint8_t> bytes(4 * words.size());
  for (std::size_t i = 0; i < words.size(); ++i) storeU32(&bytes[4 * i], words[i]);
  // Only the compressed chunks are checked, as in the game's writer.
  if (!bytes.empty()) (void)out.write(bytes.data(), bytes.size());
}

}  // namespace

std::optional<MapTexture> decodeMapTexture(Bytes file) {
  if (file.size() < 18) return std::nullopt;
  const std::uint16_t width = loadU16(&file[12]);
  const std::uint16_t height = loadU16(&file[14]);
  int depth = file[16];
  const std::uint8_t descriptor = file[17];
  if (width > kMapMaxTextureSide || height > kMapMaxTextureSide) return std::nullopt;
  const Bytes data = file.subspan(18);
  const std::uint64_t pixelCount = static_cast<std::uint64_t>(width) * height;

  MapTexture t;
  t.width = width;
  t.height = height;
  if (depth == 8) {
    if (!rangeFits(768, pixelCount, data.size())) return std::nullopt;
    for (int i = 0; i < 256; ++i) {
      t.palette[4 * i + 0] = data[3 * i + 2];
      t.palette[4 * i + 1] = data[3 * i + 1];
      t.palette[4 * i + 2] = data[3 * i + 0];
      t.palette[4 * i + 3] = 255;
    }
    t.pixels.assign(data.begin() + 768, data.begin() + 768 + static_cast<std::ptrdiff_t>(pixelCount));
    if (!(descriptor & kTgaDescriptorTopFirstBit)) flipRows(t.pixels.data(), width, height);
    return t;
  }

  // A depth of 0 has no pixels to read, and one above 32 would not fit the 4-byte pixels.
  if (depth == 0 || depth > 32) return std::nullopt;
  const std::uint64_t stored = pixelCount * static_cast<std::uint64_t>(depth) / 8;
  if (stored > data.size() || pixelCount * 4 > std::numeric_limits<std::size_t>::max() / 2) return std::nullopt;
  // Pixels of depths that do not fill 4 bytes leave the rest zero.
  std::vector<std::uint8_t> bgra(static_cast<std::size_t>(pixelCount) * 4, 0);
  std::copy_n(data.begin(), static_cast<std::size_t>(stored), bgra.begin());
  if (depth == 24) {
    for (std::size_t i = static_cast<std::size_t>(pixelCount); i-- > 0;) {
      bgra[4 * i + 3] = 255;
      bgra[4 * i + 2] = bgra[3 * i + 2];
      bgra[4 * i + 1] = bgra[3 * i + 1];
      bgra[4 * i + 0] = bgra[3 * i + 0];
    }
    depth = 32;
  }
  if (!(descriptor & kTgaDescriptorTopFirstBit))
    flipRows(bgra.data(), static_cast<std::size_t>(width) * ((depth + 7) / 8), height);

  return mapTextureFromPixels(width, height, bgra);
}

MapTexture mapTextureFromPixels(int width, int height, Bytes bgra) {
  MapTexture t;
  t.width = width;
  t.height = height;
  QuantizedImage q = quantizeImage(width, height, bgra);
  for (int i = 0; i < 256; ++i) {
    t.palette[4 * i + 0] = q.palette[3 * i + 2];
    t.palette[4 * i + 1] = q.palette[3 * i + 1];
    t.palette[4 * i + 2] = q.palette[3 * i + 0];
    t.palette[4 * i + 3] = 255;
  }
  t.pixels = std::move(q.pixels);
  applyKeyColour(t);
  return t;
}

bool mapReaderTakesTga(Bytes file) {
  if (file.size() < 18 || file[0] != 0) return false;  // no image ID
  const std::uint8_t type = file[2], depth = file[16];
  if (type == 2) return file[1] == 0 && (depth == 24 || depth == 32);
  // Colour-mapped: the reader takes 256 entries of B, G, R from the first.
  return type == 1 && file[1] == 1 && depth == 8 && loadU16(&file[3]) == 0 && loadU16(&file[5]) == 256 && file[7] == 24;
}

void halveMapTexture(MapTexture& t) {
  const int oldWidth = t.width;
  const int width = t.width / 2, height = t.height / 2;
  // Averages repeat a lot; a small direct-mapped memo of the exact search saves most of it.
  struct Memo {
    std::uint32_t colour = 0xFFFFFFFFu;
    std::uint8_t index = 0;
  };
  std::vector<Memo> memo(4096);
  const std::uint8_t* pal = t.palette.data();
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const std::size_t top = static_cast<std::size_t>(2 * y) * oldWidth + 2 * x;
      const std::size_t bottom = top + oldWidth;
      const std::uint8_t s[4] = {t.pixels[top], t.pixels[top + 1], t.pixels[bottom], t.pixels[bottom + 1]};
      int mean[3];
      for (int c = 0; c < 3; ++c)
        mean[c] = (pal[4 * s[0] + c] + pal[4 * s[1] + c] + pal[4 * s[2] + c] + pal[4 * s[3] + c] + 2) >> 2;
      const std::uint32_t colour = static_cast<std::uint32_t>(mean[0] << 16 | mean[1] << 8 | mean[2]);
      Memo& m = memo[(colour * 2654435761u) >> 20];
      if (m.colour != colour) {
        std::uint32_t best = 0x30000;
        int bestIndex = 0;
        for (int e = 0; e < 256; ++e) {
          const int d0 = pal[4 * e] - mean[0], d1 = pal[4 * e + 1] - mean[1], d2 = pal[4 * e + 2] - mean[2];
          const auto d = static_cast<std::uint32_t>(d0 * d0 + d1 * d1 + d2 * d2);
          if (d < best) best = d, bestIndex = e;
        }
        m = {colour, static_cast<std::uint8_t>(bestIndex)};
      }
      t.pixels[static_cast<std::size_t>(y) * width + x] = m.index;
    }
  t.width = width;
  t.height = height;
  t.pixels.resize(static_cast<std::size_t>(width) * height);
}

SplitPath splitPath(const std::string& path) {
  SplitPath parts;
  std::size_t rest = 0;
  if (path.size() >= 2 && path[1] == ':') {
    parts.drive = path.substr(0, 2);
    rest = 2;
  }
  const std::size_t separator = path.find_last_of("/\\");
  const std::size_t nameAt = (separator == std::string::npos || separator < rest) ? rest : separator + 1;
  parts.directory = path.substr(rest, nameAt - rest);
  const std::size_t dot = path.rfind('.');
  const std::size_t extensionAt = (dot == std::string::npos || dot < nameAt) ? path.size() : dot;
  parts.name = path.substr(nameAt, extensionAt - nameAt);
  parts.extension = path.substr(extensionAt);
  return parts;
}

std::size_t MemoryMapSink::write(const std::uint8_t* data, std::size_t size) {
  if (bytes.size() < at_ + size) bytes.resize(at_ + size);
  std::copy_n(data, size, bytes.begin() + static_cast<std::ptrdiff_t>(at_));
  at_ += size;
  return size;
}

MapWriteEnd writeMapFile(MapSink& out, std::span<const d3d::Material> materials, const MapTextureSource& textureOf) {
  const auto m = static_cast<std::uint32_t>(materials.size());
  const std::uint32_t levels = kMapLevelsPerMaterial * m;
  std::vector<std::uint32_t> header(kMapHeaderSize / 4, 0);
  std::vector<std::uint32_t> levelTable(kMapLevelRecordWords * levels, 0);
  std::vector<std::uint32_t> materialTable(kMapMaterialRecordWords * m, 0);
  std::vector<std::uint32_t> dataSizes(levels, 0);
  std::vector<std::uint32_t> reserved(kMapReservedRecordSize / 4 * m, 0);
  auto writeHeaderAndTables = [&] {
    writeWords(out, header);
    writeWords(out, levelTable);
    writeWords(out, materialTable);
    writeWords(out, dataSizes);
    writeWords(out, reserved);
  };
  writeHeaderAndTables();

  for (std::uint32_t material = 0; material < m; ++material) {
    std::uint32_t* record = &materialTable[kMapMaterialRecordWords * material];
    record[0] = kMapLevelsPerMaterial;
    record[1] = 0;
    MapTextureLookup lookup = textureOf(materials[material]);
    if (lookup.stop) return MapWriteEnd::Stopped;
    if (!lookup.texture) continue;
    MapTexture& texture = *lookup.texture;

    for (std::uint32_t j = 0; j < kMapLevelsPerMaterial; ++j) {
      const std::uint32_t level = kMapLevelsPerMaterial * material + j;
      record[2 + j] = level;
      std::uint32_t* levelRecord = &levelTable[kMapLevelRecordWords * level];
      levelRecord[0] = static_cast<std::uint32_t>(texture.width);
      levelRecord[1] = static_cast<std::uint32_t>(texture.height);
      levelRecord[2] = kMapBitsPerPixel;
      levelRecord[7] = out.position();
      (void)out.write(texture.palette.data(), texture.palette.size());
      const std::uint32_t dataAt = out.position();
      levelRecord[8] = dataAt;
      {
        auto encoder = std::make_unique<LzwEncoder>(out);
        for (std::uint8_t p : texture.pixels)
          if (!encoder->put(p)) return MapWriteEnd::ShortWrite;
        if (!encoder->end()) return MapWriteEnd::ShortWrite;
      }
      dataSizes[level] = out.position() - dataAt;
      // The game halves once more after the last level and drops the result; nothing of
      // it reaches the file, so that pass is left out.
      if (j + 1 < kMapLevelsPerMaterial) halveMapTexture(texture);
    }
  }

  header[0] = out.position();
  header[1] = m;
  header[2] = levels;
  header[3] = kMapHeaderSize;
  header[4] = kMapHeaderSize + 144 * m;
  header[5] = kMapHeaderSize + 184 * m;
  header[6] = kMapHeaderSize + 168 * m;
  out.rewind();
  writeHeaderAndTables();
  return MapWriteEnd::Complete;
}

}  // namespace vellmark
