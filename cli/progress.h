// The progress line of long runs: one line on a terminal's standard error, rewritten in
// place and cleared before anything else is printed; nothing when standard error is not a
// terminal or under --quiet.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#define VELLMARK_ISATTY(f) _isatty(_fileno(f))
#else
#include <unistd.h>
#define VELLMARK_ISATTY(f) isatty(fileno(f))
#endif

namespace vellmark::cli {

class Progress {
 public:
  Progress(bool wanted, std::size_t total) : shown_(wanted && VELLMARK_ISATTY(stderr)), total_(total) {}
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void setTotal(std::size_t total) { total_ = total; }
  void show(std::size_t done, const std::string& name) {
    if (!shown_) return;
    std::fprintf(stderr, "\r\033[K[%zu/%zu] %s", done, total_, name.c_str());
    std::fflush(stderr);
    drawn_ = true;
  }
  void clear() {
    if (!drawn_) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    drawn_ = false;
  }

 private:
  bool shown_;
  bool drawn_ = false;
  std::size_t total_;
};

}  // namespace vellmark::cli
