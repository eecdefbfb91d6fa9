#include "views/TimeText.h"

#include <cstdio>

namespace Views {

std::string timeText( std::chrono::sys_time<std::chrono::nanoseconds> time, char between,
                      int digits ) {
   auto const day = std::chrono::floor<std::chrono::days>( time );
   std::chrono::year_month_day const date( day );
   std::chrono::hh_mm_ss const clock( time - day );
   std::string fraction = std::to_string( clock.subseconds().count() );
   fraction.insert( 0, 9 - fraction.size(), '0' );
   char text[64];
   std::snprintf(
      text, sizeof text, "%04d-%02u-%02u%c%02d:%02d:%02d.%.*s", static_cast<int>( date.year() ),
      static_cast<unsigned>( date.month() ), static_cast<unsigned>( date.day() ), between,
      static_cast<int>( clock.hours().count() ), static_cast<int>( clock.minutes().count() ),
      static_cast<int>( clock.seconds().count() ), digits, fraction.c_str() );
   return text;
}

} // namespace Views
