#include "archive/extraction_plan.h"

#include "archive/course_archive.h"
#include "archive/vertex_list.h"
#include "archive/zlib_member.h"

namespace vellmark {

std::optional<Bytes> inflatePassChunk(Bytes archive, const MemberChunk& chunk, InflateScratch& scratch) {
  if (chunk.wholeBuffer()) return std::nullopt;
  return inflateChunk(archive.subspan(chunk.start, chunk.size()), kInflateAllowance * chunk.size(), scratch);
}

ExtractedMember planExtractedMember(Bytes member, const std::string& prefix, std::size_t pass) {
  ExtractedMember plan;
  plan.kind = classifyMember(member);
  const std::string numbered = prefix + std::to_string(pass);
  switch (plan.kind) {
    case MemberKind::Tga:
    case MemberKind::Wav:
    case MemberKind::Jpg:
      plan.path = numbered + memberKindExtension(plan.kind);
      break;
    case MemberKind::Btc:
      plan.path = numbered + memberKindExtension(MemberKind::Tga);
      break;
    case MemberKind::Vrt:
      plan.path = numbered + memberKindExtension(plan.kind);
      plan.vertexTextPath = plan.path + kVertexTextExtension;
      plan.vertexText = vertexListText(member);
      break;
    case MemberKind::Pan:
      plan.panoramaArchive = panoramaArchive(member);
      break;
    case MemberKind::Unknown:
      break;
  }
  return plan;
}

std::string panoramaArchivePath(const std::string& prefix) { return prefix + kPanoramaArchiveName; }

std::vector<std::uint8_t> panoramaArchive(Bytes panorama) {
  const auto compressed = compressMember(panorama);
  CourseArchiveWriter writer;
  // compressMember refuses members over 4 GiB, so the size fits its field.
  writer.addMember(kPanoramaMemberName, compressed, static_cast<std::uint32_t>(panorama.size()));
  return std::move(writer).finish();
}

}  // namespace vellmark
