# The fault tests: the hostile cases run in a probe process of their own
# (faults_probe), which hosts the controls on the Outlook stand-in and reads
# the Contacts folder through both Windows address-book sources.
add_executable(faults_probe ${CMAKE_CURRENT_SOURCE_DIR}/faults/child/faults_probe.cpp)
target_link_libraries(faults_probe PRIVATE test_support)
target_link_options(faults_probe PRIVATE -municode)
add_dependencies(test_faults faults_probe standin_outlook)
