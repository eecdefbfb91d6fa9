#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// The bytes by which a keyed collection is searched.
///
/// Slots come in groups of fifteen. A group is sixteen bytes: a tag for each slot (a part of the
/// key's hash; 0 is "empty") and the number of elements that belong here but had to go to a later
/// group. A look-up compares all tags of a group at once and goes on to the next group only while
/// that number is not zero, so most misses end after one group and an erased element leaves no
/// tombstone behind: the number goes down again.
namespace Qel::Internal {

struct alignas( 16 ) HashGroup {
   static constexpr std::uint32_t slots = 15;
   static constexpr std::uint8_t overflowMany = 255; // stays: no longer counted exactly

   std::uint8_t tags[slots];
   std::uint8_t overflow;

   static constexpr std::uint32_t lastBit = 1U << slots;

   /// The result has a bit for each slot whose tag is that of \p hash, and lastBit if no element
   /// that belongs here had to go to a later group. In most misses it is lastBit alone, which takes
   /// a single comparison to see.
   std::uint32_t look( std::uint32_t hash ) const;

   /// One bit for each slot whose tag is \p tag.
   std::uint32_t match( std::uint8_t tag ) const {
      constexpr std::uint32_t slotBits = lastBit - 1;
      std::uint32_t const four = tag * 0x01010101U;
#ifdef __SSE2__
      __m128i const line = _mm_load_si128( reinterpret_cast<__m128i const*>( this ) );
      __m128i const equal = _mm_cmpeq_epi8( line, _mm_set1_epi32( static_cast<int>( four ) ) );
      return static_cast<std::uint32_t>( _mm_movemask_epi8( equal ) ) & slotBits;
#else
      std::uint32_t bits = 0;
      if constexpr ( std::endian::native == std::endian::little ) {
         for ( unsigned word = 0; word < 4; ++word ) {
            std::uint32_t bytes;
            std::memcpy( &bytes, reinterpret_cast<char const*>( this ) + 4 * word, 4 );
            bytes ^= four;
            // The top bit of each byte that is zero, gathered into four bits by a multiplication.
            constexpr std::uint32_t low7 = 0x7F7F7F7FU;
            std::uint32_t const zero = ~( ( ( bytes & low7 ) + low7 ) | bytes | low7 ) >> 7;
            bits |= zero * 0x10204080U >> 28 << ( 4 * word );
         }
      } else {
         for ( unsigned i = 0; i < slots; ++i ) {
            bits |= static_cast<std::uint32_t>( tags[i] == tag ) << i;
         }
      }
      return bits & slotBits;
#endif
   }
   std::uint32_t used() const { return ~match( 0 ) & ( lastBit - 1 ); }

   void overflowInc() {
      overflow = static_cast<std::uint8_t>( overflow + ( overflow != overflowMany ) );
   }
   void overflowDec() {
      overflow = static_cast<std::uint8_t>( overflow - ( overflow != overflowMany ) );
   }
};
static_assert( sizeof( HashGroup ) == 16 );

/// The tag of a hash: never 0.
inline std::uint8_t hashTag( std::uint32_t hash ) {
   std::uint32_t const high = hash >> 24;
   return static_cast<std::uint8_t>( high + ( high == 0 ) );
}

inline std::uint32_t HashGroup::look( std::uint32_t hash ) const {
#ifdef __SSE2__
   // The highest byte of the hash, spread without a multiplication, and 1 instead of 0, as in
   // hashTag; then 0 at the place of the overflow.
   __m128i const twice = _mm_cvtsi32_si128( static_cast<int>( hash ) );
   __m128i const fours = _mm_shufflelo_epi16( _mm_unpacklo_epi8( twice, twice ), 0xFF );
   __m128i const tags16 = _mm_max_epu8( _mm_unpacklo_epi64( fours, fours ), _mm_set1_epi8( 1 ) );
   __m128i const line = _mm_load_si128( reinterpret_cast<__m128i const*>( this ) );
   __m128i const equal = _mm_cmpeq_epi8( line, _mm_srli_si128( tags16, 1 ) );
   return static_cast<std::uint32_t>( _mm_movemask_epi8( equal ) );
#else
   return match( hashTag( hash ) ) | ( overflow == 0 ? lastBit : 0 );
#endif
}

} // namespace Qel::Internal
