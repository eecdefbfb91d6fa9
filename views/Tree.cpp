#include "views/Tree.h"

#include <algorithm>
#include <cstddef>

#include "framework/records/Untyped.h"
#include "framework/records/ValueTable.h"
#include "framework/text/Strep.h"
#include "framework/wire/AttrLog.h"
#include "views/ValueForms.h"

namespace Views {

namespace {

using Qel::AttributeKind;
using Qel::UntypedElements;
using Qel::UntypedValue;
using Varek::Inspect::AtomicFnTable;

/// The child that the pointer at \p held points to. Old values of changes and elements of
/// collections hold the same pointers.
Qel::Entity const* childAt( Qel::TypeRecord const& type, Qel::AttributeRecord const& attribute,
                            void const* held ) {
   return Qel::oldChild( type, attribute.id, held );
}

Part::Form formOf( std::string_view type ) {
   static constexpr std::string_view numbers[] = { "U8", "U16", "U32", "U64", "Varek::Duration" };
   return type == "bool"                                              ? Part::Form::boolean
          : type == "Varek::String"                                   ? Part::Form::text
          : std::ranges::find( numbers, type ) != std::end( numbers ) ? Part::Form::number
                                                                      : Part::Form::word;
}

struct Keyed {
   UntypedValue key;
   Part part;
};

/// The order of keys whose type has none: by their text, or attribute by attribute.
bool textLess( Part const& x, Part const& y ) {
   return x.text != y.text ? x.text < y.text
                           : std::ranges::lexicographical_compare( x.parts, y.parts, textLess );
}

bool keyLess( Keyed const& a, Keyed const& b ) {
   auto const less = a.key.table().less;
   return less ? less( a.key.get(), b.key.get() )
               : textLess( a.part.key.front(), b.part.key.front() );
}

Part keyPart( UntypedValue const& key ) { return valuePart( key.table(), key.get() ); }

Part childPart( Qel::Entity const* child, Children children ) {
   if ( !child || children == Children::whole ) {
      return child ? entityPart( *child ) : Part();
   }
   Part result = bareEntity( child );
   result.unopened = child;
   return result;
}

Part elementPart( Qel::TypeRecord const& type, Qel::AttributeRecord const& attribute,
                  UntypedElements const& at, Children children ) {
   if ( attribute.childType ) {
      return childPart( childAt( type, attribute, at.object() ), children );
   }
   return valuePart( at.objectTable(), at.object() );
}

bool isKeyed( AttributeKind kind ) {
   return kind == AttributeKind::collection || kind == AttributeKind::children ||
          kind == AttributeKind::map || kind == AttributeKind::ordered;
}

std::vector<Part> attributeParts( Qel::TypeRecord const& type, void const* object,
                                  Children children = Children::whole ) {
   std::vector<Part> result;
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      if ( isShown( one ) ) {
         result.push_back( attributePart( type, one, object, children ) );
      }
   }
   return result;
}

/// The attribute, and perhaps the key, under which \p owner holds \p child.
Part stepTo( Qel::Entity const& owner, Qel::Entity const& child ) {
   Qel::TypeRecord const& type = Qel::typeRecord( owner );
   Part step;
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      if ( !one.childType || one.childType() != child.typeData() ) {
         continue;
      }
      step.name = one.name;
      if ( one.kind == AttributeKind::child ) {
         if ( one.child( &owner ) == &child ) {
            return step;
         }
         continue;
      }
      // The key of a child is its constructor parameter.
      Qel::AttributeRecord const* const key = Qel::typeRecord( child ).parameter();
      UntypedElements const at( one, &owner, key ? key->read( &child ) : nullptr );
      if ( at && childAt( type, one, at.object() ) == &child ) {
         step.key.push_back( keyPart( at.key() ) );
         return step;
      }
   }
   return step;
}

/// The present value of \p attribute; if it holds several, the element that \p change speaks of.
Part presentPart( Qel::TypeRecord const& type, Qel::AttributeRecord const& attribute,
                  Varek::Change const& change ) {
   auto const& entity = Qel::entityOf( change );
   if ( attribute.kind == AttributeKind::child ) {
      return bareEntity( attribute.child( &entity ) );
   }
   if ( !change.keyData() || !attribute.iterate ) {
      return attribute.read ? valuePart( *attribute.value, attribute.read( &entity ) ) : Part();
   }
   UntypedElements const at( attribute, &entity, change.keyData() );
   if ( !at ) {
      return {};
   }
   return attribute.childType ? bareEntity( childAt( type, attribute, at.object() ) )
                              : valuePart( at.objectTable(), at.object() );
}

} // namespace

