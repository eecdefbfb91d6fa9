#include "framework/wire/Contents.h"

#include <bit>
#include <utility>

#include "Varek/ByteOrder.h"
#include "framework/declare/Mutators.h"
#include "framework/wire/AttributeLog.h"
#include "framework/wire/KeyedLog.h"

namespace Qel {

using NboAttrLog::In;
using NboAttrLog::putVarint;
using NboAttrLog::varintSize;

namespace {

/// Calls \p visit( index ) for each of the attributes in \p bits, until it returns false.
template<class Visit>
bool forEachBit( std::uint64_t bits, Visit visit ) {
   for ( ; bits != 0; bits &= bits - 1 ) {
      if ( !visit( static_cast<unsigned>( std::countr_zero( bits ) ) ) ) {
         return false;
      }
   }
   return true;
}

/// Calls \p visit( child ) for each child of a collection.
template<class Visit>
void forEachMember( KeyedLog const& log, Entity const& entity, Visit visit ) {
   Internal::keyedVisit(
      log, entity,
      []( Entity& child, void* context ) { ( *static_cast<Visit*>( context ) )( child ); },
      &visit );
}

std::size_t parameterSize( TypeRecord const& type, Entity const& entity ) {
   return attrLogSizeCtorParams( NboAttrLog::currentVersion, type, entity );
}

} // namespace

// Writing

void ContentsOut::entityIs( Entity& entity, TypeRecord const& type, std::uint32_t place,
                            Names& names, std::size_t limit ) {
   parts_.clear();
   names_ = &names;
   limit_ = limit;
   later_ = 0;
   parts_.push_back( { &entity, &type, { 0, place }, 0, 0, 0 } );
   std::uint64_t given = 0;
   std::size_t sum = type.valuesLog->size( entity, names.always( type ), given );
   if ( sum > limit ) [[unlikely]] {
      sum = valuesLeft( given );
   }
   parts_.front().values = sum;
   forEachBit( type.holders, [&]( unsigned i ) {
      std::uint64_t const bit = contentsBit( type.attributes[i].id );
      std::size_t const partsBefore = parts_.size();
      std::size_t const size = sizeOf( 0, i, 0 );
      if ( size == tooLarge || size > limit_ - sum ) {
         later_ |= bit;
         parts_.resize( partsBefore );
      } else if ( size != 0 ) {
         given |= bit;
         sum += size;
      }
      return true;
   } );
   parts_.front().given = given;
   size_ = varintSize( given ) + varintSize( later_ ) + varintSize( parts_.front().values ) + sum;
}

/// Takes values off what is given, and leaves them for later, until the limit is kept.
std::size_t ContentsOut::valuesLeft( std::uint64_t& given ) {
   Part const& part = parts_.front();
   std::size_t sum = 0;
   forEachBit( std::exchange( given, 0 ), [&]( unsigned i ) {
      std::uint64_t const bit = std::uint64_t{ 1 } << i;
      std::size_t const size = part.type->valuesLog->sizeOf( *part.entity, bit );
      bool const fits = size <= limit_ - sum;
      ( fits ? given : later_ ) |= bit;
      sum += fits ? size : 0;
      return true;
   } );
   return sum;
}

/// Of an entity below the one that is announced; tooLarge if that is no part of these contents.
std::size_t ContentsOut::measured( std::size_t part, unsigned depth ) {
   TypeRecord const& type = *parts_[part].type;
   std::uint64_t given = 0;
   std::size_t sum = type.valuesLog->size( *parts_[part].entity, names_->always( type ), given );
   parts_[part].values = sum;
   bool const fits = sum <= limit_ && forEachBit( type.holders, [&]( unsigned i ) {
                        std::size_t const size = sizeOf( part, i, depth );
                        if ( size == tooLarge || size > limit_ - sum ) {
                           return false;
                        }
                        given |= size != 0 ? contentsBit( type.attributes[i].id ) : 0;
                        sum += size;
                        return true;
                     } );
   if ( !fits ) {
      return tooLarge;
   }
   sum += varintSize( given ) + varintSize( parts_[part].values );
   parts_[part].given = given;
   return parts_[part].size = sum;
}

/// Of a collection or child; 0 if there is nothing in it.
std::size_t ContentsOut::sizeOf( std::size_t part, unsigned index, unsigned depth ) {
   TypeRecord const& type = *parts_[part].type;
   Entity& entity = *parts_[part].entity;
   std::uint32_t const place = parts_[part].name.place;
   AttributeRecord const& attribute = type.attributes[index];
   KeyedLog const* const keyed = type.wire[index].log->keyed;
   if ( !keyed ) {
      Entity* const child = attribute.child( &entity );
      return child ? sizeOfChild( place, *child, typeRecord( attribute.childType() ), depth ) : 0;
   }
   std::uint32_t const count = Internal::keyedSize( *keyed, entity );
   if ( count == 0 ) {
      return 0;
   }
   if ( count > limit_ / keyed->least ) {
      return tooLarge;
   }
   std::size_t sum = varintSize( count );
   if ( keyed->sizeAll ) {
      return sum + keyed->sizeAll( entity );
   }
   TypeRecord const& children = typeRecord( attribute.childType() );
   forEachMember( *keyed, entity, [&]( Entity& child ) {
      if ( sum <= limit_ ) {
         std::size_t const size = sizeOfChild( place, child, children, depth );
         sum = size == tooLarge ? tooLarge : sum + size;
      }
   } );
   return sum <= limit_ ? sum : tooLarge;
}

std::size_t ContentsOut::sizeOfChild( std::uint32_t parent, Entity& child, TypeRecord const& type,
                                      unsigned depth ) {
   auto const name =
      depth < maxDepth ? names_->newName( parent, child, type ) : Names::Name{ 0, 0 };
   if ( name.handle == 0 ) {
      return tooLarge;
   }
   std::size_t const part = parts_.size();
   parts_.push_back( { &child, &type, name, 0, 0, 0 } );
   std::size_t const size = measured( part, depth + 1 );
   return size == tooLarge ? tooLarge
                           : 4 + parameterSize( type, child ) + varintSize( size ) + size;
}

std::uint8_t* ContentsOut::put( std::uint8_t* to ) {
   next_ = 0;
   return putPart( to );
}

std::uint8_t* ContentsOut::putPart( std::uint8_t* to ) {
   Part const& part = parts_[next_++];
   TypeRecord const& type = *part.type;
   to = putVarint( to, part.given );
   if ( next_ == 1 ) {
      to = putVarint( to, later_ );
   }
   to = type.valuesLog->put( putVarint( to, part.values ), *part.entity, part.given );
   forEachBit( type.holders, [&]( unsigned i ) {
      if ( ( part.given & contentsBit( type.attributes[i].id ) ) != 0 ) {
         to = putHolder( to, *part.entity, type.wire[i].log->keyed );
      }
      return true;
   } );
   return to;
}

/// A child, or a collection.
std::uint8_t* ContentsOut::putHolder( std::uint8_t* to, Entity const& entity,
                                      KeyedLog const* keyed ) {
   if ( !keyed ) {
      return putChild( to );
   }
   std::uint32_t const count = Internal::keyedSize( *keyed, entity );
   to = putVarint( to, count );
   if ( keyed->putAll ) {
      return keyed->putAll( to, entity );
   }
   // In the order in which they were looked at.
   for ( std::uint32_t i = 0; i < count; ++i ) {
      to = putChild( to );
   }
   return to;
}

std::uint8_t* ContentsOut::putChild( std::uint8_t* to ) {
   Part const& part = parts_[next_];
   to = Varek::putBigEndian( to, part.name.handle );
   ConstructorLog const& parameter = *part.type->constructorLog;
   if ( parameter.form ) {
      to = parameter.form->put( to, parameter.read( *part.entity ) );
   }
   return putPart( putVarint( to, part.size ) );
}

// Reading

namespace {

/// Applies the contents of one entity, and of those below it.
class ContentsIn {
public:
   explicit ContentsIn( ContentsReceiver& receiver ) : receiver_( receiver ) {}

