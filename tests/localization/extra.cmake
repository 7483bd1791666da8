# The module's string table and a dialog template; the stand-in sibling
# language library (both list functions, and the plain one only) and a probe
# run as a fresh process.
set(LOC_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/localization)
set(LOC_STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization)
target_sources(test_localization PRIVATE ${LOC_TESTS}/test_resources.rc)
target_include_directories(test_localization PRIVATE ${LOC_STRINGS})

# Named as the module's sibling of the same architecture, in zantixui\ and zantixui_plain\.
foreach(variant ZantixUI64 ZantixUI64_plain)
    add_library(${variant} SHARED ${LOC_TESTS}/standin/zantix_ui.cpp)
    string(REPLACE "ZantixUI64" "zantixui" folder ${variant})
    set_target_properties(${variant} PROPERTIES PREFIX "" OUTPUT_NAME ZantixUI${MODULE_ARCH_SUFFIX}
                          RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/${folder})
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)  # the module asks for the plain names, without "@16"
        target_link_options(${variant} PRIVATE -Wl,--kill-at)
    endif()
endforeach()
target_compile_definitions(ZantixUI64_plain PRIVATE ZANTIXUI_PLAIN_ONLY)

add_executable(localization_probe ${LOC_TESTS}/probe/localization_probe.cpp)
target_link_libraries(localization_probe PRIVATE velphonebook)
add_dependencies(test_localization ZantixUI64 ZantixUI64_plain localization_probe)

# x86: the sibling library's exports and its loading by the 32-bit loader.
set(X86_FILTER "PlatformTest.Sibling*:PlatformTest.FreshProcess*")
