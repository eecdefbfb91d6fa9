#include "framework/inspect/Assign.h"

#include <string>
#include <vector>

#include "Varek/Failures.h"
#include "framework/inspect/InspectionRecords.h"
#include "framework/records/Records.h"
#include "framework/records/Untyped.h"
#include "framework/wire/AttrLog.h"

namespace Qel {

namespace {

/// One attribute of the two entities.
struct Assigned {
   TypeRecord const& type;
   AttributeRecord const& attribute;
   AttributeInspection const& use;
   Entity& target;
   Entity const& source;
};

bool isHeld( Assigned const& at, Entity const& owner, void const* key ) {
   return at.use.child ? at.use.child( &owner, key ) != nullptr
                       : at.use.find( &owner, key ) != nullptr;
}

void removeStale( Assigned const& at ) {
   std::vector<UntypedValue> stale;
   for ( UntypedElements one( at.attribute, &at.target ); one; one.next() ) {
      if ( UntypedValue key = one.key(); !isHeld( at, at.source, key.get() ) ) {
         stale.push_back( std::move( key ) );
      }
   }
   for ( UntypedValue const& key : stale ) {
      at.use.remove( &at.target, key.get(), nullptr );
   }
}

/// Finds or creates the child, and continues with its attributes.
void assignChild( Assigned const& at, void const* parameter, Entity const& source ) {
   Ptr<Entity> const child = at.use.make( &at.target, parameter );
   assignEntity( *child, source );
}

void assignElements( Assigned const& at ) {
   if ( at.attribute.kind != AttributeKind::array ) {
      removeStale( at );
   }
   for ( UntypedElements one( at.attribute, &at.source ); one; one.next() ) {
      UntypedValue const key = one.key();
      if ( at.attribute.childType ) {
         assignChild( at, key.get(), *oldChild( at.type, at.attribute.id, one.object() ) );
      } else {
         at.use.write( &at.target, key.get(), one.object() );
      }
   }
}

void assignSingle( Assigned const& at ) {
   Entity const* const source = at.attribute.child( &at.source );
   if ( !source ) {
      at.use.remove( &at.target, nullptr, nullptr );
      return;
   }
   AttributeRecord const* const parameter = typeRecord( *source ).parameter();
   assignChild( at, parameter ? parameter->read( source ) : nullptr, *source );
}

void assertAlike( TypeRecord const& type, Entity const& target, Entity const& source ) {
   if ( target.typeData() != source.typeData() ) {
      throw Varek::Failure( "a " + std::string( type.name ) + " cannot become equal to a " +
                            std::string( typeRecord( source ).name ) );
   }
   for ( AttributeRecord const& one : type.attributes ) {
      if ( one.kind == AttributeKind::parameter &&
           !one.value->equal( one.read( &target ), one.read( &source ) ) ) {
         throw Varek::Failure( "a " + std::string( type.name ) +
                               " cannot become equal to one made with another " +
                               std::string( one.name ) );
      }
   }
}

} // namespace

void assignEntity( Entity& target, Entity const& source ) {
   TypeRecord const& type = typeRecord( target );
   assertAlike( type, target, source );
   Ptr<Entity> const keepAlive( &target );
   for ( std::size_t i = 0; i < type.attributes.size(); ++i ) {
      Assigned const at{ type, type.attributes[i], type.inspection[i], target, source };
      if ( at.attribute.kind == AttributeKind::plain ) {
         at.use.write( &target, nullptr, at.attribute.read( &source ) );
      } else if ( at.attribute.kind == AttributeKind::child ) {
         assignSingle( at );
      } else if ( at.attribute.iterate ) {
         assignElements( at );
      }
   }
}

} // namespace Qel
