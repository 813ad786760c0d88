#include "mesh/quantize.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

namespace vellmark {

namespace {

// A colour packed as its histogram index: axis 0 (blue) in bits 16-23, axis 1 (green) in
// bits 8-15, axis 2 (red) in bits 0-7.
inline std::uint32_t packColour(unsigned c0, unsigned c1, unsigned c2) { return (c0 << 16) | (c1 << 8) | c2; }
inline unsigned axisValue(std::uint32_t colour, int axis) { return (colour >> (16 - 8 * axis)) & 0xFF; }

// c * 255 / alpha after limiting c to alpha, for every alpha from 64 to 254.
struct Unpremultiply {
  std::uint8_t table[256][256];
  Unpremultiply() {
    for (unsigned a = 1; a < 256; ++a)
      for (unsigned c = 0; c < 256; ++c) table[a][c] = static_cast<std::uint8_t>(std::min(c, a) * 255 / a);
  }
};
const Unpremultiply& unpremultiply() {
  static const Unpremultiply t;
  return t;
}

// Sentinel for a transparent pixel; no packed colour has bits above 23.
constexpr std::uint32_t kTransparent = 0xFFFFFFFFu;

inline std::uint32_t opaqueKey(const std::uint8_t* p, const Unpremultiply& u) {
  const unsigned a = p[3];
  if (a < kOpaqueAlphaMin) return kTransparent;
  if (a == 255) return packColour(p[0], p[1], p[2]);
  return packColour(u.table[a][p[0]], u.table[a][p[1]], u.table[a][p[2]]);
}

struct ColourCount {
  std::uint32_t colour;
  std::uint32_t count;
};

// Box moments; every field is unsigned 32-bit and wraps, as the game's tools compute them.
struct Moments {
  std::uint32_t count = 0;
  std::uint32_t square = 0;
  std::uint32_t sum[3] = {0, 0, 0};

  void add(const ColourCount& e) {
    const std::uint32_t c0 = axisValue(e.colour, 0), c1 = axisValue(e.colour, 1), c2 = axisValue(e.colour, 2);
    count += e.count;
    square += e.count * (c0 * c0 + c1 * c1 + c2 * c2);
    sum[0] += e.count * c0;
    sum[1] += e.count * c1;
    sum[2] += e.count * c2;
  }
  void add(const Moments& o) {
    count += o.count;
    square += o.square;
    for (int i = 0; i < 3; ++i) sum[i] += o.sum[i];
  }
  Moments minus(const Moments& o) const {
    Moments r;
    r.count = count - o.count;
    r.square = square - o.square;
    for (int i = 0; i < 3; ++i) r.sum[i] = sum[i] - o.sum[i];
    return r;
  }
};

// square - (S0^2 + S1^2 + S2^2) / count in double precision, truncated toward zero to a
// 64-bit integer and taken modulo 2^32. An empty box divides 0 by 0; the processor's
// conversion of that NaN is 0x8000000000000000, whose low 32 bits are 0.
std::uint32_t boxError(const Moments& m) {
  if (m.count == 0) return 0;
  const double s0 = m.sum[0], s1 = m.sum[1], s2 = m.sum[2];
  const double error = static_cast<double>(m.square) - (s0 * s0 + s1 * s1 + s2 * s2) / static_cast<double>(m.count);
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  const std::int64_t truncated =
      (error > -kLimit && error < kLimit) ? static_cast<std::int64_t>(error) : std::numeric_limits<std::int64_t>::min();
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(truncated));
}

struct Box {
  std::uint32_t key = 0;
  Moments moments;
  int lower[3] = {0, 0, 0};
  int upper[3] = {255, 255, 255};
  // The box's distinct colours: entries [begin, end) of the colour list.
  std::uint32_t begin = 0, end = 0;

  bool hasExtent() const { return (upper[0] - lower[0]) + (upper[1] - lower[1]) + (upper[2] - lower[2]) != 0; }
};

class BoxSplitter {
 public:
  explicit BoxSplitter(std::vector<ColourCount>& colours) : colours_(colours) {}

