#include "cli/commands.h"

#include "formats/file_io.h"

namespace vellmark::cli {

int runFlipSky(Host& host, const std::vector<std::string>& args);
int runMesh(Host& host, const std::vector<std::string>& args);

const std::vector<Command>& commands() {
  static const std::vector<Command> table = {
      {"flip-sky", "FlipTgaFile", "SKY.tga",
       "re-orient a bottom-row-first sky image into <program folder>/skies/NAME.prvtga", 1, 1, runFlipSky},
      {"mesh", "OpenDirectX", "MESH.x OUTPUT_DIR",
       "write the game's OUTPUT_DIR/NAME.XYZ geometry and OUTPUT_DIR/NAME.MAP textures of a DirectX .x mesh "
       "(NAME: the mesh's name up to its last \".X\"; OUTPUT_DIR without a trailing separator)",
       2, 2, runMesh},
  };
  return table;
}

std::vector<unsigned char> readInput(const std::string& path) { return readWholeFile(path); }

}  // namespace vellmark::cli
