// OpenDirectX as a whole. The .XYZ and .MAP digests were taken when each file had been
// checked field by field and level by level.
#include "tools/open_direct_x.h"

#include <gtest/gtest.h>

#include <functional>

#include "base/error.h"
#include "base/paths.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Boxes = std::vector<RecordingHost::Box>;

struct ScriptedLayer : d3d::MeshLayer {
  bool windowOk = true, deviceOk = true;
  d3d::ResultCode loadCode = d3d::kOk;
  d3d::LoadedMesh mesh;
  std::vector<std::string> calls;

  bool createHiddenWindow() override { return calls.push_back("window"), windowOk; }
  bool createDevice(const d3d::DeviceRequest&) override { return calls.push_back("device"), deviceOk; }
  d3d::LoadedMesh loadMesh(const std::string& path, std::uint32_t) override {
    calls.push_back("load " + path);
    if (loadCode != d3d::kOk) throw Error(ErrorKind::Corrupt, "scripted", loadCode);
    return mesh;
  }
  void releaseDevice() override { calls.push_back("release"); }
  void destroyWindow() override { calls.push_back("destroy"); }
};

d3d::LoadedMesh oneTriangle(std::vector<d3d::Material> materials) {
  return {{d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfTex1, 32, 3, std::vector<std::uint8_t>(96, 0), {0, 1, 2}, {0}}, std::move(materials)};
}

int exitStatus(const std::function<void()>& run) {
  try {
    run();
  } catch (const ProcessExit& e) {
    return e.status;
  }
  return -1;
}

std::string hashOf(const std::string& path) { return fileExists(path) ? sha256Hex(readFile(path)) : "absent"; }

std::vector<std::string> textsAfterTheTwoWrites(const RecordingHost& host) {
  std::vector<std::string> texts;
  for (std::size_t i = 2; i < host.boxes.size(); ++i) texts.push_back(host.boxes[i].text);
  return texts;
}

// Answers the open-file dialog with the bundled texture of the same name, as a user would.
struct TextureFindingHost : RecordingHost {
  std::optional<std::string> openFileDialog(const std::string& initial) override {
    dialogRequests.push_back(initial);
    return dataPath("xfiles/assimp/" + initial.substr(initial.find_last_of('\\') + 1));
  }
};

const std::string kSep(1, kPathSeparator);
const char kZeroMap[] = "ac9ab7fef49ac432f1e4b9b43d3df89ca06dd53c244676fa5d47a8725dcc5eb9";  // one material, no texture
const char kTarga[] = " Targa texture not valid or not TGA File";
const char kCannotRead[] = "Cannot read Texture";

}  // namespace

TEST(OpenDirectX, OutputNames) {
  const struct { std::string mesh, dir, xyz; } cases[] = {
      {"C:" + kSep + "m" + kSep + "Hole1.X", "C:" + kSep + "out", "C:" + kSep + "out" + kSep + "Hole1.XYZ"},
      {kSep + "m" + kSep + "Hole1.x", "out", "out" + kSep + "Hole1.x.XYZ"},
      {"Hole1.X", "out", "outHole1.XYZ"},
      {"m.X" + kSep + "tree.x", "o", "o" + kSep + "tree.x.XYZ"},
  };
  for (const auto& c : cases) {
    const MeshOutputNames names = meshOutputNames(c.mesh, c.dir);
    EXPECT_EQ(names.xyz, c.xyz);
    EXPECT_EQ(names.map, c.xyz.substr(0, c.xyz.size() - 3) + "MAP");
  }
}

TEST(OpenDirectX, RunsItsStepsInOrder) {
  ScratchDir dir;
  RecordingHost host;
  ScriptedLayer layer;
  layer.mesh = oneTriangle({});
  openDirectX(host, layer, dir.file("Hole1.X"), dir.path().string());
  EXPECT_EQ(layer.calls, (std::vector<std::string>{"window", "device", "load " + dir.file("Hole1.X"), "release", "destroy"}));
  EXPECT_EQ(host.boxes, (Boxes{{"Attempting to Write XYZ File", dir.file("Hole1.XYZ")}, {"Attempting to Write MAP File", dir.file("Hole1.MAP")}}));
}

