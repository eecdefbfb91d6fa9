#include "mirror/Description.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "framework/wire/AttributeLog.h"
#include "framework/wire/Contents.h"
#include "mirror/Text.h"

namespace Mirror {

namespace {

using Qel::NboAttrLog::In;
using Qel::NboAttrLog::Out;

Description::Type describe( Qel::TypeRecord const& record ) {
   Description::Type type{ Varek::String( record.name ), record.kind, {}, {} };
   for ( Varek::EnumeratorData const& one : record.enumerators ) {
      type.enumerators.push_back( { one.value, Varek::String( one.name ) } );
   }
   for ( std::size_t i = 0; i < record.attributes.size(); ++i ) {
      Qel::AttributeRecord const& attribute = record.attributes[i];
      Varek::String form;
      if ( record.wire[i].form ) {
         record.wire[i].form( form );
      }
      Varek::String byDefault;
      if ( Qel::AttributeLog const* const log = record.wire[i].log; log && log->defaultAppend ) {
         log->defaultAppend( byDefault );
      }
      type.attributes.push_back( { attribute.id.value(), Varek::String( attribute.name ),
                                   Varek::String( stringValue( attribute.kind ) ),
                                   std::move( form ), std::move( byDefault ) } );
   }
   return type;
}

std::size_t sizeOf( Description::Attribute const& a ) {
   return 2 + textSize( a.name ) + textSize( a.kind ) + textSize( a.form ) +
          textSize( a.byDefault );
}
std::size_t sizeOf( Description::Enumerator const& e ) { return 4 + textSize( e.name ); }
template<class T>
std::size_t sizeOf( std::vector<T> const& all );
std::size_t sizeOf( Description::Type const& t ) {
   return textSize( t.name ) + 1 + sizeOf( t.attributes ) + sizeOf( t.enumerators );
}
std::size_t sizeOf( Description::Module const& m ) {
   return textSize( m.name ) + sizeOf( m.types );
}
template<class T>
std::size_t sizeOf( std::vector<T> const& all ) {
   std::size_t sum = 4;
   for ( T const& one : all ) {
      sum += sizeOf( one );
   }
   return sum;
}

void put( Out& out, Description::Attribute const& a ) {
   out.put16( a.id );
   putText( out, a.name );
   putText( out, a.kind );
   putText( out, a.form );
   putText( out, a.byDefault );
}
void put( Out& out, Description::Enumerator const& e ) {
   out.put32( e.value );
   putText( out, e.name );
}
template<class T>
void put( Out& out, std::vector<T> const& all );
void put( Out& out, Description::Type const& t ) {
   putText( out, t.name );
   out.put8( static_cast<std::uint8_t>( t.kind ) );
   put( out, t.attributes );
   put( out, t.enumerators );
}
void put( Out& out, Description::Module const& m ) {
   putText( out, m.name );
   put( out, m.types );
}
template<class T>
void put( Out& out, std::vector<T> const& all ) {
   out.put32( static_cast<std::uint32_t>( all.size() ) );
   for ( T const& one : all ) {
      put( out, one );
   }
}

// Smallest sizes in bytes, of any version: a count is checked against the bytes that are there.
constexpr std::size_t leastModule = 8, leastType = 13, leastAttribute = 14, leastEnumerator = 8;

Qel::TypeRecord const* recordOf( std::string_view type ) {
   Varek::TypeInspectData const* const known = Varek::ModuleInspectData::findType( type );
   return known ? &Qel::typeRecord( *known ) : nullptr;
}

std::string_view nameOf( Varek::TypeKind kind ) {
   constexpr std::string_view names[] = { "value", "enum8", "enum32", "entity" };
   return names[static_cast<unsigned>( kind )];
}

/// Compares the peer's description with ours while it is read; nothing of it is kept.
class Comparison {
public:
   Comparison( Description const& ours, Description::Side side, In& in, std::uint16_t version )
      : in_( in ), side_( side ), hasDefaults_( version > 1 ) {
      for ( Description::Module const& module : ours.modules ) {
         for ( Description::Type const& type : module.types ) {
            known_.emplace( type.name, &type );
         }
      }
   }

   /// Reads a type up to its first difference.
   bool typeDiffers() {
      name_ = text();
      otherDefaults = 0;
      std::uint8_t const number = in_.get8();
      if ( number > static_cast<std::uint8_t>( Varek::TypeKind::entity ) ) {
         in_.fail( "a kind of type is 0 to 3, not " + std::to_string( number ) );
      }
      auto const kind = static_cast<Varek::TypeKind>( number );
      auto const at = known_.find( name_ );
      Description::Type const* const ours = at == known_.end() ? nullptr : at->second;
      if ( ours && ours->kind != kind ) {
         return differs( {}, "kind", nameOf( ours->kind ), nameOf( kind ) );
      }
      return attributesDiffer( ours ) || enumeratorsDiffer( ours );
   }
   std::string_view text() {
      std::uint32_t const size = in_.get32();
      return { reinterpret_cast<char const*>( in_.getOctets( size ) ), size };
   }

   std::string_view name() const { return name_; }
   /// "type T, attribute 5 (a): kind is x at the leader and y at the follower".
   Varek::String sentence;
   /// The attributes of the type whose defaults differ, as bits.
   std::uint64_t otherDefaults = 0;

private:
   struct Attribute {
      std::uint16_t id;
      std::string_view name, kind, form, byDefault;
   };

