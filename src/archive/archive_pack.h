// Building a course archive from named files, in memory: each member compressed with zlib
// at the default level into the floor(n x 1.1 + 12) buffer, header and records exactly as
// the game's sky file builder writes them (reserved words 0, storage kind 2, names padded
// with zeros). Packing the members of an archive of ours, in its order, gives it back byte
// for byte.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "archive/course_archive.h"

namespace vellmark {

class ArchivePacker {
 public:
  // Appends a member. Error(Argument) for a name of more than 31 bytes, one that unpacking
  // would refuse (memberNameProblem), or one already added; Error(Unsupported) when the
  // archive would no longer fit the format's 32-bit sizes and offsets.
  void add(const std::string& name, Bytes data);

  // The name checks of add() alone, for callers that read a member's file only once its
  // name is known to be good.
  static void checkName(const std::string& name);

  std::size_t memberCount() const { return names_.size(); }
  std::vector<std::uint8_t> finish() &&;

 private:
  CourseArchiveWriter writer_;
  std::vector<std::string> names_;
};

// The member names of an order file: one per line, in order; a '\r' before the line end is
// dropped and blank lines are skipped. A name listed twice is Error(Argument).
std::vector<std::string> parsePackOrder(std::string_view text);

}  // namespace vellmark
