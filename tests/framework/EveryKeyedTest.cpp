// Every attribute of every entity whose elements have keys, through the records alone: what its
// mutators change, tell and return, beside a model; and what observers and failures may do meanwhile.

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "framework/inspect/Inspection.h"
#include "framework/inspect/InspectionRecords.h"
#include "support/AnyValue.h"
#include "support/TestModule.h"

namespace {

namespace Op = Qel::InspectOperation;
using Qel::AttributeKind;

struct Keyed {
   Qel::TypeRecord const* type;
   Qel::AttributeRecord const* attribute;
};

std::vector<Keyed> everyKeyed() {
   std::vector<Keyed> all;
   for ( Qel::TypeRecord const* const type :
         registeredTypes( []( auto& one ) { return one.kind == Varek::TypeKind::entity; } ) ) {
      for ( Qel::AttributeRecord const& one : type->attributes ) {
         if ( one.iterate ) {
            all.push_back( { type, &one } );
         }
      }
   }
   return all;
}

class EveryKeyed : public testing::TestWithParam<Keyed> {
protected:
   /// A key, and what may be given under it: values, or elements with the key inside.
   struct Slot {
      AnyValue key;
      std::string text; ///< Of the key.
      std::vector<AnyValue> values;
   };
   using Told = std::pair<std::string, std::string>; // key and old value, empty if there was none

   Qel::TypeRecord const& type_ = *GetParam().type;
   Qel::AttributeRecord const& one_ = *GetParam().attribute;
   Qel::AttributeInspection const& use_ = type_.inspection[&one_ - type_.attributes.data()];
   bool const isArray_ = one_.kind == AttributeKind::array;
   bool const isSet_ = one_.kind == AttributeKind::set;
   bool const isChild_ = one_.childType != nullptr;
   std::string const blank_ = isArray_ ? AnyValue( *one_.value ).form() : "";
   int const liveBefore_ = Tracked::live;
   std::mt19937 random_{ 7 };
   Varek::Ptr<Qel::Entity> entity_ = freshEntity( type_ );
   std::vector<Slot> slots_;

   std::size_t below( std::size_t end ) { return random_() % end; }
   void SetUp() override {
      constexpr std::size_t most = 16;
      std::map<std::string, Slot> all;
      RandomValues random( 9 );
      auto const scratch = freshEntity( type_ );
      for ( unsigned i = 0; i < 200; ++i ) {
         AnyValue const key( *one_.key );
         std::vector<AnyValue> values;
         if ( !isChild_ && !isSet_ ) {
            values.emplace_back( *one_.value );
            do {
               random.fill( values[0] );
            } while ( isArray_ && values[0].form() == blank_ );
         }
         if ( isArray_ ) {
            *static_cast<std::uint32_t*>( key.data() ) = i % one_.size( scratch.get() );
         } else if ( use_.writeTakesKey ) {
            random.fill( key );
         } else { // it is inside
            use_.write( scratch.get(), nullptr, values[0].data() );
            void* const at = one_.iterate( scratch.get(), nullptr );
            one_.iterator->iterKey( at, key.data() );
            one_.iterator->iterDel( at );
            Qel::InspectArguments none;
            Qel::inspectOperation( type_, scratch.get(), Op::removeAll, { one_.id }, none );
         }
         if ( all.size() == most && !all.contains( key.form() ) ) {
            continue;
         }
         Slot& slot = all.try_emplace( key.form(), Slot{ key, key.form(), {} } ).first->second;
         for ( AnyValue const& value : values ) {
            if ( std::ranges::count( slot.values, value.form(), &AnyValue::form ) == 0 ) {
               slot.values.push_back( value );
            }
         }
      }
      for ( bool const several : { true, false } ) { // first those with values to choose from
         for ( auto& [text, slot] : all ) {
            if ( ( slot.values.size() > 1 ) == several ) {
               slots_.push_back( slot );
            }
         }
      }
      ASSERT_GE( slots_.size(), 2U );
   }
   void TearDown() override {
      entity_ = nullptr;
      slots_.clear();
      EXPECT_EQ( Tracked::live, liveBefore_ );
   }

