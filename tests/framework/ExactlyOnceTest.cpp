// Each change is told exactly once to each observer that was there when it happened and still is:
// random trees, random observers, random misbehaviour while told, beside a model.

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "support/TestModule.h"

namespace {

using namespace TestModule;
using Varek::Scope;

/// What an observer throws: which observer it was.
struct Thrown {
   std::size_t observer;
};

class ExactlyOnce : public testing::TestWithParam<unsigned> {
protected:
   struct Observer {
      int target; // number of an entity
      Scope scope;
      Varek::Subscription subscription;
   };
   /// A change that is being delivered.
   struct Delivery {
      Qel::Entity* source;
      std::uint16_t id;
      std::optional<std::uint32_t> old; // of a level
      std::map<std::size_t, int> told;  // by each observer that is to be told
      std::vector<std::size_t> threw;
      bool othersTold = false; // than those who are to be told first
   };

   std::size_t upTo( std::size_t end ) { return random_() % end; }

   Qel::Entity& any() { return *pool_[upTo( pool_.size() )]; }

   void adopt( Qel::Ptr<Qel::Entity> entity ) {
      numbers_[entity.get()] = ++entities_;
      pool_.push_back( std::move( entity ) );
   }

   void subscribe() {
      Qel::Entity& target = any();
      auto const scope = static_cast<Scope>( upTo( 3 ) );
      std::size_t const self = observers_.size();
      observers_.push_back( { numbers_[&target], scope, {} } );
      observers_[self].subscription =
         target.subscribe( [this, self]( auto& change ) { told( self, change ); }, scope );
   }
   void unsubscribe() {
      if ( !observers_.empty() ) {
         observers_[upTo( observers_.size() )].subscription.reset();
      }
   }

   bool covers( Observer const& observer, Qel::Entity* source ) {
      if ( observer.target == numbers_[source] ) {
         return true;
      }
      while ( observer.scope != Scope::object && ( source = source->parent() ) ) {
         if ( observer.target == numbers_[source] ) {
            return true;
         }
      }
      return false;
   }

   /// Makes a change of \p source and checks who was told.
   template<class Mutate>
   void change( Qel::Entity& source, std::uint16_t id, Mutate mutate,
                std::optional<std::uint32_t> old = {} ) {
      auto const delivery =
         std::make_unique<Delivery>( Delivery{ &source, id, old, {}, {}, false } );
      for ( std::size_t i = 0; i < observers_.size(); ++i ) {
         if ( observers_[i].subscription && covers( observers_[i], &source ) ) {
            delivery->told[i] = 0;
         }
      }
      running_.push_back( delivery.get() );
      try {
         mutate();
         EXPECT_TRUE( delivery->threw.empty() ) << "an exception was lost";
      } catch ( Thrown const& thrown ) {
         EXPECT_FALSE( delivery->threw.empty() ) << "of another delivery";
         if ( !delivery->threw.empty() ) {
            EXPECT_EQ( delivery->threw.front(), thrown.observer );
         }
      }
      running_.pop_back();
      ++changes_;
      for ( auto const& [observer, times] : delivery->told ) {
         deliveries_ += times;
         EXPECT_LE( times, 1 );
         if ( observers_[observer].subscription ) {
            EXPECT_EQ( times, 1 ) << "observer " << observer << " missed a change";
         }
      }
   }

   void told( std::size_t self, Varek::Change const& change ) {
      ASSERT_FALSE( running_.empty() );
      Delivery& delivery = *running_.back();
      EXPECT_EQ( &change.source(), delivery.source );
      EXPECT_EQ( change.id(), delivery.id );
      if ( delivery.old ) {
         EXPECT_EQ( *change.old<std::uint32_t>(), *delivery.old );
      }
      EXPECT_TRUE( observers_[self].subscription ) << "told after its end";
      EXPECT_TRUE( delivery.told.contains( self ) ) << "was not there, or not for this";
      ++delivery.told[self];
      // Those who record are told first, and do nothing but that.
      if ( observers_[self].scope == Scope::subtreeFirst ) {
         EXPECT_FALSE( delivery.othersTold );
         return;
      }
      delivery.othersTold = true;
      while ( running_.size() < 5 && upTo( 3 ) == 0 ) {
         act();
      }
      if ( upTo( 20 ) == 0 ) {
         delivery.threw.push_back( self );
         throw Thrown{ self };
      }
   }

   void act() {
      switch ( upTo( 12 ) ) {
      case 0:
      case 1:
         if ( observers_.size() < 400 ) {
            subscribe();
         }
         return;
      case 2:
      case 3:
         return unsubscribe();
      case 4:
         return addChild();
      case 5:
         return removeChild();
      case 6:
         return drop();
      default:
         return set();
      }
   }

