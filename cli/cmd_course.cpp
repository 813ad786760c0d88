#include <algorithm>
#include <cstdio>

#include "cli/commands.h"
#include "tools/extract_course.h"
#include "base/ordered_parallel.h"

namespace vellmark::cli {

namespace {

std::string summaryText(const ExtractionSummary& s) {
  const int btcWritten = s.count(MemberKind::Btc) - s.btcRejected - static_cast<int>(s.btcErrors.size());
  char text[512];
  std::snprintf(text, sizeof text,
                "members found: %d (%d inflated, %d did not inflate)\n"
                "files written: %d tga, %d tga from btc, %d wav, %d jpg, %d vrt (each with .vrt.txt), "
                "%d panorama (Panorama.lib)\n"
                "members skipped: %d of unknown kind, %d btc the converter refused, %d did not inflate\n",
                s.passes, s.inflated, s.failed, s.count(MemberKind::Tga), btcWritten, s.count(MemberKind::Wav),
                s.count(MemberKind::Jpg), s.count(MemberKind::Vrt), s.count(MemberKind::Pan),
                s.count(MemberKind::Unknown), s.btcRejected + static_cast<int>(s.btcErrors.size()), s.failed);
  std::string out = text;
  for (const auto& e : s.btcErrors) out += "btc not converted: " + e + "\n";
  return out;
}

}  // namespace

int runExtract(Host& host, const std::vector<std::string>& args) {
  std::vector<std::string> rest = args;
  const auto flag = std::find(rest.begin(), rest.end(), "--summary");
  const bool summary = flag != rest.end();
  if (summary) rest.erase(flag);
  if (rest.size() != 2) fail(ErrorKind::Argument, "extract takes [--summary] ARCHIVE OUTPUT_PREFIX");
  const auto archive = readInput(rest[0]);
  const auto result = extractCourse(host, archive, rest[1], defaultThreadCount());
  if (summary) host.print(summaryText(result));
  return 0;
}

}  // namespace vellmark::cli
