#include <algorithm>
#include <utility>

#include "framework/AttrLog.h"
#include "mirror/Follower.h"
#include "mirror/Text.h"

namespace Mirror {

using Qel::NboAttrLog::In;

namespace {

/// Whether the constructor parameters that come next are those of \p held.
bool sameParameters( Qel::TypeRecord const& type, Qel::Entity const& held, In in ) {
   return sameConstructorParams( type, held, in );
}

} // namespace

void Follower::rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root ) {
   Root& held = roots_[name];
   VAREK_ASSERT( !held.announced );
   held = { std::move( root ), 0, true, false, false };
}

Varek::Ptr<Qel::Entity> Follower::root( Varek::String const& name ) const {
   auto const at = roots_.find( name );
   return at == roots_.end() ? nullptr : at->second.entity;
}

std::vector<Varek::String> Follower::roots() const {
   std::vector<Varek::String> names;
   for ( auto const& [name, root] : roots_ )
      names.push_back( name );
   return names;
}

void Follower::rootFrame( Frame const& one ) {
   In in( one.payload, one.offset );
   in.contextIs( "root", one.head.field );
   std::uint32_t const handle = in.get32();
   if ( handle == 0 || find( handle ) ) [[unlikely]]
      in.fail( "a new root cannot have handle " + std::to_string( handle ) );
   bool isKnown = false;
   Qel::TypeRecord const* const type = typeNumbered( in, isKnown );
   auto const name = getText( in );
   if ( !isKnown )
      return knownIs( handle, nullptr, nullptr, nullptr );
   in.contextIs( type->name, one.head.field );
   auto const at = roots_.find( name );
   bool const kept = at != roots_.end() && &Qel::typeRecord( *at->second.entity ) == type &&
                     sameParameters( *type, *at->second.entity, in );
   Varek::Ptr<Qel::Entity> const entity =
      kept ? at->second.entity : newEntityForAttrLog( *type, in );
   if ( !kept && at != roots_.end() ) {
      at->second.given = false;
      rootDrop( name );
   }
   Root& root = roots_[name];
   root.entity = entity;
   root.handle = handle;
   root.announced = true;
   knownIs( handle, nullptr, type, entity.get() );
   if ( !std::exchange( root.told, true ) && onRoot )
      onRoot( name, *entity );
}

void Follower::rootDrop( Varek::String const& name ) {
   auto const at = roots_.find( name );
   Root& root = at->second;
   Varek::Ptr<Qel::Entity> const gone = root.entity;
   bool const told = std::exchange( root.told, false );
   root.announced = false;
   entityRemoved( *gone );
   if ( !root.given )
      roots_.erase( at );
   if ( told && onRootGone )
      onRootGone( name, *gone );
}

void Follower::rootGone( std::uint32_t handle ) {
   auto const at = std::ranges::find_if( roots_, [&]( auto const& one ) {
      return one.second.announced && one.second.handle == handle;
   } );
   if ( at != roots_.end() )
      rootDrop( Varek::String( at->first ) );
   else if ( find( handle ) )
      forget( handle );
   else
      endpoint_->refuse( "no root with handle " + std::to_string( handle ) +
                         " has been announced" );
}

void Follower::syncedFrame() {
   for ( Varek::String const& name : roots() )
      if ( Root const& root = roots_[name]; !root.announced && root.told )
         rootDrop( name );
   synced_ = true;
   if ( onSynced )
      onSynced();
}

} // namespace Mirror
