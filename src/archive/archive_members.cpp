#include "archive/archive_members.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <limits>
#include <new>

#include "archive/vertex_list.h"
#include "archive/zlib_member.h"

namespace vellmark {

namespace {

// Enough of the inflated member for every test of classifyMember ("JFIF" at offset 6 is
// the furthest one).
constexpr std::size_t kKindPrefix = 16;

// Inflates at most `limit` bytes from the start of a zlib stream; a stream that is not
// valid up to there yields what came out before the fault.
std::vector<std::uint8_t> inflatePrefix(Bytes compressed, std::size_t limit) {
  std::vector<std::uint8_t> out(limit);
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return {};
  std::uint8_t none = 0;
  stream.next_in = const_cast<Bytef*>(compressed.empty() ? &none : compressed.data());
  stream.avail_in = static_cast<uInt>(std::min<std::size_t>(compressed.size(), 0xFFFFFFFFu));
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  (void)inflate(&stream, Z_SYNC_FLUSH);
  out.resize(out.size() - stream.avail_out);
  inflateEnd(&stream);
  return out;
}

std::string upper(std::string_view s) {
  std::string out(s);
  for (auto& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

bool isDeviceName(std::string_view name) {
  const std::string stem = upper(name.substr(0, name.find('.')));
  static const char* const kDevices[] = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
  for (const char* d : kDevices)
    if (stem == d) return true;
  return stem.size() == 4 && (stem.starts_with("COM") || stem.starts_with("LPT")) && stem[3] >= '0' &&
         stem[3] <= '9';
}

// `result` comes from inflating into one byte more than the recorded size, so that a
// member that goes on past its size tells itself apart from one whose stream is cut.
std::string zlibProblem(const InflateResult& result, std::uint32_t recorded) {
  const std::string size = std::to_string(recorded);
  if (result.length > recorded) return "inflates to more than its recorded " + size + " bytes";
  if (result.ok()) return "inflates to " + std::to_string(result.length) + " bytes, not the recorded " + size;
  if (result.status == Z_MEM_ERROR) return "not enough memory to inflate " + size + " bytes";
  return "is not a complete zlib stream";
}

}  // namespace

ArchiveDirectory openCourseArchive(Bytes archive) {
  const ArchiveHeader header = readArchiveHeader(archive);
  if (header.magic != kArchiveMagic) {
    char shown[64];
    std::snprintf(shown, sizeof shown, "%02X %02X %02X %02X", archive[0], archive[1], archive[2], archive[3]);
    fail(ErrorKind::Corrupt, std::string("not a course archive: it begins with the bytes ") + shown +
                                 ", not \"ARC0\"");
  }
  return readArchiveDirectory(archive);
}

std::vector<MemberListing> listArchive(Bytes archive, const ArchiveDirectory& directory) {
  std::vector<MemberListing> lines;
  lines.reserve(directory.records.size());
  for (std::size_t i = 0; i < directory.records.size(); ++i) {
    MemberListing line;
    line.index = i;
    line.record = directory.records[i];
    line.kind = classifyMember(inflatePrefix(memberData(archive, line.record), kKindPrefix));
    lines.push_back(std::move(line));
  }
  return lines;
}

std::optional<std::string> memberNameProblem(std::string_view name) {
  if (name.empty()) return "the name is empty";
  if (name == "." || name.find("..") != std::string_view::npos) return "the name contains \"..\"";
  for (unsigned char c : name) {
    if (c < 0x20 || c == 0x7F) return "the name contains a control character";
    if (c == '/' || c == '\\') return "the name contains a path separator";
  }
  if (name.size() >= 2 && std::isalpha(static_cast<unsigned char>(name[0])) && name[1] == ':')
    return "the name begins with a drive letter";
  if (name.find(':') != std::string_view::npos) return "the name contains ':'";
  if (name.find_first_of("<>\"|?*") != std::string_view::npos)
    return "the name contains one of < > \" | ? *, which Windows does not allow";
  if (name.back() == '.' || name.back() == ' ') return "the name ends in a dot or a blank";
  if (isDeviceName(name)) return "the name is a Windows device name";
  return std::nullopt;
}

ArchiveUnpacker::ArchiveUnpacker(Bytes archive, bool convert, bool picturesAsPng)
    : archive_(archive), convert_(convert), picturesAsPng_(picturesAsPng), directory_(openCourseArchive(archive)) {
  refusals_.reserve(directory_.records.size());
  for (std::size_t i = 0; i < directory_.records.size(); ++i) {
    const std::string& name = directory_.records[i].name;
    if (auto problem = memberNameProblem(name)) {
      refusals_.push_back(*problem);
    } else if (!usableNames_.insert(name).second) {
      refusals_.push_back("an earlier member has the same name");
    } else {
      refusals_.emplace_back();
    }
  }
}

UnpackedMember ArchiveUnpacker::member(std::size_t index) const {
  const ArchiveRecord& record = directory_.records.at(index);
  UnpackedMember out;
  out.index = index;
  out.name = record.name;
  if (!refusals_[index].empty()) {
    out.status = UnpackedMember::Status::Refused;
    out.problem = refusals_[index];
    return out;
  }
  const Bytes compressed = memberData(archive_, record);
  if (record.uncompressedSize > std::uint64_t{record.compressedSize} * kMaxDeflateRatio) {
    out.problem = "records " + std::to_string(record.uncompressedSize) + " bytes inflated from " +
                  std::to_string(record.compressedSize) + " compressed, more than zlib can produce";
    return out;
  }
  const std::uint64_t room = std::uint64_t{record.uncompressedSize} + 1;
  InflateResult inflated;
  try {
    if (room > std::numeric_limits<std::size_t>::max()) throw std::bad_alloc();
    inflated = inflateMember(compressed, static_cast<std::size_t>(room));
  } catch (const std::bad_alloc&) {
    out.problem = "not enough memory to inflate " + std::to_string(record.uncompressedSize) + " bytes";
    return out;
  }
  if (!inflated.ok() || inflated.length != record.uncompressedSize) {
    out.problem = zlibProblem(inflated, record.uncompressedSize);
    return out;
  }
  inflated.buffer.resize(inflated.length);
  out.status = UnpackedMember::Status::Ready;
  out.data = std::move(inflated.buffer);
  out.kind = classifyMember(out.data);
  if (!convert_) return out;

  auto derived = [&](const char* suffix) -> std::optional<std::string> {
    std::string name = record.name + suffix;
    if (usableNames_.count(name)) {
      out.conversionProblem = "its converted file '" + name + "' would overwrite the member of that name";
      return std::nullopt;
    }
    return name;
  };
  if (picturesAsPng_ && (out.kind == MemberKind::Btc || out.kind == MemberKind::Tga)) {
    out.pngName = derived(".png");
  } else if (out.kind == MemberKind::Btc) {
    out.btcTgaName = derived(".tga");
  } else if (out.kind == MemberKind::Vrt) {
    out.vertexTextName = derived(".txt");
    if (out.vertexTextName) out.vertexText = vertexListText(out.data);
  }
  return out;
}

}  // namespace vellmark
