# The type library of the COM automation class, generated from the member description.
# GenerateIdl writes TavKeloASM.idl; on Windows, widl compiles it into TavKeloASM.tlb, the header
# TavKeloASM.h (the enumerations, _clsKeloInterface) and TavKeloASM_i.c (LIBID_TavKeloASM,
# DIID__clsKeloInterface, CLSID_clsKeloInterface), and the object library tavkelo_com_typelib
# carries the GUIDs and the .tlb as resource 1 TYPELIB. A program links it to hold its type library:
#   target_link_libraries(<program> PRIVATE tavkelo_com_typelib)   # #include "TavKeloASM.h"
set(COM_GENERATED_DIR ${CMAKE_CURRENT_BINARY_DIR}/generated/com)
file(MAKE_DIRECTORY ${COM_GENERATED_DIR})
set(IDL_GENERATOR_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/com/codegen/GenerateIdl.cpp
                          ${CMAKE_CURRENT_SOURCE_DIR}/members/MemberTable.cpp
                          ${CMAKE_CURRENT_SOURCE_DIR}/members/KeloEnums.cpp)

if(NOT WIN32)
  # Built and run with the rest, so the generator stays whole where no widl is needed.
  add_executable(GenerateIdl com/codegen/GenerateIdl.cpp)
  target_link_libraries(GenerateIdl PRIVATE tavkelo_members tavkelo_warnings)
  add_custom_command(
    OUTPUT ${COM_GENERATED_DIR}/TavKeloASM.idl
    COMMAND GenerateIdl ${COM_GENERATED_DIR}/TavKeloASM.idl
    DEPENDS GenerateIdl
    COMMENT "Generating TavKeloASM.idl from the members' description")
  add_custom_target(tavkelo_com_idl ALL DEPENDS ${COM_GENERATED_DIR}/TavKeloASM.idl)
  return()
endif()

# The cross build cannot run what it builds, so the generator (standard C++ and the member
# description, nothing else) is compiled for the build machine by its own compiler.
find_program(TAVKELO_HOST_CXX NAMES c++ g++ REQUIRED)
find_program(TAVKELO_WIDL NAMES ${TAVKELO_MINGW_PREFIX}-widl REQUIRED)
set(TAVKELO_WIDL_IDL_DIR /usr/include/wine/wine/windows CACHE PATH "Folder of oaidl.idl for widl")
set(TAVKELO_WIDL_TLB_DIR /usr/lib/x86_64-linux-gnu/wine/x86_64-windows
    CACHE PATH "Folder of stdole2.tlb for widl")
file(GLOB members_headers ${CMAKE_CURRENT_SOURCE_DIR}/members/*.hpp)
set(host_generator ${CMAKE_CURRENT_BINARY_DIR}/host/GenerateIdl)
add_custom_command(
  OUTPUT ${host_generator}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/host
  COMMAND ${TAVKELO_HOST_CXX} -std=c++20 -O1 -Wall -Wextra -Werror -I${CMAKE_CURRENT_SOURCE_DIR}
          ${IDL_GENERATOR_SOURCES} -o ${host_generator}
  DEPENDS ${IDL_GENERATOR_SOURCES} ${members_headers}
  COMMENT "Building GenerateIdl for the build machine"
  VERBATIM)
add_custom_command(
  OUTPUT ${COM_GENERATED_DIR}/TavKeloASM.idl
  COMMAND ${host_generator} ${COM_GENERATED_DIR}/TavKeloASM.idl
  DEPENDS ${host_generator}
  COMMENT "Generating TavKeloASM.idl from the members' description"
  VERBATIM)
add_custom_command(
  OUTPUT ${COM_GENERATED_DIR}/TavKeloASM.tlb ${COM_GENERATED_DIR}/TavKeloASM.h
         ${COM_GENERATED_DIR}/TavKeloASM_i.c
  COMMAND ${TAVKELO_WIDL} -m64 -I ${TAVKELO_WIDL_IDL_DIR} -L ${TAVKELO_WIDL_TLB_DIR} -t -h -u
          -T ${COM_GENERATED_DIR}/TavKeloASM.tlb -H ${COM_GENERATED_DIR}/TavKeloASM.h
          -U ${COM_GENERATED_DIR}/TavKeloASM_i.c ${COM_GENERATED_DIR}/TavKeloASM.idl
  DEPENDS ${COM_GENERATED_DIR}/TavKeloASM.idl
  COMMENT "Compiling TavKeloASM.idl with widl"
  VERBATIM)
file(CONFIGURE OUTPUT ${COM_GENERATED_DIR}/TavKeloASM.rc
     CONTENT "1 TYPELIB \"${COM_GENERATED_DIR}/TavKeloASM.tlb\"\n")
set_source_files_properties(${COM_GENERATED_DIR}/TavKeloASM.rc PROPERTIES
  OBJECT_DEPENDS ${COM_GENERATED_DIR}/TavKeloASM.tlb)
set_source_files_properties(${COM_GENERATED_DIR}/TavKeloASM_i.c PROPERTIES LANGUAGE CXX)

# An object library, not a static one: a linker takes a resource from an archive only when a
# symbol draws its member in, and a resource has none.
add_library(tavkelo_com_typelib OBJECT ${COM_GENERATED_DIR}/TavKeloASM.rc
                                       ${COM_GENERATED_DIR}/TavKeloASM_i.c)
target_include_directories(tavkelo_com_typelib PUBLIC ${COM_GENERATED_DIR})
target_link_libraries(tavkelo_com_typelib INTERFACE oleaut32 ole32 uuid)
