#include "views/Colour.h"

#include <cstdlib>

#include <unistd.h>

namespace Views {

namespace {

std::string_view variable( char const* name ) {
   char const* const value = std::getenv( name );
   return value ? value : "";
}

} // namespace

bool coloured( ColourUse use ) {
   if ( use != ColourUse::automatic ) {
      return use == ColourUse::always;
   }
   return ::isatty( STDOUT_FILENO ) == 1 && variable( "NO_COLOR" ).empty() &&
          variable( "TERM" ) != "dumb";
}

std::string toned( std::string_view text, Tone tone ) {
   char const* const begin = tone == Tone::heading ? "\x1b[1m"
                             : tone == Tone::good  ? "\x1b[32m"
                             : tone == Tone::bad   ? "\x1b[31m"
                                                   : "";
   std::string result( begin );
   result += text;
   return tone == Tone::plain ? result : result + "\x1b[0m";
}

} // namespace Views
