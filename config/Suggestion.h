#pragma once

#include <span>
#include <string>
#include <string_view>

/// Hints for a user who wrote a word that is not allowed.
namespace Config {

/// "did you mean \"framedMtu\"?", if a word of \p known is close enough to \p word; or nothing.
std::string suggestion( std::string_view word, std::span<std::string_view const> known );
/// "one of a, b and c", with a suggestion for the word that was \p found instead.
std::string oneOf( std::string_view found, std::span<std::string_view const> known );
/// "a, b and c".
std::string listed( std::span<std::string_view const> words );

} // namespace Config
