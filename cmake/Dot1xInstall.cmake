# Installs the libraries, dot1xctl, and what find_package( Dot1xV2 ) and "pkg-config dot1xv2" need.
# The installed tree can be moved as a whole: nothing in it holds the prefix.

include( CMakePackageConfigHelpers )

get_property( DOT1X_LIBRARIES GLOBAL PROPERTY DOT1X_LIBRARIES )
set( DOT1X_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Dot1xV2 )

set_target_properties( ${DOT1X_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN" )
# Each library is a component of its own for find_package.
foreach( library IN LISTS DOT1X_LIBRARIES )
   get_target_property( name ${library} EXPORT_NAME )
   install( TARGETS ${library} EXPORT Dot1xV2-${name}
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries
              NAMELINK_COMPONENT development
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development )
   install( EXPORT Dot1xV2-${name} NAMESPACE Dot1xV2:: DESTINATION ${DOT1X_PACKAGE_DIR}
      COMPONENT development )
endforeach()

set( DOT1X_COMPONENTS "" )
foreach( library IN LISTS DOT1X_LIBRARIES )
   get_target_property( name ${library} EXPORT_NAME )
   list( APPEND DOT1X_COMPONENTS ${name} )
endforeach()
list( JOIN DOT1X_COMPONENTS " " DOT1X_COMPONENTS )
configure_package_config_file( ${CMAKE_CURRENT_LIST_DIR}/Dot1xV2Config.cmake.in
   ${PROJECT_BINARY_DIR}/Dot1xV2Config.cmake
   INSTALL_DESTINATION ${DOT1X_PACKAGE_DIR}
   NO_SET_AND_CHECK_MACRO )
# Before version 1 every minor version may break its users.
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/Dot1xV2ConfigVersion.cmake
   COMPATIBILITY SameMinorVersion )
install(
   FILES ${PROJECT_BINARY_DIR}/Dot1xV2Config.cmake ${PROJECT_BINARY_DIR}/Dot1xV2ConfigVersion.cmake
   DESTINATION ${DOT1X_PACKAGE_DIR} COMPONENT development )

# The prefix in the file is relative to the file; absolute directories stay as they are.
cmake_path( RELATIVE_PATH CMAKE_INSTALL_PREFIX
   BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE DOT1X_PC_PREFIX )
foreach( dir LIBDIR INCLUDEDIR )
   cmake_path( ABSOLUTE_PATH CMAKE_INSTALL_${dir} BASE_DIRECTORY "\${prefix}"
      OUTPUT_VARIABLE DOT1X_PC_${dir} )
endforeach()
set( DOT1X_PC_LIBS ${DOT1X_LIBRARIES} )
list( REVERSE DOT1X_PC_LIBS )
list( TRANSFORM DOT1X_PC_LIBS REPLACE "(.+)" "-l$<TARGET_PROPERTY:\\1,OUTPUT_NAME>" )
list( JOIN DOT1X_PC_LIBS " " DOT1X_PC_LIBS )
set( DOT1X_PC_BEFORE "-Wl,--push-state,--no-as-needed" )
set( DOT1X_PC_PRIVATE "" )
foreach( library IN LISTS DOT1X_LIBRARIES )
   get_target_property( private ${library} DOT1X_PRIVATE_LIBRARIES )
   list( APPEND DOT1X_PC_PRIVATE ${private} )
endforeach()
list( FILTER DOT1X_PC_PRIVATE EXCLUDE REGEX "NOTFOUND" )
list( REMOVE_DUPLICATES DOT1X_PC_PRIVATE )
list( TRANSFORM DOT1X_PC_PRIVATE PREPEND "-l" )
list( JOIN DOT1X_PC_PRIVATE " " DOT1X_PC_PRIVATE )
if( DOT1X_LIBRARY_TYPE STREQUAL STATIC )
   # Whoever links them needs what they need.
   string( APPEND DOT1X_PC_LIBS " ${DOT1X_PC_PRIVATE}" )
   set( DOT1X_PC_BEFORE "-Wl,--push-state" )
endif()
configure_file( ${CMAKE_CURRENT_LIST_DIR}/dot1xv2.pc.in ${PROJECT_BINARY_DIR}/dot1xv2.pc.in @ONLY )
file( GENERATE OUTPUT ${PROJECT_BINARY_DIR}/dot1xv2.pc INPUT ${PROJECT_BINARY_DIR}/dot1xv2.pc.in )
install( FILES ${PROJECT_BINARY_DIR}/dot1xv2.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
   COMPONENT development )

if( TARGET dot1xctl )
   file( RELATIVE_PATH DOT1X_BIN_TO_LIB ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR} )
   set_target_properties( dot1xctl PROPERTIES INSTALL_RPATH "$ORIGIN/${DOT1X_BIN_TO_LIB}" )
   install( TARGETS dot1xctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool )
endif()
