#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

#include "Varek/Export.h"

/// Text within 80 columns, for a terminal or a mail.
namespace Views {

inline constexpr std::size_t columns = 80;

/// Prints \p first and then \p text; what does not fit goes on in further lines, indented by
/// \p indent. Lines break at spaces where that leaves them at least half full, and anywhere else
/// otherwise (a long run of hexadecimal digits). \p text has no control characters.
VAREK_EXPORT void printWrapped( std::ostream&, std::string_view first, std::string_view text,
                                std::size_t indent );

/// \p text with spaces behind it up to \p width columns; at least one space.
VAREK_EXPORT std::string padded( std::string_view text, std::size_t width );

} // namespace Views
