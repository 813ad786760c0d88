# Optional libraries the core uses where they are available. Each section finds its library,
# links it to vellmark_core and defines VELLMARK_HAVE_<NAME> for the sources that use it.

# libdeflate (Linux only, Debian package libdeflate-dev): the course extractor's one-shot
# inflation of members, twice as fast as zlib's. The DLL keeps zlib alone.
if(NOT WIN32)
  find_path(LIBDEFLATE_INCLUDE_DIR libdeflate.h)
  find_library(LIBDEFLATE_LIBRARY deflate)
  if(LIBDEFLATE_INCLUDE_DIR AND LIBDEFLATE_LIBRARY)
    target_include_directories(vellmark_core PRIVATE ${LIBDEFLATE_INCLUDE_DIR})
    target_link_libraries(vellmark_core PRIVATE ${LIBDEFLATE_LIBRARY})
    set_property(SOURCE src/archive/member_inflate.cpp APPEND PROPERTY COMPILE_DEFINITIONS VELLMARK_HAVE_LIBDEFLATE=1)
    message(STATUS "libdeflate: ${LIBDEFLATE_LIBRARY}")
  else()
    message(STATUS "libdeflate: not found, course members inflate with zlib")
  endif()
endif()
