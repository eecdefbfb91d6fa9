#pragma once

#include "Dot1xV2/AaaHelperLedraTypes.h"

/// An answer as RADIUS servers send them: 12 attributes, text and octets of usual lengths.
namespace Bench {

using RadiusPktParserBase::AttrValue;

inline void attributePut( Dot1xV2::AaaResponse& response, std::uint32_t vendor, std::uint16_t type,
                          std::initializer_list<AttrValue> values ) {
   Dot1xV2::AaaAttribute attribute( RadiusPktParserBase::Attribute( vendor, type ) );
   for ( AttrValue const& value : values ) {
      attribute.attrValuePush( value );
   }
   response.aaaAttributeIs( attribute );
}

/// Gives \p response the first \p count of the 12 attributes; \p number varies their contents.
inline void answerFill( Dot1xV2::AaaResponse& response, unsigned number, unsigned count = 12 ) {
   using RadiusPktParserBase::TaggedInt, RadiusPktParserBase::TaggedStr;
   using Varek::Bytes, Varek::String;
   String const digits = std::to_string( 100000 + number % 900000 );
   response.callingStationIdIs( Lumo::EthAddr( Lumo::EthAddr::Octets{
      0, 0, 0x5e, static_cast<std::uint8_t>( number >> 16 ),
      static_cast<std::uint8_t>( number >> 8 ), static_cast<std::uint8_t>( number ) } ) );
   unsigned put = 0;
   auto const next = [&]( std::uint32_t vendor, std::uint16_t type,
                          std::initializer_list<AttrValue> values ) {
      if ( put++ < count ) {
         attributePut( response, vendor, type, values );
      }
   };
   next( 0, 1, { String( "user" + digits + "@example.net" ) } );
   next( 0, 25, { Bytes( "site-a/printers/" + digits ), Bytes( "\x80\x81\xfe" ) } );
   next( 0, 64, { TaggedInt{ 1, 13 } } );
   next( 0, 65, { TaggedInt{ 1, 6 } } );
   next( 0, 81, { TaggedStr{ 1, "EMPLOYEES" } } );
   next( 0, 11, { String( "acl-" + digits ) } );
   next( 0, 27, { AttrValue( 3600U + number % 60 ) } );
   next( 0, 29, { AttrValue( 1U ) } );
   next( 0, 24, { Bytes( "0123456789" + digits ) } );
   next( 0, 8, { Lumo::IpGenPrefix( "192.0.2.121" ) } );
   next( 32473, 1, { String( "profile " + digits ) } );
   next( 0, 56, { AttrValue( 0x31000064U ), AttrValue( 0x32000065U ) } );
}

} // namespace Bench
