if(WIN32 AND CMAKE_CROSSCOMPILING)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${PROJECT_SOURCE_DIR}/scripts/run-under-wine" "${PROJECT_BINARY_DIR}/wine")
endif()

# The folder of sources for the system under test, and what comes before the path of a file there: tests on Windows see
# the root folder as Wine does.
if(WIN32)
  set(PASSBRIDGE_SYSTEM_FOLDER windows)
  set(PASSBRIDGE_ROOT_DRIVE "Z:")
else()
  set(PASSBRIDGE_SYSTEM_FOLDER posix)
  set(PASSBRIDGE_ROOT_DRIVE "")
endif()

# How the sanitizers report in every test.
set(PASSBRIDGE_SANITIZER_OPTIONS
    "ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1" "UBSAN_OPTIONS=print_stacktrace=1"
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")

# passbridge_add_test(NAME SOURCES file... [LIBRARIES target...] [ENVIRONMENT NAME=value...] [LABELS label...]
#                     [TIMEOUT seconds] [WITH_DISPLAY]):
# a GoogleTest program that is one test of ctest. GTest::gmock, a main function and passbridge_options come by
# themselves. Windows programs run under Wine, where ENVIRONMENT arrives, too; only WITH_DISPLAY can they open windows.
function(passbridge_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WITH_DISPLAY" "TIMEOUT" "SOURCES;LIBRARIES;ENVIRONMENT;LABELS")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
    message(FATAL_ERROR "passbridge_add_test(${name}): no SOURCES, or not understood: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT BUILD_TESTING)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "i686")
    # They may run in the emulated machine of scripts/run-in-vm.
    math(EXPR arg_TIMEOUT "5 * ${arg_TIMEOUT}")
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE passbridge_options ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  if(arg_WITH_DISPLAY AND CMAKE_CROSSCOMPILING)
    # The file: a target's name would get the launcher of all tests before it.
    add_test(NAME ${name} COMMAND "${PROJECT_SOURCE_DIR}/scripts/run-under-wine-with-display"
                                  "${PROJECT_BINARY_DIR}/wine-with-display" $<TARGET_FILE:${name}>)
  else()
    add_test(NAME ${name} COMMAND ${name})
  endif()
  set(environment ${PASSBRIDGE_SANITIZER_OPTIONS} ${arg_ENVIRONMENT})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "${environment}" LABELS "${arg_LABELS}"
                                           SKIP_RETURN_CODE 77)
endfunction()
