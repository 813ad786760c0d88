#include "gltf/gltf_model.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <map>
#include <new>
#include <tuple>

#include "base/error.h"
#include "gltf/gltf_accessors.h"
#include "gltf/tinygltf_config.h"

namespace vellmark {

namespace {

using gltf::accessorAt;
using gltf::accessorCount;
using gltf::readAccessor;
using gltf::viewBytes;

using Matrix = std::array<double, 16>;  // column-major, column vectors: p' = M p
constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

[[noreturn]] void corrupt(const std::string& what) { fail(ErrorKind::Corrupt, "glTF: " + what); }

std::string indexed(const char* kind, std::size_t i) { return std::string(kind) + " " + std::to_string(i); }

Matrix multiply(const Matrix& a, const Matrix& b) {
  Matrix c{};
  for (int col = 0; col < 4; ++col)
    for (int row = 0; row < 4; ++row) {
      double sum = 0;
      for (int k = 0; k < 4; ++k) sum += a[4 * k + row] * b[4 * col + k];
      c[4 * col + row] = sum;
    }
  return c;
}

Matrix localMatrix(const tinygltf::Node& node, std::size_t index) {
  if (!node.matrix.empty()) {
    if (node.matrix.size() != 16) corrupt(indexed("node", index) + " has a matrix of " + std::to_string(node.matrix.size()) + " numbers");
    Matrix m;
    std::copy(node.matrix.begin(), node.matrix.end(), m.begin());
    return m;
  }
  const auto check = [&](const std::vector<double>& v, std::size_t n, const char* what) {
    if (!v.empty() && v.size() != n) corrupt(indexed("node", index) + " has a " + what + " of " + std::to_string(v.size()) + " numbers");
  };
  check(node.translation, 3, "translation");
  check(node.rotation, 4, "rotation");
  check(node.scale, 3, "scale");
  const double x = node.rotation.empty() ? 0 : node.rotation[0], y = node.rotation.empty() ? 0 : node.rotation[1];
  const double z = node.rotation.empty() ? 0 : node.rotation[2], w = node.rotation.empty() ? 1 : node.rotation[3];
  const double sx = node.scale.empty() ? 1 : node.scale[0], sy = node.scale.empty() ? 1 : node.scale[1];
  const double sz = node.scale.empty() ? 1 : node.scale[2];
  // T * R * S, with R from the unit quaternion (x, y, z, w).
  Matrix m = {(1 - 2 * (y * y + z * z)) * sx, 2 * (x * y + z * w) * sx,       2 * (x * z - y * w) * sx,       0,
              2 * (x * y - z * w) * sy,       (1 - 2 * (x * x + z * z)) * sy, 2 * (y * z + x * w) * sy,       0,
              2 * (x * z + y * w) * sz,       2 * (y * z - x * w) * sz,       (1 - 2 * (x * x + y * y)) * sz, 0,
              0,                              0,                              0,                              1};
  if (!node.translation.empty()) std::copy(node.translation.begin(), node.translation.end(), m.begin() + 12);
  return m;
}

double determinant3(const Matrix& m) {
  return m[0] * (m[5] * m[10] - m[9] * m[6]) - m[4] * (m[1] * m[10] - m[9] * m[2]) + m[8] * (m[1] * m[6] - m[5] * m[2]);
}

// Percent escapes of a URI undone, as the files it names are spelled on disk.
std::string percentDecoded(const std::string& uri) {
  std::string out;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    const auto hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    if (uri[i] == '%' && i + 2 < uri.size() && hex(uri[i + 1]) && hex(uri[i + 2])) {
      out += static_cast<char>(std::stoi(uri.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += uri[i];
    }
  }
  return out;
}

// The library hands over the decoded bytes of data-URI pictures; pictures in buffer views
// are taken from the checked view later, so their unchecked pointer is left alone.
bool keepPictureBytes(tinygltf::Image* image, const int, std::string*, std::string*, int, int, const unsigned char* bytes,
                      int size, void*) {
  if (image->bufferView < 0 && bytes && size > 0) image->image.assign(bytes, bytes + size);
  return true;
}

// External buffers come through the caller's fetch; the library asks whether a file exists
// before reading it, which the fetch answers when it is read.
bool anyFileExists(const std::string&, void*) { return true; }
std::string pathAsIs(const std::string& path, void*) { return path; }
bool fetchFile(std::vector<unsigned char>* out, std::string* err, const std::string& path, void* user) {
  const auto& fetch = *static_cast<const GltfResourceFetch*>(user);
  auto bytes = fetch(path);
  if (!bytes) {
    if (err) *err = "cannot be read";
    return false;
  }
  *out = std::move(*bytes);
  return true;
}
bool refuseWrite(std::string*, const std::string&, const std::vector<unsigned char>&, void*) { return false; }

tinygltf::Model parseModel(Bytes file, const GltfResourceFetch& fetch) {
  tinygltf::TinyGLTF loader;
  loader.SetImageLoader(&keepPictureBytes, nullptr);
  loader.SetFsCallbacks({&anyFileExists, &pathAsIs, &fetchFile, &refuseWrite, const_cast<GltfResourceFetch*>(&fetch)});
  tinygltf::Model model;
  std::string err, warn;
  if (file.size() > 0xFFFFFFFFu) fail(ErrorKind::Unsupported, "glTF: the file is larger than 4 GiB");
  const bool binary = file.size() >= 4 && std::memcmp(file.data(), "glTF", 4) == 0;
  bool ok = false;
  try {
    ok = binary ? loader.LoadBinaryFromMemory(&model, &err, &warn, file.data(), static_cast<unsigned>(file.size()), "")
                : loader.LoadASCIIFromString(&model, &err, &warn, reinterpret_cast<const char*>(file.data()),
                                             static_cast<unsigned>(file.size()), "");
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    corrupt(e.what());
  }
  if (!ok) {
    while (!err.empty() && err.back() == '\n') err.pop_back();
    std::replace(err.begin(), err.end(), '\n', ';');
    // A referenced file that could not be read is an input problem, not a broken model.
    const bool missing = err.find("File read error") != std::string::npos || err.find("File not found") != std::string::npos;
    fail(missing ? ErrorKind::Io : ErrorKind::Corrupt, "glTF: " + (err.empty() ? std::string("the file is not glTF") : err));
  }
  return model;
}

// A node placed in the scene: its world transform.
struct Placement {
  std::size_t node;
  Matrix world;
};

std::vector<Placement> placeNodes(const tinygltf::Model& model) {
  std::vector<int> roots;
  if (!model.scenes.empty()) {
    const int scene = model.defaultScene >= 0 ? model.defaultScene : 0;
    if (static_cast<std::size_t>(scene) >= model.scenes.size()) corrupt("the default scene " + std::to_string(scene) + " does not exist");
    roots = model.scenes[static_cast<std::size_t>(scene)].nodes;
  } else {
    // Without scenes, every node that is no other node's child is a root.
    std::vector<bool> child(model.nodes.size(), false);
    for (const auto& n : model.nodes)
      for (int c : n.children)
        if (c >= 0 && static_cast<std::size_t>(c) < child.size()) child[static_cast<std::size_t>(c)] = true;
    for (std::size_t i = 0; i < child.size(); ++i)
      if (!child[i]) roots.push_back(static_cast<int>(i));
  }
  std::vector<Placement> placed;
  std::vector<bool> seen(model.nodes.size(), false);
  // Depth first, children in order, without recursion: a hostile file can nest deeply.
  std::vector<Placement> stack;
  for (auto r = roots.rbegin(); r != roots.rend(); ++r) {
    if (*r < 0 || static_cast<std::size_t>(*r) >= model.nodes.size()) corrupt("the scene names node " + std::to_string(*r) + ", which does not exist");
    stack.push_back({static_cast<std::size_t>(*r), kIdentity});
  }
  while (!stack.empty()) {
    Placement p = stack.back();
    stack.pop_back();
    if (seen[p.node]) corrupt(indexed("node", p.node) + " is reached twice: the nodes form a loop or share a child");
    seen[p.node] = true;
    const tinygltf::Node& node = model.nodes[p.node];
    p.world = multiply(p.world, localMatrix(node, p.node));
    placed.push_back(p);
    for (auto c = node.children.rbegin(); c != node.children.rend(); ++c) {
      if (*c < 0 || static_cast<std::size_t>(*c) >= model.nodes.size())
        corrupt(indexed("node", p.node) + " names child " + std::to_string(*c) + ", which does not exist");
      stack.push_back({static_cast<std::size_t>(*c), p.world});
    }
  }
  return placed;
}

// One primitive to take, in scene order.
struct PrimitiveUse {
  std::size_t placement;
  const tinygltf::Primitive* primitive;
  std::string name;
  int position = -1, texCoord = -1;
};

int attribute(const tinygltf::Primitive& p, const char* name) {
  const auto it = p.attributes.find(name);
  return it == p.attributes.end() ? -1 : it->second;
}

const char* modeName(int mode) {
  switch (mode) {
    case TINYGLTF_MODE_POINTS: return "POINTS";
    case TINYGLTF_MODE_LINE: return "LINES";
    case TINYGLTF_MODE_LINE_LOOP: return "LINE_LOOP";
    case TINYGLTF_MODE_LINE_STRIP: return "LINE_STRIP";
    default: return "an unknown mode";
  }
}

// Corner lists of a primitive's triangles in glTF's own winding.
std::vector<std::uint32_t> triangleCorners(const std::vector<std::uint32_t>& v, int mode) {
  std::vector<std::uint32_t> out;
  const std::size_t n = v.size();
  if (mode == TINYGLTF_MODE_TRIANGLES) {
    out.assign(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(n - n % 3));
  } else if (mode == TINYGLTF_MODE_TRIANGLE_STRIP) {
    for (std::size_t i = 0; i + 2 < n; ++i) {
      const bool odd = i % 2;
      out.insert(out.end(), {v[i], v[i + (odd ? 2 : 1)], v[i + (odd ? 1 : 2)]});
    }
  } else {  // fan
    for (std::size_t i = 0; i + 2 < n; ++i) out.insert(out.end(), {v[i + 1], v[i + 2], v[0]});
  }
  return out;
}

std::array<std::uint8_t, 4> colourBytes(const std::vector<double>& factor) {
  std::array<std::uint8_t, 4> c{255, 255, 255, 255};
  for (std::size_t i = 0; i < 4 && i < factor.size(); ++i)
    c[i] = static_cast<std::uint8_t>(std::lround(std::clamp(factor[i], 0.0, 1.0) * 255.0));
  return c;
}

ModelPicture pictureOf(const tinygltf::Model& model, const tinygltf::Material& material, std::size_t index,
                       const GltfResourceFetch& fetch, bool pictures) {
  ModelPicture picture;
  const auto& pbr = material.pbrMetallicRoughness;
  picture.colour = colourBytes(pbr.baseColorFactor);
  const int texture = pbr.baseColorTexture.index;
  if (texture < 0) return picture;
  const std::string user = indexed("material", index);
  if (static_cast<std::size_t>(texture) >= model.textures.size())
    corrupt(user + " names texture " + std::to_string(texture) + ", which does not exist");
  const int source = model.textures[static_cast<std::size_t>(texture)].source;
  if (source < 0 || static_cast<std::size_t>(source) >= model.images.size())
    corrupt(indexed("texture", static_cast<std::size_t>(texture)) + " names image " + std::to_string(source) + ", which does not exist");
  const tinygltf::Image& image = model.images[static_cast<std::size_t>(source)];
  picture.name = image.uri.empty() || image.uri.rfind("data:", 0) == 0 ? indexed("image", static_cast<std::size_t>(source)) : image.uri;
  if (!pictures) return picture;
  if (image.bufferView >= 0) {
    const Bytes bytes = viewBytes(model, image.bufferView, indexed("image", static_cast<std::size_t>(source)));
    picture.file.assign(bytes.begin(), bytes.end());
  } else if (!image.image.empty()) {
    picture.file = image.image;
  } else if (!image.uri.empty()) {
    auto bytes = fetch(percentDecoded(image.uri));
    if (!bytes) fail(ErrorKind::Io, "glTF: texture '" + image.uri + "' of " + user + " cannot be read");
    picture.file = std::move(*bytes);
  } else {
    corrupt(indexed("image", static_cast<std::size_t>(source)) + " has neither data nor a URI");
  }
  return picture;
}

}  // namespace

bool looksLikeGltf(Bytes file) {
  if (file.size() >= 4 && std::memcmp(file.data(), "glTF", 4) == 0) return true;
  std::size_t i = 0;
  if (file.size() >= 3 && file[0] == 0xEF && file[1] == 0xBB && file[2] == 0xBF) i = 3;
  while (i < file.size() && std::isspace(file[i])) ++i;
  if (i >= file.size() || file[i] != '{') return false;
  const std::string head(file.begin() + static_cast<std::ptrdiff_t>(i),
                         file.begin() + static_cast<std::ptrdiff_t>(std::min(file.size(), i + 65536)));
  return head.find("\"asset\"") != std::string::npos;
}

GltfModel loadGltfModel(Bytes file, const GltfResourceFetch& fetch, bool pictures) {
  const tinygltf::Model model = parseModel(file, fetch);
  const std::vector<Placement> placed = placeNodes(model);

  GltfModel out;
  std::vector<PrimitiveUse> uses;
  // Vertices shared by primitives of one node with the same attribute accessors.
  std::map<std::tuple<std::size_t, int, int>, std::int64_t> blocks;  // first vertex, -1 until built
  std::uint64_t vertexTotal = 0;
  for (std::size_t p = 0; p < placed.size(); ++p) {
    const tinygltf::Node& node = model.nodes[placed[p].node];
    if (node.mesh < 0) continue;
    if (static_cast<std::size_t>(node.mesh) >= model.meshes.size())
      corrupt(indexed("node", placed[p].node) + " names mesh " + std::to_string(node.mesh) + ", which does not exist");
    const tinygltf::Mesh& mesh = model.meshes[static_cast<std::size_t>(node.mesh)];
    for (std::size_t k = 0; k < mesh.primitives.size(); ++k) {
      const tinygltf::Primitive& primitive = mesh.primitives[k];
      PrimitiveUse use{p, &primitive, "mesh " + std::to_string(node.mesh) + " primitive " + std::to_string(k)};
      if (primitive.mode != TINYGLTF_MODE_TRIANGLES && primitive.mode != TINYGLTF_MODE_TRIANGLE_STRIP &&
          primitive.mode != TINYGLTF_MODE_TRIANGLE_FAN) {
        out.notes.push_back(use.name + " draws " + modeName(primitive.mode) + ", not triangles: left out");
        continue;
      }
      use.position = attribute(primitive, "POSITION");
      use.texCoord = attribute(primitive, "TEXCOORD_0");
      if (use.position < 0) {
        out.notes.push_back(use.name + " has no positions: left out");
        continue;
      }
      if (blocks.emplace(std::make_tuple(p, use.position, use.texCoord), -1).second)
        vertexTotal += accessorCount(model, use.position, use.name);
      uses.push_back(use);
    }
  }
  if (vertexTotal > kModelMaxVertices)
    fail(ErrorKind::Unsupported, "glTF: the model has " + std::to_string(vertexTotal) + " vertices; the game's files hold at most " +
                                     std::to_string(kModelMaxVertices));
  if (uses.empty()) corrupt("the default scene holds no triangles");

  d3d::MeshData& mesh = out.mesh.mesh;
  mesh.fvf = d3d::kFvfXyz | d3d::kFvfTex1;
  mesh.stride = d3d::fvfStride(mesh.fvf);
  mesh.vertices.reserve(static_cast<std::size_t>(vertexTotal) * mesh.stride);
  const auto plainMaterial = static_cast<std::uint32_t>(model.materials.size());
  struct Triangle {
    std::uint32_t material;
    std::array<std::uint32_t, 3> corners;
  };
  std::vector<Triangle> triangles;
  std::vector<bool> used(model.materials.size() + 1, false);

  for (const PrimitiveUse& use : uses) {
    const Placement& place = placed[use.placement];
    std::int64_t& first = blocks.at(std::make_tuple(use.placement, use.position, use.texCoord));
    const std::uint64_t count = accessorCount(model, use.position, use.name);
    if (first < 0) {
      first = mesh.vertexCount;
      const std::vector<double> positions = readAccessor(model, use.position, 3, use.name + " POSITION");
      std::vector<double> uvs;
      if (use.texCoord >= 0) {
        uvs = readAccessor(model, use.texCoord, 2, use.name + " TEXCOORD_0");
        if (uvs.size() / 2 != count)
          corrupt(use.name + " has " + std::to_string(count) + " positions but " + std::to_string(uvs.size() / 2) + " texture coordinates");
      }
      const Matrix& m = place.world;
      const bool identity = m == kIdentity;
      for (std::uint64_t v = 0; v < count; ++v) {
        const double* p = &positions[3 * v];
        float xyz[3];
        if (identity) {
          for (int j = 0; j < 3; ++j) xyz[j] = static_cast<float>(p[j]);
        } else {
          for (int j = 0; j < 3; ++j) xyz[j] = static_cast<float>(m[j] * p[0] + m[4 + j] * p[1] + m[8 + j] * p[2] + m[12 + j]);
        }
        xyz[2] = -xyz[2];
        const float uv[2] = {uvs.empty() ? 0.0f : static_cast<float>(uvs[2 * v]), uvs.empty() ? 0.0f : static_cast<float>(uvs[2 * v + 1])};
        const std::size_t at = mesh.vertices.size();
        mesh.vertices.resize(at + mesh.stride);
        std::memcpy(&mesh.vertices[at], xyz, 12);
        std::memcpy(&mesh.vertices[at + 12], uv, 8);
      }
      mesh.vertexCount += static_cast<std::uint32_t>(count);
    }

    const tinygltf::Primitive& primitive = *use.primitive;
    std::vector<std::uint32_t> order;
    if (primitive.indices >= 0) {
      const std::vector<double> indices = readAccessor(model, primitive.indices, 1, use.name + " indices");
      const tinygltf::Accessor& a = accessorAt(model, primitive.indices, use.name);
      if (a.componentType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE && a.componentType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT &&
          a.componentType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT)
        corrupt(use.name + " has indices of component type " + std::to_string(a.componentType));
      order.reserve(indices.size());
      for (double i : indices) {
        if (i >= static_cast<double>(count))
          corrupt(use.name + " uses vertex " + std::to_string(static_cast<std::uint64_t>(i)) + " of " + std::to_string(count));
        order.push_back(static_cast<std::uint32_t>(i));
      }
    } else {
      for (std::uint64_t i = 0; i < count; ++i) order.push_back(static_cast<std::uint32_t>(i));
    }
    const std::vector<std::uint32_t> corners = triangleCorners(order, primitive.mode);
    if (triangles.size() + corners.size() / 3 > kModelMaxTriangles)
      fail(ErrorKind::Unsupported, "glTF: the model has more than " + std::to_string(kModelMaxTriangles) + " triangles");
    if (primitive.material >= 0 && static_cast<std::size_t>(primitive.material) >= model.materials.size())
      corrupt(use.name + " names material " + std::to_string(primitive.material) + ", which does not exist");
    const std::uint32_t material = primitive.material >= 0 ? static_cast<std::uint32_t>(primitive.material) : plainMaterial;
    used[material] = true;
    // Mirroring z turns glTF's counter-clockwise front faces clockwise, the .x files' way,
    // unless the node mirrors as well.
    const bool swap = determinant3(place.world) >= 0;
    for (std::size_t i = 0; i + 3 <= corners.size(); i += 3) {
      const auto a = static_cast<std::uint32_t>(first + corners[i]), b = static_cast<std::uint32_t>(first + corners[i + 1]),
                 c = static_cast<std::uint32_t>(first + corners[i + 2]);
      triangles.push_back({material, swap ? std::array<std::uint32_t, 3>{a, c, b} : std::array<std::uint32_t, 3>{a, b, c}});
    }
  }

  std::stable_sort(triangles.begin(), triangles.end(), [](const Triangle& a, const Triangle& b) { return a.material < b.material; });
  mesh.indices.reserve(3 * triangles.size());
  mesh.attributes.reserve(triangles.size());
  for (const Triangle& t : triangles) {
    for (std::uint32_t c : t.corners) mesh.indices.push_back(static_cast<std::uint16_t>(c));
    mesh.attributes.push_back(t.material);
  }

  const std::size_t materialCount = model.materials.size() + (used[plainMaterial] ? 1 : 0);
  for (std::size_t i = 0; i < materialCount; ++i) {
    ModelPicture picture;
    // Materials no triangle uses keep their base colour alone: their textures are not fetched.
    if (i < model.materials.size()) {
      picture.colour = colourBytes(model.materials[i].pbrMetallicRoughness.baseColorFactor);
      if (used[i]) picture = pictureOf(model, model.materials[i], i, fetch, pictures);
    }
    d3d::Material material;
    material.diffuse = {picture.colour[0] / 255.0f, picture.colour[1] / 255.0f, picture.colour[2] / 255.0f, picture.colour[3] / 255.0f};
    if (!picture.name.empty()) material.textureFilename = picture.name;
    out.mesh.materials.push_back(material);
    out.pictures.push_back(std::move(picture));
  }
  return out;
}

}  // namespace vellmark
