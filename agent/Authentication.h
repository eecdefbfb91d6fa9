#pragma once

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Varek/Export.h"
#include "agent/Asked.h"
#include "capture/Eapol.h"

namespace Dot1xV2 {
class AuthNStatus;
class AuthNSupplicantStatus;
} // namespace Dot1xV2

/// Keeps an AuthNStatus: the progress of each supplicant's authentication, and the AAA server's
/// answer. Only authNZPhase1 is used, since a capture does not show which phases a port has.
///
/// The data of an outcome is set before its stage, and a phase's record before the supplicant is
/// said to be in that phase. So an observer of the stage finds the data, and an observer of the
/// phase finds the record.
namespace Agent {

class VAREK_EXPORT Authentication {
public:
   explicit Authentication( Dot1xV2::AuthNStatus& status ) : status_( status ) {}

   /// A request was sent. \p authorized says whether the supplicant is authorized already: then
   /// its identity stays until the answer.
   void asked( Asked const&, bool authorized );
   void challenged( Asked const&, Dot1xV2::AaaResponse const& );
   void accepted( Asked const&, Dot1xV2::AaaResponse const&, Capture::Time );
   void rejected( Asked const&, Dot1xV2::AaaResponse const& );
   /// No answer came.
   void timedOut( Asked const& );

   void eapol( Capture::Eapol const&, bool authorized );

   /// The record of the supplicant; null for an unknown supplicant.
   Varek::Ptr<Dot1xV2::AuthNSupplicantStatus> supplicant( Lumo::EthAddr const& mac ) const;

private:
   Dot1xV2::AuthNStatus& status_;
};

} // namespace Agent
