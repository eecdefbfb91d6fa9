// HashMap2018 beside a std::map through random operations, for elements and hashes of every sort.

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "support/MapElements.h"

namespace {

template<class Traits>
class HashMapModel : public testing::Test {
protected:
   using Map = typename Traits::Map;
   using Element = typename Traits::Element;
   using KeyOf = typename Map::KeyOf;

   std::uint32_t upTo( std::uint32_t end ) { return static_cast<std::uint32_t>( random_() % end ); }

   void run( std::uint32_t seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      random_.seed( seed );
      Qel::HashHelper::hashSeed32Is( static_cast<std::uint32_t>( random_() ) );
      for ( int phase = 0; phase < 12 && !this->HasFatalFailure(); ++phase ) {
         // Filled and emptied in turns, so that every size is come by from both sides.
         std::uint32_t const insertions = phase % 2 == 0 ? 85 : 10;
         for ( std::uint32_t i = 0; i < Traits::keys * 2 && !this->HasFailure(); ++i ) {
            step( insertions );
         }
         check();
      }
      map_ = Map();
      model_.clear();
      marked_.clear();
      marking_ = false;
      if constexpr ( requires { Traits::live(); } ) {
         EXPECT_EQ( Traits::live(), 0 );
      }
   }

   void step( std::uint32_t insertions ) {
      std::uint32_t const n = upTo( Traits::keys );
      std::uint32_t const version = map_.version();
      std::uint32_t const watched = map_.nextTaken( upTo( map_.positions() + 1 ) );
      auto const* const before = watched == Map::none ? nullptr : &map_.at( watched );
      if ( upTo( 100 ) < insertions ) {
         insert( n );
      } else {
         erase( n );
      }
      if ( before && map_.version() == version && map_.taken( watched ) ) {
         ASSERT_EQ( &map_.at( watched ), before );
      }
      if ( version != 0 && map_.version() != 0 && map_.version() != version ) {
         ASSERT_GT( map_.size(), held_ ) << "moved though there was room";
      }
      held_ = map_.version() != version ? map_.size() : std::max( held_, map_.size() );
      if ( upTo( Traits::keys ) == 0 ) {
         rarely();
         held_ = map_.size();
      }
      if ( upTo( 100 ) == 0 ) {
         check();
      }
   }

   void insert( std::uint32_t n ) {
      Element made = Traits::make( n, ++contents_ );
      std::uint32_t const content = Traits::content( made );
      if ( !model_.contains( n ) && upTo( 2 ) ) {
         auto& held = upTo( 2 ) ? map_.newMemberG( made )
                                : *static_cast<Element*>( generic_.newMemberG( Map::type, &made ) );
         ASSERT_EQ( Traits::content( held ), content );
      } else {
         auto const [held, isNew] = map_.findOrNewMemberG( Traits::key( n ), made );
         ASSERT_EQ( isNew, !model_.contains( n ) );
         if ( !isNew ) {
            ASSERT_EQ( Traits::content( held ), model_[n] );
            held = made;
         }
      }
      model_[n] = content;
      if ( upTo( 10 ) == 0 ) {
         mark( n, upTo( 2 ) != 0 );
      }
   }

   void mark( std::uint32_t n, bool marked ) {
      auto const key = Traits::key( n );
      if ( upTo( 2 ) ) {
         map_.qelMarkedForDeletionGIs( key, marked );
      } else {
         generic_.qelMarkedForDeletionGIs( Map::type, &key, marked );
      }
      if ( !marked ) {
         marked_.erase( n );
      } else if ( marking_ && model_.contains( n ) ) {
         marked_.insert( n );
      }
   }

   void erase( std::uint32_t n ) {
      typename Map::Key const key = Traits::key( n );
      Element const* const held = map_.lookupNodeG( key );
      ASSERT_EQ( generic_.lookupNodeG( Map::type, &key ), held );
      if ( upTo( 3 ) == 0 ) {
         ASSERT_EQ( generic_.deleteMemberG( Map::type, &key ), model_.contains( n ) );
         forget( n );
         return;
      }
      std::optional<Element> const removed = upTo( 2 ) ? map_.deleteMemberG( key ) : taken( key );
      ASSERT_EQ( removed.has_value(), model_.contains( n ) );
      if ( !removed ) {
         return;
      }
      ASSERT_EQ( Traits::content( *removed ), model_[n] );
      forget( n );
   }

   std::optional<Element> taken( typename Map::Key const& key ) {
      alignas( Element ) std::byte room[sizeof( Element )];
      if ( !generic_.deleteMemberG( Map::type, &key, room ) ) {
         return {};
      }
      auto* const element = reinterpret_cast<Element*>( room );
      std::optional<Element> removed( std::move( *element ) );
      std::destroy_at( element );
      return removed;
   }

   void forget( std::uint32_t n ) {
      model_.erase( n );
      marked_.erase( n );
   }

