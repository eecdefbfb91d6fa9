#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <type_traits>
#include <vector>

/// When a stored value is the same as another. This decides whether setting a value is a change,
/// and whether values that hold it are equal.
namespace Qel {

namespace Internal {

/// Whether a \p T is compared through floating-point numbers: it is such a number or a duration of
/// it, or an optional, sequence or array of such types. A value type sees to its own attributes.
template<class T>
inline constexpr bool byNumbers = std::is_floating_point_v<T>;
template<class Count, class Unit>
inline constexpr bool byNumbers<std::chrono::duration<Count, Unit>> = byNumbers<Count>;
template<class T>
inline constexpr bool byNumbers<std::optional<T>> = byNumbers<T>;
template<class T, class Allocator>
inline constexpr bool byNumbers<std::vector<T, Allocator>> = byNumbers<T>;
template<class T, std::size_t count>
inline constexpr bool byNumbers<std::array<T, count>> = byNumbers<T>;

} // namespace Internal

/// Equality, but for numbers: what is no number (NaN) is the same as itself, whatever its bits, or
/// setting it again would be a change for ever. 0.0 and -0.0 are the same, as they are equal.
template<class T>
constexpr bool same( T const& a, T const& b ) {
   if constexpr ( !Internal::byNumbers<T> ) {
      return a == b;
   } else if constexpr ( std::is_floating_point_v<T> ) {
      return a == b || ( a != a && b != b );
   } else if constexpr ( requires { a.count(); } ) {
      return same( a.count(), b.count() );
   } else if constexpr ( requires { a.has_value(); } ) {
      return a && b ? same( *a, *b ) : a.has_value() == b.has_value();
   } else {
      return std::equal( a.begin(), a.end(), b.begin(), b.end(),
                         []( auto const& one, auto const& other ) { return same( one, other ); } );
   }
}

} // namespace Qel
