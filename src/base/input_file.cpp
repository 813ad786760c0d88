#include "base/input_file.h"


#include <algorithm>
#include <cerrno>
#include <cstring>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "base/byte_reader.h"
#include "base/error.h"
#include "base/file_io.h"

namespace vellmark {

namespace {

#ifdef _WIN32
void closeFile(int fd) { _close(fd); }
// One read at a time through the shared position: readAt is not used from several threads.
long long readSome(int fd, std::uint64_t offset, std::uint8_t* into, std::size_t n) {
  if (_lseeki64(fd, static_cast<__int64>(offset), SEEK_SET) < 0) return -1;
  return _read(fd, into, static_cast<unsigned>(std::min<std::size_t>(n, 1u << 30)));
}
#else
void closeFile(int fd) { ::close(fd); }
long long readSome(int fd, std::uint64_t offset, std::uint8_t* into, std::size_t n) {
  return ::pread(fd, into, std::min<std::size_t>(n, std::size_t{1} << 30), static_cast<off_t>(offset));
}
#endif

}  // namespace

InputFile::InputFile(const std::string& path) : path_(path) {
  const OpenedInput opened = openInputFile(path);
  fd_ = opened.fd;
  size_ = opened.size;
}

InputFile::~InputFile() { closeFile(fd_); }

std::vector<std::uint8_t> InputFile::readAt(std::uint64_t offset, std::size_t n) const {
  if (!rangeFits(offset, n, size_))
    fail(ErrorKind::Truncated, "input file '" + path_ + "' has " + std::to_string(size_) + " bytes; " +
                                   std::to_string(n) + " at offset " + std::to_string(offset) + " lie outside it");
  std::vector<std::uint8_t> out(n);
  std::size_t got = 0;
  while (got < n) {
    const long long step = readSome(fd_, offset + got, out.data() + got, n - got);
    if (step < 0 && errno == EINTR) continue;
    if (step <= 0)
      fail(ErrorKind::Io, "cannot read input file '" + path_ + "': " +
                              (step < 0 ? std::string(std::strerror(errno))
                                        : "it ended at " + std::to_string(offset + got) + " of " +
                                              std::to_string(size_) + " bytes"));
    got += static_cast<std::size_t>(step);
  }
  return out;
}

}  // namespace vellmark
