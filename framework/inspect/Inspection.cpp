#include "framework/inspect/Inspection.h"

#include <vector>

#include "framework/inspect/InspectionRecords.h"
#include "framework/records/Untyped.h"

namespace Qel {

namespace {

using namespace InspectResult;

/// An attribute of an object and the operation on it.
struct Inspected {
   AttributeRecord const& attribute;
   AttributeInspection const& inspection;
   void* object;
   InspectArguments& arguments;
};

Ptr<Entity>* entityOf( InspectArguments const& arguments ) {
   return static_cast<Ptr<Entity>*>( arguments.value );
}

std::uint32_t readChild( Inspected const& at, Entity* child ) {
   *entityOf( at.arguments ) = Ptr<Entity>( child );
   at.arguments.found = child != nullptr;
   return done;
}

std::uint32_t read( Inspected const& at ) {
   AttributeRecord const& attribute = at.attribute;
   InspectArguments& arguments = at.arguments;
   bool const byKey = attribute.iterate || ( attribute.compute && attribute.key );
   if ( !arguments.value || ( byKey && !arguments.key ) ) {
      return notAllowed;
   }
   if ( attribute.child ) {
      return readChild( at, attribute.child( at.object ) );
   }
   if ( attribute.childType ) {
      return readChild( at, at.inspection.child( at.object, arguments.key ) );
   }
   if ( attribute.compute ) {
      arguments.found = attribute.compute( at.object, arguments.key, arguments.value );
      if ( !arguments.found ) {
         return noReading;
      }
      arguments.found = !attribute.computedEntity || attribute.computedEntity( arguments.value );
      return done;
   }
   void const* const held =
      attribute.read ? attribute.read( at.object ) : at.inspection.find( at.object, arguments.key );
   arguments.found = held != nullptr;
   if ( held ) {
      attribute.value->assign( arguments.value, held );
   }
   return done;
}

std::uint32_t write( Inspected const& at ) {
   AttributeInspection const& use = at.inspection;
   if ( ( use.writeTakesKey && !at.arguments.key ) ||
        ( use.writeTakesValue && !at.arguments.value ) ) {
      return notAllowed;
   }
   if ( use.make ) {
      Ptr<Entity> made = use.make( at.object, at.arguments.key );
      if ( at.arguments.value ) {
         *entityOf( at.arguments ) = std::move( made );
      }
      return done;
   }
   if ( !use.write ) {
      return notAllowed;
   }
   use.write( at.object, at.arguments.key, at.arguments.value );
   return done;
}

std::uint32_t remove( Inspected const& at ) {
   AttributeInspection const& use = at.inspection;
   void const* const key = at.arguments.key;
   if ( !use.remove || ( at.attribute.iterate && !key ) ) {
      return notAllowed;
   }
   bool const found = at.attribute.child       ? at.attribute.child( at.object ) != nullptr
                      : at.attribute.childType ? use.child( at.object, key ) != nullptr
                                               : use.find( at.object, key ) != nullptr;
   use.remove( at.object, key, at.arguments.value );
   at.arguments.found = found;
   return done;
}

/// The entity that has the attribute; null for a value.
Entity* ownerOf( TypeRecord const& type, Inspected const& at ) {
   return type.kind == Varek::TypeKind::entity ? static_cast<Entity*>( at.object ) : nullptr;
}

std::uint32_t removeAll( TypeRecord const& type, Inspected const& at ) {
   AttributeInspection const& use = at.inspection;
   if ( !use.clear && !( at.attribute.iterate && use.remove ) ) {
      return notAllowed;
   }
   Entity* const owner = ownerOf( type, at );
   if ( use.clear && ( !owner || owner->initial() ) ) {
      use.clear( at.object );
      return done;
   }
   if ( use.clear || at.attribute.childType ) {
      if ( at.attribute.size( at.object ) == 0 ) {
         return done;
      }
      requireWritable<Writer::caller>( *owner );
   }
   Ptr<Entity> const keepAlive( owner );
   std::vector<UntypedValue> keys;
   for ( UntypedElements one( at.attribute, at.object ); one; one.next() ) {
      keys.push_back( one.key() );
   }
   FirstFailure failure; // an observer's: the rest goes all the same
   for ( UntypedValue const& key : keys ) {
      failure.guard( [&] { use.remove( at.object, key.get(), nullptr ); } );
   }
   failure.rethrow();
   return done;
}

std::uint32_t size( Inspected const& at ) {
   if ( !at.attribute.size ) {
      return notAllowed;
   }
   at.arguments.size = at.attribute.size( at.object );
   return done;
}

std::uint32_t append( Inspected const& at ) {
   if ( !at.inspection.append || !at.arguments.value ) {
      return notAllowed;
   }
   at.inspection.append( at.object, at.arguments.value );
   return done;
}

std::uint32_t removeLast( Inspected const& at ) {
   if ( !at.inspection.removeLast ) {
      return notAllowed;
   }
   at.inspection.removeLast( at.object, at.arguments.value );
   return done;
}

} // namespace

void Internal::plainWrite( Entity* owner, Varek::FieldId id,
                           Varek::Inspect::AtomicFnTable const& table, void* stored,
                           void const* value ) {
   if ( table.equal( stored, value ) ) {
      return;
   }
   if ( !owner || owner->initial() ) {
      return table.assign( stored, value );
   }
   requireWritable<Writer::caller>( *owner );
   UntypedValue const old( table, stored );
   table.assign( stored, value );
   publish( *owner, id, old.get() );
}

std::uint32_t inspectOperation( TypeRecord const& type, void* object, std::uint32_t operation,
                                Varek::FieldDescriptor field, InspectArguments& arguments ) {
   if ( field.id == Varek::FieldId() ) {
      return operation == InspectOperation::isInspectable ? done : notAllowed;
   }
   AttributeRecord const* const attribute = type.attribute( field.id );
   if ( !attribute ) {
      return noSuchField;
   }
   Inspected const at{ *attribute, type.inspection[attribute - type.attributes.data()], object,
                       arguments };
   switch ( operation ) {
   case InspectOperation::read:
      return read( at );
   case InspectOperation::write:
      return write( at );
   case InspectOperation::remove:
      return remove( at );
   case InspectOperation::iterate:
      if ( !attribute->iterate ) {
         return notAllowed;
      }
      arguments.iterator =
         genericIfIterator( type, object, arguments.key, field, arguments.functions );
      return done;
   case InspectOperation::size:
      return size( at );
   case InspectOperation::removeAll:
      return removeAll( type, at );
   case InspectOperation::append:
      return append( at );
   case InspectOperation::removeLast:
      return removeLast( at );
   default:
      return notAllowed;
   }
}

} // namespace Qel
