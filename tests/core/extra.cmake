# The manager tests open the real books: the Outlook stand-in with its test
# tools, the address-book stand-in with the Contacts folder's tools, and a
# script client that changes Outlook.
target_sources(test_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/sources/outlook_fixture.cpp
                                 ${CMAKE_CURRENT_SOURCE_DIR}/sources/wab_fixture.cpp)
add_dependencies(test_core standin_outlook standin_wab32 test_scripts)
