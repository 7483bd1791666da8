# Extras of the source tests: the Outlook stand-in (a local COM server with a
# type library of Outlook's identifiers) and the script clients.
set(OUTLOOK_FAKE ${CMAKE_CURRENT_SOURCE_DIR}/fakes/outlook)
set(OUTLOOK_GEN ${CMAKE_BINARY_DIR}/generated/fakes/outlook)
file(MAKE_DIRECTORY ${OUTLOOK_GEN})
add_custom_command(
    OUTPUT ${OUTLOOK_GEN}/standin_outlook_h.h ${OUTLOOK_GEN}/standin_outlook.tlb
    COMMAND ${WIDL_EXECUTABLE} -I${WINE_IDL_DIR} -L${WINE_TLB_DIR}
            -h -H ${OUTLOOK_GEN}/standin_outlook_h.h -t -T ${OUTLOOK_GEN}/standin_outlook.tlb
            ${OUTLOOK_FAKE}/standin_outlook.idl
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/cmake/check_tlb.py ${OUTLOOK_GEN}/standin_outlook.tlb
            ${OUTLOOK_FAKE}/standin_outlook.idl
    DEPENDS ${OUTLOOK_FAKE}/standin_outlook.idl ${CMAKE_SOURCE_DIR}/cmake/check_tlb.py
    COMMENT "Compiling the Outlook stand-in's type library"
    VERBATIM)
add_executable(standin_outlook ${OUTLOOK_FAKE}/standin_outlook.cpp ${OUTLOOK_FAKE}/standin_outlook.rc
               ${OUTLOOK_GEN}/standin_outlook_h.h)
target_include_directories(standin_outlook PRIVATE ${OUTLOOK_GEN})
target_link_libraries(standin_outlook PRIVATE velphonebook)
target_link_options(standin_outlook PRIVATE -municode)
set_source_files_properties(${OUTLOOK_FAKE}/standin_outlook.rc PROPERTIES
    OBJECT_DEPENDS ${OUTLOOK_GEN}/standin_outlook.tlb)
add_dependencies(test_sources standin_outlook test_scripts)

# Extras of the source tests: a probe program run as another process (and as
# another Windows version), and the address-book stand-in it needs.
add_executable(wab_probe ${CMAKE_CURRENT_SOURCE_DIR}/sources/probe/wab_probe.cpp)
target_link_libraries(wab_probe PRIVATE test_support)
target_link_options(wab_probe PRIVATE -municode)
add_dependencies(test_sources wab_probe)

# On x86: the address-book library's parameter block through WABOpen in the
# 32-bit loader, and where the library and the address-book file are found
# (the registry's 32-bit views).
set(X86_FILTER "WAB5Test.*:WABTest.WAB5*:WABXPTest.*")
