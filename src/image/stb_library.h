// The stb image headers, compiled once (stb_library.cpp) with our allocator and zlib: the
// declarations the image layer calls, and the allowance every allocation of the decoder is
// held to.
#pragma once

#include <cstddef>

#include <stb_image.h>
#include <stb_image_write.h>

namespace vellmark::stb {

// While an object lives, every single allocation stb_image makes on this thread must fit in
// `bytes`; a larger one fails, and the decoder reports "outofmem". A PNG's zlib stream may
// inflate to more than its header declares (a decompression bomb), and stb grows its buffer
// to follow it; this is what stops that.
class AllocationCap {
 public:
  explicit AllocationCap(std::size_t bytes);
  ~AllocationCap();
  AllocationCap(const AllocationCap&) = delete;
  AllocationCap& operator=(const AllocationCap&) = delete;

 private:
  std::size_t previous_;
};

}  // namespace vellmark::stb
