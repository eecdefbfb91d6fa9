#include "framework/wire/KeyedLog.h"

#include <bit>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

namespace Qel::Internal {

namespace {

/// One collection of an entity.
class Collection {
public:
   Collection( KeyedLog const& log, Entity& entity )
      : log_( log ), entity_( entity ), map_( log.map ? &log.map( entity ) : nullptr ) {}

   KeyedLog const& log() const { return log_; }
   /// The hash table that it is; null for what is ordered.
   HashMap2018Generic* map() const { return map_; }
   std::uint32_t size() const { return map_ ? map_->size() : log_.ordered->size( entity_ ); }
   /// While it is the same, no element has moved.
   std::uint32_t version() const {
      return map_ ? map_->version() : log_.ordered->version( entity_ );
   }
   void const* find( void const* key ) const {
      return map_ ? map_->lookupNodeG( *log_.type, key ) : log_.ordered->find( entity_, key );
   }
   /// The child with \p key; null if there is none.
   Ptr<Entity> child( void const* key ) const {
      void const* const element = find( key );
      return Ptr<Entity>( element ? log_.childIn( element ) : nullptr );
   }
   /// Appends the keys of all elements, or of those that are \p marked for deletion.
   void keys( KeyList& to, bool marked ) const {
      if ( !map_ ) {
         log_.ordered->keys( entity_, marked, to );
      } else if ( !marked || map_->qelHasDeletionMarks() ) {
         for ( auto at = map_->nextTaken( 0 ); at != HashMap2018Generic::none;
               at = map_->nextTaken( at + 1 ) ) {
            if ( !marked || map_->isMarkedForDeletion( at ) ) {
               to.push( log_.type->keyOf( map_->at( *log_.type, at ) ) );
            }
         }
      }
   }
   bool hasMarks() const {
      return map_ ? map_->qelHasDeletionMarks() : log_.ordered->hasMarks( entity_ );
   }
   void reserve( std::uint32_t expected ) const {
      if ( map_ ) {
         map_->reserve( *log_.type, expected );
      }
   }
   void allMark( std::uint32_t expected ) const {
      reserve( expected );
      if ( map_ ) {
         map_->qelMarkAllForDeletion();
      } else {
         log_.ordered->allMark( entity_ );
      }
   }
   void marksClear() const {
      map_ ? map_->qelDeletionMarksClear() : log_.ordered->marksClear( entity_ );
   }
   void unmark( void const* key ) const {
      map_ ? map_->qelMarkedForDeletionGIs( *log_.type, key, false )
           : log_.ordered->unmark( entity_, key );
   }

private:
   KeyedLog const& log_;
   Entity& entity_;
   HashMap2018Generic* map_;
};

/// The parts of a hash table.
struct Parts : HashMap2018Generic {
   using HashMap2018Generic::Group;
   static Group* groups( HashMap2018Generic const& map ) { return map.*&Parts::groups_; }
   static std::uint32_t mask( HashMap2018Generic const& map ) { return map.*&Parts::mask_; }
   static void const* elements( HashMap2018Generic const& map ) {
      return storage( groups( map ), mask( map ) );
   }
};

/// Walks the elements of a hash table in the order of their positions, looking at each group once.
/// The table must not grow, nor be emptied, meanwhile.
class Positions {
public:
   Positions( HashMap2018Generic const& map, HashMap2018Type const& type, std::uint32_t from )
      : elementSize_( type.elementSize ) {
      if ( from >= map.positions() ) {
         return;
      }
      group_ = Parts::groups( map );
      last_ = group_ + Parts::mask( map );
      base_ = static_cast<std::byte const*>( Parts::elements( map ) );
      skip( from / Group::slots );
      bits_ &= ~std::uint32_t{ 0 } << from % Group::slots;
      settle();
   }
   /// The element that it stands on; null at the end.
   void const* element() const {
      return bits_ ? base_ + static_cast<std::uint32_t>( std::countr_zero( bits_ ) ) * elementSize_
                   : nullptr;
   }
   void next() {
      bits_ &= bits_ - 1;
      settle();
   }

private:
   using Group = Parts::Group;

