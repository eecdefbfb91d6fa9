#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// JSON as it stands in a file: in its order, numbers as they are written, each part with its line,
/// so that a fault found later can be reported with its place.
namespace Config {

struct JsonNode {
   enum class Kind : unsigned char { null, boolean, number, text, array, object };

   Kind kind = Kind::null;
   std::size_t line = 0; ///< From 1; of an array or object that of its opening bracket.
   std::string name;     ///< Of a member of an object.
   std::string text;     ///< The contents of a boolean, number or text.
   std::vector<JsonNode> parts;
};

/// A place in a document: a part, and the place around it.
struct JsonPlace {
   JsonNode const& node;
   JsonPlace const* within = nullptr;

   /// "$.intfStatus["Ethernet1-8"].authNProfile.framedMtu"; $ is the whole document.
   std::string path() const;
};

/// The contents of \p node for a message: "70000", "\"on\"", "an object"; long texts are cut.
std::string found( JsonNode const& node );

class Faults;

/// Reads \p text, which must be a single JSON value. Otherwise reports the fault with line and
/// column, and returns false, with \p root in any state. A member that is named twice is a fault,
/// but is read. JSON nested deeper than deepestJson is refused, since a recursive walk over the
/// nodes could overflow the stack.
bool parseJson( std::string_view text, JsonNode& root, Faults& faults );

inline constexpr std::size_t deepestJson = 64;

} // namespace Config
