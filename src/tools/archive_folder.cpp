#include "tools/archive_folder.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "archive/archive_members.h"
#include "archive/archive_pack.h"
#include "base/file_io.h"
#include "base/file_names.h"
#include "base/input_file.h"
#include "base/ordered_parallel.h"
#include "tools/archive_file.h"
#include "btc/btc_file.h"
#include "image/image_file.h"
#include "tools/convert_picture.h"
#include "tools/messages.h"

namespace vellmark {

namespace fs = std::filesystem;

namespace {

std::string memberLabel(const UnpackedMember& m) { return "member " + std::to_string(m.index) + " '" + printableName(m.name) + "'"; }

// Writes one file of the unpack, refusing to follow a symbolic link that is already there
// (it could point anywhere).
std::optional<std::string> writeInside(const fs::path& folder, const std::string& name, Bytes data) {
  const fs::path target = folder / name;
  std::error_code ec;
  if (fs::is_symlink(fs::symlink_status(target, ec)))
    return std::string("'").append(printableName(name)) + "' is a symbolic link in the output folder; not written through it";
  if (!writeWholeFile(target.string(), data)) return std::string("cannot write '").append(printableName(target.string())) + "'";
  return std::nullopt;
}

// Converts as the BTC2TGA tool does: a texture the decoder rejects gets its message box and
// no file.
std::optional<std::string> convertBtc(Host& host, const fs::path& folder, const std::string& name, Bytes data) {
  const fs::path target = folder / name;
  std::error_code ec;
  if (fs::is_symlink(fs::symlink_status(target, ec)))
    return std::string("'").append(printableName(name)) + "' is a symbolic link in the output folder; not written through it";
  fs::remove(target, ec);  // so that a file of an earlier run does not pass for this one's
  std::vector<std::uint8_t> image;
  try {
    image = convertBtcToTga(data);
  } catch (const Error& e) {
    if (e.kind() == ErrorKind::Unsupported) return std::string(e.what());
    host.messageBox(messages::kInvalidBtcCaption, messages::kInvalidBtcText);
    return "BTC2TGA made no '" + printableName(name) + "'";
  }
  if (!writeWholeFile(target.string(), image)) return "BTC2TGA made no '" + printableName(name) + "'";
  return std::nullopt;
}

std::optional<std::string> convertToPng(const fs::path& folder, const std::string& name, Bytes data) {
  std::vector<std::uint8_t> png;
  try {
    png = encodePng(readPicture(data, "'" + name + "'"));
  } catch (const Error& e) {
    return std::string(e.what());
  }
  return writeInside(folder, name, png);
}

Bytes textBytes(const std::string& text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

}  // namespace

namespace {

// The writing half of both unpacks; `memberAt` decides member i in memory.
UnpackReport writeMembers(Host& host, std::size_t count, const std::function<UnpackedMember(std::size_t)>& memberAt,
                          const std::string& folder, const MemberProgress& onMember = {}) {
  const fs::path out(folder);
  std::error_code ec;
  fs::create_directories(out, ec);
  if (!fs::is_directory(out)) fail(ErrorKind::Io, "cannot make the output folder '" + folder + "'");

  UnpackReport report;
  for (std::size_t i = 0; i < count; ++i) {
    const UnpackedMember m = memberAt(i);
    if (onMember) onMember(i + 1, count, m.name);
    if (m.status == UnpackedMember::Status::Refused) {
      ++report.refused;
      report.problems.push_back(memberLabel(m) + " refused: " + m.problem);
      continue;
    }
    if (m.status == UnpackedMember::Status::Failed) {
      ++report.failed;
      report.problems.push_back(memberLabel(m) + " failed: " + m.problem);
      continue;
    }
    if (auto problem = writeInside(out, m.name, m.data)) {
      ++report.failed;
      report.problems.push_back(memberLabel(m) + " failed: " + *problem);
      continue;
    }
    ++report.written;
    if (!m.conversionProblem.empty())
      report.problems.push_back(memberLabel(m) + " not converted: " + m.conversionProblem);
    if (m.btcTgaName) {
      if (auto problem = convertBtc(host, out, *m.btcTgaName, m.data))
        report.problems.push_back(memberLabel(m) + " not converted: " + *problem);
      else
        ++report.converted;
    }
    if (m.pngName) {
      if (auto problem = convertToPng(out, *m.pngName, m.data))
        report.problems.push_back(memberLabel(m) + " not converted: " + *problem);
      else
        ++report.converted;
    }
    if (m.vertexTextName) {
      if (auto problem = writeInside(out, *m.vertexTextName, textBytes(m.vertexText)))
        report.problems.push_back(memberLabel(m) + " not converted: " + *problem);
      else
        ++report.converted;
    }
  }
  return report;
}

}  // namespace

UnpackReport unpackArchive(Host& host, Bytes archive, const std::string& folder, bool convert, bool picturesAsPng) {
  const ArchiveUnpacker unpacker(archive, convert, picturesAsPng);
  return writeMembers(host, unpacker.memberCount(), [&](std::size_t i) { return unpacker.member(i); }, folder);
}

UnpackReport unpackArchive(Host& host, const InputFile& archive, const std::string& folder, bool convert,
                           bool picturesAsPng, const MemberProgress& onMember) {
  const ArchiveUnpacker unpacker(readCourseArchiveDirectory(archive), convert, picturesAsPng);
  return writeMembers(
      host, unpacker.memberCount(),
      [&](std::size_t i) { return unpacker.member(i, readMemberData(archive, unpacker.directory().records[i])); },
      folder, onMember);
}

namespace {

// One member read in pieces and compressed; a symbolic link is refused rather than followed.
PackedMember packFile(const std::string& path, const std::string& name) {
  std::error_code ec;
  if (fs::is_symlink(fs::symlink_status(path, ec)))
    fail(ErrorKind::Io, "cannot open input file '" + path + "': a symbolic link, not a file");
  const InputFile file(path);
  std::uint64_t at = 0;
  return packMemberFrom(name, file.size(), [&](std::uint8_t* buffer, std::size_t n) {
    const auto piece = file.readAt(at, n);
    std::copy(piece.begin(), piece.end(), buffer);
    at += piece.size();
    return piece.size();
  });
}

}  // namespace

PackReport packFolder(const std::string& folder, const std::string& archivePath, const PackOptions& options) {
  const fs::path in(folder);
  std::error_code ec;
  if (!fs::is_directory(in, ec)) fail(ErrorKind::Io, "'" + folder + "' is not a folder");

  PackReport report;
  std::vector<std::string> names;
  if (options.orderFile) {
    const auto text = readWholeFile(*options.orderFile);
    names = parsePackOrder({reinterpret_cast<const char*>(text.data()), text.size()});
  } else {
    for (const auto& entry : fs::directory_iterator(in)) {
      const std::string name = entry.path().filename().string();
      if (!entry.is_regular_file() || entry.is_symlink()) {
        report.skipped.push_back(name);
        continue;
      }
      if (fs::equivalent(entry.path(), archivePath, ec)) continue;
      names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    std::sort(report.skipped.begin(), report.skipped.end());
  }
  // Every name is checked before any file is opened: an order file may name "../x".
  for (const auto& name : names) checkPackName(name);

  ArchivePacker packer;
  OutputFile out(archivePath);
  bool written = out.write(packer.layout().headerBytes());
  // One member in hand per thread and one more, so that a thread done with a small member can
  // start the next while a large one is still being compressed; each is read in pieces and
  // held only compressed, so memory stays near a compressed member per thread.
  runOrdered(
      names.size(), options.threads,
      [&](std::size_t i) { return packFile((in / names[i]).string(), names[i]); },
      [&](std::size_t i, PackedMember member) {
        packer.add(names[i], member);
        written = written && out.write(member.compressed);
        if (options.onMember) options.onMember(i + 1, names.size(), names[i]);
      },
      std::size_t{options.threads} + 1);
  written = written && out.write(packer.layout().directoryBytes()) && out.writeAt(0, packer.layout().headerBytes());
  if (!written || !out.commit()) fail(ErrorKind::Io, "cannot write the archive '" + archivePath + "'");
  report.members = packer.memberCount();
  return report;
}

}  // namespace vellmark
