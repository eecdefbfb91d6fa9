#include "ShowState.h"

#include <algorithm>
#include <ostream>
#include <utility>
#include <vector>

#include <fmt/core.h>

#include "Tables.h"
#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "agent/Derivation.h"
#include "config/ConfigOutput.h"
#include "config/Suggestion.h"
#include "views/JsonValue.h"
#include "views/TreeText.h"

namespace Dot1xCtl {

using namespace Agent;
using namespace Config;
using namespace Views;

using Varek::quoted;

namespace {

using What = ShowRequest::What;

std::map<std::string, What> const names = { { "all", What::all },
                                            { "ports", What::ports },
                                            { "supplicants", What::supplicants },
                                            { "blocked", What::blocked },
                                            { "sessions", What::sessions },
                                            { "config", What::config },
                                            { "tree", What::tree } };

/// The tables whose trees are there, in printing order.
std::vector<Table> tablesOf( StateRoots const& roots ) {
   std::vector<Table> result;
   if ( roots.authZ ) {
      result.push_back( portsTable( *roots.authZ ) );
   }
   if ( roots.authN ) {
      result.push_back( supplicantsTable( *roots.authN, roots.authZ.get() ) );
   }
   if ( roots.authZ ) {
      result.push_back( blockedTable( *roots.authZ ) );
   }
   if ( roots.acct ) {
      result.push_back( sessionsTable( *roots.acct ) );
   }
   return result;
}

/// Which column a filter is about. A MAC address filters the column of the supplicants in a table
/// that has no other column of addresses. Null if there is no column for it.
Column const* columnOf( Table const& table, std::string const& filter ) {
   auto const find = [&]( std::string const& member ) {
      auto const at = std::find_if( table.columns.begin(), table.columns.end(),
                                    [&]( Column const& one ) { return one.member == member; } );
      return at != table.columns.end() ? &*at : nullptr;
   };
   Column const* const found = find( filter );
   return !found && filter == "mac"     ? find( "supplicants" )
          : !found && filter == "state" ? find( "stage" )
                                        : found;
}

/// Whether both texts are the same VLAN number, with leading zeros or without.
bool sameVlan( Cell const& cell, std::string const& value ) {
   Bridging::VlanIdOrNone const number = vlanNumber( value );
   return !number.isNone() && number == vlanNumber( cell.text );
}

bool has( Cell const& cell, std::string const& value ) {
   if ( cell.value.is_array() ) {
      return std::any_of( cell.value.begin(), cell.value.end(),
                          [&]( auto const& one ) { return one == value; } );
   }
   return cell.text == value ||
          ( cell.value.is_string() ? cell.value == value : cell.value.dump() == value );
}

/// The columns to which a filter applies, in all tables that may be printed.
std::vector<Column> columnsOf( What what, std::string const& filter ) {
   // They are the same whatever the trees hold.
   std::vector<Column> result;
   for ( Table const& table : tablesOf( StateRoots::empty() ) ) {
      Column const* const column = columnOf( table, filter );
      if ( column && ( what == What::all || what == names.at( table.name ) ) ) {
         result.push_back( *column );
      }
   }
   return result;
}

/// Removes the rows that the filters exclude. False if the table lacks a column of the filters.
bool filter( Table& table, std::map<std::string, std::string> const& filters ) {
   for ( auto const& [name, value] : filters ) {
      Column const* const column = columnOf( table, name );
      if ( !column ) {
         return false;
      }
      auto const index = static_cast<std::size_t>( column - table.columns.data() );
      bool const isVlan = column->member == "vlan";
      std::erase_if( table.rows, [&, &wanted = value]( auto const& row ) {
         return !has( row[index], wanted ) && !( isVlan && sameVlan( row[index], wanted ) );
      } );
   }
   return true;
}

void printTree( std::ostream& out, Roots const& roots, bool json ) {
   Part const part = rootsPart( roots );
   if ( json ) {
      printJson( out, part );
      out << '\n';
   } else {
      printText( out, part );
   }
}

void printAll( std::ostream& out, StateRoots const& state, ShowRequest const& request ) {
   nlohmann::ordered_json all = nlohmann::ordered_json::object();
   bool first = true;
   for ( Table& table : tablesOf( state ) ) {
      if ( !filter( table, request.filters ) ) {
         continue;
      }
      if ( request.json ) {
         all[table.name] = jsonOf( table );
      } else {
         out << ( first ? "" : "\n" )
             << toned( table.name, request.colour ? Tone::heading : Tone::plain ) << '\n';
         printTable( out, table, request.colour );
      }
      first = false;
   }
   if ( request.json ) {
      out << compact( all ) << '\n';
   }
}

void printOne( std::ostream& out, StateRoots const& state, ShowRequest const& request ) {
   for ( Table& table : tablesOf( state ) ) {
      if ( names.at( table.name ) != request.what ) {
         continue;
      }
      if ( !filter( table, request.filters ) ) {
         throw Varek::Failure( "the table of " + table.name + " has no such column to select by" );
      }
      if ( request.json ) {
         out << compact( jsonOf( table ) ) << '\n';
      } else {
         printTable( out, table, request.colour );
      }
      return;
   }
   throw Varek::Failure( "there is no tree of which that table could be made" );
}

void printSupplicant( std::ostream& out, StateRoots const& state, ShowRequest const& request ) {
   std::optional<Table> const made = supplicantTable( state, *request.mac );
   if ( !made ) {
      throw Varek::Failure( "there is no supplicant " + stringValue( *request.mac ) );
   }
   Table const& table = *made;
   if ( request.json ) {
      out << compact( jsonOf( table, table.rows.front() ) ) << '\n';
   } else {
      printRow( out, table, table.rows.front(), request.colour );
   }
}

} // namespace

ShowRequest::What whatOf( std::string const& name ) { return names.at( name ); }

bool canSelect( What what, std::string const& filter ) {
   return !columnsOf( what, filter ).empty();
}

std::string filterFault( What what, std::string const& filter, std::string const& value ) {
   std::vector<std::string> words;
   for ( Column const& column : columnsOf( what, filter ) ) {
      if ( column.words.empty() ) {
         return {};
      }
      words.insert( words.end(), column.words.begin(), column.words.end() );
   }
   if ( std::ranges::count( words, value ) != 0 ) {
      return {};
   }
   std::vector<std::string_view> const known( words.begin(), words.end() );
   return fmt::format( "found {}, expected {}", quoted( value ), oneOf( value, known ) );
}

void printState( std::ostream& out, Roots const& roots, ShowRequest const& request ) {
   StateRoots const state( roots );
   if ( request.what == What::tree || ( request.what == What::all && !state ) ) {
      printTree( out, roots, request.json );
   } else if ( request.what == What::config ) {
      printConfig( out, roots, request.json ? ConfigForm::json : ConfigForm::text,
                   request.difference ? ConfigExtent::difference : ConfigExtent::whole );
   } else if ( request.what == What::all ) {
      printAll( out, state, request );
   } else if ( request.mac ) {
      printSupplicant( out, state, request );
   } else {
      printOne( out, state, request );
   }
}

} // namespace Dot1xCtl
