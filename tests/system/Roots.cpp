#include "system/Roots.h"

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "support/TestModule.h"

namespace Roots {

namespace {

using namespace Dot1xV2;

template<auto made>
constexpr Root root( char const* name ) {
   return { name, [] { return Varek::Ptr<Qel::Entity>( made() ); } };
}

constexpr Root roots[] = {
   root<[] { return TestModule::Plant::PlantIs(); }>( "plant" ),
   root<[] { return TestModule::Depot::DepotIs( Varek::String( "north" ) ); }>( "depot" ),
   root<[] { return aaaResponseFactory( AaaResponseType::challenge ); }>( "aaa" ),
   root<[] { return authNStatusFactory( "authN" ); }>( "authN" ),
   root<[] { return authZStatusFactory( "authZ" ); }>( "authZ" ),
   root<[] { return acctStatusFactory( "acct" ); }>( "acct" ),
   root<[] { return statusFactory( "status" ); }>( "status" ),
};

} // namespace

std::span<Root const> all() { return roots; }

} // namespace Roots
