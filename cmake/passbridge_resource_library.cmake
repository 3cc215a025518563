# passbridge_resource_library(TARGET SOURCE DESCRIPTION): TARGET.dll of resources and nothing else, beside passbridge.dll.
function(passbridge_resource_library target source description)
  add_library(${target} SHARED "${source}")
  # No code, so nothing of a compiler's runtime, and no entry point.
  target_link_options(${target} PRIVATE -nostdlib -Wl,--entry=0 -s)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C RUNTIME_OUTPUT_DIRECTORY
                                                               "$<TARGET_FILE_DIR:passbridge>")
  passbridge_version_resource(${target} "${description}")
  # The file alone: there is nothing to link with.
  install(FILES "$<TARGET_FILE:${target}>" DESTINATION "${CMAKE_INSTALL_BINDIR}")
endfunction()
