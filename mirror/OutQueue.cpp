#include "mirror/OutQueue.h"

#include <algorithm>
#include <array>
#include <span>

namespace Mirror {

Chunk::~Chunk() = default;

Transfer OutQueue::send( Transport& to ) {
   std::array<Transport::Bytes, Transport::mostPieces> pieces;
   std::size_t const count = std::min( pieces.size(), slices_.size() - first_ );
   for ( std::size_t i = 0; i < count; ++i ) {
      Slice const& slice = slices_[first_ + i];
      pieces[i] = { slice.from, slice.to };
   }
   Transfer const taken = to.write( std::span( pieces ).first( count ) );
   sent( taken.count );
   return taken;
}

void OutQueue::sent( std::size_t count ) {
   bytes_ -= count;
   while ( count != 0 ) {
      Slice& slice = slices_[first_];
      auto const whole = static_cast<std::size_t>( slice.to - slice.from );
      if ( count < whole ) {
         slice.from += count;
         break;
      }
      count -= whole;
      slice.chunk = nullptr;
      ++first_;
   }
   if ( first_ == slices_.size() ) {
      slices_.clear();
      first_ = 0;
   } else if ( first_ > slices_.size() / 2 ) {
      slices_.erase( slices_.begin(), slices_.begin() + static_cast<std::ptrdiff_t>( first_ ) );
      first_ = 0;
   }
}

void OutQueue::clear() {
   slices_.clear();
   first_ = 0;
   bytes_ = 0;
}

void ChunkOut::passOnPending() {
   auto const size = static_cast<std::size_t>( free_ - from_ );
   pass( chunk_, from_, free_ );
   from_ = free_;
   if ( allowance_ != unlimited ) {
      allowance_ -= std::min( allowance_, size );
   }
}

void ChunkOut::freeEndIs() {
   auto const left = static_cast<std::size_t>( chunk_ ? chunk_->end() - from_ : 0 );
   // A message that was let through although it exceeds may have gone beyond what is allowed.
   freeEnd_ = std::max( from_ + std::min( left, allowance_ ), free_ );
}

void ChunkOut::allowanceIs( std::size_t bytes ) {
   passOn();
   allowance_ = bytes;
   freeEndIs();
}

void ChunkOut::startChunk() {
   free_ = from_ = chunk_->begin();
   freeEndIs();
}

std::uint8_t* ChunkOut::room( std::size_t size ) {
   auto const before = static_cast<std::size_t>( free_ - from_ );
   if ( ( before > allowance_ || size > allowance_ - before ) && ( before != 0 || !mayExceed() ) ) {
      return nullptr;
   }
   if ( !chunk_ || size > static_cast<std::size_t>( chunk_->end() - free_ ) ) {
      passOn();
      chunk_ = Varek::Ptr<Chunk>::adopt( new Chunk( std::max( size, Chunk::usualSize ) ) );
      startChunk();
   }
   freeEnd_ = std::max( freeEnd_, free_ + size );
   return free_;
}

QueueOut::~QueueOut() = default;

void QueueOut::pass( Varek::Ptr<Chunk> const& chunk, std::uint8_t const* from,
                     std::uint8_t const* to ) {
   queue_.append( chunk, from, to );
}

} // namespace Mirror
