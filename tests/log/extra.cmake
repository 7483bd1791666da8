# Programs of the log tests: a child that logs, run under a debugger by the tests.
add_executable(log_child ${CMAKE_CURRENT_SOURCE_DIR}/log/child/log_child.cpp)
target_link_libraries(log_child PRIVATE velphonebook)
target_link_options(log_child PRIVATE -municode)

add_dependencies(test_log log_child)
