#include <algorithm>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ConfigFiles.h"

/// Bad configuration files: each fault is told in full, and nothing is changed.
namespace {

using namespace ConfigFiles;

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

} // namespace
