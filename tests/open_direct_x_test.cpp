// OpenDirectX as a whole: the order of its steps and boxes, its output names, the two
// process-ending failures, and real meshes through the portable loader down to the
// decoded .MAP levels.
#include "tools/open_direct_x.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "xfile/result_text.h"
#include "base/paths.h"
#include "support/lzw_decoder.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

// A layer that records its calls and hands out a prepared mesh.
class ScriptedLayer : public d3d::MeshLayer {
 public:
  bool windowOk = true;
  d3d::HResult deviceResult = d3d::kOk;
  d3d::HResult loadResult = d3d::kOk;
  d3d::LoadedMesh mesh;
  std::vector<std::string> calls;
  d3d::DeviceRequest request;
  std::uint32_t options = 0;

  bool createHiddenWindow() override {
    calls.push_back("window");
    return windowOk;
  }
  d3d::HResult createDevice(const d3d::DeviceRequest& r) override {
    calls.push_back("device");
    request = r;
    return deviceResult;
  }
  d3d::HResult loadMesh(const std::string& path, std::uint32_t o, d3d::LoadedMesh& out) override {
    calls.push_back("load " + path);
    options = o;
    if (!d3d::failed(loadResult)) out = mesh;
    return loadResult;
  }
  std::string describe(d3d::HResult code) override { return "text of " + std::to_string(code); }
  void releaseDevice() override { calls.push_back("release"); }
  void destroyWindow() override { calls.push_back("destroy"); }
};

// One triangle with the 32-byte layout and no material texture.
d3d::LoadedMesh oneTriangle(int materials) {
  d3d::LoadedMesh m;
  m.mesh.fvf = d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfTex1;
  m.mesh.stride = 32;
  m.mesh.vertexCount = 3;
  m.mesh.vertices.assign(96, 0);
  m.mesh.indices = {0, 1, 2};
  m.mesh.attributes = {0};
  m.materials.resize(static_cast<std::size_t>(materials));
  return m;
}

const std::string kSep(1, kPathSeparator);

std::uint32_t word(const std::vector<std::uint8_t>& v, std::size_t at) { return getU32(v, at); }

// The status `run` ends the process with (ProcessExit), or -1 when it returns.
int exitStatus(const std::function<void()>& run) {
  try {
    run();
  } catch (const ProcessExit& e) {
    return e.status;
  }
  return -1;
}

// Answers the open-file dialog with the bundled texture of the same name, as a user would
// who points it at the textures of the kwxport cube.
class TextureFindingHost : public RecordingHost {
 public:
  std::optional<std::string> openFileDialog(const std::string& initial) override {
    dialogRequests.push_back(initial);
    return dataPath("xfiles/assimp/" + initial.substr(initial.find_last_of('\\') + 1));
  }
};

// The texture's pixels as red, green, blue, top row first, averaged over blocks of
// 2^level x 2^level.
std::vector<double> downsampledTexture(const std::string& name, int level, int& side) {
  auto tga = loadData("xfiles/assimp/" + name);
  const int width = tga[12] | (tga[13] << 8), height = tga[14] | (tga[15] << 8);
  const int block = 1 << level;
  side = width / block;
  std::vector<double> out(static_cast<std::size_t>(side) * (height / block) * 3, 0.0);
  for (int y = 0; y < height / block * block; ++y)
    for (int x = 0; x < side * block; ++x) {
      const std::size_t source = 18 + 3 * (static_cast<std::size_t>(height - 1 - y) * width + x);  // bottom row first
      const std::size_t target = 3 * ((y / block) * side + x / block);
      for (int c = 0; c < 3; ++c) out[target + c] += tga[source + 2 - c] / double(block * block);
    }
  return out;
}

}  // namespace

TEST(OpenDirectX, OutputNames) {
  auto names = meshOutputNames("C:" + kSep + "m" + kSep + "Hole1.X", "C:" + kSep + "out");
  EXPECT_EQ(names.xyz, "C:" + kSep + "out" + kSep + "Hole1.XYZ");
  EXPECT_EQ(names.map, "C:" + kSep + "out" + kSep + "Hole1.MAP");
  EXPECT_EQ(meshOutputNames(kSep + "m" + kSep + "Hole1.x", "out").xyz, "out" + kSep + "Hole1.x.XYZ");
  EXPECT_EQ(meshOutputNames(kSep + "m" + kSep + "a.Xtra.X", "out").xyz, "out" + kSep + "a.Xtra.XYZ");
  EXPECT_EQ(meshOutputNames("Hole1.X", "out").map, "outHole1.MAP");
  EXPECT_EQ(meshOutputNames("m.X" + kSep + "tree.x", "o").xyz, "o" + kSep + "tree.x.XYZ");
}

