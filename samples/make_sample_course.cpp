// Writes the sample course archive samples/sample_course.arc from the freely licensed
// images, sounds and pictures under tests/data, with the project's own writers: the course
// archive writer, the BTC texture writer and the tiled panorama writer.
//   make_sample_course TEST_DATA_DIR OUTPUT
// Every member is checked to be one the extractor finds whole (no false 78 9C in its
// stream, at most 8:1); the panorama is shifted around the seamless sky until it is.
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "archive/course_archive.h"
#include "base/file_io.h"
#include "base/tga.h"
#include "archive/zlib_member.h"
#include "tools/btc_writers.h"

using namespace vellmark;

namespace {

using ByteVector = std::vector<std::uint8_t>;

ByteVector gunzipped(const std::string& path) {
  auto raw = readWholeFile(path);
  ByteVector out(loadU32(&raw[raw.size() - 4]));  // gzip keeps the size in its last word
  z_stream s{};
  if (inflateInit2(&s, 16 + MAX_WBITS) != Z_OK) throw std::runtime_error("inflateInit2");
  s.next_in = raw.data();
  s.avail_in = static_cast<uInt>(raw.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  const int status = inflate(&s, Z_FINISH);
  inflateEnd(&s);
  if (status != Z_STREAM_END) throw std::runtime_error("bad gzip file " + path);
  return out;
}

bool extractable(const ByteVector& packed, std::size_t size) {
  for (std::size_t i = 1; i + 1 < packed.size(); ++i)
    if (packed[i] == 0x78 && packed[i + 1] == 0x9C) return false;
  return size <= 8 * packed.size();
}

// The w x h pixels at (x, y) of a 32-bit top-first image, columns wrapping around.
Image crop(const Image& image, std::uint32_t x, std::uint32_t y, std::uint32_t w, std::uint32_t h) {
  Image out{w, h, {}};
  for (std::uint32_t r = 0; r < h; ++r)
    for (std::uint32_t c = 0; c < w; ++c) {
      const std::uint8_t* p = &image.pixels[(std::size_t{y + r} * image.width + (x + c) % image.width) * 4];
      out.pixels.insert(out.pixels.end(), p, p + 4);
    }
  return out;
}

ByteVector terrainVertexList(int side) {
  ByteVector m(40, 0);
  storeU32(&m[0], 2);
  storeU32(&m[4], 2);
  storeU32(&m[16], static_cast<std::uint32_t>(side * side - 1));
  for (int i = 0; i < side; ++i)
    for (int j = 0; j < side; ++j)
      for (float f : {i * 4.0f, 3.0f * std::sin(i * 0.2f) * std::cos(j * 0.15f), j * 4.0f}) {
        std::uint32_t bits;
        std::memcpy(&bits, &f, 4);
        appendU32(m, bits);
      }
  return m;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::fprintf(stderr, "usage: make_sample_course TEST_DATA_DIR OUTPUT\n");
    return 2;
  }
  const std::string data = argv[1];
  const Image sky = readTgaImage(gunzipped(data + "/sky/sky_4800x320_top.tga.gz"), "sky");

  struct Member {
    std::string name;
    ByteVector bytes;
  };
  std::vector<Member> members;
  members.push_back({"scarecrow.tga", readWholeFile(data + "/textures/scarecrow_128x256_rgba32_bottomup.tga")});
  members.push_back({"coin.wav", readWholeFile(data + "/media/coin_u8_mono_22050.wav")});
  members.push_back({"hull.btc", makeBtcFile(readTgaImage(readWholeFile(data + "/textures/ship_hull_wood_256x256_rgb24.tga"), "hull"))});
  members.push_back({"sky.jpg", readWholeFile(data + "/media/kloppenheim_06_1024x512_jfif_progressive420.jpg")});
  for (std::uint32_t x : {1024u, 2048u, 3072u}) {
    const Image tile = crop(sky, x, 256, 64, 64);
    members.push_back({"horizon" + std::to_string(x / 1024) + ".tga", makeTgaImage(64, 64, tile.pixels)});
  }
  members.push_back({"terrain.vrt", terrainVertexList(40)});
  members.push_back({"objects.dat", ByteVector{'X', 'O', 'B', 'J', 0, 0, 0, 0}});

  // The course panorama: a 1024 x 256 band of the sky as a tiled panorama stream, whose
  // unused first word the game marks "nap".
  for (std::uint32_t shift = 0;; shift += 16) {
    if (shift >= sky.width) throw std::runtime_error("no panorama variant packs cleanly");
    auto stream = makeTiledPanoramaStream(crop(sky, shift, 40, 1024, 256));
    std::memcpy(stream.data(), "nap", 4);
    if (extractable(compressMember(stream), stream.size())) {
      members.push_back({"Panorama.btc", std::move(stream)});
      std::printf("panorama: sky columns from %u\n", shift);
      break;
    }
  }

  CourseArchiveWriter writer;
  for (const auto& m : members) {
    const auto packed = compressMember(m.bytes);
    if (!extractable(packed, m.bytes.size())) throw std::runtime_error(m.name + " would not be found whole");
    writer.addMember(m.name, packed, static_cast<std::uint32_t>(m.bytes.size()));
    std::printf("%-14s %8zu bytes, %7zu packed\n", m.name.c_str(), m.bytes.size(), packed.size());
  }
  const auto archive = std::move(writer).finish();
  if (!writeWholeFile(argv[2], archive)) throw std::runtime_error(std::string("cannot write ") + argv[2]);
  std::printf("%s: %zu bytes, %zu members\n", argv[2], archive.size(), members.size());
  return 0;
} catch (const std::exception& e) {
  std::fprintf(stderr, "make_sample_course: %s\n", e.what());
  return 1;
}
