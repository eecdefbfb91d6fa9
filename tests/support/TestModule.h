#pragma once

#include "Varek/String.h"
#include "framework/Declare.h"

/// A module of the tests' own, declared as any other: a plant of racks of sensors.
namespace TestModule {

extern Varek::ModuleInspectData const testModule;

/// Values that leave a gap, in no order.
QEL_ENUM( Mode, unsigned char, testModule, 0, idle, faulty = 7, running = 1, run = 255 );

/// Values beyond one byte, up to the last there is.
QEL_ENUM( Alarm, unsigned int, testModule, 1, none, hot = 256, lost = 70000, worst = 4294967295 );

/// What a sensor read, with remarks.
class Reading final : public Qel::ValueOf<Reading> {
   QEL_VALUE( Reading, testModule, 2 )
   QEL_PARAMETER( 2, std::uint32_t, number )
   QEL_SEQUENCE( 3, std::uint32_t, sample )
   QEL_SEQUENCE( 4, Varek::String, note )
   QEL_PLAIN( 5, Mode, mode, Mode::running )
};

class Sensor final : public Qel::EntityOf<Sensor> {
   QEL_ENTITY( Sensor, testModule, 3 )
   QEL_PARAMETER( 258, std::uint32_t, number )
   QEL_PLAIN( 259, std::uint32_t, level, 5 )
   QEL_PLAIN( 260, Varek::String, label )
   QEL_COLLECTION( 261, Reading, number, reading, 0x2F9A4C11 )
};

class Rack final : public Qel::EntityOf<Rack> {
   QEL_ENTITY( Rack, testModule, 4 )
   QEL_PARAMETER( 258, Varek::String, place )
   QEL_PLAIN( 259, Mode, mode, Mode::idle )
   QEL_CHILDREN( 260, Sensor, sensor, 0x71C3D20B )
};

/// The root; takes no arguments.
class Plant final : public Qel::EntityOf<Plant> {
   QEL_ENTITY( Plant, testModule, 5 )
   QEL_PLAIN( 258, Alarm, alarm, Alarm::none )
   QEL_CHILDREN( 259, Rack, rack, 0x0B44E6F9 )
};

} // namespace TestModule
