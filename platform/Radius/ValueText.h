#pragma once

#include <string>

#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"
#include "Varek/Export.h"

/// Values of RADIUS attributes for people: with the names that the dictionary has for them.
namespace RadiusPktParserBase {

/// The dictionary's name of an integer value: "VLAN" of a Tunnel-Type 13. Empty if it has none, or
/// the value is no integer.
VAREK_EXPORT std::string valueName( Attribute, AttrValue const& );

/// One value as text: as its type prints, with its name where it has one: "VLAN (13)".
VAREK_EXPORT std::string valueText( Attribute, AttrValue const& );

/// Whether it is a prefix that the attribute's value says, and not an address, which is a prefix as
/// well, of full length: Framed-IPv6-Prefix, not Framed-IP-Address.
VAREK_EXPORT bool isOfPrefixes( Attribute );

/// An address without its length, a prefix with it, also if that is the longest.
VAREK_EXPORT std::string prefixText( Attribute, Lumo::IpGenPrefix const& );

} // namespace RadiusPktParserBase
