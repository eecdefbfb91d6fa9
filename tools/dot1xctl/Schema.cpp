#include "Schema.h"

#include <utility>

#include "framework/Records.h"

namespace Dot1xCtl {

namespace {

using Json = nlohmann::ordered_json;

char const* kindText( Varek::TypeKind kind ) {
   switch ( kind ) {
   case Varek::TypeKind::entity:
      return "entity";
   case Varek::TypeKind::enum8:
      return "enum8";
   case Varek::TypeKind::enum32:
      return "enum32";
   case Varek::TypeKind::value:
      break;
   }
   return "value";
}

Json attributeJson( Qel::AttributeRecord const& attribute ) {
   Json result = { { "id", attribute.id.value() },
                   { "name", attribute.name },
                   { "type", attribute.typeName() },
                   { "kind", stringValue( attribute.kind ) } };
   if ( attribute.key != nullptr ) {
      result["key"] = attribute.key->typeName;
   }
   if ( attribute.defaultText != nullptr ) {
      result["default"] = attribute.defaultText();
   }
   if ( attribute.salted ) {
      result["salt"] = attribute.salt;
   }
   result["onWire"] = attribute.onWire;
   return result;
}

Json typeJson( Qel::TypeRecord const& type ) {
   Json result = { { "name", type.name },
                   { "kind", kindText( type.kind ) },
                   { "slot", type.index },
                   { "hashable", type.hashable } };
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      result["attributes"].push_back( attributeJson( one ) );
   }
   for ( Varek::EnumeratorData const& one : type.enumerators ) {
      result["values"].push_back( { { "value", one.value }, { "name", one.name } } );
   }
   return result;
}

} // namespace

Json schema() {
   Json modules = Json::array();
   for ( Varek::ModuleInspectData const* module : Varek::ModuleInspectData::all() ) {
      Json types = Json::array();
      for ( Varek::TypeInspectData const* type : module->types ) {
         types.push_back( typeJson( Qel::typeRecord( *type ) ) );
      }
      modules.push_back( { { "name", module->name }, { "types", std::move( types ) } } );
   }
   return { { "modules", std::move( modules ) } };
}

} // namespace Dot1xCtl
