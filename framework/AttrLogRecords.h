#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/Ahead.h"
#include "framework/Arrays.h"
#include "framework/AttrLog.h"
#include "framework/ElementLog.h"
#include "framework/KeyedFlow.h"
#include "framework/Mutators.h"
#include "framework/SingleChild.h"
#include "framework/ValueWire.h"

/// Fills the part of the records that serves the attribute log: per attribute a handful of
/// functions that know the types; what is done with them is in AttrLog.cpp.
namespace Qel {

/// The full sync of a collection at the receiving end.
enum class Transaction : std::uint8_t { begin, end, cancel };

/// What the log does with one attribute of an entity.
struct AttributeLog {
   /// A text that differs where the bytes mean something else.
   void ( *form )( Varek::String& text );
   /// Writes what the attribute, or its element with \p key, is now. False if it cannot go out.
   /// That there is no element or no child needs to be said only where one may be \p held.
   bool ( *write )( EntityQelNboAttrLogSa const&, void const* key, bool held );
   /// Applies a value, or an element that is present.
   void ( *apply )( EntityQelNboAttrLogSa const&, NboAttrLog::In& );
   /// Applies the removal of an element; of the child, for a single one. Null if nothing can be
   /// removed.
   void ( *remove )( EntityQelNboAttrLogSa const&, NboAttrLog::In& ) = nullptr;
   /// For attributes with several elements by key: says what is still to be said; false if blocked.
   bool ( *flush )( EntityQelNboAttrLogSa const&, NboAttrLog::FlowOut&, unsigned index ) = nullptr;
   std::unique_ptr<NboAttrLog::KeyedFlow> ( *newKeyedFlow )() = nullptr;
   void ( *transaction )( EntityQelNboAttrLogSa const&, Transaction,
                          std::uint32_t expected ) = nullptr;
   bool ( *active )( Entity const& ) = nullptr; ///< Whether a transaction is under way.
   /// For attributes that hold child entities.
   Entity* ( *child )( EntityQelNboAttrLogSa const&, NboAttrLog::In&, FirstFailure& ) = nullptr;
   void ( *visit )( Entity const&, void ( * )( Entity&, void* ), void* ) = nullptr;
   Entity* ( *oldChild )( void const* oldData ) = nullptr;
   /// For attributes whose contents lie outside of the entity: asks for that memory; see Ahead.h.
   void ( *prefetch )( Entity const&, bool below ) = nullptr;
};

/// What the log does with the constructor parameters of an entity type.
struct ConstructorLog {
   std::size_t ( *size )( Entity const& );
   std::uint8_t* ( *put )( std::uint8_t* to, Entity const& );
   Ptr<Entity> ( *make )( NboAttrLog::In& );
   bool ( *equal )( Entity const&, NboAttrLog::In& );
};

/// The form of a value or enumeration type.
struct ValueLog {
   std::size_t ( *size )( void const* value );
   std::uint8_t* ( *put )( std::uint8_t* to, void const* value );
   /// Into a live value, which may be in part changed when it throws.
   void ( *read )( NboAttrLog::In&, void* value );
};

namespace Internal {

template<class Owner>
Owner& ownerOf( EntityQelNboAttrLogSa const& sa ) {
   return static_cast<Owner&>( sa.entity() );
}

/// Frames of attribute D of sa's entity: a value or an element, and a key that is gone.
template<class D>
bool singletonSerializeCheck( EntityQelNboAttrLogSa const& sa, std::size_t size ) {
   return sa.out().outSmReserveMessage( NboAttrLog::FrameKind::attribute, sa.handle(), D::id,
                                        size );
}
template<class D>
bool collSerializeCheck( EntityQelNboAttrLogSa const& sa, bool removed, std::size_t size ) {
   return sa.out().outSmReserveMessage( NboAttrLog::FrameKind::attribute, sa.handle(),
                                        removed ? D::id.removal() : D::id, size );
}
/// The begin marker says how many elements there are, in as many bytes as that takes.
template<class D>
bool transactionMarker( EntityQelNboAttrLogSa const& sa, NboAttrLog::FrameKind kind,
                        std::uint32_t count = 0 ) {
   auto const bytes = ( static_cast<unsigned>( std::bit_width( count ) ) + 7 ) / 8;
   if ( !sa.out().outSmReserveMessage( kind, sa.handle(), D::id, bytes ) ) {
      return false;
   }
   for ( unsigned i = bytes; i > 0; --i ) {
      sa.out().put8( static_cast<std::uint8_t>( count >> 8 * ( i - 1 ) ) );
   }
   sa.out().outSmCommitMessage();
   return true;
}

/// The constructor parameter of a child that comes next; nothing if it has none.
template<class Child, class F>
auto withParameter( NboAttrLog::In& in, F f ) {
   if constexpr ( parameterCount<Child>() == 0 ) {
      in.expectEnd();
      return f();
   } else {
      auto const parameter = NboAttrLog::valueOf<ParameterType<Child>>( in );
      in.expectEnd();
      return f( parameter );
   }
}

/// Tells the receiver of a child that is no longer part of the tree.
template<class Child>
void childRemoved( EntityQelNboAttrLogSa const& sa, Ptr<Child> const& child ) {
   if ( child && sa.receiver() ) {
      sa.receiver()->entityRemoved( *child );
   }
}

/// Attributes that are written as a whole.
template<class Owner, class D>
struct SingleLog {
   using Field = typename D::Field;

