// Loading real .x files: the portable loader against the Open Asset Import Library reading
// the same bytes from memory with no post-processing, side by side in one run.
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "xfile/x_loader.h"

namespace {

std::vector<std::uint8_t> readData(const std::string& relative) {
  std::ifstream in(std::string(VELLMARK_TEST_DATA_DIR) + "/" + relative, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void ownLoader(benchmark::State& state, const char* path, std::uint32_t vertices) {
  const auto file = readData(path);
  for (auto _ : state) {
    vellmark::d3d::LoadedMesh loaded;
    try {
      loaded = vellmark::d3d::loadXFile(file);
    } catch (const vellmark::Error&) {
    }
    if (loaded.mesh.vertexCount != vertices) {
      state.SkipWithError("load failed");
      break;
    }
    benchmark::DoNotOptimize(loaded.mesh.vertices.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * file.size()));
}

void assimpLoader(benchmark::State& state, const char* path, unsigned meshes) {
  const auto file = readData(path);
  for (auto _ : state) {
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFileFromMemory(file.data(), file.size(), 0, "x");
    if (!scene || scene->mNumMeshes != meshes) {
      state.SkipWithError("assimp failed");
      break;
    }
    benchmark::DoNotOptimize(scene->mMeshes[0]->mVertices);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * file.size()));
}

constexpr const char* kTrueSpace = "xfiles/assimp/fromtruespace_bin32.x";
constexpr const char* kEpileptic = "xfiles/assimp/BCN_Epileptic.X";

}  // namespace

BENCHMARK_CAPTURE(ownLoader, fromtruespace_bin32, kTrueSpace, 4132u)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(assimpLoader, fromtruespace_bin32, kTrueSpace, 1u)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ownLoader, BCN_Epileptic, kEpileptic, 3014u)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(assimpLoader, BCN_Epileptic, kEpileptic, 3u)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
