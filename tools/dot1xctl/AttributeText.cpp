#include "AttributeText.h"

#include <variant>

#include "Radius/Dictionary.h"

namespace Dot1xCtl {

std::string valueName( RadiusPktParserBase::Attribute attribute,
                       RadiusPktParserBase::AttrValue const& value ) {
   if ( auto const* plain = std::get_if<std::uint32_t>( &value ) ) {
      return std::string( RadiusPktParserBase::enumeratorName( attribute, *plain ) );
   }
   if ( auto const* tagged = std::get_if<RadiusPktParserBase::TaggedInt>( &value ) ) {
      return std::string( RadiusPktParserBase::enumeratorName( attribute, tagged->value ) );
   }
   return {};
}

bool isOfPrefixes( RadiusPktParserBase::Attribute attribute ) {
   auto const* const entry = RadiusPktParserBase::dictionaryEntry( attribute );
   return entry != nullptr && entry->form == RadiusPktParserBase::Form::ipv6Prefix;
}

std::string prefixText( RadiusPktParserBase::Attribute attribute,
                        Lumo::IpGenPrefix const& prefix ) {
   bool const hidden = prefix.isAddress() && isOfPrefixes( attribute );
   return stringValue( prefix ) + ( hidden ? "/" + std::to_string( prefix.length() ) : "" );
}

std::string valueText( RadiusPktParserBase::Attribute attribute,
                       RadiusPktParserBase::AttrValue const& value ) {
   if ( auto const* prefix = std::get_if<Lumo::IpGenPrefix>( &value ) ) {
      return prefixText( attribute, *prefix );
   }
   std::string const name = valueName( attribute, value );
   if ( name.empty() ) {
      return stringValue( value );
   }
   if ( auto const* tagged = std::get_if<RadiusPktParserBase::TaggedInt>( &value ) ) {
      return std::string( ":" ) + std::to_string( tagged->tag ) + " " + name + " (" +
             std::to_string( tagged->value ) + ")";
   }
   return name + " (" + stringValue( value ) + ")";
}

std::string counted( std::uint64_t count, char const* one, char const* several ) {
   return std::to_string( count ) + " " + ( count == 1 ? one : several );
}

std::string printable( std::string_view text ) {
   std::string result;
   for ( char const c : text ) {
      if ( c == '\n' ) {
         result += c;
      } else {
         Varek::appendPrintable( result, c );
      }
   }
   return result;
}

std::string quoted( Varek::String const& text ) {
   return stringValue( RadiusPktParserBase::AttrValue( text ) );
}

std::string escaped( std::string const& text ) {
   std::string const inQuotes = quoted( text );
   return inQuotes.substr( 1, inQuotes.size() - 2 );
}

} // namespace Dot1xCtl
