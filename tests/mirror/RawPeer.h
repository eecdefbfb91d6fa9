#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "mirror/Description.h"
#include "mirror/Endpoint.h"
#include "mirror/Socket.h"
#include "support/SocketPair.h"

/// Frames by hand.
struct RawPeer {
   std::unique_ptr<Mirror::Transport> end;
   Qel::NboAttrLog::OutBuffer out;

   /// The other end of a new pair of sockets.
   int connected() {
      SocketPair pair;
      end = std::make_unique<Mirror::SocketTransport>( std::move( pair.b ) );
      return pair.a.release();
   }
   void send() {
      auto const bytes = out.bytes();
      Mirror::Transport::Bytes const all( bytes.data(), bytes.size() );
      EXPECT_EQ( end->write( { &all, 1 } ).count, all.size() );
      out.clear();
   }
   std::string received() const {
      std::array<std::uint8_t, 65536> buffer;
      std::size_t const count = end->read( buffer ).count;
      return { buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>( count ) };
   }
   void frame( Qel::NboAttrLog::FrameKind kind, std::uint32_t entity, Varek::FieldId field ) {
      out.outSmReserveMessage( kind, entity, field, 0 );
      out.outSmCommitMessage();
      send();
   }
   void hello( std::uint16_t version = Mirror::protocolVersion, char const* magic = "QNboALog" ) {
      writeHello( version, magic, {} );
      send();
   }
   void writeHello( std::uint16_t version, char const* magic, Mirror::Description const& types ) {
      out.outSmReserveMessage( Qel::NboAttrLog::FrameKind::hello, 0, {}, 22 + types.size() );
      out.putOctets( magic, 8 );
      out.put16( version );
      out.put64( 0 );
      types.write( out );
      out.put32( 0 );
      out.outSmCommitMessage();
   }
};
