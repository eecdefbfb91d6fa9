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
#include "framework/declare/Attributes.h"
#include "framework/records/Same.h"

/// The declared mutators, once for all attributes of a kind. Each compares first, then does the
/// steps that may fail, then changes, then publishes; an entity that nothing can ever have observed
/// publishes nothing. A change of a read-only proxy is refused before it begins.
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

/// Who changes an attribute: a caller of the mutator, or the attribute log, which alone may change
/// a read-only proxy. An observer that hears of the log's change is a caller like any other.
enum class Writer : bool { caller, log };

/// Whether a change may have to be told or refused, besides being made. Tests a single word; never
/// true for values.
template<Writer by, class Owner>
bool notable( Owner const& owner ) {
   if constexpr ( !std::is_base_of_v<Entity, Owner> ) {
      return false;
   } else if constexpr ( by == Writer::log ) {
      return !owner.unobserved();
   } else {
      return !owner.initial();
   }
}
/// Called before a certain change; throws Varek::WriteFromReadOnlyProxy for a read-only proxy.
template<Writer by, class Owner>
void requireWritable( Owner const& owner ) {
   if constexpr ( std::is_base_of_v<Entity, Owner> && by == Writer::caller ) {
      if ( owner.readOnlyProxy() ) [[unlikely]] {
         throwWriteFromReadOnlyProxy( owner );
      }
   }
}
/// For mutators that find a change only by making it: true if \p owner is a read-only proxy and
/// nothing would change; throws Varek::WriteFromReadOnlyProxy if something would.
template<Writer by, class Owner, class Changes>
bool proxyStays( Owner const& owner, Changes changes ) {
   if constexpr ( std::is_base_of_v<Entity, Owner> && by == Writer::caller ) {
      if ( owner.readOnlyProxy() ) [[unlikely]] {
         if ( changes() ) {
            throwWriteFromReadOnlyProxy( owner );
         }
         return true;
      }
   }
   return false;
}
/// Publishes a change if anybody is to be told. \p told are the arguments of publish after owner
/// and id.
template<class Owner, class... Told>
void tell( Owner& owner, Varek::FieldId id, Told const&... told ) {
   if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      if ( !owner.unobserved() ) {
         publish( owner, id, told... );
      }
   }
}

/// Keeps the first exception of several steps, all of which are taken.
class FirstFailure {
public:
   template<class Step>
   void guard( Step step ) {
      try {
         step();
      } catch ( ... ) {
         if ( !failure_ ) {
            failure_ = std::current_exception();
         }
      }
   }
   void rethrow() {
      if ( failure_ ) {
         std::rethrow_exception( failure_ );
      }
   }

private:
   std::exception_ptr failure_;
};

/// The same for steps that read a message: only what observers throw is kept, and a fault in the
/// message ends the steps.
class ObserversFailure {
public:
   template<class Step>
   void guard( Step step ) {
      try {
         step();
      } catch ( ... ) {
         keepOrThrow();
      }
   }
   void rethrow() { first_.rethrow(); }

private:
   void keepOrThrow() {
      if ( Varek::observerExceptions() == thrown_ ) {
         throw;
      }
      thrown_ = Varek::observerExceptions();
      first_.guard( [] { throw; } );
   }

   std::uint64_t thrown_ = Varek::observerExceptions();
   FirstFailure first_;
};

/// The mutator of a plain attribute, of an entity or of a value.
template<Writer by = Writer::caller, class Owner, class V>
inline void plainIs( Owner& owner, Varek::FieldId id, V& stored, V const& value ) {
   if ( same( stored, value ) ) {
      return;
   }
   if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      if ( notable<by>( owner ) ) {
         requireWritable<by>( owner );
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
   if constexpr ( std::is_trivially_copyable_v<V> ) {
      stored = value;
   } else {
      stored = V( value );
   }
}

/// Adds \p n to a counter, which wraps; returns what it is when all observers have been told.
template<class Owner>
std::uint32_t counterInc( Owner& owner, Varek::FieldId id, std::uint32_t& stored,
                          std::uint32_t n ) {
   if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      if ( !owner.initial() ) {
         Ptr<Entity> const keepAlive( &owner );
         plainIs( owner, id, stored, stored + n );
         return stored;
      }
   }
   return stored += n;
}

