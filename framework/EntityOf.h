#pragma once

#include <cstddef>
#include <span>

#include "Pallo/Pallo.h"
#include "Qel/Entity.h"
#include "Varek/AllocTrack.h"
#include "framework/Attributes.h"
#include "framework/Records.h"

namespace Qel {

template<class Self>
class EntityOf;

/// Lets the framework alone construct entities: only it can make one.
class MakeKey {
   template<class>
   friend class EntityOf;
   MakeKey() = default;
};

/// What every entity type \p Self has beside its attributes. A class derives from it and begins
/// with QEL_ENTITY (framework/Declare.h).
template<class Self>
class VAREK_EXPORT EntityOf : public Entity {
public:
   Varek::TypeData typeData() const final { return Self::qelBinding(); }

   /// Live objects of this type, in this process.
   static constexpr Varek::AllocTrackTypeInfo const& allocations() { return tracker_; }

   /// Makes an entity from its constructor parameters: what the factory and <Type>Is do.
   template<class... Given>
   static Ptr<Self> qelMake( Given const&... given ) {
      static_assert( sizeof...( Given ) == Internal::parameterCount<Self>() );
      auto made = Ptr<Self>::adopt( new Self( MakeKey() ) );
      ( parameterIs( *made, given ), ... );
      return made;
   }

   static void* genericIfIterator( Self const& entity, void const* startKey,
                                   Varek::FieldDescriptor field,
                                   Varek::Inspect::IterFnTable const*& functions ) {
      return Qel::genericIfIterator( typeRecord( Self::qelBinding() ),
                                     static_cast<Entity const*>( &entity ), startKey, field,
                                     functions );
   }
   static Ptr<Self> genericIfConstructFromCtorArgs( std::span<ConstructorArgument const> given ) {
      Ptr<Entity> made =
         Qel::genericIfConstructFromCtorArgs( typeRecord( Self::qelBinding() ), given );
      return Ptr<Self>::adopt( static_cast<Self*>( made.release() ) );
   }
   /// From arguments that fit, see genericIfConstructFromCtorArgs.
   static Ptr<Entity> qelConstruct( std::span<ConstructorArgument const> given ) {
      if constexpr ( Internal::parameterCount<Self>() == 0 ) {
         static_cast<void>( given );
         return qelMake();
      } else {
         return qelMake( *static_cast<ParameterType<Self> const*>( given[0].value ) );
      }
   }

   static void* operator new( std::size_t size ) {
      Varek::AllocTrackTypeInfo::trackAllocation( tracker_, typeName<Self>, size,
                                                  storageAlignment );
      try {
         return Pallo::allocate( size );
      } catch ( ... ) {
         Varek::AllocTrackTypeInfo::trackRelease( tracker_ );
         throw;
      }
   }
   static void operator delete( void* storage, std::size_t size ) noexcept {
      Pallo::release( storage, size );
      Varek::AllocTrackTypeInfo::trackRelease( tracker_ );
   }

protected:
   EntityOf() = default;
   ~EntityOf() override = default;

   void visitOwned( void ( *visit )( Varek::Publisher&, void* ), void* context ) override {
      forEachAttribute<Self>( [&]( auto descriptor ) {
         using D = decltype( descriptor );
         if constexpr ( D::kind == AttributeKind::children )
            for ( auto const& node : D::get( static_cast<Self&>( *this ) ) )
               visit( *node.child, context );
      } );
   }

private:
   static constexpr std::size_t storageAlignment = 8;
   inline static constinit Varek::AllocTrackTypeInfo tracker_{};
};

} // namespace Qel
