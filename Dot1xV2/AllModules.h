#pragma once

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "Dot1xV2/Dot1xV2.h"

/// To be included once by a program that is linked to the static library and handles types by their
/// records alone, as a generic follower does: a linker leaves out what nobody names. With the shared
/// library all modules are there anyway.
namespace Dot1xV2 {

[[gnu::used]] inline Varek::ModuleInspectData const* const allModules[] = {
   &aaaHelperLedraTypes, &acctStatusModule,  &authNStatusModule, &authNZLedraTypes,
   &authZStatusModule,   &dot1xStatusModule, &dot1xV2,
};

} // namespace Dot1xV2
