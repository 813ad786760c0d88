#include "image/image_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "image/stb_library.h"

#include <zlib.h>

namespace vellmark {

namespace {

constexpr std::uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::uint32_t kPngIend = 0x49454E44;  // "IEND"
constexpr char kNoPicture[] = "not a TGA, PNG, JPEG or BMP image this program reads";

struct StbFree {
  void operator()(void* p) const { std::free(p); }
};

std::string sizeText(std::uint64_t width, std::uint64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

// stb reads past the end of its input as zeros, so a cut file would decode into a picture
// with a black or transparent bottom. Each check walks the file's own structure far enough
// to prove that every byte the header declares is there.

// PNG: the chunks up to IEND (stb stops reading there too).
void requirePngComplete(Bytes file, const std::string& what) {
  ByteReader reader(file, what);
  reader.skip(sizeof kPngSignature);
  for (;;) {
    const std::uint32_t length = reader.u32be();  // chunk length
    const std::uint32_t type = reader.u32be();    // chunk type
    reader.skip(length);
    reader.skip(4);  // CRC
    if (type == kPngIend) return;
  }
}

// stb builds a Huffman table into 257 entries without checking that the table's 16 code
// counts add up to at most 256; a table that claims more would be written past them. In a
// segment the file cuts short (`cut`), stb reads the counts that are there and zeros after
// them, so those are checked too before the walk stops.
void requireSaneHuffmanTables(Bytes segment, bool cut, const std::string& what) {
  for (std::size_t at = 0; at < segment.size();) {
    const std::size_t counts = std::min<std::size_t>(16, segment.size() - at - 1);
    unsigned codes = 0;
    for (std::size_t i = 1; i <= counts; ++i) codes += segment[at + i];
    if (codes > 256)
      fail(ErrorKind::Corrupt, what + ": a JPEG Huffman table of " + std::to_string(codes) + " codes (at most 256)");
    at += 17 + codes;
    if (at > segment.size() && !cut) fail(ErrorKind::Corrupt, what + ": a JPEG Huffman table is cut short");
  }
}

// JPEG: every marker segment, those between the scans of a progressive file included, up to
// the end-of-image marker (inside entropy-coded data every 0xFF is stuffed with 0x00 or
// starts a restart marker, so any other FF xx is a real marker). Huffman tables are checked
// on the way. With `requireEnd` false the walk only looks for bad tables, reading markers
// where stb would, and stops quietly where the data ends: it runs before stb reads the
// headers at all.
void walkJpeg(Bytes file, const std::string& what, bool requireEnd) {
  const auto stop = [&](ErrorKind kind, const std::string& message) {
    if (requireEnd) fail(kind, message);
  };
  const std::string truncated = what + " is truncated: the JPEG data ends without its end-of-image marker";
  std::size_t at = 2;  // after the start-of-image marker
  bool scanned = false;
  for (;;) {
    // In entropy-coded data, 0xFF (with any fill bytes) before 0x00 or a restart marker is
    // data; before anything else it starts the next marker.
    while (scanned && at < file.size()) {
      while (at < file.size() && file[at] != 0xFF) ++at;
      std::size_t next = at;
      while (next < file.size() && file[next] == 0xFF) ++next;
      if (next >= file.size() || (file[next] != 0x00 && !(file[next] >= 0xD0 && file[next] <= 0xD7))) break;
      at = next + 1;
    }
    if (at >= file.size()) return stop(ErrorKind::Truncated, truncated);
    if (file[at] != 0xFF) {
      if (requireEnd) fail(ErrorKind::Corrupt, what + ": no JPEG marker at offset " + std::to_string(at));
      // stb skips to the next 0xFF and reads a marker there, so the look for bad tables does too.
      while (at < file.size() && file[at] != 0xFF) ++at;
      continue;
    }
    while (at < file.size() && file[at] == 0xFF) ++at;  // fill bytes
    if (at >= file.size()) return stop(ErrorKind::Truncated, truncated);
    const std::uint8_t marker = file[at++];
    if (marker == 0xD9) return scanned ? void() : stop(ErrorKind::Corrupt, what + ": the JPEG data ends before any scan");
    if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8)) continue;  // markers without a length
    if (file.size() - at < 2) return stop(ErrorKind::Truncated, truncated);
    const std::size_t length = std::size_t{file[at]} << 8 | file[at + 1];
    if (length < 2) return stop(ErrorKind::Corrupt, what + ": JPEG segment length " + std::to_string(length));
    const bool cut = file.size() - at < length;
    if (marker == 0xC4) requireSaneHuffmanTables(file.subspan(at + 2, std::min(length, file.size() - at) - 2), cut, what);
    if (cut) return stop(ErrorKind::Truncated, truncated);
    at += length;
    if (marker == 0xDA) scanned = true;
  }
}

void requireJpegComplete(Bytes file, const std::string& what) { walkJpeg(file, what, true); }

// BMP: the pixel rows of the uncompressed layouts stb reads, from the header's data offset.
void requireBmpComplete(Bytes file, const std::string& what) {
  ByteReader reader(file, what);
  reader.skip(10);
  const std::uint32_t dataOffset = reader.u32();  // bfOffBits
  const std::uint32_t headerSize = reader.u32();  // biSize
  std::int64_t width = 0, height = 0;
  std::uint32_t bits = 0, compression = 0;
  if (headerSize == 12) {
    width = reader.u16(), height = reader.i16();
    reader.skip(2);
    bits = reader.u16();
  } else {
    width = reader.i32(), height = reader.i32();
    reader.skip(2);
    bits = reader.u16(), compression = reader.u32();
  }
  if (compression != 0 && compression != 3) return;  // stb refuses the others itself
  const std::uint64_t stride = (static_cast<std::uint64_t>(std::llabs(width)) * bits + 31) / 32 * 4;
  const std::uint64_t rows = static_cast<std::uint64_t>(std::llabs(height));
  if (rows != 0 && stride > (std::numeric_limits<std::uint64_t>::max() - dataOffset) / rows) fail(ErrorKind::Corrupt, what + ": BMP size overflows");
  if (!rangeFits(dataOffset, stride * rows, file.size()))
    fail(ErrorKind::Truncated, what + " is truncated: its BMP rows need " + std::to_string(stride * rows) +
                                   " bytes from offset " + std::to_string(dataOffset) + ", the file has " +
                                   std::to_string(file.size()));
}

bool colourMapped(const TgaHeader& t) { return (t.imageType & 7) == 1; }

// TGA: the colour map and the pixels, uncompressed or as run-length packets.
void requireTgaComplete(Bytes file, const TgaHeader& t, const std::string& what) {
  ByteReader reader(file, what);
  reader.seek(t.dataOffset());  // raises when the colour map runs past the end
  const std::size_t pixelBytes = (t.pixelDepth + 7u) / 8;
  const std::uint64_t pixels = std::uint64_t{t.width} * t.height;
  if (t.imageType < 8) {
    reader.skip(static_cast<std::size_t>(pixels * pixelBytes));
    return;
  }
  for (std::uint64_t done = 0; done < pixels;) {
    const std::uint8_t packet = reader.u8();
    const std::size_t count = (packet & 0x7F) + 1u;
    reader.skip(packet & 0x80 ? pixelBytes : count * pixelBytes);
    done += count;
  }
}

// stb reads a colour map only for colour-mapped types, and takes the map's first-entry index
// for a number of bytes to skip. A true-colour file that carries a map, and a map that starts
// above entry 0, are rewritten in the plain layout it reads.
std::vector<std::uint8_t> plainTga(Bytes file, const TgaHeader& t, const std::string& what) {
  const bool strayMap = t.mapType == 1 && !colourMapped(t);
  const bool offsetMap = t.mapType == 1 && colourMapped(t) && t.mapStart != 0;
  if (!strayMap && !offsetMap) return {};
  const std::size_t entryBytes = (t.mapBits + 7u) / 8;
  std::vector<std::uint8_t> out(file.begin(), file.begin() + kTgaHeaderSize);
  out[0] = 0;  // ID length
  if (strayMap) {
    out[1] = 0;
    std::fill(out.begin() + 3, out.begin() + 8, 0);
  } else {
    if (t.mapStart + std::uint32_t{t.mapLength} > 0xFFFF)
      fail(ErrorKind::Unsupported, what + ": a TGA colour map ending beyond entry 65,535");
    storeU16(&out[3], 0);
    storeU16(&out[5], static_cast<std::uint16_t>(t.mapStart + t.mapLength));
    out.resize(out.size() + t.mapStart * entryBytes, 0);
    out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(t.mapOffset()),
               file.begin() + static_cast<std::ptrdiff_t>(t.dataOffset()));
  }
  out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(t.dataOffset()), file.end());
  return out;
}

}  // namespace