TEST(OpenDirectX, RunsItsStepsInOrder) {
  ScratchDir dir;
  RecordingHost host;
  ScriptedLayer layer;
  layer.mesh = oneTriangle(0);
  openDirectX(host, layer, dir.file("Hole1.X"), dir.path().string());
  EXPECT_EQ(layer.calls, (std::vector<std::string>{"window", "device", "load " + dir.file("Hole1.X"), "release",
                                                   "destroy"}));
  EXPECT_EQ(layer.options, 0x110u);
  const d3d::DeviceRequest& r = layer.request;
  const auto& p = r.parameters;
  EXPECT_EQ((std::vector<std::uint32_t>{r.adapter, r.deviceType, r.behaviourFlags, p.backBufferFormat, p.swapEffect,
                                        p.windowed, p.enableAutoDepthStencil, p.autoDepthStencilFormat,
                                        p.presentationInterval, p.backBufferWidth + p.backBufferCount + p.flags}),
            (std::vector<std::uint32_t>{0, 1, 0, 0xFFFFFFFFu, 1, 1, 1, 0x2DA00196u, 0x80000000u, 0}));

  EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{"Attempting to Write XYZ File", dir.file("Hole1.XYZ")},
                                                         {"Attempting to Write MAP File", dir.file("Hole1.MAP")}}));
  EXPECT_EQ(readFile(dir.file("Hole1.XYZ")).size(), 164u + 36 + 42);
  EXPECT_EQ(readFile(dir.file("Hole1.MAP")), (std::vector<std::uint8_t>{28, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 28, 0,
                                                                        0, 0, 28, 0, 0, 0, 28, 0, 0, 0, 28, 0, 0, 0}));
}

TEST(OpenDirectX, SetUpAndLoadFailuresEndTheProcess) {
  struct Case {
    bool windowOk;
    d3d::HResult device, load;
    RecordingHost::Box box;
  };
  const RecordingHost::Box setUp = {"DirectX Initialization Error",
                                     "Initialization of DirectX Engine Failed Please install DirectX SDK"};
  const Case cases[] = {
      {false, d3d::kOk, d3d::kOk, setUp},
      {true, d3d::kInvalidCall, d3d::kOk, setUp},
      {true, d3d::kOk, d3d::kFail, {"Load Error", "text of " + std::to_string(d3d::kFail)}},
  };
  for (const Case& c : cases) {
    ScratchDir dir;
    RecordingHost host;
    ScriptedLayer layer;
    layer.windowOk = c.windowOk;
    layer.deviceResult = c.device;
    layer.loadResult = c.load;
    layer.mesh = oneTriangle(1);
    EXPECT_EQ(exitStatus([&] { openDirectX(host, layer, dir.file("a.X"), dir.path().string()); }), 1);
    EXPECT_EQ(host.boxes, std::vector<RecordingHost::Box>{c.box});
    EXPECT_FALSE(fileExists(dir.file("a.XYZ")));
    EXPECT_FALSE(fileExists(dir.file("a.MAP")));
  }
}

TEST(OpenDirectX, PortableLayerReportsALoadFailureWithItsText) {
  ScratchDir dir;
  writeFile(dir.file("empty.X"), {'x', 'o', 'f', ' ', '0', '3', '0', '3', 't', 'x', 't', ' ', '0', '0', '3', '2'});
  // The texts are those of the error-description function; a file without a mesh is E_FAIL.
  for (const auto& [name, code] : {std::pair<std::string, d3d::HResult>{"missing.X", d3d::kInvalidData},
                                   {"empty.X", d3d::kFail}}) {
    RecordingHost host;
    EXPECT_EQ(exitStatus([&] { openDirectX(host, d3d::portableMeshLayer(), dir.file(name), dir.path().string()); }), 1);
    EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{"Load Error", d3d::describeResult(code)}}));
  }
}

