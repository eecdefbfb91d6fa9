#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mirror/Socket.h"

/// Where a tree is published: "unix:PATH", "tcp:HOST:PORT", or "tcp:PORT" for this machine alone.
namespace Loop {

struct Address {
   Address() = default;
   /// An IPv6 address as host is in brackets. Throws Varek::TextError for a text of another form.
   explicit Address( std::string_view text );

   std::string path; ///< Of a Unix socket; empty for TCP.
   std::string host;
   std::uint16_t port = 0;
   /// Further users whose process may listen at the path; see Mirror::connectUnix.
   std::vector<uid_t> peerUsers;
};

/// The text from which an Address is made.
std::string stringValue( Address const& );

/// Listens at \p address; port 0 takes any free port and puts it there. Throws Mirror::SocketError.
Mirror::Listener listenAt( Address& address );
/// Connects to the address. Throws Mirror::SocketError.
Mirror::Fd connectTo( Address const& );

} // namespace Loop
