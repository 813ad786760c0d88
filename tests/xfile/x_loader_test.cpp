// The digests of what the loader returns were taken when its results had been checked value
// by value against the known outputs of the Direct3D 9 extension library's loader.
#include "xfile/x_loader.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <bit>

#include "support/sha256.h"
#include "support/test_support.h"
#include "xfile/result_text.h"

using namespace vellmark;
using namespace vellmark::d3d;
using namespace vellmark::test;

namespace {

std::string digest(const LoadedMesh& m) {
  std::vector<std::uint8_t> s;
  auto f = [&](float v) { appendU32(s, std::bit_cast<std::uint32_t>(v)); };
  for (std::uint32_t w : {m.mesh.fvf, m.mesh.stride, m.mesh.vertexCount}) appendU32(s, w);
  s.insert(s.end(), m.mesh.vertices.begin(), m.mesh.vertices.end());
  for (auto i : m.mesh.indices) appendU16(s, i);
  for (auto a : m.mesh.attributes) appendU32(s, a);
  for (const auto& mat : m.materials) {
    for (const auto* c : {&mat.diffuse, &mat.ambient, &mat.specular, &mat.emissive}) f(c->r), f(c->g), f(c->b), f(c->a);
    f(mat.power);
    s.push_back(mat.textureFilename.has_value());
    if (mat.textureFilename) s.insert(s.end(), mat.textureFilename->begin(), mat.textureFilename->end() + 1);
  }
  return sha256Hex(s);
}

std::string code(ResultCode c) {
  char text[16];
  return std::snprintf(text, sizeof text, "code %08x", static_cast<unsigned>(c)), text;
}

std::string resultOf(Bytes file) {
  try {
    return digest(loadXFile(file));
  } catch (const Error& e) {
    return code(e.resultCode());
  }
}
std::string resultOf(const std::string& text) { return resultOf(Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size())); }

const char kTriangle[] = "5444323811285ecd137c564923a306fcd9c4e861221a653caf249b55100989c4";

const std::string kTxt = "xof 0303txt 0032";

// Four vertices on the x axis (0..3) and `faces` triangles (0,1,2), (0,2,3), ... repeated.
std::string strip(int faces, const std::string& children = "", const std::string& name = "") {
  std::string s = "Mesh " + name + " {4; 0;0;0;, 1;0;0;, 2;0;0;, 3;0;0;; " + std::to_string(faces) + ";";
  for (int f = 0; f < faces; ++f) s += f % 2 ? "3;0,2,3;" : "3;0,1,2;", s += f + 1 < faces ? "," : ";";
  return s + children + "}";
}
std::string material(const std::string& texture = "", float red = 1) {
  return "Material {" + std::to_string(red) + ";0;0;1;; 2; 0;0;0;; 0;0;0;;" + (texture.empty() ? "" : "TextureFilename {\"" + texture + "\";}") + "}";
}
std::string matrix(const std::string& m) { return "FrameTransformMatrix {" + m + ";;}"; }
std::string translation(int x, int y, int z) {
  return matrix("1,0,0,0, 0,1,0,0, 0,0,1,0, " + std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(z) + ",1");
}
std::string repeat(const std::string& s, int n) {
  std::string out;
  while (n-- > 0) out += s;
  return out;
}
// A grid mesh of side x side vertices and (side - 1)^2 quads.
std::string grid(int side) {
  std::string s = "Mesh {" + std::to_string(side * side) + ";";
  for (int v = 0; v < side * side; ++v) s += std::to_string(v % side) + ";" + std::to_string(v / side) + ";0;" + (v + 1 < side * side ? "," : ";");
  s += std::to_string((side - 1) * (side - 1)) + ";";
  for (int v = 0; v + side < side * side; ++v)
    if (v % side + 1 < side)
      s += "4;" + std::to_string(v) + "," + std::to_string(v + 1) + "," + std::to_string(v + side + 1) + "," + std::to_string(v + side) +
           (v + side + 2 == side * side ? ";;" : ";,");
  return s + "}";
}
const std::string kTri = "Mesh {3; 0;0;0;, 0;1;0;, 1;1;0;; 1; 3; 0,1,2;;}";
const std::string kGuid = "<12345678-1234-1234-1234-111111111111>";
const std::string kTwo = material() + material();
const std::string kPoint = "Mesh {3; 0;0;0;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}";
// Binary tokens: name, string, integer, integer list, float list, open, close, separators.
std::string bin(std::initializer_list<std::uint32_t> words16) {
  std::string s;
  for (std::uint32_t w : words16) s += static_cast<char>(w & 0xFF), s += static_cast<char>(w >> 8);
  return s;
}
const std::string kBin = "xof 0303bin 0032";

}  // namespace

