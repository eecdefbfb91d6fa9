#pragma once

#include <string>
#include <string_view>

#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"

/// How values of RADIUS attributes, text and numbers of things are printed.
namespace Dot1xCtl {

/// The dictionary's name of an integer value: "VLAN" of a Tunnel-Type 13. Empty if it has none, or
/// the value is no integer.
std::string valueName( RadiusPktParserBase::Attribute, RadiusPktParserBase::AttrValue const& );

/// One value as text: as its type prints, with its name where it has one: "VLAN (13)".
std::string valueText( RadiusPktParserBase::Attribute, RadiusPktParserBase::AttrValue const& );

/// Whether it is a prefix that the attribute's value says, and not an address, which is a prefix as
/// well, of full length: Framed-IPv6-Prefix, not Framed-IP-Address.
bool isOfPrefixes( RadiusPktParserBase::Attribute );

/// An address without its length, a prefix with it, also if that is the longest.
std::string prefixText( RadiusPktParserBase::Attribute, Lumo::IpGenPrefix const& );

/// "1 port", "2 ports".
std::string counted( std::uint64_t count, char const* one, char const* several );

/// A message with nothing in it that a terminal would obey; lines stay lines.
std::string printable( std::string_view text );

/// Text in quotes, whatever would disturb a terminal escaped.
std::string quoted( Varek::String const& );
/// The same without the quotes: for the names of files.
std::string escaped( std::string const& );

} // namespace Dot1xCtl
