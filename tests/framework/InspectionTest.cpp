// Reading and driving every object of every registered type by the numbers of its attributes.

#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "Dot1xV2/Dot1xStatus.h"
#include "framework/inspect/Inspection.h"
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

   /// A new object, with parameters that are not the default, and a count of its changes.
   void objectIs() {
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
      subscription_ = entity_->subscribe( [this]( Varek::Change const& change ) {
         ++changes_;
         changed_ = change.id();
         if ( auto const& one = *type_.attribute( changed_ ); one.kind == AttributeKind::plain ) {
            old_ = std::make_unique<AnyValue>( *one.value, change.oldData() );
         }
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
   void tryKeyed( AttributeRecord const& );

   std::unique_ptr<AnyValue> value_;
   Varek::Ptr<Qel::Entity> entity_;
   Parameters parameters_;
   Varek::Subscription subscription_;
   int changes_ = 0;
   FieldId changed_;
   std::unique_ptr<AnyValue> old_; // of a plain attribute
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
   Held value( attribute ), read( attribute ), first( attribute );
   ASSERT_EQ( operation( Op::read, attribute, value.data() ), Result::done );
   operation( Op::read, attribute, first.data() );
   expectRefused( attribute, { Op::read, Op::write } );
   expectRefused( attribute, { Op::remove, Op::iterate, Op::size, Op::removeAll, Op::append },
                  value.data() );
   writeAnother( attribute, value );
   expectChanges( 1, attribute );
   EXPECT_TRUE( !isEntity_ || *old_ == *first.any );
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
   try {
      operation( Op::write, attribute, other.data(), &beyond );
      ADD_FAILURE();
   } catch ( Varek::VectorOutOfRange const& error ) {
      EXPECT_EQ( error.index(), 1U );
      EXPECT_EQ( error.size(), 1U );
   }
   EXPECT_EQ( operation( Op::read, attribute, read.data(), &first ), Result::done );
   EXPECT_EQ( read, other );
   EXPECT_EQ( operation( Op::removeLast, attribute, value.data() ), Result::done );
   EXPECT_EQ( value, other );
   EXPECT_THROW( operation( Op::removeLast, attribute ), Varek::VectorEmptyBack );
   operation( Op::append, attribute, value.data() );
   EXPECT_EQ( operation( Op::removeAll, attribute ), Result::done );
   expectSize( attribute, 0 );
}

/// What mutators do there is EveryKeyed's.
void EveryObject::tryKeyed( AttributeRecord const& attribute ) {
   bool const isArray = attribute.kind == AttributeKind::array;
   bool const keyInside =
      attribute.kind == AttributeKind::collection ||
      ( attribute.kind == AttributeKind::ordered && attribute.value->registered() );
   Held value( attribute );
   AnyValue const key( *attribute.key );
   expectRefused( attribute, { Op::write }, keyInside ? nullptr : value.data(),
                  keyInside ? key.data() : nullptr );
   expectRefused( attribute, { Op::read, Op::remove, Op::append, Op::removeLast }, value.data() );
   std::uint32_t const beyond = 1000;
   void const* const absent = isArray ? &beyond : key.data();
   EXPECT_EQ( operation( Op::read, attribute, value.data(), absent ), Result::done );
   EXPECT_FALSE( arguments_.found );
   if ( isArray ) {
      EXPECT_THROW( operation( Op::write, attribute, value.data(), absent ), Varek::RangeError );
      EXPECT_THROW( operation( Op::remove, attribute, nullptr, absent ), Varek::RangeError );
      return;
   }
   operation( Op::write, attribute, value.data(), key.data() );
   expectSize( attribute, 1 );
   ASSERT_EQ( operation( Op::iterate, attribute ), Result::done );
   arguments_.functions->iterKey( arguments_.iterator, key.data() );
   arguments_.functions->iterDel( arguments_.iterator );
   EXPECT_EQ( operation( Op::read, attribute, value.data(), key.data() ), Result::done );
   EXPECT_TRUE( arguments_.found );
   EXPECT_EQ( operation( Op::removeAll, attribute ), Result::done );
   expectSize( attribute, 0 );
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
