// The file-system half of the archive utilities: unpacking a course archive into a folder
// by its directory, and packing a folder's files into a course archive. The decisions are
// made in memory (archive_members.h, archive_pack.h); these functions only read and write.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/host.h"
#include "base/input_file.h"
#include "base/byte_reader.h"

namespace vellmark {

struct UnpackReport {
  std::size_t written = 0;    // members written under their names
  std::size_t converted = 0;  // extra files made by conversion (NAME.tga, NAME.txt)
  std::size_t refused = 0;    // members whose names cannot be file names
  std::size_t failed = 0;     // members that did not inflate to their size or could not be written
  std::vector<std::string> problems;  // one line per refused or failed member or conversion
};

// Writes every member of `archive` into `folder` (created when missing) under its name,
// inflated to exactly its recorded size; with `convert`, BTC textures also as NAME.tga and
// vertex lists' coordinates as NAME.txt; with `picturesAsPng` too, BTC and TGA members as
// NAME.png instead (a picture that cannot be decoded is reported, no box). A bad member is
// reported and the others are still written. Nothing is written outside `folder`: names are checked, and an existing
// symbolic link in the folder is never written through. Errors: those of
// openCourseArchive for an archive whose directory cannot be read (nothing is written
// then), Error(Io) when the folder cannot be made.
UnpackReport unpackArchive(Host& host, Bytes archive, const std::string& folder, bool convert,
                           bool picturesAsPng = false);
// Called after each member of an unpack or a pack, with the count so far, the total and the name.
using MemberProgress = std::function<void(std::size_t done, std::size_t total, const std::string& name)>;

// The same for an archive on disk, read one member at a time: memory holds about one member
// (compressed and inflated), whatever the archive's size.
UnpackReport unpackArchive(Host& host, const InputFile& archive, const std::string& folder, bool convert,
                           bool picturesAsPng = false, const MemberProgress& onMember = {});

struct PackReport {
  std::size_t members = 0;
  std::vector<std::string> skipped;  // entries of the folder that are not regular files (links included)
};

struct PackOptions {
  std::optional<std::string> orderFile;
  unsigned threads = 1;  // members compressed at once; the archive's bytes do not depend on it
  MemberProgress onMember;
};

// Packs the regular files of `folder` (not its subfolders, nor symbolic links) into a course
// archive written to `archivePath`: in the order of the names in the order file (one per
// line; other files are left out), or sorted by name (byte order) without one. The archive
// itself is left out when it lies in the folder. Members are read and compressed a few at a
// time and written as they are done, so memory stays near a few members whatever the
// archive's size; the archive appears under its name only when complete. Errors:
// Error(Argument) for names an archive cannot hold, Error(Io) for files that cannot be read
// (a link or anything but a regular file named by the order file included) or written.
PackReport packFolder(const std::string& folder, const std::string& archivePath, const PackOptions& options);

}  // namespace vellmark
