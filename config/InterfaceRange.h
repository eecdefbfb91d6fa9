#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Lumo/IntfId.h"

/// Several interfaces in one text, as an operator writes them:
///
///     Ethernet1-24,30           Ethernet1 to Ethernet24, and Ethernet30
///     Ethernet3/1-4,7           Ethernet3/1 to Ethernet3/4, and Ethernet3/7
///     Ethernet3.100-102         sub-interfaces
///     Ethernet1-2, Vlan100      a further name may be of any kind
///
///     list = item *( "," item )
///     item = name [ "-" number ] | number [ "-" number ]
///
/// A range goes over the last number of the name, both ends included. A number by itself, which
/// cannot come first, stands for the last number of the name before. Blanks may stand around items.
namespace Config {

/// More than any device has ports and sub-interfaces in use; a slip of the finger
/// ("Ethernet1-1000000") would otherwise fill the memory.
inline constexpr std::size_t mostInterfaces = 16384;

/// In the order in which they are named. Throws Varek::TextError for a text that is not of that
/// form, a range that goes down, an interface that is in it twice, and more than mostInterfaces.
std::vector<Lumo::IntfId> interfacesOf( std::string_view text );

/// The shortest such text, in the order of the interfaces, of which interfacesOf() makes the same
/// set.
std::string interfacesText( std::vector<Lumo::IntfId> interfaces );

} // namespace Config
