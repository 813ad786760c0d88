// The .x tokenizers and the object-tree parser: separators, numbers, comments, strings,
// templates, references, the binary tokens and MSZIP bodies.
#include <gtest/gtest.h>
#include <zlib.h>

#include <bit>
#include <cmath>
#include <cstring>

#include "xfile/x_error.h"
#include "xfile/x_header.h"
#include "xfile/x_loader.h"
#include "xfile/x_mszip.h"
#include "xfile/x_tree.h"
#include "base/byte_reader.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::d3d;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// Parses a text body (no header); throws what the parser throws.
XTree parseText(const std::string& body, std::vector<std::uint8_t>& storage) {
  storage = bytesOf(body);
  return parseXBody(storage, XHeader{});
}

// The values of the one top-level object of `body`, as integers where they are integers and
// as floats' bit patterns otherwise. The object type must be one the loader keeps data of.
std::vector<XValue> valuesOf(const std::string& body) {
  std::vector<std::uint8_t> storage;
  const XTree tree = parseText(body, storage);
  EXPECT_EQ(tree.topLevel.size(), 1u);
  const auto values = tree.valuesOf(tree.objects[tree.topLevel.at(0)]);
  return {values.begin(), values.end()};
}

// The values as integers (std::uint32_t) or as floats; each must be of that kind.
template <class T>
std::vector<T> numbersOf(const std::string& body) {
  std::vector<T> out;
  for (const XValue& v : valuesOf(body)) {
    EXPECT_EQ(v.kind, (std::is_same_v<T, float> ? XValue::Kind::Float : XValue::Kind::Integer));
    out.push_back(std::bit_cast<T>(v.bits));
  }
  return out;
}

bool parses(const std::string& body) {
  std::vector<std::uint8_t> storage;
  try {
    parseText(body, storage);
    return true;
  } catch (const XFileError& e) {
    EXPECT_EQ(e.code(), kParseError);
    return false;
  }
}

HResult loadCode(const std::vector<std::uint8_t>& file, LoadedMesh* out = nullptr) {
  LoadedMesh mesh;
  const HResult rc = loadMeshFromX(file, mesh);
  if (out) *out = mesh;
  return rc;
}

}  // namespace

TEST(XTextSyntax, SeparatorRulesOfTheLegacyParser) {
  for (const char* body : {"Material {3; 0; 1; 2; 5;}", "Material {3, 0, 1, 2, 5,}",
                           "Material {3;;;;; 0;;;;; 1;;;;; 2;;;;; 5;;;;;}",
                           "Material {3;;;;;, 0;;;;;, 1;;;;;, 2;;;;;, 5;;;;;,}"})
    EXPECT_EQ(numbersOf<std::uint32_t>(body), (std::vector<std::uint32_t>{3, 0, 1, 2, 5})) << body;
  // Unused objects are held to the same rules; data values come before children.
  EXPECT_TRUE(parses("Whatever {3;;, 4;}"));
  for (const char* bad : {"Material {3; 0, 1,, 2; 5;}", "Material {3; 0, 1,; 2; 5;}", "Material {3; 0, 1, 2; 5}",
                          "Material {3; 0 1 2; 5;}", "Whatever {3;, ,4;}", "Whatever {3; Child {} 4;}"})
    EXPECT_FALSE(parses(bad)) << bad;
}

TEST(XTextSyntax, NumbersWithExponentsSignsAndNaNMarks) {
  // Decimal text is rounded to double, then to float: the nearest float of each.
  const auto v = numbersOf<float>("Material {1e-05; -0.000000; .5; 1.5E+2; +2.25; 1.; -1; 4294967295.5; 0.1; 0.7; "
                          "123456.789; 3.4028235e38; 1e39; -1e39; 1e-50; 1.#INF; -1.#INF;}");
  EXPECT_EQ(v, (std::vector<float>{1e-05f, 0.0f, 0.5f, 150.0f, 2.25f, 1.0f, -1.0f, 4294967296.0f, 0.1f, 0.7f,
                                   123456.789f, 3.4028235e38f, INFINITY, -INFINITY, 0.0f, INFINITY, -INFINITY}));
  EXPECT_TRUE(std::signbit(v.at(1)));
  for (float n : numbersOf<float>("Material {1.#QNAN; -1.#IND; 1.#QNAN0;}")) EXPECT_TRUE(std::isnan(n));
  EXPECT_EQ(numbersOf<std::uint32_t>("Material {4294967295; 007;}"), (std::vector<std::uint32_t>{4294967295u, 7}));
  for (const char* bad : {"Material {4294967296;}", "Material {1.2.3;}", "Material {1e;}", "Material {1.#NAN;}",
                          "Material {@;}"})
    EXPECT_FALSE(parses(bad)) << bad;
}

