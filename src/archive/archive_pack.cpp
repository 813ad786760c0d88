#include "archive/archive_pack.h"

#include <algorithm>
#include <limits>

#include "archive/archive_members.h"
#include "archive/zlib_member.h"

namespace vellmark {

void checkPackName(const std::string& name) {
  if (name.size() >= kArchiveNameFieldSize)
    fail(ErrorKind::Argument, "member name '" + name + "' is " + std::to_string(name.size()) +
                                  " bytes long; a course archive holds names of at most " +
                                  std::to_string(kArchiveNameFieldSize - 1));
  if (auto problem = memberNameProblem(name)) fail(ErrorKind::Argument, "member name '" + name + "': " + *problem);
}

PackedMember packMember(const std::string& name, Bytes data) {
  if (data.size() > std::numeric_limits<std::uint32_t>::max())
    fail(ErrorKind::Unsupported, "member '" + name + "' of " + std::to_string(data.size()) +
                                     " bytes is larger than a course archive can record");
  return {compressMember(data), static_cast<std::uint32_t>(data.size())};
}

PackedMember packMemberFrom(const std::string& name, std::uint64_t size,
                            const std::function<std::size_t(std::uint8_t*, std::size_t)>& read) {
  if (size > std::numeric_limits<std::uint32_t>::max())
    fail(ErrorKind::Unsupported, "member '" + name + "' of " + std::to_string(size) +
                                     " bytes is larger than a course archive can record");
  return {compressMemberFrom(static_cast<std::uint32_t>(size), read), static_cast<std::uint32_t>(size)};
}

void ArchivePacker::add(const std::string& name, const PackedMember& member) {
  checkPackName(name);
  if (std::find(names_.begin(), names_.end(), name) != names_.end())
    fail(ErrorKind::Argument, "member name '" + name + "' is given twice");
  layout_.addMember(name, static_cast<std::uint32_t>(member.compressed.size()), member.size);
  names_.push_back(name);
}

std::vector<std::string> parsePackOrder(std::string_view text) {
  std::vector<std::string> names;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty()) continue;
    if (std::find(names.begin(), names.end(), line) != names.end())
      fail(ErrorKind::Argument, "order file names '" + std::string(line) + "' twice");
    names.emplace_back(line);
  }
  return names;
}

}  // namespace vellmark
