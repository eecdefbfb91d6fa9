#include <chrono>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ConfigFiles.h"
#include "framework/inspect/Assign.h"
#include "support/Files.h"
#include "support/RandomChange.h"

/// Configuration files: what they make, and that what is printed makes the same.
namespace {

using namespace ConfigFiles;
using Dot1xV2::AuthNMethod;
using Files::contents;
using Lumo::IntfId;

/// In how many places the two differ; \p a is then as \p b.
std::size_t differences( Status& a, Status const& b ) {
   return toldDuring( a, [&] { Qel::assignEntity( a, b ); } );
}

// What is accepted

TEST( ConfigReading, EachKindOfAttribute ) {
   auto const status = read( onEthernet1( R"(
      "intfId": "Ethernet1",
      "authNProfile": {
         "nameString": "authNProfile",
         "macMoveEnabled": ["mbaAuth", "eapolAuth"],
         "eventAuthNOrder": { "mbaPktRx": { "authNOrder": ["mbaAuth"] } },
         "authNTimers": { "slowPeriod": 2.5, "reauthNPeriod": "inf" },
         "mbaUserName": { "userNameDelim": { "octets": "0xff00" } } },
      "authZProfile": {
         "nameString": "other",
         "authFailVlan": "none",
         "guestVlan": 40,
         "aclInputPriority": "dot1xAclInputPriorityLow",
         "vlanGroup": { "b": { "vlanId": [2, "1"] }, "a": { "groupName": "a" } },
         "authZTimers": { "authCacheTimeout": { "phoneDevice": 1e3 } },
         "authZPriority": ["skipAuth", "mbaAuth"],
         "captivePortalAllowList": { "octets:0xff": true, "plain": false } },
      "suppIOProfile": null)" ) );
   auto const intf = status->intfStatus( IntfId( "Ethernet1" ) );
   ASSERT_TRUE( intf );
   auto const& n = *intf->authNProfile();
   EXPECT_TRUE( n.macMoveEnabled( AuthNMethod::mbaAuth ) );
   EXPECT_EQ( n.macMoveEnabled().size(), 2u );
   EXPECT_EQ( n.formatAuthNOrders( Dot1xV2::AuthNEventType::mbaPktRx ), "[ mbaAuth, eapolAuth ]" );
   EXPECT_EQ( n.authNTimers().slowPeriod().count(), 2.5 );
   EXPECT_EQ( n.authNTimers().quietPeriod().count(), 60 ) << "what is not named has its default";
   EXPECT_GT( n.authNTimers().reauthNPeriod().count(), 1e300 );
   EXPECT_EQ( n.mbaUserName().userNameDelim(), std::string( "\xff\0", 2 ) );
   auto const& z = *intf->authZProfile();
   EXPECT_EQ( z.name(), "other" );
   EXPECT_TRUE( z.authFailVlan() && z.authFailVlan()->isNone() ) << "none is not absent";
   EXPECT_EQ( z.guestVlan(), Bridging::VlanIdOrNone( 40 ) );
   EXPECT_EQ( z.aclInputPriority(), Dot1xV2::Dot1xAclInputPriority::dot1xAclInputPriorityLow );
   EXPECT_EQ( z.vlanGroup().size(), 2u );
   ASSERT_NE( z.vlanGroup( "b" ), nullptr );
   EXPECT_EQ( z.vlanGroup( "b" )->groupName(), "b" );
   EXPECT_EQ( z.vlanGroup( "b" )->vlanId().size(), 2u );
   EXPECT_EQ( z.authZTimers()->authCacheTimeout( Dot1xV2::DeviceType::phoneDevice )->count(),
              1000 );
   EXPECT_EQ( z.authZPriority( 0 ), AuthNMethod::skipAuth );
   EXPECT_NE( z.captivePortalAllowList( "\xff" ), nullptr );
   EXPECT_EQ( intf->suppIOProfile(), nullptr );
   EXPECT_EQ( status->name(), "status" );
   EXPECT_EQ( read( R"({"nameString": "lab"})" )->name(), "lab" );
}

TEST( ConfigReading, LaterKeysOverrideAttributeByAttributeAndWholeAttributes ) {
   auto const status = read( R"({ "intfStatus": {
      "Ethernet1-3": { "authNProfile": { "framedMtu": 1400, "macMoveEnabled": ["mbaAuth"],
                                         "authNTimers": { "slowPeriod": 1, "quietPeriod": 2 } } },
      "Ethernet2,9": { "authNProfile": { "macMoveEnabled": ["skipAuth"],
                                         "authNTimers": { "quietPeriod": 3 } } },
      "Ethernet1": { "authNProfile": { "nameString": "fresh" } } } })" );
   EXPECT_EQ( status->intfStatus().size(), 4u );
   auto const profile = [&]( char const* name ) {
      return status->intfStatus( IntfId( name ) )->authNProfile();
   };
   EXPECT_EQ( profile( "Ethernet2" )->framedMtu(), 1400 );
   EXPECT_FALSE( profile( "Ethernet2" )->macMoveEnabled( AuthNMethod::mbaAuth ) );
   EXPECT_TRUE( profile( "Ethernet2" )->macMoveEnabled( AuthNMethod::skipAuth ) );
   EXPECT_EQ( profile( "Ethernet2" )->authNTimers().quietPeriod().count(), 3 );
   EXPECT_EQ( profile( "Ethernet2" )->authNTimers().slowPeriod().count(), 60 );
   EXPECT_EQ( profile( "Ethernet3" )->authNTimers().slowPeriod().count(), 1 );
   EXPECT_EQ( profile( "Ethernet9" )->framedMtu(), 0 );
   EXPECT_EQ( profile( "Ethernet1" )->framedMtu(), 0 ) << "another name is another profile";
}

