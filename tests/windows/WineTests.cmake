# The Windows build's tests run under wine (CMAKE_CROSSCOMPILING_EMULATOR) in a prefix of the build
# tree's own. A setup fixture makes the prefix and starts a persistent wineserver, so each test
# program starts warm; the cleanup fixture stops it. Each test program is one CTest test: starting
# wine once per test case would cost a second each.
set(WINE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/wine-prefix.sh)
set(WINE_LOG_DIR ${CMAKE_BINARY_DIR}/wine-logs)

add_test(NAME Wine.Prefix COMMAND ${WINE_SCRIPT} start ${TAVKELO_WINEPREFIX} ${WINE_LOG_DIR})
set_tests_properties(Wine.Prefix PROPERTIES FIXTURES_SETUP wine LABELS wine TIMEOUT 180)
add_test(NAME Wine.Stop COMMAND ${WINE_SCRIPT} stop ${TAVKELO_WINEPREFIX} ${WINE_LOG_DIR})
set_tests_properties(Wine.Stop PROPERTIES FIXTURES_CLEANUP wine LABELS wine TIMEOUT 60)

# tavkelo_wine_test(<test program> <label>): the whole program as one test under wine. GoogleTest's
# closing line is required, so a program that wine ends early does not pass for want of failures.
function(tavkelo_wine_test target label)
  add_test(NAME ${target} COMMAND ${target})
  set_tests_properties(${target} PROPERTIES
    FIXTURES_REQUIRED wine
    LABELS "${label};wine"
    TIMEOUT 600
    PASS_REGULAR_EXPRESSION "\\[  PASSED  \\] [0-9]+ tests?\\."
    FAIL_REGULAR_EXPRESSION "\\[  FAILED  \\]")
endfunction()

# The Win32 comm channel on a COM port that wine maps to a Linux pseudo-terminal, against the Linux
# simulator, and the same session through the Linux build: the simulator's request logs must be
# the same frame by frame. The Linux programs come from the normal build.
set(TAVKELO_LINUX_BUILD ${PROJECT_SOURCE_DIR}/build/default CACHE PATH
    "The Linux build whose kelo-sim and kelo-wire-session the COM-port test runs")
add_test(NAME Wine.ComPortSession
         COMMAND ${CMAKE_CURRENT_LIST_DIR}/com-port-session.sh ${TAVKELO_WINEPREFIX} ${WINE_LOG_DIR}
                 $<TARGET_FILE:kelo-wire-session> ${TAVKELO_LINUX_BUILD}
                 ${CMAKE_BINARY_DIR}/com-port-session)
set_tests_properties(Wine.ComPortSession PROPERTIES
  FIXTURES_REQUIRED wine LABELS "platform;wine" TIMEOUT 120 SKIP_RETURN_CODE 77)

# tavkelo_wine_server_test(): TavKeloASM.exe and kelo.exe as a station runs them, whole
# (server-under-wine.sh), compared with the Linux server of TAVKELO_LINUX_BUILD when it is built.
function(tavkelo_wine_server_test)
  add_test(NAME Wine.Server
           COMMAND ${CMAKE_COMMAND} -E env WINEPREFIX=${TAVKELO_WINEPREFIX}
                   ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/server-under-wine.sh
                   $<TARGET_FILE_DIR:TavKeloASM> ${CMAKE_BINARY_DIR}/server-under-wine
                   ${WINE_LOG_DIR}/server ${TAVKELO_LINUX_BUILD}/src/TavKeloASM)
  set_tests_properties(Wine.Server PROPERTIES
    FIXTURES_REQUIRED wine
    LABELS "server;wine"
    TIMEOUT 300
    PASS_REGULAR_EXPRESSION "server-under-wine: [1-9][0-9]* passed, 0 failed"
    FAIL_REGULAR_EXPRESSION "FAILED:")
endfunction()

# COM clients of TavKeloASM.exe: the VBScript (docs/examples/kelo-client.vbs) under cscript and
# the C++ client (docs/examples/LateBoundClient.cpp), at once, against kelo-sim on COM1.
if(TARGET TavKeloASM)
  add_executable(LateBoundClient ${PROJECT_SOURCE_DIR}/docs/examples/LateBoundClient.cpp)
  target_link_libraries(LateBoundClient PRIVATE tavkelo_com_typelib tavkelo_warnings)
  add_test(NAME Wine.ComClients
           COMMAND ${CMAKE_CURRENT_LIST_DIR}/com-clients.sh ${TAVKELO_WINEPREFIX}
                   $<TARGET_FILE:TavKeloASM> $<TARGET_FILE:LateBoundClient>
                   ${PROJECT_SOURCE_DIR}/docs/examples/kelo-client.vbs ${TAVKELO_LINUX_BUILD}
                   ${CMAKE_BINARY_DIR}/com-clients)
  # The session's frames through COM to the Windows server and over HTTP to the Linux one.
  add_test(NAME Wine.ComWireSession
           COMMAND ${CMAKE_CURRENT_LIST_DIR}/com-wire-session.sh ${TAVKELO_WINEPREFIX}
                   $<TARGET_FILE:TavKeloASM> ${TAVKELO_LINUX_BUILD}
                   ${CMAKE_BINARY_DIR}/com-wire-session)
  set_tests_properties(Wine.ComWireSession PROPERTIES
    FIXTURES_REQUIRED wine LABELS "server;wine" TIMEOUT 120 SKIP_RETURN_CODE 77 RUN_SERIAL TRUE)
  set_tests_properties(Wine.ComClients PROPERTIES
    FIXTURES_REQUIRED wine LABELS "server;wine" TIMEOUT 300 SKIP_RETURN_CODE 77 RUN_SERIAL TRUE)
endif()
