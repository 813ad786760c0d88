// Every Xbox 360 texture format, tiled and linear, 2-D and cube, with mip levels and packed
// tails, converted from a bundle of random texels (tests/data/xpr/formats.xpr.gz) and pinned
// by SHA-256: the digests were taken when each format's conversion had been checked texel
// by texel against its channel rules. Random texels reach every DXT mode, float special
// value and signed extreme. Plus the tiling, swap and layout rules at their edges.
#include <gtest/gtest.h>

#include <map>

#include "support/sha256.h"
#include "support/test_support.h"
#include "xbox/xbox_convert.h"
#include "xbox/xbox_texture.h"
#include "xbox/xpr_level.h"

using namespace vellmark;
using namespace vellmark::xbox;
using namespace vellmark::test;

TEST(XboxFormats, EveryFormatConvertsToItsKnownPixels) {
  // GPU format -> digest of every level of every face of its textures, in bundle order.
  const std::map<int, std::string> expected = {
      {2, "c1f48540595180b01939df87b9fd9d954db8df5f3f96b039a8cb98930509d7a6"}, {3, "2e77a9bf34070cf3e66e2d3b0b2101089e06e4796c285a3b6c494222ac4b45b2"},
      {4, "1c34c725a83ff729d1c2dd7ba97eef6aebc65dc5dad4b50fb59998bd277fd9c3"}, {5, "16d2e962bdd1a7db5eb42027266f707ac26911689dae7cb3e546903af1f71998"},
      {6, "e7735d9dacadfa0a316704604875e7ad0915d5bbabf0e353f43e9d2041bf0ba2"}, {7, "9ec24f3c9fd4abe04513a6a6524df168425b5f5e219b2b9192968deed4c2e084"},
      {8, "87731c636483f3ca0828d70be93b22e6292d784135ec3f4822f4ac910f11dc30"}, {9, "07880b50facb552f8b078f6b37c23c73bd0150b1de259f93c81b31f902230d20"},
      {10, "93014f0ff9fb2bab02d16cc0999e3e8ba445896f17ad91675867e673374eddef"}, {11, "36f941930f058f8d62263bfd60f123878118b9592ef2f503385197cf178a6f30"},
      {12, "d18cf928b7ecea9e506a97567ad220ca72a30a01c00d5f145f70a2d18c0b1263"}, {14, "82459e2efb07edcf1ecca95eba5d60baef9b0b99cfcceb440e2595bc6e5fd3cc"},
      {15, "53b08c5e324958390cdfa0a5d9f0104ac62f5b8699371b2755d14bef9155ea1c"}, {16, "e1817185596b7a7aa16035b02073d2cbef6c361c9d29a0d0ddf242f78a358321"},
      {17, "a7341f930d3d1a55fd761a80cde7d827f277bf1c73f713024ae63327e18584ae"}, {18, "b0ed5ac41ba2465534e09b9575d0e449156277470e32c4d03fc3721f3441ae75"},
      {19, "646cc2c0c86790df22b271068f032656645b28cedf785c4b5d77fe3503331ca6"}, {20, "a6a10527cfa6286f3855049d5068a515d86d80a1171d3fbfb784f77b0748ee17"},
      {22, "0523933162b2bd6f1d60deac22c8a48cea621f9541e69da8b19d72fb677316fb"}, {23, "99a67a1615a8eded33397e51e97b935d307199bc6af25f72b61db17ca0636b98"},
      {24, "d076146e860e8fd95ad70ad0e8a768aac7d35f6d7a19732f435c06142259ad4c"}, {25, "433eb59fa79545255d5399bdd37356e4e980b106cb753b13780702e49d9c09b5"},
      {26, "569f607814b9ba547a51cf2d272b1b4c6dc7c25ee20ca0ed05b693d4b1ee2f09"}, {27, "f07ecb0c0f8e7313a041fe1593ad576a9215ced54144305f7d0f6612f0e89bd4"},
      {28, "6040923833be3a24288e940223d0515baed0969d7ab9f5da2974998833c25df8"}, {29, "b5977eb5b94d25c8b0cc21921021a924f62812f0f8b41ce5c5c163eced83a250"},
      {30, "da134330ca18042868187e83935bc26edfc0a7f834655ab676b1540a2f22ad53"}, {31, "0f022e8e974c27af2f0aa241ceedc2e12747e5381738610aadc2e0fea7fa603e"},
      {32, "c0e4428011e0b1b7c3f035419254b6a082f684b44554c15ce4000bafec289a17"}, {33, "97de35f7e6c8479e97c431f50d0bacedf0569b48f7b4a464b458ffc05b3feaed"},
      {34, "7d728bc28d36a0b8a2d6aad31fcc5e47ba3a9122d684679b58f7663694b2690d"}, {35, "e942b8b0d4cd20be41b77516cb6d972342523613c850f28c5438d579d414e2bc"},
      {36, "37e7fad6632a8b7e1ceca96dcd35f53531e418bf3fcf15402cf9f3e0a62ff57c"}, {37, "b2c9b6116c2d811115d9a80a6de2e8b94962d4d0f6fd771413d8c552f6aad03b"},
      {38, "8c31035426bd2eb26fcc140d11f3c984ab28e425cefbf7b00cea41f98d53c513"}, {39, "67fd7fdbf395900f7339eb52256ae19b816fca3a2e5c9e027defae620c37b7ad"},
      {40, "eae887f2ad8c38c3321dc33cd7035983aac6a128e7fcf2dac525cd53e5c35c96"}, {49, "4a3eb77ee7f945397120e0bad47fd9e4d669df9d9d96d596178c488c87792d9c"},
      {50, "1b15adc7735a341c3dde0d9de4c92916fd5b4e2c4779d7a97e66ab2d35427683"}, {51, "b66172e7b40cf560f00e89cd5c0497e81e2f30b8914a8774fbcf29e5b8714fa6"},
      {52, "2341c8d50e406c9336929a95e1c8373ebe022d8e0541030ba7a22dab5a1a4f21"}, {53, "4f23c4f94f88f8a2c032bd86c2fe1cd8b7281192e8c856837058ce329d5cf9b4"},
      {54, "069d52c807bcbbd81d587e8db07aab6b287335b1fb859fc8624b53b737ce6456"}, {55, "d7dfa8f75b84424b2447a0cccd1ddb9aaca7f9c4eed34a374e989ff19a2208cf"},
      {56, "dc488ce4b828c8c462b2a08a744997848eed3a270ba69c009f9cb19db0c0e246"}, {57, "cf24adf2eec95699303acb210cede06c4a9257d0988080a685e12c8d6a35b2f8"},
      {58, "70ef5268915029cfe3a2b461fab3aebf2cb9e3be4521ff3d077b137e47d3a68a"}, {59, "2884804f68389e63fdce72a60b9780f198fb6492383d8ba7abca5f021f3b798a"},
      {60, "994b4f927f1946176038f25e0aa41b591e8ada6eb3ba25958566fa4ad6ceddd8"}, {61, "f1b3a252b03d2574eb92ae35e629712177f042458964ccb33b5422d530022dbe"},
  };
  const auto file = loadData("xpr/formats.xpr.gz");
  const XprBundle bundle = *parseXprBundle(file, "formats").bundle;
  std::map<int, std::vector<std::uint8_t>> streams;
  for (const XprResource& r : bundle.directory) {
    const TextureHeader header = xprTextureHeader(bundle, r);
    auto& s = streams[std::stoi(xprResourceName(bundle, r).substr(1, 2))];
    for (std::uint32_t level = 0; level < header.levelCount(); ++level)
      for (std::uint32_t face = 0; face < (header.cube() ? 6u : 1u); ++face) {
        try {
          const XprLevelImage image = convertXprTextureLevel(bundle, header, face, level);
          s.insert(s.end(), {static_cast<std::uint8_t>(image.width), static_cast<std::uint8_t>(image.height), image.inMipTail});
          s.insert(s.end(), image.pixels.begin(), image.pixels.end());
        } catch (const Error& e) {
          s.insert(s.end(), {0xEE, static_cast<std::uint8_t>(e.kind())});
        }
      }
  }
  ASSERT_EQ(streams.size(), expected.size());
  for (const auto& [gpu, digest] : expected) EXPECT_EQ(sha256Hex(streams[gpu]), digest) << gpuFormatName(gpu);
}

