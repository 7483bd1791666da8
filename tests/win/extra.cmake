# The window kit tests carry a dialog template and the module's manifest.
target_sources(test_win PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/win/test_resources.rc)
# x86: window, dialog and subclass procedures go through __stdcall there.
set(X86_FILTER "WindowKitTest.*")
