// Fuzz target: the rule for names that come from data. An accepted name must hold none of
// what could leave the folder or change on Windows (checked here byte by byte, apart from
// the rule's own code), a tighter length limit never accepts more, the printable form is
// printable ASCII and reads back to the name, and a name in another ASCII case clashes.
#include <cstdint>
#include <string>

#include "base/file_names.h"

namespace {

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool safe(const std::string& name) {
  if (name.empty() || name.back() == '.' || name.back() == ' ') return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const auto c = static_cast<unsigned char>(name[i]);
    if (c < 0x20 || c == 0x7F || std::string("/\\:<>\"|?*").find(static_cast<char>(c)) != std::string::npos) return false;
    if (c == '.' && i + 1 < name.size() && name[i + 1] == '.') return false;
  }
  std::string stem = name.substr(0, name.find('.'));
  for (auto& c : stem) c = upper(c);
  for (const char* device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"})
    if (stem == device) return false;
  return !(stem.size() == 4 && (stem.rfind("COM", 0) == 0 || stem.rfind("LPT", 0) == 0) && stem[3] >= '0' && stem[3] <= '9');
}

std::string unescaped(const std::string& shown) {
  std::string out;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] != '\\') {
      out += shown[i];
      continue;
    }
    if (i + 3 >= shown.size() || shown[i + 1] != 'x') __builtin_trap();
    out += static_cast<char>(std::stoi(shown.substr(i + 2, 2), nullptr, 16));
    i += 3;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string name(reinterpret_cast<const char*>(data), size);
  const bool accepted = !vellmark::fileNameProblem(name);
  const bool acceptedShort = !vellmark::fileNameProblem(name, 31);
  if (accepted && !safe(name)) __builtin_trap();
  if (acceptedShort && (!accepted || name.size() > 31)) __builtin_trap();
  if (accepted != (safe(name) && name.size() <= vellmark::kMaxFileNameBytes)) __builtin_trap();

  const std::string shown = vellmark::printableName(name);
  for (char c : shown)
    if (c < 0x20 || c >= 0x7F) __builtin_trap();
  if (unescaped(shown) != name) __builtin_trap();

  vellmark::FileNameSet names;
  if (names.insert(name)) __builtin_trap();
  std::string other = name;
  for (auto& c : other) c = upper(c) == c ? lower(c) : upper(c);
  if (names.insert(other) != name || !names.contains(other)) __builtin_trap();
  return 0;
}
