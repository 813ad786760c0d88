// What the game's extractor makes of a course archive found by content: the member each
// search pass yields and the files it becomes, named output prefix + pass number +
// extension. Decided in memory; the extraction tool inflates, converts and writes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "archive/member_inflate.h"
#include "archive/member_kind.h"
#include "archive/member_search.h"
#include "base/byte_reader.h"

namespace vellmark {

inline constexpr char kPanoramaArchiveName[] = "Panorama.lib";
inline constexpr char kPanoramaMemberName[] = "Panorama.btc";
inline constexpr char kVertexTextExtension[] = ".txt";

// The member pass `chunk` yields: the chunk inflated within kInflateAllowance times its
// length, or nullopt. The whole-buffer pass yields none: inflating an archive from its
// "ARC0" fails, and a buffer that begins with a zlib stream instead would hold a member
// below offset 16, which the search never sees. The bytes live in `scratch` until its
// next use.
std::optional<Bytes> inflatePassChunk(Bytes archive, const MemberChunk& chunk, InflateScratch& scratch);

// The files one inflated member becomes.
struct ExtractedMember {
  MemberKind kind = MemberKind::Unknown;
  // The member as it stands (Tga, Wav, Jpg, Vrt) or, for Btc, the TGA image the caller
  // converts it to (the texture decoder belongs to another folder); empty for Pan and
  // Unknown (a panorama goes into the one panorama archive, an unknown kind is dropped).
  std::string path;
  std::string vertexTextPath;  // Vrt only: path + ".txt", holding vertexText
  std::string vertexText;
  std::vector<std::uint8_t> panoramaArchive;  // Pan only: the content of panoramaArchivePath
};

ExtractedMember planExtractedMember(Bytes member, const std::string& prefix, std::size_t pass);

// Where every panorama member goes; a later one overwrites an earlier one.
std::string panoramaArchivePath(const std::string& prefix);

// The one-member course archive "Panorama.lib" for an inflated panorama member: header
// "ARC0", compressed size + 80, 1, compressed size + 16; the member from offset 16; one
// record "Panorama.btc", data offset 16, storage kind 2.
std::vector<std::uint8_t> panoramaArchive(Bytes panorama);

}  // namespace vellmark
