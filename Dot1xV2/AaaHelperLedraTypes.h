#pragma once

#include "Lumo/EthAddr.h"
#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"
#include "forms/AddressForms.h"
#include "forms/RadiusForms.h"
#include "framework/declare/Declare.h"

/// Answers of the AAA (RADIUS) server, as they pass between an 802.1X agent and its RADIUS client.
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const aaaHelperLedraTypes;

/// A RADIUS attribute of an answer, with every value that the answer gave for it. Equality includes
/// the order of the values.
class VAREK_EXPORT AaaAttribute final : public Qel::ValueOf<AaaAttribute> {
   QEL_VALUE( AaaAttribute, aaaHelperLedraTypes, 0 )

   /// The attribute, standard or vendor-specific (RFC 2865 5).
   QEL_PARAMETER( 2, RadiusPktParserBase::Attribute, attribute )

   /// The values in the order of the packet; an attribute may occur several times (RFC 2865 5).
   QEL_SEQUENCE( 3, RadiusPktParserBase::AttrValue, attrValue )
};

/// The kind of a request to the AAA server (RFC 2865 4.1, RFC 2866 5.1).
QEL_ENUM( AaaRequestType, unsigned char, aaaHelperLedraTypes, 1, accessRequest, acctStart, acctStop,
          acctInterim );

/// The kind of an answer; "timeout" if no answer came (RFC 2865 4.2 to 4.4, RFC 2866 4.2).
QEL_ENUM( AaaResponseType, unsigned char, aaaHelperLedraTypes, 2, rejected, accepted, challenge,
          timeout, acctResponse );

/// One answer of the AAA server for a supplicant.
class VAREK_EXPORT AaaResponse final : public Qel::EntityOf<AaaResponse> {
   QEL_ENTITY( AaaResponse, aaaHelperLedraTypes, 3 )

   /// The kind of answer.
   QEL_PARAMETER( 258, AaaResponseType, type )

   /// The supplicant's MAC address, as the request gave it in Calling-Station-Id (RFC 3580 3.21).
   QEL_PLAIN( 259, Lumo::EthAddr, callingStationId )

   /// The attributes of the answer.
   QEL_COLLECTION( 260, AaaAttribute, attribute, aaaAttribute, 0xE0935DCA )
};

/// A new, parentless AaaResponse of kind \p type, without attributes, calling station all zero.
VAREK_EXPORT Varek::Ptr<AaaResponse> aaaResponseFactory( AaaResponseType type );

} // namespace Dot1xV2
