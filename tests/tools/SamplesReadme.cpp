#include "SamplesReadme.h"

#include <algorithm>
#include <fstream>
#include <regex>

namespace SamplesReadme {

namespace {

/// The first group of each match.
std::vector<std::string> all( std::string_view text, char const* pattern ) {
   std::regex const parts( pattern );
   std::vector<std::string> result;
   for ( std::cregex_iterator at( text.begin(), text.end(), parts ), end; at != end; ++at ) {
      result.push_back( ( *at )[1] );
   }
   return result;
}

/// "a", "b" of "| a | b |".
std::vector<std::string> cells( std::string_view line ) {
   return all( line.substr( 1 ), R"( *([^|]*?) *\|)" );
}

} // namespace

std::vector<Table> tables( std::string_view heading ) {
   std::vector<Table> result;
   std::vector<std::string> columns; // of the table we are in
   bool inside = false;
   std::ifstream file( DOT1X_SAMPLES_DIR "/README.md" );
   for ( std::string line; std::getline( file, line ); ) {
      if ( line.starts_with( "#" ) ) {
         inside = line.substr( line.find_first_not_of( "# " ) ).starts_with( heading );
      }
      if ( !inside || !line.starts_with( "|" ) ) {
         columns.clear();
      } else if ( columns.empty() ) {
         columns = cells( line );
         result.emplace_back();
      } else if ( !line.starts_with( "|---" ) ) {
         Row row;
         auto const values = cells( line );
         for ( std::size_t i = 0; i < columns.size(); ++i ) {
            row[columns[i]] = values.at( i );
         }
         result.back().push_back( row );
      }
   }
   return result;
}

std::string mac( Row const& row ) {
   std::string text = row.at( "MAC" );
   std::ranges::replace( text, '-', ':' );
   return text;
}

std::vector<std::string> numbers( std::string_view cell ) { return all( cell, "([0-9]+)" ); }

std::vector<std::string> codes( std::string_view cell ) { return all( cell, "`([^`]*)`" ); }

} // namespace SamplesReadme
