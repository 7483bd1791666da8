# The full runs of the hostile inputs that test_fuzz samples (run by hand;
# the inputs and the child program come from tests/fuzz).
add_executable(fuzz_bench ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_bench.cpp)
target_link_libraries(fuzz_bench PRIVATE fuzz_inputs)
target_link_options(fuzz_bench PRIVATE -municode)
add_dependencies(fuzz_bench fuzz_child VelPhonebook64)
