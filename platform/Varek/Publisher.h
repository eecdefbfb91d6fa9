#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "Varek/Export.h"
#include "Varek/FieldId.h"
#include "Varek/Ptr.h"

/// Change notification. A Publisher is an object that tells observers of each real change of its
/// attributes; publishers form trees through their parents, and one may observe a single publisher
/// or a publisher with everything below it.
///
/// Guarantees
/// - Each change is delivered exactly once to each observer that was there when it happened and
///   still is. One that is added during a delivery is not told of that change.
/// - An observer may do anything while it is told: change the same object, add or remove observers,
///   itself included, drop the last reference to the object. A change that it makes is delivered at
///   once, before the outer delivery goes on.
/// - An observer that throws does not keep the others from being told; the first exception reaches
///   the caller of the mutator afterwards.
///
/// Cost. Until somebody observes, a publisher is one zero word, and publishing is one predictable
/// branch. That initial state is left when the first observer comes, for the object or for anything
/// above it, and is never entered again: clear-all fast paths depend on "nothing can ever have been
/// observed", so leaving it is pushed down the tree when a subtree observer is added.
namespace Varek {

class Publisher;
class Subscription;

/// Compares two keys of a collection.
using KeyEqual = bool ( * )( void const* a, void const* b );

/// One change, as an observer gets it. Valid during the call only.
class Change {
public:
   Change( Publisher& from, FieldId field, void const* key, void const* old, KeyEqual equal )
      : source_( from ), id_( field ), key_( key ), old_( old ), keyEqual_( equal ) {}

   /// The object that changed.
   Publisher& source() const { return source_; }
   FieldId id() const { return id_; }

   /// The key of the element that changed, or null where the attribute has no keys. \p K is the key
   /// type of the attribute (the index, an unsigned 32-bit, for a fixed array).
   template<class K>
   K const* key() const {
      return static_cast<K const*>( key_ );
   }
   /// The value before the change: null for an insertion, what was replaced or removed otherwise.
   /// \p V is the value type of the attribute.
   template<class V>
   V const* old() const {
      return static_cast<V const*>( old_ );
   }
   void const* keyData() const { return key_; }
   void const* oldData() const { return old_; }
   KeyEqual keyEqual() const { return keyEqual_; }

private:
   Publisher& source_;
   FieldId id_;
   void const* key_;
   void const* old_;
   KeyEqual keyEqual_;
};

/// What a subscription covers: one object, or the object and everything that it owns.
enum class Scope : std::uint8_t { object, subtree };

namespace Internal {

/// One observer of one publisher. Owned by its Subscription; one that is removed while a delivery
/// is under way waits for the end of that, with publisher null.
class VAREK_EXPORT Observer {
public:
   // Kept beside the pointers, not in a virtual table: one load less before the call.
   using Call = void ( * )( Observer&, Change const& );
   explicit Observer( Call c ) : call( c ) {}
   virtual ~Observer();

   // The alignment leaves a publisher room for four bits beside the pointer.
   alignas( 16 ) Call const call;
   Publisher* publisher = nullptr;
   Scope scope = Scope::object;
};

template<class F>
class FunctionObserver final : public Observer {
public:
   template<class G>
   explicit FunctionObserver( G&& f )
      : Observer( []( Observer& self, Change const& change ) {
           static_cast<FunctionObserver&>( self ).f_( change );
        } ),
        f_( std::forward<G>( f ) ) {}

private:
   F f_;
};

struct ObserverList;

} // namespace Internal

/// An object that publishes its changes: the base of every entity.
class VAREK_EXPORT Publisher : public Counted {
public:
   /// Calls \p f with every change from now on, until the returned subscription is destroyed.
   /// \p f is called with a Change const&.
   template<class F>
   requires std::invocable<F&, Change const&>
   [[nodiscard]] Subscription subscribe( F&& f, Scope scope = Scope::object );

   /// True while nothing can ever have observed this object.
   bool initial() const { return word_ == 0; }
   /// Number of observers that are subscribed to this object itself, in either scope.
   std::size_t observerCount() const;

