// flip-sky, sky-file and sky: the sky images of a course.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "base/error.h"
#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "base/paths.h"
#include "base/tga.h"
#include "cli/commands.h"
#include "cli/output_paths.h"
#include "tools/flip_sky.h"
#include "tools/messages.h"
#include "tools/make_sky.h"
#include "tools/sky_file.h"

namespace vellmark::cli {

namespace {

struct FlipArgs {
  std::string image, outputDir;
};

// The tool always writes beside the program; with -o the same image goes into the folder
// given, with the tool's boxes.
int flipInto(ProgramHost& host, const std::string& image, const std::string& outputDir) {
  const auto input = readInput(image);
  if (readTgaHeader(input, image).depthAndDescriptor() == kTgaSystemLayout) {
    host.messageBox(messages::kValidTgaCaption, messages::kValidTgaText);
    return 0;
  }
  const auto flipped = flipSkyImage(input, image);
  const std::string output =
      asPrefix(prepareOutputFolder(outputDir)) + stripFromLast(namePart(image, "sky image path").substr(1), ".tga") +
      kFlippedExtension;
  if (!writeWholeFile(output, flipped)) throw OutputError("cannot write '" + output + "': " + whyNotWritable(output));
  host.messageBox(messages::kNewTgaCaption, output);
  return 0;
}

int runFlipSky(ProgramHost& host, const FlipArgs& a) {
  const std::string image = toolPath(a.image);
  if (!a.outputDir.empty()) return flipInto(host, image, a.outputDir);
  const std::string expected = directoryPart(host.executablePath()) + kPathSeparator + kSkiesFolder +
                               kPathSeparator + stripFromLast(namePart(image, "sky image path"), ".tga") +
                               kFlippedExtension;
  const auto before = stampOf(expected);
  if (const auto written = flipTgaFile(host, image)) requireWritten(*written, before);
  return 0;
}

struct SkyFileArgs {
  std::string preview, sky, outputDir;
};

int runSkyFile(ProgramHost& host, const SkyFileArgs& a) {
  const std::string sky = toolPath(a.sky);
  const std::string folder = prepareOutputFolder(a.outputDir);
  const std::string output = folder + stripFromLast(namePart(sky, "main sky image path"), ".tga") + kSkyExtension;
  const auto before = stampOf(output);
  createSkyFile(host, a.preview, sky, folder, defaultThreadCount());
  const auto errors = host.takeErrors();
  if (!errors.empty()) throw OutputError("no sky file written: " + errors.front());
  requireWritten(output, before);
  return 0;
}

struct SkyArgs {
  std::string picture, outputDir, name, preview;
  std::optional<std::uint32_t> horizon, band;
};

int runSky(ProgramHost& host, const SkyArgs& a) {
  SkyRequest request;
  request.picture = a.picture;
  if (!a.preview.empty()) request.preview = a.preview;
  request.outputPrefix = asPrefix(prepareOutputFolder(a.outputDir));
  // NAME: the picture's file name up to its last dot, unless given.
  std::string name = a.name;
  if (name.empty()) {
    const std::string file = std::filesystem::path(a.picture).filename().string();
    name = file.substr(0, std::min(file.rfind('.'), file.size()));
  }
  if (name.empty() || name.find_first_of("/\\") != std::string::npos)
    throw Error(ErrorKind::Argument, "--name must be a plain file name, not '" + name + "'");
  request.name = name;
  request.framing = {a.horizon, a.band};
  request.threads = defaultThreadCount();
  host.print(makeSky(request) + "\n");
  return 0;
}

}  // namespace

void addSkyCommands(CLI::App& app, Registry& registry) {
  auto f = std::make_shared<FlipArgs>();
  CLI::App* sub = addSubcommand(
      app, "flip-sky", "FlipTgaFile", "sky image to the game's layout (NAME.prvtga)",
      "Re-orients a bottom-row-first 320-row sky image into the game's own TGA layout as NAME.prvtga: into "
      "the skies folder beside the program, as the game's tool does, or into the folder -o names. An image "
      "already in the game's layout is left alone.",
      "vellmark flip-sky -o skies/ sunset.tga");
  sub->add_option("SKY_TGA", f->image, "the sky image")->required();
  sub->add_option("-o,--output-dir", f->outputDir, "write NAME.prvtga into this folder (made when missing)")
      ->type_name("DIR");
  registry.push_back({sub, [f](ProgramHost& h) { return runFlipSky(h, *f); }});

  auto s = std::make_shared<SkyFileArgs>();
  sub = addSubcommand(app, "sky-file", "CreateSkyFile", "preview and main sky images to a .sky file",
                      "Packs a 512 x 35 preview image and a 4800 x 320 main sky image into OUTPUT_DIR/NAME.sky, "
                      "NAME being the main sky image's name without .tga. An image of another size shows the "
                      "\"Invalid TGA File\" box and nothing is written.",
                      "vellmark sky-file preview.tga sunset.tga skies/");
  sub->add_option("PREVIEW_TGA", s->preview, "the 512 x 35 preview image")->required();
  sub->add_option("SKY_TGA", s->sky, "the 4800 x 320 main sky image")->required();
  sub->add_option("OUTPUT_DIR", s->outputDir, "the folder NAME.sky goes into (made when missing)")->required();
  registry.push_back({sub, [s](ProgramHost& h) { return runSkyFile(h, *s); }});

  auto k = std::make_shared<SkyArgs>();
  sub = addSubcommand(app, "sky", nullptr, "any picture to a .sky file",
                      "Makes OUTPUT_DIR/NAME.sky from a PNG, JPEG, BMP or TGA picture. A 2:1 picture is taken as an "
                      "equirectangular panorama: the sky is the band above the horizon (the middle row, or "
                      "--horizon), width / 15 rows high so that its angles stay square (or --band rows), wrapped "
                      "across the 360-degree seam. Any other picture is scaled whole to 4800 x 320. The 512 x 35 "
                      "preview is made from the sky unless --preview gives one. NAME is the picture's name "
                      "without its extension unless --name gives it.",
                      "vellmark sky --horizon 1100 alps_panorama.jpg skies/");
  sub->add_option("PICTURE", k->picture, "the picture or 2:1 panorama")->required();
  sub->add_option("OUTPUT_DIR", k->outputDir, "the folder NAME.sky goes into (made when missing)")->required();
  sub->add_option("--name", k->name, "the sky file's name, without .sky");
  sub->add_option("--preview", k->preview, "the preview picture (a 512 x 35 TGA is stored as it is)")
      ->type_name("PICTURE");
  sub->add_option("--horizon", k->horizon, "the panorama's horizon row, counted from the top")->type_name("ROW");
  sub->add_option("--band", k->band, "rows above the horizon that become the sky")->type_name("ROWS");
  registry.push_back({sub, [k](ProgramHost& h) { return runSky(h, *k); }});
}

}  // namespace vellmark::cli
