#pragma once

#include <iosfwd>

#include <nlohmann/json.hpp>

/// What types there are: the registered module records, as JSON and as tables. The tables are made
/// of the JSON, so that neither says what the other does not.
namespace Dot1xCtl {

/// {"modules":[{"name","types":[{"name","kind","slot","hashable","attributes":[{"id","name","type",
/// "kind","key","default","salt","onWire"}],"values":[{"value","name"}]}]}]}: modules by name,
/// types by slot, attributes by id, enumerators by value. What does not apply is left out.
nlohmann::ordered_json schema();

/// As tables of 80 columns.
void printSchema( std::ostream&, nlohmann::ordered_json const& schema );

} // namespace Dot1xCtl
