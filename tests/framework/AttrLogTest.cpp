// What is still to be said of one entity to one stream.

#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "support/LogStream.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;
using namespace Qel;
using NboAttrLog::FrameKind;

// Whoever is flushed beyond a collection that is under way gives it up: it is said anew, whole.
TEST( AttrLog, AFlowOutHoldsOneBookmark ) {
   LogStream stream;
   auto const depot = Depot::DepotIs( "depot" );
   auto const& type = typeRecord( depot->typeData() );
   for ( char const* const name : { "a", "b", "c", "d" } ) {
      depot->tagIs( name );
      depot->noteIs( name, name );
   }
   NboAttrLog::FlowOut flowOut( type, true );
   EntityQelNboAttrLogSa const all( *depot, type, 9, stream, &flowOut );
   stream.takes = 3;
   EXPECT_EQ( handleAttrFlowOut( all, 0, flowOut ), 258 );
   stream.takes = 3;
   EXPECT_EQ( handleAttrFlowOut( all, 260, flowOut ), 260 );
   EXPECT_EQ( type.attributes[flowOut.resync()].id, 260 );
   EXPECT_FALSE( flowOut.keyed( 1 ) && flowOut.keyed( 1 )->bookmark() );
   stream.frames();
   stream.takes = LogStream::unlimited;
   EXPECT_EQ( handleAttrFlowOut( all, 0, flowOut ), 0 );
   std::map<int, std::vector<FrameKind>> kinds;
   for ( auto const& frame : stream.frames() )
      kinds[frame.head.field.value()].push_back( frame.head.kind );
   using enum FrameKind;
   std::vector<FrameKind> const anew{ transactionCancel, transactionBegin, attribute,     attribute,
                                      attribute,         attribute,        transactionEnd };
   EXPECT_EQ( kinds[258], anew );
   EXPECT_EQ( kinds[260], anew ); // 258 was flushed before it, and took the bookmark
}

} // namespace
