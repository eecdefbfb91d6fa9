#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "Qel/EnumType.h"
#include "Varek/ModuleInspectData.h"
#include "framework/declare/DeclarationChecks.h"

/// Enumerations, declared once. QEL_ENUM takes the enumerators as they stand in an enumeration
/// ("first, second, other = 9") and reads the same text at compile time for their names and values.
namespace Qel {

namespace Internal {

constexpr std::size_t enumeratorCount( std::string_view text ) {
   return 1 + static_cast<std::size_t>( std::count( text.begin(), text.end(), ',' ) );
}

constexpr std::string_view trimmed( std::string_view text ) {
   constexpr std::string_view blanks = " \t\n";
   std::size_t const from = text.find_first_not_of( blanks );
   if ( from == std::string_view::npos ) {
      return {};
   }
   return text.substr( from, text.find_last_not_of( blanks ) + 1 - from );
}

constexpr std::uint32_t decimal( std::string_view text ) {
   std::uint32_t value = 0;
   for ( char const digit : text ) {
      if ( digit < '0' || digit > '9' ) {
         throw "an enumerator's value is a decimal number";
      }
      value = value * 10 + static_cast<std::uint32_t>( digit - '0' );
   }
   return value;
}

template<std::size_t count>
constexpr std::array<Varek::EnumeratorData, count> enumerators( std::string_view text ) {
   std::array<Varek::EnumeratorData, count> all{};
   std::uint32_t next = 0;
   for ( Varek::EnumeratorData& one : all ) {
      std::string_view const item = text.substr( 0, text.find( ',' ) );
      text.remove_prefix( std::min( text.size(), item.size() + 1 ) );
      std::size_t const equals = item.find( '=' );
      if ( equals != std::string_view::npos ) {
         next = decimal( trimmed( item.substr( equals + 1 ) ) );
      }
      one = { next++, trimmed( item.substr( 0, equals ) ) };
   }
   std::sort( all.begin(), all.end(), []( auto& a, auto& b ) { return a.value < b.value; } );
   return all;
}

/// The positions of the enumerators \p all in ascending order of their names.
template<std::size_t count>
constexpr std::array<std::uint16_t, count>
enumeratorsByName( std::array<Varek::EnumeratorData, count> const& all ) {
   static_assert( count <= 0x10000 );
   std::array<std::uint16_t, count> index{};
   for ( std::size_t i = 0; i < count; ++i ) {
      index[i] = static_cast<std::uint16_t>( i );
   }
   std::sort( index.begin(), index.end(),
              [&]( auto a, auto b ) { return all[a].name < all[b].name; } );
   return index;
}

} // namespace Internal

/// Declares the enumeration NAME, stored in WIDTH (unsigned char or unsigned int), as type number
/// SLOT of MODULE, with its five operations. The enumerators follow.
#define QEL_ENUM( NAME, WIDTH, MODULE, SLOT, ... )                                                 \
   enum class NAME : WIDTH { __VA_ARGS__ };                                                        \
   struct NAME##Enumerators {                                                                      \
      static constexpr auto all =                                                                  \
         ::Qel::Internal::enumerators<::Qel::Internal::enumeratorCount( #__VA_ARGS__ )>(           \
            #__VA_ARGS__ );                                                                        \
      static constexpr auto byName = ::Qel::Internal::enumeratorsByName( all );                    \
   };                                                                                              \
   constexpr NAME##Enumerators qelEnumerators( NAME ) { return {}; }                               \
   static_assert( ::Qel::ClaimedSlot<NAME, MODULE, SLOT>::one );                                   \
   inline ::Varek::TypeData qelBinding( NAME ) { return { &MODULE, SLOT }; }                       \
   inline NAME NAME##Instance( unsigned int value ) {                                              \
      return static_cast<NAME>( ::Qel::EnumType<WIDTH>::instance( value, MODULE, SLOT ) );         \
   }                                                                                               \
   inline NAME NAME##Instance( ::Varek::String const& name ) {                                     \
      return static_cast<NAME>( ::Qel::EnumType<WIDTH>::instance( name, MODULE, SLOT ) );          \
   }                                                                                               \
   inline ::Varek::String stringValue( NAME value ) {                                              \
      return ::Qel::EnumType<WIDTH>::stringValue( static_cast<WIDTH>( value ), MODULE, SLOT );     \
   }                                                                                               \
   inline ::std::ostream& operator<<( ::std::ostream& out, NAME const& value ) {                   \
      return ::Qel::EnumType<WIDTH>::operatorLessLess( out, static_cast<WIDTH>( value ), MODULE,   \
                                                       SLOT );                                     \
   }                                                                                               \
   inline void sequenceToValue( ::Qel::CharRange& range, NAME* value ) {                           \
      WIDTH read;                                                                                  \
      ::Qel::EnumType<WIDTH>::sequenceToValue( range, &read, MODULE, SLOT );                       \
      *value = static_cast<NAME>( read );                                                          \
   }                                                                                               \
   static_assert( SLOT >= 0 )

} // namespace Qel
