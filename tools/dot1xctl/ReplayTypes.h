#pragma once

#include <cstdint>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "framework/declare/Declare.h"

/// What replay has found, as a tree that can be published: a module of the tool's own, declared as
/// those of the library are.
namespace Replay {

extern VAREK_EXPORT Varek::ModuleInspectData const replayModule;

/// A RADIUS answer that could be read whole.
class VAREK_EXPORT Answer final : public Qel::EntityOf<Answer> {
   QEL_ENTITY( Answer, replayModule, 0 )

   /// Its place among the answers of all captures, from 1.
   QEL_PARAMETER( 258, std::uint32_t, number )
   /// The name of its file, as it was given.
   QEL_PLAIN( 259, Varek::String, capture )
   /// The number of its packet in the file, from 1.
   QEL_PLAIN( 260, std::uint64_t, packet )
   /// When it was captured, in microseconds since 1970-01-01 00:00 UTC.
   QEL_PLAIN( 261, std::uint64_t, time )
   /// The request's User-Name (RFC 2865 5.1); empty if that or the request is missing.
   QEL_PLAIN( 262, Varek::String, user )
   /// The request's NAS-Port-Id (RFC 2869 5.17); empty likewise.
   QEL_PLAIN( 263, Varek::String, port )
   /// The name of its code, "Access-Accept" (RFC 2865 3).
   QEL_PLAIN( 264, Varek::String, code )
   /// The response that an authenticator would keep.
   QEL_CHILD( 265, Dot1xV2::AaaResponse, aaaResponse )
};

/// The root: the answers, and the counts of the summary.
class VAREK_EXPORT Status final : public Qel::EntityOf<Status> {
   QEL_ENTITY( Status, replayModule, 1 )
   QEL_NAME

   QEL_CHILDREN( 258, Answer, answer, 0x51E6B2D3 )
   QEL_COUNTER( 259, captures )
   /// Packets of any kind.
   QEL_COUNTER( 260, packets )
   QEL_COUNTER( 261, requests )
   /// Copies of requests; not among the requests.
   QEL_COUNTER( 262, sentAgain )
   QEL_COUNTER( 263, unanswered )
   QEL_COUNTER( 264, accepted )
   QEL_COUNTER( 265, rejected )
   QEL_COUNTER( 266, challenges )
   QEL_COUNTER( 267, acctResponses )
   /// Repeated answers.
   QEL_COUNTER( 268, duplicates )
   /// Answers whose request is not in the capture.
   QEL_COUNTER( 269, withoutRequest )
   /// Answers that could not be read whole; they have no Answer.
   QEL_COUNTER( 270, broken )
   /// Packets between RADIUS ports with other codes.
   QEL_COUNTER( 271, otherRadius )
   /// Distinct attributes of each answer.
   QEL_COUNTER( 272, attributes )
   /// Of these attributes.
   QEL_COUNTER( 273, values )
   /// Changes that the observers of the responses were told of.
   QEL_COUNTER( 274, notifications )
   QEL_COUNTER( 275, problems )
};

/// A new root.
VAREK_EXPORT Varek::Ptr<Status> statusFactory( Varek::String const& name );

} // namespace Replay
