#include "image/contact_sheet.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/resample.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wsign-compare"
#endif
#include <stb_easy_font.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace vellmark {

namespace {

constexpr std::uint8_t kGround[4] = {40, 36, 32, 255};  // B, G, R, A
constexpr std::uint8_t kCheckLight[4] = {200, 200, 200, 255};
constexpr std::uint8_t kCheckDark[4] = {150, 150, 150, 255};
constexpr std::uint8_t kInk[4] = {235, 235, 235, 255};

int textWidth(const std::string& text) {
  std::string copy = text;
  return stb_easy_font_width(copy.data());
}

void fill(Image& sheet, std::uint32_t x0, std::uint32_t y0, std::uint32_t x1, std::uint32_t y1, const std::uint8_t* colour) {
  x1 = std::min(x1, sheet.width);
  y1 = std::min(y1, sheet.height);
  for (std::uint32_t y = y0; y < y1; ++y)
    for (std::uint32_t x = x0; x < x1; ++x) std::memcpy(&sheet.pixels[(std::size_t{y} * sheet.width + x) * 4], colour, 4);
}

// The font's strokes come as axis-aligned quads of 16-byte vertices (x, y, z, colour).
void drawText(Image& sheet, std::uint32_t x, std::uint32_t y, const std::string& text) {
  std::string copy = text;
  std::vector<char> vertices(64 * std::max<std::size_t>(copy.size(), 1) * 24);
  const int quads = stb_easy_font_print(static_cast<float>(x), static_cast<float>(y), copy.data(), nullptr,
                                        vertices.data(), static_cast<int>(vertices.size()));
  for (int q = 0; q < quads; ++q) {
    float corner[2][2];
    std::memcpy(corner[0], &vertices[std::size_t(q) * 64], 8);
    std::memcpy(corner[1], &vertices[std::size_t(q) * 64 + 32], 8);
    fill(sheet, static_cast<std::uint32_t>(corner[0][0]), static_cast<std::uint32_t>(corner[0][1]),
         static_cast<std::uint32_t>(corner[1][0]), static_cast<std::uint32_t>(corner[1][1]), kInk);
  }
}

// Source over the checkerboard, per pixel: a transparent picture shows the board.
void place(Image& sheet, const Image& thumb, std::uint32_t left, std::uint32_t top) {
  for (std::uint32_t y = 0; y < thumb.height; ++y)
    for (std::uint32_t x = 0; x < thumb.width; ++x) {
      const std::uint8_t* s = &thumb.pixels[(std::size_t{y} * thumb.width + x) * 4];
      const bool light = ((x / 8) + (y / 8)) % 2 == 0;
      const std::uint8_t* board = light ? kCheckLight : kCheckDark;
      std::uint8_t* d = &sheet.pixels[(std::size_t{top + y} * sheet.width + left + x) * 4];
      for (int c = 0; c < 3; ++c) d[c] = static_cast<std::uint8_t>((s[c] * s[3] + board[c] * (255 - s[3]) + 127) / 255);
      d[3] = 255;
    }
}

}  // namespace

std::string sheetLabel(const std::string& label, std::uint32_t width) {
  std::string text;
  for (unsigned char c : label) text += (c >= 32 && c < 127) ? static_cast<char>(c) : '?';
  if (textWidth(text) <= static_cast<int>(width)) return text;
  while (!text.empty() && textWidth(text + "...") > static_cast<int>(width)) text.pop_back();
  return text + "...";
}

Image makeThumbnail(const Image& picture) {
  const double scale = std::min({1.0, double(kSheetCell) / picture.width, double(kSheetCell) / picture.height});
  const auto w = static_cast<std::uint32_t>(std::max(1.0, std::round(picture.width * scale)));
  const auto h = static_cast<std::uint32_t>(std::max(1.0, std::round(picture.height * scale)));
  return resampleImage(picture, w, h, {});
}

Image makeContactSheet(const std::vector<SheetEntry>& entries, std::uint32_t columns) {
  const auto count = static_cast<std::uint32_t>(std::max<std::size_t>(entries.size(), 1));
  if (columns == 0) columns = static_cast<std::uint32_t>(std::ceil(std::sqrt(double(count))));
  columns = std::min(columns, count);
  const std::uint32_t rows = (count + columns - 1) / columns;
  const std::uint32_t pitchX = kSheetCell + kSheetGap, pitchY = kSheetCell + kSheetLabelRows + kSheetGap;
  Image sheet;
  sheet.width = kSheetGap + columns * pitchX;
  sheet.height = kSheetGap + rows * pitchY;
  sheet.pixels.resize(std::size_t{sheet.width} * sheet.height * 4);
  fill(sheet, 0, 0, sheet.width, sheet.height, kGround);
  for (std::uint32_t i = 0; i < entries.size(); ++i) {
    const std::uint32_t left = kSheetGap + (i % columns) * pitchX, top = kSheetGap + (i / columns) * pitchY;
    const Image& thumb = entries[i].thumbnail;
    // Anything but a whole thumbnail is left out rather than read past.
    if (thumb.width > kSheetCell || thumb.height > kSheetCell || thumb.pixels.size() < std::size_t{thumb.width} * thumb.height * 4)
      continue;
    place(sheet, thumb, left + (kSheetCell - thumb.width) / 2, top + (kSheetCell - thumb.height) / 2);
    const std::string label = sheetLabel(entries[i].label, kSheetCell);
    drawText(sheet, left + (kSheetCell - static_cast<std::uint32_t>(textWidth(label))) / 2, top + kSheetCell + 3, label);
  }
  return sheet;
}

}  // namespace vellmark
