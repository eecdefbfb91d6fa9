#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Pallo/Pallo.h"
#include "Qel/Entity.h"
#include "Qel/HashMap2018.h"
#include "Varek/Failures.h"
#include "framework/Attributes.h"

/// What the declared mutators do, once for all attributes of a kind. Each compares first, makes
/// what may fail to be made, then changes, then publishes; an entity that nothing can ever have
/// observed publishes nothing.
namespace Qel {

template<class Key>
bool keyEqual( void const* a, void const* b ) {
   return *static_cast<Key const*>( a ) == *static_cast<Key const*>( b );
}

/// Publishes a change of an attribute without keys.
inline void publish( Entity& entity, Varek::FieldId id, void const* old ) {
   Varek::Publisher::publishChangeRecursive( entity, id, nullptr, old, nullptr );
}
/// Publishes a change of the element with \p key.
template<class Key>
void publish( Entity& entity, Varek::FieldId id, Key const& key, void const* old ) {
   Varek::Publisher::publishChangeRecursive( entity, id, &key, old, &keyEqual<Key> );
}

/// The mutator of a plain attribute, of an entity or of a value.
template<class Owner, class V>
inline void plainIs( Owner& owner, Varek::FieldId id, V& stored, V const& value ) {
   if ( stored == value )
      return;
   if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      if ( !owner.initial() ) {
         if constexpr ( std::is_trivially_copyable_v<V> ) {
            V const old( stored );
            stored = value;
            publish( owner, id, &old );
         } else {
            V const old( std::exchange( stored, V( value ) ) );
            publish( owner, id, &old );
         }
         return;
      }
   }
   if constexpr ( std::is_trivially_copyable_v<V> )
      stored = value;
   else
      stored = V( value );
}

// Sequences

/// A name as a template argument.
template<std::size_t length>
struct NameText {
   char text[length];
   constexpr NameText( char const ( &name )[length] ) { std::copy_n( name, length, text ); }
};

/// The tag under which the storage of a sequence is counted: "VE_" and the attribute's name with a
/// capital. One object a sequence attribute.
template<class Owner, NameText name>
struct VAREK_EXPORT SequenceTag {
   static constexpr auto text = [] {
      std::array<char, sizeof( name.text ) + 2> made{ 'V', 'E', '_' };
      std::copy_n( name.text, sizeof( name.text ) - 1, made.begin() + 3 );
      made[3] = static_cast<char>( made[3] - 'a' + 'A' );
      return made;
   }();
   inline static constinit Varek::MemoryTracker tracker{ { text.data(), text.size() } };
};

template<class Sequence, class V>
void sequenceIs( Sequence& sequence, std::uint32_t index, V const& value ) {
   if ( index >= sequence.size() )
      Varek::throwVectorOutOfRangeException( index, sequence.size() );
   sequence[index] = V( value );
}

template<class Sequence>
auto sequencePop( Sequence& sequence ) {
   if ( sequence.empty() )
      Varek::throwVectorEmptyBackException();
   auto last = std::move( sequence.back() );
   sequence.pop_back();
   return last;
}

// Collections of values with the key inside

/// An element that is replaced keeps its key.
template<class KeyFunktor, class V>
void assertKeyUnchanged( typename KeyFunktor::Key const& key, V const& _value ) {
   auto const fwkKey = [&]() -> auto const& { return key; };
   VAREK_ASSERT( fwkKey() == KeyFunktor()( _value ) );
}

template<class Map, class V>
void collectionIs( Entity& owner, Varek::FieldId id, Map& map, V const& value ) {
   using KeyFunktor = typename Map::KeyOf;
   auto const [held, isNew] = map.findOrNewMemberG( KeyFunktor{}( value ), value );
   if ( isNew ) {
      if ( !owner.initial() )
         publish( owner, id, typename Map::Key( KeyFunktor{}( held ) ), nullptr );
      return;
   }
   if ( held == value )
      return;
   V const old = std::exchange( held, V( value ) );
   assertKeyUnchanged<KeyFunktor>( KeyFunktor{}( old ), held );
   if ( !owner.initial() )
      publish( owner, id, KeyFunktor{}( old ), &old );
}

