#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

/// Files of tests.
namespace Files {

/// The contents of a file; empty if it cannot be read.
inline std::string contents( std::string const& path ) {
   std::ifstream file( path, std::ios::binary );
   return { std::istreambuf_iterator<char>( file ), {} };
}

/// A folder that is removed with its contents. Its path is short enough for a socket.
struct Folder {
   std::string path = "/tmp/dot1x-XXXXXX";
   Folder() { EXPECT_NE( ::mkdtemp( path.data() ), nullptr ); }
   ~Folder() { std::filesystem::remove_all( path ); }
   Folder( Folder const& ) = delete;
   Folder& operator=( Folder const& ) = delete;

   std::string socket() const { return path + "/socket"; }
   std::string address() const { return "unix:" + socket(); }
};

} // namespace Files
