#include "SamplesReadme.h"

#include <fstream>

namespace SamplesReadme {

namespace {

std::string trimmed( std::string_view text ) {
   auto const first = text.find_first_not_of( ' ' );
   return first == text.npos
             ? std::string()
             : std::string( text.substr( first, text.find_last_not_of( ' ' ) - first + 1 ) );
}

/// "a", "b" of "| a | b |".
std::vector<std::string> cells( std::string_view line ) {
   std::vector<std::string> result;
   line.remove_prefix( 1 );
   for ( auto bar = line.find( '|' ); bar != line.npos; bar = line.find( '|' ) ) {
      result.push_back( trimmed( line.substr( 0, bar ) ) );
      line.remove_prefix( bar + 1 );
   }
   return result;
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

std::vector<std::string> numbers( std::string_view cell ) {
   constexpr char const* digits = "0123456789";
   std::vector<std::string> result;
   for ( auto at = cell.find_first_of( digits ); at != cell.npos;
         at = cell.find_first_of( digits ) ) {
      cell.remove_prefix( at );
      result.emplace_back( cell.substr( 0, cell.find_first_not_of( digits ) ) );
      cell.remove_prefix( result.back().size() );
   }
   return result;
}

std::vector<std::string> codes( std::string_view cell ) {
   std::vector<std::string> result;
   for ( auto open = cell.find( '`' ); open != cell.npos; open = cell.find( '`' ) ) {
      auto const close = cell.find( '`', open + 1 );
      result.emplace_back( cell.substr( open + 1, close - open - 1 ) );
      cell.remove_prefix( close + 1 );
   }
   return result;
}

} // namespace SamplesReadme
