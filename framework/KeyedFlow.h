#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <optional>
#include <vector>

#include "Qel/HashMap2018.h"
#include "Varek/Failures.h"
#include "framework/AttrLog.h"

/// What is still to be said of one collection to one stream, for each type of collection.
namespace Qel::Internal {

/// How far the full sync of a collection has come.
template<class Map>
struct Bookmark {
   using Key = typename Map::Key;
   static constexpr bool byPosition = std::derived_from<Map, HashMap2018Generic>;

   explicit Bookmark( Map const& map ) : walking( byPosition ), version_( map.version() ) {
      if ( !byPosition )
         leaveAll( map );
   }

   /// The elements may have moved since: then all keys that there are take the place of the walk.
   void settle( Map const& map, HSet<Key>* dirty ) {
      if ( !walking || version_ == map.version() )
         return;
      walking = false;
      if ( dirty )
         leaveDirty( *dirty );
      leaveAll( map );
   }
   void leaveAll( Map const& map ) {
      for ( auto const& element : map )
         left.push_back( keyOf( element ) );
      // They are taken from the end.
      std::reverse( left.begin(), left.end() );
   }
   void leaveDirty( HSet<Key>& dirty ) {
      left.insert( left.end(), dirty.begin(), dirty.end() );
      dirty.memberDelAll();
   }
   void assertVersion( Map const& map ) const {
      VAREK_ASSERT_TEXT( version_ == map.version(), "version_ == hashMap_->version()" );
   }
   static Key const& keyOf( auto const& element ) {
      if constexpr ( byPosition )
         return typename Map::KeyOf{}( element );
      else
         return element.first;
   }

   bool walking;
   std::uint32_t position = 0;
   std::vector<Key> left;

private:
   std::uint32_t version_;
};

template<class Map>
class KeyedFlowOf final : public NboAttrLog::KeyedFlow {
public:
   using Key = typename Map::Key;

   void dirtyKeyIs( void const* key, bool dirty ) override {
      auto const& typed = *static_cast<Key const*>( key );
      if ( dirty )
         dirty_.findOrNewMemberG( typed, typed );
      else
         dirty_.deleteMemberG( typed );
   }
   std::size_t dirtyKeys() const override { return dirty_.size(); }
   bool bookmark() const override { return bookmark_.has_value(); }
   void bookmarkDel() override { bookmark_.reset(); }

   HSet<Key> dirty_;
   std::optional<Bookmark<Map>> bookmark_;
};

} // namespace Qel::Internal
