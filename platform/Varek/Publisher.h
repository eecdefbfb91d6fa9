#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "Varek/Export.h"
#include "Varek/FieldId.h"
#include "Varek/Ptr.h"

/// Change notification. A Publisher is an object that tells observers of each real change of its
/// attributes. Publishers form trees through their parents; an observer is for a single publisher
/// or for a publisher with everything below it.
///
/// Guarantees
/// - Each change is delivered exactly once to each observer that was there when it happened and
///   still is. An observer that is added during a delivery is not told of that change.
/// - An observer may do anything while it is told: change the same object, add or remove observers,
///   itself included, drop the last reference to the object. A change that it makes is delivered at
///   once, before the outer delivery goes on.
/// - An observer that throws does not keep the others from being told; the first exception reaches
///   the caller of the mutator afterwards.
/// - Delivery allocates nothing, so no change is lost for want of memory.
/// - If an observer changes something while it is told of a change, observers that come later in
///   the order hear of the inner change first. Code that needs the order in which changes happened,
///   and the state as it was right after each, observes with Scope::subtreeFirst.
///
/// Cost. Until somebody observes, a publisher is one zero word, and publishing is one predictable
/// branch. An object leaves this initial state when an observer comes for it or for a subtree that
/// it is in, or when it comes into an observed subtree, and never enters it again. Clear-all fast
/// paths depend on "nothing can ever have been observed"; so adding a subtree observer takes
/// everything below out of the initial state.
///
/// Whether an object is a read-only proxy, the mirror of another process's object, is a bit of the
/// same word, and holds for all that the publisher owns. So mutators that must refuse to write need
/// no further test.
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
   /// The value before the change: the replaced or removed value, null for an insertion. \p V is
   /// the value type of the attribute.
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

/// The objects that a subscription covers, and its place in the order of delivery.
enum class Scope : std::uint8_t {
   object,  ///< One object.
   subtree, ///< The object and everything that it owns.
   /// As subtree, but called before all observers of other scopes, to record changes in the order
   /// in which they happen. The observer must not change the tree that it observes, nor throw.
   subtreeFirst,
};

/// How often observers have thrown in this thread. The caller of a mutator compares it to tell an
/// observer's exception, after which the change is made, from the mutator's own.
VAREK_EXPORT std::uint64_t observerExceptions() noexcept;

namespace Internal {

/// One observer of one publisher. Its Subscription owns it. An observer that is removed during a
/// delivery stays until the delivery ends, with publisher null, and does nothing when called.
class VAREK_EXPORT Observer {
public:
   // Beside the pointers, not in a virtual table: this saves a load before the call.
   using Call = void ( * )( Observer&, Change const& );
   explicit Observer( Call c ) : call( c ) {}
   virtual ~Observer();

   Publisher* publisher = nullptr;
   // The alignment leaves a publisher room for four bits beside the pointer.
   alignas( 16 ) Call call;
   Observer* nextGone = nullptr; // of those that are swept out together
   Scope scope = Scope::object;
};

/// Notes that an observer's exception is on its way out.
VAREK_EXPORT void observerThrew() noexcept;

template<class F>
class FunctionObserver final : public Observer {
public:
   template<class G>
   explicit FunctionObserver( G&& f )
      : Observer( []( Observer& self, Change const& change ) {
           try {
              static_cast<FunctionObserver&>( self ).f_( change );
           } catch ( ... ) {
              observerThrew();
              throw;
           }
        } ),
        f_( std::forward<G>( f ) ) {}

private:
   F f_;
};

/// A range of scopes.
struct Scopes {
   Scope least;
   Scope most;
   bool contain( Scope scope ) const { return scope >= least && scope <= most; }
};

/// The observers of a publisher that has had several, in the order of their subscriptions. No entry
/// is removed during a delivery, so that positions hold.
struct VAREK_EXPORT ObserverList {
   // The alignment as above.
   alignas( 16 ) std::vector<Observer*> observers;
   std::uint32_t subtreeObservers = 0; // in either scope
   std::uint32_t firstObservers = 0;

   /// Tells those of the first \p count observers whose scope is among \p scopes. With \p unasked
   /// the caller knows that all of them are.
   template<bool unasked = false>
   void tell( Change const& change, std::size_t count, Scopes scopes ) const {
      std::size_t next = 0;
      try {
         while ( next < count ) {
            // Looked up each time: the list may move when it grows.
            Observer* const observer = observers[next++];
            if ( unasked || scopes.contain( observer->scope ) ) [[likely]] {
               observer->call( *observer, change );
            }
         }
      } catch ( ... ) {
         tellRest( change, next, count, scopes );
         throw;
      }
   }
   /// After an observer has thrown: the others are told all the same, and the caller gets the first
   /// exception.
   void tellRest( Change const&, std::size_t next, std::size_t count, Scopes ) const noexcept;
};

} // namespace Internal

/// An object that publishes its changes: the base of every entity.
class VAREK_EXPORT Publisher : public Counted {
public:
   /// Calls \p f with every change from now on, until the returned subscription is destroyed.
   /// \p f is called with a Change const&.
   template<class F>
      requires std::invocable<F&, Change const&>
   [[nodiscard]] Subscription subscribe( F&& f, Scope scope = Scope::object );

