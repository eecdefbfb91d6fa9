// What observers may do while they are told of a change: anything.

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChangeRecorder.h"
#include "support/TestModule.h"

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
            if ( auto const then = made.then ) // a copy: it may be replaced by itself
               then();
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

TEST_F( ObserverReentry, OneThatRemovesAnyObserver ) {
   // Which observer of "abc" the middle one removes, and who is told of that change and the next.
   struct Case {
      char removed;
      char const *now, *next;
   };
   for ( Case const& one :
         { Case{ 'a', "abc", "bc" }, { 'b', "abc", "ac" }, { 'c', "ab", "ab" } } ) {
      observers_.clear();
      for ( char const letter : { 'a', 'b', 'c' } )
         observe( *sensor_, letter );
      observers_[1]->then = [&] {
         observers_[static_cast<std::size_t>( one.removed - 'a' )]->subscription.reset();
      };
      EXPECT_EQ( setLevel( 10 ), one.now ) << one.removed;
      EXPECT_EQ( sensor_->observerCount(), 2U );
      EXPECT_EQ( setLevel( 11 ), one.next ) << one.removed;
      sensor_->levelIs( 5 );
   }
   observers_.clear();
   EXPECT_EQ( sensor_->observerCount(), 0U );
}

TEST_F( ObserverReentry, OneThatAddsObserversOfTheNextChange ) {
   auto& first = observe( *sensor_, 'a' );
   first.then = [&] {
      first.then = nullptr;
      // Enough to make any list of observers move.
      for ( char letter = 'b'; letter <= 'z'; ++letter )
         observe( *sensor_, letter );
   };
   EXPECT_EQ( setLevel( 10 ), "a" );
   EXPECT_EQ( setLevel( 11 ), "abcdefghijklmnopqrstuvwxyz" );
}

TEST_F( ObserverReentry, OneThatReplacesAllObserversIncludingItself ) {
   for ( char const letter : { 'a', 'b' } )
      observe( *sensor_, letter );
   observers_[0]->then = [&] {
      observers_[1]->subscription.reset();
      auto const added = sensor_->subscribe( []( Change const& ) { FAIL() << "came later"; } );
      observers_[0]->subscription.reset();
      observe( *sensor_, 'c' );
   };
   EXPECT_EQ( setLevel( 10 ), "a" );
   EXPECT_EQ( setLevel( 11 ), "c" );
}

TEST_F( ObserverReentry, AChangeMadeWhileToldIsDeliveredAtOnceToAll ) {
   std::vector<std::uint32_t> olds;
   auto const last = [&] {
      return sensor_->subscribe( [&]( Change const& change ) {
         log_ += 'z';
         olds.push_back( *change.old<std::uint32_t>() );
      } );
   };
   auto& first = observe( *sensor_, 'a' );
   Subscription added;
   first.then = [&] {
      first.then = nullptr;
      added = last(); // there when the inner change happens, not when the outer one did
      sensor_->levelIs( 20 );
   };
   auto const old = last();
   EXPECT_EQ( setLevel( 10 ), "aazzz" );
   EXPECT_EQ( olds, ( std::vector<std::uint32_t>{ 10, 10, 5 } ) );
   EXPECT_EQ( sensor_->level(), 20U );
}

TEST_F( ObserverReentry, OneThatDropsTheLastReference ) {
   for ( auto mutate :
         { +[]( Sensor& sensor ) { sensor.levelIs( 10 ); },
           +[]( Sensor& sensor ) { sensor.labelIs( Varek::String( 100, 'x' ) ); },
           +[]( Sensor& sensor ) { sensor.readingIs( Reading( 9U ) ); },
           +[]( Sensor& sensor ) { EXPECT_EQ( sensor.readingDel( 1 ).number(), 1U ); },
           +[]( Sensor& sensor ) { sensor.readingDelAll(); } } ) {
      auto const before = Sensor::allocations().liveObjects();
      auto sensor = Sensor::SensorIs( 2U );
      for ( std::uint32_t const number : { 1U, 2U, 3U } )
         sensor->readingIs( Reading( number ) );
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

TEST_F( ObserverReentry, OneThatDropsTheLastReferenceToAnOwner ) {
   auto rack = Rack::RackIs( "a" );
   for ( std::uint32_t const number : { 1U, 2U, 3U } )
      rack->sensorIs( number );
   auto const watching = rack->subscribe( [&]( Change const& ) { rack = nullptr; } );
   rack->sensorDelAll();
   auto plant = Plant::PlantIs();
   auto const last = plant->subscribe( [&]( Change const& ) { plant = nullptr; } );
   auto const made = plant->rackIs( "b" );
   EXPECT_EQ( made->parent(), nullptr );
   EXPECT_EQ( made->place(), "b" );
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
      if ( whileTold )
         object.levelIs( 10 );
      else
         own.reset();
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

TEST_F( ObserverReentry, OneThatTakesTheTreeApartWhileOthersAboveAreToBeTold ) {
   auto plant = Plant::PlantIs();
   auto rack = plant->rackIs( "a" );
   sensor_ = rack->sensorIs( 1 );
   observe( *plant, 'p', Scope::subtree );
   observe( *plant, 'o' ); // of the plant alone: not told of what is below
   observe( *rack, 'r', Scope::subtree );
   observe( *sensor_, 's' ).then = [&] {
      observers_[3]->then = nullptr;
      rack->sensorDel( 1 );
      plant->rackDel( "a" );
      plant = nullptr;
      rack = nullptr;
   };
   // The change of the level, then that of the rack, then that of the plant within it.
   EXPECT_EQ( setLevel( 10 ), "srppo"
                              "rp" );
   EXPECT_EQ( setLevel( 11 ), "s" );
}

TEST_F( ObserverReentry, OneThatThrowsKeepsNobodyFromBeingTold ) {
   auto const plant = Plant::PlantIs();
   sensor_ = plant->rackIs( "a" )->sensorIs( 1 );
   for ( char const letter : { 'a', 'b', 'c' } )
      observe( *sensor_, letter );
   observe( *plant, 'p', Scope::subtree ).then = [] { throw std::logic_error( "p" ); };
   observers_[0]->then = [] { throw std::runtime_error( "a" ); };
   observers_[1]->then = [&] {
      observers_[0]->subscription.reset();
      throw std::runtime_error( "b" );
   };
   try {
      setLevel( 10 );
      ADD_FAILURE() << "nothing reached the caller";
   } catch ( std::exception const& first ) {
      EXPECT_STREQ( first.what(), "a" );
   }
   EXPECT_EQ( log_, "abcp" );
   EXPECT_EQ( sensor_->level(), 10U );
   EXPECT_THROW( setLevel( 11 ), std::runtime_error );
   EXPECT_EQ( log_, "bcp" );
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
