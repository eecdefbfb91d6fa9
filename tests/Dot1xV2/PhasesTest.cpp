// The phases of an authentication: which of them can have a record, and what the supplicant's
// readings make of the records.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNStatus.h"
#include "Qel/HashHelper.h"
#include "support/LastWords.h"

namespace {

using namespace Dot1xV2;
using Qel::NboAttrLog::In;

AuthNZPhaseEnum phaseOf( unsigned number ) { return static_cast<AuthNZPhaseEnum>( number ); }

// Made when it is compiled: a constant of the type costs nothing when a library is loaded.
constexpr AuthNZPhaseType secondPhase( AuthNZPhaseEnum::authNZPhase2 );

template<class Action>
void expectAllowed( bool allowed, Action action ) {
   try {
      action();
      EXPECT_TRUE( allowed );
   } catch ( Varek::RangeError const& error ) {
      EXPECT_FALSE( allowed );
      EXPECT_STREQ( error.what(),
                    "Dot1xV2::AuthNZPhaseType::value < Dot1xV2::AuthNZPhaseType::min or > "
                    "Dot1xV2::AuthNZPhaseType::max not allowed" );
   }
}

void inspectionWrites( AuthNZPhaseType& target, AuthNZPhaseEnum value ) {
   Qel::InspectArguments arguments;
   arguments.value = &value;
   EXPECT_EQ( AuthNZPhaseType::inspectOperation( target, Qel::InspectOperation::write,
                                                 { Varek::FieldId( 2 ) }, arguments ),
              Qel::InspectResult::done );
}

TEST( AuthNZPhaseType, IsOneOfThreeButFromTheLog ) {
   for ( unsigned number = 0; number < 256; ++number ) {
      SCOPED_TRACE( number );
      AuthNZPhaseEnum const value = phaseOf( number );
      bool const allowed = number == 1 || number == 2 || number == 3;
      std::string const text = "( value: " + std::to_string( number ) + " )";
      expectAllowed( allowed, [&] { EXPECT_EQ( AuthNZPhaseType( value ).value(), value ); } );
      expectAllowed( allowed, [&] {
         EXPECT_EQ( AuthNZPhaseType( Qel::CharRange( "Dot1xV2::AuthNZPhaseType" + text ) ).value(),
                    value );
      } );
      AuthNZPhaseType target( AuthNZPhaseEnum::authNZPhase1 );
      expectAllowed( allowed, [&] { target.valueIs( value ); } );
      expectAllowed( allowed, [&] { inspectionWrites( target, value ); } );
      EXPECT_EQ( target.value(), allowed ? value : AuthNZPhaseEnum::authNZPhase1 );

      EXPECT_EQ( AuthNZPhase( Qel::CharRange( "Dot1xV2::AuthNZPhase" + text ) ).value(), value );
      for ( std::uint8_t const above : std::initializer_list<std::uint8_t>{ 0, 1, 255 } ) {
         std::uint8_t const bytes[] = { above, 0, above, static_cast<std::uint8_t>( number ) };
         In in( bytes ), other( bytes );
         AuthNZPhaseType logged( in );
         EXPECT_EQ( logged.value(), value );
         EXPECT_EQ( AuthNZPhase( other ).value(), value );
         EXPECT_EQ( in.left() + other.left(), 0U );
         EXPECT_NO_THROW( logged.valueIs( value ) ) << "held already";
         EXPECT_NO_THROW( inspectionWrites( logged, value ) );
         EXPECT_EQ( logged.hash( 77 ), Qel::hashSingleAttr( bytes[3], 77 ) );
      }
   }
   EXPECT_EQ( AuthNZPhaseType(), AuthNZPhaseType( AuthNZPhaseEnum::authNZInit ) );
   EXPECT_EQ( secondPhase, AuthNZPhaseType( phaseOf( 3 ) ) );
}

/// What is known of a phase: its stage, if it has a record, and its method.
struct Phase {
   std::optional<unsigned> stage;
   AuthNMethod method;
};

/// All stages, and no record.
std::vector<Phase> everyPhase( AuthNMethod method ) {
   std::vector<Phase> all{ { std::nullopt, method } };
   for ( unsigned stage = 0; stage <= 6; ++stage ) {
      all.push_back( { stage, method } );
   }
   return all;
}

void add( AuthNSupplicantStatus& to, AuthNZPhaseEnum phase, Phase const& what ) {
   if ( !what.stage ) {
      return;
   }
   auto const status = to.phaseStatusIs( AuthNZPhaseType( phase ) );
   status->stageIs( static_cast<AuthNPhaseStage>( *what.stage ) );
   status->authNMethodIs( what.method );
}

AuthNZPhase standing( unsigned number ) {
   AuthNZPhase phase;
   phase.valueIs( phaseOf( number ) );
   return phase;
}

// The stages by number: 1 is success; 0 and 2, not started and failed, do not count as active.
TEST( AuthNSupplicantStatus, ReadingsFollowFromStagesAndMethods ) {
   Phase const before{ 1, AuthNMethod::skipAuth }; // the initial phase, which none of them regards
   int count = 0;
   for ( bool const initial : { false, true } ) {
      for ( Phase const& first : everyPhase( AuthNMethod::mbaAuth ) ) {
         for ( Phase const& second : everyPhase( AuthNMethod::eapolAuth ) ) {
            auto const supplicant = authNSupplicantStatusFactory( Lumo::EthAddr() );
            add( *supplicant, AuthNZPhaseEnum::authNZPhase2, second );
            add( *supplicant, AuthNZPhaseEnum::authNZPhase1, first );
            if ( initial ) {
               add( *supplicant, AuthNZPhaseEnum::authNZInit, before );
            }
            AuthNMethod successful = AuthNMethod::invalidAuthNMethod;
            unsigned active = 1;
            for ( unsigned number : { 2U, 3U } ) { // the later one prevails
               if ( Phase const& phase = number == 2 ? first : second; phase.stage ) {
                  if ( *phase.stage == 1 ) {
                     successful = phase.method;
                  }
                  if ( *phase.stage % 2 == 1 || *phase.stage > 3 ) {
                     active = number;
                  }
               }
            }
            EXPECT_EQ( supplicant->successfulAuthNMethod(), successful );
            EXPECT_EQ( supplicant->activePhaseType().value(), phaseOf( active ) );
            for ( unsigned const at : { 0U, 1U, 2U, 3U, 4U, 5U, 255U } ) {
               if ( ( at == 2 && !first.stage ) || ( at == 3 && !second.stage ) ) {
                  continue; // ends the process
               }
               supplicant->authPhaseIs( standing( at ) );
               EXPECT_EQ( supplicant->currentAuthNMethod(), at == 2   ? first.method
                                                            : at == 3 ? second.method
                                                            : at == 4 ? successful
                                                                      : AuthNMethod( 4 ) );
               ++count;
            }
         }
      }
   }
   EXPECT_EQ( count, 2 * ( 64 * 5 + 2 * 56 ) );
}

TEST( AuthNSupplicantStatusDeathTest, APhaseItIsInMustHaveARecord ) {
   auto const supplicant = authNSupplicantStatusFactory( Lumo::EthAddr() );
   Qel::TypeRecord const& type = Qel::typeRecord( *supplicant );
   AuthNMethod read = AuthNMethod::skipAuth;
   Qel::InspectArguments arguments;
   arguments.value = &read;
   auto const inspected = [&] {
      arguments.found = true;
      return Qel::inspectOperation( type, static_cast<Qel::Entity*>( supplicant.get() ),
                                    Qel::InspectOperation::read, { 273 }, arguments );
   };
   for ( unsigned const phase : { 0U, 1U, 4U, 5U } ) {
      supplicant->authPhaseIs( standing( phase ) );
      EXPECT_EQ( inspected(), Qel::InspectResult::done );
      EXPECT_EQ( read, supplicant->currentAuthNMethod() );
   }
   add( *supplicant, AuthNZPhaseEnum::authNZPhase1, { 1, AuthNMethod::mbaAuth } );
   supplicant->authPhaseIs( standing( 3 ) );
   EXPECT_EQ( inspected(), Qel::InspectResult::noReading ); // by number it is only not there
   EXPECT_FALSE( arguments.found );
   EXPECT_EQ( read, AuthNMethod::invalidAuthNMethod );
   EXPECT_DEATH( supplicant->currentAuthNMethod(),
                 lastWords( "failed: current, where phase = \"?authNZPhase2\"?" ) );
   supplicant->authPhaseIs( standing( 2 ) );
   EXPECT_EQ( supplicant->currentAuthNMethod(), AuthNMethod::mbaAuth );
   EXPECT_EQ( inspected(), Qel::InspectResult::done );
   EXPECT_TRUE( arguments.found );
   EXPECT_EQ( read, AuthNMethod::mbaAuth );
   supplicant->phaseStatusDelAll();
   EXPECT_EQ( inspected(), Qel::InspectResult::noReading );
   EXPECT_DEATH( supplicant->currentAuthNMethod(),
                 lastWords( "failed: current, where phase = \"?authNZPhase1\"?" ) );
}

} // namespace
