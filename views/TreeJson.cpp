#include "views/TreeJson.h"

#include <ostream>
#include <string_view>
#include <utility>

#include "views/JsonValue.h"

namespace Views {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf( Part const&, EntityForm = EntityForm::typed );

/// A key as the name of a member.
std::string memberName( Part const& key ) {
   if ( key.form == Part::Form::fields ) {
      return compact( jsonOf( key ) );
   }
   std::string_view const prefix = octetsKey;
   // Text that looks like the form of octets is written as octets, too.
   bool const plain = isUtf8( key.text ) && !key.text.starts_with( prefix );
   return plain ? key.text
                : std::string( prefix ) + stringValue( Varek::Bytes( key.text ) ).substr( 2 );
}

Json fieldsJson( Part const& part, EntityForm form ) {
   Json result = Json::object();
   for ( Part const& one : part.unopened ? opened( part ) : part.parts ) {
      result[std::string( one.name )] = jsonOf( one, form );
   }
   return result;
}

Json stepJson( Part const& part ) {
   Json result = { { "attribute", part.name } };
   if ( !part.key.empty() ) {
      result["key"] = jsonOf( part.key.front() );
   }
   return result;
}

Json jsonOf( Part const& part, EntityForm form ) {
   switch ( part.form ) {
   case Part::Form::none:
      return nullptr;
   case Part::Form::boolean:
      return part.text == "true";
   case Part::Form::number:
      // A duration may be infinite, but a number in JSON may not.
      return Json::accept( part.text ) ? Json::parse( part.text ) : Json( part.text );
   case Part::Form::text:
      return textJson( part.text );
   case Part::Form::word:
      return part.text;
   case Part::Form::fields:
      return fieldsJson( part, form );
   case Part::Form::entity:
      return form == EntityForm::bare
                ? fieldsJson( part, form )
                : Json{ { "type", part.type }, { "attributes", fieldsJson( part, form ) } };
   case Part::Form::list:
   case Part::Form::keyed:
      break;
   }
   Json result = part.form == Part::Form::list ? Json::array() : Json::object();
   for ( Part const& one : part.parts ) {
      if ( part.form == Part::Form::list ) {
         result.push_back( jsonOf( one, form ) );
      } else {
         // Not by the index operator, which would look through all the others each time.
         result.get_ref<Json::object_t&>().emplace_back( memberName( one.key.front() ),
                                                         jsonOf( one, form ) );
      }
   }
   return result;
}

} // namespace

std::string jsonText( Part const& part, EntityForm form, int indent ) {
   return pretty( jsonOf( part, form ), indent );
}

void printJson( std::ostream& out, Part const& part ) {
   if ( part.form != Part::Form::entity && part.form != Part::Form::keyed ) {
      out << compact( jsonOf( part ) );
      return;
   }
   bool const entity = part.form == Part::Form::entity;
   out << ( entity ? "{\"type\":" + compact( part.type ) + ",\"attributes\":{" : "{" );
   char const* between = "";
   for ( Part const& one : part.unopened ? opened( part ) : part.parts ) {
      out << between << compact( entity ? Json( one.name ) : Json( memberName( one.key.front() ) ) )
          << ':';
      printJson( out, one );
      between = ",";
   }
   out << ( entity ? "}}" : "}" );
}

std::string jsonText( std::string const& time, std::string const& root, ChangePart const& change ) {
   Json path = Json::array();
   for ( Part const& one : change.path ) {
      path.push_back( stepJson( one ) );
   }
   Json result = Json::object();
   if ( !time.empty() ) {
      result["time"] = time;
   }
   result["root"] = root;
   result["path"] = std::move( path );
   if ( !change.attribute.name.empty() ) {
      result.update( stepJson( change.attribute ) );
   }
   result["old"] = jsonOf( change.before );
   result["new"] = jsonOf( change.after );
   return compact( result );
}

bool isUtf8( std::string_view text ) {
   try {
      (void)Json( text ).dump();
      return true;
   } catch ( Json::type_error const& ) {
      return false;
   }
}

} // namespace Views
