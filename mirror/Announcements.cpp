#include "mirror/Announcements.h"

#include <utility>

#include "framework/wire/AttrLog.h"
#include "mirror/Text.h"

namespace Mirror {

using Qel::NboAttrLog::FrameKind;

Announcements::Announcements( std::size_t contentsLimit ) : contentsLimit_( contentsLimit ) {
   describe();
}
Announcements::~Announcements() = default;

void Announcements::describe() {
   table_.clear(); // its entries refer to the types
   description_ = Description::ofThisProcess();
   types_.clear();
   recent_ = {};
   anyAlways_ = false;
   std::uint16_t number = 0;
   for ( Qel::TypeRecord const* const record : description_.records() ) {
      TypeNumber type{ record, number++ };
      for ( Qel::AttributeRecord const& attribute : record->attributes ) {
         if ( attribute.childType ) {
            type.holdsChildren |= std::uint64_t{ 1 }
                                  << ( attribute.id.value() - Varek::firstEntityFieldId.value() ) %
                                        64;
         }
      }
      types_.emplace( record, type );
   }
   needsRestart_ = false;
}

TypeNumber const* Announcements::typeNumber( Qel::TypeRecord const& record ) const {
   auto const address = reinterpret_cast<std::uintptr_t>( &record );
   TypeNumber const*& recent = recent_[address / alignof( Qel::TypeRecord ) % recent_.size()];
   if ( recent && recent->record == &record ) [[likely]] {
      return recent;
   }
   auto const at = types_.find( &record );
   return recent = at == types_.end() ? nullptr : &at->second;
}

Announced* Announcements::findOrNew( Qel::Entity& entity, Qel::Entity const* parent ) {
   Announced* const known = find( entity );
   return known ? known
                : newEntry( entity, Qel::typeRecord( entity ),
                            parent ? table_.placeOf( *parent ) : 0 );
}

Announced* Announcements::newEntry( Qel::Entity& entity, Qel::TypeRecord const& record,
                                    std::uint32_t parent ) {
   TypeNumber const* const type = typeNumber( record );
   if ( !type || nextHandle_ == 0 ) {
      needsRestart_ = true;
      return nullptr;
   }
   return &table_.at( table_.newMember( Announced( entity, nextHandle_++, type ), parent ) );
}

void Announcements::connectionGone( Connections bit ) noexcept {
   // If no follower knows an entity any more, no follower knows anything below it.
   table_.takeIf( [bit]( Announced& one ) { return ( one.to &= ~bit ) == 0; } );
}

void Announcements::restart() {
   needsRestart_ = true;
   table_.clear();
   nextHandle_ = 1;
   describe();
}

void Announcements::otherDefaultsAre( std::vector<Description::Attributes> const& all ) {
   for ( Description::Attributes const& one : all ) {
      if ( auto const at = types_.find( one.type ); at != types_.end() ) {
         at->second.always |= one.bits;
         anyAlways_ = true;
      }
   }
}

Qel::ContentsOut::Names::Name Announcements::newName( std::uint32_t parent, Qel::Entity& child,
                                                      Qel::TypeRecord const& type ) {
   Announced const* known = find( child );
   if ( known && ( known->to & tellingTo_ ) != 0 ) {
      return { 0, 0 };
   }
   known = known ? known : newEntry( child, type, parent );
   return known ? Name{ known->handle, table_.placeOf( child ) } : Name{ 0, 0 };
}

std::optional<std::uint64_t> Announcements::announce( ChunkOut& out, Parent const& parent,
                                                      Announced const& child,
                                                      Varek::String const* rootName,
                                                      Connections to ) {
   Qel::TypeRecord const& type = *child.type->record;
   tellingTo_ = to;
   // Taken, since the end of a connection may run others' code, which announces something else.
   Qel::ContentsOut contents = std::move( contents_ );
   contents.entityIs( *child.entity, type, table_.placeOf( *child.entity ), *this, contentsLimit_ );
   std::size_t const size =
      6 + ( rootName ? textSize( *rootName ) : 0 ) +
      attrLogSizeCtorParams( Qel::NboAttrLog::currentVersion, type, *child.entity ) +
      contents.size();
   // Noted first, so that the entries stay when a connection ends meanwhile.
   contents.forEachBelow( [&]( std::uint32_t one ) { table_.at( one ).to |= to; } );
   if ( !out.outSmReserveMessage( rootName ? FrameKind::root : FrameKind::announce, parent.handle,
                                  parent.field, size ) ) {
      contents.forEachBelow( [&]( std::uint32_t one ) { table_.at( one ).to &= ~to; } );
      return std::nullopt;
   }
   out.put32( child.handle );
   out.put16( child.type->number );
   if ( rootName ) {
      putText( out, *rootName );
   }
   serializeConstructorParams( out, type, *child.entity );
   out.outSmCommitMessage( contents.put( out.cursor() ) );
   std::uint64_t const later = contents.later();
   contents_ = std::move( contents );
   return later;
}

} // namespace Mirror
