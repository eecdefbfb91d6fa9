#include "Dot1xV2/AuthNZLedraTypes.h"

#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "AuthNZLedraTypes", authNZLedraTypes, EgressVlanAttributes, AuthZAttrs );

} // namespace Dot1xV2
