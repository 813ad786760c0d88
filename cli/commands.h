// Subcommands of the vellmark program: one per tool plus the archive utilities. Each add*
// function declares its subcommands' arguments on the parser and registers what runs when
// one of them is chosen.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/program_host.h"

namespace vellmark::cli {

struct Subcommand {
  CLI::App* app;
  // Returns the exit status; raises Error (status 2) or OutputError (status 1).
  std::function<int(ProgramHost& host)> run;
};
using Registry = std::vector<Subcommand>;

// A subcommand with a one-line summary for the list, and the help text of its own --help:
// the details wrapped to the terminal's usual width, the export it stands for, an example.
CLI::App* addSubcommand(CLI::App& app, const char* name, const char* alias, const char* summary,
                        const std::string& details, const std::string& example);

// `text` broken into lines of at most `width` columns at spaces.
std::string wrapText(const std::string& text, std::size_t width);

void addImageCommands(CLI::App& app, Registry& registry);    // btc2tga, tga2btc, xpr2tga
void addCourseCommands(CLI::App& app, Registry& registry);   // extract, panorama, raw-panorama
void addSkyCommands(CLI::App& app, Registry& registry);      // flip-sky, sky-file, sky
void addContactSheetCommand(CLI::App& app, Registry& registry);  // contact-sheet
void addMeshCommand(CLI::App& app, Registry& registry);      // mesh, model, gltf
void addArchiveCommands(CLI::App& app, Registry& registry);  // list, unpack, pack
void addConvertCommand(CLI::App& app, Registry& registry);   // convert
void addInfoCommand(CLI::App& app, Registry& registry);      // info

// Reads a named input file whole for tools that take data in memory.
std::vector<unsigned char> readInput(const std::string& path);

}  // namespace vellmark::cli
