#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Varek/Export.h"
#include "framework/AttrLog.h"
#include "framework/Attributes.h"
#include "framework/ValueWire.h"

/// The part of the records that serves the attribute log, and what those who fill it share.
namespace Qel {

/// What the log does with one attribute of an entity.
struct AttributeLog {
   /// A text that differs where the bytes mean something else.
   void ( *form )( Varek::String& text );
   /// Writes what the attribute, or its element with \p key, is now. False if it cannot go out.
   /// That there is no element or no child needs to be said only where one may be \p held.
   bool ( *write )( EntityQelNboAttrLogSa const&, void const* key, bool held );
   /// Applies a value, or an element that is present.
   void ( *apply )( EntityQelNboAttrLogSa const&, NboAttrLog::In& );
   /// Applies the removal of an element; of the child, for a single one. Null if nothing can be
   /// removed.
   void ( *remove )( EntityQelNboAttrLogSa const&, NboAttrLog::In& ) = nullptr;
   /// For attributes with several elements by key: says what is still to be said; false if blocked.
   bool ( *flush )( EntityQelNboAttrLogSa const&, NboAttrLog::FlowOut&, unsigned index ) = nullptr;
   std::unique_ptr<NboAttrLog::KeyedFlow> ( *newKeyedFlow )() = nullptr;
   void ( *transaction )( EntityQelNboAttrLogSa const&, Transaction,
                          std::uint32_t expected ) = nullptr;
   bool ( *active )( Entity const& ) = nullptr; ///< Whether a transaction is under way.
   /// For attributes that hold child entities.
   Entity* ( *child )( EntityQelNboAttrLogSa const&, NboAttrLog::In&, FirstFailure& ) = nullptr;
   void ( *visit )( Entity const&, void ( * )( Entity&, void* ), void* ) = nullptr;
   Entity* ( *oldChild )( void const* oldData ) = nullptr;
   /// For attributes whose contents lie outside of the entity: asks for that memory; see Ahead.h.
   void ( *prefetch )( Entity const&, bool below ) = nullptr;
};

/// What the log does with the constructor parameters of an entity type.
struct ConstructorLog {
   std::size_t ( *size )( Entity const& );
   std::uint8_t* ( *put )( std::uint8_t* to, Entity const& );
   Ptr<Entity> ( *make )( NboAttrLog::In& );
   bool ( *equal )( Entity const&, NboAttrLog::In& );
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

/// Frames of attribute D of sa's entity: a value or an element, and a key that is gone.
template<class D>
bool singletonSerializeCheck( EntityQelNboAttrLogSa const& sa, std::size_t size ) {
   return sa.out().outSmReserveMessage( NboAttrLog::FrameKind::attribute, sa.handle(), D::id,
                                        size );
}
template<class D>
bool collSerializeCheck( EntityQelNboAttrLogSa const& sa, bool removed, std::size_t size ) {
   return sa.out().outSmReserveMessage( NboAttrLog::FrameKind::attribute, sa.handle(),
                                        removed ? D::id.removal() : D::id, size );
}
/// The begin marker, after word that one before it has no end. False if blocked.
VAREK_EXPORT bool syncBegin( EntityQelNboAttrLogSa const&, NboAttrLog::FlowOut&, unsigned index,
                             std::uint32_t elements );
/// The end marker, and that nothing is left to say of the collection. False if blocked.
VAREK_EXPORT bool syncEnd( EntityQelNboAttrLogSa const&, NboAttrLog::FlowOut&, unsigned index );

/// Tells the receiver of a child, if it is one, that is no longer part of the tree.
VAREK_EXPORT void childRemoved( EntityQelNboAttrLogSa const&, Entity* child );

/// The constructor parameter of a child that comes next; nothing if it has none.
template<class Child, class F>
auto withParameter( NboAttrLog::In& in, F f ) {
   if constexpr ( parameterCount<Child>() == 0 ) {
      in.expectEnd();
      return f();
   } else {
      auto const parameter = NboAttrLog::valueOf<ParameterType<Child>>( in );
      in.expectEnd();
      return f( parameter );
   }
}

} // namespace Internal

} // namespace Qel
