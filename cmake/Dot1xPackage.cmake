# Debian packages of what is installed: the libraries, what it takes to build with them, and the tool.
# "cpack -G DEB" in a build folder makes them.

set( CPACK_PACKAGE_NAME dot1xv2 )
set( CPACK_PACKAGE_VERSION ${PROJECT_VERSION} )
set( CPACK_PACKAGE_CONTACT "The libDot1xV2 developers <maintainers@dot1xv2.example>" )
set( CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE )
set( CPACK_GENERATOR DEB )
set( CPACK_STRIP_FILES ON )
set( CPACK_DEB_COMPONENT_INSTALL ON )
set( CPACK_COMPONENTS_GROUPING IGNORE )
set( CPACK_COMPONENTS_ALL libraries development )
set( CPACK_DEBIAN_FILE_NAME DEB-DEFAULT )
set( CPACK_DEBIAN_PACKAGE_RELEASE 1 )
set( CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/Dot1xPackageConfig.cmake )
set( CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/Dot1xPackageFinish.cmake )

# What the programs and libraries need is found in them.
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON )
set( CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON )
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "" )
foreach( library IN LISTS DOT1X_LIBRARIES )
   get_target_property( folder ${library} BINARY_DIR )
   list( APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${folder} )
endforeach()
list( REMOVE_DUPLICATES CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS )

# dot1x_package( COMPONENT NAME SECTION SUMMARY TEXT [DEPENDS packages] )
# What is said of a package, and where its copyright and changelog go.
macro( dot1x_package component name section summary text )
   string( TOUPPER ${component} upper )
   set( CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} )
   set( CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} )
   set( CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}" )
   set( CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${ARGN}" )
   install( FILES ${PROJECT_BINARY_DIR}/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component} )
endmacro()

set( libraries_package libdot1xv2-${DOT1X_ABI} )
set( exactly "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})" )
dot1x_package( libraries ${libraries_package} libs
   "state of an IEEE 802.1X authenticator, mirrored between processes"
   "Types of the state of a port-based access control agent (profiles, supplicants,\nsessions, RADIUS answers) on an entity framework with notifications, and what\nmirrors trees of them to other processes." )
dot1x_package( development libdot1xv2-dev libdevel
   "state of an IEEE 802.1X authenticator (development files)"
   "Headers, and files for CMake and pkg-config, to build programs that use or\nmirror the state of a port-based access control agent."
   "${libraries_package} ${exactly}" )
if( TARGET dot1xctl )
   list( APPEND CPACK_COMPONENTS_ALL tool )
   dot1x_package( tool dot1xctl net
      "show what an IEEE 802.1X port does, and why"
      "Follows an access control agent or reads packet captures, and shows ports,\nsupplicants, VLANs, sessions and blocked addresses as tables or JSON."
      "${libraries_package} ${exactly}" )
endif()

# In Debian's forms.
file( WRITE ${PROJECT_BINARY_DIR}/debian/copyright
   "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
   "Upstream-Name: ${PROJECT_NAME}\n\nFiles: *\nCopyright: 2025-2026 The libDot1xV2 developers\n"
   "License: Apache-2.0\n On Debian systems the full text is in /usr/share/common-licenses/Apache-2.0.\n" )
file( WRITE ${PROJECT_BINARY_DIR}/debian/changelog.Debian
   "dot1xv2 (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
   "  * See CHANGELOG.md of the sources.\n\n"
   " -- ${CPACK_PACKAGE_CONTACT}  Thu, 01 Jan 2026 00:00:00 +0000\n" )
file( WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n" )
set( CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers )
execute_process( COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/debian/changelog.Debian )
include( CPack )
