#pragma once

#include <concepts>
#include <iosfwd>
#include <span>
#include <string>
#include <type_traits>

#include "Qel/CharRange.h"
#include "Varek/Failures.h"
#include "framework/declare/Attributes.h"
#include "framework/inspect/Inspection.h"
#include "framework/records/Records.h"
#include "framework/records/Same.h"
#include "framework/text/Strep.h"

namespace Qel {

/// The equality of a value type: compares the constructor parameters, then the other attributes,
/// each in id order, up to the first difference. Constants do not count.
template<class T>
bool valueIsEq( T const& a, T const& b ) {
   if ( &a == &b ) {
      return true;
   }
   bool equal = true;
   auto const compare = [&]<class D>( D, bool parameters ) {
      if constexpr ( Stored<D> ) {
         if ( ( D::kind == AttributeKind::parameter ) == parameters ) {
            equal = equal && same( D::get( a ), D::get( b ) );
         }
      }
   };
   forEachAttribute<T>( [&]( auto descriptor ) { compare( descriptor, true ); } );
   forEachAttribute<T>( [&]( auto descriptor ) { compare( descriptor, false ); } );
   return equal;
}

namespace Internal {

template<class T, class Given>
constexpr bool convertsToParameter() {
   // Types without a parameter must not even be asked for its type.
   if constexpr ( parameterCount<T>() != 1 ) {
      return false;
   } else {
      return std::convertible_to<Given const&, ParameterType<T>> &&
             ( !std::is_arithmetic_v<ParameterType<T>> || std::same_as<Given, ParameterType<T>> );
   }
}

} // namespace Internal

/// Whether a \p T can be made from a \p Given as its constructor parameter.
template<class T, class Given>
concept ParameterOf = !std::same_as<T, Given> && !std::derived_from<Given, CharRange> &&
                      Internal::convertsToParameter<T, Given>();

[[noreturn]] VAREK_EXPORT void noStringConstructor( std::string_view qualifiedType );

/// Reads a value from the whole rest of \p range. Ends the process for a type that holds a
/// collection, since that has no string constructor.
template<class T>
void valueFromText( T& value, CharRange const& range ) {
   valueReadWhole( range, typeRecord( T::qelBinding() ), &value );
}

[[noreturn]] VAREK_EXPORT void throwOutOfRange( std::string_view qualifiedType,
                                                std::string_view attribute );

/// Throws Varek::RangeError, in terms of the attribute \p name of \p T and of its constants min and
/// max, unless \p inRange.
template<class T>
constexpr void rangeCheck( std::string_view name, bool inRange ) {
   if ( !inRange ) {
      throwOutOfRange( typeName<T>, name );
   }
}

/// Whether attribute D of \p T is to lie in a range.
template<class T, class D>
concept Ranged = Stored<D> && requires( typename D::Field const& value ) {
   T::qelRangeCheck( Id<D::id.value()>{}, value );
};

template<class T>
constexpr bool hasRange() {
   bool found = false;
   if constexpr ( !std::is_enum_v<T> ) {
      forEachAttribute<T>( [&]<class D>( D ) { found = found || Ranged<T, D>; } );
   }
   return found;
}

/// Checks all attributes with a range, for TypeRecord::rangesCheck.
template<class T>
void valueRangesCheck( void const* value ) {
   forEachAttribute<T>( [&]<class D>( D ) {
      if constexpr ( Ranged<T, D> ) {
         T::qelRangeCheck( Id<D::id.value()>{}, D::get( ownerAt<T>( value ) ) );
      }
   } );
}

/// The part of every value type \p Self beside its attributes. A class derives from it and begins
/// with QEL_VALUE (framework/declare/Declare.h).
template<class Self>
class ValueOf {
public:
   static bool isEq( Self const& a, Self const& b ) { return valueIsEq( a, b ); }
   friend bool operator==( Self const& a, Self const& b ) { return valueIsEq( a, b ); }

   /// The string form, see framework/text/Strep.h.
   friend Varek::String stringValue( Self const& value ) {
      return valueToStrep( typeRecord( Self::qelBinding() ), &value );
   }
   friend std::ostream& operator<<( std::ostream& out, Self const& value ) {
      return valuePrint( out, typeRecord( Self::qelBinding() ), &value );
   }

   static std::uint32_t inspectOperation( Self& value, std::uint32_t operation,
                                          Varek::FieldDescriptor field,
                                          InspectArguments& arguments ) {
      return Qel::inspectOperation( typeRecord( Self::qelBinding() ), &value, operation, field,
                                    arguments );
   }
   /// Generic construction: the value from its constructor parameter, if the type has one. Throws
   /// Varek::NewEntityArguments for a wrong number or type of arguments.
   static Self genericIfConstructFromCtorArgs( std::span<ConstructorArgument const> given ) {
      constructorArgumentsCheck( typeRecord( Self::qelBinding() ), given );
      Self made;
      if constexpr ( Internal::parameterCount<Self>() == 1 ) {
         parameterIs( made, *static_cast<ParameterType<Self> const*>( given[0].value ) );
      }
      return made;
   }
   static void* genericIfIterator( Self const& value, void const* startKey,
                                   Varek::FieldDescriptor field,
                                   Varek::Inspect::IterFnTable const*& functions ) {
      return Qel::genericIfIterator( typeRecord( Self::qelBinding() ), &value, startKey, field,
                                     functions );
   }

protected:
   ValueOf() = default;
};

} // namespace Qel
