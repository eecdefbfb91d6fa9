#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Qel/CharRange.h"
#include "Qel/HashHelper.h"
#include "Varek/Inspect.h"
#include "framework/records/Same.h"
#include "framework/records/TypeName.h"
#include "framework/text/Strep.h"

/// Fills the table of functions (Varek/Inspect.h) by which generic code handles values of a type.
namespace Qel {

/// A type that a module registers: it knows its module and its index there.
template<class T>
concept RegisteredClass = requires {
   { T::qelBinding() } -> std::same_as<Varek::TypeData>;
};
template<class T>
concept RegisteredEnum = std::is_enum_v<T> && requires( T value ) {
   { qelBinding( value ) } -> std::same_as<Varek::TypeData>;
};

/// The registered type of \p T; the module is null for a type of the platform.
template<class T>
Varek::TypeData bindingOf() {
   if constexpr ( RegisteredClass<T> ) {
      return T::qelBinding();
   } else if constexpr ( RegisteredEnum<T> ) {
      return qelBinding( T{} );
   } else {
      return {};
   }
}

namespace Internal {

template<class T>
inline constexpr bool isOptional = false;
template<class T>
inline constexpr bool isOptional<std::optional<T>> = true;

/// A plain enumeration with a function beside it that reads its words.
template<class T>
concept WordEnum =
   std::is_enum_v<T> && requires( std::string_view word, T& value ) { wordRead( word, value ); };

template<class T>
constexpr bool hasText() {
   if constexpr ( isOptional<T> ) {
      return hasText<typename T::value_type>();
   } else {
      return std::is_arithmetic_v<T> || std::is_convertible_v<T const&, std::string_view> ||
             std::same_as<T, Varek::Duration> || requires( T const& value ) {
                { stringValue( value ) } -> std::convertible_to<Varek::String>;
             };
   }
}

template<class T>
constexpr bool isReadable() {
   if constexpr ( isOptional<T> ) {
      return isReadable<typename T::value_type>();
   } else {
      return hasText<T>() &&
             ( std::is_arithmetic_v<T> || RegisteredClass<T> || RegisteredEnum<T> || WordEnum<T> ||
               std::same_as<T, Varek::Bytes> || std::same_as<T, Varek::Duration> ||
               std::constructible_from<T, std::string_view> );
   }
}

/// An optional must have a word for "no value" that is no value.
template<class T>
constexpr bool isAbsentUnique() {
   if constexpr ( RegisteredEnum<T> ) {
      for ( auto const& one : decltype( qelEnumerators( T{} ) )::all ) {
         if ( one.name == absentWord ) {
            return false;
         }
      }
   }
   return !isOptional<T>;
}

} // namespace Internal

/// A type that prints: a boolean or number, text, a duration, an optional of a type that prints, or
/// any type with a stringValue of its own.
template<class T>
concept HasText = Internal::hasText<T>();
/// A type that prints and can be read from text again.
template<class T>
concept Readable = Internal::isReadable<T>();

template<HasText T>
void formPrint( Varek::String& to, T const& value );

/// The string form of a value by itself.
template<HasText T>
Varek::String textOf( T const& value ) {
   if constexpr ( std::same_as<T, bool> ) {
      return value ? "true" : "false";
   } else if constexpr ( std::is_floating_point_v<T> ) {
      return Strep::numberText( value );
   } else if constexpr ( std::is_arithmetic_v<T> ) {
      return std::to_string( value );
   } else if constexpr ( std::same_as<T, Varek::Duration> ) {
      return Strep::numberText( value.count() );
   } else if constexpr ( std::is_convertible_v<T const&, std::string_view> ) {
      return Varek::String( value );
   } else if constexpr ( Internal::isOptional<T> ) {
      Varek::String text;
      formPrint( text, value );
      return text;
   } else {
      return stringValue( value );
   }
}

/// Appends the string form inside of another value, where text is in quotes and an empty optional
/// is the word for "no value".
template<HasText T>
void formPrint( Varek::String& to, T const& value ) {
   if constexpr ( Internal::isOptional<T> ) {
      static_assert( Internal::isAbsentUnique<typename T::value_type>() );
      if ( value ) {
         formPrint( to, *value );
      } else {
         to += absentWord;
      }
   } else if constexpr ( std::is_convertible_v<T const&, std::string_view> ) {
      Strep::quotedPrint( to, value );
   } else if constexpr ( RegisteredClass<T> ) {
      valuePrint( to, typeRecord( T::qelBinding() ), &value );
   } else {
      to += textOf( value );
   }
}

/// Reads that form at the front of \p range, and moves over it. When it throws, \p value may be in
/// part changed.
template<Readable T>
void formRead( CharRange& range, T& value ) {
   if constexpr ( Internal::isOptional<T> ) {
      if ( Strep::absentRead( range ) ) {
         value.reset();
      } else {
         formRead( range, value.emplace() );
      }
   } else if constexpr ( std::same_as<T, bool> ) {
      value = Strep::booleanRead( range );
   } else if constexpr ( std::is_floating_point_v<T> ) {
      value = static_cast<T>( Strep::numberRead( range ) );
   } else if constexpr ( std::unsigned_integral<T> ) {
      value = static_cast<T>(
         Strep::numberRead( range, std::uint64_t{ std::numeric_limits<T>::max() } ) );
   } else if constexpr ( std::is_arithmetic_v<T> ) {
      using Limits = std::numeric_limits<T>;
      value = static_cast<T>(
         Strep::numberRead( range, std::int64_t{ Limits::min() }, std::int64_t{ Limits::max() } ) );
   } else if constexpr ( std::same_as<T, Varek::Duration> ) {
      value = Varek::Duration( Strep::numberRead( range ) );
   } else if constexpr ( std::same_as<T, Varek::String> ) {
      Strep::quotedRead( range, value );
   } else if constexpr ( std::same_as<T, Varek::Bytes> ) {
      Strep::bytesRead( range, value );
   } else if constexpr ( RegisteredClass<T> || RegisteredEnum<T> ) {
      valueRead( range, typeRecord( bindingOf<T>() ), &value );
   } else if constexpr ( Internal::WordEnum<T> ) {
      value = Strep::wordRead( range, []( std::string_view word ) {
         T read{};
         wordRead( word, read );
         return read;
      } );
   } else {
      value = Strep::wordRead( range, []( std::string_view word ) { return T( word ); } );
   }
}

/// The value of which \p text, the whole of it, is the form inside of others. Throws likewise.
template<Readable T>
T formToValue( std::string_view text ) {
   CharRange range( text );
   T read{};
   formRead( range, read );
   range.expectEnd();
   return read;
}

namespace Internal {

/// Types that are made from a text. Bytes, and an optional text, are so as well, but do not read it.
template<class T>
inline constexpr bool readsItself =
   !RegisteredClass<T> && std::constructible_from<T, std::string_view> &&
   !std::same_as<T, Varek::Bytes> && !isOptional<T>;

/// What tables of registered types print and parse.
VAREK_EXPORT void registeredPrint( Varek::String& to, Varek::TypeData, void const* value );
VAREK_EXPORT std::size_t registeredParse( std::string_view text, std::size_t position,
                                          Varek::TypeData, void* value );
/// What the table of any type prints.
VAREK_EXPORT Varek::String printed( Varek::Inspect::AtomicFnTable const&, void const* value );
/// Assigns to \p value what strepToValue makes, for types that do not read themselves.
VAREK_EXPORT void decode( Varek::Inspect::AtomicFnTable const&, void* value,
                          std::string_view text );
/// Assigns to it what formToValue makes.
VAREK_EXPORT void formDecode( Varek::Inspect::AtomicFnTable const&, void* value,
                              std::string_view text );

} // namespace Internal

/// Makes \p value what \p text, the whole of it, says. Throws Varek::TextError, or the
/// Varek::RangeError of the type, with \p value as it was.
template<Readable T>
void strepToValue( std::string_view text, T& value ) {
   if constexpr ( RegisteredClass<T> ) {
      value = T( CharRange( text ) );
   } else if constexpr ( Internal::readsItself<T> ) {
      value = T( text );
   } else {
      value = formToValue<T>( text );
   }
}

} // namespace Qel

