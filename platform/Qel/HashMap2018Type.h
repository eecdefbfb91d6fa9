#pragma once

#include <cstddef>

namespace Qel {

class HashMap2018Generic;

/// The functions of a map type on its keys and elements, for code that knows the map only as a
/// HashMap2018Generic: HashMap2018<...>::type. Callers use the functions of the same names there;
/// \p key and \p element point to live objects of the types of the map.
struct HashMap2018Type {
   std::size_t elementSize;
   void* ( *lookupNodeG )( HashMap2018Generic&, void const* key );
   void* ( *newMemberG )( HashMap2018Generic&, void* element );
   bool ( *deleteMemberG )( HashMap2018Generic&, void const* key, void* removed );
   void ( *memberDelAll )( HashMap2018Generic& );
   void ( *qelMarkedForDeletionGIs )( HashMap2018Generic&, void const* key, bool marked );
};

} // namespace Qel
