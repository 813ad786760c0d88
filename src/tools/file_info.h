// info: what a file is and what it holds, for every kind the program reads, told apart by
// content: course archives and sky files, BTC textures, TGA, PNG, JPEG and BMP pictures,
// Xbox 360 bundles, .x and glTF models, and the game's .XYZ and .MAP files.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace vellmark {

// The facts about the file at `path`, in reading order: "path", "kind" and the kind's own
// fields (sizes, counts, lists of members, textures, materials, levels). A file of no kind
// known here has kind "unknown"; one that is broken has its kind and an "error" saying what
// is wrong, with whatever could be read before it. Raises Error(Io) only when the file
// cannot be opened or is not a regular file.
nlohmann::ordered_json describeFile(const std::string& path);

// The facts as indented text, one "key: value" a line, lists one entry a line.
std::string describedText(const nlohmann::ordered_json& facts);

}  // namespace vellmark
