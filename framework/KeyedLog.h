#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "framework/Ahead.h"
#include "framework/AttributeLog.h"
#include "framework/ElementLog.h"
#include "framework/KeyedFlow.h"
#include "framework/Mutators.h"

/// The attribute log of collections: full syncs, what changes while they last, and marks.
namespace Qel::Internal {

/// Attributes whose elements have keys.
template<class Owner, class D>
struct KeyedLog {
   using Map = typename D::Field;
   using Key = typename Map::Key;
   using Element = ElementLog<Owner, D>;
   using Flow = KeyedFlowOf<Key>;
   static constexpr bool holdsChildren = D::kind == AttributeKind::children;

   static Map const& map( EntityQelNboAttrLogSa const& sa ) {
      return D::get( std::as_const( ownerOf<Owner>( sa ) ) );
   }

   static bool writePresent( EntityQelNboAttrLogSa const& sa, auto const& element ) {
      if constexpr ( holdsChildren ) {
         return sa.stream().childAnnounce( sa, D::id, *element.child );
      } else {
         if ( !collSerializeCheck<D>( sa, false, Element::size( element ) ) ) {
            return false;
         }
         NboAttrLog::Out& out = sa.out();
         out.outSmCommitMessage( Element::put( out.cursor(), element ) );
         return true;
      }
   }
   static bool write( EntityQelNboAttrLogSa const& sa, void const* key, bool held ) {
      return writeKey( sa, *static_cast<Key const*>( key ), held );
   }
   static bool writeKey( EntityQelNboAttrLogSa const& sa, Key const& key, bool held ) {
      if ( auto const* const present = map( sa ).lookupNodeG( key ) ) {
         return writePresent( sa, *present );
      }
      if ( !held ) {
         return true;
      }
      if ( !collSerializeCheck<D>( sa, true, Wire<Key>::size( key ) ) ) {
         return false;
      }
      sa.out().outSmCommitMessage( Wire<Key>::put( sa.out().cursor(), key ) );
      return true;
   }

   // Out

   /// Everything between the markers: first by position for as long as no element moves, then what
   /// changed meanwhile, so that the end marker removes nothing that is there. What is said needs
   /// no mark any more, which would say also that the other end does not hold it.
   static bool walk( EntityQelNboAttrLogSa const& sa, Bookmark<Key>& at, DirtyKeys<Key>* dirty ) {
      at.settle( map( sa ), dirty );
      if constexpr ( walksByPosition<Map> ) {
         if ( at.walking ) {
            Map const& all = map( sa );
            at.assertVersion( all.version() );
            auto element = all.from( at.position );
            for ( Ahead<Map, holdsChildren> ahead( element ); element != all.end();
                  ++element, ++at.sent ) {
               ahead.step();
               if ( !writePresent( sa, *element ) ) {
                  at.position = all.positionOf( *element );
                  return false;
               }
               if ( dirty ) {
                  dirty->erase( typename Map::KeyOf{}( *element ) );
               }
            }
            at.walking = false;
            if ( dirty ) {
               at.leaveDirty( *dirty );
            }
         }
      }
      for ( ; !at.left.empty(); at.left.pop_back(), ++at.sent ) {
         if ( !writeKey( sa, at.left.back().key, at.left.back().sent ) ) {
            return false;
         }
         if ( dirty && map( sa ).lookupNodeG( at.left.back().key ) ) {
            dirty->erase( at.left.back().key );
         }
      }
      return true;
   }
   static bool sync( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut,
                     unsigned index ) {
      auto* keyed = static_cast<Flow*>( flowOut.keyed( index ) );
      std::optional<Bookmark<Key>> at;
      if ( keyed && keyed->bookmark_ ) {
         at.swap( keyed->bookmark_ );
      } else {
         if ( !syncBegin( sa, flowOut, index, map( sa ).size() ) ) {
            return false;
         }
         at.emplace( map( sa ) );
      }
      if ( walk( sa, *at, keyed ? &keyed->dirty_ : nullptr ) && syncEnd( sa, flowOut, index ) ) {
         return true;
      }
      if ( !keyed ) {
         keyed = static_cast<Flow*>( &flowOut.keyedIs( index, std::make_unique<Flow>() ) );
      }
      keyed->bookmark_ = std::move( at );
      flowOut.resyncIs( index );
      return false;
   }
   static bool flushDirty( EntityQelNboAttrLogSa const& sa, DirtyKeys<Key>& dirty ) {
      HSet<Key> const& all = dirty.all();
      for ( std::uint32_t at = all.nextTaken( 0 ); at != HSet<Key>::none;
            at = all.nextTaken( at ) ) {
         Key const key = all.at( at );
         if ( !writeKey( sa, key, dirty.mayBeHeld( key ) ) ) {
            return false;
         }
         std::uint32_t const layout = all.version();
         dirty.erase( key );
         if ( layout != all.version() ) {
            at = 0;
         }
      }
      return true;
   }
   static bool flush( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut,
                      unsigned index ) {
      if ( !flowOut.hasSynced( index ) && !sync( sa, flowOut, index ) ) {
         return false;
      }
      if ( auto* const keyed = static_cast<Flow*>( flowOut.keyed( index ) ) ) {
         if ( !flushDirty( sa, keyed->dirty_ ) ) {
            return false;
         }
         flowOut.keyedDel( index );
      }
      flowOut.dirtyIs( index, false );
      return true;
   }
   static std::unique_ptr<NboAttrLog::KeyedFlow> newKeyedFlow() { return std::make_unique<Flow>(); }

