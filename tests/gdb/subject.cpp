#include <cstdint>

#include "Dot1xV2/AcctStatus.h"
#include "Qel/HashMap2018.h"

/// Holds what the printers for gdb show, and stops where it is to be looked at.
void lookHere() { asm volatile( "" ); }

int main() {
   using namespace Dot1xV2;
   auto const status = acctStatusFactory( "acct" );
   auto const none = decltype( status )();
   for ( std::uint8_t i = 1; i <= 20; ++i ) {
      status->acctSessionStateIs( Lumo::EthAddr( { 0, 0, 0x5e, 0, 0x53, i } ) );
   }
   auto const session = status->acctSessionState( Lumo::EthAddr( "00:00:5e:00:53:07" ) );
   Qel::HSet<std::uint32_t> numbers, empty;
   numbers.newMemberG( 41u );
   numbers.newMemberG( 42u );
   auto const ignore = []( Varek::Change const& ) {};
   auto const one = status->publisher().subscribe( ignore, Varek::Scope::subtree );
   auto const two = status->publisher().subscribe( ignore );
   auto const other = session->publisher().subscribe( ignore );
   lookHere();
   return none ? 1 : static_cast<int>( empty.size() );
}