TEST(XTextSyntax, CommentsWhiteSpaceAndStrings) {
  const std::string body = std::string("# comment\r\nMaterial\t{ // another\r\n 1;\t// after a value\n") + std::string(1, '\0') +
         " 2;# end\n}";
  EXPECT_EQ(numbersOf<std::uint32_t>(body), (std::vector<std::uint32_t>{1, 2}));
  EXPECT_FALSE(parses("Material {1; / 2;}"));
  std::string manyComments = "Material {";
  for (int i = 0; i < 300000; ++i) manyComments += "#\n";
  EXPECT_EQ(numbersOf<std::uint32_t>(manyComments + "3;}"), (std::vector<std::uint32_t>{3})) << "comments do not nest calls";

  std::vector<std::uint8_t> storage;
  const XTree tree = parseText("TextureFilename {\"foo;bar\";} TextureFilename {\"C:\\\\code\\\\x.tga\";}"
                               "TextureFilename {\"\";}",
                               storage);
  ASSERT_EQ(tree.strings.size(), 3u);
  EXPECT_EQ(tree.strings[0], "foo;bar");
  EXPECT_EQ(tree.strings[1], "C:\\\\code\\\\x.tga") << "backslash pairs stay as they are";
  EXPECT_EQ(tree.strings[2], "");
  EXPECT_FALSE(parses("TextureFilename {\"open;}"));
}

TEST(XTextSyntax, TemplatesAndObjectHeads) {
  std::vector<std::uint8_t> storage;
  const XTree tree = parseText(
      "template Buffer { <12345678-1234-1234-1234-111111111111> DWORD num_elem; array DWORD value[num_elem]; "
      "dword dummy; }\n"
      "template Grid {<12345678-1234-1234-1234-22222222222A> array FLOAT cells[4][num]; Vector; [...] }\n"
      "template Picky {<12345678-1234-1234-1234-333333333333> WORD w; [Material <3D82AB4D-62DA-11CF-AB39-0020AF71E433>, "
      "Buffer] }\n"
      "Buffer named { <12345678-1234-1234-1234-111111111111> 1; 2; 3; }\n"
      "TEMPLATE Late {<12345678-1234-1234-1234-444444444444>}\n"
      "textureFILENAME { \"x\"; }",
      storage);
  ASSERT_EQ(tree.templates.size(), 4u);
  EXPECT_EQ(tree.templates[0].name, "Buffer");
  EXPECT_EQ(tree.templates[0].memberCount, 3u);
  EXPECT_EQ(tree.templates[1].memberCount, 2u);
  EXPECT_EQ(tree.templates[3].name, "Late");
  ASSERT_EQ(tree.topLevel.size(), 2u);
  EXPECT_EQ(tree.objects[tree.topLevel[0]].name, "named");
  EXPECT_EQ(tree.objects[tree.topLevel[1]].role, XRole::TextureFilename) << "type names compare without case";

  for (const char* bad : {"template T { DWORD x; }", "template T { <1234567-1234-1234-1234-111111111111> }",
                          "template T { <12345678-1234-1234-1234-111111111111> array DWORD x; }",
                          "template T { <12345678-1234-1234-1234-111111111111> [..] }",
                          "Frame { template T { <12345678-1234-1234-1234-111111111111> } }", "Frame {", "Frame }",
                          "1;", "Frame { {1} }", "Frame { {Red; } }"})
    EXPECT_FALSE(parses(bad)) << bad;
  std::string deep;
  for (std::uint32_t i = 0; i < kMaxObjectDepth + 1; ++i) deep += "Frame {";
  EXPECT_FALSE(parses(deep + std::string(kMaxObjectDepth + 1, '}')));
}

