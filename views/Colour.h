#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Varek/Export.h"

/// Colours of text for people on a terminal.
namespace Views {

enum class ColourUse : std::uint8_t { automatic, always, never };

/// Whether standard output gets colours. Automatic means yes if it is a terminal, TERM is not
/// "dumb" and NO_COLOR is unset or empty in the environment.
VAREK_EXPORT bool coloured( ColourUse );

/// The emphasis of a text.
enum class Tone : std::uint8_t {
   plain,
   heading, ///< Bold.
   good,    ///< Green.
   bad,     ///< Red.
};

/// \p text with the escape sequences of the tone; unchanged if the tone is plain. Takes no more
/// columns.
VAREK_EXPORT std::string toned( std::string_view text, Tone );

} // namespace Views
