#include "framework/inspect/Iteration.h"

#include <limits>

#include "framework/records/Untyped.h"

namespace Qel::Internal {

namespace {

/// The storage of an iterator.
struct Stored {
   static void* operator new( std::size_t size ) { return Pallo::allocate( size ); }
   static void operator delete( void* at, std::size_t size ) { Pallo::release( at, size ); }
};

} // namespace

class VAREK_EXPORT SequencePlace : public Stored {
public:
   SequencePlace( SequenceForm const& form, void const* sequence, std::uint32_t index )
      : form_( form ), sequence_( sequence ), index_( index ) {}
   SequenceForm const& form() const { return form_; }
   Varek::Inspect::AtomicFnTable const& keyTable() const {
      return Varek::Inspect::InspectAtomicFnTable<std::uint32_t>::table;
   }
   /// The key of the element that it stands on; null if that has gone.
   void const* key() const { return index_ < form_.size( sequence_ ) ? &index_ : nullptr; }
   void const* object() const { return key() ? form_.at( sequence_, index_ ) : nullptr; }
   // The greatest index is never that of an element: it must not become 0.
   void advance() { index_ += index_ != std::numeric_limits<std::uint32_t>::max(); }

private:
   SequenceForm const& form_;
   void const* sequence_;
   std::uint32_t index_;
};

class VAREK_EXPORT MapPlace : public Stored {
public:
   MapPlace( MapForm const& form, HashMap2018Generic const& map, void const* startKey )
      : form_( form ), map_( map ), key_( *form.key ), version_( map.version() ),
        position_( startKey ? find( startKey ) : map.nextTaken( 0 ) ) {
      remember();
   }
   MapForm const& form() const { return form_; }
   Varek::Inspect::AtomicFnTable const& keyTable() const { return *form_.key; }
   /// The key of the element that it stands on; null if that has gone.
   void const* key() const {
      settle();
      if ( position_ == HashMap2018Generic::none || !map_.taken( position_ ) ) {
         return nullptr;
      }
      void const* const here = form_.type->keyOf( element() );
      return form_.key->equal( here, key_.get() ) ? here : nullptr;
   }
   void const* object() const { return key() ? form_.shown( element() ) : nullptr; }
   void advance() {
      settle();
      if ( position_ != HashMap2018Generic::none ) {
         position_ = map_.nextTaken( position_ + 1 );
      }
      remember();
   }

private:
   void const* element() const { return map_.at( *form_.type, position_ ); }
   std::uint32_t find( void const* key ) const {
      void const* const found =
         const_cast<HashMap2018Generic&>( map_ ).lookupNodeG( *form_.type, key );
      return found ? map_.positionOf( *form_.type, found ) : HashMap2018Generic::none;
   }
   void settle() const {
      if ( version_ == map_.version() ) {
         return;
      }
      version_ = map_.version();
      if ( position_ != HashMap2018Generic::none ) {
         position_ = find( key_.get() );
      }
   }
   void remember() {
      if ( position_ != HashMap2018Generic::none ) {
         form_.key->assign( key_.get(), form_.type->keyOf( element() ) );
      }
   }

   MapForm const& form_;
   HashMap2018Generic const& map_;
   UntypedValue key_; // of the element that it stands on
   mutable std::uint32_t version_;
   mutable std::uint32_t position_;
};

void* newIterator( SequenceForm const& form, void const* sequence, void const* startKey ) {
   return new SequencePlace( form, sequence,
                             startKey ? *static_cast<std::uint32_t const*>( startKey ) : 0 );
}

void* newIterator( MapForm const& form, HashMap2018Generic const& map, void const* startKey ) {
   return new MapPlace( form, map, startKey );
}

namespace {

template<class Place>
Place const& at( void const* iterator ) {
   return *static_cast<Place const*>( iterator );
}

} // namespace

template<class Place>
void Walk<Place>::iterKey( void const* iterator, void* key ) {
   if ( void const* const held = at<Place>( iterator ).key() ) {
      at<Place>( iterator ).keyTable().assign( key, held );
   }
}

template<class Place>
void Walk<Place>::iterObj( void const* iterator, void* object ) {
   if ( void const* const held = at<Place>( iterator ).object() ) {
      at<Place>( iterator ).form().object->assign( object, held );
   }
}

template<class Place>
void const* Walk<Place>::iterPeek( void const* iterator ) {
   return at<Place>( iterator ).object();
}

template<class Place>
void Walk<Place>::iterInc( void* iterator ) {
   static_cast<Place*>( iterator )->advance();
}

template<class Place>
bool Walk<Place>::iterNonnull( void const* iterator ) {
   return at<Place>( iterator ).key();
}

template<class Place>
void Walk<Place>::iterDel( void* iterator ) {
   delete static_cast<Place*>( iterator );
}

template struct Walk<SequencePlace>;
template struct Walk<MapPlace>;

} // namespace Qel::Internal