  // The first box, splits of the heap's top box while there is one and room, the means.
  std::array<std::uint8_t, 768> buildPalette() {
    Box& first = boxes_[0];
    first.begin = 0;
    first.end = static_cast<std::uint32_t>(colours_.size());
    shrink(first);
    first.moments = momentsOf(first);
    first.key = 1;
    boxCount_ = 1;
    if (first.hasExtent()) heap_[++heapSize_] = 0;
    while (boxCount_ < kQuantizeMaxBoxes && heapSize_ > 0) split(heap_[1]);
    return means();
  }

 private:
  Moments momentsOf(const Box& b) const {
    Moments m;
    for (std::uint32_t i = b.begin; i < b.end; ++i) m.add(colours_[i]);
    return m;
  }

  // Tightens the bounds to the colours the box holds. The list holds exactly the colours
  // inside the box's given bounds, so per-axis minimum and maximum are the first and last
  // non-empty slices; an empty box keeps its bounds.
  void shrink(Box& b) const {
    if (b.begin == b.end) return;
    int lo[3] = {255, 255, 255}, hi[3] = {0, 0, 0};
    for (std::uint32_t i = b.begin; i < b.end; ++i)
      for (int a = 0; a < 3; ++a) {
        const int v = static_cast<int>(axisValue(colours_[i].colour, a));
        lo[a] = std::min(lo[a], v);
        hi[a] = std::max(hi[a], v);
      }
    for (int a = 0; a < 3; ++a) b.lower[a] = lo[a], b.upper[a] = hi[a];
  }

  void split(std::uint32_t index) {
    Box& box = boxes_[index];
    // Slice moments of every plane of the box on each axis, in one pass over its colours.
    for (auto& axis : slices_) std::fill(std::begin(axis), std::end(axis), Moments{});
    for (std::uint32_t i = box.begin; i < box.end; ++i)
      for (int a = 0; a < 3; ++a) slices_[a][axisValue(colours_[i].colour, a)].add(colours_[i]);

    std::uint32_t bestCost = 0xFFFFFFFFu;
    int bestAxis = -1, bestCut = 0;
    for (int a = 0; a < 3; ++a) {
      Moments lowerHalf;
      for (int p = box.lower[a]; p < box.upper[a]; ++p) {
        lowerHalf.add(slices_[a][p]);
        const std::uint32_t cost = boxError(lowerHalf) + boxError(box.moments.minus(lowerHalf));
        if (cost < bestCost) bestCost = cost, bestAxis = a, bestCut = p;
        // Every cost can wrap to 0xFFFFFFFF; the first cut is then the one taken.
        if (bestAxis < 0) bestAxis = a, bestCut = p;
      }
    }

    const std::uint32_t fresh = boxCount_++;
    Box& upperBox = boxes_[fresh];
    upperBox = box;
    box.upper[bestAxis] = bestCut;
    upperBox.lower[bestAxis] = bestCut + 1;
    auto middle = std::partition(colours_.begin() + box.begin, colours_.begin() + box.end,
                                 [&](const ColourCount& e) {
                                   return static_cast<int>(axisValue(e.colour, bestAxis)) <= bestCut;
                                 });
    box.end = upperBox.begin = static_cast<std::uint32_t>(middle - colours_.begin());
    shrink(box);
    shrink(upperBox);
    const Moments whole = box.moments;
    box.moments = momentsOf(box);
    upperBox.moments = whole.minus(box.moments);
    box.key = boxError(box.moments);
    upperBox.key = boxError(upperBox.moments);

    const bool keepBox = box.hasExtent(), keepFresh = upperBox.hasExtent();
    if (!keepBox && !keepFresh) {
      heap_[1] = heap_[heapSize_--];
      if (heapSize_ > 0) siftDown();
    } else if (!keepBox) {
      heap_[1] = fresh;
      siftDown();
    } else if (!keepFresh) {
      siftDown();
    } else {
      siftDown();
      heap_[++heapSize_] = fresh;
      for (int i = heapSize_; i > 1 && boxes_[heap_[i / 2]].key < boxes_[heap_[i]].key; i /= 2)
        std::swap(heap_[i], heap_[i / 2]);
    }
  }

