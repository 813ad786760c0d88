// The one translation unit that holds the stb image implementations. Only the four formats
// we read are compiled in, without stdio (the core never opens files here), with their
// allocations checked against the caller's cap, and with PNG deflated by zlib rather than by
// stb's own compressor, which is slower and makes larger files.
#include <cstdlib>
#include <limits>

#include <zlib.h>

namespace vellmark::stb {
namespace {
thread_local std::size_t allocationCap = std::numeric_limits<std::size_t>::max();
}  // namespace

void* capMalloc(std::size_t bytes) { return bytes > allocationCap ? nullptr : std::malloc(bytes); }
void* capRealloc(void* p, std::size_t bytes) { return bytes > allocationCap ? nullptr : std::realloc(p, bytes); }

unsigned char* zlibCompress(unsigned char* data, int length, int* outLength, int /*quality*/) {
  uLongf room = compressBound(static_cast<uLong>(length));
  auto* out = static_cast<unsigned char*>(std::malloc(room));
  if (!out || compress2(out, &room, data, static_cast<uLong>(length), Z_DEFAULT_COMPRESSION) != Z_OK ||
      room > static_cast<uLongf>(std::numeric_limits<int>::max())) {
    std::free(out);
    return nullptr;
  }
  *outLength = static_cast<int>(room);
  return out;
}

}  // namespace vellmark::stb

#define STBI_MALLOC(bytes) vellmark::stb::capMalloc(bytes)
#define STBI_REALLOC(p, bytes) vellmark::stb::capRealloc(p, bytes)
#define STBI_FREE(p) std::free(p)
#define STBI_NO_STDIO
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_BMP
#define STBI_ONLY_TGA
#define STBI_FAILURE_USERMSG
#define STB_IMAGE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#define STBIW_ZLIB_COMPRESS vellmark::stb::zlibCompress
#define STB_IMAGE_WRITE_IMPLEMENTATION

// Third-party code: its warnings are not ours to fix (the include folder is also a system
// one, which covers compilers that ignore these pragmas).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include "image/stb_library.h"
#pragma GCC diagnostic pop

namespace vellmark::stb {

AllocationCap::AllocationCap(std::size_t bytes) : previous_(allocationCap) { allocationCap = bytes; }
AllocationCap::~AllocationCap() { allocationCap = previous_; }

}  // namespace vellmark::stb
