// Reading and driving every object of every registered type by the numbers of its attributes.

#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "Dot1xV2/Dot1xStatus.h"
#include "framework/Inspection.h"
#include "support/AnyValue.h"
#include "support/TestModule.h"

namespace {

namespace Op = Qel::InspectOperation;
namespace Result = Qel::InspectResult;
using Qel::AttributeKind;
using Qel::AttributeRecord;
using Qel::InspectArguments;
using Varek::FieldId;

/// What an attribute holds: a value of its type, or a child entity.
struct Held {
   explicit Held( AttributeRecord const& attribute ) {
      if ( !attribute.childType ) {
         any = std::make_unique<AnyValue>( *attribute.value );
      }
   }
   void* data() { return any ? any->data() : &child; }
   friend bool operator==( Held const& a, Held const& b ) {
      return a.any ? *a.any == *b.any : a.child == b.child;
   }

   std::unique_ptr<AnyValue> any;
   Varek::Ptr<Qel::Entity> child;
};

class EveryObject : public testing::TestWithParam<Qel::TypeRecord const*> {
protected:
   Qel::TypeRecord const& type_ = *GetParam();
   bool const isEntity_ = type_.kind == Varek::TypeKind::entity;
   RandomValues random_{ 23 };

   /// A new object, with parameters that are not the default, and a count of its changes if it is
   /// observed.
   void objectIs( bool observed = true ) {
      subscription_ = {};
      changes_ = 0;
      parameters_ = defaultParameters( type_ );
      for ( AnyValue const& one : parameters_ ) {
         random_.change( one );
      }
      if ( !isEntity_ ) {
         value_ = std::make_unique<AnyValue>( *type_.functions );
         return;
      }
      entity_ = newEntity( type_, parameters_ );
      if ( !observed ) {
         return;
      }
      subscription_ = entity_->subscribe( [this]( Varek::Change const& change ) {
         ++changes_;
         changed_ = change.id();
      } );
   }
   std::uint32_t operation( std::uint32_t code, FieldId id, InspectArguments& arguments ) {
      void* const object = isEntity_ ? static_cast<void*>( entity_.get() ) : value_->data();
      return Qel::inspectOperation( type_, object, code, { id }, arguments );
   }
   std::uint32_t operation( std::uint32_t code, AttributeRecord const& attribute,
                            void* value = nullptr, void const* key = nullptr ) {
      arguments_ = {};
      arguments_.value = value;
      arguments_.key = key;
      return operation( code, attribute.id, arguments_ );
   }
   void expectChanges( int count, AttributeRecord const& attribute ) {
      EXPECT_EQ( changes_, isEntity_ ? count : 0 );
      if ( isEntity_ && count > 0 ) {
         EXPECT_EQ( changed_, attribute.id );
      }
   }
   void expectRefused( AttributeRecord const& attribute, std::initializer_list<std::uint32_t> codes,
                       void* value = nullptr, void const* key = nullptr ) {
      for ( std::uint32_t const code : codes ) {
         EXPECT_EQ( operation( code, attribute, value, key ), Result::notAllowed ) << code;
      }
      expectChanges( 0, attribute );
   }
   void expectSize( AttributeRecord const& attribute, std::uint32_t size ) {
      EXPECT_EQ( operation( Op::size, attribute ), Result::done );
      EXPECT_EQ( arguments_.size, size );
   }
   /// Writes another value than there is; one that is out of its range must change nothing.
   void writeAnother( AttributeRecord const& attribute, Held& value ) {
      for ( ;; ) {
         random_.change( *value.any );
         try {
            EXPECT_EQ( operation( Op::write, attribute, value.data() ), Result::done );
            return;
         } catch ( Varek::RangeError const& ) {
            ASSERT_NE( type_.rangesCheck, nullptr );
            EXPECT_NO_THROW( type_.rangesCheck( value_->data() ) );
         }
      }
   }

   void tryFixed( AttributeRecord const&, AnyValue const* parameter );
   void tryPlain( AttributeRecord const& );
   void tryChild( AttributeRecord const& );
   void trySequence( AttributeRecord const& );
   void tryArray( AttributeRecord const& );
   void tryKeyed( AttributeRecord const& );
   void tryClearAll( AttributeRecord const&, Held& value, AnyValue const& key );

