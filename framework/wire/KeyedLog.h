#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "Qel/HashMap2018.h"
#include "Varek/Export.h"
#include "framework/declare/Mutators.h"
#include "framework/wire/AttributeLog.h"
#include "framework/wire/ElementLog.h"
#include "framework/wire/Elsewhere.h"
#include "framework/wire/KeyForm.h"
#include "framework/wire/KeyedFlow.h"

/// The attribute log of collections: full syncs, what changes while they last, and marks. What is
/// done is in KeyedLog.cpp, for all of them; here each says how its elements are reached.
namespace Qel {

namespace Internal {

/// An ordered collection of an entity, which is walked by key alone.
struct OrderedLog {
   std::uint32_t ( *size )( Entity const& );
   std::uint32_t ( *version )( Entity const& );
   void const* ( *find )( Entity const&, void const* key );
   /// Appends the keys of all elements, or of those that are \p marked for deletion.
   void ( *keys )( Entity const&, bool marked, KeyList& );
   bool ( *hasMarks )( Entity const& );
   void ( *allMark )( Entity& );
   void ( *marksClear )( Entity& );
   void ( *unmark )( Entity&, void const* key );
};

} // namespace Internal

/// What the log does with one collection of an entity.
struct KeyedLog {
   Internal::KeyForm const* key;
   // One of these: a hash table, which is walked by position, and its type; or what is ordered.
   HashMap2018Generic& ( *map )( Entity& ) = nullptr;
   HashMap2018Type const* type = nullptr;
   Internal::OrderedLog const* ordered = nullptr;
   /// Writes an element that is present; null for children. False if it cannot go out.
   bool ( *write )( EntityQelNboAttrLogSa const&, void const* element ) = nullptr;
   void ( *remove )( Entity&, void const* key ) = nullptr;
   /// For values, in the contents of a new entity: the size of all that are there, and their writing.
   std::size_t ( *sizeAll )( Entity const& ) = nullptr;
   std::uint8_t* ( *putAll )( std::uint8_t* to, Entity const& ) = nullptr;
   /// Asks for the memory of values that have a part elsewhere; null for others.
   void ( *askAll )( Entity const& ) = nullptr;
   /// The smallest size of an element.
   std::size_t least = 1;
   /// For children: the entity in an element, and the making of one with \p key if there is none.
   Entity* ( *childIn )( void const* element ) = nullptr;
   void ( *childIs )( Entity&, void const* key ) = nullptr;
};

namespace Internal {

// One collection of sa's entity, number \p index among its attributes.

/// See AttributeLog::write.
bool keyedWrite( EntityQelNboAttrLogSa const& sa, unsigned index, void const* key, bool held );
/// Says what is still to be said; false if blocked.
bool keyedFlush( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut&, unsigned index );
/// Applies the removal of an element.
void keyedRemove( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::In& );
void keyedTransaction( EntityQelNboAttrLogSa const& sa, unsigned index, Transaction,
                       std::uint32_t expected );
/// Whether a transaction is under way.
bool keyedActive( KeyedLog const&, Entity const& );
/// See childForAttrLog.
Entity* keyedChild( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::In&, FirstFailure&,
                    bool& isNew );
/// Calls \p visit for each child.
void keyedVisit( KeyedLog const&, Entity const&, void ( *visit )( Entity&, void* ), void* context );
/// Asks for the memory of the elements.
void keyedPrefetch( KeyedLog const&, Entity const& );
std::uint32_t keyedSize( KeyedLog const&, Entity const& );
/// Applies all elements of a collection of values, which come next: others are removed.
void keyedContents( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::In& );

template<class Owner, class D>
struct CollectionLog {
   using Map = typename D::Field;
   using Key = typename Map::Key;
   using Element = ElementLog<Owner, D>;
   static constexpr bool holdsChildren = D::kind == AttributeKind::children;
   static constexpr bool isOrdered = D::kind == AttributeKind::ordered;

   static Map& in( Entity& entity ) { return D::get( static_cast<Owner&>( entity ) ); }
   static Map const& in( Entity const& entity ) {
      return D::get( static_cast<Owner const&>( entity ) );
   }
   static Key const& keyAt( void const* key ) { return *static_cast<Key const*>( key ); }

