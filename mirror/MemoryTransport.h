#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "Varek/Export.h"
#include "mirror/Transport.h"

namespace Mirror {

/// Two ends in one process, with a queue of bytes in memory from each to the other. A tree belongs
/// to one thread: another thread that wants to see it follows it, over such a pair.
///
/// Each end may be used in a thread of its own, one at a time. A queue takes a fixed number of
/// bytes, in a ring that is allocated with the pair: nothing is allocated later.
class VAREK_EXPORT MemoryTransport final : public Transport {
public:
   using Pair = std::pair<std::unique_ptr<MemoryTransport>, std::unique_ptr<MemoryTransport>>;
   /// More makes fewer turns of two threads, less holds back a leader sooner.
   static constexpr std::size_t usualBound = 64 * 1024;

   /// \p bound: how many bytes, at least one, each queue holds that have not been read.
   static Pair pair( std::size_t bound = usualBound );
   /// Ends. Afterwards onReady is not called any more.
   ~MemoryTransport() override;

   /// \p call is called once when this end can go on after it was told to wait, when first there is
   /// something to read, and when either side ends. Mostly it is called in the thread of the other
   /// end and inside its calls, so it is only to wake this end's loop: it must not use either end,
   /// nor throw. To be set before the end is given to a leader or follower.
   void onReadyIs( std::function<void()> call );

   Transfer read( std::span<std::uint8_t> to ) noexcept override;
   Transfer write( std::span<Bytes const> pieces ) noexcept override;
   void end() noexcept override;

private:
   struct Side;
   struct Both;
   MemoryTransport( std::shared_ptr<Both>, Side& own, Side& other );

   std::shared_ptr<Both> const both_;
   Side& own_;
   Side& other_;
};

} // namespace Mirror
