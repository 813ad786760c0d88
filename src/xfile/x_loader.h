// The portable .x mesh loader: what the Direct3D 9 extension library's load-mesh-from-.x
// function yields for system-memory buffers (options 0x110) with materials requested.
// Text, binary and MSZIP-compressed files, 32- and 64-bit floats.
#pragma once

#include "base/byte_reader.h"
#include "xfile/mesh.h"

namespace vellmark::d3d {

// The merged mesh and its materials of the .x file `file`. Every failure raises
// vellmark::Error whose resultCode() is the code the extension library fails with
// (describeResult gives its text) and whose message says what was wrong and where:
//   kBadFileType, kBadFileVersion, kBadFileFloatSize   a bad header;
//   kParseError       a syntax error, cut-off or undecodable data, values that do not fit
//                     the template of an object the loader reads;
//   kFail             no mesh with vertices, or mesh data that contradicts itself;
//   kInvalidCall      more than 65,535 merged vertices;
//   kOutOfMemory      more triangles than the loader builds, or no memory.
LoadedMesh loadXFile(Bytes file);

}  // namespace vellmark::d3d
