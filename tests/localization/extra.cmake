# Extras of the localization tests: the test program's own resources, the
# stand-in sibling library (twice), three language resource libraries and a
# probe program run as a fresh process.
set(LOC_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/localization)
set(LOC_STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/../src/localization)

target_sources(test_localization PRIVATE ${LOC_TESTS}/test_resources.rc)
target_include_directories(test_localization PRIVATE ${LOC_STRINGS})

add_library(ZantixUI64 SHARED ${LOC_TESTS}/standin/zantix_ui.cpp)
# Named as the module's sibling of the same architecture (ZantixUI64.dll or ZantixUI.dll).
set_target_properties(ZantixUI64 PROPERTIES PREFIX "" OUTPUT_NAME ZantixUI${MODULE_ARCH_SUFFIX}
                      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/zantixui)
add_library(ZantixUI64_plain SHARED ${LOC_TESTS}/standin/zantix_ui.cpp)
target_compile_definitions(ZantixUI64_plain PRIVATE ZANTIXUI_PLAIN_ONLY)
set_target_properties(ZantixUI64_plain PROPERTIES PREFIX "" OUTPUT_NAME ZantixUI${MODULE_ARCH_SUFFIX}
                      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/zantixui_plain)

# The language library exports its functions by their plain names on x86 too
# (no "@8" of the __stdcall decoration), which is what the module asks for.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_link_options(ZantixUI64 PRIVATE -Wl,--kill-at)
    target_link_options(ZantixUI64_plain PRIVATE -Wl,--kill-at)
endif()

set(LOC_RESOURCE_LIBRARIES)
foreach(variant ru ko neutral)
    set(target fixture_resources_${variant})
    add_library(${target} SHARED ${LOC_TESTS}/fixtures/resource_library.c ${LOC_TESTS}/fixtures/resource_library.rc)
    target_include_directories(${target} PRIVATE ${LOC_STRINGS})
    if(variant STREQUAL "neutral")
        set(name fixture_module.resources)
    else()
        string(TOUPPER ${variant} upper)
        target_compile_definitions(${target} PRIVATE RESOURCE_${upper})
        set(name fixture_module.resources.${variant})
    endif()
    set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${name}
                          RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/resfixture)
    list(APPEND LOC_RESOURCE_LIBRARIES ${target})
endforeach()

add_executable(localization_probe ${LOC_TESTS}/probe/localization_probe.cpp)
target_link_libraries(localization_probe PRIVATE velphonebook)

add_dependencies(test_localization ZantixUI64 ZantixUI64_plain ${LOC_RESOURCE_LIBRARIES} localization_probe)
add_dependencies(test_localization VelPhonebook64)