TEST(XTextSyntax, ReferencesNameFinishedObjectsOnly) {
  std::vector<std::uint8_t> storage;
  const XTree tree = parseText(
      "Material Red {1;0;0;1;;0;0;0;0;;0;0;0;;}"
      "Frame Outer { {Red} {Red <3D82AB4D-62DA-11CF-AB39-0020AF71E433>} {Outer} {Later} Frame Inner {} {Inner} }"
      "Material Later {0;0;0;0;;0;0;0;0;;0;0;0;;}",
      storage);
  const XObject& outer = tree.objects[tree.topLevel[1]];
  const auto children = tree.childrenOf(outer);
  ASSERT_EQ(children.size(), 6u);
  EXPECT_EQ(children[0], tree.topLevel[0]);
  EXPECT_EQ(children[1], tree.topLevel[0]);
  EXPECT_EQ(children[2], XTree::kUnresolved) << "an enclosing object is not finished yet";
  EXPECT_EQ(children[3], XTree::kUnresolved) << "no forward references";
  EXPECT_EQ(children[5], children[4]);
}

namespace {

// Builds binary .x bodies token by token.
struct BinaryBody {
  std::vector<std::uint8_t> b;
  BinaryBody& token(std::uint16_t id) { return appendU16(b, id), *this; }
  BinaryBody& name(const std::string& s) {
    token(1), appendU32(b, static_cast<std::uint32_t>(s.size()));
    b.insert(b.end(), s.begin(), s.end());
    return *this;
  }
  BinaryBody& string(const std::string& s, std::uint16_t separator = 20) {
    token(2), appendU32(b, static_cast<std::uint32_t>(s.size()));
    b.insert(b.end(), s.begin(), s.end());
    return token(separator);
  }
  BinaryBody& integer(std::uint32_t v) { return token(3), appendU32(b, v), *this; }
  BinaryBody& integers(const std::vector<std::uint32_t>& v) {
    token(6), appendU32(b, static_cast<std::uint32_t>(v.size()));
    for (auto x : v) appendU32(b, x);
    return *this;
  }
  // A float list of 4- or 8-byte floats.
  BinaryBody& floats(const std::vector<double>& v, bool doubles = false) {
    token(7), appendU32(b, static_cast<std::uint32_t>(v.size()));
    for (double x : v) {
      const std::uint64_t bits = doubles ? std::bit_cast<std::uint64_t>(x) : std::bit_cast<std::uint32_t>(float(x));
      appendU32(b, static_cast<std::uint32_t>(bits));
      if (doubles) appendU32(b, static_cast<std::uint32_t>(bits >> 32));
    }
    return *this;
  }
  BinaryBody& open() { return token(10); }
  BinaryBody& close() { return token(11); }
  std::vector<std::uint8_t> file(const char* floatSize = "0032") const {
    std::string head = std::string("xof 0303bin ") + floatSize;
    std::vector<std::uint8_t> out(head.begin(), head.end());
    out.insert(out.end(), b.begin(), b.end());
    return out;
  }
};

// The triangle of the simple reference case with one textured material, in binary tokens,
// its float lists of 4- or 8-byte floats.
BinaryBody binaryTriangle(bool doubles) {
  BinaryBody body;
  body.name("Mesh").name("").open().integers({3}).floats({0, 0, 0, 0, 1, 0, 1, 1, 0}, doubles);
  body.integers({1, 3, 0, 1, 2});
  body.name("MeshMaterialList").open().integer(1).token(20).integer(1).token(20).integers({0});
  body.name("Material").name("Shiny").open().floats({1, 0, 0, 1, 5, 1, 1, 1, 0, 0, 0}, doubles);
  body.name("TextureFilename").open().string("skin.dds").close();
  body.close().close().close();
  return body;
}

}  // namespace

