# Clients of the module that the module tests start as processes of their own:
# activation_client.exe finds the classes through the registry;
# regfree_host.exe (same source) depends on the module's assembly through its
# application manifest and lives in bin/regfree/ beside a copy of the module and
# of its assembly manifest (a private assembly: Zantix.VelPhonebook.manifest in
# the application's folder).
set(MODULE_CLIENT ${CMAKE_CURRENT_SOURCE_DIR}/module/client)
set(REGFREE_DIR ${CMAKE_BINARY_DIR}/bin/regfree)
set(MODULE_ASSEMBLY_MANIFEST ${CMAKE_BINARY_DIR}/bin/Zantix.VelPhonebook.manifest)
set(HOST_MANIFEST ${CMAKE_BINARY_DIR}/generated/module/regfree_host.exe.manifest)

add_executable(activation_client ${MODULE_CLIENT}/activation_client.cpp)
target_link_libraries(activation_client PRIVATE velphonebook)
target_link_options(activation_client PRIVATE -municode)

add_custom_command(
    OUTPUT ${HOST_MANIFEST}
    COMMAND ${Python3_EXECUTABLE} ${MODULE_CLIENT}/make_host_manifest.py ${MODULE_ASSEMBLY_MANIFEST} ${HOST_MANIFEST}
    DEPENDS assembly_manifest ${MODULE_ASSEMBLY_MANIFEST} ${MODULE_CLIENT}/make_host_manifest.py
    COMMENT "Writing the registration-free host's application manifest"
    VERBATIM)
add_executable(regfree_host ${MODULE_CLIENT}/activation_client.cpp ${MODULE_CLIENT}/regfree_host.rc)
target_link_libraries(regfree_host PRIVATE velphonebook)
target_link_options(regfree_host PRIVATE -municode)
target_include_directories(regfree_host PRIVATE ${CMAKE_BINARY_DIR}/generated/module)
set_source_files_properties(${MODULE_CLIENT}/regfree_host.rc PROPERTIES OBJECT_DEPENDS ${HOST_MANIFEST})
set_target_properties(regfree_host PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${REGFREE_DIR})

add_custom_command(
    OUTPUT ${REGFREE_DIR}/${MODULE_FILE_NAME} ${REGFREE_DIR}/Zantix.VelPhonebook.manifest
    COMMAND ${CMAKE_COMMAND} -E make_directory ${REGFREE_DIR}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:VelPhonebook64> ${REGFREE_DIR}/${MODULE_FILE_NAME}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${MODULE_ASSEMBLY_MANIFEST} ${REGFREE_DIR}/Zantix.VelPhonebook.manifest
    DEPENDS VelPhonebook64 assembly_manifest ${MODULE_ASSEMBLY_MANIFEST}
    COMMENT "Copying the module and its assembly manifest beside the registration-free host"
    VERBATIM)
add_custom_target(regfree_folder DEPENDS ${REGFREE_DIR}/${MODULE_FILE_NAME} ${REGFREE_DIR}/Zantix.VelPhonebook.manifest)

add_dependencies(test_module activation_client regfree_host regfree_folder)

# The manifest test reads the module's version resource.
target_link_libraries(test_module PRIVATE version)
