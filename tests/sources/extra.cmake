# Extras of the source tests: a probe program run as another process (and as
# another Windows version), and the address-book stand-in it needs.
add_executable(wab_probe ${CMAKE_CURRENT_SOURCE_DIR}/sources/probe/wab_probe.cpp)
target_link_libraries(wab_probe PRIVATE test_support)
target_link_options(wab_probe PRIVATE -municode)
add_dependencies(test_sources wab_probe)
