#include "Dot1xV2/AaaHelperLedraTypes.h"

#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "AaaHelperLedraTypes", aaaHelperLedraTypes, AaaAttribute, AaaRequestType,
            AaaResponseType, AaaResponse );

Varek::Ptr<AaaResponse> aaaResponseFactory( AaaResponseType type ) {
   return AaaResponse::AaaResponseIs( type );
}

} // namespace Dot1xV2
