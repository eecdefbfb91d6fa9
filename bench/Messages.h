#pragma once

#include "Dot1xV2/AuthNStatus.h"
#include "answer.pb.h"

/// Protobuf messages with the contents of entities.
namespace Bench {

inline void valueSet( bench::Value& to, RadiusPktParserBase::AttrValue const& from ) {
   struct {
      bench::Value& to;
      void operator()( Varek::String const& v ) const { to.set_text( v ); }
      void operator()( RadiusPktParserBase::TaggedStr const& v ) const {
         to.mutable_tagged_text()->set_tag( v.tag );
         to.mutable_tagged_text()->set_value( v.value );
      }
      void operator()( std::uint32_t v ) const { to.set_number( v ); }
      void operator()( RadiusPktParserBase::TaggedInt const& v ) const {
         to.mutable_tagged_number()->set_tag( v.tag );
         to.mutable_tagged_number()->set_value( v.value );
      }
      void operator()( std::uint64_t v ) const { to.set_long_number( v ); }
      void operator()( Lumo::IpGenPrefix const& v ) const {
         to.mutable_prefix()->set_family( static_cast<unsigned>( v.family() ) );
         to.mutable_prefix()->set_length( v.length() );
         to.mutable_prefix()->set_address( v.octets().data(), v.addressSize() );
      }
      void operator()( Varek::Bytes const& v ) const { to.set_octets( v.data(), v.size() ); }
   } const set{ to };
   std::visit( set, from.variant() );
}

inline void messageFill( bench::Answer& to, Dot1xV2::AaaResponse const& from ) {
   to.set_kind( static_cast<unsigned>( from.type() ) );
   to.set_calling_station( from.callingStationId().octets().data(), 6 );
   for ( auto const& one : from.aaaAttribute() ) {
      auto* const attribute = to.add_attribute();
      attribute->set_vendor( one.attribute().vendor() );
      attribute->set_type( one.attribute().type() );
      for ( auto const& value : one.attrValue() ) {
         valueSet( *attribute->add_value(), value );
      }
   }
}

inline std::uint64_t number( Lumo::EthAddr const& address ) {
   std::uint64_t all = 0;
   for ( std::uint8_t const octet : address.octets() ) {
      all = all << 8 | octet;
   }
   return all;
}

inline void messageFill( bench::EgressVlans& to, Dot1xV2::EgressVlanAttributes const& from ) {
   for ( auto const& name : from.egressVlanNameTagged() ) {
      to.add_name_tagged( name );
   }
   for ( auto const& name : from.egressVlanNameUntagged() ) {
      to.add_name_untagged( name );
   }
   for ( auto const& id : from.egressVlanIdTagged() ) {
      to.add_id_tagged( id.value() );
   }
   for ( auto const& id : from.egressVlanIdUntagged() ) {
      to.add_id_untagged( id.value() );
   }
   to.set_ingress_filters( from.ingressFilters() );
}

inline void messageFill( bench::Phase& to, Dot1xV2::AuthNPhaseStatus const& from ) {
   to.set_phase( static_cast<unsigned>( from.phase().value() ) );
   to.set_stage( static_cast<unsigned>( from.stage() ) );
   to.set_method( static_cast<unsigned>( from.authNMethod() ) );
   to.set_terminate_cause( static_cast<unsigned>( from.terminateCause() ) );
   if ( auto const answer = from.aaaResponse() ) {
      messageFill( *to.mutable_answer(), *answer );
   }
}

inline void messageFill( bench::Supplicant& to, Dot1xV2::AuthNSupplicantStatus const& from ) {
   to.set_mac( number( from.mac() ) );
   to.set_interface( from.intfId().value() );
   to.set_auth_phase( static_cast<unsigned>( from.authPhase().value() ) );
   for ( auto const& node : from.phaseStatus() ) {
      messageFill( *to.add_phase(), *node.child );
   }
   to.set_in_eapol_auth( from.inEapolAuth() );
   messageFill( *to.mutable_egress_vlans(), from.egressVlanAttrs() );
   to.set_identity( from.identity() );
   to.set_class_attr( from.classAttr().data(), from.classAttr().size() );
   to.set_last_success( from.lastAuthSuccessTime().count() );
   to.set_service_type( from.serviceType() );
   to.set_vlan( from.vlanId() );
   to.set_tagged( from.isTagged() );
   to.set_tag( from.vTag().value() );
   to.set_trigger_event( static_cast<unsigned>( from.triggerEvent() ) );
}

} // namespace Bench
