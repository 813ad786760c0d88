#include "xfile/x_loader.h"

#include <new>
#include <stdexcept>

#include "xfile/x_error.h"
#include "xfile/x_header.h"
#include "xfile/x_mszip.h"
#include "xfile/x_scene.h"
#include "xfile/x_tree.h"
#include "base/file_io.h"

namespace vellmark::d3d {

HResult loadMeshFromX(std::span<const std::uint8_t> file, LoadedMesh& out, std::string& detail) {
  try {
    const XHeader header = readXHeader(file);
    std::vector<std::uint8_t> inflated;
    std::span<const std::uint8_t> body = file.subspan(kXHeaderSize);
    if (header.compressed) {
      inflated = inflateMszipBody(body);
      body = inflated;
    }
    const XTree tree = parseXBody(body, header);
    out = buildLoadedMesh(tree);
    return kOk;
  } catch (const XFileError& e) {
    detail = e.what();
    return e.code();
  } catch (const std::bad_alloc&) {
    detail = "out of memory";
    return kOutOfMemory;
  } catch (const std::length_error&) {
    detail = "out of memory";
    return kOutOfMemory;
  }
}

HResult loadMeshFromXFile(const std::string& path, LoadedMesh& out, std::string& detail) {
  std::vector<std::uint8_t> file;
  try {
    file = readWholeFile(path);
  } catch (const Error& e) {
    detail = e.what();
    return kInvalidData;
  } catch (const std::bad_alloc&) {
    detail = "out of memory reading " + path;
    return kOutOfMemory;
  }
  return loadMeshFromX(file, out, detail);
}

HResult loadMeshFromX(std::span<const std::uint8_t> file, LoadedMesh& out) {
  std::string detail;
  return loadMeshFromX(file, out, detail);
}

HResult loadMeshFromXFile(const std::string& path, LoadedMesh& out) {
  std::string detail;
  return loadMeshFromXFile(path, out, detail);
}

}  // namespace vellmark::d3d
