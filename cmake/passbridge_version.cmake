# The version, given out twice: `version_info.h` (target passbridge_version) for code that has it compiled in, and a
# Windows version resource for every DLL and program.

set(PASSBRIDGE_GENERATED "${PROJECT_BINARY_DIR}/generated")
configure_file("${CMAKE_CURRENT_LIST_DIR}/version_info.h.in" "${PASSBRIDGE_GENERATED}/version_info.h" @ONLY)
add_library(passbridge_version INTERFACE)
target_include_directories(passbridge_version INTERFACE "${PASSBRIDGE_GENERATED}")

if(WIN32)
  enable_language(RC)
endif()
set(PASSBRIDGE_VERSION_RC "${CMAKE_CURRENT_LIST_DIR}/version.rc.in")

# passbridge_version_resource(TARGET DESCRIPTION): adds the version resource on Windows, nothing elsewhere.
function(passbridge_version_resource target description)
  if(NOT WIN32)
    return()
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(suffix .exe)
    set(file_type 0x1L)
  else()
    set(suffix .dll)
    set(file_type 0x2L)
  endif()
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
  configure_file("${PASSBRIDGE_VERSION_RC}" "${resource}" @ONLY)
  target_sources(${target} PRIVATE "${resource}")
endfunction()
