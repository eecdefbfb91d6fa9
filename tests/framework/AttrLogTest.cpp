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
   EXPECT_FALSE( flowOut.keyed( 1 ) && flowOut.keyed( 1 )->bookmark );
   stream.frames();
   stream.takes = LogStream::unlimited;
   EXPECT_EQ( handleAttrFlowOut( all, 0, flowOut ), 0 );
   std::map<int, std::vector<FrameKind>> kinds;
   for ( auto const& frame : stream.frames() ) {
      kinds[frame.head.field.value()].push_back( frame.head.kind );
   }
   using enum FrameKind;
   std::vector<FrameKind> const anew{ transactionCancel, transactionBegin, attribute,     attribute,
                                      attribute,         attribute,        transactionEnd };
   EXPECT_EQ( kinds[258], anew );
   EXPECT_EQ( kinds[260], anew ); // 258 was flushed before it, and took the bookmark
}

// What 32 bits of length cannot say is refused before anything is written, not cut to them.
TEST( AttrLog, ALengthBeyondItsBitsIsRefused ) {
   if constexpr ( sizeof( std::size_t ) > 4 ) {
      NboAttrLog::OutBuffer out;
      for ( std::uint64_t const size : { 0xFFFFFFFFULL, 0x100000000ULL, 0x100000010ULL } ) {
         EXPECT_THROW( out.outSmReserveMessage( FrameKind::attribute, 1, 260,
                                                static_cast<std::size_t>( size ) ),
                       NboAttrLog::FrameTooLarge );
      }
      EXPECT_TRUE( out.bytes().empty() );
   }
}

} // namespace
