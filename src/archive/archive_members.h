// Course archives read by their own directory: the listing of every record and the
// in-memory half of unpacking (which names may become files, and each member inflated to
// exactly its recorded size). Nothing here touches a file, so everything an unpack would
// do can be tested and fuzzed on an archive in memory; archive_folder.h does the writing.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/member_kind.h"
#include "base/byte_reader.h"
#include "base/file_names.h"
#include "archive/course_archive.h"
#include "archive/zlib_member.h"

namespace vellmark {

// The directory of a course archive of our own tools' making. Unlike the game's reader this
// insists on the "ARC0" magic, so that a file of another kind is named as such instead of
// being read as a directory by chance. Errors: Truncated (shorter than the header),
// Corrupt (another magic, or any record or the directory outside `archive`).
ArchiveDirectory openCourseArchive(Bytes archive);

// One line of a listing: the record as stored and the kind its inflated bytes would be
// given by the extraction tool's tests (judged from the first bytes of the stream only, so
// listing never inflates a whole member; a stream whose first bytes do not inflate is
// Unknown).
struct MemberListing {
  std::size_t index = 0;
  ArchiveRecord record;
  MemberKind kind = MemberKind::Unknown;
};

std::vector<MemberListing> listArchive(Bytes archive, const ArchiveDirectory& directory);

// The header of a course archive from its first bytes, checked as openCourseArchive checks
// it (Truncated under 16 bytes, Corrupt for another magic): for archives read piece by piece.
ArchiveHeader openCourseArchiveHeader(Bytes start);

// A member's kind as listArchive judges it, from its compressed stream fed a piece at a
// time, so that a listing needs only the first bytes of each member.
class MemberKindProbe {
 public:
  MemberKindProbe();
  ~MemberKindProbe();
  MemberKindProbe(const MemberKindProbe&) = delete;
  MemberKindProbe& operator=(const MemberKindProbe&) = delete;

  // Takes the next bytes of the stream; true once the kind is settled (enough inflated, or
  // the stream ended or failed) and no more are wanted.
  bool feed(Bytes more);
  MemberKind kind() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The listing of `directory`, each member's kind judged from what `feed` gives its probe
// (the whole stream in memory, or pieces read from a file until the probe has enough).
using MemberFeeder = std::function<void(const ArchiveRecord&, MemberKindProbe&)>;
std::vector<MemberListing> listArchiveMembers(const ArchiveDirectory& directory, const MemberFeeder& feed);

// Longest member name a course archive is packed with (the 32-byte field keeps its NUL).
// Unpacking takes no longer names either, so that whatever it writes packs again.
inline constexpr std::size_t kMaxMemberNameBytes = kArchiveNameFieldSize - 1;

// Why a member name cannot be a file name inside the output folder (fileNameProblem with the
// archive's length), or nullopt when it can.
inline std::optional<std::string> memberNameProblem(std::string_view name) {
  return fileNameProblem(name, kMaxMemberNameBytes);
}

// zlib cannot expand data by more than 1032:1; a record claiming more is refused before
// anything is allocated for it.
inline constexpr std::uint64_t kMaxDeflateRatio = 1032;

// What unpacking does with one member, decided in memory.
struct UnpackedMember {
  enum class Status { Ready, Refused, Failed };

  std::size_t index = 0;
  std::string name;
  Status status = Status::Failed;
  std::string problem;             // why it was refused or failed (empty when Ready)
  HeapBytes data;                  // the inflated member, exactly its recorded size
  MemberKind kind = MemberKind::Unknown;

  // With conversion: the extra files, named after the member (NAME.tga for a BTC texture,
  // NAME.txt with the coordinates of a vertex list). A derived name that is itself the name
  // of a member is not used, and conversionProblem says so.
  std::optional<std::string> btcTgaName;
  std::optional<std::string> pngName;  // with pictures as PNG: NAME.png for BTC and TGA members
  std::optional<std::string> vertexTextName;
  std::string vertexText;
  std::string conversionProblem;
};

// Plans an unpack: reads the directory (as openCourseArchive, so the same errors), checks
// every name, refuses a name an earlier record has in any case, and inflates members one
// at a time on request. The archive bytes must outlive the unpacker. Built from a directory
// alone, it is handed each member's compressed bytes instead, so that an archive on disk
// is read one member at a time.
class ArchiveUnpacker {
 public:
  // With `picturesAsPng` (and `convert`), BTC and TGA members get pngName instead of btcTgaName.
  ArchiveUnpacker(Bytes archive, bool convert, bool picturesAsPng = false);
  ArchiveUnpacker(ArchiveDirectory directory, bool convert, bool picturesAsPng = false);

  const ArchiveDirectory& directory() const { return directory_; }
  std::size_t memberCount() const { return directory_.records.size(); }

  // Member `index` (< memberCount()): refused for its name, failed when its stream does not
  // inflate to exactly the recorded size, otherwise ready with its bytes (and conversions).
  // Only with the archive in memory.
  UnpackedMember member(std::size_t index) const;
  // `compressed` holds the record's compressedSize bytes from its dataOffset. A member is
  // inflated into memory that grows with its real output, up to its recorded size.
  UnpackedMember member(std::size_t index, Bytes compressed) const;

 private:
  Bytes archive_;
  bool convert_;
  bool picturesAsPng_;
  ArchiveDirectory directory_;
  std::vector<std::string> refusals_;  // per record; empty when the name is usable
  FileNameSet usableNames_;
};

}  // namespace vellmark
