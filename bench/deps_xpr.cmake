# The benchmark builds its bundles with the tests' bundle writer.
target_sources(bench_xpr PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/xpr_writer.cpp)
