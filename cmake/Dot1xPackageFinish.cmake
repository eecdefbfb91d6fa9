# Run by cpack on what goes into the packages. In /usr libraries are found without a path in the programs,
# which Debian does not want there.
file( GLOB_RECURSE files LIST_DIRECTORIES false ${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*.so.*
   ${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/* )
foreach( file IN LISTS files )
   if( NOT IS_SYMLINK ${file} )
      file( RPATH_REMOVE FILE ${file} )
   endif()
endforeach()
