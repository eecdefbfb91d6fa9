#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Varek/Failures.h"
#include "config/InterfaceRange.h"

/// Texts that stand for interfaces, and MAC addresses as user names.
namespace {

using Config::interfacesOf;
using Config::interfacesText;
using Lumo::IntfId;

std::string namesOf( std::string_view text ) {
   std::string names;
   for ( IntfId const one : interfacesOf( text ) ) {
      names += ( names.empty() ? "" : " " ) + stringValue( one );
   }
   return names;
}

TEST( InterfaceRange, GivesTheInterfacesInTheOrderOfTheText ) {
   for ( auto const& [text, names] : std::map<std::string, std::string>{
            { "Ethernet5", "Ethernet5" },
            { "Ethernet9-11,3", "Ethernet9 Ethernet10 Ethernet11 Ethernet3" },
            { "Ethernet3/1-2,7", "Ethernet3/1 Ethernet3/2 Ethernet3/7" },
            { "Ethernet3.100-101", "Ethernet3.100 Ethernet3.101" },
            { "Port-Channel1-2", "Port-Channel1 Port-Channel2" },
            { " Ethernet1 , 4-5 ", "Ethernet1 Ethernet4 Ethernet5" },
            { "lo,eth0-1", "lo eth0 eth1" },
            { "Ethernet7-7", "Ethernet7" },
            { "Vlan1,Ethernet1,2", "Vlan1 Ethernet1 Ethernet2" },
            { "enp3s0-1", "enp3s0 enp3s1" } } ) {
      EXPECT_EQ( namesOf( text ), names );
   }
}

TEST( InterfaceRange, RefusesWhatIsNone ) {
   std::istringstream none( "5 1-3 , Ethernet1, ,Ethernet1 Ethernet1,,2 Ethernet2-1 Ethernet1- "
                            "Ethernet-4 Ethernet1-03 Ethernet01-3 Ethernet1-2-3 Ethernet1/1-1/4 "
                            "Ethernet1-2,2 Vlan7,Vlan7 Ethernet1048570-1048575 lo-3 "
                            "Ethernet0-18446744073709551615 Ethernet0-99999999999999999999999 "
                            "Ethernet99999999999999999999999-99999999999999999999999 "
                            "Ethernet1-16385" );
   for ( std::string text; none >> text; ) {
      EXPECT_THROW( interfacesOf( text ), Varek::TextError ) << text;
   }
   EXPECT_EQ( interfacesOf( "Ethernet1-16384" ).size(), 16384u );
}

TEST( InterfaceRange, TextOfASetIsReadAsThatSet ) {
   EXPECT_EQ( interfacesText( {} ), "" );
   std::minstd_rand random( 7 );
   auto const below = [&]( unsigned end ) { return std::to_string( random() % end ); };
   for ( int round = 0; round < 500; ++round ) {
      std::vector<IntfId> all;
      for ( unsigned i = static_cast<unsigned>( random() % 30 + 1 ); i > 0; --i ) {
         std::string const names[] = {
            "lo", "Port-Channel" + below( 12 ), "Ethernet" + below( 3 ) + "/" + below( 5 ),
            "Ethernet" + below( 3 ) + "." + below( 5 ), "Ethernet" + below( 20 ) };
         all.emplace_back( names[random() % std::size( names )] );
         if ( random() % 6 == 0 ) {
            all.push_back( IntfId::fromValue( random() ) );
         }
      }
      std::string const text = interfacesText( all );
      std::vector<IntfId> again = interfacesOf( text );
      std::sort( all.begin(), all.end() );
      all.erase( std::unique( all.begin(), all.end() ), all.end() );
      ASSERT_EQ( again, all ) << text;
   }
}

} // namespace
