#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Varek/Export.h"
#include "framework/declare/Attributes.h"
#include "framework/wire/AttrLog.h"
#include "framework/wire/Contents.h"
#include "framework/wire/ValueWire.h"

/// The part of the records that serves the attribute log, and what those who fill it share.
namespace Qel {

struct KeyedLog;
namespace Internal {
struct KeyForm;
}

/// What the log does with one attribute of an entity.
struct AttributeLog {
   /// A text that differs where the bytes mean something else.
   void ( *form )( Varek::String& text );
   /// Applies a value, or an element that is present.
   void ( *apply )( EntityQelNboAttrLogSa const&, NboAttrLog::In& );
   /// Of one value: writes what it is now. False if it cannot go out.
   bool ( *write )( EntityQelNboAttrLogSa const& ) = nullptr;
   /// Of one value: appends the default, as it would be written.
   void ( *defaultAppend )( Varek::String& to ) = nullptr;
   /// Asks for the memory of a value that has a part elsewhere; null for others.
   void ( *ask )( Entity const& ) = nullptr;
   /// Of several elements by key.
   KeyedLog const* keyed = nullptr;
   /// Of a single child: what childIs and childDel do. \p parameter is that of its constructor,
   /// null for a type that has none.
   void ( *childIs )( Entity&, void const* parameter ) = nullptr;
   void ( *childDel )( Entity& ) = nullptr;
   /// Of child entities.
   Entity* ( *oldChild )( void const* oldData ) = nullptr;
};

/// Asks for the memory of \p entity (step 0), and then of what it holds, one step farther away with
/// each call: what a step looks at, those before it have asked for. Nothing depends on it but time.
VAREK_EXPORT void prefetchStep( TypeRecord const&, Entity const& entity, unsigned step );

/// The values of an entity type (what is no collection and no child) in the contents of a new entity.
struct ValuesLog {
   /// The attributes that are at their default need not be said, but for those in \p always; adds the
   /// bits of the others to \p given, and returns their size.
   std::size_t ( *size )( Entity const&, std::uint64_t always, std::uint64_t& given );
   /// Writes those that are given, in id order.
   std::uint8_t* ( *put )( std::uint8_t* to, Entity const&, std::uint64_t given );
   /// The size of one of them, for when all are too much.
   std::size_t ( *sizeOf )( Entity const&, std::uint64_t bit );
};

/// What the log does with the constructor parameter of an entity type.
struct ConstructorLog {
   /// Null for a type that has none.
   Internal::KeyForm const* form = nullptr;
   void const* ( *read )( Entity const& ) = nullptr;
};

/// The form of a value or enumeration type.
struct ValueLog {
   std::size_t ( *size )( void const* value );
   std::uint8_t* ( *put )( std::uint8_t* to, void const* value );
   /// Into a live value, which may be in part changed when it throws.
   void ( *read )( NboAttrLog::In&, void* value );
};

namespace Internal {

template<class Owner>
Owner& ownerOf( EntityQelNboAttrLogSa const& sa ) {
   return static_cast<Owner&>( sa.entity() );
}

/// Frames of attribute \p id of sa's entity: a value or an element, and a key that is gone.
inline bool singletonSerializeCheck( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                     std::size_t size ) {
   return sa.out().outSmReserveMessage( NboAttrLog::FrameKind::attribute, sa.handle(), id, size );
}
inline bool collSerializeCheck( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, bool removed,
                                std::size_t size ) {
   return singletonSerializeCheck( sa, removed ? id.removal() : id, size );
}
/// Child entities are announced, they have no value: what applying one does.
VAREK_EXPORT void childApply( EntityQelNboAttrLogSa const&, NboAttrLog::In& );

/// The begin marker, after word that one before it has no end. False if blocked.
VAREK_EXPORT bool syncBegin( EntityQelNboAttrLogSa const&, NboAttrLog::FlowOut&, unsigned index,
                             std::uint32_t elements );
/// The end marker, and that nothing is left to say of the collection. False if blocked.
VAREK_EXPORT bool syncEnd( EntityQelNboAttrLogSa const&, NboAttrLog::FlowOut&, unsigned index );

/// Tells the receiver of a child, if it is one, that is no longer part of the tree.
VAREK_EXPORT void childRemoved( EntityQelNboAttrLogSa const&, Entity* child );

} // namespace Internal

} // namespace Qel
