// list, unpack and pack: course archives by their own directory.
#include <memory>
#include <optional>

#include "archive/archive_members.h"
#include "archive/listing_text.h"
#include "base/error.h"
#include "base/file_names.h"
#include "base/ordered_parallel.h"
#include "cli/commands.h"
#include "cli/progress.h"
#include "tools/archive_file.h"
#include "tools/archive_folder.h"

namespace vellmark::cli {

namespace {

struct ListArgs {
  std::string archive;
  bool json = false;
};

int runList(ProgramHost& host, const ListArgs& a) {
  const auto listing = listArchiveFile(InputFile(a.archive));
  host.print(a.json ? listingJson(listing) : listingTable(listing));
  return 0;
}

struct UnpackArgs {
  std::string archive, folder;
  std::string convert;  // "" (none), "tga" or "png"
};

int runUnpack(ProgramHost& host, const UnpackArgs& a) {
  if (!a.convert.empty() && a.convert != "tga" && a.convert != "png")
    fail(ErrorKind::Argument, "--convert takes tga or png, not '" + a.convert + "'");
  Progress progress(!host.quiet(), 0);
  const UnpackReport report = unpackArchive(host, InputFile(a.archive), a.folder, !a.convert.empty(),
                                            a.convert == "png", [&](std::size_t done, std::size_t total, const std::string& name) {
                                              progress.setTotal(total);
                                              progress.show(done, printableName(name));
                                            });
  progress.clear();
  for (const auto& line : report.problems) host.printError("vellmark: " + line + "\n");
  host.print("members: " + std::to_string(report.written) + " written, " + std::to_string(report.converted) +
             " converted, " + std::to_string(report.refused) + " refused, " + std::to_string(report.failed) +
             " failed\n");
  return report.refused + report.failed > 0 ? 1 : 0;
}

struct PackArgs {
  std::string folder, archive, order;
  unsigned threads = defaultThreadCount();
};

int runPack(ProgramHost& host, const PackArgs& a) {
  PackOptions options;
  if (!a.order.empty()) options.orderFile = a.order;
  options.threads = a.threads;
  Progress progress(!host.quiet(), 0);
  options.onMember = [&](std::size_t done, std::size_t total, const std::string& name) {
    progress.setTotal(total);
    progress.show(done, printableName(name));
  };
  const PackReport report = packFolder(a.folder, a.archive, options);
  progress.clear();
  for (const auto& name : report.skipped) host.printError("vellmark: skipped '" + printableName(name) + "': not a regular file\n");
  host.print(std::to_string(report.members) + " members packed into " + a.archive + "\n");
  return 0;
}

}  // namespace

void addArchiveCommands(CLI::App& app, Registry& registry) {
  auto l = std::make_shared<ListArgs>();
  CLI::App* sub = addSubcommand(app, "list", nullptr, "a course archive's directory",
                                "Lists every record of a course archive's directory: name, offset, sizes, "
                                "storage and the member's kind.",
                                "vellmark list --json course.arc");
  sub->add_option("ARCHIVE", l->archive, "the course archive")->required();
  sub->add_flag("--json", l->json, "print the listing as JSON");
  registry.push_back({sub, [l](ProgramHost& h) { return runList(h, *l); }});

  auto u = std::make_shared<UnpackArgs>();
  sub = addSubcommand(app, "unpack", nullptr, "every member of a course archive under its own name",
                      "Writes every member of a course archive into DIR (made when missing) under its own name, "
                      "by the archive's directory; with --convert also BTC textures as NAME.tga and vertex "
                      "lists' coordinates as NAME.txt; with --convert=png BTC textures and TGA images as NAME.png "
                      "instead. A bad member is reported and the others are written.",
                      "vellmark unpack --convert course.arc course/");
  sub->add_option("ARCHIVE", u->archive, "the course archive")->required();
  sub->add_option("DIR", u->folder, "the folder the members go into")->required();
  sub->add_flag("--convert{tga}", u->convert,
                "also write BTC textures as TGA (--convert=png: BTC and TGA members as PNG) and vertex lists as text");
  registry.push_back({sub, [u](ProgramHost& h) { return runUnpack(h, *u); }});

  auto p = std::make_shared<PackArgs>();
  sub = addSubcommand(app, "pack", nullptr, "a folder's files into a course archive",
                      "Writes the regular files of DIR as a course archive: in the order LISTFILE names them "
                      "(one name a line; other files are left out), or sorted by name. Packing what unpack "
                      "wrote, in the order list prints, gives the archive back byte for byte.",
                      "vellmark pack --order names.txt course/ course.arc");
  sub->add_option("DIR", p->folder, "the folder of members")->required();
  sub->add_option("ARCHIVE", p->archive, "the archive to write")->required();
  sub->add_option("--order", p->order, "the member names in archive order, one a line")->type_name("LISTFILE");
  sub->add_option("-j,--threads", p->threads, "members compressed at once (default: one per core, at most 8)")
      ->check(CLI::Range(1u, 64u));
  registry.push_back({sub, [p](ProgramHost& h) { return runPack(h, *p); }});
}

}  // namespace vellmark::cli
