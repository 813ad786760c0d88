#include "archive/course_archive.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/file_names.h"

namespace vellmark {

namespace {

// The 64-byte directory record as the tools write it (reserved words 0, name zero-padded).
std::vector<std::uint8_t> encodeArchiveRecord(const ArchiveRecord& record) {
  if (record.name.size() >= kArchiveNameFieldSize)
    fail(ErrorKind::Argument, "member name '" + record.name + "' is longer than " +
                                  std::to_string(kArchiveNameFieldSize - 1) + " bytes");
  std::vector<std::uint8_t> out(kArchiveRecordSize, 0);
  std::memcpy(&out[4], record.name.data(), record.name.size());
  storeU32(&out[36], record.dataOffset);
  storeU32(&out[40], record.compressedSize);
  storeU32(&out[44], record.uncompressedSize);
  storeU32(&out[48], record.storageKind);
  return out;
}

}  // namespace

ArchiveHeader readArchiveHeader(Bytes archive) {
  ByteReader reader(archive, "course archive header");
  ArchiveHeader header;
  header.magic = reader.u32();
  header.totalSize = reader.u32();
  header.recordCount = reader.u32();
  header.directoryOffset = reader.u32();
  return header;
}

std::uint64_t describedArchiveSize(const ArchiveHeader& header) {
  if (static_cast<std::int32_t>(header.recordCount) < 0)
    fail(ErrorKind::Corrupt, "course archive record count " + std::to_string(static_cast<std::int32_t>(header.recordCount)) +
                                 " is negative");
  return std::uint64_t{header.directoryOffset} + std::uint64_t{header.recordCount} * kArchiveRecordSize;
}

ByteRange archiveDirectoryRange(const ArchiveHeader& header, std::uint64_t archiveSize) {
  const std::uint64_t end = describedArchiveSize(header);
  if (header.directoryOffset < kArchiveHeaderSize || end > archiveSize)
    fail(ErrorKind::Corrupt, "course archive directory of " + std::to_string(header.recordCount) +
                                 " records at offset " + std::to_string(header.directoryOffset) +
                                 " does not lie inside the " + std::to_string(archiveSize) + "-byte archive");
  return {header.directoryOffset, end - header.directoryOffset};
}

ArchiveDirectory readArchiveDirectory(const ArchiveHeader& header, Bytes directoryBytes, std::uint64_t archiveSize) {
  if (directoryBytes.size() != archiveDirectoryRange(header, archiveSize).size)
    fail(ErrorKind::Argument, "course archive directory of " + std::to_string(header.recordCount) + " records given " +
                                  std::to_string(directoryBytes.size()) + " bytes");
  ArchiveDirectory directory;
  directory.header = header;
  directory.records.reserve(header.recordCount);
  for (std::uint32_t i = 0; i < header.recordCount; ++i) {
    ByteReader reader(directoryBytes.subspan(std::size_t{i} * kArchiveRecordSize, kArchiveRecordSize),
                      "course archive record");
    reader.skip(4);
    Bytes nameField = reader.take(kArchiveNameFieldSize);
    ArchiveRecord record;
    auto terminator = std::find(nameField.begin(), nameField.end(), std::uint8_t{0});
    record.name.assign(nameField.begin(), terminator);
    record.dataOffset = reader.u32();
    record.compressedSize = reader.u32();
    record.uncompressedSize = reader.u32();
    record.storageKind = reader.u32();
    if (!rangeFits(record.dataOffset, record.compressedSize, archiveSize))
      fail(ErrorKind::Corrupt, "course archive record " + std::to_string(i) + " ('" + printableName(record.name) + "') points at " +
                                   std::to_string(record.compressedSize) + " bytes at offset " +
                                   std::to_string(record.dataOffset) + ", outside the " +
                                   std::to_string(archiveSize) + "-byte archive");
    directory.records.push_back(std::move(record));
  }
  return directory;
}

ArchiveDirectory readArchiveDirectory(Bytes archive) {
  const ArchiveHeader header = readArchiveHeader(archive);
  const ByteRange range = archiveDirectoryRange(header, archive.size());
  return readArchiveDirectory(header, archive.subspan(range.offset, range.size), archive.size());
}

Bytes memberData(Bytes archive, const ArchiveRecord& record) {
  if (!rangeFits(record.dataOffset, record.compressedSize, archive.size()))
    fail(ErrorKind::Corrupt, "course archive member '" + printableName(record.name) + "' lies outside the archive");
  return archive.subspan(record.dataOffset, record.compressedSize);
}

CourseArchiveLayout::CourseArchiveLayout() {
  header_.totalSize = kArchiveHeaderSize;
  header_.directoryOffset = kArchiveHeaderSize;
}

std::array<std::uint8_t, kArchiveHeaderSize> CourseArchiveLayout::headerBytes() const {
  std::array<std::uint8_t, kArchiveHeaderSize> bytes{};
  storeU32(&bytes[0], header_.magic);
  storeU32(&bytes[4], header_.totalSize);
  storeU32(&bytes[8], header_.recordCount);
  storeU32(&bytes[12], header_.directoryOffset);
  return bytes;
}

void CourseArchiveLayout::addMember(const std::string& name, std::uint32_t compressedSize,
                                    std::uint32_t uncompressedSize) {
  constexpr std::uint64_t kLimit = std::numeric_limits<std::uint32_t>::max();
  if (std::uint64_t{header_.totalSize} + compressedSize + kArchiveRecordSize > kLimit)
    fail(ErrorKind::Unsupported, "adding member '" + name + "' makes the archive larger than 4 GiB");
  ArchiveRecord record;
  record.name = name;
  record.dataOffset = header_.directoryOffset;
  record.compressedSize = compressedSize;
  record.uncompressedSize = uncompressedSize;
  auto encoded = encodeArchiveRecord(record);
  directory_.insert(directory_.end(), encoded.begin(), encoded.end());
  header_.recordCount += 1;
  header_.directoryOffset += compressedSize;
  header_.totalSize += compressedSize + static_cast<std::uint32_t>(kArchiveRecordSize);
}

CourseArchiveWriter::CourseArchiveWriter() {
  const auto header = layout_.headerBytes();
  bytes_.assign(header.begin(), header.end());
}

void CourseArchiveWriter::addMember(const std::string& name, Bytes compressed, std::uint32_t uncompressedSize) {
  layout_.addMember(name, static_cast<std::uint32_t>(compressed.size()), uncompressedSize);
  bytes_.insert(bytes_.end(), compressed.begin(), compressed.end());
}

std::vector<std::uint8_t> CourseArchiveWriter::finish() && {
  const auto header = layout_.headerBytes();
  std::copy(header.begin(), header.end(), bytes_.begin());
  const auto& directory = layout_.directoryBytes();
  bytes_.insert(bytes_.end(), directory.begin(), directory.end());
  return std::move(bytes_);
}

}  // namespace vellmark
