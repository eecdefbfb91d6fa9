#include <functional>
#include <iostream>
#include <string>

#include <poll.h>
#include <unistd.h>

#include "framework/declare/Declare.h"
#include "framework/declare/Module.h"
#include "framework/wire/WireForms.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "views/Tree.h"
#include "views/TreeText.h"

/// One of two processes that were built from different versions of one module, as an agent and its
/// followers are while they are upgraded one after the other. VERSION 2 knows more than version 1:
/// an enumerator, a type, and attributes; version 3 holds one attribute in another form, and in version
/// 4 it has another default.
///
///     version_node leader | follower        talks over standard input, a socket
///
/// The leader makes a tree, changes it once it has been sent, and last of all says that it has. The
/// follower prints the tree when it is in step and when that last change has come, and then ends.
namespace Versions {

extern Varek::ModuleInspectData const versions;

#if VERSION == 2
QEL_ENUM( Light, unsigned char, versions, 0, off, on, dimmed );
#else
QEL_ENUM( Light, unsigned char, versions, 0, off, on );
#endif

class Note final : public Qel::ValueOf<Note> {
   QEL_VALUE( Note, versions, 1 )
   QEL_PARAMETER( 2, std::uint32_t, number )
   QEL_PLAIN( 3, Varek::String, text )
};

class Lamp final : public Qel::EntityOf<Lamp> {
   QEL_ENTITY( Lamp, versions, 2 )
   QEL_PARAMETER( 258, Varek::String, place )
   QEL_PLAIN( 259, Light, light, Light::off )
#if VERSION == 3
   QEL_PLAIN( 260, std::uint64_t, level )
#elif VERSION == 4
   QEL_PLAIN( 260, std::uint32_t, level, 5 )
#else
   QEL_PLAIN( 260, std::uint32_t, level )
#endif
#if VERSION == 2
   QEL_PLAIN( 261, Varek::String, colour )
   QEL_COLLECTION( 262, Note, number, note, 0x5D1E77A3 )
#endif
};

#if VERSION == 2
/// Holds what the older version knows, where it does not know of it.
class Sensor final : public Qel::EntityOf<Sensor> {
   QEL_ENTITY( Sensor, versions, 4 )
   QEL_PARAMETER( 258, std::uint32_t, number )
   QEL_PLAIN( 259, std::uint32_t, reading )
   QEL_CHILD( 260, Lamp, lamp )
};
#endif

class House final : public Qel::EntityOf<House> {
   QEL_ENTITY( House, versions, 3 )
   QEL_CHILDREN( 258, Lamp, lamp, 0x19C0FE52 )
   QEL_PLAIN( 259, bool, changed )
#if VERSION == 2
   QEL_CHILDREN( 260, Sensor, sensor, 0x6A03B9D1 )
#endif
};

#if VERSION == 2
QEL_MODULE( "Versions", versions, Light, Note, Lamp, House, Sensor );
#else
QEL_MODULE( "Versions", versions, Light, Note, Lamp, House );
#endif

namespace {

void fill( House& house ) {
   auto const hall = house.lampIs( "hall" );
   hall->lightIs( Light::on );
   hall->levelIs( 7 );
   house.lampIs( "porch" );
#if VERSION == 2
   hall->lightIs( Light::dimmed );
   hall->colourIs( "red" );
   for ( std::uint32_t number : { 1U, 2U, 3U } ) {
      hall->noteIs( Note( number ) );
   }
   house.sensorIs( 5 )->lampIs( "inside" )->levelIs( 1 );
   house.sensorIs( 6 );
#endif
}

void change( House& house ) {
#if VERSION == 2
   house.lamp( "hall" )->colourIs( "blue" );
   house.lamp( "hall" )->noteDel( 2 );
   house.lamp( "hall" )->noteIs( Note( 4U ) );
   house.sensor( 5 )->lamp()->levelIs( 2 );
   house.sensorDel( 5 );
   house.sensorIs( 6 )->lampIs( "late" );
   house.lamp( "porch" )->lightIs( Light::dimmed );
#endif
   house.lamp( "hall" )->lightIs( Light::off );
   house.lamp( "hall" )->levelIs( 70 );
   house.lampDel( "porch" );
   house.lampIs( "attic" )->lightIs( Light::on );
   house.changedIs( true );
}

template<class Side>
void drive( Side& side, std::function<bool()> const& ended ) {
   while ( !ended() ) {
      pollfd one{ side.fd(), static_cast<short>( side.wantsWrite() ? POLLIN | POLLOUT : POLLIN ),
                  0 };
      ::poll( &one, 1, -1 );
      if ( side.wantsWrite() ) {
         side.onWritable();
      }
      side.onReadable();
   }
}

void lead() {
   auto const house = House::HouseIs();
   fill( *house );
   Mirror::Leader leader;
   leader.rootIs( "house", house );
   auto& connection = leader.connectionIs( STDIN_FILENO, "a follower" );
   drive( connection, [&] {
      if ( connection.inGroup() && !connection.wantsWrite() && !house->changed() ) {
         change( *house );
      }
      return connection.closed();
   } );
   std::cout << connection.reason() << '\n';
}

void follow() {
   Mirror::Follower follower;
   auto const house = House::HouseIs();
   follower.rootIs( "house", house );
   auto const print = [&] {
      Views::printText( std::cout, Views::rootsPart( { { "house", house } } ) );
      auto const stats = follower.stats();
      std::cout << "entities " << stats.entities << ", of unknown types " << stats.unknownTypes
                << ", messages skipped " << stats.skipped << '\n';
   };
   follower.onSynced = print;
   follower.connectedIs( STDIN_FILENO );
   drive( follower, [&] { return follower.closed() || house->changed(); } );
   if ( follower.closed() ) {
      std::cout << ( follower.refused() ? "for good: " : "lost: " ) << follower.reason() << '\n';
   } else {
      print();
   }
}

} // namespace

} // namespace Versions

int main( int, char** argv ) {
   ::alarm( 30 );
   try {
      argv[1] == std::string( "leader" ) ? Versions::lead() : Versions::follow();
      return 0;
   } catch ( std::exception const& error ) {
      std::cerr << argv[0] << ": " << error.what() << '\n';
      return 1;
   }
}
