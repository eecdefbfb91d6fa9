#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "Varek/Export.h"

/// The failures that the framework and its value types raise. Each is a type of its own and carries
/// its facts, so that a caller can act on them; what() is a sentence that states them all. An
/// operation that raises one of these has changed nothing, unless it says otherwise.
namespace Varek {

/// The base of all failures.
class VAREK_EXPORT Failure : public std::runtime_error {
public:
   using std::runtime_error::runtime_error;
   ~Failure() override;
};

/// An index at or beyond the length of a sequence.
class VAREK_EXPORT VectorOutOfRange : public Failure {
public:
   VectorOutOfRange( std::uint64_t index, std::size_t size );
   ~VectorOutOfRange() override;
   std::uint64_t index() const { return index_; }
   std::size_t size() const { return size_; }

private:
   std::uint64_t index_;
   std::size_t size_;
};

/// The last element of an empty sequence was asked for.
class VAREK_EXPORT VectorEmptyBack : public Failure {
public:
   VectorEmptyBack();
   ~VectorEmptyBack() override;
};

/// A value, or an index of a fixed array, outside what its type allows.
class VAREK_EXPORT RangeError : public Failure {
public:
   explicit RangeError( std::string const& message );
   ~RangeError() override;
};

/// Text that is not in the form of the value to be read from it.
class VAREK_EXPORT TextError : public Failure {
public:
   /// \p expected says in words what would have been accepted ("a MAC address"); \p text is what
   /// was given and \p position the offset in it of the first character that did not fit.
   TextError( std::string_view expected, std::string_view text, std::size_t position );
   ~TextError() override;
   std::string const& expected() const { return expected_; }
   std::size_t position() const { return position_; }

private:
   std::string expected_;
   std::size_t position_;
};

/// The hash of a value was asked for, but its type has no hash.
class VAREK_EXPORT NonHashableType : public Failure {
public:
   NonHashableType( std::string_view module, std::uint32_t index, std::string_view type );
   ~NonHashableType() override;
   std::string const& module() const { return module_; }
   std::uint32_t index() const { return index_; }

private:
   std::string module_;
   std::uint32_t index_;
};

/// A mutator was called on an entity that mirrors an entity of another process.
class VAREK_EXPORT WriteFromReadOnlyProxy : public Failure {
public:
   explicit WriteFromReadOnlyProxy( std::string_view type );
   ~WriteFromReadOnlyProxy() override;
};

/// Constructor arguments that the type of a new entity does not take.
class VAREK_EXPORT NewEntityArguments : public Failure {
public:
   /// A wrong number of arguments.
   NewEntityArguments( std::string_view type, std::size_t expected, std::size_t given );
   /// An argument of a wrong type.
   NewEntityArguments( std::string_view type, std::string_view parameter,
                       std::string_view expectedType, std::string_view givenType );
   ~NewEntityArguments() override;
};

[[noreturn]] VAREK_EXPORT void throwVectorOutOfRangeException( std::uint64_t index,
                                                               std::size_t size );
[[noreturn]] VAREK_EXPORT void throwVectorEmptyBackException();

/// Ends the process unless \p expr holds; unlike assert(), in every build type. Logs file, line,
/// expression and the values that are given after it.
#define VAREK_ASSERT( expr, ... )                                                                  \
   ( ( expr ) ? void()                                                                             \
              : ::Varek::assertionFailed(                                                          \
                   { __FILE__, __LINE__, #expr, #__VA_ARGS__ } __VA_OPT__(, ) __VA_ARGS__ ) )

/// The same, but only in builds without NDEBUG: for checks that cost too much elsewhere.
#ifdef NDEBUG
#define VAREK_DEBUG_ASSERT( ... ) static_cast<void>( 0 )
#else
#define VAREK_DEBUG_ASSERT( ... ) VAREK_ASSERT( __VA_ARGS__ )
#endif

/// The same for an assertion that is known by its words: prints \p text and nothing else.
#define VAREK_ASSERT_TEXT( expr, text ) ( ( expr ) ? void() : ::Varek::assertionFailed( text ) )

/// Prints \p text, exactly as it is, on standard error and aborts.
[[noreturn, gnu::cold]] VAREK_EXPORT void assertionFailed( char const* text ) noexcept;

/// The source text of an assertion and of its values.
struct Assertion {
   char const* file;
   int line;
   char const* expression;
   char const* values;
};

namespace Internal {

[[noreturn, gnu::cold]] VAREK_EXPORT void
assertionFailed( Assertion const&, std::initializer_list<std::string> values ) noexcept;

VAREK_EXPORT std::string assertedAddress( void const* );

/// Text is in quotes; a value of a type without a text form is a question mark.
template<class T>
std::string assertedText( T const& value ) {
   if constexpr ( std::is_same_v<T, bool> ) {
      return value ? "true" : "false";
   } else if constexpr ( std::is_arithmetic_v<T> ) {
      return std::to_string( value );
   } else if constexpr ( std::is_convertible_v<T const&, std::string_view> ) {
      return '"' + std::string( std::string_view( value ) ) + '"';
   } else if constexpr ( requires { std::string( stringValue( value ) ); } ) {
      return stringValue( value );
   } else if constexpr ( std::is_enum_v<T> ) {
      return std::to_string( static_cast<std::underlying_type_t<T>>( value ) );
   } else if constexpr ( std::is_pointer_v<T> ) {
      return assertedAddress( value );
   } else {
      return "?";
   }
}

} // namespace Internal

/// Values are passed as copies: a reference would force those in registers into memory even while
/// the assertion holds.
template<class... Values>
[[noreturn, gnu::cold, gnu::noinline]] void assertionFailed( Assertion const& failed,
                                                             Values... values ) noexcept {
   Internal::assertionFailed( failed, { Internal::assertedText( values )... } );
}

} // namespace Varek
