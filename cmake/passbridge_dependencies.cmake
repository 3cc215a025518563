# Third-party code, the same targets on every platform: Boost::thread, nlohmann_json::nlohmann_json, CLI11::CLI11,
# Gcrypt::gcrypt, iniparser::iniparser, GTest::gtest, GTest::gmock, GTest::gtest_main.
#
# Boost.Thread, iniparser and GoogleTest are built here from source, for Linux as well: so libpassbridge depends on nobody's shared
# Boost, and the sanitizers see the whole program.

find_package(Threads REQUIRED)

if(DEFINED ENV{PASSBRIDGE_CACHE})
  set(cache "$ENV{PASSBRIDGE_CACHE}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(cache "$ENV{XDG_CACHE_HOME}/passbridge")
else()
  set(cache "$ENV{HOME}/.cache/passbridge")
endif()

# A header-only library of the build machine. A cross compiler must not see the folder that it lies in, with the host's
# C library, so it gets a folder with nothing but a link to the library.
function(passbridge_host_headers target folder header)
  find_path(
    PASSBRIDGE_${folder}_INCLUDE "${folder}/${header}" PATHS /usr/local/include /usr/include
    NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  set(include "${PASSBRIDGE_${folder}_INCLUDE}")
  if(CMAKE_CROSSCOMPILING)
    file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/host_headers/${folder}")
    file(CREATE_LINK "${include}/${folder}" "${PROJECT_BINARY_DIR}/host_headers/${folder}/${folder}" SYMBOLIC)
    set(include "${PROJECT_BINARY_DIR}/host_headers/${folder}")
  endif()
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${include}")
endfunction()

passbridge_host_headers(Boost::headers boost version.hpp)
passbridge_host_headers(nlohmann_json::nlohmann_json nlohmann json.hpp)
passbridge_host_headers(CLI11::CLI11 CLI CLI.hpp)

set(PASSBRIDGE_BOOST_THREAD_SOURCE "${cache}/boost-thread" CACHE PATH "Folder libs/thread/src of Boost")
set(source "${PASSBRIDGE_BOOST_THREAD_SOURCE}")
if(NOT EXISTS "${source}/future.cpp")
  message(FATAL_ERROR "The sources of Boost.Thread are not in '${source}': run scripts/setup")
endif()
add_library(boost_thread STATIC EXCLUDE_FROM_ALL "${source}/future.cpp")
if(WIN32)
  target_sources(
    boost_thread PRIVATE "${source}/win32/thread.cpp" "${source}/win32/thread_primitives.cpp"
                         "${source}/win32/tss_dll.cpp" "${source}/win32/tss_pe.cpp")
else()
  target_sources(boost_thread PRIVATE "${source}/pthread/thread.cpp" "${source}/pthread/once.cpp")
endif()
target_compile_definitions(
  boost_thread
  PRIVATE BOOST_THREAD_BUILD_LIB
  PUBLIC BOOST_ALL_NO_LIB BOOST_CHRONO_HEADER_ONLY
  INTERFACE BOOST_THREAD_USE_LIB)
target_compile_options(boost_thread PRIVATE -w)
target_link_libraries(boost_thread PUBLIC Boost::headers Threads::Threads)
add_library(Boost::thread ALIAS boost_thread)

set(PASSBRIDGE_INIPARSER_SOURCE "${cache}/iniparser" CACHE PATH "Folder src of iniparser")
set(source "${PASSBRIDGE_INIPARSER_SOURCE}")
if(NOT EXISTS "${source}/iniparser.c")
  message(FATAL_ERROR "The sources of iniparser are not in '${source}': run scripts/setup")
endif()
add_library(iniparser STATIC EXCLUDE_FROM_ALL "${source}/iniparser.c" "${source}/dictionary.c")
target_include_directories(iniparser SYSTEM INTERFACE "${source}")
target_compile_options(iniparser PRIVATE -w)
set_target_properties(iniparser PROPERTIES UNITY_BUILD OFF)
add_library(iniparser::iniparser ALIAS iniparser)

# GoogleTest's targets are built when a test wants them, never installed. It looks for Python, which only its own tests need.
function(passbridge_googletest)
  set(PASSBRIDGE_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Source folder of GoogleTest")
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  set(CMAKE_DISABLE_FIND_PACKAGE_Python ON)
  set(INSTALL_GTEST OFF)
  add_subdirectory("${PASSBRIDGE_GOOGLETEST_SOURCE}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
endfunction()

# On Windows statically, so that the DLLs stand alone. Debian's static library for Linux does not fit into a shared one.
add_library(Gcrypt::gcrypt INTERFACE IMPORTED GLOBAL)
if(WIN32)
  find_library(PASSBRIDGE_GCRYPT libgcrypt.a REQUIRED)
  find_library(PASSBRIDGE_GPG_ERROR libgpg-error.a REQUIRED)
  # Instead of ws2_32.
  add_library(passbridge_no_sockets STATIC "${PROJECT_SOURCE_DIR}/src/platform/windows/no_sockets.cpp")
  target_link_libraries(passbridge_no_sockets PRIVATE passbridge_options)
  target_link_libraries(
    Gcrypt::gcrypt INTERFACE "${PASSBRIDGE_GCRYPT}" "${PASSBRIDGE_GPG_ERROR}" passbridge_no_sockets)
  # Their debugging information is three times the size of everything else.
  target_link_options(Gcrypt::gcrypt INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wl,--strip-debug>)
else()
  find_library(PASSBRIDGE_GCRYPT gcrypt REQUIRED)
  target_link_libraries(Gcrypt::gcrypt INTERFACE "${PASSBRIDGE_GCRYPT}")
endif()

include(CTest)
if(BUILD_TESTING)
  passbridge_googletest()
endif()
