// The quantizer against a slow literal model of the game's algorithm (a flat histogram,
// slice-by-slice sweeps, the four heap repairs); the quantizer runs the same rule over the
// distinct colours only, so any difference is a fault.
#include "mesh/quantize.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

struct Box {
  std::uint32_t key, m[5];  // error; count, square sum, sums of the three channels (32-bit, wrapping)
  int lo[3], hi[3];
};

struct Model {
  const std::vector<std::uint32_t>& h;
  Box boxes[255] = {};
  int count = 0, heap[256] = {}, n = 0;

  void moments(const int lo[3], const int hi[3], std::uint32_t* m) const {
    std::fill(m, m + 5, 0u);
    for (int a = lo[0]; a <= hi[0]; ++a)
      for (int b = lo[1]; b <= hi[1]; ++b)
        for (int c = lo[2]; c <= hi[2]; ++c)
          if (const std::uint32_t k = h[(a << 16) | (b << 8) | c])
            m[0] += k, m[1] += k * static_cast<std::uint32_t>(a * a + b * b + c * c), m[2] += k * a, m[3] += k * b, m[4] += k * c;
  }
  // The moments of the plane axis = value inside lo..hi.
  void slice(int axis, int value, const int lo[3], const int hi[3], std::uint32_t* m) const {
    int l[3] = {lo[0], lo[1], lo[2]}, u[3] = {hi[0], hi[1], hi[2]};
    l[axis] = u[axis] = value;
    moments(l, u, m);
  }
  bool used(int axis, int value, const int lo[3], const int hi[3]) const { std::uint32_t m[5]; return slice(axis, value, lo, hi, m), m[0] != 0; }
  // Each axis is tightened against the given (not the tightened) bounds of the others.
  void shrink(int lo[3], int hi[3]) const {
    int nl[3], nh[3];
    for (int a = 0; a < 3; ++a) {
      for (nl[a] = lo[a]; nl[a] <= hi[a] && !used(a, nl[a], lo, hi);) ++nl[a];
      if (nl[a] > hi[a]) return;  // an empty box keeps its bounds
      for (nh[a] = hi[a]; !used(a, nh[a], lo, hi);) --nh[a];
    }
    std::copy(nl, nl + 3, lo), std::copy(nh, nh + 3, hi);
  }
  static std::uint32_t error(const std::uint32_t* m) {
    const double r = m[2], g = m[3], b = m[4], e = m[1] - (r * r + g * g + b * b) / m[0];
    return std::isnan(e) ? 0 : static_cast<std::uint32_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(e)));
  }
  static bool extent(const Box& b) { return b.hi[0] - b.lo[0] + b.hi[1] - b.lo[1] + b.hi[2] - b.lo[2] != 0; }
  std::uint32_t key(int i) const { return boxes[heap[i]].key; }
  void siftDown() {
    for (int i = 1, c; (c = 2 * i) <= n; i = c) {
      if (c + 1 <= n && key(c) < key(c + 1)) ++c;
      if (!(key(i) < key(c))) return;
      std::swap(heap[i], heap[c]);
    }
  }
  void split(int index) {
    Box& box = boxes[index];
    std::uint32_t best = 0xFFFFFFFF;
    int axis = 0, cut = box.lo[0];
    for (int a = 0; a < 3; ++a) {
      std::uint32_t lower[5] = {};
      for (int p = box.lo[a]; p < box.hi[a]; ++p) {
        std::uint32_t plane[5], upper[5];
        slice(a, p, box.lo, box.hi, plane);
        for (int i = 0; i < 5; ++i) lower[i] += plane[i], upper[i] = box.m[i] - lower[i];
        if (const std::uint32_t cost = error(lower) + error(upper); cost < best) best = cost, axis = a, cut = p;
      }
    }
    const int fresh = count++;
    Box& nb = boxes[fresh] = box;
    box.hi[axis] = cut, nb.lo[axis] = cut + 1;
    shrink(box.lo, box.hi), shrink(nb.lo, nb.hi);
    moments(nb.lo, nb.hi, nb.m);
    for (int i = 0; i < 5; ++i) box.m[i] -= nb.m[i];
    box.key = error(box.m), nb.key = error(nb.m);
    if (!extent(box) && !extent(nb)) heap[1] = heap[n--];
    else if (!extent(box)) heap[1] = fresh;
    siftDown();
    if (extent(box) && extent(nb)) {
      heap[++n] = fresh;
      for (int j = n; j > 1 && key(j / 2) < key(j); j /= 2) std::swap(heap[j], heap[j / 2]);
    }
  }
  std::array<std::uint8_t, 768> palette() {
    Box& first = boxes[0];
    first = {1, {}, {0, 0, 0}, {255, 255, 255}};
    shrink(first.lo, first.hi);
    moments(first.lo, first.hi, first.m);
    count = 1;
    if (extent(first)) heap[++n] = 0;
    while (count < 255 && n > 0) split(heap[1]);
    std::array<std::uint8_t, 768> p{255, 0, 255};
    int e = 1;
    for (int b = 0; b < count; ++b)
      if (const std::uint32_t* m = boxes[b].m; m[0] != 0) {
        for (int a = 0; a < 3; ++a) p[3 * e + a] = static_cast<std::uint8_t>((m[2 + a] + m[0] / 2) / m[0]);
        ++e;
      }
    return p;
  }
};

