#include "tools/contact_sheet_tool.h"

#include <memory>
#include <optional>

#include "archive/archive_members.h"
#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "btc/btc_file.h"
#include "btc/panorama_stream.h"
#include "image/contact_sheet.h"
#include "image/image_file.h"

namespace vellmark {

namespace {

struct Thumb {
  std::optional<SheetEntry> entry;
  std::string problem;  // why a picture member was not drawn
  bool picture = true;
};

// The member's picture, or nullopt for a member that holds none.
std::optional<Image> memberPicture(const UnpackedMember& member) {
  switch (member.kind) {
    case MemberKind::Tga:
    case MemberKind::Jpg:
      return decodeImage(member.data, member.name);
    case MemberKind::Btc:
      return decodeImage(convertBtcToTga(member.data), member.name);
    case MemberKind::Pan: {
      auto store = std::make_unique<TileStore>();
      return decodeImage(buildTiledPanorama(member.data, *store, member.name), member.name);
    }
    default:
      return std::nullopt;
  }
}

}  // namespace

ContactSheetReport writeContactSheet(const std::string& archivePath, const std::string& pngPath, unsigned threads) {
  const auto archive = readWholeFile(archivePath);
  const ArchiveUnpacker unpacker(archive, false);
  ContactSheetReport report;
  std::vector<SheetEntry> entries;
  runOrdered(
      unpacker.memberCount(), threads,
      [&](std::size_t i) {
        Thumb thumb;
        const UnpackedMember member = unpacker.member(i);
        if (member.status != UnpackedMember::Status::Ready) {
          thumb.picture = false;
          return thumb;
        }
        try {
          if (auto picture = memberPicture(member))
            thumb.entry = SheetEntry{member.name, makeThumbnail(*picture)};
          else
            thumb.picture = false;
        } catch (const Error& e) {
          thumb.problem = "member " + std::to_string(i) + ": " + e.what();
        }
        return thumb;
      },
      [&](std::size_t, Thumb thumb) {
        if (thumb.entry) {
          entries.push_back(std::move(*thumb.entry));
          ++report.pictures;
        } else if (thumb.picture) {
          report.skipped.push_back(thumb.problem);
        } else {
          ++report.otherMembers;
        }
      });
  if (!writeWholeFile(pngPath, encodePng(makeContactSheet(entries)))) fail(ErrorKind::Io, "cannot write '" + pngPath + "'");
  return report;
}

}  // namespace vellmark
