#include "mirror/Announcements.h"

#include <unordered_set>
#include <utility>

#include "framework/AttrLog.h"
#include "mirror/Text.h"

namespace Mirror {

using Qel::NboAttrLog::FrameKind;

Announcements::Announcements() { describe(); }
Announcements::~Announcements() = default;

void Announcements::describe() {
   description_ = Description::ofThisProcess();
   types_.clear();
   recent_ = {};
   std::uint16_t number = 0;
   for ( Qel::TypeRecord const* const record : description_.records() ) {
      TypeNumber type{ record, number++, 0 };
      for ( Qel::AttributeRecord const& attribute : record->attributes )
         if ( attribute.childType )
            type.holdsChildren |= std::uint64_t{ 1 }
                                  << ( attribute.id.value() - Varek::firstEntityFieldId.value() ) %
                                        64;
      types_.emplace( record, type );
   }
}

namespace {

void addChildren( Announced const& one, std::vector<Qel::Entity*>& to ) {
   forEachChild(
      *one.type->record, *one.entity,
      []( Qel::Entity& child, void* all ) {
         static_cast<std::vector<Qel::Entity*>*>( all )->push_back( &child );
      },
      &to );
}

} // namespace

TypeNumber const* Announcements::typeNumber( Qel::TypeRecord const& record ) const {
   auto const address = reinterpret_cast<std::uintptr_t>( &record );
   TypeNumber const*& recent = recent_[address / alignof( Qel::TypeRecord ) % recent_.size()];
   if ( recent && recent->record == &record ) [[likely]]
      return recent;
   auto const at = types_.find( &record );
   return recent = at == types_.end() ? nullptr : &at->second;
}

Announced* Announcements::findOrNew( Qel::Entity& entity, Qel::Entity const* parent ) {
   if ( Announced* const known = find( entity ) )
      return known;
   TypeNumber const* const type = typeNumber( Qel::typeRecord( entity ) );
   if ( !type || nextHandle_ == 0 ) {
      needsRestart_ = true;
      return nullptr;
   }
   Announced made{ Varek::Ptr<Qel::Entity>( &entity ), type };
   made.handle = nextHandle_++;
   if ( Announced* const above = parent ? find( *parent ) : nullptr ) {
      made.parent = above->handle;
      ++above->children;
   }
   return &table_.at( table_.newMember( std::move( made ) ) );
}

std::vector<Announced> Announcements::take( Qel::Entity& entity, Qel::Entity const* parent ) {
   std::vector<Announced> taken;
   if ( !find( entity ) )
      return taken;
   if ( Announced* const above = parent ? find( *parent ) : nullptr )
      --above->children;
   // Not by recursion: how deep a tree is, is its owner's affair.
   std::vector<Qel::Entity*> left{ &entity };
   std::size_t below = 0;
   while ( !left.empty() ) {
      Qel::Entity& one = *left.back();
      left.pop_back();
      Announced known = table_.take( one );
      // What is below an entity is made known after it, so there is nothing further.
      if ( known.handle == 0 )
         continue;
      below += known.children;
      addChildren( known, left );
      taken.push_back( std::move( known ) );
   }
   if ( below + 1 != taken.size() ) [[unlikely]]
      takeDetached( taken );
   return taken;
}

/// Observers that were told of the removal first may have taken the tree apart: what is no longer
/// below the others is found by its parent.
void Announcements::takeDetached( std::vector<Announced>& taken ) {
   std::unordered_set<std::uint32_t> gone;
   for ( Announced const& one : taken )
      gone.insert( one.handle );
   for ( bool more = true; more; ) {
      std::vector<Qel::Entity*> found;
      table_.forEach( [&]( Announced const& one ) {
         if ( gone.contains( one.parent ) )
            found.push_back( one.entity.get() );
      } );
      more = !found.empty();
      for ( Qel::Entity* const entity : found ) {
         taken.push_back( table_.take( *entity ) );
         gone.insert( taken.back().handle );
      }
   }
}

std::vector<std::uint32_t> Announcements::unsay( Qel::Entity& entity, Connections connections ) {
   std::vector<std::uint32_t> unsaid;
   std::vector<Qel::Entity*> left;
   addChildren( *find( entity ), left );
   while ( !left.empty() ) {
      Qel::Entity const& one = *left.back();
      left.pop_back();
      Announced* const known = find( one );
      if ( !known || ( known->to & connections ) == 0 )
         continue;
      known->to &= ~connections;
      unsaid.push_back( known->handle );
      addChildren( *known, left );
   }
   return unsaid;
}

void Announcements::connectionGone( Connections bit ) {
   std::vector<Qel::Entity*> unknown;
   table_.forEach( [&]( Announced& one ) {
      if ( ( one.to &= ~bit ) == 0 )
         unknown.push_back( one.entity.get() );
   } );
   if ( unknown.size() == table_.size() )
      table_.clear();
   else
      // What is below one of these was known to no more connections, and goes too.
      for ( Qel::Entity* const entity : unknown ) {
         Announced const known = table_.take( *entity );
         if ( Announced* const above = entity->parent() ? find( *entity->parent() ) : nullptr )
            --above->children;
      }
}

void Announcements::restart() {
   needsRestart_ = false;
   table_.clear();
   nextHandle_ = 1;
   describe();
}

bool writeAnnouncement( ChunkOut& out, Parent const& parent, Announced const& child,
                        Varek::String const* rootName ) {
   Qel::TypeRecord const& type = *child.type->record;
   std::size_t const size =
      6 + ( rootName ? textSize( *rootName ) : 0 ) +
      attrLogSizeCtorParams( Qel::NboAttrLog::currentVersion, type, *child.entity );
   if ( !out.outSmReserveMessage( rootName ? FrameKind::root : FrameKind::announce, parent.handle,
                                  parent.field, size ) )
      return false;
   out.put32( child.handle );
   out.put16( child.type->number );
   if ( rootName )
      putText( out, *rootName );
   serializeConstructorParams( out, type, *child.entity );
   out.outSmCommitMessage();
   return true;
}

} // namespace Mirror