TEST(OpenDirectX, SetUpAndLoadFailuresEndTheProcess) {
  const RecordingHost::Box setUp = {"DirectX Initialization Error", "Initialization of DirectX Engine Failed Please install DirectX SDK"};
  const struct { bool windowOk, deviceOk; d3d::ResultCode load; RecordingHost::Box box; } cases[] = {
      {false, true, d3d::kOk, setUp},
      {true, false, d3d::kOk, setUp},
      {true, true, d3d::kFail, {"Load Error", "An undetermined error occurred"}},
      {true, true, static_cast<d3d::ResultCode>(0x80001234u), {"Load Error", "n/a"}},
  };
  for (const auto& c : cases) {
    ScratchDir dir;
    RecordingHost host;
    ScriptedLayer layer;
    layer.windowOk = c.windowOk, layer.deviceOk = c.deviceOk, layer.loadCode = c.load;
    EXPECT_EQ(exitStatus([&] { openDirectX(host, layer, dir.file("a.X"), dir.path().string()); }), 1);
    EXPECT_EQ(host.boxes, Boxes{c.box});
    EXPECT_FALSE(fileExists(dir.file("a.XYZ")) || fileExists(dir.file("a.MAP")));
  }
}

TEST(OpenDirectX, PortableLayerFailuresShowTheirResultText) {
  ScratchDir dir;
  const std::pair<std::string, const char*> cases[] = {
      {"", "The data is invalid."},  // no such file
      {"xof 0303txt 0032", "An undetermined error occurred"},
      {"xof 0303zip 0032", "File has an invalid format."},
      {"xof 0303txt 0032Mesh {", "Data stream could not be parsed."},
  };
  for (const auto& [content, text] : cases) {
    if (!content.empty()) writeFile(dir.file("m.X"), std::vector<std::uint8_t>(content.begin(), content.end()));
    RecordingHost host;
    const std::string mesh = dir.file(content.empty() ? "none.X" : "m.X");
    EXPECT_EQ(exitStatus([&] { openDirectX(host, d3d::portableMeshLayer(), mesh, dir.prefix()); }), 1);
    EXPECT_EQ(host.boxes, (Boxes{{"Load Error", text}})) << content;
  }
}

TEST(OpenDirectX, RealMeshesGiveTheirKnownFiles) {
  const struct { const char* path; const char* xyz; const char* map; std::vector<std::string> boxes; } cases[] = {
      {"assimp/BCN_Epileptic.X", "2f8d7aa258cd1990d6d741ea90ab5dda79c5d8ce03cab0f002a7680c321b119a", kZeroMap, {"Missing texture in object"}},
      {"assimp/anim_test.x", "a0a7ecb1b4163e2f5014c9874b098ac9eb4edcbfcf9fe4eb2fe8a75315290a99", kZeroMap, {kTarga, ""}},
      {"assimp/kwxport_test_cubewithvcolors.x", "fb50ffb97832b03cbdf435543f7997a47143d71ea99aa231ce71dc98c69951f0",
       "e75315e6f2313e764d7890c4cf6639e7c744a33f799778d32fbd6ffa288715bb", {}},
      {"assimp/test.x", "1cc02f51a471427f4cc2610fb16d6f9bd1e1e2f15f5a185e4d6efc122edaf311", kZeroMap, {kTarga, ".\\\\test.png"}},
      {"assimp/test_cube_text.x", "979a9c952b5dc21de2388417c56a0a8a16de53218890daec3a157de9d8529cd2", kZeroMap, {"Missing texture in object"}},
      {"directx-sdk-samples/lobby_skybox.x", "6f7bf8530a5eb5099e6530069a357be52ac8ee5b79098af2faa423e5c13447c2",
       "35b474569e1b8e173e8edefba0a65c13b739304d6b6dc253940889ed487a00fd", {kTarga, "LobbyYPos.jpg"}},
      {"directx-sdk-samples/skysphere.x", "495c9d9aa92ddf94e8e2433d2b62bdf666867fe1f2fecdcc53ef147b519a43b4", kZeroMap, {kTarga, "sky_v2b_tex.dds"}},
  };
  for (const auto& c : cases) {
    ScratchDir dir;
    TextureFindingHost host;
    const std::string mesh = dataPath(std::string("xfiles/") + c.path);
    openDirectX(host, d3d::portableMeshLayer(), mesh, dir.prefix());
    const MeshOutputNames names = meshOutputNames(mesh, dir.prefix());
    EXPECT_EQ(hashOf(names.xyz), c.xyz) << c.path;
    EXPECT_EQ(hashOf(names.map), c.map) << c.path;
    EXPECT_EQ(textsAfterTheTwoWrites(host), c.boxes) << c.path;
  }
}

