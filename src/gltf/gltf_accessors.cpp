#include "gltf/gltf_accessors.h"

#include <algorithm>

#include "base/error.h"
#include "gltf/gltf_model.h"

namespace vellmark::gltf {

namespace {

// Accessors without a view hold zeros (and sparse values); their count is all that sizes
// them, so it is held to what a model of the game's limits could use.
constexpr std::uint64_t kMaxViewlessCount = 3ull * kModelMaxTriangles;

[[noreturn]] void corrupt(const std::string& what) { fail(ErrorKind::Corrupt, "glTF: " + what); }

std::string indexed(const char* kind, std::size_t i) { return std::string(kind) + " " + std::to_string(i); }

double readComponent(const std::uint8_t* p, int componentType, bool normalized) {
  switch (componentType) {
    case TINYGLTF_COMPONENT_TYPE_BYTE: {
      const auto c = static_cast<std::int8_t>(p[0]);
      return normalized ? std::max(c / 127.0, -1.0) : c;
    }
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
      return normalized ? p[0] / 255.0 : p[0];
    case TINYGLTF_COMPONENT_TYPE_SHORT: {
      const auto c = static_cast<std::int16_t>(loadU16(p));
      return normalized ? std::max(c / 32767.0, -1.0) : c;
    }
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
      return normalized ? loadU16(p) / 65535.0 : loadU16(p);
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
      return normalized ? loadU32(p) / 4294967295.0 : loadU32(p);
    default: {  // float, checked by the caller
      float f;
      std::memcpy(&f, p, 4);
      return f;
    }
  }
}

std::size_t componentBytes(int componentType, const std::string& user) {
  switch (componentType) {
    case TINYGLTF_COMPONENT_TYPE_BYTE:
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
      return 1;
    case TINYGLTF_COMPONENT_TYPE_SHORT:
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
      return 2;
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
    case TINYGLTF_COMPONENT_TYPE_FLOAT:
      return 4;
    default:
      corrupt(user + " has component type " + std::to_string(componentType) + ", which glTF does not define");
  }
}

// Reads `count` elements of `components` values each, `stride` bytes apart, from `bytes`
// (starting at `offset`), into out[element * components + c].
void readElements(Bytes bytes, std::uint64_t offset, std::uint64_t stride, std::uint64_t count, int components,
                  int componentType, bool normalized, std::vector<double>& out, const std::string& user) {
  const std::size_t size = componentBytes(componentType, user);
  const std::uint64_t element = size * static_cast<std::uint64_t>(components);
  if (count == 0) return;
  if (stride < element) corrupt(user + " has a stride of " + std::to_string(stride) + " bytes for elements of " + std::to_string(element));
  if (offset > bytes.size() || (count - 1) > (bytes.size() - offset) / stride ||
      (count - 1) * stride + element > bytes.size() - offset)
    corrupt(user + ": " + std::to_string(count) + " elements of " + std::to_string(element) + " bytes from byte " +
            std::to_string(offset) + " run past its buffer view of " + std::to_string(bytes.size()) + " bytes");
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint8_t* at = bytes.data() + offset + i * stride;
    for (int c = 0; c < components; ++c) out[i * components + c] = readComponent(at + c * size, componentType, normalized);
  }
}

}  // namespace

// The bytes of a buffer view, checked against its buffer.
Bytes viewBytes(const tinygltf::Model& model, int view, const std::string& user) {
  if (view < 0 || static_cast<std::size_t>(view) >= model.bufferViews.size())
    corrupt(user + " names buffer view " + std::to_string(view) + ", which does not exist");
  const tinygltf::BufferView& v = model.bufferViews[static_cast<std::size_t>(view)];
  if (v.buffer < 0 || static_cast<std::size_t>(v.buffer) >= model.buffers.size())
    corrupt(indexed("buffer view", static_cast<std::size_t>(view)) + " names buffer " + std::to_string(v.buffer) + ", which does not exist");
  const std::vector<unsigned char>& data = model.buffers[static_cast<std::size_t>(v.buffer)].data;
  if (v.byteOffset > data.size() || v.byteLength > data.size() - v.byteOffset)
    corrupt(indexed("buffer view", static_cast<std::size_t>(view)) + " (bytes " + std::to_string(v.byteOffset) + " to " +
            std::to_string(static_cast<std::uint64_t>(v.byteOffset) + v.byteLength) + ") runs past its buffer of " +
            std::to_string(data.size()) + " bytes");
  return Bytes(data.data() + v.byteOffset, v.byteLength);
}

