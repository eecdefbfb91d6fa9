#include "capture/RadiusReading.h"

#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "Radius/RadiusAttributeId.h"
#include "Varek/Failures.h"
#include "Varek/Text.h"

namespace Capture {

using Varek::counted;

namespace {

using RadiusPacketParser::headerSize;

std::string octets( std::size_t count ) { return counted( count, "octet", "octets" ); }

Problem cut( Datagram const& datagram, std::string const& what ) {
   return { ProblemKind::cut, 0,
            Offset{ OffsetIn::packet, datagram.offset + datagram.payload.size() },
            "cut at capture: " + what };
}

/// The offset is told once, with file and packet, also if \p what ends with it.
Problem malformed( std::size_t offset, std::string what ) {
   if ( std::string const end = " (at offset " + std::to_string( offset ) + ")";
        what.ends_with( end ) ) {
      what.resize( what.size() - end.size() );
   }
   return { ProblemKind::radius, 0, Offset{ OffsetIn::radius, offset }, what };
}

/// Reads header and attributes up to the first fault.
RadiusReading decoded( std::span<std::uint8_t const> packet ) {
   RadiusReading result;
   auto decoded = RadiusPacketParser::decode( packet );
   result.code = packet[0];
   result.identifier = packet[1];
   result.attributes = std::move( decoded.attributes );
   if ( decoded.error ) {
      result.fault = malformed( decoded.error->offset(), decoded.error->what() );
      result.hasHeader = decoded.error->offset() >= headerSize;
   }
   return result;
}

} // namespace

RadiusReading readRadius( Datagram const& datagram ) {
   auto const packet = datagram.payload;
   bool const payloadCut = packet.size() < datagram.length;
   if ( packet.size() < headerSize ) {
      RadiusReading result;
      result.hasHeader = false;
      result.fault = payloadCut
                        ? cut( datagram, "of a RADIUS packet only " + octets( packet.size() ) +
                                            " were kept, not even its header of 20" )
                        : malformed( 0, "a RADIUS packet of " + octets( packet.size() ) +
                                           ", less than its header of 20" );
      return result;
   }
   auto const length = static_cast<std::size_t>( packet[2] << 8 | packet[3] );
   if ( !payloadCut || length <= packet.size() || length > datagram.length ) {
      return decoded( packet );
   }
   // The decoder gets the captured octets as if the packet ended there, and stops at the attribute
   // that is not whole.
   std::vector<std::uint8_t> kept( packet.begin(), packet.end() );
   kept[2] = static_cast<std::uint8_t>( kept.size() >> 8 );
   kept[3] = static_cast<std::uint8_t>( kept.size() );
   RadiusReading result = decoded( kept );
   result.fault = cut( datagram, "the RADIUS packet has " + octets( length ) + ", of which " +
                                    std::to_string( packet.size() ) + " were kept" );
   return result;
}

Varek::String const* textOf( Attributes const& attributes, std::uint16_t type ) {
   for ( auto const& [attribute, value] : attributes ) {
      if ( attribute == RadiusPktParserBase::Attribute( 0, type ) ) {
         return std::get_if<Varek::String>( &value );
      }
   }
   return nullptr;
}

bool isStation( Lumo::EthAddr const& address ) {
   constexpr std::uint8_t group = 1;
   return address != Lumo::EthAddr() && ( address.octets()[0] & group ) == 0;
}

std::optional<Lumo::EthAddr> stationOf( Varek::String const& text ) {
   try {
      Lumo::EthAddr const found( text );
      return isStation( found ) ? std::optional( found ) : std::nullopt;
   } catch ( Varek::TextError const& ) {
      return std::nullopt;
   }
}

std::optional<Lumo::EthAddr> stationOf( Attributes const& attributes ) {
   auto const* const text =
      textOf( attributes, RadiusPacketParser::RadiusAttributeId::callingStationId );
   return text ? stationOf( *text ) : std::nullopt;
}

} // namespace Capture
