// Beside DDS (Cyclone DDS): a topic with an instance for each supplicant, reliable, kept for late joiners by
// its writer; a reader takes samples into a map. No server: the processes find each other on loopback.

#include <cstdlib>
#include <vector>

#include <dds/dds.h>

#include "bench/peers/Ours.h"
#include "supplicant.h"

namespace {

using namespace Bench;

dds_entity_t good( dds_entity_t entity, char const* what ) {
   if ( entity < 0 ) {
      throw std::runtime_error( std::string( what ) + ": " + dds_strretcode( -entity ) );
   }
   return entity;
}

template<class Sequence, class T>
void lend( Sequence& to, std::vector<T>& from ) {
   to._buffer = from.data();
   to._length = to._maximum = static_cast<std::uint32_t>( from.size() );
   to._release = false;
}

/// A sample of a message; valid as long as the message.
class Sample {
public:
   explicit Sample( bench::Supplicant& from ) {
      made_.mac = from.mac();
      made_.interface_id = from.interface();
      made_.auth_phase = static_cast<std::uint8_t>( from.auth_phase() );
      phases_.resize( static_cast<std::size_t>( from.phase_size() ) );
      attributes_.resize( phases_.size() );
      values_.resize( phases_.size() );
      for ( std::size_t i = 0; i < phases_.size(); ++i ) {
         phaseIs( i, *from.mutable_phase( static_cast<int>( i ) ) );
      }
      lend( made_.phases, phases_ );
      made_.in_eapol_auth = from.in_eapol_auth();
      auto& vlans = *from.mutable_egress_vlans();
      for ( std::string& name : *vlans.mutable_name_tagged() ) {
         names_.push_back( name.data() );
      }
      lend( made_.name_tagged, names_ );
      ids_[0].assign( vlans.id_tagged().begin(), vlans.id_tagged().end() );
      ids_[1].assign( vlans.id_untagged().begin(), vlans.id_untagged().end() );
      lend( made_.id_tagged, ids_[0] );
      lend( made_.id_untagged, ids_[1] );
      made_.ingress_filters = vlans.ingress_filters();
      made_.identity = from.mutable_identity()->data();
      octetsAre( made_.class_attr, *from.mutable_class_attr() );
      made_.last_success = from.last_success();
      made_.service_type = from.service_type();
      made_.vlan = from.vlan();
      made_.tagged = from.tagged();
      made_.tag = from.tag();
      made_.trigger_event = static_cast<std::uint8_t>( from.trigger_event() );
   }
   peer_Supplicant const& get() const { return made_; }

private:
   static void octetsAre( dds_sequence_octet& to, std::string& from ) {
      to._buffer = reinterpret_cast<std::uint8_t*>( from.data() );
      to._length = to._maximum = static_cast<std::uint32_t>( from.size() );
      to._release = false;
   }
   static peer_RadiusValue valueOf( bench::Value& from ) {
      peer_RadiusValue made{};
      made.kind = static_cast<std::uint8_t>( from.value_case() );
      switch ( from.value_case() ) {
      case bench::Value::kText:
         octetsAre( made.octets, *from.mutable_text() );
         break;
      case bench::Value::kTaggedText:
         made.tag = static_cast<std::uint8_t>( from.tagged_text().tag() );
         octetsAre( made.octets, *from.mutable_tagged_text()->mutable_value() );
         break;
      case bench::Value::kNumber:
         made.number = from.number();
         break;
      case bench::Value::kTaggedNumber:
         made.tag = static_cast<std::uint8_t>( from.tagged_number().tag() );
         made.number = from.tagged_number().value();
         break;
      case bench::Value::kOctets:
         octetsAre( made.octets, *from.mutable_octets() );
         break;
      default:
         require( false, "the sample has no such value" );
      }
      return made;
   }
   void phaseIs( std::size_t i, bench::Phase& from ) {
      peer_PhaseStatus& to = phases_[i];
      to.phase = static_cast<std::uint8_t>( from.phase() );
      to.stage = static_cast<std::uint8_t>( from.stage() );
      to.method = static_cast<std::uint8_t>( from.method() );
      to.cause = static_cast<std::uint8_t>( from.terminate_cause() );
      if ( !from.has_answer() ) {
         return;
      }
      bench::Answer& answer = *from.mutable_answer();
      to.kind = static_cast<std::uint8_t>( answer.kind() );
      octetsAre( to.station, *answer.mutable_calling_station() );
      for ( bench::Attribute& attribute : *answer.mutable_attribute() ) {
         auto& values = values_[i].emplace_back();
         for ( bench::Value& value : *attribute.mutable_value() ) {
            values.push_back( valueOf( value ) );
         }
         peer_RadiusAttribute made{};
         made.vendor = attribute.vendor();
         made.type = static_cast<std::uint16_t>( attribute.type() );
         lend( made.values, values );
         attributes_[i].push_back( made );
      }
      lend( to.attributes, attributes_[i] );
   }