TEST(OpenDirectX, MeshWithoutMaterialListStopsAtTheMissingTexture) {
  ScratchDir dir;
  RecordingHost host;
  openDirectX(host, d3d::portableMeshLayer(), dataPath("xfiles/assimp/BCN_Epileptic.X"), dir.path().string());
  ASSERT_EQ(host.boxes.size(), 3u);
  EXPECT_EQ(host.boxes[2], (RecordingHost::Box{"MAP File Creation Error", "Missing texture in object"}));
  auto xyz = readFile(dir.file("BCN_Epileptic.XYZ"));
  EXPECT_EQ(word(xyz, 24), 3014u);
  EXPECT_EQ(word(xyz, 40), 5126u);
  EXPECT_EQ(readFile(dir.file("BCN_Epileptic.MAP")), std::vector<std::uint8_t>(28 + 192, 0));
}

TEST(OpenDirectX, TexturedCubeLevelsDecodeToTheDownsampledTextures) {
  ScratchDir dir;
  TextureFindingHost host;
  const std::string mesh = dataPath("xfiles/assimp/kwxport_test_cubewithvcolors.x");
  openDirectX(host, d3d::portableMeshLayer(), mesh, dir.path().string());
  // No ".X" in the name: the outputs keep the whole name.
  const std::string base = dir.file("kwxport_test_cubewithvcolors.x");
  ASSERT_EQ(host.boxes.size(), 2u) << host.boxes.back().text;
  ASSERT_EQ(host.dialogRequests.size(), 3u);
  EXPECT_EQ(host.dialogRequests[0], "C:\\\\code\\\\sourceforge\\\\kwxport\\\\trunkMerged\\\\test\\\\data\\\\bottom.tga");

  auto xyz = readFile(base + ".XYZ");
  EXPECT_EQ(word(xyz, 24), 24u);  // vertices
  EXPECT_EQ(word(xyz, 40), 12u);  // faces
  auto map = readFile(base + ".MAP");
  ASSERT_EQ(word(map, 0), map.size());
  ASSERT_EQ(word(map, 4), 3u);
  ASSERT_EQ(word(map, 8), 12u);
  const char* textures[] = {"bottom.tga", "top.tga", "updown.tga"};
  for (int m = 0; m < 3; ++m)
    for (int j = 0; j < 4; ++j) {
      const std::size_t record = 28 + 36 * (4 * m + j);
      const std::uint32_t width = word(map, record), height = word(map, record + 4);
      ASSERT_EQ(width, 256u >> j);
      ASSERT_EQ(height, 256u >> j);
      const std::uint32_t paletteAt = word(map, record + 28), dataAt = word(map, record + 32);
      const std::uint32_t size = word(map, 28 + 168 * 3 + 4 * (4 * m + j));
      auto pixels = lzwDecode(std::vector<std::uint8_t>(map.begin() + dataAt, map.begin() + dataAt + size)).bytes;
      ASSERT_EQ(pixels.size(), std::size_t{width} * height);
      int side = 0;
      auto expected = downsampledTexture(textures[m], j, side);
      double error = 0;
      for (std::size_t i = 0; i < pixels.size(); ++i)
        for (int c = 0; c < 3; ++c) error += std::abs(map[paletteAt + 4 * pixels[i] + c] - expected[3 * i + c]);
      error /= 3.0 * pixels.size();
      // Level 0 holds the textures' own colours; each halving snaps means to the palette.
      // Rows taken the wrong way up would be off by 15 to 48 levels per channel.
      EXPECT_LT(error, 2.0) << textures[m] << " level " << j;
    }
}

TEST(OpenDirectX, ProgramAndLibraryWriteTheSameFiles) {
  ScratchDir cli, lib;
  const std::string mesh = dataPath("xfiles/assimp/test_cube_binary.x");
  auto run = runCli({"mesh", mesh, cli.path().string()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("Attempting to Write XYZ File: " + cli.file("test_cube_binary.x.XYZ")), std::string::npos);
  // The cube's material has no texture.
  EXPECT_NE(run.err.find("MAP File Creation Error: Missing texture in object"), std::string::npos);

  void* handle = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  auto open = reinterpret_cast<void (*)(const char*, const char*)>(dlsym(handle, "OpenDirectX"));
  ASSERT_NE(open, nullptr);
  open(mesh.c_str(), lib.path().string().c_str());
  dlclose(handle);
  EXPECT_EQ(readFile(cli.file("test_cube_binary.x.XYZ")), readFile(lib.file("test_cube_binary.x.XYZ")));
  EXPECT_EQ(readFile(cli.file("test_cube_binary.x.MAP")), readFile(lib.file("test_cube_binary.x.MAP")));

  auto missing = runCli({"mesh", cli.file("nothing.X"), cli.path().string()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("Load Error: "), std::string::npos);
  EXPECT_FALSE(fileExists(cli.file("nothing.XYZ")));
}
