#pragma once

#include <string>

#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"
#include "Varek/Export.h"

/// Values of RADIUS attributes as text for people, with their names from the dictionary.
namespace RadiusPktParserBase {

/// The dictionary's name of an integer value: "VLAN" for Tunnel-Type 13. Empty if the value has no
/// name or is no integer.
VAREK_EXPORT std::string valueName( Attribute, AttrValue const& );

/// A value as its type prints it, after its name if it has a name: "VLAN (13)".
VAREK_EXPORT std::string valueText( Attribute, AttrValue const& );

/// Whether the attribute's value is a prefix (Framed-IPv6-Prefix) rather than an address
/// (Framed-IP-Address), although an address is held as a prefix of full length.
VAREK_EXPORT bool isOfPrefixes( Attribute );

/// An address without a length; a prefix with its length, even the full length.
VAREK_EXPORT std::string prefixText( Attribute, Lumo::IpGenPrefix const& );

} // namespace RadiusPktParserBase
