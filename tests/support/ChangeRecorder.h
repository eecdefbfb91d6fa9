#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Varek/Publisher.h"

/// Records the notifications of an observer: object, attribute, and copies of the key, of type
/// \p K, and of the old value, of type \p V.
template<class K, class V>
struct ChangeRecorder {
   struct Told {
      Varek::Publisher* source;
      std::uint16_t id;
      std::optional<K> key;
      std::optional<V> old;
      friend bool operator==( Told const&, Told const& ) = default;
   };

   explicit ChangeRecorder( Varek::Publisher& observed, Varek::Scope scope = Varek::Scope::object )
      : subscription( observed.subscribe( [this]( auto& change ) { keep( change ); }, scope ) ) {}
   ChangeRecorder( ChangeRecorder const& ) = delete;
   ChangeRecorder& operator=( ChangeRecorder const& ) = delete;

   std::vector<Told> told;
   Varek::Subscription subscription;

private:
   void keep( Varek::Change const& change ) {
      Told one{ &change.source(), change.id().value(), {}, {} };
      if ( K const* const key = change.key<K>() ) {
         one.key = *key;
      }
      if ( V const* const old = change.old<V>() ) {
         one.old = *old;
      }
      told.push_back( one );
   }
};
