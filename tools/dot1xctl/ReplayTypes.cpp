#include "ReplayTypes.h"

#include "framework/declare/Module.h"

namespace Replay {

QEL_MODULE( "Replay", replayModule, Answer, Status );

Varek::Ptr<Status> statusFactory( Varek::String const& name ) { return Status::StatusIs( name ); }

} // namespace Replay
