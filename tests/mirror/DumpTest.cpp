// The example of docs/attribute-log.md is what a leader really sends. With the environment variable
// DOT1X_UPDATE_DOCS set, the test writes it into that file instead of comparing.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "mirror/Link.h"
#include "support/Files.h"

namespace {

using namespace Dot1xV2;
using Qel::NboAttrLog::FrameHead;

/// So many bytes of a payload, and what they are.
struct Part {
   std::size_t size;
   char const* meaning;
};
/// What is to come, in the order in which it comes.
struct Expected {
   char const* heading; ///< What has happened, where it is the first frame that tells of it.
   char const* head;
   std::vector<Part> parts;
};

std::vector<Expected> const exchange{
   { "The answer is published before the follower comes",
     "root: entity 0 and field 0 as in the hello before, length in 1 byte",
     { { 4, "handle 1" },
       { 2, "type number of Dot1xV2::AaaResponse" },
       { 4, "name: 6 bytes" },
       { 6, "\"answer\"" },
       { 4, "type: accepted" },
       { 1, "given: bits 1 (field 259) and 2 (field 260)" },
       { 1, "later: none" },
       { 1, "values of 6 bytes" },
       { 6, "callingStationId" },
       { 1, "aaaAttribute: one element" },
       { 4, "the key, attribute: no vendor" },
       { 2, "type 1, User-Name" },
       { 4, "attrValue: one value" },
       { 1, "text of 5 bytes" },
       { 5, "\"alice\"" } } },
   { nullptr, "synced: same entity, same field, no payload", {} },
   { nullptr, "consistent: same entity, same field", { { 8, "point 1" } } },
   { "callingStationIdIs( 00:00:5e:00:53:02 )",
     "attribute: entity 1, field 259",
     { { 6, "callingStationId" } } },
   { "aaaAttributeDel( User-Name )",
     "attribute: same entity, field 65276, the negative of 260",
     { { 4, "the key: no vendor" }, { 2, "type 1, User-Name" } } },
   { nullptr, "consistent: same entity, same field", { { 8, "point 2" } } },
};

/// "offset  bytes  meaning".
class Dump {
public:
   explicit Dump( Link::Bytes bytes ) : bytes_( std::move( bytes ) ) {}

   std::string text() {
      for ( Expected const& one : exchange ) {
         add( one );
      }
      EXPECT_EQ( at_, bytes_.size() ) << "frames that nothing is said of";
      return std::move( text_ );
   }

private:
   void add( Expected const& one ) {
      if ( one.heading ) {
         text_.append( text_.empty() ? "" : "\n" ).append( one.heading ).append( "\n\n" );
      }
      FrameHead head;
      std::size_t size = heads_.read( std::span( bytes_ ).subspan( at_ ), head );
      ASSERT_NE( size, 0U );
      line( size, one.head );
      std::size_t const end = at_ + head.size;
      for ( Part const& part : one.parts ) {
         line( part.size, part.meaning );
      }
      EXPECT_EQ( at_, end ) << one.head;
   }
   void line( std::size_t size, char const* meaning ) {
      std::string hex;
      for ( ; size > 0 && at_ < bytes_.size(); --size ) {
         char octet[4];
         std::snprintf( octet, sizeof octet, "%02x ", bytes_[at_++] );
         hex += octet;
      }
      char row[120];
      std::snprintf( row, sizeof row, "%6zu  %-26s %s\n", at_ - hex.size() / 3, hex.c_str(),
                     meaning );
      text_ += row;
   }

   Link::Bytes const bytes_;
   Qel::NboAttrLog::FrameHeads heads_;
   std::size_t at_ = 0;
   std::string text_;
};

/// What the leader says after its hello.
Link::Bytes said() {
   auto const answer = AaaResponse::AaaResponseIs( AaaResponseType::accepted );
   answer->callingStationIdIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) );
   AaaAttribute name( RadiusPktParserBase::Attribute( "User-Name" ) );
   name.attrValuePush( RadiusPktParserBase::AttrValue( Varek::String( "alice" ) ) );
   answer->aaaAttributeIs( name );
   Mirror::Leader leader;
   leader.rootIs( "answer", answer );
   Mirror::Follower follower;
   Link link( leader, follower );
   link.pump();
   answer->callingStationIdIs( Lumo::EthAddr( "00:00:5e:00:53:02" ) );
   answer->aaaAttributeDel( RadiusPktParserBase::Attribute( "User-Name" ) );
   link.pump();
   auto const rest = std::span( link.fromLeader ).subspan( helloSize( link.fromLeader ) );
   return { rest.begin(), rest.end() };
}

TEST( Dump, TheDocumentShowsWhatIsSent ) {
   constexpr std::string_view begin = "<!-- dump begins -->\n```\n";
   constexpr std::string_view end = "```\n<!-- dump ends -->\n";
   std::string const path = DOT1X_DOCS_DIR "/attribute-log.md";
   std::string document = Files::contents( path );
   std::size_t const from = document.find( begin ) + begin.size();
   std::size_t const to = document.find( end );
   ASSERT_NE( document.find( begin ), document.npos );
   ASSERT_LE( from, to );
   ASSERT_NE( to, document.npos );

   std::string const dump = Dump( said() ).text();
   ASSERT_FALSE( HasFatalFailure() );
   if ( std::getenv( "DOT1X_UPDATE_DOCS" ) ) {
      std::ofstream( path ) << document.replace( from, to - from, dump );
      return;
   }
   EXPECT_EQ( document.substr( from, to - from ), dump )
      << "It should be, and with DOT1X_UPDATE_DOCS set in the environment this test writes it:\n"
      << dump;
}

} // namespace
