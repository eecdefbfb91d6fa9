#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Radius/Attribute.h"
#include "Varek/Export.h"

/// The dictionary: name, form of the value and names of enumerated values of each known attribute.
/// From RFCs 2548, 2865 to 2869, 3162, 4072, 4372, 4675, 4818, 4849, 5090, 5176, 5447, 5580, 5607,
/// 5904, 6519, 6572, 6911, 6929 and 7268. Constant tables, looked up by index or binary search.
namespace RadiusPktParserBase {

/// The form of the octets of an attribute's value. Radius/Packet.h says how each form is read.
enum class Form : std::uint8_t {
   octets,
   text,
   integer,
   integer64,
   time, ///< An integer: seconds since 1970-01-01 00:00 UTC.
   taggedText,
   taggedInteger,
   ipv4Address,
   ipv6Address,
   ipv6Prefix,
   interfaceId, ///< The lower half of an IPv6 address.
   vendorSpecific,
   extended,
   longExtended,
};

/// One attribute of the dictionary.
struct DictionaryEntry {
   Attribute attribute;
   std::string_view name;
   Form form = Form::octets;
};

/// All entries, in ascending order of attribute.
VAREK_EXPORT std::span<DictionaryEntry const> dictionary();
/// The entry of this attribute, or null.
VAREK_EXPORT DictionaryEntry const* dictionaryEntry( Attribute );
/// The entry with this name, in either case, or null.
VAREK_EXPORT DictionaryEntry const* dictionaryEntry( std::string_view name );

/// The name of a value of an enumerated attribute: "VLAN" for Tunnel-Type 13. Empty if it has no
/// name.
VAREK_EXPORT std::string_view enumeratorName( Attribute, std::uint32_t value );

} // namespace RadiusPktParserBase