   bool differs( Varek::String const& part, std::string_view what, std::string_view ours,
                 std::string_view theirs ) {
      bool const leads = side_ == Description::Side::leader;
      sentence.append( "type " ).append( name_ ).append( part ).append( ": " ).append( what );
      sentence.append( " is " ).append( leads ? ours : theirs ).append( " at the leader and " );
      sentence.append( leads ? theirs : ours ).append( " at the follower" );
      return true;
   }
   template<class One>
   static Varek::String part( One const& attribute ) {
      Varek::String text = ", attribute " + std::to_string( attribute.id );
      return text.append( " (" ).append( attribute.name ).append( ")" );
   }

   /// Whether a side without the attribute would misread the other side.
   template<class One>
   static bool needed( Description::Type const& type, One const& a ) {
      return !a.form.empty() && ( type.kind == Varek::TypeKind::value || a.kind == "parameter" );
   }

   /// \p ours is null for a type that only the other side has.
   bool attributesDiffer( Description::Type const* ours ) {
      met_.assign( ours ? ours->attributes.size() : 0, false );
      for ( std::uint32_t count = in_.getCount( leastAttribute ); count > 0; --count ) {
         // Initializers in braces are evaluated in order.
         Attribute const theirs{ in_.get16(), text(), text(), text(),
                                 hasDefaults_ ? text() : std::string_view() };
         if ( ours && attributeDiffers( *ours, theirs ) ) {
            return true;
         }
      }
      for ( std::size_t i = 0; i < met_.size(); ++i ) {
         if ( auto const& one = ours->attributes[i]; !met_[i] && needed( *ours, one ) ) {
            return differs( part( one ), "form", one.form, "missing" );
         }
      }
      return false;
   }
   bool attributeDiffers( Description::Type const& type, Attribute const& theirs ) {
      auto const at = std::ranges::find( type.attributes, theirs.id, &Description::Attribute::id );
      if ( at == type.attributes.end() ) {
         return needed( type, theirs ) && differs( part( theirs ), "form", "missing", theirs.form );
      }
      met_[static_cast<std::size_t>( at - type.attributes.begin() )] = true;
      if ( type.kind == Varek::TypeKind::entity && at->byDefault != theirs.byDefault ) {
         otherDefaults |= Qel::contentsBit( at->id );
      }
      auto const where = [&] {
         return side_ == Description::Side::leader ? part( *at ) : part( theirs );
      };
      return ( at->name != theirs.name && differs( where(), "name", at->name, theirs.name ) ) ||
             ( at->kind != theirs.kind && differs( where(), "kind", at->kind, theirs.kind ) ) ||
             ( at->form != theirs.form && differs( where(), "form", at->form, theirs.form ) );
   }

   bool enumeratorsDiffer( Description::Type const* ours ) {
      for ( std::uint32_t count = in_.getCount( leastEnumerator ); count > 0; --count ) {
         std::uint32_t const value = in_.get32();
         std::string_view const theirs = text();
         if ( ours ) {
            for ( auto const& one : ours->enumerators ) {
               if ( one.value == value && one.name != theirs ) {
                  return differs( ", value " + std::to_string( value ), "enumerator", one.name,
                                  theirs );
               }
            }
         }
      }
      return false;
   }

   In& in_;
   Description::Side const side_;
   bool const hasDefaults_;
   std::unordered_map<std::string_view, Description::Type const*> known_;
   std::string_view name_;
   std::vector<bool> met_; // of our attributes
};

} // namespace

Description Description::ofThisProcess() {
   Description all;
   for ( Varek::ModuleInspectData const* const module : Varek::ModuleInspectData::all() ) {
      Module& described = all.modules.emplace_back();
      described.name = module->name;
      for ( Varek::TypeInspectData const* const type : module->types ) {
         described.types.push_back( describe( Qel::typeRecord( *type ) ) );
      }
   }
   return all;
}

std::size_t Description::size() const { return sizeOf( modules ); }
void Description::write( Out& out ) const { put( out, modules ); }

std::vector<Qel::TypeRecord const*> Description::records() const {
   std::vector<Qel::TypeRecord const*> all;
   for ( Module const& module : modules ) {
      for ( Type const& type : module.types ) {
         all.push_back( recordOf( type.name ) );
      }
   }
   return all;
}

std::optional<Varek::String> Description::difference( Side side, In& theirs, std::uint16_t version,
                                                      Agreement& agreement ) const {
   Comparison comparison( *this, side, theirs, version );
   for ( std::uint32_t count = theirs.getCount( leastModule ); count > 0; --count ) {
      comparison.text(); // the name of a module does not matter
      for ( std::uint32_t ofIt = theirs.getCount( leastType ); ofIt > 0; --ofIt ) {
         if ( comparison.typeDiffers() ) {
            return std::move( comparison.sentence );
         }
         if ( side == Side::follower ) {
            agreement.types.push_back( recordOf( comparison.name() ) );
         } else if ( comparison.otherDefaults != 0 ) {
            agreement.otherDefaults.push_back(
               { recordOf( comparison.name() ), comparison.otherDefaults } );
         }
      }
   }
   return std::nullopt;
}

} // namespace Mirror
