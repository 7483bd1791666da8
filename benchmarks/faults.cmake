# The full runs of the fault tests' cases (tests/faults): every Outlook failure
# at every call position, and many hostile Contacts folders.
add_executable(faults_bench ${CMAKE_CURRENT_SOURCE_DIR}/faults_bench.cpp
                            ${CMAKE_SOURCE_DIR}/tests/faults/fault_runner.cpp)
target_link_libraries(faults_bench PRIVATE test_support)
target_link_options(faults_bench PRIVATE -municode)
if(TARGET faults_probe)
    add_dependencies(faults_bench faults_probe standin_outlook standin_wab32 VelPhonebook64)
endif()
