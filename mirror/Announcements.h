#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Qel/Entity.h"
#include "Varek/Export.h"
#include "framework/records/Records.h"
#include "framework/wire/Contents.h"
#include "mirror/Connections.h"
#include "mirror/Description.h"
#include "mirror/EntityTable.h"
#include "mirror/OutQueue.h"

/// The entities that a leader has announced, and to whom. An entity has an entry only while some
/// connection knows it, so entities that nobody follows cost nothing. Handles count up and are
/// never used twice, so a message cannot reach the wrong entity.
namespace Mirror {

/// A leader's facts about a type.
struct TypeNumber {
   Qel::TypeRecord const* record;
   std::uint16_t number; ///< The number on the wire: the position in the leader's description.
   /// Whether an attribute holds child entities, by position.
   std::uint64_t holdsChildren = 0;
   /// Attributes that are told even at their default, since a follower has another; as bits
   /// (framework/wire/Contents.h).
   std::uint64_t always = 0;

   /// Quick, since most changes are of attributes without children.
   bool mayHoldChild( Varek::FieldId id ) const {
      unsigned const at = unsigned{ id.value() } - Varek::firstEntityFieldId.value();
      return at >= 64 ? holdsChildren != 0 : ( holdsChildren >> at & 1 ) != 0;
   }
};

/// An entry keeps its entity alive, so that no other entity gets the same address meanwhile.
struct Announced : EntityRecord {
   Announced() = default;
   Announced( Qel::Entity& announced, std::uint32_t number, TypeNumber const* itsType )
      : EntityRecord( Varek::Ptr<Qel::Entity>( &announced ), number ), type( itsType ) {}

   TypeNumber const* type = nullptr;
   Connections to = 0;
};

/// The place of a child in its parent; all zero for a root.
struct Parent {
   std::uint32_t handle = 0;
   Varek::FieldId field;
   Qel::Entity const* entity = nullptr;
};

class VAREK_EXPORT Announcements : private Qel::ContentsOut::Names {
public:
   /// \p contentsLimit: how many bytes of what an entity holds are told in one frame.
   explicit Announcements( std::size_t contentsLimit );
   ~Announcements();

   Announced* find( Qel::Entity const& entity ) { return table_.find( entity ); }
   /// \p parent is null for a root. Returns null, and sets needsRestart(), if no handle or type
   /// number is left.
   Announced* findOrNew( Qel::Entity&, Qel::Entity const* parent );
   /// Removes the entries of \p entity and of everything below it, and calls \p f with each.
   /// Allocates nothing.
   template<class F>
   void forget( Qel::Entity const& entity, F f ) {
      if ( std::uint32_t const place = table_.placeOf( entity ) ) {
         table_.takeTree( place, f );
      }
   }
   /// Writes the frame that announces \p child, as the root named \p rootName if that is not null,
   /// with what it holds, and notes for everything below it that is told so that \p to know it. The
   /// result are the attributes that have to follow in frames of their own, as bits; nothing if the
   /// frame cannot go out.
   std::optional<std::uint64_t> announce( ChunkOut&, Parent const&, Announced const& child,
                                          Varek::String const* rootName, Connections to );
   /// The other defaults of a follower.
   void otherDefaultsAre( std::vector<Description::Attributes> const& );
   void connectionGone( Connections bit ) noexcept;
   /// Whether all connections must end, since numbers have run out or they do not know a new type.
   bool needsRestart() const { return needsRestart_; }
   /// To be called when all connections have ended. If it throws, needsRestart() stays true.
   void restart();
   /// Reads the modules that are registered now; only while there are no connections.
   void describe();

   Description const& description() const { return description_; }
   std::uint32_t size() const { return table_.size(); }
   void nextHandleIs( std::uint32_t handle ) { nextHandle_ = handle; }

private:
   Name newName( std::uint32_t parent, Qel::Entity& child, Qel::TypeRecord const& ) override;
   std::uint64_t always( Qel::TypeRecord const& type ) const override {
      return anyAlways_ ? typeNumber( type )->always : 0;
   }
   Announced* newEntry( Qel::Entity&, Qel::TypeRecord const&, std::uint32_t parentPlace );
   TypeNumber const* typeNumber( Qel::TypeRecord const& ) const;

   EntityTable<Announced> table_;
   std::uint32_t nextHandle_ = 1; // 0: no handle is left
   bool needsRestart_ = false;
   bool anyAlways_ = false;
   std::size_t const contentsLimit_;
   Qel::ContentsOut contents_;
   Connections tellingTo_ = 0;
   Description description_;
   std::unordered_map<Qel::TypeRecord const*, TypeNumber> types_;
   /// A cache of recently used types, by a few bits of their addresses.
   mutable std::array<TypeNumber const*, 16> recent_{};
};

} // namespace Mirror