   /// True while nothing can ever have observed this object and it is no read-only proxy: a mutator
   /// has nothing else to do then.
   bool initial() const { return word_ == 0; }
   /// True while nothing can ever have observed this object.
   bool unobserved() const { return ( word_ & ~proxyBit ) == 0; }
   /// Whether this belongs to a tree that mirrors another process: only the mirror may change it.
   bool readOnlyProxy() const { return ( word_ & proxyBit ) != 0; }
   /// Number of observers that are subscribed to this object itself, in any scope.
   std::size_t observerCount() const;

   /// Publishes a change of \p source to its own observers and to those of the subtrees that it
   /// belongs to. \p key and \p old may be null, see Change. Callers test initial() first.
   static void publishChangeRecursive( Publisher& source, FieldId id, void const* key,
                                       void const* old, KeyEqual keyEqual ) {
      Change const change( source, id, key, old, keyEqual );
      if ( !source.unobserved() && ( source.word_ & ~( pointerBits | proxyBit ) ) == 0 &&
           !source.inUse() ) [[likely]] {
         source.deliverToOne( change );
      } else {
         source.deliverToSeveral( change );
      }
   }

   Publisher* parentPublisher() const { return parent_; }

protected:
   Publisher() = default;
   ~Publisher() override {
      if ( ( word_ & pointerBits ) != 0 ) [[unlikely]] {
         observersOrphan();
      }
   }

   /// An object that comes to a read-only proxy becomes a proxy, with all below it; an object that
   /// leaves a proxy ceases to be one.
   void parentPublisherIs( Publisher* );
   /// Sets the state of this object and of everything that it owns.
   void readOnlyProxyIs( bool );
   /// Calls \p visit( child, context ) for each publisher whose parent this is.
   virtual void visitOwned( void ( *visit )( Publisher&, void* ), void* context );

private:
   friend class Subscription;
   // Beside these bits, the word holds a pointer to the only observer or to the list of several. In
   // the case that is to be fast, a single observer and none in the subtrees above, no bit but the
   // first is set.
   using Word = std::uintptr_t;
   static constexpr Word proxyBit = 1;
   static constexpr Word watchedBit = 2; // an observer of a subtree it is in observes it, or did
   static constexpr Word listBit = 4;    // without a pointer: had an observer, has none now
   static constexpr Word removedBit = 8; // some observer is to be swept out
   static constexpr Word pointerBits = ~Word{ proxyBit | watchedBit | listBit | removedBit };

   bool watched() const { return ( word_ & watchedBit ) != 0; }
   void watchedIs();

   Internal::Observer* single() const;
   Internal::ObserverList* list() const;
   std::size_t entries() const;
   Internal::Observer* entry( std::size_t ) const;
   void add( Internal::Observer& );
   void remove( Internal::Observer& );
   void entryErase( Internal::Observer const& );
   void emptyIs();
   void sweep();
   void observersOrphan();

   /// Ends a delivery when an observer has thrown. It is disarmed on success rather than given a
   /// condition to test, so that its members stay in registers.
   struct FailureGuard {
      ~FailureGuard() {
         if ( delivering ) {
            delivering->deliveryEnd( 0 );
         }
      }
      Publisher* delivering;
   };
   /// A delivery by this publisher alone, while it has no other delivery under way.
   template<class Tell>
   void deliverOutermost( Tell tell ) {
      Word const before = word_;
      FailureGuard guard{ this };
      useBeginOutermost();
      tell();
      guard.delivering = nullptr;
      if ( word_ == before && references() != 0 ) [[likely]] {
         useEndStaying();
      } else {
         deliveryEnd( 0 );
      }
   }
   /// Delivery to a single observer; inlined into mutators.
   void deliverToOne( Change const& change ) {
      auto& only = *reinterpret_cast<Internal::Observer*>( word_ & pointerBits );
      deliverOutermost( [&] { only.call( only, change ); } );
   }
   /// Delivery in all other cases. Not inlined into each mutator, and not in the library either,
   /// since calls from there to observers in another module take longer.
   [[gnu::noinline]] void deliverToSeveral( Change const& change ) {
      if ( ( word_ & ~( pointerBits | proxyBit ) ) != listBit || ( word_ & pointerBits ) == 0 ||
           inUse() ) {
         deliverToAll( change );
         return;
      }
      // No subtree observer is among them: it would have set the watched bit.
      auto const& several = *reinterpret_cast<Internal::ObserverList*>( word_ & pointerBits );
      deliverOutermost( [&] {
         several.tell<true>( change, several.observers.size(), { Scope::object, Scope::object } );
      } );
   }
   struct Delivery;
   struct Level;
   bool watchesSubtree() const;
   void deliverToAll( Change const& );
   static void deliverUpwards( Change const&, Level& source, Level& last );
   void deliveryEnd( std::uint32_t outer );

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
   requires std::invocable<F&, Change const&>
Subscription Publisher::subscribe( F&& f, Scope scope ) {
   using Observer = Internal::FunctionObserver<std::decay_t<F>>;
   return { *this, scope, std::make_unique<Observer>( std::forward<F>( f ) ) };
}

} // namespace Varek