TEST(OpenDirectX, TexturesGiveTheirKnownMapFiles) {
  ScratchDir dir;
  for (const char* real : {"fabric_check_128x128_cm8.tga", "scarecrow_128x256_rgba32_bottomup.tga", "ship_hull_wood_256x256_rgb24.tga",
                           "tree_bark_320x240_rgb24_bottomup.tga"})
    writeFile(dir.file(real), loadData(std::string("textures/") + real));
  writeFile(dir.file("leaf.tga"), loadData("textures/leaf_branch_256x512_rgba32.tga.gz"));
  // Opaque near-magenta, an opaque grey, a transparent pixel: the key-colour swap.
  writeFile(dir.file("key.tga"), makeTga(2, 2, 32, 0x20, {250, 10, 245, 255, 90, 90, 90, 255, 90, 90, 90, 0, 90, 90, 90, 255}));
  std::vector<std::uint8_t> paletted = makeTga(2, 2, 8, 0x00, {});  // entries near magenta stay as they are
  for (int i = 0; i < 256; ++i) paletted.insert(paletted.end(), {static_cast<std::uint8_t>(i), 0, 250});
  paletted.insert(paletted.end(), {1, 2, 3, 4});
  writeFile(dir.file("paletted.tga"), paletted);
  writeFile(dir.file("one.tga"), makeTga(1, 1, 32, 0x20, {1, 2, 3, 255}));
  writeFile(dir.file("odd.tga"), makeTga(5, 3, 32, 0x00, patternPixels(5, 3, 4)));
  writeFile(dir.file("short.tga"), makeTga(4, 4, 32, 0x20, patternPixels(4, 3)));
  writeFile(dir.file("wall.TGA"), makeTga(2, 2, 32, 0x20, patternPixels(2, 2)));
  const struct {
    std::vector<std::string> textures;  // "" for a material without a texture name
    const char* map;
    std::vector<std::string> boxes;
    std::optional<std::string> dialogAnswer;
  } cases[] = {
      {{}, "50288bfc9683ccc15001f4077cb294d66dfb7b6aece8606a420d60a6dd31f9e3", {}, {}},
      {{"fabric_check_128x128_cm8.tga"}, "6db84e6623e8b3a2cfb10d60cf9a25a7d91a2d136acb79658934b686462a7c36", {kCannotRead}, {}},
      {{"scarecrow_128x256_rgba32_bottomup.tga"}, "dbb4aceba40ec218e2c0fdc4ce5ca73d41c7e36843c3d02615582fac1a9e89bc", {}, {}},
      {{"ship_hull_wood_256x256_rgb24.tga"}, "b338e650708450429168967e3685ed28a9e7aa886f9c90267b3e86f6f8dd6813", {}, {}},
      {{"tree_bark_320x240_rgb24_bottomup.tga"}, "c9c67db0b3dcf2cb592476577ce0f6dcf2b350e1b92c139623f086e4284ba5a2", {}, {}},
      {{"leaf.tga"}, "45dcdc272dd98725e50d050254e1322d4be899953fa1c9ee366d4497a729a8ac", {}, {}},
      {{"key.tga"}, "cc9556db77baf54f85ce960813051508effe1fccab2ef3695185fc3e64c2129d", {}, {}},
      {{"paletted.tga"}, "f408fb9b451981dd312215199ab2e3fdef4266ab38b7d85ea355d1efcb9f75f0", {}, {}},
      {{"one.tga", "odd.tga"}, "a8695aab925e2ac76450c867f29d44561608a5be52ac2b6fc16fa784d726299e", {}, {}},
      {{"key.tga", "", "key.tga"}, "e3c9f3187e3a6493599194e709c784af4a6e7061d9c6a30e6876f267ea40a203", {"Missing texture in object"}, {}},
      {{"wall.TGA", "key.tga"}, "9ebc694d4895efc802ea27714a71986f293edf4b63e9918c27d65871b06f43a9", {kTarga, dir.file("wall.TGA")}, {}},
      {{"gone.tga", "short.tga", "key.tga"}, "4b6d0c1c2ebc61430ebb7b9c6dada7e137c69f0a215035bfd8f65cb13531be4f",
       {kCannotRead, kCannotRead}, {}},
      {{"lost.tga"}, "cc9556db77baf54f85ce960813051508effe1fccab2ef3695185fc3e64c2129d", {}, dir.file("key.tga")},
  };
  for (const auto& c : cases) {
    std::vector<d3d::Material> materials(c.textures.size());
    for (std::size_t i = 0; i < materials.size(); ++i)
      if (!c.textures[i].empty()) materials[i].textureFilename = dir.file(c.textures[i]);
    ScriptedLayer layer;
    layer.mesh = oneTriangle(materials);
    RecordingHost host;
    host.dialogAnswer = c.dialogAnswer;
    openDirectX(host, layer, dir.file("out.X"), dir.path().string());
    const std::string first = c.textures.empty() ? "" : c.textures[0];
    EXPECT_EQ(hashOf(dir.file("out.MAP")), c.map) << first;
    EXPECT_EQ(textsAfterTheTwoWrites(host), c.boxes) << first;
    const bool asks = first == "gone.tga" || first == "lost.tga";
    EXPECT_EQ(host.dialogRequests, asks ? std::vector<std::string>{dir.file(first)} : std::vector<std::string>{}) << first;
  }
}

