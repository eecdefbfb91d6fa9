#pragma once

#include "Dot1xV2/Dot1xRecords.h"
#include "Lumo/EthAddr.h"
#include "Varek/Export.h"

namespace Agent {

/// The user name under which a host is authenticated by its MAC address: the twelve hexadecimal
/// digits in groups of userNameGroupSize from the left, with userNameDelim between the groups. The
/// last group has the rest. A size of 0, or of 12 and more, makes a single group. Only the digits
/// have a case; the delimiter stays as it is.
VAREK_EXPORT VAREK_EXPORT Varek::String mbaUserName( Lumo::EthAddr const&,
                                                     Dot1xV2::MbaUserName const& );

} // namespace Agent
