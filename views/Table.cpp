#include "views/Table.h"

#include <algorithm>
#include <numeric>
#include <ostream>
#include <sstream>

#include "views/Columns.h"

namespace Views {

namespace {

/// The width of each column of the text: that of its widest heading or cell.
std::vector<std::size_t> naturalWidths( Table const& table ) {
   std::vector<std::size_t> widths;
   for ( std::size_t i = 0; i < table.columns.size(); ++i ) {
      std::string const& heading = table.columns[i].heading;
      std::size_t width = heading.size();
      for ( auto const& row : table.rows ) {
         width = std::max( width, row[i].text.size() );
      }
      widths.push_back( heading.empty() ? 0 : width );
   }
   return widths;
}

/// Narrows the widest column that may be narrower, by a column at a time, until all fit.
void narrow( std::vector<std::size_t>& widths, Table const& table, std::size_t room ) {
   while ( std::accumulate( widths.begin(), widths.end(), std::size_t{ 0 } ) > room ) {
      std::size_t* widest = nullptr;
      for ( std::size_t i = 0; i < widths.size(); ++i ) {
         if ( widths[i] > table.columns[i].narrowest && ( !widest || widths[i] >= *widest ) ) {
            widest = &widths[i];
         }
      }
      if ( !widest ) {
         return;
      }
      --*widest;
   }
}

/// \p text in exactly \p width columns.
std::string fitted( std::string const& text, std::size_t width, Tone tone ) {
   std::size_t const padding = text.size() < width ? width - text.size() : 0;
   std::string const cut = text.size() <= width ? text : text.substr( 0, width - 1 ) + "\u2026";
   return toned( cut, tone ) + std::string( padding, ' ' );
}

class Line {
public:
   Line( std::size_t gap, bool colour ) : gap_( gap, ' ' ), colour_( colour ) {}
   void add( std::string const& text, std::size_t width, Tone tone ) {
      if ( width != 0 ) {
         text_ +=
            ( text_.empty() ? "" : gap_ ) + fitted( text, width, colour_ ? tone : Tone::plain );
      }
   }
   void print( std::ostream& out ) const {
      out << text_.substr( 0, text_.find_last_not_of( ' ' ) + 1 ) << '\n';
   }

private:
   std::string gap_;
   bool colour_;
   std::string text_;
};

} // namespace

void printTable( std::ostream& out, Table const& table, bool colour ) {
   if ( table.rows.empty() ) {
      out << "none\n";
      return;
   }
   auto widths = naturalWidths( table );
   auto const shown = static_cast<std::size_t>(
      std::count_if( widths.begin(), widths.end(), []( std::size_t w ) { return w != 0; } ) );
   std::size_t const total = std::accumulate( widths.begin(), widths.end(), std::size_t{ 0 } );
   std::size_t const gap = total + 2 * ( shown - 1 ) <= columns ? 2 : 1;
   narrow( widths, table, columns - gap * ( shown - 1 ) );
   Line headings( gap, colour );
   for ( std::size_t i = 0; i < widths.size(); ++i ) {
      headings.add( table.columns[i].heading, widths[i], Tone::heading );
   }
   headings.print( out );
   for ( auto const& row : table.rows ) {
      Line line( gap, colour );
      for ( std::size_t i = 0; i < widths.size(); ++i ) {
         line.add( row[i].text, widths[i], row[i].tone );
      }
      line.print( out );
   }
}

void printRow( std::ostream& out, Table const& table, std::vector<Cell> const& row, bool colour ) {
   std::size_t width = 0;
   for ( Column const& column : table.columns ) {
      width = std::max( width, column.heading.size() + 2 );
   }
   for ( std::size_t i = 0; i < table.columns.size(); ++i ) {
      std::string const& heading = table.columns[i].heading;
      if ( heading.empty() ) {
         continue;
      }
      std::ostringstream wrapped;
      printWrapped( wrapped, padded( heading, width ), row[i].text, width );
      std::string const lines = wrapped.str();
      if ( !colour ) {
         out << lines;
      } else {
         std::size_t const end = lines.find( '\n' );
         std::string_view const text( lines );
         out << toned( heading, Tone::heading ) << std::string( width - heading.size(), ' ' )
             << toned( text.substr( width, end - width ), row[i].tone ) << text.substr( end );
      }
   }
}

nlohmann::ordered_json jsonOf( Table const& table, std::vector<Cell> const& row ) {
   nlohmann::ordered_json result = nlohmann::ordered_json::object();
   for ( std::size_t i = 0; i < table.columns.size(); ++i ) {
      result[table.columns[i].member] = row[i].value;
   }
   return result;
}

nlohmann::ordered_json jsonOf( Table const& table ) {
   nlohmann::ordered_json result = nlohmann::ordered_json::array();
   for ( auto const& row : table.rows ) {
      result.push_back( jsonOf( table, row ) );
   }
   return result;
}

} // namespace Views
