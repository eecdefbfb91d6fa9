// What observers may do while they are told of a change: anything.

#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChangeRecorder.h"
#include "support/TestModule.h"

namespace {
bool memoryIsOut = false;
}

// Inlined, g++ would take malloc and operator delete, or operator new and free, for pairs.
[[gnu::noinline]] void* operator new( std::size_t size ) {
   if ( void* const memory = memoryIsOut ? nullptr : std::malloc( size ) ) {
      return memory;
   }
   throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete( void* memory ) noexcept { std::free( memory ); }
[[gnu::noinline]] void operator delete( void* memory, std::size_t ) noexcept {
   std::free( memory );
}

namespace {

using namespace TestModule;
using Varek::Change;
using Varek::Scope;
using Varek::Subscription;

/// Observers that leave their letter in a log, then do what a test gave them.
class ObserverReentry : public testing::Test {
protected:
   struct Observer {
      std::function<void()> then;
      Subscription subscription;
   };

   Observer& observe( Varek::Publisher& who, char letter, Scope scope = Scope::object ) {
      auto& made = *observers_.emplace_back( std::make_unique<Observer>() );
      made.subscription = who.subscribe(
         [this, letter, &made]( Change const& ) {
            log_ += letter;
            if ( auto const then = made.then ) { // a copy: it may be replaced by itself
               then();
            }
         },
         scope );
      return made;
   }
   std::string setLevel( std::uint32_t level ) {
      log_.clear();
      sensor_->levelIs( level );
      return log_;
   }

   std::string log_;
   Varek::Ptr<Sensor> sensor_ = Sensor::SensorIs( 1U );
   std::vector<std::unique_ptr<Observer>> observers_;
};

TEST_F( ObserverReentry, OneThatDropsTheLastReference ) {
   for ( auto mutate :
         { +[]( Sensor& sensor ) { sensor.levelIs( 10 ); },
           +[]( Sensor& sensor ) { sensor.labelIs( Varek::String( 100, 'x' ) ); } } ) {
      auto const before = Sensor::allocations().liveObjects();
      auto sensor = Sensor::SensorIs( 2U );
      auto const first = sensor->subscribe( [&]( Change const& ) { sensor = nullptr; } );
      bool told = false;
      auto const second = sensor->subscribe( [&]( Change const& change ) {
         told = true;
         EXPECT_EQ( static_cast<Sensor&>( change.source() ).number(), 2U );
      } );
      mutate( *sensor );
      EXPECT_TRUE( told );
      EXPECT_EQ( Sensor::allocations().liveObjects(), before );
   }
}

TEST_F( ObserverReentry, OneThatEndsTheSubscriptionThatOwnsTheRunningCode ) {
   auto witness = std::make_shared<int>( 42 );
   std::weak_ptr<int> const alive = witness;
   Subscription own;
   own = sensor_->subscribe( [&own, &alive, held = std::move( witness )]( Change const& ) {
      own.reset();
      EXPECT_FALSE( alive.expired() ) << "the running code was destroyed";
      EXPECT_EQ( *held, 42 );
   } );
   setLevel( 10 );
   EXPECT_TRUE( alive.expired() ) << "code that was removed is still held";
   EXPECT_EQ( sensor_->observerCount(), 0U );
}

TEST_F( ObserverReentry, CodeThatHoldsItsOwnPublisherGoesWithIt ) {
   auto const before = Sensor::allocations().liveObjects();
   for ( bool const whileTold : { false, true } ) {
      auto sensor = Sensor::SensorIs( 3U );
      Sensor& object = *sensor;
      Subscription own;
      own =
         object.subscribe( [&own, held = std::move( sensor )]( Change const& ) { own.reset(); } );
      if ( whileTold ) {
         object.levelIs( 10 );
      } else {
         own.reset();
      }
      EXPECT_EQ( Sensor::allocations().liveObjects(), before );
   }
}

TEST_F( ObserverReentry, WhatObserversHoldEndsAfterTheDeliveryAndMayComeBack ) {
   /// Mutates the sensor when it is destroyed.
   struct Last {
      explicit Last( Varek::Ptr<Sensor> s ) : sensor( std::move( s ) ) {}
      Last( Last const& ) = delete;
      Last& operator=( Last const& ) = delete;
      Varek::Ptr<Sensor> sensor;
      ~Last() { sensor->levelIs( 99 ); }
   };
   Subscription own;
   own = sensor_->subscribe(
      [&own, last = std::make_shared<Last>( sensor_ )]( Change const& ) { own.reset(); } );
   observe( *sensor_, 'b' );
   EXPECT_EQ( setLevel( 10 ), "bb" );
   EXPECT_EQ( sensor_->level(), 99U );
}

TEST_F( ObserverReentry, ASubscriptionThatIsAssignedEndsItsOldOne ) {
   for ( bool const whileTold : { false, true } ) {
      observers_.clear();
      for ( char const letter : { 'a', 'b' } ) {
         observe( *sensor_, letter );
      }
      auto& kept = observers_[0]->subscription;
      auto const assign = [&] {
         kept = std::move( observers_[1]->subscription );
         EXPECT_FALSE( observers_[1]->subscription );
      };
      if ( whileTold ) {
         observers_[0]->then = assign;
         EXPECT_EQ( setLevel( 10 ), "ab" );
      } else {
         assign();
      }
      auto& same = kept;
      kept = std::move( same );
      EXPECT_EQ( setLevel( 11 ), "b" );
      EXPECT_EQ( sensor_->observerCount(), 1U );
      sensor_->levelIs( 5 );
   }
}

TEST_F( ObserverReentry, OneThatThrowsLeavesNothingInUse ) {
   auto const before = Sensor::allocations().liveObjects();
   auto const plant = Plant::PlantIs();
   for ( int const others : { 0, 1, 2 } ) { // none, one of the object, one of a subtree
      auto witness = std::make_shared<int>( 0 );
      std::weak_ptr<int> const alive = witness;
      auto sensor = plant->rackIs( "a" )->sensorIs( 1 );
      Sensor& object = *sensor;
      auto throwing = object.subscribe( [held = std::move( witness )]( Change const& ) {
         throw std::runtime_error( "observer" );
      } );
      Subscription const other = others == 2
                                    ? plant->subscribe( []( Change const& ) {}, Scope::subtree )
                                 : others == 1 ? object.subscribe( []( Change const& ) {} )
                                               : Subscription();
      EXPECT_THROW( object.levelIs( 10 ), std::runtime_error );
      throwing.reset();
      EXPECT_TRUE( alive.expired() ) << others;
      auto const dropping = object.subscribe( [&]( Change const& ) {
         plant->rackDelAll();
         sensor = nullptr;
         throw std::runtime_error( "observer" );
      } );
      EXPECT_THROW( object.levelIs( 11 ), std::runtime_error );
      EXPECT_EQ( Sensor::allocations().liveObjects(), before ) << others;
   }
}

TEST_F( ObserverReentry, AChangeIsToldThoughMemoryIsOut ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   sensor_ = rack->sensorIs( 1 );
   for ( char const letter : { 'p', 'q' } ) {
      observe( *plant, letter, Scope::subtree );
   }
   observe( *rack, 'r', Scope::subtree );
   for ( char const letter : { 's', 't' } ) {
      observe( *sensor_, letter );
   }
   log_.reserve( 100 );
   try {
      memoryIsOut = true;
      sensor_->levelIs( 10 );
      memoryIsOut = false;
   } catch ( std::bad_alloc const& ) {
      memoryIsOut = false;
      ADD_FAILURE() << "the change asked for memory";
   }
   EXPECT_EQ( log_, "strpq" );
}

TEST_F( ObserverReentry, AClearAllGoesOnThoughMemoryRunsOut ) {
   auto const depot = Depot::DepotIs( "d" );
   for ( std::uint32_t n = 0; n < 5; ++n ) {
      Limits limits( n );
      limits.shiftIs( 0, Varek::String( 100, 'x' ) );
      depot->limitsIs( limits );
      depot->noteIs( Varek::String( 100, 'k' ) + std::to_string( n ), Varek::String( 100, 'v' ) );
      depot->tagIs( Varek::String( 100, 't' ) + std::to_string( n ) );
   }
   Varek::Ptr<Depot::QelLimits> const kept = depot->limits().begin()->second;
   for ( auto clear : { &Depot::limitsDelAll, &Depot::noteDelAll, &Depot::tagDelAll } ) {
      int told = 0;
      auto const watching = depot->subscribe( [&]( Change const& ) {
         ++told;
         memoryIsOut = true;
      } );
      try {
         ( *depot.*clear )();
      } catch ( std::bad_alloc const& ) {
         told = 0;
      }
      memoryIsOut = false;
      EXPECT_EQ( told, 5 );
   }
   EXPECT_TRUE( depot->limits().empty() && depot->note().empty() && depot->tag().empty() );
   EXPECT_EQ( kept->value().shift( 0 ).size(), 100U ) << "taken from one who holds it";
}

TEST_F( ObserverReentry, ManyThatGoAtOnceMayTakeOthersWithThem ) {
   // The end of every second one ends the subscription of another, which no one else does.
   constexpr std::size_t count = 1000;
   std::size_t told = 0;
   auto const gone = std::make_shared<int>();
   std::vector<Subscription> direct;
   for ( std::size_t i = 0; i < count; ++i ) {
      auto taken = std::make_shared<Subscription>(
         sensor_->subscribe( [&told, gone]( Change const& ) { ++told; } ) );
      direct.push_back( sensor_->subscribe( [&told, gone, taken]( Change const& ) { ++told; } ) );
   }
   auto& last = observe( *sensor_, 'z' );
   last.then = [&] { direct.clear(); };
   EXPECT_EQ( setLevel( 10 ), "z" );
   EXPECT_EQ( told, 2 * count );
   EXPECT_EQ( gone.use_count(), 1 ) << "some are still held";
   EXPECT_EQ( sensor_->observerCount(), 1U );
   EXPECT_EQ( setLevel( 11 ), "z" );
   EXPECT_EQ( told, 2 * count );
}

TEST_F( ObserverReentry, SubscriptionsOutliveWhatTheyObserve ) {
   auto subscription = sensor_->subscribe( []( Change const& ) {} );
   auto moved = std::move( subscription );
   EXPECT_FALSE( subscription );
   sensor_ = nullptr;
   EXPECT_TRUE( moved );
   moved.reset();
   moved.reset();
   EXPECT_FALSE( moved );
}

} // namespace
