# The full randomised runs of hostile inputs (run by hand): MRU stores, Logger
# settings, language files, judged one by one in child processes (fuzz_child),
# and two processes logging at once. test_fuzz keeps the faults they found.
add_library(fuzz_inputs STATIC ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/hostile_inputs.cpp
                               ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/child_runner.cpp
                               ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/log_race.cpp
                               ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/automation_fuzz.cpp)
target_include_directories(fuzz_inputs PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(fuzz_inputs PUBLIC test_support)

# The child hosts the control as the control tests do, and carries the
# module's string table for the localizer's built-in texts.
add_executable(fuzz_child ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/fuzz_child.cpp
                          ${CMAKE_SOURCE_DIR}/tests/localization/test_resources.rc)
target_include_directories(fuzz_child PRIVATE ${CMAKE_SOURCE_DIR}/src/localization)
target_link_libraries(fuzz_child PRIVATE fuzz_inputs)
target_link_options(fuzz_child PRIVATE -municode)

add_executable(fuzz_bench ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_bench.cpp)
target_link_libraries(fuzz_bench PRIVATE fuzz_inputs)
target_link_options(fuzz_bench PRIVATE -municode)
add_dependencies(fuzz_bench fuzz_child VelPhonebook64)

# Hostile calls on every member of the four classes, judged in fuzz_child.
add_executable(automation_bench ${CMAKE_CURRENT_SOURCE_DIR}/automation_bench.cpp)
target_link_libraries(automation_bench PRIVATE fuzz_inputs)
target_link_options(automation_bench PRIVATE -municode)
add_dependencies(automation_bench fuzz_child VelPhonebook64)
