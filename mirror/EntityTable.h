#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Qel/Entity.h"
#include "Qel/HashMap2018.h"

/// Records about entities, each found from its entity, or from the handle under which a connection
/// speaks of it, without a search: both are where every message begins.
namespace Mirror {

/// The table's part of a record.
class EntityRecord {
public:
   EntityRecord() = default;
   EntityRecord( Varek::Ptr<Qel::Entity> e, std::uint32_t h )
      : entity( std::move( e ) ), handle( h ) {}

   Varek::Ptr<Qel::Entity> entity; ///< Null in an empty record.
   std::uint32_t handle = 0;

private:
   template<class Record>
   friend class EntityTable;
   // Places; 0 for no place.
   std::uint32_t parent_ = 0;
   std::uint32_t firstChild_ = 0;
   std::uint32_t next_ = 0;
   std::uint32_t previous_ = 0;
};

/// A Record is an EntityRecord. Records form a tree of their own, since an observer may have taken
/// the tree of entities apart.
///
/// An entity notes the place of its record (Qel::Entity::qelPlace). All tables of a process share
/// the note, so the record found there is compared, and a table that finds the note in use keeps
/// the place itself. Records do not move until they are taken out.
template<class Record>
class EntityTable {
public:
   EntityTable() = default;
   EntityTable( EntityTable const& ) = delete;
   EntityTable& operator=( EntityTable const& ) = delete;
   ~EntityTable() { clear(); }

   std::uint32_t size() const { return size_; }

   Record* find( Qel::Entity const& entity ) {
      if ( std::uint32_t const place = entity.qelPlace(); place - 1 < end_ ) [[likely]] {
         if ( Record& record = at( place );
              record.entity.get() == &entity && record.previous_ != onItsWayOut ) [[likely]] {
            return &record;
         }
      }
      if ( elsewhere_.size() == 0 ) [[likely]] {
         return nullptr;
      }
      std::uint32_t const place = placeElsewhere( entity );
      return place != 0 ? &at( place ) : nullptr;
   }
   /// The record at a place that newMember() has given.
   Record& at( std::uint32_t place ) {
      return ( *pages_[( place - 1 ) / pageSize] )[( place - 1 ) % pageSize];
   }

   /// The place of the record of \p entity, 0 if there is none.
   std::uint32_t placeOf( Qel::Entity const& entity ) {
      if ( elsewhere_.size() != 0 ) [[unlikely]] {
         if ( std::uint32_t const place = placeElsewhere( entity ) ) {
            return place;
         }
      }
      return find( entity ) ? entity.qelPlace() : 0;
   }

   /// Takes in \p record, below the record at \p parent if that is not 0, and returns its place.
   /// Its entity must not have a record yet. Only this call allocates; if that fails, nothing
   /// changes.
   std::uint32_t newMember( Record record, std::uint32_t parent = 0 ) {
      std::uint32_t const place = firstFree_ != 0 ? firstFree_ : nextPlace();
      if ( record.entity->qelPlace() == 0 ) [[likely]] {
         record.entity->qelPlaceIs( place );
      } else {
         elsewhere_.newMemberG( Elsewhere{ record.entity.get(), place } );
      }
      if ( place == firstFree_ ) {
         firstFree_ = at( place ).next_;
      } else {
         end_ = place;
      }
      at( place ) = std::move( record );
      if ( parent != 0 ) {
         link( place, parent );
      }
      ++size_;
      return place;
   }
   /// Takes out the record at \p place and all records below it, and calls \p f with each.
   template<class F>
   void takeTree( std::uint32_t place, F f ) {
      Chain taken;
      take( place, taken );
      for ( std::uint32_t one = place; one != 0; one = at( one ).next_ ) {
         while ( std::uint32_t const child = at( one ).firstChild_ ) {
            take( child, taken );
         }
      }
      release( taken, f );
   }
   /// Takes out all records for which \p wanted( record ) is true; if it is true for a record, it
   /// must be true for all records below.
   template<class Wanted>
   void takeIf( Wanted wanted ) {
      Chain taken;
      for ( std::uint32_t place = 1; place <= end_; ++place ) {
         if ( Record& record = at( place ); isHeld( record ) && wanted( record ) ) {
            take( place, taken );
         }
      }
      release( taken, []( Record const& ) {} );
   }
   void clear() {
      takeIf( []( Record const& ) { return true; } );
   }

   template<class F>
   void forEach( F f ) {
      for ( std::uint32_t place = 1; place <= end_; ++place ) {
         if ( Record& record = at( place ); isHeld( record ) ) {
            f( record );
         }
      }
   }

private:
   static constexpr std::uint32_t pageSize = 64;
   using Page = std::array<Record, pageSize>;

   struct Elsewhere {
      Qel::Entity const* entity;
      std::uint32_t place;
   };
   struct ElsewhereKey {
      using Key = std::uintptr_t;
      Key operator()( Elsewhere const& one ) const { return keyOf( one.entity ); }
   };
   static std::uintptr_t keyOf( Qel::Entity const* entity ) {
      return reinterpret_cast<std::uintptr_t>( entity );
   }

