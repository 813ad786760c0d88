// info: what files are and what they hold, as text or JSON.
#include <memory>

#include "base/input_file.h"
#include "cli/commands.h"
#include "tools/file_info.h"

namespace vellmark::cli {

namespace {

struct InfoArgs {
  std::vector<std::string> paths;
  bool json = false;
};

int runInfo(ProgramHost& host, const InfoArgs& a) {
  for (const auto& path : a.paths) (void)InputFile(path);  // every input readable, or a usage error
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  bool allKnown = true;
  for (const auto& path : a.paths) {
    nlohmann::ordered_json facts = describeFile(path);
    allKnown = allKnown && facts["kind"] != "unknown" && !facts.contains("error");
    if (!a.json) host.print(describedText(facts));
    all.push_back(std::move(facts));
  }
  if (a.json) host.print(all.dump(2) + "\n");
  return allKnown ? 0 : 1;
}

}  // namespace

void addInfoCommand(CLI::App& app, Registry& registry) {
  auto i = std::make_shared<InfoArgs>();
  CLI::App* sub = addSubcommand(
      app, "info", nullptr, "what files are and what they hold",
      "Describes each FILE, told apart by content: course archives and sky files (every member with its kind and "
      "sizes), BTC textures, TGA, PNG, JPEG and BMP pictures (size, depth, row order, channels), Xbox 360 bundles "
      "(each texture's format, size and levels), .x and glTF models (vertices, triangles, materials, textures), "
      "the game's .XYZ objects and .MAP textures (materials, levels and palettes). Exits with 1 when a file is of "
      "no kind known here or is broken (the description says what is wrong), 2 when one cannot be read.",
      "vellmark info --json samples/sample_course.arc objects/barrel.XYZ objects/barrel.MAP");
  sub->add_option("FILE", i->paths, "the files to describe")->required();
  sub->add_flag("--json", i->json, "print the descriptions as a JSON array, for scripts");
  registry.push_back({sub, [i](ProgramHost& h) { return runInfo(h, *i); }});
}

}  // namespace vellmark::cli
