#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/// The schema: the registered module records as JSON, as tables and as Markdown. Tables and
/// Markdown are made from the JSON, so that all say the same.
namespace Dot1xCtl {

enum class Modules {
   all,
   library, ///< All modules but the tool's own.
};

/// {"modules":[{"name","types":[{"name","kind","slot","hashable","attributes":[{"id","name","type",
/// "kind","key","default","value","salt","onWire"}],"values":[{"value","name"}]}]}]}: modules by
/// name, types by slot, attributes by id, enumerators by value. Members that do not apply are left
/// out.
///
/// If \p types are given, only those; each is a name with or without its namespace. Throws
/// std::runtime_error for a name of nothing.
nlohmann::ordered_json schema( Modules, std::vector<std::string> const& types );

/// Prints the schema as tables of 80 columns.
void printSchema( std::ostream&, nlohmann::ordered_json const& schema );
/// Prints the schema as a document in GitHub's Markdown, with a table of contents.
void printMarkdown( std::ostream&, nlohmann::ordered_json const& schema );

/// For tables and Markdown: the default or constant of an attribute, text in quotes; empty if it
/// has none, or only the default of its record type.
std::string startText( nlohmann::ordered_json const& attribute );
/// The salt in hexadecimal digits; empty without a salt.
std::string saltText( nlohmann::ordered_json const& attribute );

} // namespace Dot1xCtl
