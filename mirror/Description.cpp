#include "mirror/Description.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "mirror/Text.h"

namespace Mirror {

namespace {

using Qel::NboAttrLog::In;
using Qel::NboAttrLog::Out;

Description::Type describe( Qel::TypeRecord const& record ) {
   Description::Type type{ Varek::String( record.name ), record.kind, {}, {} };
   for ( Varek::EnumeratorData const& one : record.enumerators )
      type.enumerators.push_back( { one.value, Varek::String( one.name ) } );
   for ( std::size_t i = 0; i < record.attributes.size(); ++i ) {
      Qel::AttributeRecord const& attribute = record.attributes[i];
      Varek::String form;
      if ( record.wire[i].form )
         record.wire[i].form( form );
      type.attributes.push_back( { attribute.id.value(), Varek::String( attribute.name ),
                                   Varek::String( stringValue( attribute.kind ) ),
                                   std::move( form ) } );
   }
   return type;
}

std::size_t sizeOf( Description::Attribute const& a ) {
   return 2 + textSize( a.name ) + textSize( a.kind ) + textSize( a.form );
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
   for ( T const& one : all )
      sum += sizeOf( one );
   return sum;
}

void put( Out& out, Description::Attribute const& a ) {
   out.put16( a.id );
   putText( out, a.name );
   putText( out, a.kind );
   putText( out, a.form );
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
   for ( T const& one : all )
      put( out, one );
}

void get( In& in, Description::Attribute& a ) {
   a.id = in.get16();
   a.name = getText( in );
   a.kind = getText( in );
   a.form = getText( in );
}
void get( In& in, Description::Enumerator& e ) {
   e.value = in.get32();
   e.name = getText( in );
}
/// \p least bytes an element at least: a count that the message cannot hold allocates nothing.
template<class T>
void get( In& in, std::vector<T>& all, std::size_t least );
void get( In& in, Description::Type& t ) {
   t.name = getText( in );
   std::uint8_t const kind = in.get8();
   if ( kind > static_cast<std::uint8_t>( Varek::TypeKind::entity ) )
      in.fail( "a kind of type is 0 to 3, not " + std::to_string( kind ) );
   t.kind = static_cast<Varek::TypeKind>( kind );
   get( in, t.attributes, 14 );
   get( in, t.enumerators, 8 );
}
void get( In& in, Description::Module& m ) {
   m.name = getText( in );
   get( in, m.types, 13 );
}
template<class T>
void get( In& in, std::vector<T>& all, std::size_t least ) {
   // Elements take more room in memory than on the wire: they are made as they come.
   for ( std::uint32_t count = in.getCount( least ); count > 0; --count )
      get( in, all.emplace_back() );
}

std::string_view nameOf( Varek::TypeKind kind ) {
   constexpr std::string_view names[] = { "value", "enum8", "enum32", "entity" };
   return names[static_cast<unsigned>( kind )];
}

/// Collects one sentence: "type T, attribute 5: kind is x at the leader and y at the follower".
class Comparison {
public:
   bool types( Description::Type const& a, Description::Type const& b ) {
      where_ = "type " + a.name;
      if ( a.kind != b.kind )
         return differs( "kind", nameOf( a.kind ), nameOf( b.kind ) );
      for ( auto const& ours : a.enumerators )
         for ( auto const& theirs : b.enumerators )
            if ( ours.value == theirs.value && ours.name != theirs.name ) {
               where_ += ", value " + std::to_string( ours.value );
               return differs( "enumerator", ours.name, theirs.name );
            }
      return attributes( a, b );
   }
   Varek::String text;

private:
   bool differs( std::string_view what, std::string_view leader, std::string_view follower ) {
      text = where_;
      text.append( ": " ).append( what ).append( " is " ).append( leader );
      text.append( " at the leader and " ).append( follower ).append( " at the follower" );
      return true;
   }

   static Description::Attribute const* find( Description::Type const& type, std::uint16_t id ) {
      auto const at = std::ranges::find( type.attributes, id, &Description::Attribute::id );
      return at == type.attributes.end() ? nullptr : &*at;
   }

   /// Whether a side that does not know the attribute would misread the other.
   static bool needed( Description::Type const& type, Description::Attribute const& a ) {
      return !a.form.empty() && ( type.kind == Varek::TypeKind::value || a.kind == "parameter" );
   }

   bool attributes( Description::Type const& a, Description::Type const& b ) {
      Varek::String const type = where_;
      auto const at = [&]( Description::Attribute const& attribute ) {
         where_ = type + ", attribute " + std::to_string( attribute.id ) + " (" + attribute.name;
         where_ += ')';
      };
      for ( auto const& ours : a.attributes ) {
         at( ours );
         Description::Attribute const* const theirs = find( b, ours.id );
         if ( !theirs ) {
            if ( needed( a, ours ) )
               return differs( "form", ours.form, "missing" );
         } else if ( ours.name != theirs->name ) {
            return differs( "name", ours.name, theirs->name );
         } else if ( ours.kind != theirs->kind ) {
            return differs( "kind", ours.kind, theirs->kind );
         } else if ( ours.form != theirs->form ) {
            return differs( "form", ours.form, theirs->form );
         }
      }
      for ( auto const& theirs : b.attributes ) {
         at( theirs );
         if ( !find( a, theirs.id ) && needed( b, theirs ) )
            return differs( "form", "missing", theirs.form );
      }
      return false;
   }

   Varek::String where_;
};

} // namespace

Description Description::ofThisProcess() {
   Description all;
   for ( Varek::ModuleInspectData const* const module : Varek::ModuleInspectData::all() ) {
      Module& described = all.modules.emplace_back();
      described.name = module->name;
      for ( Varek::TypeInspectData const* const type : module->types )
         described.types.push_back( describe( Qel::typeRecord( *type ) ) );
   }
   return all;
}

std::size_t Description::size() const { return sizeOf( modules ); }
void Description::write( Out& out ) const { put( out, modules ); }
Description Description::read( In& in ) {
   Description all;
   get( in, all.modules, 8 );
   return all;
}

std::vector<Qel::TypeRecord const*> Description::records() const {
   std::vector<Qel::TypeRecord const*> all;
   for ( Module const& module : modules )
      for ( Type const& type : module.types ) {
         Varek::TypeInspectData const* const known =
            Varek::ModuleInspectData::findType( type.name );
         all.push_back( known ? &Qel::typeRecord( *known ) : nullptr );
      }
   return all;
}

std::optional<Varek::String> difference( Description const& leader, Description const& follower ) {
   std::unordered_map<std::string_view, Description::Type const*> known;
   for ( Description::Module const& module : follower.modules )
      for ( Description::Type const& type : module.types )
         known.emplace( type.name, &type );
   Comparison comparison;
   for ( Description::Module const& module : leader.modules )
      for ( Description::Type const& type : module.types )
         if ( auto const at = known.find( type.name ); at != known.end() )
            if ( comparison.types( type, *at->second ) )
               return std::move( comparison.text );
   return std::nullopt;
}

} // namespace Mirror
