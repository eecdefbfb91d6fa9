#include "mirror/Endpoint.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

namespace Mirror {

namespace {

using Qel::NboAttrLog::FrameKind;
using Qel::NboAttrLog::In;

constexpr Varek::FieldId noField{};
/// Of a reason, and of what the peer gives for one.
constexpr std::size_t mostOfReason = 1100, mostOfRefusal = 1000;

/// How many ticks there are at least, while something goes on, in the time after which a peer is
/// dead: by so much may that be told late.
constexpr int ticksInTime = 30;

Varek::String errorText( int error ) { return std::generic_category().message( error ); }

Varek::String secondsText( Clock::duration d ) {
   Varek::String text =
      std::to_string( std::chrono::duration_cast<std::chrono::milliseconds>( d ).count() );
   return text + " ms";
}

} // namespace

Endpoint::Endpoint( EndpointOptions const& options, Role role )
   : options_( options ), role_( role ) {}

Endpoint::~Endpoint() = default;

void Endpoint::start( std::unique_ptr<Transport> transport, Varek::String peer, Description ours,
                      std::uint64_t generation ) {
   transport_ = std::move( transport );
   peer_ = std::move( peer );
   ours_ = std::move( ours );
   phase_ = Phase::hello;
   std::size_t const size = sizeof protocolMagic - 1 + 2 + 8 + ours_.size() + 4;
   out_.outSmReserveMessage( FrameKind::hello, 0, noField, size );
   out_.putOctets( protocolMagic, sizeof protocolMagic - 1 );
   out_.put16( protocolVersion );
   out_.put64( generation );
   ours_.write( out_ );
   out_.put32( 0 ); // further parts
   out_.outSmCommitMessage();
   // The hello of a program with many types may be longer than what comes after it.
   out_.payloadLimitIs( options_.maxFrame );
}

// Input

void Endpoint::makeRoom() {
   // What comes after a refusal is not looked at.
   if ( begin_ == end_ || phase_ == Phase::refusing ) {
      begin_ = end_ = 0;
   }
   // Back to the usual size after a large frame.
   std::size_t const usual = usualRoom();
   bool const shrink = begin_ == end_ && capacity_ > 8 * usual;
   if ( capacity_ - end_ >= usual / 2 && !shrink ) {
      return;
   }
   // Room for what has come, not for what was promised.
   std::size_t const left = end_ - begin_;
   std::size_t const most = head_ ? head_->size + usual : usual;
   std::size_t const wanted = std::clamp( std::bit_ceil( 2 * left ), usual, most );
   VAREK_ASSERT( left < wanted );
   if ( wanted == capacity_ ) {
      std::memmove( in_.get(), in_.get() + begin_, left );
   } else {
      auto bigger = std::make_unique_for_overwrite<std::uint8_t[]>( wanted );
      if ( left != 0 ) {
         std::memcpy( bigger.get(), in_.get() + begin_, left );
      }
      in_ = std::move( bigger );
      capacity_ = wanted;
   }
   begin_ = 0;
   end_ = left;
}

bool Endpoint::readSome() {
   if ( closed() ) {
      return false;
   }
   makeRoom();
   Transfer const got = transport_->read( { in_.get() + end_, capacity_ - end_ } );
   readAwaitsWritable_ = got.state == Transfer::State::untilWritable;
   if ( got.state == Transfer::State::moved ) [[likely]] {
      heard_ = true;
      bytesReceived_ += got.count;
      if ( phase_ != Phase::refusing ) {
         end_ += got.count;
      }
      return true;
   }
   if ( got.state == Transfer::State::ended ) {
      ended( "closed by the other side" );
   } else if ( got.state == Transfer::State::failed ) {
      ended( "reading failed: " + errorText( got.error ) );
   }
   return false;
}

void Endpoint::ended( Varek::String const& how ) {
   if ( phase_ == Phase::refusing ) {
      close( reason_ );
   } else if ( sendError_ != 0 && sendError_ != EPIPE && sendError_ != ECONNRESET ) {
      close( ( bytesReceived_ == 0 ? "connecting failed: " : "writing failed: " ) +
             errorText( sendError_ ) );
   } else if ( head_ || begin_ != end_ ) {
      close( how + " within a frame, at offset " + std::to_string( bytesReceived_ ) );
   } else {
      close( how );
   }
}

std::size_t Endpoint::frameLimit() const {
   return std::min( options_.maxFrame, phase_ == Phase::hello  ? options_.maxHello
                                       : role_ == Role::leader ? options_.maxFollowerFrame
                                                               : options_.maxFrame );
}

bool Endpoint::nextFrame( Frame& frame ) {
   if ( phase_ != Phase::running && phase_ != Phase::hello ) {
      return false;
   }
   std::span<std::uint8_t const> const bytes( in_.get() + begin_, end_ - begin_ );
   std::size_t headSize = 0;
   if ( head_ ) {
      frame.head = *head_;
   } else {
      headSize = heads_.read( bytes, frame.head );
      if ( headSize == 0 ) {
         return false;
      }
      std::size_t const limit = frameLimit();
      if ( frame.head.size > limit ) [[unlikely]] {
         refuse( "a frame of " + std::to_string( frame.head.size ) + " bytes at offset " +
                 std::to_string( bytesReceived_ - bytes.size() ) + "; the largest allowed is " +
                 std::to_string( limit ) );
         return false;
      }
   }
   if ( bytes.size() - headSize < frame.head.size ) {
      begin_ += headSize;
      head_ = frame.head;
      return false;
   }
   head_.reset();
   frame.payload = bytes.subspan( headSize, frame.head.size );
   frame.ahead = bytes.size() - headSize - frame.head.size;
   frame.offset = bytesReceived_ - bytes.size() + headSize;
   begin_ += headSize + frame.head.size;
   ++framesReceived_;
   return true;
}

bool Endpoint::handleOwn( Frame const& frame ) {
   FrameKind const kind = frame.head.kind;
   if ( kind == FrameKind::refused ) {
      refusedForNow_ =
         frame.head.field == Varek::FieldId( static_cast<std::uint16_t>( Refusal::passing ) );
      refused_ = !refusedForNow_;
      close( "refused by the other side: " +
             Varek::String( reinterpret_cast<char const*>( frame.payload.data() ),
                            std::min( frame.payload.size(), mostOfRefusal ) ) );
      return true;
   }
   if ( phase_ == Phase::hello ) [[unlikely]] {
      hello( frame );
      return true;
   }
   if ( kind > FrameKind::consistent || kind == FrameKind::hello ) [[unlikely]] {
      refuse( "a frame of kind " + std::to_string( static_cast<unsigned>( kind ) ) + " at offset " +
              std::to_string( frame.offset ) + " is not expected here" );
      return true;
   }
   return kind == FrameKind::keepAlive;
}

void Endpoint::refuseVersion( std::uint16_t theirs ) {
   bool const leads = role_ == Role::leader;
   refuse( "protocol version " + std::to_string( leads ? protocolVersion : theirs ) +
           " at the leader, " + std::to_string( leads ? theirs : protocolVersion ) +
           " at the follower" +
           ( theirs == 1 ? "; version 1 was never released, and is no longer spoken" : "" ) );
}

/// Each is a U16 number and a text; none is known so far.
void Endpoint::furtherParts( In& in ) {
   constexpr std::size_t leastPart = 6;
   for ( std::uint32_t count = in.getCount( leastPart ); count > 0; --count ) {
      in.get16();
      in.getOctets( in.get32() );
   }
}

void Endpoint::hello( Frame const& frame ) {
   using namespace std::string_view_literals;
   In in( frame.payload, frame.offset );
   in.contextIs( "hello", frame.head.field );
   if ( frame.head.kind != FrameKind::hello || in.left() < 10 ||
        std::memcmp( in.getOctets( 8 ), protocolMagic, 8 ) != 0 ) {
      return refuse( "the first frame is no hello of this protocol" );
   }
   std::uint16_t const version = in.get16();
   if ( version > protocolVersion || version < options_.oldestVersion ) {
      return refuseVersion( version );
   }
   using Side = Description::Side;
   std::optional<Varek::String> differs;
   try {
      generation_ = version > 1 ? in.get64() : 0;
      differs = ours_.difference( role_ == Role::leader ? Side::leader : Side::follower, in,
                                  version, agreement_ );
      if ( !differs && version > 1 ) {
         furtherParts( in );
      }
      if ( !differs ) {
         in.expectEnd();
      }
   } catch ( Qel::NboAttrLog::AttrLogError const& e ) {
      return refuse( e.what() );
   } catch ( Qel::NboAttrLog::AttrLogLengthError const& e ) {
      return refuse( "hello, offset " + std::to_string( e.offset() ) +
                     ": a count that the message cannot hold" );
   }
   if ( differs ) {
      return refuse( *differs );
   }
   ours_ = {};
   phase_ = Phase::running;
}

// Output

void Endpoint::flush() {
   out_.passOn();
   while ( !closed() && !queue_.empty() && sendError_ == 0 ) {
      Transfer const sent = queue_.send( *transport_ );
      writeAwaitsReadable_ = sent.state == Transfer::State::untilReadable;
      if ( sent.state == Transfer::State::moved ) [[likely]] {
         bytesSent_ += sent.count;
         spoke_ = true;
      } else if ( sent.state == Transfer::State::failed ) {
         // The peer may have said why before it left: that is to be read first.
         sendError_ = sent.error;
      } else {
         return;
      }
   }
   if ( sendError_ != 0 ) {
      queue_.clear();
   }
   if ( !full() ) {
      fullSince_.reset();
   }
   out_.rewind();
   if ( phase_ == Phase::refusing ) {
      close( reason_ );
   }
}

void Endpoint::keepAlive() {
   if ( !out_.outSmReserveMessage( FrameKind::keepAlive, 0, noField, 0 ) ) {
      return;
   }
   out_.outSmCommitMessage();
   flush();
   // tick() has the time of this one.
   spoke_ = false;
}

void Endpoint::refuse( Varek::String const& text, Refusal kind ) {
   if ( closed() || phase_ == Phase::refusing ) {
      return;
   }
   // A fault later on is one of this stream; the next one may be without.
   refused_ = phase_ == Phase::hello;
   phase_ = Phase::refusing;
   phaseSince_.reset();
   reasonIs( text );
   out_.allowanceIs( ChunkOut::unlimited );
   out_.forgetLast();
   out_.outSmReserveMessage( FrameKind::refused, 0, static_cast<std::uint16_t>( kind ),
                             reason_.size() );
   out_.putOctets( reason_.data(), reason_.size() );
   out_.outSmCommitMessage();
   flush();
}

void Endpoint::close( Varek::String reason ) noexcept {
   if ( closed() ) {
      return;
   }
   phase_ = Phase::closed;
   try {
      reasonIs( reason );
   } catch ( std::bad_alloc const& ) {
      reason_ = "no memory"; // short enough not to need any
   }
   out_.drop();
   queue_.clear();
   transport_->end();
}

/// Names in a peer's hello, what it says when it refuses, and values that are no values get into
/// reasons; and these into logs and onto terminals.
void Endpoint::reasonIs( Varek::String const& text ) {
   reason_ = Varek::printable( std::string_view( text ).substr( 0, mostOfReason ) );
   reason_.resize( std::min( reason_.size(), mostOfReason ) );
}

// What waits to be sent

bool Endpoint::stalled( Clock::time_point now ) {
   if ( !full() ) {
      return false;
   }
   if ( !fullSince_ || bytesSent_ - sentBefore_ >= stallProgress ) {
      fullSince_ = now;
      sentBefore_ = bytesSent_;
   }
   return now - *fullSince_ >= stallTime();
}

Clock::duration Endpoint::stallTime() const {
   return std::max( options_.stalledAfter, options_.deadAfter );
}

// Time. What was heard and said counts from the tick after it, which is soon: no clock is read in
// between.

Endpoint::Due Endpoint::tick( Clock::time_point now ) {
   if ( closed() ) {
      return Due::nothing;
   }
   if ( !phaseSince_ ) {
      phaseSince_ = now;
   }
   // Time in which this process was stopped is not the peer's.
   if ( now - std::exchange( tickedAt_, now ) > stallTime() / 2 ) {
      fullSince_.reset();
   }
   if ( std::exchange( heard_, false ) ) {
      heardAt_ = now;
   }
   if ( std::exchange( spoke_, false ) ) {
      spokeAt_ = now;
   }
   if ( phase_ != Phase::running ) {
      if ( now - *phaseSince_ >= options_.handshakeTimeout ) {
         close( phase_ == Phase::refusing
                   ? reason_
                   : "no hello within " + secondsText( options_.handshakeTimeout ) );
      }
      return Due::nothing;
   }
   if ( now - heardAt_ >= options_.deadAfter ) {
      close( "nothing came for " + secondsText( now - heardAt_ ) );
      return Due::nothing;
   }
   // A transport that nobody has tried of late may take something.
   if ( stalled( now ) ) {
      flush();
   }
   if ( stalled( now ) ) {
      close( "of " + std::to_string( queue_.bytes() ) + " bytes that wait only " +
             std::to_string( bytesSent_ - sentBefore_ ) + " were taken in " +
             secondsText( now - *fullSince_ ) );
      return Due::nothing;
   }
   // What waits to be sent is a sign of life itself, once the peer takes it.
   bool const silent = now - spokeAt_ >= options_.keepAlive && !wantsWrite();
   if ( !silent ) {
      return Due::nothing;
   }
   spokeAt_ = now;
   return Due::keepAlive;
}

Clock::time_point Endpoint::nextDeadline() const {
   if ( closed() ) {
      return Clock::time_point::max();
   }
   if ( !phaseSince_ || unread_ ) {
      return Clock::time_point::min();
   }
   if ( phase_ != Phase::running ) {
      return *phaseSince_ + options_.handshakeTimeout;
   }
   Clock::time_point first = heardAt_ + options_.deadAfter;
   if ( !wantsWrite() ) {
      first = std::min( first, spokeAt_ + options_.keepAlive );
   }
   if ( fullSince_ ) {
      first = std::min( first, *fullSince_ + stallTime() );
   }
   if ( heard_ || spoke_ || ( full() && !fullSince_ ) ) {
      first = std::min( first, tickedAt_ + options_.deadAfter / ticksInTime );
   }
   return first;
}

} // namespace Mirror
