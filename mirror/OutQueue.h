#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "Varek/Ptr.h"
#include "mirror/Transport.h"

/// What waits to be sent. Messages are encoded into chunks of memory, once; a queue holds slices of
/// chunks, so that many connections can send the same bytes. Slices that adjoin are one, and a
/// chunk that nobody waits for any more is filled again from its start: a connection that keeps up
/// costs neither allocations nor copies.
namespace Mirror {

/// Memory for messages, counted by the slices that refer to it.
class VAREK_EXPORT Chunk final : public Varek::Counted {
public:
   /// Enough for a system call, but so small that a single slice keeps little memory in use.
   static constexpr std::size_t usualSize = 64 * 1024;

   explicit Chunk( std::size_t size )
      : bytes_( std::make_unique_for_overwrite<std::uint8_t[]>( size ) ), size_( size ) {}
   ~Chunk() override;
   std::uint8_t* begin() const { return bytes_.get(); }
   std::uint8_t* end() const { return bytes_.get() + size_; }

private:
   std::unique_ptr<std::uint8_t[]> bytes_;
   std::size_t size_;
};

/// The bytes that a connection still has to send.
class VAREK_EXPORT OutQueue {
public:
   std::size_t bytes() const { return bytes_; }
   bool empty() const { return bytes_ == 0; }

   void append( Varek::Ptr<Chunk> const& chunk, std::uint8_t const* from, std::uint8_t const* to ) {
      if ( first_ != slices_.size() && slices_.back().to == from && slices_.back().chunk == chunk )
         [[likely]] {
         slices_.back().to = to;
      } else {
         slices_.push_back( { chunk, from, to } ); // which may throw
      }
      bytes_ += static_cast<std::size_t>( to - from );
   }

   /// Writes what \p to takes now; not to be called while there is nothing.
   Transfer send( Transport& to );
   void clear();

private:
   struct Slice {
      Varek::Ptr<Chunk> chunk;
      std::uint8_t const* from;
      std::uint8_t const* to;
   };
   void sent( std::size_t count );

   std::vector<Slice> slices_; // from first_ on; what is before has been sent
   std::size_t first_ = 0;
   std::size_t bytes_ = 0;
};

/// Writes messages into chunks. What was written is passed on to the derived class by passOn(), or
/// when a chunk is full.
class VAREK_EXPORT ChunkOut : public Qel::NboAttrLog::Out {
public:
   static constexpr std::size_t unlimited = ~std::size_t{ 0 };

   using Out::forgetLast;
   using Out::payloadLimitIs;
   /// How many bytes may still be written; see mayExceed().
   void allowanceIs( std::size_t bytes );
   void passOn() {
      if ( free_ != from_ ) {
         passOnPending();
      }
   }
   bool pending() const { return free_ != from_; }
   /// Gives up what was not passed on yet, also a message that has been begun.
   void drop() {
      free_ = from_;
      forgetFrame();
   }
   /// Fills the chunk again from its start if nobody else refers to it.
   void rewind() {
      if ( chunk_ && chunk_->references() == 1 && free_ == from_ ) {
         startChunk();
      }
   }

protected:
   ChunkOut() = default;
   ~ChunkOut() override = default;

   virtual void pass( Varek::Ptr<Chunk> const&, std::uint8_t const* from,
                      std::uint8_t const* to ) = 0;
   /// Whether a message that is larger than what is allowed may go out all the same, since there is
   /// nothing before it.
   virtual bool mayExceed() const { return false; }

private:
   std::uint8_t* room( std::size_t size ) final;
   void passOnPending();
   void startChunk();
   void freeEndIs();

   Varek::Ptr<Chunk> chunk_;
   std::uint8_t* from_ = nullptr;      // of what was not passed on yet
   std::size_t allowance_ = unlimited; // from from_ on
};

/// Writes into the queue of a connection.
class VAREK_EXPORT QueueOut final : public ChunkOut {
public:
   explicit QueueOut( OutQueue& queue ) : queue_( queue ) {}
   ~QueueOut() override;

private:
   void pass( Varek::Ptr<Chunk> const&, std::uint8_t const* from, std::uint8_t const* to ) override;
   bool mayExceed() const override { return queue_.empty(); }

   OutQueue& queue_;
};

} // namespace Mirror
