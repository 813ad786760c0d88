#include "xfile/result_text.h"

namespace vellmark::d3d {

namespace {

struct ResultText {
  ResultCode code;
  const char* text;
};

constexpr ResultText kTexts[] = {
    {kOk, "The function completed successfully"},
    {kFail, "An undetermined error occurred"},
    {kOutOfMemory, "Ran out of memory"},
    {kInvalidArg, "An invalid parameter was passed to the returning function"},
    {kInvalidCall, "Invalid call"},
    {kNotAvailable, "Not available"},
    {kOutOfVideoMemory, "Out of video memory"},
    {kInvalidData, "The data is invalid."},
    {kInvalidMesh, "The mesh is invalid."},
    {kFileNotFound, "A valid handle could not be found for the specified file."},
    {kBadFileType, "File has an invalid format."},
    {kBadFileVersion, "File has an invalid format version."},
    {kBadFileFloatSize, "File is not the expected size."},
    {kParseError, "Data stream could not be parsed."},
};

}  // namespace

std::string describeResult(ResultCode code) {
  for (const auto& entry : kTexts)
    if (entry.code == code) return entry.text;
  return "n/a";
}

}  // namespace vellmark::d3d
