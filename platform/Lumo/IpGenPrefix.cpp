#include "Lumo/IpGenPrefix.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <type_traits>

#include "Lumo/TextCursor.h"
#include "Varek/Failures.h"
#include "Varek/Hash.h"

namespace Lumo {

namespace {

using Octets = IpGenPrefix::Octets;

std::size_t sizeOf( IpFamily family ) {
   return family == IpFamily::ipv4 ? 4 : family == IpFamily::ipv6 ? 16 : 0;
}

constexpr std::string_view expectedAddress = "an IPv4 or IPv6 address, or prefix with its length";

// Reading

void readIpv4( TextCursor& cursor, std::uint8_t* to ) {
   for ( int i = 0; i < 4; ++i ) {
      if ( i != 0 && !cursor.take( '.' ) ) {
         cursor.fail( "'.' and the next octet of an IPv4 address" );
      }
      to[i] = static_cast<std::uint8_t>(
         cursor.decimal( 255, "an octet of at most 255 without leading zeros" ) );
   }
}

bool isHexDigit( char c ) {
   return ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'f' ) || ( c >= 'A' && c <= 'F' );
}

/// Whether the text up to the next separator of IPv6 has dots.
bool isIpv4Next( TextCursor const& cursor ) {
   std::string_view const rest = cursor.rest();
   std::size_t const separator = rest.find_first_of( ":./" );
   return separator != std::string_view::npos && rest[separator] == '.';
}

void readGroup( TextCursor& cursor, std::uint8_t* to ) {
   constexpr std::string_view expected = "a group of one to four hexadecimal digits";
   unsigned group = cursor.hexDigit( expected );
   for ( int i = 1; i < 4 && isHexDigit( cursor.peek() ); ++i ) {
      group = group << 4 | cursor.hexDigit( expected );
   }
   to[0] = static_cast<std::uint8_t>( group >> 8 );
   to[1] = static_cast<std::uint8_t>( group );
}

Octets readIpv6( TextCursor& cursor ) {
   constexpr std::size_t none = 17;
   Octets octets{};
   std::size_t filled = 0;
   std::size_t gap = none;
   if ( cursor.take( "::" ) ) {
      gap = 0;
   }
   bool more = gap == none || isHexDigit( cursor.peek() );
   while ( more ) {
      if ( filled <= 12 && isIpv4Next( cursor ) ) {
         readIpv4( cursor, octets.data() + filled );
         filled += 4;
         break;
      }
      readGroup( cursor, octets.data() + filled );
      filled += 2;
      if ( gap == none && cursor.take( "::" ) ) {
         gap = filled;
         more = filled < 16 && isHexDigit( cursor.peek() );
      } else {
         more = filled < 16 && cursor.take( ':' );
      }
   }
   if ( gap == none ) {
      if ( filled != 16 ) {
         cursor.fail( "eight groups of an IPv6 address, or \"::\" for those that are zero" );
      }
      return octets;
   }
   if ( filled == 16 ) {
      cursor.fail( "fewer than eight groups beside \"::\"" );
   }
   std::rotate( octets.begin() + static_cast<std::ptrdiff_t>( gap ),
                octets.begin() + static_cast<std::ptrdiff_t>( filled ), octets.end() );
   return octets;
}

// Printing

void appendIpv4( std::string& text, std::uint8_t const* octets ) {
   for ( int i = 0; i < 4; ++i ) {
      text += ( i == 0 ? "" : "." ) + std::to_string( octets[i] );
   }
}

/// Start and length, in groups, of the longest run of zeros, the first of equals (RFC 5952 4.2).
std::pair<int, int> longestZeros( unsigned const ( &groups )[8] ) {
   std::pair<int, int> longest( 8, 1 ); // A single group is not shortened.
   int start = 0;
   for ( int i = 0; i < 8; ++i ) {
      if ( groups[i] != 0 ) {
         start = i + 1;
      } else if ( i + 1 - start > longest.second ) {
         longest = { start, i + 1 - start };
      }
   }
   return longest;
}

void appendIpv6( std::string& text, Octets const& octets ) {
   constexpr std::uint8_t mapped[12] = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff };
   if ( std::equal( std::begin( mapped ), std::end( mapped ), octets.begin() ) ) {
      text += "::ffff:";
      appendIpv4( text, octets.data() + 12 );
      return;
   }
   unsigned groups[8];
   for ( std::size_t i = 0; i < 8; ++i ) {
      groups[i] = static_cast<unsigned>( octets[2 * i] ) << 8 | octets[2 * i + 1];
   }
   auto const [zeros, count] = longestZeros( groups );
   for ( int i = 0; i < 8; ++i ) {
      if ( i == zeros ) {
         text += "::";
         i += count - 1;
         continue;
      }
      if ( i != 0 && text.back() != ':' ) {
         text += ':';
      }
      for ( int shift = 12; shift >= 0; shift -= 4 ) {
         if ( groups[i] >> shift != 0 || shift == 0 ) {
            text += "0123456789abcdef"[groups[i] >> shift & 0xF];
         }
      }
   }
}

} // namespace

