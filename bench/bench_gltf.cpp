// gltf of a 4-material object with 256 x 256 textures (target: under 50 ms), in process and
// as the program a modder runs. The object: a .x file's worth of triangles per material, the
// textures four real pictures scaled to 256 x 256, written by the game's writers.
// Run: bench/run.sh bench_gltf
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "image/image_file.h"
#include "image/resample.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "run_program.h"
#include "scratch.h"
#include "tools/export_gltf.h"

using namespace vellmark;
namespace fs = std::filesystem;

namespace {

constexpr int kMaterials = 4, kGrid = 40;  // 4 x 1,600 vertices, 4 x 3,042 triangles

const fs::path& folder() {
  static const fs::path dir = [] {
    const fs::path d = bench::scratchFolder("gltf");
    d3d::MeshData mesh;
    mesh.fvf = d3d::kFvfXyz | d3d::kFvfTex1;
    mesh.stride = 20;
    for (int k = 0; k < kMaterials; ++k) {
      const auto first = static_cast<std::uint16_t>(mesh.vertexCount);
      for (int y = 0; y < kGrid; ++y)
        for (int x = 0; x < kGrid; ++x) {
          const float u = x / float(kGrid - 1), v = y / float(kGrid - 1);
          const float vertex[5] = {u + k, std::sin(3 * u) * v, v, u, v};
          const std::size_t at = mesh.vertices.size();
          mesh.vertices.resize(at + 20);
          std::memcpy(&mesh.vertices[at], vertex, 20);
          if (x + 1 < kGrid && y + 1 < kGrid) {
            const auto i = static_cast<std::uint16_t>(first + y * kGrid + x);
            mesh.indices.insert(mesh.indices.end(), {i, static_cast<std::uint16_t>(i + 1), static_cast<std::uint16_t>(i + kGrid),
                                                     static_cast<std::uint16_t>(i + 1), static_cast<std::uint16_t>(i + kGrid + 1),
                                                     static_cast<std::uint16_t>(i + kGrid)});
            mesh.attributes.insert(mesh.attributes.end(), 2, static_cast<std::uint32_t>(k));
          }
        }
      mesh.vertexCount += kGrid * kGrid;
    }
    writeWholeFile((d / "object.XYZ").string(), buildXyzImage(mesh));
    std::vector<MapTexture> textures;
    for (const char* name : {"media/fabric_pattern_07_arm_1k_jfif_exif_baseline420.jpg", "media/sunflowers_puresky_2k_jfif_baseline444.jpg",
                             "media/kloppenheim_06_1024x512_jfif_progressive420.jpg", "textures/ship_hull_wood_256x256_rgb24.tga"}) {
      const Image picture = resampleImage(decodeImage(readWholeFile(std::string(VELLMARK_TEST_DATA_DIR "/") + name), name), 256, 256, {});
      textures.push_back(mapTextureFromPixels(256, 256, picture.pixels));
    }
    MemoryMapSink map;
    std::size_t next = 0;
    writeMapFile(map, std::vector<d3d::Material>(kMaterials), [&](const d3d::Material&) { return MapTextureLookup{textures[next++], false}; });
    writeWholeFile((d / "object.MAP").string(), map.bytes);
    return d;
  }();
  return dir;
}

void BM_GltfInProcess(benchmark::State& state) {
  for (auto _ : state) exportGltf((folder() / "object.XYZ").string(), (folder() / "object.MAP").string(), (folder() / "a.glb").string());
}
BENCHMARK(BM_GltfInProcess)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

void BM_GltfProgram(benchmark::State& state) {
  for (auto _ : state)
    if (bench::runProgram({VELLMARK_CLI_PATH, "-q", "gltf", (folder() / "object.XYZ").string(), (folder() / "object.MAP").string(),
                           (folder() / "b.glb").string()}) != 0)
      state.SkipWithError("gltf failed");
}
BENCHMARK(BM_GltfProgram)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

}  // namespace

int main(int argc, char** argv) { return vellmark::bench::runBenchmarksAndClean(argc, argv); }