   static bool write( EntityQelNboAttrLogSa const& sa, void const* at ) {
      auto const& element = *static_cast<typename Element::Held const*>( at );
      if ( !collSerializeCheck( sa, D::id, false, Element::size( element ) ) ) {
         return false;
      }
      NboAttrLog::Out& out = sa.out();
      out.outSmCommitMessage( Element::put( out.cursor(), element ) );
      return true;
   }
   static void apply( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      // Unmarked before the change, since an observer of it may throw.
      Owner& owner = ownerOf<Owner>( sa );
      Element::apply( owner, in, [&]( Key const& key ) {
         D::get( owner ).qelMarkedForDeletionGIs( key, false );
      } );
   }

   static std::size_t sizeAll( Entity const& entity ) {
      std::size_t sum = 0;
      for ( auto const& element : in( entity ) ) {
         sum += Element::size( held( element ) );
      }
      return sum;
   }
   static std::uint8_t* putAll( std::uint8_t* to, Entity const& entity ) {
      for ( auto const& element : in( entity ) ) {
         to = Element::put( to, held( element ) );
      }
      return to;
   }
   static void askAll( Entity const& entity ) {
      for ( auto const& element : in( entity ) ) {
         Elsewhere<typename Element::Held>::ask( held( element ) );
      }
   }
   template<class Member>
   static auto const& held( Member const& member ) {
      if constexpr ( isOrdered ) {
         return *member.second;
      } else {
         return member;
      }
   }

   static constexpr OrderedLog ordered() {
      return { []( Entity const& entity ) { return in( entity ).size(); },
               []( Entity const& entity ) { return in( entity ).version(); },
               []( Entity const& entity, void const* key ) -> void const* {
                  return in( entity ).lookupNodeG( keyAt( key ) );
               },
               []( Entity const& entity, bool marked, KeyList& keys ) {
                  for ( auto const& element : in( entity ) ) {
                     if ( !marked || in( entity ).isMarkedForDeletion( element.first ) ) {
                        keys.push( &element.first );
                     }
                  }
               },
               []( Entity const& entity ) { return in( entity ).qelHasDeletionMarks(); },
               []( Entity& entity ) { in( entity ).qelMarkAllForDeletion(); },
               []( Entity& entity ) { in( entity ).qelDeletionMarksClear(); },
               []( Entity& entity, void const* key ) {
                  in( entity ).qelMarkedForDeletionGIs( keyAt( key ), false );
               } };
   }

   static constexpr KeyedLog keyed() {
      KeyedLog made{ &KeyFormOf<Key>::form };
      if constexpr ( isOrdered ) {
         made.ordered = &orderedLog;
      } else {
         made.map = []( Entity& entity ) -> HashMap2018Generic& { return in( entity ); };
         made.type = &Map::type;
      }
      if constexpr ( holdsChildren ) {
         made.remove = []( Entity& entity, void const* key ) {
            childrenDel<Writer::log>( static_cast<Owner&>( entity ), D::id, in( entity ),
                                      keyAt( key ) );
         };
         made.childIn = []( void const* element ) {
            using Node = typename Map::value_type;
            return static_cast<Entity*>( static_cast<Node const*>( element )->child.get() );
         };
         made.childIs = []( Entity& entity, void const* key ) {
            childrenIs<Writer::log>( static_cast<Owner&>( entity ), D::id, in( entity ),
                                     keyAt( key ) );
         };
      } else {
         made.write = write;
         made.sizeAll = sizeAll;
         made.putAll = putAll;
         if constexpr ( !isOrdered ) {
            if constexpr ( HasElsewhere<typename Element::Held> ) {
               made.askAll = askAll;
            }
         }
         made.least = Element::least;
         made.remove = []( Entity& entity, void const* key ) {
            Element::remove( static_cast<Owner&>( entity ), keyAt( key ) );
         };
      }
      return made;
   }

   static constexpr AttributeLog log() {
      AttributeLog made{ Element::form, childApply };
      made.keyed = &keyedLog;
      if constexpr ( holdsChildren ) {
         made.oldChild = []( void const* old ) {
            return static_cast<Entity*>(
               static_cast<Ptr<typename Element::Child> const*>( old )->get() );
         };
      } else {
         made.apply = apply;
      }
      return made;
   }

   static constexpr OrderedLog orderedLog = [] {
      if constexpr ( isOrdered ) {
         return ordered();
      } else {
         return OrderedLog{};
      }
   }();
   static constexpr KeyedLog keyedLog = keyed();
};

} // namespace Internal

} // namespace Qel
