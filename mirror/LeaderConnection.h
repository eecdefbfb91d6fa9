#pragma once

#include <cstddef>
#include <cstdint>

#include "Varek/Export.h"
#include "Varek/String.h"

namespace Mirror {

/// One follower, as the owner of its leader sees it. Made by Leader::connectionIs; driven by the
/// owner's loop: when its transport is readable while wantsRead(), which is nearly always, and when
/// it is writable while wantsWrite(), which may become true with every change of the trees. Not to
/// be driven from within an observer.
class VAREK_EXPORT LeaderConnection {
public:
   LeaderConnection( LeaderConnection const& ) = delete;
   LeaderConnection& operator=( LeaderConnection const& ) = delete;

   /// What to wait with; -1 for a transport that has no descriptor.
   virtual int fd() const = 0;
   virtual Varek::String const& peer() const = 0;
   virtual bool wantsRead() const = 0;
   virtual bool wantsWrite() const = 0;
   virtual void onReadable() = 0;
   virtual void onWritable() = 0;
   virtual bool closed() const = 0;
   /// The reason why it is closed; a sentence.
   virtual Varek::String const& reason() const = 0;
   /// Whether all that there was when it came has been sent, or at least waits in the output.
   virtual bool synced() const = 0;
   /// Whether it shares the encoding of changes: all that there is has been said.
   virtual bool inGroup() const = 0;

   /// The number of frames that were written for it alone.
   virtual std::uint64_t ownMessages() const = 0;
   virtual std::uint64_t bytesSent() const = 0;
   virtual std::size_t bytesWaiting() const = 0;
   /// The number of entities with something still to be written.
   virtual std::size_t entitiesMarked() const = 0;

protected:
   LeaderConnection() = default;
   ~LeaderConnection() = default;
};

} // namespace Mirror
