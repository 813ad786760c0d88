#include "base/file_names.h"

#include <cstdio>

namespace vellmark {

namespace {

char upperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool isAsciiLetter(char c) { return upperAscii(c) >= 'A' && upperAscii(c) <= 'Z'; }

// Windows opens the device whatever follows the first dot ("nul.txt", "COM1.tar.gz").
bool isDeviceName(std::string_view name) {
  std::string stem(name.substr(0, name.find('.')));
  for (auto& c : stem) c = upperAscii(c);
  static const char* const kDevices[] = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
  for (const char* d : kDevices)
    if (stem == d) return true;
  return stem.size() == 4 && (stem.starts_with("COM") || stem.starts_with("LPT")) && stem[3] >= '0' &&
         stem[3] <= '9';
}

}  // namespace

std::optional<std::string> fileNameProblem(std::string_view name, std::size_t maxBytes) {
  if (name.empty()) return "the name is empty";
  if (name.size() > maxBytes)
    return "the name is " + std::to_string(name.size()) + " bytes long, more than the " + std::to_string(maxBytes) +
           " allowed";
  if (name == ".") return "the name \".\" is the output folder itself";
  if (name.find("..") != std::string_view::npos) return "the name contains \"..\"";
  for (unsigned char c : name) {
    if (c < 0x20 || c == 0x7F) return "the name contains a control character";
    if (c == '/' || c == '\\') return "the name contains a path separator";
  }
  if (name.size() >= 2 && isAsciiLetter(name[0]) && name[1] == ':') return "the name begins with a drive letter";
  if (name.find(':') != std::string_view::npos) return "the name contains ':'";
  if (name.find_first_of("<>\"|?*") != std::string_view::npos)
    return "the name contains one of < > \" | ? *, which Windows does not allow";
  if (name.back() == '.' || name.back() == ' ') return "the name ends in a dot or a blank";
  if (isDeviceName(name)) return "the name is a Windows device name";
  return std::nullopt;
}

std::string printableName(std::string_view name) {
  std::string out;
  out.reserve(name.size());
  for (unsigned char c : name) {
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    }
  }
  return out;
}

std::optional<std::string> FileNameSet::insert(std::string_view name) {
  const auto [at, added] = names_.emplace(folded(name), name);
  if (added) return std::nullopt;
  return at->second;
}

std::string FileNameSet::folded(std::string_view name) {
  std::string out(name);
  for (auto& c : out) c = upperAscii(c);
  return out;
}

}  // namespace vellmark
