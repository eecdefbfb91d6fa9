#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/// What types there are: the registered module records, as JSON, as tables and as Markdown. The
/// latter are made of the JSON, so that none says what the others do not.
namespace Dot1xCtl {

enum class Modules {
   all,
   library, ///< Without the tool's own.
};

/// {"modules":[{"name","types":[{"name","kind","slot","hashable","attributes":[{"id","name","type",
/// "kind","key","default","value","salt","onWire"}],"values":[{"value","name"}]}]}]}: modules by
/// name, types by slot, attributes by id, enumerators by value. What does not apply is left out.
///
/// If there are \p types, no others; each is a name with or without its namespace. Throws
/// std::runtime_error for one that names nothing.
nlohmann::ordered_json schema( Modules, std::vector<std::string> const& types );

/// As tables of 80 columns.
void printSchema( std::ostream&, nlohmann::ordered_json const& schema );
/// As a document in GitHub's Markdown, with a table of contents.
void printMarkdown( std::ostream&, nlohmann::ordered_json const& schema );

/// For those two: the default or the constant of an attribute, text in quotes; empty if there is
/// none, and if it is only what its record type is at first.
std::string startText( nlohmann::ordered_json const& attribute );
/// The salt in hexadecimal digits; empty if there is none.
std::string saltText( nlohmann::ordered_json const& attribute );

} // namespace Dot1xCtl
