// The object tree of a .x file, in either encoding. Data objects keep their type and name,
// their children (nested objects and resolved references, in file order) and, for the types
// the mesh loader reads, their data values. Templates declared in the file are checked and
// passed over.
//
// The parser checks the syntax of everything: braces, the separators after every value
// (a run of ";" with at most one "," after it, or one ","), data values before child
// objects, and references that name an object finished earlier in the file. Data values are
// not matched against templates here; the mesh builder reads the objects it uses member by
// member and rejects any mismatch, and objects it does not use may hold anything
// well-formed.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "xfile/x_header.h"

namespace vellmark::d3d {

// What the mesh loader makes of an object, from its type name (compared without case).
enum class XRole : std::uint8_t {
  Ignored,
  Mesh,
  MeshNormals,
  MeshTextureCoords,
  MeshVertexColors,
  MeshMaterialList,
  Material,
  TextureFilename,
  Frame,
  FrameTransformMatrix,
};

struct XValue {
  enum class Kind : std::uint32_t { Integer, Float, String };
  std::uint32_t bits = 0;  // Integer: the value; Float: the float's bits; String: index into XTree::strings
  Kind kind = Kind::Integer;
};

struct XObject {
  std::string_view type;
  std::string_view name;  // empty when the object has none
  XRole role = XRole::Ignored;
  std::uint32_t firstValue = 0, valueCount = 0;  // into XTree::values (only for roles that hold data)
  std::uint32_t firstChild = 0, childCount = 0;  // into XTree::children
};

struct XTree {
  // A child entry of kUnresolved is a reference to a name that no earlier object carries.
  static constexpr std::uint32_t kUnresolved = 0xFFFFFFFFu;

  std::vector<XObject> objects;
  std::vector<XValue> values;
  std::vector<std::string_view> strings;
  std::vector<std::uint32_t> children;  // object indices
  std::vector<std::uint32_t> topLevel;  // object indices, in file order

  std::span<const std::uint32_t> childrenOf(const XObject& o) const { return {children.data() + o.firstChild, o.childCount}; }
  std::span<const XValue> valuesOf(const XObject& o) const { return {values.data() + o.firstValue, o.valueCount}; }
};

// Maximum nesting of data objects; deeper files are rejected rather than risk the stack.
inline constexpr std::uint32_t kMaxObjectDepth = 200;

// Parses an uncompressed body (the bytes after the header, or the inflated MSZIP blocks).
// The tree refers into `body`, which must outlive it. Raises Error with result code kParseError.
XTree parseXBody(std::span<const std::uint8_t> body, const XHeader& header);

XRole roleOfType(std::string_view typeName);

}  // namespace vellmark::d3d
