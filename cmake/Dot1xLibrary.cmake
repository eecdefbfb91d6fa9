# How every target of this project is built: C++20, hidden symbols, strict warnings.

add_library( dot1x_build_options INTERFACE )
target_compile_options( dot1x_build_options INTERFACE
   -Wall -Wextra -Wpedantic -Wconversion -Wshadow
   $<$<BOOL:${DOT1X_WERROR}>:-Werror>
   # Failed assertions name files of the source tree, wherever that is.
   -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
   # g++ 12 warns of its own string concatenation at -O3 (GCC bug 105651).
   $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> )
if( DOT1X_FUZZ )
   # Here and not for the fuzzers alone: what counts as new is what the libraries do.
   target_compile_options( dot1x_build_options INTERFACE -fsanitize=fuzzer-no-link )
endif()
if( DOT1X_SANITIZE )
   target_compile_options( dot1x_build_options INTERFACE
      -fsanitize=${DOT1X_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer )
   target_link_options( dot1x_build_options INTERFACE -fsanitize=${DOT1X_SANITIZE} )
   if( CMAKE_CXX_COMPILER_ID STREQUAL GNU )
      # What sanitizers add hides from g++ that an empty optional's value is not read (GCC bug 80635).
      target_compile_options( dot1x_build_options INTERFACE -Wno-maybe-uninitialized )
   endif()
   if( CMAKE_CXX_COMPILER_ID MATCHES Clang )
      # Types of hidden visibility are distinct per library to this check, and ours cross libraries.
      target_compile_options( dot1x_build_options INTERFACE -fno-sanitize=vptr,function )
   endif()
endif()

# What makes a fault harder to exploit, for all that is installed: the libraries, and the tool, which
# is a program that can be loaded anywhere.
add_library( dot1x_hardening INTERFACE )
set( is_library $<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY> )
set( is_program $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE> )
target_compile_options( dot1x_hardening INTERFACE
   -fstack-protector-strong
   $<$<NOT:${is_library}>:-fPIE> )
target_link_options( dot1x_hardening INTERFACE
   LINKER:-z,relro LINKER:-z,now
   $<${is_program}:-pie> )
if( CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$" )
   set( DOT1X_BRANCH_PROTECTION -fcf-protection )
elseif( CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$" )
   set( DOT1X_BRANCH_PROTECTION -mbranch-protection=standard )
endif()
target_compile_options( dot1x_hardening INTERFACE ${DOT1X_BRANCH_PROTECTION} )
if( NOT DOT1X_SANITIZE )
   # Sanitizers check more, by the plain functions. Without optimisation it would be a warning.
   target_compile_options( dot1x_hardening INTERFACE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2> )
endif()

# Most relocations of a library are of its own records: packed, they take a hundredth of the room.
include( CheckLinkerFlag )
check_linker_flag( CXX LINKER:-z,pack-relative-relocs DOT1X_PACKS_RELOCATIONS )

# BUILD_SHARED_LIBS=OFF makes static libraries, a project without an opinion gets shared ones.
set( DOT1X_LIBRARY_TYPE SHARED )
if( DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS )
   set( DOT1X_LIBRARY_TYPE STATIC )
endif()

# Calls between functions of one library need no indirection through the dynamic linker.
set( DOT1X_LIBRARY_OPTIONS -fno-semantic-interposition )

# Before version 1 every minor version may break its users.
set( DOT1X_ABI ${PROJECT_VERSION_MAJOR} )
if( PROJECT_VERSION_MAJOR EQUAL 0 )
   set( DOT1X_ABI 0.${PROJECT_VERSION_MINOR} )
endif()

# dot1x_library( NAME AS FILE [DEPENDS targets...] )
# An installed library, the target dot1x_NAME, for users Dot1xV2::NAME, in the file libFILE. What it
# is made of the rooms say by dot1x_part. All targets of a project that takes this one in by
# add_subdirectory share one set of names: hence the prefix.
function( dot1x_library name )
   cmake_parse_arguments( ARG "" "AS" "DEPENDS" ${ARGN} )
   set( target dot1x_${name} )
   add_library( ${target} ${DOT1X_LIBRARY_TYPE} )
   add_library( Dot1xV2::${name} ALIAS ${target} )
   target_include_directories( ${target} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/dot1xv2> )
   target_compile_features( ${target} PUBLIC cxx_std_20 )
   target_compile_options( ${target} PRIVATE ${DOT1X_LIBRARY_OPTIONS} )
   target_link_libraries( ${target}
      PUBLIC ${ARG_DEPENDS}
      PRIVATE $<BUILD_INTERFACE:dot1x_build_options> $<BUILD_INTERFACE:dot1x_hardening> )
   # Each symbol has the version of the interface: a program that was linked to another one does not
   # start, and says why, also where two versions come together in a process.
   set( script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map )
   file( CONFIGURE OUTPUT ${script} CONTENT "DOT1X_@DOT1X_ABI@ { global: *; };\n" @ONLY )
   # Module records stay registered for the life of the process, so the code must stay too.
   target_link_options( ${target} PRIVATE LINKER:-z,nodelete LINKER:--version-script=${script}
      $<$<BOOL:${DOT1X_PACKS_RELOCATIONS}>:LINKER:-z,pack-relative-relocs> )
   set_target_properties( ${target} PROPERTIES
      CXX_EXTENSIONS OFF
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON
      OUTPUT_NAME ${ARG_AS}
      EXPORT_NAME ${name}
      UNITY_BUILD ${DOT1X_QUICK}
      UNITY_BUILD_MODE GROUP
      VERSION ${PROJECT_VERSION}
      SOVERSION ${DOT1X_ABI} )
   set_property( GLOBAL APPEND PROPERTY DOT1X_LIBRARIES ${target} )
endfunction()

# dot1x_part( NAME [UNITED] [SOURCES ...] [INTERNAL libraries...] [NOT_INSTALLED headers...] )
# The room in the current folder is part of the installed library dot1x_NAME. Its headers are included
# by folder ("ROOM/Header.h") and installed, but for those that ask for what users need not have. No
# header that is installed shows the packaged libraries that are INTERNAL, files or imported targets.
# With DOT1X_QUICK a room that is UNITED is compiled in one piece.
function( dot1x_part name )
   cmake_parse_arguments( ARG "UNITED" "" "SOURCES;INTERNAL;NOT_INSTALLED" ${ARGN} )
   cmake_path( GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder )
   list( TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ )
   target_sources( dot1x_${name} PRIVATE ${ARG_SOURCES} )
   foreach( library IN LISTS ARG_INTERNAL )
      # Installed, it is a name that the linker looks for.
      string( REGEX REPLACE "^.*(::|/lib)|[.].*" "" linked ${library} )
      target_link_libraries( dot1x_${name}
         PRIVATE $<BUILD_INTERFACE:${library}> $<INSTALL_INTERFACE:${linked}> )
      set_property( TARGET dot1x_${name} APPEND PROPERTY DOT1X_PRIVATE_LIBRARIES ${linked} )
   endforeach()
   if( ARG_UNITED )
      set_source_files_properties( ${ARG_SOURCES} TARGET_DIRECTORY dot1x_${name}
         PROPERTIES UNITY_GROUP ${folder} )
   endif()
   list( TRANSFORM ARG_NOT_INSTALLED REPLACE "(.+)" "PATTERN;\\1;EXCLUDE" )
   install( DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/dot1xv2/${folder} COMPONENT development
      FILES_MATCHING PATTERN "*.h" ${ARG_NOT_INSTALLED} )
endfunction()

# dot1x_room( NAME SOURCES ... [DEPENDS targets...] [INTERNAL targets...] )
# A static library, dot1x_NAME, whose headers are included by folder ("NAME/Header.h"): what the tool
# is made of, and any program may use. What is INTERNAL none of its headers shows.
function( dot1x_room name )
   cmake_parse_arguments( ARG "" "" "SOURCES;DEPENDS;INTERNAL" ${ARGN} )
   set( target dot1x_${name} )
   add_library( ${target} STATIC ${ARG_SOURCES} )
   target_include_directories( ${target} PUBLIC ${PROJECT_SOURCE_DIR} )
   target_compile_features( ${target} PUBLIC cxx_std_20 )
   # Not linked to: then every program that uses it would have to be linked likewise.
   target_compile_options( ${target} PRIVATE
      $<TARGET_PROPERTY:dot1x_hardening,INTERFACE_COMPILE_OPTIONS> )
   target_link_libraries( ${target}
      PUBLIC ${ARG_DEPENDS}
      PRIVATE ${ARG_INTERNAL} $<BUILD_INTERFACE:dot1x_build_options> )
   set_target_properties( ${target} PROPERTIES
      CXX_EXTENSIONS OFF
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON
      UNITY_BUILD ${DOT1X_QUICK}
      UNITY_BUILD_BATCH_SIZE 0 )
   set_property( GLOBAL APPEND PROPERTY DOT1X_ROOMS ${target} )
endfunction()
