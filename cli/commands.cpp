#include "cli/commands.h"

#include "formats/file_io.h"

namespace vellmark::cli {

int runFlipSky(Host& host, const std::vector<std::string>& args);
int runXprToTga(Host& host, const std::vector<std::string>& args);

const std::vector<Command>& commands() {
  static const std::vector<Command> table = {
      {"flip-sky", "FlipTgaFile", "SKY.tga",
       "re-orient a bottom-row-first sky image into <program folder>/skies/NAME.prvtga", 1, 1, runFlipSky},
      {"xpr2tga", nullptr, "BUNDLE.xpr BASE_NAME",
       "write the top level of each texture of an Xbox 360 bundle as BASE_NAME.tga (cube textures as "
       "NAME<face>.tga) and its user data as NAME.bin",
       2, 2, runXprToTga},
  };
  return table;
}

std::vector<unsigned char> readInput(const std::string& path) { return readWholeFile(path); }

}  // namespace vellmark::cli
