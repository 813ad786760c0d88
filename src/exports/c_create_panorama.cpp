// C export: CreatePanorama. The caller hands the archive without its length; the archive's
// own header says how far it reaches (its directory ends it), and nothing beyond that is read.
#include <cstdint>

#include "exports/boundary.h"
#include "platform/export_host.h"
#include "archive/course_archive.h"
#include "base/error.h"
#include "tools/panorama.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL CreatePanorama(const void* archive, int /*unused*/, const char* outputFolder) {
  runExport("CreatePanorama", [&] {
    if (!archive) fail(ErrorKind::Argument, "archive is null");
    if (!outputFolder) fail(ErrorKind::Argument, "outputFolder is null");
    const auto* bytes = static_cast<const std::uint8_t*>(archive);
    const std::uint64_t extent = describedArchiveSize(readArchiveHeader(Bytes(bytes, kArchiveHeaderSize)));
    if (extent > static_cast<std::uint64_t>(SIZE_MAX / 2))
      fail(ErrorKind::Corrupt, "course archive header describes " + std::to_string(extent) + " bytes");
    createPanorama(exportHost(), Bytes(bytes, static_cast<std::size_t>(extent)), outputFolder);
  });
}

}  // extern "C"
