#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "framework/declare/Attributes.h"
#include "framework/declare/EntityOf.h"
#include "framework/inspect/InspectionRecords.h"
#include "framework/records/Enumeration.h"
#include "framework/records/Records.h"
#include "framework/wire/AttrLogRecords.h"

/// The record of a module: its types in slot order, registered when the library is loaded.
namespace Qel {

namespace Internal {

template<class T, class D>
constexpr AttributeWire makeAttributeWire() {
   AttributeWire wire;
   if constexpr ( isStored( D::kind ) ) {
      constexpr bool alone = std::is_base_of_v<Entity, T> && D::kind != AttributeKind::parameter;
      if constexpr ( alone ) {
         wire = { attributeLog<T, D>.form, &attributeLog<T, D> };
      } else {
         wire.form = Wire<typename D::Field>::form;
      }
   }
   return wire;
}

template<class T>
inline constexpr auto attributeWires = [] {
   std::array<AttributeWire, attributeCount<T>()> wires{};
   std::size_t i = 0;
   forEachAttribute<T>( [&]<class D>( D ) { wires[i++] = makeAttributeWire<T, D>(); } );
   return wires;
}();

/// Whether an attribute holds a child, or several elements by key.
template<class D>
constexpr bool isHolder( D ) {
   return D::kind != AttributeKind::plain && D::kind != AttributeKind::array;
}

/// The attributes that travel in messages of their own and are as \p wanted, as bits by position.
template<class T, class Wanted>
constexpr std::uint64_t attributeBits( Wanted wanted ) {
   std::uint64_t bits = 0;
   std::uint64_t bit = 1;
   forEachAttribute<T>( [&]<class D>( D descriptor ) {
      if constexpr ( isStored( D::kind ) && D::kind != AttributeKind::parameter ) {
         bits |= wanted( descriptor ) ? bit : 0;
      }
      bit <<= 1;
   } );
   return bits;
}

template<class T>
constexpr TypeRecord makeTypeRecord( Varek::ModuleInspectData const& module, std::uint32_t index ) {
   TypeRecord record;
   record.name = typeName<T>;
   record.module = &module;
   record.index = index;
   record.size = sizeof( T );
   if constexpr ( std::is_enum_v<T> ) {
      record.kind = sizeof( T ) == 1 ? Varek::TypeKind::enum8 : Varek::TypeKind::enum32;
      record.enumerators = decltype( qelEnumerators( T{} ) )::all;
      record.enumeratorsByName = decltype( qelEnumerators( T{} ) )::byName;
   } else {
      record.attributes = attributeRecords<T>;
      record.wire = attributeWires<T>.data();
      record.inspection = attributeInspections<T>.data();
   }
   if constexpr ( std::is_base_of_v<Entity, T> ) {
      record.kind = Varek::TypeKind::entity;
      record.allocations = &T::allocations();
      record.construct = T::qelConstruct;
      record.constructorLog = &constructorLog<T>;
      record.valuesLog = &valuesLog<T>;
      record.holders = attributeBits<T>( []( auto descriptor ) { return isHolder( descriptor ); } );
      record.elsewhere = attributeBits<T>( []<class D>( D descriptor ) {
         return isHolder( descriptor ) || HasElsewhere<typename D::Field>;
      } );
   } else {
      record.hashable = Hashable<T>;
      record.functions = valueTable<T>;
      record.valueLog = &valueLog<T>;
      if constexpr ( hasRange<T>() ) {
         record.rangesCheck = valueRangesCheck<T>;
      }
   }
   return record;
}

template<Varek::ModuleInspectData const& module, class... Ts>
struct ModuleTypes {
   static constexpr std::size_t count = sizeof...( Ts );
   static constexpr std::array<TypeRecord, count> records = [] {
      std::uint32_t index = 0;
      return std::array<TypeRecord, count>{ makeTypeRecord<Ts>( module, index++ )... };
   }();
   static constexpr std::array<Varek::TypeInspectData const*, count> types = [] {
      std::array<Varek::TypeInspectData const*, count> all{};
      for ( std::size_t i = 0; i < count; ++i ) {
         all[i] = &records[i];
      }
      return all;
   }();

   template<std::uint32_t... places>
   static consteval bool slotsAgree( std::integer_sequence<std::uint32_t, places...> ) {
      return ( NamedAtItsSlot<Ts, places, standsAt<Ts, module, places>()>::yes && ... );
   }
   static_assert( slotsAgree( std::make_integer_sequence<std::uint32_t, count>() ) );
   static_assert( !Claimed<module, count>, "QEL_MODULE leaves out the last type of the module" );
};

} // namespace Internal

/// Defines the record VARIABLE of the module NAME, with its types in slot order, and registers it
/// when the library is loaded. In the module's source file, once.
#define QEL_MODULE( NAME, VARIABLE, ... )                                                          \
   constinit ::Varek::ModuleInspectData const VARIABLE{                                            \
      NAME, ::Qel::Internal::ModuleTypes<VARIABLE, __VA_ARGS__>::types };                          \
   [[maybe_unused]] static bool const VARIABLE##Registered = [] {                                  \
      ::Varek::ModuleInspectData::loaded( VARIABLE );                                              \
      return true;                                                                                 \
   }()

} // namespace Qel
