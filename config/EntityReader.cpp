#include "config/EntityReader.h"

#include <string>
#include <vector>

#include <fmt/core.h>

#include "Varek/Failures.h"
#include "config/ConfigValue.h"
#include "config/InterfaceRange.h"
#include "config/Suggestion.h"
#include "framework/inspect/Inspection.h"
#include "framework/inspect/InspectionRecords.h"
#include "framework/records/Untyped.h"

namespace Config {

using namespace Views;

namespace {

using Kind = JsonNode::Kind;
using Qel::AttributeKind;
using Qel::AttributeRecord;
using Qel::TypeRecord;
using Qel::UntypedValue;
namespace Operation = Qel::InspectOperation;

bool isComputed( AttributeRecord const& attribute ) {
   return attribute.kind == AttributeKind::constant || attribute.kind == AttributeKind::derived;
}

std::vector<std::string_view> namesOf( TypeRecord const& type ) {
   std::vector<std::string_view> names;
   for ( AttributeRecord const& one : type.attributes ) {
      if ( !isComputed( one ) ) {
         names.push_back( one.name );
      }
   }
   return names;
}

JsonNode const* memberOf( JsonNode const& object, std::string_view name ) {
   for ( JsonNode const& one : object.parts ) {
      if ( one.name == name ) {
         return &one;
      }
   }
   return nullptr;
}

bool holdsKeyedValues( AttributeKind kind ) {
   return kind == AttributeKind::collection || kind == AttributeKind::map ||
          kind == AttributeKind::ordered;
}

} // namespace

void EntityReader::entity( JsonPlace const& at, Qel::Entity& entity ) {
   fields( at, Qel::typeRecord( entity ), &entity, true );
}

void EntityReader::fields( JsonPlace const& at, TypeRecord const& type, void* object,
                           bool parameterIsFixed ) {
   if ( !isKind( at, Kind::object, &type ) ) {
      return;
   }
   for ( JsonNode const& member : at.node.parts ) {
      JsonPlace const there{ member, &at };
      AttributeRecord const* const named = type.attribute( member.name );
      if ( !named || isComputed( *named ) ) {
         unknown( there, type );
      } else if ( named->kind == AttributeKind::parameter ) {
         parameter( there, { type, *named, object }, parameterIsFixed );
      } else {
         attribute( there, { type, *named, object } );
      }
   }
}

void EntityReader::unknown( JsonPlace const& at, TypeRecord const& type ) {
   std::string_view const name = type.unqualifiedName();
   if ( AttributeRecord const* const computed = type.attribute( at.node.name ) ) {
      faults_.add( at, fmt::format( "is {} in {} and cannot be given",
                                    stringValue( computed->kind ), name ) );
      return;
   }
   std::vector<std::string_view> const names = namesOf( type );
   std::string const hint = suggestion( at.node.name, names );
   faults_.add( at,
                fmt::format( "{} has no such attribute{}; it has {}", name,
                             hint.empty() ? "" : fmt::format( " ({})", hint ), listed( names ) ) );
}

bool EntityReader::isKind( JsonPlace const& at, Kind kind, TypeRecord const* type ) {
   if ( at.node.kind == kind ) {
      return true;
   }
   std::string expected = kind == Kind::array ? "an array" : "an object";
   if ( type ) {
      expected += fmt::format( " with attributes of {}: {}", type->unqualifiedName(),
                               listed( namesOf( *type ) ) );
   }
   faults_.unexpected( at, expected );
   return false;
}

/// Constructor parameters of entities and keys of elements cannot change.
void EntityReader::parameter( JsonPlace const& at, Target const& to, bool isFixed ) {
   Table const& table = *to.attribute.value;
   UntypedValue const given( table );
   if ( !value( at, table, given.get() ) ) {
      return;
   }
   // The record only reads, but the caller's object is not constant.
   void* const held = const_cast<void*>( to.attribute.read( to.object ) );
   if ( !isFixed ) {
      table.assign( held, given.get() );
   } else if ( !table.equal( held, given.get() ) ) {
      faults_.unexpected(
         at, fmt::format( "\"{}\", which it is called here, or nothing", table.encode( held ) ) );
   }
}

void EntityReader::attribute( JsonPlace const& at, Target const& to ) {
   switch ( to.attribute.kind ) {
   case AttributeKind::child:
      child( at, to );
      break;
   case AttributeKind::children:
      children( at, to );
      break;
   case AttributeKind::plain: {
      UntypedValue const given( *to.attribute.value );
      if ( value( at, given.table(), given.get() ) ) {
         run( at, to, Operation::write, nullptr, given.get() );
      }
      break;
   }
   default:
      if ( holdsKeyedValues( to.attribute.kind ) ) {
         byKey( at, to );
      } else {
         elements( at, to );
      }
   }
}

void EntityReader::child( JsonPlace const& at, Target const& to ) {
   if ( at.node.kind == Kind::null ) {
      run( at, to, Operation::remove, nullptr, nullptr );
      return;
   }
   TypeRecord const& type = Qel::typeRecord( to.attribute.childType() );
   if ( !isKind( at, Kind::object, &type ) ) {
      return;
   }
   AttributeRecord const* const parameter = type.parameter();
   JsonNode const* const given = parameter ? memberOf( at.node, parameter->name ) : nullptr;
   Qel::Entity* const held = to.attribute.child( to.object );
   if ( held && !given ) {
      entity( at, *held );
      return;
   }
   if ( parameter && !given ) {
      faults_.add( at, fmt::format( "a {} that is not there before needs \"{}\"",
                                    type.unqualifiedName(), parameter->name ) );
      return;
   }
   std::optional<UntypedValue> key;
   if ( given ) {
      key.emplace( *parameter->value );
      if ( !value( { *given, &at }, key->table(), key->get() ) ) {
         return;
      }
   }
   Varek::Ptr<Qel::Entity> made;
   if ( run( at, to, Operation::write, key ? key->get() : nullptr, &made ) ) {
      entity( at, *made );
   }
}

void EntityReader::children( JsonPlace const& at, Target const& to ) {
   if ( !isKind( at, Kind::object, nullptr ) ) {
      return;
   }
   for ( JsonNode const& member : at.node.parts ) {
      JsonPlace const there{ member, &at };
      forEachKey( there, *to.attribute.key, [&]( void const* key ) {
         std::size_t const before = faults_.count();
         Varek::Ptr<Qel::Entity> made;
         if ( run( there, to, Operation::write, key, &made ) ) {
            entity( there, *made );
         }
         // A fault is reported once for all interfaces of a range.
         return faults_.count() == before;
      } );
   }
}

void EntityReader::elements( JsonPlace const& at, Target const& to ) {
   if ( !isKind( at, Kind::array, nullptr ) ) {
      return;
   }
   if ( std::uint32_t const size = to.attribute.size( to.object );
        to.attribute.kind == AttributeKind::array && at.node.parts.size() > size ) {
      faults_.add(
         at, fmt::format( "found {} elements, expected at most {}", at.node.parts.size(), size ) );
      return;
   }
   run( at, to, Operation::removeAll, nullptr, nullptr );
   for ( JsonNode const& one : at.node.parts ) {
      element( { one, &at }, to );
   }
}

void EntityReader::element( JsonPlace const& at, Target const& to ) {
   UntypedValue const given( *to.attribute.value );
   if ( !value( at, given.table(), given.get() ) ) {
      return;
   }
   if ( to.attribute.kind == AttributeKind::sequence ) {
      run( at, to, Operation::append, nullptr, given.get() );
   } else if ( to.attribute.kind == AttributeKind::array ) {
      auto const index = static_cast<std::uint32_t>( &at.node - at.within->node.parts.data() );
      run( at, to, Operation::write, &index, given.get() );
   } else if ( holds( to, given.get() ) ) {
      faults_.add( at, found( at.node ) + " is in the set before" );
   } else {
      run( at, to, Operation::write, given.get(), nullptr );
   }
}

void EntityReader::byKey( JsonPlace const& at, Target const& to ) {
   if ( !isKind( at, Kind::object, nullptr ) ) {
      return;
   }
   run( at, to, Operation::removeAll, nullptr, nullptr );
   // An element with its key inside is constructed with the key.
   auto const& inspection = to.type.inspection[&to.attribute - to.type.attributes.data()];
   AttributeRecord const* inside = nullptr;
   if ( Varek::TypeInspectData const* const type = to.attribute.value->registered();
        !inspection.writeTakesKey && type ) {
      inside = Qel::typeRecord( *type ).parameter();
   }
   for ( JsonNode const& member : at.node.parts ) {
      JsonPlace const there{ member, &at };
      forEachKey( there, *to.attribute.key, [&]( void const* key ) {
         UntypedValue const given( *to.attribute.value );
         if ( inside ) {
            inside->value->assign( const_cast<void*>( inside->read( given.get() ) ), key );
         }
         return value( there, given.table(), given.get(), inside != nullptr ) &&
                run( there, to, Operation::write, key, given.get() );
      } );
   }
}

bool EntityReader::value( JsonPlace const& at, Table const& table, void* value,
                          bool parameterIsFixed ) {
   Varek::TypeInspectData const* const registered = table.registered();
   if ( !registered || registered->kind != Varek::TypeKind::value ) {
      return readScalar( at, table, value, faults_ );
   }
   TypeRecord const& type = Qel::typeRecord( *registered );
   std::size_t const before = faults_.count();
   fields( at, type, value, parameterIsFixed );
   if ( faults_.count() == before && type.rangesCheck ) {
      try {
         type.rangesCheck( value );
      } catch ( Varek::Failure const& failure ) {
         faults_.add( at, failure.what() );
      }
   }
   return faults_.count() == before;
}

void EntityReader::forEachKey( JsonPlace const& at, Table const& table, WithKey const& use ) {
   if ( table.typeName != "Lumo::IntfId" ) {
      UntypedValue const key( table );
      if ( readKey( at, table, key.get(), faults_ ) ) {
         use( key.get() );
      }
      return;
   }
   std::vector<Lumo::IntfId> interfaces;
   try {
      interfaces = interfacesOf( at.node.name );
   } catch ( Varek::TextError const& error ) {
      faults_.add( at, fmt::format( "no interfaces, expected {} at character {}", error.expected(),
                                    error.position() + 1 ) );
      return;
   }
   for ( Lumo::IntfId const& one : interfaces ) {
      if ( !use( &one ) ) {
         return;
      }
   }
}

bool EntityReader::run( JsonPlace const& at, Target const& to, std::uint32_t operation,
                        void const* key, void* value ) {
   Qel::InspectArguments arguments;
   arguments.key = key;
   arguments.value = value;
   std::string why = "it does not allow that";
   try {
      if ( Qel::inspectOperation( to.type, to.object, operation, { to.attribute.id }, arguments ) ==
           Qel::InspectResult::done ) {
         return true;
      }
   } catch ( Varek::Failure const& failure ) {
      why = failure.what();
   }
   faults_.add( at, why );
   return false;
}

bool EntityReader::holds( Target const& to, void const* key ) {
   UntypedValue const ignored( *to.attribute.value );
   Qel::InspectArguments arguments;
   arguments.key = key;
   arguments.value = ignored.get();
   Qel::inspectOperation( to.type, to.object, Operation::read, { to.attribute.id }, arguments );
   return arguments.found;
}

} // namespace Config
