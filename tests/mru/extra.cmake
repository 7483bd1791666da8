# The MRU list benchmark: prints timings on a full store, asserts nothing.
add_executable(mru_bench ${CMAKE_CURRENT_SOURCE_DIR}/mru/bench/mru_bench.cpp)
target_link_libraries(mru_bench PRIVATE velphonebook)
target_link_options(mru_bench PRIVATE -municode)
add_dependencies(test_mru mru_bench)
