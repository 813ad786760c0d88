#include "base/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#ifdef _WIN32
#include <io.h>
#include <process.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

#include "base/error.h"

namespace vellmark {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void failInput(const std::string& path, const std::string& reason) {
  fail(ErrorKind::Io, "cannot open input file '" + path + "': " + reason);
}

// Opens an input that must be a regular file. The open does not wait: a FIFO would block an
// ordinary open until someone writes to it.
FilePtr openRegularFile(const std::string& path, std::uint64_t& size) {
#ifdef _WIN32
  const int fd = _open(path.c_str(), _O_RDONLY | _O_BINARY);
  if (fd < 0) failInput(path, std::strerror(errno));
  struct _stat64 st;
  if (_fstat64(fd, &st) != 0 || (st.st_mode & _S_IFMT) != _S_IFREG) {
    _close(fd);
    failInput(path, "not a regular file");
  }
  FilePtr file(_fdopen(fd, "rb"));
#else
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) failInput(path, std::strerror(errno));
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    failInput(path, S_ISDIR(st.st_mode) ? "a folder, not a file" : "not a regular file");
  }
  FilePtr file(::fdopen(fd, "rb"));
#endif
  if (!file) failInput(path, std::strerror(errno));
  size = static_cast<std::uint64_t>(st.st_size);
  return file;
}

// A name beside `path` that no other writer of this process or another one picks.
std::string temporaryName(const std::string& path) {
  static std::atomic<unsigned> counter{0};
#ifdef _WIN32
  const unsigned long pid = static_cast<unsigned long>(_getpid());
#else
  const unsigned long pid = static_cast<unsigned long>(::getpid());
#endif
  return path + ".part-" + std::to_string(pid) + "-" + std::to_string(counter++);
}

bool replaceFile(const std::string& from, const std::string& to) {
#ifdef _WIN32
  return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
#else
  return std::rename(from.c_str(), to.c_str()) == 0;
#endif
}

}  // namespace

std::vector<std::uint8_t> readWholeFile(const std::string& path) {
  std::uint64_t size = 0;
  FilePtr file = openRegularFile(path, size);
  if (size > kMaxInputFileBytes)
    fail(ErrorKind::Unsupported, "input file '" + path + "' has " + std::to_string(size) +
                                     " bytes; files above 2 GiB are not read");
  std::vector<std::uint8_t> data(static_cast<std::size_t>(size));
  const std::size_t got = data.empty() ? 0 : std::fread(data.data(), 1, data.size(), file.get());
  if (got != data.size() || std::ferror(file.get()))
    fail(ErrorKind::Io, "cannot read input file '" + path + "': it ended after " + std::to_string(got) + " of " +
                            std::to_string(size) + " bytes");
  return data;
}

bool writeWholeFile(const std::string& path, std::initializer_list<std::span<const std::uint8_t>> pieces) {
  // Written under a temporary name and renamed over `path` only when complete, so that a full
  // disk or an interrupted run never leaves a cut-short file under the final name. The rename
  // also replaces a link at `path` instead of writing through it.
  const std::string temporary = temporaryName(path);
  FilePtr file(std::fopen(temporary.c_str(), "wb"));
  if (!file) return false;
  bool ok = true;
  for (auto piece : pieces)
    if (!piece.empty() && std::fwrite(piece.data(), 1, piece.size(), file.get()) != piece.size()) ok = false;
  ok = std::fclose(file.release()) == 0 && ok;
  if (ok) ok = replaceFile(temporary, path);
  if (!ok) std::remove(temporary.c_str());
  return ok;
}

bool writeWholeFile(const std::string& path, std::span<const std::uint8_t> data) {
  return writeWholeFile(path, {data});
}

bool writeTextFile(const std::string& path, const std::string& text) {
  return writeWholeFile(path, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

}  // namespace vellmark
