#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// Big-endian numbers, as networks and our messages and files have them, in memory of any
/// alignment. On the machine's side they are ordinary unsigned numbers.
namespace Varek {

/// \p value with its octets in network order, or back from it.
template<std::unsigned_integral U>
constexpr U bigEndian( U value ) {
   if constexpr ( std::endian::native == std::endian::big || sizeof( U ) == 1 ) {
      return value;
   } else if constexpr ( sizeof( U ) == 2 ) {
      return static_cast<U>( __builtin_bswap16( value ) );
   } else if constexpr ( sizeof( U ) == 4 ) {
      return __builtin_bswap32( value );
   } else {
      return __builtin_bswap64( value );
   }
}

/// The number of type \p U that begins at \p from.
template<std::unsigned_integral U>
U getBigEndian( void const* from ) {
   U value;
   std::memcpy( &value, from, sizeof value );
   return bigEndian( value );
}

/// Writes \p value and returns where the next byte goes.
template<std::unsigned_integral U, class Byte>
Byte* putBigEndian( Byte* to, U value ) {
   static_assert( sizeof( Byte ) == 1 );
   value = bigEndian( value );
   std::memcpy( to, &value, sizeof value );
   return to + sizeof value;
}

/// The number that all \p octets are, most significant first; of more than eight, the last eight.
/// None is 0.
constexpr std::uint64_t bigEndianNumber( std::span<std::uint8_t const> octets ) {
   std::uint64_t value = 0;
   for ( std::uint8_t const octet : octets ) {
      value = value << 8 | octet;
   }
   return value;
}

/// Writes the \p bytes last octets of \p value, most significant first, and returns where the next
/// byte goes.
template<std::unsigned_integral U>
std::uint8_t* putBigEndian( std::uint8_t* to, U value, std::size_t bytes ) {
   for ( std::size_t shift = 8 * bytes; shift > 0; ) {
      shift -= 8;
      *to++ = static_cast<std::uint8_t>( value >> shift );
   }
   return to;
}

} // namespace Varek
