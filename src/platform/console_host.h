// The host of the program and of the Linux library: message boxes become lines on standard
// error, and there is no dialog.
#pragma once

#include "base/host.h"

namespace vellmark {

// Message boxes become "CAPTION: TEXT" lines on standard error; no dialog.
class ConsoleHost : public Host {
 public:
  void messageBox(std::string_view caption, std::string_view text) override;
  std::string executablePath() override;
  bool folderExists(const std::string& path) override;
  void createFolder(const std::string& path) override;
  std::optional<std::string> openFileDialog(const std::string& initial) override;
  void print(std::string_view text) override;
  [[noreturn]] void exitProcess(int status) override;
};

}  // namespace vellmark