   static bool write( EntityQelNboAttrLogSa const& sa, void const*, bool ) {
      Field const& value = D::get( std::as_const( ownerOf<Owner>( sa ) ) );
      if ( !singletonSerializeCheck<D>( sa, Wire<Field>::size( value ) ) ) {
         return false;
      }
      sa.out().outSmCommitMessage( Wire<Field>::put( sa.out().cursor(), value ) );
      return true;
   }
   static void apply( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      auto const value = NboAttrLog::valueOf<Field>( in );
      in.expectEnd();
      Owner& entity = ownerOf<Owner>( sa );
      if constexpr ( D::kind == AttributeKind::array ) {
         Ptr<Entity> const keepAlive( &entity );
         FirstFailure failure; // an observer's: the rest is applied all the same
         for ( std::size_t i = 0; i < value.size(); ++i ) {
            failure.guard(
               [&] { arrayIs<Writer::log>( entity, D::id, D::get( entity ), i, value[i] ); } );
         }
         failure.rethrow();
      } else {
         plainIs<Writer::log>( entity, D::id, D::get( entity ), value );
      }
   }
   static constexpr AttributeLog log() { return { Wire<Field>::form, write, apply }; }
};

/// A single child that its owner makes.
template<class Owner, class D>
struct ChildLog {
   using Child = typename D::Field::Child;

