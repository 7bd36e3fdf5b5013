# Checks each library's and program's link dependencies (LINKS_FILE, generated at configure time)
# against the map below. A name may use what its line lists and, through them, everything those
# may use; tavkelo_warnings (compiler flags) is not a dependency.
#   cmake -DLINKS_FILE=<build>/tests/layers/LinkDependencies.cmake [-DLEFT_OUT=a;b] -P CheckLayers.cmake
cmake_minimum_required(VERSION 3.25)

set(LAYER_MAP
  # the engine, bottom to top
  "tavkelo_runtime: Threads::Threads"
  "tavkelo_platform: tavkelo_runtime ws2_32"  # Winsock on Windows
  "tavkelo_host: tavkelo_platform"
  "tavkelo_link: tavkelo_host"
  "tavkelo_sequences: tavkelo_link"
  "tavkelo_members:"
  "tavkelo_automation: tavkelo_sequences tavkelo_members"
  "tavkelo_wizards: tavkelo_link"
  "tavkelo_sim: tavkelo_link"
  "tavkelo_com: tavkelo_automation tavkelo_members oleaut32 ole32 uuid"
  "tavkelo_telemetry: tavkelo_link tavkelo_members nlohmann_json::nlohmann_json PkgConfig::MOSQUITTO"
  "tavkelo_history: tavkelo_link nlohmann_json::nlohmann_json SQLite::SQLite3"
  "tavkelo_server: tavkelo_history tavkelo_telemetry tavkelo_automation tavkelo_wizards tavkelo_sim PkgConfig::HTTPLIB nlohmann_json::nlohmann_json CLI11::CLI11 tavkelo_com"
  "tavkelo_client: tavkelo_members PkgConfig::HTTPLIB nlohmann_json::nlohmann_json"
  # the COM class's type library (Windows): generated code and the .tlb resource, no engine
  "tavkelo_com_typelib:"
  # programs
  "kelo-sim: tavkelo_sim CLI11::CLI11"
  "TavKeloASM: tavkelo_server tavkelo_com_typelib CLI11::CLI11"
  "GenerateRemoteInterface: tavkelo_members"
  "GenerateIdl: tavkelo_members"
  "kelo: tavkelo_client CLI11::CLI11"
  "kelo-wire-session: tavkelo_automation"
  # test support and test programs
  "tavkelo_test_common:"
  "tavkelo_test_link: tavkelo_link tavkelo_test_common"
  "tavkelo_test_interface: tavkelo_automation tavkelo_wizards tavkelo_sim tavkelo_test_link"
  "test_members: tavkelo_members GTest::gtest_main"
  "test_runtime: tavkelo_runtime GTest::gtest_main"
  "test_platform: tavkelo_platform tavkelo_test_common GTest::gtest_main"
  "test_host: tavkelo_host tavkelo_test_common GTest::gtest_main"
  "test_link: tavkelo_link tavkelo_test_link GTest::gtest_main"
  "test_sim: tavkelo_sim GTest::gtest_main"
  "test_sequences: tavkelo_sequences tavkelo_sim tavkelo_test_link GTest::gtest_main"
  "test_automation: tavkelo_automation tavkelo_test_interface GTest::gtest_main"
  "test_wizards: tavkelo_wizards tavkelo_test_interface GTest::gtest_main"
  "test_telemetry: tavkelo_telemetry tavkelo_test_interface GTest::gtest_main"
  "test_history: tavkelo_history tavkelo_test_interface GTest::gtest_main"
  "test_soak: tavkelo_automation tavkelo_test_interface GTest::gtest_main"
  "test_server: tavkelo_server tavkelo_test_common GTest::gtest_main"
  "test_e2e: tavkelo_client tavkelo_platform tavkelo_test_common GTest::gtest_main"
  "test_com: tavkelo_com tavkelo_com_typelib tavkelo_test_interface GTest::gtest_main"
  "LateBoundClient: tavkelo_com_typelib")

foreach(line IN LISTS LAYER_MAP)
  string(REGEX MATCH "^([^:]+):(.*)$" whole "${line}")
  set(name "${CMAKE_MATCH_1}")
  string(STRIP "${CMAKE_MATCH_2}" uses)
  separate_arguments(uses UNIX_COMMAND "${uses}")
  set(USES_${name} ${uses})
  list(APPEND MAPPED ${name})
endforeach()

# Everything `name` may use: its line, and what each name on it may use.
function(may_use name out)
  set(result "")
  foreach(used IN LISTS USES_${name})
    list(APPEND result ${used})
    if(used IN_LIST MAPPED)
      may_use(${used} below)
      list(APPEND result ${below})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES result)
  set(${out} "${result}" PARENT_SCOPE)
endfunction()

string(REPLACE "," ";" LEFT_OUT "${LEFT_OUT}")
include(${LINKS_FILE})
set(failures "")
foreach(target IN LISTS CHECKED_TARGETS)
  if(NOT target IN_LIST MAPPED)
    string(APPEND failures "  ${target} is not in the map\n")
    continue()
  endif()
  may_use(${target} allowed)
  foreach(dep IN LISTS LINKS_${target})
    if(dep STREQUAL "tavkelo_warnings")
      continue()
    endif()
    if(NOT dep IN_LIST allowed)
      string(APPEND failures "  ${target} links ${dep}, which it may not use\n")
    endif()
  endforeach()
endforeach()
# A build that leaves parts out (the Windows build) names them in LEFT_OUT: they, and what is
# built only with them, may be missing.
foreach(name IN LISTS MAPPED)
  if(NOT name IN_LIST CHECKED_TARGETS AND NOT name MATCHES "::" AND NOT name IN_LIST LEFT_OUT)
    string(APPEND failures "  ${name} is in the map but not in the build\n")
  endif()
endforeach()

list(LENGTH CHECKED_TARGETS count)
if(failures)
  message(FATAL_ERROR "Layer map broken:\n${failures}")
endif()
message(STATUS "${count} libraries and programs link only what the map allows")
