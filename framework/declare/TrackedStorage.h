#pragma once

#include <cstddef>

#include "Pallo/Pallo.h"
#include "Varek/AllocTrack.h"
#include "Varek/Export.h"
#include "framework/records/TypeName.h"

namespace Qel {

/// Storage of the objects of class \p Self, which derives from it: from Pallo, counted for each
/// class on its own. Costs an object nothing.
template<class Self>
class VAREK_EXPORT TrackedStorage {
public:
   /// Live objects of this class, in this process.
   static constexpr Varek::AllocTrackTypeInfo const& allocations() { return tracker_; }

   static void* operator new( std::size_t size ) {
      Varek::AllocTrackTypeInfo::trackAllocation( tracker_, typeName<Self>, size,
                                                  storageAlignment );
      try {
         return Pallo::allocate( size );
      } catch ( ... ) {
         Varek::AllocTrackTypeInfo::trackRelease( tracker_ );
         throw;
      }
   }
   static void operator delete( void* storage, std::size_t size ) noexcept {
      Pallo::release( storage, size );
      Varek::AllocTrackTypeInfo::trackRelease( tracker_ );
   }

protected:
   TrackedStorage() = default;
   ~TrackedStorage() = default;

private:
   static constexpr std::size_t storageAlignment = 8;
   inline static constinit Varek::AllocTrackTypeInfo tracker_{ typeName<Self>, sizeof( Self ),
                                                               storageAlignment };
};

} // namespace Qel