   peer_Supplicant made_{};
   std::vector<peer_PhaseStatus> phases_;
   std::vector<std::vector<peer_RadiusAttribute>> attributes_;
   std::vector<std::list<std::vector<peer_RadiusValue>>> values_;
   std::vector<char*> names_;
   std::vector<std::uint32_t> ids_[2];
};

/// A participant with the topic, in this process.
struct Joined {
   dds_entity_t const participant =
      good( dds_create_participant( 42, nullptr, nullptr ), "participant" );
   dds_qos_t* const qos = dds_create_qos();
   dds_entity_t topic;

   Joined() {
      dds_qset_reliability( qos, DDS_RELIABILITY_RELIABLE, DDS_INFINITY );
      dds_qset_durability( qos, DDS_DURABILITY_TRANSIENT_LOCAL );
      dds_qset_history( qos, DDS_HISTORY_KEEP_LAST, 1 );
      dds_qset_durability_service( qos, 0, DDS_HISTORY_KEEP_LAST, 1, DDS_LENGTH_UNLIMITED,
                                   DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED );
      topic =
         good( dds_create_topic( participant, &peer_Supplicant_desc, "supplicants", qos, nullptr ),
               "topic" );
   }
   ~Joined() {
      dds_delete_qos( qos );
      dds_delete( participant );
   }
};

struct Dds {
   struct Server {
      Server() {
         // Loopback alone, without multicast.
         ::setenv( "CYCLONEDDS_URI",
                   "<General><Interfaces><NetworkInterface name=\"lo\"/></Interfaces>"
                   "<AllowMulticast>false</AllowMulticast></General>"
                   "<Discovery><ParticipantIndex>auto</ParticipantIndex>"
                   "<Peers><Peer address=\"127.0.0.1\"/></Peers></Discovery>",
                   1 );
      }
      bool ready() { return true; }
   };

   class Publisher {
   public:
      explicit Publisher( Server& )
         : writer_(
              good( dds_create_writer( joined_.participant, joined_.topic, joined_.qos, nullptr ),
                    "writer" ) ) {}
      void put( unsigned, bench::Supplicant& message ) {
         Sample const sample( message );
         good( dds_write( writer_, &sample.get() ), "a sample cannot be written" );
      }
      void flush() { dds_write_flush( writer_ ); }
      void serve() {}
      std::vector<pollfd> fds() const { return {}; }

   private:
      Joined joined_;
      dds_entity_t const writer_;
   };

   static void follow( Server&, std::function<void()> const& report ) {
      Joined joined;
      dds_entity_t const reader = good(
         dds_create_reader( joined.participant, joined.topic, joined.qos, nullptr ), "reader" );
      dds_entity_t const waits = good( dds_create_waitset( joined.participant ), "wait set" );
      dds_entity_t const news =
         good( dds_create_readcondition( reader, DDS_ANY_STATE ), "condition" );
      good( dds_waitset_attach( waits, news, 0 ), "wait set" );
      constexpr std::uint32_t most = 256;
      dds_sample_info_t infos[most];
      std::unordered_map<std::uint64_t, peer_Supplicant*> all;
      for ( ;; ) {
         dds_waitset_wait( waits, nullptr, 0, DDS_SECS( 1 ) );
         for ( int count = 1; count > 0; ) {
            // Taken into memory of our own: to read what stays in the cache looks through all of it.
            void* samples[most];
            for ( void*& sample : samples ) {
               sample = peer_Supplicant__alloc();
            }
            count = good( dds_take( reader, samples, infos, most, most ), "taking" );
            for ( std::uint32_t i = 0; i < most; ++i ) {
               auto* made = static_cast<peer_Supplicant*>( samples[i] );
               if ( static_cast<int>( i ) < count && infos[i].valid_data ) {
                  std::size_t const before = all.size();
                  std::uint32_t const serviceType = made->service_type;
                  std::swap( all[made->mac], made );
                  if ( all.size() != before ? all.size() == peerSupplicants
                                            : serviceType == lastServiceType ) {
                     report();
                  }
               }
               if ( made ) {
                  peer_Supplicant_free( made, DDS_FREE_ALL );
               }
            }
         }
      }
   }
};

[[maybe_unused]] bool const registered =
   peerRegister<Ours>( "dds", "ours" ) && peerRegister<Dds>( "dds", "peer" );

} // namespace
