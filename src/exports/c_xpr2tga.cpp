// C export: xpr2tga.
#include "exports/boundary.h"
#include "platform/export_host.h"
#include "vellmark/vellmark.h"
#include "tools/xpr_to_tga.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL xpr2tga(const char* xprPath, const char* textureBaseName) {
  runExport("xpr2tga", [&] { xprToTga(exportHost(), xprPath, textureBaseName); });
}

}  // extern "C"
