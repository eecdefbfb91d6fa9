#include <algorithm>

#include <gtest/gtest.h>

#include "capture/Exchange.h"

namespace {

using namespace Capture;

Endpoint endpoint( std::uint8_t host, std::uint16_t port ) {
   Endpoint result;
   result.address.octets = { 192, 0, 2, host };
   result.port = port;
   return result;
}

Flow flow( std::uint8_t identifier, std::uint16_t clientPort = 40000 ) {
   return { endpoint( 1, clientPort ), endpoint( 2, 1812 ), identifier };
}

Request request( std::uint64_t packet, std::uint8_t octet, std::uint8_t code = accessRequest ) {
   Request result;
   result.packet = packet;
   result.code = code;
   result.octets = { code, octet };
   return result;
}

std::vector<std::uint64_t> packets( std::vector<Request> const& requests ) {
   std::vector<std::uint64_t> result;
   for ( Request const& one : requests ) {
      result.push_back( one.packet );
   }
   return result;
}

TEST( Exchange, AnswerBelongsToTheSameEndpointsAndIdentifier ) {
   Exchange exchange;
   exchange.request( flow( 1 ), request( 1, 'a' ) );
   exchange.request( flow( 2 ), request( 2, 'b' ) );
   exchange.request( flow( 1, 40001 ), request( 3, 'c' ) );
   EXPECT_EQ( exchange.answer( flow( 1, 40001 ), accessAccept, true )->packet, 3u );
   EXPECT_EQ( exchange.answer( flow( 1 ), accessReject, true )->packet, 1u );
   EXPECT_EQ( exchange.answer( flow( 3 ), accessAccept, true ), nullptr );
   EXPECT_EQ(
      exchange.answer( { endpoint( 2, 1812 ), endpoint( 1, 40000 ), 2 }, accessAccept, true ),
      nullptr );
   EXPECT_EQ( packets( exchange.unanswered() ), std::vector<std::uint64_t>{ 2 } );
}

TEST( Exchange, RequestSentAgainIsTheSameAlsoAfterItsAnswer ) {
   Exchange exchange;
   EXPECT_TRUE( exchange.request( flow( 1 ), request( 1, 'a' ) ) );
   EXPECT_FALSE( exchange.request( flow( 1 ), request( 2, 'a' ) ) );
   EXPECT_EQ( exchange.unanswered().size(), 1u );
   EXPECT_EQ( exchange.answer( flow( 1 ), accessAccept, true )->answers, 1u );
   EXPECT_FALSE( exchange.request( flow( 1 ), request( 4, 'a' ) ) );
   Request const* const again = exchange.answer( flow( 1 ), accessAccept, true );
   EXPECT_EQ( again->packet, 1u );
   EXPECT_EQ( again->answers, 2u );
   EXPECT_EQ( again->timesSent, 3u );
   EXPECT_TRUE( exchange.unanswered().empty() );
}

TEST( Exchange, ReusedIdentifierForgetsAnAnsweredAndGivesUpAnOpenRequest ) {
   Exchange exchange;
   exchange.request( flow( 1 ), request( 1, 'a' ) );
   exchange.answer( flow( 1 ), accessAccept, true );
   exchange.request( flow( 1 ), request( 3, 'b' ) );
   exchange.request( flow( 1 ), request( 4, 'c' ) );
   exchange.request( flow( 0 ), request( 5, 'd' ) );
   Request const* const answered = exchange.answer( flow( 1 ), accessReject, true );
   EXPECT_EQ( answered->packet, 4u );
   EXPECT_EQ( answered->answers, 1u ) << "the answer of the forgotten request must not count";
   EXPECT_EQ( packets( exchange.unanswered() ), ( std::vector<std::uint64_t>{ 3, 5 } ) );
}

TEST( Exchange, BrokenAnswerIsHeardButNotCounted ) {
   Exchange exchange;
   exchange.request( flow( 1 ), request( 1, 'a' ) );
   exchange.answer( flow( 1 ), accessAccept, false );
   EXPECT_TRUE( exchange.unanswered().empty() );
   EXPECT_EQ( exchange.answer( flow( 1 ), accessAccept, true )->answers, 1u );
}

TEST( Exchange, AnswerMustBeOneToThatKindOfRequest ) {
   struct {
      std::uint8_t request;
      std::vector<std::uint8_t> answers;
   } const table[] = {
      { accessRequest, { accessAccept, accessReject, accessChallenge } },
      { accountingRequest, { accountingResponse } },
      { statusServer, { accessAccept, accountingResponse } },
   };
   for ( auto const& row : table ) {
      for ( std::uint8_t code :
            { accessAccept, accessReject, accountingResponse, accessChallenge } ) {
         Exchange exchange;
         exchange.request( flow( 1 ), request( 1, 'a', row.request ) );
         bool const fits =
            std::find( row.answers.begin(), row.answers.end(), code ) != row.answers.end();
         EXPECT_EQ( exchange.answer( flow( 1 ), code, true ) != nullptr, fits )
            << int( row.request ) << " answered by " << int( code );
         EXPECT_EQ( exchange.unanswered().empty(), fits );
      }
   }
}

} // namespace
