// The palette quantizer against a literal model of the game's algorithm (flat histogram,
// slice-by-slice sweeps, the four heap repairs), plus the edge cases the game's files rely on.
#include "mesh/quantize.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "base/tga.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

// ---- The literal model: every step as the game's tool does it, slow on purpose. ----
struct ModelBox {
  std::uint32_t key, m[5];  // error; count, square sum, sums of the three channels
  int lo[3], hi[3];
};

class Model {
 public:
  explicit Model(std::vector<std::uint32_t>& histogram) : h_(histogram) {}

  // The moments of a box, slice by slice, in 32-bit wrapping sums.
  void moments(const int lo[3], const int hi[3], std::uint32_t* m) const {
    std::fill(m, m + 5, 0u);
    for (int a = lo[0]; a <= hi[0]; ++a)
      for (int b = lo[1]; b <= hi[1]; ++b)
        for (int c = lo[2]; c <= hi[2]; ++c)
          if (const std::uint32_t n = h_[(a << 16) | (b << 8) | c]) {
            m[0] += n, m[1] += n * static_cast<std::uint32_t>(a * a + b * b + c * c);
            m[2] += n * a, m[3] += n * b, m[4] += n * c;
          }
  }

  bool sliceUsed(int axis, int value, const int lo[3], const int hi[3]) const {
    int l[3] = {lo[0], lo[1], lo[2]}, u[3] = {hi[0], hi[1], hi[2]};
    l[axis] = u[axis] = value;
    std::uint32_t m[5];
    moments(l, u, m);
    return m[0] != 0;
  }

  // Each axis is tightened against the given (not the tightened) bounds of the others.
  void shrink(int lo[3], int hi[3]) const {
    int nl[3], nh[3];
    for (int a = 0; a < 3; ++a) {
      int v = lo[a];
      while (v <= hi[a] && !sliceUsed(a, v, lo, hi)) ++v;
      if (v > hi[a]) return;  // nothing in the box: bounds unchanged
      nl[a] = v;
      for (v = hi[a]; !sliceUsed(a, v, lo, hi);) --v;
      nh[a] = v;
    }
    std::copy(nl, nl + 3, lo), std::copy(nh, nh + 3, hi);
  }

