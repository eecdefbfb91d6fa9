#pragma once

#include <array>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "mirror/Socket.h"

/// A pair of connected, non-blocking sockets.
struct SocketPair {
   Mirror::Fd a, b;
   SocketPair() {
      std::array<int, 2> fds;
      EXPECT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, fds.data() ),
                 0 );
      a.reset( fds[0] );
      b.reset( fds[1] );
   }
};