   bool run( std::uint32_t operation, Slot const* slot = nullptr, void* value = nullptr ) {
      Qel::InspectArguments arguments;
      arguments.key = slot ? slot->key.data() : nullptr;
      arguments.value = value;
      EXPECT_EQ( Qel::inspectOperation( type_, entity_.get(), operation, { one_.id }, arguments ),
                 Qel::InspectResult::done );
      return arguments.found;
   }
   /// Gives the value with this number; what is held then.
   std::string write( Slot const& slot, std::size_t number = 0 ) {
      AnyValue const* const value =
         slot.values.empty() ? nullptr : &slot.values[number % slot.values.size()];
      run( Op::write, &slot, value ? value->data() : nullptr );
      return isChild_ ? "child" : isSet_ ? slot.text : value->form();
   }
   void const* find( Slot const& slot ) {
      return isChild_ ? use_.child( entity_.get(), slot.key.data() )
                      : use_.find( entity_.get(), slot.key.data() );
   }
   /// The form of what is held, empty if there is nothing; of an array, nothing but blank.
   std::string held( Slot const& slot ) {
      void const* const at = find( slot );
      return at ? formOf( at ) : "";
   }
   std::string formOf( void const* value ) const {
      std::string text;
      isChild_ ? void( text = "child" ) : one_.value->print( text, value );
      return text == blank_ ? "" : text;
   }
   Told told( Varek::Change const& change ) const {
      EXPECT_EQ( change.id(), one_.id );
      std::string key;
      one_.key->print( key, change.keyData() );
      return { key, change.oldData() ? formOf( change.oldData() ) : "" };
   }
   std::size_t number( Varek::Change const& change ) const {
      return static_cast<std::size_t>(
         std::ranges::find( slots_, told( change ).first, &Slot::text ) - slots_.begin() );
   }
   void expectAgrees( std::map<std::string, std::string> const& model ) {
      std::size_t count = 0, visited = 0;
      for ( Slot const& slot : slots_ ) {
         auto const expected = model.contains( slot.text ) ? model.at( slot.text ) : "";
         EXPECT_EQ( held( slot ), expected ) << slot.text;
         count += !expected.empty();
         if ( !expected.empty() && !isChild_ ) {
            void* const at = one_.iterate( entity_.get(), slot.key.data() );
            EXPECT_EQ( one_.iterator->iterPeek( at ), find( slot ) );
            one_.iterator->iterDel( at );
         }
      }
      EXPECT_TRUE( isArray_ || one_.size( entity_.get() ) == count );
      std::optional<AnyValue> before;
      void* const at = one_.iterate( entity_.get(), nullptr );
      for ( auto const& walk = *one_.iterator; walk.iterNonnull( at );
            walk.iterInc( at ), ++visited ) {
         AnyValue const key( *one_.key );
         walk.iterKey( at, key.data() );
         if ( one_.kind == AttributeKind::ordered && before ) {
            EXPECT_TRUE( one_.key->less( before->data(), key.data() ) );
         }
         before.reset();
         before.emplace( key );
      }
      one_.iterator->iterDel( at );
      EXPECT_EQ( visited, one_.size( entity_.get() ) );
   }
};

TEST_P( EveryKeyed, RandomOperationsAreToldExactlyWhenTheyAreDone ) {
   std::map<std::string, std::string> model;
   std::vector<Told> changes;
   auto const watching = entity_->subscribe( [&]( Varek::Change const& change ) {
      changes.push_back( told( change ) );
      EXPECT_EQ( held( slots_.at( number( change ) ) ).empty(),
                 model[changes.back().first].empty() );
   } );
   std::size_t all = 0;
   for ( int step = 0; step < 700 && !HasFailure(); ++step ) {
      Slot const& slot = slots_[below( slots_.size() )];
      std::string const before = model[slot.text];
      std::vector<Told> expected;
      if ( below( 70 ) == 0 ) {
         for ( auto const& [key, value] : std::exchange( model, {} ) ) {
            if ( !value.empty() ) {
               expected.emplace_back( key, value );
            }
         }
         run( Op::removeAll );
      } else if ( below( 3 ) == 0 ) {
         if ( !before.empty() ) {
            expected.emplace_back( slot.text, before );
         }
         model[slot.text].clear();
         AnyValue const removed( isChild_ ? *one_.key : *one_.value );
         Varek::Ptr<Qel::Entity> child;
         bool const found =
            run( Op::remove, &slot, isChild_ ? static_cast<void*>( &child ) : removed.data() );
         EXPECT_TRUE( isArray_ || found == !before.empty() );
         EXPECT_TRUE( isChild_ ? !child == before.empty()
                               : before.empty() || removed.form() == before );
         EXPECT_EQ( child ? child->parent() : nullptr, nullptr );
      } else {
         void const* const at = find( slot );
         model[slot.text] = "any";
         model[slot.text] = write( slot, below( 3 ) );
         if ( model[slot.text] != before ) {
            expected.emplace_back( slot.text, before );
         }
         EXPECT_TRUE( before.empty() || find( slot ) == at ) << "moved by a replacement";
      }
      std::ranges::sort( changes );
      EXPECT_EQ( changes, expected );
      all += std::exchange( changes, {} ).size();
      if ( step % 50 == 0 ) {
         expectAgrees( model );
      }
   }
   expectAgrees( model );
   EXPECT_GT( all, 100U );
}

TEST_P( EveryKeyed, AClearAllIsSilentOnlyWhileNothingCanHaveObserved ) {
   for ( bool const observed : { false, true } ) {
      int told = 0;
      auto const watching =
         observed ? entity_->subscribe( [&]( auto& ) { ++told; } ) : Varek::Subscription();
      write( slots_[0] );
      Varek::Ptr<Qel::Entity> const child(
         isChild_ ? use_.child( entity_.get(), slots_[0].key.data() ) : nullptr );
      EXPECT_EQ( child ? child->parent() : entity_.get(), entity_.get() );
      run( Op::removeAll );
      EXPECT_EQ( held( slots_[0] ), "" );
      EXPECT_EQ( child ? child->parent() : nullptr, nullptr );
      EXPECT_EQ( told, observed ? 2 : 0 );
      EXPECT_EQ( entity_->initial(), !observed );
   }
}

TEST_P( EveryKeyed, AProxyIsNotChanged ) {
   using Refused = Varek::WriteFromReadOnlyProxy;
   std::string const before = write( slots_[0] );
   entity_->qelReadOnlyProxyIs( true );
   write( slots_[0] ); // as it is
   if ( !isArray_ ) {
      EXPECT_FALSE( run( Op::remove, &slots_[1] ) );
   }
   EXPECT_THROW( write( slots_[1] ), Refused );
   EXPECT_THROW( run( Op::remove, &slots_[0] ), Refused );
   EXPECT_THROW( run( Op::removeAll ), Refused );
   EXPECT_EQ( held( slots_[0] ) + held( slots_[1] ), before );
}

TEST_P( EveryKeyed, AClearAllGoesOnWhateverObserversDo ) {
   std::size_t const half = slots_.size() / 2;
   std::size_t const more = isArray_ ? 0 : slots_.size() - half; // an array is cleared to its end
   for ( std::size_t n = 0; n < half; ++n ) {
      write( slots_[n] );
   }
   std::map<std::size_t, int> removals;
   std::size_t insertions = 0;
   std::optional<std::size_t> first;
   auto const watching = entity_->subscribe( [&]( Varek::Change const& change ) {
      std::size_t const n = number( change );
      if ( !held( slots_.at( n ) ).empty() ) {
         ++insertions;
         return;
      }
      EXPECT_NE( told( change ).second, "" );
      ++removals[n];
      if ( !first ) {
         first = n;
         write( slots_[n], 1 ); // stays, as those do that are new and make a map grow
         for ( std::size_t other = half; other < half + more; ++other ) {
            write( slots_[other] );
         }
         for ( std::size_t other = 1; other < half; other += 2 ) {
            if ( other != n ) {
               EXPECT_THROW( run( Op::remove, &slots_[other] ), std::size_t );
            }
         }
      }
      throw n;
   } );
   try {
      run( Op::removeAll );
      ADD_FAILURE() << "nothing reached the caller";
   } catch ( std::size_t const thrown ) {
      EXPECT_EQ( thrown, first );
   }
   EXPECT_EQ( insertions, 1 + more );
   for ( std::size_t n = 0; n < half + more; ++n ) {
      EXPECT_EQ( removals[n], n < half ) << n;
      EXPECT_EQ( !held( slots_[n] ).empty(), n == first || n >= half ) << n;
   }
}

TEST_P( EveryKeyed, ObserversMayTakeTheElementAndTheOwnerAway ) {
   enum Operation { insertion, replacement, removal, clearAll };
   for ( Operation const one : { insertion, replacement, removal, clearAll } ) {
      Slot const& slot = slots_[one == insertion ? 0 : 1];
      if ( one == replacement && ( isSet_ || isChild_ || slot.values.size() < 2 ) ) {
         continue;
      }
      entity_ = freshEntity( type_ );
      write( slots_[1] );
      std::string const before = held( slots_[1] );
      bool inner = false;
      int outer = 0;
      auto const first = entity_->subscribe( [&]( auto& ) {
         if ( !std::exchange( inner, true ) ) {
            run( Op::removeAll );
            entity_ = nullptr;
         }
      } );
      auto const last = entity_->subscribe( [&]( Varek::Change const& change ) {
         // Whatever became of the element: key and old value are those of a change.
         auto const [key, old] = told( change );
         outer += key == slot.text;
         if ( one != insertion && one != replacement ) {
            EXPECT_EQ( old, before );
         }
      } );
      if ( one == insertion || one == replacement ) {
         write( slot, 1 );
      } else {
         run( one == removal ? Op::remove : Op::removeAll, &slot );
      }
      EXPECT_EQ( entity_, nullptr );
      EXPECT_GE( outer, 1 ) << one;
   }
}

TEST_P( EveryKeyed, ACopyThatFailsChangesAndTellsNothing ) {
   if ( one_.value != &Varek::Inspect::InspectAtomicFnTable<Tracked>::table ) {
      return; // nothing of it can be made to fail
   }
   std::string const before = write( slots_[0] );
   std::vector<Told> changes;
   auto const watching =
      entity_->subscribe( [&]( auto& change ) { changes.push_back( told( change ) ); } );
   int failed = 0;
   for ( auto const& [operation, slot] : { std::pair{ Op::write, &slots_[0] },
                                           { Op::write, &slots_[1] },
                                           { Op::remove, &slots_[0] } } ) {
      changes.clear();
      for ( int after = 0; changes.empty() && after < 20; ++after ) {
         try {
            CopiesFail const failing( after );
            operation == Op::write ? void( write( *slot, 1 ) ) : void( run( operation, slot ) );
         } catch ( std::runtime_error const& ) {
            ++failed;
            EXPECT_TRUE( changes.empty() );
            EXPECT_EQ( held( slots_[0] ) + held( slots_[1] ), before );
         }
      }
      EXPECT_EQ( changes.size(), 1U );
      write( slots_[0] );
      run( Op::remove, &slots_[1] );
   }
   EXPECT_GE( failed, 2 );
   // What is removed is handed out, not copied.
   write( slots_[1] );
   changes.clear();
   CopiesFail const failing( 0 );
   run( Op::removeAll );
   EXPECT_EQ( changes.size(), 2U );
}

std::string nameOf( testing::TestParamInfo<Keyed> const& info ) {
   auto const& [type, attribute] = info.param;
   return std::string( type->module->name ) + "_" + std::string( type->unqualifiedName() ) + "_" +
          std::string( attribute->name );
}
INSTANTIATE_TEST_SUITE_P( Registered, EveryKeyed, testing::ValuesIn( everyKeyed() ), nameOf );

TEST( Keyed, AKeyMayLieInTheElementThatItRemovesAndAValueInOneThatMoves ) {
   using namespace TestModule;
   auto const depot = Depot::DepotIs( "d" );
   auto const sensor = Sensor::SensorIs( 1U );
   auto const rack = Rack::RackIs( "r" );
   depot->noteIs( "0", Varek::String( 100, 'x' ) );
   for ( std::uint32_t n = 0; n < 40; ++n ) {
      auto const text = std::to_string( n );
      depot->noteIs( text, *depot->note( "0" ) ); // while that may move
      depot->tagIs( Varek::String( 50, 't' ) + text );
      depot->stockIs( text, Tracked( n ) );
      depot->limitsIs( Limits( n ) );
      sensor->readingIs( Reading( n ) );
      rack->sensorIs( n );
   }
   EXPECT_EQ( depot->note( "39" )->size(), 100U );
   depot->noteIs( "0", *depot->note( "0" ) );
   for ( std::uint32_t n = 0; n < 40; ++n ) {
      depot->noteDel( depot->note().begin()->key );
      depot->tagDel( *depot->tag().begin() );
      depot->stockDel( depot->stock().begin()->first );
      depot->limitsDel( depot->limits().begin()->first );
      sensor->readingDel( sensor->reading().begin()->number() );
      rack->sensorDel( rack->sensor().begin()->key );
   }
   EXPECT_TRUE( depot->note().empty() && depot->tag().empty() && depot->stock().empty() &&
                depot->limits().empty() );
   EXPECT_TRUE( sensor->reading().empty() && rack->sensor().empty() );
}

} // namespace