template<class Map>
typename Map::value_type collectionDel( Entity& owner, Varek::FieldId id, Map& map,
                                        typename Map::Key const& key ) {
   std::optional<typename Map::value_type> removed = map.deleteMemberG( key );
   if ( !removed )
      return {};
   if ( !owner.initial() )
      publish( owner, id, typename Map::KeyOf{}( *removed ), &*removed );
   return std::move( *removed );
}

/// Calls del( key ) for each key that is in the map now, in iteration order. Observers may change
/// the map meanwhile: what they insert stays, what they remove is left alone. They may also let go
/// of the owner.
template<class Map, class Del>
void delEach( Entity& owner, Map const& map, Del del ) {
   Ptr<Entity> const keepAlive( &owner );
   std::vector<typename Map::Key> keys;
   keys.reserve( map.size() );
   for ( auto const& element : map )
      keys.push_back( typename Map::KeyOf{}( element ) );
   std::exception_ptr failure;
   for ( auto const& key : keys ) {
      try {
         del( key );
      } catch ( ... ) {
         // An observer's: the rest goes all the same.
         if ( !failure )
            failure = std::current_exception();
      }
   }
   if ( failure )
      std::rethrow_exception( failure );
}

/// At once and without a word while nothing can ever have observed, key by key otherwise.
template<class Map>
void collectionDelAll( Entity& owner, Varek::FieldId id, Map& map ) {
   if ( owner.initial() )
      map.memberDelAll();
   else
      delEach( owner, map, [&]( auto const& key ) { collectionDel( owner, id, map, key ); } );
}

// Collections of entities that their owner makes

/// A member: its key, beside the entity so that a look-up needs no more, and the entity. The end of
/// the owner clears the parent of those that others still hold.
template<class T, class K>
struct ChildNode {
   using Child = T;
   K key;
   Ptr<T> child;

   ChildNode( K const& k, Ptr<T> c ) : key( k ), child( std::move( c ) ) {}
   ChildNode( ChildNode&& ) noexcept = default;
   ChildNode& operator=( ChildNode&& ) noexcept = default;
   ~ChildNode() {
      if ( child )
         child->qelParentIs( nullptr );
   }
};

template<class T, class K>
struct ChildKeyFunktor {
   using Key = K;
   Key const& operator()( ChildNode<T, K> const& node ) const { return node.key; }
};

template<class T, class K, std::uint32_t salt>
using ChildMap = HashMap2018<ChildNode<T, K>, ChildKeyFunktor<T, K>, salt>;

template<class Map>
auto childrenGet( Map const& map, typename Map::Key const& key ) {
   auto const* const node = map.lookupNodeG( key );
   return node ? node->child : Ptr<typename Map::value_type::Child>();
}

template<class Map>
auto childrenIs( Entity& owner, Varek::FieldId id, Map& map, typename Map::Key const& key ) {
   using Child = typename Map::value_type::Child;
   if ( auto const* const node = map.lookupNodeG( key ) )
      return node->child;
   typename Map::Key const ownKey( key );
   Ptr<Child> const made = Child::qelMake( ownKey );
   map.newMemberG( ownKey, made );
   made->qelParentIs( &owner );
   publish( owner, id, ownKey, nullptr );
   return made;
}

template<class Map>
auto childrenDel( Entity& owner, Varek::FieldId id, Map& map, typename Map::Key const& key ) {
   using Child = typename Map::value_type::Child;
   auto removed = map.deleteMemberG( key );
   if ( !removed )
      return Ptr<Child>();
   Ptr<Child> const child = std::move( removed->child );
   child->qelParentIs( nullptr );
   publish( owner, id, removed->key, &child );
   return child;
}

/// Always key by key, so that every member loses its parent.
template<class Map>
void childrenDelAll( Entity& owner, Varek::FieldId id, Map& map ) {
   delEach( owner, map, [&]( auto const& key ) { childrenDel( owner, id, map, key ); } );
}

} // namespace Qel
