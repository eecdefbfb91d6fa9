#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "ToolRun.h"
#include "support/Files.h"

/// Configuration files on the command line.
namespace {

TEST( ConfigTool, ChecksAndShowsTheSample ) {
   std::string const file = sample( "switch48.json" );
   EXPECT_EQ( printedBy( "config check " + file ),
              DOT1X_SAMPLES_DIR "/switch48.json: 53 interfaces, no faults\n" );
   std::string const whole = printedBy( "config show --json " + file );
   EXPECT_EQ( printedBy( "config show --diff --json " + file +
                         " | '" DOT1XCTL_PATH "' config show --json -" ),
              whole );
   EXPECT_TRUE( printedBy( "config show --diff " + file )
                   .starts_with( "dot1xEnabled  true\nintfStatus[Ethernet1-40,47-48]" ) );
   EXPECT_EQ( printedBy( "config username " + file + " Ethernet3 0000.5e00.53ab" ),
              "00-00-5E-00-53-AB\n" );
   nlohmann::json const tree =
      ToolRun( "replay --tree --json --config " + file + " " + sample( "mba.pcap" ) ).json();
   EXPECT_EQ( tree.at( "/status/attributes/dot1xEnabled"_json_pointer ), true );
}

TEST( ConfigTool, FaultsEndWithOneAndNothingOnStandardOutput ) {
   Files::Folder const folder;
   std::string const path = folder.path + "/config.json";
   std::ofstream( path ) << "{\n\"dot1xEnabled\": 1}";
   for ( std::string const& command :
         { std::string( "config check " ), std::string( "config show --json " ),
           "replay --tree " + sample( "mba.pcap" ) + " --config " } ) {
      expectFailureAlone( command + path, 1,
                          "dot1xctl: " + path +
                             ":2: $.dot1xEnabled: found 1, expected true or false\n" );
   }
   for ( std::string const& unreadable : { folder.path + "/none", folder.path } ) {
      expectFailure( "config check " + unreadable, 1, "dot1xctl: " + unreadable + ": " );
   }
   // Nor is one read that has no end.
   expectFailureAlone( "config check /dev/zero", 1,
                       "dot1xctl: /dev/zero: is larger than 64 MiB\n" );
   expectFailureAlone(
      "config username " + sample( "switch48.json" ) + " Ethernet99 00005e005301", 1,
      "dot1xctl: " DOT1X_SAMPLES_DIR "/switch48.json: there is no authNProfile for Ethernet99\n" );
}

} // namespace
