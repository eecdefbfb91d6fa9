#include "Varek/Publisher.h"

#include <algorithm>
#include <array>
#include <exception>
#include <vector>

namespace Varek {

namespace Internal {

Observer::~Observer() = default;

/// The observers of a publisher that has had several, in the order in which they came. Nothing is
/// taken out while a delivery is under way, so that positions hold.
struct alignas( 16 ) ObserverList {
   std::vector<Observer*> observers;
   std::uint32_t subtreeObservers = 0;
};

} // namespace Internal

using Internal::Observer;
using Internal::ObserverList;

// How the observers are held

inline Observer* Publisher::single() const {
   return ( word_ & listBit ) != 0 ? nullptr : reinterpret_cast<Observer*>( word_ & pointerBits );
}

inline ObserverList* Publisher::list() const {
   return ( word_ & listBit ) == 0 ? nullptr
                                   : reinterpret_cast<ObserverList*>( word_ & pointerBits );
}

inline std::size_t Publisher::entries() const {
   return list() ? list()->observers.size() : single() != nullptr;
}

inline Observer* Publisher::entry( std::size_t i ) const {
   return list() ? list()->observers[i] : single();
}

bool Publisher::watchesSubtree() const {
   if ( list() )
      return list()->subtreeObservers > 0;
   return single() && single()->publisher && single()->scope == Scope::subtree;
}

std::size_t Publisher::observerCount() const {
   std::size_t count = 0;
   for ( std::size_t i = 0; i < entries(); ++i )
      count += entry( i )->publisher != nullptr;
   return count;
}

void Publisher::add( Observer& observer ) {
   if ( list() ) {
      list()->observers.push_back( &observer );
   } else if ( single() ) {
      auto several = std::make_unique<ObserverList>();
      several->observers = { single(), &observer };
      several->subtreeObservers = watchesSubtree();
      word_ = ( word_ & ~pointerBits ) | listBit | reinterpret_cast<Word>( several.release() );
   } else {
      word_ |= reinterpret_cast<Word>( &observer );
   }
   word_ |= observedBit;
   observer.publisher = this;
   if ( observer.scope == Scope::subtree ) {
      if ( list() )
         ++list()->subtreeObservers;
      watchedIs();
   }
}

void Publisher::remove( Observer& observer ) {
   observer.publisher = nullptr;
   if ( list() && observer.scope == Scope::subtree )
      --list()->subtreeObservers;
   if ( inUse() ) {
      word_ |= removedBit;
      return;
   }
   entryErase( observer );
   delete &observer;
}

void Publisher::entryErase( Observer const& observer ) {
   if ( ObserverList* const several = list() ) {
      auto& all = several->observers;
      all.erase( std::find( all.begin(), all.end(), &observer ) );
      if ( !all.empty() )
         return;
      delete several;
   }
   word_ &= observedBit | watchedBit | removedBit;
}

// One by one, since the end of an observer may run code that comes back here.
void Publisher::sweep() {
   for ( std::size_t i = 0; i < entries(); ) {
      Observer* const observer = entry( i );
      if ( observer->publisher ) {
         ++i;
         continue;
      }
      entryErase( *observer );
      delete observer;
      i = 0;
   }
   word_ &= ~removedBit;
}

void Publisher::observersOrphan() {
   for ( std::size_t i = 0; i < entries(); ++i )
      entry( i )->publisher = nullptr;
   delete list();
}

// The tree

void Publisher::visitOwned( void ( * )( Publisher&, void* ), void* ) {}

void Publisher::parentPublisherIs( Publisher* parent ) {
   parent_ = parent;
   if ( parent && parent->watched() )
      watchedIs();
}

// Invariant: what a watched publisher owns is watched, so the walk stops at the first that is.
void Publisher::watchedIs() {
   if ( watched() )
      return;
   word_ |= observedBit | watchedBit;
   visitOwned( []( Publisher& child, void* ) { child.watchedIs(); }, nullptr );
}

// Delivery

void Publisher::deliveryEnd( std::uint32_t outer ) {
   if ( outer == 0 && ( word_ & removedBit ) != 0 )
      sweep();
   useEnd( outer );
}

/// A delivery by one publisher that is under way: keeps it, and its observers where they are.
struct Publisher::Delivery {
   explicit Delivery( Publisher& p ) : publisher( p ), outer( p.useBegin() ) {}
   ~Delivery() { publisher.deliveryEnd( outer ); }
   Delivery( Delivery const& ) = delete;
   Delivery& operator=( Delivery const& ) = delete;

   Publisher& publisher;
   std::uint32_t const outer;
};

/// The publishers above a changed one that have subtree observers, and how many observers, as they
/// are when the change happens: an observer may take the tree apart while it is told.
class Publisher::Watchers {
public:
   explicit Watchers( Publisher const& source ) {
      for ( Publisher* above = source.parent_; above; above = above->parent_ )
         if ( above->watchesSubtree() )
            all_.push_back( std::make_unique<Watcher>( *above ) );
   }

   struct Watcher {
      explicit Watcher( Publisher& publisher )
         : delivery( publisher ), count( publisher.entries() ) {}
      Delivery delivery;
      std::size_t count;
   };
   auto begin() const { return all_.begin(); }
   auto end() const { return all_.end(); }

private:
   std::vector<std::unique_ptr<Watcher>> all_;
};

// Tells the first count observers: those that came later were not there when the change happened.
// The publisher is in use.
inline void Publisher::deliver( Change const& change, std::size_t count, Scope least ) {
   std::size_t i = 0;
   try {
      for ( ; i < count; ++i ) {
         Observer* const observer = entry( i );
         if ( observer->publisher && observer->scope >= least ) [[likely]]
            observer->call( *observer, change );
      }
   } catch ( ... ) {
      deliverRest( change, i + 1, count, least );
      throw;
   }
}

// After one has thrown: the others are told all the same, and the first exception is the one that
// the caller gets.
void Publisher::deliverRest( Change const& change, std::size_t from, std::size_t count,
                             Scope least ) noexcept {
   for ( std::size_t i = from; i < count; ++i ) {
      Observer* const observer = entry( i );
      if ( !observer->publisher || observer->scope < least )
         continue;
      try {
         observer->call( *observer, change );
      } catch ( ... ) {
      }
   }
}

void Publisher::deliverInSubtrees( Change const& change ) {
   Watchers const watchers( *this );
   std::exception_ptr failure;
   auto const tell = [&]( Publisher& publisher, std::size_t count, Scope least ) {
      try {
         publisher.deliver( change, count, least );
      } catch ( ... ) {
         if ( !failure )
            failure = std::current_exception();
      }
   };
   {
      Delivery const delivery( *this );
      tell( *this, entries(), Scope::object );
      for ( auto const& watcher : watchers )
         tell( watcher->delivery.publisher, watcher->count, Scope::subtree );
   }
   if ( failure )
      std::rethrow_exception( failure );
}

void Publisher::deliverToAll( Change const& change ) {
   if ( watched() ) {
      deliverInSubtrees( change );
   } else if ( list() ) {
      Delivery const delivery( *this );
      deliver( change, entries(), Scope::object );
   }
}

// Subscriptions

Subscription::Subscription( Publisher& publisher, Scope scope,
                            std::unique_ptr<Observer> observer ) {
   observer->scope = scope;
   publisher.add( *observer );
   observer_ = observer.release();
}

void Subscription::reset() {
   Observer* const observer = std::exchange( observer_, nullptr );
   if ( !observer )
      return;
   if ( observer->publisher )
      observer->publisher->remove( *observer );
   else
      delete observer;
}

} // namespace Varek