namespace Varek::Inspect {

/// What there is of values whatever they mean.
template<class T>
struct InspectStorage {
   static T& at( void* p ) { return *static_cast<T*>( p ); }
   static T const& at( void const* p ) { return *static_cast<T const*>( p ); }

   static void inspectConstruct( void* destination, void const* source ) {
      if ( source ) {
         ::new ( destination ) T( at( source ) );
      } else {
         ::new ( destination ) T();
      }
   }
   static void inspectDestroy( void* p ) { std::destroy_at( &at( p ) ); }
   static void assign( void* p, void const* source ) { at( p ) = at( source ); }
   static bool equal( void const* a, void const* b ) { return Qel::same( at( a ), at( b ) ); }
   static bool less( void const* a, void const* b ) {
      if constexpr ( std::totally_ordered<T> ) {
         return at( a ) < at( b );
      } else {
         return false;
      }
   }
   static std::uint32_t inspectGetHash( void const* p, FieldDescriptor ) {
      if constexpr ( Qel::Hashable<T> ) {
         return Qel::hashSingleAttr( at( p ), 0 );
      } else {
         TypeData const type = Qel::bindingOf<T>();
         throwNonHashableType( type.module, type.index, Qel::typeName<T> );
      }
   }
};

/// Unsigned numbers of the same width, which enumerations are: once for all of them.
template<std::unsigned_integral Number>
struct InspectNumber {
   static Number at( void const* p ) {
      Number value;
      std::memcpy( &value, p, sizeof value );
      return value;
   }
   static void assign( void* p, void const* source ) { std::memcpy( p, source, sizeof( Number ) ); }
   static void inspectConstruct( void* destination, void const* source ) {
      constexpr Number zero = 0;
      assign( destination, source ? source : &zero );
   }
   static void inspectDestroy( void* ) {}
   static bool equal( void const* a, void const* b ) { return at( a ) == at( b ); }
   static bool less( void const* a, void const* b ) { return at( a ) < at( b ); }
   static std::uint32_t inspectGetHash( void const* p, FieldDescriptor ) {
      return Qel::hashSingleAttr( at( p ), 0 );
   }
};
template<class T>
   requires std::is_enum_v<T> && std::unsigned_integral<std::underlying_type_t<T>>
struct InspectStorage<T> : InspectNumber<std::underlying_type_t<T>> {
   static T& at( void* p ) { return *static_cast<T*>( p ); }
   static T const& at( void const* p ) { return *static_cast<T const*>( p ); }
};

/// The functions for values of type \p T, one static member per entry of the table.
template<class T>
struct InspectAtomicFnTable : InspectStorage<T> {
   using Storage = InspectStorage<T>;
   using Storage::at;

