#include "views/TimeText.h"

#include <fmt/core.h>

namespace Views {

std::string timeText( std::chrono::sys_time<std::chrono::nanoseconds> time, char between,
                      int digits ) {
   auto const day = std::chrono::floor<std::chrono::days>( time );
   std::chrono::year_month_day const date( day );
   std::chrono::hh_mm_ss const clock( time - day );
   std::string const fraction = fmt::format( "{:09}", clock.subseconds().count() );
   return fmt::format( "{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}.{:.{}}",
                       static_cast<int>( date.year() ), static_cast<unsigned>( date.month() ),
                       static_cast<unsigned>( date.day() ), between, clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count(), fraction, digits );
}

} // namespace Views
