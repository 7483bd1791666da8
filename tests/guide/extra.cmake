# The guide's examples, taken out of docs/integration.md at configure time into
# bin/guide/: each C++ example (with its resource script, if any) is built as a
# program of its own against the type library's generated header alone, as a
# host programmer builds it; scripts and expected outputs lie beside them.
set(GUIDE ${CMAKE_SOURCE_DIR}/docs/integration.md)
set(GUIDE_EXTRACT ${CMAKE_CURRENT_SOURCE_DIR}/guide/extract_examples.py)
set(GUIDE_DIR ${CMAKE_BINARY_DIR}/bin/guide)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${GUIDE} ${GUIDE_EXTRACT})
execute_process(COMMAND ${Python3_EXECUTABLE} ${GUIDE_EXTRACT} ${GUIDE} ${GUIDE_DIR}
                OUTPUT_VARIABLE guide_examples RESULT_VARIABLE guide_result)
if(NOT guide_result EQUAL 0)
    message(FATAL_ERROR "The guide's examples could not be extracted")
endif()

set(GUIDE_GENERATED ${CMAKE_BINARY_DIR}/generated/module)
function(add_guide_example target output_dir sources)
    add_executable(${target} ${sources} ${GUIDE_GENERATED}/VelPhonebook_i.c)
    add_dependencies(${target} typelib)
    target_include_directories(${target} PRIVATE ${GUIDE_GENERATED} ${GUIDE_DIR})
    target_link_libraries(${target} PRIVATE ole32 oleaut32 uuid)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${output_dir})
    add_dependencies(test_guide ${target})
endfunction()

foreach(example ${guide_examples})
    if(example MATCHES "^(.*)\\.cpp$")
        set(stem ${CMAKE_MATCH_1})
        set(sources ${GUIDE_DIR}/${example})
        if(EXISTS ${GUIDE_DIR}/${stem}.rc)
            list(APPEND sources ${GUIDE_DIR}/${stem}.rc)
        endif()
        add_guide_example(guide_${stem} ${GUIDE_DIR} "${sources}")
        set_target_properties(guide_${stem} PROPERTIES OUTPUT_NAME ${stem})
    endif()
endforeach()

# Registration-free: the early-binding example again, with the guide's
# application manifest embedded, in a folder of its own beside a copy of the
# module and of its assembly manifest.
set(GUIDE_REGFREE ${GUIDE_DIR}/regfree)
set(GUIDE_GEN ${CMAKE_BINARY_DIR}/generated/guide)
# (configure_file leaves an unchanged file alone, so nothing is rebuilt for nothing.)
configure_file(${GUIDE_DIR}/regfree_host.exe.manifest ${GUIDE_GEN}/regfree_host.exe.manifest COPYONLY)
file(WRITE ${GUIDE_GEN}/regfree_host.rc.in "1 24 \"${GUIDE_GEN}/regfree_host.exe.manifest\"\n")
configure_file(${GUIDE_GEN}/regfree_host.rc.in ${GUIDE_GEN}/regfree_host.rc COPYONLY)
set_source_files_properties(${GUIDE_GEN}/regfree_host.rc PROPERTIES OBJECT_DEPENDS ${GUIDE_GEN}/regfree_host.exe.manifest)
add_guide_example(guide_regfree_host ${GUIDE_REGFREE} "${GUIDE_DIR}/early_binding.cpp;${GUIDE_GEN}/regfree_host.rc")
set_target_properties(guide_regfree_host PROPERTIES OUTPUT_NAME early_binding)
add_custom_command(
    OUTPUT ${GUIDE_REGFREE}/${MODULE_FILE_NAME} ${GUIDE_REGFREE}/Zantix.VelPhonebook.manifest
    COMMAND ${CMAKE_COMMAND} -E make_directory ${GUIDE_REGFREE}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:VelPhonebook64> ${GUIDE_REGFREE}/${MODULE_FILE_NAME}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${CMAKE_BINARY_DIR}/bin/Zantix.VelPhonebook.manifest
            ${GUIDE_REGFREE}/Zantix.VelPhonebook.manifest
    DEPENDS VelPhonebook64 assembly_manifest ${CMAKE_BINARY_DIR}/bin/Zantix.VelPhonebook.manifest
    VERBATIM)
add_custom_target(guide_regfree_folder DEPENDS ${GUIDE_REGFREE}/${MODULE_FILE_NAME} ${GUIDE_REGFREE}/Zantix.VelPhonebook.manifest)
add_dependencies(test_guide guide_regfree_folder standin_wab32)
