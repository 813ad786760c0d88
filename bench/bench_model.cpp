// model on a 60,000-vertex .glb with four 1024 x 1024 PNG textures: the whole tool, each of
// its stages alone (load, decode, quantize, LZW with the halvings, write), and the same
// writer behind the Open Asset Import Library's loader (no post-processing) instead of ours.
// Run: bench/run.sh bench_model
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <benchmark/benchmark.h>

#include "scratch.h"
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "gltf/gltf_model.h"
#include "gltf/glb_builder.h"
#include "image/image_file.h"
#include "image/resample.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "tools/convert_model.h"

using namespace vellmark;
namespace fs = std::filesystem;

namespace {

constexpr int kMaterials = 4, kSide = 1024, kGridX = 120, kGridY = 125;  // 4 x 15,000 vertices

struct Fixture {
  fs::path folder;
  std::vector<std::uint8_t> glb;
  std::vector<std::vector<std::uint8_t>> pngs;
};

// Four real photographs and textures scaled to 1024 x 1024, as PNG.
std::vector<std::vector<std::uint8_t>> texturePngs() {
  std::vector<std::vector<std::uint8_t>> out;
  for (const char* name : {"media/fabric_pattern_07_arm_1k_jfif_exif_baseline420.jpg", "media/sunflowers_puresky_2k_jfif_baseline444.jpg",
                           "media/kloppenheim_06_1024x512_jfif_progressive420.jpg", "textures/ship_hull_wood_256x256_rgb24.tga"}) {
    const Image picture = decodeImage(readWholeFile(std::string(VELLMARK_TEST_DATA_DIR "/") + name), name);
    out.push_back(encodePng(resampleImage(picture, kSide, kSide, {})));
  }
  return out;
}

std::vector<std::uint8_t> makeGlb(const std::vector<std::vector<std::uint8_t>>& pngs) {
  GlbBuilder b;
  tinygltf::Model& m = b.model();
  tinygltf::Mesh mesh;
  for (int k = 0; k < kMaterials; ++k) {
    std::vector<float> positions, uvs;
    std::vector<std::uint16_t> indices;
    for (int y = 0; y < kGridY; ++y)
      for (int x = 0; x < kGridX; ++x) {
        const float u = x / float(kGridX - 1), v = y / float(kGridY - 1);
        positions.insert(positions.end(), {u * 10 + 11 * k, std::sin(u * 7) * std::cos(v * 5), v * 10});
        uvs.insert(uvs.end(), {u, v});
        if (x + 1 < kGridX && y + 1 < kGridY) {
          const auto i = static_cast<std::uint16_t>(y * kGridX + x);
          indices.insert(indices.end(), {i, static_cast<std::uint16_t>(i + kGridX), static_cast<std::uint16_t>(i + 1),
                                         static_cast<std::uint16_t>(i + 1), static_cast<std::uint16_t>(i + kGridX),
                                         static_cast<std::uint16_t>(i + kGridX + 1)});
        }
      }
    tinygltf::Primitive p;
    p.attributes["POSITION"] = b.accessor(b.view(positions.data(), 4 * positions.size()), positions.size() / 3,
                                          TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC3);
    p.attributes["TEXCOORD_0"] = b.accessor(b.view(uvs.data(), 4 * uvs.size()), uvs.size() / 2, TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC2);
    p.indices = b.accessor(b.view(indices.data(), 2 * indices.size()), indices.size(), TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_SCALAR);
    p.material = k;
    p.mode = TINYGLTF_MODE_TRIANGLES;
    mesh.primitives.push_back(p);
    tinygltf::Image image;
    image.bufferView = b.view(pngs[k].data(), pngs[k].size());
    image.mimeType = "image/png";
    m.images.push_back(image);
    tinygltf::Texture texture;
    texture.source = k;
    m.textures.push_back(texture);
    tinygltf::Material material;
    material.pbrMetallicRoughness.baseColorTexture.index = k;
    m.materials.push_back(material);
  }
  return b.finish(mesh);
}

const Fixture& fixture() {
  static const Fixture f = [] {
    Fixture x;
    x.folder = bench::scratchFolder("model");
    x.pngs = texturePngs();
    x.glb = makeGlb(x.pngs);
    writeWholeFile((x.folder / "model.glb").string(), x.glb);
    return x;
  }();
  return f;
}

const auto noFetch = [](const std::string&) { return std::optional<std::vector<std::uint8_t>>(); };

struct QuietHost : Host {
  void messageBox(std::string_view, std::string_view) override {}
  std::string executablePath() override { return {}; }
  bool folderExists(const std::string&) override { return true; }
  void createFolder(const std::string&) override {}
  std::optional<std::string> openFileDialog(const std::string&) override { return std::nullopt; }
  void print(std::string_view) override {}
  void printError(std::string_view) override {}
  [[noreturn]] void exitProcess(int) override { std::abort(); }
};

void BM_ModelTool(benchmark::State& state) {
  const std::string in = (fixture().folder / "model.glb").string(), out = (fixture().folder / "ours").string();
  fs::create_directories(out);
  QuietHost host;
  for (auto _ : state) convertModel(host, in, out, static_cast<unsigned>(state.range(0)));
}
BENCHMARK(BM_ModelTool)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_StageLoad(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(loadGltfModel(fixture().glb, noFetch));
}
BENCHMARK(BM_StageLoad)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_StageDecode(benchmark::State& state) {
  for (auto _ : state)
    for (const auto& png : fixture().pngs) benchmark::DoNotOptimize(decodeImage(png, "texture"));
}
BENCHMARK(BM_StageDecode)->Unit(benchmark::kMillisecond)->Iterations(3);

std::vector<Image> decoded() {
  std::vector<Image> out;
  for (const auto& png : fixture().pngs) out.push_back(decodeImage(png, "texture"));
  return out;
}

void BM_StageQuantize(benchmark::State& state) {
  const std::vector<Image> images = decoded();
  for (auto _ : state)
    for (const Image& i : images) benchmark::DoNotOptimize(mapTextureFromPixels(kSide, kSide, i.pixels));
}
BENCHMARK(BM_StageQuantize)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_StageLzwAndHalving(benchmark::State& state) {
  std::vector<MapTexture> textures;
  for (const Image& i : decoded()) textures.push_back(mapTextureFromPixels(kSide, kSide, i.pixels));
  const std::vector<d3d::Material> materials(kMaterials);
  for (auto _ : state) {
    MemoryMapSink sink;
    std::size_t k = 0;
    writeMapFile(sink, materials, [&](const d3d::Material&) { return MapTextureLookup{textures[k++], false}; });
    benchmark::DoNotOptimize(sink.bytes);
  }
}
BENCHMARK(BM_StageLzwAndHalving)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_StageWrite(benchmark::State& state) {
  const std::vector<std::uint8_t> xyz = readWholeFile((fixture().folder / "ours" / "model.XYZ").string());
  const std::vector<std::uint8_t> map = readWholeFile((fixture().folder / "ours" / "model.MAP").string());
  const std::string out = (fixture().folder / "written").string();
  for (auto _ : state) {
    writeWholeFile(out + ".XYZ", xyz);
    writeWholeFile(out + ".MAP", map);
  }
}
BENCHMARK(BM_StageWrite)->Unit(benchmark::kMillisecond)->Iterations(3);

// The other loader in front of the same writer: meshes and embedded PNGs from its scene, z and
// winding turned as ours does, then decode and quantize on the same threads, LZW, write.
void BM_AssimpLoadThenOurWriter(benchmark::State& state) {
  const std::string out = (fixture().folder / "assimp").string();
  for (auto _ : state) {
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFileFromMemory(fixture().glb.data(), fixture().glb.size(), 0, "glb");
    if (!scene) {
      state.SkipWithError("assimp failed");
      return;
    }
    d3d::LoadedMesh loaded;
    d3d::MeshData& mesh = loaded.mesh;
    mesh.fvf = d3d::kFvfXyz | d3d::kFvfTex1;
    mesh.stride = 20;
    for (unsigned i = 0; i < scene->mNumMeshes; ++i) {
      const aiMesh* am = scene->mMeshes[i];
      const std::uint32_t first = mesh.vertexCount;
      for (unsigned v = 0; v < am->mNumVertices; ++v) {
        const float vertex[5] = {am->mVertices[v].x, am->mVertices[v].y, -am->mVertices[v].z, am->mTextureCoords[0][v].x,
                                 am->mTextureCoords[0][v].y};
        const std::size_t at = mesh.vertices.size();
        mesh.vertices.resize(at + 20);
        std::memcpy(&mesh.vertices[at], vertex, 20);
      }
      mesh.vertexCount += am->mNumVertices;
      for (unsigned f = 0; f < am->mNumFaces; ++f) {
        const unsigned* c = am->mFaces[f].mIndices;
        mesh.indices.insert(mesh.indices.end(), {static_cast<std::uint16_t>(first + c[0]), static_cast<std::uint16_t>(first + c[2]),
                                                 static_cast<std::uint16_t>(first + c[1])});
        mesh.attributes.push_back(am->mMaterialIndex);
      }
    }
    loaded.materials.resize(scene->mNumMaterials);
    std::vector<MapTexture> textures(scene->mNumTextures);
    runOrdered(
        scene->mNumTextures, static_cast<unsigned>(state.range(0)),
        [&](std::size_t i) {
          const aiTexture* t = scene->mTextures[i];
          const Image image = decodeImage(Bytes(reinterpret_cast<const std::uint8_t*>(t->pcData), t->mWidth), "texture");
          return mapTextureFromPixels(static_cast<int>(image.width), static_cast<int>(image.height), image.pixels);
        },
        [&](std::size_t i, MapTexture t) { textures[i] = std::move(t); });
    const std::vector<std::uint8_t> xyz = buildXyzImage(mesh);
    MemoryMapSink map;
    std::size_t k = 0;
    writeMapFile(map, loaded.materials, [&](const d3d::Material&) {
      return MapTextureLookup{k < textures.size() ? std::optional<MapTexture>(std::move(textures[k++])) : std::nullopt, false};
    });
    writeWholeFile(out + ".XYZ", xyz);
    writeWholeFile(out + ".MAP", map.bytes);
  }
}
BENCHMARK(BM_AssimpLoadThenOurWriter)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_AssimpLoadOnly(benchmark::State& state) {
  for (auto _ : state) {
    Assimp::Importer importer;
    benchmark::DoNotOptimize(importer.ReadFileFromMemory(fixture().glb.data(), fixture().glb.size(), 0, "glb"));
  }
}
BENCHMARK(BM_AssimpLoadOnly)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

int main(int argc, char** argv) { return vellmark::bench::runBenchmarksAndClean(argc, argv); }