  static std::uint32_t error(const std::uint32_t* m) {
    double e = static_cast<double>(m[1]) - (static_cast<double>(m[2]) * m[2] + static_cast<double>(m[3]) * m[3] +
                                            static_cast<double>(m[4]) * m[4]) /
                                               static_cast<double>(m[0]);
    if (std::isnan(e)) return 0;
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(e)));
  }

  static bool extent(const ModelBox& b) { return (b.hi[0] - b.lo[0]) + (b.hi[1] - b.lo[1]) + (b.hi[2] - b.lo[2]) != 0; }

  std::array<std::uint8_t, 768> palette() {
    ModelBox& first = boxes_[0];
    first = {1, {}, {0, 0, 0}, {255, 255, 255}};
    shrink(first.lo, first.hi);
    moments(first.lo, first.hi, first.m);
    count_ = 1;
    if (extent(first)) heap_[++n_] = 0;
    while (count_ < 255 && n_ > 0) split(heap_[1]);
    std::array<std::uint8_t, 768> p{};
    int e = 1;  // entry 0 is magenta
    for (int b = 0; b < count_; ++b) {
      const std::uint32_t* m = boxes_[b].m;
      if (!m[0]) continue;
      for (int a = 0; a < 3; ++a) p[3 * e + a] = static_cast<std::uint8_t>((m[2 + a] + m[0] / 2) / m[0]);
      ++e;
    }
    p[0] = 255, p[1] = 0, p[2] = 255;
    return p;
  }

 private:
  void split(int index) {
    ModelBox& box = boxes_[index];
    std::uint32_t best = 0xFFFFFFFF;
    int bestAxis = 0, bestCut = box.lo[0];
    for (int a = 0; a < 3; ++a) {
      std::uint32_t lower[5] = {0, 0, 0, 0, 0};
      for (int p = box.lo[a]; p < box.hi[a]; ++p) {
        int sl[3] = {box.lo[0], box.lo[1], box.lo[2]}, sh[3] = {box.hi[0], box.hi[1], box.hi[2]};
        sl[a] = sh[a] = p;
        std::uint32_t slice[5], upper[5];
        moments(sl, sh, slice);
        for (int i = 0; i < 5; ++i) lower[i] += slice[i], upper[i] = box.m[i] - lower[i];
        const std::uint32_t cost = error(lower) + error(upper);
        if (cost < best) best = cost, bestAxis = a, bestCut = p;
      }
    }
    const int fresh = count_++;
    ModelBox& nb = boxes_[fresh];
    nb = box;
    box.hi[bestAxis] = bestCut;
    nb.lo[bestAxis] = bestCut + 1;
    shrink(box.lo, box.hi);
    shrink(nb.lo, nb.hi);
    moments(nb.lo, nb.hi, nb.m);
    for (int i = 0; i < 5; ++i) box.m[i] -= nb.m[i];
    box.key = error(box.m);
    nb.key = error(nb.m);
    const bool keepB = extent(box), keepN = extent(nb);
    if (!keepB && !keepN) {
      heap_[1] = heap_[n_--];
      if (n_) siftDown();
    } else if (!keepB) {
      heap_[1] = fresh;
      siftDown();
    } else if (!keepN) {
      siftDown();
    } else {
      siftDown();
      heap_[++n_] = fresh;
      for (int i = n_; i > 1 && key(heap_[i / 2]) < key(heap_[i]); i /= 2) std::swap(heap_[i], heap_[i / 2]);
    }
  }
  std::uint32_t key(int b) const { return boxes_[b].key; }
  void siftDown() {
    for (int i = 1, c; (c = 2 * i) <= n_; i = c) {
      if (c + 1 <= n_ && key(heap_[c]) < key(heap_[c + 1])) ++c;
      if (!(key(heap_[i]) < key(heap_[c]))) return;
      std::swap(heap_[i], heap_[c]);
    }
  }

  std::vector<std::uint32_t>& h_;
  ModelBox boxes_[255] = {};
  int count_ = 0;
  int heap_[256] = {};
  int n_ = 0;
};

// Counted colour of a pixel, straight from the rule: bytes above alpha limited, then scaled.
bool modelColour(const std::uint8_t* p, int c[3]) {
  int a = p[3];
  if (a < 64) return false;
  for (int i = 0; i < 3; ++i) c[i] = a == 255 ? p[i] : std::min<int>(p[i], a) * 255 / a;
  return true;
}

QuantizedImage modelQuantize(int width, int height, const std::vector<std::uint8_t>& px) {
  std::vector<std::uint32_t> histogram(1u << 24, 0);
  const std::size_t n = static_cast<std::size_t>(width) * height;
  for (std::size_t i = 0; i < n; ++i) {
    int c[3];
    if (modelColour(&px[4 * i], c)) ++histogram[(c[0] << 16) | (c[1] << 8) | c[2]];
  }
  QuantizedImage out;
  out.width = width, out.height = height;
  out.palette = Model(histogram).palette();
  out.pixels.assign(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    int c[3];
    if (!modelColour(&px[4 * i], c)) continue;
    std::uint32_t best = 0xFFFFFFFF;
    for (int e = 1; e < 256; ++e) {
      std::uint32_t d = 0;
      for (int a = 0; a < 3; ++a) d += (out.palette[3 * e + a] - c[a]) * (out.palette[3 * e + a] - c[a]);
      if (d < best) best = d, out.pixels[i] = static_cast<std::uint8_t>(e);
    }
  }
  return out;
}

