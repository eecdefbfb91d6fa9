#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>

#include "CommandLine.h"

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

int run( int argc, char** argv ) {
   std::function<int()> action;
   auto const app = Dot1xCtl::commandLine( action );
   try {
      app->parse( argc, argv );
   } catch ( CLI::ParseError const& error ) {
      return app->exit( error ) == 0 ? 0 : wrongUsage;
   }
   int result = action();
   std::cout.flush();
   if ( !std::cout ) {
      std::cerr << "dot1xctl: standard output cannot be written\n";
      result = std::max( result, failed );
   }
   return result;
}

} // namespace

int main( int argc, char** argv ) {
   try {
      std::ios::sync_with_stdio( false );
      return run( argc, argv );
   } catch ( std::exception const& error ) {
      std::cerr << "dot1xctl: " << error.what() << '\n';
      return failed;
   }
}
