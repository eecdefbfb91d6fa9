#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "Qel/HashMap2018.h"
#include "Varek/Failures.h"
#include "framework/AttrLog.h"

/// What is still to be said of one collection to one stream, for each type of key.
namespace Qel::Internal {

/// The keys whose elements are to be said.
template<class Key>
class DirtyKeys {
public:
   HSet<Key> const& all() const { return all_; }
   bool contains( Key const& key ) const { return all_.lookupNodeG( key ) != nullptr; }
   /// Whether the other end may hold the element with \p key, which is one of these.
   bool mayBeHeld( Key const& key ) const { return !new_.lookupNodeG( key ); }
   void insert( Key const& key, bool held ) {
      all_.findOrNewMemberG( key, key );
      if ( !held ) {
         new_.findOrNewMemberG( key, key );
      }
   }
   void erase( Key const& key ) {
      if ( all_.empty() ) {
         return;
      }
      erase( new_, key );
      erase( all_, key );
   }
   void clear() {
      all_.memberDelAll();
      new_.memberDelAll();
   }

private:
   /// A set that has become nearly empty gives most of its memory back: it may have been large for
   /// the sake of what has come and gone.
   static void erase( HSet<Key>& set, Key const& key ) {
      if ( !set.deleteMemberG( key ) || set.size() >= set.positions() / 16 ) {
         return;
      }
      try {
         set = HSet<Key>( std::as_const( set ) );
      } catch ( std::bad_alloc const& ) {
      }
   }

   HSet<Key> all_;
   HSet<Key> new_; // those that the other end does not hold
};

/// Whether the elements of a \p Map can be walked by position, or by key alone.
template<class Map>
inline constexpr bool walksByPosition = std::derived_from<Map, HashMap2018Generic>;

template<class Map>
typename Map::Key const& keyInElement( auto const& element ) {
   if constexpr ( walksByPosition<Map> ) {
      return typename Map::KeyOf{}( element );
   } else {
      return element.first;
   }
}

/// How far the full sync of a collection has come. There is one type for all
/// collections with one type of key.
template<class Key>
struct Bookmark {
   /// A key whose element is to be said before the end marker. If it is gone by then, that is said
   /// only where it may have been sent.
   struct Left {
      Key key;
      bool sent;
   };

   template<class Map>
   explicit Bookmark( Map const& map )
      : walking( walksByPosition<Map> ), version_( map.version() ) {
      if ( !walking ) {
         leaveAll( map );
      }
   }

   /// The elements may have moved since: then all keys that there are take the place of the walk.
   template<class Map>
   void settle( Map const& map, DirtyKeys<Key>* dirty ) {
      if ( !walking || version_ == map.version() ) {
         return;
      }
      walking = false;
      if ( dirty ) {
         leaveDirty( *dirty );
      }
      leaveAll( map );
   }
   /// What goes from now on is marked when it goes, if it may have been sent.
   template<class Map>
   void leaveAll( Map const& map ) {
      for ( auto const& element : map ) {
         left.push_back( { keyInElement<Map>( element ), false } );
      }
      // They are taken from the end.
      std::reverse( left.begin(), left.end() );
   }
   void leaveDirty( DirtyKeys<Key>& dirty ) {
      for ( Key const& key : dirty.all() ) {
         left.push_back( { key, dirty.mayBeHeld( key ) } );
      }
      dirty.clear();
   }
   void assertVersion( std::uint32_t version ) const {
      VAREK_ASSERT_TEXT( version_ == version, "version_ == hashMap_->version()" );
   }

   bool walking;
   std::uint32_t position = 0;
   std::size_t sent = 0; // elements since the begin marker, at most
   std::vector<Left> left;

private:
   std::uint32_t version_;
};

template<class Key>
class KeyedFlowOf final : public NboAttrLog::KeyedFlow {
public:
   bool mayBeHeld( void const* key, bool before ) const override {
      return dirty_.contains( typed( key ) ) ? dirty_.mayBeHeld( typed( key ) ) : before;
   }
   void dirtyKeyIs( void const* key, bool held ) override { dirty_.insert( typed( key ), held ); }
   void dirtyKeyDel( void const* key ) override { dirty_.erase( typed( key ) ); }
   std::size_t dirtyKeys() const override { return dirty_.all().size(); }
   bool bookmark() const override { return bookmark_.has_value(); }
   void bookmarkDel() override { bookmark_.reset(); }
   bool outgrown( std::size_t elements ) const override {
      constexpr std::size_t few = 64;
      return bookmark_ &&
             bookmark_->left.size() + dirtyKeys() > 2 * ( bookmark_->sent + elements ) + few;
   }
   std::unique_ptr<NboAttrLog::KeyedFlow> clone() const override {
      return std::make_unique<KeyedFlowOf>( *this );
   }

   DirtyKeys<Key> dirty_;
   std::optional<Bookmark<Key>> bookmark_;

private:
   static Key const& typed( void const* key ) { return *static_cast<Key const*>( key ); }
};

} // namespace Qel::Internal
