// Whole-file reads and writes: the only place where the core touches files. Parsers and
// encoders work on spans; tools read their inputs whole, call them, and write results.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace vellmark {

// The largest file read into memory whole.
inline constexpr std::uint64_t kMaxInputFileBytes = std::uint64_t{2} << 30;

enum class Links { Follow, Refuse };

// Opens an input for reading. A file that cannot be opened, and anything but a regular file (a
// folder, a FIFO, a device), raise Error(Io) naming the path and the reason; the open never
// waits for a FIFO's writer. With Links::Refuse, a symbolic link at `path` is refused too
// rather than followed: for inputs picked from a folder's listing, where a link could point
// anywhere. The caller owns the descriptor; `size` is the file's size when it was opened.
struct OpenedInput {
  int fd = -1;
  std::uint64_t size = 0;
};
OpenedInput openInputFile(const std::string& path, Links links = Links::Follow);

// Reads a regular file whole, opened as openInputFile() opens it. A read that fails raises
// Error(Io); a file above kMaxInputFileBytes raises Error(Unsupported).
std::vector<std::uint8_t> readWholeFile(const std::string& path, Links links = Links::Follow);

// A file written piece by piece under a temporary name beside `path` and renamed over `path`
// by commit() once complete, so that `path` holds either its old content or all of the new,
// never part of it (a temporary may stay behind when the process is killed). Dropped without
// commit(), the temporary is removed. The temporary is created new, never through an
// existing file or link, and the rename replaces a link at `path` rather than writing
// through it.
class OutputFile {
 public:
  // Error(Io) naming `path` when the temporary cannot be created.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Appends; false once any write has failed (a full disk), after which nothing more is written.
  bool write(std::span<const std::uint8_t> data);
  // Overwrites bytes already written (a header whose totals are known at the end).
  bool writeAt(std::uint64_t offset, std::span<const std::uint8_t> data);
  // Flushes, closes and renames over the final name; false (and the temporary removed) when
  // any step or an earlier write failed.
  bool commit();
  const std::string& path() const { return path_; }

 private:
  std::string path_, temporary_;
  std::FILE* file_ = nullptr;
  bool ok_ = true;
};

// Writes `data` as the whole new content of `path`: into a temporary file beside it, renamed
// over `path` once complete, so that `path` holds either its old content or all of the new,
// never part of it (a temporary may stay behind when the process is killed). Returns false
// when the file cannot be written; the tools pass over that silently, as they are meant to.
bool writeWholeFile(const std::string& path, std::span<const std::uint8_t> data);

// Writes several pieces one after another into one new file (header, then pixels, ...).
bool writeWholeFile(const std::string& path, std::initializer_list<std::span<const std::uint8_t>> pieces);

// Writes text (no newline translation) into a new file.
bool writeTextFile(const std::string& path, const std::string& text);

}  // namespace vellmark
