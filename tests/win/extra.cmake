# The window kit tests carry a dialog template and the module's manifest.
target_sources(test_win PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/win/test_resources.rc)
