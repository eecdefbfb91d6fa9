#include "Varek/Failures.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Varek/Log.h"

namespace Varek {

Failure::~Failure() = default;
VectorOutOfRange::~VectorOutOfRange() = default;
VectorEmptyBack::~VectorEmptyBack() = default;
RangeError::~RangeError() = default;
TextError::~TextError() = default;
NonHashableType::~NonHashableType() = default;
WriteFromReadOnlyProxy::~WriteFromReadOnlyProxy() = default;
NewEntityArguments::~NewEntityArguments() = default;

VectorOutOfRange::VectorOutOfRange( std::uint64_t index, std::size_t size )
   : Failure( "index " + std::to_string( index ) + " is out of range of a vector of size " +
              std::to_string( size ) ),
     index_( index ), size_( size ) {}

VectorEmptyBack::VectorEmptyBack() : Failure( "an empty vector has no last element" ) {}

RangeError::RangeError( std::string const& message ) : Failure( message ) {}

TextError::TextError( std::string_view expected, std::string_view text, std::size_t position )
   : Failure( "expected " + std::string( expected ) + " but found \"" + std::string( text ) +
              "\", which differs from position " + std::to_string( position ) ),
     expected_( expected ), position_( position ) {}

NonHashableType::NonHashableType( std::string_view module, std::uint32_t index,
                                  std::string_view type )
   : Failure( "type " + std::string( type ) + " (module " + std::string( module ) + ", index " +
              std::to_string( index ) + ") has no hash" ),
     module_( module ), index_( index ) {}

WriteFromReadOnlyProxy::WriteFromReadOnlyProxy( std::string_view type )
   : Failure( "write update from read-only proxy: this " + std::string( type ) +
              " mirrors another process and cannot be changed here" ) {}

NewEntityArguments::NewEntityArguments( std::string_view type, std::size_t expected,
                                        std::size_t given )
   : Failure( "a new " + std::string( type ) + " takes " + std::to_string( expected ) +
              " constructor argument(s), not " + std::to_string( given ) ) {}

NewEntityArguments::NewEntityArguments( std::string_view type, std::string_view parameter,
                                        std::string_view expectedType, std::string_view givenType )
   : Failure( "a new " + std::string( type ) + " takes a " + std::string( expectedType ) + " as " +
              std::string( parameter ) + ", not a " + std::string( givenType ) ) {}

void throwVectorOutOfRangeException( std::uint64_t index, std::size_t size ) {
   throw VectorOutOfRange( index, size );
}

void throwVectorEmptyBackException() { throw VectorEmptyBack(); }

namespace {

void onStandardError( std::string_view line ) noexcept {
   std::fprintf( stderr, "%.*s\n", static_cast<int>( line.size() ), line.data() );
   std::fflush( stderr );
}

// Atomic, since threads with trees of their own may log at the same time.
std::atomic<LogHook> hook{ onStandardError };

} // namespace

LogHook logHookIs( LogHook given ) noexcept { return hook.exchange( given ); }

void log( std::string_view line ) noexcept {
   if ( LogHook const told = hook ) {
      told( line );
   }
}

void assertionFailed( char const* text ) noexcept {
   log( text );
   std::abort();
}

std::string Internal::assertedAddress( void const* address ) {
   char text[32];
   std::snprintf( text, sizeof text, "%p", address );
   return text;
}

void Internal::assertionFailed( Assertion const& failed,
                                std::initializer_list<std::string> values ) noexcept {
   std::string text = std::string( failed.file ) + ':' + std::to_string( failed.line ) +
                      ": assertion failed: " + failed.expression;
   char const* before = " = ";
   if ( values.size() != 0 ) {
      text += std::string( ", where " ) + failed.values;
   }
   for ( std::string const& value : values ) {
      text += std::exchange( before, ", " ) + value;
   }
   Varek::assertionFailed( text.c_str() );
}

} // namespace Varek
