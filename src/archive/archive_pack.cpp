#include "archive/archive_pack.h"

#include <algorithm>
#include <limits>

#include "archive/archive_members.h"
#include "archive/zlib_member.h"

namespace vellmark {

void ArchivePacker::checkName(const std::string& name) {
  if (name.size() >= kArchiveNameFieldSize)
    fail(ErrorKind::Argument, "member name '" + name + "' is " + std::to_string(name.size()) +
                                  " bytes long; a course archive holds names of at most " +
                                  std::to_string(kArchiveNameFieldSize - 1));
  if (auto problem = memberNameProblem(name)) fail(ErrorKind::Argument, "member name '" + name + "': " + *problem);
}

void ArchivePacker::add(const std::string& name, Bytes data) {
  checkName(name);
  if (std::find(names_.begin(), names_.end(), name) != names_.end())
    fail(ErrorKind::Argument, "member name '" + name + "' is given twice");
  constexpr std::uint64_t kLimit = std::numeric_limits<std::uint32_t>::max();
  if (data.size() > kLimit)
    fail(ErrorKind::Unsupported, "member '" + name + "' of " + std::to_string(data.size()) +
                                     " bytes is larger than a course archive can record");
  const auto compressed = compressMember(data);
  const std::uint64_t total =
      std::uint64_t{writer_.header().totalSize} + compressed.size() + kArchiveRecordSize;
  if (total > kLimit)
    fail(ErrorKind::Unsupported, "adding member '" + name + "' makes the archive larger than 4 GiB");
  writer_.addMember(name, compressed, static_cast<std::uint32_t>(data.size()));
  names_.push_back(name);
}

std::vector<std::uint8_t> ArchivePacker::finish() && { return std::move(writer_).finish(); }

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