TEST(XLoader, MadeFilesLoadToTheirKnownMeshesOrFailWithTheirCode) {
  const struct { std::string name, file, expected; } cases[] = {
      {"reference simple", kTxt + kTri, kTriangle},
      {"separators ,", kTxt + "Mesh {3, 0, 0, 0, 0, 1, 0, 1, 1, 0, 1, 3, 0, 1, 2,}", kTriangle},
      {"numbers", kTxt + "Mesh {6; 1e-05; -0.000000; .5;, 1.5E+2; +2.25; 1.;, -1; 4294967295.5; 0.1;, 0.7; 123456.789; 3.4028235e38;,"
                   "1e39; -1e39; 1e-50;, 1.#INF; -1.#INF; 1.#QNAN;; 2; 3;0,1,002;, 3;3,4,5;;"
                   "MeshTextureCoords {6; -1.#IND; 1.#QNAN0;, 0;0;, 0;0;, 0;0;, 0;0;, 0;0;;}}", "748ac4225f03ee4135e0ccc6669b34ad29b3a035e2e423daafa026341845ea5d"},
      {"comments", kTxt + "# comment\r\nMesh\t{ // another\r\n 3;\t// after a value\n" + std::string(1, '\0') + " 0;0;0;, 0;1;0;, 1;1;0;; 1; 3; 0, 1, 2;;# end\n}", kTriangle},
      {"many comments", kTxt + "Mesh {" + repeat("#\n", 300000) + "3; 0;0;0;, 0;1;0;, 1;1;0;; 1; 3; 0, 1, 2;;}", kTriangle},
      {"strings", kTxt + strip(1, "MeshMaterialList {4; 1; 3;; Material {1;0;0;1;; 2; 0;0;0;; 0;0;0;; TextureFilename {\"foo;bar\";}}"
                   "Material {1;0;0;1;; 2; 0;0;0;; 0;0;0;; TextureFilename {\"C:\\\\code\\\\x.tga\";}}" + material("") +
                   "Material {0;0;0;0;;0;0;0;0;;0;0;0;; TextureFileName {\"first\";} TextureFilename {\"\";}}}"),
      "379b010d1a64c134dad4d38c620df40615dcbf2f95b56847a399989204240aa9"},
      {"templates", kTxt + "template Buffer { " + kGuid + " DWORD num_elem; array DWORD value[num_elem]; dword dummy; }\n"
                   "template Grid {<12345678-1234-1234-1234-22222222222A> array FLOAT cells[4][num]; Vector; [...] }\n"
                   "template Picky {<12345678-1234-1234-1234-333333333333> WORD w; [Material <3D82AB4D-62DA-11CF-AB39-0020AF71E433>, Buffer] }\n"
                   "Buffer named { " + kGuid + " 1; 2; 3; }\nTEMPLATE Late {<12345678-1234-1234-1234-444444444444>}\n"
                   "mesh {3; 0;0;0;, 0;1;0;, 1;1;0;; 1; 3; 0, 1, 2;; meshMATERIALlist {1;1;0;; material {1;0;0;1;; 2; 0;0;0;; 0;0;0;; texturefilename {\"x\";}}}}",
      "414d4b9f2370a2c58726311b783ff001ee019e2fc936ec56d89e040ebcef481a"},
      {"references", kTxt + "Material Red {1;0;0;1;;0;0;0;0;;0;0;0;;} Material Blue {0;0;1;1;;0;0;0;0;;0;0;0;;}" +
                   strip(2, "MeshMaterialList {2; 2; 1, 0;; {Red} {Blue <3D82AB4D-62DA-11CF-AB39-0020AF71E433>}}"),
      "ab1061f099bd9be7014473bcc67835faeffe94c9c0cc9a2209a8d04f0ed9a1e9"},
      {"short material list", kTxt + strip(4, "MeshMaterialList {2; 2; 1, 0;;" + kTwo + "}"), "3219a5cea1db3e13315dff997a46809df71598e26773934ea45485d68213aaec"},
      {"no material indexes", kTxt + strip(2, "MeshMaterialList {1; 0;;" + material() + "}"), "7b316f82373ac24ef7a4f12ae801d78d78b29ab29b900a110fd84fa5b6736c0b"},
      {"unsorted materials", kTxt + strip(4, "MeshMaterialList {2; 4; 1, 0, 1, 0;;" + kTwo + "}"),
      "5989335cec874ca3225d5d44596c986b4831ede1eb6e1744e7a38cf38dc91060"},
      {"polygon material", kTxt + "Mesh {5; 0;0;0;, 1;0;0;, 1;1;0;, 0;1;0;, 2;2;0;; 2; 5; 0,1,2,4,3;, 3; 0,1,2;;"
                   "MeshMaterialList {2; 2; 1, 0;;" + kTwo + "}}", "38d19dcea6480d56c041861126f88e90dd72ed934e7be8b40a162b939cb8bccb"},
      {"textures and colours", kTxt + strip(1, "MeshMaterialList {3; 1; 2;;" + material("a.tga", 0.25f) +
                   "Material {0.1;0.3;0.7;1;;0;0;0;0;;-0.5;1.5;0.5;; TextureFileName {\"first\";} TextureFilename {\"second\";}}" + material() + "}"),
      "3cd4bcd03497b1750d138e2623617781781e2bea2609622473c94f8fad605e39"},
      {"frames nest", kTxt + "Frame Parent {" + matrix("0,1,0,0, -1,0,0,0, 0,0,1,0, 0,0,0,1") + "Frame Child {" + translation(1, 0, 0) + kPoint + "}" + translation(0, 0, 7) + kPoint + "}",
      "fcd398f776576a071b27ca01defde3f863a1fd1b981d55be8e72cf498db0a7c3"},
      {"projective matrix", kTxt + "Frame {" + matrix("1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,2") + "Mesh {3; 4;2;6;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}}",
      "d30b5540ab2ed97c83a9580c754e66ae0c2fa02e90372e5dd747f337e78b251b"},
      {"merge", kTxt + strip(2, "MeshNormals {1; 0;0;2;; 2; 3;0,0,0;, 3;0,0,0;;}MeshMaterialList {2; 2; 0, 1;;" + material("a") + material("b") + "}") +
                   "Frame {" + translation(10, 0, 0) + strip(1, "MeshTextureCoords {4; 0.5;0.25;, 0;0;, 0;0;, 0;0;;}") + "}" +
                   strip(1, "MeshVertexColors {1; 2; 1;0;0;1;;}MeshMaterialList {1; 1; 0;;" + material("c") + "}"),
      "6d2b84296c0a834f6ffcb66b354f7232517495fdd61f0ae774c1f3652f97dfa4"},
      {"normals split vertices", kTxt + strip(2, "MeshNormals {3; 1;0;0;, 0;1;0;, 0;0;3;; 2; 3;0,1,2;, 3;1,1,2;;}"),
      "8b15319dae7eee8adb3ef1907288bdb0608c7c55fc357af680856b79be4654cd"},
      {"referenced and empty meshes", kTxt + strip(1, "", "Shared") + "Frame {" + translation(0, 5, 0) + "{Shared} {Missing}}" + "Mesh {0;;0;;}" + "Mesh {2; 7;7;7;, 8;8;8;; 0;;}",
      "9c27e6d3979a74f3d848b59a6bacaf26ca6026e841a898e99b1438d62eaac2bb"},
      {"meshes in unread objects", kTxt + strip(1) + "AnimationSet {" + strip(1) + "} Whatever {Mesh {3; 0;0;0;;}}",
      "21bb2bb746660aafd514a5dcadc8483609fa8fde8316d27c7432f67309b4f211"},
      {"largest grid", kTxt + grid(255), "63bae9fdc0da9c58662d7c49b9f3ae465435d057565698394be797dc3030c17e"},
      {"binary spanning lists", kBin + bin({1, 4, 0}) + "Mesh" + bin({10, 3, 3, 0, 20, 20, 19, 7, 9, 0}) + std::string(36, '\0') +
                   bin({6, 2, 0, 1, 0, 3, 0, 3, 0, 0, 19, 6, 2, 0, 1, 0, 2, 0, 11}), "b4c95b4eff77681e2d28d1811944ae69cadacb0127de8b064c96d8cc68fd4565"},
      {"no mesh", kTxt, code(kFail)},
      {"grid over 65535 vertices", kTxt + grid(257), code(kInvalidCall)},
      {"header format", "xof 0303cmp 0032", code(kBadFileType)},
      {"header version", "xof 0102txt 0032", code(kBadFileVersion)},
      {"header float size", "xof 0303txt 0050", code(kBadFileFloatSize)},
      {"header short", "xof 0303t", code(kBadFileType)},
      {"binary list then separator", kBin + bin({1, 4, 0}) + "Mesh" + bin({10, 6, 1, 0, 3, 0, 20}), code(kParseError)},
      {"binary integer without separator", kBin + bin({1, 4, 0}) + "Mesh" + bin({10, 3, 3, 0, 11}), code(kParseError)},
      {"binary unknown token", kBin + bin({4}), code(kParseError)},
      {"binary huge list", kBin + bin({1, 4, 0}) + "Mesh" + bin({10, 6, 0x4040, 0x4040}), code(kParseError)},
  };
  for (const auto& c : cases) EXPECT_EQ(resultOf(c.file), c.expected) << c.name;
}