   static bool write( EntityQelNboAttrLogSa const& sa, void const*, bool held ) {
      if ( auto const& child = D::get( std::as_const( ownerOf<Owner>( sa ) ) ).child ) {
         return sa.stream().childAnnounce( sa, D::id, *child );
      }
      if ( !held ) {
         return true;
      }
      if ( !collSerializeCheck<D>( sa, true, 0 ) ) {
         return false;
      }
      sa.out().outSmCommitMessage();
      return true;
   }
   static void apply( EntityQelNboAttrLogSa const&, NboAttrLog::In& in ) {
      in.fail( "a child entity is announced, it has no value" );
   }
   static void remove( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      in.expectEnd();
      Ptr<Child> const before = D::get( ownerOf<Owner>( sa ) ).child;
      FirstFailure failure;
      failure.guard( [&] {
         childDel<Writer::log>( ownerOf<Owner>( sa ), D::id, D::get( ownerOf<Owner>( sa ) ) );
      } );
      childRemoved( sa, before );
      failure.rethrow();
   }
   static Entity* child( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in,
                         FirstFailure& failure ) {
      auto& held = D::get( ownerOf<Owner>( sa ) );
      return withParameter<Child>( in, [&]( auto const&... parameter ) -> Entity* {
         Ptr<Entity> const keepAlive( &sa.entity() );
         Ptr<Child> const before = held.child;
         failure.guard(
            [&] { childIs<Writer::log>( ownerOf<Owner>( sa ), D::id, held, parameter... ); } );
         if ( before && before->parent() != &sa.entity() ) {
            childRemoved( sa, before );
         }
         return childFits( held, parameter... ) ? held.child.get() : nullptr;
      } );
   }
   static void visit( Entity const& entity, void ( *f )( Entity&, void* ), void* context ) {
      if ( auto const& child = D::get( static_cast<Owner const&>( entity ) ).child ) {
         f( *child, context );
      }
   }
   static Entity* oldChild( void const* old ) {
      return static_cast<Ptr<Child> const*>( old )->get();
   }
   static void prefetch( Entity const& entity, bool below ) {
      auto const& child = D::get( static_cast<Owner const&>( entity ) ).child;
      if ( !child ) {
         return;
      }
      if ( below ) {
         prefetchContents( typeRecord( Child::qelBinding() ), *child, false );
      } else {
         Internal::prefetch( child.get(), sizeof( Child ) );
      }
   }
   static void form( Varek::String& text ) { text.append( typeName<Child> ); }
   static constexpr AttributeLog log() {
      AttributeLog made{ form, write, apply, remove };
      made.child = child;
      made.visit = visit;
      made.oldChild = oldChild;
      made.prefetch = prefetch;
      return made;
   }
};

/// Attributes whose elements have keys.
template<class Owner, class D>
struct KeyedLog {
   using Map = typename D::Field;
   using Key = typename Map::Key;
   using Element = ElementLog<Owner, D>;
   using Flow = KeyedFlowOf<Map>;
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
   static bool walk( EntityQelNboAttrLogSa const& sa, Bookmark<Map>& at, DirtyKeys<Key>* dirty ) {
      at.settle( map( sa ), dirty );
      if constexpr ( Bookmark<Map>::byPosition ) {
         if ( at.walking ) {
            Map const& all = map( sa );
            at.assertVersion( all );
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
   /// The begin marker, after word that one before it has no end.
   static bool begin( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut,
                      unsigned index ) {
      VAREK_ASSERT_TEXT( !flowOut.bookmark(), "!rsc->bookmark()" );
      if ( flowOut.begun( index ) ) {
         if ( !transactionMarker<D>( sa, NboAttrLog::FrameKind::transactionCancel ) ) {
            return false;
         }
         flowOut.begunIs( index, false );
      }
      if ( !transactionMarker<D>( sa, NboAttrLog::FrameKind::transactionBegin,
                                  map( sa ).size() ) ) {
         return false;
      }
      flowOut.begunIs( index, true );
      return true;
   }
   static bool sync( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut,
                     unsigned index ) {
      auto* keyed = static_cast<Flow*>( flowOut.keyed( index ) );
      std::optional<Bookmark<Map>> at;
      if ( keyed && keyed->bookmark_ ) {
         at.swap( keyed->bookmark_ );
      } else {
         if ( !begin( sa, flowOut, index ) ) {
            return false;
         }
         at.emplace( map( sa ) );
      }
      if ( walk( sa, *at, keyed ? &keyed->dirty_ : nullptr ) &&
           transactionMarker<D>( sa, NboAttrLog::FrameKind::transactionEnd ) ) {
         flowOut.resyncIs( NboAttrLog::FlowOut::noResync );
         flowOut.begunIs( index, false );
         flowOut.synced( index );
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
         childRemoved( sa, child );
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
      if constexpr ( Bookmark<Map>::byPosition ) {
         if ( all.qelHasDeletionMarks() ) {
            for ( auto at = all.nextTaken( 0 ); at != Map::none; at = all.nextTaken( at + 1 ) ) {
               if ( all.isMarkedForDeletion( at ) ) {
                  keys.push_back( Bookmark<Map>::keyOf( all.at( at ) ) );
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
         if constexpr ( Bookmark<Map>::byPosition ) {
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
      if constexpr ( Bookmark<Map>::byPosition ) {
         made.prefetch = prefetch;
      }
      return made;
   }
};

template<class Owner, class D>
constexpr AttributeLog makeAttributeLog() {
   if constexpr ( D::kind == AttributeKind::plain || D::kind == AttributeKind::array ) {
      return SingleLog<Owner, D>::log();
   } else if constexpr ( D::kind == AttributeKind::child ) {
      return ChildLog<Owner, D>::log();
   } else {
      return KeyedLog<Owner, D>::log();
   }
}

template<class Owner, class D>
inline constexpr AttributeLog attributeLog = makeAttributeLog<Owner, D>();

/// The constructor parameters of entity type \p T.
template<class T>
struct ParametersLog {
   template<class F>
   static auto with( Entity const& entity, F f ) {
      if constexpr ( parameterCount<T>() == 0 ) {
         return f();
      } else {
         return f( parameterOf( static_cast<T const&>( entity ) ) );
      }
   }
   static std::size_t size( Entity const& entity ) {
      return with( entity, []<class... P>( P const&... parameter ) {
         return ( std::size_t{ 0 } + ... + Wire<P>::size( parameter ) );
      } );
   }
   static std::uint8_t* put( std::uint8_t* to, Entity const& entity ) {
      with( entity, [&]<class... P>( P const&... parameter ) {
         ( ( to = Wire<P>::put( to, parameter ) ), ... );
      } );
      return to;
   }
   static Ptr<Entity> make( NboAttrLog::In& in ) {
      return withParameter<T>(
         in, []( auto const&... parameter ) -> Ptr<Entity> { return T::qelMake( parameter... ); } );
   }
   static bool equal( Entity const& entity, NboAttrLog::In& in ) {
      return withParameter<T>( in, [&]( auto const&... given ) {
         return with( entity,
                      [&]( auto const&... held ) { return ( same( held, given ) && ... ); } );
      } );
   }
};

template<class T>
inline constexpr ConstructorLog constructorLog{ ParametersLog<T>::size, ParametersLog<T>::put,
                                                ParametersLog<T>::make, ParametersLog<T>::equal };

template<class T>
inline constexpr ValueLog valueLog{
   []( void const* value ) { return Wire<T>::size( *static_cast<T const*>( value ) ); },
   []( std::uint8_t* to, void const* value ) {
      return Wire<T>::put( to, *static_cast<T const*>( value ) );
   },
   []( NboAttrLog::In& in, void* value ) { Wire<T>::read( in, *static_cast<T*>( value ) ); } };

} // namespace Internal

} // namespace Qel
