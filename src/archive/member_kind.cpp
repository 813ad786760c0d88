#include "archive/member_kind.h"

#include <cstring>

namespace vellmark {

namespace {

bool startsWith(std::span<const std::uint8_t> data, std::size_t at, const char* tag, std::size_t n) {
  return data.size() >= at + n && std::memcmp(data.data() + at, tag, n) == 0;
}

}  // namespace

MemberKind classifyMember(std::span<const std::uint8_t> data) {
  if (startsWith(data, 0, "\x00\x00\x02\x00", 4)) return MemberKind::Tga;
  if (startsWith(data, 0, "RIFF", 4)) return MemberKind::Wav;
  if (startsWith(data, 0, "BTCV", 4)) return MemberKind::Btc;
  if (startsWith(data, 0, "nap\x00", 4)) return MemberKind::Pan;
  if (startsWith(data, 6, "JFIF", 4)) return MemberKind::Jpg;
  if (startsWith(data, 0, "\x02\x00\x00\x00\x02\x00\x00\x00", 8)) return MemberKind::Vrt;
  return MemberKind::Unknown;
}

const char* memberKindExtension(MemberKind kind) {
  switch (kind) {
    case MemberKind::Tga: return ".tga";
    case MemberKind::Wav: return ".wav";
    case MemberKind::Btc: return ".btc";
    case MemberKind::Pan: return ".pan";
    case MemberKind::Jpg: return ".jpg";
    case MemberKind::Vrt: return ".vrt";
    case MemberKind::Unknown: break;
  }
  return ".DNP";
}

const char* memberKindName(MemberKind kind) {
  switch (kind) {
    case MemberKind::Tga: return "tga";
    case MemberKind::Wav: return "wav";
    case MemberKind::Btc: return "btc";
    case MemberKind::Pan: return "pan";
    case MemberKind::Jpg: return "jpg";
    case MemberKind::Vrt: return "vrt";
    case MemberKind::Unknown: break;
  }
  return "unknown";
}

}  // namespace vellmark
