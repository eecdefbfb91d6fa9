#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace Samples {

using Octets = std::vector<std::uint8_t>;

/// The UDP payloads of a capture in the samples folder that has only UDP over IPv4 over Ethernet in
/// classic little-endian pcap: element n is the payload of frame n + 1.
inline std::vector<Octets> udpPayloads( std::string const& name ) {
   std::ifstream file( std::string( DOT1X_SAMPLES_DIR ) + "/" + name, std::ios::binary );
   std::string const data( std::istreambuf_iterator<char>( file ), {} );
   auto const octet = [&data]( std::size_t at ) {
      return static_cast<std::size_t>( static_cast<std::uint8_t>( data.at( at ) ) );
   };
   auto const little32 = [&octet]( std::size_t at ) {
      return octet( at ) | octet( at + 1 ) << 8 | octet( at + 2 ) << 16 | octet( at + 3 ) << 24;
   };
   constexpr std::size_t fileHeader = 24, recordHeader = 16, ethernet = 14, udp = 8;
   if ( little32( 0 ) != 0xA1B2C3D4 ) {
      throw std::runtime_error( name + " is no little-endian pcap file" );
   }
   std::vector<Octets> payloads;
   for ( std::size_t at = fileHeader; at < data.size(); ) {
      std::size_t const captured = little32( at + 8 );
      std::size_t const frame = at + recordHeader;
      std::size_t const ip = frame + ethernet;
      std::size_t const udpHeader = ip + ( octet( ip ) & 0xF ) * 4;
      std::size_t const size = octet( udpHeader + 4 ) << 8 | octet( udpHeader + 5 );
      if ( octet( ip + 9 ) != 17 || udpHeader + size > frame + captured ) {
         throw std::runtime_error( name + " has a frame that is no whole UDP packet" );
      }
      std::string const payload = data.substr( udpHeader + udp, size - udp );
      payloads.emplace_back( payload.begin(), payload.end() );
      at = frame + captured;
   }
   return payloads;
}

} // namespace Samples
