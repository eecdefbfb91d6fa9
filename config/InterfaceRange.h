#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Lumo/IntfId.h"

/// Several interfaces in a text, as an operator writes them:
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

/// A typing error ("Ethernet1-1000000") would fill the memory without this limit. No device has so
/// many ports and sub-interfaces in use.
inline constexpr std::size_t mostInterfaces = 16384;

/// The interfaces in the order of \p text. Throws Varek::TextError for a text that is not of this
/// form, a descending range, an interface that occurs twice, and more than mostInterfaces.
std::vector<Lumo::IntfId> interfacesOf( std::string_view text );

/// The shortest text, in the order of the interfaces, from which interfacesOf() makes the same set.
std::string interfacesText( std::vector<Lumo::IntfId> interfaces );

} // namespace Config
