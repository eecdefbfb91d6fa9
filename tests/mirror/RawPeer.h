#pragma once

#include <array>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "mirror/Description.h"
#include "mirror/Socket.h"

/// Frames by hand.
struct RawPeer {
   Mirror::Fd fd;
   Qel::NboAttrLog::OutBuffer out;
   void send() {
      auto const bytes = out.bytes();
      EXPECT_EQ( ::send( fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL ),
                 static_cast<ssize_t>( bytes.size() ) );
      out.clear();
   }
   std::string received() const {
      std::array<char, 65536> buffer;
      auto const got = ::recv( fd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT );
      return { buffer.data(), got > 0 ? static_cast<std::size_t>( got ) : 0 };
   }
   void frame( Qel::NboAttrLog::FrameKind kind, std::uint32_t entity, Varek::FieldId field ) {
      out.outSmReserveMessage( kind, entity, field, 0 );
      out.outSmCommitMessage();
      send();
   }
   void hello( std::uint16_t version = 1, char const* magic = "QNboALog" ) {
      writeHello( version, magic, {} );
      send();
   }
   void writeHello( std::uint16_t version, char const* magic, Mirror::Description const& types ) {
      out.outSmReserveMessage( Qel::NboAttrLog::FrameKind::hello, 0, {}, 10 + types.size() );
      out.putOctets( magic, 8 );
      out.put16( version );
      types.write( out );
      out.outSmCommitMessage();
   }
};
