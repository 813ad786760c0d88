#include "cli/program_host.h"

#include <array>
#include <mutex>

#include "tools/messages.h"

namespace vellmark::cli {

namespace {

// The texture a mesh's MAP file could not read is named in a box of its own right after
// the error box; it belongs to the error and is shown even under --quiet.
bool alwaysShown(std::string_view caption) {
  return isErrorBox(caption) || caption == messages::kTriedTextureCaption;
}

// Folder queries reach the real host from several workers at once.
std::mutex hostMutex;

}  // namespace

bool isErrorBox(std::string_view caption) {
  static constexpr std::array<std::string_view, 6> kErrors = {
      messages::kInvalidTgaCaption, messages::kInvalidBtcCaption, messages::kXprErrorCaption,
      messages::kDirectXInitCaption, messages::kLoadErrorCaption, messages::kMapErrorCaption};
  for (auto e : kErrors)
    if (caption == e) return true;
  return false;
}

void ProgramHost::messageBox(std::string_view caption, std::string_view text) {
  if (isErrorBox(caption)) errors_.push_back(std::string(caption) + ": " + std::string(text));
  if (!quiet_ || alwaysShown(caption)) console_.messageBox(caption, text);
}

void BufferedHost::messageBox(std::string_view caption, std::string_view text) {
  if (isErrorBox(caption) && firstError_.empty()) firstError_ = std::string(caption) + ": " + std::string(text);
  events_.push_back({Kind::Box, std::string(caption), std::string(text)});
}

std::string BufferedHost::executablePath() {
  std::lock_guard lock(hostMutex);
  return real_.executablePath();
}

bool BufferedHost::folderExists(const std::string& path) {
  std::lock_guard lock(hostMutex);
  return real_.folderExists(path);
}

void BufferedHost::createFolder(const std::string& path) {
  std::lock_guard lock(hostMutex);
  real_.createFolder(path);
}

void BufferedHost::replay(Host& host) const {
  for (const auto& e : events_) {
    switch (e.kind) {
      case Kind::Box: host.messageBox(e.first, e.second); break;
      case Kind::Print: host.print(e.first); break;
      case Kind::PrintError: host.printError(e.first); break;
    }
  }
}

}  // namespace vellmark::cli
