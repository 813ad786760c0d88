// contact-sheet: what an archive's pictures look like, on one PNG.
#include <memory>

#include "base/ordered_parallel.h"
#include "cli/commands.h"
#include "cli/output_paths.h"
#include "tools/contact_sheet_tool.h"

namespace vellmark::cli {

namespace {

struct SheetArgs {
  std::string archive, png;
};

int runContactSheet(ProgramHost& host, const SheetArgs& a) {
  const auto before = stampOf(a.png);
  const ContactSheetReport report = writeContactSheet(a.archive, a.png, defaultThreadCount());
  requireWritten(a.png, before);
  for (const auto& line : report.skipped) host.printError("vellmark: not drawn: " + line + "\n");
  host.print(std::to_string(report.pictures) + " pictures on " + a.png + " (" + std::to_string(report.otherMembers) +
             " other members)\n");
  return report.skipped.empty() ? 0 : 1;
}

}  // namespace

void addContactSheetCommand(CLI::App& app, Registry& registry) {
  auto c = std::make_shared<SheetArgs>();
  CLI::App* sub = addSubcommand(
      app, "contact-sheet", nullptr, "an archive's pictures as thumbnails on one PNG",
      "Draws every picture member of a course archive or sky file (TGA, JPEG, BTC textures, the tiled "
      "panorama) as a thumbnail labelled with its name, in directory order, on one PNG. Members that cannot be "
      "drawn are named and make the exit status 1; the others are still drawn.",
      "vellmark contact-sheet course.arc course.png");
  sub->add_option("ARCHIVE", c->archive, "the course archive or .sky file")->required();
  sub->add_option("OUT_PNG", c->png, "the PNG to write")->required();
  registry.push_back({sub, [c](ProgramHost& h) { return runContactSheet(h, *c); }});
}

}  // namespace vellmark::cli
