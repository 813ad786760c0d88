// Result codes of the .x file layer beside the ones in mesh.h, and the texts that the
// DirectX error-description function gives for every code the mesh tool can meet.
#pragma once

#include <string>

#include "xfile/mesh.h"

namespace vellmark::d3d {

// .x file layer codes (facility 0x876, numbers 905-914).
inline constexpr HResult kFileNotFound = static_cast<HResult>(0x88760389u);      // D3DXFERR_FILENOTFOUND
inline constexpr HResult kBadFileType = static_cast<HResult>(0x8876038Cu);       // D3DXFERR_BADFILETYPE
inline constexpr HResult kBadFileVersion = static_cast<HResult>(0x8876038Du);    // D3DXFERR_BADFILEVERSION
inline constexpr HResult kBadFileFloatSize = static_cast<HResult>(0x8876038Eu);  // D3DXFERR_BADFILEFLOATSIZE
inline constexpr HResult kParseError = static_cast<HResult>(0x88760390u);        // D3DXFERR_PARSEERROR
inline constexpr HResult kInvalidMesh = static_cast<HResult>(0x88760B55u);       // D3DXERR_INVALIDMESH
inline constexpr HResult kInvalidArg = static_cast<HResult>(0x80070057u);        // E_INVALIDARG
inline constexpr HResult kNotAvailable = static_cast<HResult>(0x8876086Au);      // D3DERR_NOTAVAILABLE
inline constexpr HResult kOutOfVideoMemory = static_cast<HResult>(0x8876017Cu);  // D3DERR_OUTOFVIDEOMEMORY

// The description text of a result code. Codes without a text of their own are described as
// "n/a", as the description function does.
std::string describeResult(HResult code);

}  // namespace vellmark::d3d
