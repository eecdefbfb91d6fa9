#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Background.h"
#include "PacketBuilder.h"
#include "ToolRun.h"
#include "dot1xctl/EapolStations.h"

/// Whom the frames are for that an authenticator sends to the group address.
namespace {

using namespace Dot1xCtl;
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

TEST( EapolStations, WithoutRadiusEachSupplicantAndItsCopiesHaveTheirResults ) {
   using namespace PacketBuilder;
   Octets const toGroup{ 1, 0x80, 0xc2, 0, 0, 3 }, switchMac{ 2, 0, 0, 0, 0, 1 };
   auto const station = [&]( std::uint8_t last ) { return Octets{ 0, 0, 0x5e, 0, 0x53, last }; };
   auto const frame = [&]( Octets const& from, std::uint8_t type, Octets const& eap ) {
      return toGroup + from + u16( 0x888e ) + Octets{ 2, type } + u16( eap.size() ) + eap;
   };
   auto const result = []( std::uint8_t code, std::uint8_t identifier ) {
      return Octets{ code, identifier, 0, 4 };
   };
   Processes::Folder const folder;
   std::string const file = folder.path + "/eapol.pcap";
   writeCapture( file,
                 { frame( station( 1 ), 1, {} ), frame( station( 2 ), 1, {} ),
                   frame( station( 1 ), 0, { 2, 8, 0, 6, 1, 'a' } ),
                   frame( station( 2 ), 0, { 2, 9, 0, 6, 1, 'b' } ),
                   frame( switchMac, 0, result( 4, 9 ) ), frame( switchMac, 0, result( 3, 8 ) ) } );
   auto const rows = ToolRun( "replay --json --show supplicants --macs 6 '" + file + "'" ).json();
   ASSERT_EQ( rows.size(), 6U );
   for ( auto const& row : rows ) {
      bool const first = row.at( "identity" ) == "a";
      EXPECT_EQ( row.at( "stage" ), first ? "phaseSuccess" : "phaseFail" ) << row.dump();
   }
}

} // namespace