   // In

   static void unmark( Owner& entity, Key const& key ) {
      D::get( entity ).qelMarkedForDeletionGIs( key, false );
   }
   static void apply( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      if constexpr ( holdsChildren ) {
         in.fail( "a child entity is announced, it has no value" );
      } else {
         // Before the change, since an observer of it may throw.
         Element::apply( ownerOf<Owner>( sa ), in,
                         [&]( Key const& key ) { unmark( ownerOf<Owner>( sa ), key ); } );
      }
   }
   static void removeKey( EntityQelNboAttrLogSa const& sa, Key const& key ) {
      if constexpr ( holdsChildren ) {
         auto const child = childrenGet( map( sa ), key );
         FirstFailure failure;
         failure.guard( [&] {
            childrenDel<Writer::log>( ownerOf<Owner>( sa ), D::id, D::get( ownerOf<Owner>( sa ) ),
                                      key );
         } );
         childRemoved( sa, child.get() );
         failure.rethrow();
      } else {
         Element::remove( ownerOf<Owner>( sa ), key );
      }
   }
   static void remove( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      auto const key = NboAttrLog::valueOf<Key>( in );
      in.expectEnd();
      removeKey( sa, key );
   }
   static std::vector<Key> marked( Map const& all ) {
      std::vector<Key> keys;
      if constexpr ( walksByPosition<Map> ) {
         if ( all.qelHasDeletionMarks() ) {
            for ( auto at = all.nextTaken( 0 ); at != Map::none; at = all.nextTaken( at + 1 ) ) {
               if ( all.isMarkedForDeletion( at ) ) {
                  keys.push_back( keyInElement<Map>( all.at( at ) ) );
               }
            }
         }
      } else {
         for ( auto const& element : all ) {
            if ( all.isMarkedForDeletion( element.first ) ) {
               keys.push_back( element.first );
            }
         }
      }
      return keys;
   }
   static bool active( Entity const& entity ) {
      return D::get( static_cast<Owner const&>( entity ) ).qelHasDeletionMarks();
   }
   static void transaction( EntityQelNboAttrLogSa const& sa, Transaction what,
                            std::uint32_t expected ) {
      auto& all = D::get( ownerOf<Owner>( sa ) );
      if ( what == Transaction::begin ) {
         if constexpr ( walksByPosition<Map> ) {
            all.reserve( expected );
         }
         all.qelMarkAllForDeletion();
         return;
      }
      if ( what == Transaction::cancel ) {
         return all.qelDeletionMarksClear();
      }
      auto const gone = marked( all );
      all.qelDeletionMarksClear();
      Ptr<Entity> const keepAlive( &sa.entity() );
      FirstFailure failure; // an observer's: the rest goes all the same
      for ( Key const& key : gone ) {
         failure.guard( [&] { removeKey( sa, key ); } );
      }
      failure.rethrow();
   }
   static Entity* child( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in,
                         FirstFailure& failure ) {
      auto const key = NboAttrLog::valueOf<Key>( in );
      in.expectEnd();
      Ptr<Entity> const keepAlive( &sa.entity() );
      unmark( ownerOf<Owner>( sa ), key );
      failure.guard( [&] {
         childrenIs<Writer::log>( ownerOf<Owner>( sa ), D::id, D::get( ownerOf<Owner>( sa ) ),
                                  key );
      } );
      return childrenGet( map( sa ), key ).get();
   }
   static void visit( Entity const& entity, void ( *f )( Entity&, void* ), void* context ) {
      for ( auto const& node : D::get( static_cast<Owner const&>( entity ) ) ) {
         f( *node.child, context );
      }
   }
   static Entity* oldChild( void const* old ) {
      return static_cast<Ptr<typename Element::Child> const*>( old )->get();
   }

   static void prefetch( Entity const& entity, bool below ) {
      if ( !below ) {
         D::get( static_cast<Owner const&>( entity ) ).prefetch();
      }
   }

   static constexpr AttributeLog log() {
      AttributeLog made{ Element::form, write,        apply,       remove,
                         flush,         newKeyedFlow, transaction, active };
      if constexpr ( holdsChildren ) {
         made.child = child;
         made.visit = visit;
         made.oldChild = oldChild;
      }
      if constexpr ( walksByPosition<Map> ) {
         made.prefetch = prefetch;
      }
      return made;
   }
};

} // namespace Qel::Internal
