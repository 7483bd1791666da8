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
add_dependencies(test_guide standin_wab32)

# The guide's commands for the SDK (the x86-64 ones), run as printed on this
# machine against the SDK's IDL, give what the build's SDK folder holds.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    add_test(NAME guide_sdk COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/guide/check_sdk.py
             ${GUIDE_DIR} ${CMAKE_BINARY_DIR}/sdk ${CMAKE_SOURCE_DIR})
    set_tests_properties(guide_sdk PROPERTIES PASS_REGULAR_EXPRESSION "^PASS" FAIL_REGULAR_EXPRESSION "FAIL:")
    add_dependencies(test_guide sdk)
endif()
