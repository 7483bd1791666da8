# The dialog tests carry the module's resources: manifest, strings, the
# dialogs' templates and images.
target_sources(test_ui PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui/test_resources.rc)
target_include_directories(test_ui PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/ui ${CMAKE_CURRENT_SOURCE_DIR}/../src/ui
                           ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization ${CMAKE_CURRENT_SOURCE_DIR}/../src/module)
