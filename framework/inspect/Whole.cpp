#include "framework/inspect/Whole.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Varek/Failures.h"
#include "framework/inspect/Assign.h"
#include "framework/inspect/InspectionRecords.h"
#include "framework/records/Records.h"
#include "framework/records/Untyped.h"
#include "framework/text/Strep.h"
#include "framework/wire/AttrLog.h"

namespace Qel {

namespace {

bool isByIndex( AttributeRecord const& attribute ) {
   return attribute.kind == AttributeKind::sequence || attribute.kind == AttributeKind::array;
}

Entity const& childAt( TypeRecord const& type, AttributeRecord const& attribute,
                       UntypedElements const& element ) {
   return *oldChild( type, attribute.id, element.object() );
}

/// Compares attribute number \p index of both, which holds several elements.
bool sameElements( TypeRecord const& type, std::size_t index, Entity const& a, Entity const& b ) {
   AttributeRecord const& attribute = type.attributes[index];
   AttributeInspection const& use = type.inspection[index];
   if ( attribute.size( &a ) != attribute.size( &b ) ) {
      return false;
   }
   for ( UntypedElements one( attribute, &a ); one; one.next() ) {
      UntypedValue const key = one.key();
      if ( attribute.childType ) {
         Entity const* const other = use.child( &b, key.get() );
         if ( !other || !( childAt( type, attribute, one ) == *other ) ) {
            return false;
         }
      } else {
         void const* const other = use.find( &b, key.get() );
         if ( !other || !one.objectTable().equal( one.object(), other ) ) {
            return false;
         }
      }
   }
   return true;
}

bool sameAttribute( TypeRecord const& type, std::size_t index, Entity const& a, Entity const& b ) {
   AttributeRecord const& attribute = type.attributes[index];
   if ( attribute.iterate ) {
      return sameElements( type, index, a, b );
   }
   if ( attribute.child ) {
      Entity const* const one = attribute.child( &a );
      Entity const* const other = attribute.child( &b );
      return one && other ? *one == *other : one == other;
   }
   return !attribute.read || attribute.value->equal( attribute.read( &a ), attribute.read( &b ) );
}

void entityPrint( Varek::String& to, Entity const& entity );

void elementPrint( Varek::String& to, TypeRecord const& type, AttributeRecord const& attribute,
                   UntypedElements const& element ) {
   if ( attribute.childType ) {
      entityPrint( to, childAt( type, attribute, element ) );
   } else {
      element.objectTable().print( to, element.object() );
   }
}

/// The keys of values are inside of them; all others are printed.
bool isKeyBeside( AttributeRecord const& attribute ) {
   return attribute.childType || attribute.kind == AttributeKind::map ||
          attribute.kind == AttributeKind::ordered;
}

void elementsPrint( Varek::String& to, TypeRecord const& type, AttributeRecord const& attribute,
                    Entity const& entity ) {
   std::vector<std::pair<UntypedValue, Varek::String>> elements;
   for ( UntypedElements one( attribute, &entity ); one; one.next() ) {
      UntypedValue key = one.key();
      Varek::String text;
      if ( isKeyBeside( attribute ) ) {
         key.table().print( text, key.get() );
         text += ": ";
      }
      elementPrint( text, type, attribute, one );
      elements.emplace_back( std::move( key ), std::move( text ) );
   }
   if ( !isByIndex( attribute ) && attribute.kind != AttributeKind::ordered ) {
      std::sort( elements.begin(), elements.end(), []( auto const& a, auto const& b ) {
         auto const less = a.first.table().less;
         return less ? less( a.first.get(), b.first.get() ) : a.second < b.second;
      } );
   }
   char const* separator = "[ ";
   for ( auto const& [key, text] : elements ) {
      to += separator;
      to += text;
      separator = ", ";
   }
   to += elements.empty() ? "[]" : " ]";
}

void entityPrint( Varek::String& to, Entity const& entity ) {
   TypeRecord const& type = typeRecord( entity );
   to += type.name;
   char const* separator = "( ";
   for ( AttributeRecord const& one : type.attributes ) {
      if ( !one.read && !one.iterate ) {
         continue; // it is not stored
      }
      to += separator;
      to += one.name;
      to += ": ";
      if ( one.iterate ) {
         elementsPrint( to, type, one, entity );
      } else if ( !one.child ) {
         one.value->print( to, one.read( &entity ) );
      } else if ( Entity const* const child = one.child( &entity ) ) {
         entityPrint( to, *child );
      } else {
         to += absentWord;
      }
      separator = ", ";
   }
   to += *separator == '(' ? "()" : " )";
}

} // namespace

bool operator==( Entity const& a, Entity const& b ) {
   if ( &a == &b ) {
      return true;
   }
   if ( a.typeData() != b.typeData() ) {
      return false;
   }
   TypeRecord const& type = typeRecord( a );
   for ( std::size_t i = 0; i < type.attributes.size(); ++i ) {
      if ( !sameAttribute( type, i, a, b ) ) {
         return false;
      }
   }
   return true;
}

Ptr<Entity> cloneEntity( Entity const& source ) {
   TypeRecord const& type = typeRecord( source );
   std::vector<ConstructorArgument> given;
   for ( AttributeRecord const& one : type.attributes ) {
      if ( one.kind == AttributeKind::parameter ) {
         given.push_back( { one.value, one.read( &source ) } );
      }
   }
   Ptr<Entity> made = genericIfConstructFromCtorArgs( type, given );
   assignEntity( *made, source );
   return made;
}

Varek::String entityText( Entity const& entity ) {
   Varek::String text;
   entityPrint( text, entity );
   return text;
}

std::ostream& operator<<( std::ostream& to, Entity const& entity ) {
   return to << entityText( entity );
}

void Internal::throwOtherType( Varek::TypeData wanted, Entity const* entity ) {
   throw Varek::Failure( "expected a " + std::string( typeRecord( wanted ).name ) +
                         " but there is " +
                         ( entity ? "a " + std::string( typeRecord( *entity ).name ) : "none" ) );
}

TrackedMemory trackedMemory() {
   TrackedMemory total;
   for ( Varek::ModuleInspectData const* const module : Varek::ModuleInspectData::all() ) {
      for ( Varek::TypeInspectData const* const type : module->types ) {
         if ( auto const* const tracker = typeRecord( *type ).allocations ) {
            total.liveObjects += tracker->liveObjects();
            total.liveBytes += tracker->liveBytes();
         }
      }
   }
   return total;
}

} // namespace Qel
