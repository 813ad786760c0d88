// Everything the tools say to the user or ask of the operating system goes through Host:
// Win32 in the DLL, standard streams in the program and the Linux library, a recorder in
// the tests.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vellmark {

class Host {
 public:
  virtual ~Host() = default;

  // A modal box with one OK button and no owner window; returns when it is dismissed.
  virtual void messageBox(std::string_view caption, std::string_view text) = 0;
  // Full path of the running program's executable (not of this library).
  virtual std::string executablePath() = 0;
  virtual bool folderExists(const std::string& path) = 0;
  // Creates one folder level; failure is not reported (the tools do not check it).
  virtual void createFolder(const std::string& path) = 0;
  // Lets the user pick an existing file, starting from `initial`. Hosts without a dialog
  // return nullopt and the caller keeps its path.
  virtual std::optional<std::string> openFileDialog(const std::string& initial) = 0;
  // Text on standard output, exactly as given.
  virtual void print(std::string_view text) = 0;
  // Text on standard error, exactly as given: notes about input a tool passes over.
  virtual void printError(std::string_view text);
  // Ends the whole process with `status`, as the mesh exporter's fatal paths require.
  [[noreturn]] virtual void exitProcess(int status) = 0;
};

}  // namespace vellmark
