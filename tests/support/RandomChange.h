#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "framework/inspect/Inspection.h"
#include "support/AnyValue.h"

/// Changes something somewhere in a tree of entities, whatever its types, through inspection alone:
/// a type that is added is changed without a line here. Keys are few, so that elements come,
/// change, go and come again.
class RandomChange {
public:
   /// \p avoided is a text that no value is to have in its form.
   explicit RandomChange( std::uint32_t seed, std::string const& avoided = "-0" )
      : avoided_( avoided ), engine_( seed ) {}

   std::uint32_t below( std::size_t end ) {
      return static_cast<std::uint32_t>( engine_() % static_cast<std::uint32_t>( end ) );
   }

   /// \p below: also of what is below the entity.
   void operator()( Qel::Entity& entity, bool below = true ) {
      Qel::TypeRecord const& type = Qel::typeRecord( entity );
      // Not every attribute can be changed; in a tree, most of what there is lies further down.
      for ( unsigned tries = 0; tries < 50; ++tries ) {
         Qel::AttributeRecord const& one = type.attributes[this->below( type.attributes.size() )];
         if ( one.childType ? below && changeChild( type, entity, one )
                            : changeValue( type, entity, one ) ) {
            return;
         }
      }
   }

private:
   using Op = std::uint32_t;

   bool run( Qel::TypeRecord const& type, Qel::Entity& entity, Op op,
             Qel::AttributeRecord const& one, void* value, void const* key ) {
      Qel::InspectArguments arguments;
      arguments.value = value;
      arguments.key = key;
      return Qel::inspectOperation( type, &entity, op, { one.id }, arguments ) ==
             Qel::InspectResult::done;
   }

   bool changeValue( Qel::TypeRecord const& type, Qel::Entity& entity,
                     Qel::AttributeRecord const& one ) {
      using Kind = Qel::AttributeKind;
      if ( one.kind == Kind::parameter || one.kind == Kind::constant ||
           one.kind == Kind::derived ) {
         return false;
      }
      AnyValue const value( *one.value );
      fill( value, below( 1U << 30 ) );
      if ( !one.key ) {
         return run( type, entity, Qel::InspectOperation::write, one, value.data(), nullptr );
      }
      if ( below( 40 ) == 0 ) {
         return run( type, entity, Qel::InspectOperation::removeAll, one, nullptr, nullptr );
      }
      AnyValue const key( *one.key );
      fillKey( one, key );
      bool const remove = below( 3 ) == 0;
      return run( type, entity,
                  remove ? Qel::InspectOperation::remove : Qel::InspectOperation::write, one,
                  remove ? nullptr : value.data(), key.data() );
   }

   bool changeChild( Qel::TypeRecord const& type, Qel::Entity& entity,
                     Qel::AttributeRecord const& one ) {
      std::optional<AnyValue> key;
      if ( auto const* const parameter = Qel::typeRecord( one.childType() ).parameter() ) {
         key.emplace( *parameter->value );
         fillKey( one, *key );
      }
      void const* const at = key ? key->data() : nullptr;
      if ( below( 12 ) == 0 ) {
         return run( type, entity, Qel::InspectOperation::remove, one, nullptr,
                     one.kind == Qel::AttributeKind::child ? nullptr : at );
      }
      Varek::Ptr<Qel::Entity> child;
      bool const held = one.kind == Qel::AttributeKind::child && one.child( &entity );
      if ( held && below( 4 ) != 0 ) {
         child = Varek::Ptr<Qel::Entity>( one.child( &entity ) );
      } else if ( !run( type, entity, Qel::InspectOperation::write, one, &child, at ) ) {
         return false;
      }
      if ( child ) {
         ( *this )( *child );
      }
      return true;
   }

   void fillKey( Qel::AttributeRecord const& one, AnyValue const& key ) {
      if ( one.kind == Qel::AttributeKind::array ) {
         *static_cast<std::uint32_t*>( key.data() ) = below( 2 );
      } else {
         fill( key, below( 5 ) );
      }
   }
   /// The same for the same \p seed. Equal values print alike.
   void fill( AnyValue const& value, std::uint32_t seed ) const {
      RandomValues values( seed + 1 );
      do {
         values.fill( value );
      } while ( contains( value, "-0" ) || contains( value, avoided_ ) );
      if ( value.type().typeName == "Varek::String" && seed % 3 == 2 ) {
         *static_cast<Varek::String*>( value.data() ) += Varek::String( seed % 300, 'x' );
      }
   }

   static bool contains( AnyValue const& value, std::string const& text ) {
      return value.form().find( text ) != std::string::npos;
   }

   std::string avoided_;
   std::minstd_rand engine_;
};
