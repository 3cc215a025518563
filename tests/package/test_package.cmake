# Installs a build into a scratch prefix and uses it from there, by CMake package, by pkg-config and with dlopen.
cmake_minimum_required(VERSION 3.25)

set(prefix "${SCRATCH}/prefix")
set(ENV{XDG_CONFIG_HOME} "${SCRATCH}/settings")
set(ENV{XDG_CONFIG_DIRS} "${SCRATCH}/settings")
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
set(ENV{LD_LIBRARY_PATH} "${prefix}/${LIBDIR}")

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(use_by_pkg_config library)
  execute_process(COMMAND pkg-config --cflags --libs ${library} OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run("${COMPILER}" -std=c11 -Wall -Werror "${CONSUMER}/use.c" -o "${SCRATCH}/by_pkg_config_${library}" ${flags})
  run("${SCRATCH}/by_pkg_config_${library}")
endfunction()

file(REMOVE_RECURSE "${SCRATCH}")
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}")

run("${CMAKE_COMMAND}" -S "${CONSUMER}" -B "${SCRATCH}/consumer" -D "CMAKE_PREFIX_PATH=${prefix}" -D
    "CMAKE_C_COMPILER=${COMPILER}")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/consumer")
run("${SCRATCH}/consumer/use_passbridge")
run("${SCRATCH}/consumer/use_passbridge_u32")
file(GLOB libraries "${prefix}/${LIBDIR}/libpassbridge*.so")
run("${SCRATCH}/consumer/load" ${libraries})

use_by_pkg_config(passbridge)
use_by_pkg_config(passbridge_u32)

run("${prefix}/bin/passbridge" --version)

# The library finds the device explorer and its texts.
if(SCREEN_TEST)
  run("${CMAKE_COMMAND}" -E env "PASSBRIDGE_TEST_LIBRARY=${prefix}/${LIBDIR}/libpassbridge.so"
      "PASSBRIDGE_TEST_VCI=${prefix}/${LIBDIR}/libvirtual_vci.so" "${SCREEN_TEST}" --gtest_filter=OpenByDialog.InGerman)
endif()
