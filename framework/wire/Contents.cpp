#include "framework/wire/Contents.h"

#include <bit>

#include "Varek/ByteOrder.h"
#include "framework/declare/Mutators.h"
#include "framework/wire/AttributeLog.h"
#include "framework/wire/KeyedLog.h"

namespace Qel {

using NboAttrLog::In;
using NboAttrLog::putVarint;
using NboAttrLog::varintSize;

namespace {

/// Calls \p visit( index, record, log ) for each attribute that travels.
template<class Visit>
void forEachLogged( TypeRecord const& type, Visit visit ) {
   for ( unsigned i = 0; i < type.attributes.size(); ++i ) {
      if ( AttributeLog const* const log = type.wire[i].log ) {
         visit( i, type.attributes[i], *log );
      }
   }
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

void ContentsOut::entityIs( Entity& entity, TypeRecord const& type, Names& names,
                            std::size_t limit ) {
   parts_.clear();
   names_ = &names;
   limit_ = limit;
   later_ = 0;
   next_ = 0;
   parts_.push_back( { &entity, &type, 0, 0, 0 } );
   std::size_t sum = 0;
   std::uint64_t given = 0;
   forEachLogged( type, [&]( unsigned i, AttributeRecord const& attribute, AttributeLog const& ) {
      std::size_t const partsBefore = parts_.size();
      std::size_t const size = sizeOf( 0, i, 0 );
      if ( size == tooLarge || size > limit_ - sum ) {
         later_ |= contentsBit( attribute.id );
         parts_.resize( partsBefore );
      } else if ( size != 0 ) {
         given |= contentsBit( attribute.id );
         sum += size;
      }
   } );
   parts_.front().given = given;
   size_ = varintSize( given ) + varintSize( later_ ) + sum;
}

/// Of an entity below the one that is announced; tooLarge if that is no part of these contents.
std::size_t ContentsOut::measured( std::size_t part, unsigned depth ) {
   TypeRecord const& type = *parts_[part].type;
   std::uint64_t given = 0;
   std::size_t sum = 0;
   for ( unsigned i = 0; i < type.attributes.size(); ++i ) {
      if ( !type.wire[i].log ) {
         continue;
      }
      std::size_t const size = sizeOf( part, i, depth );
      if ( size == tooLarge || size > limit_ - sum ) {
         return tooLarge;
      }
      given |= size != 0 ? contentsBit( type.attributes[i].id ) : 0;
      sum += size;
   }
   sum += varintSize( given );
   parts_[part].given = given;
   parts_[part].size = static_cast<std::uint32_t>( sum );
   return sum;
}

/// Of an attribute; 0 if it is not given.
std::size_t ContentsOut::sizeOf( std::size_t part, unsigned index, unsigned depth ) {
   TypeRecord const& type = *parts_[part].type;
   Entity& entity = *parts_[part].entity;
   AttributeRecord const& attribute = type.attributes[index];
   AttributeLog const& log = *type.wire[index].log;
   if ( log.size ) {
      return log.size( entity, ( names_->always( type ) & contentsBit( attribute.id ) ) != 0 );
   }
   if ( !log.keyed ) {
      Entity* const child = attribute.child( &entity );
      return child ? sizeOfChild( entity, *child, typeRecord( attribute.childType() ), depth ) : 0;
   }
   std::uint32_t const count = Internal::keyedSize( *log.keyed, entity );
   if ( count == 0 ) {
      return 0;
   }
   if ( count > limit_ / log.keyed->least ) {
      return tooLarge;
   }
   std::size_t sum = varintSize( count );
   if ( log.keyed->sizeAll ) {
      return sum + log.keyed->sizeAll( entity );
   }
   TypeRecord const& children = typeRecord( attribute.childType() );
   forEachMember( *log.keyed, entity, [&]( Entity& child ) {
      if ( sum <= limit_ ) {
         std::size_t const size = sizeOfChild( entity, child, children, depth );
         sum = size == tooLarge ? tooLarge : sum + size;
      }
   } );
   return sum <= limit_ ? sum : tooLarge;
}

std::size_t ContentsOut::sizeOfChild( Entity const& parent, Entity& child, TypeRecord const& type,
                                      unsigned depth ) {
   std::uint32_t const handle = depth < maxDepth ? names_->newHandle( parent, child ) : 0;
   if ( handle == 0 ) {
      return tooLarge;
   }
   std::size_t const part = parts_.size();
   parts_.push_back( { &child, &type, 0, handle, 0 } );
   std::size_t const size = measured( part, depth + 1 );
   return size == tooLarge ? tooLarge
                           : 4 + parameterSize( type, child ) + varintSize( size ) + size;
}

std::uint8_t* ContentsOut::put( std::uint8_t* to ) {
   next_ = 0;
   return putPart( to );
}

std::uint8_t* ContentsOut::putPart( std::uint8_t* to ) {
   Part const part = parts_[next_++];
   to = putVarint( to, part.given );
   if ( next_ == 1 ) {
      to = putVarint( to, later_ );
   }
   forEachLogged(
      *part.type, [&]( unsigned, AttributeRecord const& attribute, AttributeLog const& log ) {
         if ( ( part.given & contentsBit( attribute.id ) ) == 0 ) {
            return;
         }
         if ( log.put ) {
            to = log.put( to, *part.entity );
         } else if ( !log.keyed ) {
            to = putChild( to );
         } else {
            to = putVarint( to, Internal::keyedSize( *log.keyed, *part.entity ) );
            if ( log.keyed->putAll ) {
               to = log.keyed->putAll( to, *part.entity );
            } else {
               forEachMember( *log.keyed, *part.entity, [&]( Entity& ) { to = putChild( to ); } );
            }
         }
      } );
   return to;
}

std::uint8_t* ContentsOut::putChild( std::uint8_t* to ) {
   Part const& part = parts_[next_];
   to = Varek::putBigEndian( to, part.handle );
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
      forEachLogged( sa.type(),
                     [&]( unsigned i, AttributeRecord const& attribute, AttributeLog const& log ) {
                        std::uint64_t const bit = contentsBit( attribute.id );
                        known |= bit;
                        if ( ( given & bit ) != 0 ) {
                           in.contextIs( sa.type().name, attribute.id );
                           one( sa, i, attribute, log, in );
                        } else if ( ( later & bit ) == 0 ) {
                           failure_.guard( [&] { unmentioned( sa, attribute, log, isNew ); } );
                        }
                     } );
      if ( std::uint64_t const unknown = ( given | later ) & ~known ) [[unlikely]] {
         receiver_.unknownSkipped( static_cast<unsigned>( std::popcount( unknown ) ) );
         in.getOctets( in.left() );
      }
      in.expectLast();
   }
   void rethrow() { failure_.rethrow(); }

private:
   void one( EntityQelNboAttrLogSa const& sa, unsigned index, AttributeRecord const& attribute,
             AttributeLog const& log, In& in ) {
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
      apply( sa.of( *made, type ), contents, isNew, false );
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

   ContentsReceiver& receiver_;
   ObserversFailure failure_;
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
