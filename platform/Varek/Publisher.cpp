#include "Varek/Publisher.h"

#include <algorithm>
#include <exception>
#include <vector>

namespace Varek {

namespace {

thread_local std::uint64_t exceptions = 0;

} // namespace

std::uint64_t observerExceptions() noexcept { return exceptions; }

namespace Internal {

void observerThrew() noexcept { ++exceptions; }

Observer::~Observer() = default;

void ObserverList::tellRest( Change const& change, std::size_t next, std::size_t count,
                             Scopes scopes ) const noexcept {
   while ( next < count ) {
      Observer* const observer = observers[next++];
      try {
         if ( scopes.contain( observer->scope ) ) {
            observer->call( *observer, change );
         }
      } catch ( ... ) {
      }
   }
}

} // namespace Internal

using Internal::Observer;
using Internal::ObserverList;
using Internal::Scopes;

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
   if ( list() ) {
      return list()->subtreeObservers > 0;
   }
   return single() && single()->publisher && single()->scope >= Scope::subtree;
}

std::size_t Publisher::observerCount() const {
   std::size_t count = 0;
   for ( std::size_t i = 0; i < entries(); ++i ) {
      count += entry( i )->publisher != nullptr;
   }
   return count;
}

void Publisher::add( Observer& observer ) {
   if ( list() ) {
      list()->observers.push_back( &observer );
   } else if ( single() ) {
      auto several = std::make_unique<ObserverList>();
      several->observers = { single(), &observer };
      several->subtreeObservers = watchesSubtree();
      several->firstObservers = watchesSubtree() && single()->scope == Scope::subtreeFirst;
      word_ = ( word_ & ~pointerBits ) | listBit | reinterpret_cast<Word>( several.release() );
   } else {
      word_ = ( word_ & ~listBit ) | reinterpret_cast<Word>( &observer );
   }
   observer.publisher = this;
   if ( observer.scope >= Scope::subtree ) {
      if ( list() ) {
         ++list()->subtreeObservers;
         list()->firstObservers += observer.scope == Scope::subtreeFirst;
      }
      watchedIs();
   }
}

void Publisher::remove( Observer& observer ) {
   observer.publisher = nullptr;
   if ( list() && observer.scope >= Scope::subtree ) {
      --list()->subtreeObservers;
      list()->firstObservers -= observer.scope == Scope::subtreeFirst;
   }
   if ( inUse() ) {
      observer.call = []( Observer&, Change const& ) {};
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
      if ( !all.empty() ) {
         return;
      }
      delete several;
   }
   emptyIs();
}

void Publisher::emptyIs() { word_ = ( word_ & ( proxyBit | watchedBit | removedBit ) ) | listBit; }

// All are taken out before the first is destroyed, since its destructor may call this again.
void Publisher::sweep() {
   while ( ( word_ & removedBit ) != 0 ) {
      word_ &= ~removedBit;
      Observer* gone = nullptr;
      Observer** end = &gone;
      auto const takeOut = [&]( Observer* observer ) {
         if ( observer->publisher ) {
            return false;
         }
         *end = observer;
         end = &observer->nextGone;
         return true;
      };
      if ( ObserverList* const several = list() ) {
         std::erase_if( several->observers, takeOut );
         if ( several->observers.empty() ) {
            delete several;
            emptyIs();
         }
      } else if ( single() && takeOut( single() ) ) {
         emptyIs();
      }
      while ( gone ) {
         delete std::exchange( gone, gone->nextGone );
      }
   }
}

void Publisher::observersOrphan() {
   for ( std::size_t i = 0; i < entries(); ++i ) {
      entry( i )->publisher = nullptr;
   }
   delete list();
}

// The tree

void Publisher::visitOwned( void ( * )( Publisher&, void* ), void* ) {}

void Publisher::parentPublisherIs( Publisher* parent ) {
   // A proxy whose parent is no proxy is the root of a mirror: it stays a proxy when it is removed.
   bool const leavesProxy = !parent && parent_ && parent_->readOnlyProxy();
   parent_ = parent;
   if ( parent && parent->watched() ) {
      watchedIs();
   }
   if ( leavesProxy || ( parent && parent->readOnlyProxy() ) ) {
      readOnlyProxyIs( !leavesProxy );
   }
}

