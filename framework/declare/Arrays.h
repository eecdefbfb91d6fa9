#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "framework/declare/Mutators.h"

/// Arrays of a fixed number of values, in entities and in values. The key of a change is the index.
namespace Qel {

[[noreturn]] inline void throwArrayIndex( std::uint64_t index, std::size_t size ) {
   throw Varek::RangeError( "cannot access index " + std::to_string( index ) +
                            " of an array with size " + std::to_string( size ) );
}

/// The element at \p index, see sequenceIs. Throws Varek::RangeError if there is none.
template<class Array>
auto& arrayAt( Array& array, std::uint64_t index ) {
   if ( index >= array.size() ) [[unlikely]] {
      throwArrayIndex( index, array.size() );
   }
   return array[static_cast<std::uint32_t>( index )];
}

template<Writer by = Writer::caller, class Owner, class V, std::size_t count>
void arrayIs( Owner& owner, Varek::FieldId id, std::array<V, count>& array, std::uint64_t index,
              V const& value ) {
   V& held = arrayAt( array, index );
   if ( same( held, value ) ) {
      return;
   }
   requireWritable<by>( owner );
   V const old = std::exchange( held, V( value ) );
   tell( owner, id, static_cast<std::uint32_t>( index ), &old );
}

template<class Owner, class V, std::size_t count>
V arrayDel( Owner& owner, Varek::FieldId id, std::array<V, count>& array, std::uint64_t index ) {
   V& held = arrayAt( array, index );
   V blank{};
   if ( same( held, blank ) ) {
      return blank;
   }
   requireWritable<Writer::caller>( owner );
   V old = std::exchange( held, std::move( blank ) );
   tell( owner, id, static_cast<std::uint32_t>( index ), &old );
   return old;
}

template<class Owner, class V, std::size_t count>
void arrayDelAll( Owner& owner, Varek::FieldId id, std::array<V, count>& array ) {
   Ptr<Entity> keepAlive;
   if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      keepAlive = Ptr<Entity>( &owner );
   }
   FirstFailure failure;
   for ( std::uint32_t index = 0; index < count; ++index ) {
      failure.guard( [&] { arrayDel( owner, id, array, index ); } );
   }
   failure.rethrow();
}

} // namespace Qel
