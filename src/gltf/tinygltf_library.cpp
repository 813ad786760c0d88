// The one translation unit that compiles the glTF library's implementation.
#define TINYGLTF_IMPLEMENTATION
#include "gltf/tinygltf_config.h"
