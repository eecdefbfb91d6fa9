#include "mirror/Follower.h"

#include <algorithm>
#include <new>
#include <utility>

#include "framework/declare/Mutators.h"
#include "mirror/Socket.h"

namespace Mirror {

using Qel::EntityQelNboAttrLogSa;
using Qel::NboAttrLog::FrameKind;
using Qel::NboAttrLog::In;

namespace {

EntityQelNboAttrLogSa mirrored( Qel::Entity& entity, Qel::TypeRecord const& type,
                                Qel::NboAttrLog::Receiver& receiver ) {
   EntityQelNboAttrLogSa sa( entity, type, &receiver );
   sa.readOnlyProxyIs( true, true );
   return sa;
}

/// "Dot1xV2::AaaResponse, field 260 (aaaAttribute), offset 4711: "
Varek::String where( std::string_view type, Varek::FieldId field, std::uint64_t offset ) {
   Varek::String text( type.empty() ? "message" : type );
   text += ", field " + std::to_string( field.value() );
   if ( Varek::TypeInspectData const* const known = Varek::ModuleInspectData::findType( type ) ) {
      if ( Qel::AttributeRecord const* const attribute =
              Qel::typeRecord( *known ).attribute( field ) ) {
         text.append( " (" ).append( attribute->name ).append( ")" );
      }
   }
   return text + ", offset " + std::to_string( offset ) + ": ";
}

} // namespace

Follower::Follower( FollowerOptions options ) : options_( std::move( options ) ) {}
Follower::~Follower() {
   for ( auto const& [name, root] : roots_ ) {
      root.readOnlyProxyIs( false );
   }
}

// Connection

void Follower::connectedIs( int fd, Varek::String const& peer ) {
   Fd owned( fd );
   connectedIs( std::make_unique<SocketTransport>( std::move( owned ) ), peer );
}

void Follower::connectedIs( std::unique_ptr<Transport> transport, Varek::String const& peer ) {
   begin( options_, std::move( transport ), peer );
}

void Follower::recordedIs( std::unique_ptr<Transport> transport, Varek::String const& name ) {
   EndpointOptions options( options_ );
   options.oldestVersion = 1;
   begin( options, std::move( transport ), name );
}

void Follower::begin( EndpointOptions const& options, std::unique_ptr<Transport> transport,
                      Varek::String const& peer ) {
   auto made = std::make_unique<Endpoint>( options, Endpoint::Role::follower );
   made->start( std::move( transport ), peer, Description::ofThisProcess() );
   endpoint_ = std::move( made );
   forgetAll();
   for ( auto& [name, root] : roots_ ) {
      root.announced = false;
   }
   skipped_ = unknownTypes_ = countedOn_ = 0;
   newest_ = 0;
   blind_ = false;
   synced_ = reported_ = false;
}

void Follower::close() {
   reported_ = true;
   if ( endpoint_ ) {
      endpoint_->close( "closed by this side" );
   }
   finish();
}

void Follower::receive() {
   endpoint_->receive( [this]( Frame const& one ) { frame( one ); } );
}

void Follower::onReadable() {
   if ( !endpoint_ ) {
      return;
   }
   receive();
   finish();
   // An observer's exception concerns neither the stream nor the messages after it.
   if ( observersFault_ ) {
      std::rethrow_exception( std::exchange( observersFault_, nullptr ) );
   }
}

void Follower::onWritable() {
   if ( endpoint_ ) {
      if ( endpoint_->readAwaitsWritable() ) [[unlikely]] {
         receive();
      }
      endpoint_->flush();
   }
   finish();
}

void Follower::tick( Clock::time_point now ) {
   if ( !endpoint_ ) {
      return;
   }
   // Unread bytes are a sign of life: this process may have been stopped for a while.
   if ( endpoint_->nextDeadline() <= now ) {
      receive();
   }
   if ( endpoint_->tick( now ) == Endpoint::Due::keepAlive ) {
      endpoint_->keepAlive();
   }
   onWritable();
}

Clock::time_point Follower::nextDeadline() const {
   return endpoint_ ? endpoint_->nextDeadline() : Clock::time_point::max();
}

void Follower::finish() {
   if ( !endpoint_ || !endpoint_->closed() ) {
      return;
   }
   // Handles must not keep entities alive that the leader removes during the absence.
   forgetAll();
   synced_ = false;
   if ( !std::exchange( reported_, true ) && onClosed ) {
      onClosed( Varek::String( endpoint_->reason() ) );
   }
}

Follower::Stats Follower::stats() const {
   Stats all{ 0, 0, skipped_, unknownTypes_, 0, known_.size() };
   if ( endpoint_ ) {
      all.incomplete = endpoint_->incomplete();
      all.frames = endpoint_->framesReceived();
      all.bytes = endpoint_->bytesReceived();
   }
   return all;
}

// Handles

Follower::Known* Follower::find( std::uint32_t handle ) {
   if ( last_ && last_->handle == handle ) [[likely]] {
      return last_;
   }
   std::uint32_t const place = places_.find( handle );
   return last_ = place != 0 ? &known_.at( place ) : nullptr;
}

/// \p handle is a new one, or an entity is announced anew under it: it means nothing known any
/// more.
void Follower::announced( std::uint32_t handle ) {
   newest_ = std::max( newest_, handle );
   forget( handle );
}

void Follower::knownIs( std::uint32_t handle, std::uint32_t parentPlace,
                        Qel::TypeRecord const& type, Qel::Entity& entity ) {
   // An entity has one handle, the newest, and a handle one entity.
   entityRemoved( entity );
   announced( handle );
   std::uint32_t const place = known_.newMember( Known( entity, handle, type ), parentPlace );
   places_.placeIs( handle, place, known_.size() );
   last_ = nullptr;
}

void Follower::childCame( Qel::Entity& parent, Qel::Entity& child, Qel::TypeRecord const& type,
                          std::uint32_t handle ) {
   // Observers may have had it removed meanwhile: then it is below nothing.
   knownIs( handle, known_.placeOf( parent ), type, child );
}

void Follower::unknownSkipped( unsigned attributes ) {
   skipped_ += attributes;
   blind_ = true;
}

void Follower::entityRemoved( Qel::Entity& removed ) {
   if ( Known const* const one = known_.find( removed ) ) {
      forget( one->handle );
   }
}

/// Forgets a handle with everything below it.
void Follower::forget( std::uint32_t handle ) {
   std::uint32_t const place = places_.find( handle );
   if ( place == 0 ) [[likely]] {
      return;
   }
   last_ = nullptr;
   known_.takeTree( place, [this]( Known const& one ) {
      places_.placeDel( one.handle );
      if ( !transactions_.empty() ) [[unlikely]] {
         transactionsCancelOf( *one.entity, *one.type );
      }
   } );
}

void Follower::forgetAll() {
   transactionsCancel();
   last_ = nullptr;
   known_.clear();
   places_.clear();
}

// Frames

void Follower::fail( Frame const& frame, std::string_view fault ) {
   Known const* const known = find( frame.head.entity );
   endpoint_->refuse(
      where( known ? known->type->name : std::string_view(), frame.head.field, frame.offset )
         .append( fault ) );
}

void Follower::frame( Frame const& one ) {
   std::uint64_t const thrown = Varek::observerExceptions();
   try {
      apply( one );
   } catch ( ... ) {
      // An observer may throw what a fault in the stream would. What the message has to do is done.
      if ( Varek::observerExceptions() == thrown ) {
         refuse( one );
      } else if ( !observersFault_ ) {
         observersFault_ = std::current_exception();
      }
   }
}

/// Handles the present exception.
void Follower::refuse( Frame const& one ) {
   try {
      throw;
   } catch ( Qel::NboAttrLog::AttrLogError const& e ) {
      endpoint_->refuse( where( e.type(), e.field(), e.offset() ) + e.fault() );
   } catch ( Qel::NboAttrLog::AttrLogLengthError const& e ) {
      endpoint_->refuse( where( e.type(), e.field(), e.offset() ) +
                         "a count of elements that the rest of the message cannot hold" );
   } catch ( std::bad_alloc const& ) {
      fail( one, "there is no memory for it" );
   } catch ( std::exception const& e ) {
      fail( one, e.what() );
   }
}

void Follower::apply( Frame const& one ) {
   switch ( one.head.kind ) {
   case FrameKind::root:
      return rootFrame( one );
   case FrameKind::rootGone:
      return rootGone( one.head.entity );
   case FrameKind::synced:
      return syncedFrame();
   case FrameKind::consistent:
      return consistentFrame( one );
   default:
      break;
   }
   Known const* const known = find( one.head.entity );
   if ( !known ) [[unlikely]] {
      return notKnown( one );
   }
   if ( one.head.kind == FrameKind::announce ) {
      announce( one, *known );
   } else if ( one.head.kind == FrameKind::attribute ) [[likely]] {
      attribute( one, *known );
   } else {
      transaction( one, *known );
   }
}

/// A message about an entity of a type or place that only the leader knows. No record of these is
/// kept, since no message that is understood here tells when they go.
void Follower::notKnown( Frame const& one ) {
   if ( one.head.entity == 0 || ( one.head.entity > newest_ && !blind_ ) ) [[unlikely]] {
      return fail( one, "no entity with handle " + std::to_string( one.head.entity ) +
                           " has been announced" );
   }
   if ( one.head.kind != FrameKind::announce ) {
      ++skipped_;
      return;
   }
   In in( one.payload, one.offset );
   in.contextIs( {}, one.head.field );
   announced( childHandle( in, one.head.entity ) );
   typeNumbered( in );
   blind_ = true;
}

void Follower::attribute( Frame const& one, Known const& known ) {
   In in( one.payload, one.offset );
   if ( !doHandleAttrDeserialization( mirrored( *known.entity, *known.type, *this ), one.head.field,
                                      in ) ) {
      ++skipped_;
   }
}

void Follower::transaction( Frame const& one, Known const& known ) {
   In in( one.payload, one.offset );
   in.contextIs( known.type->name, one.head.field );
   auto const sa = mirrored( *known.entity, *known.type, *this );
   if ( one.head.kind == FrameKind::transactionBegin ) {
      return transactionBegin( sa, one, in );
   }
   in.expectEnd();
   // Taken off first: what is removed at the end is told to observers, who may throw.
   Varek::Ptr<Qel::Entity> const keepAlive( known.entity );
   transactions_.deleteMemberG( { known.entity.get(), one.head.field } );
   if ( one.head.kind == FrameKind::transactionCancel ) {
      doHandleAttrTransaction( sa, one.head.field, Qel::Transaction::cancel );
   } else if ( !doHandleAttrTransaction( sa, one.head.field, Qel::Transaction::end ) ) {
      ++skipped_;
   }
}

void Follower::transactionBegin( EntityQelNboAttrLogSa const& sa, Frame const& one, In& in ) {
   std::uint32_t const expected = expectedElements( in, one );
   in.expectEnd();
   if ( attrTransactionActive( sa, one.head.field ) ) [[unlikely]] {
      in.fail( "its elements are under way already" );
   }
   if ( doHandleAttrTransaction( sa, one.head.field, Qel::Transaction::begin, expected ) ) {
      transactions_.newMemberG(
         Transaction{ Varek::Ptr<Qel::Entity>( &sa.entity() ), one.head.field } );
   } else {
      ++skipped_;
   }
}

// A collection whose end marker will not come keeps its elements.

void Follower::transactionCancel( Transaction const& one ) {
   doHandleAttrTransaction( mirrored( *one.entity, Qel::typeRecord( *one.entity ), *this ),
                            one.field, Qel::Transaction::cancel );
}
void Follower::transactionsCancel() {
   auto const all = std::exchange( transactions_, {} );
   for ( Transaction const& one : all ) {
      transactionCancel( one );
   }
}
void Follower::transactionsCancelOf( Qel::Entity& entity, Qel::TypeRecord const& type ) {
   for ( Qel::AttributeRecord const& attribute : type.attributes ) {
      if ( auto const open = transactions_.deleteMemberG( { &entity, attribute.id } ) ) {
         transactionCancel( *open );
      }
   }
}

/// Elements come after the marker; those of a marker before are in bytes that have been counted on.
std::uint32_t Follower::expectedElements( In& in, Frame const& begin ) {
   std::uint64_t const end = begin.offset + begin.payload.size() + begin.ahead;
   auto left = static_cast<std::size_t>(
      std::min<std::uint64_t>( begin.ahead, end - std::min( end, countedOn_ ) ) );
   std::uint32_t const expected = Qel::expectedElements( in, left );
   countedOn_ = end - left;
   return expected;
}

/// Null, and counted, for a type that is not known here.
Qel::TypeRecord const* Follower::typeNumbered( In& in ) {
   auto const& types = endpoint_->types();
   std::uint16_t const number = in.get16();
   if ( number >= types.size() ) [[unlikely]] {
      in.fail( "there is no type number " + std::to_string( number ) );
   }
   Qel::TypeRecord const* const type = types[number];
   if ( type && type->kind != Varek::TypeKind::entity ) [[unlikely]] {
      in.fail( "type " + Varek::String( type->name ) + " is not one of entities" );
   }
   unknownTypes_ += type == nullptr;
   return type;
}

std::uint32_t Follower::childHandle( In& in, std::uint32_t parent ) {
   std::uint32_t const handle = in.get32();
   if ( handle == 0 || handle == parent ) [[unlikely]] {
      in.fail( "an entity cannot have handle " + std::to_string( handle ) );
   }
   return handle;
}

void Follower::announce( Frame const& one, Known const& parent ) {
   In in( one.payload, one.offset );
   in.moreFollow();
   in.contextIs( parent.type->name, one.head.field );
   std::uint32_t const handle = childHandle( in, parent.handle );
   Qel::TypeRecord const* const type = typeNumbered( in );
   Qel::AttributeRecord const* const attribute = parent.type->attribute( one.head.field );
   if ( !type || !attribute ) {
      blind_ = true;
      return announced( handle );
   }
   if ( !attribute->childType || &Qel::typeRecord( attribute->childType() ) != type ) [[unlikely]] {
      in.fail( "a child of type " + Varek::String( type->name ) + " does not belong here" );
   }
   Known const above = parent; // which moves, and may go, while observers are told
   Qel::FirstFailure failure;
   bool isNew = false;
   Varek::Ptr<Qel::Entity> const child( childForAttrLog(
      mirrored( *above.entity, *above.type, *this ), one.head.field, in, failure, isNew ) );
   if ( child ) {
      knownIs( handle, places_.find( above.handle ), *type, *child );
      failure.guard( [&] { contents( *child, *type, in, isNew ); } );
   } else {
      announced( handle );
   }
   failure.rethrow();
}

/// In protocol version 1 none come with the announcement.
void Follower::contents( Qel::Entity& entity, Qel::TypeRecord const& type, In& in, bool isNew ) {
   if ( in.left() != 0 ) [[likely]] {
      contentsApply( mirrored( entity, type, *this ), in, isNew, *this );
   }
}

} // namespace Mirror
