# What cpack takes in for packages: nothing is missing from them for want of a component.
set( CPACK_PACKAGING_INSTALL_PREFIX /usr )
