#pragma once

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AuthZStatus.h"
#include "views/Table.h"

/// The values of the tables in both of their forms.
namespace Dot1xCtl {

Views::Cell cell( Lumo::EthAddr const& );
/// Nothing for the empty name.
Views::Cell cell( Lumo::IntfId );
/// Nothing for none.
Views::Cell cell( Bridging::VlanIdOrNone );
/// A text: in the text form escaped and without quotes; an empty text is an empty cell.
Views::Cell cell( Varek::String const& );
Views::Cell cell( std::optional<Varek::String> const& );
Views::Cell cell( Varek::Bytes const& );
Views::Cell cell( bool );
Views::Cell cell( std::uint32_t );

/// An enumerator: in full in JSON, short in text: "done" for authNZCompleted.
Views::Cell cell( Dot1xV2::AuthNZPhaseEnum );
Views::Cell cell( Dot1xV2::AuthNPhaseStage );
Views::Cell cell( Dot1xV2::AuthNMethod );
Views::Cell cell( Dot1xV2::AcctTermCause );
Views::Cell cell( Dot1xV2::PortAuthState );

/// \p tagged and \p untagged VLANs, and ingress filtering; nothing for the default.
Views::Cell cell( Dot1xV2::EgressVlanAttributes const& );

/// A time since 1970 in UTC, in text to the second. \p from makes the text begin with the year (0)
/// or the month (5). An empty cell for 0, infinity and times outside of the calendar.
Views::Cell timeCell( Varek::Duration, std::size_t from = 0 );

/// The attributes of an answer with their values; in JSON an object of arrays of text.
Views::Cell cell( Dot1xV2::AaaResponse const& );

} // namespace Dot1xCtl
