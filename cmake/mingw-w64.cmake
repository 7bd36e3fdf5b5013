# Cross-building for 64-bit Windows with Debian's mingw-w64 (posix threads), tests run under wine.
# Everything is linked statically, so the programs need no libstdc++ or winpthread DLLs beside them.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TAVKELO_MINGW_PREFIX x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${TAVKELO_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TAVKELO_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${TAVKELO_MINGW_PREFIX}-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

# Only the target's own headers and libraries: never the build machine's /usr/include.
set(CMAKE_FIND_ROOT_PATH /usr/${TAVKELO_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# CTest runs the programs with wine, in a prefix of the build tree's own (tests/windows makes it).
set(TAVKELO_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/bin/env WINEPREFIX=${TAVKELO_WINEPREFIX} WINEDEBUG=-all wine)
