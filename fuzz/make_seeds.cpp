// Writes the seed corpora of the BTC and panorama fuzz targets, made by the encoder:
//   make_fuzz_seeds FUZZ_CORPUS_FOLDER   (fuzz/corpus)
// Built on request only: cmake --build BUILD --target make_fuzz_seeds
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "btc/btc_encoder.h"
#include "archive/course_archive.h"
#include "base/file_io.h"
#include "archive/zlib_member.h"
#include "btc/btc_file_writer.h"
#include "btc/panorama_stream_writer.h"

using namespace vellmark;

namespace {

// A small picture with flat areas, gradients, transparency and transparent black, so that
// every run type appears.
Image picture(std::uint32_t width, std::uint32_t height) {
  Image image{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 4)};
  for (std::uint32_t y = 0; y < height; ++y)
    for (std::uint32_t x = 0; x < width; ++x) {
      std::uint8_t* p = &image.pixels[(std::size_t{y} * width + x) * 4];
      if (x < width / 4) continue;  // transparent black
      p[0] = static_cast<std::uint8_t>(x * 3), p[1] = static_cast<std::uint8_t>(y * 5), p[2] = 90;
      p[3] = x < width / 2 ? static_cast<std::uint8_t>(x + y) : 255;
      if (y < 8) p[0] = p[1] = p[2] = 40, p[3] = 255;  // flat
    }
  return image;
}

void save(const std::string& folder, const std::string& name, const std::vector<std::uint8_t>& bytes) {
  std::filesystem::create_directories(folder);
  if (!writeWholeFile(folder + "/" + name, bytes)) std::fprintf(stderr, "cannot write %s/%s\n", folder.c_str(), name.c_str());
}

std::vector<std::uint8_t> archiveOf(const std::vector<std::pair<std::string, std::vector<std::uint8_t>>>& members) {
  CourseArchiveWriter writer;
  for (const auto& [name, data] : members)
    writer.addMember(name, compressMember(data), static_cast<std::uint32_t>(data.size()));
  return std::move(writer).finish();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_fuzz_seeds FUZZ_CORPUS_FOLDER\n");
    return 2;
  }
  const std::string root = argv[1];
  const Image small = picture(20, 12);
  std::vector<std::uint8_t> decoderSeed = {20, 0, 12, 0};
  const auto stream = encodeBtcStream(20, 12, small.pixels);
  decoderSeed.insert(decoderSeed.end(), stream.begin(), stream.end());
  save(root + "/btc_decoder", "encoded_20x12", decoderSeed);

  save(root + "/btc2tga", "encoded_40x24.btc", makeBtcFile(picture(40, 24)));

  // A sky of transparent black but one band, and a small tiled panorama with an empty tile.
  Image sky{4800, 320, std::vector<std::uint8_t>(4800 * 320 * 4, 0)};
  const Image band = picture(4800, 8);
  std::copy(band.pixels.begin(), band.pixels.end(), sky.pixels.begin() + 4800 * 4 * 252);
  const auto skyStream = makeSkyPanoramaStream(sky);
  Image tiled{300, 260, std::vector<std::uint8_t>(300 * 260 * 4, 0)};
  const Image patch = picture(40, 10);  // across the corner where four tiles meet
  for (std::uint32_t y = 0; y < 10; ++y)
    std::copy_n(patch.pixels.begin() + y * 160, 160, tiled.pixels.begin() + ((250 + y) * 300 + 240) * 4);
  const auto tiledStream = makeTiledPanoramaStream(tiled);
  std::vector<std::uint8_t> seed = {0};
  seed.insert(seed.end(), tiledStream.begin(), tiledStream.end());
  save(root + "/panorama_stream", "tiled_300x260", seed);
  seed = {1};
  seed.insert(seed.end(), skyStream.begin(), skyStream.end());
  save(root + "/panorama_stream", "sky", seed);

  save(root + "/panorama_archive", "course.lib",
       archiveOf({{"sky.btc", skyStream}, {"x.prv", {0, 0, 2, 0}}, {"Panorama.btc", tiledStream}}));
  return 0;
}
