#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "Qel/Entity.h"
#include "Varek/Failures.h"
#include "Varek/Ptr.h"

namespace Qel {

/// An ordered collection: iterates in ascending key order. Its members are small counted node
/// objects, derived from Varek::Counted, with the key inside (KeyFunktor{}( node ) is it). Look-up,
/// insertion and removal cost a logarithm of the size; members and iterators stay valid until the
/// member is removed. The tree is the standard library's; one word until there is a member.
template<class Node, class KeyFunktor>
class RbTreeMap {
public:
   using Key = typename KeyFunktor::Key;
   using Tree = std::map<Key, Varek::Ptr<Node>>;
   using const_iterator = typename Tree::const_iterator;

   std::uint32_t size() const { return static_cast<std::uint32_t>( tree().size() ); }
   bool empty() const { return tree().empty(); }
   /// Advances with every insertion and removal.
   std::uint32_t version() const { return state_ ? state_->version : 0; }
   const_iterator begin() const { return tree().begin(); }
   const_iterator end() const { return tree().end(); }
   const_iterator find( Key const& key ) const { return tree().find( key ); }
   const_iterator lowerBound( Key const& key ) const { return tree().lower_bound( key ); }

   Node* lookupNodeG( Key const& key ) const {
      auto const at = find( key );
      return at == end() ? nullptr : at->second.get();
   }

   /// Takes in \p node, whose key must not be in the map.
   void memberNewChild( Varek::Ptr<Node> node ) {
      Key const& key = KeyFunktor{}( *node );
      assertDupKey( key );
      if ( !state_ )
         state_ = std::make_unique<State>();
      state_->tree.emplace( key, std::move( node ) );
      ++state_->version;
   }

   /// Removes the member with \p key and returns it; null if there is none.
   Varek::Ptr<Node> memberDelG( Key const& key ) {
      auto const at = find( key );
      return at == end() ? nullptr : memberDelG( at );
   }
   Varek::Ptr<Node> memberDelG( const_iterator at ) {
      Varek::Ptr<Node> const removed = at->second;
      state_->marked.erase( at->first );
      state_->tree.erase( at );
      ++state_->version;
      return removed;
   }

   void memberClearAll() {
      if ( empty() )
         return;
      // Taken out first: the end of a member may run code that looks at this map.
      Tree const old = std::exchange( state_->tree, {} );
      state_->marked.clear();
      ++state_->version;
   }

   void qelMarkAllForDeletion() {
      if ( !state_ )
         state_ = std::make_unique<State>();
      for ( auto const& member : tree() )
         state_->marked.insert( member.first );
      state_->marking = true;
   }
   /// Forgets all marks.
   void qelDeletionMarksClear() {
      if ( !state_ )
         return;
      state_->marked.clear();
      state_->marking = false;
   }
   /// Whether a resynchronisation is under way, from the first of these to the second.
   bool qelHasDeletionMarks() const { return state_ && state_->marking; }
   void qelMarkedForDeletionGIs( Key const& key, bool marked ) {
      if ( !tree().contains( key ) )
         return;
      if ( marked )
         state_->marked.insert( key );
      else
         state_->marked.erase( key );
   }
   bool isMarkedForDeletion( Key const& key ) const {
      return state_ && state_->marked.contains( key );
   }

private:
   struct State {
      Tree tree;
      std::set<Key> marked; // of use during a resynchronisation only
      bool marking = false;
      std::uint32_t version = 0;
   };

   void assertDupKey( Key const& key ) const { VAREK_ASSERT( !tree().contains( key ) ); }
   Tree const& tree() const {
      static Tree const none;
      return state_ ? state_->tree : none;
   }

   std::unique_ptr<State> state_;
};

} // namespace Qel
