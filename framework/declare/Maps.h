#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "framework/declare/MapMember.h"
#include "framework/declare/Mutators.h"

/// Maps of plain values under a key beside them.
namespace Qel {

template<class K, class V, std::uint32_t salt>
using ValueMap = HashMap2018<MapMember<K, V>, MapMemberKey<K, V>, salt>;

/// The type of the values of a ValueMap.
template<class Map>
using MappedType = decltype( Map::value_type::value );

template<class Map>
MappedType<Map> const* mapGet( Map const& map, typename Map::Key const& key ) {
   auto const* const member = map.lookupNodeG( key );
   return member ? &member->value : nullptr;
}

template<Writer by = Writer::caller, class Map>
void mapIs( Entity& owner, Varek::FieldId id, Map& map, typename Map::Key const& key,
            MappedType<Map> const& value ) {
   auto* const held = map.lookupNodeG( key );
   if ( held && same( held->value, value ) ) {
      return;
   }
   requireWritable<by>( owner );
   // Observers get a copy of the key, since one of them may remove the member.
   typename Map::Key const ownKey( key );
   if ( held ) {
      MappedType<Map> const old = std::exchange( held->value, MappedType<Map>( value ) );
      tell( owner, id, ownKey, &old );
   } else {
      map.newMemberG( ownKey, value );
      tell( owner, id, ownKey, nullptr );
   }
}

template<Writer by = Writer::caller, class Map>
MappedType<Map> mapDel( Entity& owner, Varek::FieldId id, Map& map, typename Map::Key const& key ) {
   if ( proxyStays<by>( owner, [&] { return map.lookupNodeG( key ) != nullptr; } ) ) {
      return {};
   }
   std::optional<typename Map::value_type> removed = map.deleteMemberG( key );
   if ( !removed ) {
      return {};
   }
   tell( owner, id, removed->key, &removed->value );
   return std::move( removed->value );
}

/// Clears at once, without notifications, while nothing can ever have observed; else key by key.
template<class Map>
void mapDelAll( Entity& owner, Varek::FieldId id, Map& map ) {
   if ( owner.initial() ) {
      map.memberDelAll();
   } else {
      delEach( owner, map, [&]( auto const& key ) { mapDel( owner, id, map, key ); } );
   }
}

} // namespace Qel
