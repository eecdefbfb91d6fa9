// Encoding and decoding an AAA answer with 12 attributes: as a stream carries it to a new follower,
// with its frames, compared with a protobuf message of the same fields on an arena.

#include <vector>

#include <benchmark/benchmark.h>

#include "bench/Messages.h"
#include "bench/SampleAnswer.h"
#include "framework/wire/AttrLog.h"

namespace {

using Dot1xV2::AaaResponse;
using Qel::NboAttrLog::FrameKind;

class BufferStream final : public Qel::NboAttrLog::Stream {
public:
   BufferStream() : Stream( buffer ) {}
   bool childAnnounce( Qel::EntityQelNboAttrLogSa const&, Varek::FieldId, Qel::Entity& ) override {
      return true;
   }
   Qel::NboAttrLog::OutBuffer buffer;
};

Varek::Ptr<AaaResponse> sample() {
   auto made = Dot1xV2::aaaResponseFactory( Dot1xV2::AaaResponseType::accepted );
   Bench::answerFill( *made, 5304 );
   return made;
}

void encode( BufferStream& stream, AaaResponse& response ) {
   auto const& type = Qel::typeRecord( AaaResponse::qelBinding() );
   stream.buffer.clear();
   auto const parameters = attrLogSizeCtorParams( Qel::NboAttrLog::currentVersion, type, response );
   stream.buffer.outSmReserveMessage( FrameKind::announce, 1, 260, 6 + parameters );
   stream.buffer.put32( 7 );
   stream.buffer.put16( 3 );
   serializeConstructorParams( stream.buffer, type, response );
   stream.buffer.outSmCommitMessage();
   Qel::NboAttrLog::FlowOut flowOut( type, true );
   Qel::handleAttrFlowOut( { response, type, 7, stream }, 0, flowOut );
}

Qel::Ptr<Qel::Entity> decode( std::span<std::uint8_t const> rest ) {
   auto const& type = Qel::typeRecord( AaaResponse::qelBinding() );
   Qel::NboAttrLog::FrameHeads heads;
   Qel::NboAttrLog::FrameHead head;
   Qel::Ptr<Qel::Entity> made;
   while ( !rest.empty() ) {
      rest = rest.subspan( heads.read( rest, head ) );
      Qel::NboAttrLog::In in( rest.first( head.size ) );
      if ( head.kind == FrameKind::announce ) {
         in.get32();
         in.get16();
         made = newEntityForAttrLog( type, in );
      } else {
         Qel::EntityQelNboAttrLogSa const sa( *made, type, nullptr );
         if ( head.kind == FrameKind::attribute ) {
            doHandleAttrDeserialization( sa, head.field, in );
         } else {
            std::size_t ahead = rest.size() - head.size;
            doHandleAttrTransaction( sa, head.field, head.kind == FrameKind::transactionEnd ? 2 : 0,
                                     Qel::expectedElements( in, ahead ) );
         }
      }
      rest = rest.subspan( head.size );
   }
   return made;
}

void encodeOurs( benchmark::State& state ) {
   auto const response = sample();
   BufferStream stream;
   for ( auto _ : state ) {
      encode( stream, *response );
      benchmark::DoNotOptimize( stream.buffer.bytes().data() );
   }
   state.counters["bytes"] = static_cast<double>( stream.buffer.bytes().size() );
}
BENCHMARK( encodeOurs )->Name( "encode_answer/ours" );

void decodeOurs( benchmark::State& state ) {
   auto const response = sample();
   BufferStream stream;
   encode( stream, *response );
   for ( auto _ : state ) {
      auto const made = decode( stream.buffer.bytes() );
      benchmark::DoNotOptimize( made.get() );
   }
}
BENCHMARK( decodeOurs )->Name( "decode_answer/ours" );

// The same, into protobuf's messages.

void encodePeer( benchmark::State& state ) {
   google::protobuf::Arena arena;
   auto* const message = google::protobuf::Arena::CreateMessage<bench::Answer>( &arena );
   Bench::messageFill( *message, *sample() );
   std::vector<std::uint8_t> bytes( 4096 );
   std::size_t size = 0;
   for ( auto _ : state ) {
      size = message->ByteSizeLong();
      message->SerializeWithCachedSizesToArray( bytes.data() );
      benchmark::DoNotOptimize( bytes.data() );
   }
   state.counters["bytes"] = static_cast<double>( size );
}
BENCHMARK( encodePeer )->Name( "encode_answer/peer" );

void decodePeer( benchmark::State& state ) {
   std::string bytes;
   {
      bench::Answer message;
      Bench::messageFill( message, *sample() );
      message.SerializeToString( &bytes );
   }
   // The first block is reused, as by a server that decodes message after message.
   std::vector<char> block( 16384 );
   for ( auto _ : state ) {
      google::protobuf::ArenaOptions options;
      options.initial_block = block.data();
      options.initial_block_size = block.size();
      google::protobuf::Arena arena( options );
      auto* const message = google::protobuf::Arena::CreateMessage<bench::Answer>( &arena );
      message->ParseFromString( bytes );
      benchmark::DoNotOptimize( message );
   }
}
BENCHMARK( decodePeer )->Name( "decode_answer/peer" );

} // namespace
