#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ToolRun.h"
#include "dot1xctl/Config.h"
#include "dot1xctl/ConfigOutput.h"
#include "framework/Assign.h"
#include "support/RandomChange.h"

/// Configuration files: what they make, what they leave alone, and how their faults are told.
namespace {

using namespace Dot1xCtl;
using Dot1xV2::AuthNMethod;
using Dot1xV2::Status;
using Lumo::IntfId;
using Varek::Ptr;

/// A configuration without faults.
Ptr<Status> read( std::string const& text ) {
   Faults faults;
   auto const status = readConfig( text, faults );
   std::ostringstream told;
   printFaults( told, "test", faults );
   EXPECT_EQ( told.str(), "" );
   return status ? status : Dot1xV2::statusFactory( "bad" );
}

std::string printed( Status const& status, ConfigForm form, ConfigExtent extent ) {
   std::ostringstream out;
   printConfig( out, status, form, extent );
   return out.str();
}
std::string jsonOf( Status const& status, ConfigExtent extent = ConfigExtent::whole ) {
   return printed( status, ConfigForm::json, extent );
}

/// How often an observer of the whole tree is told while \p change is done.
template<class Change>
std::size_t toldDuring( Status& status, Change change ) {
   std::size_t told = 0;
   auto const counting =
      status.subscribe( [&]( Varek::Change const& ) { ++told; }, Varek::Scope::subtree );
   change();
   return told;
}

/// In how many places the two differ; \p a is then as \p b.
std::size_t differences( Status& a, Status const& b ) {
   return toldDuring( a, [&] { Qel::assignEntity( a, b ); } );
}

/// \p members within an interface.
std::string onEthernet1( std::string const& members ) {
   return R"({"intfStatus": {"Ethernet1": {)" + members + "}}}";
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

// What is refused

struct BadFile {
   char const* what;
   std::string text;
   std::vector<std::string> faults; ///< "LINE: PATH: what", whole.
};
void PrintTo( BadFile const& bad, std::ostream* out ) { *out << bad.what; }

std::string const authN = R"($.intfStatus.Ethernet1.authNProfile)";
std::string const authZ = R"($.intfStatus.Ethernet1.authZProfile)";
std::string const suppIO = R"($.intfStatus.Ethernet1.suppIOProfile)";

std::string onAuthN( std::string const& members ) {
   return onEthernet1( "\"authNProfile\": {" + members + "}" );
}
std::string onAuthZ( std::string const& members ) {
   return onEthernet1( "\"authZProfile\": {" + members + "}" );
}
std::string onSuppIO( std::string const& members ) {
   return onEthernet1( "\"suppIOProfile\": {" + members + "}" );
}

std::string const methods = "one of noneAuth, eapolAuth, mbaAuth, skipAuth and invalidAuthNMethod";
std::string const seconds = "expected a number of seconds, 0 or more, or \"inf\"";
std::string const vlan = "\"none\" or a VLAN number of 1 to 65535 without leading zeros";
std::string const deep( 65, '[' );

std::vector<BadFile> const badFiles = {
   { "empty",
     "",
     { "1: column 1: this is no JSON: syntax error while parsing value - unexpected end of input; "
       "expected '[', '{', or a literal" } },
   { "syntax",
     "{\n  \"dot1xEnabled\": true,\n  }",
     { "3: column 3: this is no JSON: syntax error while parsing object key - unexpected '}'; "
       "expected string literal" } },
   { "rest behind",
     "{} {}",
     { "1: column 4: this is no JSON: syntax error while parsing value - unexpected '{'; expected "
       "end of input" } },
   { "no number",
     R"({"dot1xEnabled": 1e999})",
     { "1: column 22: this is no JSON: number overflow parsing '1e999'" } },
   { "nested without end", deep, { "1: nested deeper than 64 levels" } },
   { "root",
     "[true]",
     { "1: $: found an array, expected an object with attributes of Status: nameString, "
       "dot1xEnabled and intfStatus" } },
   { "named twice",
     "{\"dot1xEnabled\": true,\n\n\"dot1xEnabled\": true}",
     { "3: $.dot1xEnabled: named twice in one object" } },
   { "unknown attribute",
     R"({"dot1xEnable": true})",
     { "1: $.dot1xEnable: Status has no such attribute (did you mean \"dot1xEnabled\"?); it has "
       "nameString, dot1xEnabled and intfStatus" } },
   { "unknown attribute like none",
     R"({"e-x\n": true})",
     { "1: $[\"e-x\\x0a\"]: Status has no such attribute; it has nameString, dot1xEnabled and "
       "intfStatus" } },
   { "derived",
     onAuthN( R"("getNumAuthNOrders": 2)" ),
     { "1: " + authN + ".getNumAuthNOrders: is derived in AuthNProfile and cannot be given" } },
   { "constant",
     onAuthN( R"("mbaUserName": {"userNameDelimDefault": ":"})" ),
     { "1: " + authN +
       ".mbaUserName.userNameDelimDefault: is constant in MbaUserName and cannot be given" } },
   { "boolean",
     R"({"dot1xEnabled": "true"})",
     { "1: $.dot1xEnabled: found \"true\", expected true or false" } },
   { "too great",
     onAuthN( R"("framedMtu": 65536)" ),
     { "1: " + authN + ".framedMtu: found 65536, expected a whole number of 0 to 65535" } },
   { "too great for a group",
     onAuthN( R"("mbaUserName": {"userNameGroupSize": 256})" ),
     { "1: " + authN +
       ".mbaUserName.userNameGroupSize: found 256, expected a whole number of 0 to 255" } },
   { "negative",
     onAuthN( R"("framedMtu": -1)" ),
     { "1: " + authN + ".framedMtu: found -1, expected a whole number of 0 to 65535" } },
   { "no whole number",
     onAuthN( R"("framedMtu": 5.0)" ),
     { "1: " + authN + ".framedMtu: found 5.0, expected a whole number of 0 to 65535" } },
   { "number in quotes",
     onAuthN( R"("framedMtu": "5")" ),
     { "1: " + authN + ".framedMtu: found \"5\", expected a whole number of 0 to 65535" } },
   { "enumerator",
     onAuthN( R"("macMoveEnabled": ["MbaAuth"])" ),
     { "1: " + authN + ".macMoveEnabled[0]: found \"MbaAuth\", expected " + methods +
       " (did you mean \"mbaAuth\"?)" } },
   { "enumerator as number",
     onAuthN( R"("macMoveEnabled": [2])" ),
     { "1: " + authN + ".macMoveEnabled[0]: found 2, expected " + methods } },
   { "member again",
     onAuthN( "\"macMoveEnabled\": [\"mbaAuth\",\n\"mbaAuth\"]" ),
     { "2: " + authN + ".macMoveEnabled[1]: \"mbaAuth\" is in the set before" } },
   { "too many in an array",
     onAuthZ( R"("authZPriority": ["mbaAuth", "mbaAuth", "mbaAuth"])" ),
     { "1: " + authZ + ".authZPriority: found 3 elements, expected at most 2" } },
   { "object for a set",
     onAuthN( R"("macMoveEnabled": {})" ),
     { "1: " + authN + ".macMoveEnabled: found an empty object, expected an array" } },
   { "array for a map",
     onAuthZ( R"("captivePortalAllowList": ["a"])" ),
     { "1: " + authZ + ".captivePortalAllowList: found an array, expected an object" } },
   { "key",
     onAuthZ( R"("authZEnabled": {"phone": true})" ),
     { "1: " + authZ +
       ".authZEnabled.phone: not a key, expected one of dataDevice and "
       "phoneDevice" } },
   { "octets of a key",
     onAuthZ( R"("captivePortalAllowList": {"octets:0xf": true})" ),
     { "1: " + authZ +
       ".captivePortalAllowList[\"octets:0xf\"]: not a key, expected two "
       "hexadecimal digits an octet" } },
   { "element",
     onAuthZ( R"("authZEnabled": {"phoneDevice": null})" ),
     { "1: " + authZ + ".authZEnabled.phoneDevice: found null, expected true or false" } },
   { "record",
     onAuthZ( R"("captivePortal": "http://x")" ),
     { "1: " + authZ +
       ".captivePortal: found \"http://x\", expected an object with attributes of "
       "CaptivePortal: url, cpHostName and enabled" } },
   { "key inside",
     onAuthZ( R"("vlanGroup": {"a": {"groupName": "b"}})" ),
     { "1: " + authZ +
       ".vlanGroup.a.groupName: found \"b\", expected \"a\", which it is called "
       "here, or nothing" } },
   { "text",
     onAuthZ( R"("authFailAcl": 7)" ),
     { "1: " + authZ + ".authFailAcl: found 7, expected a text" } },
   { "octets",
     onAuthZ( R"("authFailAcl": {"octets": "ff"})" ),
     { "1: " + authZ +
       ".authFailAcl: found an object, expected a text, or {\"octets\": "
       "\"0x...\"} for one that is no UTF-8" } },
   { "VLAN",
     onAuthZ( R"("guestVlan": 0)" ),
     { "1: " + authZ + ".guestVlan: found 0, expected " + vlan } },
   { "absent by its word",
     onAuthZ( R"("authFailVlan": "absent")" ),
     { "1: " + authZ + ".authFailVlan: found \"absent\", expected null or " + vlan } },
   { "negative time",
     onSuppIO( R"("txPeriod": -0.5)" ),
     { "1: " + suppIO + ".txPeriod: found -0.5, " + seconds } },
   { "no time",
     onSuppIO( R"("txPeriod": "nan")" ),
     { "1: " + suppIO + ".txPeriod: found \"nan\", " + seconds } },
   { "interface",
     R"({"intfStatus": {"Ethernet0/1/2/3": {}}})",
     { "1: $.intfStatus[\"Ethernet0/1/2/3\"]: no interfaces, expected the end of the name "
       "(Ethernet "
       "has at most 3 numbers and a sub-interface) at character 14" } },
   { "range that goes down",
     R"({"intfStatus": {"Ethernet1,9-7": {}}})",
     { "1: $.intfStatus[\"Ethernet1,9-7\"]: no interfaces, expected a number of 9 or more, the end "
       "of a range at character 13" } },
   { "interface again",
     R"({"intfStatus": {"Ethernet1-4,3": {}}})",
     { "1: $.intfStatus[\"Ethernet1-4,3\"]: no interfaces, expected each interface once; Ethernet3 "
       "is there before at character 13" } },
   { "too many interfaces",
     R"({"intfStatus": {"Ethernet1-99999": {}}})",
     { "1: $.intfStatus[\"Ethernet1-99999\"]: no interfaces, expected at most 16384 interfaces at "
       "character 11" } },
   { "another interface inside",
     onEthernet1( R"("intfId": "Ethernet2")" ),
     { "1: $.intfStatus.Ethernet1.intfId: found \"Ethernet2\", expected \"Ethernet1\", which it is "
       "called here, or nothing" } },
   { "child",
     onEthernet1( R"("aaaRespProfile": true)" ),
     { "1: $.intfStatus.Ethernet1.aaaRespProfile: found true, expected an object with attributes "
       "of "
       "AaaResponseProfile: nameString, multipleFilterIdEnabled and filterIdDelimEnabled" } },
   { "child without a name",
     R"({"intfStatus": {"Ethernet1": {"suppIOProfile": null}, "Ethernet1-2": {"suppIOProfile": {}}}})",
     { "1: $.intfStatus[\"Ethernet1-2\"].suppIOProfile: a SuppIOProfile that is not there before "
       "needs \"nameString\"" } },
   { "one fault for a range, and each fault of the file",
     "{\"intfStatus\": {\"Ethernet1-48\": {\"suppIOProfile\":\n {\"maxTxRetries\": true,\n"
     "\"txPeriod\": []}}},\n\"dot1xEnabled\": 0}",
     { "2: $.intfStatus[\"Ethernet1-48\"].suppIOProfile.maxTxRetries: found true, expected a whole "
       "number of 0 to 65535",
       "3: $.intfStatus[\"Ethernet1-48\"].suppIOProfile.txPeriod: found an empty array, " + seconds,
       "4: $.dot1xEnabled: found 0, expected true or false" } },
};

class ConfigRefuses : public testing::TestWithParam<BadFile> {};

TEST_P( ConfigRefuses, EachFaultInFullAndNothingChanged ) {
   BadFile const& bad = GetParam();
   auto const status = read( R"({"dot1xEnabled": true, "intfStatus": {"Ethernet1,7": {}}})" );
   std::string const before = jsonOf( *status );
   Faults faults;
   EXPECT_EQ(
      toldDuring( *status, [&] { EXPECT_FALSE( reloadConfig( bad.text, *status, faults ) ); } ),
      0u );
   EXPECT_EQ( jsonOf( *status ), before );
   ASSERT_EQ( faults.count(), bad.faults.size() );
   for ( std::size_t i = 0; i < bad.faults.size(); ++i ) {
      Fault const& one = faults.kept()[i];
      EXPECT_EQ( std::to_string( one.line ) + ": " + one.what, bad.faults[i] );
   }
}

INSTANTIATE_TEST_SUITE_P( Files, ConfigRefuses, testing::ValuesIn( badFiles ) );

TEST( ConfigFaults, ManyAreCountedNotPrinted ) {
   std::string text = "{\"x0\": 1";
   for ( int i = 1; i < 100; ++i ) {
      text += ",\n\"x" + std::to_string( i ) + "\": 1";
   }
   Faults faults;
   EXPECT_FALSE( readConfig( text + "}", faults ) );
   std::ostringstream out;
   printFaults( out, "a\nb", faults );
   std::string const told = out.str();
   EXPECT_EQ( std::count( told.begin(), told.end(), '\n' ), 21 );
   EXPECT_NE( told.find( "dot1xctl: a\\x0ab:20: $.x19: " ), std::string::npos ) << told;
   EXPECT_TRUE( told.ends_with( "dot1xctl: a\\x0ab: 80 more faults\n" ) ) << told;
}

// There and back

TEST( ConfigRoundTrip, WhatIsPrintedIsReadAsTheSameTree ) {
   int read = 0;
   for ( std::uint32_t seed = 1; seed <= 150; ++seed ) {
      auto const status = Dot1xV2::statusFactory( seed % 2 != 0 ? "status" : "\"\\ other" );
      RandomChange change( seed );
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
   status->intfStatusIs( IntfId( "Ethernet1" ) );
   EXPECT_EQ( jsonOf( *status, ConfigExtent::difference ),
              "{\n   \"intfStatus\": {\n      \"Ethernet1\": {}\n   }\n}\n" );
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

std::string contents( std::string const& path ) {
   std::ifstream file( path, std::ios::binary );
   return { std::istreambuf_iterator<char>( file ), {} };
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
   std::cout << "1000 interfaces: " << took.count() * 1000 << " ms, " << each
             << " bytes of entities each\n";
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
   printFaults( told, "switch.json", faults );
   std::string line = "    " + told.str();
   line.replace( line.find( " number of" ), 1, "\n    " );
   EXPECT_NE( docs.find( line ), std::string::npos ) << line;
}

// The tool

TEST( ConfigTool, ChecksAndShowsTheSample ) {
   std::string const file = sample( "switch48.json" );
   ToolRun const check( "config check " + file );
   EXPECT_EQ( check.exitCode, 0 );
   EXPECT_EQ( check.out, DOT1X_SAMPLES_DIR "/switch48.json: 53 interfaces, no faults\n" );
   ToolRun const show( "config show --json " + file );
   auto const again = read( show.out );
   EXPECT_EQ( differences( *again, *read( contents( DOT1X_SAMPLES_DIR "/switch48.json" ) ) ), 0u );
   EXPECT_EQ(
      ToolRun( "config show --diff --json " + file + " | '" DOT1XCTL_PATH "' config show --json -" )
         .out,
      show.out );
   EXPECT_EQ( ToolRun( "config show --diff " + file ).out.find( "intfStatus[Ethernet1-40,47-48]" ),
              std::string( "dot1xEnabled  true\n" ).size() );
   EXPECT_EQ( ToolRun( "config username " + file + " Ethernet3 0000.5e00.53ab" ).out,
              "00-00-5E-00-53-AB\n" );
   EXPECT_EQ( ToolRun( "replay --tree --json --config " + file + " " + sample( "mba.pcap" ) )
                 .json()
                 .at( "status" )
                 .at( "attributes" )
                 .at( "dot1xEnabled" ),
              true );
}

TEST( ConfigTool, FaultsEndWithOneAndNothingOnStandardOutput ) {
   std::string const path = testing::TempDir() + "config-" + std::to_string( getpid() ) + ".json";
   std::ofstream( path ) << "{\n\"dot1xEnabled\": 1}";
   for ( std::string const& command :
         { std::string( "config check " ), std::string( "config show --json " ),
           "replay --tree " + sample( "mba.pcap" ) + " --config " } ) {
      ToolRun const run( command + "'" + path + "'" );
      EXPECT_EQ( run.exitCode, 1 ) << command;
      EXPECT_EQ( run.out, "" );
      EXPECT_EQ( run.err,
                 "dot1xctl: " + path + ":2: $.dot1xEnabled: found 1, expected true or false\n" );
   }
   unlink( path.c_str() );
   for ( std::string const& missing : { path, testing::TempDir() } ) {
      ToolRun const run( "config check '" + missing + "'" );
      EXPECT_EQ( run.exitCode, 1 );
      EXPECT_TRUE( run.err.starts_with( "dot1xctl: " + missing + ": " ) ) << run.err;
   }
}

TEST( ConfigTool, HelpAndTextFitEightyColumnsAndWrongUsageIsTold ) {
   for ( char const* const arguments :
         { "config --help", "config show --help", "config check --help", "config username --help",
           "config show '" DOT1X_SAMPLES_DIR "/switch48.json'" } ) {
      std::istringstream out( ToolRun( arguments ).out );
      std::size_t lines = 0;
      for ( std::string line; std::getline( out, line ); ++lines ) {
         EXPECT_LE( line.size(), 80u ) << line;
      }
      EXPECT_GT( lines, 3u ) << arguments;
   }
   for ( char const* const wrong :
         { "config", "config check", "config show x y", "config tell x" } ) {
      EXPECT_EQ( ToolRun( wrong ).exitCode, 2 ) << wrong;
   }
   ToolRun const nobody( "config username " + sample( "switch48.json" ) +
                         " Ethernet99 00005e005301" );
   EXPECT_EQ( nobody.exitCode, 1 );
   EXPECT_EQ( nobody.err, "dot1xctl: " DOT1X_SAMPLES_DIR
                          "/switch48.json: there is no authNProfile for Ethernet99\n" );
}

} // namespace
