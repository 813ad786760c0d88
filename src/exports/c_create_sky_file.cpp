// C export: CreateSkyFile.
#include "exports/boundary.h"
#include "platform/export_host.h"
#include "base/error.h"
#include "base/ordered_parallel.h"
#include "tools/sky_file.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL CreateSkyFile(const char* previewTgaPath, const char* skyTgaPath,
                                              const char* outputFolder) {
  runExport("CreateSkyFile", [&] {
    if (!previewTgaPath || !skyTgaPath || !outputFolder) fail(ErrorKind::Argument, "a path argument is null");
    createSkyFile(exportHost(), previewTgaPath, skyTgaPath, outputFolder, defaultThreadCount());
  });
}

}  // extern "C"
