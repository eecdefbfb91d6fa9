# What a stranger does with an installed copy: installs BUILD_DIR below WORK_DIR, moves the copy, and
# builds project/ against it, through find_package and through pkg-config. No file of the copy may
# lead back to where it came from, and its programs must find their libraries by themselves.
# With PACKAGE the copy is what the Debian packages of BUILD_DIR unpack. With SOURCE_DIR what is
# installed are the static libraries, which are built of it in BUILD_DIR.

cmake_minimum_required( VERSION 3.25 )

# Runs a command, sets OUTPUT to what it prints on standard output; a failure ends the test.
function( run output )
   execute_process( COMMAND ${ARGN}
      OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE result
      OUTPUT_STRIP_TRAILING_WHITESPACE )
   if( NOT result STREQUAL 0 )
      list( JOIN ARGN " " command )
      message( FATAL_ERROR "${command}\nended with ${result}\n${out}\n${err}" )
   endif()
   set( ${output} ${out} PARENT_SCOPE )
endfunction()

# Fails unless the program prints the attributes of the type, with the libraries of the copy.
function( check_program program )
   run( printed ${program} )
   if( NOT printed MATCHES "^intfId portAuthState authorized " )
      message( FATAL_ERROR "${program} printed \"${printed}\"" )
   endif()
   check_libraries( ${program} )
endfunction()

# Fails unless every library of ours that the program loads is that of the copy.
function( check_libraries program )
   run( loaded ldd ${program} )
   file( GLOB libraries ${copy}/lib*/*.so ${copy}/lib/*/*.so )
   set( count 0 )
   foreach( library ${libraries} )
      cmake_path( GET library FILENAME name )
      if( loaded MATCHES "\t${name}[^\n]* => ([^ \n]+)" )
         file( REAL_PATH ${CMAKE_MATCH_1} found )
         file( REAL_PATH ${library} expected )
         if( NOT found STREQUAL expected )
            message( FATAL_ERROR "${program} loads ${found} in place of ${expected}:\n${loaded}" )
         endif()
         math( EXPR count "${count} + 1" )
      endif()
   endforeach()
   # What is used takes in more than the one library that is named.
   if( count LESS 2 )
      message( FATAL_ERROR "${program} loads ${count} of ${libraries}:\n${loaded}" )
   endif()
endfunction()

foreach( variable DESTDIR LD_LIBRARY_PATH CXXFLAGS LDFLAGS )
   unset( ENV{${variable}} )
