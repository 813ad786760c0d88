#include "cli/batch.h"

#include <cstdio>
#include <memory>

#include "base/ordered_parallel.h"
#include "cli/output_paths.h"
#include "cli/progress.h"

namespace vellmark::cli {

namespace {

struct ItemResult {
  BufferedHost said;
  std::string failure;  // empty when the item was converted
};

}  // namespace

int runBatch(ProgramHost& host, const std::vector<BatchItem>& items, const BatchOptions& options,
             const std::function<void(Host& host, const BatchItem& item)>& convert) {
  Progress progress(items.size() > 1 && !host.quiet(), items.size());
  std::size_t converted = 0, failed = 0;
  runOrdered(
      items.size(), options.threads,
      [&](std::size_t i) {
        const BatchItem& item = items[i];
        // BufferedHost holds a reference, so results travel by pointer.
        auto r = std::make_unique<ItemResult>(ItemResult{BufferedHost(host), {}});
        try {
          const auto before = item.output.empty() ? std::nullopt : stampOf(item.output);
          if (options.noClobber && before)
            throw OutputError("'" + item.output + "' exists and --no-clobber is given");
          convert(r->said, item);
          if (!r->said.firstError().empty()) throw OutputError(r->said.firstError());
          if (!item.output.empty()) requireWritten(item.output, before);
        } catch (const ToolExit& e) {
          r->failure = r->said.firstError().empty() ? "the tool ended with status " + std::to_string(e.status)
                                                    : r->said.firstError();
        } catch (const std::exception& e) {
          r->failure = e.what();
        }
        return r;
      },
      [&](std::size_t i, std::unique_ptr<ItemResult> r) {
        progress.clear();
        r->said.replay(host);
        if (r->failure.empty()) {
          ++converted;
        } else {
          ++failed;
          host.printError("vellmark: error: '" + items[i].input + "': " + r->failure + "\n");
        }
        progress.show(i + 1, items[i].input);
      });
  progress.clear();
  host.print(std::to_string(converted) + " converted, " + std::to_string(failed) + " failed\n");
  return failed > 0 ? 1 : 0;
}

}  // namespace vellmark::cli
