# Reads back from what was built how hard it makes an attacker's work. LIBRARIES and PROGRAMS are files,
# OBJECTS what they are made of. OPTIMISED says that checked versions of functions are to be expected,
# BRANCHES what notes of branch protection are, in a regular expression.

cmake_minimum_required( VERSION 3.25 )
find_program( READELF readelf REQUIRED )

# Sets OUTPUT to what readelf says of the file.
function( read_elf output options file )
   execute_process( COMMAND ${READELF} ${options} --wide ${file}
      OUTPUT_VARIABLE out RESULT_VARIABLE result )
   if( NOT result STREQUAL 0 )
      message( FATAL_ERROR "readelf ${options} ${file} ended with ${result}" )
   endif()
   set( ${output} "${out}" PARENT_SCOPE )
endfunction()

set( faults "" )
# A fault unless TEXT has a match of REGEX.
macro( expect text regex fault )
   if( NOT "${text}" MATCHES "${regex}" )
      list( APPEND faults "${file}: ${fault}" )
   endif()
endmacro()

set( checked_functions "" )
foreach( file IN LISTS LIBRARIES PROGRAMS )
   read_elf( segments --segments ${file} )
   expect( "${segments}" "GNU_RELRO" "nothing becomes read-only after relocation" )
   expect( "${segments}" "GNU_STACK +0x[^\n]* RW +0x" "the stack is executable" )
   read_elf( dynamic --dynamic ${file} )
   expect( "${dynamic}" "\\(FLAGS_1\\)[^\n]* NOW" "functions are bound when they are first called" )
   read_elf( symbols --dyn-syms ${file} )
   expect( "${symbols}" " UND __stack_chk_fail" "no stack protector" )
   string( REGEX MATCHALL " UND __[a-z_]+_chk" found "${symbols}" )
   list( APPEND checked_functions ${found} )
endforeach()
foreach( file IN LISTS PROGRAMS )
   read_elf( dynamic --dynamic ${file} )
   expect( "${dynamic}" "\\(FLAGS_1\\)[^\n]* PIE" "can be loaded at one address alone" )
endforeach()
if( BRANCHES )
   # Not of the files that are linked: those of the C library that begin a program have no such note
   # everywhere, and the linker keeps what all have.
   foreach( file IN LISTS OBJECTS )
      read_elf( notes --notes ${file} )
      expect( "${notes}" "${BRANCHES}" "no branch protection" )
   endforeach()
endif()
if( OPTIMISED AND NOT checked_functions )
   list( APPEND faults "no file calls a checked version of a function" )
endif()

list( LENGTH LIBRARIES libraries )
list( LENGTH OBJECTS objects )
if( libraries EQUAL 0 OR objects LESS libraries )
   message( FATAL_ERROR "${libraries} libraries of ${objects} objects were to be checked" )
endif()
if( faults )
   list( JOIN faults "\n" faults )
   message( FATAL_ERROR "${faults}" )
endif()
