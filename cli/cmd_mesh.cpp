#include "cli/commands.h"
#include "tools/mesh_layer.h"
#include "tools/open_direct_x.h"

namespace vellmark::cli {

int runMesh(Host& host, const std::vector<std::string>& args) {
  openDirectX(host, d3d::portableMeshLayer(), args[0], args[1]);
  return 0;
}

}  // namespace vellmark::cli
