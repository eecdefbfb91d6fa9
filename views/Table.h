#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "views/Colour.h"

/// Tables of any content: for people as text of 80 columns, for programs as JSON.
namespace Views {

/// A value in both forms.
struct Cell {
   nlohmann::ordered_json value; ///< Whole; null for none.
   std::string text;             ///< Without control characters.
   Tone tone = Tone::plain;      ///< Of the text.

   /// A cell without a value.
   Cell() : text( "-" ) {}
   Cell( nlohmann::ordered_json v, std::string t, Tone its = Tone::plain )
      : value( std::move( v ) ), text( std::move( t ) ), tone( its ) {}
};

struct Column {
   std::string member;         ///< Its name in JSON.
   std::string heading;        ///< Its name in text; empty for a column that is in JSON alone.
   std::size_t narrowest = 80; ///< It is not made narrower than that.
   /// All words that its cells can have, in either form; empty if they can have any text.
   std::vector<std::string> words = {};
};

struct Table {
   std::string name;
   std::vector<Column> columns;
   std::vector<std::vector<Cell>> rows; ///< A cell for each column.
};

/// Headings and rows. Where they are wider than 80 columns, the widest columns are made narrower,
/// and what does not fit there is cut, with an ellipsis. "none" if there are no rows.
void printTable( std::ostream&, Table const&, bool colour = false );

/// Prints a row with each column on lines of its own, nothing cut.
void printRow( std::ostream&, Table const&, std::vector<Cell> const&, bool colour = false );

/// The table as an array of objects, or a row as an object.
nlohmann::ordered_json jsonOf( Table const& );
nlohmann::ordered_json jsonOf( Table const&, std::vector<Cell> const& );

} // namespace Views
