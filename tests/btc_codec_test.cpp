#include "btc/btc_codec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Pixel = std::array<std::uint8_t, 4>;  // B, G, R, A

struct Stream {
  std::vector<std::uint8_t> bytes;
  Stream& command(unsigned type, unsigned length) {
    appendU16(bytes, static_cast<std::uint16_t>(type << 12 | (length & 0xFFF)));
    return *this;
  }
  Stream& solid(const std::vector<Pixel>& pixels) {
    command(4, static_cast<unsigned>(pixels.size()));
    for (const auto& p : pixels) bytes.insert(bytes.end(), p.begin(), p.end());
    return *this;
  }
  Stream& raw(std::initializer_list<std::uint8_t> b) {
    bytes.insert(bytes.end(), b);
    return *this;
  }
};

Pixel pixelAt(const std::vector<std::uint8_t>& image, int width, int x, int y) {
  const std::size_t at = (static_cast<std::size_t>(y) * width + x) * 4;
  return {image.at(at), image.at(at + 1), image.at(at + 2), image.at(at + 3)};
}

std::vector<std::uint8_t> decode(int width, int height, const std::vector<std::uint8_t>& stream,
                                 std::uint8_t fill = 0xAB) {
  std::vector<std::uint8_t> out(static_cast<std::size_t>(width) * height * 4, fill);
  EXPECT_TRUE(decodeBtcStream(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), out, stream));
  return out;
}

// The pixel that block (column bx, row by) holds at position p (0..15) of a width-wide image.
Pixel blockPixel(const std::vector<std::uint8_t>& image, int width, int bx, int by, int p = 0) {
  return pixelAt(image, width, bx * 4 + p % 4, by * 4 + p / 4);
}

const Pixel kP{1, 2, 3, 4}, kQ{5, 6, 7, 8}, kR{9, 10, 11, 12}, kFill{0xAB, 0xAB, 0xAB, 0xAB}, kZero{0, 0, 0, 0};

// A deliberately plain decoder, written from the format description pixel by pixel, to
// compare the real one against on random streams.
std::vector<std::uint8_t> referenceDecode(int width, int height, std::vector<std::uint8_t> destination,
                                          const std::vector<std::uint8_t>& s) {
  const int bw = (width + 3) / 4, bh = (height + 3) / 4, blocks = bw * bh;
  if (blocks == 0) return destination;
  const bool aligned = width % 4 == 0 && height % 4 == 0;
  const int cw = bw * 4;
  std::vector<std::uint8_t> canvas =
      aligned ? destination : std::vector<std::uint8_t>(static_cast<std::size_t>(cw) * bh * 4 * 4, 0);
  auto put = [&](int block, int p, int b, int g, int r, int a) {
    const int x = (block % bw) * 4 + p % 4, y = (block / bw) * 4 + p / 4;
    std::uint8_t* q = &canvas[(static_cast<std::size_t>(y) * cw + x) * 4];
    q[0] = static_cast<std::uint8_t>(b), q[1] = static_cast<std::uint8_t>(g);
    q[2] = static_cast<std::uint8_t>(r), q[3] = static_cast<std::uint8_t>(a);
  };
  auto expand = [](int v, int bits) { return static_cast<int>(std::lround(v * 255.0 / ((1 << bits) - 1))); };
  auto nearest = [](double v) { return static_cast<int>(std::floor(v + 0.5)); };
  auto colourOf = [&](const std::uint8_t* c, int p, int out[3]) {
    int ends[2][3];
    for (int e = 0; e < 2; ++e) {
      const int v = c[2 * e] | c[2 * e + 1] << 8;
      ends[e][0] = expand(v & 31, 5), ends[e][1] = expand((v >> 5) & 63, 6), ends[e][2] = expand(v >> 11, 5);
    }
    const std::uint32_t word = c[4] | c[5] << 8 | c[6] << 16 | static_cast<std::uint32_t>(c[7]) << 24;
    const int index = (word >> (2 * p)) & 3;
    for (int k = 0; k < 3; ++k) {
      const int a = ends[0][k], b = ends[1][k];
      out[k] = index == 0 ? a : index == 1 ? b : index == 2 ? nearest((2.0 * a + b) / 3) : nearest((a + 2.0 * b) / 3);
    }
  };
  auto alphaOf = [&](const std::uint8_t* a, int p) {
    int index = 0;
    for (int bit = 0; bit < 3; ++bit) {
      const int k = 3 * p + bit;
      index |= ((a[2 + k / 8] >> (k % 8)) & 1) << bit;
    }
    const int a0 = a[0], a1 = a[1];
    if (index == 0) return a0;
    if (index == 1) return a1;
    if (a0 > a1) return nearest(((8 - index) * a0 + (index - 1) * a1) / 7.0);
    if (index == 6) return 0;
    if (index == 7) return 255;
    return nearest(((6 - index) * a0 + (index - 1) * a1) / 5.0);
  };

  std::size_t at = 0;
  long long claimed = 0;
  int next = 0;
  bool stop = false;
  while (!stop && at < s.size()) {
    if (s.size() - at < 2) break;
    const int command = s[at] | s[at + 1] << 8;
    at += 2;
    long long length = (command & 0xFFF) == 0 ? 4096 : command & 0xFFF;
    const int type = command >> 12;
    claimed += length;
    if (claimed > blocks) {
      length -= claimed - blocks;
      if (length < 0) break;
    }
    if (type < 1 || type > 4) continue;
    const std::size_t item = type == 2 ? 8 : type == 3 ? 16 : type == 4 ? 4 : 0;
    for (long long k = 0; k < length; ++k) {
      if (s.size() - at < item) {
        stop = true;
        break;
      }
      const std::uint8_t* q = s.data() + at;
      for (int p = 0; p < 16; ++p) {
        int c[3];
        if (type == 1) put(next, p, 0, 0, 0, 0);
        if (type == 2) colourOf(q, p, c), put(next, p, c[0], c[1], c[2], 255);
        if (type == 3) colourOf(q + 8, p, c), put(next, p, c[0], c[1], c[2], alphaOf(q, p));
        if (type == 4) put(next, p, q[0], q[1], q[2], q[3]);
      }
      at += item;
      ++next;
    }
  }
  if (aligned) return canvas;
  for (int row = 0; row < bh; ++row)
    std::copy_n(canvas.begin() + static_cast<std::ptrdiff_t>(row) * cw * 4, width * 4,
                destination.begin() + static_cast<std::ptrdiff_t>(row) * width * 4);
  return destination;
}

