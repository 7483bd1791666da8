# Extras of the robustness tests: the seeded hostile inputs with the runner
# that judges them in child processes (shared with benchmarks/fuzz_bench),
# and the child program that takes the inputs one by one.
add_library(fuzz_inputs STATIC ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/inputs/hostile_inputs.cpp
                               ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/inputs/child_runner.cpp
                               ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/inputs/log_race.cpp
                               # The log race uses the log tests' tools for the Logger key and the files.
                               ${CMAKE_CURRENT_SOURCE_DIR}/log/log_test_support.cpp)
target_link_libraries(fuzz_inputs PUBLIC test_support)

# The child hosts the control as the control tests do, and carries the
# module's string table for the localizer's built-in texts.
add_executable(fuzz_child ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/child/fuzz_child.cpp
                          ${CMAKE_CURRENT_SOURCE_DIR}/localization/test_resources.rc)
target_include_directories(fuzz_child PRIVATE ${CMAKE_SOURCE_DIR}/src/localization)
target_link_libraries(fuzz_child PRIVATE fuzz_inputs)
target_link_options(fuzz_child PRIVATE -municode)

target_link_libraries(test_fuzz PRIVATE fuzz_inputs)
add_dependencies(test_fuzz fuzz_child)
# The MRU sample's own cases host the control as the control tests do.
