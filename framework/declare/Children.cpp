#include <bit>

#include "framework/declare/SingleChild.h"
#include "framework/wire/AttributeLog.h"
#include "framework/wire/KeyedLog.h"

namespace Qel {

namespace Internal {

void childLetGo( Entity& child ) noexcept { child.qelParentIs( nullptr ); }

void childCame( Entity& owner, Varek::FieldId id, Entity& made, void const* key,
                Varek::KeyEqual keyEqual ) {
   made.qelParentIs( &owner );
   Varek::Publisher::publishChangeRecursive( owner, id, key, nullptr, keyEqual );
}

void childGone( Entity& owner, Varek::FieldId id, Entity& child, void const* key,
                Varek::KeyEqual keyEqual, void const* oldData ) {
   child.qelParentIs( nullptr );
   Varek::Publisher::publishChangeRecursive( owner, id, key, oldData, keyEqual );
}

void childReplaced( Entity& owner, Varek::FieldId id, Entity* old, Entity* made,
                    void const* oldData ) {
   if ( old ) {
      old->qelParentIs( nullptr );
   }
   if ( made ) {
      made->qelParentIs( &owner );
   }
   publish( owner, id, old ? oldData : nullptr );
}

} // namespace Internal

void forEachChild( TypeRecord const& type, Entity const& entity, void ( *visit )( Entity&, void* ),
                   void* context ) {
   for ( std::size_t i = 0; i < type.attributes.size(); ++i ) {
      AttributeLog const* const log = type.wire[i].log;
      if ( !log || !log->oldChild ) {
         continue;
      }
      if ( log->keyed ) {
         Internal::keyedVisit( *log->keyed, entity, visit, context );
      } else if ( Entity* const child = type.attributes[i].child( &entity ) ) {
         visit( *child, context );
      }
   }
}

void Internal::visitChildren( Entity const& entity, void ( *visit )( Varek::Publisher&, void* ),
                              void* context ) {
   struct Visit {
      void ( *visit )( Varek::Publisher&, void* );
      void* context;
   } as{ visit, context };
   forEachChild(
      typeRecord( entity ), entity,
      []( Entity& child, void* to ) {
         auto const& given = *static_cast<Visit const*>( to );
         given.visit( child, given.context );
      },
      &as );
}

namespace {

void prefetchKeyed( AttributeRecord const& attribute, KeyedLog const& log, Entity const& entity,
                    unsigned step ) {
   if ( step == 1 ) {
      Internal::keyedPrefetch( log, entity );
   } else if ( log.askAll ) {
      if ( step == 2 ) {
         log.askAll( entity );
      }
   } else if ( log.childIn ) {
      struct Next {
         TypeRecord const& type;
         unsigned step;
      } next{ typeRecord( attribute.childType() ), step - 2 };
      Internal::keyedVisit(
         log, entity,
         []( Entity& child, void* context ) {
            auto const& to = *static_cast<Next const*>( context );
            prefetchStep( to.type, child, to.step );
         },
         &next );
   }
}

} // namespace

void prefetchStep( TypeRecord const& type, Entity const& entity, unsigned step ) {
   if ( step == 0 ) {
      return Internal::prefetch( &entity, type.size );
   }
   for ( std::uint64_t left = type.elsewhere; left != 0; left &= left - 1 ) {
      auto const i = static_cast<unsigned>( std::countr_zero( left ) );
      AttributeLog const& log = *type.wire[i].log;
      if ( log.keyed ) {
         prefetchKeyed( type.attributes[i], *log.keyed, entity, step );
      } else if ( log.ask ) {
         if ( step == 1 ) {
            log.ask( entity );
         }
      } else if ( Entity const* const child = type.attributes[i].child( &entity ) ) {
         prefetchStep( typeRecord( type.attributes[i].childType() ), *child, step - 1 );
      }
   }
}

} // namespace Qel
