#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "Qel/HashHelper.h"
#include "Varek/ModuleInspectData.h"
#include "framework/wire/WireForms.h"

/// Checks of declarations at compile time, in the line of the declaration: a fault is a sentence
/// with the names in it, not a page of instantiations or a crash at the start.
namespace Qel {

// Slots. A type claims its slot where it is declared; the module's record, in a source file, sees
// all claims. A claim is the definition of a friend function: Slot, which names the slot, declares
// it, and ClaimedSlot, which knows the type, defines it. So a second claim is a redefinition.

#if defined( __GNUC__ ) && !defined( __clang__ )
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-template-friend" // it is meant
#endif
template<Varek::ModuleInspectData const& module, std::uint32_t index>
struct Slot {
   friend constexpr auto qelTypeIn( Slot );
};
template<class T, Varek::ModuleInspectData const& module, std::uint32_t index>
struct ClaimedSlot {
   friend constexpr auto qelTypeIn( Slot<module, index> ) { return std::type_identity<T>{}; }
   static constexpr bool one = true;
};
#if defined( __GNUC__ ) && !defined( __clang__ )
#pragma GCC diagnostic pop
#endif

/// Whether a type that has been declared so far is number \p index of \p module.
template<Varek::ModuleInspectData const& module, std::uint32_t index>
concept Claimed = requires { typename decltype( qelTypeIn( Slot<module, index>{} ) )::type; };

namespace Internal {

template<class T, Varek::ModuleInspectData const& module, std::uint32_t place>
constexpr bool standsAt() {
   if constexpr ( Claimed<module, place> ) {
      return std::same_as<typename decltype( qelTypeIn( Slot<module, place>{} ) )::type, T>;
   } else {
      return false;
   }
}

/// \p T, the type that QEL_MODULE names in place number \p place, from 0.
template<class T, std::uint32_t place, bool agrees>
struct NamedAtItsSlot {
   static_assert( agrees, "QEL_MODULE names a type at another place than the slot that its "
                          "declaration says, or leaves out one before it" );
   static constexpr bool yes = true;
};

/// \p missing is an id that no attribute of \p T has, though an attribute with a greater id is
/// there.
template<class T, std::uint16_t missing, bool isLast>
struct FieldIdsAreDense {
   static_assert( isLast, "field ids have a gap" );
   static constexpr bool yes = true;
};

constexpr bool isIdentifier( std::string_view text ) {
   auto const isLetter = []( char c ) {
      return ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || c == '_';
   };
   return !text.empty() && isLetter( text.front() ) &&
          std::all_of( text.begin(), text.end(),
                       [&]( char c ) { return isLetter( c ) || ( c >= '0' && c <= '9' ); } );
}

/// Whether the default that \p make makes is an enumerator, if \p T is a declared enumeration.
template<class T, class Make>
constexpr bool isEnumerator( Make make ) {
   if constexpr ( requires { qelEnumerators( T{} ); } ) {
      auto const& all = decltype( qelEnumerators( T{} ) )::all;
      return std::any_of( all.begin(), all.end(), [&]( auto& one ) {
         return one.value == static_cast<std::uint32_t>( make() );
      } );
   } else {
      return true;
   }
}

} // namespace Internal

/// The types that can be keys of hashed and of ordered collections.
template<class K>
concept KeyOfHash = Hashable<K> && std::equality_comparable<K> && NboAttrLog::Logged<K>;
template<class K>
concept KeyOfOrder = NboAttrLog::Logged<K> && requires( K const& a, K const& b ) {
   { a < b } -> std::convertible_to<bool>;
};

} // namespace Qel

/// A NAME that is no identifier is part of a type with a comma, at which the macro split it.
#define QEL_INTERNAL_NAME_CHECK( ID, NAME )                                                        \
   static_assert( ::Qel::Internal::isIdentifier( #NAME ),                                          \
                  "field " #ID ": \"" #NAME "\" is no name; a type with a comma in it needs a "    \
                  "name of its own (using)" )
#define QEL_INTERNAL_KEY_CHECK( NAME, ... )                                                        \
   static_assert( ::Qel::KeyOfHash<__VA_ARGS__>,                                                   \
                  "the key of " #NAME " needs a hash (Qel/HashHelper.h), == and a form in the "    \
                  "attribute log (framework/wire/WireForms.h)" )
#define QEL_INTERNAL_ORDER_CHECK( NAME, ... )                                                      \
   static_assert( ::Qel::KeyOfOrder<__VA_ARGS__>,                                                  \
                  "the key of " #NAME " needs < and a form in the attribute log "                  \
                  "(framework/wire/WireForms.h)" )
