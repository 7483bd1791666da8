# The localizer's built-in texts are the module's string table.
target_sources(test_fuzz PRIVATE ${CMAKE_SOURCE_DIR}/src/localization/strings.rc)
