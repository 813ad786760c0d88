// ExtractMSCourse: unpacks a course archive by content. Members are found by their zlib
// signature, not through the directory, inflated with the fixed 8:1 allowance, and written
// by kind under the output prefix + pass number + extension (archive/extraction_plan.h).
#pragma once

#include <array>
#include <string>
#include <vector>

#include "archive/member_kind.h"
#include "base/byte_reader.h"
#include "base/host.h"

namespace vellmark {

// What an extraction did, for the program's --summary; the tool itself reports nothing.
struct ExtractionSummary {
  int passes = 0;    // search passes that handed a chunk to inflation
  int inflated = 0;  // chunks that inflated within the allowance
  int failed = 0;    // chunks that did not (cut by a false signature, over 8:1, not zlib)
  std::array<int, 7> byKind{};  // inflated members by MemberKind, Unknown (dropped) included
  int btcRejected = 0;          // BTC members the converter refused (its box, no file)
  std::vector<std::string> btcErrors;  // BTC members too large to convert, with the reason
  int count(MemberKind kind) const { return byKind[static_cast<std::size_t>(kind)]; }
};

// The whole tool. Shows the warning box first, then runs the 2500 search passes over
// `archive` and writes every member it can; unwritable outputs are passed over. A BTC
// member the texture decoder rejects gets the "Invalid BTC File" box, in pass order.
// Members are inflated and written on up to `threads` threads; the files, their contents
// and the boxes are those of the one-thread run (a second panorama overwrites the first
// "Panorama.lib", as it does there).
ExtractionSummary extractCourse(Host& host, Bytes archive, const std::string& outputPrefix, unsigned threads);

}  // namespace vellmark
