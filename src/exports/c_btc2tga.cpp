// C export: BTC2TGA. The caller hands the whole file in memory with its length.
#include "exports/boundary.h"
#include "platform/export_host.h"
#include "base/error.h"
#include "tools/btc_to_tga.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL BTC2TGA(const void* fileData, const char* tgaPath, int fileLength) {
  runExport("BTC2TGA", [&] {
    if (fileLength < 0) fail(ErrorKind::Argument, "fileLength " + std::to_string(fileLength) + " is negative");
    if (!fileData && fileLength > 0) fail(ErrorKind::Argument, "fileData is null");
    if (!tgaPath) fail(ErrorKind::Argument, "tgaPath is null");
    const Bytes data(static_cast<const std::uint8_t*>(fileData), static_cast<std::size_t>(fileLength));
    btcToTga(exportHost(), data, tgaPath);
  });
}

}  // extern "C"
