#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Varek/Export.h"

/// Seeded hashing for keys that may come from an attacker (MAC addresses, names).
///
/// A 64-bit word is combined with the seed and mixed by one full multiplication whose halves are
/// folded together, so that colliding keys cannot be chosen without knowing the seed.
namespace Varek {

namespace Internal {

inline std::uint64_t foldedMultiply( std::uint64_t a, std::uint64_t b ) {
#ifdef __SIZEOF_INT128__
   __extension__ using Wide = unsigned __int128;
   Wide const product = static_cast<Wide>( a ) * b;
   return static_cast<std::uint64_t>( product ) ^ static_cast<std::uint64_t>( product >> 64 );
#else
   std::uint64_t const aLow = a & 0xFFFFFFFFU, aHigh = a >> 32;
   std::uint64_t const bLow = b & 0xFFFFFFFFU, bHigh = b >> 32;
   std::uint64_t const low = aLow * bLow, mid1 = aHigh * bLow, mid2 = aLow * bHigh;
   std::uint64_t const carry =
      ( ( low >> 32 ) + ( mid1 & 0xFFFFFFFFU ) + ( mid2 & 0xFFFFFFFFU ) ) >> 32;
   return ( a * b ) ^ ( aHigh * bHigh + ( mid1 >> 32 ) + ( mid2 >> 32 ) + carry );
#endif
}

} // namespace Internal

/// Hash of one word of up to 64 bits.
inline std::uint32_t hashWord( std::uint64_t word, std::uint32_t seed ) {
   std::uint64_t const spread =
      ( static_cast<std::uint64_t>( seed ) << 32 | seed ) ^ 0x2D358DCCAA6C78A5U;
   // The low half is enough: each bit of the word reaches it through one half of the product.
   return static_cast<std::uint32_t>(
      Internal::foldedMultiply( word ^ spread, 0x9E3779B97F4A7C15U ) );
}

/// Hash of any number of bytes, the same on every platform of one byte order.
VAREK_EXPORT std::uint32_t hashBytes( void const* data, std::size_t size, std::uint32_t seed );

inline std::uint32_t hashBytes( std::string_view text, std::uint32_t seed ) {
   return hashBytes( text.data(), text.size(), seed );
}

} // namespace Varek
