# Programs of the log tests: a child that logs (run under a debugger by the
# tests) and the throughput benchmark, which prints and asserts nothing.
add_executable(log_child ${CMAKE_CURRENT_SOURCE_DIR}/log/child/log_child.cpp)
target_link_libraries(log_child PRIVATE velphonebook)
target_link_options(log_child PRIVATE -municode)

add_executable(log_bench ${CMAKE_CURRENT_SOURCE_DIR}/log/bench/log_bench.cpp)
target_link_libraries(log_bench PRIVATE velphonebook)
target_link_options(log_bench PRIVATE -municode)

add_dependencies(test_log log_child log_bench)
