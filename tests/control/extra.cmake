# The AddressBook tests add to Outlook through its stand-in and check the
# result with the stand-in's test tools.
add_dependencies(test_control standin_outlook)
# The control tests carry the module's manifest (common controls 6), as the module does.
target_sources(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/control/list_test_resources.rc)
target_link_libraries(test_control PRIVATE gdiplus)
# Extras of the control tests: a probe that hosts the control in a process
# of its own (started with another screen resolution).
add_executable(control_dpi_probe ${CMAKE_CURRENT_SOURCE_DIR}/control/probe/dpi_probe.cpp)
target_link_libraries(control_dpi_probe PRIVATE test_support)
# The second control's tests count resources and record skin calls with the dialog tests' tools.
target_sources(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui/ui_harness.cpp)
target_include_directories(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui)
# The tests of the control on Windows Contacts share the source tests' Contacts
# folder tools and change the folder from another process with their probe.
add_dependencies(test_control wab_probe)
# A probe that hosts both controls from a copy of the module in a folder of
# its own (with the stand-in language library) and reports every text that
# its room cannot hold; the text-fit tests run it per language and resolution.
add_executable(control_text_fit_probe ${CMAKE_CURRENT_SOURCE_DIR}/control/probe/text_fit_probe.cpp)
target_link_libraries(control_text_fit_probe PRIVATE velphonebook)
target_link_options(control_text_fit_probe PRIVATE -municode)
add_dependencies(test_control control_text_fit_probe ZantixUI64)
# The keyboard and screen-reader tests ask the platform's accessibility layer.
target_link_libraries(test_control PRIVATE oleacc)
# The entry dialog and the message box measured the same way: a probe built
# with the module's resources, which the tests copy beside the module under
# the module's own name so that it reads the module's language files.
add_executable(dialog_fit_probe ${CMAKE_CURRENT_SOURCE_DIR}/control/probe/dialog_fit_probe.cpp
                                ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(dialog_fit_probe PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/../src/ui
                           ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization ${CMAKE_CURRENT_SOURCE_DIR}/../src/module
                           ${CMAKE_BINARY_DIR}/generated/module)
target_link_libraries(dialog_fit_probe PRIVATE velphonebook)
target_link_options(dialog_fit_probe PRIVATE -municode)
add_dependencies(test_control dialog_fit_probe)
