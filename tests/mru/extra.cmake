# Programs of the MRU tests: a child that calls MRUList on a small stack, so
# that a crash is reported by the test instead of ending it.
add_executable(mru_stack_child ${CMAKE_CURRENT_SOURCE_DIR}/mru/child/mru_stack_child.cpp)
target_link_libraries(mru_stack_child PRIVATE test_support)
target_link_options(mru_stack_child PRIVATE -municode)

add_dependencies(test_mru mru_stack_child)
