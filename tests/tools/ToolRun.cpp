#include "ToolRun.h"

#include <cstdlib>
#include <sstream>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "support/Files.h"

namespace {

/// What a failing run says.
std::string failed( std::string const& arguments, int exitCode ) {
   ToolRun const run( arguments );
   EXPECT_EQ( run.exitCode, exitCode ) << arguments << "\n" << run.err;
   EXPECT_EQ( run.out, "" ) << arguments;
   EXPECT_NE( run.err, "" ) << arguments;
   return run.err;
}

} // namespace

ToolRun::ToolRun( std::string const& arguments ) {
   Files::Folder const folder;
   std::string const command = "'" DOT1XCTL_PATH "' " + arguments + " >'" + folder.path +
                               "/out' 2>'" + folder.path + "/err'";
   int const status = std::system( command.c_str() );
   exitCode = WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   out = Files::contents( folder.path + "/out" );
   err = Files::contents( folder.path + "/err" );
}

nlohmann::json ToolRun::json() const {
   auto result = nlohmann::json::parse( out, nullptr, false );
   EXPECT_FALSE( result.is_discarded() ) << "no JSON: " << out.substr( 0, 400 ) << err;
   return result.is_discarded() ? nlohmann::json::array() : result;
}

std::string printedBy( std::string const& arguments ) {
   ToolRun const run( arguments );
   EXPECT_EQ( run.exitCode, 0 ) << arguments;
   EXPECT_EQ( run.err, "" ) << arguments;
   return run.out;
}

std::string expectFailure( std::string const& arguments, int exitCode, std::string_view told ) {
   std::string const err = failed( arguments, exitCode );
   EXPECT_TRUE( contains( err, told ) ) << arguments;
   return err;
}

void expectFailureAlone( std::string const& arguments, int exitCode, std::string_view told ) {
   EXPECT_EQ( failed( arguments, exitCode ), told ) << arguments;
}

void expectEightyColumns( std::string const& text ) {
   auto const lines = linesOf( text );
   EXPECT_GT( lines.size(), 3u ) << text;
   for ( std::string const& line : lines ) {
      EXPECT_TRUE( line.size() <= 80 || line.starts_with( DOT1X_SAMPLES_DIR ) ) << line;
      EXPECT_FALSE( line.ends_with( ' ' ) ) << line;
   }
}

nlohmann::json state( std::string const& captures, std::string const& what, int exitCode ) {
   ToolRun const run( "replay --json --show " + what + " " + captures );
   EXPECT_EQ( run.exitCode, exitCode ) << run.err;
   return run.json();
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

std::map<std::string, nlohmann::json> rowsBy( std::string const& column,
                                              nlohmann::json const& table ) {
   std::map<std::string, nlohmann::json> result;
   for ( nlohmann::json const& row : table ) {
      result[row.at( column )] = row;
   }
   return result;
}

std::string sample( std::string const& name ) { return "'" DOT1X_SAMPLES_DIR "/" + name + "'"; }

std::string samples( std::vector<std::string> const& names ) {
   std::string all;
   for ( std::string const& name : names ) {
      all += sample( name ) + " ";
   }
   return all;
}
