#include "framework/wire/KeyedFlow.h"

#include <algorithm>
#include <bit>
#include <new>

#include "framework/wire/KeyForm.h"

namespace Qel::Internal {

// KeySet. As HashMap2018 does it: what it says of groups and versions holds here.

KeySet::KeySet( KeySet const& other ) : KeySet( *other.form_ ) {
   for ( std::uint32_t at = other.nextTaken( 0 ); at != none; at = other.nextTaken( at + 1 ) ) {
      insert( other.at( at ) );
   }
}

KeySet& KeySet::operator=( KeySet other ) noexcept {
   std::swap( form_, other.form_ );
   std::swap( groups_, other.groups_ );
   std::swap( size_, other.size_ );
   std::swap( mask_, other.mask_ );
   return *this;
}

void* KeySet::slot( std::uint32_t position ) const {
   return static_cast<std::byte*>( storage( groups_, mask_ ) ) + position * form_->size;
}

void const* KeySet::at( std::uint32_t position ) const { return slot( position ); }

std::uint32_t KeySet::find( void const* key, std::uint32_t hash ) const {
   if ( !groups_ ) {
      return none;
   }
   std::uint32_t at = hash & mask_;
   for ( std::uint32_t step = 1;; at = ( at + step++ ) & mask_ ) {
      std::uint32_t const seen = groups_[at].look( hash );
      for ( std::uint32_t hits = seen & ( Group::lastBit - 1 ); hits; hits &= hits - 1 ) {
         auto const position =
            at * Group::slots + static_cast<std::uint32_t>( std::countr_zero( hits ) );
         if ( form_->equal( slot( position ), key ) ) {
            return position;
         }
      }
      if ( ( seen & Group::lastBit ) != 0 || step > mask_ ) {
         return none;
      }
   }
}

bool KeySet::contains( void const* key ) const {
   return groups_ && find( key, form_->hash( key ) ) != none;
}

void KeySet::insert( void const* key ) {
   std::uint32_t const hash = form_->hash( key );
   if ( find( key, hash ) != none ) {
      return;
   }
   if ( !groups_ || size_ == head().capacity ) {
      grow();
   }
   std::uint32_t const at = claim( hash );
   try {
      form_->copy( slot( at ), key );
   } catch ( ... ) {
      disclaim( hash, at );
      throw;
   }
   ++size_;
}

bool KeySet::erase( void const* key ) {
   if ( !groups_ ) {
      return false;
   }
   std::uint32_t const hash = form_->hash( key );
   std::uint32_t const at = find( key, hash );
   if ( at == none ) {
      return false;
   }
   form_->destroy( slot( at ) );
   disclaim( hash, at );
   if ( --size_ == 0 && mask_ != 0 ) {
      clear();
   }
   return true;
}

void KeySet::clear() noexcept {
   for ( std::uint32_t at = nextTaken( 0 ); at != none; at = nextTaken( at + 1 ) ) {
      form_->destroy( slot( at ) );
   }
   if ( groups_ ) {
      releaseGroups( std::exchange( groups_, nullptr ), form_->size );
   }
   size_ = 0;
   mask_ = 0;
}

void KeySet::grow() {
   std::uint32_t const capacity = nextCapacity( groups_ ? head().capacity : 0 );
   Group* const bigger = growBegin( capacity, form_->size );
   std::uint32_t const mask = groupCount( capacity ) - 1;
   auto* const to = static_cast<std::byte*>( storage( bigger, mask ) );
   for ( std::uint32_t at = nextTaken( 0 ); at != none; at = nextTaken( at + 1 ) ) {
      form_->move( to + claim( bigger, mask, form_->hash( slot( at ) ) ) * form_->size,
                   slot( at ) );
   }
   growEnd( bigger, form_->size );
}

// KeyList

KeyList::KeyList( KeyList const& other ) : KeyList( *other.form_ ) {
   fromFront_ = other.fromFront_;
   for ( std::size_t i = other.first_; i < other.end_; ++i ) {
      std::byte const* const from = other.at( i );
      push( from, from[form_->size] != std::byte{ 0 } );
   }
}

KeyList::KeyList( KeyList&& other ) noexcept
   : form_( other.form_ ), storage_( std::move( other.storage_ ) ),
     first_( std::exchange( other.first_, 0 ) ), end_( std::exchange( other.end_, 0 ) ),
     capacity_( std::exchange( other.capacity_, 0 ) ), fromFront_( other.fromFront_ ) {}

KeyList& KeyList::operator=( KeyList other ) noexcept {
   std::swap( form_, other.form_ );
   std::swap( storage_, other.storage_ );
   std::swap( first_, other.first_ );
   std::swap( end_, other.end_ );
   std::swap( capacity_, other.capacity_ );
   std::swap( fromFront_, other.fromFront_ );
   return *this;
}

KeyList::~KeyList() {
   while ( !empty() ) {
      pop();
   }
}

std::size_t KeyList::stride() const { return form_->size + form_->alignment; }

void KeyList::push( void const* key, bool flag ) {
   if ( end_ == capacity_ ) {
      std::size_t const capacity = std::max<std::size_t>( 8, 2 * size() );
      std::unique_ptr<std::byte[]> bigger( new std::byte[capacity * stride()] );
      std::size_t const count = size();
      for ( std::size_t i = 0; i < count; ++i ) {
         std::byte* const to = bigger.get() + i * stride();
         form_->move( to, at( first_ + i ) );
         to[form_->size] = at( first_ + i )[form_->size];
      }
      storage_ = std::move( bigger );
      first_ = 0;
      end_ = count;
      capacity_ = capacity;
   }
   form_->copy( at( end_ ), key );
   at( end_++ )[form_->size] = std::byte{ flag };
}

void const* KeyList::key() const { return at( next() ); }

bool KeyList::flag() const { return at( next() )[form_->size] != std::byte{ 0 }; }

void KeyList::pop() {
   form_->destroy( at( next() ) );
   if ( fromFront_ ) {
      ++first_;
   } else {
      --end_;
   }
}

// DirtyKeys

namespace {

/// A set that has become nearly empty gives most of its memory back: it may have been large for
/// the sake of what has come and gone.
void eraseFrom( KeySet& set, void const* key ) {
   if ( !set.erase( key ) || set.size() >= set.positions() / 16 ) {
      return;
   }
   try {
      set = KeySet( std::as_const( set ) );
   } catch ( std::bad_alloc const& ) {
   }
}

} // namespace

void DirtyKeys::insert( void const* key, bool held ) {
   all_.insert( key );
   if ( !held ) {
      new_.insert( key );
   }
}

void DirtyKeys::erase( void const* key ) {
   if ( all_.empty() ) {
      return;
   }
   eraseFrom( new_, key );
   eraseFrom( all_, key );
}

void DirtyKeys::clear() {
   all_.clear();
   new_.clear();
}

void DirtyKeys::moveTo( KeyList& left ) {
   for ( std::uint32_t at = all_.nextTaken( 0 ); at != KeySet::none;
         at = all_.nextTaken( at + 1 ) ) {
      left.push( all_.at( at ), mayBeHeld( all_.at( at ) ) );
   }
   clear();
}

} // namespace Qel::Internal