// Past the limit the code is the game's, and the message gives the whole merged count (two
// grids of 40,000) so that a modder knows how far to cut the model down.
TEST(XLoader, TooManyVerticesNamesTheWholeCount) {
  const std::string file = kTxt + grid(200) + grid(200);
  try {
    (void)loadXFile(Bytes(reinterpret_cast<const std::uint8_t*>(file.data()), file.size()));
    ADD_FAILURE() << "80000 vertices loaded";
  } catch (const Error& e) {
    EXPECT_EQ(e.resultCode(), kInvalidCall);
    EXPECT_EQ(e.kind(), ErrorKind::Unsupported);
    EXPECT_NE(std::string(e.what()).find("80000 vertices"), std::string::npos) << e.what();
  }
}

TEST(XLoader, RealFilesLoadToTheirKnownMeshes) {
  const std::pair<const char*, const char*> files[] = {
      {"assimp/BCN_Epileptic.X", "92846bf5bf6f9e399de505e9264ddf11766aff8cbc8d8071bb774c30bb9be470"},
      {"assimp/anim_test.x", "313960488378b70b9b2b79a46f40fda524533e7a06e4548b8c0da1bd73df464a"},
      {"assimp/fromtruespace_bin32.x", "bdc645c798cc93eb3dca7ef19374d46b34b6a2649341427ad164c96dced863fd"},
      {"assimp/kwxport_test_cubewithvcolors.x", "a7afd6e9e9101101707804fa0d105b1e38aad37a9c9b40dc14e74e7f409fe819"},
      {"assimp/test.x", "a5915cf1220686321d9418f36d26a694e31f64c9e2840eaa4f83899ad52f52c3"},
      {"assimp/test_cube_binary.x", "eb259001ef750c6c5ebf596fb7a900688d39d260d0567b130959df7c61c40613"},
      {"assimp/test_cube_compressed.x", "eb259001ef750c6c5ebf596fb7a900688d39d260d0567b130959df7c61c40613"},
      {"assimp/test_cube_text.x", "072e2d63513ea7d04e967a768f0f2a227a1d83c899b6e1595ce8cf397d18de74"},
      {"directx-sdk-samples/islandtop_opt.x", "62b55a359c677c27540d6c82422251d2b09cb5ef34ceadd359abb2fe27d66de5"},
      {"directx-sdk-samples/lobby_skybox.x", "fab726ccfff270a00beaac552dbd4f71cb0227aed38d85363659dd13be217e5f"},
      {"directx-sdk-samples/skysphere.x", "b35a297e2bec31244dcb21054ce5aac693badb59495961e7e16f182fa621b6d6"},
      {"directx-sdk-samples/tiger.x", "9fd3de3986677c89999e978cece0e68b2b6af7c95739d3706c5a9989ca717889"},
      // Made: MSZIP bodies of many blocks that copy from earlier ones (the same text as one
      // block), binary bodies with 32- and 64-bit floats, and 64-bit floats read as 32-bit.
      {"made/mszip_text_100.x", "2b06b7918239579d938713e89ce9560fe29b70ce55f61ae7e23dd8ff51e4f430"},
      {"made/mszip_text_32768.x", "2b06b7918239579d938713e89ce9560fe29b70ce55f61ae7e23dd8ff51e4f430"},
      {"made/mszip_text_3_64.x", "da4ecb437a42e01f980a7d5ce904d22ace6f68ec5a263a1ad7b0720560b6d9c9"},
      {"made/triangle_bin32.x", "56a56c975fa6f014ac6279bd9822519dfd28039d5c34e78bc6a0209434692a26"},
      {"made/triangle_bin64.x", "56a56c975fa6f014ac6279bd9822519dfd28039d5c34e78bc6a0209434692a26"},
      {"made/mszip_bin_50.x", "56a56c975fa6f014ac6279bd9822519dfd28039d5c34e78bc6a0209434692a26"},
      {"made/triangle_bin64_read_as_32.x", "code 88760390"},
      {"made/reference_box.x", "47ca2360254c3832e30b610685ac3c4501c9f9c5beeeee9a6aece129c19d83fb"},
      {"made/reference_framed.x", "2c46bbafde338dbf6cb03600aff03a8d34055fe2390649693961f07ce15cfe6f"},
  };
  for (const auto& [path, expected] : files) EXPECT_EQ(resultOf(loadData(std::string("xfiles/") + path)), expected) << path;
}

