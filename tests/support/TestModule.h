#pragma once

#include <numeric>
#include <optional>

#include "Lumo/IntfId.h"
#include "Radius/Attribute.h"
#include "Varek/ByteOrder.h"
#include "Varek/String.h"
#include "forms/AddressForms.h"
#include "forms/RadiusForms.h"
#include "framework/declare/Declare.h"
#include "framework/wire/WireForms.h"
#include "support/Tracked.h"

namespace Qel {

template<>
struct Wire<Tracked> : Internal::FixedWire<4> {
   static std::uint8_t* put( std::uint8_t* to, Tracked const& v ) {
      return Varek::putBigEndian( to, v.value() );
   }
   static void read( NboAttrLog::In& in, Tracked& v ) { v = Tracked( in.get32() ); }
   static void form( Varek::String& text ) { text += "U32"; }
};

} // namespace Qel

/// A module of the tests' own, declared as any other: a plant of racks of sensors, and a yard of
/// depots with all the other forms of attributes.
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

/// A value with the forms that are for values alone, or for both.
class Limits final : public Qel::ValueOf<Limits> {
   QEL_VALUE( Limits, testModule, 6 )
   QEL_PARAMETER( 2, std::uint32_t, number )
   QEL_SET( 3, Varek::String, user, 0x5B1D90E7 )
   QEL_ARRAY( 4, Varek::String, 3, shift )
   QEL_CONSTANT( 5, std::uint8_t, scale, 10 )
   QEL_PLAIN( 6, std::optional<std::uint32_t>, ceiling )
   QEL_CONSTANT( 7, Varek::String, unit, "W" )
};

/// Made from something that may fail to be copied.
class Badge final : public Qel::EntityOf<Badge> {
   QEL_ENTITY( Badge, testModule, 7 )
   QEL_PARAMETER( 258, Tracked, mark )
   QEL_COUNTER( 259, scans )
};

class Depot final : public Qel::EntityOf<Depot> {
   QEL_ENTITY( Depot, testModule, 8 )
   QEL_NAME
   QEL_SET( 258, Varek::String, tag, 0x1C0A5E33 )
   QEL_MAP( 259, Mode, Tracked, mark, 0x6D2F8A91 )
   QEL_MAP( 260, Varek::String, Varek::String, note, 0x93E1B70D )
   QEL_MAP( 261, Lumo::IntfId, std::uint32_t, port, 0x44A90C5F )
   QEL_MAP( 262, RadiusPktParserBase::Attribute, Mode, rule, 0x0E7751D2 )
   QEL_ORDERED( 263, Limits, number, limits, QelLimits )
   QEL_ORDERED_MAP( 264, Varek::String, Tracked, stock, QelStock )
   QEL_ARRAY( 265, Tracked, 20, lamp )
   QEL_CHILD( 266, Badge, badge )
   QEL_CHILD( 267, Plant, annex )
   QEL_OWN_CHILD( 268, Rack, office, name() )
   QEL_PLAIN( 269, std::optional<Varek::String>, motto )
   /// The sum of all lamps.
   QEL_DERIVED( 270, std::uint32_t, light )
   std::uint32_t light() const {
      return std::accumulate( lamp().begin(), lamp().end(), 0U,
                              []( auto sum, auto& one ) { return sum + one.value(); } );
   }
   /// How long the note of that name is.
   QEL_DERIVED_BY( 271, std::uint64_t, noteLength, Varek::String )
   std::uint64_t noteLength( Varek::String const& key ) const {
      return note( key ) ? note( key )->size() : 0;
   }
};

class Yard final : public Qel::EntityOf<Yard> {
   QEL_ENTITY( Yard, testModule, 9 )
   QEL_CHILDREN( 258, Depot, depot, 0x2E60D71B )
};

} // namespace TestModule
