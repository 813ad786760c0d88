// flip-sky and sky-file: the sky images of a course.
#include <memory>

#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "base/paths.h"
#include "base/tga.h"
#include "cli/commands.h"
#include "cli/output_paths.h"
#include "tools/flip_sky.h"
#include "tools/messages.h"
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
}

}  // namespace vellmark::cli