// There and back

TEST( ConfigRoundTrip, WhatIsPrintedIsReadAsTheSameTree ) {
   int read = 0;
   for ( std::uint32_t seed = 1; seed <= 150; ++seed ) {
      auto const status = Dot1xV2::statusFactory( seed % 2 != 0 ? "status" : "\"\\ other" );
      RandomChange change( seed, "nan" ); // which no file may give
      for ( unsigned i = change.below( 150 ); i > 0; --i ) {
         change( *status );
      }
      for ( ConfigExtent const extent : { ConfigExtent::whole, ConfigExtent::difference } ) {
         std::string const text = jsonOf( *status, extent );
         if ( text.find( ": -" ) != std::string::npos ||
              text.find( "\"-inf\"" ) != std::string::npos ) {
            continue; // Random bytes made a duration of less than no time, which no file may give.
         }
         auto const again = Dot1xV2::statusFactory( status->name() );
         Faults faults;
         ASSERT_TRUE( readEntity( text, *again, faults ) ) << seed << text << faults.kept()[0].what;
         EXPECT_EQ( differences( *again, *status ), 0u ) << seed << text;
         ++read;
      }
   }
   EXPECT_GT( read, 100 ) << "too few trees could be tried";
}

TEST( ConfigDiff, OfDefaultsIsEmpty ) {
   auto const status = Dot1xV2::statusFactory( "status" );
   EXPECT_EQ( jsonOf( *status, ConfigExtent::difference ), "{}\n" );
   EXPECT_EQ( printed( *status, ConfigForm::text, ConfigExtent::difference ), "" );
   for ( char const* const name : { "Ethernet10", "Ethernet2" } ) {
      status->intfStatusIs( IntfId( name ) );
   }
   // Interfaces are in their own order, not in that of texts.
   EXPECT_EQ( jsonOf( *status, ConfigExtent::difference ),
              "{\n   \"intfStatus\": {\n      \"Ethernet2\": {},\n      \"Ethernet10\": {}\n"
              "   }\n}\n" );
}

TEST( ConfigDiff, IsWhatTheFileSaysIfThatSaysNoDefaults ) {
   std::string const text = onEthernet1(
      R"("authNProfile":{"macMoveEnabled":["eapolAuth"],"authNTimers":{"slowPeriod":5}},)"
      R"("authZProfile":{"nameString":"z","authFailVlan":"7"},"acctReqProfile":null)" );
   EXPECT_EQ( nlohmann::ordered_json::parse( jsonOf( *read( text ), ConfigExtent::difference ) ),
              nlohmann::ordered_json::parse( text ) );
}

TEST( ConfigText, InterfacesThatAreAlikeStandTogether ) {
   auto const status = read( R"({ "intfStatus": { "Ethernet1-12,Vlan3": {},
      "Ethernet3,10": { "aaaReqProfile": { "egressVlanEnabled": true } } } })" );
   EXPECT_EQ( printed( *status, ConfigForm::text, ConfigExtent::difference ),
              "intfStatus[Ethernet1-2,4-9,11-12,Vlan3] Dot1xV2::IntfStatus\n"
              "intfStatus[Ethernet3,10] Dot1xV2::IntfStatus\n"
              "   aaaReqProfile  Dot1xV2::AaaRequestProfile\n"
              "      egressVlanEnabled  true\n" );
}

