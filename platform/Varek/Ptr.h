#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "Varek/Export.h"
#include "Varek/ThreadControl.h"

namespace Varek {

/// The base of objects that counted pointers hold: a virtual table, the reference count, and a
/// second count of the running calls of the object's own code that must not lose it (a delivery of
/// changes, Varek/Publisher.h). The object ends when both are zero.
///
/// An object starts with one reference, which its creator gives to a Ptr with Ptr::adopt. Counts
/// are adjusted atomically only while ThreadControl says that more than one thread runs.
class VAREK_EXPORT Counted {
public:
   Counted( Counted const& ) = delete;
   Counted& operator=( Counted const& ) = delete;

   std::uint32_t references() const { return references_.load( std::memory_order_relaxed ); }

   void referenceInc() const {
      if ( ThreadControl::multiThreaded() ) [[unlikely]] {
         references_.fetch_add( 1, std::memory_order_relaxed );
      } else {
         references_.store( references() + 1, std::memory_order_relaxed );
      }
   }

   /// Destroys the object when the last reference goes and no use is under way.
   void referenceDec() const {
      std::uint32_t left;
      if ( ThreadControl::multiThreaded() ) [[unlikely]] {
         left = references_.fetch_sub( 1, std::memory_order_acq_rel ) - 1;
      } else {
         left = references() - 1;
         references_.store( left, std::memory_order_relaxed );
      }
      if ( left == 0 && usesUnderWay_ == 0 ) {
         delete this;
      }
   }

protected:
   Counted() = default;
   virtual ~Counted() = default;

   /// Keeps the object although its references may go, until useEnd. The result is for useEnd: uses
   /// end in the reverse order of their beginning.
   std::uint32_t useBegin() {
      std::uint32_t const outer = usesUnderWay_;
      usesUnderWay_ = outer + 1;
      return outer;
   }
   void useEnd( std::uint32_t outer ) {
      // A store of what is known, not a decrement: the next use would have to wait for that.
      usesUnderWay_ = outer;
      if ( outer == 0 && references() == 0 ) [[unlikely]] {
         expire();
      }
   }
   /// useBegin and useEnd for a caller who knows that no use is under way, and at the end that the
   /// object stays. They only store.
   void useBeginOutermost() { usesUnderWay_ = 1; }
   void useEndStaying() { usesUnderWay_ = 0; }
   bool inUse() const { return usesUnderWay_ != 0; }

private:
   void expire() const;

   mutable std::atomic<std::uint32_t> references_{ 1 };
   std::uint32_t usesUnderWay_ = 0;
};

/// A counted pointer to an object derived from Counted; one word, null by default.
template<class T>
class Ptr {
public:
   using element_type = T;

   constexpr Ptr() noexcept = default;
   constexpr Ptr( std::nullptr_t ) noexcept {}
   /// Adds a reference to \p object.
   explicit Ptr( T* object ) noexcept : object_( object ) {
      if ( object_ ) {
         object_->referenceInc();
      }
   }
   Ptr( Ptr const& other ) noexcept : Ptr( other.object_ ) {}
   Ptr( Ptr&& other ) noexcept : object_( other.release() ) {}
   template<class U>
      requires std::is_convertible_v<U*, T*>
   Ptr( Ptr<U> const& other ) noexcept : Ptr( static_cast<T*>( other.get() ) ) {}
   template<class U>
      requires std::is_convertible_v<U*, T*>
   Ptr( Ptr<U>&& other ) noexcept : object_( other.release() ) {}
   ~Ptr() {
      if ( object_ ) {
         object_->referenceDec();
      }
   }
   Ptr& operator=( Ptr other ) noexcept {
      std::swap( object_, other.object_ );
      return *this;
   }

   /// Takes over the caller's reference.
   static Ptr adopt( T* object ) noexcept {
      Ptr made;
      made.object_ = object;
      return made;
   }
   /// Gives the reference to the caller and leaves this pointer null.
   T* release() noexcept { return std::exchange( object_, nullptr ); }

   T* get() const noexcept { return object_; }
   T* operator->() const noexcept { return object_; }
   T& operator*() const noexcept { return *object_; }
   explicit operator bool() const noexcept { return object_ != nullptr; }

   template<class U>
   friend bool operator==( Ptr const& a, Ptr<U> const& b ) noexcept {
      return a.get() == b.get();
   }
   friend bool operator==( Ptr const& a, std::nullptr_t ) noexcept { return a.get() == nullptr; }

private:
   T* object_ = nullptr;
};

} // namespace Varek
