// A host that shows nothing and counts the boxes, for the fuzz targets and benchmarks (header
// only: they do not link the test support library).
#pragma once

#include <cstdlib>

#include "base/host.h"

namespace vellmark::test {

class SilentHost : public Host {
 public:
  int boxes = 0;
  void messageBox(std::string_view, std::string_view) override { ++boxes; }
  std::string executablePath() override { return "/nonexistent/frontend"; }
  bool folderExists(const std::string&) override { return false; }
  void createFolder(const std::string&) override {}
  std::optional<std::string> openFileDialog(const std::string&) override { return std::nullopt; }
  void print(std::string_view) override {}
  [[noreturn]] void exitProcess(int) override { std::abort(); }
};

}  // namespace vellmark::test