TEST(XLoader, MalformedBodiesFailWithTheirCode) {
  const std::vector<std::string> parseErrors = {
      "Mesh {3;0.0; 0.0; 0.0;,0.0; 1.0; 0.0;,1.0; 1.0; 0.0;;1;3; 0, 1, 2;;", "Material {3; 0, 1,, 2; 5;}",
      "Material {3; 0, 1, 2; 5}", "Material {3; 0 1 2; 5;}", "Whatever {3;, ,4;}",
      "Whatever {3; Child {} 4;}", "Material {4294967296;}", "Material {1.2.3;}", "Material {1e;}", "Material {1.#NAN;}",
      "Material {@;}", "Material {1; / 2;}", "TextureFilename {\"open;}", "template T { DWORD x; }",
      "template T { <1234567-1234-1234-1234-111111111111> }", "template T { " + kGuid + " array DWORD x; }",
      "Frame { template T { " + kGuid + " } }", "Frame {", "Frame }", "1;",
      "Frame { {1} }", "Frame { {Red; } }", repeat("Frame {", 201) + std::string(201, '}'),
      strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;0;0;0;;0;0;;}}"),
      strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;\"x\";0;0;;0;0;0;;}}"),
      strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;0;0;0;;0;0;0;; TextureFilename {1;}}}"),
      "Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 3; 0,1,2;; 5;}", "Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; -1; 3; 0,1,2;;}",
      "Mesh {4000000000; 0;0;0;;}",
      "Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 4000000000; 0,1,2;;}",
      "Frame {FrameTransformMatrix {1,0,0,0,0,1,0,0,0,0,1,0,0,0,0;;}" + strip(1) + "}"};
  for (const std::string& body : parseErrors) EXPECT_EQ(resultOf(kTxt + body), code(kParseError)) << body;
  const std::vector<std::string> inconsistent = {
      strip(1, "MeshMaterialList {1; 1; 0;; {Later}}") + "Material Later {0;0;0;0;;0;0;0;0;;0;0;0;;}", "Header {1;0;1;}",
      material(), "Frame Box01 {    Mesh { 0;; 0;;        MeshNormals { 0;; 0;; }    }}",
      "Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 3; 0,1,3;;}", "Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 2; 0,1;;}",
      strip(2, "MeshNormals {1; 0;0;1;; 1; 3;0,0,0;;}"), strip(1, "MeshNormals {1; 0;0;1;; 1; 4;0,0,0,0;;}"),
      strip(1, "MeshTextureCoords {3; 0;0;, 0;0;, 0;0;;}"),
      strip(1, "MeshVertexColors {1; 4; 1;0;0;1;;}"), strip(2, "MeshMaterialList {2; 2; 0, 2;;" + kTwo + "}"),
      strip(2, "MeshMaterialList {2; 2; 0, 1;;" + material() + "}"),
      strip(2, "MeshMaterialList {2; 2; 0, 1;;" + kTwo + material() + "}"),
      strip(1, "MeshMaterialList {2; 2; 0, 1;;" + kTwo + "}"), strip(1, "MeshMaterialList {1; 1; 0;; {Nowhere}}")};
  for (const std::string& body : inconsistent) EXPECT_EQ(resultOf(kTxt + body), code(kFail)) << body;
}

