#include "config/ConfigOutput.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <fmt/core.h>

#include "Varek/Failures.h"
#include "config/Config.h"
#include "config/InterfaceRange.h"
#include "framework/records/Untyped.h"
#include "framework/wire/AttrLog.h"
#include "views/TreeJson.h"
#include "views/TreeText.h"

namespace Config {

using namespace Views;

namespace {

using Qel::AttributeKind;
using Qel::AttributeRecord;
using Qel::Entity;
using Qel::TypeRecord;

/// A new entity with the constructor parameters of \p entity.
Varek::Ptr<Entity> freshOf( Entity const& entity ) {
   TypeRecord const& type = Qel::typeRecord( entity );
   AttributeRecord const* const parameter = type.parameter();
   if ( !parameter ) {
      return Qel::genericIfConstructFromCtorArgs( type, {} );
   }
   Qel::ConstructorArgument const argument{ parameter->value, parameter->read( &entity ) };
   return Qel::genericIfConstructFromCtorArgs( type, { &argument, 1 } );
}

bool isMadeAlike( Entity const& a, Entity const& b ) {
   AttributeRecord const* const parameter = Qel::typeRecord( a ).parameter();
   return !parameter || parameter->value->equal( parameter->read( &a ), parameter->read( &b ) );
}

Part differenceOf( Entity const& entity, Entity const& fresh );

/// The part has the child's name where a new owner would have a child of another name, or none.
Part childDifference( Entity const& child, Entity const* fresh ) {
   if ( fresh && isMadeAlike( child, *fresh ) ) {
      return differenceOf( child, *fresh );
   }
   Part result = differenceOf( child, *freshOf( child ) );
   if ( AttributeRecord const* const parameter = Qel::typeRecord( child ).parameter() ) {
      result.parts.insert( result.parts.begin(),
                           attributePart( Qel::typeRecord( child ), *parameter, &child ) );
   }
   return result;
}

/// Leaves what a reader needs who begins with a new record.
void dropDefaults( Part& part, AttributeRecord const& attribute ) {
   if ( part.form != Part::Form::fields ) {
      return;
   }
   Part const fresh = valuePart( *attribute.value, Qel::UntypedValue( *attribute.value ).get() );
   std::vector<Part> kept;
   for ( std::size_t i = 0; i < part.parts.size(); ++i ) {
      if ( part.parts[i] != fresh.parts[i] ) {
         kept.push_back( std::move( part.parts[i] ) );
      }
   }
   part.parts = std::move( kept );
}

/// Nothing if the attribute is equal in both.
std::optional<Part> attributeDifference( TypeRecord const& type, AttributeRecord const& attribute,
                                         Entity const& entity, Entity const& fresh ) {
   if ( attribute.kind == AttributeKind::child ) {
      Entity const* const child = attribute.child( &entity );
      Entity const* const usual = attribute.child( &fresh );
      if ( !child ) {
         return usual ? std::optional( Part() ) : std::nullopt;
      }
      Part part = childDifference( *child, usual );
      bool const same = part.parts.empty() && usual;
      return same ? std::nullopt : std::optional( std::move( part ) );
   }
   Part part = attributePart( type, attribute, &entity );
   if ( part == attributePart( type, attribute, &fresh ) ) {
      return {};
   }
   dropDefaults( part, attribute );
   return part;
}

/// All children by key, each with its differences.
Part childrenDifference( TypeRecord const& type, AttributeRecord const& attribute,
                         Entity const& entity ) {
   return severalPart( attribute, &entity, [&]( Qel::UntypedElements const& at ) {
      Entity const& child = *Qel::oldChild( type, attribute.id, at.object() );
      return differenceOf( child, *freshOf( child ) );
   } );
}

Part differenceOf( Entity const& entity, Entity const& fresh ) {
   TypeRecord const& type = Qel::typeRecord( entity );
   Part result = bareEntity( &entity );
   for ( AttributeRecord const& one : type.attributes ) {
      if ( !isShown( one ) || one.kind == AttributeKind::parameter ) {
         continue;
      }
      std::optional<Part> part = attributeDifference( type, one, entity, fresh );
      if ( !part ) {
         continue;
      }
      if ( one.kind == AttributeKind::children ) {
         part = childrenDifference( type, one, entity );
      }
      part->name = one.name;
      result.parts.push_back( std::move( *part ) );
   }
   return result;
}

/// Interfaces with equal configurations: the parts of the first, and all keys.
struct Group {
   Part part;
   std::vector<Lumo::IntfId> interfaces;
};

/// Joins interfaces whose configurations are equal into a single element.
void groupInterfaces( Part& collection ) {
   std::vector<Group> groups;
   for ( Part& one : collection.parts ) {
      Lumo::IntfId const id( one.key.front().text );
      one.key.clear();
      std::erase_if( one.parts, []( Part const& field ) { return field.parameter; } );
      auto at = std::ranges::find( groups, one, &Group::part );
      if ( at == groups.end() ) {
         groups.push_back( { std::move( one ), {} } );
         at = groups.end() - 1;
      }
      at->interfaces.push_back( id );
   }
   std::ranges::sort( groups, {},
                      []( Group const& one ) { return std::ranges::min( one.interfaces ); } );
   collection.parts.clear();
   for ( Group& one : groups ) {
      Part key;
      key.form = Part::Form::word;
      key.text = interfacesText( std::move( one.interfaces ) );
      one.part.key.push_back( std::move( key ) );
      collection.parts.push_back( std::move( one.part ) );
   }
}

void printGrouped( std::ostream& out, Entity const& root, Part part ) {
   TypeRecord const& type = Qel::typeRecord( root );
   for ( Part& one : part.parts ) {
      AttributeRecord const* const attribute = type.attribute( one.name );
      if ( attribute->kind == AttributeKind::children &&
           attribute->key->typeName == "Lumo::IntfId" ) {
         groupInterfaces( one );
      }
   }
   printAttributes( out, part );
}

} // namespace

Part configPart( Entity const& entity, ConfigExtent extent ) {
   return extent == ConfigExtent::whole ? entityPart( entity )
                                        : differenceOf( entity, *freshOf( entity ) );
}

void printConfig( std::ostream& out, Entity const& root, ConfigForm form, ConfigExtent extent ) {
   Part part = configPart( root, extent );
   if ( form == ConfigForm::text ) {
      printGrouped( out, root, std::move( part ) );
      return;
   }
   constexpr int indent = 3;
   out << jsonText( part, EntityForm::bare, indent ) << '\n';
}

void printConfig( std::ostream& out, Roots const& roots, ConfigForm form, ConfigExtent extent ) {
   auto const at = roots.find( statusName );
   if ( at == roots.end() ) {
      throw Varek::Failure(
         fmt::format( "no configuration is published: there is no tree \"{}\"", statusName ) );
   }
   printConfig( out, *at->second, form, extent );
}

} // namespace Config
