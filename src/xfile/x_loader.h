// The portable .x mesh loader: what the Direct3D 9 extension library's load-mesh-from-.x
// function yields for system-memory buffers (options 0x110) with materials requested.
// Text, binary and MSZIP-compressed files, 32- and 64-bit floats.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "xfile/mesh.h"

namespace vellmark::d3d {

// Loads the merged mesh and its materials. Returns kOk and fills `out`, or a failure code
// (describeResult gives its text) and leaves `out` as it was:
//   kInvalidData      the file cannot be read;
//   kBadFileType, kBadFileVersion, kBadFileFloatSize   a bad header;
//   kParseError       a syntax error, cut-off or undecodable data, values that do not fit
//                     the template of an object the loader reads;
//   kFail             no mesh with vertices, or mesh data that contradicts itself;
//   kInvalidCall      more than 65,535 merged vertices;
//   kOutOfMemory      more triangles than the loader builds, or no memory.
HResult loadMeshFromXFile(const std::string& path, LoadedMesh& out);
HResult loadMeshFromX(std::span<const std::uint8_t> file, LoadedMesh& out);

// The same, with a message saying what was wrong and where when the load fails.
HResult loadMeshFromXFile(const std::string& path, LoadedMesh& out, std::string& detail);
HResult loadMeshFromX(std::span<const std::uint8_t> file, LoadedMesh& out, std::string& detail);

}  // namespace vellmark::d3d