   void apply( EntityQelNboAttrLogSa const& sa, In& in, bool isNew, bool isFirst ) {
      std::uint64_t const given = in.getVarint();
      std::uint64_t const later = isFirst ? in.getVarint() : 0;
      std::uint64_t known = 0;
      In values = in.part( in.getVarint() );
      for ( bool const holders : { false, true } ) {
         for ( unsigned i = 0; i < sa.type().attributes.size(); ++i ) {
            AttributeLog const* const log = sa.type().wire[i].log;
            if ( !log || ( sa.type().holders >> i & 1 ) != holders ) {
               continue;
            }
            AttributeRecord const& attribute = sa.type().attributes[i];
            std::uint64_t const bit = contentsBit( attribute.id );
            known |= bit;
            if ( ( given & bit ) != 0 ) {
               one( sa, i, *log, holders ? in : values );
            } else if ( ( later & bit ) == 0 ) {
               failure_.guard( [&] { unmentioned( sa, attribute, *log, isNew ); } );
            }
         }
      }
      if ( std::uint64_t const unknown = ( given | later ) & ~known ) [[unlikely]] {
         receiver_.unknownSkipped( static_cast<unsigned>( std::popcount( unknown ) ) );
      } else {
         values.expectLast();
         in.expectLast();
      }
   }
   void rethrow() { failure_.rethrow(); }

private:
   void one( EntityQelNboAttrLogSa const& sa, unsigned index, AttributeLog const& log, In& in ) {
      AttributeRecord const& attribute = sa.type().attributes[index];
      in.contextIs( sa.type().name, attribute.id );
      if ( !log.oldChild ) {
         failure_.guard( [&] {
            if ( log.keyed ) {
               Internal::keyedContents( sa, index, in );
            } else {
               log.apply( sa, in );
            }
         } );
         return;
      }
      if ( !log.keyed ) {
         return child( sa, attribute, in );
      }
      std::uint64_t const count = in.getVarint();
      if ( count > in.left() / leastChild ) [[unlikely]] {
         in.failCount();
      }
      bool const replaces = attribute.size( &sa.entity() ) != 0;
      Marks marks( sa, attribute.id, replaces, static_cast<std::uint32_t>( count ) );
      for ( std::uint64_t i = 0; i < count; ++i ) {
         child( sa, attribute, in );
      }
      failure_.guard( [&] { marks.end(); } );
   }

