#include "loop/Address.h"

#include <charconv>

#include "Varek/Failures.h"

namespace Loop {

namespace {

constexpr std::string_view unixPrefix = "unix:";
constexpr std::string_view tcpPrefix = "tcp:";
constexpr char const* loopback = "127.0.0.1";

[[noreturn]] void fail( std::string_view expected, std::string_view text, std::size_t position ) {
   throw Varek::TextError( expected, text, position );
}

} // namespace

Address::Address( std::string_view text ) {
   if ( text.starts_with( unixPrefix ) ) {
      path = text.substr( unixPrefix.size() );
      if ( path.empty() ) {
         fail( "the path of a socket after \"unix:\"", text, text.size() );
      }
      return;
   }
   if ( !text.starts_with( tcpPrefix ) ) {
      fail( "unix:PATH, tcp:HOST:PORT or tcp:PORT", text, 0 );
   }
   std::size_t const colon = text.rfind( ':' );
   std::size_t from = tcpPrefix.size();
   host = loopback;
   if ( colon > from ) {
      std::string_view name = text.substr( from, colon - from );
      bool const brackets = name.size() > 2 && name.front() == '[' && name.back() == ']';
      if ( brackets ) {
         name = name.substr( 1, name.size() - 2 );
      } else if ( std::size_t const at = name.find_first_of( ":[]" ); at != name.npos ) {
         fail( "a host name, an IPv4 address, or an IPv6 address in brackets", text, from + at );
      }
      host = name;
   }
   from = colon + 1;
   char const* const end = text.data() + text.size();
   auto const [stop, error] = std::from_chars( text.data() + from, end, port );
   if ( error != std::errc() || stop != end ) {
      std::size_t const at =
         error == std::errc() ? static_cast<std::size_t>( stop - text.data() ) : from;
      fail( "a port from 0 to 65535", text, at );
   }
   // "tcp::80" names no host.
   if ( colon == tcpPrefix.size() ) {
      fail( "a host before the port", text, colon );
   }
}

std::string stringValue( Address const& address ) {
   if ( !address.path.empty() ) {
      return std::string( unixPrefix ) + address.path;
   }
   bool const v6 = address.host.find( ':' ) != std::string::npos;
   return std::string( tcpPrefix ) + ( v6 ? "[" + address.host + "]" : address.host ) + ":" +
          std::to_string( address.port );
}

Mirror::Listener listenAt( Address& address ) {
   if ( !address.path.empty() ) {
      return Mirror::Listener::listenUnix( address.path );
   }
   Mirror::Listener listener = Mirror::Listener::listenTcp( address.port, address.host );
   address.port = listener.port();
   return listener;
}

Mirror::Fd connectTo( Address const& address ) {
   return address.path.empty() ? Mirror::connectTcp( address.host, address.port )
                               : Mirror::connectUnix( address.path, address.peerUsers );
}

} // namespace Loop
