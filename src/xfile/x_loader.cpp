#include "xfile/x_loader.h"

#include <new>
#include <stdexcept>

#include "xfile/x_error.h"
#include "xfile/x_header.h"
#include "xfile/x_mszip.h"
#include "xfile/x_scene.h"
#include "xfile/x_tree.h"

namespace vellmark::d3d {

LoadedMesh loadXFile(Bytes file) {
  try {
    const XHeader header = readXHeader(file);
    std::vector<std::uint8_t> inflated;
    Bytes body = file.subspan(kXHeaderSize);
    if (header.compressed) {
      inflated = inflateMszipBody(body);
      body = inflated;
    }
    const XTree tree = parseXBody(body, header);
    return buildLoadedMesh(tree);
  } catch (const std::bad_alloc&) {
    failX(kOutOfMemory, "out of memory");
  } catch (const std::length_error&) {
    failX(kOutOfMemory, "out of memory");
  }
}

}  // namespace vellmark::d3d
