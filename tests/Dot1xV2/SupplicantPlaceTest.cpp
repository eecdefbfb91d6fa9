// The place of a supplicant: its text.

#include <gtest/gtest.h>

#include "Dot1xV2/AuthZStatus.h"
#include "support/TextCases.h"

namespace {

using Dot1xV2::SupplicantPlace;

TEST( SupplicantPlace, IsReadInEveryNotationOfItsParts ) {
   expectText<SupplicantPlace>( "00:00:5e:00:53:01@Ethernet3/1", "00:00:5e:00:53:01@Ethernet3/1" );
   expectText<SupplicantPlace>( "0000.5E00.5301@eth0.100", "00:00:5e:00:53:01@eth0.100" );
   expectText<SupplicantPlace>( "00-00-5e-00-53-01@IntfId(0xff00000000000000)",
                                "00:00:5e:00:53:01@IntfId(0xff00000000000000)" );
   expectText<SupplicantPlace>( stringValue( SupplicantPlace() ), "00:00:00:00:00:00@" );
}

TEST( SupplicantPlace, RefusesAnythingElseWithThePositionInTheWholeText ) {
   for ( BadText const& bad : {
            BadText{ "", 0, "a MAC address" },
            { "@Ethernet3/1", 0, "a MAC address" },
            { "00:00:5e:00:53@Ethernet3/1", 14, "a MAC address" },
            { "00:00:5e:00:53:01", 17, "\"@\"" },
            { "00:00:5e:00:53:01 Ethernet3/1", 17 },
            { "00:00:5e:00:53:01 @Ethernet3/1", 17 },
            { "00:00:5e:00:53:01@ Ethernet3/1", 18 },
            { "00:00:5e:00:53:01@Ethernet3/1@", 29 },
            { "00:00:5e:00:53:01@Ethernet03/1", 26 },
            { "Vlan1@00:00:5e:00:53:01", 0, "a MAC address" },
         } ) {
      expectRefused<SupplicantPlace>( bad );
   }
}

TEST( SupplicantPlace, OrdersByInterfaceThenByAddress ) {
   expectOrdered<SupplicantPlace>( { "ffffffffffff@", "000000000001@Ethernet2",
                                     "000000000002@Ethernet2", "000000000001@Ethernet10",
                                     "000000000000@Vlan1" } );
}

} // namespace
