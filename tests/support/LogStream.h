#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "framework/wire/AttrLog.h"

/// A stream that keeps its frames and takes only as many more as a test allows.
class LogStream final : public Qel::NboAttrLog::Out, public Qel::NboAttrLog::Stream {
public:
   struct Frame {
      Qel::NboAttrLog::FrameHead head;
      std::vector<std::uint8_t> payload;
   };
   static constexpr std::size_t unlimited = ~std::size_t{ 0 };

   std::size_t takes = unlimited;
   bool multicastTakes = false;
   std::vector<Qel::Entity*> announced;

   LogStream() : Stream( static_cast<Qel::NboAttrLog::Out&>( *this ) ) {}
   bool doMessageMulticast( Qel::EntityQelNboAttrLogSa const&, Varek::FieldId,
                            void const* ) override {
      return multicastTakes;
   }
   bool childAnnounce( Qel::EntityQelNboAttrLogSa const&, Varek::FieldId,
                       Qel::Entity& child ) override {
      if ( takes == 0 ) {
         return false;
      }
      announced.push_back( &child );
      return true;
   }

   /// The frames since the last call.
   std::vector<Frame> frames() {
      std::vector<std::uint8_t> all;
      endChunk();
      for ( auto const& one : chunks_ ) {
         all.insert( all.end(), one.bytes.get(), one.bytes.get() + one.used );
      }
      chunks_.clear();
      std::vector<Frame> read;
      std::span<std::uint8_t const> rest( all );
      while ( !rest.empty() ) {
         Frame frame;
         rest = rest.subspan( heads_.read( rest, frame.head ) );
         frame.payload.assign( rest.begin(), rest.begin() + frame.head.size );
         rest = rest.subspan( frame.head.size );
         read.push_back( frame );
      }
      return read;
   }

private:
   struct Chunk {
      std::unique_ptr<std::uint8_t[]> bytes;
      std::size_t used = 0;
   };

   // Each chunk has room for a single frame, so that every frame asks for room.
   std::uint8_t* room( std::size_t size ) override {
      if ( takes == 0 ) {
         return nullptr;
      }
      if ( takes != unlimited ) {
         --takes;
      }
      endChunk();
      chunks_.push_back( { std::make_unique<std::uint8_t[]>( size ) } );
      free_ = chunks_.back().bytes.get();
      freeEnd_ = free_ + size;
      return free_;
   }
   void endChunk() {
      if ( !chunks_.empty() ) {
         chunks_.back().used = static_cast<std::size_t>( free_ - chunks_.back().bytes.get() );
      }
   }

   std::vector<Chunk> chunks_;
   Qel::NboAttrLog::FrameHeads heads_;
};
