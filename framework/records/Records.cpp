#include "framework/records/Records.h"

#include <algorithm>
#include <new>

#include "Varek/Failures.h"
#include "framework/records/ValueTable.h"

namespace Qel {

std::string_view stringValue( AttributeKind kind ) {
   switch ( kind ) {
   case AttributeKind::parameter:
      return "parameter";
   case AttributeKind::plain:
      return "plain";
   case AttributeKind::sequence:
      return "sequence";
   case AttributeKind::collection:
      return "collection";
   case AttributeKind::children:
      return "children";
   case AttributeKind::set:
      return "set";
   case AttributeKind::map:
      return "map";
   case AttributeKind::ordered:
      return "ordered";
   case AttributeKind::array:
      return "array";
   case AttributeKind::child:
      return "child";
   case AttributeKind::constant:
      return "constant";
   case AttributeKind::derived:
      return "derived";
   }
   return "unknown";
}

std::string_view AttributeRecord::typeName() const {
   return childType ? typeRecord( childType() ).name : value->typeName;
}

AttributeRecord const* TypeRecord::parameter() const {
   auto const found =
      std::ranges::find( attributes, AttributeKind::parameter, &AttributeRecord::kind );
   return found != attributes.end() ? &*found : nullptr;
}

AttributeRecord const* TypeRecord::attribute( std::string_view wanted ) const {
   auto const at = std::find_if( attributes.begin(), attributes.end(),
                                 [&]( auto& one ) { return one.name == wanted; } );
   return at != attributes.end() ? &*at : nullptr;
}

void* genericIfIterator( TypeRecord const& type, void const* object, void const* startKey,
                         Varek::FieldDescriptor field,
                         Varek::Inspect::IterFnTable const*& functions ) {
   AttributeRecord const* const attribute = type.attribute( field.id );
   if ( !attribute || !attribute->iterate ) {
      return nullptr;
   }
   try {
      void* const iterator = attribute->iterate( object, startKey );
      functions = attribute->iterator;
      return iterator;
   } catch ( std::bad_alloc const& ) {
      return nullptr;
   }
}

void constructorArgumentsCheck( TypeRecord const& type,
                                std::span<ConstructorArgument const> given ) {
   auto const& all = type.attributes;
   auto const isParameter = []( auto& one ) { return one.kind == AttributeKind::parameter; };
   auto const expected =
      static_cast<std::size_t>( std::count_if( all.begin(), all.end(), isParameter ) );
   if ( given.size() != expected ) {
      throw Varek::NewEntityArguments( type.name, expected, given.size() );
   }
   std::size_t i = 0;
   for ( AttributeRecord const& one : all ) {
      if ( isParameter( one ) && given[i++].type->typeName != one.value->typeName ) {
         throw Varek::NewEntityArguments( type.name, one.name, one.value->typeName,
                                          given[i - 1].type->typeName );
      }
   }
}

Ptr<Entity> genericIfConstructFromCtorArgs( TypeRecord const& type,
                                            std::span<ConstructorArgument const> given ) {
   if ( !type.construct ) {
      throw Varek::NewEntityArguments( type.name, 0, given.size() );
   }
   constructorArgumentsCheck( type, given );
   return type.construct( given );
}

Ptr<Entity> newEntityInDirectory( TypeRecord const& type, Varek::String const& name,
                                  std::span<ConstructorArgument const> further ) {
   AttributeRecord const* const first = type.attributes.empty() ? nullptr : &type.attributes[0];
   if ( !type.construct || !first || first->kind != AttributeKind::parameter ) {
      throw Varek::NewEntityArguments( type.name, 0, 1 + further.size() );
   }
   if ( first->id != Varek::nameStringId ) {
      throw Varek::NewEntityArguments( type.name, first->name, first->typeName(), "name" );
   }
   if ( !further.empty() ) {
      throw Varek::NewEntityArguments( type.name, 1, 1 + further.size() );
   }
   ConstructorArgument const given{ &Varek::Inspect::InspectAtomicFnTable<Varek::String>::table,
                                    &name };
   return type.construct( { &given, 1 } );
}

} // namespace Qel
