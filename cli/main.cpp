// vellmark: the asset tools of the course editor on the command line.
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace {

using vellmark::cli::Command;

constexpr int kUsageError = 2;

void printUsage(std::FILE* out) {
  std::fprintf(out, "usage: vellmark SUBCOMMAND ARGS...\n       vellmark help SUBCOMMAND | --help | --version\n\n");
  std::fprintf(out, "subcommands:\n");
  for (const auto& c : vellmark::cli::commands())
    std::fprintf(out, "  %-13s %s\n      %s\n", c.name, c.arguments, c.summary);
}

void printCommandHelp(std::FILE* out, const Command& c) {
  std::fprintf(out, "usage: vellmark %s %s\n\n%s\n", c.name, c.arguments, c.summary);
  if (c.alias) std::fprintf(out, "\nalias: %s (the library export of the same tool)\n", c.alias);
}

const Command* findCommand(const std::string& name) {
  for (const auto& c : vellmark::cli::commands())
    if (name == c.name || (c.alias && name == c.alias)) return &c;
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    printUsage(stderr);
    return kUsageError;
  }
  if (args[0] == "--help" || args[0] == "-h") {
    printUsage(stdout);
    return 0;
  }
  if (args[0] == "--version") {
    std::printf("vellmark %s\n", VELLMARK_VERSION);
    return 0;
  }
  if (args[0] == "help") {
    if (args.size() == 1) {
      printUsage(stdout);
      return 0;
    }
    const Command* c = findCommand(args[1]);
    if (!c) {
      std::fprintf(stderr, "vellmark: unknown subcommand '%s'\n\n", args[1].c_str());
      printUsage(stderr);
      return kUsageError;
    }
    printCommandHelp(stdout, *c);
    return 0;
  }
  const Command* c = findCommand(args[0]);
  if (!c) {
    std::fprintf(stderr, "vellmark: unknown subcommand '%s'\n\n", args[0].c_str());
    printUsage(stderr);
    return kUsageError;
  }
  std::vector<std::string> rest(args.begin() + 1, args.end());
  const int n = static_cast<int>(rest.size());
  if (n < c->minArgs || (c->maxArgs >= 0 && n > c->maxArgs)) {
    std::fprintf(stderr, "vellmark: %s takes %s\n\n", c->name, c->arguments);
    printCommandHelp(stderr, *c);
    return kUsageError;
  }
  vellmark::ConsoleHost host;
  try {
    return c->run(host, rest);
  } catch (const std::exception& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "vellmark: error: %s\n", e.what());
    return kUsageError;
  }
}
