# The .x loader benchmark compares with the Open Asset Import Library (benchmark only).
find_package(assimp REQUIRED)
target_link_libraries(bench_xload PRIVATE assimp::assimp)
