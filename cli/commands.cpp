#include "cli/commands.h"

#include "base/file_io.h"

namespace vellmark::cli {

int runFlipSky(Host& host, const std::vector<std::string>& args);
int runList(Host& host, const std::vector<std::string>& args);
int runUnpack(Host& host, const std::vector<std::string>& args);
int runPack(Host& host, const std::vector<std::string>& args);
int runSkyFile(Host& host, const std::vector<std::string>& args);
int runBtcToTga(Host& host, const std::vector<std::string>& args);
int runExtract(Host& host, const std::vector<std::string>& args);
int runMesh(Host& host, const std::vector<std::string>& args);
int runXprToTga(Host& host, const std::vector<std::string>& args);
int runPanorama(Host& host, const std::vector<std::string>& args);
int runRawPanorama(Host& host, const std::vector<std::string>& args);
int runTgaToBtc(Host& host, const std::vector<std::string>& args);

const std::vector<Command>& commands() {
  static const std::vector<Command> table = {
      {"btc2tga", "BTC2TGA", "IN.btc OUT.tga", "convert a tiled BTC texture (\"BTCV\" file) into a 32-bit TGA image", 2, 2,
       runBtcToTga},
      {"extract", "ExtractMSCourse", "[--summary] ARCHIVE OUTPUT_PREFIX",
       "unpack a course archive by content into OUTPUT_PREFIX + pass number + extension (.tga, .wav, .jpg, .vrt "
       "with .vrt.txt; BTC textures as .tga) and its panorama into OUTPUT_PREFIX + Panorama.lib; no separator is "
       "added, so give a folder with a trailing one; --summary prints what was written",
       2, 3, runExtract},
      {"flip-sky", "FlipTgaFile", "SKY.tga",
       "re-orient a bottom-row-first sky image into <program folder>/skies/NAME.prvtga", 1, 1, runFlipSky},
      {"list", nullptr, "ARCHIVE [--json]",
       "list a course archive's directory: name, offset, sizes, storage and member kind of every record", 1, 2,
       runList},
      {"unpack", nullptr, "ARCHIVE DIR [--convert]",
       "write every member of a course archive into DIR under its own name; --convert also writes BTC "
       "textures as NAME.tga and vertex lists' coordinates as NAME.txt",
       2, 3, runUnpack},
      {"pack", nullptr, "DIR ARCHIVE [--order LISTFILE]",
       "write the files of DIR as a course archive, in LISTFILE's order (one name a line) or sorted by name", 2, 4,
       runPack},
      {"sky-file", "CreateSkyFile", "PREVIEW.tga SKY.tga OUTPUT_FOLDER",
       "pack a 512 x 35 preview and a 4800 x 320 sky image into OUTPUT_FOLDER/SKY.sky (folder without a trailing "
       "separator)",
       3, 3, runSkyFile},
      {"mesh", "OpenDirectX", "MESH.x OUTPUT_DIR",
       "write the game's OUTPUT_DIR/NAME.XYZ geometry and OUTPUT_DIR/NAME.MAP textures of a DirectX .x mesh "
       "(NAME: the mesh's name up to its last \".X\"; OUTPUT_DIR without a trailing separator)",
       2, 2, runMesh},
      {"xpr2tga", nullptr, "BUNDLE.xpr BASE_NAME",
       "write the top level of each texture of an Xbox 360 bundle as BASE_NAME.tga (cube textures as "
       "NAME<face>.tga) and its user data as NAME.bin",
       2, 2, runXprToTga},
      {"panorama", "CreatePanorama", "ARCHIVE OUTPUT_FOLDER",
       "rebuild the sky panorama (NAME.tga), PanoramaPreview.tga and Panorama.tga from a course archive", 2, 2,
       runPanorama},
      {"raw-panorama", "CreateUncompressedPanorama", "STREAM OUTPUT_FOLDER",
       "build Panorama.tga from a bare (uncompressed) tiled panorama stream", 2, 2, runRawPanorama},
      {"tga2btc", nullptr, "IN.tga OUT.btc",
       "encode a 24- or 32-bit TGA image as a tiled BTC texture (\"BTCV\" file)", 2, 2, runTgaToBtc},
  };
  return table;
}

std::vector<unsigned char> readInput(const std::string& path) { return readWholeFile(path); }

}  // namespace vellmark::cli