   void skip( std::size_t groups ) {
      group_ += groups;
      base_ += groups * Group::slots * elementSize_;
      bits_ = group_->used();
   }
   void settle() {
      while ( !bits_ && group_ != last_ ) {
         skip( 1 );
      }
   }

   std::size_t elementSize_;
   Group const* group_ = nullptr;
   Group const* last_ = nullptr;
   std::byte const* base_ = nullptr; // where the elements of the group lie
   std::uint32_t bits_ = 0;          // those of them that are still to come
};

/// A hash table holds children in an order that has nothing to do with where they lie, so a walk
/// over a large tree waits for memory at each of them. While one is written, the memory of those
/// that follow is asked for, in steps: a child itself, then what its attributes point to, then what
/// that points to. Nothing depends on it but time.
class Ahead {
public:
   Ahead( KeyedLog const& log, TypeRecord const& children, Positions const& from )
      : log_( log ), children_( children ), at_{ from, from, from, from, from, from } {
      for ( unsigned i = 0; i < steps * distance; ++i ) {
         step( i / distance + 1 );
      }
   }
   void step( unsigned most = steps ) {
      for ( unsigned i = 0; i < most; ++i ) {
         if ( void const* const element = at_[i].element() ) {
            at_[i].next();
            prefetchStep( children_, *log_.childIn( element ), i );
         }
      }
   }

private:
   static constexpr unsigned steps = 6;
   static constexpr unsigned distance = 3;

   KeyedLog const& log_;
   TypeRecord const& children_;
   Positions at_[steps];
};

/// One collection toward one stream.
class Writing {
public:
   Writing( EntityQelNboAttrLogSa const& sa, unsigned index )
      : sa_( sa ), index_( index ), log_( *sa.type().wire[index].log->keyed ),
        all_( log_, sa.entity() ), id_( sa.type().attributes[index].id ) {}

   bool key( void const* key, bool held ) const {
      if ( void const* const present = all_.find( key ) ) {
         return element( present );
      }
      if ( !held ) {
         return true;
      }
      if ( !collSerializeCheck( sa_, id_, true, log_.key->wireSize( key ) ) ) {
         return false;
      }
      sa_.out().outSmCommitMessage( log_.key->put( sa_.out().cursor(), key ) );
      return true;
   }
   bool flush( NboAttrLog::FlowOut& flowOut ) const {
      if ( !flowOut.hasSynced( index_ ) && !sync( flowOut ) ) {
         return false;
      }
      if ( auto* const keyed = flowOut.keyed( index_ ) ) {
         if ( !flushDirty( keyed->dirty ) ) {
            return false;
         }
         flowOut.keyedDel( index_ );
      }
      flowOut.dirtyIs( index_, false );
      return true;
   }

private:
   bool element( void const* present ) const {
      return log_.write ? log_.write( sa_, present )
                        : sa_.stream().childAnnounce( sa_, id_, *log_.childIn( present ) );
   }