// Sequences

/// A name as a template argument.
template<std::size_t length>
struct NameText {
   char text[length];
   constexpr NameText( char const ( &name )[length] ) { std::copy_n( name, length, text ); }
};

/// The tag under which the storage of a sequence is counted: "VE_" and the attribute's name with a
/// capital letter. Each sequence attribute has its own object.
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

/// An index, here and of arrays, is a 32-bit unsigned number. Functions take it with 64 bits, so
/// that a greater number is refused on any platform and not cut to another index.
template<class Sequence, class V>
void sequenceIs( Sequence& sequence, std::uint64_t index, V const& value ) {
   if ( index >= sequence.size() ) {
      Varek::throwVectorOutOfRangeException( index, sequence.size() );
   }
   sequence[static_cast<std::uint32_t>( index )] = V( value );
}

template<class Sequence>
auto sequencePop( Sequence& sequence ) {
   if ( sequence.empty() ) {
      Varek::throwVectorEmptyBackException();
   }
   auto last = std::move( sequence.back() );
   sequence.pop_back();
   return last;
}

// Collections of values with the key inside

/// An element that is replaced keeps its key.
template<class Key>
void assertKeyUnchanged( Key const& before, Key const& now ) {
   VAREK_ASSERT_TEXT( before == now, "fwkKey() == KeyFunktor()( _value )" );
}

/// \p value may be an rvalue, which then is not copied.
template<Writer by = Writer::caller, class Map, class Given>
[[gnu::always_inline]] inline void collectionIs( Entity& owner, Varek::FieldId id, Map& map,
                                                 Given&& value ) {
   using V = typename Map::value_type;
   using KeyFunktor = typename Map::KeyOf;
   using Key = typename Map::Key;
   if ( proxyStays<by>( owner, [&] {
           V const* const held = map.lookupNodeG( KeyFunktor{}( value ) );
           return !held || !( *held == value );
        } ) ) {
      return;
   }
   // Observers get a copy of the key, since one of them may remove the element.
   if constexpr ( !std::is_nothrow_copy_constructible_v<Key> ) {
      if ( !owner.unobserved() && !map.lookupNodeG( KeyFunktor{}( value ) ) ) {
         Key const key( KeyFunktor{}( value ) );
         map.newMemberG( std::forward<Given>( value ) );
         publish( owner, id, key, nullptr );
         return;
      }
   }
   auto const [held, isNew] =
      map.findOrNewMemberG( KeyFunktor{}( value ), std::forward<Given>( value ) );
   if ( isNew ) {
      if ( !owner.unobserved() ) {
         publish( owner, id, Key( KeyFunktor{}( held ) ), nullptr );
      }
      return;
   }
   if ( same( held, value ) ) {
      return;
   }
   V const old = std::exchange( held, V( std::forward<Given>( value ) ) );
   assertKeyUnchanged( KeyFunktor{}( old ), KeyFunktor{}( held ) );
   tell( owner, id, KeyFunktor{}( old ), &old );
}

template<Writer by = Writer::caller, class Owner, class Map>
typename Map::value_type collectionDel( Owner& owner, Varek::FieldId id, Map& map,
                                        typename Map::Key const& key ) {
   if ( proxyStays<by>( owner, [&] { return map.lookupNodeG( key ) != nullptr; } ) ) {
      return {};
   }
   std::optional<typename Map::value_type> removed = map.deleteMemberG( key );
   if ( !removed ) {
      return {};
   }
   tell( owner, id, typename Map::KeyOf{}( *removed ), &*removed );
   return std::move( *removed );
}

/// Calls del( key ) for each key that is in the map now, in iteration order. Observers may change
/// the map meanwhile: what they insert stays, what they remove is left alone. They may also let go
/// of the owner.
template<class Map, class Del>
void delEach( Entity& owner, Map const& map, Del del ) {
   if ( map.size() == 0 ) {
      return;
   }
   requireWritable<Writer::caller>( owner );
   Ptr<Entity> const keepAlive( &owner );
   std::vector<typename Map::Key> keys;
   keys.reserve( map.size() );
   for ( auto const& element : map ) {
      if constexpr ( requires { typename Map::KeyOf; } ) {
         keys.push_back( typename Map::KeyOf{}( element ) );
      } else {
         keys.push_back( element.first );
      }
   }
   FirstFailure failure; // if an observer throws, the rest is removed all the same
   for ( auto const& key : keys ) {
      failure.guard( [&] { del( key ); } );
   }
   failure.rethrow();
}

