#pragma once

#include <new>
#include <utility>

#include "Varek/Inspect.h"
#include "framework/records/Records.h"

/// Owners for generic code that does not know types: of a value, and of a walk over the elements of
/// an attribute. They release it at the end of their scope, also when an exception passes.
namespace Qel {

/// A value of a type that is known only by its table.
class UntypedValue {
public:
   /// A copy of the value at \p source; the default value if that is null.
   explicit UntypedValue( Varek::Inspect::AtomicFnTable const& table, void const* source = nullptr )
      : table_( &table ), at_( ::operator new( table.size, std::align_val_t( table.alignment ) ) ) {
      try {
         table.inspectConstruct( at_, source );
      } catch ( ... ) {
         ::operator delete( at_, std::align_val_t( table.alignment ) );
         throw;
      }
   }
   UntypedValue( UntypedValue&& other ) noexcept : table_( other.table_ ), at_( other.at_ ) {
      other.at_ = nullptr;
   }
   UntypedValue& operator=( UntypedValue&& other ) noexcept {
      std::swap( table_, other.table_ );
      std::swap( at_, other.at_ );
      return *this;
   }
   ~UntypedValue() {
      if ( at_ ) {
         table_->inspectDestroy( at_ );
         ::operator delete( at_, std::align_val_t( table_->alignment ) );
      }
   }

   Varek::Inspect::AtomicFnTable const& table() const { return *table_; }
   /// The live value; null once it was moved away.
   void* get() const { return at_; }

private:
   Varek::Inspect::AtomicFnTable const* table_;
   void* at_;
};

/// A walk over an attribute that holds several: see AttributeRecord::iterate.
class UntypedElements {
public:
   /// Throws std::bad_alloc.
   UntypedElements( AttributeRecord const& attribute, void const* object,
                    void const* startKey = nullptr )
      : table_( *attribute.iterator ), at_( attribute.iterate( object, startKey ) ) {
      if ( !at_ ) {
         throw std::bad_alloc();
      }
   }
   UntypedElements( UntypedElements const& ) = delete;
   UntypedElements& operator=( UntypedElements const& ) = delete;
   ~UntypedElements() { table_.iterDel( at_ ); }

   explicit operator bool() const { return table_.iterNonnull( at_ ); }
   void next() { table_.iterInc( at_ ); }
   /// The element, of children the pointer to it; null if it has gone.
   void const* object() const { return table_.iterPeek( at_ ); }
   Varek::Inspect::AtomicFnTable const& objectTable() const { return *table_.object; }
   UntypedValue key() const {
      UntypedValue key( *table_.key );
      table_.iterKey( at_, key.get() );
      return key;
   }

private:
   Varek::Inspect::IterFnTable const& table_;
   void* at_;
};

} // namespace Qel
