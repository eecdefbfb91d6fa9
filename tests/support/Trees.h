#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <random>
#include <set>
#include <string>

#include "support/RandomChange.h"
#include "support/TestModule.h"

/// Comparison and random changes of trees of any types, by their records.
namespace Trees {

/// A line for each value, element and child of a tree.
using Lines = std::set<std::string>;

inline void addLines( Lines& to, std::string const& path, Qel::Entity const& );

/// "path[key] value" for each element, in any order, and the number of elements.
inline void addElements( Lines& to, std::string const& path, Qel::Entity const& entity,
                         Qel::AttributeRecord const& one ) {
   std::size_t count = 0;
   void* const at = one.iterate( &entity, nullptr );
   for ( AnyValue const key( *one.key ); one.iterator->iterNonnull( at );
         one.iterator->iterInc( at ), ++count ) {
      one.iterator->iterKey( at, key.data() );
      std::string const element = path + "[" + key.form() + "]";
      void const* const object = one.iterator->iterPeek( at );
      if ( one.childType ) {
         addLines( to, element, *Qel::oldChild( Qel::typeRecord( entity ), one.id, object ) );
      } else {
         std::string value;
         one.iterator->object->print( value, object );
         to.insert( element + " " + value );
      }
   }
   one.iterator->iterDel( at );
   to.insert( path + " holds " + std::to_string( count ) );
}

inline void addLines( Lines& to, std::string const& path, Qel::Entity const& entity ) {
   Qel::TypeRecord const& type = Qel::typeRecord( entity );
   to.insert( path + " is a " + std::string( type.name ) );
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      std::string const here = path + "/" + std::string( one.name );
      if ( one.child ) {
         if ( Qel::Entity const* const child = one.child( &entity ) ) {
            addLines( to, here, *child );
         } else {
            to.insert( here + " is not there" );
         }
      } else if ( one.read ) {
         std::string value;
         one.value->print( value, one.read( &entity ) );
         to.insert( here + " " + value );
      } else if ( one.iterate ) {
         addElements( to, here, entity, one );
      }
   }
}

inline Lines linesOf( Qel::Entity const& entity ) {
   Lines lines;
   addLines( lines, "", entity );
   return lines;
}

/// The first line that only one of both has; empty if they are equal.
inline std::string difference( Qel::Entity const& a, Qel::Entity const& b ) {
   Lines const x = linesOf( a ), y = linesOf( b );
   Lines either;
   std::set_symmetric_difference( x.begin(), x.end(), y.begin(), y.end(),
                                  std::inserter( either, either.end() ) );
   return either.empty() ? std::string() : "differs in" + either.begin()->substr( 0, 200 );
}

/// Makes a random change.
inline void change( Qel::Entity& entity, std::mt19937& random ) {
   RandomChange( static_cast<std::uint32_t>( random() ) )( entity );
}

inline TestModule::Reading reading( std::uint32_t number, std::uint32_t sample ) {
   TestModule::Reading made( number );
   made.samplePush( sample );
   return made;
}

} // namespace Trees
