#include <ostream>
#include <string_view>
#include <utility>
#include <variant>

#include <nlohmann/json.hpp>

#include "Output.h"
#include "Radius/ValueText.h"
#include "views/JsonValue.h"

#include "views/TimeText.h"

namespace Dot1xCtl {

using namespace Capture;
using namespace Views;

namespace {

using Json = nlohmann::ordered_json;

Json radiusText( Varek::String const& text ) {
   if ( isUtf8( text ) ) {
      return { { "form", "text" }, { "value", text } };
   }
   return { { "form", "octets" }, { "value", stringValue( Varek::Bytes( text ) ) } };
}

struct FormOf {
   RadiusPktParserBase::Attribute attribute;

   Json operator()( Varek::String const& value ) const { return radiusText( value ); }
   Json operator()( RadiusPktParserBase::TaggedStr const& value ) const {
      Json result = radiusText( value.value );
      result["tag"] = value.tag;
      return result;
   }
   Json operator()( std::uint32_t value ) const {
      return { { "form", "integer" }, { "value", value } };
   }
   Json operator()( RadiusPktParserBase::TaggedInt const& value ) const {
      return { { "form", "integer" }, { "value", value.value }, { "tag", value.tag } };
   }
   Json operator()( std::uint64_t value ) const {
      return { { "form", "integer" }, { "value", value } };
   }
   Json operator()( Lumo::IpGenPrefix const& value ) const {
      return { { "form", "prefix" }, { "value", prefixText( attribute, value ) } };
   }
   Json operator()( Varek::Bytes const& value ) const {
      return { { "form", "octets" }, { "value", stringValue( value ) } };
   }
};

Json valueJson( RadiusPktParserBase::Attribute attribute,
                RadiusPktParserBase::AttrValue const& value ) {
   Json result = std::visit( FormOf{ attribute }, value.variant() );
   if ( std::string const name = valueName( attribute, value ); !name.empty() ) {
      result["name"] = name;
   }
   return result;
}

/// Adds a value to a list of attributes, which has an element for each, in order of occurrence.
void add( Json& list, RadiusPktParserBase::Attribute attribute,
          RadiusPktParserBase::AttrValue const& value ) {
   std::string const name = stringValue( attribute );
   for ( Json& known : list ) {
      if ( known["name"] == name ) {
         known["values"].push_back( valueJson( attribute, value ) );
         return;
      }
   }
   list.push_back( { { "name", name },
                     { "vendor", attribute.vendor() },
                     { "type", attribute.type() },
                     { "values", Json::array( { valueJson( attribute, value ) } ) } } );
}

Json attributesJson( std::vector<Dot1xV2::AaaAttribute> const& attributes ) {
   Json result = Json::array();
   for ( Dot1xV2::AaaAttribute const& attribute : attributes ) {
      for ( auto const& value : attribute.attrValue() ) {
         add( result, attribute.attribute(), value );
      }
   }
   return result;
}

Json requestJson( Request const& request ) {
   Json attributes = Json::array();
   for ( auto const& [attribute, value] : request.attributes ) {
      add( attributes, attribute, value );
   }
   return { { "packet", request.packet },       { "time", timeText( request.time, 'T', 9 ) + "Z" },
            { "code", request.code },           { "codeName", codeText( request.code ) },
            { "timesSent", request.timesSent }, { "attributes", std::move( attributes ) } };
}

Json stationJson( Request const* request ) {
   return request && request->station ? Json( stringValue( *request->station ) ) : Json();
}

void addOffset( Json& record, Problem const& problem ) {
   auto const& offset = problem.offset;
   record["offset"] = offset ? Json( offset->octets ) : Json();
   record["offsetIn"] = offset ? Json( nameOf( offset->in ) ) : Json();
}

class JsonOutput final : public Output {
public:
   explicit JsonOutput( std::ostream& out ) : out_( out ) {}

   void capture( std::string const& file ) override { file_ = textJson( file ); }

   void answer( Answer const& answer ) override {
      Json record = common( "answer", answer );
      record["type"] = stringValue( answer.response->type() );
      record["duplicate"] = answer.request && answer.request->answers > 1;
      record["notifications"] = answer.notifications;
      record["attributes"] = attributesJson( answer.attributes );
      print( record );
   }

   void broken( Answer const& answer, Problem const& fault ) override {
      Json record = common( "broken", answer );
      record["fault"] = fault.what;
      addOffset( record, fault );
      record["attributesBefore"] = attributesJson( answer.attributes );
      print( record );
   }

   void unanswered( Request const& request ) override {
      print( { { "record", "unanswered" },
               { "file", file_ },
               { "callingStationId", stationJson( &request ) },
               { "request", requestJson( request ) } } );
   }

   void problem( Problem const& problem ) override {
      Json record = { { "record", "problem" },
                      { "file", file_ },
                      { "kind", nameOf( problem.kind ) },
                      { "packet", problem.packet != 0 ? Json( problem.packet ) : Json() } };
      addOffset( record, problem );
      // The text may hold words of other programs and names of files.
      record["what"] = textJson( problem.what );
      print( record );
   }

   void summary( Summary const& s ) override {
      print( { { "record", "summary" },
               { "captures", s.captures },
               { "packets", s.packets },
               { "answers", s.answers() },
               { "accepted", s.accepted },
               { "rejected", s.rejected },
               { "challenges", s.challenges },
               { "acctResponses", s.acctResponses },
               { "duplicates", s.duplicates },
               { "withoutRequest", s.withoutRequest },
               { "broken", s.broken },
               { "requests", s.requests },
               { "sentAgain", s.sentAgain },
               { "unanswered", s.unanswered },
               { "otherRadius", s.otherRadius },
               { "attributes", s.attributes },
               { "values", s.values },
               { "notifications", s.notifications },
               { "problems", s.problems } } );
      out_ << "\n]\n";
      out_.flush();
   }

private:
   Json common( char const* kind, Answer const& answer ) const {
      Json record = { { "record", kind },
                      { "file", file_ },
                      { "packet", answer.packet },
                      { "time", timeText( answer.time, 'T', 9 ) + "Z" },
                      { "sinceStart", std::chrono::duration<double>( answer.sinceStart ).count() },
                      { "code", answer.code },
                      { "codeName", codeText( answer.code ) },
                      { "identifier", answer.identifier },
                      { "client", stringValue( answer.client ) },
                      { "server", stringValue( answer.server ) },
                      { "callingStationId", stationJson( answer.request ) } };
      if ( answer.request ) {
         record["request"] = requestJson( *answer.request );
      }
      return record;
   }

   void print( Json const& record ) {
      out_ << ( first_ ? "[\n" : ",\n" ) << compact( record );
      first_ = false;
   }

   std::ostream& out_;
   Json file_;
   bool first_ = true;
};

} // namespace

std::unique_ptr<Output> jsonOutput( std::ostream& out ) {
   return std::make_unique<JsonOutput>( out );
}

} // namespace Dot1xCtl
