// The course archive ("ARC0"): a 16-byte header, the members' zlib streams one after
// another from offset 16, and a directory of 64-byte records at the end. All integers are
// unsigned 32-bit little-endian and every offset counts from the start of the archive.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint32_t kArchiveMagic = 0x30435241;  // "ARC0"
inline constexpr std::size_t kArchiveHeaderSize = 16;
inline constexpr std::size_t kArchiveRecordSize = 64;
inline constexpr std::size_t kArchiveNameFieldSize = 32;
inline constexpr std::uint32_t kStorageZlib = 2;

struct ArchiveHeader {
  std::uint32_t magic = kArchiveMagic;
  std::uint32_t totalSize = 0;
  std::uint32_t recordCount = 0;
  std::uint32_t directoryOffset = 0;
};

struct ArchiveRecord {
  std::string name;  // up to the NUL terminator within the 32-byte field
  std::uint32_t dataOffset = 0;
  std::uint32_t compressedSize = 0;
  std::uint32_t uncompressedSize = 0;
  std::uint32_t storageKind = kStorageZlib;
};

struct ArchiveDirectory {
  ArchiveHeader header;
  std::vector<ArchiveRecord> records;
};

// Reads the header; Error(Truncated) when `archive` is shorter than 16 bytes.
ArchiveHeader readArchiveHeader(Bytes archive);

// Reads the header and every directory record. The magic, totalSize, reserved words and
// storage kind are taken as they stand (the game does not check them either), but a
// negative record count, a directory that does not lie inside `archive`, or a record whose
// member data lies outside it raises Error(Corrupt), so no caller can read outside.
ArchiveDirectory readArchiveDirectory(Bytes archive);

// The same for an archive that is not in memory: `archiveSize` is its length, and
// `directory` the bytes archiveDirectoryRange(header, archiveSize) locates. The records are
// checked against `archiveSize`, so the same archive gives the same records and errors.
struct ByteRange {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};
ByteRange archiveDirectoryRange(const ArchiveHeader& header, std::uint64_t archiveSize);
ArchiveDirectory readArchiveDirectory(const ArchiveHeader& header, Bytes directory, std::uint64_t archiveSize);

// The compressed bytes of one member; the record must have come from readArchiveDirectory
// of the same archive (checked again here).
Bytes memberData(Bytes archive, const ArchiveRecord& record);

// The size of an archive as its own header describes it (directoryOffset + 64 x count),
// for callers that get a pointer and no length. Raises Error(Corrupt) when that overflows.
std::uint64_t describedArchiveSize(const ArchiveHeader& header);

// The header and directory of an archive whose members are laid one after another from
// offset 16, for writers that put the members' bytes somewhere else (a file, as they come).
class CourseArchiveLayout {
 public:
  CourseArchiveLayout();

  // Records the next member. `name` must fit the 32-byte field with its terminator
  // (Error(Argument) otherwise); a member that would take the archive past the format's
  // 32-bit sizes and offsets is Error(Unsupported).
  void addMember(const std::string& name, std::uint32_t compressedSize, std::uint32_t uncompressedSize);

  // The running totals, as the game's sky file builder leaves them after every member.
  const ArchiveHeader& header() const { return header_; }
  std::array<std::uint8_t, kArchiveHeaderSize> headerBytes() const;
  const std::vector<std::uint8_t>& directoryBytes() const { return directory_; }

 private:
  ArchiveHeader header_;
  std::vector<std::uint8_t> directory_;
};

// Builds an archive in memory. After every member the header holds the running totals
// (the game's sky file builder rewrites it that way); finish() appends the directory.
class CourseArchiveWriter {
 public:
  CourseArchiveWriter();

  // Appends a member's zlib stream and its directory record (see CourseArchiveLayout).
  void addMember(const std::string& name, Bytes compressed, std::uint32_t uncompressedSize);

  const ArchiveHeader& header() const { return layout_.header(); }
  // The finished archive: header, members, directory.
  std::vector<std::uint8_t> finish() &&;

 private:
  CourseArchiveLayout layout_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace vellmark
