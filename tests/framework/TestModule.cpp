#include "support/TestModule.h"

#include "framework/declare/Module.h"

namespace TestModule {

QEL_MODULE( "TestModule", testModule, Mode, Alarm, Reading, Sensor, Rack, Plant, Limits, Badge,
            Depot, Yard );

} // namespace TestModule
