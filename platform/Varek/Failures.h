#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Varek/Export.h"

/// The failures that the framework and its value types raise. Each is a type of its own and carries
/// its facts, so that a caller can act on them; what() is a sentence that states them all. An
/// operation that raises one of these has changed nothing, unless it says otherwise.
namespace Varek {

/// Root of all of them.
class VAREK_EXPORT Failure : public std::runtime_error {
public:
   using std::runtime_error::runtime_error;
   ~Failure() override;
};

/// An index at or beyond the length of a sequence.
class VAREK_EXPORT VectorOutOfRange : public Failure {
public:
   VectorOutOfRange( std::size_t index, std::size_t size );
   ~VectorOutOfRange() override;
   std::size_t index() const { return index_; }
   std::size_t size() const { return size_; }

private:
   std::size_t index_;
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

/// Text that is not the form of the value it was to become.
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

/// A hash was asked of a value of a type that has none.
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

/// A change was asked of an entity that only mirrors one of another process.
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

[[noreturn]] VAREK_EXPORT void throwVectorOutOfRangeException( std::size_t index,
                                                               std::size_t size );
[[noreturn]] VAREK_EXPORT void throwVectorEmptyBackException();

/// Prints \p expression, exactly as it is, on standard error and aborts. In every build type.
[[noreturn]] VAREK_EXPORT void assertionFailed( char const* expression );

/// Ends the process unless \p expr holds; unlike assert(), in every build type.
#define VAREK_ASSERT( expr ) ( ( expr ) ? void() : ::Varek::assertionFailed( #expr ) )

} // namespace Varek
