#include "btc/btc_encoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "btc/btc_codec.h"

namespace vellmark {

namespace {

// Channels in byte order: 0 blue, 1 green, 2 red. Plain arrays: the fit runs for every
// block of every image, and must stay quick in unoptimised test builds too.
struct BlockColours {
  int c[16][3];
};

void expand565(std::uint16_t v, int out[3]) {
  out[0] = kBtcExpand5[v & 31];
  out[1] = kBtcExpand6[(v >> 5) & 63];
  out[2] = kBtcExpand5[v >> 11];
}

std::uint16_t pack565(int b, int g, int r) { return static_cast<std::uint16_t>(r << 11 | g << 5 | b); }

// The decoder's palette for two end colours, computed exactly as it does.
void paletteOf(std::uint16_t c0, std::uint16_t c1, int p[4][3]) {
  expand565(c0, p[0]);
  expand565(c1, p[1]);
  for (int k = 0; k < 3; ++k) {
    const int a = p[0][k], b = p[1][k];
    p[2][k] = (2 * (2 * a + b) + 3) / 6;
    p[3][k] = (2 * (a + 2 * b) + 3) / 6;
  }
}

struct ColourFit {
  std::uint16_t c0 = 0, c1 = 0;
  std::uint32_t indices = 0;
  long error = -1;
};

ColourFit evaluate(const BlockColours& px, std::uint16_t c0, std::uint16_t c1) {
  int palette[4][3];
  paletteOf(c0, c1, palette);
  ColourFit fit{c0, c1, 0, 0};
  for (int p = 0; p < 16; ++p) {
    const int* c = px.c[p];
    long best = 1L << 30;
    std::uint32_t bestIndex = 0;
    for (std::uint32_t i = 0; i < 4; ++i) {
      const long d0 = c[0] - palette[i][0], d1 = c[1] - palette[i][1], d2 = c[2] - palette[i][2];
      const long e = d0 * d0 + d1 * d1 + d2 * d2;
      if (e < best) best = e, bestIndex = i;
    }
    fit.indices |= bestIndex << (2 * p);
    fit.error += best;
  }
  return fit;
}

int quantize(double value, int maxCode) {
  const double code = std::round(std::clamp(value, 0.0, 255.0) * maxCode / 255.0);
  return static_cast<int>(code);
}

std::uint16_t quantizeColour(const double c[3]) { return pack565(quantize(c[0], 31), quantize(c[1], 63), quantize(c[2], 31)); }

// Least-squares end colours for the indices of `fit`: entry i mixes end 0 with weight
// 1, 0, 2/3 or 1/3.
bool leastSquares(const BlockColours& px, std::uint32_t indices, std::uint16_t& c0, std::uint16_t& c1) {
  static constexpr double kWeight[4] = {1.0, 0.0, 2.0 / 3.0, 1.0 / 3.0};
  double aa = 0, ab = 0, bb = 0, ax[3] = {}, bx[3] = {};
  for (int p = 0; p < 16; ++p) {
    const double a = kWeight[(indices >> (2 * p)) & 3], b = 1.0 - a;
    aa += a * a, ab += a * b, bb += b * b;
    for (int k = 0; k < 3; ++k) ax[k] += a * px.c[p][k], bx[k] += b * px.c[p][k];
  }
  const double det = aa * bb - ab * ab;
  if (std::fabs(det) < 1e-9) return false;
  double e0[3], e1[3];
  for (int k = 0; k < 3; ++k) {
    e0[k] = (bb * ax[k] - ab * bx[k]) / det;
    e1[k] = (aa * bx[k] - ab * ax[k]) / det;
  }
  c0 = quantizeColour(e0);
  c1 = quantizeColour(e1);
  return true;
}

// Moves each of the six 565 components by one step while that lowers the error.
ColourFit localSearch(const BlockColours& px, ColourFit best) {
  static constexpr int kShift[3] = {0, 5, 11};
  static constexpr int kMax[3] = {31, 63, 31};
  for (int pass = 0; pass < 4; ++pass) {
    bool improved = false;
    for (int end = 0; end < 2; ++end)
      for (int k = 0; k < 3; ++k)
        for (int step : {-1, 1}) {
          std::uint16_t ends[2] = {best.c0, best.c1};
          const int code = (ends[end] >> kShift[k]) & kMax[k];
          const int moved = code + step;
          if (moved < 0 || moved > kMax[k]) continue;
          ends[end] = static_cast<std::uint16_t>((ends[end] & ~(kMax[k] << kShift[k])) | (moved << kShift[k]));
          const ColourFit trial = evaluate(px, ends[0], ends[1]);
          if (trial.error < best.error) best = trial, improved = true;
        }
    if (!improved || best.error == 0) break;
  }
  return best;
}

// For every 8-bit value, the two codes whose one-third mix (palette entry 2) comes
// closest to it: a block of one colour is then matched as closely as 565 allows.
struct SingleColourTables {
  std::array<std::array<std::uint8_t, 2>, 256> five, six;
  SingleColourTables() {
    auto fill = [](auto& table, const auto& expand, int codes) {
      for (int v = 0; v < 256; ++v) {
        int best = 1 << 30;
        for (int q0 = 0; q0 < codes; ++q0)
          for (int q1 = 0; q1 < codes; ++q1) {
            const int mix = (2 * (2 * expand[q0] + expand[q1]) + 3) / 6;
            if (std::abs(mix - v) < best)
              best = std::abs(mix - v), table[v] = {static_cast<std::uint8_t>(q0), static_cast<std::uint8_t>(q1)};
          }
      }
    };
    fill(five, kBtcExpand5, 32);
    fill(six, kBtcExpand6, 64);
  }
};

ColourFit fitColours(const BlockColours& px) {
  bool single = true;
  for (int p = 1; p < 16; ++p)
    single = single && px.c[p][0] == px.c[0][0] && px.c[p][1] == px.c[0][1] && px.c[p][2] == px.c[0][2];
  if (single) {
    static const SingleColourTables tables;
    const auto& b = tables.five[px.c[0][0]];
    const auto& g = tables.six[px.c[0][1]];
    const auto& r = tables.five[px.c[0][2]];
    return evaluate(px, pack565(b[0], g[0], r[0]), pack565(b[1], g[1], r[1]));
  }

  // Principal axis of the colours by power iteration on their covariance.
  double mean[3] = {};
  for (const auto& c : px.c)
    for (int k = 0; k < 3; ++k) mean[k] += c[k] / 16.0;
  double cov[3][3] = {};
  for (const auto& c : px.c)
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) cov[i][j] += (c[i] - mean[i]) * (c[j] - mean[j]);
  double axis[3] = {1, 1, 1};
  for (int iteration = 0; iteration < 8; ++iteration) {
    double next[3] = {};
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) next[i] += cov[i][j] * axis[j];
    const double norm = std::max({std::fabs(next[0]), std::fabs(next[1]), std::fabs(next[2])});
    if (norm < 1e-12) break;
    for (int i = 0; i < 3; ++i) axis[i] = next[i] / norm;
  }
  double lo = 1e30, hi = -1e30;
  for (const auto& c : px.c) {
    const double t = (c[0] - mean[0]) * axis[0] + (c[1] - mean[1]) * axis[1] + (c[2] - mean[2]) * axis[2];
    lo = std::min(lo, t), hi = std::max(hi, t);
  }
  const double axisLength = axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2];
  double e0[3], e1[3], boxLo[3], boxHi[3];
  for (int k = 0; k < 3; ++k) {
    e0[k] = mean[k] + axis[k] * hi / axisLength;
    e1[k] = mean[k] + axis[k] * lo / axisLength;
    boxLo[k] = 255, boxHi[k] = 0;
    for (const auto& c : px.c) boxLo[k] = std::min<double>(boxLo[k], c[k]), boxHi[k] = std::max<double>(boxHi[k], c[k]);
  }

  ColourFit best = evaluate(px, quantizeColour(e0), quantizeColour(e1));
  const ColourFit box = evaluate(px, quantizeColour(boxHi), quantizeColour(boxLo));
  if (box.error < best.error) best = box;
  for (int round = 0; round < 2 && best.error > 0; ++round) {
    std::uint16_t c0, c1;
    if (!leastSquares(px, best.indices, c0, c1)) break;
    const ColourFit refined = evaluate(px, c0, c1);
    if (refined.error >= best.error) break;
    best = refined;
  }
  return localSearch(px, best);
}

