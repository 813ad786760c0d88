// Reading glTF accessors and buffer views with every offset, stride and count checked
// against the buffer they point into, and sparse substitutions applied.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "gltf/tinygltf_config.h"

namespace vellmark::gltf {

// The bytes of buffer view `view`. `user` names who asks, for messages.
Bytes viewBytes(const tinygltf::Model& model, int view, const std::string& user);

const tinygltf::Accessor& accessorAt(const tinygltf::Model& model, int index, const std::string& user);
std::uint64_t accessorCount(const tinygltf::Model& model, int index, const std::string& user);

// Accessor `index`'s values, count x components, as doubles (exact for every component
// type): normalised integers scaled as glTF defines, then the sparse substitutions. Raises
// Error(Corrupt) for anything that runs past its view or buffer, a component count other
// than `components`, or a component type glTF does not define; Error(Unsupported) for an
// accessor without data declaring more elements than a model of the game's limits uses.
std::vector<double> readAccessor(const tinygltf::Model& model, int index, int components, const std::string& user);

}  // namespace vellmark::gltf
