# The hosted tests use the stand-ins of Outlook and the Windows address book
# (and its folder probe), and the dialog tests' skin recorder and resource counts.
add_dependencies(test_control standin_outlook wab_probe)
target_sources(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/control/list_test_resources.rc
                                    ${CMAKE_CURRENT_SOURCE_DIR}/ui/ui_harness.cpp)
target_include_directories(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui)
# The text-fit probe: both controls hosted from a copy of the module, and
# the entry dialog and message box built with the module's resources (it runs
# under the module's name beside the copy).
add_executable(text_fit_probe ${CMAKE_CURRENT_SOURCE_DIR}/control/probe/text_fit_probe.cpp
                              ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(text_fit_probe PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/../src/ui
                           ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization ${CMAKE_CURRENT_SOURCE_DIR}/../src/module
                           ${CMAKE_BINARY_DIR}/generated/module)
target_link_libraries(text_fit_probe PRIVATE velphonebook)
target_link_options(text_fit_probe PRIVATE -municode)
add_dependencies(test_control text_fit_probe ZantixUI64)
# On x86: the control hosted in the ATL host (both classes: create, fill,
# mark a row, the event arrives) and the list's window and subclass procedures.
set(X86_FILTER "Classes/BothClasses.EverySink*:ListTest.*")
# Pictures of the controls' empty states and of high contrast (docs/pictures/states).
add_executable(state_screens EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/scripts/screens/state_screens.cpp)
target_include_directories(state_screens PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/control)
target_link_libraries(state_screens PRIVATE test_support)
target_link_options(state_screens PRIVATE -municode)
