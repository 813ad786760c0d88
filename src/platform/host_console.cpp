#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "platform/console_host.h"

#ifdef _WIN32
#include <direct.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace vellmark {

void ConsoleHost::messageBox(std::string_view caption, std::string_view text) {
  std::fflush(stdout);
  std::cerr << caption << ": " << text << '\n' << std::flush;
}

std::string ConsoleHost::executablePath() {
#ifdef _WIN32
  char buffer[260] = {};
  GetModuleFileNameA(nullptr, buffer, 259);
  return buffer;
#else
  std::string buffer(4096, '\0');
  ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
  buffer.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  return buffer;
#endif
}

bool ConsoleHost::folderExists(const std::string& path) {
#ifdef _WIN32
  return _access(path.c_str(), 0) == 0;
#else
  return ::access(path.c_str(), F_OK) == 0;
#endif
}

void ConsoleHost::createFolder(const std::string& path) {
#ifdef _WIN32
  (void)_mkdir(path.c_str());
#else
  (void)::mkdir(path.c_str(), 0777);
#endif
}

std::optional<std::string> ConsoleHost::openFileDialog(const std::string&) { return std::nullopt; }

void ConsoleHost::print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void Host::printError(std::string_view text) {
  std::fflush(stdout);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

void ConsoleHost::exitProcess(int status) {
  std::fflush(stdout);
  std::exit(status);
}

}  // namespace vellmark
