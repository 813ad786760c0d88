#include "tools/extract_course.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>

#include "archive/member_inflate.h"
#include "archive/member_search.h"
#include "archive/vertex_list.h"
#include "tools/messages.h"
#include "archive/course_archive.h"
#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "archive/zlib_member.h"
#include "btc/btc_file.h"
#include "tools/btc_to_tga.h"

namespace vellmark {

namespace {

// The host a pass's BTC conversion talks to. With worker threads its boxes are held until
// the pass is committed, so that they appear in pass order; otherwise they go straight
// through. Either way it counts them. Everything else goes to the real host.
class PassHost : public Host {
 public:
  struct Box {
    std::string caption, text;
  };
  PassHost(Host& host, bool defer) : host_(host), defer_(defer) {}
  std::vector<Box> held;
  int shown = 0;

  void messageBox(std::string_view caption, std::string_view text) override {
    ++shown;
    if (defer_)
      held.push_back({std::string(caption), std::string(text)});
    else
      host_.messageBox(caption, text);
  }
  std::string executablePath() override { return host_.executablePath(); }
  bool folderExists(const std::string& path) override { return host_.folderExists(path); }
  void createFolder(const std::string& path) override { host_.createFolder(path); }
  std::optional<std::string> openFileDialog(const std::string& initial) override {
    return host_.openFileDialog(initial);
  }
  void print(std::string_view text) override { host_.print(text); }
  [[noreturn]] void exitProcess(int status) override {
    host_.exitProcess(status);
    std::abort();  // not reached; the compiler does not carry [[noreturn]] through the virtual call
  }

 private:
  Host& host_;
  bool defer_;
};

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

struct PassOutcome {
  bool inflated = false;
  MemberKind kind = MemberKind::Unknown;
  std::vector<PassHost::Box> boxes;
  std::optional<std::vector<std::uint8_t>> panorama;  // written at commit: the last one wins
  bool btcRejected = false;
  std::string btcError;
};

std::string numberedName(const std::string& prefix, std::size_t pass, const char* extension) {
  return prefix + std::to_string(pass) + extension;
}

// Writes what one inflated member becomes. `host` receives the BTC converter's boxes.
void writeMember(PassHost& host, Bytes member, MemberKind kind, const std::string& prefix, std::size_t pass,
                 PassOutcome& outcome) {
  switch (kind) {
    case MemberKind::Tga:
    case MemberKind::Wav:
    case MemberKind::Jpg:
      (void)writeWholeFile(numberedName(prefix, pass, memberKindExtension(kind)), member);
      break;
    case MemberKind::Btc: {
      // The converter shows its own box for a file it cannot process; one too large to
      // convert is left out and named in the summary.
      const std::string path = numberedName(prefix, pass, memberKindExtension(MemberKind::Tga));
      try {
        btcToTga(host, member, path);
      } catch (const Error& e) {
        outcome.btcError = path + ": " + e.what();
      }
      outcome.btcRejected = host.shown > 0;
      break;
    }
    case MemberKind::Pan:
      outcome.panorama = panoramaArchive(member);
      break;
    case MemberKind::Vrt: {
      const std::string path = numberedName(prefix, pass, memberKindExtension(kind));
      (void)writeWholeFile(path, member);
      (void)writeTextFile(path + kVertexTextExtension, vertexListText(member));
      break;
    }
    case MemberKind::Unknown:
      break;  // recognised and deliberately dropped
  }
}

}  // namespace

std::vector<std::uint8_t> panoramaArchive(Bytes panorama) {
  const auto compressed = compressMember(panorama);
  CourseArchiveWriter writer;
  // compressMember refuses members over 4 GiB, so the size fits its field.
  writer.addMember(kPanoramaMemberName, compressed, static_cast<std::uint32_t>(panorama.size()));
  return std::move(writer).finish();
}

ExtractionSummary extractCourse(Host& host, Bytes archive, const std::string& outputPrefix, unsigned threads) {
  host.messageBox(messages::kWarningCaption, messages::kWarningText);

  const std::vector<MemberChunk> chunks = findMemberChunks(archive);
  const bool deferBoxes = threads > 1 && chunks.size() > 1;
  ScratchPool pool;
  ExtractionSummary summary;
  summary.passes = static_cast<int>(chunks.size());

  runOrdered(
      chunks.size(), threads,
      [&](std::size_t pass) {
        PassOutcome outcome;
        const MemberChunk chunk = chunks[pass];
        // The whole-buffer pass fails as inflation of an archive from its "ARC0" does; a
        // buffer that begins with a zlib stream instead would be a member below offset 16,
        // which the search never sees.
        if (chunk.wholeBuffer()) return outcome;
        auto scratch = pool.take();
        const auto member =
            inflateChunk(archive.subspan(chunk.start, chunk.size()), kInflateAllowance * chunk.size(), *scratch);
        if (member) {
          outcome.inflated = true;
          outcome.kind = classifyMember(*member);
          PassHost passHost(host, deferBoxes);
          writeMember(passHost, *member, outcome.kind, outputPrefix, pass, outcome);
          outcome.boxes = std::move(passHost.held);
        }
        pool.give(std::move(scratch));
        return outcome;
      },
      [&](std::size_t, PassOutcome outcome) {
        for (const auto& box : outcome.boxes) host.messageBox(box.caption, box.text);
        if (!outcome.inflated) {
          ++summary.failed;
          return;
        }
        ++summary.inflated;
        ++summary.byKind[static_cast<std::size_t>(outcome.kind)];
        if (outcome.panorama) (void)writeWholeFile(outputPrefix + kPanoramaArchiveName, *outcome.panorama);
        if (outcome.btcRejected) ++summary.btcRejected;
        if (!outcome.btcError.empty()) summary.btcErrors.push_back(std::move(outcome.btcError));
      });
  return summary;
}

}  // namespace vellmark
