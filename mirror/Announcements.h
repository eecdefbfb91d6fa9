#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Qel/Entity.h"
#include "Varek/Export.h"
#include "framework/Records.h"
#include "mirror/Description.h"
#include "mirror/EntityTable.h"
#include "mirror/OutQueue.h"

/// Which entities a leader has made known to whom. There is an entry for an entity only while it is
/// known to some connection, so entities that nobody follows cost nothing. Handles count up and are
/// never used twice, so a message cannot reach another entity than was meant.
namespace Mirror {

/// A set of connections; each has one bit. Bounds the followers of a leader.
using Connections = std::uint64_t;
inline constexpr unsigned maxConnections = 64;

/// Calls \p f with the number of each bit.
template<class F>
void forEachBit( Connections set, F f ) {
   for ( ; set != 0; set &= set - 1 ) {
      f( static_cast<unsigned>( std::countr_zero( set ) ) );
   }
}

/// What a leader needs to know of a type.
struct TypeNumber {
   Qel::TypeRecord const* record;
   std::uint16_t number; ///< On the wire: the position in the leader's description.
   /// Attributes that hold child entities, by position.
   std::uint64_t holdsChildren = 0;

   /// Quick: most changes are of attributes that hold none.
   bool mayHoldChild( Varek::FieldId id ) const {
      unsigned const at = unsigned{ id.value() } - Varek::firstEntityFieldId.value();
      return at >= 64 ? holdsChildren != 0 : ( holdsChildren >> at & 1 ) != 0;
   }
};

/// The entity is held, so that its address means nothing else while there is an entry.
struct Announced : EntityRecord {
   Announced() = default;
   Announced( Qel::Entity& announced, std::uint32_t number, TypeNumber const* itsType )
      : EntityRecord( Varek::Ptr<Qel::Entity>( &announced ), number ), type( itsType ) {}

   TypeNumber const* type = nullptr;
   Connections to = 0;
};

class VAREK_EXPORT Announcements {
public:
   Announcements();
   ~Announcements();

   Announced* find( Qel::Entity const& entity ) { return table_.find( entity ); }
   /// \p parent is null for a root. Null when there is no handle or no type number left for it:
   /// then needsRestart().
   Announced* findOrNew( Qel::Entity&, Qel::Entity const* parent );
   /// The entries of \p entity and of all below it end; \p f is called with each. Allocates
   /// nothing.
   template<class F>
   void forget( Qel::Entity const& entity, F f ) {
      if ( std::uint32_t const place = table_.placeOf( entity ) ) {
         table_.takeTree( place, f );
      }
   }
   void connectionGone( Connections bit ) noexcept;
   /// Whether all connections have to end, since numbers have run out or a type has come that they
   /// were not told of.
   bool needsRestart() const { return needsRestart_; }
   /// Once they have. If it throws, the need stays.
   void restart();
   /// Takes in what modules there are now; only while there are no connections.
   void describe();

   Description const& description() const { return description_; }
   std::uint32_t size() const { return table_.size(); }
   void nextHandleIs( std::uint32_t handle ) { nextHandle_ = handle; }

private:
   TypeNumber const* typeNumber( Qel::TypeRecord const& ) const;

   EntityTable<Announced> table_;
   std::uint32_t nextHandle_ = 1; // 0: none left
   bool needsRestart_ = false;
   Description description_;
   std::unordered_map<Qel::TypeRecord const*, TypeNumber> types_;
   /// Of the types that were asked for of late, by a few bits of their addresses.
   mutable std::array<TypeNumber const*, 16> recent_{};
};

/// Where a child is; all zero for a root.
struct Parent {
   std::uint32_t handle = 0;
   Varek::FieldId field;
   Qel::Entity const* entity = nullptr;
};

/// Writes the frame that makes \p child known, as the root named \p rootName if that is not null.
/// False if it cannot go out.
bool writeAnnouncement( ChunkOut&, Parent const&, Announced const& child,
                        Varek::String const* rootName );

} // namespace Mirror
