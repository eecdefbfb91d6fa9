#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>

#include "framework/declare/Attributes.h"
#include "framework/wire/WireForms.h"

/// The form of value types in the attribute log: their stored fields, in id order.
namespace Qel {

template<class Self>
class ValueOf;

/// Whether an attribute of this kind has storage of its own.
constexpr bool isStored( AttributeKind kind ) {
   return kind != AttributeKind::constant && kind != AttributeKind::derived;
}

template<class T>
   requires std::derived_from<T, ValueOf<T>>
struct Wire<T> {
   static constexpr std::size_t least = [] {
      std::size_t sum = 0;
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( isStored( D::kind ) ) {
            sum += Wire<typename D::Field>::least;
         }
      } );
      // A holder of constants takes no room, but a count of them must still be bounded.
      return std::max<std::size_t>( sum, 1 );
   }();

   static std::size_t size( T const& value ) {
      std::size_t sum = 0;
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( isStored( D::kind ) ) {
            sum += Wire<typename D::Field>::size( D::get( value ) );
         }
      } );
      return sum;
   }
   static std::uint8_t* put( std::uint8_t* to, T const& value ) {
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( isStored( D::kind ) ) {
            to = Wire<typename D::Field>::put( to, D::get( value ) );
         }
      } );
      return to;
   }
   static void read( NboAttrLog::In& in, T& value ) {
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( isStored( D::kind ) ) {
            Wire<typename D::Field>::read( in, D::get( value ) );
         }
      } );
   }
   static void form( Varek::String& text ) { formAppend( text, typeName<T> ); }
};

} // namespace Qel