TEST(XBinarySyntax, TokensListsAndBothFloatSizes) {
  for (bool doubles : {false, true}) {
    SCOPED_TRACE(doubles ? "0064" : "0032");
    LoadedMesh mesh;
    ASSERT_EQ(loadCode(binaryTriangle(doubles).file(doubles ? "0064" : "0032"), &mesh), kOk);
    EXPECT_EQ(mesh.mesh.vertexCount, 3u);
    EXPECT_EQ(std::bit_cast<float>(loadU32(mesh.mesh.vertices.data() + 16)), 1.0f);
    EXPECT_EQ(mesh.mesh.indices, (std::vector<std::uint16_t>{0, 1, 2}));
    ASSERT_EQ(mesh.materials.size(), 1u);
    EXPECT_EQ(mesh.materials[0].power, 5.0f);
    EXPECT_EQ(mesh.materials[0].textureFilename, std::optional<std::string>("skin.dds"));
  }
  // A float list read with the wrong float size does not fit the mesh.
  EXPECT_NE(loadCode(binaryTriangle(true).file("0032")), kOk);

  // One integer list may span several members; integers take separators, lists none.
  BinaryBody spanning;
  spanning.name("Mesh").open().integer(3).token(20).token(20).token(19);
  spanning.floats({0, 0, 0, 0, 1, 0, 1, 1, 0}).integers({1, 3}).integer(0).token(19).integers({1, 2}).close();
  EXPECT_EQ(loadCode(spanning.file()), kOk);
  BinaryBody listThenSeparator, integerWithoutSeparator, unknown, hugeList, hugeName;
  listThenSeparator.name("Mesh").open().integers({3}).token(20);
  integerWithoutSeparator.name("Mesh").open().integer(3).close();
  unknown.token(4);
  hugeList.name("Mesh").open().token(6).b.resize(hugeList.b.size() + 4, 0x40);
  hugeName.token(1).b.resize(hugeName.b.size() + 4, 0xFF);
  for (const BinaryBody* bad : {&listThenSeparator, &integerWithoutSeparator, &unknown, &hugeList, &hugeName})
    EXPECT_EQ(loadCode(bad->file()), kParseError);
}

namespace {

// MSZIP blocks of at most `blockSize` bytes, each deflated with the bytes before it as its
// dictionary, behind a header with the given format.
std::vector<std::uint8_t> mszipFile(const std::string& body, const char* format, std::size_t blockSize) {
  std::string head = std::string("xof 0303") + format + "0032";
  std::vector<std::uint8_t> out(head.begin(), head.end());
  appendU32(out, static_cast<std::uint32_t>(body.size() + 16));
  for (std::size_t at = 0; at < body.size(); at += blockSize) {
    const std::size_t n = std::min(blockSize, body.size() - at);
    z_stream s{};
    deflateInit2(&s, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    const std::size_t history = std::min<std::size_t>(at, 32768);
    if (history) deflateSetDictionary(&s, reinterpret_cast<const Bytef*>(body.data() + at - history),
                                      static_cast<uInt>(history));
    std::vector<std::uint8_t> packed(deflateBound(&s, static_cast<uLong>(n)));
    s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data() + at));
    s.avail_in = static_cast<uInt>(n);
    s.next_out = packed.data();
    s.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&s, Z_FINISH), Z_STREAM_END);
    packed.resize(s.total_out);
    deflateEnd(&s);
    appendU16(out, static_cast<std::uint16_t>(n));
    appendU16(out, static_cast<std::uint16_t>(packed.size() + 2));
    out.push_back('C'), out.push_back('K');
    out.insert(out.end(), packed.begin(), packed.end());
  }
  return out;
}

std::string repeatedMeshText(int meshes) {
  std::string s;
  for (int i = 0; i < meshes; ++i)
    s += "Mesh {3;0.0; 0.0; 0.0;,0.0; 1.0; 0.0;,1.0; 1.0; " + std::to_string(i) + ".0;;1;3; 0, 1, 2;;}\n";
  return s;
}

}  // namespace

