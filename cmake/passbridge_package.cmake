# What `cmake --install` lays out: libraries, headers, the tool, a CMake package and pkg-config files.
include(CMakePackageConfigHelpers)

set(PASSBRIDGE_PACKAGE_TEMPLATES "${CMAKE_CURRENT_LIST_DIR}")

function(passbridge_install)
  # What somebody needs who links with the libraries; those who load them at run time need only the headers.
  foreach(target IN ITEMS passbridge passbridge_u32)
    if(TARGET ${target})
      target_link_libraries(${target} INTERFACE passbridge_headers)
    endif()
  endforeach()
  if(TARGET passbridge_u32)
    target_compile_definitions(passbridge_u32 INTERFACE PASSBRIDGE_J2534_U32)
  endif()

  set_target_properties(passbridge_headers PROPERTIES EXPORT_NAME headers)
  set(targets passbridge_headers)
  foreach(target IN ITEMS passbridge passbridge_u32 virtual_vci passbridge_tool)
    if(TARGET ${target})
      list(APPEND targets ${target})
    endif()
  endforeach()
  if(TARGET passbridge_tool)
    set_target_properties(passbridge_tool PROPERTIES EXPORT_NAME tool)
  endif()
  install(TARGETS ${targets} EXPORT passbridge_targets)

  install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  if(TARGET virtual_vci)
    install(FILES "${PROJECT_SOURCE_DIR}/virtual_vci/control.h"
            DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/virtual_vci")
  endif()
  passbridge_install_cmake_package()
  if(NOT WIN32)
    passbridge_install_pkg_config(passbridge "")
    passbridge_install_pkg_config(passbridge_u32 " -DPASSBRIDGE_J2534_U32")
  endif()
endfunction()

function(passbridge_install_cmake_package)
  set(folder "${CMAKE_INSTALL_LIBDIR}/cmake/passbridge")
  install(EXPORT passbridge_targets NAMESPACE passbridge:: DESTINATION "${folder}")
  configure_package_config_file(
    "${PASSBRIDGE_PACKAGE_TEMPLATES}/passbridge-config.cmake.in" "${PASSBRIDGE_GENERATED}/passbridge-config.cmake"
    INSTALL_DESTINATION "${folder}")
  write_basic_package_version_file("${PASSBRIDGE_GENERATED}/passbridge-config-version.cmake"
                                   COMPATIBILITY SameMinorVersion)
  install(FILES "${PASSBRIDGE_GENERATED}/passbridge-config.cmake"
                "${PASSBRIDGE_GENERATED}/passbridge-config-version.cmake" DESTINATION "${folder}")
endfunction()

# NAME.pc; FLAGS are those that a client of that library compiles with, beside the include path.
function(passbridge_install_pkg_config name flags)
  if(NOT TARGET ${name})
    return()
  endif()
  configure_file("${PASSBRIDGE_PACKAGE_TEMPLATES}/passbridge.pc.in" "${PASSBRIDGE_GENERATED}/${name}.pc" @ONLY)
  install(FILES "${PASSBRIDGE_GENERATED}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()
