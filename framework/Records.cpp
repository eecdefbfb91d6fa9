#include "framework/Records.h"

#include <algorithm>
#include <new>

#include "Varek/Failures.h"

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
   }
   return "unknown";
}

std::string_view AttributeRecord::typeName() const {
   return childType ? typeRecord( childType() ).name : value->typeName;
}

AttributeRecord const* TypeRecord::attribute( Varek::FieldId wanted ) const {
   auto const at = std::lower_bound( attributes.begin(), attributes.end(), wanted,
                                     []( auto& one, auto id ) { return one.id < id; } );
   return at != attributes.end() && at->id == wanted ? &*at : nullptr;
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
   if ( !attribute || !attribute->iterate )
      return nullptr;
   try {
      void* const iterator = attribute->iterate( object, startKey );
      functions = attribute->iterator;
      return iterator;
   } catch ( std::bad_alloc const& ) {
      return nullptr;
   }
}

Ptr<Entity> genericIfConstructFromCtorArgs( TypeRecord const& type,
                                            std::span<ConstructorArgument const> given ) {
   auto const& all = type.attributes;
   auto const isParameter = []( auto& one ) { return one.kind == AttributeKind::parameter; };
   auto const expected =
      static_cast<std::size_t>( std::count_if( all.begin(), all.end(), isParameter ) );
   if ( !type.construct || given.size() != expected )
      throw Varek::NewEntityArguments( type.name, expected, given.size() );
   std::size_t i = 0;
   for ( AttributeRecord const& one : all )
      if ( isParameter( one ) && given[i++].type->typeName != one.value->typeName )
         throw Varek::NewEntityArguments( type.name, one.name, one.value->typeName,
                                          given[i - 1].type->typeName );
   return type.construct( given );
}

} // namespace Qel
