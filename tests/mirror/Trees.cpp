#include "mirror/Trees.h"

namespace Trees {

namespace {

std::uint32_t below( std::mt19937& random, std::uint32_t limit ) {
   return static_cast<std::uint32_t>( random() ) % limit;
}

std::string difference( Sensor const& a, Sensor const& b ) {
   if ( a.level() != b.level() || a.label() != b.label() )
      return "level or label";
   if ( a.reading().size() != b.reading().size() )
      return "number of readings";
   for ( Reading const& one : a.reading() )
      if ( Reading const* const other = b.reading( one.number() ); !other || !( *other == one ) )
         return "reading " + std::to_string( one.number() );
   return {};
}

std::string difference( Rack const& a, Rack const& b ) {
   if ( a.mode() != b.mode() )
      return "mode";
   if ( a.sensor().size() != b.sensor().size() )
      return "number of sensors";
   for ( auto const& one : a.sensor() ) {
      auto const other = b.sensor( one.key );
      if ( !other )
         return "missing sensor " + std::to_string( one.key );
      if ( auto const found = difference( *one.child, *other ); !found.empty() )
         return "sensor " + std::to_string( one.key ) + ": " + found;
   }
   return {};
}

void change( Sensor& sensor, std::mt19937& random ) {
   switch ( below( random, 4 ) ) {
   case 0:
      return sensor.levelIs( below( random, 4 ) );
   case 1:
      return sensor.labelIs( std::string( below( random, 300 ), 'x' ) );
   case 2:
      return sensor.readingIs( reading( below( random, 30 ), below( random, 4 ) ) );
   default:
      sensor.readingDel( below( random, 30 ) );
   }
}

void change( Rack& rack, std::mt19937& random ) {
   std::uint32_t const number = below( random, 6 );
   switch ( below( random, 8 ) ) {
   case 0:
      return rack.modeIs( below( random, 2 ) ? Mode::running : Mode::faulty );
   case 1:
      rack.sensorDel( number );
      return;
   case 2:
      if ( below( random, 10 ) == 0 )
         rack.sensorDelAll();
      return;
   default:
      change( *rack.sensorIs( number ), random );
   }
}

} // namespace

Reading reading( std::uint32_t number, std::uint32_t sample ) {
   Reading made( number );
   made.samplePush( sample );
   return made;
}

std::string difference( Plant const& a, Plant const& b ) {
   if ( a.alarm() != b.alarm() )
      return "alarm";
   if ( a.rack().size() != b.rack().size() )
      return "number of racks";
   for ( auto const& one : a.rack() ) {
      auto const other = b.rack( one.key );
      if ( !other )
         return "missing rack " + one.key;
      if ( auto const found = difference( *one.child, *other ); !found.empty() )
         return "rack " + one.key + ": " + found;
   }
   return {};
}

std::string difference( Depot const& a, Depot const& b ) {
   if ( !( a.tag() == b.tag() ) || a.motto() != b.motto() )
      return "tag or motto";
   if ( !a.badge() != !b.badge() || !a.annex() != !b.annex() )
      return "badge or annex";
   if ( a.badge() && !( a.badge()->mark() == b.badge()->mark() ) )
      return "mark of the badge";
   if ( auto const found = difference( *a.office(), *b.office() ); !found.empty() )
      return "office: " + found;
   return a.annex() ? difference( *a.annex(), *b.annex() ) : std::string();
}

void change( Plant& plant, std::mt19937& random ) {
   std::string const place( 1, static_cast<char>( 'a' + below( random, 4 ) ) );
   switch ( below( random, 30 ) ) {
   case 0:
      return plant.alarmIs( below( random, 2 ) ? Alarm::hot : Alarm::worst );
   case 1:
      plant.rackDel( place );
      return;
   case 2:
      if ( below( random, 20 ) == 0 )
         plant.rackDelAll();
      return;
   default:
      change( *plant.rackIs( place ), random );
   }
}

void change( Depot& depot, std::mt19937& random ) {
   switch ( below( random, 8 ) ) {
   case 0:
      depot.badgeIs( Tracked( below( random, 3 ) ) );
      return;
   case 1:
      depot.badgeDel();
      return;
   case 2:
      if ( below( random, 4 ) == 0 )
         depot.annexDel();
      return;
   case 3:
      return depot.tagIs( std::to_string( below( random, 10 ) ) );
   case 4:
      depot.tagDel( std::to_string( below( random, 10 ) ) );
      return;
   case 5:
      return change( *depot.office(), random );
   default:
      change( *depot.annexIs(), random );
   }
}

} // namespace Trees
