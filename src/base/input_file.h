// An input file read piece by piece at given offsets: for archives whose directory says
// where everything lies, so that only the parts asked for are ever in memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vellmark {

class InputFile {
 public:
  // Opens a regular file for reading, with openInputFile()'s checks and errors.
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const std::string& path() const { return path_; }
  // The size when the file was opened.
  std::uint64_t size() const { return size_; }

  // The `n` bytes at `offset`. Error(Truncated) when they do not lie inside size(),
  // Error(Io) naming the path when they cannot be read (the file shrank, a read failed).
  std::vector<std::uint8_t> readAt(std::uint64_t offset, std::size_t n) const;

 private:
  std::string path_;
  std::uint64_t size_ = 0;
  int fd_ = -1;
};

}  // namespace vellmark