void appendColourBlock(std::vector<std::uint8_t>& out, const ColourFit& fit) {
  appendU16(out, fit.c0);
  appendU16(out, fit.c1);
  appendU32(out, fit.indices);
}

std::array<int, 8> alphaPaletteOf(int a0, int a1) {
  std::array<int, 8> p{a0, a1};
  if (a0 > a1) {
    for (int k = 1; k <= 6; ++k) p[k + 1] = (2 * ((7 - k) * a0 + k * a1) + 7) / 14;
  } else {
    for (int k = 1; k <= 4; ++k) p[k + 1] = (2 * ((5 - k) * a0 + k * a1) + 5) / 10;
    p[6] = 0, p[7] = 255;
  }
  return p;
}

struct AlphaFit {
  int a0 = 0, a1 = 0;
  std::uint64_t indices = 0;
  long error = -1;
};

AlphaFit evaluateAlpha(const std::array<int, 16>& alpha, int a0, int a1) {
  const auto palette = alphaPaletteOf(a0, a1);
  AlphaFit fit{a0, a1, 0, 0};
  for (int p = 0; p < 16; ++p) {
    long best = -1;
    std::uint64_t bestIndex = 0;
    for (std::uint64_t i = 0; i < 8; ++i) {
      const long d = alpha[p] - palette[i];
      if (best < 0 || d * d < best) best = d * d, bestIndex = i;
    }
    fit.indices |= bestIndex << (3 * p);
    fit.error += best;
  }
  return fit;
}