// Reloading

TEST( ConfigReload, TellsExactlyTheDifferences ) {
   std::string const first = R"({ "dot1xEnabled": true, "intfStatus": {
      "Ethernet1-3": { "authNProfile": { "framedMtu": 1400, "macMoveEnabled": ["mbaAuth"] },
                       "authZProfile": { "captivePortalAllowList": { "a": true, "b": true } } },
      "Ethernet4": {} } })";
   auto const status = read( first );
   auto const kept = status->intfStatus( IntfId( "Ethernet2" ) );
   auto const reload = [&]( std::string const& text ) {
      return toldDuring( *status, [&] {
         Faults faults;
         EXPECT_TRUE( reloadConfig( text, *status, faults ) );
      } );
   };
   EXPECT_EQ( reload( first ), 0u );
   // dot1xEnabled gets its default; Ethernet1, 2 and 3 each another MTU, no method, b gone and a
   // changed; Ethernet4 goes; Ethernet5 comes, and gets its MTU and a.
   EXPECT_EQ( reload( R"({ "intfStatus": {
      "Ethernet1-3,5": { "authNProfile": { "framedMtu": 1300 },
                         "authZProfile": { "captivePortalAllowList": { "a": false } } } } })" ),
              1u + 3 * 4 + 1 + 3 );
   EXPECT_EQ( status->intfStatus( IntfId( "Ethernet2" ) ), kept ) << "the same interface";
   EXPECT_EQ( reload( "{}" ), 4u );
   EXPECT_EQ( jsonOf( *status, ConfigExtent::difference ), "{}\n" );
}

TEST( ConfigReload, OfAnotherRootIsRefused ) {
   auto const status = Dot1xV2::statusFactory( "status" );
   Faults faults;
   EXPECT_FALSE(
      reloadConfig( R"({"nameString": "lab", "dot1xEnabled": true})", *status, faults ) );
   EXPECT_EQ( faults.kept().at( 0 ).what, "$.nameString: found \"lab\", expected \"status\", which "
                                          "it is called here, or nothing" );
   EXPECT_FALSE( status->dot1xEnabled() );
}

// Size

std::size_t entityBytes() {
   std::size_t bytes = 0;
   for ( auto const* const type :
         registeredTypes( []( auto& one ) { return one.kind == Varek::TypeKind::entity; } ) ) {
      bytes += type->allocations->liveBytes();
   }
   return bytes;
}

TEST( ConfigSize, AThousandInterfacesAreSoonThereAndGoAgain ) {
   std::string text = contents( DOT1X_SAMPLES_DIR "/switch48.json" );
   text.replace( text.find( "Ethernet1-48" ), 12, "Ethernet1-999" );
   std::size_t const before = entityBytes();
   auto const start = std::chrono::steady_clock::now();
   auto status = read( text );
   std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
   ASSERT_EQ( status->intfStatus().size(), 1000u );
   std::size_t const each = ( entityBytes() - before ) / 1000;
   RecordProperty( "milliseconds", static_cast<int>( took.count() * 1000 ) );
   RecordProperty( "entityBytesPerInterface", static_cast<int>( each ) );
   EXPECT_LT( took.count(), 5 );
   EXPECT_LT( each, 4096u );
   status = nullptr;
   EXPECT_EQ( entityBytes(), before );
}

TEST( ConfigDocs, ExampleAndFaultAreTrue ) {
   std::string const docs = contents( DOT1X_SAMPLES_DIR "/../docs/configuration.md" );
   std::size_t const begin = docs.find( "```json\n" ) + 8;
   auto const status = read( docs.substr( begin, docs.find( "```", begin ) - begin ) );
   EXPECT_EQ( status->intfStatus().size(), 49u );
   auto const seventh = status->intfStatus( IntfId( "Ethernet7" ) );
   EXPECT_FALSE( seventh->authZProfile()->authFailVlan() );
   EXPECT_EQ( seventh->authZProfile()->authZTimers()->idleTimeout().count(), 900 );
   Faults faults;
   EXPECT_FALSE( readConfig( "\n\n\n{\"intfStatus\": {\"Ethernet3\": {\"authNProfile\": "
                             "{\"framedMtu\": 70000}}}}",
                             faults ) );
   std::ostringstream told;
   printFaults( told, "dot1xctl", "switch.json", faults );
   std::string line = "    " + told.str();
   line.replace( line.find( " number of" ), 1, "\n    " );
   EXPECT_NE( docs.find( line ), std::string::npos ) << line;
}

} // namespace
