#pragma once

#include <optional>

#include "Lumo/EthAddr.h"
#include "views/Table.h"
#include "views/Tree.h"

namespace Dot1xV2 {
class AcctStatus;
class AuthNStatus;
class AuthZStatus;
} // namespace Dot1xV2

/// The state of an authenticator as tables, from its typed trees. The process that keeps the trees
/// and a process that follows print the same. Rows are in the order of ports and addresses.
namespace Dot1xCtl {

/// The trees of an authenticator's state among those of a process; null if a tree is missing.
struct StateRoots {
   Varek::Ptr<Dot1xV2::AuthNStatus> authN;
   Varek::Ptr<Dot1xV2::AuthZStatus> authZ;
   Varek::Ptr<Dot1xV2::AcctStatus> acct;

   explicit StateRoots( Views::Roots const& );
   ~StateRoots();
   /// All three, without contents.
   static StateRoots empty();
   explicit operator bool() const { return authN || authZ || acct; }
};

Views::Table portsTable( Dot1xV2::AuthZStatus const& );
/// VLAN and filter come from the server's answer, for authorized supplicants. \p authZ may be null.
Views::Table supplicantsTable( Dot1xV2::AuthNStatus const&, Dot1xV2::AuthZStatus const* authZ );
Views::Table blockedTable( Dot1xV2::AuthZStatus const& );
Views::Table sessionsTable( Dot1xV2::AcctStatus const& );

/// All that is known of one supplicant, in one row; nothing if there is no such supplicant.
std::optional<Views::Table> supplicantTable( StateRoots const&, Lumo::EthAddr const& mac );

} // namespace Dot1xCtl
