// What kind of file an inflated course-archive member holds, judged from its first bytes in
// the order the game's extractor tests them. Shared by the extractor and the archive tools.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vellmark {

enum class MemberKind { Tga, Wav, Btc, Pan, Jpg, Vrt, Unknown };

// The first test that holds wins: 00 00 02 00 (TGA), "RIFF", "BTCV", "nap\0", "JFIF" at
// offset 6, words 2 and 2 (vertex list); anything else, and data too short for a test, is
// Unknown.
MemberKind classifyMember(std::span<const std::uint8_t> inflated);

// The extension the extractor gives the kind (".tga", ".wav", ".btc", ".pan", ".jpg",
// ".vrt", ".DNP").
const char* memberKindExtension(MemberKind kind);

// Short lower-case name for listings: tga, wav, btc, pan, jpg, vrt, unknown.
const char* memberKindName(MemberKind kind);

}  // namespace vellmark
