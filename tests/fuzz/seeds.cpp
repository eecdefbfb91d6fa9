#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "fuzz/LogInput.h"
#include "fuzz/ReadableTypes.h"
#include "mirror/Link.h"
#include "support/AnyValue.h"
#include "support/LogStream.h"
#include "support/RandomChange.h"
#include "system/Roots.h"

/// Writes what the fuzzers begin with: streams, messages and texts that are right.
///
///     fuzz_seeds FOLDER      into FOLDER/LogFuzz and FOLDER/StrepFuzz
namespace {

class Seeds {
public:
   explicit Seeds( std::filesystem::path folder ) : folder_( std::move( folder ) ) {
      std::filesystem::create_directories( folder_ );
   }
   void add( std::string const& bytes ) const {
      std::ofstream( folder_ / std::to_string( std::hash<std::string>()( bytes ) ),
                     std::ios::binary )
         << bytes;
   }

private:
   std::filesystem::path const folder_;
};

std::string textOf( std::span<std::uint8_t const> bytes ) { return { bytes.begin(), bytes.end() }; }

/// What a leader says of a tree that changes, first all and then the rest.
void streams( Seeds const& seeds, Roots::Root const& root, std::uint32_t seed ) {
   RandomChange change( seed );
   auto const tree = root.make();
   Mirror::Leader leader;
   Mirror::Follower follower;
   leader.rootIs( root.name, tree );
   Link link( leader, follower );
   for ( unsigned i = 0; i < 5 * seed; ++i ) {
      change( *tree );
   }
   link.pump();
   for ( unsigned i = 0; i < 5 * seed; ++i ) {
      change( *tree );
   }
   link.pump();
   auto const said = textOf( link.fromLeader );
   seeds.add( char( LogInput::frames ) + said.substr( helloSize( link.fromLeader ) ) );
   if ( root.name == std::string_view( "plant" ) && seed == 1 ) {
      seeds.add( char( LogInput::stream ) + said );
   }
}

/// What is said of single entities, as messages.
void messages( Seeds const& seeds, std::uint8_t number, Qel::TypeRecord const& type ) {
   RandomChange change( number );
   auto const entity = LogInput::newEntity( type );
   for ( unsigned i = 0; i < 30; ++i ) {
      change( *entity );
   }
   LogStream stream;
   Qel::NboAttrLog::FlowOut all( type, true );
   handleAttrFlowOut( Qel::EntityQelNboAttrLogSa( *entity, type, 1, stream, &all ), 0, all );
   std::string made{ char( LogInput::messages ), char( number ) };
   for ( LogStream::Frame const& one : stream.frames() ) {
      if ( one.head.kind == Qel::NboAttrLog::FrameKind::attribute && one.head.size < 256 ) {
         std::uint16_t const id = one.head.field.value();
         made += { char( id >> 8 ), char( id & 0xFF ), char( one.head.size ) };
         made += textOf( one.payload );
      }
   }
   seeds.add( made );
}

void texts( Seeds const& seeds, std::uint8_t number, Varek::Inspect::AtomicFnTable const& type ) {
   AnyValue const value( type );
   seeds.add( char( number ) + value.text() );
   try {
      RandomValues values( number + 1U );
      values.fill( value );
      seeds.add( char( number ) + value.text() );
   } catch ( std::exception const& ) {
   }
}

void write( std::filesystem::path const& folder ) {
   Seeds const logs( folder / "LogFuzz" );
   for ( Roots::Root const& root : Roots::all() ) {
      for ( std::uint32_t seed : { 1U, 2U, 5U } ) {
         streams( logs, root, seed );
      }
   }
   auto const entities = LogInput::entityTypes();
   for ( std::size_t i = 0; i < entities.size(); ++i ) {
      messages( logs, static_cast<std::uint8_t>( i ), *entities[i] );
   }

   Seeds const reps( folder / "StrepFuzz" );
   auto const types = readableTypes();
   for ( std::size_t i = 0; i < types.size(); ++i ) {
      texts( reps, static_cast<std::uint8_t>( i ), *types[i] );
   }
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc != 2 ) {
      std::cerr << "fuzz_seeds FOLDER\n";
      return 2;
   }
   write( argv[1] );
}
