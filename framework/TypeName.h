#pragma once

#include <cstdint>
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

/// The name by which records and messages call the type \p T: the qualified name of a class or
/// enumeration, a short word for a number. Known at compile time.
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

} // namespace Qel