bool isShown( Qel::AttributeRecord const& attribute ) {
   return attribute.kind != AttributeKind::constant && attribute.kind != AttributeKind::derived;
}

Part severalPart( Qel::AttributeRecord const& attribute, void const* object,
                  std::function<Part( UntypedElements const& )> const& element ) {
   bool const keyed = isKeyed( attribute.kind );
   std::vector<Keyed> all;
   for ( UntypedElements at( attribute, object ); at; at.next() ) {
      Keyed& one = all.emplace_back( Keyed{ at.key(), element( at ) } );
      one.part.key.push_back( keyPart( one.key ) );
   }
   if ( attribute.salted ) {
      std::ranges::sort( all, keyLess );
   }
   Part result;
   result.form = keyed ? Part::Form::keyed : Part::Form::list;
   for ( Keyed& one : all ) {
      if ( !keyed ) {
         one.part.key.clear();
      }
      result.parts.push_back( std::move( one.part ) );
   }
   return result;
}

Part valuePart( AtomicFnTable const& table, void const* value ) {
   Part result;
   Varek::TypeInspectData const* const type = table.registered();
   if ( type && type->kind == Varek::TypeKind::value ) {
      result.form = Part::Form::fields;
      result.parts = attributeParts( Qel::typeRecord( *type ), value );
   } else if ( table.inspectEncodeToString ) {
      result.text = table.encode( value );
      if ( result.text == Qel::absentWord && isOptional( table ) ) {
         result.text.clear(); // nothing
      } else {
         result.form = formOf( table.typeName );
      }
   } else if ( UntypedValue const nothing( table ); !table.equal( value, nothing.get() ) ) {
      // Without text form and record, only the type is known, and whether there is a value.
      result.form = Part::Form::word;
      result.text = "(" + std::string( table.typeName ) + ")";
   }
   return result;
}

Part attributePart( Qel::TypeRecord const& type, Qel::AttributeRecord const& attribute,
                    void const* object, Children children ) {
   Part result;
   if ( attribute.kind == AttributeKind::child ) {
      result = childPart( attribute.child( object ), children );
   } else if ( attribute.iterate ) {
      result = severalPart( attribute, object, [&]( UntypedElements const& at ) {
         return elementPart( type, attribute, at, children );
      } );
   } else if ( attribute.read ) {
      result = valuePart( *attribute.value, attribute.read( object ) );
   }
   result.name = attribute.name;
   result.parameter = attribute.kind == AttributeKind::parameter;
   return result;
}

Part entityPart( Qel::Entity const& entity ) {
   Part result = bareEntity( &entity );
   result.parts = attributeParts( Qel::typeRecord( entity ), &entity );
   return result;
}

std::vector<Part> opened( Part const& part ) {
   return part.unopened ? attributeParts( Qel::typeRecord( *part.unopened ), part.unopened,
                                          Children::unopened )
                        : part.parts;
}

Part bareEntity( Qel::Entity const* entity ) {
   Part result;
   if ( entity ) {
      result.form = Part::Form::entity;
      result.type = Qel::typeRecord( *entity ).name;
   }
   return result;
}

Part rootsPart( Roots const& roots ) {
   Part result;
   result.form = Part::Form::keyed;
   for ( auto const& [name, root] : roots ) {
      Part& one = result.parts.emplace_back( childPart( root.get(), Children::unopened ) );
      one.key.push_back(
         valuePart( Varek::Inspect::InspectAtomicFnTable<Varek::String>::table, &name ) );
   }
   return result;
}

ChangePart changePart( Qel::Entity const& root, Varek::Change const& change ) {
   ChangePart result;
   Qel::Entity const* entity = &Qel::entityOf( change );
   for ( Qel::Entity const* owner = entity->parent(); entity != &root && owner;
         entity = owner, owner = entity->parent() ) {
      result.path.push_back( stepTo( *owner, *entity ) );
   }
   std::ranges::reverse( result.path );

   Qel::TypeRecord const& type = Qel::typeRecord( Qel::entityOf( change ) );
   Qel::AttributeRecord const* const attribute = type.attribute( change.id() );
   if ( !attribute ) {
      result.attribute.text = std::to_string( change.id().value() );
      return result;
   }
   result.attribute.name = attribute->name;
   if ( change.keyData() && attribute->key ) {
      result.attribute.key.push_back( valuePart( *attribute->key, change.keyData() ) );
   }
   if ( change.oldData() ) {
      result.before = attribute->childType != nullptr
                         ? bareEntity( childAt( type, *attribute, change.oldData() ) )
                         : valuePart( *attribute->value, change.oldData() );
   }
   result.after = presentPart( type, *attribute, change );
   return result;
}

} // namespace Views
