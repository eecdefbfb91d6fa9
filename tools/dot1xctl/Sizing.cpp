#include "Sizing.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <unistd.h>

#include "Dot1xV2/AuthNStatus.h"
#include "Pallo/Pallo.h"
#include "Progress.h"
#include "Varek/Text.h"
#include "views/Columns.h"

namespace Dot1xCtl {

using namespace Agent;
using namespace Views;

using Varek::counted;

namespace {

/// The resident memory in bytes; nothing where the system does not tell it.
std::optional<double> residentMemory() {
   std::ifstream file( "/proc/self/statm" );
   double size = 0;
   double resident = 0;
   return file >> size >> resident
             ? std::optional( resident * static_cast<double>( ::sysconf( _SC_PAGESIZE ) ) )
             : std::nullopt;
}

std::string withRate( std::uint64_t count, double seconds ) {
   return seconds > 0 ? fmt::format( "{}, {} a second", count,
                                     std::llround( static_cast<double>( count ) / seconds ) )
                      : fmt::format( "{}, at once", count );
}

void row( std::ostream& out, char const* name, std::string const& text ) {
   constexpr std::size_t width = 16;
   printWrapped( out, "   " + padded( name, width - 3 ), text, width );
}

} // namespace

void playSized( Copies const& copies, Authenticator& agent, SizingOptions const& options,
                std::function<bool()> const& interrupted, bool progress, std::ostream& out ) {
   if ( copies.captured() == 0 ) {
      out << "dot1xctl: there is no supplicant in the captures that could be copied\n";
   }
   using Clock = std::chrono::steady_clock;
   std::uint64_t changes = 0;
   std::vector<Varek::Subscription> counting;
   auto const count = [&]( Varek::Publisher& root ) {
      counting.push_back( root.subscribe( [&changes]( Varek::Change const& ) { ++changes; },
                                          Varek::Scope::subtree ) );
   };
   count( agent.authNStatus()->publisher() );
   count( agent.authZStatus()->publisher() );
   count( agent.acctStatus()->publisher() );

   auto const residentBefore = residentMemory();
   std::size_t const slabsBefore = Pallo::usage().liveBytes;
   auto const begin = Clock::now();
   Progress bar( "playing", progress );
   Copies::Played const played =
      copies.play( agent, options.macs ? *options.macs : copies.captured(), options.repeat,
                   [&]( std::size_t done, std::size_t all ) {
                      bar.at( done, all );
                      return !interrupted();
                   } );
   bar.hide();
   double const seconds = std::chrono::duration<double>( Clock::now() - begin ).count();
   auto const residentAfter = residentMemory();
   std::size_t const slabs = Pallo::usage().liveBytes - slabsBefore;

   std::uint64_t const supplicants = agent.authNStatus()->supplicant().size();
   std::uint64_t const sessions = agent.acctStatus()->acctSessionState().size();
   out << "sizing\n";
   row( out, "state",
        fmt::format( "{}, {}, {}", counted( supplicants, "supplicant", "supplicants" ),
                     counted( agent.authZStatus()->authZPortStatus().size(), "port", "ports" ),
                     counted( sessions, "session", "sessions" ) ) );
   row( out, "played",
        fmt::format( "{} of {}{}", counted( played.copies, "copy", "copies" ),
                     counted( copies.captured(), "supplicant", "supplicants" ),
                     options.repeat == 1 ? "" : fmt::format( ", {} times", options.repeat ) ) );
   row( out, "time", fmt::format( "{:.3f} s", seconds ) );
   row( out, "exchanges", withRate( played.requests, seconds ) );
   if ( played.eapolFrames != 0 ) {
      row( out, "EAPOL frames", withRate( played.eapolFrames, seconds ) );
   }
   row( out, "changes", withRate( changes, seconds ) );
   std::uint64_t const many = std::max( supplicants, sessions );
   if ( residentBefore && residentAfter && many != 0 ) {
      double const grown = *residentAfter - *residentBefore;
      // With few supplicants the growth in pages of memory means nothing.
      constexpr std::uint64_t enough = 1000;
      std::string const each =
         fmt::format( ", {} bytes a {}", std::llround( grown / static_cast<double>( many ) ),
                      supplicants >= sessions ? "supplicant" : "session" );
      row( out, "memory",
           fmt::format( "{:.1f} MB more resident{}; of it {:.1f} MB entities and sequences",
                        grown / 1e6, many < enough ? "" : each,
                        static_cast<double>( slabs ) / 1e6 ) );
   }
   out.flush();
}

} // namespace Dot1xCtl
