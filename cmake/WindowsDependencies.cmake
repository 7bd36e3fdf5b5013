# The Windows build's libraries. Debian has no mingw packages of them, so:
# - the header-only ones (nlohmann-json, CLI11) come from a folder of their own in the build tree
#   that holds just them, never the whole of the build machine's /usr/include;
# - the HTTP library (cpp-httplib) is header-only too, but Debian's binary package carries a
#   declarations-only header whose code is in a Linux shared library: the whole header comes from
#   Debian's source package, which scripts/deps.sh --windows unpacks into build/deps/;
# - GoogleTest and GoogleMock are built for the target from Debian's source package.
find_package(Threads REQUIRED)

set(TAVKELO_HEADER_ONLY_DIR ${CMAKE_BINARY_DIR}/header-only)
file(MAKE_DIRECTORY ${TAVKELO_HEADER_ONLY_DIR})
foreach(folder nlohmann CLI)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: run scripts/deps.sh")
  endif()
  file(CREATE_LINK /usr/include/${folder} ${TAVKELO_HEADER_ONLY_DIR}/${folder} SYMBOLIC)
endforeach()
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE ${TAVKELO_HEADER_ONLY_DIR})
add_library(CLI11::CLI11 INTERFACE IMPORTED)
target_include_directories(CLI11::CLI11 SYSTEM INTERFACE ${TAVKELO_HEADER_ONLY_DIR})

if(TAVKELO_WITH_SERVER OR TAVKELO_WITH_CLIENT)
  # A header not found at an earlier configure (before scripts/deps.sh fetched it) is looked for
  # again.
  if(NOT EXISTS "${TAVKELO_HTTPLIB_HEADER}")
    unset(TAVKELO_HTTPLIB_HEADER CACHE)
  endif()
  file(GLOB httplib_found ${PROJECT_SOURCE_DIR}/build/deps/cpp-httplib-*/httplib.h)
  list(SORT httplib_found)
  list(POP_BACK httplib_found httplib_newest)
  set(TAVKELO_HTTPLIB_HEADER "${httplib_newest}" CACHE FILEPATH
      "The whole httplib.h, from Debian's cpp-httplib source package")
  if(NOT EXISTS "${TAVKELO_HTTPLIB_HEADER}")
    message(FATAL_ERROR "The whole httplib.h is missing (build/deps/cpp-httplib-*/): run "
                        "scripts/deps.sh --windows, or turn TAVKELO_WITH_SERVER and "
                        "TAVKELO_WITH_CLIENT off")
  endif()
  # The declarations-only header has no server's listen loop in it.
  file(STRINGS "${TAVKELO_HTTPLIB_HEADER}" httplib_code REGEX "^inline bool Server::listen_internal")
  if(NOT httplib_code)
    message(FATAL_ERROR "${TAVKELO_HTTPLIB_HEADER} holds declarations only")
  endif()
  file(CREATE_LINK ${TAVKELO_HTTPLIB_HEADER} ${TAVKELO_HEADER_ONLY_DIR}/httplib.h SYMBOLIC)
  add_library(PkgConfig::HTTPLIB INTERFACE IMPORTED)
  target_include_directories(PkgConfig::HTTPLIB SYSTEM INTERFACE ${TAVKELO_HEADER_ONLY_DIR})
  target_link_libraries(PkgConfig::HTTPLIB INTERFACE ws2_32)
endif()

if(TAVKELO_BUILD_TESTS)
  set(TAVKELO_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's source (Debian's googletest)")
  if(NOT EXISTS ${TAVKELO_GTEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "${TAVKELO_GTEST_SOURCE} is missing: run scripts/deps.sh --windows")
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  add_subdirectory(${TAVKELO_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(lib gtest gtest_main gmock gmock_main)
    if(NOT TARGET GTest::${lib})
      add_library(GTest::${lib} ALIAS ${lib})
    endif()
  endforeach()
  include(GoogleTest)
endif()
