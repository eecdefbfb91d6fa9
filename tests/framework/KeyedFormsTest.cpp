// Sets, maps, ordered maps, arrays, and collections of values and of children, of entities, all
// through one face: what they change, tell and return, beside a model; and what observers and
// failures may do meanwhile.

#include <map>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "framework/LongLimits.h"
#include "support/AnyValue.h"
#include "support/ChangeRecorder.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;
using U32 = std::uint32_t;
using U64 = std::uint64_t;

// Each form: the owner, the types and id, the key and value number n, and the operations.

template<class T>
struct Of {
   using Owner = T;
   template<class Member>
   static auto const& keyOf( Member const& member ) {
      if constexpr ( requires { member.number(); } ) {
         return member.number();
      } else if constexpr ( requires { member.key; } ) {
         return member.key;
      } else {
         return member.first;
      }
   }
};

/// What is called alike for all, with the key beside the value or inside of it.
#define KEYED_FORM( ID, KEY, VALUE, NAME )                                                         \
   using Key = KEY;                                                                                \
   using Value = VALUE;                                                                            \
   static constexpr std::uint16_t id = ID;                                                         \
   static auto const& held( auto& owner ) { return owner.NAME(); }                                 \
   static Value const* get( auto& owner, Key const& k ) { return owner.NAME( k ); }                \
   static Value del( auto& owner, Key const& k ) { return owner.NAME##Del( k ); }                  \
   static void delAll( auto& owner ) { owner.NAME##DelAll(); }                                     \
   static void is( auto& owner, Key const& k, Value const& v ) {                                   \
      if constexpr ( requires { owner.NAME##Is( k, v ); } )                                        \
         owner.NAME##Is( k, v );                                                                   \
      else                                                                                         \
         owner.NAME##Is( v );                                                                      \
   }

struct ReadingForm : Of<Sensor> {
   KEYED_FORM( 261, U32, Reading, reading )
   static Key key( U32 n ) { return n; }
   static Value value( U32 keyNumber, U32 n ) {
      Reading made( keyNumber );
      made.samplePush( n );
      return made;
   }
};
struct MarkForm : Of<Depot> {
   KEYED_FORM( 259, Mode, Tracked, mark )
   static Key key( U32 n ) { return static_cast<Mode>( n ); }
   static Value value( U32, U32 n ) { return n; }
};
struct NoteForm : Of<Depot> {
   KEYED_FORM( 260, Varek::String, Varek::String, note )
   static Key key( U32 n ) { return longText( n ); }
   static Value value( U32, U32 n ) { return longText( n ); }
};
struct PortForm : Of<Depot> {
   KEYED_FORM( 261, Lumo::IntfId, U32, port )
   static Key key( U32 n ) { return Key( "Ethernet" + std::to_string( n + 1 ) ); }
   static Value value( U32, U32 n ) { return n; }
};
struct RuleForm : Of<Depot> {
   KEYED_FORM( 262, RadiusPktParserBase::Attribute, Mode, rule )
   static Key key( U32 n ) { return Key( n % 2, static_cast<std::uint16_t>( n ) ); }
   static Value value( U32, U32 n ) { return static_cast<Mode>( n ); }
};
struct LimitsForm : Of<Depot> {
   KEYED_FORM( 263, U32, Limits, limits )
   static Key key( U32 n ) { return n; }
   static Value value( U32 keyNumber, U32 n ) { return limits( keyNumber, n ); }
};
struct StockForm : Of<Depot> {
   KEYED_FORM( 264, Varek::String, Tracked, stock )
   static Key key( U32 n ) { return longText( n ); }
   static Value value( U32, U32 n ) { return n; }
};
struct SetForm : Of<Depot> {
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
/// An element that is blank counts as one that is not there.
struct LampForm : Of<Depot> {
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
/// Children, which the owner makes: a value that is given is not looked at.
struct ChildForm : Of<Rack> {
   using Key = U32;
   using Value = Varek::Ptr<Sensor>;
   static constexpr std::uint16_t id = 260;
   static Key key( U32 n ) { return n; }
   static Value value( U32, U32 ) { return nullptr; }
   static auto const& held( Rack& r ) { return r.sensor(); }
   static Value const* get( Rack& r, Key k ) {
      auto const* const node = r.sensor().lookupNodeG( k );
      EXPECT_EQ( r.sensor( k ), node ? node->child : nullptr );
      return node ? &node->child : nullptr;
   }
   static void is( Rack& r, Key k, Value const& ) {
      auto const before = r.sensor( k ), made = r.sensorIs( k );
      EXPECT_EQ( made->number(), k );
      EXPECT_EQ( made->level(), before ? 1000 + k : 5 ) << "neither the old one nor a new one";
      made->levelIs( 1000 + k );
   }
   static Value del( Rack& r, Key const& k ) {
      auto const removed = r.sensorDel( k );
      EXPECT_EQ( removed ? removed->parent() : nullptr, nullptr );
      return removed;
   }
   static void delAll( Rack& r ) { r.sensorDelAll(); }
};

template<class Form>
class KeyedForms : public testing::Test {
protected:
   using Owner = typename Form::Owner;
   using Key = typename Form::Key;
   using Value = typename Form::Value;
   using Changes = ChangeRecorder<Key, Value>;
   static constexpr bool isArray = std::is_same_v<Form, LampForm>;
   static constexpr bool isChild = std::is_same_v<Form, ChildForm>;
   static constexpr bool isSet = std::is_same_v<Form, SetForm>;
   static constexpr U32 keys = 20;

   static Varek::Ptr<Owner> newOwner() {
      auto const made = freshEntity( Qel::typeRecord( Owner::qelBinding() ) );
      return Varek::Ptr<Owner>( static_cast<Owner*>( made.get() ) );
   }
   void TearDown() override {
      owner_ = nullptr;
      EXPECT_EQ( Tracked::live, liveBefore_ );
   }
   void is( U32 key, U32 value = 0 ) {
      Form::is( *owner_, Form::key( key ), Form::value( key, value ) );
   }
   Value const* get( U32 key ) { return Form::get( *owner_, Form::key( key ) ); }
   Value del( U32 key ) { return Form::del( *owner_, Form::key( key ) ); }
   /// What an observer is given as old where there was nothing.
   static std::optional<Value> nothing() {
      if ( isArray ) {
         return Value{};
      }
      return {};
   }
   typename Changes::Told told( U32 key, std::optional<Value> old ) {
      return { owner_.get(), Form::id, Form::key( key ), std::move( old ) };
   }
   U32 number( Varek::Change const& change ) const {
      for ( U32 n = 0; n < keys; ++n ) {
         if ( Key const key = Form::key( n ); change.keyEqual()( change.keyData(), &key ) ) {
            return n;
         }
      }
      ADD_FAILURE() << "no key of this form";
      return keys;
   }
   void expectAgrees( std::map<U32, Value> const& model ) {
      Qel::AttributeRecord const& record =
         *Qel::typeRecord( *owner_ ).attribute( Varek::FieldId( Form::id ) );
      void const* const object = static_cast<Qel::Entity*>( owner_.get() );
      EXPECT_EQ( record.size( object ), isArray ? keys : model.size() );
      for ( U32 n = 0; n < keys; ++n ) {
         Value const* const held = get( n );
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
         Value const* const held = Form::get( *owner_, key );
         EXPECT_EQ( value, held ? *held : Value{} );
      }
      record.iterator->iterDel( at );
      EXPECT_EQ( visited, record.size( object ) );
   }

   int liveBefore_ = Tracked::live;
   Varek::Ptr<Owner> owner_ = newOwner();
};

using AllForms = testing::Types<SetForm, MarkForm, NoteForm, PortForm, RuleForm, LimitsForm,
                                StockForm, LampForm, ReadingForm, ChildForm>;
TYPED_TEST_SUITE( KeyedForms, AllForms );

TYPED_TEST( KeyedForms, RandomOperationsAreToldExactlyWhenTheyAreDone ) {
   using Form = TypeParam;
   using Element = typename Form::Value;
   std::mt19937 random( 7 );
   std::map<U32, Element> model;
   typename TestFixture::Changes changes( *this->owner_ );
   auto const seeing = this->owner_->subscribe( [&]( Varek::Change const& change ) {
      auto const* const held = this->get( this->number( change ) );
      auto const* const old = change.old<Element>();
      EXPECT_TRUE( held ? !old || !( *old == *held ) : old != nullptr );
   } );
   decltype( changes.told ) expected;
   for ( int step = 0; step < 4000; ++step ) {
      U32 const n = static_cast<U32>( random() % TestFixture::keys );
      auto const at = model.find( n );
      bool const isNew = at == model.end();
      auto const old = isNew ? this->nothing() : std::optional( at->second );
      if ( random() % 200 == 0 ) {
         Form::delAll( *this->owner_ );
         // In no order that the model knows, but an array's and an ordered one's.
         EXPECT_EQ( changes.told.size(), expected.size() + model.size() );
         for ( auto i = expected.size(); i < changes.told.size(); ++i ) {
            for ( auto const& [key, value] : model ) {
               if ( Form::key( key ) == changes.told[i].key ) {
                  expected.push_back( this->told( key, value ) );
               }
            }
         }
         model.clear();
      } else if ( random() % 3 == 0 ) {
         if ( !isNew ) {
            expected.push_back( this->told( n, old ) );
         }
         ASSERT_EQ( this->del( n ), old.value_or( Element{} ) );
         model.erase( n );
      } else {
         auto const* const before = this->get( n );
         auto const given = static_cast<U32>( random() % 3 );
         this->is( n, given );
         auto const* const held = this->get( n );
         ASSERT_NE( held, nullptr );
         ASSERT_TRUE( TestFixture::isChild || *held == Form::value( n, given ) );
         ASSERT_TRUE( isNew || held == before ) << "moved by a replacement";
         if ( isNew || at->second != *held ) {
            expected.push_back( this->told( n, old ) );
         }
         model.insert_or_assign( n, *held );
      }
      if ( step % 100 == 0 ) {
         this->expectAgrees( model );
      }
   }
   this->expectAgrees( model );
   EXPECT_EQ( changes.told, expected );
   EXPECT_GT( expected.size(), 1000U );
   if constexpr ( requires { Form::held( *this->owner_ ).lowerBound( Form::key( 0 ) ); } ) {
      auto const& held = Form::held( *this->owner_ );
      EXPECT_TRUE( std::is_sorted( held.begin(), held.end(),
                                   []( auto& a, auto& b ) { return a.first < b.first; } ) );
      for ( auto const& [key, node] : held ) {
         EXPECT_EQ( node->key(), key );
      }
   }
}

TYPED_TEST( KeyedForms, AClearAllGoesOnWhateverObserversDo ) {
   using Form = TypeParam;
   constexpr U32 half = TestFixture::keys / 2;
   for ( U32 n = 0; n < half; ++n ) {
      this->is( n );
   }
   std::map<U32, int> removals;
   U32 insertions = 0;
   U32 first = TestFixture::keys;
   U32 const more = TestFixture::isArray ? 0 : half; // an array is cleared to its end
   auto const watching = this->owner_->subscribe( [&]( Varek::Change const& change ) {
      U32 const n = this->number( change );
      if ( this->get( n ) ) {
         ++insertions;
         return;
      }
      ASSERT_NE( change.oldData(), nullptr );
      ++removals[n];
      if ( first == TestFixture::keys ) {
         first = n;
         this->is( n, 1 ); // stays, as those do that are new and make a map grow
         for ( U32 other = half; other < half + more; ++other ) {
            this->is( other );
         }
         for ( U32 other = 1; other < half; other += 2 ) {
            if ( other != n ) {
               EXPECT_THROW( this->del( other ), U32 );
            }
         }
      }
      throw n;
   } );
   try {
      Form::delAll( *this->owner_ );
      ADD_FAILURE() << "nothing reached the caller";
   } catch ( U32 const thrown ) {
      EXPECT_EQ( thrown, first );
   }
   EXPECT_EQ( insertions, 1 + more );
   for ( U32 n = 0; n < half + more; ++n ) {
      EXPECT_EQ( removals[n], n < half ) << n;
      EXPECT_EQ( this->get( n ) != nullptr, n == first || n >= half ) << n;
   }
}

TYPED_TEST( KeyedForms, ObserversMayTakeTheElementAndTheOwnerAway ) {
   using Form = TypeParam;
   enum Operation { insertion, replacement, removal, clearAll };
   for ( Operation const one : { insertion, replacement, removal, clearAll } ) {
      if ( one == replacement && ( TestFixture::isSet || TestFixture::isChild ) ) {
         continue;
      }
      auto owner = this->newOwner();
      for ( U32 n = 0; n < 3; ++n ) {
         Form::is( *owner, Form::key( n ), Form::value( n, 0 ) );
      }
      U32 const n = one == insertion ? 5 : 1;
      auto const key = Form::key( n );
      auto const before = *Form::get( *owner, Form::key( 1 ) ), after = Form::value( n, 1 );
      bool inner = false;
      int outer = 0;
      auto const first = owner->subscribe( [&]( auto& ) {
         if ( std::exchange( inner, true ) ) {
            return;
         }
         Form::delAll( *owner );
         owner = nullptr;
      } );
      auto const last = owner->subscribe( [&]( Varek::Change const& change ) {
         // Whatever became of the element: key and old value are those of the change.
         auto const* const told = change.key<typename TestFixture::Key>();
         outer += *told == key;
         auto const* const old = change.old<typename TestFixture::Value>();
         if ( *told == key && one != insertion && old && !( *old == after ) ) {
            EXPECT_EQ( *old, before );
         }
      } );
      auto& object = *owner;
      if ( one == removal ) {
         EXPECT_EQ( Form::del( object, key ), before );
      } else if ( one == clearAll ) {
         Form::delAll( object );
      } else {
         Form::is( object, key, after );
      }
      EXPECT_EQ( owner, nullptr );
      EXPECT_GE( outer, 1 ) << one;
   }
}

TYPED_TEST( KeyedForms, ArgumentsMayLieInTheCollectionItself ) {
   using Form = TypeParam;
   for ( U32 n = 0; n < TestFixture::keys; ++n ) {
      this->is( n, n );
   }
   typename TestFixture::Changes const changes( *this->owner_ );
   for ( U32 n = 0; n < TestFixture::keys; ++n ) {
      Form::is( *this->owner_, Form::key( n ), *this->get( n ) );
   }
   EXPECT_TRUE( changes.told.empty() );
   if constexpr ( !TestFixture::isArray ) {
      for ( U32 n = 0; n < TestFixture::keys; ++n ) {
         auto const& member = *Form::held( *this->owner_ ).begin();
         typename TestFixture::Key const copy = Form::keyOf( member );
         auto const old = *Form::get( *this->owner_, copy );
         EXPECT_EQ( Form::del( *this->owner_, Form::keyOf( member ) ), old );
         EXPECT_EQ( changes.told.back().key, copy );
         EXPECT_EQ( changes.told.back().old, old );
      }
      EXPECT_TRUE( Form::held( *this->owner_ ).empty() );
   }
   // Where the key is beside the value, a value may be made from another while that may move.
   if ( Form::value( 0, 3 ) == Form::value( 1, 3 ) && !TestFixture::isChild ) {
      this->is( 0, 3 );
      for ( U32 n = 1; n < TestFixture::keys; ++n ) {
         Form::is( *this->owner_, Form::key( n ), *this->get( n - 1 ) );
      }
      EXPECT_EQ( *this->get( TestFixture::keys - 1 ), Form::value( 0, 3 ) );
   }
}

TYPED_TEST( KeyedForms, ACopyThatFailsChangesAndTellsNothing ) {
   using Form = TypeParam;
   if constexpr ( std::is_same_v<typename Form::Value, Tracked> ) {
      this->is( 1, 1 );
      int told = 0, failed = 0;
      auto const watching = this->owner_->subscribe( [&]( auto& ) { ++told; } );
      auto const one = Form::value( 1, 1 ), two = Form::value( 1, 2 );
      for ( auto operation :
            { +[]( Depot& d, Tracked const& v ) { Form::is( d, Form::key( 1 ), v ); },
              +[]( Depot& d, Tracked const& v ) { Form::is( d, Form::key( 2 ), v ); },
              +[]( Depot& d, Tracked const& ) { Form::del( d, Form::key( 1 ) ); } } ) {
         told = 0;
         for ( int after = 0; told == 0 && after < 20; ++after ) {
            try {
               CopiesFail const failing( after );
               operation( *this->owner_, two );
            } catch ( std::runtime_error const& ) {
               ++failed;
               EXPECT_EQ( told, 0 );
               EXPECT_EQ( *this->get( 1 ), one );
               EXPECT_EQ( this->get( 2 ), nullptr );
            }
         }
         EXPECT_EQ( told, 1 );
         Form::is( *this->owner_, Form::key( 1 ), one );
         this->del( 2 );
      }
      EXPECT_GE( failed, 2 );
      // What is removed is handed out, not copied.
      told = 0;
      this->is( 2, 1 );
      CopiesFail const failing( 0 );
      Form::delAll( *this->owner_ );
      EXPECT_EQ( told, 3 );
      EXPECT_FALSE( this->get( 1 ) || this->get( 2 ) );
   }
}

} // namespace
