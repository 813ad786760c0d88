// Subcommands of the vellmark program: one per tool plus the archive utilities.
#pragma once

#include <string>
#include <vector>

#include "base/host.h"

namespace vellmark::cli {

struct Command {
  const char* name;
  const char* alias;  // the export's name, accepted as a synonym; may be null
  const char* arguments;
  const char* summary;
  int minArgs;
  int maxArgs;  // -1: no upper bound
  // Returns the exit status: 0 when the tool returned, 1 when it ended with 1.
  int (*run)(Host& host, const std::vector<std::string>& args);
};

const std::vector<Command>& commands();

// Reads a named input file whole for tools that take data in memory.
std::vector<unsigned char> readInput(const std::string& path);

}  // namespace vellmark::cli
