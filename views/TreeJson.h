#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include <nlohmann/json.hpp>

#include "views/Tree.h"

/// Trees as JSON. An entity is {"type", "attributes": {name: value}}; a value without a text of its
/// own {name: value}; sequences, arrays and sets are arrays, other collections objects by printed
/// key; an absent child or value is null. Booleans and finite numbers are JSON's; text that is not
/// UTF-8 is {"octets": "0x..."}, as a key "octets:0x..."; everything else is a string.
namespace Views {

/// Whether entities say their types. A bare entity is {name: value} like a value, as in a
/// configuration file, whose reader knows the types.
enum class EntityForm : std::uint8_t { typed, bare };

nlohmann::ordered_json jsonOf( Part const&, EntityForm = EntityForm::typed );

/// An entity of any type with all that is below it: jsonOf( *status ).
inline nlohmann::ordered_json jsonOf( Qel::Entity const& entity,
                                      EntityForm form = EntityForm::typed ) {
   return jsonOf( entityPart( entity ), form );
}

/// The same as text, without spaces; unopened entities are opened as they are printed.
void printJson( std::ostream&, Part const& );

/// {"time", "root", "path", "attribute", "key", "old", "new"}; path is an array of
/// {"attribute", "key"}. Without a key the member "key" is left out.
nlohmann::ordered_json jsonOf( std::string const& time, std::string const& root,
                               ChangePart const& );

/// A string, or {"octets": "0x..."}.
nlohmann::ordered_json textJson( std::string const& );

/// JSON text must be; text from the network need not be.
bool isUtf8( std::string_view text );

/// On one line, without spaces, in ASCII; bytes that are no UTF-8 are replaced.
std::string compact( nlohmann::ordered_json const& );
/// On lines of their own, indented by \p indent each.
std::string pretty( nlohmann::ordered_json const&, int indent );

} // namespace Views
