#include "tools/extract_course.h"

#include <memory>
#include <mutex>

#include "archive/extraction_plan.h"
#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "btc/btc_file.h"
#include "tools/messages.h"

namespace vellmark {

namespace {

// Destination buffers for the workers, handed out one per running pass.
class ScratchPool {
 public:
  std::unique_ptr<InflateScratch> take() {
    std::lock_guard lock(mutex_);
    if (free_.empty()) return std::make_unique<InflateScratch>();
    auto scratch = std::move(free_.back());
    free_.pop_back();
    return scratch;
  }
  void give(std::unique_ptr<InflateScratch> scratch) {
    std::lock_guard lock(mutex_);
    free_.push_back(std::move(scratch));
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<InflateScratch>> free_;
};

// A pass's work done on a worker; what must appear in pass order (the box, the panorama,
// which a later one overwrites) waits for the commit.
struct PassOutcome {
  bool inflated = false;
  MemberKind kind = MemberKind::Unknown;
  bool btcRejected = false;
  std::string btcError;
  std::vector<std::uint8_t> panoramaArchive;
};

void writeMember(const ExtractedMember& plan, Bytes member, PassOutcome& outcome) {
  if (plan.kind == MemberKind::Btc) {
    // A texture too large to convert is left out and named in the summary; one the
    // converter cannot read gets the box at its pass.
    try {
      (void)writeWholeFile(plan.path, convertBtcToTga(member));
    } catch (const Error& e) {
      if (e.kind() == ErrorKind::Unsupported)
        outcome.btcError = plan.path + ": " + e.what();
      else
        outcome.btcRejected = true;
    }
    return;
  }
  if (!plan.path.empty()) (void)writeWholeFile(plan.path, member);
  if (!plan.vertexTextPath.empty()) (void)writeTextFile(plan.vertexTextPath, plan.vertexText);
}

}  // namespace

ExtractionSummary extractCourse(Host& host, Bytes archive, const std::string& outputPrefix, unsigned threads) {
  host.messageBox(messages::kWarningCaption, messages::kWarningText);

  const std::vector<MemberChunk> chunks = findMemberChunks(archive);
  ScratchPool pool;
  ExtractionSummary summary;
  summary.passes = static_cast<int>(chunks.size());

  runOrdered(
      chunks.size(), threads,
      [&](std::size_t pass) {
        PassOutcome outcome;
        auto scratch = pool.take();
        if (const auto member = inflatePassChunk(archive, chunks[pass], *scratch)) {
          ExtractedMember plan = planExtractedMember(*member, outputPrefix, pass);
          outcome.inflated = true;
          outcome.kind = plan.kind;
          writeMember(plan, *member, outcome);
          outcome.panoramaArchive = std::move(plan.panoramaArchive);
        }
        pool.give(std::move(scratch));
        return outcome;
      },
      [&](std::size_t, PassOutcome outcome) {
        if (outcome.btcRejected) host.messageBox(messages::kInvalidBtcCaption, messages::kInvalidBtcText);
        if (!outcome.inflated) {
          ++summary.failed;
          return;
        }
        ++summary.inflated;
        ++summary.byKind[static_cast<std::size_t>(outcome.kind)];
        if (outcome.kind == MemberKind::Pan)
          (void)writeWholeFile(panoramaArchivePath(outputPrefix), outcome.panoramaArchive);
        if (outcome.btcRejected) ++summary.btcRejected;
        if (!outcome.btcError.empty()) summary.btcErrors.push_back(std::move(outcome.btcError));
      });
  return summary;
}

}  // namespace vellmark
