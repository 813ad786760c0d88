#include "tools/archive_file.h"

#include <algorithm>

namespace vellmark {

namespace {

// Enough of a member to settle its kind in nearly every case; the rest is read only when
// a stream needs more (long runs of empty blocks).
constexpr std::size_t kProbePiece = 4096;

}  // namespace

ArchiveDirectory readCourseArchiveDirectory(const InputFile& archive) {
  const auto start = archive.readAt(0, static_cast<std::size_t>(std::min<std::uint64_t>(archive.size(), kArchiveHeaderSize)));
  const ArchiveHeader header = openCourseArchiveHeader(start);
  const ByteRange range = archiveDirectoryRange(header, archive.size());
  return readArchiveDirectory(header, archive.readAt(range.offset, static_cast<std::size_t>(range.size)), archive.size());
}

std::vector<std::uint8_t> readMemberData(const InputFile& archive, const ArchiveRecord& record) {
  return archive.readAt(record.dataOffset, record.compressedSize);
}

std::vector<MemberListing> listArchiveFile(const InputFile& archive) {
  return listArchiveMembers(readCourseArchiveDirectory(archive), [&](const ArchiveRecord& record, MemberKindProbe& probe) {
    for (std::uint32_t done = 0; done < record.compressedSize;) {
      const auto piece = std::min<std::uint32_t>(kProbePiece, record.compressedSize - done);
      if (probe.feed(archive.readAt(std::uint64_t{record.dataOffset} + done, piece))) break;
      done += piece;
    }
  });
}

}  // namespace vellmark