TEST(XboxTiling, RectanglesThatLeaveTheSurfaceAreErrors) {
  std::vector<std::uint8_t> exact(32 * 32 * 4), dst(32 * 32 * 4);
  EXPECT_NO_THROW(untile(exact, {32, 2, 0, 0, 32, 32}, dst, 128));
  const struct {
    const char* what;
    std::size_t source;
    TiledRect rect;
    std::size_t target, pitch;
  } cases[] = {
      {"source a byte short", 4095, {32, 2, 0, 0, 32, 32}, 4096, 128},
      {"one row past the tile", 4096, {32, 2, 0, 1, 32, 32}, 4096, 128},
      {"wider than the pitch", 4096, {32, 2, 1, 0, 32, 1}, 4096, 128},
      {"pitch not a tile multiple", 4096, {48, 2, 0, 0, 8, 8}, 4096, 32},
      {"target too small", 4096, {32, 2, 0, 0, 32, 32}, 100, 128},
  };
  for (const auto& c : cases)
    EXPECT_THROW(untile(std::span(exact).first(c.source), c.rect, std::span(dst).first(c.target), c.pitch), Error) << c.what;
}

TEST(XboxConvert, EndianSwapsLeaveAShortTailAndBadInputIsAnError) {
  const std::vector<std::uint8_t> five = {1, 2, 3, 4, 5}, eleven = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  const struct {
    std::vector<std::uint8_t> data;
    Endian endian;
    std::vector<std::uint8_t> swapped;
  } swaps[] = {
      {five, Endian::Swap8In16, {2, 1, 4, 3, 5}},
      {five, Endian::Swap8In32, {4, 3, 2, 1, 5}},
      {five, Endian::Swap16In32, {3, 4, 1, 2, 5}},
      {eleven, Endian::Swap8In16, {2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 11}},
      {eleven, Endian::Swap8In32, {4, 3, 2, 1, 8, 7, 6, 5, 9, 10, 11}},
      {eleven, Endian::Swap16In32, {3, 4, 1, 2, 7, 8, 5, 6, 9, 10, 11}},
      {eleven, Endian::None, eleven},
  };
  for (auto s : swaps) {
    endianSwap(s.data, s.endian);
    EXPECT_EQ(s.data, s.swapped) << static_cast<int>(s.endian);
  }
  const std::vector<std::uint8_t> three = {1, 2, 3}, zeros(64);
  EXPECT_THROW(convertToBgra(three, 3, 1, 1, 0x18280086), Error);  // too short
  EXPECT_THROW(convertToBgra(zeros, 64, 2, 2, 0x0D), Error);       // EDRAM format
  EXPECT_THROW(convertToBgra(zeros, 4, 2, 2, 0x18280086), Error);  // pitch < row
  EXPECT_THROW(makeTextureLayout(16, 16, 1, 1, 0x10D, 1, 0, 0, 0), Error);      // 16_16_EDRAM
  EXPECT_THROW(makeTextureLayout(16, 16, 1, 1, 0x100 | 57, 1, 0, 0, 0), Error);  // tiled 12-byte texels
  EXPECT_NO_THROW(makeTextureLayout(16, 16, 1, 1, 57, 1, 0, 0, 0));
  EXPECT_THROW(makeTextureLayout(100, 16, 1, 1, 0x186, 3, 0, 0, 0), Error);  // 96 < 100 texels
  EXPECT_THROW(makeTextureLayout(100, 16, 1, 1, 0x186, 0, 0, 0, 0), Error);
}
