#include "base/file_io.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/error.h"

namespace vellmark {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace

std::vector<std::uint8_t> readWholeFile(const std::string& path) {
  FilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) fail(ErrorKind::Io, "cannot open input file '" + path + "': " + std::strerror(errno));
  std::vector<std::uint8_t> data;
  if (std::fseek(file.get(), 0, SEEK_END) == 0) {
    long size = std::ftell(file.get());
    if (size > 0) data.resize(static_cast<std::size_t>(size));
    std::rewind(file.get());
  }
  std::size_t got = data.empty() ? 0 : std::fread(data.data(), 1, data.size(), file.get());
  data.resize(got);
  // Pipes and special files report no size: read them in chunks.
  std::uint8_t chunk[1 << 14];
  while ((got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0) data.insert(data.end(), chunk, chunk + got);
  if (std::ferror(file.get())) fail(ErrorKind::Io, "cannot read input file '" + path + "'");
  return data;
}

bool writeWholeFile(const std::string& path, std::initializer_list<std::span<const std::uint8_t>> pieces) {
  FilePtr file(std::fopen(path.c_str(), "wb"));
  if (!file) return false;
  for (auto piece : pieces) {
    if (!piece.empty() && std::fwrite(piece.data(), 1, piece.size(), file.get()) != piece.size()) return false;
  }
  return std::fclose(file.release()) == 0;
}

bool writeWholeFile(const std::string& path, std::span<const std::uint8_t> data) {
  return writeWholeFile(path, {data});
}

bool writeTextFile(const std::string& path, const std::string& text) {
  return writeWholeFile(path, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

}  // namespace vellmark
