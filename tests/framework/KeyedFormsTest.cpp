// Sets, maps, ordered collections, ordered maps and arrays of entities, all through one face: what
// they change, tell and return, beside a model; and what observers and failures may do meanwhile.

#include <map>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/ChangeRecorder.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;
using U32 = std::uint32_t;

/// Text that is too long to lie inside a string object.
Varek::String longText( U32 n ) {
   return "a text that takes storage of its own, " + std::to_string( 1000 + n );
}

Limits limits( U32 number, U32 content ) {
   Limits made( number );
   for ( U32 i = 0; i <= content; ++i )
      made.userIs( longText( i ) );
   return made;
}

// Each form: the types and id, the key and value number n, and the operations.

struct SetForm {
   using Key = Varek::String;
   using Value = Varek::String;
   static constexpr std::uint16_t id = 258;
   static Key key( U32 n ) { return longText( n ); }
   static Value value( U32 keyNumber, U32 ) { return key( keyNumber ); }
   static auto const& held( Depot& d ) { return d.tag(); }
   static Key const& keyOf( Varek::String const& member ) { return member; }
   static Value const* get( Depot& d, Key const& k ) {
      return d.tag( k ) ? d.tag().lookupNodeG( k ) : nullptr;
   }
   static void is( Depot& d, Key const&, Value const& v ) { d.tagIs( v ); }
   static Value del( Depot& d, Key const& k ) { return d.tagDel( k ); }
   static void delAll( Depot& d ) { d.tagDelAll(); }
};

struct KeyFirst {
   template<class Member>
   static auto const& keyOf( Member const& member ) {
      if constexpr ( requires { member.key; } )
         return member.key;
      else
         return member.first;
   }
};

