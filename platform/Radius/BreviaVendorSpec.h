#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/String.h"

namespace RadiusPacketParser {

/// The sub-types of Brevia's own vendor-specific attributes that concern port authentication. Any
/// 8-bit value is valid, with a name or without.
struct BreviaVendorSpec {
   enum BreviaVendorSpecEnum : std::uint8_t {
      unassigned = 0,
      aclName = 1,
      webAuthUrl = 2,
      webAuthMode = 3,
      segmentId = 4,
      deviceProfile = 5,
      periodicIdentity = 6,
      reauthTimeoutSeed = 7,
      avPair = 8,
   };

   /// From a text in the form of stringValue(); throws Varek::TextError for any other text.
   VAREK_EXPORT static BreviaVendorSpecEnum fromText( std::string_view text );
};

/// "Brevia-Acl-Name"; "Brevia-Attribute-200" of a value without a name.
VAREK_EXPORT Varek::String stringValue( BreviaVendorSpec::BreviaVendorSpecEnum );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, BreviaVendorSpec::BreviaVendorSpecEnum );
/// Lets generic code, which does not know the enumeration, read its names. Throws as fromText does.
inline void wordRead( std::string_view word, BreviaVendorSpec::BreviaVendorSpecEnum& value ) {
   value = BreviaVendorSpec::fromText( word );
}

} // namespace RadiusPacketParser
