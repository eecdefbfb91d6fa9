#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Colours of what is printed for people on a terminal.
namespace Views {

enum class ColourUse : std::uint8_t { automatic, always, never };

/// Whether standard output gets colours. Automatic is: if it is a terminal, TERM is not "dumb", and
/// the environment has no NO_COLOR that is not empty.
bool coloured( ColourUse );

/// What a text says of itself.
enum class Tone : std::uint8_t {
   plain,
   heading, ///< Bold.
   good,    ///< Green.
   bad,     ///< Red.
};

/// \p text as a terminal shows it in that tone; as it is if it is plain. Takes no more columns.
std::string toned( std::string_view text, Tone );

} // namespace Views
