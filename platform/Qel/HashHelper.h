#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <type_traits>

#include "Varek/Export.h"
#include "Varek/Hash.h"

namespace Qel {

/// The seed of all keyed collections of the process: random, so that keys chosen by an attacker
/// (MAC addresses) cannot be made to collide. It is made before static initialisers run, which may
/// therefore use collections; made at its first use it would cost every look-up a branch.
class VAREK_EXPORT HashHelper {
public:
   static std::uint32_t hashSeed32() { return seed_; }
   /// For tests that want a repeatable order. Call it only while no keyed collection has elements.
   static void hashSeed32Is( std::uint32_t seed ) { seed_ = seed; }

private:
   static std::uint32_t seed_;
};

/// The hash of a single value: its own hash( seed ) if it has that, the hash of the widened number
/// for enumerations and integers, the hash of the bytes for text.
template<class T>
inline std::uint32_t hashSingleAttr( T const& value, std::uint32_t seed ) {
   if constexpr ( std::is_enum_v<T> ) {
      return Varek::hashWord( static_cast<std::uint32_t>( value ), seed );
   } else if constexpr ( std::is_integral_v<T> ) {
      return Varek::hashWord( static_cast<std::uint64_t>( value ), seed );
   } else if constexpr ( std::is_convertible_v<T const&, std::string_view> ) {
      return Varek::hashBytes( std::string_view( value ), seed );
   } else {
      return value.hash( seed );
   }
}

/// True for the types that hash themselves with a seed, as hash( seed ).
template<class T>
concept SelfHashing = std::is_class_v<T> && requires( T const& value ) {
   { value.hash( std::uint32_t{} ) } -> std::same_as<std::uint32_t>;
};

/// True for the types that hashSingleAttr takes.
template<class T>
concept Hashable = std::is_enum_v<T> || std::is_integral_v<T> ||
                   std::is_convertible_v<T const&, std::string_view> || requires( T const& value ) {
                      { value.hash( std::uint32_t{} ) } -> std::same_as<std::uint32_t>;
                   };

} // namespace Qel

/// Whatever may be a key of a keyed collection may be a key of a standard container.
template<Qel::SelfHashing T>
struct std::hash<T> {
   std::size_t operator()( T const& value ) const {
      return value.hash( Qel::HashHelper::hashSeed32() );
   }
};
