#include "config/Suggestion.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace Config {

namespace {

char lower( char c ) { return c >= 'A' && c <= 'Z' ? static_cast<char>( c - 'A' + 'a' ) : c; }

/// How many characters must be inserted, removed or changed to turn \p a into \p b; the case of
/// letters does not count.
std::size_t distance( std::string_view a, std::string_view b ) {
   std::vector<std::size_t> row( b.size() + 1 );
   std::iota( row.begin(), row.end(), std::size_t{ 0 } );
   for ( std::size_t i = 0; i < a.size(); ++i ) {
      std::size_t diagonal = std::exchange( row[0], i + 1 );
      for ( std::size_t j = 0; j < b.size(); ++j ) {
         std::size_t const changed = diagonal + ( lower( a[i] ) != lower( b[j] ) );
         diagonal = row[j + 1];
         row[j + 1] = std::min( { changed, row[j] + 1, row[j + 1] + 1 } );
      }
   }
   return row.back();
}

} // namespace

std::string suggestion( std::string_view word, std::span<std::string_view const> known ) {
   // A longer text is another word; a file may hold texts of any length.
   constexpr std::size_t longest = 64;
   std::size_t least = word.size() > longest ? 0 : std::max<std::size_t>( 3, word.size() / 3 + 1 );
   std::string_view nearest;
   for ( std::string_view const one : known ) {
      if ( std::size_t const apart = least == 0 ? 0 : distance( word, one ); apart < least ) {
         least = apart;
         nearest = one;
      }
   }
   return nearest.empty() ? std::string() : "did you mean \"" + std::string( nearest ) + "\"?";
}

std::string oneOf( std::string_view found, std::span<std::string_view const> known ) {
   std::string const hint = suggestion( found, known );
   return "one of " + listed( known ) + ( hint.empty() ? "" : " (" + hint + ")" );
}

std::string listed( std::span<std::string_view const> words ) {
   std::string result;
   for ( std::size_t i = 0; i < words.size(); ++i ) {
      if ( i != 0 ) {
         result += i + 1 == words.size() ? " and " : ", ";
      }
      result += words[i];
   }
   return result;
}

} // namespace Config