AlphaFit fitAlpha(const std::array<int, 16>& alpha) {
  const auto [mn, mx] = std::minmax_element(alpha.begin(), alpha.end());
  // Eight-value mode between the extremes; six-value mode between the extremes of what is
  // neither 0 nor 255, which that mode has for free.
  AlphaFit best = evaluateAlpha(alpha, *mx, *mn);
  int lo = 255, hi = 0;
  for (int a : alpha)
    if (a != 0 && a != 255) lo = std::min(lo, a), hi = std::max(hi, a);
  if (lo > hi) lo = hi = 0;
  const AlphaFit six = evaluateAlpha(alpha, lo, hi);
  return six.error < best.error ? six : best;
}

enum : unsigned { kEmpty = 1, kOpaque = 2, kAlpha = 3, kSolid = 4 };

class RunWriter {
 public:
  explicit RunWriter(std::vector<std::uint8_t>& out) : out_(out) {}
  // Starts a block of `type`; its payload is appended to payload() by the caller.
  std::vector<std::uint8_t>& block(unsigned type) {
    if (type != type_ || count_ == kBtcMaxRunLength) flush();
    type_ = type;
    ++count_;
    return payload_;
  }
  void flush() {
    if (count_ == 0) return;
    appendU16(out_, static_cast<std::uint16_t>(type_ << 12 | (count_ & 0xFFF)));
    out_.insert(out_.end(), payload_.begin(), payload_.end());
    payload_.clear();
    count_ = 0;
  }

 private:
  std::vector<std::uint8_t>& out_;
  std::vector<std::uint8_t> payload_;
  unsigned type_ = 0;
  std::uint32_t count_ = 0;
};

}  // namespace

