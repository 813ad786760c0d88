// Several inputs through one converter: one worker per core, messages in input order, a
// failed input reported and passed over, and a tally at the end.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/host.h"
#include "cli/program_host.h"

namespace vellmark::cli {

struct BatchItem {
  std::string input;
  std::string output;  // checked after the conversion; empty when the converter names its own files
};

struct BatchOptions {
  bool noClobber = false;
  unsigned threads = 1;
};

// Runs convert(host, item) for every item; an exception or an error box fails the item.
// Prints "N converted, M failed" and returns the exit status: 1 when any item failed.
int runBatch(ProgramHost& host, const std::vector<BatchItem>& items, const BatchOptions& options,
             const std::function<void(Host& host, const BatchItem& item)>& convert);

}  // namespace vellmark::cli
