#pragma once

#include <algorithm>
#include <cstdint>

#include "framework/declare/Mutators.h"

/// Sets of plain values, in entities and in values. A member is its own key, and is removed as an
/// element of any collection is.
namespace Qel {

/// Sets are equal if they have the same members, in any order.
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
   // Observers get a copy, since one of them may remove the member.
   typename Set::Key const key( member );
   set.newMemberG( key );
   tell( owner, id, key, nullptr );
}

} // namespace Qel
