// `contact-sheet`: every picture member of a course archive or sky file as a labelled
// thumbnail on one PNG.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vellmark {

struct ContactSheetReport {
  std::size_t pictures = 0;           // members drawn
  std::vector<std::string> skipped;   // one line per member that is a picture but could not be drawn
  std::size_t otherMembers = 0;       // sounds, vertex lists and other members that are no pictures
};

// Reads the archive at `archivePath` by its directory and writes the sheet to `pngPath`:
// TGA, JPEG and BTC members and tiled panoramas, labelled with their names, in directory
// order. Thumbnails are made on up to `threads` threads. Errors: those of reading the
// archive's directory, Error(Io) when the PNG cannot be written.
ContactSheetReport writeContactSheet(const std::string& archivePath, const std::string& pngPath, unsigned threads);

}  // namespace vellmark