std::vector<std::uint8_t> randomStream(std::mt19937& rng, int blocks) {
  std::vector<std::uint8_t> s;
  const int runs = std::uniform_int_distribution<int>(0, 12)(rng);
  for (int r = 0; r < runs; ++r) {
    // Mostly the four real types, sometimes a skipped one; lengths from 1 to a little past
    // the image, sometimes the 0 that means 4096.
    int type = std::uniform_int_distribution<int>(1, 4)(rng);
    if (rng() % 8 == 0) type = std::uniform_int_distribution<int>(0, 15)(rng);
    int length = std::uniform_int_distribution<int>(1, std::max(1, blocks / 2 + 2))(rng);
    if (rng() % 16 == 0) length = 0;
    appendU16(s, static_cast<std::uint16_t>(type << 12 | (length & 0xFFF)));
    const std::size_t item = btcPayloadPerBlock(static_cast<unsigned>(type));
    const std::size_t payload = item * static_cast<std::size_t>(length == 0 ? 4096 : length);
    for (std::size_t i = 0; i < payload; ++i) s.push_back(static_cast<std::uint8_t>(rng()));
  }
  if (!s.empty() && rng() % 4 == 0) s.resize(std::uniform_int_distribution<std::size_t>(0, s.size() - 1)(rng));
  return s;
}

}  // namespace

TEST(BtcCodec, MatchesAPlainDecoderOnRandomStreamsOfEveryRunType) {
  std::mt19937 rng(20260122);
  for (int iteration = 0; iteration < 3000; ++iteration) {
    const bool big = iteration % 50 == 0;  // some images large enough for 4096-block runs
    const int width = big ? 256 + 4 * static_cast<int>(rng() % 8) : static_cast<int>(rng() % 37);
    const int height = big ? 256 : static_cast<int>(rng() % 37);
    const int blocks = ((width + 3) / 4) * ((height + 3) / 4);
    const auto stream = randomStream(rng, blocks);
    std::vector<std::uint8_t> before = patternPixels(width, height, static_cast<std::uint32_t>(iteration));
    // An exactly sized stream block, so that AddressSanitizer sees any read past it.
    const std::vector<std::uint8_t> exact(stream.begin(), stream.end());
    std::vector<std::uint8_t> actual = before;
    ASSERT_TRUE(decodeBtcStream(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), actual, exact));
    ASSERT_EQ(actual, referenceDecode(width, height, before, stream))
        << "iteration " << iteration << ", " << width << " x " << height << ", stream of " << stream.size() << " bytes";
  }
}

