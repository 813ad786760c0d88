// A contact sheet: many pictures as labelled thumbnails on one picture, so that what an
// archive holds can be seen at a glance.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/tga.h"

namespace vellmark {

inline constexpr std::uint32_t kSheetCell = 160;      // a thumbnail's box, in pixels
inline constexpr std::uint32_t kSheetLabelRows = 14;  // the label's line under it
inline constexpr std::uint32_t kSheetGap = 8;

struct SheetEntry {
  std::string label;  // shown under the thumbnail: printable ASCII, others as '?', cut to fit
  Image thumbnail;    // at most kSheetCell on either side (see makeThumbnail)
};

// `picture` scaled to fit a kSheetCell box, its proportions kept, at least one pixel each way.
Image makeThumbnail(const Image& picture);

// The sheet: entries in rows of `columns` (a near-square grid when 0), each thumbnail centred
// in its box over a checkerboard that shows through transparency, its label under it, on a
// dark ground. An empty list gives a sheet of one empty box.
Image makeContactSheet(const std::vector<SheetEntry>& entries, std::uint32_t columns = 0);

// The label as it is drawn: bytes outside printable ASCII as '?', and "..." in place of
// whatever does not fit `width` pixels.
std::string sheetLabel(const std::string& label, std::uint32_t width);

}  // namespace vellmark
