#include "agent/Derivation.h"

#include <charconv>
#include <cstdint>
#include <map>
#include <variant>

namespace Agent {

namespace {

using Dot1xV2::AaaResponse;
using Dot1xV2::EgressVlanAttributes;
using RadiusPktParserBase::TaggedInt;
using RadiusPktParserBase::TaggedStr;

constexpr std::uint32_t tunnelTypeVlan = 13;
constexpr std::uint32_t tunnelMediumIeee802 = 6;
constexpr std::uint16_t highestVlan = 4094;

/// The values of a standard attribute that have the form \p T.
template<class T>
std::vector<T> valuesOf( AaaResponse const& response, std::uint16_t type ) {
   std::vector<T> result;
   if ( auto const* held = response.aaaAttribute( RadiusPktParserBase::Attribute( 0, type ) ) ) {
      for ( auto const& value : held->attrValue() ) {
         if ( auto const* one = std::get_if<T>( &value.variant() ) ) {
            result.push_back( *one );
         }
      }
   }
   return result;
}

/// The values by tag; the first value of each tag counts.
std::map<std::uint8_t, std::uint32_t> tagged( AaaResponse const& response, std::uint16_t type ) {
   std::map<std::uint8_t, std::uint32_t> result;
   for ( TaggedInt const& one : valuesOf<TaggedInt>( response, type ) ) {
      result.try_emplace( one.tag, one.value );
   }
   return result;
}

bool holds( std::map<std::uint8_t, std::uint32_t> const& values, std::uint8_t tag,
            std::uint32_t value ) {
   auto const at = values.find( tag );
   return at != values.end() && at->second == value;
}

/// The word is an 8-bit tag indication, 12 bits of zero and the VLAN number (RFC 4675 2.1).
void egressVlanIdPush( EgressVlanAttributes& to, std::uint32_t word, bool& any ) {
   std::uint32_t const vlan = word & 0xfff;
   bool const isTagged = word >> 12 == 0x31000;
   if ( ( isTagged || word >> 12 == 0x32000 ) && vlan >= 1 && vlan <= highestVlan ) {
      Bridging::VlanId const id( static_cast<std::uint16_t>( vlan ) );
      isTagged ? to.egressVlanIdTaggedPush( id ) : to.egressVlanIdUntaggedPush( id );
      any = true;
   }
}

/// The text is a tag indication and the name (RFC 4675 2.3).
void egressVlanNamePush( EgressVlanAttributes& to, Varek::String const& text, bool& any ) {
   if ( text.size() > 1 && ( text[0] == '1' || text[0] == '2' ) ) {
      Varek::String const name = text.substr( 1 );
      text[0] == '1' ? to.egressVlanNameTaggedPush( name ) : to.egressVlanNameUntaggedPush( name );
      any = true;
   }
}

template<class T>
std::optional<T> copied( T const* value ) {
   return value ? std::optional<T>( *value ) : std::nullopt;
}

} // namespace

std::optional<Varek::String> vlanOf( AaaResponse const& response ) {
   constexpr std::uint32_t withoutPreference = 1u << 24; // above any preference, which has 24 bits
   auto const types = tagged( response, RadiusId::tunnelType );
   auto const media = tagged( response, RadiusId::tunnelMediumType );
   auto const preferences = tagged( response, RadiusId::tunnelPreference );
   std::optional<Varek::String> best;
   std::uint32_t bestPreference = 0;
   for ( TaggedStr const& group :
         valuesOf<TaggedStr>( response, RadiusId::tunnelPrivateGroupId ) ) {
      if ( group.value.empty() || !holds( types, group.tag, tunnelTypeVlan ) ||
           !holds( media, group.tag, tunnelMediumIeee802 ) ) {
         continue;
      }
      auto const at = preferences.find( group.tag );
      std::uint32_t const preference = at != preferences.end() ? at->second : withoutPreference;
      if ( !best || preference < bestPreference ) {
         best = group.value;
         bestPreference = preference;
      }
   }
   return best;
}

Bridging::VlanIdOrNone vlanNumber( std::string_view vlan ) {
   std::uint16_t number = 0;
   auto const [end, error] = std::from_chars( vlan.data(), vlan.data() + vlan.size(), number );
   bool const whole = error == std::errc() && end == vlan.data() + vlan.size();
   return Bridging::VlanIdOrNone( whole && number <= highestVlan ? number : std::uint16_t{ 0 } );
}

std::optional<EgressVlanAttributes> egressVlanOf( AaaResponse const& response ) {
   constexpr std::uint32_t enabled = 1, disabled = 2;
   auto const* const filters = firstValue<std::uint32_t>( response, RadiusId::ingressFilters );
   bool any = filters && ( *filters == enabled || *filters == disabled );
   EgressVlanAttributes result( any && *filters == enabled );
   for ( std::uint32_t const word : valuesOf<std::uint32_t>( response, RadiusId::egressVlanId ) ) {
      egressVlanIdPush( result, word, any );
   }
   for ( Varek::String const& text :
         valuesOf<Varek::String>( response, RadiusId::egressVlanName ) ) {
      egressVlanNamePush( result, text, any );
   }
   return any ? std::optional( result ) : std::nullopt;
}

Dot1xV2::AuthZAttrs authZAttrsOf( AaaResponse const& response ) {
   Dot1xV2::AuthZAttrs result;
   result.identityIs( copied( firstValue<Varek::String>( response, RadiusId::userName ) ) );
   result.vlanIdIs( vlanOf( response ) );
   result.filterIdIs( copied( firstValue<Varek::String>( response, RadiusId::filterId ) ) );
   Varek::String rules;
   for ( Varek::String const& one : valuesOf<Varek::String>( response, RadiusId::nasFilterRule ) ) {
      rules += one;
   }
   if ( !rules.empty() ) {
      result.nasFilterRuleIs( rules );
   }
   result.egressVlanIs( egressVlanOf( response ) );
   return result;
}

} // namespace Agent
