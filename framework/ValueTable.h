#pragma once

#include <charconv>
#include <concepts>
#include <memory>
#include <optional>
#include <type_traits>

#include "Qel/HashHelper.h"
#include "Varek/Inspect.h"
#include "framework/TypeName.h"

/// Fills the table of functions (Varek/Inspect.h) by which generic code handles values of a type.
namespace Qel {

/// A type that a module registers: it knows its module and its index there.
template<class T>
concept RegisteredClass = requires {
   { T::qelBinding() } -> std::same_as<Varek::TypeData>;
};
template<class T>
concept RegisteredEnum = std::is_enum_v<T> && requires( T value ) {
   { qelBinding( value ) } -> std::same_as<Varek::TypeData>;
};

/// The registered type of \p T: null module for a type of the platform.
template<class T>
Varek::TypeData bindingOf() {
   if constexpr ( RegisteredClass<T> )
      return T::qelBinding();
   else if constexpr ( RegisteredEnum<T> )
      return qelBinding( T{} );
   else
      return {};
}

/// A type that prints: a boolean or number, text, a duration, an optional of one that prints, or
/// anything with a stringValue of its own.
template<class T>
concept HasText = std::is_arithmetic_v<T> || std::is_convertible_v<T const&, std::string_view> ||
   std::same_as<T, Varek::Duration> || requires( T const& value ) {
   { stringValue( value ) } -> std::convertible_to<Varek::String>;
};

template<HasText T>
Varek::String textOf( T const& value ) {
   if constexpr ( std::same_as<T, bool> ) {
      return value ? "true" : "false";
   } else if constexpr ( std::is_arithmetic_v<T> ) {
      char text[40];
      return { text, std::to_chars( text, text + sizeof text, value ).ptr };
   } else if constexpr ( std::same_as<T, Varek::Duration> ) {
      return textOf( value.count() );
   } else if constexpr ( std::is_convertible_v<T const&, std::string_view> ) {
      return Varek::String( value );
   } else {
      return stringValue( value );
   }
}

} // namespace Qel

namespace Varek::Inspect {

/// The functions for values of type \p T, one static member per entry of the table.
template<class T>
struct InspectAtomicFnTable {
   static T& at( void* p ) { return *static_cast<T*>( p ); }
   static T const& at( void const* p ) { return *static_cast<T const*>( p ); }

   static void inspectConstruct( void* destination, void const* source ) {
      if ( source )
         ::new ( destination ) T( at( source ) );
      else
         ::new ( destination ) T();
   }
   static void inspectDestroy( void* p ) { std::destroy_at( &at( p ) ); }
   static void assign( void* p, void const* source ) { at( p ) = at( source ); }
   static bool equal( void const* a, void const* b ) { return at( a ) == at( b ); }
   static String inspectEncodeToString( void const* p ) {
      if constexpr ( Qel::HasText<T> )
         return Qel::textOf( at( p ) );
      else
         return String( Qel::typeName<T> );
   }
   static std::uint32_t inspectGetHash( void const* p ) {
      if constexpr ( Qel::Hashable<T> ) {
         return Qel::hashSingleAttr( at( p ), 0 );
      } else {
         TypeData const type = Qel::bindingOf<T>();
         throwNonHashableType( type.module, type.index, Qel::typeName<T> );
      }
   }
   static TypeInspectData const* registered() {
      TypeData const type = Qel::bindingOf<T>();
      return type.module ? type.module->types[type.index] : nullptr;
   }

   static constexpr AtomicFnTable table{ Qel::typeName<T>,
                                         sizeof( T ),
                                         alignof( T ),
                                         inspectConstruct,
                                         inspectDestroy,
                                         assign,
                                         equal,
                                         Qel::HasText<T> ? inspectEncodeToString : nullptr,
                                         inspectGetHash,
                                         Qel::Hashable<T>,
                                         registered };
};

} // namespace Varek::Inspect
