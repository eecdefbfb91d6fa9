#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <span>

#include "Qel/Entity.h"
#include "framework/declare/Attributes.h"
#include "framework/declare/TrackedStorage.h"
#include "framework/inspect/Inspection.h"
#include "framework/records/Records.h"
#include "framework/wire/AttrLog.h"

namespace Qel {

template<class Self>
class EntityOf;

// Here as well, so that whoever has a type can compare and print it; framework/inspect/Whole.h says how.
VAREK_EXPORT bool operator==( Entity const& a, Entity const& b );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, Entity const& );

/// Lets the framework alone construct entities, since nobody else can make such a key.
class MakeKey {
   template<class>
   friend class EntityOf;
   MakeKey() = default;
};

/// The part of every entity type \p Self beside its attributes. A class derives from it and begins
/// with QEL_ENTITY (framework/declare/Declare.h).
template<class Self>
class VAREK_EXPORT EntityOf : public Entity, public TrackedStorage<Self> {
public:
   Varek::TypeData typeData() const final { return Self::qelBinding(); }

   /// Makes an entity from its constructor parameters, for the factory and the owner's mutator.
   template<class... Given>
   static Ptr<Self> qelMake( Given const&... given ) {
      static_assert( sizeof...( Given ) == Internal::parameterCount<Self>() );
      auto made = Ptr<Self>::adopt( new Self( MakeKey() ) );
      ( parameterIs( *made, given ), ... );
      ownChildrenMake( *made );
      return made;
   }

   static void* genericIfIterator( Self const& entity, void const* startKey,
                                   Varek::FieldDescriptor field,
                                   Varek::Inspect::IterFnTable const*& functions ) {
      return Qel::genericIfIterator( typeRecord( Self::qelBinding() ),
                                     static_cast<Entity const*>( &entity ), startKey, field,
                                     functions );
   }
   static std::uint32_t inspectOperation( Self& entity, std::uint32_t operation,
                                          Varek::FieldDescriptor field,
                                          InspectArguments& arguments ) {
      return Qel::inspectOperation( typeRecord( Self::qelBinding() ),
                                    static_cast<Entity*>( &entity ), operation, field, arguments );
   }
   static Ptr<Self> genericIfConstructFromCtorArgs( std::span<ConstructorArgument const> given ) {
      Ptr<Entity> made =
         Qel::genericIfConstructFromCtorArgs( typeRecord( Self::qelBinding() ), given );
      return Ptr<Self>::adopt( static_cast<Self*>( made.release() ) );
   }

   // The attribute log of the type; framework/wire/AttrLog.h describes these functions.

   static std::size_t attrLogSizeCtorParams( NboAttrLog::Version version, Self const& entity ) {
      return Qel::attrLogSizeCtorParams( version, typeRecord( Self::qelBinding() ), entity );
   }
   static void serializeConstructorParams( NboAttrLog::Out& out, Self const& entity ) {
      Qel::serializeConstructorParams( out, typeRecord( Self::qelBinding() ), entity );
   }
   static bool streamAdapterOnAttribute( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                         void const* key ) {
      return Qel::streamAdapterOnAttribute( sa, id, key );
   }
   /// The parts of an entity of the type that are still to be written to a stream.
   class FlowOut final : public NboAttrLog::FlowOut {
   public:
      explicit FlowOut( bool dirty, Varek::FieldId from = 0 )
         : NboAttrLog::FlowOut( typeRecord( Self::qelBinding() ), dirty, from ) {}
   };
   static std::unique_ptr<FlowOut> newFlowOut( EntityQelNboAttrLogSa const&, bool dirty,
                                               Varek::FieldId from ) {
      return std::make_unique<FlowOut>( dirty, from );
   }
   static int handleAttrFlowOut( EntityQelNboAttrLogSa const& sa, Varek::FieldId from,
                                 NboAttrLog::FlowOut& flowOut ) {
      return Qel::handleAttrFlowOut( sa, from, flowOut );
   }
   static bool freeResyncState( NboAttrLog::FlowOut& flowOut ) {
      return Qel::freeResyncState( flowOut );
   }
   static bool doHandleAttrDeserialization( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                            NboAttrLog::In& in ) {
      return Qel::doHandleAttrDeserialization( sa, id, in );
   }
   static bool doHandleAttrTransaction( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                        unsigned kind ) {
      return Qel::doHandleAttrTransaction( sa, id, kind );
   }
   /// The entity whose constructor parameters come next, from the attribute log.
   static Ptr<Self> newEntityForAttrLog( NboAttrLog::In& in ) {
      Ptr<Entity> made = Qel::newEntityForAttrLog( typeRecord( Self::qelBinding() ), in );
      return Ptr<Self>::adopt( static_cast<Self*>( made.release() ) );
   }

   /// Makes an entity from checked arguments, see genericIfConstructFromCtorArgs.
   static Ptr<Entity> qelConstruct( std::span<ConstructorArgument const> given ) {
      if constexpr ( Internal::parameterCount<Self>() == 0 ) {
         static_cast<void>( given );
         return qelMake();
      } else {
         return qelMake( *static_cast<ParameterType<Self> const*>( given[0].value ) );
      }
   }

protected:
   EntityOf() = default;
   ~EntityOf() override = default;

   void visitOwned( void ( *visit )( Varek::Publisher&, void* ), void* context ) override {
      if constexpr ( hasKind<Self, AttributeKind::children, AttributeKind::child>() ) {
         Internal::visitChildren( *this, visit, context );
      } else {
         static_cast<void>( visit );
         static_cast<void>( context );
      }
   }

private:
   /// Runs after the parameters are set, since the arguments of own children may use them.
   static void ownChildrenMake( Self& made ) {
      forEachAttribute<Self>( [&]( auto descriptor ) {
         using D = decltype( descriptor );
         if constexpr ( requires { made.qelOwnChild( Id<D::id.value()>{} ); } ) {
            auto& held = D::get( made ).child;
            held = made.qelOwnChild( Id<D::id.value()>{} );
            held->qelParentIs( &made );
         }
      } );
   }
};

} // namespace Qel