ImageFileKind sniffImageFile(Bytes file) {
  if (file.size() >= sizeof kPngSignature && std::equal(std::begin(kPngSignature), std::end(kPngSignature), file.begin()))
    return ImageFileKind::Png;
  if (file.size() >= 3 && file[0] == 0xFF && file[1] == 0xD8 && file[2] == 0xFF) return ImageFileKind::Jpeg;
  if (file.size() >= 2 && file[0] == 'B' && file[1] == 'M') return ImageFileKind::Bmp;
  return ImageFileKind::Tga;
}

const char* imageFileKindName(ImageFileKind kind) {
  switch (kind) {
    case ImageFileKind::Png: return "PNG";
    case ImageFileKind::Jpeg: return "JPEG";
    case ImageFileKind::Bmp: return "BMP";
    case ImageFileKind::Tga: return "TGA";
  }
  return "?";
}

Image decodeImage(Bytes file, const std::string& what) {
  const ImageFileKind kind = sniffImageFile(file);
  if (file.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    fail(ErrorKind::Unsupported, what + ": an image file above 2 GiB");
  std::vector<std::uint8_t> rewritten;
  bool mirrored = false;
  if (kind == ImageFileKind::Tga) {
    if (file.size() < kTgaHeaderSize) fail(ErrorKind::Unsupported, what + ": " + kNoPicture);
    const TgaHeader header = readTgaHeader(file, what);
    const int type = header.imageType & ~8;  // without the run-length bit
    if (header.mapType > 1 || type < 1 || type > 3 || header.width == 0 || header.height == 0 ||
        (header.pixelDepth != 8 && header.pixelDepth != 15 && header.pixelDepth != 16 && header.pixelDepth != 24 &&
         header.pixelDepth != 32))
      fail(ErrorKind::Unsupported, what + ": " + kNoPicture);
    mirrored = (header.descriptor & kTgaDescriptorRightToLeft) != 0;
    if (std::uint64_t{header.width} * header.height <= kMaxImagePixels) {
      requireTgaComplete(file, header, what);
      rewritten = plainTga(file, header, what);
    }
  }
  const Bytes input = rewritten.empty() ? file : Bytes(rewritten);
  const auto* data = input.data();
  const int length = static_cast<int>(input.size());

  int width = 0, height = 0, channels = 0;
  if (kind == ImageFileKind::Jpeg) walkJpeg(file, what, false);
  if (!stbi_info_from_memory(data, length, &width, &height, &channels)) {
    if (kind == ImageFileKind::Tga)
      fail(ErrorKind::Unsupported, what + ": " + kNoPicture);
    // stb refuses a PNG header above its own size limit as corrupt; it is only too large.
    if (kind == ImageFileKind::Png && file.size() >= 24 &&
        std::uint64_t{loadU32BE(&file[16])} * loadU32BE(&file[20]) > kMaxImagePixels)
      fail(ErrorKind::Unsupported, what + ": a PNG image of " + sizeText(loadU32BE(&file[16]), loadU32BE(&file[20])) +
                                       " pixels is beyond the " + std::to_string(kMaxImagePixels) + " pixels read");
    fail(ErrorKind::Corrupt, what + ": corrupt " + imageFileKindName(kind) + " header (" + stbi_failure_reason() + ")");
  }
  const std::uint64_t pixels = std::uint64_t(width) * std::uint64_t(height);
  if (width <= 0 || height <= 0 || pixels > kMaxImagePixels)
    fail(ErrorKind::Unsupported, what + ": a " + imageFileKindName(kind) + " image of " + sizeText(width, height) +
                                     " pixels is beyond the " + std::to_string(kMaxImagePixels) + " pixels read");
  if (kind == ImageFileKind::Png) requirePngComplete(file, what);
  if (kind == ImageFileKind::Jpeg) requireJpegComplete(file, what);
  if (kind == ImageFileKind::Bmp) requireBmpComplete(file, what);

  // The largest buffer a decoder needs: 16-bit samples of four channels, plus a filter byte a
  // row and some room for tables.
  const std::uint64_t cap = (std::uint64_t(width) + 16) * (std::uint64_t(height) + 16) * 8 + (1u << 20);
  std::unique_ptr<stbi_uc, StbFree> rgba;
  {
    const stb::AllocationCap allowance(static_cast<std::size_t>(std::min<std::uint64_t>(cap, SIZE_MAX)));
    rgba.reset(stbi_load_from_memory(data, length, &width, &height, &channels, 4));
  }
  if (!rgba) {
    const std::string reason = stbi_failure_reason();
    if (reason == "Out of memory")
      fail(ErrorKind::Corrupt, what + ": the " + imageFileKindName(kind) + " data needs more memory than an image of " +
                                   sizeText(width, height) + " can (a decompression bomb?)");
    fail(ErrorKind::Corrupt, what + ": " + reason);
  }

  Image image;
  image.width = static_cast<std::uint32_t>(width);
  image.height = static_cast<std::uint32_t>(height);
  image.pixels.resize(static_cast<std::size_t>(pixels) * 4);
  const stbi_uc* src = rgba.get();
  for (std::uint32_t y = 0; y < image.height; ++y) {
    std::uint8_t* row = image.pixels.data() + std::size_t{y} * image.width * 4;
    for (std::uint32_t x = 0; x < image.width; ++x, src += 4) {
      std::uint8_t* dst = row + 4 * (mirrored ? image.width - 1 - x : x);
      dst[0] = src[2], dst[1] = src[1], dst[2] = src[0], dst[3] = src[3];
    }
  }
  return image;
}

ImageProbe probeImage(Bytes file, const std::string& what) {
  ImageProbe probe;
  probe.kind = sniffImageFile(file);
  if (probe.kind == ImageFileKind::Tga) fail(ErrorKind::Unsupported, what + ": a TGA has no header to probe");
  if (probe.kind == ImageFileKind::Jpeg) walkJpeg(file, what, false);
  int width = 0, height = 0;
  if (file.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) ||
      !stbi_info_from_memory(file.data(), static_cast<int>(file.size()), &width, &height, &probe.channels))
    fail(ErrorKind::Corrupt, what + ": corrupt " + imageFileKindName(probe.kind) + " header");
  probe.width = static_cast<std::uint32_t>(width);
  probe.height = static_cast<std::uint32_t>(height);
  return probe;
}

