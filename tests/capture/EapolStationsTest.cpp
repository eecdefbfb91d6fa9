#include <gtest/gtest.h>

#include "capture/EapolStations.h"

/// Whom the frames are for that an authenticator sends to the group address.
namespace {

using namespace Capture;
using Kind = Eapol::Kind;

Lumo::EthAddr const one( "00:00:5e:00:53:01" ), two( "00:00:5e:00:53:02" );
Lumo::EthAddr const group( "01:80:c2:00:00:03" );

TEST( EapolStations, OnlyAFrameThatMayBeForJustOneIsForThatOne ) {
   struct {
      Lumo::EthAddr from; ///< All zero: from the authenticator.
      Kind kind;
      std::uint8_t identifier;
      Lumo::EthAddr to; ///< Where it then goes.
   } const steps[] = {
      { {}, Kind::request, 1, group }, // nobody has begun
      { one, Kind::start, 0, group },    { {}, Kind::request, 1, one },
      { {}, Kind::failure, 1, group }, // of no Response
      { one, Kind::response, 1, group }, { two, Kind::response, 2, group },
      { {}, Kind::request, 3, group },                                    // which of them?
      { {}, Kind::success, 3, group },                                    // neither
      { {}, Kind::success, 2, two },     { {}, Kind::success, 2, group }, // it has been told
      { {}, Kind::request, 3, one },     { two, Kind::response, 1, group },
      { {}, Kind::failure, 1, group }, // both said 1
      { two, Kind::logoff, 0, group },   { {}, Kind::failure, 1, one },
      { {}, Kind::request, 1, group },
   };
   EapolStations stations;
   for ( auto const& step : steps ) {
      Eapol frame;
      frame.source = step.from;
      frame.destination = group;
      frame.kind = step.kind;
      frame.identifier = step.identifier;
      stations.see( frame );
      EXPECT_EQ( frame.destination, step.to ) << "step " << &step - steps;
   }
}

} // namespace
