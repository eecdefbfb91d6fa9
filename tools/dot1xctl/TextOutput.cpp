#include <ostream>

#include <fmt/core.h>

#include "Output.h"
#include "Radius/RadiusAttributeId.h"
#include "Radius/ValueText.h"
#include "Varek/Text.h"
#include "agent/Asked.h"
#include "views/Columns.h"

#include "views/TimeText.h"

namespace Dot1xCtl {

using namespace Agent;
using namespace Capture;
using namespace Views;

using Varek::escaped;
using Varek::quoted;

namespace {

using Id = RadiusPacketParser::RadiusAttributeId;

constexpr std::size_t indentation = 3;
constexpr std::size_t valueColumn = 29;

class TextOutput final : public Output {
public:
   explicit TextOutput( std::ostream& out ) : out_( out ) {}

   void capture( std::string const& file ) override {
      out_ << ( first_ ? "" : "\n" ) << escaped( file ) << '\n';
      first_ = false;
   }

   void answer( Answer const& answer ) override {
      heading( answer, ": " + stringValue( answer.response->type() ) );
      for ( Dot1xV2::AaaAttribute const& attribute : answer.attributes ) {
         print( attribute );
      }
   }

   void broken( Answer const& answer, Problem const& fault ) override {
      heading( answer, ": NOT READ WHOLE" );
      printWrapped( out_, std::string( indentation, ' ' ),
                    fmt::format( "{}; no response is made of it. {} before the fault{}", fault.what,
                                 Varek::counted( answer.attributes.size(), "attribute stands",
                                                 "attributes stand" ),
                                 answer.attributes.empty() ? "." : ":" ),
                    indentation );
      for ( Dot1xV2::AaaAttribute const& attribute : answer.attributes ) {
         print( attribute );
      }
   }

   void unanswered( Request const& request ) override {
      out_ << "\npacket " << request.packet << "  " << timeText( request.time, ' ', 6 ) << "  "
           << codeText( request.code ) << ": unanswered\n";
      std::string text = about( &request );
      add( text, "sent " + times( request.timesSent ) );
      printWrapped( out_, std::string( indentation, ' ' ), text, indentation );
   }

   void problem( Problem const& ) override {} // reported or counted already

   void summary( Summary const& s ) override {
      out_ << "\nsummary\n";
      row( "captures", s.captures, counted( { { s.packets, "packets" } } ) );
      row( "requests", s.requests,
           counted( { { s.sentAgain, "sent again" }, { s.unanswered, "unanswered" } } ) );
      row( "answers", s.answers(),
           counted( { { s.accepted, "accepted" },
                      { s.rejected, "rejected" },
                      { s.challenges, "challenges" },
                      { s.acctResponses, "accounting responses" },
                      { s.duplicates, "came again" },
                      { s.withoutRequest, "without request" } } ) );
      row( "attributes", s.attributes, counted( { { s.values, "values" } } ) );
      row( "notifications", s.notifications, {} );
      if ( s.broken != 0 ) {
         row( "answers not read whole", s.broken, {} );
      }
      if ( s.otherRadius != 0 ) {
         row( "other RADIUS packets", s.otherRadius, {} );
      }
      if ( s.problems != 0 ) {
         row( "problems", s.problems, "told on standard error" );
      }
      out_.flush();
   }

private:
   static std::string times( std::uint32_t count ) {
      return count == 1 ? "once" : fmt::format( "{} times", count );
   }

   struct Count {
      std::size_t count;
      char const* what;
   };

   static std::string counted( std::initializer_list<Count> counts ) {
      std::string result;
      for ( Count const& one : counts ) {
         if ( one.count != 0 ) {
            result += fmt::format( "{}{} {}", result.empty() ? "" : ", ", one.count, one.what );
         }
      }
      return result;
   }

   void row( char const* name, std::size_t count, std::string const& detail ) {
      printWrapped( out_, fmt::format( "   {:<{}}{}", name, valueColumn - indentation, count ),
                    detail.empty() ? detail : fmt::format( "  ({})", detail ),
                    valueColumn + indentation );
   }

   void heading( Answer const& answer, std::string const& result ) {
      out_ << "\npacket " << answer.packet << "  " << timeText( answer.time, ' ', 6 ) << "  "
           << codeText( answer.code ) << result << '\n';
      std::string text = about( answer.request );
      if ( answer.request ) {
         add( text, fmt::format( "request in packet {}", answer.request->packet ) );
         add( text, answer.request->answers > 1 ? "answered before" : "" );
      }
      printWrapped( out_, std::string( indentation, ' ' ), text, indentation );
   }

   static void add( std::string& list, std::string const& one ) {
      list += ( list.empty() || one.empty() ? "" : ", " ) + one;
   }

   static std::string stationText( Request const& request ) {
      auto const* const id = textOf( request.attributes, Id::callingStationId );
      if ( !id ) {
         return isOfNas( request ) ? "" : "station unknown (no Calling-Station-Id)";
      }
      return request.station
                ? fmt::format( "station {}", stringValue( *request.station ) )
                : fmt::format( "station unknown (Calling-Station-Id is {})", quoted( *id ) );
   }

   /// The user and station of a request.
   static std::string about( Request const* request ) {
      if ( !request ) {
         return "station unknown (the capture has no request to this answer)";
      }
      std::string text = stationText( *request );
      struct {
         char const* name;
         std::uint16_t type;
      } constexpr shown[] = {
         { "user", Id::userName }, { "port", Id::nasPortId }, { "session", Id::acctSessionId } };
      for ( auto const& one : shown ) {
         if ( auto const* value = textOf( request->attributes, one.type ) ) {
            add( text, fmt::format( "{} {}", one.name, quoted( *value ) ) );
         }
      }
      for ( auto const& [attribute, value] : request->attributes ) {
         if ( attribute == RadiusPktParserBase::Attribute( 0, Id::acctStatusType ) ) {
            add( text, valueText( attribute, value ) );
         }
      }
      return text;
   }

   void print( Dot1xV2::AaaAttribute const& attribute ) {
      std::string first =
         "   " + padded( stringValue( attribute.attribute() ), valueColumn - indentation );
      for ( auto const& value : attribute.attrValue() ) {
         printWrapped( out_, first, valueText( attribute.attribute(), value ), valueColumn );
         first.assign( valueColumn, ' ' );
      }
   }

   std::ostream& out_;
   bool first_ = true;
};

} // namespace

std::unique_ptr<Output> textOutput( std::ostream& out ) {
   return std::make_unique<TextOutput>( out );
}

} // namespace Dot1xCtl
