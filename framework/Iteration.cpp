#include "framework/Iteration.h"

#include "framework/Untyped.h"

namespace Qel::Internal {

namespace {

/// The storage of an iterator.
template<class Self>
struct Stored {
   static void* operator new( std::size_t size ) { return Pallo::allocate( size ); }
   static void operator delete( void* at, std::size_t size ) { Pallo::release( at, size ); }
   static Self& at( void* iterator ) { return *static_cast<Self*>( iterator ); }
   static Self const& at( void const* iterator ) { return *static_cast<Self const*>( iterator ); }
};

class SequencePlace : public Stored<SequencePlace> {
public:
   SequencePlace( SequenceForm const& form, void const* sequence, std::uint32_t index )
      : form_( form ), sequence_( sequence ), index_( index ) {}
   SequenceForm const& form() const { return form_; }
   std::uint32_t index() const { return index_; }
   void const* object() const {
      return index_ < form_.size( sequence_ ) ? form_.at( sequence_, index_ ) : nullptr;
   }
   // The greatest index is never that of an element: it must not become 0.
   void advance() { index_ += index_ != std::numeric_limits<std::uint32_t>::max(); }

private:
   SequenceForm const& form_;
   void const* sequence_;
   std::uint32_t index_;
};

class MapPlace : public Stored<MapPlace> {
public:
   MapPlace( MapForm const& form, HashMap2018Generic const& map, void const* startKey )
      : form_( form ), map_( map ), key_( *form.key ), version_( map.version() ),
        position_( startKey ? find( startKey ) : map.nextTaken( 0 ) ) {
      remember();
   }
   MapForm const& form() const { return form_; }
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

} // namespace

void* SequenceWalk::make( SequenceForm const& form, void const* sequence, void const* startKey ) {
   return new SequencePlace( form, sequence,
                             startKey ? *static_cast<std::uint32_t const*>( startKey ) : 0 );
}

void SequenceWalk::iterKey( void const* iterator, void* key ) {
   if ( SequencePlace const& place = SequencePlace::at( iterator ); place.object() ) {
      *static_cast<std::uint32_t*>( key ) = place.index();
   }
}

void SequenceWalk::iterObj( void const* iterator, void* object ) {
   SequencePlace const& place = SequencePlace::at( iterator );
   if ( void const* const held = place.object() ) {
      place.form().object->assign( object, held );
   }
}

void const* SequenceWalk::iterPeek( void const* iterator ) {
   return SequencePlace::at( iterator ).object();
}

void SequenceWalk::iterInc( void* iterator ) { SequencePlace::at( iterator ).advance(); }

bool SequenceWalk::iterNonnull( void const* iterator ) { return iterPeek( iterator ); }

void SequenceWalk::iterDel( void* iterator ) { delete &SequencePlace::at( iterator ); }

void* MapWalk::make( MapForm const& form, HashMap2018Generic const& map, void const* startKey ) {
   return new MapPlace( form, map, startKey );
}

void MapWalk::iterKey( void const* iterator, void* key ) {
   MapPlace const& place = MapPlace::at( iterator );
   if ( void const* const held = place.key() ) {
      place.form().key->assign( key, held );
   }
}

void MapWalk::iterObj( void const* iterator, void* object ) {
   MapPlace const& place = MapPlace::at( iterator );
   if ( void const* const held = place.object() ) {
      place.form().object->assign( object, held );
   }
}

void const* MapWalk::iterPeek( void const* iterator ) { return MapPlace::at( iterator ).object(); }

void MapWalk::iterInc( void* iterator ) { MapPlace::at( iterator ).advance(); }

bool MapWalk::iterNonnull( void const* iterator ) { return MapPlace::at( iterator ).key(); }

void MapWalk::iterDel( void* iterator ) { delete &MapPlace::at( iterator ); }

} // namespace Qel::Internal
