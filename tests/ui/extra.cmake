# The dialog tests carry the module's resources: manifest, strings, the
# dialogs' templates and images.
set(UI_INCLUDES ${CMAKE_CURRENT_SOURCE_DIR}/ui ${CMAKE_CURRENT_SOURCE_DIR}/../src/ui
                ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization ${CMAKE_CURRENT_SOURCE_DIR}/../src/module)
target_sources(test_ui PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(test_ui PRIVATE ${UI_INCLUDES})

# The picture tool (scripts/screens): built on request only, never by the tests.
add_executable(ui_screens EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/scripts/screens/ui_screens.cpp
               ${CMAKE_CURRENT_SOURCE_DIR}/ui/ui_harness.cpp ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(ui_screens PRIVATE ${UI_INCLUDES})
target_link_libraries(ui_screens PRIVATE test_support)
target_link_options(ui_screens PRIVATE -municode)
