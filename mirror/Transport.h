#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Varek/Export.h"

/// What carries the bytes of one connection: a socket (Socket.h), memory (MemoryTransport.h), or
/// what a program brings along, as encryption over a socket.
namespace Mirror {

/// What came of an attempt to read or to write.
struct Transfer {
   enum class State : std::uint8_t {
      moved,         ///< count bytes, at least one.
      untilReadable, ///< None; another attempt makes sense when the transport is readable.
      untilWritable, ///< The same, when it is writable.
      ended,         ///< Of reading: the other side has ended, and all that it said has been read.
      failed         ///< error says why.
   };
   std::size_t count = 0;
   State state = State::moved;
   int error = 0; ///< An errno value.

   static Transfer moved( std::size_t count ) { return { count, State::moved, 0 }; }
   static Transfer none( State state, int error = 0 ) { return { 0, state, error }; }
};

/// A stream of bytes to one other side and from it, in order and without loss. Nothing here waits.
///
/// What is between two sides that encrypt may have to write before it can read on, and to read
/// before it can write on; so each attempt says for itself what the next one waits for.
class VAREK_EXPORT Transport {
public:
   using Bytes = std::span<std::uint8_t const>;
   /// At most so many pieces are written at once.
   static constexpr std::size_t mostPieces = 16;

   Transport( Transport const& ) = delete;
   Transport& operator=( Transport const& ) = delete;
   virtual ~Transport();

   /// Reads into \p to, which is not empty, as much as there is.
   virtual Transfer read( std::span<std::uint8_t> to ) noexcept = 0;
   /// Writes of \p pieces, which are not empty, in their order as much as there is room for.
   virtual Transfer write( std::span<Bytes const> pieces ) noexcept = 0;
   /// Ends both directions. The other side reads what was written before, then the end; this side
   /// becomes readable, so that its owner notices.
   virtual void end() noexcept = 0;
   /// What a loop waits with, for as long as the transport lives; -1 if there is no such thing.
   virtual int fd() const noexcept { return -1; }

protected:
   Transport() = default;
};

} // namespace Mirror
