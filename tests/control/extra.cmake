# The AddressBook tests add to Outlook through its stand-in and check the
# result with the stand-in's test tools.
target_sources(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/sources/outlook_fixture.cpp)
add_dependencies(test_control standin_outlook)
# The control tests carry the module's manifest (common controls 6), as the module does.
target_sources(test_control PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/control/list_test_resources.rc)
target_link_libraries(test_control PRIVATE gdiplus)