void expectSameAsModel(int width, int height, const std::vector<std::uint8_t>& px) {
  const QuantizedImage fast = quantizeImage(width, height, px);
  const QuantizedImage model = modelQuantize(width, height, px);
  EXPECT_EQ(fast.palette, model.palette);
  EXPECT_EQ(fast.pixels, model.pixels);
}

// A real photograph squeezed into a small colour cube, so the literal model stays fast.
std::vector<std::uint8_t> realPixelsInSmallCube(int shift, std::uint8_t alphaFloor) {
  auto tga = loadData("textures/ship_hull_wood_256x256_rgb24.tga");
  std::vector<std::uint8_t> px(256 * 256 * 4);
  for (int i = 0; i < 256 * 256; ++i) {
    for (int c = 0; c < 3; ++c) px[4 * i + c] = static_cast<std::uint8_t>(tga[18 + 3 * i + c] >> shift);
    px[4 * i + 3] = static_cast<std::uint8_t>(std::max<int>(alphaFloor, tga[18 + 3 * i] ^ tga[18 + 3 * i + 1]));
  }
  return px;
}

}  // namespace

TEST(Quantizer, MatchesTheLiteralAlgorithmOnRealRandomAndWrappingImages) {
  // Real colours in a 32-level cube (many more than 255 colours), all opaque.
  expectSameAsModel(256, 256, realPixelsInSmallCube(3, 255));
  // The same with alphas from 0 to 255: transparent, un-premultiplied and opaque pixels.
  expectSameAsModel(256, 256, realPixelsInSmallCube(3, 0));
  // Random colours of a 6-level cube: fewer colours than boxes, so splitting runs dry.
  auto px = patternPixels(97, 61, 5);
  for (std::size_t i = 0; i < px.size(); i += 4) {
    for (int c = 0; c < 3; ++c) px[i + c] = static_cast<std::uint8_t>(40 + px[i + c] % 6 * 3);
    px[i + 3] = 255;
  }
  expectSameAsModel(97, 61, px);
  // 320 x 320 bright pixels: square sums pass 2^32 and wrap, which changes cut costs.
  px.assign(320 * 320 * 4, 0);
  std::uint32_t x = 77;
  for (std::size_t i = 0; i < px.size(); i += 4) {
    x = x * 1103515245u + 12345u;
    px[i] = static_cast<std::uint8_t>(224 + (x >> 16) % 32);
    px[i + 1] = static_cast<std::uint8_t>(230 + (x >> 21) % 20);
    px[i + 2] = static_cast<std::uint8_t>(240 + (x >> 26) % 16);
    px[i + 3] = 255;
  }
  expectSameAsModel(320, 320, px);
}

TEST(Quantizer, AlphaRules) {
  EXPECT_FALSE(opaqueColour(std::array<std::uint8_t, 4>{10, 20, 30, 63}.data()));
  // Only bytes above alpha are limited: 200 and 100 become 64, 50 stays, then each is scaled.
  EXPECT_EQ(opaqueColour(std::array<std::uint8_t, 4>{200, 100, 50, 64}.data()),
            (std::array<std::uint8_t, 3>{255, 255, 199}));
  EXPECT_EQ(opaqueColour(std::array<std::uint8_t, 4>{32, 16, 8, 128}.data()),
            (std::array<std::uint8_t, 3>{63, 31, 15}));
  EXPECT_EQ(opaqueColour(std::array<std::uint8_t, 4>{1, 2, 250, 255}.data()),
            (std::array<std::uint8_t, 3>{1, 2, 250}));

  // In an image: the alpha-63 pixel maps to 0 and is not counted; the others count as above.
  std::vector<std::uint8_t> px = {10, 20, 30, 63, 200, 100, 50, 64, 200, 100, 50, 64, 32, 16, 8, 128};
  auto q = quantizeImage(4, 1, px);
  EXPECT_EQ(q.pixels[0], 0);
  std::set<std::array<std::uint8_t, 3>> entries;
  for (int i = 1; i < 256; ++i) entries.insert({q.palette[3 * i], q.palette[3 * i + 1], q.palette[3 * i + 2]});
  EXPECT_TRUE(entries.count({255, 255, 199}));
  EXPECT_TRUE(entries.count({63, 31, 15}));
  EXPECT_FALSE(entries.count({10, 20, 30}));
}

