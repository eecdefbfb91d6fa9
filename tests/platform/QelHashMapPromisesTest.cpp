// What HashMap2018 promises beside being a map: its size, its memory, its references, and that a
// failure leaves it as it was.

#include <gtest/gtest.h>

#include "Pallo/Pallo.h"
#include "support/MapElements.h"

namespace {

using namespace MapElements;
using Map = OwnContent<std::uint32_t, 1000>::Map;
using Element = Map::value_type;

void fill( Map& map, std::uint32_t size ) {
   for ( std::uint32_t n = map.size(); n < size; ++n ) {
      map.newMemberG( n, Tracked( n + 1 ) );
   }
}

void expectHolds( Map const& map, std::uint32_t size ) {
   ASSERT_EQ( map.size(), size );
   for ( std::uint32_t n = 0; n < size; ++n ) {
      ASSERT_NE( map.lookupNodeG( n ), nullptr ) << n << " of " << size;
      EXPECT_EQ( map.lookupNodeG( n )->content.value(), n + 1 );
   }
   EXPECT_EQ( map.lookupNodeG( size ), nullptr );
}

TEST( HashMapPromises, AnEmptyMapIsTwoWordsAndHasNoMemory ) {
   EXPECT_LE( sizeof( Map ), std::max<std::size_t>( 2 * sizeof( void* ), 12 ) );
   std::size_t const before = Pallo::usage().liveBytes;
   Map map;
   EXPECT_EQ( map.lookupNodeG( 1 ), nullptr );
   EXPECT_FALSE( map.deleteMemberG( 1 ) );
   map.memberDelAll();
   map.qelMarkAllForDeletion();
   map.qelMarkedForDeletionGIs( 1, true );
   EXPECT_FALSE( map.isMarkedForDeletion( map.position( 1 ) ) );
   Map const copy( map );
   EXPECT_EQ( copy.begin(), copy.end() );
   EXPECT_EQ( map.nextTaken( 0 ), Map::none );
   EXPECT_EQ( map.version(), 0U );
   EXPECT_EQ( copy.positions(), 0U );
   EXPECT_EQ( Pallo::usage().liveBytes, before );
   for ( std::uint32_t const size : { 1U, 15U, 40U } ) {
      fill( map, size );
      map.memberDelAll();
      EXPECT_EQ( map.version(), 0U ) << "memory kept after " << size;
      EXPECT_EQ( Pallo::usage().liveBytes, before );
   }
}

TEST( HashMapPromises, WhatCannotBeMadeLeavesNothingAndACopyOfItsOwnElementIsTakenWhileItGrows ) {
   for ( std::uint32_t size = 0; size <= 60; ++size ) {
      Map map, target;
      fill( map, size );
      fill( target, 3 );
      std::uint32_t const version = map.version();
      std::size_t const bytes = Pallo::usage().liveBytes;
      Tracked const content( 9 );
      {
         CopiesFail const fail( 0 );
         EXPECT_THROW( map.newMemberG( 2000U, content ), std::runtime_error );
         EXPECT_THROW( map.findOrNewMemberG( 2000U, 2000U, content ), std::runtime_error );
      }
      for ( std::uint32_t after = 0; after < size; after += 13 ) {
         CopiesFail const fail( static_cast<int>( after ) );
         EXPECT_THROW( Map copy( map ), std::runtime_error );
         EXPECT_THROW( target = map, std::runtime_error );
      }
      expectHolds( map, size );
      expectHolds( target, 3 );
      EXPECT_EQ( map.version(), version );
      EXPECT_EQ( Tracked::live, static_cast<int>( size ) + 4 );
      EXPECT_EQ( Pallo::usage().liveBytes, bytes );
      for ( std::uint32_t key = 2000; size > 0 && key < 2002; ++key ) {
         Element const& source = *map.lookupNodeG( size / 2 );
         Element const& made = key == 2000 ? map.findOrNewMemberG( key, source, key ).first
                                           : map.newMemberG( source, key );
         EXPECT_EQ( made.content.value(), size / 2 + 1 );
      }
   }
   EXPECT_EQ( Tracked::live, 0 );
}

TEST( HashMapPromises, ARangeForMayEraseTheElementThatItStandsOn ) {
   for ( std::uint32_t size = 1; size <= 60; ++size ) {
      for ( std::uint32_t const kept : { 1U, size / 2 + 1, size } ) {
         Map map, other;
         fill( map, size );
         for ( std::uint32_t at = map.nextTaken( 0 ); map.size() > kept; ) {
            if ( at = map.nextTaken( at + 1 ); at != Map::none ) {
               map.deleteMemberG( std::uint32_t{ map.at( at ).key } );
            } else {
               at = map.nextTaken( 0 );
            }
         }
         std::uint32_t visited = 0;
         for ( Element const& element : map ) {
            ++visited;
            ASSERT_TRUE( map.deleteMemberG( std::uint32_t{ element.key } ) );
            if ( map.empty() ) {
               fill( other, size ); // into the memory that was given back
            }
         }
         EXPECT_EQ( visited, kept );
      }
   }
}

TEST( HashMapPromises, AHashDependsOnTheProcessAndOnTheCollection ) {
   std::uint32_t const here = Qel::HashHelper::hashSeed32(), hash = Map::hash( 1 );
   EXPECT_NE( hash, ( Qel::HSet<std::uint32_t, 2>::hash( 1 ) ) );
   Qel::HashHelper::hashSeed32Is( here + 1 );
   EXPECT_NE( hash, Map::hash( 1 ) );
   Qel::HashHelper::hashSeed32Is( here );
}

#ifndef NDEBUG
TEST( HashMapPromisesDeathTest, ARangeForThatGoesOnAfterAnotherChangeEndsTheProcess ) {
   Map map;
   auto const walk = [&]( std::uint32_t size, auto change ) {
      map.memberDelAll();
      fill( map, size );
      for ( Element const& element : map ) {
         change( element.key );
      }
   };
   auto const others = [&]( std::uint32_t self ) {
      for ( std::uint32_t n = 0; n < 60; ++n ) {
         if ( n != self ) {
            map.deleteMemberG( n );
         }
      }
   };
   EXPECT_DEATH( walk( 8, others ), "tags.* != 0" );
   EXPECT_DEATH( walk( 40, [&]( std::uint32_t ) { fill( map, map.size() + 1 ); } ), "version_" );
   EXPECT_DEATH( walk( 40, [&]( std::uint32_t ) { map.memberDelAll(); } ), "version_" );
}
#endif

/// A key of one of two homes that counts how often it is compared.
struct ComparedKey {
   inline static int comparisons = 0;
   std::uint32_t number;
   std::uint32_t hash( std::uint32_t ) const { return number % 2; }
   friend bool operator==( ComparedKey const& a, ComparedKey const& b ) {
      ++comparisons;
      return a.number == b.number;
   }
};

TEST( HashMapPromises, ErasedElementsLeaveNoTraceThatLookUpsPayFor ) {
   Qel::HSet<ComparedKey> set;
   for ( std::uint32_t n = 0; n < 5; ++n ) {
      set.newMemberG( ComparedKey{ 2 * n + 1 } );
   }
   // More than their home holds, so that the last go where the odd ones are.
   for ( std::uint32_t n = 0; n < 17; ++n ) {
      set.newMemberG( ComparedKey{ 2 * n } );
   }
   ComparedKey const absent{ 100 };
   ComparedKey::comparisons = 0;
   EXPECT_EQ( set.lookupNodeG( absent ), nullptr );
   EXPECT_EQ( ComparedKey::comparisons, 22 );
   for ( std::uint32_t n = 0; n < 17; ++n ) {
      set.deleteMemberG( ComparedKey{ 2 * n } );
   }
   ComparedKey::comparisons = 0;
   EXPECT_EQ( set.lookupNodeG( absent ), nullptr );
   EXPECT_EQ( ComparedKey::comparisons, 0 );
}

} // namespace