   /// What goes from now on is marked when it goes, if it may have been sent.
   void leaveAll( Bookmark& at ) const {
      all_.keys( at.left, false );
      at.left.firstComesFirst();
   }
   /// The elements may have moved since: then all keys that there are take the place of the walk.
   void settle( Bookmark& at, DirtyKeys* dirty ) const {
      if ( !at.walking || at.version == all_.version() ) {
         return;
      }
      at.walking = false;
      if ( dirty ) {
         dirty->moveTo( at.left );
      }
      leaveAll( at );
   }
   /// Says the elements from \p position on; false if blocked, with \p position that of the first
   /// that was not said. \p before is called ahead of each.
   template<class Say, class Before>
   bool sayAll( Positions& position, std::size_t& sent, DirtyKeys* dirty, Say say,
                Before before ) const {
      std::size_t said = 0;
      void const* present = position.element();
      for ( ; present; position.next(), present = position.element(), ++said ) {
         before();
         if ( !say( present ) ) {
            break;
         }
         if ( dirty ) {
            dirty->erase( log_.type->keyOf( present ) );
         }
      }
      sent += said;
      return !present;
   }
   bool sayAll( Positions& position, std::size_t& sent, DirtyKeys* dirty ) const {
      if ( auto const write = log_.write ) {
         return sayAll(
            position, sent, dirty, [&]( void const* present ) { return write( sa_, present ); },
            [] {} );
      }
      Ahead ahead( log_, typeRecord( sa_.type().attributes[index_].childType() ), position );
      return sayAll(
         position, sent, dirty, [&]( void const* present ) { return element( present ); },
         [&] { ahead.step(); } );
   }
   bool walkByPosition( Bookmark& at, DirtyKeys* dirty ) const {
      VAREK_ASSERT_TEXT( at.version == all_.version(), "version_ == hashMap_->version()" );
      Positions position( *all_.map(), *log_.type, at.position );
      if ( !sayAll( position, at.sent, dirty ) ) {
         at.position = all_.map()->positionOf( *log_.type, position.element() );
         return false;
      }
      at.walking = false;
      if ( dirty ) {
         dirty->moveTo( at.left );
      }
      return true;
   }
   /// Everything between the markers: first by position for as long as no element moves, then what
   /// changed meanwhile, so that the end marker removes nothing that is there. What is said needs
   /// no mark any more, which would say also that the other end does not hold it.
   bool walk( Bookmark& at, DirtyKeys* dirty ) const {
      settle( at, dirty );
      if ( at.walking && !walkByPosition( at, dirty ) ) {
         return false;
      }
      for ( ; !at.left.empty(); at.left.pop(), ++at.sent ) {
         if ( !key( at.left.key(), at.left.flag() ) ) {
            return false;
         }
         if ( dirty && all_.find( at.left.key() ) ) {
            dirty->erase( at.left.key() );
         }
      }
      return true;
   }
   bool sync( NboAttrLog::FlowOut& flowOut ) const {
      NboAttrLog::KeyedFlow* keyed = flowOut.keyed( index_ );
      std::optional<Bookmark> at;
      if ( keyed && keyed->bookmark ) {
         at.swap( keyed->bookmark );
      } else {
         if ( !syncBegin( sa_, flowOut, index_, all_.size() ) ) {
            return false;
         }
         at.emplace(
            Bookmark{ all_.map() != nullptr, all_.version(), 0, 0, KeyList( *log_.key ) } );
         if ( !at->walking ) {
            leaveAll( *at );
         }
      }
      if ( walk( *at, keyed ? &keyed->dirty : nullptr ) && syncEnd( sa_, flowOut, index_ ) ) {
         return true;
      }
      if ( !keyed ) {
         keyed = &flowOut.keyedIs( index_, std::make_unique<NboAttrLog::KeyedFlow>( *log_.key ) );
      }
      keyed->bookmark = std::move( at );
      flowOut.resyncIs( index_ );
      return false;
   }
   bool flushDirty( DirtyKeys& dirty ) const {
      KeySet const& marked = dirty.all();
      for ( auto at = marked.nextTaken( 0 ); at != KeySet::none; at = marked.nextTaken( at ) ) {
         UntypedKey const one( *log_.key, marked.at( at ) );
         if ( !key( one.get(), dirty.mayBeHeld( one.get() ) ) ) {
            return false;
         }
         std::uint32_t const layout = marked.version();
         dirty.erase( one.get() );
         if ( layout != marked.version() ) {
            at = 0;
         }
      }
      return true;
   }

