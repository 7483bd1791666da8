# Clients the module tests start as processes of their own (one source):
# activation_client.exe finds the classes through the registry; regfree_host.exe,
# in bin/regfree/ beside a copy of the module and of its assembly manifest (a
# private assembly), through its application manifest, which depends on the
# assembly as a host programmer writes it: name, version and architecture.
set(MODULE_CLIENT ${CMAKE_CURRENT_SOURCE_DIR}/module/client/activation_client.cpp)
set(REGFREE_DIR ${CMAKE_BINARY_DIR}/bin/regfree)
set(REGFREE_GEN ${CMAKE_BINARY_DIR}/generated/regfree)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(REGFREE_ARCH x86)
else()
    set(REGFREE_ARCH amd64)
endif()
file(CONFIGURE OUTPUT ${REGFREE_GEN}/regfree_host.exe.manifest CONTENT
"<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>
<assembly xmlns=\"urn:schemas-microsoft-com:asm.v1\" manifestVersion=\"1.0\">
  <dependency><dependentAssembly>
    <assemblyIdentity type=\"win32\" name=\"Zantix.VelPhonebook\" version=\"${PROJECT_VERSION}\" processorArchitecture=\"${REGFREE_ARCH}\"/>
  </dependentAssembly></dependency>
</assembly>
")
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
