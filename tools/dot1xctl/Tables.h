#pragma once

#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "views/Table.h"
#include "views/Tree.h"

/// The state of an authenticator as tables, from its typed trees, whoever holds them: the process
/// that keeps them and one that follows print the same. Rows are in the order of ports and
/// addresses.
namespace Dot1xCtl {

/// The trees of an authenticator's state among those of a process; null if a tree is missing.
struct StateRoots {
   Varek::Ptr<Dot1xV2::AuthNStatus> authN;
   Varek::Ptr<Dot1xV2::AuthZStatus> authZ;
   Varek::Ptr<Dot1xV2::AcctStatus> acct;

   explicit StateRoots( Views::Roots const& );
   explicit operator bool() const { return authN || authZ || acct; }
};

Views::Table portsTable( Dot1xV2::AuthZStatus const& );
/// VLAN and filter come from the server's answer, for authorized supplicants. \p authZ may be null.
Views::Table supplicantsTable( Dot1xV2::AuthNStatus const&, Dot1xV2::AuthZStatus const* authZ );
Views::Table blockedTable( Dot1xV2::AuthZStatus const& );
Views::Table sessionsTable( Dot1xV2::AcctStatus const& );

/// All that is known of one supplicant, in one row.
Views::Table supplicantTable( Dot1xV2::AuthNSupplicantStatus const&,
                              Dot1xV2::AuthZStatus const* authZ );

} // namespace Dot1xCtl