// The program's rule: a texture named by another machine's absolute path is found by its
// file name beside the model, with no dialog; one found nowhere is named with every place tried.
TEST(OpenDirectX, ProgramLooksForTexturesBesideTheModel) {
  const std::string model = dataPath("xfiles/assimp/kwxport_test_cubewithvcolors.x");
  const std::string folder = model.substr(0, model.rfind('/'));
  ScratchDir dir;
  RecordingHost host;
  openDirectX(host, d3d::portableMeshLayer(), model, dir.prefix(), {true, folder});
  EXPECT_EQ(hashOf(meshOutputNames(model, dir.prefix()).map),
            "e75315e6f2313e764d7890c4cf6639e7c744a33f799778d32fbd6ffa288715bb");  // as with the dialog's answers
  EXPECT_EQ(textsAfterTheTwoWrites(host), std::vector<std::string>{});
  EXPECT_TRUE(host.dialogRequests.empty());

  writeFile(dir.file("alone.x"), readFile(model));
  RecordingHost lost;
  openDirectX(lost, d3d::portableMeshLayer(), dir.file("alone.x"), dir.prefix(), {true, dir.path().string()});
  EXPECT_EQ(textsAfterTheTwoWrites(lost), (std::vector<std::string>{kCannotRead, kCannotRead, kCannotRead}));
  EXPECT_NE(lost.printedErrors.find("'" + dir.file("bottom.tga") + "'\n"), std::string::npos) << lost.printedErrors;
  EXPECT_TRUE(lost.dialogRequests.empty());
}
