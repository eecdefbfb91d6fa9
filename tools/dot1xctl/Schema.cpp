#include "Schema.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include <fmt/core.h>

#include "ReplayTypes.h"
#include "framework/records/Records.h"

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
   if ( attribute.key ) {
      result["key"] = attribute.key->typeName;
   }
   if ( attribute.defaultText ) {
      bool const fixed = attribute.kind == Qel::AttributeKind::constant;
      result[fixed ? "value" : "default"] = attribute.defaultText();
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

using Names = std::vector<std::string>;

bool isWanted( Names const& names, Varek::TypeInspectData const& type ) {
   return names.empty() || std::ranges::any_of( names, [&]( std::string const& name ) {
             return name == type.name || name == type.unqualifiedName();
          } );
}

void expectKnown( std::string const& name ) {
   for ( Varek::ModuleInspectData const* module : Varek::ModuleInspectData::all() ) {
      for ( Varek::TypeInspectData const* type : module->types ) {
         if ( isWanted( { name }, *type ) ) {
            return;
         }
      }
   }
   throw std::runtime_error( "no registered type is called \"" + name + "\"" );
}

/// The text of the default value of a registered value type; empty for other types.
std::string defaultOf( std::string const& typeName ) {
   Varek::TypeInspectData const* const type = Varek::ModuleInspectData::findType( typeName );
   if ( !type || type->kind != Varek::TypeKind::value ) {
      return {};
   }
   Varek::Inspect::AtomicFnTable const& table = *Qel::typeRecord( *type ).functions;
   std::vector<std::max_align_t> room( table.size / sizeof( std::max_align_t ) + 1 );
   table.inspectConstruct( room.data(), nullptr );
   std::string text = table.encode( room.data() );
   table.inspectDestroy( room.data() );
   return text;
}

} // namespace

Json schema( Modules which, Names const& names ) {
   std::ranges::for_each( names, expectKnown );
   Json modules = Json::array();
   for ( Varek::ModuleInspectData const* module : Varek::ModuleInspectData::all() ) {
      if ( which == Modules::library && module == &::Replay::replayModule ) {
         continue;
      }
      Json types = Json::array();
      for ( Varek::TypeInspectData const* type : module->types ) {
         if ( isWanted( names, *type ) ) {
            types.push_back( typeJson( Qel::typeRecord( *type ) ) );
         }
      }
      if ( !types.empty() ) {
         modules.push_back( { { "name", module->name }, { "types", std::move( types ) } } );
      }
   }
   return { { "modules", std::move( modules ) } };
}

std::string startText( Json const& attribute ) {
   auto const at =
      attribute.contains( "value" ) ? attribute.find( "value" ) : attribute.find( "default" );
   if ( at == attribute.end() ) {
      return {};
   }
   auto const text = at->get<std::string>();
   auto const type = attribute.at( "type" ).get<std::string>();
   if ( text.empty() || type == "Varek::String" ) {
      return at->dump();
   }
   return text == defaultOf( type ) ? std::string() : text;
}

std::string saltText( Json const& attribute ) {
   return attribute.contains( "salt" )
             ? fmt::format( "0x{:08X}", attribute.at( "salt" ).get<unsigned>() )
             : std::string();
}

} // namespace Dot1xCtl
