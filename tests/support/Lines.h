#pragma once

#include <sstream>
#include <string>
#include <vector>

/// The lines of \p text.
inline std::vector<std::string> linesOf( std::string const& text ) {
   std::vector<std::string> lines;
   std::istringstream in( text );
   for ( std::string line; std::getline( in, line ); ) {
      lines.push_back( line );
   }
   return lines;
}
