// C export: FlipTgaFile. Like every export it hands its arguments to the tool's C++ function
// and lets the boundary keep exceptions inside the library.
#include <cstring>

#include "exports/boundary.h"
#include "platform/export_host.h"
#include "tools/flip_sky.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL FlipTgaFile(char* tgaPath) {
  runExport("FlipTgaFile", [&] {
    if (auto written = flipTgaFile(exportHost(), tgaPath)) std::strcpy(tgaPath, written->c_str());
  });
}

}  // extern "C"