std::array<std::uint8_t, 8> encodeColourBlock(const std::uint8_t* block) {
  BlockColours px;
  for (int p = 0; p < 16; ++p) px.c[p][0] = block[4 * p], px.c[p][1] = block[4 * p + 1], px.c[p][2] = block[4 * p + 2];
  std::vector<std::uint8_t> out;
  appendColourBlock(out, fitColours(px));
  std::array<std::uint8_t, 8> result;
  std::copy(out.begin(), out.end(), result.begin());
  return result;
}

std::vector<std::uint8_t> encodeBtcStream(std::uint16_t width, std::uint16_t height, Bytes pixels) {
  if (pixels.size() < std::uint64_t{width} * height * 4)
    fail(ErrorKind::Argument, "BTC encoder given " + std::to_string(pixels.size()) + " pixel bytes for a " +
                                  std::to_string(width) + " x " + std::to_string(height) + " image");
  std::vector<std::uint8_t> out;
  if (width == 0 || height == 0) return out;
  RunWriter runs(out);
  const int blocksWide = (width + 3) / 4, blocksHigh = (height + 3) / 4;
  for (int by = 0; by < blocksHigh; ++by)
    for (int bx = 0; bx < blocksWide; ++bx) {
      std::uint8_t block[64];
      for (int p = 0; p < 16; ++p) {
        const int x = std::min(bx * 4 + p % 4, width - 1), y = std::min(by * 4 + p / 4, height - 1);
        std::memcpy(block + 4 * p, &pixels[(std::size_t(y) * width + std::size_t(x)) * 4], 4);
      }
      bool same = true, opaque = true;
      for (int p = 0; p < 16; ++p) {
        same = same && std::memcmp(block + 4 * p, block, 4) == 0;
        opaque = opaque && block[4 * p + 3] == 255;
      }
      if (same && std::all_of(block, block + 4, [](std::uint8_t v) { return v == 0; })) {
        runs.block(kEmpty);
      } else if (same) {
        auto& payload = runs.block(kSolid);
        payload.insert(payload.end(), block, block + 4);
      } else if (opaque) {
        auto colour = encodeColourBlock(block);
        auto& payload = runs.block(kOpaque);
        payload.insert(payload.end(), colour.begin(), colour.end());
      } else {
        std::array<int, 16> alpha;
        for (int p = 0; p < 16; ++p) alpha[p] = block[4 * p + 3];
        const AlphaFit a = fitAlpha(alpha);
        auto colour = encodeColourBlock(block);
        auto& payload = runs.block(kAlpha);
        payload.push_back(static_cast<std::uint8_t>(a.a0));
        payload.push_back(static_cast<std::uint8_t>(a.a1));
        for (int i = 0; i < 6; ++i) payload.push_back(static_cast<std::uint8_t>(a.indices >> (8 * i)));
        payload.insert(payload.end(), colour.begin(), colour.end());
      }
    }
  runs.flush();
  return out;
}

std::vector<std::uint8_t> clampedTile(const Image& image, std::int64_t left, std::int64_t top, int side) {
  std::vector<std::uint8_t> tile(std::size_t(side) * side * 4);
  for (int y = 0; y < side; ++y) {
    const auto sy = static_cast<std::size_t>(std::clamp<std::int64_t>(top + y, 0, image.height - 1));
    for (int x = 0; x < side; ++x) {
      const auto sx = static_cast<std::size_t>(std::clamp<std::int64_t>(left + x, 0, image.width - 1));
      std::memcpy(&tile[(std::size_t(y) * side + x) * 4], &image.pixels[(sy * image.width + sx) * 4], 4);
    }
  }
  return tile;
}

std::vector<std::uint8_t> encodeBtcTile(const Image& image, std::int64_t left, std::int64_t top, int side) {
  const auto s = static_cast<std::uint16_t>(side);
  return encodeBtcStream(s, s, clampedTile(image, left, top, side));
}

}  // namespace vellmark
