# Extras of the control tests: a probe that hosts the control in a process
# of its own (started with another screen resolution).
add_executable(control_dpi_probe ${CMAKE_CURRENT_SOURCE_DIR}/control/probe/dpi_probe.cpp
                                 ${CMAKE_CURRENT_SOURCE_DIR}/control/control_host.cpp)
target_include_directories(control_dpi_probe PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/control)
target_link_libraries(control_dpi_probe PRIVATE test_support)
