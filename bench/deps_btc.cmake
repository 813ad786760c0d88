# bench_btc compares the BTC decoder with libsquish's DXT5 decompression.
find_library(SQUISH_LIBRARY NAMES squish REQUIRED)
find_path(SQUISH_INCLUDE_DIR squish.h REQUIRED)
target_include_directories(bench_btc PRIVATE ${SQUISH_INCLUDE_DIR})
target_link_libraries(bench_btc PRIVATE ${SQUISH_LIBRARY})