std::vector<std::uint8_t> encodePng(const Image& image) {
  checkImagePixels(image, "image to encode as PNG");
  if (std::uint64_t{image.width} * image.height > kMaxImagePixels || image.width == 0 || image.height == 0)
    fail(ErrorKind::Unsupported, "a PNG of " + sizeText(image.width, image.height) + " pixels is not written");
  std::vector<std::uint8_t> rgba(std::size_t{image.width} * image.height * 4);
  for (std::size_t i = 0; i < rgba.size(); i += 4) {
    rgba[i] = image.pixels[i + 2], rgba[i + 1] = image.pixels[i + 1];
    rgba[i + 2] = image.pixels[i], rgba[i + 3] = image.pixels[i + 3];
  }
  std::vector<std::uint8_t> png;
  auto append = [](void* context, void* data, int size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    static_cast<std::vector<std::uint8_t>*>(context)->insert(static_cast<std::vector<std::uint8_t>*>(context)->end(),
                                                             bytes, bytes + size);
  };
  if (!stbi_write_png_to_func(append, &png, static_cast<int>(image.width), static_cast<int>(image.height), 4, rgba.data(),
                              static_cast<int>(image.width * 4)))
    fail(ErrorKind::Unsupported, "not enough memory to encode a PNG of " + sizeText(image.width, image.height));
  return png;
}