   void set() {
      Qel::Entity& entity = any();
      if ( auto* const sensor = dynamic_cast<Sensor*>( &entity ) ) {
         change(
            entity, 259, [&] { sensor->levelIs( sensor->level() + 1 ); }, sensor->level() );
      } else if ( auto* const rack = dynamic_cast<Rack*>( &entity ) ) {
         change( entity, 259,
                 [&] { rack->modeIs( rack->mode() == Mode::idle ? Mode::running : Mode::idle ); } );
      }
   }

   void addChild() {
      Qel::Entity& entity = any(); // may end while its observers are told
      auto const key = static_cast<std::uint32_t>( upTo( 4 ) );
      auto const name = std::to_string( key );
      auto* const rack = dynamic_cast<Rack*>( &entity );
      auto* const plant = dynamic_cast<Plant*>( &entity );
      Qel::Ptr<Qel::Entity> made;
      if ( rack && !rack->sensor( key ) ) {
         change( entity, 260, [&] { made = rack->sensorIs( key ); } );
      } else if ( plant && !plant->rack( name ) ) {
         change( entity, 259, [&] { made = plant->rackIs( name ); } );
      }
      if ( made ) {
         adopt( made );
      }
   }

   void removeChild() {
      Qel::Ptr<Qel::Entity> const child( &any() );
      if ( auto* const rack = dynamic_cast<Rack*>( child->parent() ) ) {
         auto const key = static_cast<Sensor&>( *child ).number();
         change( *rack, 260, [&] { EXPECT_EQ( rack->sensorDel( key ), child ); } );
      } else if ( auto* const plant = dynamic_cast<Plant*>( child->parent() ) ) {
         auto const key = static_cast<Rack&>( *child ).place();
         change( *plant, 259, [&] { EXPECT_EQ( plant->rackDel( key ), child ); } );
      }
   }

   /// Forgets an entity: it ends unless an owner or a delivery still holds it.
   void drop() {
      std::size_t const at = upTo( pool_.size() );
      if ( pool_.size() < 8 || dynamic_cast<Plant*>( pool_[at].get() ) ) {
         return;
      }
      std::swap( pool_[at], pool_.back() );
      auto const gone = std::move( pool_.back() );
      pool_.pop_back();
   }

   std::mt19937 random_;
   std::map<Qel::Entity const*, int> numbers_; // unlike addresses, never used again
   int entities_ = 0;
   std::vector<Qel::Ptr<Qel::Entity>> pool_;
   std::deque<Observer> observers_;
   std::vector<Delivery*> running_;
   int changes_ = 0;
   int deliveries_ = 0;
};

TEST_P( ExactlyOnce, ToEachThatWasThereAndStillIs ) {
   auto const liveBefore = Sensor::allocations().liveObjects();
   random_.seed( GetParam() );
   for ( int round = 0; round < 60 && !HasFailure(); ++round ) {
      for ( int i = 0; i < 2; ++i ) {
         adopt( Plant::PlantIs() );
      }
      for ( int i = 0; i < 150 && !HasFailure(); ++i ) {
         act();
      }
      observers_.clear();
      pool_.clear();
   }
   EXPECT_EQ( Sensor::allocations().liveObjects(), liveBefore );
   // That the run was worth it.
   EXPECT_GT( changes_, 3000 );
   EXPECT_GT( deliveries_, 3000 );
}

INSTANTIATE_TEST_SUITE_P( Seeds, ExactlyOnce, testing::Range( 1U, 7U ) );

TEST( InitialState, IsLeftForGoodByWhatIsObservedAndByAllBelowASubtreeObserver ) {
   auto const observe = []( Varek::Publisher& who, Scope scope ) {
      return who.subscribe( []( Varek::Change const& ) {}, scope );
   };
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   EXPECT_TRUE( plant->initial() && rack->initial() && sensor->initial() );
   observe( *rack, Scope::object ).reset();
   EXPECT_FALSE( rack->initial() ) << "entered again";
   EXPECT_TRUE( plant->initial() && sensor->initial() && rack->sensorIs( 2 )->initial() );
   observe( *plant, Scope::subtree ).reset();
   EXPECT_FALSE( plant->initial() || sensor->initial() );
   auto const later = plant->rackIs( "b" );
   EXPECT_FALSE( later->initial() || later->sensorIs( 1 )->initial() );
   plant->rackDel( "a" );
   EXPECT_FALSE( sensor->initial() || rack->sensorIs( 9 )->initial() ) << "entered on removal";
   EXPECT_TRUE( Rack::RackIs( "d" )->initial() );
}

} // namespace
