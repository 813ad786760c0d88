// The host the program runs the tools with. It forwards to the console host, hides the
// informational boxes under --quiet, and remembers the error boxes, because the game's
// tools report a refused input only by a box and the program must still exit with 1.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <string_view>
#include <vector>

#include "base/host.h"

namespace vellmark::cli {

// Thrown instead of ending the process, so that the program can still say what failed.
struct ToolExit {
  int status;
};

// True for the boxes that tell the user an input was refused or an output not made.
bool isErrorBox(std::string_view caption);

class ProgramHost : public Host {
 public:
  ProgramHost(Host& console, bool quiet) : console_(console), quiet_(quiet) {}

  void messageBox(std::string_view caption, std::string_view text) override;
  std::string executablePath() override { return console_.executablePath(); }
  bool folderExists(const std::string& path) override { return console_.folderExists(path); }
  void createFolder(const std::string& path) override { console_.createFolder(path); }
  std::optional<std::string> openFileDialog(const std::string& initial) override {
    return console_.openFileDialog(initial);
  }
  void print(std::string_view text) override { console_.print(text); }
  void printError(std::string_view text) override { console_.printError(text); }
  [[noreturn]] void exitProcess(int status) override { throw ToolExit{status}; }

  bool quiet() const { return quiet_; }
  // "CAPTION: TEXT" of every error box shown since the last takeErrors().
  std::vector<std::string> takeErrors() { return std::exchange(errors_, {}); }

 private:
  Host& console_;
  bool quiet_;
  std::vector<std::string> errors_;
};

// Keeps everything a tool says while it runs on a worker thread, to be replayed in input
// order on the calling thread.
class BufferedHost : public Host {
 public:
  explicit BufferedHost(Host& real) : real_(real) {}

  void messageBox(std::string_view caption, std::string_view text) override;
  std::string executablePath() override;
  bool folderExists(const std::string& path) override;
  void createFolder(const std::string& path) override;
  std::optional<std::string> openFileDialog(const std::string&) override { return std::nullopt; }
  void print(std::string_view text) override { events_.push_back({Kind::Print, std::string(text), {}}); }
  void printError(std::string_view text) override { events_.push_back({Kind::PrintError, std::string(text), {}}); }
  [[noreturn]] void exitProcess(int status) override { throw ToolExit{status}; }

  // The first error box's "CAPTION: TEXT", empty when none was shown.
  const std::string& firstError() const { return firstError_; }
  void replay(Host& host) const;

 private:
  enum class Kind { Box, Print, PrintError };
  struct Event {
    Kind kind;
    std::string first, second;
  };
  Host& real_;
  std::vector<Event> events_;
  std::string firstError_;
};

}  // namespace vellmark::cli
