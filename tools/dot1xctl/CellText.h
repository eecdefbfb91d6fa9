#pragma once

#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Table.h"

/// The values of the tables in both of their forms.
namespace Dot1xCtl {

Cell cell( Lumo::EthAddr const& );
/// Nothing for the empty one.
Cell cell( Lumo::IntfId );
/// Nothing for none.
Cell cell( Bridging::VlanIdOrNone );
/// Text in text without quotes, escaped; nothing for no text.
Cell cell( Varek::String const& );
Cell cell( std::optional<Varek::String> const& );
Cell cell( Varek::Bytes const& );
Cell cell( bool );
Cell cell( std::uint32_t );

/// Enumerators are whole in JSON and short in text: "done" of authNZCompleted.
Cell cell( Dot1xV2::AuthNZPhaseEnum );
Cell cell( Dot1xV2::AuthNPhaseStage );
Cell cell( Dot1xV2::AuthNMethod );
Cell cell( Dot1xV2::AcctTermCause );
Cell cell( Dot1xV2::PortAuthState );

/// \p tagged and \p untagged VLANs, and ingress filtering; nothing for the default.
Cell cell( Dot1xV2::EgressVlanAttributes const& );

/// A time since 1970 in UTC, in text to the second. \p from begins with the year (0) or the month
/// (5). Nothing for 0, for infinity and for what is no time of a calendar.
Cell timeCell( Varek::Duration, std::size_t from = 0 );

/// Each attribute of an answer with its values; in JSON an object of arrays of text.
Cell cell( Dot1xV2::AaaResponse const& );

} // namespace Dot1xCtl
