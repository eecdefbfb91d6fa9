#pragma once

#include <cstdint>
#include <string>

#include "support/TestModule.h"

namespace TestModule {

/// Text that is too long to lie inside a string object.
inline Varek::String longText( std::uint32_t n ) {
   return "a text that takes storage of its own, " + std::to_string( 1000 + n );
}

/// With that text and others in it.
inline Limits limits( std::uint32_t number, std::uint32_t content ) {
   Limits made( number );
   for ( std::uint32_t i = 0; i <= content; ++i ) {
      made.userIs( longText( i ) );
   }
   return made;
}

} // namespace TestModule