endforeach()
file( REMOVE_RECURSE ${WORK_DIR} )
if( PACKAGE )
   find_program( DPKG_DEB dpkg-deb REQUIRED )
   run( ignored ${CMAKE_CPACK_COMMAND} -G DEB --config ${BUILD_DIR}/CPackConfig.cmake
      -B ${WORK_DIR}/package )
   # Debian's own program looks at the packages; warnings are of what a distributor decides.
   find_program( LINTIAN lintian REQUIRED )
   file( GLOB packages ${WORK_DIR}/package/*.deb )
   run( ignored ${LINTIAN} --allow-root --fail-on error ${packages} )
   set( copy ${WORK_DIR}/root/usr )
   set( all "" )
   foreach( package ${packages} )
      run( name ${DPKG_DEB} -f ${package} Package )
      run( needs ${DPKG_DEB} -f ${package} Depends )
      string( APPEND all "${name}: ${needs}\n" )
      run( files ${DPKG_DEB} -c ${package} )
      if( name MATCHES "^libdot1xv2-[0-9]" AND files MATCHES "include|/bin/|[.]so ->" )
         message( FATAL_ERROR "${name} has more than what programs need to run:\n${files}" )
      endif()
      run( ignored ${DPKG_DEB} -x ${package} ${WORK_DIR}/root )
   endforeach()
   if( NOT all MATCHES "libdot1xv2-0[.][0-9]+: libc6 .*libstdc[+][+]6"
         OR NOT all MATCHES "libdot1xv2-dev: libdot1xv2-0[.][0-9]+ [(]= 0" )
      message( FATAL_ERROR "the packages depend on\n${all}" )
   endif()
   foreach( file share/doc/dot1xctl/copyright share/man/man1/dot1xctl.1.gz
         share/bash-completion/completions/dot1xctl )
      if( TOOL AND NOT EXISTS ${copy}/${file} )
         message( FATAL_ERROR "the packages have no ${file}" )
      endif()
   endforeach()
   # In the place for which they are made, the system finds the libraries.
   file( GLOB directory ${copy}/lib/*-linux-gnu* )
   set( ENV{LD_LIBRARY_PATH} ${directory} )
elseif( SOURCE_DIR )
   run( ignored ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${BUILD_DIR} -G ${GENERATOR}
      -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_BUILD_TYPE=Debug -D BUILD_SHARED_LIBS=OFF
      -D DOT1X_QUICK=ON -D DOT1X_TESTS=OFF -D DOT1X_TOOLS=OFF -D DOT1X_AGENT=OFF -D DOT1X_STORE=OFF )
   run( ignored ${CMAKE_COMMAND} --build ${BUILD_DIR} )
   run( ignored ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed )
   set( copy ${WORK_DIR}/installed )
else()
   run( ignored ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed )
   set( copy ${WORK_DIR}/moved )
   file( RENAME ${WORK_DIR}/installed ${copy} )
endif()

file( GLOB_RECURSE texts ${copy}/*.cmake ${copy}/*.pc )
foreach( text ${texts} )
   file( READ ${text} content )
   cmake_path( GET CMAKE_CURRENT_LIST_DIR PARENT_PATH tests )
   foreach( origin ${BUILD_DIR} ${tests} ${WORK_DIR} )
      string( FIND "${content}" "${origin}" position )
      if( NOT position EQUAL -1 )
         message( FATAL_ERROR "${text} names ${origin}" )
      endif()
   endforeach()
endforeach()

set( source ${CMAKE_CURRENT_LIST_DIR}/project )
set( build ${WORK_DIR}/build )
run( ignored ${CMAKE_COMMAND} -S ${source} -B ${build} -G ${GENERATOR}
   -D CMAKE_CXX_COMPILER=${COMPILER} -D "CMAKE_CXX_FLAGS=${FLAGS}" -D CMAKE_PREFIX_PATH=${copy}
   -D CMAKE_LIBRARY_ARCHITECTURE=${ARCHITECTURE} )
run( ignored ${CMAKE_COMMAND} --build ${build} )
if( SOURCE_DIR )
   run( printed ${build}/consumer )
   if( NOT printed MATCHES "^intfId portAuthState authorized " )
      message( FATAL_ERROR "linked statically, the program printed \"${printed}\"" )
   endif()
   return()
endif()
check_program( ${build}/consumer )

find_program( PKG_CONFIG pkg-config REQUIRED )
file( GLOB_RECURSE description ${copy}/dot1xv2.pc )
cmake_path( GET description PARENT_PATH description_dir )
set( ENV{PKG_CONFIG_LIBDIR} ${description_dir} )
run( cflags ${PKG_CONFIG} --cflags dot1xv2 )
run( libs ${PKG_CONFIG} --libs dot1xv2 )
run( libdir ${PKG_CONFIG} --variable=libdir dot1xv2 )
file( REAL_PATH ${libdir} libdir )
separate_arguments( arguments UNIX_COMMAND "${FLAGS} ${cflags}" )
separate_arguments( libs UNIX_COMMAND "${libs}" )
run( ignored ${COMPILER} -std=c++20 ${arguments} ${source}/main.cpp -Wl,--as-needed ${libs} -lresolv
   -Wl,-rpath,${libdir} -o ${WORK_DIR}/plain )
check_program( ${WORK_DIR}/plain )
# The linker keeps our types, which no symbol asks for, and not what comes after them.
find_program( READELF readelf REQUIRED )
run( needed ${READELF} --dynamic ${WORK_DIR}/plain )
if( NOT needed MATCHES "libDot1xV2[.]so[.]0[.][0-9]+[]]" OR needed MATCHES "libresolv" )
   message( FATAL_ERROR "${WORK_DIR}/plain needs\n${needed}" )
endif()

if( TOOL )
   run( ignored ${copy}/bin/${TOOL} --help )
   check_libraries( ${copy}/bin/${TOOL} )
endif()
