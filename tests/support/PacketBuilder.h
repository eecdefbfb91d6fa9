#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/// Builds packets from the inside out, and captures of them, for tests with input that no
/// well-behaved program sends.
namespace PacketBuilder {

using Octets = std::vector<std::uint8_t>;

inline Octets operator+( Octets a, Octets const& b ) {
   a.insert( a.end(), b.begin(), b.end() );
   return a;
}

inline Octets u16( std::size_t value ) {
   return { static_cast<std::uint8_t>( value >> 8 ), static_cast<std::uint8_t>( value ) };
}

inline Octets text( std::string const& value ) { return { value.begin(), value.end() }; }

inline Octets attribute( std::uint8_t type, Octets const& value ) {
   return Octets{ type, static_cast<std::uint8_t>( value.size() + 2 ) } + value;
}

inline Octets radius( std::uint8_t code, std::uint8_t identifier, Octets const& attributes,
                      std::uint8_t authenticator = 0 ) {
   return Octets{ code, identifier } + u16( 20 + attributes.size() ) + Octets( 16, authenticator ) +
          attributes;
}

inline Octets udp( std::uint16_t from, std::uint16_t to, Octets const& payload ) {
   return u16( from ) + u16( to ) + u16( 8 + payload.size() ) + u16( 0 ) + payload;
}

/// A packet from 192.0.2.1 to 192.0.2.2, or back. \p fragment is the field of flags and offset.
inline Octets ipv4( Octets const& payload, bool back = false, std::uint16_t fragment = 0,
                    Octets const& options = {}, std::uint8_t protocol = 17 ) {
   Octets const one{ 192, 0, 2, 1 };
   Octets const two{ 192, 0, 2, 2 };
   auto const words = static_cast<std::uint8_t>( 5 + options.size() / 4 );
   return Octets{ static_cast<std::uint8_t>( 0x40 | words ), 0 } +
          u16( 20 + options.size() + payload.size() ) + u16( 7 ) + u16( fragment ) +
          Octets{ 64, protocol, 0, 0 } + ( back ? two + one : one + two ) + options + payload;
}

/// A packet from ::1 to ::2. \p next is the kind of the first header in \p payload.
inline Octets ipv6( std::uint8_t next, Octets const& payload ) {
   Octets one( 16 );
   one[15] = 1;
   Octets two( 16 );
   two[15] = 2;
   return Octets{ 0x60, 0, 0, 0 } + u16( payload.size() ) + Octets{ next, 64 } + one + two +
          payload;
}

inline Octets ethernet( Octets const& payload, std::uint16_t type = 0x0800,
                        Octets const& tags = {} ) {
   return Octets( 12, 2 ) + tags + u16( type ) + payload;
}

/// A RADIUS packet on Ethernet: a request to port 1812, an answer from it.
inline Octets onWire( Octets const& radiusPacket, bool answer = false ) {
   return ethernet( ipv4(
      answer ? udp( 1812, 40000, radiusPacket ) : udp( 40000, 1812, radiusPacket ), answer ) );
}

/// Writes a capture of Ethernet packets. A packet of more than \p keep octets is cut to so many.
inline void writeCapture( std::string const& path, std::vector<Octets> const& packets,
                          std::size_t keep = 65535, std::uint8_t linkType = 1 ) {
   std::ofstream file( path, std::ios::binary );
   auto const put = [&file]( std::uint32_t value ) {
      for ( int shift = 0; shift < 32; shift += 8 ) {
         file.put( static_cast<char>( value >> shift & 0xff ) );
      }
   };
   put( 0xa1b2c3d4 );
   put( 0x00040002 );
   put( 0 );
   put( 0 );
   put( 65535 );
   put( linkType );
   std::uint32_t second = 1'700'000'000;
   for ( Octets const& packet : packets ) {
      std::size_t const kept = packet.size() < keep ? packet.size() : keep;
      put( second++ );
      put( 250'000 );
      put( static_cast<std::uint32_t>( kept ) );
      put( static_cast<std::uint32_t>( packet.size() ) );
      file.write( reinterpret_cast<char const*>( packet.data() ),
                  static_cast<std::streamsize>( kept ) );
   }
}

} // namespace PacketBuilder
