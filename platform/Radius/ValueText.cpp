#include "Radius/ValueText.h"

#include <variant>

#include "Radius/Dictionary.h"

namespace RadiusPktParserBase {

std::string valueName( Attribute attribute, AttrValue const& value ) {
   if ( auto const* plain = std::get_if<std::uint32_t>( &value ) ) {
      return std::string( enumeratorName( attribute, *plain ) );
   }
   if ( auto const* tagged = std::get_if<TaggedInt>( &value ) ) {
      return std::string( enumeratorName( attribute, tagged->value ) );
   }
   return {};
}

bool isOfPrefixes( Attribute attribute ) {
   auto const* const entry = dictionaryEntry( attribute );
   return entry && entry->form == Form::ipv6Prefix;
}

std::string prefixText( Attribute attribute, Lumo::IpGenPrefix const& prefix ) {
   bool const hidden = prefix.isAddress() && isOfPrefixes( attribute );
   return stringValue( prefix ) + ( hidden ? "/" + std::to_string( prefix.length() ) : "" );
}

std::string valueText( Attribute attribute, AttrValue const& value ) {
   if ( auto const* prefix = std::get_if<Lumo::IpGenPrefix>( &value ) ) {
      return prefixText( attribute, *prefix );
   }
   std::string const name = valueName( attribute, value );
   if ( name.empty() ) {
      return stringValue( value );
   }
   if ( auto const* tagged = std::get_if<TaggedInt>( &value ) ) {
      return std::string( ":" ) + std::to_string( tagged->tag ) + " " + name + " (" +
             std::to_string( tagged->value ) + ")";
   }
   return name + " (" + stringValue( value ) + ")";
}

} // namespace RadiusPktParserBase