// The counted colour of a pixel: bytes above alpha limited, then scaled.
std::optional<std::array<int, 3>> modelColour(const std::uint8_t* p) {
  if (p[3] < 64) return std::nullopt;
  std::array<int, 3> c;
  for (int i = 0; i < 3; ++i) c[i] = p[3] == 255 ? p[i] : std::min<int>(p[i], p[3]) * 255 / p[3];
  return c;
}

QuantizedImage modelQuantize(int width, int height, const std::vector<std::uint8_t>& px) {
  std::vector<std::uint32_t> histogram(1u << 24, 0);
  const std::size_t count = static_cast<std::size_t>(width) * height;
  for (std::size_t i = 0; i < count; ++i)
    if (auto c = modelColour(&px[4 * i])) ++histogram[((*c)[0] << 16) | ((*c)[1] << 8) | (*c)[2]];
  QuantizedImage out{width, height, Model{histogram}.palette(), std::vector<std::uint8_t>(count, 0)};
  for (std::size_t i = 0; i < count; ++i) {
    const auto c = modelColour(&px[4 * i]);
    for (std::uint32_t e = 1, best = 0xFFFFFFFF, d; c && e < 256; ++e) {
      d = 0;
      for (int a = 0; a < 3; ++a) d += (out.palette[3 * e + a] - (*c)[a]) * (out.palette[3 * e + a] - (*c)[a]);
      if (d < best) best = d, out.pixels[i] = static_cast<std::uint8_t>(e);
    }
  }
  return out;
}

// A generated image: channel c of pixel i is base[c] + random % spread[c].
std::vector<std::uint8_t> randomImage(std::size_t pixels, std::array<int, 4> base, std::array<int, 4> spread, std::uint32_t x) {
  std::vector<std::uint8_t> px(4 * pixels);
  for (std::size_t i = 0; i < px.size(); ++i) x = x * 1103515245u + 12345u, px[i] = static_cast<std::uint8_t>(base[i % 4] + (x >> 16) % spread[i % 4]);
  return px;
}

}  // namespace

TEST(Quantizer, MatchesTheLiteralAlgorithm) {
  auto wood = loadData("textures/ship_hull_wood_256x256_rgb24.tga");
  std::vector<std::uint8_t> opaque(256 * 256 * 4), alpha(256 * 256 * 4);
  for (int i = 0; i < 256 * 256; ++i) {  // real colours in a 32-level cube, then with alphas 0..255
    for (int c = 0; c < 3; ++c) opaque[4 * i + c] = alpha[4 * i + c] = static_cast<std::uint8_t>(wood[18 + 3 * i + c] >> 3);
    opaque[4 * i + 3] = 255, alpha[4 * i + 3] = static_cast<std::uint8_t>(wood[18 + 3 * i] ^ wood[18 + 3 * i + 1]);
  }
  const struct { const char* what; int width, height; std::vector<std::uint8_t> px; } cases[] = {
      {"real colours", 256, 256, opaque},
      {"real colours, alpha", 256, 256, alpha},
      {"fewer colours than boxes", 97, 61, randomImage(97 * 61, {40, 40, 40, 255}, {6, 6, 6, 1}, 5)},
      {"sums that wrap", 320, 320, randomImage(320 * 320, {224, 230, 240, 255}, {32, 20, 16, 1}, 77)},
  };
  for (const auto& c : cases) {
    const QuantizedImage fast = quantizeImage(c.width, c.height, c.px), model = modelQuantize(c.width, c.height, c.px);
    EXPECT_EQ(fast.palette, model.palette) << c.what;
    EXPECT_EQ(fast.pixels, model.pixels) << c.what;
  }
}

TEST(Quantizer, OneColourNoColourAndTies) {
  const struct { const char* what; std::vector<std::uint8_t> px; std::vector<std::uint8_t> palette, pixels; } cases[] = {
      {"one colour, one transparent pixel", {7, 130, 222, 255, 7, 130, 222, 0}, {255, 0, 255, 7, 130, 222, 0, 0, 0, 0, 0, 0}, {1, 0}},
      {"nothing opaque", {7, 130, 222, 63, 1, 1, 1, 0}, {255, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {0, 0}},
      // A | B C on axis 0 and A B | C on axis 2 both cost 50: axis 0 wins, B C splits next.
      {"lower axis", {0, 0, 0, 255, 10, 0, 0, 255, 10, 0, 10, 255}, {255, 0, 255, 0, 0, 0, 10, 0, 0, 10, 0, 10}, {1, 2, 3}},
      // 0 | 10 20 and 0 10 | 20 on one axis cost 50 each: the lower plane wins.
      {"lower plane", {20, 0, 0, 255, 10, 0, 0, 255, 0, 0, 0, 255}, {255, 0, 255, 0, 0, 0, 10, 0, 0, 20, 0, 0}, {3, 2, 1}},
  };
  for (const auto& c : cases) {
    const auto q = quantizeImage(static_cast<int>(c.px.size() / 4), 1, c.px);
    EXPECT_EQ(std::vector<std::uint8_t>(q.palette.begin(), q.palette.begin() + 12), c.palette) << c.what;
    EXPECT_EQ(q.pixels, c.pixels) << c.what;
  }
  EXPECT_THROW(quantizeImage(4, 3, std::vector<std::uint8_t>(40)), Error);
}