const tinygltf::Accessor& accessorAt(const tinygltf::Model& model, int index, const std::string& user) {
  if (index < 0 || static_cast<std::size_t>(index) >= model.accessors.size())
    corrupt(user + " names accessor " + std::to_string(index) + ", which does not exist");
  return model.accessors[static_cast<std::size_t>(index)];
}

// The accessor's values, count x components (dense data, then the sparse substitutions).
std::vector<double> readAccessor(const tinygltf::Model& model, int index, int components, const std::string& user) {
  const tinygltf::Accessor& a = accessorAt(model, index, user);
  const std::string name = indexed("accessor", static_cast<std::size_t>(index));
  if (tinygltf::GetNumComponentsInType(static_cast<std::uint32_t>(a.type)) != components)
    corrupt(name + " (" + user + ") has " + std::to_string(tinygltf::GetNumComponentsInType(static_cast<std::uint32_t>(a.type))) +
            " components per element, not " + std::to_string(components));
  (void)componentBytes(a.componentType, name);
  if (a.bufferView < 0 && a.count > kMaxViewlessCount)
    fail(ErrorKind::Unsupported, "glTF: " + name + " declares " + std::to_string(a.count) + " elements without data");
  std::vector<double> out;
  if (a.bufferView >= 0) {
    const Bytes view = viewBytes(model, a.bufferView, name);
    const std::size_t element = componentBytes(a.componentType, name) * static_cast<std::size_t>(components);
    const int declared = model.bufferViews[static_cast<std::size_t>(a.bufferView)].byteStride;
    const std::uint64_t stride = declared > 0 ? static_cast<std::uint64_t>(declared) : element;
    // The data must be there before anything is allocated for it.
    if (a.count > 0 && (a.byteOffset > view.size() || (a.count - 1) > (view.size() - a.byteOffset) / stride))
      corrupt(name + ": " + std::to_string(a.count) + " elements run past its buffer view of " + std::to_string(view.size()) + " bytes");
    out.assign(a.count * components, 0.0);
    readElements(view, a.byteOffset, stride, a.count, components, a.componentType, a.normalized, out, name);
  } else {
    out.assign(a.count * components, 0.0);
  }
  if (a.sparse.isSparse) {
    const std::string sparse = name + "'s sparse part";
    if (a.sparse.count < 0 || static_cast<std::uint64_t>(a.sparse.count) > a.count)
      corrupt(sparse + " replaces " + std::to_string(a.sparse.count) + " of " + std::to_string(a.count) + " elements");
    const auto n = static_cast<std::uint64_t>(a.sparse.count);
    const int indexType = a.sparse.indices.componentType;
    if (indexType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE && indexType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT &&
        indexType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT)
      corrupt(sparse + " has indices of component type " + std::to_string(indexType));
    if (a.sparse.indices.byteOffset < 0 || a.sparse.values.byteOffset < 0) corrupt(sparse + " has a negative offset");
    std::vector<double> where(n), values(n * components);
    const Bytes indexView = viewBytes(model, a.sparse.indices.bufferView, sparse);
    readElements(indexView, static_cast<std::uint64_t>(a.sparse.indices.byteOffset), componentBytes(indexType, sparse), n, 1,
                 indexType, false, where, sparse + " indices");
    const Bytes valueView = viewBytes(model, a.sparse.values.bufferView, sparse);
    readElements(valueView, static_cast<std::uint64_t>(a.sparse.values.byteOffset),
                 componentBytes(a.componentType, sparse) * components, n, components, a.componentType, a.normalized, values,
                 sparse + " values");
    for (std::uint64_t i = 0; i < n; ++i) {
      const auto at = static_cast<std::uint64_t>(where[i]);
      if (at >= a.count) corrupt(sparse + " replaces element " + std::to_string(at) + " of " + std::to_string(a.count));
      std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(i * components), components,
                  out.begin() + static_cast<std::ptrdiff_t>(at * components));
    }
  }
  return out;
}

std::uint64_t accessorCount(const tinygltf::Model& model, int index, const std::string& user) {
  return accessorAt(model, index, user).count;
}

}  // namespace vellmark::gltf
