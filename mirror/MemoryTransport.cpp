#include "mirror/MemoryTransport.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <utility>

#include "Varek/Failures.h"

namespace Mirror {

namespace {

/// Bytes in the order in which they came, up to a fixed number.
class Ring {
public:
   explicit Ring( std::size_t bound )
      : bytes_( std::make_unique_for_overwrite<std::uint8_t[]>( bound ) ), bound_( bound ) {}

   /// Puts in as much of \p from as there is room for; says how much.
   std::size_t put( std::span<std::uint8_t const> from ) {
      return inPieces( ( begin_ + size_ ) % bound_, std::min( from.size(), bound_ - size_ ),
                       [&]( std::uint8_t* at, std::size_t done, std::size_t count ) {
                          std::memcpy( at, from.data() + done, count );
                          size_ += count;
                       } );
   }
   /// Takes out as much as \p to has room for; says how much.
   std::size_t take( std::span<std::uint8_t> to ) {
      return inPieces( begin_, std::min( to.size(), size_ ),
                       [&]( std::uint8_t const* at, std::size_t done, std::size_t count ) {
                          std::memcpy( to.data() + done, at, count );
                          begin_ = ( begin_ + count ) % bound_;
                          size_ -= count;
                       } );
   }

private:
   /// What goes beyond the end is at the beginning.
   template<class Copy>
   std::size_t inPieces( std::size_t at, std::size_t count, Copy copy ) {
      std::size_t const first = std::min( count, bound_ - at );
      if ( first != 0 ) {
         copy( bytes_.get() + at, 0, first );
      }
      if ( count != first ) {
         copy( bytes_.get(), first, count - first );
      }
      return count;
   }

   std::unique_ptr<std::uint8_t[]> const bytes_;
   std::size_t const bound_;
   std::size_t begin_ = 0;
   std::size_t size_ = 0;
};

} // namespace

struct MemoryTransport::Side {
   explicit Side( std::size_t bound ) : said( bound ) {}
   void wakeIf( bool& waits ) {
      if ( std::exchange( waits, false ) && onReady ) {
         onReady();
      }
   }
   void wake() {
      bool now = true;
      wakeIf( now );
   }

   Ring said;
   bool readWaits = true;
   bool writeWaits = false;
   std::function<void()> onReady;
};

struct MemoryTransport::Both {
   explicit Both( std::size_t bound ) : a( bound ), b( bound ) {}

   std::mutex mutex; // of all below
   Side a, b;
   bool ended = false;
};

MemoryTransport::MemoryTransport( std::shared_ptr<Both> both, Side& own, Side& other )
   : both_( std::move( both ) ), own_( own ), other_( other ) {}

MemoryTransport::Pair MemoryTransport::pair( std::size_t bound ) {
   VAREK_ASSERT( bound != 0 );
   auto const both = std::make_shared<Both>( bound );
   Pair made;
   made.first.reset( new MemoryTransport( both, both->a, both->b ) );
   made.second.reset( new MemoryTransport( both, both->b, both->a ) );
   return made;
}

MemoryTransport::~MemoryTransport() {
   onReadyIs( nullptr );
   end();
}

void MemoryTransport::onReadyIs( std::function<void()> call ) {
   std::lock_guard const lock( both_->mutex );
   own_.onReady = std::move( call );
}

Transfer MemoryTransport::read( std::span<std::uint8_t> to ) noexcept {
   std::lock_guard const lock( both_->mutex );
   std::size_t const count = other_.said.take( to );
   if ( count == 0 ) {
      own_.readWaits = true;
      return Transfer::none( both_->ended ? Transfer::State::ended
                                          : Transfer::State::untilReadable );
   }
   other_.wakeIf( other_.writeWaits );
   return Transfer::moved( count );
}

Transfer MemoryTransport::write( std::span<Bytes const> pieces ) noexcept {
   std::lock_guard const lock( both_->mutex );
   if ( both_->ended ) {
      return Transfer::none( Transfer::State::failed, EPIPE );
   }
   std::size_t count = 0;
   for ( Bytes const piece : pieces ) {
      std::size_t const taken = own_.said.put( piece );
      count += taken;
      if ( taken != piece.size() ) {
         break;
      }
   }
   if ( count == 0 ) {
      own_.writeWaits = true;
      return Transfer::none( Transfer::State::untilWritable );
   }
   other_.wakeIf( other_.readWaits );
   return Transfer::moved( count );
}

void MemoryTransport::end() noexcept {
   std::lock_guard const lock( both_->mutex );
   if ( !std::exchange( both_->ended, true ) ) {
      other_.wake();
      own_.wake();
   }
}

} // namespace Mirror
