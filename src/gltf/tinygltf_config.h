// The glTF library as this project builds it: no file system (resources come through the
// callers' callbacks), no image codec (pictures stay encoded and go through our image
// layer, which checks them before decoding). Include this, never tiny_gltf.h directly, so
// that every translation unit sees the same configuration.
#pragma once

#define TINYGLTF_NO_FS
#define TINYGLTF_NO_STB_IMAGE
#define TINYGLTF_NO_STB_IMAGE_WRITE
#define TINYGLTF_NO_EXTERNAL_IMAGE

// The library's file writer needs <fstream> even without its file system.
#include <fstream>

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#endif
#include <tiny_gltf.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