TEST(Quantizer, OneColourImage) {
  std::vector<std::uint8_t> px;
  for (int i = 0; i < 12; ++i) px.insert(px.end(), {7, 130, 222, static_cast<std::uint8_t>(i == 5 ? 0 : 255)});
  auto q = quantizeImage(4, 3, px);
  std::array<std::uint8_t, 768> expected{255, 0, 255, 7, 130, 222};
  EXPECT_EQ(q.palette, expected);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(q.pixels[i], i == 5 ? 0 : 1) << i;
}

TEST(Quantizer, ManyColoursFillAll255Boxes) {
  auto px = patternPixels(64, 64, 3);
  for (std::size_t i = 3; i < px.size(); i += 4) px[i] = 255;
  auto q = quantizeImage(64, 64, px);
  std::set<std::array<std::uint8_t, 3>> entries;
  for (int i = 1; i < 256; ++i) entries.insert({q.palette[3 * i], q.palette[3 * i + 1], q.palette[3 * i + 2]});
  EXPECT_GT(entries.size(), 250u);  // 255 box means; a few may round to the same colour
  std::set<std::uint8_t> used(q.pixels.begin(), q.pixels.end());
  EXPECT_FALSE(used.count(0));
}

TEST(Quantizer, NoOpaquePixel) {
  std::vector<std::uint8_t> px = patternPixels(8, 8, 4);
  for (std::size_t i = 3; i < px.size(); i += 4) px[i] = static_cast<std::uint8_t>(px[i] % 64);
  auto q = quantizeImage(8, 8, px);
  std::array<std::uint8_t, 768> magentaOnly{255, 0, 255};
  EXPECT_EQ(q.palette, magentaOnly);
  for (auto p : q.pixels) ASSERT_EQ(p, 0);
}

TEST(Quantizer, EqualCostCutsTakeTheLowerAxisThenTheLowerPlane) {
  auto entries = [](const QuantizedImage& q) {
    std::vector<std::array<std::uint8_t, 3>> out;
    for (int i = 1; i <= 3; ++i) out.push_back({q.palette[3 * i], q.palette[3 * i + 1], q.palette[3 * i + 2]});
    return out;
  };
  using E = std::vector<std::array<std::uint8_t, 3>>;
  // Cutting A | B C on axis 0 and A B | C on axis 2 both cost 50: axis 0 wins, so B C is
  // the second box and splits next, and the entries come out A, B, C (not A, C, B).
  std::vector<std::uint8_t> axes = {0, 0, 0, 255, 10, 0, 0, 255, 10, 0, 10, 255};
  EXPECT_EQ(entries(quantizeImage(3, 1, axes)), (E{{0, 0, 0}, {10, 0, 0}, {10, 0, 10}}));
  // 0 | 10 20 and 0 10 | 20 on one axis cost 50 each: the lower plane wins (0, 10, 20 and
  // not 0, 20, 10).
  std::vector<std::uint8_t> planes = {20, 0, 0, 255, 10, 0, 0, 255, 0, 0, 0, 255};
  auto q = quantizeImage(3, 1, planes);
  EXPECT_EQ(entries(q), (E{{0, 0, 0}, {10, 0, 0}, {20, 0, 0}}));
  EXPECT_EQ(q.pixels, (std::vector<std::uint8_t>{3, 2, 1}));
}

TEST(Quantizer, RejectsSizesTheBufferCannotHold) {
  std::vector<std::uint8_t> px(4 * 10);
  EXPECT_THROW(quantizeImage(4, 3, px), Error);
  EXPECT_THROW(quantizeImage(-1, 3, px), Error);
  EXPECT_NO_THROW(quantizeImage(0, 0, Bytes{}));
}
