#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Varek/String.h"

namespace Qel {

namespace Internal {

template<class T>
constexpr std::string_view compilerTypeName() {
   // "... compilerTypeName() [with T = Dot1xV2::AaaResponse; ...]" or "... [T =
   // Dot1xV2::AaaResponse]"
   std::string_view const whole = __PRETTY_FUNCTION__;
   std::size_t const from = whole.find( "T = " ) + 4;
   return whole.substr( from, whole.find_first_of( ";]", from ) - from );
}

} // namespace Internal

/// The name of the type \p T in records and messages: the qualified name of a class or enumeration,
/// a short word for a number. Known at compile time.
template<class T>
inline constexpr std::string_view typeName = Internal::compilerTypeName<T>();

template<>
inline constexpr std::string_view typeName<bool> = "bool";
template<>
inline constexpr std::string_view typeName<std::uint8_t> = "U8";
template<>
inline constexpr std::string_view typeName<std::uint16_t> = "U16";
template<>
inline constexpr std::string_view typeName<std::uint32_t> = "U32";
template<>
inline constexpr std::string_view typeName<std::uint64_t> = "U64";
template<>
inline constexpr std::string_view typeName<Varek::String> = "Varek::String";
template<>
inline constexpr std::string_view typeName<Varek::Duration> = "Varek::Duration";

namespace Internal {

template<class T>
inline constexpr auto optionalTypeName = [] {
   constexpr std::string_view front = "std::optional<", inside = typeName<T>;
   std::array<char, front.size() + inside.size() + 1> name{};
   std::size_t at = 0;
   for ( std::string_view const part : { front, inside, std::string_view( ">" ) } ) {
      for ( char const c : part ) {
         name[at++] = c;
      }
   }
   return name;
}();

} // namespace Internal

/// Built from the name of the element type, since compilers spell templates differently.
template<class T>
inline constexpr std::string_view typeName<std::optional<T>>{
   Internal::optionalTypeName<T>.data(), Internal::optionalTypeName<T>.size() };

} // namespace Qel
