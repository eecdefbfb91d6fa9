#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "Qel/HashHelper.h"
#include "Qel/NboAttrLog.h"
#include "framework/records/Same.h"
#include "framework/wire/WireForms.h"

/// Keys of collections and constructor parameters, for code that does not know their type.
namespace Qel::Internal {

/// How keys of one type are kept, compared and sent. A key is handed over by its address.
struct KeyForm {
   std::size_t size;
   std::size_t alignment;
   std::uint32_t ( *hash )( void const* key ); ///< For keys alone.
   bool ( *equal )( void const* a, void const* b );
   /// Constructs a copy at \p to.
   void ( *copy )( void* to, void const* from );
   /// Constructs at \p to the key that was at \p from, which ends.
   void ( *move )( void* to, void* from ) noexcept;
   void ( *destroy )( void* key ) noexcept;
   // In the attribute log; read constructs.
   std::size_t ( *wireSize )( void const* key );
   std::uint8_t* ( *put )( std::uint8_t* to, void const* key );
   void ( *read )( void* to, NboAttrLog::In& );
};

template<class Key>
struct KeyFormOf {
   static Key const& at( void const* key ) { return *static_cast<Key const*>( key ); }
   static std::uint32_t hash( void const* key ) {
      if constexpr ( Hashable<Key> ) {
         return hashSingleAttr( at( key ), HashHelper::hashSeed32() ^ 1 );
      } else {
         static_cast<void>( key );
         return 0;
      }
   }
   static bool equal( void const* a, void const* b ) { return same( at( a ), at( b ) ); }
   static void copy( void* to, void const* from ) { ::new ( to ) Key( at( from ) ); }
   static void move( void* to, void* from ) noexcept {
      ::new ( to ) Key( std::move( *static_cast<Key*>( from ) ) );
      destroy( from );
   }
   static void destroy( void* key ) noexcept { std::destroy_at( static_cast<Key*>( key ) ); }
   static std::size_t wireSize( void const* key ) { return Wire<Key>::size( at( key ) ); }
   static std::uint8_t* put( std::uint8_t* to, void const* key ) {
      return Wire<Key>::put( to, at( key ) );
   }
   static void read( void* to, NboAttrLog::In& in ) {
      ::new ( to ) Key( NboAttrLog::valueOf<Key>( in ) );
   }
   static constexpr KeyForm form{ sizeof( Key ), alignof( Key ), hash,     equal, copy,
                                  move,          destroy,        wireSize, put,   read };
};

/// A key by itself.
class UntypedKey {
public:
   UntypedKey( KeyForm const& form, void const* key ) : form_( form ), at_( room() ) {
      form_.copy( at_, key );
   }
   /// The one that comes next in a message.
   UntypedKey( KeyForm const& form, NboAttrLog::In& in ) : form_( form ), at_( room() ) {
      form_.read( at_, in );
   }
   UntypedKey( UntypedKey const& ) = delete;
   UntypedKey& operator=( UntypedKey const& ) = delete;
   ~UntypedKey() { form_.destroy( at_ ); }
   void const* get() const { return at_; }

private:
   void* room() {
      if ( form_.size <= sizeof small_ ) {
         return small_;
      }
      large_.reset( new std::byte[form_.size] );
      return large_.get();
   }

   KeyForm const& form_;
   alignas( std::max_align_t ) std::byte small_[48];
   std::unique_ptr<std::byte[]> large_; // for keys that are larger
   void* at_;
};

} // namespace Qel::Internal
