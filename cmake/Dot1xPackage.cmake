# A Debian package of everything that is installed: cpack -G DEB in a build folder.

set( CPACK_PACKAGE_NAME dot1xv2 )
set( CPACK_PACKAGE_VERSION ${PROJECT_VERSION} )
set( CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION} )
set( CPACK_PACKAGE_CONTACT "The libDot1xV2 developers <dot1xv2@localhost>" )
set( CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE )
set( CPACK_GENERATOR DEB )
set( CPACK_STRIP_FILES ON )
set( CPACK_DEBIAN_FILE_NAME DEB-DEFAULT )
set( CPACK_DEBIAN_PACKAGE_SECTION libdevel )
# What the programs and libraries need is found in them; ours are in the package itself.
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON )
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "" )
foreach( library IN LISTS DOT1X_LIBRARIES )
   get_target_property( folder ${library} BINARY_DIR )
   list( APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${folder} )
endforeach()
install( FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/dot1xv2
   RENAME copyright )
include( CPack )