#define MAP_FORM( ID, KEY, VALUE, NAME )                                                           \
   using Key = KEY;                                                                                \
   using Value = VALUE;                                                                            \
   static constexpr std::uint16_t id = ID;                                                         \
   static auto const& held( Depot& d ) { return d.NAME(); }                                        \
   static Value const* get( Depot& d, Key const& k ) { return d.NAME( k ); }                       \
   static void is( Depot& d, Key const& k, Value const& v ) { d.NAME##Is( k, v ); }                \
   static Value del( Depot& d, Key const& k ) { return d.NAME##Del( k ); }                         \
   static void delAll( Depot& d ) { d.NAME##DelAll(); }

struct MarkForm : KeyFirst {
   MAP_FORM( 259, Mode, Tracked, mark )
   static Key key( U32 n ) { return static_cast<Mode>( n ); }
   static Value value( U32, U32 n ) { return n; }
};
struct NoteForm : KeyFirst {
   MAP_FORM( 260, Varek::String, Varek::String, note )
   static Key key( U32 n ) { return longText( n ); }
   static Value value( U32, U32 n ) { return longText( n ); }
};
struct PortForm : KeyFirst {
   MAP_FORM( 261, Lumo::IntfId, U32, port )
   static Key key( U32 n ) { return Key( "Ethernet" + std::to_string( n + 1 ) ); }
   static Value value( U32, U32 n ) { return n; }
};
struct RuleForm : KeyFirst {
   MAP_FORM( 262, RadiusPktParserBase::Attribute, Mode, rule )
   static Key key( U32 n ) { return Key( n % 2, static_cast<std::uint16_t>( n ) ); }
   static Value value( U32, U32 n ) { return static_cast<Mode>( n ); }
};
struct StockForm : KeyFirst {
   MAP_FORM( 264, Varek::String, Tracked, stock )
   static Key key( U32 n ) { return longText( n ); }
   static Value value( U32, U32 n ) { return n; }
};
struct LimitsForm : KeyFirst {
   using Key = U32;
   using Value = Limits;
   static constexpr std::uint16_t id = 263;
   static Key key( U32 n ) { return n; }
   static Value value( U32 keyNumber, U32 n ) { return limits( keyNumber, n ); }
   static auto const& held( Depot& d ) { return d.limits(); }
   static Value const* get( Depot& d, Key const& k ) { return d.limits( k ); }
   static void is( Depot& d, Key const&, Value const& v ) { d.limitsIs( v ); }
   static Value del( Depot& d, Key const& k ) { return d.limitsDel( d.limits().find( k ) ); }
   static void delAll( Depot& d ) { d.limitsDelAll(); }
};
/// An element that is blank counts as one that is not there.
struct LampForm {
   using Key = U32;
   using Value = Tracked;
   static constexpr std::uint16_t id = 265;
   static Key key( U32 n ) { return n; }
   static Value value( U32, U32 n ) { return n + 1; }
   static Value const* get( Depot& d, Key k ) {
      return d.lamp( k ) == Tracked() ? nullptr : &d.lamp( k );
   }
   static void is( Depot& d, Key k, Value const& v ) { d.lampIs( k, v ); }
   static Value del( Depot& d, Key k ) {
      return k % 2 ? d.lampDel( k ) : d.lampDel( d.lamp().begin() + k );
   }
   static void delAll( Depot& d ) { d.lampDelAll(); }
};

template<class Form>
class KeyedForms : public testing::Test {
protected:
   using Key = typename Form::Key;
   using Value = typename Form::Value;
   using Changes = ChangeRecorder<Key, Value>;
   using Told = typename Changes::Told;
   static constexpr bool isArray = std::is_same_v<Form, LampForm>;
   static constexpr U32 keys = 20;

   void TearDown() override {
      depot_ = nullptr;
      EXPECT_EQ( Tracked::live, liveBefore_ );
   }
   void is( U32 key, U32 value = 0 ) {
      Form::is( *depot_, Form::key( key ), Form::value( key, value ) );
   }
   /// What an observer is given as old where there was nothing.
   static std::optional<Value> nothing() {
      if ( isArray )
         return Value{};
      return {};
   }
   Told told( U32 key, std::optional<Value> old ) {
      return { depot_.get(), Form::id, Form::key( key ), std::move( old ) };
   }
   U32 number( Varek::Change const& change ) const {
      for ( U32 n = 0; n < keys; ++n )
         if ( Key const key = Form::key( n ); change.keyEqual()( change.keyData(), &key ) )
            return n;
      ADD_FAILURE() << "no key of this form";
      return keys;
   }
   void expectAgrees( std::map<U32, Value> const& model ) {
      Qel::AttributeRecord const& record =
         *Qel::typeRecord( *depot_ ).attribute( Varek::FieldId( Form::id ) );
      void const* const object = static_cast<Qel::Entity*>( depot_.get() );
      EXPECT_EQ( record.size( object ), isArray ? keys : model.size() );
      for ( U32 n = 0; n < keys; ++n ) {
         Value const* const held = Form::get( *depot_, Form::key( n ) );
         ASSERT_EQ( held != nullptr, model.contains( n ) ) << n;
         if ( held ) {
            EXPECT_EQ( *held, model.at( n ) ) << n;
            Key const key = Form::key( n );
            void* const at = record.iterate( object, &key );
            EXPECT_EQ( record.iterator->iterPeek( at ), held );
            record.iterator->iterDel( at );
         }
      }
      U32 visited = 0;
      void* const at = record.iterate( object, nullptr );
      for ( auto const& use = *record.iterator; use.iterNonnull( at ); use.iterInc( at ) ) {
         ++visited;
         Key key{};
         Value value{};
         use.iterKey( at, &key );
         use.iterObj( at, &value );
         Value const* const held = Form::get( *depot_, key );
         EXPECT_EQ( value, held ? *held : Value{} );
      }
      record.iterator->iterDel( at );
      EXPECT_EQ( visited, record.size( object ) );
   }

   int liveBefore_ = Tracked::live;
   Varek::Ptr<Depot> depot_ = Depot::DepotIs( "d" );
};

using AllForms =
   testing::Types<SetForm, MarkForm, NoteForm, PortForm, RuleForm, LimitsForm, StockForm, LampForm>;
TYPED_TEST_SUITE( KeyedForms, AllForms );

TYPED_TEST( KeyedForms, RandomOperationsAreToldExactly ) {
   using Form = TypeParam;
   std::mt19937 random( 7 );
   std::map<U32, typename TestFixture::Value> model;
   typename TestFixture::Changes changes( *this->depot_ );
   std::vector<typename TestFixture::Told> expected;
   for ( int step = 0; step < 4000; ++step ) {
      U32 const n = static_cast<U32>( random() % TestFixture::keys );
      auto const at = model.find( n );
      auto const old = at != model.end() ? std::optional( at->second ) : this->nothing();
      if ( random() % 200 == 0 ) {
         Form::delAll( *this->depot_ );
         // In no order that the model knows, but an array's and an ordered one's.
         EXPECT_EQ( changes.told.size(), expected.size() + model.size() );
         for ( auto i = expected.size(); i < changes.told.size(); ++i )
            for ( auto const& [key, value] : model )
               if ( Form::key( key ) == changes.told[i].key )
                  expected.push_back( this->told( key, value ) );
         model.clear();
      } else if ( random() % 3 == 0 ) {
         if ( at != model.end() )
            expected.push_back( this->told( n, old ) );
         ASSERT_EQ( Form::del( *this->depot_, Form::key( n ) ),
                    old.value_or( typename TestFixture::Value{} ) );
         model.erase( n );
      } else {
         auto const value = Form::value( n, static_cast<U32>( random() % 3 ) );
         if ( at == model.end() || at->second != value )
            expected.push_back( this->told( n, old ) );
         Form::is( *this->depot_, Form::key( n ), value );
         model.insert_or_assign( n, value );
      }
      if ( step % 100 == 0 )
         this->expectAgrees( model );
   }
   this->expectAgrees( model );
   EXPECT_EQ( changes.told, expected );
   EXPECT_GT( expected.size(), 1000U );
   if constexpr ( requires { Form::held( *this->depot_ ).lowerBound( Form::key( 0 ) ); } ) {
      auto const& held = Form::held( *this->depot_ );
      EXPECT_TRUE( std::is_sorted( held.begin(), held.end(),
                                   []( auto& a, auto& b ) { return a.first < b.first; } ) );
      for ( auto const& [key, node] : held )
         EXPECT_EQ( node->key(), key );
   }
}

TYPED_TEST( KeyedForms, AClearAllGoesOnWhateverObserversDo ) {
   using Form = TypeParam;
   for ( U32 n = 0; n < TestFixture::keys; ++n )
      this->is( n );
   std::map<U32, int> removals;
   int insertions = 0;
   U32 first = TestFixture::keys;
   auto const watching = this->depot_->subscribe( [&]( Varek::Change const& change ) {
      U32 const n = this->number( change );
      if ( Form::get( *this->depot_, Form::key( n ) ) ) {
         ++insertions;
         return;
      }
      ASSERT_NE( change.oldData(), nullptr );
      ++removals[n];
      if ( first == TestFixture::keys ) {
         first = n;
         this->is( n, 1 ); // stays
         for ( U32 other = 1; other < TestFixture::keys; other += 2 )
            if ( other != n ) {
               EXPECT_THROW( Form::del( *this->depot_, Form::key( other ) ), std::runtime_error );
            }
      }
      throw std::runtime_error( "told" );
   } );
   EXPECT_THROW( Form::delAll( *this->depot_ ), std::runtime_error );
   EXPECT_EQ( insertions, 1 );
   EXPECT_LT( first, TestFixture::keys );
   for ( U32 n = 0; n < TestFixture::keys; ++n ) {
      EXPECT_EQ( removals[n], 1 ) << n;
      EXPECT_EQ( Form::get( *this->depot_, Form::key( n ) ) != nullptr, n == first ) << n;
   }
}

TYPED_TEST( KeyedForms, ObserversMayTakeTheElementAndTheOwnerAway ) {
   using Form = TypeParam;
   enum Operation { insertion, replacement, removal, clearAll };
   for ( Operation const one : { insertion, replacement, removal, clearAll } ) {
      if ( one == replacement && std::is_same_v<Form, SetForm> )
         continue;
      auto depot = Depot::DepotIs( "gone" );
      for ( U32 n = 0; n < 3; ++n )
         Form::is( *depot, Form::key( n ), Form::value( n, 0 ) );
      auto const key = Form::key( one == insertion ? 5 : 1 );
      auto const before = Form::value( 1, 0 ), after = Form::value( one == insertion ? 5 : 1, 1 );
      bool inner = false;
      int outer = 0;
      auto const first = depot->subscribe( [&]( auto& ) {
         if ( std::exchange( inner, true ) )
            return;
         Form::delAll( *depot );
         depot = nullptr;
      } );
      auto const last = depot->subscribe( [&]( Varek::Change const& change ) {
         // Whatever became of the element: key and old value are those of the change.
         auto const* const told = change.key<typename TestFixture::Key>();
         outer += *told == key;
         auto const* const old = change.old<typename TestFixture::Value>();
         if ( *told == key && one != insertion && old && !( *old == after ) ) {
            EXPECT_EQ( *old, before );
         }
      } );
      Depot& object = *depot;
      if ( one == removal ) {
         EXPECT_EQ( Form::del( object, key ), before );
      } else if ( one == clearAll ) {
         Form::delAll( object );
      } else {
         Form::is( object, key, after );
      }
      EXPECT_EQ( depot, nullptr );
      EXPECT_GE( outer, 1 ) << one;
   }
}

TYPED_TEST( KeyedForms, ArgumentsMayLieInTheCollectionItself ) {
   using Form = TypeParam;
   for ( U32 n = 0; n < TestFixture::keys; ++n )
      this->is( n, n );
   typename TestFixture::Changes const changes( *this->depot_ );
   if constexpr ( !TestFixture::isArray ) {
      for ( U32 n = 0; n < TestFixture::keys; ++n ) {
         auto const& member = *Form::held( *this->depot_ ).begin();
         typename TestFixture::Key const copy = Form::keyOf( member );
         auto const old = *Form::get( *this->depot_, copy );
         EXPECT_EQ( Form::del( *this->depot_, Form::keyOf( member ) ), old );
         EXPECT_EQ( changes.told.back().key, copy );
         EXPECT_EQ( changes.told.back().old, old );
      }
      EXPECT_TRUE( Form::held( *this->depot_ ).empty() );
   }
   if constexpr ( requires { Form::is( *this->depot_, Form::key( 0 ), Form::value( 1, 0 ) ); } &&
                  !std::is_same_v<Form, SetForm> && !std::is_same_v<Form, LimitsForm> ) {
      this->is( 0, 3 );
      for ( U32 n = 1; n < TestFixture::keys; ++n ) // made from another, while that may move
         Form::is( *this->depot_, Form::key( n ), *Form::get( *this->depot_, Form::key( n - 1 ) ) );
      EXPECT_EQ( *Form::get( *this->depot_, Form::key( TestFixture::keys - 1 ) ),
                 Form::value( 0, 3 ) );
   }
}

TYPED_TEST( KeyedForms, ACopyThatFailsChangesAndTellsNothing ) {
   using Form = TypeParam;
   if constexpr ( std::is_same_v<typename Form::Value, Tracked> ) {
      this->is( 1, 1 );
      int told = 0, failed = 0;
      auto const watching = this->depot_->subscribe( [&]( auto& ) { ++told; } );
      auto const one = Form::value( 1, 1 ), two = Form::value( 1, 2 );
      for ( auto operation :
            { +[]( Depot&d, Tracked const&v ) { Form::is( d, Form::key( 1 ), v ); },
              +[]( Depot&d, Tracked const&v ) { Form::is( d, Form::key( 2 ), v ); },
              +[]( Depot&d, Tracked const& ) { Form::del( d, Form::key( 1 ) ); } } ) {
         told = 0;
         for ( int after = 0; told == 0 && after < 20; ++after ) {
            try {
               CopiesFail const failing( after );
               operation( *this->depot_, two );
            } catch ( std::runtime_error const& ) {
               ++failed;
               EXPECT_EQ( told, 0 );
               EXPECT_EQ( *Form::get( *this->depot_, Form::key( 1 ) ), one );
               EXPECT_EQ( Form::get( *this->depot_, Form::key( 2 ) ), nullptr );
            }
         }
         EXPECT_EQ( told, 1 );
         Form::is( *this->depot_, Form::key( 1 ), one );
         Form::del( *this->depot_, Form::key( 2 ) );
      }
      EXPECT_GE( failed, 2 );
   }
}

TEST( OrderedForms, AReplacedValueKeepsItsNodeWhichOutlivesItsRemoval ) {
   auto const depot = Depot::DepotIs( "d" );
   auto const live = Depot::QelLimits::allocations().liveObjects();
   depot->limitsIs( limits( 4, 1 ) );
   Varek::Ptr<Depot::QelLimits> const node = depot->limits().begin()->second;
   depot->limitsIs( limits( 4, 2 ) );
   EXPECT_EQ( depot->limits().begin()->second, node );
   EXPECT_EQ( node->value(), limits( 4, 2 ) );
   EXPECT_EQ( Depot::QelLimits::allocations().liveObjects(), live + 1 );
   EXPECT_EQ( depot->limitsDel( 4 ), limits( 4, 2 ) );
   EXPECT_EQ( node->value(), limits( 4, 2 ) ) << "taken from one who holds it";
   EXPECT_EQ( depot->limitsDel( depot->limits().end() ), Limits() );
   EXPECT_EQ( Depot::QelLimits::allocations().identity(), "TestModule::Depot::QelLimits" );
   static_assert( Depot::QelLimits::keyInside && !Depot::QelStock::keyInside );
}

TEST( OrderedForms, AGenericWalkGoesOnWithTheNextKeyWhateverVanishes ) {
   auto const depot = Depot::DepotIs( "d" );
   for ( U32 const n : { 1U, 3U, 5U, 7U } )
      depot->limitsIs( Limits( n ) );
   Varek::Inspect::IterFnTable const* use = nullptr;
   void* const at = Depot::genericIfIterator( *depot, nullptr, { Varek::FieldId( 263 ) }, use );
   auto const key = [&] {
      U32 now = 0;
      use->iterKey( at, &now );
      return now;
   };
   use->iterInc( at );
   EXPECT_EQ( key(), 3U );
   depot->limitsDel( 3 );
   EXPECT_FALSE( use->iterNonnull( at ) );
   EXPECT_EQ( use->iterPeek( at ), nullptr );
   depot->limitsIs( Limits( 3U ) );
   EXPECT_EQ( key(), 3U ) << "it is there again";
   depot->limitsDel( 3 );
   depot->limitsDel( 5 );
   depot->limitsIs( Limits( 6U ) );
   use->iterInc( at );
   EXPECT_EQ( key(), 6U );
   use->iterInc( at );
   use->iterInc( at );
   EXPECT_FALSE( use->iterNonnull( at ) );
   depot->limitsIs( Limits( 9U ) );
   use->iterInc( at );
   EXPECT_FALSE( use->iterNonnull( at ) ) << "an end is an end";
   use->iterDel( at );
}

TEST( ArrayForm, AnIndexBeyondTheEndIsRefusedByAll ) {
   auto const depot = Depot::DepotIs( "d" );
   int told = 0;
   auto const watching = depot->subscribe( [&]( auto& ) { ++told; } );
   Limits value;
   std::size_t const huge = static_cast<std::size_t>( -1 );
   for ( std::size_t const index : { std::size_t{ 20 }, huge, huge - 0xFFFFFFFFU + 20 } ) {
      EXPECT_THROW( depot->lamp( index ), Varek::RangeError );
      EXPECT_THROW( depot->lampIs( index, 1 ), Varek::RangeError );
      EXPECT_THROW( depot->lampDel( index ), Varek::RangeError );
      EXPECT_THROW( value.shiftIs( index, "" ), Varek::RangeError );
   }
   EXPECT_THROW( depot->lampDel( depot->lamp().end() ), Varek::RangeError );
   EXPECT_EQ( told, 0 );
   EXPECT_EQ( depot->light(), 0U );
   try {
      value.shiftDel( 3 );
      ADD_FAILURE();
   } catch ( Varek::RangeError const& error ) {
      EXPECT_STREQ( error.what(), "cannot access index 3 of an array with size 3" );
   }
   EXPECT_EQ( depot->lampDel( 0 ), Tracked() ); // the literal is an index
}

} // namespace
