# The benchmark builds its bundles with its own bundle writer.
target_sources(bench_xpr PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/xpr_writer.cpp)
