// list, unpack and pack: course archives by their own directory.
#include <cstdio>
#include <optional>

#include "cli/commands.h"
#include "tools/archive_folder.h"
#include "archive/archive_members.h"
#include "archive/listing_text.h"
#include "base/error.h"

namespace vellmark::cli {

namespace {

// Splits the arguments into the positional ones and the flags this subcommand knows;
// a flag that takes a value consumes the next argument.
struct Parsed {
  std::vector<std::string> positional;
  bool flag = false;
  std::optional<std::string> value;
};

Parsed parse(const std::vector<std::string>& args, const std::string& flag, bool takesValue, std::size_t positional) {
  Parsed p;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == flag) {
      if (takesValue) {
        if (i + 1 >= args.size()) fail(ErrorKind::Argument, flag + " needs a value");
        p.value = args[++i];
      }
      p.flag = true;
    } else if (args[i].size() > 1 && args[i][0] == '-') {
      fail(ErrorKind::Argument, "unknown option '" + args[i] + "'");
    } else {
      p.positional.push_back(args[i]);
    }
  }
  if (p.positional.size() != positional) {
    std::string message = "expected " + std::to_string(positional);
    message += " file or folder arguments, got " + std::to_string(p.positional.size());
    fail(ErrorKind::Argument, message);
  }
  return p;
}

}  // namespace

int runList(Host& host, const std::vector<std::string>& args) {
  const Parsed p = parse(args, "--json", false, 1);
  const auto archive = readInput(p.positional[0]);
  const auto directory = openCourseArchive(archive);
  const auto listing = listArchive(archive, directory);
  host.print(p.flag ? listingJson(listing) : listingTable(listing));
  return 0;
}

int runUnpack(Host& host, const std::vector<std::string>& args) {
  const Parsed p = parse(args, "--convert", false, 2);
  const auto archive = readInput(p.positional[0]);
  const UnpackReport report = unpackArchive(host, archive, p.positional[1], p.flag);
  std::fflush(stdout);
  for (const auto& line : report.problems) std::fprintf(stderr, "vellmark: %s\n", line.c_str());
  host.print("members: " + std::to_string(report.written) + " written, " + std::to_string(report.converted) +
             " converted, " + std::to_string(report.refused) + " refused, " + std::to_string(report.failed) +
             " failed\n");
  return report.refused + report.failed > 0 ? 1 : 0;
}

int runPack(Host& host, const std::vector<std::string>& args) {
  const Parsed p = parse(args, "--order", true, 2);
  const PackReport report = packFolder(p.positional[0], p.positional[1], p.value);
  std::fflush(stdout);
  for (const auto& name : report.skipped)
    std::fprintf(stderr, "vellmark: skipped '%s': not a regular file\n", name.c_str());
  host.print(std::to_string(report.members) + " members packed into " + p.positional[1] + "\n");
  return 0;
}

}  // namespace vellmark::cli
