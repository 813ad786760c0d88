// info on real files of every kind, checked against what their names, their own text or
// their makers say, and on broken and unknown files.
#include "tools/file_info.h"

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "tools/convert_model.h"

using namespace vellmark;
using namespace vellmark::test;
using Json = nlohmann::ordered_json;

TEST(FileInfo, DescribesEveryKindByContent) {
  ScratchDir dir;
  RecordingHost host;
  convertModel(host, dataPath("gltf/TriangleWithoutIndices.gltf"), dir.path().string(), 1);
  const auto tail = loadData("xpr/tail.xpr.gz");
  writeFile(dir.file("tail.xpr"), tail);
  writeFile(dir.file("renamed.png"), loadData("textures/ship_hull_wood_256x256_rgb24.tga"));  // content decides
  const struct { std::string path; const char* kind; const char* key; Json value; } cases[] = {
      {dataPath("../../samples/sample_course.arc"), "course archive", "members", 10},
      {dataPath("textures/tree_bark_320x240_rgb24_bottomup.tga"), "TGA picture", "rows", "bottom first"},
      {dir.file("renamed.png"), "TGA picture", "size", "256 x 256"},
      {dataPath("images/rgba_4x2.png"), "PNG picture", "channels", "colour and alpha"},
      {dataPath("media/kloppenheim_06_1024x512_jfif_progressive420.jpg"), "JPEG picture", "size", "1024 x 512"},
      {dataPath("images/rgb24_3x2.bmp"), "BMP picture", "size", "3 x 2"},
      {dataPath("xfiles/assimp/kwxport_test_cubewithvcolors.x"), ".x model", "triangles", 12},
      {dataPath("xfiles/assimp/test_cube_compressed.x"), ".x model", "format", "binary, compressed, 32-bit floats"},
      {dataPath("gltf/barrel.glb"), "glTF model", "vertices", 856},
      {dataPath("gltf/MeshPrimitiveModes.gltf"), "glTF model", "triangles", 16},
      {dir.file("TriangleWithoutIndices.XYZ"), ".XYZ object", "triangles", 1},
      {dir.file("TriangleWithoutIndices.MAP"), ".MAP textures", "levels", 4},
      {dir.file("tail.xpr"), "Xbox 360 bundle", "resources", 2},  // a packed texture, then a linear one
      {dataPath("README.md"), "unknown", "bytes", loadData("README.md").size()},
  };
  for (const auto& c : cases) {
    const Json facts = describeFile(c.path);
    EXPECT_EQ(facts["kind"], c.kind) << c.path;
    EXPECT_EQ(facts.value(c.key, Json()), c.value) << c.path << "\n" << facts.dump(1);
    EXPECT_FALSE(facts.contains("error")) << facts.dump(1);
  }
  // Formats by the platform's names: a bare "8_8_8_8" (or "8") reads like a number.
  const Json bundle = describeFile(dir.file("tail.xpr"));
  EXPECT_EQ(bundle["resource list"][1].value("format", Json()), "k_8_8_8_8") << bundle.dump(1);
  EXPECT_EQ(bundle["resource list"][1].value("levels", Json()), 5) << bundle.dump(1);
}

TEST(FileInfo, SaysWhatIsWrongWithBrokenFiles) {
  ScratchDir dir;
  const auto cut = [&](const std::string& name, const std::string& data, std::size_t keep) {
    auto bytes = loadData(data);
    bytes.resize(keep);
    writeFile(dir.file(name), bytes);
    return dir.file(name);
  };
  for (const auto& [path, kind] : {std::pair{cut("a.x", "xfiles/assimp/test_cube_text.x", 300), ".x model"},
                                   std::pair{cut("a.png", "images/rgba_4x2.png", 20), "PNG picture"},
                                   std::pair{cut("a.glb", "gltf/barrel.glb", 4000), "glTF model"},
                                   std::pair{cut("a.arc", "../../samples/sample_course.arc", 100), "course archive"}}) {
    const Json facts = describeFile(path);
    EXPECT_EQ(facts["kind"], kind);
    EXPECT_TRUE(facts.contains("error")) << facts.dump(1);
    EXPECT_NE(describedText(facts).find("  error: "), std::string::npos);
  }
}

TEST(FileInfo, ProgramPrintsJsonForScriptsAndFailsOnUnknownFiles) {
  const RunResult r = runCli({"info", "--json", dataPath("images/rgba_4x2.png"), dataPath("gltf/barrel.glb")});
  EXPECT_EQ(r.status, 0) << r.err;
  const Json all = Json::parse(r.out);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0]["size"], "4 x 2");
  EXPECT_EQ(all[1]["materials"], 1);
  EXPECT_EQ(runCli({"info", dataPath("README.md")}).status, 1);
}
