#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The tables of samples/README.md: what the captures hold, as told by other programs.
namespace SamplesReadme {

/// A row by the names of its columns.
using Row = std::map<std::string, std::string>;
using Table = std::vector<Row>;

/// The tables of a section, in order. \p heading is how the section's heading begins.
std::vector<Table> tables( std::string_view heading );

/// The MAC address of a row as the tool prints it; ":" for none.
std::string mac( Row const& row );

/// "1", "22", "2" of "1 (again 22) → 2".
std::vector<std::string> numbers( std::string_view cell );

/// The parts of a cell that are set as code.
std::vector<std::string> codes( std::string_view cell );

} // namespace SamplesReadme