   std::unique_ptr<AnyValue> value_;
   Varek::Ptr<Qel::Entity> entity_;
   Parameters parameters_;
   Varek::Subscription subscription_;
   int changes_ = 0;
   FieldId changed_;
   InspectArguments arguments_;
};

/// Constants, derived readings and constructor parameters.
void EveryObject::tryFixed( AttributeRecord const& attribute, AnyValue const* parameter ) {
   Held value( attribute );
   std::optional<AnyValue> key;
   if ( attribute.key ) {
      key.emplace( *attribute.key );
   }
   if ( key ) {
      random_.fill( *key );
   }
   void const* const at = key ? key->data() : nullptr;
   ASSERT_EQ( operation( Op::read, attribute, value.data(), at ), Result::done );
   EXPECT_EQ( arguments_.found,
              !attribute.computedEntity || attribute.computedEntity( value.data() ) != nullptr );
   if ( parameter ) {
      EXPECT_EQ( *value.any, *parameter );
   }
   if ( attribute.kind == AttributeKind::constant ) {
      EXPECT_EQ( value.any->text(), attribute.defaultText() );
   }
   expectRefused( attribute,
                  { Op::write, Op::remove, Op::iterate, Op::size, Op::removeAll, Op::append,
                    Op::removeLast, Op::isInspectable, Op::isWritableAsWhole, 13 },
                  value.data(), at );
   expectRefused( attribute, { Op::read } ); // nowhere to store it
}

void EveryObject::tryPlain( AttributeRecord const& attribute ) {
   Held value( attribute ), read( attribute );
   ASSERT_EQ( operation( Op::read, attribute, value.data() ), Result::done );
   expectRefused( attribute, { Op::read, Op::write } );
   expectRefused( attribute, { Op::remove, Op::iterate, Op::size, Op::removeAll, Op::append },
                  value.data() );
   writeAnother( attribute, value );
   expectChanges( 1, attribute );
   EXPECT_EQ( operation( Op::write, attribute, value.data() ), Result::done ); // the same again
   expectChanges( 1, attribute );
   EXPECT_EQ( operation( Op::read, attribute, read.data() ), Result::done );
   EXPECT_EQ( read, value );
}

void EveryObject::tryChild( AttributeRecord const& attribute ) {
   Held first( attribute ), second( attribute ), read( attribute ), removed( attribute );
   auto const& child = Qel::typeRecord( attribute.childType() );
   auto const& front = child.attributes.front();
   std::optional<AnyValue> parameter;
   if ( front.kind == AttributeKind::parameter ) {
      random_.change( parameter.emplace( *front.value ) );
   }
   void const* const key = parameter ? parameter->data() : nullptr;
   if ( parameter ) {
      expectRefused( attribute, { Op::write }, first.data() );
   }
   operation( Op::remove, attribute ); // one that is there from the beginning
   changes_ = 0;
   EXPECT_EQ( operation( Op::read, attribute, read.data() ), Result::done );
   EXPECT_FALSE( arguments_.found );
   EXPECT_EQ( read.child, nullptr );
   for ( Held* const made : { &first, &second } ) {
      EXPECT_EQ( operation( Op::write, attribute, made->data(), key ), Result::done );
      expectChanges( 1, attribute );
      ASSERT_NE( made->child, nullptr );
      EXPECT_EQ( made->child->parent(), entity_.get() );
   }
   EXPECT_EQ( first, second );
   EXPECT_EQ( operation( Op::read, attribute, read.data() ), Result::done );
   EXPECT_TRUE( arguments_.found );
   EXPECT_EQ( read, first );
   EXPECT_EQ( operation( Op::remove, attribute, removed.data() ), Result::done );
   EXPECT_TRUE( arguments_.found );
   EXPECT_EQ( removed, first );
   EXPECT_EQ( operation( Op::remove, attribute ), Result::done );
   EXPECT_FALSE( arguments_.found );
   expectChanges( 2, attribute );
}

void EveryObject::trySequence( AttributeRecord const& attribute ) {
   Held value( attribute ), read( attribute ), other( attribute );
   std::uint32_t const first = 0, beyond = 1;
   EXPECT_EQ( operation( Op::read, attribute, read.data(), &first ), Result::done );
   EXPECT_FALSE( arguments_.found );
   random_.change( *value.any );
   random_.change( *other.any );
   expectRefused( attribute, { Op::read, Op::write, Op::remove }, value.data() );
   EXPECT_EQ( operation( Op::append, attribute, value.data() ), Result::done );
   EXPECT_EQ( operation( Op::append, attribute ), Result::notAllowed );
   expectSize( attribute, 1 );
   EXPECT_EQ( operation( Op::write, attribute, other.data(), &first ), Result::done );
   EXPECT_THROW( operation( Op::write, attribute, other.data(), &beyond ),
                 Varek::VectorOutOfRange );
   EXPECT_EQ( operation( Op::read, attribute, read.data(), &first ), Result::done );
   EXPECT_EQ( read, other );
   EXPECT_EQ( operation( Op::removeLast, attribute, value.data() ), Result::done );
   EXPECT_EQ( value, other );
   EXPECT_THROW( operation( Op::removeLast, attribute ), Varek::VectorEmptyBack );
   operation( Op::append, attribute, value.data() );
   EXPECT_EQ( operation( Op::removeAll, attribute ), Result::done );
   expectSize( attribute, 0 );
}

void EveryObject::tryArray( AttributeRecord const& attribute ) {
   Held value( attribute ), read( attribute ), blank( attribute );
   std::uint32_t const index = 1, beyond = 1000;
   random_.change( *value.any );
   expectRefused( attribute, { Op::read, Op::write, Op::remove, Op::append, Op::removeLast },
                  value.data() );
   for ( int i = 0; i < 2; ++i ) {
      EXPECT_EQ( operation( Op::write, attribute, value.data(), &index ), Result::done );
      expectChanges( 1, attribute );
   }
   EXPECT_EQ( operation( Op::read, attribute, read.data(), &index ), Result::done );
   EXPECT_EQ( read, value );
   EXPECT_EQ( operation( Op::read, attribute, read.data(), &beyond ), Result::done );
   EXPECT_FALSE( arguments_.found );
   EXPECT_THROW( operation( Op::write, attribute, value.data(), &beyond ), Varek::RangeError );
   EXPECT_THROW( operation( Op::remove, attribute, nullptr, &beyond ), Varek::RangeError );
   EXPECT_EQ( operation( Op::remove, attribute, read.data(), &index ), Result::done );
   EXPECT_EQ( read, value );
   EXPECT_EQ( operation( Op::read, attribute, read.data(), &index ), Result::done );
   EXPECT_EQ( read, blank );
   expectChanges( 2, attribute );
   operation( Op::write, attribute, value.data(), &index );
   EXPECT_EQ( operation( Op::removeAll, attribute ), Result::done );
   expectChanges( 4, attribute );
}

/// Everything that has keys: sets, maps, collections, children.
void EveryObject::tryKeyed( AttributeRecord const& attribute ) {
   bool const keyInside =
      attribute.kind == AttributeKind::collection ||
      ( attribute.kind == AttributeKind::ordered && attribute.value->registered() );
   Held value( attribute ), read( attribute );
   AnyValue key( *attribute.key );
   random_.change( key );
   if ( value.any ) {
      random_.change( *value.any );
   }
   expectRefused( attribute, { Op::write }, keyInside ? nullptr : value.data(),
                  keyInside ? key.data() : nullptr );
   expectRefused( attribute, { Op::read, Op::remove, Op::append, Op::removeLast }, value.data() );
   for ( int i = 0; i < 2; ++i ) {
      EXPECT_EQ( operation( Op::write, attribute, value.data(), key.data() ), Result::done );
      expectChanges( 1, attribute );
   }
   expectSize( attribute, 1 );
   ASSERT_EQ( operation( Op::iterate, attribute ), Result::done );
   ASSERT_NE( arguments_.iterator, nullptr );
   arguments_.functions->iterKey( arguments_.iterator, key.data() );
   arguments_.functions->iterInc( arguments_.iterator );
   EXPECT_FALSE( arguments_.functions->iterNonnull( arguments_.iterator ) );
   arguments_.functions->iterDel( arguments_.iterator );
   if ( attribute.kind == AttributeKind::set ) {
      attribute.value->assign( value.data(), key.data() );
   }
   ASSERT_EQ( operation( Op::read, attribute, read.data(), key.data() ), Result::done );
   EXPECT_TRUE( arguments_.found );
   EXPECT_EQ( read, value );
   for ( bool const found : { true, false } ) {
      EXPECT_EQ( operation( Op::remove, attribute, found ? read.data() : nullptr, key.data() ),
                 Result::done );
      EXPECT_EQ( arguments_.found, found );
      expectChanges( 2, attribute );
   }
   EXPECT_EQ( read, value );
   EXPECT_EQ( operation( Op::read, attribute, read.data(), key.data() ), Result::done );
   EXPECT_FALSE( arguments_.found );
   tryClearAll( attribute, value, key );
}

/// While nothing can ever have observed, it is silent; a member always loses its owner.
void EveryObject::tryClearAll( AttributeRecord const& attribute, Held& value,
                               AnyValue const& key ) {
   for ( bool const observed : { true, false } ) {
      objectIs( observed );
      operation( Op::write, attribute, value.data(), key.data() );
      Varek::Ptr<Qel::Entity> const member = value.child;
      EXPECT_EQ( member ? member->parent() : nullptr, member ? entity_.get() : nullptr );
      EXPECT_EQ( operation( Op::removeAll, attribute ), Result::done );
      EXPECT_EQ( member ? member->parent() : nullptr, nullptr );
      expectChanges( observed ? 2 : 0, attribute );
      expectSize( attribute, 0 );
      EXPECT_EQ( isEntity_ && entity_->initial(), isEntity_ && !observed );
   }
}

TEST_P( EveryObject, IsReadAndDrivenByTheNumbersOfItsAttributes ) {
   std::size_t parameter = 0;
   for ( AttributeRecord const& one : type_.attributes ) {
      SCOPED_TRACE( one.name );
      objectIs();
      switch ( one.kind ) {
      case AttributeKind::parameter:
         tryFixed( one, isEntity_ ? &parameters_.at( parameter++ ) : nullptr );
         break;
      case AttributeKind::constant:
      case AttributeKind::derived:
         tryFixed( one, nullptr );
         break;
      case AttributeKind::plain:
         tryPlain( one );
         break;
      case AttributeKind::child:
         tryChild( one );
         break;
      case AttributeKind::sequence:
         trySequence( one );
         break;
      case AttributeKind::array:
         tryArray( one );
         break;
      default:
         tryKeyed( one );
      }
   }
}

TEST_P( EveryObject, TellsAnUnknownFieldBeforeAnythingElse ) {
   objectIs();
   auto const last = type_.attributes.empty() ? FieldId( 2 ) : type_.attributes.back().id;
   for ( FieldId const id :
         { FieldId( 1 ), FieldId( static_cast<std::uint16_t>( last.value() + 1 ) ),
           FieldId( 65535 ), last.removal() } ) {
      for ( std::uint32_t const code : { 0U, 1U, 2U, 3U, 11U, 12U, 99U } ) {
         EXPECT_EQ( operation( code, id, arguments_ ), Result::noSuchField ) << code;
      }
   }
   for ( std::uint32_t code = 0; code < 20; ++code ) {
      EXPECT_EQ( operation( code, FieldId( 0 ), arguments_ ),
                 code == Op::isInspectable ? Result::done : Result::notAllowed )
         << code;
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryObject,
                          testing::ValuesIn( registeredTypes( []( auto& type ) {
                             return type.kind == Varek::TypeKind::entity ||
                                    type.kind == Varek::TypeKind::value;
                          } ) ),
                          registeredTypeName );

TEST( Inspection, IsOfferedByEachTypeItself ) {
   auto const profile = Dot1xV2::authNProfileFactory( "p" );
   Varek::String name;
   InspectArguments arguments;
   arguments.value = &name;
   EXPECT_EQ( Dot1xV2::AuthNProfile::inspectOperation( *profile, Op::read, { Varek::nameStringId },
                                                       arguments ),
              Result::done );
   EXPECT_EQ( name, "p" );
}

} // namespace
