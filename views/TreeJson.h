#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "Varek/Export.h"
#include "views/Tree.h"

/// Trees as JSON. An entity is {"type", "attributes": {name: value}}; a value without a text of its
/// own {name: value}; sequences, arrays and sets are arrays, other collections objects by printed
/// key; an absent child or value is null. Booleans and finite numbers are JSON's; text that is not
/// UTF-8 is {"octets": "0x..."}, as a key "octets:0x..."; everything else is a string. All of it is
/// ASCII, so that no terminal takes a part for a command.
namespace Views {

/// Whether entities say their types. A bare entity is {name: value} like a value, as in a
/// configuration file, whose reader knows the types.
enum class EntityForm : std::uint8_t { typed, bare };

/// The indentation that stands for no line breaks and no spaces.
inline constexpr int oneLine = -1;

/// Each member on a line of its own, indented by \p indent, unless that is oneLine.
VAREK_EXPORT std::string jsonText( Part const&, EntityForm = EntityForm::typed,
                                   int indent = oneLine );

/// An entity of any type with all that is below it: jsonText( *status ).
inline std::string jsonText( Qel::Entity const& entity, EntityForm form = EntityForm::typed,
                             int indent = oneLine ) {
   return jsonText( entityPart( entity ), form, indent );
}

/// The same on one line; unopened entities are opened as they are printed.
VAREK_EXPORT void printJson( std::ostream&, Part const& );

/// {"time", "root", "path", "attribute", "key", "old", "new"} on one line; path is an array of
/// {"attribute", "key"}. Without a key the member "key" is left out, as is an empty \p time.
VAREK_EXPORT std::string jsonText( std::string const& time, std::string const& root,
                                   ChangePart const& );

/// JSON text must be; text from the network need not be.
VAREK_EXPORT bool isUtf8( std::string_view text );

} // namespace Views
