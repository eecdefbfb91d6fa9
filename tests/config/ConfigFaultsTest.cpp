#include <algorithm>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "ConfigFiles.h"
#include "support/Contains.h"

/// Bad configuration files: each fault is told in full, and nothing is changed.
namespace {

using namespace ConfigFiles;

struct BadFile {
   std::string text;
   std::string faults; ///< "LINE: PATH: what", whole, a line each.
};

/// One fault among the \p members of a profile of Ethernet1; \p fault is told behind the profile.
BadFile profile( std::string const& name, std::string const& members, std::string const& fault,
                 std::string const& line = "1" ) {
   return { onEthernet1( "\"" + name + "\": {" + members + "}" ),
            line + ": $.intfStatus.Ethernet1." + name + "." + fault };
}
BadFile authN( std::string const& members, std::string const& fault ) {
   return profile( "authNProfile", members, fault );
}
BadFile authZ( std::string const& members, std::string const& fault ) {
   return profile( "authZProfile", members, fault );
}
BadFile suppIO( std::string const& members, std::string const& fault ) {
   return profile( "suppIOProfile", members, fault );
}
/// Interfaces of such a name there are not.
BadFile intf( std::string const& name, std::string const& fault ) {
   return { "{\"intfStatus\": {\"" + name + "\": {}}}",
            "1: $.intfStatus[\"" + name + "\"]: no interfaces, expected " + fault };
}

std::string const methods = "one of noneAuth, eapolAuth, mbaAuth, skipAuth and invalidAuthNMethod";
std::string const seconds = "expected a number of seconds, 0 or more, or \"inf\"";
std::string const vlan = "\"none\" or a VLAN number of 1 to 65535 without leading zeros";
std::string const noJson = "this is no JSON: syntax error while parsing ";
std::string const has = "nameString, dot1xEnabled and intfStatus";

BadFile const badFiles[] = {
   { "", "1: column 1: " + noJson +
            "value - unexpected end of input; expected '[', '{', or a literal" },
   { "{\n  \"dot1xEnabled\": true,\n  }",
     "3: column 3: " + noJson + "object key - unexpected '}'; expected string literal" },
   { "{} {}", "1: column 4: " + noJson + "value - unexpected '{'; expected end of input" },
   { R"({"dot1xEnabled": 1e999})",
     "1: column 22: this is no JSON: number overflow parsing '1e999'" },
   { std::string( 65, '[' ), "1: nested deeper than 64 levels" },
   { "[true]", "1: $: found an array, expected an object with attributes of Status: " + has },
   { "{\"dot1xEnabled\": true,\n\n\"dot1xEnabled\": true}",
     "3: $.dot1xEnabled: named twice in one object" },
   // An unknown attribute, like one that there is and like none.
   { R"({"dot1xEnable": true})",
     "1: $.dot1xEnable: Status has no such attribute (did you mean \"dot1xEnabled\"?); it has " +
        has },
   { R"({"e-x\n": true})", "1: $[\"e-x\\x0a\"]: Status has no such attribute; it has " + has },
   authN( R"("getNumAuthNOrders": 2)",
          "getNumAuthNOrders: is derived in AuthNProfile and cannot be given" ),
   authN( R"("mbaUserName": {"userNameDelimDefault": ":"})",
          "mbaUserName.userNameDelimDefault: is constant in MbaUserName and cannot be given" ),
   { R"({"dot1xEnabled": "true"})", "1: $.dot1xEnabled: found \"true\", expected true or false" },
   { "{\n\"dot1xEnabled\": 7\n}", "2: $.dot1xEnabled: found 7, expected true or false" },
   authN( R"("framedMtu": 65536)",
          "framedMtu: found 65536, expected a whole number of 0 to 65535" ),
   authN( R"("mbaUserName": {"userNameGroupSize": 256})",
          "mbaUserName.userNameGroupSize: found 256, expected a whole number of 0 to 255" ),
   authN( R"("framedMtu": -1)", "framedMtu: found -1, expected a whole number of 0 to 65535" ),
   authN( R"("framedMtu": 5.0)", "framedMtu: found 5.0, expected a whole number of 0 to 65535" ),
   authN( R"("framedMtu": "5")", "framedMtu: found \"5\", expected a whole number of 0 to 65535" ),
   authN( R"("macMoveEnabled": ["MbaAuth"])", "macMoveEnabled[0]: found \"MbaAuth\", expected " +
                                                 methods + " (did you mean \"mbaAuth\"?)" ),
   authN( R"("macMoveEnabled": [2])", "macMoveEnabled[0]: found 2, expected " + methods ),
   profile( "authNProfile", "\"macMoveEnabled\": [\"mbaAuth\",\n\"mbaAuth\"]",
            "macMoveEnabled[1]: \"mbaAuth\" is in the set before", "2" ),
   authZ( R"("authZPriority": ["mbaAuth", "mbaAuth", "mbaAuth"])",
          "authZPriority: found 3 elements, expected at most 2" ),
   authN( R"("macMoveEnabled": {})", "macMoveEnabled: found an empty object, expected an array" ),
   authZ( R"("captivePortalAllowList": ["a"])",
          "captivePortalAllowList: found an array, expected an object" ),
   authZ( R"("authZEnabled": {"phone": true})",
          "authZEnabled.phone: not a key, expected one of dataDevice and phoneDevice" ),
   authZ( R"("captivePortalAllowList": {"octets:0xf": true})",
          "captivePortalAllowList[\"octets:0xf\"]: not a key, expected two hexadecimal digits an "
          "octet" ),
   authZ( R"("authZEnabled": {"phoneDevice": null})",
          "authZEnabled.phoneDevice: found null, expected true or false" ),
   authZ( R"("captivePortal": "http://x")",
          "captivePortal: found \"http://x\", expected an object with attributes of "
          "CaptivePortal: url, cpHostName and enabled" ),
   authZ( R"("vlanGroup": {"a": {"groupName": "b"}})",
          "vlanGroup.a.groupName: found \"b\", expected \"a\", which it is called here, or "
          "nothing" ),
   authZ( R"("authFailAcl": 7)", "authFailAcl: found 7, expected a text" ),
   authZ( R"("authFailAcl": {"octets": "ff"})",
          "authFailAcl: found an object, expected a text, or {\"octets\": \"0x...\"} for one that "
          "is no UTF-8" ),
   authZ( R"("guestVlan": 0)", "guestVlan: found 0, expected " + vlan ),
   authZ( R"("authFailVlan": "absent")",
          "authFailVlan: found \"absent\", expected null or " + vlan ),
   suppIO( R"("txPeriod": -0.5)", "txPeriod: found -0.5, " + seconds ),
   suppIO( R"("txPeriod": "nan")", "txPeriod: found \"nan\", " + seconds ),
   intf( "Ethernet0/1/2/3", "the end of the name (Ethernet has at most 3 numbers and a "
                            "sub-interface) at character 14" ),
   intf( "Ethernet1,9-7", "a number of 9 or more, the end of a range at character 13" ),
   intf( "Ethernet1-4,3", "each interface once; Ethernet3 is there before at character 13" ),
   intf( "Ethernet1-99999", "at most 16384 interfaces at character 11" ),
   { onEthernet1( R"("intfId": "Ethernet2")" ),
     "1: $.intfStatus.Ethernet1.intfId: found \"Ethernet2\", expected \"Ethernet1\", which it is "
     "called here, or nothing" },
   { onEthernet1( R"("aaaRespProfile": true)" ),
     "1: $.intfStatus.Ethernet1.aaaRespProfile: found true, expected an object with attributes of "
     "AaaResponseProfile: nameString, multipleFilterIdEnabled and filterIdDelimEnabled" },
   { R"({"intfStatus": {"Ethernet1": {"suppIOProfile": null}, "Ethernet1-2": {"suppIOProfile": {}}}})",
     "1: $.intfStatus[\"Ethernet1-2\"].suppIOProfile: a SuppIOProfile that is not there before "
     "needs \"nameString\"" },
   // One fault for a range, and each fault of the file.
   { "{\"intfStatus\": {\"Ethernet1-48\": {\"suppIOProfile\":\n {\"maxTxRetries\": true,\n"
     "\"txPeriod\": []}}},\n\"dot1xEnabled\": 0}",
     "2: $.intfStatus[\"Ethernet1-48\"].suppIOProfile.maxTxRetries: found true, expected a whole "
     "number of 0 to 65535\n"
     "3: $.intfStatus[\"Ethernet1-48\"].suppIOProfile.txPeriod: found an empty array, " +
        seconds + "\n4: $.dot1xEnabled: found 0, expected true or false" },
};

TEST( ConfigFaults, EachIsToldInFullAndNothingIsChanged ) {
   auto const status = read( R"({"dot1xEnabled": true, "intfStatus": {"Ethernet1,7": {}}})" );
   std::string const before = jsonOf( *status );
   for ( BadFile const& bad : badFiles ) {
      SCOPED_TRACE( bad.text );
      Faults faults;
      EXPECT_EQ(
         toldDuring( *status, [&] { EXPECT_FALSE( reloadConfig( bad.text, *status, faults ) ); } ),
         0u );
      EXPECT_EQ( jsonOf( *status ), before );
      std::string told;
      for ( Fault const& one : faults.kept() ) {
         told += ( told.empty() ? "" : "\n" ) + std::to_string( one.line ) + ": " + one.what;
      }
      EXPECT_EQ( told, bad.faults );
      EXPECT_EQ( faults.count(), faults.kept().size() );
   }
}

TEST( ConfigFaults, ManyAreCountedNotPrinted ) {
   std::string text = "{\"x0\": 1";
   for ( int i = 1; i < 100; ++i ) {
      text += ",\n\"x" + std::to_string( i ) + "\": 1";
   }
   Faults faults;
   EXPECT_FALSE( readConfig( text + "}", faults ) );
   std::ostringstream out;
   printFaults( out, "dot1xctl", "a\nb", faults );
   std::string const told = out.str();
   EXPECT_EQ( std::count( told.begin(), told.end(), '\n' ), 21 );
   EXPECT_TRUE( contains( told, "dot1xctl: a\\x0ab:20: $.x19: " ) );
   EXPECT_TRUE( told.ends_with( "dot1xctl: a\\x0ab: 80 more faults\n" ) ) << told;
}

} // namespace
