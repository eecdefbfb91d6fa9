# Installs the libraries, dot1xctl, and what find_package( Dot1xV2 ) and "pkg-config dot1xv2" need.
# The installed tree can be moved as a whole: nothing in it holds the prefix.

include( CMakePackageConfigHelpers )

get_property( DOT1X_LIBRARIES GLOBAL PROPERTY DOT1X_LIBRARIES )
set( DOT1X_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Dot1xV2 )

set_target_properties( ${DOT1X_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN" )
install( TARGETS ${DOT1X_LIBRARIES}
   EXPORT Dot1xV2Targets
   LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} )
install( EXPORT Dot1xV2Targets NAMESPACE Dot1xV2:: DESTINATION ${DOT1X_PACKAGE_DIR} )

configure_package_config_file( ${CMAKE_CURRENT_LIST_DIR}/Dot1xV2Config.cmake.in
   ${PROJECT_BINARY_DIR}/Dot1xV2Config.cmake
   INSTALL_DESTINATION ${DOT1X_PACKAGE_DIR}
   NO_SET_AND_CHECK_MACRO )
# Before version 1 every minor version may break its users.
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/Dot1xV2ConfigVersion.cmake
   COMPATIBILITY SameMinorVersion )
install(
   FILES ${PROJECT_BINARY_DIR}/Dot1xV2Config.cmake ${PROJECT_BINARY_DIR}/Dot1xV2ConfigVersion.cmake
   DESTINATION ${DOT1X_PACKAGE_DIR} )

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
configure_file( ${CMAKE_CURRENT_LIST_DIR}/dot1xv2.pc.in ${PROJECT_BINARY_DIR}/dot1xv2.pc.in @ONLY )
file( GENERATE OUTPUT ${PROJECT_BINARY_DIR}/dot1xv2.pc INPUT ${PROJECT_BINARY_DIR}/dot1xv2.pc.in )
install( FILES ${PROJECT_BINARY_DIR}/dot1xv2.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig )

if( TARGET dot1xctl )
   file( RELATIVE_PATH DOT1X_BIN_TO_LIB ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR} )
   set_target_properties( dot1xctl PROPERTIES INSTALL_RPATH "$ORIGIN/${DOT1X_BIN_TO_LIB}" )
   install( TARGETS dot1xctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} )
endif()