/// Clears at once, without notifications, while nothing can ever have observed; else key by key.
template<class Owner, class Map>
void collectionDelAll( Owner& owner, Varek::FieldId id, Map& map ) {
   if ( !notable<Writer::caller>( owner ) ) {
      map.memberDelAll();
   } else if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      delEach( owner, map, [&]( auto const& key ) { collectionDel( owner, id, map, key ); } );
   }
}

// Collections of entities that their owner creates

namespace Internal {

// What is done to children of any type.

/// Clears the parent of \p child.
VAREK_EXPORT void childLetGo( Entity& child ) noexcept;
/// \p made has come into a collection: gives it its parent and tells observers.
VAREK_EXPORT void childCame( Entity& owner, Varek::FieldId id, Entity& made, void const* key,
                             Varek::KeyEqual keyEqual );
/// \p child has gone out of one; \p oldData is the pointer to it that observers get.
VAREK_EXPORT void childGone( Entity& owner, Varek::FieldId id, Entity& child, void const* key,
                             Varek::KeyEqual keyEqual, void const* oldData );

} // namespace Internal

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
      if ( child ) {
         Internal::childLetGo( *child );
      }
   }
};

/// The key of a member is its constructor parameter.
template<class T, class K>
struct ChildKeyFunktor {
   using Key = K;
   Key const& operator()( ChildNode<T, K> const& node ) const { return node.key; }
   Key const& operator()( T const& member ) const { return Internal::parameterOf( member ); }
};

template<class T, class K, std::uint32_t salt>
using ChildMap = HashMap2018<ChildNode<T, K>, ChildKeyFunktor<T, K>, salt>;

template<class Map>
auto childrenGet( Map const& map, typename Map::Key const& key ) {
   auto const* const node = map.lookupNodeG( key );
   return node ? node->child : Ptr<typename Map::value_type::Child>();
}

/// Makes the child with \p key, which there is none of. For the result see childrenIs.
template<class Map>
[[gnu::noinline]] auto childrenNew( Entity& owner, Varek::FieldId id, Map& map,
                                    typename Map::Key const& key ) {
   using Child = typename Map::value_type::Child;
   typename Map::Key const ownKey( key );
   Ptr<Child> made = Child::qelMake( ownKey );
   map.newMemberG( ownKey, made );
   Ptr<Entity> const keepAlive( &owner );
   Internal::childCame( owner, id, *made, &ownKey, &keyEqual<typename Map::Key> );
   if ( made->parent() != &owner ) [[unlikely]] {
      if ( Ptr<Child> held = childrenGet( map, ownKey ) ) {
         return held;
      }
   }
   return made;
}

/// The result is the child that is held when all observers have been told. It is never null: if
/// they have removed the child, it is the child that was made.
template<Writer by = Writer::caller, class Map>
auto childrenIs( Entity& owner, Varek::FieldId id, Map& map, typename Map::Key const& key ) {
   if ( auto const* const node = map.lookupNodeG( key ) ) {
      return node->child;
   }
   requireWritable<by>( owner );
   return childrenNew( owner, id, map, key );
}

template<Writer by = Writer::caller, class Map>
auto childrenDel( Entity& owner, Varek::FieldId id, Map& map, typename Map::Key const& key ) {
   using Child = typename Map::value_type::Child;
   if ( proxyStays<by>( owner, [&] { return map.lookupNodeG( key ) != nullptr; } ) ) {
      return Ptr<Child>();
   }
   auto removed = map.deleteMemberG( key );
   if ( !removed ) {
      return Ptr<Child>();
   }
   Ptr<Child> child = std::move( removed->child );
   Internal::childGone( owner, id, *child, &removed->key, &keyEqual<typename Map::Key>, &child );
   return child;
}

/// Always key by key, so that every member loses its parent.
template<class Map>
void childrenDelAll( Entity& owner, Varek::FieldId id, Map& map ) {
   delEach( owner, map, [&]( auto const& key ) { childrenDel( owner, id, map, key ); } );
}

} // namespace Qel