   static String inspectEncodeToString( void const* p, FieldDescriptor, std::uint32_t flags ) {
      if constexpr ( std::is_convertible_v<T const&, std::string_view> ) {
         if ( ( flags & StrepFlag::nested ) == 0 ) {
            return String( at( p ) );
         }
      }
      return Qel::Internal::printed( table, p );
   }
   static void inspectDecodeFromString( void* p, std::string_view text, FieldDescriptor,
                                        std::uint32_t flags ) {
      if constexpr ( Qel::Readable<T> ) {
         if ( ( flags & StrepFlag::nested ) != 0 ) {
            Qel::Internal::formDecode( table, p, text );
         } else if constexpr ( Qel::Internal::readsItself<T> ) {
            Qel::strepToValue( text, at( p ) );
         } else {
            Qel::Internal::decode( table, p, text );
         }
      }
   }
   static void print( String& to, void const* p ) {
      if constexpr ( Qel::RegisteredClass<T> || Qel::RegisteredEnum<T> ) {
         Qel::Internal::registeredPrint( to, Qel::bindingOf<T>(), p );
      } else if constexpr ( Qel::HasText<T> ) {
         Qel::formPrint( to, at( p ) );
      } else {
         to += Qel::typeName<T>;
      }
   }
   static std::size_t parse( std::string_view text, std::size_t position, void* p ) {
      if constexpr ( Qel::RegisteredClass<T> || Qel::RegisteredEnum<T> ) {
         return Qel::Internal::registeredParse( text, position, Qel::bindingOf<T>(), p );
      } else {
         Qel::CharRange range( text, position );
         if constexpr ( Qel::Readable<T> ) {
            Qel::formRead( range, at( p ) );
         }
         return range.position();
      }
   }
   static TypeInspectData const* registered() {
      TypeData const type = Qel::bindingOf<T>();
      return type.module ? type.module->types[type.index] : nullptr;
   }

   static constexpr AtomicFnTable const* optionalOf() {
      if constexpr ( Qel::Internal::isOptional<T> ) {
         return &InspectAtomicFnTable<typename T::value_type>::table;
      } else {
         return nullptr;
      }
   }

   static constexpr AtomicFnTable table{
      .typeName = Qel::typeName<T>,
      .size = sizeof( T ),
      .alignment = alignof( T ),
      .inspectConstruct = Storage::inspectConstruct,
      .inspectDestroy = Storage::inspectDestroy,
      .assign = Storage::assign,
      .equal = Storage::equal,
      .less = std::totally_ordered<T> ? Storage::less : nullptr,
      .inspectEncodeToString = Qel::HasText<T> ? inspectEncodeToString : nullptr,
      .inspectDecodeFromString = Qel::Readable<T> ? inspectDecodeFromString : nullptr,
      .print = print,
      .parse = Qel::Readable<T> ? parse : nullptr,
      .inspectGetHash = Storage::inspectGetHash,
      .hashable = Qel::Hashable<T>,
      .registered = registered,
      .optionalOf = optionalOf() };
};

} // namespace Varek::Inspect
