#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "Varek/String.h"
#include "mirror/Description.h"
#include "mirror/OutQueue.h"

/// What leader and follower share: one connected socket, its frames in both directions, the
/// handshake, keep-alive, and the end with a reason. Drives no loop and reads no clock: the owner
/// says when the socket is ready and what time it is.
namespace Mirror {

using Clock = std::chrono::steady_clock;

struct EndpointOptions {
   /// Bytes that may wait to be sent to one side before its stream is held back.
   std::size_t outputLimit = 256 * 1024;
   /// The largest frame that is taken. Bounds the memory that a hostile peer can ask for.
   std::size_t maxFrame = 16 * 1024 * 1024;
   /// A sign of life is sent when nothing else was for so long.
   Clock::duration keepAlive = std::chrono::seconds( 10 );
   /// The peer is given up when nothing came for so long.
   Clock::duration deadAfter = std::chrono::seconds( 30 );
   Clock::duration handshakeTimeout = std::chrono::seconds( 10 );
};

inline constexpr std::uint16_t protocolVersion = 1;
inline constexpr char protocolMagic[] = "QNboALog"; // 8 bytes on the wire
/// More than any description; whoever sends more is no peer of ours.
inline constexpr std::size_t maxHello = 1024 * 1024;

/// One frame as it came. Valid until the next is asked for.
struct Frame {
   Qel::NboAttrLog::FrameHead head;
   std::span<std::uint8_t const> payload;
   std::uint64_t offset; ///< Of the payload in the stream.
   std::size_t ahead;    ///< Bytes that have come after it.
};

class VAREK_EXPORT Endpoint {
public:
   enum class Role : std::uint8_t { leader, follower };
   Endpoint( EndpointOptions const&, Role );
   Endpoint( Endpoint const& ) = delete;
   Endpoint& operator=( Endpoint const& ) = delete;
   ~Endpoint();

   /// Takes over \p fd and says hello with \p ours.
   void start( int fd, Varek::String peer, Description ours );

   int fd() const { return fd_; }
   Varek::String const& peer() const { return peer_; }
   bool closed() const { return phase_ == Phase::closed; }
   Varek::String const& reason() const { return reason_; }
   /// Whether it is closed since the two do not fit together: another attempt would end alike.
   bool refused() const { return closed() && refused_; }
   /// Whether the other side has introduced itself, agrees with this one, and is still there.
   bool running() const { return phase_ == Phase::running; }
   bool wantsWrite() const { return !closed() && ( !queue_.empty() || out_.pending() ); }
   /// Of the peer, once running.
   Description const& theirs() const { return theirs_; }

   OutQueue& queue() { return queue_; }
   QueueOut& out() { return out_; }

   /// Calls \p onFrame( Frame const& ) for each frame that is there, but for those of the handshake
   /// and keep-alives. Returns early when the endpoint closes.
   template<class F>
   void receive( F onFrame ) {
      Frame frame;
      for ( unsigned i = 0; i < readsAtOnce && readSome(); ++i )
         while ( nextFrame( frame ) )
            if ( !handleOwn( frame ) )
               onFrame( frame );
   }
   /// Sends what the socket takes.
   void flush();
   /// When tick() says that it is due.
   void keepAlive();
   /// What a refusal means for another attempt. The numbers are on the wire, as the field.
   enum class Refusal : std::uint16_t { final = 0, passing = 1 };
   /// Tells the peer why, then closes with \p text for a reason.
   void refuse( Varek::String const& text, Refusal = Refusal::final );
   void close( Varek::String reason ) noexcept;

   enum class Due : std::uint8_t { nothing, keepAlive };
   /// Closes what has been silent for too long. The caller has read what there was.
   Due tick( Clock::time_point now );
   Clock::time_point nextDeadline() const;

   std::uint64_t messages() const { return out_.messages(); }
   std::uint64_t framesReceived() const { return framesReceived_; }
   std::uint64_t bytesReceived() const { return bytesReceived_; }
   std::uint64_t bytesSent() const { return bytesSent_; }

private:
   /// Other connections get their turn after so many reads.
   static constexpr unsigned readsAtOnce = 16;
   static constexpr std::size_t readSize = 128 * 1024;
   enum class Phase : std::uint8_t { closed, hello, running, refusing };

   bool readSome();
   void makeRoom();
   void ended( Varek::String const& how );
   bool nextFrame( Frame& );
   bool handleOwn( Frame const& );
   void hello( Frame const& );
   Varek::String refusalIn( Frame const& ) const;

   EndpointOptions const options_;
   Role const role_;
   Phase phase_ = Phase::closed;
   int fd_ = -1;
   Varek::String peer_;
   Varek::String reason_;
   Description ours_;
   Description theirs_;

   OutQueue queue_;
   QueueOut out_{ queue_ };
   int sendError_ = 0;
   bool refused_ = false;

   // Input: bytes from begin_ to end_ of the storage are not parsed yet.
   std::unique_ptr<std::uint8_t[]> in_;
   std::size_t capacity_ = 0;
   std::size_t begin_ = 0;
   std::size_t end_ = 0;
   Qel::NboAttrLog::FrameHeads heads_;
   std::optional<Qel::NboAttrLog::FrameHead> head_; // of a frame whose payload is to come

   std::uint64_t framesReceived_ = 0;
   std::uint64_t bytesReceived_ = 0;
   std::uint64_t bytesSent_ = 0;

   bool heard_ = true;
   bool spoke_ = true;
   std::optional<Clock::time_point> phaseSince_;
   Clock::time_point heardAt_;
   Clock::time_point spokeAt_;
};

} // namespace Mirror
