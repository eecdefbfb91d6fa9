#pragma once

#include <limits>

#include "Dot1xV2/Dot1xRecords.h"
#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "Radius/BreviaVendorSpec.h"
#include "Radius/RadiusAttributeId.h"

/// The accounting status that the agent publishes: a session for each supplicant (RFC 2866).
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const acctStatusModule;

/// The RADIUS attributes that go into the accounting requests of one session: text and octets,
/// standard and vendor-specific, each in a map of its own. A number may be in several maps.
class VAREK_EXPORT AcctAttributes final : public Qel::EntityOf<AcctAttributes> {
   QEL_ENTITY( AcctAttributes, acctStatusModule, 0 )

   /// Standard attributes with text (RFC 2865 5, RFC 2866 5).
   QEL_MAP( 258, RadiusPacketParser::RadiusAttributeId::RadiusAttributeIdEnum, Varek::String,
            strAttribute, 0x971DE9A7 )
   /// Vendor-specific attributes with text (RFC 2865 5.26).
   QEL_MAP( 259, RadiusPacketParser::BreviaVendorSpec::BreviaVendorSpecEnum, Varek::String,
            vsaStrAttribute, 0xF4F31B19 )
   /// Standard attributes with octets.
   QEL_MAP( 260, RadiusPacketParser::RadiusAttributeId::RadiusAttributeIdEnum, Varek::Bytes,
            byteAttribute, 0xCB1C4D72 )
   /// Vendor-specific attributes with octets.
   QEL_MAP( 261, RadiusPacketParser::BreviaVendorSpec::BreviaVendorSpecEnum, Varek::Bytes,
            vsaByteAttribute, 0xC5805228 )
};

/// One accounting session.
class VAREK_EXPORT AcctSessionState final : public Qel::EntityOf<AcctSessionState> {
   QEL_ENTITY( AcctSessionState, acctStatusModule, 1 )

   /// The supplicant's MAC address.
   QEL_PARAMETER( 258, Lumo::EthAddr, mac )
   /// The supplicant's interface.
   QEL_PLAIN( 259, Lumo::IntfId, intfId )
   /// The attributes that the session's requests carry.
   QEL_OWN_CHILD( 260, AcctAttributes, attribute )
   /// When the next interim update is due, in seconds (RFC 2869 2.1); infinity for never.
   QEL_PLAIN( 261, Varek::Duration, nextAcctUpdateTime, std::numeric_limits<double>::infinity() )
   /// Why the session ended (RFC 2866 5.10).
   QEL_PLAIN( 262, AcctTermCause, terminateCause, AcctTermCause::causeNotSet )
   /// The MAC address that the supplicant called (Called-Station-Id, RFC 3580 3.20).
   QEL_PLAIN( 263, Lumo::EthAddr, calledStationId )
   /// The LLDP TLVs of the supplicant (IEEE 802.1AB 8.5).
   QEL_PLAIN( 264, LldpProfilingInfo, lldpTlvs )
};

/// The root: the sessions by MAC address.
class VAREK_EXPORT AcctStatus final : public Qel::EntityOf<AcctStatus> {
   QEL_ENTITY( AcctStatus, acctStatusModule, 2 )
   QEL_NAME

   QEL_CHILDREN( 258, AcctSessionState, acctSessionState, 0x93DE7A50 )
   /// The number from which the identifiers of sessions are drawn (Acct-Session-Id, RFC 2866 5.5).
   QEL_COUNTER( 259, acctSessionUniqueId )
};

/// New, parentless entities.
VAREK_EXPORT Varek::Ptr<AcctAttributes> acctAttributesFactory();
VAREK_EXPORT Varek::Ptr<AcctSessionState> acctSessionStateFactory( Lumo::EthAddr const& mac );
VAREK_EXPORT Varek::Ptr<AcctStatus> acctStatusFactory( Varek::String const& name );

} // namespace Dot1xV2
