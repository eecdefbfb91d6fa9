#include "Varek/Hash.h"

namespace Varek {

std::uint32_t hashBytes( void const* data, std::size_t size, std::uint32_t seed ) {
   auto const* at = static_cast<unsigned char const*>( data );
   std::uint64_t state = seed * 0x9E3779B97F4A7C15U;
   std::uint64_t const factor = ( state >> 1 ) ^ 0xD1B54A32D192ED03U;
   std::size_t left = size;
   for ( ; left >= 8; at += 8, left -= 8 ) {
      std::uint64_t word;
      std::memcpy( &word, at, 8 );
      state = Internal::foldedMultiply( word ^ state, factor );
   }
   // The length goes in with the tail, so that trailing zero bytes count.
   std::uint64_t tail = 0;
   std::memcpy( &tail, at, left );
   state = Internal::foldedMultiply( tail ^ state, factor ^ size );
   state = Internal::foldedMultiply( state, 0xA0761D6478BD642FU );
   return static_cast<std::uint32_t>( state ^ ( state >> 32 ) );
}

} // namespace Varek
