#include "base/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

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

OpenedInput openInputFile(const std::string& path, Links links) {
#ifdef _WIN32
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (links == Links::Refuse && attributes != INVALID_FILE_ATTRIBUTES &&
      (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
    failInput(path, "a link, not a file");
  const int fd = _open(path.c_str(), _O_RDONLY | _O_BINARY);
  if (fd < 0) failInput(path, std::strerror(errno));
  struct _stat64 st;
  const bool regular = _fstat64(fd, &st) == 0 && (st.st_mode & _S_IFMT) == _S_IFREG;
  const bool folder = !regular && (st.st_mode & _S_IFMT) == _S_IFDIR;
  if (!regular) _close(fd);
#else
  // Not blocking: an ordinary open of a FIFO waits until someone writes to it.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | (links == Links::Refuse ? O_NOFOLLOW : 0));
  if (fd < 0) failInput(path, errno == ELOOP && links == Links::Refuse ? "a symbolic link, not a file" : std::strerror(errno));
  struct stat st;
  const bool regular = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
  const bool folder = !regular && S_ISDIR(st.st_mode);
  if (!regular) ::close(fd);
#endif
  if (!regular) failInput(path, folder ? "a folder, not a file" : "not a regular file");
  return {fd, static_cast<std::uint64_t>(st.st_size)};
}

std::vector<std::uint8_t> readWholeFile(const std::string& path, Links links) {
  const OpenedInput opened = openInputFile(path, links);
  const std::uint64_t size = opened.size;
#ifdef _WIN32
  FilePtr file(_fdopen(opened.fd, "rb"));
  if (!file) _close(opened.fd);
#else
  FilePtr file(::fdopen(opened.fd, "rb"));
  if (!file) ::close(opened.fd);
#endif
  if (!file) failInput(path, std::strerror(errno));
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

namespace {

// Creates the temporary exclusively: an existing file or link of that name, planted by
// someone else, is never opened or followed.
std::FILE* createNew(const std::string& path) {
#ifdef _WIN32
  const int fd = _open(path.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
  if (fd < 0) return nullptr;
  std::FILE* file = _fdopen(fd, "wb");
  if (!file) _close(fd);
#else
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  std::FILE* file = ::fdopen(fd, "wb");
  if (!file) ::close(fd);
#endif
  return file;
}

bool seekTo(std::FILE* file, std::uint64_t offset) {
#ifdef _WIN32
  return _fseeki64(file, static_cast<__int64>(offset), SEEK_SET) == 0;
#else
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path), temporary_(temporaryName(path)) {
  file_ = createNew(temporary_);
  if (!file_) fail(ErrorKind::Io, "cannot write '" + path + "': " + std::strerror(errno));
}

OutputFile::~OutputFile() {
  if (!file_) return;
  std::fclose(file_);
  std::remove(temporary_.c_str());
}

bool OutputFile::write(std::span<const std::uint8_t> data) {
  if (ok_ && !data.empty()) ok_ = std::fwrite(data.data(), 1, data.size(), file_) == data.size();
  return ok_;
}

bool OutputFile::writeAt(std::uint64_t offset, std::span<const std::uint8_t> data) {
  if (!ok_) return false;
  std::fflush(file_);
  ok_ = seekTo(file_, offset) && write(data) && std::fseek(file_, 0, SEEK_END) == 0;
  return ok_;
}

bool OutputFile::commit() {
  if (!file_) return false;
  bool ok = std::fclose(std::exchange(file_, nullptr)) == 0 && ok_;
  if (ok) ok = replaceFile(temporary_, path_);
  if (!ok) std::remove(temporary_.c_str());
  return ok;
}

bool writeWholeFile(const std::string& path, std::initializer_list<std::span<const std::uint8_t>> pieces) {
  try {
    OutputFile file(path);
    for (auto piece : pieces) file.write(piece);
    return file.commit();
  } catch (const Error&) {
    return false;
  }
}

bool writeWholeFile(const std::string& path, std::span<const std::uint8_t> data) {
  return writeWholeFile(path, {data});
}

bool writeTextFile(const std::string& path, const std::string& text) {
  return writeWholeFile(path, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

}  // namespace vellmark
