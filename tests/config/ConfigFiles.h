#pragma once

#include <cstddef>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "config/Config.h"
#include "config/ConfigOutput.h"

/// Configuration files of tests.
namespace ConfigFiles {

using namespace Views;
using namespace Config;
using Dot1xV2::Status;
using Varek::Ptr;

/// A configuration without faults.
inline Ptr<Status> read( std::string const& text ) {
   Faults faults;
   auto const status = readConfig( text, faults );
   std::ostringstream told;
   printFaults( told, "test", "file", faults );
   EXPECT_EQ( told.str(), "" );
   return status ? status : Dot1xV2::statusFactory( "bad" );
}

inline std::string printed( Status const& status, ConfigForm form, ConfigExtent extent ) {
   std::ostringstream out;
   printConfig( out, status, form, extent );
   return out.str();
}
inline std::string jsonOf( Status const& status, ConfigExtent extent = ConfigExtent::whole ) {
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

/// \p members within an interface.
inline std::string onEthernet1( std::string const& members ) {
   return R"({"intfStatus": {"Ethernet1": {)" + members + "}}}";
}

} // namespace ConfigFiles
