# The address-book stand-in: build/bin/standin_wab32.dll plays the system's
# address-book library from Vista on (WABOpen and the Windows Contacts classes).
set(WABFAKE ${CMAKE_CURRENT_LIST_DIR})
add_library(standin_wab32 SHARED
    ${WABFAKE}/dllmain.cpp ${WABFAKE}/contact_xml.cpp ${WABFAKE}/contact_data.cpp ${WABFAKE}/contact.cpp
    ${WABFAKE}/contact_manager.cpp ${WABFAKE}/contact_store.cpp ${WABFAKE}/wab.cpp ${WABFAKE}/standin_wab32.def)
set_target_properties(standin_wab32 PROPERTIES PREFIX "" OUTPUT_NAME standin_wab32)
target_link_libraries(standin_wab32 PRIVATE velphonebook shlwapi shell32 ole32 oleaut32 uuid advapi32)
# The source tests reach it through the registry like the product does.
if(TARGET test_sources)
    add_dependencies(test_sources standin_wab32)
endif()
