// The eight C functions of Vellmark.dll and libvellmark.so. Each one hands its arguments to
// the tool's C++ function; the boundary keeps exceptions inside.
#include <cstring>

#include "exports/export_boundary.h"
#include "exports/host.h"
#include "sky/flip_sky.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL FlipTgaFile(char* tgaPath) {
  runExport("FlipTgaFile", [&] {
    if (auto written = flipTgaFile(exportHost(), tgaPath)) std::strcpy(tgaPath, written->c_str());
  });
}

}  // extern "C"
