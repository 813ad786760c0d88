#include "cli/commands.h"

#include "formats/file_io.h"

namespace vellmark::cli {

int runFlipSky(Host& host, const std::vector<std::string>& args);
int runBtcToTga(Host& host, const std::vector<std::string>& args);
int runPanorama(Host& host, const std::vector<std::string>& args);
int runRawPanorama(Host& host, const std::vector<std::string>& args);
int runTgaToBtc(Host& host, const std::vector<std::string>& args);

const std::vector<Command>& commands() {
  static const std::vector<Command> table = {
      {"btc2tga", "BTC2TGA", "IN.btc OUT.tga", "convert a tiled BTC texture (\"BTCV\" file) into a 32-bit TGA image", 2, 2,
       runBtcToTga},
      {"flip-sky", "FlipTgaFile", "SKY.tga",
       "re-orient a bottom-row-first sky image into <program folder>/skies/NAME.prvtga", 1, 1, runFlipSky},
      {"panorama", "CreatePanorama", "ARCHIVE OUT-FOLDER",
       "rebuild the sky panorama (NAME.tga), PanoramaPreview.tga and Panorama.tga from a course archive", 2, 2,
       runPanorama},
      {"raw-panorama", "CreateUncompressedPanorama", "STREAM OUT-FOLDER",
       "build Panorama.tga from a bare (uncompressed) tiled panorama stream", 2, 2, runRawPanorama},
      {"tga2btc", nullptr, "IN.tga OUT.btc",
       "encode a 24- or 32-bit TGA image as a tiled BTC texture (\"BTCV\" file)", 2, 2, runTgaToBtc},
  };
  return table;
}

std::vector<unsigned char> readInput(const std::string& path) { return readWholeFile(path); }

}  // namespace vellmark::cli
