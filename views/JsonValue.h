#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "views/TreeJson.h"
#include "views/ValueForms.h"

/// Values of nlohmann's library, for those who make JSON of more than trees. Not installed, so that no
/// user of the libraries needs that library, or gets another version of it than they were built with.
namespace Views {

/// A string, or {"octets": "0x..."}.
inline nlohmann::ordered_json textJson( std::string const& text ) {
   using Json = nlohmann::ordered_json;
   return isUtf8( text ) ? Json( text )
                         : Json{ { octetsName, stringValue( Varek::Bytes( text ) ) } };
}

/// On lines of their own, indented by \p indent each. In ASCII; what is no UTF-8 is replaced.
inline std::string pretty( nlohmann::ordered_json const& json, int indent ) {
   // Characters that a terminal obeys are escaped, as all that are not ASCII.
   return json.dump( indent, ' ', true, nlohmann::ordered_json::error_handler_t::replace );
}

/// On one line, without spaces.
inline std::string compact( nlohmann::ordered_json const& json ) { return pretty( json, oneLine ); }

} // namespace Views
