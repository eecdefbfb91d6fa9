#include "Dot1xV2/Dot1xV2.h"

#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "Dot1xV2", dot1xV2, AttributeSource, AuthNMethod, AuthNZPhaseEnum, AuthNPhaseStage,
            AuthNEventType, CannedEapResponse, DestMac, CachingEventType, DeviceType, Dot1xAclMode,
            Dot1xAclInputPriority, HostMode, PortCtrlSetting, PortAuthState, InterfaceType,
            ProfilingAttrType, ProfilingState, SessionReplaceDetection, AcctTermCause,
            ClearSuppReqType, ClearableAttributes, AuthZRequestType, PortVlanMembershipState,
            Fallback );

} // namespace Dot1xV2