// A proxy owns only proxies, so the walk stops at each publisher that has the right state already.
void Publisher::readOnlyProxyIs( bool proxy ) {
   if ( readOnlyProxy() == proxy ) {
      return;
   }
   word_ ^= proxyBit;
   visitOwned(
      []( Publisher& child, void* of ) {
         child.readOnlyProxyIs( static_cast<Publisher*>( of )->readOnlyProxy() );
      },
      this );
}

// A watched publisher owns only watched ones, so the walk stops at each that is watched already.
void Publisher::watchedIs() {
   if ( watched() ) {
      return;
   }
   word_ |= watchedBit;
   visitOwned( []( Publisher& child, void* ) { child.watchedIs(); }, nullptr );
}

// Delivery

void Publisher::deliveryEnd( std::uint32_t outer ) {
   if ( outer == 0 && ( word_ & removedBit ) != 0 ) {
      sweep();
   }
   useEnd( outer );
}

/// A delivery by a publisher that is under way. It keeps the publisher alive and its observers
/// where they are, and knows the observers that were there when it began.
struct Publisher::Delivery {
   explicit Delivery( Publisher& p )
      : publisher( p ), outer( p.useBegin() ), only( p.single() ), several( p.list() ),
        count( several ? several->observers.size() : 0 ) {}
   ~Delivery() { publisher.deliveryEnd( outer ); }
   Delivery( Delivery const& ) = delete;
   Delivery& operator=( Delivery const& ) = delete;

   void tell( Change const& change, Scopes scopes ) const {
      if ( only && scopes.contain( only->scope ) ) {
         only->call( *only, change );
      }
      if ( several ) {
         several->tell( change, count, scopes );
      }
   }
   bool tellsFirst() const {
      return several ? several->firstObservers != 0 : only && only->scope == Scope::subtreeFirst;
   }

   Publisher& publisher;
   std::uint32_t const outer;
   Observer* const only;
   ObserverList const* const several;
   std::size_t const count;
};

/// The changed publisher, or a publisher above it that has subtree observers. Each level is in a
/// stack frame of deliverUpwards, so that nothing has to be allocated between a change and its
/// delivery.
struct Publisher::Level {
   explicit Level( Publisher& publisher ) : delivery( publisher ) {}
   Delivery delivery;
   Level* above = nullptr;
   bool first = false; // on the source's level: whether some observer is to be told first
};

// All levels are found before the first observer is called, since it may take the tree apart.
void Publisher::deliverUpwards( Change const& change, Level& source, Level& last ) {
   Publisher* above = last.delivery.publisher.parent_;
   while ( above && !above->watchesSubtree() ) {
      above = above->parent_;
   }
   if ( above ) {
      Level level( *above );
      last.above = &level;
      source.first |= level.delivery.tellsFirst();
      deliverUpwards( change, source, level );
      return;
   }
   std::exception_ptr failure;
   auto const tellAll = [&]( Scopes ofSource, Scopes ofOthers ) {
      for ( Level* level = &source; level; level = level->above ) {
         try {
            level->delivery.tell( change, level == &source ? ofSource : ofOthers );
         } catch ( ... ) {
            if ( !failure ) {
               failure = std::current_exception();
            }
         }
      }
   };
   if ( source.first ) {
      constexpr Scopes first{ Scope::subtreeFirst, Scope::subtreeFirst };
      tellAll( first, first );
   }
   tellAll( { Scope::object, Scope::subtree }, { Scope::subtree, Scope::subtree } );
   if ( failure ) {
      std::rethrow_exception( failure );
   }
}

void Publisher::deliverToAll( Change const& change ) {
   if ( watched() ) {
      Level source( *this );
      source.first = source.delivery.tellsFirst();
      deliverUpwards( change, source, source );
   } else if ( ( word_ & pointerBits ) != 0 ) {
      Delivery const delivery( *this );
      delivery.tell( change, { Scope::object, Scope::subtreeFirst } );
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
   if ( !observer ) {
      return;
   }
   if ( observer->publisher ) {
      observer->publisher->remove( *observer );
   } else {
      delete observer;
   }
}

} // namespace Varek