   /// Publishes one change of \p source, to its own observers and to those of the subtrees it is
   /// in. \p key and \p old may be null, see Change. Callers test initial() first.
   static void publishChangeRecursive( Publisher& source, FieldId id, void const* key,
                                       void const* old, KeyEqual keyEqual ) {
      Change const change( source, id, key, old, keyEqual );
      if ( ( source.word_ & ~observedBit ) != 0 &&
           ( source.word_ & ( watchedBit | listBit | removedBit ) ) == 0 ) {
         SingleDelivery const delivery( source );
         delivery.tell( change );
      } else {
         source.deliverToAll( change );
      }
   }

   Publisher* parentPublisher() const { return parent_; }

protected:
   Publisher() = default;
   ~Publisher() override {
      if ( ( word_ & pointerBits ) != 0 ) [[unlikely]]
         observersOrphan();
   }

   void parentPublisherIs( Publisher* );
   /// Calls \p visit( child, context ) for each publisher whose parent is this one.
   virtual void visitOwned( void ( *visit )( Publisher&, void* ), void* context );

private:
   friend class Subscription;
   // The word holds, beside these bits, a pointer to the one observer or to the list of several.
   using Word = std::uintptr_t;
   static constexpr Word observedBit = 1; // something observes this object, or once did
   static constexpr Word watchedBit = 2;  // so does, or did, an observer of a subtree it is in
   static constexpr Word listBit = 4;
   static constexpr Word removedBit = 8; // some observer is to be swept out
   static constexpr Word pointerBits = ~( observedBit | watchedBit | listBit | removedBit );

   bool watched() const { return ( word_ & watchedBit ) != 0; }
   void watchedIs();

   Internal::Observer* single() const;
   Internal::ObserverList* list() const;
   std::size_t entries() const;
   Internal::Observer* entry( std::size_t ) const;
   void add( Internal::Observer& );
   void remove( Internal::Observer& );
   void entryErase( Internal::Observer const& );
   void sweep();
   void observersOrphan();

   /// The short way, inlined into mutators: one observer, none in the subtrees above.
   class SingleDelivery {
   public:
      explicit SingleDelivery( Publisher& publisher )
         : publisher_( publisher ), word_( publisher.word_ ), outer_( publisher.useBegin() ) {}
      ~SingleDelivery() {
         if ( publisher_.word_ == word_ && ( outer_ | publisher_.references() ) != 0 ) [[likely]]
            publisher_.useEndStaying( outer_ );
         else
            publisher_.deliveryEnd( outer_ );
      }
      void tell( Change const& change ) const { only().call( only(), change ); }

   private:
      Internal::Observer& only() const {
         return *reinterpret_cast<Internal::Observer*>( word_ & pointerBits );
      }
      Publisher& publisher_;
      Word const word_;
      std::uint32_t const outer_;
   };
   class Watchers;
   struct Delivery;
   bool watchesSubtree() const;
   void deliver( Change const&, std::size_t count, Scope least );
   void deliverRest( Change const&, std::size_t from, std::size_t count, Scope least ) noexcept;
   void deliverToAll( Change const& );
   void deliveryEnd( std::uint32_t outer );
   void deliverInSubtrees( Change const& );

   Word word_ = 0;
   Publisher* parent_ = nullptr;
};

/// Keeps an observer subscribed; destroying it (at any time, also while the observer is called, and
/// after the observed object is gone) ends the subscription.
class VAREK_EXPORT Subscription {
public:
   Subscription() = default;
   Subscription( Subscription&& other ) noexcept
      : observer_( std::exchange( other.observer_, nullptr ) ) {}
   Subscription& operator=( Subscription&& other ) noexcept {
      Subscription taken( std::move( other ) );
      std::swap( observer_, taken.observer_ );
      return *this;
   }
   ~Subscription() { reset(); }

   /// Ends the subscription.
   void reset();
   explicit operator bool() const { return observer_ != nullptr; }

private:
   friend class Publisher;
   Subscription( Publisher&, Scope, std::unique_ptr<Internal::Observer> );

   Internal::Observer* observer_ = nullptr;
};

template<class F>
requires std::invocable<F&, Change const&> Subscription Publisher::subscribe( F&& f, Scope scope ) {
   using Observer = Internal::FunctionObserver<std::decay_t<F>>;
   return { *this, scope, std::make_unique<Observer>( std::forward<F>( f ) ) };
}

} // namespace Varek
