// The MAP writer's palette quantizer against libimagequant reducing the same real images
// to 255 colours (quantize and remap, no dithering, default speed), in the same run.
#include <benchmark/benchmark.h>
#include <libimagequant.h>
#include <zlib.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "mesh/quantize.h"

namespace {

struct Image {
  int width = 0, height = 0;
  std::vector<std::uint8_t> bgra, rgba;
};

// Reads an uncompressed 24- or 32-bit TGA (gzip-wrapped or not) into both byte orders.
Image loadImage(const std::string& name) {
  const std::string path = std::string(VELLMARK_TEST_DATA_DIR) + "/textures/" + name;
  gzFile f = gzopen(path.c_str(), "rb");
  if (!f) throw std::runtime_error("cannot open " + path);
  std::vector<std::uint8_t> file;
  std::uint8_t chunk[65536];
  int n;
  while ((n = gzread(f, chunk, sizeof chunk)) > 0) file.insert(file.end(), chunk, chunk + n);
  gzclose(f);
  Image image;
  image.width = file[12] | (file[13] << 8);
  image.height = file[14] | (file[15] << 8);
  const int bytes = file[16] / 8;
  const std::size_t count = static_cast<std::size_t>(image.width) * image.height;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* p = &file[18 + i * bytes];
    const std::uint8_t a = bytes == 4 ? p[3] : 255;
    image.bgra.insert(image.bgra.end(), {p[0], p[1], p[2], a});
    image.rgba.insert(image.rgba.end(), {p[2], p[1], p[0], a});
  }
  return image;
}

const char* const kImages[] = {"ship_hull_wood_256x256_rgb24.tga", "tree_bark_320x240_rgb24_bottomup.tga",
                               "explosion_flipbook_512x512_rgba32.tga.gz", "leaf_branch_256x512_rgba32.tga.gz"};

void BM_Vellmark(benchmark::State& state) {
  const Image image = loadImage(kImages[state.range(0)]);
  for (auto _ : state) {
    auto q = vellmark::quantizeImage(image.width, image.height, image.bgra);
    if (q.pixels.size() != image.bgra.size() / 4 || q.palette[0] != 255) state.SkipWithError("bad result");
    benchmark::DoNotOptimize(q.pixels.data());
  }
  state.SetLabel(kImages[state.range(0)]);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.bgra.size() / 4));
}

void BM_Libimagequant(benchmark::State& state) {
  const Image image = loadImage(kImages[state.range(0)]);
  std::vector<std::uint8_t> pixels(image.rgba.size() / 4);
  for (auto _ : state) {
    liq_attr* attr = liq_attr_create();
    liq_set_max_colors(attr, 255);
    liq_image* input = liq_image_create_rgba(attr, image.rgba.data(), image.width, image.height, 0);
    liq_result* result = nullptr;
    if (liq_image_quantize(input, attr, &result) != LIQ_OK) {
      state.SkipWithError("quantize failed");
      break;
    }
    liq_set_dithering_level(result, 0);
    if (liq_write_remapped_image(result, input, pixels.data(), pixels.size()) != LIQ_OK ||
        liq_get_palette(result)->count == 0)
      state.SkipWithError("remap failed");
    benchmark::DoNotOptimize(pixels.data());
    liq_result_destroy(result);
    liq_image_destroy(input);
    liq_attr_destroy(attr);
  }
  state.SetLabel(kImages[state.range(0)]);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pixels.size()));
}

}  // namespace

BENCHMARK(BM_Vellmark)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libimagequant)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