   /// Records on their way out, linked by next_; no search finds them any more. All are out before
   /// the first entity ends, since that may run code that looks at this table.
   struct Chain {
      std::uint32_t first = 0;
      std::uint32_t last = 0;
   };
   static constexpr std::uint32_t onItsWayOut = ~std::uint32_t{ 0 }; // as previous_

   static bool isHeld( Record const& record ) {
      return record.entity && record.previous_ != onItsWayOut;
   }

   std::uint32_t nextPlace() {
      if ( end_ == pages_.size() * pageSize ) {
         pages_.push_back( std::make_unique<Page>() );
      }
      return end_ + 1;
   }
   std::uint32_t placeElsewhere( Qel::Entity const& entity ) const {
      Elsewhere const* const found = elsewhere_.lookupNodeG( keyOf( &entity ) );
      return found ? found->place : 0;
   }
   void link( std::uint32_t place, std::uint32_t parent ) {
      std::uint32_t& first = at( parent ).firstChild_;
      if ( first != 0 ) {
         at( first ).previous_ = place;
      }
      at( place ).parent_ = parent;
      at( place ).next_ = std::exchange( first, place );
   }
   void unlink( Record const& one ) {
      if ( one.next_ != 0 ) {
         at( one.next_ ).previous_ = one.previous_;
      }
      if ( one.previous_ != 0 ) {
         at( one.previous_ ).next_ = one.next_;
      } else if ( one.parent_ != 0 ) {
         at( one.parent_ ).firstChild_ = one.next_;
      }
   }
   void take( std::uint32_t place, Chain& to ) {
      Record& record = at( place );
      unlink( record );
      unnote( record );
      record.previous_ = onItsWayOut;
      record.next_ = 0;
      ( to.first == 0 ? to.first : at( to.last ).next_ ) = place;
      to.last = place;
      --size_;
   }
   template<class F>
   void release( Chain const& chain, F f ) {
      ++releasing_;
      for ( std::uint32_t place = chain.first; place != 0; ) {
         std::uint32_t const next = at( place ).next_;
         Record taken = std::exchange( at( place ), Record{} );
         at( place ).next_ = std::exchange( firstFree_, place );
         f( std::move( taken ) );
         place = next;
      }
      if ( --releasing_ == 0 && size_ == 0 ) {
         pages_ = decltype( pages_ )();
         firstFree_ = end_ = 0;
      }
   }
   void unnote( Record const& record ) {
      bool const noted =
         elsewhere_.size() == 0 || !elsewhere_.deleteMemberG( keyOf( record.entity.get() ) );
      if ( noted ) [[likely]] {
         record.entity->qelPlaceIs( 0 );
      }
   }

   std::vector<std::unique_ptr<Page>> pages_;
   std::uint32_t firstFree_ = 0; // the first free place; others are linked by next_
   std::uint32_t releasing_ = 0; // calls under way, during which the pages stay
   Qel::HashMap2018<Elsewhere, ElsewhereKey, 0x8B5F1D37> elsewhere_;
   std::uint32_t size_ = 0;
   std::uint32_t end_ = 0; // the highest place that was ever given
};

/// The places of records by handle. A leader counts its handles up, so nearly all are in an array.
/// Handles far above the number of records, as after a long life with much coming and going or from
/// a hostile peer, are in a hash table.
class HandleMap {
public:
   /// The place for a handle; 0 if there is none.
   std::uint32_t find( std::uint32_t handle ) const {
      if ( handle < near_.size() ) [[likely]] {
         return near_[handle];
      }
      auto const found = far_.find( handle );
      return found == far_.end() ? 0 : found->second;
   }
   /// \p count is the number of records.
   void placeIs( std::uint32_t handle, std::uint32_t place, std::uint32_t count ) {
      if ( handle >= near_.size() ) [[unlikely]] {
         growFor( handle, 2 * std::size_t{ count } + leastRoom );
      }
      if ( handle < near_.size() ) [[likely]] {
         near_[handle] = place;
      } else {
         far_[handle] = place;
      }
   }
   void placeDel( std::uint32_t handle ) {
      if ( handle < near_.size() ) [[likely]] {
         near_[handle] = 0;
      } else {
         far_.erase( handle );
      }
   }
   void clear() {
      near_ = {};
      far_ = {};
   }

private:
   static constexpr std::size_t leastRoom = 1024;

   void growFor( std::uint32_t handle, std::size_t bound ) {
      // The array grows by half at least, since each growth walks through all far handles.
      if ( handle >= bound || bound < near_.size() + near_.size() / 2 ) {
         return;
      }
      near_.resize( bound );
      std::erase_if( far_, [this]( auto const& one ) {
         bool const isNear = one.first < near_.size();
         if ( isNear ) {
            near_[one.first] = one.second;
         }
         return isNear;
      } );
   }

   std::vector<std::uint32_t> near_; // by handle
   std::unordered_map<std::uint32_t, std::uint32_t> far_;
};

} // namespace Mirror
