// Whole-file reads and writes: the only place where the core touches files. Parsers and
// encoders work on spans; tools read their inputs whole, call them, and write results.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vellmark {

// The largest file read into memory whole.
inline constexpr std::uint64_t kMaxInputFileBytes = std::uint64_t{2} << 30;

// Reads a regular file whole. A file that cannot be opened or read, and anything but a regular
// file (a folder, a FIFO, a device), raise Error(Io) naming the path and the reason; a file
// above kMaxInputFileBytes raises Error(Unsupported).
std::vector<std::uint8_t> readWholeFile(const std::string& path);

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
