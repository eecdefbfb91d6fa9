#pragma once

#include <cstddef>
#include <cstdint>

namespace Qel {

class HashMap2018Generic;

/// What a map of one type does with its keys and elements, for whoever knows the map as a
/// HashMap2018Generic alone: HashMap2018<...>::type. To be used through the functions of the same
/// names there; \p key and \p element point to live objects of the types of the map.
struct HashMap2018Type {
   std::size_t elementSize;
   void* ( *lookupNodeG )( HashMap2018Generic&, void const* key );
   void* ( *newMemberG )( HashMap2018Generic&, void* element );
   bool ( *deleteMemberG )( HashMap2018Generic&, void const* key, void* removed );
   void ( *memberDelAll )( HashMap2018Generic& );
   void ( *qelMarkedForDeletionGIs )( HashMap2018Generic&, void const* key, bool marked );
   void ( *reserve )( HashMap2018Generic&, std::uint32_t count );
   void const* ( *keyOf )( void const* element );
};

} // namespace Qel
