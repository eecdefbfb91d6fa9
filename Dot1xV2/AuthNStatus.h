#pragma once

#include "Bridging/VlanId.h"
#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Dot1xV2/AuthNZPhase.h"
#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "forms/AddressForms.h"
#include "framework/declare/Declare.h"

/// The authentication status that the agent publishes: a record for each supplicant, and in it a
/// record for each phase of its authentication.
namespace Dot1xV2 {

/// One phase of one supplicant: how far it is, by which method, and what the AAA server answered.
class VAREK_EXPORT AuthNPhaseStatus final : public Qel::EntityOf<AuthNPhaseStatus> {
   QEL_ENTITY( AuthNPhaseStatus, authNStatusModule, 2 )

   /// The phase.
   QEL_PARAMETER( 258, AuthNZPhaseType, phase )
   /// The stage that the phase has reached.
   QEL_PLAIN( 259, AuthNPhaseStage, stage, AuthNPhaseStage::phaseNotStarted )
   /// The method of the phase.
   QEL_PLAIN( 260, AuthNMethod, authNMethod, AuthNMethod::noneAuth )
   /// The answer of the last exchange with the AAA server; an answer of another kind replaces it.
   QEL_CHILD( 261, AaaResponse, aaaResponse )
   /// Why the phase was ended.
   QEL_PLAIN( 262, AcctTermCause, terminateCause, AcctTermCause::causeNotSet )
};

/// One supplicant: where it stands, and what the AAA server said about it.
class VAREK_EXPORT AuthNSupplicantStatus final : public Qel::EntityOf<AuthNSupplicantStatus> {
   QEL_ENTITY( AuthNSupplicantStatus, authNStatusModule, 3 )

   /// Its MAC address.
   QEL_PARAMETER( 258, Lumo::EthAddr, mac )
   /// The supplicant's interface.
   QEL_PLAIN( 259, Lumo::IntfId, intfId )
   /// Where it stands in the sequence of phases.
   QEL_PLAIN( 260, AuthNZPhase, authPhase )
   /// The phases that have begun.
   QEL_CHILDREN( 261, AuthNPhaseStatus, phaseStatus, 0x3D444C63 )
   /// Whether an EAPOL authentication is under way.
   QEL_PLAIN( 262, bool, inEapolAuth, false )
   /// Its egress VLANs, as received (RFC 4675).
   QEL_PLAIN( 263, EgressVlanAttributes, egressVlanAttrs )
   /// The supplicant's identity (User-Name, RFC 2865 5.1).
   QEL_PLAIN( 264, Varek::String, identity )
   /// The Class attribute that its accounting requests repeat (RFC 2865 5.25).
   QEL_PLAIN( 265, Varek::Bytes, classAttr )
   /// When its authentication last succeeded, in seconds.
   QEL_PLAIN( 266, Varek::Duration, lastAuthSuccessTime, 0.0 )
   /// Service-Type (RFC 2865 5.6); all ones while none has been received.
   QEL_PLAIN( 267, std::uint32_t, serviceType, 0xFFFFFFFF )
   /// The VLAN that it is assigned to; 0 for none.
   QEL_PLAIN( 268, std::uint32_t, vlanId, 0 )
   /// Whether its frames are tagged.
   QEL_PLAIN( 269, bool, isTagged, false )
   /// The VLAN tag of its frames.
   QEL_PLAIN( 270, Bridging::VlanIdOrNone, vTag )
   /// The frame that started its authentication.
   QEL_PLAIN( 271, AuthNEventType, triggerEvent, AuthNEventType::eapolPktRx )

   /// The method of the last phase that succeeded; invalidAuthNMethod if none did.
   QEL_DERIVED( 272, AuthNMethod, successfulAuthNMethod )
   AuthNMethod successfulAuthNMethod() const;
   /// The method of the present phase; after completion, the successful method. The caller sees to
   /// it that the phase has a record: without a record the accessor ends the process, and
   /// inspection has no reading. A mirror may lack the record for a moment, since the phase comes
   /// before it.
   QEL_DERIVED( 273, AuthNMethod, currentAuthNMethod, hasCurrentPhaseStatus )
   AuthNMethod currentAuthNMethod() const;
   // Whether the present phase has a record, or needs none.
   bool hasCurrentPhaseStatus() const;
   /// The last phase that has begun and has not failed; authNZInit if there is none.
   QEL_DERIVED( 274, AuthNZPhaseType, activePhaseType )
   AuthNZPhaseType activePhaseType() const;
};

/// The root: the supplicants by MAC address.
class VAREK_EXPORT AuthNStatus final : public Qel::EntityOf<AuthNStatus> {
   QEL_ENTITY( AuthNStatus, authNStatusModule, 4 )
   QEL_NAME

   QEL_CHILDREN( 258, AuthNSupplicantStatus, supplicant, 0x6C578B85 )
};

/// A new, parentless supplicant record.
VAREK_EXPORT Varek::Ptr<AuthNSupplicantStatus>
authNSupplicantStatusFactory( Lumo::EthAddr const& mac );
/// A new root, without supplicants.
VAREK_EXPORT Varek::Ptr<AuthNStatus> authNStatusFactory( Varek::String const& name );

} // namespace Dot1xV2
