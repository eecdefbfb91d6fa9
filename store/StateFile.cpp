#include "store/StateFile.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "mirror/Socket.h"
#include "store/Replacement.h"

namespace Store {

using Varek::quoted;

namespace {

constexpr std::string_view magic = stateMagic;
constexpr std::uint64_t formatVersion = 1;
constexpr std::size_t versionSize = 2;
constexpr std::size_t lengthSize = 8;
constexpr std::size_t lengthAt = magic.size() + versionSize;
constexpr std::size_t headSize = lengthAt + lengthSize;
constexpr std::size_t checksumSize = 4;

// Numbers

std::string bigEndian( std::uint64_t number, std::size_t size ) {
   std::string result( size, '\0' );
   for ( std::size_t i = size; i-- > 0; number >>= 8 ) {
      result[i] = static_cast<char>( number & 0xFF );
   }
   return result;
}

std::uint64_t numberAt( std::string_view bytes, std::size_t offset, std::size_t size ) {
   std::uint64_t result = 0;
   for ( char const byte : bytes.substr( offset, size ) ) {
      result = result << 8 | static_cast<std::uint8_t>( byte );
   }
   return result;
}

std::uint32_t checksum( std::uint32_t before, std::string_view bytes ) {
   return static_cast<std::uint32_t>(
      ::crc32_z( before, reinterpret_cast<Bytef const*>( bytes.data() ), bytes.size() ) );
}

std::string hex( std::uint32_t number ) {
   char text[16];
   std::snprintf( text, sizeof text, "0x%08lx", static_cast<unsigned long>( number ) );
   return text;
}

// Files

constexpr std::string_view standardStream = "-";

/// The rest of the file.
std::string rest( int file, std::string const& path, std::string result = {} ) {
   auto const buffer = std::make_unique<std::array<char, 128 * 1024>>();
   for ( ;; ) {
      std::ptrdiff_t const got = ::read( file, buffer->data(), buffer->size() );
      if ( got > 0 ) {
         result.append( buffer->data(), static_cast<std::size_t>( got ) );
      } else if ( got == 0 ) {
         return result;
      } else if ( errno != EINTR ) {
         systemFailure( path, "cannot be read" );
      }
   }
}

/// Only regular files are read: some devices have no end, and a pipe waits until somebody writes.
std::string contents( std::string const& path ) {
   if ( path == standardStream ) {
      return rest( STDIN_FILENO, path );
   }
   Mirror::Fd const file( ::open( path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC ) );
   struct stat about {};
   if ( file.get() < 0 || ::fstat( file.get(), &about ) != 0 ) {
      systemFailure( path, "cannot be opened" );
   }
   if ( !S_ISREG( about.st_mode ) ) {
      refuse( path, "is something else than a file" );
   }
   std::string result;
   result.reserve( static_cast<std::size_t>( about.st_size ) );
   return rest( file.get(), path, std::move( result ) );
}

void writeAll( int file, std::string const& path, std::string_view bytes ) {
   while ( !bytes.empty() ) {
      std::ptrdiff_t const taken = ::write( file, bytes.data(), bytes.size() );
      if ( taken >= 0 ) {
         bytes.remove_prefix( static_cast<std::size_t>( taken ) );
      } else if ( errno != EINTR ) {
         systemFailure( path, "cannot be written" );
      }
   }
}

/// While it lives, signals that would end the process wait, so that a file is written to its end.
class SignalsHeld {
public:
   SignalsHeld() {
      sigset_t ending;
      ::sigemptyset( &ending );
      for ( int const one : { SIGINT, SIGTERM, SIGHUP } ) {
         ::sigaddset( &ending, one );
      }
      ::sigprocmask( SIG_BLOCK, &ending, &before_ );
   }
   ~SignalsHeld() { ::sigprocmask( SIG_SETMASK, &before_, nullptr ); }
   SignalsHeld( SignalsHeld const& ) = delete;
   SignalsHeld& operator=( SignalsHeld const& ) = delete;

private:
   sigset_t before_;
};

} // namespace

void writeStream( std::string const& path, std::string_view stream ) {
   std::string const head = std::string( magic ) + bigEndian( formatVersion, versionSize ) +
                            bigEndian( stream.size(), lengthSize );
   auto const write = [&]( int file ) {
      writeAll( file, path, head );
      writeAll( file, path, stream );
      writeAll( file, path, bigEndian( checksum( checksum( 0, head ), stream ), checksumSize ) );
   };
   if ( path == standardStream ) {
      return write( STDOUT_FILENO );
   }
   SignalsHeld const whole;
   replaceState( path, write );
}

std::string readStream( std::string const& path ) {
   std::string whole = contents( path );
   std::string_view const file = whole;
   std::string_view const begin = file.substr( 0, magic.size() );
   if ( begin != magic.substr( 0, begin.size() ) ) {
      refuse( path, "is no state file: it begins with " + quoted( std::string( begin ) ) +
                       ", a state file with " + quoted( std::string( magic ) ) );
   }
   if ( file.size() < headSize + checksumSize ) {
      refuse( path, "was cut: it has " + std::to_string( file.size() ) +
                       " bytes, and a state file " + std::to_string( headSize + checksumSize ) +
                       " at least" );
   }
   if ( std::uint64_t const found = numberAt( file, magic.size(), versionSize );
        found != formatVersion ) {
      refuse( path, "is a state file of version " + std::to_string( found ) + "; version " +
                       std::to_string( formatVersion ) + " is known here" );
   }
   std::uint64_t const has = file.size() - headSize - checksumSize;
   if ( std::uint64_t const says = numberAt( file, lengthAt, lengthSize ); says != has ) {
      refuse( path, std::string( has < says ? "was cut" : "was changed" ) +
                       ": it says that it has " + std::to_string( says ) +
                       " bytes of state, and has " + std::to_string( has ) );
   }
   std::size_t const sumAt = file.size() - checksumSize;
   std::uint32_t const sum = checksum( 0, file.substr( 0, sumAt ) );
   if ( auto const says = static_cast<std::uint32_t>( numberAt( file, sumAt, checksumSize ) );
        says != sum ) {
      refuse( path, "was changed: it says that its checksum is " + hex( says ) + ", and that is " +
                       hex( sum ) );
   }
   whole.resize( sumAt );
   whole.erase( 0, headSize );
   return whole;
}

} // namespace Store
