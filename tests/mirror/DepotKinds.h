#pragma once

#include <cstdint>
#include <string>

#include "support/Trees.h"

/// Elements of every kind that has keys, of a depot and of what is below it: they come, with some
/// contents, and go, by number.
struct DepotKind {
   using Depot = TestModule::Depot;

   void ( *come )( Depot&, std::uint32_t number, std::uint32_t content );
   void ( *go )( Depot&, std::uint32_t number );
   void ( *clear )( Depot& );

   static std::string text( std::uint32_t number ) { return std::to_string( number ); }
   static Varek::Ptr<TestModule::Rack> shelf( Depot& depot ) {
      return depot.annexIs()->rackIs( "shelf" );
   }
   static Varek::Ptr<TestModule::Sensor> sensor( Depot& depot ) {
      return depot.annexIs()->rackIs( "standing" )->sensorIs( 0 );
   }
};

inline constexpr DepotKind tagKind{
   []( auto& depot, auto n, auto ) { depot.tagIs( DepotKind::text( n ) ); },
   []( auto& depot, auto n ) { depot.tagDel( DepotKind::text( n ) ); },
   []( auto& depot ) { depot.tagDelAll(); } };
inline constexpr DepotKind noteKind{
   []( auto& depot, auto n, auto c ) {
      depot.noteIs( DepotKind::text( n ), Varek::String( c % 60, 'x' ) );
   },
   []( auto& depot, auto n ) { depot.noteDel( DepotKind::text( n ) ); },
   []( auto& depot ) { depot.noteDelAll(); } };
inline constexpr DepotKind stockKind{
   []( auto& depot, auto n, auto c ) { depot.stockIs( DepotKind::text( n ), Tracked( c ) ); },
   []( auto& depot, auto n ) { depot.stockDel( DepotKind::text( n ) ); },
   []( auto& depot ) { depot.stockDelAll(); } };
inline constexpr DepotKind limitsKind{ []( auto& depot, auto n, auto c ) {
                                         TestModule::Limits made( n );
                                         made.ceilingIs( c );
                                         depot.limitsIs( made );
                                      },
                                       []( auto& depot, auto n ) { depot.limitsDel( n ); },
                                       []( auto& depot ) { depot.limitsDelAll(); } };
inline constexpr DepotKind rackKind{
   []( auto& depot, auto n, auto ) { depot.annexIs()->rackIs( DepotKind::text( n ) ); },
   []( auto& depot, auto n ) { depot.annexIs()->rackDel( DepotKind::text( n ) ); },
   []( auto& depot ) { depot.annexIs()->rackDelAll(); } };
inline constexpr DepotKind sensorKind{
   []( auto& depot, auto n, auto c ) { DepotKind::shelf( depot )->sensorIs( n )->levelIs( c ); },
   []( auto& depot, auto n ) { DepotKind::shelf( depot )->sensorDel( n ); },
   []( auto& depot ) { DepotKind::shelf( depot )->sensorDelAll(); } };
inline constexpr DepotKind readingKind{
   []( auto& depot, auto n, auto c ) {
      DepotKind::sensor( depot )->readingIs( Trees::reading( n, c ) );
   },
   []( auto& depot, auto n ) { DepotKind::sensor( depot )->readingDel( n ); },
   []( auto& depot ) { DepotKind::sensor( depot )->readingDelAll(); } };

inline constexpr DepotKind depotKinds[] = { tagKind,  noteKind,   stockKind,  limitsKind,
                                            rackKind, sensorKind, readingKind };
