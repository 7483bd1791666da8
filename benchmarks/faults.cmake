# The full randomised runs of failing books (run by hand): every Outlook
# failure at every call position, and many hostile Contacts folders, each case
# in a probe process of its own (faults_probe). test_faults keeps the faults
# they found.
add_executable(faults_probe ${CMAKE_CURRENT_SOURCE_DIR}/faults/faults_probe.cpp
                            ${CMAKE_CURRENT_SOURCE_DIR}/faults/fault_runner.cpp)
target_include_directories(faults_probe PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(faults_probe PRIVATE test_support)
target_link_options(faults_probe PRIVATE -municode)

add_executable(faults_bench ${CMAKE_CURRENT_SOURCE_DIR}/faults_bench.cpp
                            ${CMAKE_CURRENT_SOURCE_DIR}/faults/fault_runner.cpp)
target_include_directories(faults_bench PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(faults_bench PRIVATE test_support)
target_link_options(faults_bench PRIVATE -municode)
add_dependencies(faults_bench faults_probe standin_outlook VelPhonebook64)
if(TARGET standin_wab32)
    add_dependencies(faults_bench standin_wab32)
endif()
