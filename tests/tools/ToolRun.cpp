#include "ToolRun.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string contents( std::string const& path ) {
   std::ifstream file( path, std::ios::binary );
   return { std::istreambuf_iterator<char>( file ), {} };
}

} // namespace

ToolRun::ToolRun( std::string const& arguments ) {
   std::string const base = testing::TempDir() + "dot1xctl-" + std::to_string( getpid() );
   std::string const command =
      "'" DOT1XCTL_PATH "' " + arguments + " >'" + base + ".out' 2>'" + base + ".err'";
   int const status = std::system( command.c_str() );
   exitCode = WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   out = contents( base + ".out" );
   err = contents( base + ".err" );
   unlink( ( base + ".out" ).c_str() );
   unlink( ( base + ".err" ).c_str() );
}

nlohmann::json ToolRun::json() const {
   auto result = nlohmann::json::parse( out, nullptr, false );
   EXPECT_FALSE( result.is_discarded() ) << "no JSON: " << out.substr( 0, 400 ) << err;
   return result.is_discarded() ? nlohmann::json::array() : result;
}

std::vector<nlohmann::json> recordsOf( nlohmann::json const& output, std::string const& kind ) {
   std::vector<nlohmann::json> result;
   for ( nlohmann::json const& record : output ) {
      if ( record.at( "record" ) == kind ) {
         result.push_back( record );
      }
   }
   return result;
}

std::string sample( std::string const& name ) { return "'" DOT1X_SAMPLES_DIR "/" + name + "'"; }
