#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <memory>
#include <vector>

#include "framework/declare/Arrays.h"
#include "framework/declare/Attributes.h"
#include "framework/declare/DeclarationChecks.h"
#include "framework/declare/EntityOf.h"
#include "framework/declare/Maps.h"
#include "framework/declare/Mutators.h"
#include "framework/declare/Observe.h"
#include "framework/declare/Ordered.h"
#include "framework/declare/Sets.h"
#include "framework/declare/SingleChild.h"
#include "framework/records/Enumeration.h"
#include "framework/records/ValueOf.h"
#include "framework/wire/ValueWire.h"

/// How a type is declared: a class begins with QEL_ENTITY or QEL_VALUE, and each attribute is one
/// line under its doc comment. The line gives the storage, the accessor, the mutators and the
/// record; the macros hold one-line calls of ordinary templates and nothing else.
///
///     class Fan final : public Qel::EntityOf<Fan> {
///        QEL_ENTITY( Fan, coolingModule, 0 )
///        /// Which fan; never changes.
///        QEL_PARAMETER( 258, std::uint32_t, number )
///        /// Its speed, in revolutions per minute.
///        QEL_PLAIN( 259, std::uint32_t, speed, 2000 )
///     };
///
/// Field ids are dense: from 258 in entities, from 2 in values. The id of each attribute is the
/// constant NAMEField as well. Every NAMEDel returns what it removed, or the empty value (null for
/// a child) if there was nothing. Every attribute of an entity that can change has NAMEObserve( f
/// ), and children have NAMEForEach( f ): framework/declare/Observe.h.

/// Opens an entity type: type number SLOT of MODULE.
#define QEL_ENTITY( T, MODULE, SLOT )                                                              \
   using QelSelf = T;                                                                              \
                                                                                                   \
public:                                                                                            \
   static_assert( ::Qel::ClaimedSlot<T, MODULE, SLOT>::one );                                      \
   static ::Varek::TypeData qelBinding() { return { &MODULE, SLOT }; }                             \
   explicit T( ::Qel::MakeKey ) {}                                                                 \
   /** Makes an entity from its constructor parameters. */                                         \
   template<class... Given>                                                                        \
   static ::Varek::Ptr<T> T##Is( Given const&... given ) {                                         \
      return T::qelMake( given... );                                                               \
   }

/// Opens a value type: type number SLOT of MODULE.
#define QEL_VALUE( T, MODULE, SLOT )                                                               \
   using QelSelf = T;                                                                              \
                                                                                                   \
public:                                                                                            \
   static_assert( ::Qel::ClaimedSlot<T, MODULE, SLOT>::one );                                      \
   static ::Varek::TypeData qelBinding() { return { &MODULE, SLOT }; }                             \
   T() = default;                                                                                  \
   template<class Given>                                                                           \
      requires ::Qel::ParameterOf<T, Given>                                                        \
   explicit T( Given const& given ) {                                                              \
      ::Qel::parameterIs( *this, given );                                                          \
   }                                                                                               \
   /** From text; ends the process for a type that holds a collection. */                          \
   template<::std::same_as<::Qel::CharRange> Range>                                                \
   explicit T( Range const& range ) {                                                              \
      ::Qel::valueFromText( *this, range );                                                        \
   }                                                                                               \
   /** From the attribute log; throws for what is not in form. */                                  \
   template<::std::same_as<::Qel::NboAttrLog::In> Reader>                                          \
   explicit T( Reader& in ) {                                                                      \
      ::Qel::Wire<T>::read( in, *this );                                                           \
   }

#define QEL_INTERNAL_DESCRIBE( ID, KIND, NAME )                                                    \
   static constexpr ::Varek::FieldId NAME##Field{ ID };                                            \
   static constexpr auto attribute( ::Qel::Id<ID> ) {                                              \
      return ::Qel::Descriptor<QelSelf, ::Qel::AttributeKind::KIND, ID, &QelSelf::NAME##_>{        \
         #NAME };                                                                                  \
   }