   EntityQelNboAttrLogSa const& sa_;
   unsigned index_;
   KeyedLog const& log_;
   Collection all_;
   Varek::FieldId id_;
};

KeyedLog const& logOf( EntityQelNboAttrLogSa const& sa, unsigned index ) {
   return *sa.type().wire[index].log->keyed;
}

void removeKey( EntityQelNboAttrLogSa const& sa, KeyedLog const& log, void const* key ) {
   if ( !log.childIn ) {
      return log.remove( sa.entity(), key );
   }
   Ptr<Entity> const child = Collection( log, sa.entity() ).child( key );
   FirstFailure failure;
   failure.guard( [&] { log.remove( sa.entity(), key ); } );
   childRemoved( sa, child.get() );
   failure.rethrow();
}

} // namespace

bool keyedWrite( EntityQelNboAttrLogSa const& sa, unsigned index, void const* key, bool held ) {
   return Writing( sa, index ).key( key, held );
}

bool keyedFlush( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut, unsigned index ) {
   return Writing( sa, index ).flush( flowOut );
}

void keyedRemove( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::In& in ) {
   KeyedLog const& log = logOf( sa, index );
   UntypedKey const key( *log.key, in );
   in.expectEnd();
   removeKey( sa, log, key.get() );
}

void keyedTransaction( EntityQelNboAttrLogSa const& sa, unsigned index, Transaction what,
                       std::uint32_t expected ) {
   KeyedLog const& log = logOf( sa, index );
   Collection const all( log, sa.entity() );
   if ( what == Transaction::begin ) {
      return all.allMark( expected );
   }
   if ( what == Transaction::cancel ) {
      return all.marksClear();
   }
   KeyList gone( *log.key );
   all.keys( gone, true );
   gone.firstComesFirst();
   all.marksClear();
   Ptr<Entity> const keepAlive( &sa.entity() );
   FirstFailure failure; // an observer's: the rest goes all the same
   for ( ; !gone.empty(); gone.pop() ) {
      failure.guard( [&] { removeKey( sa, log, gone.key() ); } );
   }
   failure.rethrow();
}

bool keyedActive( KeyedLog const& log, Entity const& entity ) {
   return Collection( log, const_cast<Entity&>( entity ) ).hasMarks();
}

void keyedContents( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::In& in ) {
   AttributeLog const& log = *sa.type().wire[index].log;
   Collection const all( *log.keyed, sa.entity() );
   std::uint64_t const count = in.getVarint();
   if ( count > in.left() / log.keyed->least ) [[unlikely]] {
      in.failCount();
   }
   bool const replaces = all.size() != 0;
   auto const expected = static_cast<std::uint32_t>( count );
   replaces ? all.allMark( expected ) : all.reserve( expected );
   Ptr<Entity> const keepAlive( &sa.entity() );
   ObserversFailure failure; // the other elements are applied all the same
   try {
      for ( std::uint64_t i = 0; i < count; ++i ) {
         failure.guard( [&] { log.apply( sa, in ); } );
      }
   } catch ( ... ) {
      all.marksClear();
      throw;
   }
   if ( replaces ) {
      failure.guard( [&] { keyedTransaction( sa, index, Transaction::end, 0 ); } );
   }
   failure.rethrow();
}

Entity* keyedChild( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::In& in,
                    FirstFailure& failure, bool& isNew ) {
   KeyedLog const& log = logOf( sa, index );
   Collection const all( log, sa.entity() );
   UntypedKey const key( *log.key, in );
   in.expectEnd();
   Ptr<Entity> const keepAlive( &sa.entity() );
   all.unmark( key.get() );
   isNew = !all.find( key.get() );
   failure.guard( [&] { log.childIs( sa.entity(), key.get() ); } );
   return all.child( key.get() ).get();
}

void keyedVisit( KeyedLog const& log, Entity const& entity, void ( *visit )( Entity&, void* ),
                 void* context ) {
   Positions at( log.map( const_cast<Entity&>( entity ) ), *log.type, 0 );
   for ( void const* element = at.element(); element; element = at.element() ) {
      at.next();
      visit( *log.childIn( element ), context );
   }
}

std::uint32_t keyedSize( KeyedLog const& log, Entity const& entity ) {
   return Collection( log, const_cast<Entity&>( entity ) ).size();
}

void keyedPrefetch( KeyedLog const& log, Entity const& entity ) {
   if ( log.map ) {
      log.map( const_cast<Entity&>( entity ) ).prefetch( *log.type );
   }
}

} // namespace Qel::Internal
