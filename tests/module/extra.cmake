# Clients the module tests start as processes of their own (one source):
# activation_client.exe finds the classes through the registry; regfree_host.exe,
# in bin/regfree/ beside a copy of the module and of its assembly manifest (a
# private assembly), through the application manifest the guide gives hosts
# (for x86 as the guide tells a 32-bit host to change it).
set(MODULE_CLIENT ${CMAKE_CURRENT_SOURCE_DIR}/module/client/activation_client.cpp)
set(REGFREE_DIR ${CMAKE_BINARY_DIR}/bin/regfree)
set(REGFREE_GEN ${CMAKE_BINARY_DIR}/generated/regfree)
file(READ ${CMAKE_SOURCE_DIR}/docs/integration.md guide_text)
if(NOT guide_text MATCHES "<!-- example: regfree_host.exe.manifest -->\n```xml\n([^`]*)```")
    message(FATAL_ERROR "The guide has no application manifest for a registration-free host")
endif()
set(regfree_manifest "${CMAKE_MATCH_1}")
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    string(REPLACE "processorArchitecture=\"amd64\"" "processorArchitecture=\"x86\"" regfree_manifest "${regfree_manifest}")
endif()
file(CONFIGURE OUTPUT ${REGFREE_GEN}/regfree_host.exe.manifest CONTENT "${regfree_manifest}" @ONLY)
file(CONFIGURE OUTPUT ${REGFREE_GEN}/regfree_host.rc CONTENT "1 24 \"${REGFREE_GEN}/regfree_host.exe.manifest\"\n")
set_source_files_properties(${REGFREE_GEN}/regfree_host.rc PROPERTIES OBJECT_DEPENDS ${REGFREE_GEN}/regfree_host.exe.manifest)

add_executable(activation_client ${MODULE_CLIENT})
add_executable(regfree_host ${MODULE_CLIENT} ${REGFREE_GEN}/regfree_host.rc)
foreach(client activation_client regfree_host)
    target_link_libraries(${client} PRIVATE velphonebook)
    target_link_options(${client} PRIVATE -municode)
endforeach()
set_target_properties(regfree_host PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${REGFREE_DIR})
add_custom_command(
    OUTPUT ${REGFREE_DIR}/${MODULE_FILE_NAME} ${REGFREE_DIR}/Zantix.VelPhonebook.manifest
    COMMAND ${CMAKE_COMMAND} -E make_directory ${REGFREE_DIR}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:VelPhonebook64> ${REGFREE_DIR}/${MODULE_FILE_NAME}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${CMAKE_BINARY_DIR}/bin/Zantix.VelPhonebook.manifest ${REGFREE_DIR}/
    DEPENDS VelPhonebook64 assembly_manifest ${CMAKE_BINARY_DIR}/bin/Zantix.VelPhonebook.manifest
    VERBATIM)
add_custom_target(regfree_folder DEPENDS ${REGFREE_DIR}/${MODULE_FILE_NAME} ${REGFREE_DIR}/Zantix.VelPhonebook.manifest)
add_dependencies(test_module activation_client regfree_host regfree_folder)

# On x86: the registry views, the per-user registration, the type library's
# system kind and the registration-free client in the 32-bit loader.
set(X86_FILTER "Registration.*:TypeLibrary.*:RegistrationFree.*")
