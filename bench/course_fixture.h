// A generated course archive for the extraction benchmark: about 64 MiB of members of every
// kind at realistic sizes, cut from the real images, sounds and pictures under tests/data.
#pragma once

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "archive/member_kind.h"
#include "archive/course_archive.h"
#include "base/tga.h"
#include "archive/zlib_member.h"
#include "support/gunzip.h"
#include "tools/sky_file.h"

namespace vellmark::bench {

// stem + n + extension, built by appending: GCC 12 warns falsely (-Wrestrict) on
// "literal" + std::string at -O2.
inline std::string numbered(const char* stem, long n, const char* extension = "") {
  std::string name = stem;
  name += std::to_string(n);
  name += extension;
  return name;
}

inline std::vector<std::uint8_t> readDataFile(const std::string& relative) {
  const std::string path = std::string(VELLMARK_TEST_DATA_DIR) + "/" + relative;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::vector<std::uint8_t> raw((std::istreambuf_iterator<char>(in)), {});
  if (relative.size() < 3 || relative.compare(relative.size() - 3, 3, ".gz") != 0) return raw;
  return test::gunzip(raw, path);
}

// A 32-bit TGA of a w x h crop at (x, y) of a 32-bit top-first image with rows of `stride` pixels.
inline std::vector<std::uint8_t> cropTga(const std::vector<std::uint8_t>& tga, int stride, int x, int y, int w, int h) {
  std::vector<std::uint8_t> pixels;
  for (int r = 0; r < h; ++r) {
    auto row = tga.begin() + 18 + (static_cast<std::ptrdiff_t>(y + r) * stride + x) * 4;
    pixels.insert(pixels.end(), row, row + w * 4);
  }
  return makeTgaImage(static_cast<std::uint16_t>(w), static_cast<std::uint16_t>(h), pixels);
}

// A vertex list of a gently rolling terrain grid of `side` x `side` points.
inline std::vector<std::uint8_t> terrainVertexList(int side, int seed) {
  std::vector<std::uint8_t> m(40, 0);
  storeU32(&m[0], 2);
  storeU32(&m[4], 2);
  storeU32(&m[16], static_cast<std::uint32_t>(side * side - 1));
  for (int i = 0; i < side; ++i)
    for (int j = 0; j < side; ++j) {
      const float p[3] = {i * 2.5f + seed, 10.0f * std::sin(i * 0.07f + seed) * std::cos(j * 0.05f), j * 2.5f};
      for (float f : p) {
        std::uint32_t bits;
        std::memcpy(&bits, &f, 4);
        m.resize(m.size() + 4);
        storeU32(&m[m.size() - 4], bits);
      }
    }
  return m;
}

struct GeneratedCourse {
  std::vector<std::uint8_t> archive;
  std::vector<std::vector<std::uint8_t>> members;  // uncompressed, in archive order
  std::size_t compressedBytes = 0;
  int variantsTried = 0;  // candidates passed over because the extractor could not find them
};

// True when the game's extractor finds this stream whole: no false 78 9C inside it and no
// more than 8:1 expansion.
inline bool extractable(const std::vector<std::uint8_t>& packed, std::size_t size) {
  for (std::size_t i = 1; i + 1 < packed.size(); ++i)
    if (packed[i] == 0x78 && packed[i + 1] == 0x9C) return false;
  return size <= 8 * packed.size();
}

// A JPEG with a comment segment after its JFIF header, so that variants of one picture pack
// into different zlib streams.
inline std::vector<std::uint8_t> jpegVariant(const std::vector<std::uint8_t>& jpeg, int salt) {
  const std::size_t app0End = 4 + ((std::size_t{jpeg[4]} << 8) | jpeg[5]);
  const std::string comment = "variant " + std::to_string(salt);
  std::vector<std::uint8_t> out(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(app0End));
  out.insert(out.end(), {0xFF, 0xFE, 0, static_cast<std::uint8_t>(comment.size() + 2)});
  out.insert(out.end(), comment.begin(), comment.end());
  out.insert(out.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(app0End), jpeg.end());
  return out;
}

// Members of every kind, cut from the real data, until their compressed size reaches
// `targetBytes`. Every member is one that the game's extractor finds: a candidate whose
// stream holds a false signature or packs better than 8:1 is replaced by a variant (another
// crop, cut or comment). `makeBtc` turns a 32-bit top-first TGA into a "BTCV" file,
// `makePanorama` makes the course panorama member from the 4800 x 320 sky TGA.
template <class MakeBtc, class MakePanorama>
GeneratedCourse generateCourse(std::size_t targetBytes, MakeBtc makeBtc, MakePanorama makePanorama) {
  const auto sky = readDataFile("sky/sky_4800x320_top.tga.gz");
  struct Texture {
    std::vector<std::uint8_t> tga;
    int width, height;
  };
  std::vector<Texture> textures;
  for (const char* name : {"textures/explosion_flipbook_512x512_rgba32.tga.gz", "textures/leaf_branch_256x512_rgba32.tga.gz",
                           "textures/scarecrow_128x256_rgba32_bottomup.tga"}) {
    auto tga = readDataFile(name);
    const int w = loadU16(&tga[12]), h = loadU16(&tga[14]);
    textures.push_back({std::move(tga), w, h});
  }
  const std::vector<std::vector<std::uint8_t>> pictures = {
      readDataFile("media/kloppenheim_06_1024x512_jfif_progressive420.jpg"),
      readDataFile("media/sunflowers_puresky_2k_jfif_baseline444.jpg"),
      readDataFile("media/fabric_pattern_07_arm_1k_jfif_exif_baseline420.jpg")};
  // Variants of the pictures that the extractor finds, searched for once.
  std::vector<std::vector<std::uint8_t>> cleanPictures;
  for (const auto& picture : pictures)
    for (int salt = 0, found = 0; salt < 400 && found < 2; ++salt) {
      auto variant = jpegVariant(picture, salt);
      if (!extractable(compressMember(variant), variant.size())) continue;
      cleanPictures.push_back(std::move(variant));
      ++found;
    }
  const auto whistle = readDataFile("media/whistle_s16_stereo_44100.wav");
  const auto impact = readDataFile("media/impact_big_s16_mono_48000.wav");
  const auto coin = readDataFile("media/coin_u8_mono_22050.wav");

  GeneratedCourse course;
  CourseArchiveWriter writer;
  // Each slot tries up to 64 variants; a slot none of whose variants works stays empty.
  auto add = [&](auto make) {
    for (int salt = 0; salt < 64; ++salt) {
      std::vector<std::uint8_t> member = make(salt);
      const auto packed = compressMember(member);
      if (!extractable(packed, member.size())) {
        ++course.variantsTried;
        continue;
      }
      course.compressedBytes += packed.size();
      char name[32];  // (g++ 12 warns falsely about "m" + std::to_string at -O2)
      std::snprintf(name, sizeof name, "m%zu", course.members.size());
      writer.addMember(name, packed, static_cast<std::uint32_t>(member.size()));
      course.members.push_back(std::move(member));
      return;
    }
  };
  // A sound: the RIFF header and the first `size` bytes of `wav`'s samples from `skip` on.
  auto soundCut = [](const std::vector<std::uint8_t>& wav, std::size_t skip, std::size_t size) {
    skip = std::min(skip, wav.size() - 44);
    size = std::min(size, wav.size() - 44 - skip);
    std::vector<std::uint8_t> out(wav.begin(), wav.begin() + 44);
    out.insert(out.end(), wav.begin() + 44 + static_cast<std::ptrdiff_t>(skip),
               wav.begin() + 44 + static_cast<std::ptrdiff_t>(skip + size));
    return out;
  };
  for (int c = 0; course.compressedBytes < targetBytes; ++c) {
    // Sky tiles as the game stores them: five of 64 x 64, three of 256 x 256.
    for (int k = 0; k < 5; ++k)
      add([&](int salt) { return cropTga(sky, 4800, (64 * (c * 9 + k) + 36 * salt) % 4736, 256, 64, 64); });
    for (int k = 0; k < 3; ++k)
      add([&](int salt) { return cropTga(sky, 4800, (256 * (c * 3 + k) + 136 * salt) % 4544, 0, 256, 256); });
    add([&](int salt) {
      const Texture& t = textures[c % textures.size()];
      const int w = std::min(t.width, 512), h = std::min(t.height, 256);
      return cropTga(t.tga, t.width, (4 * (c + salt)) % (t.width - w + 1), (4 * salt) % (t.height - h + 1), w, h);
    });
    add([&](int salt) { return makeBtc(cropTga(sky, 4800, 256 * ((c + salt) % 17), 0, 256, 256)); });
    add([&](int salt) { return makeBtc(cropTga(sky, 4800, 256 * ((c + salt) % 18), 192, 128, 128)); });
    add([&](int salt) { return soundCut(whistle, 4 * (c * 31 + salt), std::size_t{4096} << (c % 6)); });
    add([&](int salt) { return soundCut(c % 2 ? impact : coin, 2 * salt, c % 2 ? 60000 : 18000); });
    add([&](int salt) { return cleanPictures[(c + salt) % cleanPictures.size()]; });
    add([&](int salt) { return terrainVertexList(32 + 16 * (c % 4), c * 1000 + salt); });
    add([&](int salt) {
      std::vector<std::uint8_t> unknown(4 + 4096 + 1024 * (c % 16));
      std::memcpy(unknown.data(), "XOBJ", 4);
      std::copy_n(sky.begin() + 18 + (c * 4096 + salt * 64) % 4000000, unknown.size() - 4, unknown.begin() + 4);
      return unknown;
    });
    if (c == 3) add([&](int salt) { return makePanorama(sky, salt); });
  }
  course.archive = std::move(writer).finish();
  return course;
}

}  // namespace vellmark::bench
