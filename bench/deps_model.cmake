# The model benchmark compares loading a .glb with the Open Asset Import Library (benchmark only).
find_package(assimp REQUIRED)
target_link_libraries(bench_model PRIVATE assimp::assimp)
