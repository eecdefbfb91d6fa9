// Bytes that no leader sends, to a follower and to single entities: they are refused with a reason
// and nothing changed, or mean something. Built with clang's -fsanitize=fuzzer.
//
// The forms of an input are in LogInput.h.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Varek/Failures.h"
#include "fuzz/LogInput.h"
#include "mirror/Link.h"
#include "support/LogStream.h"

namespace {

using Bytes = std::span<std::uint8_t const>;
using Qel::EntityQelNboAttrLogSa;
using Qel::NboAttrLog::In;

// A follower

/// Says the depth of what it holds, and so looks at each entity.
unsigned depth( Qel::Entity const& entity ) {
   unsigned deepest = 0;
   forEachChild(
      Qel::typeRecord( entity ), entity,
      []( Qel::Entity& child, void* most ) {
         unsigned& known = *static_cast<unsigned*>( most );
         known = std::max( known, depth( child ) );
      },
      &deepest );
   return deepest + 1;
}

void toFollower( Bytes input, bool withHello ) {
   static auto const hello = LogInput::hello();
   Mirror::Follower follower;
   auto const say = [&] {
      feed( follower, { withHello ? Bytes() : Bytes( hello ), input } );
      VAREK_ASSERT( follower.closed() && !follower.reason().empty() );
   };
   say();
   for ( Varek::String const& name : follower.roots() ) {
      VAREK_ASSERT( depth( *follower.root( name ) ) <= 1001 );
   }
   // Once more, onto the trees that are there.
   if ( !withHello && input.size() % 8 == 0 ) {
      say();
   }
}

// An entity

using State = std::vector<std::pair<std::uint16_t, std::vector<std::uint8_t>>>;

/// All that a stream would be told of it, in an order that is always the same.
State stateOf( Qel::Entity& entity ) {
   LogStream stream;
   Qel::TypeRecord const& type = Qel::typeRecord( entity );
   Qel::NboAttrLog::FlowOut all( type, true );
   VAREK_ASSERT(
      handleAttrFlowOut( EntityQelNboAttrLogSa( entity, type, 1, stream, &all ), 0, all ) == 0 );
   State state;
   for ( LogStream::Frame const& one : stream.frames() ) {
      if ( one.head.kind == Qel::NboAttrLog::FrameKind::attribute ) {
         state.emplace_back( one.head.field.value(), one.payload );
      }
   }
   std::ranges::sort( state );
   return state;
}

/// Errors name the attribute, also where the message is a removal.
void expectPlace( Qel::NboAttrLog::AttrLogPlace const& place, Qel::TypeRecord const& type,
                  Varek::FieldId id, Bytes payload ) {
   VAREK_ASSERT( place.type() == type.name );
   VAREK_ASSERT( place.field() == id || place.field() == id.removal() );
   VAREK_ASSERT( place.offset() <= payload.size() );
}

/// Whether it was one.
bool apply( Qel::Entity& entity, std::uint16_t id, Bytes payload ) {
   Qel::TypeRecord const& type = Qel::typeRecord( entity );
   State const before = stateOf( entity );
   In in( payload );
   try {
      doHandleAttrDeserialization( EntityQelNboAttrLogSa( entity, type, nullptr ), id, in );
      return true;
   } catch ( Qel::NboAttrLog::AttrLogError const& e ) {
      expectPlace( e, type, id, payload );
   } catch ( Qel::NboAttrLog::AttrLogLengthError const& e ) {
      expectPlace( e, type, id, payload );
   } catch ( Varek::Failure const& ) {
      // A value that the attribute does not take.
   }
   VAREK_ASSERT( stateOf( entity ) == before );
   return false;
}

void toEntity( Bytes input ) {
   static auto const types = LogInput::entityTypes();
   if ( input.empty() ) {
      return;
   }
   Qel::TypeRecord const& type = *types[input[0] % types.size()];
   auto const entity = LogInput::newEntity( type );
   input = input.subspan( 1 );
   while ( input.size() >= 3 ) {
      auto const id = static_cast<std::uint16_t>( input[0] << 8 | input[1] );
      std::size_t const size = std::min<std::size_t>( input[2], input.size() - 3 );
      apply( *entity, id, input.subspan( 3, size ) );
      input = input.subspan( 3 + size );
   }
   // What it says of itself makes another one equal.
   auto const again = LogInput::newEntity( type );
   State const state = stateOf( *entity );
   for ( auto const& [id, payload] : state ) {
      VAREK_ASSERT( apply( *again, id, payload ) );
   }
   VAREK_ASSERT( stateOf( *again ) == state );
}

} // namespace

/// The types of the tests' own module say by GoogleTest what goes wrong in them.
extern "C" int LLVMFuzzerInitialize( int*, char*** ) {
   testing::GTEST_FLAG( break_on_failure ) = true;
   return 0;
}

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   Bytes const rest( data + 1, size - 1 );
   switch ( data[0] % LogInput::forms ) {
   case LogInput::messages:
      toEntity( rest );
      break;
   default:
      toFollower( rest, data[0] % LogInput::forms == LogInput::stream );
   }
   return 0;
}