  void siftDown() {
    int i = 1;
    const std::uint32_t moving = heap_[1];
    const std::uint32_t key = boxes_[moving].key;
    for (;;) {
      int child = 2 * i;
      if (child > heapSize_) break;
      if (child + 1 <= heapSize_ && boxes_[heap_[child]].key < boxes_[heap_[child + 1]].key) ++child;
      if (!(key < boxes_[heap_[child]].key)) break;
      heap_[i] = heap_[child];
      i = child;
    }
    heap_[i] = moving;
  }

  // Rounded mean colour of every non-empty box, in record order, then shifted up one entry
  // to make room for the transparent colour.
  std::array<std::uint8_t, 768> means() const {
    std::array<std::uint8_t, 768> palette{};
    int entry = 1;
    for (std::uint32_t b = 0; b < boxCount_; ++b) {
      const Moments& m = boxes_[b].moments;
      if (m.count == 0) continue;
      for (int a = 0; a < 3; ++a)
        palette[3 * entry + a] = static_cast<std::uint8_t>((m.sum[a] + m.count / 2) / m.count);
      ++entry;
    }
    std::copy(kTransparentEntry.begin(), kTransparentEntry.end(), palette.begin());
    return palette;
  }

  std::vector<ColourCount>& colours_;
  Box boxes_[kQuantizeMaxBoxes];
  std::uint32_t boxCount_ = 0;
  std::uint32_t heap_[kQuantizeMaxBoxes + 1] = {};
  int heapSize_ = 0;
  Moments slices_[3][256];
};

// Pixels of one opaque colour share its key; sorting (key, pixel) pairs gives both the
// histogram (runs of equal keys) and, later, every pixel of each colour.
struct KeyedPixel {
  std::uint32_t key;
  std::uint32_t pixel;
};

void radixPass(const std::vector<KeyedPixel>& in, std::vector<KeyedPixel>& out, int shift) {
  std::vector<std::uint32_t> start(4097, 0);
  for (const auto& k : in) ++start[((k.key >> shift) & 0xFFF) + 1];
  for (int i = 1; i <= 4096; ++i) start[i] += start[i - 1];
  for (const auto& k : in) out[start[(k.key >> shift) & 0xFFF]++] = k;
}

// Nearest palette entry among 1..255 by squared distance, the lowest index on ties. The
// entries are searched outwards in order of one axis and the search stops once that axis
// alone is farther than the best match, which cannot change the answer.
class NearestEntry {
 public:
  explicit NearestEntry(const std::array<std::uint8_t, 768>& palette) {
    int span[3];
    for (int a = 0; a < 3; ++a) {
      int lo = 255, hi = 0;
      for (int i = 1; i < 256; ++i) lo = std::min<int>(lo, palette[3 * i + a]), hi = std::max<int>(hi, palette[3 * i + a]);
      span[a] = hi - lo;
    }
    axis_ = static_cast<int>(std::max_element(span, span + 3) - span);
    for (int i = 1; i < 256; ++i)
      entries_[i - 1] = {{palette[3 * i + axis_], palette[3 * i + (axis_ + 1) % 3], palette[3 * i + (axis_ + 2) % 3]}, i};
    std::sort(std::begin(entries_), std::end(entries_),
              [](const Entry& x, const Entry& y) { return x.c[0] != y.c[0] ? x.c[0] < y.c[0] : x.index < y.index; });
  }

