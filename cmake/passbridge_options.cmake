# How everything here is compiled. `passbridge_options` carries what only our own targets get (warnings); what has to be
# the same for every object of a program (standard, visibility, sanitizers) is set for the whole tree.

set(PASSBRIDGE_SANITIZE "" CACHE STRING "Sanitizers: empty, address (with undefined) or thread")
set_property(CACHE PASSBRIDGE_SANITIZE PROPERTY STRINGS "" address thread)
option(PASSBRIDGE_WERROR "Treat warnings as errors" ${PROJECT_IS_TOP_LEVEL})

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

if(WIN32)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
  # Empty values, so that a source which defines the same names itself gets no warning.
  add_compile_definitions(_WIN32_WINNT=0x0601 NOMINMAX= WIN32_LEAN_AND_MEAN=)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A unique symbol would keep the library from ever being unloaded.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()

if(PASSBRIDGE_SANITIZE STREQUAL "address")
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(PASSBRIDGE_SANITIZE STREQUAL "thread")
  set(sanitizers -fsanitize=thread -fno-omit-frame-pointer)
elseif(PASSBRIDGE_SANITIZE)
  message(FATAL_ERROR "PASSBRIDGE_SANITIZE is '${PASSBRIDGE_SANITIZE}'; it can be empty, address or thread")
endif()
add_compile_options(${sanitizers})
add_link_options(${sanitizers})

add_library(passbridge_options INTERFACE)
target_compile_options(
  passbridge_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            $<$<BOOL:${PASSBRIDGE_WERROR}>:-Werror>
            # GCC leaves this one out of -Wconversion in C++, and so do we.
            $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>
            $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>)
if(NOT WIN32 AND NOT PASSBRIDGE_SANITIZE)
  target_link_options(passbridge_options INTERFACE -Wl,-z,defs)
endif()

add_library(passbridge_headers INTERFACE)
target_include_directories(
  passbridge_headers INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                               $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
