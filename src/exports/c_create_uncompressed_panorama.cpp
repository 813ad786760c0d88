// C export: CreateUncompressedPanorama. The caller hands the stream without its length; its
// header and record lengths say how far it reaches.
#include "exports/boundary.h"
#include "platform/export_host.h"
#include "base/error.h"
#include "tools/panorama.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL CreateUncompressedPanorama(const void* stream, int /*unused*/,
                                                           const char* outputFolder) {
  runExport("CreateUncompressedPanorama", [&] {
    if (!stream) fail(ErrorKind::Argument, "stream is null");
    if (!outputFolder) fail(ErrorKind::Argument, "outputFolder is null");
    const auto* bytes = static_cast<const std::uint8_t*>(stream);
    createUncompressedPanorama(exportHost(), Bytes(bytes, describedTiledPanoramaSize(bytes)), outputFolder);
  });
}

}  // extern "C"
