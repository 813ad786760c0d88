// The program's one rule for the paths it hands the tools. The tools build output names by
// plain concatenation, as the game's front end expects; the program takes folders with or
// without a trailing separator, creates missing output folders, treats a bare file name as
// a file in the current folder, and checks afterwards that the outputs were really written.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vellmark::cli {

// An output that could not be written or an input a tool refused: exit status 1.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

bool isSeparator(char c);

// The folder `arg` names, made (with its parents) when missing and checked to accept new
// files; returned without trailing separators ("" for the root). Raises OutputError naming
// the folder and the reason.
std::string prepareOutputFolder(const std::string& arg);

// `folder` + the platform's separator, ready for the tools' concatenation.
std::string asPrefix(const std::string& folder);

// `path` with the platform's separators, "./name" for a bare file name: the tools find the
// name part after the last separator.
std::string toolPath(const std::string& path);

// The file name of `path` without its last extension ("dir/a.b.btc" gives "a.b").
std::string stemOf(const std::string& path);

// Identity of a file's current content on disk; nullopt when there is no file. The tools
// write through a temporary and a rename, so any new write changes it.
struct FileStamp {
  std::uint64_t node = 0;
  std::int64_t modified = 0;
  bool operator==(const FileStamp&) const = default;
};
std::optional<FileStamp> stampOf(const std::string& path);

// The stamps of the files directly in `folder`, and the names of those written since.
using FolderStamps = std::map<std::string, FileStamp>;
FolderStamps folderStamps(const std::string& folder);
std::vector<std::string> writtenSince(const std::string& folder, const FolderStamps& before);

// Raises OutputError "cannot write 'PATH': REASON" unless `path` was written since `before`.
void requireWritten(const std::string& path, const std::optional<FileStamp>& before);

// Why a file at `path` cannot be created: a missing folder, or the system's reason.
std::string whyNotWritable(const std::string& path);

}  // namespace vellmark::cli
