#include <algorithm>
#include <utility>

#include "Varek/Failures.h"
#include "framework/wire/AttrLog.h"
#include "mirror/Follower.h"
#include "mirror/Text.h"

namespace Mirror {

using Qel::NboAttrLog::In;

/// An exception from a callback concerns neither the stream nor the rest of a message.
template<class Call, class... Arguments>
void Follower::tell( Call const& call, Arguments&&... arguments ) {
   if ( !call ) {
      return;
   }
   try {
      call( std::forward<Arguments>( arguments )... );
   } catch ( ... ) {
      if ( !observersFault_ ) {
         observersFault_ = std::current_exception();
      }
   }
}

void Follower::rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root ) {
   auto const before = roots_.find( name );
   bool const same = before != roots_.end() && before->second.entity == root;
   if ( root->readOnlyProxy() && !same ) {
      throw Varek::RangeError( "a tree mirrors one other; what is to be the mirror of root \"" +
                               name + "\" is one already, or part of one" );
   }
   Root& held = roots_[name];
   VAREK_ASSERT( !held.announced );
   held.readOnlyProxyIs( false );
   held = { std::move( root ), 0, true, false, false };
   held.readOnlyProxyIs( true );
}

Varek::Ptr<Qel::Entity> Follower::root( Varek::String const& name ) const {
   auto const at = roots_.find( name );
   return at == roots_.end() ? nullptr : at->second.entity;
}

std::vector<Varek::String> Follower::roots() const {
   std::vector<Varek::String> names;
   for ( auto const& [name, root] : roots_ ) {
      names.push_back( name );
   }
   return names;
}

void Follower::rootFrame( Frame const& one ) {
   In in( one.payload, one.offset );
   in.moreFollow();
   in.contextIs( "root", one.head.field );
   std::uint32_t const handle = in.get32();
   if ( handle == 0 || find( handle ) ) [[unlikely]] {
      in.fail( "a new root cannot have handle " + std::to_string( handle ) );
   }
   Qel::TypeRecord const* const type = typeNumbered( in );
   auto const name = getText( in );
   if ( !type ) {
      blind_ = true;
      return announced( handle );
   }
   in.contextIs( type->name, one.head.field );
   bool isNew = false;
   Varek::Ptr<Qel::Entity> const entity = rootFor( name, *type, in, isNew );
   Root& root = roots_[name];
   root.entity = entity;
   root.readOnlyProxyIs( true );
   root.handle = handle;
   root.announced = true;
   knownIs( handle, 0, *type, *entity );
   if ( !std::exchange( root.told, true ) ) {
      tell( onRoot, name, *entity );
   }
   contents( *entity, *type, in, isNew );
}

/// The held root if the next constructor parameters are its own, or else a new root.
Varek::Ptr<Qel::Entity> Follower::rootFor( Varek::String const& name, Qel::TypeRecord const& type,
                                           In& in, bool& isNew ) {
   In after = in;
   auto const fits = [&] {
      Varek::Ptr<Qel::Entity> const held = root( name );
      after = in;
      return held && &Qel::typeRecord( *held ) == &type &&
             sameConstructorParams( type, *held, after );
   };
   // A callback that is told that the root is gone may set another.
   while ( !fits() ) {
      if ( !root( name ) ) {
         isNew = true;
         return newEntityForAttrLog( type, in );
      }
      roots_[name].given = false;
      rootDrop( name );
   }
   in = after;
   return root( name );
}

void Follower::rootDrop( Varek::String const& name ) {
   auto const at = roots_.find( name );
   Root& root = at->second;
   Varek::Ptr<Qel::Entity> const gone = root.entity;
   bool const told = std::exchange( root.told, false );
   root.announced = false;
   root.readOnlyProxyIs( false );
   entityRemoved( *gone );
   if ( !root.given ) {
      roots_.erase( at );
   }
   if ( told ) {
      tell( onRootGone, name, *gone );
   }
}

void Follower::rootGone( std::uint32_t handle ) {
   auto const at = std::ranges::find_if( roots_, [&]( auto const& one ) {
      return one.second.announced && one.second.handle == handle;
   } );
   if ( at != roots_.end() ) {
      rootDrop( Varek::String( at->first ) );
   } else if ( find( handle ) || handle > newest_ ) {
      endpoint_->refuse( "no root with handle " + std::to_string( handle ) +
                         " has been announced" );
   }
}

void Follower::syncedFrame() {
   for ( Varek::String const& name : roots() ) {
      if ( Root const& root = roots_[name]; !root.announced && root.told ) {
         rootDrop( name );
      }
   }
   synced_ = true;
   tell( onSynced );
}

void Follower::consistentFrame( Frame const& one ) {
   In in( one.payload, one.offset );
   in.contextIs( "consistent point", {} );
   std::uint64_t const sequence = in.get64();
   in.expectEnd();
   tell( onConsistent, Point{ endpoint_->generation(), sequence } );
}

} // namespace Mirror
