// vellmark: the asset tools of the course editor on the command line.
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "platform/console_host.h"
#include "cli/output_paths.h"

namespace {

using namespace vellmark::cli;

constexpr int kUsageError = 2;

const char kDescription[] =
    "vellmark: the asset tools of the course editor. Converts the game's sky images, BTC textures, course "
    "archives, panoramas, Xbox 360 texture bundles and DirectX .x meshes to and from ordinary files.";

const char kPaths[] =
    "Run 'vellmark SUBCOMMAND --help' (or 'vellmark help SUBCOMMAND') for a subcommand's arguments and an "
    "example. Output folders are made when missing and may be given with or without a trailing separator; "
    "a bare file name is a file in the current folder.";
const char kExitStatus[] =
    "Exit status: 0 when everything asked for was written, 1 when an output could not be written or a tool "
    "refused an input (its error box is shown), 2 for usage errors and inputs that cannot be read or used.";

// CLI11 prints option descriptions on one line however long; newlines it indents.
class WrappingFormatter : public CLI::Formatter {
 public:
  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapText(CLI::Formatter::make_option_desc(option), 78 - get_column_width());
  }
};

bool isSubcommandName(CLI::App& app, const std::string& name) {
  try {
    return app.get_subcommand(name) != nullptr;
  } catch (const CLI::OptionNotFound&) {
    return false;
  }
}

int unknownSubcommand(const std::string& name) {
  std::fprintf(stderr, "vellmark: unknown subcommand '%s'\nRun 'vellmark --help' for the list.\n", name.c_str());
  return kUsageError;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{wrapText(kDescription, 78), "vellmark"};
  app.set_version_flag("-V,--version", std::string("vellmark ") + VELLMARK_VERSION);
  bool quiet = false, list = false;
  app.add_flag("-q,--quiet", quiet, "no informational boxes, notes or progress; errors are still shown");
  app.add_flag("--list-subcommands", list, "print the subcommands' names, one a line, for scripts");
  app.fallthrough();
  app.footer("\n" + wrapText(kPaths, 78) + "\n\n" + wrapText(kExitStatus, 78) +
             "\n\nExample:\n  vellmark unpack --convert course.arc course/\n");
  app.formatter(std::make_shared<WrappingFormatter>());
  app.get_formatter()->column_width(24);

  Registry registry;
  addImageCommands(app, registry);
  addCourseCommands(app, registry);
  addSkyCommands(app, registry);
  addMeshCommand(app, registry);
  addArchiveCommands(app, registry);
  addContactSheetCommand(app, registry);
  addConvertCommand(app, registry);
  addInfoCommand(app, registry);
  // Listed for the help text but answered before parsing: CLI11 would take the topic for the
  // subcommand to run.
  app.add_subcommand("help", "the help of a subcommand: vellmark help SUBCOMMAND");

  if (argc < 2) {
    std::fprintf(stderr, "usage: vellmark [OPTIONS] SUBCOMMAND ARGS...\n\n%s", app.help().c_str());
    return kUsageError;
  }
  if (std::string(argv[1]) == "help") {
    if (argc == 2 || argv[2][0] == '-') {
      std::cout << app.help();
      return 0;
    }
    if (!isSubcommandName(app, argv[2])) return unknownSubcommand(argv[2]);
    std::cout << app.get_subcommand(argv[2])->help("vellmark");
    return 0;
  }
  if (argv[1][0] != '-' && !isSubcommandName(app, argv[1])) return unknownSubcommand(argv[1]);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
    std::string where;
    for (const CLI::App* s : app.get_subcommands()) where = s->get_name();
    std::fprintf(stderr, "vellmark: error: %s%s\nRun 'vellmark %s--help' for usage.\n",
                 where.empty() ? "" : (where + ": ").c_str(), e.what(), where.empty() ? "" : (where + " ").c_str());
    return kUsageError;
  }

  if (list) {
    for (const auto& s : registry) std::printf("%s\n", s.app->get_name().c_str());
    return 0;
  }
  for (const auto& s : registry) {
    if (!s.app->parsed()) continue;
    vellmark::ConsoleHost console;
    ProgramHost host(console, quiet);
    try {
      return s.run(host);
    } catch (const OutputError& e) {
      std::fflush(stdout);
      std::fprintf(stderr, "vellmark: error: %s\n", e.what());
      return 1;
    } catch (const ToolExit& e) {
      const auto errors = host.takeErrors();
      std::fflush(stdout);
      std::fprintf(stderr, "vellmark: error: %s: %s\n", s.app->get_name().c_str(),
                   errors.empty() ? "the tool gave up" : errors.front().c_str());
      return e.status;
    } catch (const std::exception& e) {
      std::fflush(stdout);
      std::fprintf(stderr, "vellmark: error: %s\n", e.what());
      return kUsageError;
    }
  }
  std::fprintf(stderr, "usage: vellmark [OPTIONS] SUBCOMMAND ARGS...\nRun 'vellmark --help' for the list.\n");
  return kUsageError;
}
