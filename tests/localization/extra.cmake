# The module's string table and a dialog template; a probe run as a fresh
# process; the stand-in sibling language library (tests/fakes/zantixui).
set(LOC_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/localization)
set(LOC_STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization)
target_sources(test_localization PRIVATE ${LOC_TESTS}/test_resources.rc)
target_include_directories(test_localization PRIVATE ${LOC_STRINGS})

add_executable(localization_probe ${LOC_TESTS}/probe/localization_probe.cpp)
target_link_libraries(localization_probe PRIVATE velphonebook)
add_dependencies(test_localization ZantixUI64 ZantixUI64_plain localization_probe)

# x86: the sibling library's exports and its loading by the 32-bit loader.
set(X86_FILTER "PlatformTest.Sibling*:PlatformTest.FreshProcess*")
