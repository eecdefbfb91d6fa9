// The data model: every type with its slot, every attribute with its number, as the records tell.

#include <array>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/Dot1xStatus.h"
#include "support/AnyValue.h"

namespace {

using Qel::AttributeKind;

std::string shortName( std::string_view type ) {
   std::string name( type.substr( type.rfind( ':' ) + 1 ) );
   std::erase( name, '>' );
   return name;
}

/// Of a child: whether there is one from the beginning, or its name.
std::string initialChild( Qel::TypeRecord const& type, Qel::AttributeRecord const& one ) {
   auto const owner = freshEntity( type );
   Qel::Entity const* const child = one.child( owner.get() );
   auto const* const name = Qel::typeRecord( one.childType() ).attribute( Varek::nameStringId );
   return !child ? "absent" : name ? name->value->encode( name->read( child ) ) : "present";
}

std::string initial( Qel::TypeRecord const& type, Qel::AttributeRecord const& one ) {
   std::string text;
   if ( one.kind == AttributeKind::plain || one.kind == AttributeKind::constant ) {
      text = one.defaultText();
      auto const* const value = one.value->registered();
      if ( value && value->kind == Varek::TypeKind::value &&
           text == AnyValue( *one.value ).text() ) {
         text = "default";
      }
   } else if ( one.child ) {
      text = initialChild( type, one );
   } else {
      return {};
   }
   return " = " + ( text.empty() ? "empty" : text );
}

std::string attributeLine( Qel::TypeRecord const& type, Qel::AttributeRecord const& one ) {
   std::string line = "  " + std::to_string( one.id.value() ) + ' ';
   line.append( stringValue( one.kind ) ) += ' ';
   if ( one.kind == AttributeKind::array || one.typeName().starts_with( "std::optional" ) ) {
      type.wire[&one - type.attributes.data()].form( line );
   } else {
      line += shortName( one.typeName() );
   }
   line.append( " " ).append( one.name );
   if ( one.key && one.kind != AttributeKind::array ) {
      line += " by " + shortName( one.key->typeName );
   }
   line += initial( type, one );
   if ( one.salted ) {
      std::array<char, 20> salt{};
      std::snprintf( salt.data(), salt.size(), " salt %08X", one.salt );
      line += salt.data();
   }
   return line;
}

std::string typeLine( Qel::TypeRecord const& type ) {
   static constexpr char const* kinds[] = { "value", "enum8", "enum32", "entity" };
   std::string line = std::to_string( type.index ) + ' ' + std::string( type.unqualifiedName() );
   line.append( " " ).append( kinds[static_cast<std::size_t>( type.kind )] );
   line += type.hashable && type.enumerators.empty() ? " hashable" : "";
   line += type.attribute( Varek::nameStringId ) ? " named" : "";
   std::uint32_t next = 0;
   for ( auto const& one : type.enumerators ) {
      line.append( " " ).append( one.name );
      line += one.value == next ? "" : '=' + std::to_string( one.value );
      next = one.value + 1;
   }
   return line;
}

std::vector<std::string> modelInRecords() {
   std::vector<std::string> lines;
   for ( auto const* const module : Varek::ModuleInspectData::all() ) {
      if ( !module->types.front()->name.starts_with( "Dot1xV2::" ) ) {
         continue;
      }
      lines.emplace_back( module->name );
      for ( Varek::TypeInspectData const* const each : module->types ) {
         Qel::TypeRecord const& type = Qel::typeRecord( *each );
         EXPECT_EQ( type.name, "Dot1xV2::" + std::string( type.unqualifiedName() ) );
         lines.push_back( typeLine( type ) );
         for ( Qel::AttributeRecord const& one : type.attributes ) {
            if ( one.id != Varek::nameStringId ) {
               lines.push_back( attributeLine( type, one ) );
            }
         }
      }
   }
   return lines;
}

/// Whether they say the same; "salt *" stands for any.
bool same( std::string_view expected, std::string_view found ) {
   if ( expected.ends_with( " salt *" ) ) {
      expected.remove_suffix( 1 );
      return found.starts_with( expected ) && found.size() == expected.size() + 8;
   }
   return found == expected;
}

// A line of the file is a type with its slot, or one of its attributes: number, kind, type, name,
// type of the keys, default or constant, and salt of the key hash ("*" where any will do).
// "default" is that of the value type. An enumerator without a number follows the one before it.
TEST( DataModel, IsInTheRecords ) {
   auto const found = modelInRecords();
   std::ifstream file( DATA_MODEL );
   std::size_t at = 0;
   for ( std::string line; std::getline( file, line ); ++at ) {
      EXPECT_TRUE( at < found.size() && same( line, found[at] ) )
         << "expected: " << line << "\nfound:    " << ( at < found.size() ? found[at] : "nothing" );
   }
   EXPECT_EQ( at, found.size() );
}

// Keys that collide in one collection are not to do so in another.
TEST( DataModel, NoTwoCollectionsHaveOneSalt ) {
   std::set<std::uint32_t> salts;
   for ( Qel::TypeRecord const* const type : registeredTypes( []( auto& ) { return true; } ) ) {
      for ( Qel::AttributeRecord const& one : type->attributes ) {
         EXPECT_TRUE( !one.salted || salts.insert( one.salt ).second )
            << type->name << " " << one.name;
      }
   }
   EXPECT_GT( salts.size(), 20U );
}

} // namespace
