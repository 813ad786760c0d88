#include "cli/commands.h"

#include <sstream>

#include "base/file_io.h"

namespace vellmark::cli {

namespace {

constexpr std::size_t kHelpWidth = 78;

}  // namespace

std::string wrapText(const std::string& text, std::size_t width) {
  std::istringstream words(text);
  std::string out, line, word;
  while (words >> word) {
    if (!line.empty() && line.size() + 1 + word.size() > width) {
      out += line + "\n";
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  return out + line;
}

CLI::App* addSubcommand(CLI::App& app, const char* name, const char* alias, const char* summary,
                        const std::string& details, const std::string& example) {
  CLI::App* sub = app.add_subcommand(name, summary);
  std::string footer = "\n" + wrapText(details, kHelpWidth) + "\n";
  if (alias) {
    sub->alias(alias);
    footer += "\n" + wrapText(std::string("The library export ") + alias +
                                  " is the same tool; its name is accepted here too.",
                              kHelpWidth) +
              "\n";
  }
  footer += "\nExample:\n  " + example + "\n";
  sub->footer(footer);
  return sub;
}

std::vector<unsigned char> readInput(const std::string& path) { return readWholeFile(path); }

}  // namespace vellmark::cli
