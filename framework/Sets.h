#pragma once

#include <algorithm>
#include <cstdint>

#include "framework/Mutators.h"

/// Sets of plain values, in entities and in values. Members are removed as those of any collection
/// are: their key is all that there is of them.
namespace Qel {

/// Sets are equal if they have the same members, in whatever order these came.
template<class T, std::uint32_t salt>
bool operator==( HSet<T, salt> const& a, HSet<T, salt> const& b ) {
   return a.size() == b.size() && std::all_of( a.begin(), a.end(), [&]( T const& member ) {
             return b.lookupNodeG( member ) != nullptr;
          } );
}

template<Writer by = Writer::caller, class Owner, class Set>
void setIs( Owner& owner, Varek::FieldId id, Set& set, typename Set::Key const& member ) {
   if ( !notable<by>( owner ) ) {
      set.findOrNewMemberG( member, member );
      return;
   }
   if ( set.lookupNodeG( member ) ) {
      return;
   }
   requireWritable<by>( owner );
   // Observers get a copy, since the member may end while they are told.
   typename Set::Key const key( member );
   set.newMemberG( key );
   tell( owner, id, key, nullptr );
}

} // namespace Qel
