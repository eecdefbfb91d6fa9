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

void childPrefetch( AttributeRecord const& attribute, Entity const& entity, bool below ) {
   Entity const* const child = attribute.child( &entity );
   if ( !child ) {
      return;
   }
   TypeRecord const& type = typeRecord( attribute.childType() );
   if ( below ) {
      prefetchContents( type, *child, false );
   } else {
      Internal::prefetch( child, type.size );
   }
}

} // namespace

void prefetchContents( TypeRecord const& type, Entity const& entity, bool below ) {
   for ( std::size_t i = 0; i < type.attributes.size(); ++i ) {
      AttributeLog const* const log = type.wire[i].log;
      if ( !log ) {
         continue;
      }
      if ( log->keyed ) {
         if ( !below ) {
            Internal::keyedPrefetch( *log->keyed, entity );
         }
      } else if ( log->childIs ) {
         childPrefetch( type.attributes[i], entity, below );
      }
   }
}

} // namespace Qel
