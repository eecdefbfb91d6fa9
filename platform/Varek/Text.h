#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Varek/String.h"

/// Text from files and from the network in messages for people, without bytes that a terminal would
/// obey.
namespace Varek {

/// In double quotes, with \" and \\ escaped, and \xNN for what is not printable ASCII.
VAREK_EXPORT std::string quoted( String const& text );
/// The same without the quotes, for file names.
VAREK_EXPORT std::string escaped( String const& text );

/// A message with each line as printable() gives it; line ends stay.
VAREK_EXPORT std::string printableLines( std::string_view text );

/// "1 port", "2 ports".
VAREK_EXPORT std::string counted( std::uint64_t count, char const* one, char const* several );

} // namespace Varek