namespace {

void appendChunk(std::vector<std::uint8_t>& png, const char* type, Bytes data) {
  const auto length = static_cast<std::uint32_t>(data.size());
  for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<std::uint8_t>(length >> shift));
  const std::size_t typeAt = png.size();
  png.insert(png.end(), type, type + 4);
  png.insert(png.end(), data.begin(), data.end());
  const auto crc = static_cast<std::uint32_t>(
      ::crc32(0, png.data() + typeAt, static_cast<uInt>(png.size() - typeAt)));
  for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<std::uint8_t>(crc >> shift));
}

}  // namespace

std::vector<std::uint8_t> encodeIndexedPng(std::uint32_t width, std::uint32_t height, std::span<const std::uint8_t, 1024> palette,
                                           Bytes indices) {
  const std::uint64_t count = std::uint64_t{width} * height;
  if (indices.size() < count) fail(ErrorKind::Argument, "an indexed PNG of " + sizeText(width, height) + " needs as many indices");
  if (count > kMaxImagePixels || width == 0 || height == 0 || width > 0x7FFFFFFF || height > 0x7FFFFFFF)
    fail(ErrorKind::Unsupported, "a PNG of " + sizeText(width, height) + " pixels is not written");
  // Rows behind filter byte 0: palette indices gain little from the other filters.
  std::vector<std::uint8_t> rows;
  rows.reserve(static_cast<std::size_t>(count + height));
  for (std::uint32_t y = 0; y < height; ++y) {
    rows.push_back(0);
    const auto* row = indices.data() + std::size_t{y} * width;
    rows.insert(rows.end(), row, row + width);
  }
  uLongf packedSize = ::compressBound(static_cast<uLong>(rows.size()));
  std::vector<std::uint8_t> packed(packedSize);
  if (::compress2(packed.data(), &packedSize, rows.data(), static_cast<uLong>(rows.size()), Z_DEFAULT_COMPRESSION) != Z_OK)
    fail(ErrorKind::Unsupported, "not enough memory to encode a PNG of " + sizeText(width, height));
  packed.resize(packedSize);

  std::vector<std::uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::uint8_t header[13] = {};
  storeU32BE(header, width);
  storeU32BE(header + 4, height);
  header[8] = 8, header[9] = 3;  // 8 bits, palette; deflate, adaptive filters, no interlace
  appendChunk(png, "IHDR", header);
  std::uint8_t colours[768], alphas[256];
  std::size_t lastSeeThrough = 0;
  for (int i = 0; i < 256; ++i) {
    std::copy_n(palette.data() + 4 * i, 3, colours + 3 * i);
    alphas[i] = palette[4 * i + 3];
    if (alphas[i] != 255) lastSeeThrough = static_cast<std::size_t>(i) + 1;
  }
  appendChunk(png, "PLTE", colours);
  if (lastSeeThrough > 0) appendChunk(png, "tRNS", Bytes(alphas, lastSeeThrough));
  appendChunk(png, "IDAT", packed);
  appendChunk(png, "IEND", {});
  return png;
}

std::vector<std::uint8_t> encodeTga(const Image& image) {
  checkImagePixels(image, "image to encode as TGA");
  if (image.width > 0xFFFF || image.height > 0xFFFF)
    fail(ErrorKind::Unsupported, "a TGA holds at most 65,535 x 65,535 pixels, not " + sizeText(image.width, image.height));
  return makeTgaImage(static_cast<std::uint16_t>(image.width), static_cast<std::uint16_t>(image.height), image.pixels);
}

}  // namespace vellmark
