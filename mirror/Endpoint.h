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
#include "mirror/Transport.h"

/// What leader and follower share: one connection, its frames in both directions, the handshake,
/// keep-alive, and the end with a reason. Drives no loop and reads no clock: the owner says when
/// the transport is ready and what time it is.
namespace Mirror {

using Clock = std::chrono::steady_clock;

struct EndpointOptions {
   /// Bytes that may wait to be sent to one side before its stream is held back.
   std::size_t outputLimit = 256 * 1024;
   /// The largest frame that is taken. Bounds the memory that a hostile peer can ask for.
   std::size_t maxFrame = 16 * 1024 * 1024;
   /// The same of a follower after its hello: it has nothing long to say.
   std::size_t maxFollowerFrame = 4 * 1024;
   /// The same before the hello has been read. Descriptions take some 14 KiB today.
   std::size_t maxHello = 256 * 1024;
   /// A sign of life is sent when nothing else was for so long.
   Clock::duration keepAlive = std::chrono::seconds( 10 );
   /// The peer is given up when nothing came for so long.
   Clock::duration deadAfter = std::chrono::seconds( 30 );
   Clock::duration handshakeTimeout = std::chrono::seconds( 10 );
   /// The peer is given up when it takes less than stallProgress of a queue that stays full for so
   /// long, or for deadAfter, if that is longer: signs of life alone are no reason to keep it.
   Clock::duration stalledAfter = std::chrono::seconds( 60 );
   /// The oldest version that a leader may speak. Version 1 was never released; files of it exist.
   std::uint16_t oldestVersion = 2;
};

inline constexpr std::uint16_t protocolVersion = 2;
inline constexpr char protocolMagic[] = "QNboALog"; // 8 bytes on the wire
/// Bytes.
inline constexpr std::uint64_t stallProgress = 64 * 1024;

/// A moment at which what a leader has said belongs together.
struct Point {
   std::uint64_t generation; ///< Of the leader's process; 0 where there is none, as in a file.
   std::uint64_t sequence;   ///< Counted up in each turn of the leader in which something changed.
   auto operator<=>( Point const& ) const = default;
};

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

   /// Says hello with \p ours. A leader gives the number of its generation; see Point.
   void start( std::unique_ptr<Transport>, Varek::String peer, Description ours,
               std::uint64_t generation = 0 );

   int fd() const { return transport_ ? transport_->fd() : -1; }
   Varek::String const& peer() const { return peer_; }
   bool closed() const { return phase_ == Phase::closed; }
   /// Printable ASCII, whatever the peer has said.
   Varek::String const& reason() const { return reason_; }
   /// Whether it is closed since the two do not fit together: another attempt would end alike.
   bool refused() const { return closed() && refused_; }
   /// Whether the other side has closed it, but says that another attempt may go well.
   bool refusedForNow() const { return closed() && refusedForNow_; }
   /// Whether the other side has introduced itself, agrees with this one, and is still there.
   bool running() const { return phase_ == Phase::running; }
   /// Whether to call receive() when the transport is readable, as it is also once it has ended,
   /// and flush() when it is writable; or receive() then, if readAwaitsWritable().
   bool wantsRead() const { return closed() || !readAwaitsWritable_; }
   bool wantsWrite() const {
      return !closed() && ( readAwaitsWritable_ ||
                            ( ( !queue_.empty() || out_.pending() ) && !writeAwaitsReadable_ ) );
   }
   bool readAwaitsWritable() const { return readAwaitsWritable_; }
   /// Whether what is put into the queue may be taken without anything being read before.
   bool mayWrite() const { return !writeAwaitsReadable_; }
   /// What both know of each other, once running. Of a follower's types nothing is kept; of a leader's,
   /// by their numbers, null stands for those not known here.
   Description::Agreement const& agreement() const { return agreement_; }
   std::vector<Qel::TypeRecord const*> const& types() const { return agreement_.types; }
   /// The other side's generation, once running.
   std::uint64_t generation() const { return generation_; }

   OutQueue& queue() { return queue_; }
   OutQueue const& queue() const { return queue_; }
   QueueOut& out() { return out_; }

   /// Calls \p onFrame( Frame const& ) for each frame that is there, but for those of the handshake
   /// and keep-alives. Returns early when the endpoint closes.
   template<class F>
   void receive( F onFrame ) {
      Frame frame;
      unsigned reads = 0;
      for ( ; reads < readsAtOnce && readSome(); ++reads ) {
         while ( nextFrame( frame ) ) {
            if ( !handleOwn( frame ) ) {
               onFrame( frame );
            }
         }
      }
      unread_ = reads == readsAtOnce;
      if ( writeAwaitsReadable_ ) [[unlikely]] {
         flush();
      }
   }
   /// Sends what the transport takes.
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
   /// At once also if receive() has stopped for the others' sake: the transport may hold bytes that
   /// do not make it readable.
   Clock::time_point nextDeadline() const;

   std::uint64_t messages() const { return out_.messages(); }
   std::uint64_t framesReceived() const { return framesReceived_; }
   std::uint64_t bytesReceived() const { return bytesReceived_; }
   std::uint64_t bytesSent() const { return bytesSent_; }
   /// Of a frame that has not come as a whole; counted without its head, if that has.
   std::size_t incomplete() const { return end_ - begin_; }

private:
   /// Other connections get their turn after so many reads.
   static constexpr unsigned readsAtOnce = 16;
   static constexpr std::size_t readSize = 128 * 1024;
   static constexpr std::size_t readSizeOfFollower = 8 * 1024;
   enum class Phase : std::uint8_t { closed, hello, running, refusing };

   std::size_t usualRoom() const { return role_ == Role::leader ? readSizeOfFollower : readSize; }
   std::size_t frameLimit() const;
   bool readSome();
   void makeRoom();
   void ended( Varek::String const& how );
   bool nextFrame( Frame& );
   bool handleOwn( Frame const& );
   void hello( Frame const& );
   void refuseVersion( std::uint16_t theirs );
   static void furtherParts( Qel::NboAttrLog::In& );
   void reasonIs( Varek::String const& text );
   /// Until half of what may wait has left, a stream that was held back puts in no more.
   bool full() const { return queue_.bytes() > options_.outputLimit / 2; }
   bool stalled( Clock::time_point now );
   Clock::duration stallTime() const;

   EndpointOptions const options_;
   Role const role_;
   Phase phase_ = Phase::closed;
   std::unique_ptr<Transport> transport_;
   Varek::String peer_;
   Varek::String reason_;
   Description ours_;
   Description::Agreement agreement_;
   std::uint64_t generation_ = 0;

   OutQueue queue_;
   QueueOut out_{ queue_ };
   int sendError_ = 0;
   bool readAwaitsWritable_ = false;
   bool writeAwaitsReadable_ = false;
   bool unread_ = false;
   bool refused_ = false;
   bool refusedForNow_ = false;

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
   Clock::time_point tickedAt_;
   Clock::time_point heardAt_;
   Clock::time_point spokeAt_;
   // Since when too little has left a queue that is full.
   std::optional<Clock::time_point> fullSince_;
   std::uint64_t sentBefore_ = 0;
};

} // namespace Mirror
