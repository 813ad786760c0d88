// PNG decoding and encoding through the image layer (stb, with our zlib for deflate) against
// libspng, on the real test textures made into PNG files. Run: bench/run.sh bench_png
#include <benchmark/benchmark.h>
#include <spng.h>

#include <string>
#include <vector>

#include "course_fixture.h"
#include "image/image_file.h"

using namespace vellmark;

namespace {

const std::vector<Image>& textures() {
  static const std::vector<Image> images = [] {
    std::vector<Image> out;
    for (const char* name : {"textures/ship_hull_wood_256x256_rgb24.tga", "textures/tree_bark_320x240_rgb24_bottomup.tga",
                             "textures/scarecrow_128x256_rgba32_bottomup.tga",
                             "textures/leaf_branch_256x512_rgba32.tga.gz",
                             "textures/explosion_flipbook_512x512_rgba32.tga.gz", "sky/sky_4800x320_top.tga.gz"})
      out.push_back(decodeImage(bench::readDataFile(name), name));
    return out;
  }();
  return images;
}

const std::vector<std::vector<std::uint8_t>>& pngFiles() {
  static const std::vector<std::vector<std::uint8_t>> files = [] {
    std::vector<std::vector<std::uint8_t>> out;
    for (const auto& image : textures()) out.push_back(encodePng(image));
    return out;
  }();
  return files;
}

std::int64_t pixelBytes() {
  std::int64_t total = 0;
  for (const auto& image : textures()) total += std::int64_t(image.pixels.size());
  return total;
}

void BM_DecodeOurs(benchmark::State& state) {
  for (auto _ : state)
    for (const auto& file : pngFiles()) benchmark::DoNotOptimize(decodeImage(file, "png"));
  state.SetBytesProcessed(state.iterations() * pixelBytes());
}
BENCHMARK(BM_DecodeOurs)->Unit(benchmark::kMillisecond);

void BM_DecodeLibspng(benchmark::State& state) {
  std::vector<std::uint8_t> out;
  for (auto _ : state)
    for (const auto& file : pngFiles()) {
      spng_ctx* ctx = spng_ctx_new(0);
      spng_set_png_buffer(ctx, file.data(), file.size());
      std::size_t size = 0;
      if (spng_decoded_image_size(ctx, SPNG_FMT_RGBA8, &size) != 0) state.SkipWithError("libspng refused a file");
      out.resize(size);
      spng_decode_image(ctx, out.data(), out.size(), SPNG_FMT_RGBA8, 0);
      benchmark::DoNotOptimize(out.data());
      spng_ctx_free(ctx);
    }
  state.SetBytesProcessed(state.iterations() * pixelBytes());
}
BENCHMARK(BM_DecodeLibspng)->Unit(benchmark::kMillisecond);

void BM_EncodeOurs(benchmark::State& state) {
  for (auto _ : state)
    for (const auto& image : textures()) benchmark::DoNotOptimize(encodePng(image));
  state.SetBytesProcessed(state.iterations() * pixelBytes());
}
BENCHMARK(BM_EncodeOurs)->Unit(benchmark::kMillisecond);

// RGBA8 at zlib's default level, as ours writes; the channel order does not change the work.
void BM_EncodeLibspng(benchmark::State& state) {
  for (auto _ : state)
    for (const auto& image : textures()) {
      spng_ctx* ctx = spng_ctx_new(SPNG_CTX_ENCODER);
      spng_set_option(ctx, SPNG_ENCODE_TO_BUFFER, 1);
      spng_set_option(ctx, SPNG_IMG_COMPRESSION_LEVEL, 6);
      spng_ihdr ihdr{};
      ihdr.width = image.width;
      ihdr.height = image.height;
      ihdr.bit_depth = 8;
      ihdr.color_type = SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
      spng_set_ihdr(ctx, &ihdr);
      if (spng_encode_image(ctx, image.pixels.data(), image.pixels.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE) != 0)
        state.SkipWithError("libspng could not encode");
      std::size_t length = 0;
      int error = 0;
      void* png = spng_get_png_buffer(ctx, &length, &error);
      benchmark::DoNotOptimize(png);
      std::free(png);
      spng_ctx_free(ctx);
    }
  state.SetBytesProcessed(state.iterations() * pixelBytes());
}
BENCHMARK(BM_EncodeLibspng)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