TEST(XLoader, DamagedCompressedBlocksAreParseErrors) {
  const auto good = loadData("xfiles/made/mszip_text_3_64.x");
  const struct { const char* what; std::size_t at; std::uint8_t value; std::string expected; } cases[] = {
      {"total size one more", 16, static_cast<std::uint8_t>(good[16] + 1), code(kParseError)},
      {"signature", 24, 'X', code(kParseError)},
      {"uncompressed size", 20, 63, code(kParseError)},
      {"deflate data", 30, static_cast<std::uint8_t>(good[30] ^ 0xFF), code(kFail)},
  };
  for (const auto& c : cases) {
    auto file = good;
    file[c.at] = c.value;
    EXPECT_EQ(resultOf(file), c.expected) << c.what;
  }
}

// Each cut in a block of its own size, so that the sanitizers see a read past the end; a text
// file cut in the white space after its last "}" is still whole.
TEST(XLoader, EveryCutOfASmallFileFailsWithACode) {
  for (const char* path : {"assimp/test_cube_binary.x", "assimp/test_cube_text.x", "assimp/test_cube_compressed.x",
                           "made/triangle_bin64.x", "made/mszip_bin_50.x", "made/mszip_text_3_64.x"}) {
    const auto whole = loadData(std::string("xfiles/") + path);
    const std::string text(whole.begin(), whole.end());
    const std::size_t end = text.starts_with("xof 0303txt") ? text.rfind('}') + 1 : whole.size();
    for (std::size_t cut = 0; cut < end; ++cut) {
      std::vector<std::uint8_t> prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut));
      prefix.shrink_to_fit();
      try {
        (void)loadXFile(prefix);
        ADD_FAILURE() << path << " cut at " << cut << " loaded";
      } catch (const Error& e) {
        EXPECT_NE(e.resultCode(), kOk) << path << " cut at " << cut;
      }
    }
  }
}
