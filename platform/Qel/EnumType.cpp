#include "Qel/EnumType.h"

#include <algorithm>
#include <ostream>

#include "Varek/Failures.h"

namespace Qel {

using Varek::EnumeratorData;
using Varek::TypeInspectData;

// Most enumerations count from 0 without a gap, where the value is the index.
EnumeratorData const* enumerator( TypeInspectData const& type, std::uint32_t value ) {
   auto const& all = type.enumerators;
   if ( value < all.size() && all[value].value == value ) {
      return &all[value];
   }
   auto const at = std::lower_bound( all.begin(), all.end(), value,
                                     []( auto& one, auto wanted ) { return one.value < wanted; } );
   return at != all.end() && at->value == value ? &*at : nullptr;
}

EnumeratorData const* enumerator( TypeInspectData const& type, std::string_view name ) {
   auto const& all = type.enumerators;
   auto const& index = type.enumeratorsByName;
   auto const at =
      std::lower_bound( index.begin(), index.end(), name,
                        [&]( auto one, auto wanted ) { return all[one].name < wanted; } );
   return at != index.end() && all[*at].name == name ? &all[*at] : nullptr;
}

namespace {

/// The value of the enumerator \p name, found in \p text at \p position. Errors show \p text.
std::uint32_t namedValue( TypeInspectData const& type, std::string_view name, std::string_view text,
                          std::size_t position ) {
   EnumeratorData const* const found = enumerator( type, name );
   if ( !found ) {
      throw Varek::TextError( "an enumerator of " + std::string( type.name ), text, position );
   }
   return found->value;
}

} // namespace

template<std::unsigned_integral Width>
Width EnumType<Width>::instance( unsigned value, Module const& module, std::uint32_t index ) {
   TypeInspectData const& type = *module.types[index];
   EnumeratorData const* const found = enumerator( type, std::uint32_t{ value } );
   if ( !found ) {
      throw Varek::RangeError( std::to_string( value ) + " is no enumerator of " +
                               std::string( type.name ) );
   }
   return static_cast<Width>( found->value );
}

template<std::unsigned_integral Width>
Width EnumType<Width>::instance( char const* name, Module const& module, std::uint32_t index ) {
   return instance( Varek::String( name ), module, index );
}

template<std::unsigned_integral Width>
Width EnumType<Width>::instance( Varek::String const& name, Module const& module,
                                 std::uint32_t index ) {
   return static_cast<Width>( namedValue( *module.types[index], name, name, 0 ) );
}

template<std::unsigned_integral Width>
Varek::String EnumType<Width>::stringValue( Width value, Module const& module,
                                            std::uint32_t index ) {
   EnumeratorData const* const found = enumerator( *module.types[index], std::uint32_t{ value } );
   return found ? Varek::String( found->name ) : std::to_string( value );
}

template<std::unsigned_integral Width>
std::ostream& EnumType<Width>::operatorLessLess( std::ostream& out, Width value,
                                                 Module const& module, std::uint32_t index ) {
   return out << stringValue( value, module, index );
}

template<std::unsigned_integral Width>
void EnumType<Width>::sequenceToValue( CharRange& range, Width* value, Module const& module,
                                       std::uint32_t index ) {
   std::string_view const name = range.identifier();
   *value = static_cast<Width>(
      namedValue( *module.types[index], name, range.text(), range.position() ) );
   range.advance( name.size() );
}

template class EnumType<unsigned char>;
template class EnumType<unsigned int>;

} // namespace Qel