   /// What is not among the elements that come is removed when they have ended. If they do not end,
   /// nothing is.
   class Marks {
   public:
      Marks( EntityQelNboAttrLogSa const& sa, Varek::FieldId field, bool replaces,
             std::uint32_t expected )
         : sa_( sa ), field_( field ), keepAlive_( &sa.entity() ), open_( replaces ) {
         if ( replaces ) {
            doHandleAttrTransaction( sa_, field_, Transaction::begin, expected );
         }
      }
      Marks( Marks const& ) = delete;
      Marks& operator=( Marks const& ) = delete;
      ~Marks() {
         if ( open_ ) {
            doHandleAttrTransaction( sa_, field_, Transaction::cancel );
         }
      }
      void end() {
         if ( open_ ) {
            open_ = false;
            doHandleAttrTransaction( sa_, field_, Transaction::end );
         }
      }

   private:
      EntityQelNboAttrLogSa const& sa_;
      Varek::FieldId field_;
      Ptr<Entity> keepAlive_;
      bool open_;
   };

   void child( EntityQelNboAttrLogSa const& sa, AttributeRecord const& attribute, In& in ) {
      std::uint32_t const handle = in.get32();
      if ( handle == 0 ) [[unlikely]] {
         in.fail( "an entity cannot have handle 0" );
      }
      if ( depth_ == maxDepth ) [[unlikely]] {
         in.fail( "entities within entities, too many" );
      }
      TypeRecord const& type = typeRecord( attribute.childType() );
      FirstFailure observers;
      bool isNew = false;
      Ptr<Entity> const made( childForAttrLog( sa, attribute.id, in, observers, isNew ) );
      failure_.guard( [&] { observers.rethrow(); } );
      In contents = in.part( in.getVarint() );
      if ( !made ) {
         return receiver_.childLost( handle );
      }
      receiver_.childCame( sa.entity(), *made, type, handle );
      ++depth_;
      apply( sa.of( *made, type ), contents, isNew, false );
      --depth_;
   }

   /// At its default, empty, or none.
   static void unmentioned( EntityQelNboAttrLogSa const& sa, AttributeRecord const& attribute,
                            AttributeLog const& log, bool isNew ) {
      if ( log.childDel ) {
         // A constructor may have made one.
         if ( attribute.child( &sa.entity() ) ) {
            In nothing( {} );
            doHandleAttrDeserialization( sa, attribute.id.removal(), nothing );
         }
      } else if ( isNew ) {
         return;
      } else if ( log.keyed ) {
         if ( attribute.size( &sa.entity() ) != 0 ) {
            doHandleAttrTransaction( sa, attribute.id, Transaction::begin );
            doHandleAttrTransaction( sa, attribute.id, Transaction::end );
         }
      } else {
         Varek::String bytes;
         log.defaultAppend( bytes );
         In in( { reinterpret_cast<std::uint8_t const*>( bytes.data() ), bytes.size() } );
         log.apply( sa, in );
      }
   }

   static constexpr std::size_t leastChild = 6;
   // More than any leader writes, and little of a stack.
   static constexpr unsigned maxDepth = 64;

   ContentsReceiver& receiver_;
   ObserversFailure failure_;
   unsigned depth_ = 0;
};

} // namespace

void contentsApply( EntityQelNboAttrLogSa const& sa, In& in, bool isNew,
                    ContentsReceiver& receiver ) {
   Ptr<Entity> const keepAlive( &sa.entity() );
   in.moreFollow();
   ContentsIn contents( receiver );
   contents.apply( sa, in, isNew, true );
   contents.rethrow();
}

} // namespace Qel
