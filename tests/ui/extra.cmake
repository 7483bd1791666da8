# The dialog tests carry the module's resources: manifest, strings, the
# dialogs' templates and images.
target_sources(test_ui PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(test_ui PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui ${CMAKE_CURRENT_SOURCE_DIR}/../src/ui
                           ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization ${CMAKE_CURRENT_SOURCE_DIR}/../src/module)

# The program that shows each dialog for a screenshot (tests/ui/screenshots.sh).
add_executable(ui_screens ${CMAKE_CURRENT_SOURCE_DIR}/ui/screens/ui_screens.cpp ${CMAKE_CURRENT_SOURCE_DIR}/ui/ui_harness.cpp
               ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(ui_screens PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui ${CMAKE_CURRENT_SOURCE_DIR}/../src/ui
                           ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization ${CMAKE_CURRENT_SOURCE_DIR}/../src/module)
target_link_libraries(ui_screens PRIVATE test_support)
target_link_options(ui_screens PRIVATE -municode)
add_dependencies(test_ui ui_screens)
