#include "archive/archive_members.h"

#include <zlib.h>

#include <algorithm>
#include <array>
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

ArchiveHeader openCourseArchiveHeader(Bytes start) {
  const ArchiveHeader header = readArchiveHeader(start);
  if (header.magic != kArchiveMagic) {
    char shown[64];
    std::snprintf(shown, sizeof shown, "%02X %02X %02X %02X", start[0], start[1], start[2], start[3]);
    fail(ErrorKind::Corrupt, std::string("not a course archive: it begins with the bytes ") + shown +
                                 ", not \"ARC0\"");
  }
  return header;
}

ArchiveDirectory openCourseArchive(Bytes archive) {
  (void)openCourseArchiveHeader(archive);
  return readArchiveDirectory(archive);
}

// Inflates the first kKindPrefix bytes at most; a stream that is not valid up to there
// yields what came out before the fault.
struct MemberKindProbe::State {
  z_stream stream{};
  bool ready = inflateInit(&stream) == Z_OK;
  bool settled = !ready;
  std::array<std::uint8_t, kKindPrefix> out{};
  ~State() {
    if (ready) inflateEnd(&stream);
  }
};

MemberKindProbe::MemberKindProbe() : state_(std::make_unique<State>()) {
  state_->stream.next_out = state_->out.data();
  state_->stream.avail_out = static_cast<uInt>(kKindPrefix);
}

MemberKindProbe::~MemberKindProbe() = default;

bool MemberKindProbe::feed(Bytes more) {
  z_stream& s = state_->stream;
  while (!state_->settled && !more.empty()) {
    const auto piece = std::min<std::size_t>(more.size(), 0xFFFFFFFFu);
    s.next_in = const_cast<Bytef*>(more.data());
    s.avail_in = static_cast<uInt>(piece);
    const int status = inflate(&s, Z_SYNC_FLUSH);
    more = more.subspan(piece - s.avail_in);
    state_->settled = s.avail_out == 0 || (status != Z_OK && status != Z_BUF_ERROR) || s.avail_in > 0;
    if (s.avail_in == piece) break;  // no progress: the stream wants nothing more of these bytes
  }
  return state_->settled;
}

MemberKind MemberKindProbe::kind() const {
  if (!state_->ready) return classifyMember({});
  return classifyMember(Bytes(state_->out.data(), kKindPrefix - state_->stream.avail_out));
}

std::vector<MemberListing> listArchiveMembers(const ArchiveDirectory& directory, const MemberFeeder& feed) {
  std::vector<MemberListing> lines;
  lines.reserve(directory.records.size());
  for (std::size_t i = 0; i < directory.records.size(); ++i) {
    MemberListing line;
    line.index = i;
    line.record = directory.records[i];
    MemberKindProbe probe;
    feed(line.record, probe);
    line.kind = probe.kind();
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<MemberListing> listArchive(Bytes archive, const ArchiveDirectory& directory) {
  return listArchiveMembers(directory, [&](const ArchiveRecord& record, MemberKindProbe& probe) {
    probe.feed(memberData(archive, record));
  });
}

ArchiveUnpacker::ArchiveUnpacker(Bytes archive, bool convert, bool picturesAsPng)
    : ArchiveUnpacker(openCourseArchive(archive), convert, picturesAsPng) {
  archive_ = archive;
}

ArchiveUnpacker::ArchiveUnpacker(ArchiveDirectory directory, bool convert, bool picturesAsPng)
    : convert_(convert), picturesAsPng_(picturesAsPng), directory_(std::move(directory)) {
  refusals_.reserve(directory_.records.size());
  for (std::size_t i = 0; i < directory_.records.size(); ++i) {
    const std::string& name = directory_.records[i].name;
    if (auto problem = memberNameProblem(name)) {
      refusals_.push_back(*problem);
    } else if (auto earlier = usableNames_.insert(name)) {
      refusals_.push_back(*earlier == name ? std::string("an earlier member has the same name")
                                           : "an earlier member is named '" + printableName(*earlier) +
                                                 "', the same name but for case");
    } else {
      refusals_.emplace_back();
    }
  }
}

UnpackedMember ArchiveUnpacker::member(std::size_t index) const {
  return member(index, memberData(archive_, directory_.records.at(index)));
}

UnpackedMember ArchiveUnpacker::member(std::size_t index, Bytes compressed) const {
  const ArchiveRecord& record = directory_.records.at(index);
  UnpackedMember out;
  out.index = index;
  out.name = record.name;
  if (!refusals_[index].empty()) {
    out.status = UnpackedMember::Status::Refused;
    out.problem = refusals_[index];
    return out;
  }
  if (record.uncompressedSize > std::uint64_t{record.compressedSize} * kMaxDeflateRatio) {
    out.problem = "records " + std::to_string(record.uncompressedSize) + " bytes inflated from " +
                  std::to_string(record.compressedSize) + " compressed, more than zlib can produce";
    return out;
  }
  const std::uint64_t room = std::uint64_t{record.uncompressedSize} + 1;
  InflateResult inflated;
  try {
    if (room > std::numeric_limits<std::size_t>::max()) throw std::bad_alloc();
    inflated = inflateBounded(compressed, static_cast<std::size_t>(room));
  } catch (const std::bad_alloc&) {
    out.problem = "not enough memory to inflate " + std::to_string(record.uncompressedSize) + " bytes";
    return out;
  }
  if (!inflated.ok() || inflated.length != record.uncompressedSize) {
    out.problem = zlibProblem(inflated, record.uncompressedSize);
    return out;
  }
  out.status = UnpackedMember::Status::Ready;
  out.data = std::move(inflated.buffer);
  out.kind = classifyMember(out.data);
  if (!convert_) return out;

  auto derived = [&](const char* suffix) -> std::optional<std::string> {
    std::string name = record.name + suffix;
    if (usableNames_.contains(name)) {
      out.conversionProblem = "its converted file '" + printableName(name) + "' would overwrite the member of that name";
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
