# The stand-in for the optional sibling language library, named as the
# module's sibling of the same architecture, in bin\zantixui\ (both list
# functions) and bin\zantixui_plain\ (the plain one only).
foreach(variant ZantixUI64 ZantixUI64_plain)
    add_library(${variant} SHARED ${CMAKE_CURRENT_LIST_DIR}/zantix_ui.cpp)
    string(REPLACE "ZantixUI64" "zantixui" folder ${variant})
    set_target_properties(${variant} PROPERTIES PREFIX "" OUTPUT_NAME ZantixUI${MODULE_ARCH_SUFFIX}
                          RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/${folder})
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)  # the module asks for the plain names, without "@16"
        target_link_options(${variant} PRIVATE -Wl,--kill-at)
    endif()
endforeach()
target_compile_definitions(ZantixUI64_plain PRIVATE ZANTIXUI_PLAIN_ONLY)
