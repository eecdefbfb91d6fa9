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
   /// An IPv6 address as host stands in brackets. Throws Varek::TextError.
   explicit Address( std::string_view text );

   std::string path; ///< Of a Unix socket; empty for TCP.
   std::string host;
   std::uint16_t port = 0;
   /// Whom else to believe who listens at the path; see Mirror::connectUnix.
   std::vector<uid_t> peerUsers;
};

/// What an Address is made from.
std::string stringValue( Address const& );

/// Port 0 takes any that is free, and \p address then has it. Throws Mirror::SocketError.
Mirror::Listener listenAt( Address& address );
/// Throws Mirror::SocketError.
Mirror::Fd connectTo( Address const& );

} // namespace Loop
