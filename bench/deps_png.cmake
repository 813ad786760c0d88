# bench_png compares the image layer's PNG coding with libspng's.
find_library(SPNG_LIBRARY NAMES spng REQUIRED)
find_path(SPNG_INCLUDE_DIR spng.h REQUIRED)
target_include_directories(bench_png PRIVATE ${SPNG_INCLUDE_DIR})
target_link_libraries(bench_png PRIVATE ${SPNG_LIBRARY})
