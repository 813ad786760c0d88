// The host of Vellmark.dll: real Windows message boxes, the front end's executable path,
// and the common open-file dialog.
#include <windows.h>
#include <commdlg.h>
#include <direct.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/export_host.h"

namespace vellmark {

namespace {

class Win32Host : public Host {
 public:
  void messageBox(std::string_view caption, std::string_view text) override {
    std::string c(caption), t(text);
    MessageBoxA(nullptr, t.c_str(), c.c_str(), 0);
  }

  std::string executablePath() override {
    char buffer[260] = {};
    GetModuleFileNameA(nullptr, buffer, 259);
    return buffer;
  }

  bool folderExists(const std::string& path) override { return _access(path.c_str(), 0) == 0; }

  void createFolder(const std::string& path) override { CreateDirectoryA(path.c_str(), nullptr); }

  std::optional<std::string> openFileDialog(const std::string& initial) override {
    char name[260] = {};
    std::strncpy(name, initial.c_str(), sizeof name - 1);
    OPENFILENAMEA ofn = {};
    ofn.lStructSize = sizeof ofn;
    ofn.lpstrFile = name;
    ofn.nMaxFile = sizeof name;
    ofn.Flags = 0x81000;  // explorer style, file must exist
    GetOpenFileNameA(&ofn);  // the result is not examined: whatever the buffer holds is used
    return std::string(name);
  }

  void print(std::string_view text) override {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  }

  void exitProcess(int status) override { std::exit(status); }
};

}  // namespace

Host& exportHost() {
  static Win32Host host;
  return host;
}

}  // namespace vellmark
