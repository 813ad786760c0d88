// Course archives read from disk by their directory, a piece at a time: the header, the
// directory and each member's bytes when they are wanted, never the whole archive.
#pragma once

#include <vector>

#include "archive/archive_members.h"
#include "base/input_file.h"

namespace vellmark {

// The directory, from the header and the directory's own bytes. Errors: those of
// openCourseArchive, and InputFile's when the file cannot be read.
ArchiveDirectory readCourseArchiveDirectory(const InputFile& archive);

// What listArchive gives for the same archive in memory, reading only as much of each
// member as its kind takes.
std::vector<MemberListing> listArchiveFile(const InputFile& archive);

// The compressed bytes of a member of `directory`, read from `archive`.
std::vector<std::uint8_t> readMemberData(const InputFile& archive, const ArchiveRecord& record);

}  // namespace vellmark
