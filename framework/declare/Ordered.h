#pragma once

#include <utility>

#include "Qel/RbTreeMap.h"
#include "framework/declare/Mutators.h"
#include "framework/declare/TrackedStorage.h"

/// Ordered collections of values. The members are counted nodes: code that holds a node keeps it
/// beyond its removal, and until then sees each new value in it.
namespace Qel {

/// Base of the nodes \p Self of an ordered collection of values that have their key inside.
template<class Self, class V, class KeyFunktor>
class VAREK_EXPORT OrderedElement : public Varek::Counted, public TrackedStorage<Self> {
public:
   using Key = typename KeyFunktor::Key;
   using Value = V;
   static constexpr bool keyInside = true;

   Key const& key() const { return keyOf( value_ ); }
   static Key const& keyOf( Value const& value ) { return KeyFunktor{}( value ); }
   Value const& value() const { return value_; }

private:
   friend class OrderedMutators;
   template<class Node>
   static Ptr<Node> make( Key const&, Value const& value ) {
      auto made = Ptr<Node>::adopt( new Node );
      made->value_ = value;
      return made;
   }

   Value value_{};
};

/// Base of the nodes \p Self of an ordered map of plain values.
template<class Self, class K, class V>
class VAREK_EXPORT OrderedMember : public Varek::Counted, public TrackedStorage<Self> {
public:
   using Key = K;
   using Value = V;
   static constexpr bool keyInside = false;

   Key const& key() const { return key_; }
   Value const& value() const { return value_; }

private:
   friend class OrderedMutators;
   template<class Node>
   static Ptr<Node> make( Key const& key, Value const& value ) {
      auto made = Ptr<Node>::adopt( new Node );
      made->key_ = key;
      made->value_ = value;
      return made;
   }

   Key key_{};
   Value value_{};
};

template<class Node>
struct OrderedKeyFunktor {
   using Key = typename Node::Key;
   Key const& operator()( Node const& node ) const { return node.key(); }
};

template<class Node>
using OrderedMap = RbTreeMap<Node, OrderedKeyFunktor<Node>>;

/// What alone makes nodes and changes them.
class OrderedMutators {
public:
   template<class Node>
   static typename Node::Value const* get( OrderedMap<Node> const& map,
                                           typename Node::Key const& key ) {
      Node const* const node = map.lookupNodeG( key );
      return node ? &node->value_ : nullptr;
   }

   template<class Node, Writer by = Writer::caller>
   static void is( Entity& owner, Varek::FieldId id, OrderedMap<Node>& map,
                   typename Node::Key const& key, typename Node::Value const& value ) {
      using Value = typename Node::Value;
      Node* const held = map.lookupNodeG( key );
      if ( held && same( held->value_, value ) ) {
         return;
      }
      requireWritable<by>( owner );
      // Observers get a copy of the key, since one of them may remove the member.
      typename Node::Key const ownKey( key );
      if ( held ) {
         Value const old = std::exchange( held->value_, Value( value ) );
         if constexpr ( Node::keyInside ) {
            assertKeyUnchanged( ownKey, held->key() );
         }
         tell( owner, id, ownKey, &old );
      } else {
         map.memberNewChild( Node::template make<Node>( ownKey, value ) );
         tell( owner, id, ownKey, nullptr );
      }
   }

   /// Removes the member at \p at, unless that is the end, and returns its node. Copies nothing, so
   /// that it cannot fail for want of memory.
   template<class Node, Writer by = Writer::caller>
   static Ptr<Node> remove( Entity& owner, Varek::FieldId id, OrderedMap<Node>& map,
                            typename OrderedMap<Node>::const_iterator at ) {
      if ( at == map.end() ) {
         return {};
      }
      requireWritable<by>( owner );
      Ptr<Node> node = map.memberDelG( at );
      tell( owner, id, node->key(), &node->value_ );
      return node;
   }

   template<class Node>
   static typename Node::Value del( Entity& owner, Varek::FieldId id, OrderedMap<Node>& map,
                                    typename OrderedMap<Node>::const_iterator at ) {
      if ( at == map.end() ) {
         return {};
      }
      // Others may hold the node too, so its value is copied before anything changes.
      if ( at->second->references() > 1 ) {
         typename Node::Value copy( at->second->value_ );
         remove<Node>( owner, id, map, at );
         return copy;
      }
      return std::move( remove<Node>( owner, id, map, at )->value_ );
   }

   /// Clears at once, without notifications, while nothing can have observed; else key by key.
   template<class Node>
   static void delAll( Entity& owner, Varek::FieldId id, OrderedMap<Node>& map ) {
      if ( owner.initial() ) {
         map.memberClearAll();
      } else {
         delEach( owner, map,
                  [&]( auto const& key ) { remove<Node>( owner, id, map, map.find( key ) ); } );
      }
   }
};

} // namespace Qel
