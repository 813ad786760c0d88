#include "tools/flip_sky.h"

#include "tools/messages.h"
#include "base/paths.h"
#include "base/file_io.h"
#include "base/tga.h"

namespace vellmark {

std::vector<std::uint8_t> flipSkyImage(Bytes tga, const std::string& what) {
  const TgaHeader header = readTgaHeader(tga, what);
  const int width = header.signedWidth();
  if (width < 0 || width > kSkyMaxWidth)
    fail(ErrorKind::Unsupported, what + ": width " + std::to_string(width) + " is outside 0.." +
                                     std::to_string(kSkyMaxWidth));
  return flipTgaRows(tga, static_cast<std::size_t>(width) * 4, kSkyRows, what);
}

std::optional<std::string> flipTgaFile(Host& host, const std::string& tgaPath) {
  const auto input = readWholeFile(tgaPath);
  if (readTgaHeader(input, tgaPath).depthAndDescriptor() == kTgaSystemLayout) {
    host.messageBox(messages::kValidTgaCaption, messages::kValidTgaText);
    return std::nullopt;
  }
  // Everything that can reject the input is checked before the folder is made.
  const auto flipped = flipSkyImage(input, tgaPath);

  const std::string folder = directoryPart(host.executablePath()) + kPathSeparator + kSkiesFolder + kPathSeparator;
  if (!host.folderExists(folder)) host.createFolder(folder);

  // The name part keeps its leading separator, so the path has two of them after "skies":
  // the game's front end expects exactly this path back.
  const std::string output = folder + stripFromLast(namePart(tgaPath, "sky image path"), ".tga") + kFlippedExtension;
  (void)writeWholeFile(output, flipped);
  host.messageBox(messages::kNewTgaCaption, output);
  return output;
}

}  // namespace vellmark