/// NAMEObserve( f ), in an entity: see framework/declare/Observe.h for what f is called with.
#define QEL_INTERNAL_OBSERVE( ID, NAME )                                                           \
   template<class F, ::std::derived_from<::Qel::Entity> QelT = QelSelf>                            \
   [[nodiscard]] ::Varek::Subscription NAME##Observe( F&& f )& {                                   \
      return ::Qel::observeAttribute<ID>( static_cast<QelT&>( *this ), ::std::forward<F>( f ) );   \
   }

/// A constructor parameter: TYPE const& NAME() and no mutator.
#define QEL_PARAMETER( ID, TYPE, NAME )                                                            \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   TYPE const& NAME() const { return NAME##_; }                                                    \
   QEL_INTERNAL_DESCRIBE( ID, parameter, NAME )                                                    \
                                                                                                   \
private:                                                                                           \
   TYPE NAME##_{};                                                                                 \
                                                                                                   \
public:

/// A plain attribute: NAME() and NAMEIs( value ). What follows NAME is the default.
#define QEL_PLAIN( ID, TYPE, NAME, ... )                                                           \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   static_assert( ::Qel::Internal::isEnumerator<TYPE>( [] { return TYPE{ __VA_ARGS__ }; } ),       \
                  "the default of " #NAME " is no enumerator of " #TYPE );                         \
   TYPE const& NAME() const { return NAME##_; }                                                    \
   void NAME##Is( TYPE const& value )& { ::Qel::plainIs( *this, ID, NAME##_, value ); }            \
   /* A template, so that it is constexpr for the types that allow it. */                          \
   template<class QelT = TYPE>                                                                     \
   static constexpr QelT qelDefault( ::Qel::Id<ID> ) {                                             \
      return QelT{ __VA_ARGS__ };                                                                  \
   }                                                                                               \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, plain, NAME )                                                        \
                                                                                                   \
private:                                                                                           \
   TYPE NAME##_{ __VA_ARGS__ };                                                                    \
                                                                                                   \
public:

/// A sequence, in a value type: NAME(), NAMEIs( index, value ), NAMEPush, NAMEPop, NAMEPopAll.
#define QEL_SEQUENCE( ID, TYPE, NAME )                                                             \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   using Qel##NAME##Tag = ::Qel::SequenceTag<QelSelf, #NAME>;                                      \
   using Qel##NAME##Sequence =                                                                     \
      ::std::vector<TYPE, ::Pallo::SequenceAllocator<TYPE, Qel##NAME##Tag::tracker>>;              \
   Qel##NAME##Sequence const& NAME() const { return NAME##_; }                                     \
   void NAME##Is( ::std::uint64_t index, TYPE const& value )& {                                    \
      ::Qel::sequenceIs( NAME##_, index, value );                                                  \
   }                                                                                               \
   void NAME##Push( TYPE const& value )& { NAME##_.push_back( value ); }                           \
   TYPE NAME##Pop()& { return ::Qel::sequencePop( NAME##_ ); }                                     \
   void NAME##PopAll()& { NAME##_.clear(); }                                                       \
   QEL_INTERNAL_DESCRIBE( ID, sequence, NAME )                                                     \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Sequence NAME##_;                                                                    \
                                                                                                   \
public:

/// A collection, in an entity, of values of the value type ELEMENT, keyed by its attribute KEY:
/// NAME(), NAME( key ), NAMEIs( element ), NAMEDel( key ), NAMEDelAll().
#define QEL_COLLECTION( ID, ELEMENT, KEY, NAME, SALT )                                             \
public:                                                                                            \
   struct ELEMENT##KeyFunktor {                                                                    \
      using Key = ::std::remove_cvref_t<decltype( ::std::declval<ELEMENT const&>().KEY() )>;       \
      Key const& operator()( ELEMENT const& element ) const { return element.KEY(); }              \
   };                                                                                              \
   QEL_INTERNAL_KEY_CHECK( NAME, typename ELEMENT##KeyFunktor::Key );                              \
   using HN_##ELEMENT = ELEMENT;                                                                   \
   using Qel##NAME##Map = ::Qel::HashMap2018<HN_##ELEMENT, ELEMENT##KeyFunktor, SALT>;             \
   Qel##NAME##Map const& NAME() const { return NAME##_; }                                          \
   ELEMENT const* NAME( typename ELEMENT##KeyFunktor::Key const& key ) const {                     \
      return NAME##_.lookupNodeG( key );                                                           \
   }                                                                                               \
   void NAME##Is( ELEMENT const& value )& { ::Qel::collectionIs( *this, ID, NAME##_, value ); }    \
   ELEMENT NAME##Del( typename ELEMENT##KeyFunktor::Key const& key )& {                            \
      return ::Qel::collectionDel( *this, ID, NAME##_, key );                                      \
   }                                                                                               \
   void NAME##DelAll()& { ::Qel::collectionDelAll( *this, ID, NAME##_ ); }                         \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, collection, NAME )                                                   \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Map NAME##_;                                                                         \
                                                                                                   \
public:

/// A collection of entities of type T that this entity makes and owns, each constructed with its
/// key: NAME(), NAME( key ), NAMEIs( key ), NAMEDel( key ), NAMEDelAll().
#define QEL_CHILDREN( ID, T, NAME, SALT )                                                          \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   QEL_INTERNAL_KEY_CHECK( NAME, ::Qel::ParameterType<T> );                                        \
   using T##KeyFunktor = ::Qel::ChildKeyFunktor<T, ::Qel::ParameterType<T>>;                       \
   using Qel##NAME##Map = ::Qel::ChildMap<T, ::Qel::ParameterType<T>, SALT>;                       \
   Qel##NAME##Map const& NAME() const { return NAME##_; }                                          \
   ::Varek::Ptr<T> NAME( ::Qel::ParameterType<T> const& key ) const {                              \
      return ::Qel::childrenGet( NAME##_, key );                                                   \
   }                                                                                               \
   ::Varek::Ptr<T> NAME##Is( ::Qel::ParameterType<T> const& key )& {                               \
      return ::Qel::childrenIs( *this, ID, NAME##_, key );                                         \
   }                                                                                               \
   ::Varek::Ptr<T> NAME##Del( ::Qel::ParameterType<T> const& key )& {                              \
      return ::Qel::childrenDel( *this, ID, NAME##_, key );                                        \
   }                                                                                               \
   void NAME##DelAll()& { ::Qel::childrenDelAll( *this, ID, NAME##_ ); }                           \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   template<class F>                                                                               \
   [[nodiscard]] ::Varek::Subscription NAME##ForEach( F&& f )& {                                   \
      return ::Qel::forEachChildNowAndLater<ID>( *this, ::std::forward<F>( f ) );                  \
   }                                                                                               \
   QEL_INTERNAL_DESCRIBE( ID, children, NAME )                                                     \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Map NAME##_;                                                                         \
                                                                                                   \
public:

/// The name of an entity, its constructor parameter: Varek::String const& name(). Stands in the
/// records as "nameString", before all other attributes.
#define QEL_NAME                                                                                   \
public:                                                                                            \
   ::Varek::String const& name() const { return name_; }                                           \
   static constexpr auto attribute( ::Qel::Id<::Varek::nameStringId.value()> ) {                   \
      return ::Qel::Descriptor<QelSelf, ::Qel::AttributeKind::parameter,                           \
                               ::Varek::nameStringId.value(), &QelSelf::name_>{ "nameString" };    \
   }                                                                                               \
                                                                                                   \
private:                                                                                           \
   ::Varek::String name_;                                                                          \
                                                                                                   \
public:

/// A counter, which starts at 0 and wraps at 32 bits: a plain attribute, and NAMEInc( n ), which
/// adds n and returns what it is when all observers have been told.
#define QEL_COUNTER( ID, NAME )                                                                    \
   QEL_PLAIN( ID, ::std::uint32_t, NAME, 0 )                                                       \
   ::std::uint32_t NAME##Inc( ::std::uint32_t n )& {                                               \
      return ::Qel::counterInc( *this, ID, NAME##_, n );                                           \
   }

/// A set of values of the plain type TYPE: NAME(), NAME( member ), NAMEIs( member ) to add a
/// member, NAMEDel( member ), NAMEDelAll(). A change has the member as its key.
#define QEL_SET( ID, TYPE, NAME, SALT )                                                            \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   QEL_INTERNAL_KEY_CHECK( NAME, TYPE );                                                           \
   using Qel##NAME##Set = ::Qel::HSet<TYPE, SALT>;                                                 \
   Qel##NAME##Set const& NAME() const { return NAME##_; }                                          \
   bool NAME( TYPE const& member ) const { return NAME##_.lookupNodeG( member ) != nullptr; }      \
   void NAME##Is( TYPE const& member )& { ::Qel::setIs( *this, ID, NAME##_, member ); }            \
   TYPE NAME##Del( TYPE const& member )& {                                                         \
      return ::Qel::collectionDel( *this, ID, NAME##_, member );                                   \
   }                                                                                               \
   void NAME##DelAll()& { ::Qel::collectionDelAll( *this, ID, NAME##_ ); }                         \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, set, NAME )                                                          \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Set NAME##_{};                                                                       \
                                                                                                   \
public:

/// A map, in an entity, of values of the plain type TYPE, each under a KEY: NAME(), NAME( key ),
/// which is null if there is none, NAMEIs( key, value ), NAMEDel( key ), NAMEDelAll().
#define QEL_MAP( ID, KEY, TYPE, NAME, SALT )                                                       \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   QEL_INTERNAL_KEY_CHECK( NAME, KEY );                                                            \
   using Qel##NAME##Map = ::Qel::ValueMap<KEY, TYPE, SALT>;                                        \
   Qel##NAME##Map const& NAME() const { return NAME##_; }                                          \
   TYPE const* NAME( KEY const& key ) const { return ::Qel::mapGet( NAME##_, key ); }              \
   void NAME##Is( KEY const& key, TYPE const& value )& {                                           \
      ::Qel::mapIs( *this, ID, NAME##_, key, value );                                              \
   }                                                                                               \
   TYPE NAME##Del( KEY const& key )& { return ::Qel::mapDel( *this, ID, NAME##_, key ); }          \
   void NAME##DelAll()& { ::Qel::mapDelAll( *this, ID, NAME##_ ); }                                \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, map, NAME )                                                          \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Map NAME##_{};                                                                       \
                                                                                                   \
public:

#define QEL_INTERNAL_ORDERED( ID, NAME, NODE )                                                     \
   QEL_INTERNAL_ORDER_CHECK( NAME, typename NODE::Key );                                           \
   using Qel##NAME##Map = ::Qel::OrderedMap<NODE>;                                                 \
   Qel##NAME##Map const& NAME() const { return NAME##_; }                                          \
   NODE::Value const* NAME( NODE::Key const& key ) const {                                         \
      return ::Qel::OrderedMutators::get( NAME##_, key );                                          \
   }                                                                                               \
   NODE::Value NAME##Del( NODE::Key const& key )& { return NAME##Del( NAME##_.find( key ) ); }     \
   NODE::Value NAME##Del( Qel##NAME##Map::const_iterator at )& {                                   \
      return ::Qel::OrderedMutators::del( *this, ID, NAME##_, at );                                \
   }                                                                                               \
   void NAME##DelAll()& { ::Qel::OrderedMutators::delAll( *this, ID, NAME##_ ); }                  \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, ordered, NAME )                                                      \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Map NAME##_{};                                                                       \
                                                                                                   \
public:

/// An ordered collection, in an entity, of values of the value type ELEMENT, keyed by its attribute
/// KEY, in nodes of class NODE: NAME(), which walks in ascending order, NAME( key ), null if there
/// is none, NAMEIs( value ), NAMEDel( key ), NAMEDel( iterator ), NAMEDelAll(). A value that is
/// replaced stays in its node.
#define QEL_ORDERED( ID, ELEMENT, KEY, NAME, NODE )                                                \
public:                                                                                            \
   struct NODE##KeyFunktor {                                                                       \
      using Key = ::std::remove_cvref_t<decltype( ::std::declval<ELEMENT const&>().KEY() )>;       \
      Key const& operator()( ELEMENT const& element ) const { return element.KEY(); }              \
   };                                                                                              \
   struct NODE final : ::Qel::OrderedElement<NODE, ELEMENT, NODE##KeyFunktor> {};                  \
   void NAME##Is( ELEMENT const& value )& {                                                        \
      ::Qel::OrderedMutators::is( *this, ID, NAME##_, value.KEY(), value );                        \
   }                                                                                               \
   QEL_INTERNAL_ORDERED( ID, NAME, NODE )

/// An ordered map, in an entity, of values of the plain type TYPE, each under a KEYTYPE: as
/// QEL_ORDERED, with NAMEIs( key, value ).
#define QEL_ORDERED_MAP( ID, KEYTYPE, TYPE, NAME, NODE )                                           \
public:                                                                                            \
   struct NODE final : ::Qel::OrderedMember<NODE, KEYTYPE, TYPE> {};                               \
   void NAME##Is( KEYTYPE const& key, TYPE const& value )& {                                       \
      ::Qel::OrderedMutators::is( *this, ID, NAME##_, key, value );                                \
   }                                                                                               \
   QEL_INTERNAL_ORDERED( ID, NAME, NODE )

/// COUNT values of the plain type TYPE, each TYPE{} at first: NAME(), NAME( index ), NAMEIs( index,
/// value ), NAMEDel( index ) and NAMEDel( iterator ), which make an element TYPE{} again, and
/// NAMEDelAll(). A change has the index, a std::uint32_t, as its key. Throws Varek::RangeError for
/// an index from COUNT on.
#define QEL_ARRAY( ID, TYPE, COUNT, NAME )                                                         \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   using Qel##NAME##Array = ::std::array<TYPE, COUNT>;                                             \
   Qel##NAME##Array const& NAME() const { return NAME##_; }                                        \
   TYPE const& NAME( ::std::uint64_t index ) const { return ::Qel::arrayAt( NAME##_, index ); }    \
   void NAME##Is( ::std::uint64_t index, TYPE const& value )& {                                    \
      ::Qel::arrayIs( *this, ID, NAME##_, index, value );                                          \
   }                                                                                               \
   TYPE NAME##Del( ::std::uint64_t index )& {                                                      \
      return ::Qel::arrayDel( *this, ID, NAME##_, index );                                         \
   }                                                                                               \
   /* A template, so that a literal 0 is an index and no null pointer. */                          \
   template<::std::same_as<Qel##NAME##Array::const_iterator> Iterator>                             \
   TYPE NAME##Del( Iterator at )& {                                                                \
      return NAME##Del( static_cast<::std::uint64_t>( at - NAME##_.cbegin() ) );                   \
   }                                                                                               \
   void NAME##DelAll()& { ::Qel::arrayDelAll( *this, ID, NAME##_ ); }                              \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, array, NAME )                                                        \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Array NAME##_{};                                                                     \
                                                                                                   \
public:

/// A single child entity of type T that this entity makes and owns, or none: NAME(); NAMEIs() or,
/// if T has a constructor parameter, NAMEIs( parameter ), which keep a child that has that
/// parameter and replace any other; NAMEDel().
#define QEL_CHILD( ID, T, NAME )                                                                   \
public:                                                                                            \
   QEL_INTERNAL_NAME_CHECK( ID, NAME );                                                            \
   ::Varek::Ptr<T> NAME() const { return NAME##_.child; }                                          \
   template<class QelT = T>                                                                        \
   ::Varek::Ptr<T> NAME##Is( ::Qel::ChildArgument<QelT> const& parameter )& {                      \
      return ::Qel::childIs( *this, ID, NAME##_, parameter );                                      \
   }                                                                                               \
   template<::Qel::MadeFromNothing QelT = T>                                                       \
   ::Varek::Ptr<T> NAME##Is()& {                                                                   \
      return ::Qel::childIs( *this, ID, NAME##_ );                                                 \
   }                                                                                               \
   ::Varek::Ptr<T> NAME##Del()& { return ::Qel::childDel( *this, ID, NAME##_ ); }                  \
   QEL_INTERNAL_OBSERVE( ID, NAME )                                                                \
   QEL_INTERNAL_DESCRIBE( ID, child, NAME )                                                        \
                                                                                                   \
private:                                                                                           \
   ::Qel::SingleChild<T> NAME##_{};                                                                \
                                                                                                   \
public:

/// A child as of QEL_CHILD that is there from the beginning. Its constructor gets the arguments
/// that follow NAME, which may name constructor parameters of the owner.
#define QEL_OWN_CHILD( ID, T, NAME, ... )                                                          \
   QEL_CHILD( ID, T, NAME )                                                                        \
   ::Varek::Ptr<T> qelOwnChild( ::Qel::Id<ID> ) const { return T::qelMake( __VA_ARGS__ ); }

#define QEL_INTERNAL_DESCRIBE_COMPUTED( ID, KIND, NAME, ... )                                      \
   static constexpr ::Varek::FieldId NAME##Field{ ID };                                            \
   static constexpr auto attribute( ::Qel::Id<ID> ) {                                              \
      return ::Qel::ComputedDescriptor<QelSelf, ::Qel::AttributeKind::KIND, ID, __VA_ARGS__>{      \
         #NAME };                                                                                  \
   }

/// A constant of a value type: static constexpr TYPE NAME(). It is not stored, does not travel and
/// has no part in equality. VALUE is the argument of TYPE's constructor.
#define QEL_CONSTANT( ID, TYPE, NAME, ... )                                                        \
public:                                                                                            \
   static constexpr TYPE NAME() { return TYPE{ __VA_ARGS__ }; }                                    \
   static constexpr TYPE qelDefault( ::Qel::Id<ID> ) { return NAME(); }                            \
   static TYPE qelCompute( ::Qel::Id<ID>, QelSelf const& ) { return NAME(); }                      \
   QEL_INTERNAL_DESCRIBE_COMPUTED( ID, constant, NAME, TYPE )

/// A computed reading of an entity: registers the member function TYPE NAME() const, which the
/// class declares beside this line. If it would end the process in some states of the entity, a
/// member function, bool () const, follows NAME and says whether it may be called: generic code
/// asks it first.
#define QEL_DERIVED( ID, TYPE, NAME, ... )                                                         \
public:                                                                                            \
   static TYPE qelCompute( ::Qel::Id<ID>, QelSelf const& self ) { return self.NAME(); }            \
   __VA_OPT__( static bool qelComputable( ::Qel::Id<ID>, QelSelf const& self ) {                   \
      return self.__VA_ARGS__();                                                                   \
   } )                                                                                             \
   QEL_INTERNAL_DESCRIBE_COMPUTED( ID, derived, NAME, TYPE )

/// The same from a key: registers TYPE NAME( KEYTYPE const& key ) const.
#define QEL_DERIVED_BY( ID, TYPE, NAME, KEYTYPE )                                                  \
public:                                                                                            \
   static TYPE qelCompute( ::Qel::Id<ID>, QelSelf const& self, KEYTYPE const& key ) {              \
      return self.NAME( key );                                                                     \
   }                                                                                               \
   QEL_INTERNAL_DESCRIBE_COMPUTED( ID, derived, NAME, TYPE, KEYTYPE )

/// Gives a value type its truth: whether it differs from the default.
#define QEL_TRUTH( T )                                                                             \
public:                                                                                            \
   explicit operator bool() const { return !( *this == T() ); }

/// A plain attribute of a value type with bounds, which are constants of the type (min and max):
/// NAME(), NAMEIs( value ), which outside of them throws Varek::RangeError and changes nothing.
/// Values from the attribute log are not checked. The default is the least value.
#define QEL_RANGED( ID, TYPE, NAME, MIN_ID, MIN, MAX_ID, MAX )                                     \
public:                                                                                            \
   TYPE const& NAME() const { return NAME##_; }                                                    \
   void NAME##Is( TYPE const& value )& {                                                           \
      if ( !::Qel::same( NAME##_, value ) ) {                                                      \
         qelRangeCheck( value );                                                                   \
         NAME##_ = value;                                                                          \
      }                                                                                            \
   }                                                                                               \
   static constexpr void qelRangeCheck( TYPE const& value ) {                                      \
      ::Qel::rangeCheck<QelSelf>( #NAME, value >= min() && value <= max() );                       \
   }                                                                                               \
   static void qelRangeCheck( ::Qel::Id<ID>, TYPE const& value ) { qelRangeCheck( value ); }       \
   static constexpr TYPE qelDefault( ::Qel::Id<ID> ) { return MIN; }                               \
   QEL_INTERNAL_DESCRIBE( ID, plain, NAME )                                                        \
                                                                                                   \
private:                                                                                           \
   TYPE NAME##_{ MIN };                                                                            \
   QEL_CONSTANT( MIN_ID, TYPE, min, MIN )                                                          \
   QEL_CONSTANT( MAX_ID, TYPE, max, MAX )