  std::uint8_t find(std::uint32_t colour) const {
    const int q0 = static_cast<int>(axisValue(colour, axis_)), q1 = static_cast<int>(axisValue(colour, (axis_ + 1) % 3)),
              q2 = static_cast<int>(axisValue(colour, (axis_ + 2) % 3));
    const Entry* first = std::begin(entries_);
    const Entry* last = std::end(entries_);
    const Entry* start = std::lower_bound(first, last, q0, [](const Entry& e, int v) { return e.c[0] < v; });
    std::uint32_t best = 0xFFFFFFFFu;
    int bestIndex = 256;
    auto consider = [&](const Entry& e) {
      const int d0 = e.c[0] - q0, d1 = e.c[1] - q1, d2 = e.c[2] - q2;
      const auto d = static_cast<std::uint32_t>(d0 * d0 + d1 * d1 + d2 * d2);
      if (d < best || (d == best && e.index < bestIndex)) best = d, bestIndex = e.index;
    };
    for (const Entry* e = start; e != last; ++e) {
      const int d0 = e->c[0] - q0;
      if (static_cast<std::uint32_t>(d0 * d0) > best) break;
      consider(*e);
    }
    for (const Entry* e = start; e != first;) {
      --e;
      const int d0 = q0 - e->c[0];
      if (static_cast<std::uint32_t>(d0 * d0) > best) break;
      consider(*e);
    }
    return static_cast<std::uint8_t>(bestIndex);
  }

 private:
  struct Entry {
    int c[3];
    int index;
  };
  int axis_ = 0;
  Entry entries_[255];
};

}  // namespace

std::optional<std::array<std::uint8_t, 3>> opaqueColour(const std::uint8_t* bgra) {
  const std::uint32_t key = opaqueKey(bgra, unpremultiply());
  if (key == kTransparent) return std::nullopt;
  return std::array<std::uint8_t, 3>{static_cast<std::uint8_t>(axisValue(key, 0)),
                                     static_cast<std::uint8_t>(axisValue(key, 1)),
                                     static_cast<std::uint8_t>(axisValue(key, 2))};
}

QuantizedImage quantizeImage(int width, int height, Bytes bgra) {
  if (width < 0 || height < 0)
    fail(ErrorKind::Argument, "quantizer: negative image size " + std::to_string(width) + " x " + std::to_string(height));
  const std::uint64_t pixelCount = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  if (pixelCount > 0xFFFFFFFFu || pixelCount * 4 > bgra.size())
    fail(ErrorKind::Argument, "quantizer: " + std::to_string(width) + " x " + std::to_string(height) +
                                  " pixels need more than the " + std::to_string(bgra.size()) + " bytes given");
  const auto count = static_cast<std::size_t>(pixelCount);

  QuantizedImage out;
  out.width = width;
  out.height = height;
  out.pixels.assign(count, 0);  // transparent pixels keep index 0

  std::vector<KeyedPixel> keyed;
  keyed.reserve(count);
  const Unpremultiply& u = unpremultiply();
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t key = opaqueKey(&bgra[4 * i], u);
    if (key != kTransparent) keyed.push_back({key, static_cast<std::uint32_t>(i)});
  }
  std::vector<KeyedPixel> scratch(keyed.size());
  radixPass(keyed, scratch, 0);
  radixPass(scratch, keyed, 12);

  std::vector<ColourCount> colours;
  for (std::size_t i = 0; i < keyed.size();) {
    std::size_t j = i;
    while (j < keyed.size() && keyed[j].key == keyed[i].key) ++j;
    colours.push_back({keyed[i].key, static_cast<std::uint32_t>(j - i)});
    i = j;
  }

  // The splitter reorders its copy of the list; the sorted list is kept for the mapping.
  std::vector<ColourCount> work = colours;
  auto splitter = std::make_unique<BoxSplitter>(work);
  out.palette = splitter->buildPalette();

  const NearestEntry nearest(out.palette);
  for (std::size_t i = 0, c = 0; i < keyed.size(); ++c) {
    const std::uint8_t index = nearest.find(colours[c].colour);
    for (std::uint32_t n = 0; n < colours[c].count; ++n, ++i) out.pixels[keyed[i].pixel] = index;
  }
  return out;
}

}  // namespace vellmark