TEST(BtcCodec, ColourBlockUsesFourColoursWhateverTheOrder) {
  // Colour 0 black, colour 1 white (colour 0 < colour 1): still four opaque colours, no
  // transparent entry. Indices 0,1,2,3 on the first row, then 3,2,1,0.
  auto image = decode(4, 4, Stream{}.command(2, 1).raw({0x00, 0x00, 0xFF, 0xFF, 0xE4, 0x1B, 0x00, 0x00}).bytes);
  EXPECT_EQ(pixelAt(image, 4, 0, 0), (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(pixelAt(image, 4, 1, 0), (Pixel{255, 255, 255, 255}));
  EXPECT_EQ(pixelAt(image, 4, 2, 0), (Pixel{85, 85, 85, 255}));
  EXPECT_EQ(pixelAt(image, 4, 3, 0), (Pixel{170, 170, 170, 255}));
  EXPECT_EQ(pixelAt(image, 4, 0, 1), (Pixel{170, 170, 170, 255}));
  EXPECT_EQ(pixelAt(image, 4, 3, 1), (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(pixelAt(image, 4, 0, 2), (Pixel{0, 0, 0, 255}));
}

TEST(BtcCodec, AlphaBlockModesAndRounding) {
  // The alpha values of indices 0..7 (pixel p takes index p % 8), over a white colour block.
  auto alphas = [](std::uint8_t a0, std::uint8_t a1) {
    std::uint64_t field = 0;
    for (int p = 0; p < 16; ++p) field |= static_cast<std::uint64_t>(p % 8) << (3 * p);
    Stream s;
    s.command(3, 1).raw({a0, a1});
    for (int i = 0; i < 6; ++i) s.bytes.push_back(static_cast<std::uint8_t>(field >> (8 * i)));
    s.raw({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0});
    auto image = decode(4, 4, s.bytes);
    std::vector<int> out;
    for (int p = 0; p < 8; ++p) out.push_back(pixelAt(image, 4, p % 4, p / 4)[3]);
    EXPECT_EQ(pixelAt(image, 4, 3, 3), (Pixel{255, 255, 255, static_cast<std::uint8_t>(out[7])}));
    return out;
  };
  EXPECT_EQ(alphas(255, 0), (std::vector<int>{255, 0, 219, 182, 146, 109, 73, 36}));
  EXPECT_EQ(alphas(2, 1), (std::vector<int>{2, 1, 2, 2, 2, 1, 1, 1}));
  EXPECT_EQ(alphas(1, 2), (std::vector<int>{1, 2, 1, 1, 2, 2, 0, 255}));
  // Equal ends take the six-value mode, with 0 and 255 as the last two entries.
  EXPECT_EQ(alphas(100, 100), (std::vector<int>{100, 100, 100, 100, 100, 100, 0, 255}));
}

// Hand-checked cases that the random comparison above reaches only by chance.
TEST(BtcCodec, RunLengthsSkipsCutsAndCopyBack) {
  // 512 x 256 is 128 x 64 blocks. Length 0 means 4096 blocks (32 block rows), and a skipped
  // command (type 0 or 5-15) writes nothing and does not move the write position.
  // Both skips count toward the block total: 4096 + 3 + 4096 cuts the empty run at 4093.
  auto image = decode(512, 256, Stream{}.command(0, 0).command(5, 3).command(1, 0).bytes);
  EXPECT_EQ(pixelAt(image, 512, 0, 0), kZero);
  EXPECT_EQ(pixelAt(image, 512, 499, 127), kZero);
  EXPECT_EQ(pixelAt(image, 512, 500, 124), kFill);

  // On 4 blocks a skipped run of 3 leaves room for one; the next command then stops decoding.
  auto cut = decode(8, 8, Stream{}.command(15, 3).solid({kP, kQ}).solid({kR}).bytes);
  EXPECT_EQ(blockPixel(cut, 8, 0, 0, 15), kP);
  EXPECT_EQ(blockPixel(cut, 8, 1, 0), kFill);

  // A payload cut part-way decodes the whole blocks present.
  Stream s;
  s.solid({kP, kQ, kR}).bytes.resize(s.bytes.size() - 2);
  auto part = decode(16, 4, s.bytes);
  EXPECT_EQ(blockPixel(part, 16, 1, 0), kQ);
  EXPECT_EQ(blockPixel(part, 16, 2, 0), kFill);

  // 6 x 6 is decoded in an 8 x 8 scratch and only (6 + 3) / 4 = 2 rows come back.
  auto odd = decode(6, 6, Stream{}.solid({kP, kQ, kR, kR}).bytes, 0xEE);
  EXPECT_EQ(pixelAt(odd, 6, 3, 1), kP);
  EXPECT_EQ(pixelAt(odd, 6, 4, 1), kQ);
  for (std::size_t i = 2 * 24; i < odd.size(); ++i) ASSERT_EQ(odd[i], 0xEE) << i;
}

TEST(BtcCodec, RejectsADestinationTooSmall) {
  std::vector<std::uint8_t> small(8 * 8 * 4 - 1);
  EXPECT_THROW(decodeBtcStream(8, 8, small, Stream{}.solid({kP}).bytes), Error);
  EXPECT_TRUE(decodeBtcStream(0, 9, {}, Stream{}.solid({kP}).bytes));
}
