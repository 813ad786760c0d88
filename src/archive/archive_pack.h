// Building a course archive from named files: each member compressed with zlib at the
// default level into the floor(n x 1.1 + 12) buffer, header and records exactly as the
// game's sky file builder writes them (reserved words 0, storage kind 2, names padded with
// zeros). Packing the members of an archive of ours, in its order, gives it back byte for
// byte.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "archive/course_archive.h"

namespace vellmark {

// The names an archive of ours may hold: at most 31 bytes, and one that unpacking would
// write (memberNameProblem). Error(Argument) otherwise.
void checkPackName(const std::string& name);

struct PackedMember {
  std::vector<std::uint8_t> compressed;
  std::uint32_t size = 0;  // the member's own size
};

// Compresses one member; independent of every other, so members may be compressed on
// several threads. Error(Unsupported) for data above the format's 32-bit sizes.
PackedMember packMember(const std::string& name, Bytes data);
// The same for a member of `size` bytes handed over in pieces (see compressMemberFrom).
PackedMember packMemberFrom(const std::string& name, std::uint64_t size,
                            const std::function<std::size_t(std::uint8_t*, std::size_t)>& read);

// The directory side of packing: names checked and kept unique, sizes within the format.
// The members' compressed bytes go wherever the caller writes them, one after another
// from offset 16, in the order they are added.
class ArchivePacker {
 public:
  // Records a member. Error(Argument) for a name checkPackName refuses or one already
  // added; Error(Unsupported) when the archive would no longer fit 32-bit offsets.
  void add(const std::string& name, const PackedMember& member);

  std::size_t memberCount() const { return names_.size(); }
  const CourseArchiveLayout& layout() const { return layout_; }

 private:
  CourseArchiveLayout layout_;
  std::vector<std::string> names_;
};

// The member names of an order file: one per line, in order; a '\r' before the line end is
// dropped and blank lines are skipped. A name listed twice is Error(Argument).
std::vector<std::string> parsePackOrder(std::string_view text);

}  // namespace vellmark