   void rarely() {
      switch ( upTo( 6 ) ) {
      case 0:
         if ( upTo( 2 ) ) {
            map_.memberDelAll();
         } else {
            generic_.memberDelAll( Map::type );
         }
         model_.clear();
         marked_.clear();
         return;
      case 1: {
         Map const copy( map_ );
         Map moved( std::move( map_ ) );
         ASSERT_TRUE( map_.empty() );
         if ( upTo( 2 ) ) {
            map_ = std::move( moved );
            return;
         }
         marked_.clear(); // marks are no part of a value
         marking_ = false;
         map_ = copy;
         return;
      }
      case 2:
         marked_.clear();
         map_.qelMarkAllForDeletion();
         marking_ = true;
         for ( auto const& [n, content] : model_ ) {
            marked_.insert( n );
         }
         return;
      case 3:
         map_.qelDeletionMarksClear();
         marked_.clear();
         marking_ = false;
         return;
      default:
         walkErasing();
      }
   }

   /// What is not erased is met exactly once, whatever is erased before or after it meanwhile.
   void walkErasing() {
      std::map<std::uint32_t, int> met;
      std::uint32_t const version = map_.version();
      auto const all = model_;
      for ( auto at = map_.nextTaken( 0 ); at != Map::none; at = map_.nextTaken( at + 1 ) ) {
         ASSERT_EQ( map_.version(), version );
         std::uint32_t const here = numberOf( map_.at( at ) );
         ++met[here];
         if ( upTo( 3 ) == 0 ) {
            erase( here );
         } else if ( upTo( 3 ) == 0 ) {
            erase( upTo( Traits::keys ) );
         }
      }
      for ( auto const& [n, times] : met ) {
         ASSERT_EQ( times, 1 );
      }
      for ( auto const& [n, content] : model_ ) {
         ASSERT_EQ( met.count( n ), 1U );
      }
   }

   std::uint32_t numberOf( Element const& element ) {
      if ( numbers_.empty() ) {
         for ( std::uint32_t n = 0; n < Traits::keys; ++n ) {
            numbers_.emplace( Traits::key( n ), n );
         }
      }
      return numbers_.at( KeyOf{}( element ) );
   }

   void check() {
      ASSERT_EQ( map_.size(), model_.size() );
      ASSERT_EQ( map_.empty(), model_.empty() );
      ASSERT_EQ( map_.qelHasDeletionMarks(), marking_ );
      std::map<std::uint32_t, std::uint32_t> iterated;
      for ( Element const& element : map_ ) {
         ASSERT_TRUE( iterated.emplace( numberOf( element ), Traits::content( element ) ).second );
      }
      ASSERT_EQ( iterated, model_ );
      for ( std::uint32_t n = 0; n < Traits::keys; ++n ) {
         std::uint32_t const at = map_.position( Traits::key( n ) );
         ASSERT_EQ( at != Map::none, model_.contains( n ) ) << n;
         if ( at != Map::none ) {
            ASSERT_EQ( map_.isMarkedForDeletion( at ), marked_.contains( n ) ) << n;
         }
      }
      if constexpr ( requires { Traits::live(); } ) {
         ASSERT_EQ( static_cast<std::size_t>( Traits::live() ), model_.size() );
      }
   }

   std::mt19937 random_;
   std::uint32_t contents_ = 0;
   Map map_;
   std::uint32_t held_ = 0;                  // at the most since the elements moved
   Qel::HashMap2018Generic& generic_ = map_; // the same, for one who does not know its type
   std::map<std::uint32_t, std::uint32_t> model_;
   bool marking_ = false;
   std::set<std::uint32_t> marked_;
   std::map<typename Map::Key, std::uint32_t> numbers_;
};

using namespace MapElements;
using Types =
   testing::Types<PointerNodes, AaaAttributes, Octets, Strings, OneHash, FourTags, TwoGroups>;
TYPED_TEST_SUITE( HashMapModel, Types );

TYPED_TEST( HashMapModel, AgreesThroughRandomOperations ) {
   for ( std::uint32_t const seed : { 1U, 2U, 3U } ) {
      this->run( seed );
   }
}

// The comparison of all tags at once has a version for each instruction set.
TEST( HashGroup, MatchesExactlyTheSlotsWithATag ) {
   std::mt19937 random( 7 );
   for ( int round = 0; round < 20'000; ++round ) {
      Qel::Internal::HashGroup group;
      constexpr std::uint8_t few[] = { 0, 1, 0x7F, 0x80, 0x81, 0xFE, 0xFF };
      auto const any = [&] { return few[random() % std::size( few )]; };
      for ( std::uint8_t& tag : group.tags ) {
         tag = any();
      }
      group.overflow = any();
      std::uint8_t const wanted = any();
      std::uint32_t expected = 0;
      for ( unsigned i = 0; i < group.slots; ++i ) {
         expected |= static_cast<std::uint32_t>( group.tags[i] == wanted ) << i;
      }
      ASSERT_EQ( group.match( wanted ), expected );
   }
}

} // namespace
