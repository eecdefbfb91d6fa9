#include "config/Config.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "config/ConfigValue.h"
#include "config/EntityReader.h"
#include "framework/inspect/Assign.h"
#include "framework/records/ValueTable.h"

namespace Config {

using Varek::escaped;

namespace {

bool readNode( JsonNode const& root, Qel::Entity& entity, Faults& faults ) {
   EntityReader( faults ).entity( { root }, entity );
   return faults.count() == 0;
}

/// The name that the file gives to the root, if that is a text; other faults of it are told when
/// the root is read.
Varek::String nameOf( JsonNode const& root ) {
   for ( JsonNode const& one : root.parts ) {
      Varek::String name;
      if ( Faults untold;
           one.name == "nameString" &&
           readScalar( { one }, Varek::Inspect::InspectAtomicFnTable<Varek::String>::table, &name,
                       untold ) ) {
         return name;
      }
   }
   return statusName;
}

} // namespace

bool readEntity( std::string_view text, Qel::Entity& entity, Faults& faults ) {
   JsonNode root;
   return parseJson( text, root, faults ) && readNode( root, entity, faults );
}

Varek::Ptr<Dot1xV2::Status> readConfig( std::string_view text, Faults& faults ) {
   JsonNode root;
   if ( !parseJson( text, root, faults ) ) {
      return nullptr;
   }
   auto const status = Dot1xV2::statusFactory( nameOf( root ) );
   return readNode( root, *status, faults ) ? status : nullptr;
}

bool reloadConfig( std::string_view text, Dot1xV2::Status& status, Faults& faults ) {
   auto const wanted = Dot1xV2::statusFactory( status.name() );
   if ( !readEntity( text, *wanted, faults ) ) {
      return false;
   }
   Qel::assignEntity( status, *wanted );
   return true;
}

Varek::Ptr<Dot1xV2::Status> loadConfig( std::string const& file, Faults& faults ) {
   return readConfig( contentsOf( file ), faults );
}

std::string contentsOf( std::string const& file ) {
   // Some files have no end. The limit is above every configuration and well within memory.
   constexpr std::size_t most = std::size_t{ 64 } << 20;
   auto const all = [&file]( std::istream& in ) {
      std::string text;
      std::array<char, 1 << 16> buffer;
      do {
         in.read( buffer.data(), buffer.size() );
         text.append( buffer.data(), static_cast<std::size_t>( in.gcount() ) );
         if ( text.size() > most ) {
            throw Varek::Failure( escaped( file ) + ": is larger than 64 MiB" );
         }
      } while ( in );
      return text;
   };
   if ( file == "-" ) {
      return all( std::cin );
   }
   // Opened as a file, a directory would look empty.
   std::ifstream in( file, std::ios::binary );
   if ( !in || ( in.peek(), in.bad() ) ) {
      throw Varek::Failure( escaped( file ) + ": " + std::strerror( errno ) );
   }
   return all( in );
}

} // namespace Config