bool IpGenPrefix::isPrefix( IpFamily family, std::span<std::uint8_t const> address,
                            unsigned length ) {
   std::size_t const size = sizeOf( family );
   if ( size == 0 || address.size() != size || length > size * 8 ) {
      return false;
   }
   std::size_t const whole = length / 8;
   if ( whole < size && ( address[whole] & ( 0xFF >> length % 8 ) ) != 0 ) {
      return false;
   }
   return std::all_of( address.begin() + static_cast<std::ptrdiff_t>( std::min( whole + 1, size ) ),
                       address.end(), []( std::uint8_t octet ) { return octet == 0; } );
}

IpGenPrefix::IpGenPrefix( IpFamily family, std::span<std::uint8_t const> address, unsigned length )
   : family_( family ), length_( static_cast<std::uint8_t>( length ) ) {
   if ( !isPrefix( family, address, length ) ) {
      throw Varek::RangeError(
         "expected a family of 4 or 6, an address of its 4 or 16 octets and a "
         "length beyond which every bit is zero, but found family " +
         std::to_string( static_cast<unsigned>( family ) ) + ", " +
         stringValue( Varek::Bytes( address.data(), address.size() ) ) + " and length " +
         std::to_string( length ) );
   }
   std::copy( address.begin(), address.end(), octets_.begin() );
}

IpGenPrefix::IpGenPrefix( IpFamily family, std::span<std::uint8_t const> address )
   : IpGenPrefix( family, address, static_cast<unsigned>( address.size() ) * 8 ) {}

IpGenPrefix::IpGenPrefix( std::string_view text ) {
   TextCursor cursor( text );
   if ( isIpv4Next( cursor ) ) {
      readIpv4( cursor, octets_.data() );
   } else {
      if ( text.find( ':' ) == std::string_view::npos ) {
         cursor.fail( expectedAddress );
      }
      family_ = IpFamily::ipv6;
      octets_ = readIpv6( cursor );
   }
   auto const bits = static_cast<unsigned>( addressSize() * 8 );
   length_ = static_cast<std::uint8_t>( bits );
   if ( cursor.atEnd() ) {
      return;
   }
   if ( !cursor.take( '/' ) ) {
      cursor.fail( "'/' and a length, or the end" );
   }
   std::size_t const lengthAt = cursor.position();
   std::string const expectedLength = "a length of at most " + std::to_string( bits );
   length_ = static_cast<std::uint8_t>( cursor.decimal( bits, expectedLength ) );
   cursor.end( expectedLength );
   if ( !isPrefix( family_, std::span( octets_ ).first( addressSize() ), length_ ) ) {
      cursor.back( lengthAt );
      cursor.fail( "a length beyond which every bit of the prefix is zero" );
   }
}

std::uint32_t IpGenPrefix::hash( std::uint32_t seed ) const {
   static_assert( std::has_unique_object_representations_v<IpGenPrefix> );
   return Varek::hashBytes( this, sizeof *this, seed );
}

Varek::String stringValue( IpGenPrefix const& prefix ) {
   Varek::String text;
   if ( prefix.family() == IpFamily::ipv4 ) {
      appendIpv4( text, prefix.octets().data() );
   } else {
      appendIpv6( text, prefix.octets() );
   }
   return prefix.isAddress() ? text : text + "/" + std::to_string( prefix.length() );
}

std::ostream& operator<<( std::ostream& out, IpGenPrefix const& prefix ) {
   return out << stringValue( prefix );
}

} // namespace Lumo
