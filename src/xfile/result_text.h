// The result codes (HRESULT values) the .x loader and the Direct3D 9 layer fail with, carried
// by vellmark::Error::resultCode(), and the texts that the DirectX error-description
// function gives for every code the mesh tool can meet.
#pragma once

#include <cstdint>
#include <string>

namespace vellmark::d3d {

using ResultCode = std::int32_t;
inline constexpr ResultCode kOk = 0;
inline constexpr ResultCode kFail = static_cast<ResultCode>(0x80004005u);            // E_FAIL
inline constexpr ResultCode kOutOfMemory = static_cast<ResultCode>(0x8007000Eu);     // E_OUTOFMEMORY
inline constexpr ResultCode kInvalidCall = static_cast<ResultCode>(0x8876086Cu);     // D3DERR_INVALIDCALL
inline constexpr ResultCode kInvalidData = static_cast<ResultCode>(0x88760B59u);     // D3DXERR_INVALIDDATA
// .x file layer codes (facility 0x876, numbers 905-914).
inline constexpr ResultCode kFileNotFound = static_cast<ResultCode>(0x88760389u);      // D3DXFERR_FILENOTFOUND
inline constexpr ResultCode kBadFileType = static_cast<ResultCode>(0x8876038Cu);       // D3DXFERR_BADFILETYPE
inline constexpr ResultCode kBadFileVersion = static_cast<ResultCode>(0x8876038Du);    // D3DXFERR_BADFILEVERSION
inline constexpr ResultCode kBadFileFloatSize = static_cast<ResultCode>(0x8876038Eu);  // D3DXFERR_BADFILEFLOATSIZE
inline constexpr ResultCode kParseError = static_cast<ResultCode>(0x88760390u);        // D3DXFERR_PARSEERROR
inline constexpr ResultCode kInvalidMesh = static_cast<ResultCode>(0x88760B55u);       // D3DXERR_INVALIDMESH
inline constexpr ResultCode kInvalidArg = static_cast<ResultCode>(0x80070057u);        // E_INVALIDARG
inline constexpr ResultCode kNotAvailable = static_cast<ResultCode>(0x8876086Au);      // D3DERR_NOTAVAILABLE
inline constexpr ResultCode kOutOfVideoMemory = static_cast<ResultCode>(0x8876017Cu);  // D3DERR_OUTOFVIDEOMEMORY

// The description text of a result code. Codes without a text of their own are described as
// "n/a", as the description function does.
std::string describeResult(ResultCode code);

}  // namespace vellmark::d3d
