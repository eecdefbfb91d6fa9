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
/// member is removed, and end() is the same iterator for as long as the map is there. The tree is
/// the standard library's.
template<class Node, class KeyFunktor>
class RbTreeMap {
public:
   using Key = typename KeyFunktor::Key;
   using Tree = std::map<Key, Varek::Ptr<Node>>;
   using const_iterator = typename Tree::const_iterator;

   RbTreeMap() = default;
   RbTreeMap( RbTreeMap const& ) = delete;
   RbTreeMap& operator=( RbTreeMap const& ) = delete;

   std::uint32_t size() const { return static_cast<std::uint32_t>( tree_.size() ); }
   bool empty() const { return tree_.empty(); }
   /// Advances with every insertion and removal.
   std::uint32_t version() const { return version_; }
   const_iterator begin() const { return tree_.begin(); }
   const_iterator end() const { return tree_.end(); }
   const_iterator find( Key const& key ) const { return tree_.find( key ); }
   const_iterator lowerBound( Key const& key ) const { return tree_.lower_bound( key ); }

   Node* lookupNodeG( Key const& key ) const {
      auto const at = find( key );
      return at == end() ? nullptr : at->second.get();
   }

   /// Takes in \p node, whose key must not be in the map.
   void memberNewChild( Varek::Ptr<Node> node ) {
      Key const& key = KeyFunktor{}( *node );
      assertDupKey( key );
      tree_.emplace( key, std::move( node ) );
      ++version_;
   }

   /// Removes the member with \p key and returns it; null if there is none.
   Varek::Ptr<Node> memberDelG( Key const& key ) {
      auto const at = find( key );
      return at == end() ? nullptr : memberDelG( at );
   }
   Varek::Ptr<Node> memberDelG( const_iterator at ) {
      Varek::Ptr<Node> removed = at->second;
      qelMarkedForDeletionGIs( at->first, false );
      tree_.erase( at );
      ++version_;
      return removed;
   }

   void memberClearAll() {
      if ( empty() ) {
         return;
      }
      // The members are taken out first: a destructor may run code that looks at this map.
      Tree old;
      old.swap( tree_ );
      if ( marked_ ) {
         marked_->clear();
      }
      ++version_;
   }

   void qelMarkAllForDeletion() {
      auto all = std::make_unique<Marks>();
      for ( auto const& member : tree_ ) {
         all->insert( all->end(), member.first );
      }
      marked_ = std::move( all );
   }
   /// Forgets all marks.
   void qelDeletionMarksClear() { marked_.reset(); }
   /// Whether a resynchronisation is under way, from the first of these functions to the second.
   bool qelHasDeletionMarks() const { return marked_ != nullptr; }
   /// Does nothing outside of a resynchronisation.
   void qelMarkedForDeletionGIs( Key const& key, bool marked ) {
      if ( !marked_ ) {
         return;
      }
      if ( !marked ) {
         marked_->erase( key );
      } else if ( tree_.contains( key ) ) {
         marked_->insert( key );
      }
   }
   bool isMarkedForDeletion( Key const& key ) const { return marked_ && marked_->contains( key ); }

private:
   using Marks = std::set<Key>;

   void assertDupKey( Key const& key ) const { VAREK_ASSERT( !tree_.contains( key ), key ); }

   Tree tree_;
   std::unique_ptr<Marks> marked_; // null unless a resynchronisation runs
   std::uint32_t version_ = 0;
};

} // namespace Qel