TEST(XMszip, BlocksChainTheirHistoryAndMatchTheUncompressedFile) {
  const std::string text = repeatedMeshText(400);  // about 30 KB: many blocks that copy from earlier ones
  std::vector<std::uint8_t> plain = bytesOf("xof 0303txt 0032" + text);
  LoadedMesh expected, viaTzip;
  ASSERT_EQ(loadCode(plain, &expected), kOk);
  for (std::size_t blockSize : {std::size_t{100}, std::size_t{4096}, std::size_t{32768}}) {
    SCOPED_TRACE(blockSize);
    ASSERT_EQ(loadCode(mszipFile(text, "tzip", blockSize), &viaTzip), kOk);
    EXPECT_EQ(viaTzip.mesh.vertices, expected.mesh.vertices);
    EXPECT_EQ(viaTzip.mesh.indices, expected.mesh.indices);
  }
  // Binary bodies compress the same way.
  const auto binary = binaryTriangle(false).file();
  const std::string binaryBody(binary.begin() + 16, binary.end());
  LoadedMesh fromBin, fromBzip;
  ASSERT_EQ(loadCode(binary, &fromBin), kOk);
  ASSERT_EQ(loadCode(mszipFile(binaryBody, "bzip", 50), &fromBzip), kOk);
  EXPECT_EQ(fromBzip.mesh.vertices, fromBin.mesh.vertices);
}

TEST(XMszip, PublishedSamplesAndDamagedBlocks) {
  // A one-block text body "Header Object\n{\n1; 2; 3;\n}\n\n" with 64-bit floats: it parses,
  // and holds no mesh.
  const std::vector<std::uint8_t> sample = {
      0x78, 0x6F, 0x66, 0x20, 0x30, 0x33, 0x30, 0x32, 0x74, 0x7A, 0x69, 0x70, 0x30, 0x30, 0x36, 0x34, 0x2C, 0x00,
      0x00, 0x00, 0x1C, 0x00, 0x20, 0x00, 0x43, 0x4B, 0xF3, 0x48, 0x4D, 0x4C, 0x49, 0x2D, 0x52, 0xF0, 0x4F, 0xCA,
      0x4A, 0x4D, 0x2E, 0xE1, 0xAA, 0xE6, 0x32, 0xB4, 0x56, 0x30, 0xB2, 0x56, 0x30, 0xB6, 0xE6, 0xAA, 0xE5, 0xE2,
      0x02, 0x00};
  const auto body = inflateMszipBody(std::span(sample).subspan(16));
  EXPECT_EQ(std::string(body.begin(), body.end()), "Header Object\n{\n1; 2; 3;\n}\n\n");
  EXPECT_EQ(loadCode(sample), kFail);
  const std::vector<std::uint8_t> empty = {'x', 'o', 'f', ' ', '0', '3', '0', '3', 't', 'z', 'i', 'p', '0', '0', '3',
                                           '2', 0x11, 0, 0, 0, 1, 0, 5, 0, 0x43, 0x4B, 0xE3, 0x02, 0x00};
  EXPECT_EQ(loadCode(empty), kFail);

  auto good = mszipFile(repeatedMeshText(3), "tzip", 64);
  ASSERT_EQ(loadCode(good), kOk);
  auto badTotal = good;
  putU32(badTotal, 16, getU32(good, 16) + 1);
  EXPECT_EQ(loadCode(badTotal), kParseError);
  auto badSignature = good;
  badSignature[24] = 'X';
  EXPECT_EQ(loadCode(badSignature), kParseError);
  auto badSize = good;
  putU16(badSize, 20, 63);
  EXPECT_EQ(loadCode(badSize), kParseError);
  auto badData = good;
  badData[30] ^= 0xFF;
  EXPECT_NE(loadCode(badData), kOk);
  for (std::size_t cut = 16; cut < good.size(); ++cut) {
    std::vector<std::uint8_t> prefix(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut));
    prefix.shrink_to_fit();
    EXPECT_EQ(loadCode(prefix), kParseError) << "cut at " << cut;
  }
}
