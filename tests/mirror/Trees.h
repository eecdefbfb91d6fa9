#pragma once

#include <algorithm>
#include <random>
#include <set>
#include <string>

#include "support/RandomChange.h"
#include "support/TestModule.h"

/// Trees of any types: whether two are equal, and random changes, all by their records.
namespace Trees {

inline std::string text( Qel::Entity const& );

inline void appendAttribute( std::string& to, Qel::Entity const& entity,
                             Qel::AttributeRecord const& one ) {
   auto const& type = Qel::typeRecord( entity );
   if ( one.child ) {
      if ( Qel::Entity const* const child = one.child( &entity ) ) {
         to += text( *child );
      }
   } else if ( one.read ) {
      one.value->print( to, one.read( &entity ) );
   } else if ( one.iterate ) {
      // Unordered collections are equal in whatever order.
      std::set<std::string> elements;
      void* const at = one.iterate( &entity, nullptr );
      for ( AnyValue const key( *one.key ); one.iterator->iterNonnull( at );
            one.iterator->iterInc( at ) ) {
         one.iterator->iterKey( at, key.data() );
         std::string element = key.form() + " ";
         void const* const object = one.iterator->iterPeek( at );
         if ( one.childType ) {
            element += text( *Qel::oldChild( type, one.id, object ) );
         } else {
            one.iterator->object->print( element, object );
         }
         elements.insert( element );
      }
      one.iterator->iterDel( at );
      for ( std::string const& element : elements ) {
         to += "\n[" + element + "]";
      }
   }
}

inline std::string text( Qel::Entity const& entity ) {
   auto const& type = Qel::typeRecord( entity );
   std::string all( type.name );
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      all.append( "\n" ).append( one.name ).append( " " );
      appendAttribute( all, entity, one );
   }
   return all;
}

/// Where the two differ first; empty if they are equal.
inline std::string difference( Qel::Entity const& a, Qel::Entity const& b ) {
   std::string const x = text( a ), y = text( b );
   auto const at = std::mismatch( x.begin(), x.end(), y.begin(), y.end() ).first;
   return x == y ? std::string()
                 : "from " + x.substr( static_cast<std::size_t>( at - x.begin() ), 200 );
}

/// One random change.
inline void change( Qel::Entity& entity, std::mt19937& random ) {
   RandomChange( static_cast<std::uint32_t>( random() ) )( entity );
}

inline TestModule::Reading reading( std::uint32_t number, std::uint32_t sample ) {
   TestModule::Reading made( number );
   made.samplePush( sample );
   return made;
}

} // namespace Trees
