#include "mesh/xyz_reader.h"

#include <cstring>
#include <string>

#include "base/error.h"
#include "mesh/xyz_writer.h"

namespace vellmark {

namespace {

[[noreturn]] void corrupt(const std::string& what) { fail(ErrorKind::Corrupt, std::string("XYZ: ") + what); }

float floatAt(Bytes file, std::size_t at) {
  float f;
  std::memcpy(&f, &file[at], 4);
  return f;
}

// The byte range of `count` records of `size` bytes at `offset`, checked against the file.
void needRange(Bytes file, std::uint64_t offset, std::uint64_t count, std::uint64_t size, const char* what) {
  if (!rangeFits(offset, count * size, file.size()))
    corrupt(std::string(what) + ": " + std::to_string(count) + " of " + std::to_string(size) + " bytes at byte " +
            std::to_string(offset) + " run past the file's " + std::to_string(file.size()) + " bytes");
}

}  // namespace

XyzObject readXyzFile(Bytes file) {
  if (file.size() < kXyzHeaderWords * 4) corrupt("the file is shorter than its " + std::to_string(kXyzHeaderWords * 4) + "-byte header");
  const auto word = [&](int i) { return loadU32(&file[4 * static_cast<std::size_t>(i)]); };
  const std::uint32_t vertices = word(6), verticesAt = word(7), uvCount = word(8), uvsAt = word(9);
  const std::uint32_t faceCount = word(10), facesAt = word(11), cornerCount = word(12), cornersAt = word(13);
  needRange(file, verticesAt, vertices, 12, "positions");
  needRange(file, facesAt, faceCount, 12, "faces");
  needRange(file, cornersAt, cornerCount, 2, "corners");
  needRange(file, uvsAt, uvCount, 8, "texture coordinates");
  if (uvCount < cornerCount) corrupt(std::to_string(cornerCount) + " corners but " + std::to_string(uvCount) + " texture coordinates");

  XyzObject out;
  out.positions.resize(vertices);
  for (std::uint32_t v = 0; v < vertices; ++v)
    for (int j = 0; j < 3; ++j) out.positions[v][j] = floatAt(file, verticesAt + 12ull * v + 4 * j);
  out.cornerVertices.resize(cornerCount);
  out.cornerUvs.resize(cornerCount);
  for (std::uint32_t k = 0; k < cornerCount; ++k) {
    out.cornerVertices[k] = loadU16(&file[cornersAt + 2ull * k]);
    if (out.cornerVertices[k] >= vertices)
      corrupt("corner " + std::to_string(k) + " names vertex " + std::to_string(out.cornerVertices[k]) + " of " + std::to_string(vertices));
    out.cornerUvs[k] = {floatAt(file, uvsAt + 8ull * k), floatAt(file, uvsAt + 8ull * k + 4)};
  }
  // Faces take their corners one after another; the record's 16-bit start wraps past 65,535
  // corners, so the running count is what places them and the record only has to agree.
  std::uint64_t at = 0;
  for (std::uint32_t f = 0; f < faceCount; ++f) {
    const std::uint8_t* record = &file[facesAt + 12ull * f];
    const std::uint16_t corners = loadU16(record), first = loadU16(record + 2), material = loadU16(record + 6);
    if (corners < 3) corrupt("face " + std::to_string(f) + " has " + std::to_string(corners) + " corners");
    if (first != static_cast<std::uint16_t>(at))
      corrupt("face " + std::to_string(f) + " says it starts at corner " + std::to_string(first) + ", not " + std::to_string(at));
    if (at + corners > cornerCount)
      corrupt("face " + std::to_string(f) + " uses corners " + std::to_string(at) + " to " + std::to_string(at + corners - 1) +
              " of " + std::to_string(cornerCount));
    const auto base = static_cast<std::uint32_t>(at);
    for (std::uint32_t k = 1; k + 1 < corners; ++k) out.faces.push_back({material, {base, base + k, base + k + 1}});
    at += corners;
  }
  return out;
}

}  // namespace vellmark
