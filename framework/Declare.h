#pragma once

#include <memory>
#include <vector>

#include "framework/Attributes.h"
#include "framework/EntityOf.h"
#include "framework/Enumeration.h"
#include "framework/Mutators.h"
#include "framework/ValueOf.h"

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
/// Field ids are dense: from 258 in entities, from 2 in values.

/// Opens an entity type: type number SLOT of MODULE.
#define QEL_ENTITY( T, MODULE, SLOT )                                                              \
   using QelSelf = T;                                                                              \
                                                                                                   \
public:                                                                                            \
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
   static ::Varek::TypeData qelBinding() { return { &MODULE, SLOT }; }                             \
   T() = default;                                                                                  \
   template<class Given>                                                                           \
   requires ::Qel::ParameterOf<T, Given>                                                           \
   explicit T( Given const& given ) { ::Qel::parameterIs( *this, given ); }                        \
   /** From text; ends the process for a type that holds a collection. */                          \
   template<::std::same_as<::Qel::CharRange> Range>                                                \
   explicit T( Range const& range ) {                                                              \
      ::Qel::valueFromText( *this, range );                                                        \
   }

#define QEL_INTERNAL_DESCRIBE( ID, KIND, NAME )                                                    \
   static constexpr auto attribute( ::Qel::Id<ID> ) {                                              \
      return ::Qel::Descriptor<QelSelf, ::Qel::AttributeKind::KIND, ID, &QelSelf::NAME##_>{        \
         #NAME };                                                                                  \
   }

/// A constructor parameter: TYPE const& NAME() and no mutator.
#define QEL_PARAMETER( ID, TYPE, NAME )                                                            \
public:                                                                                            \
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
   TYPE const& NAME() const { return NAME##_; }                                                    \
   void NAME##Is( TYPE const& value )& { ::Qel::plainIs( *this, ID, NAME##_, value ); }            \
   static TYPE qelDefault( ::Qel::Id<ID> ) { return TYPE{ __VA_ARGS__ }; }                         \
   QEL_INTERNAL_DESCRIBE( ID, plain, NAME )                                                        \
                                                                                                   \
private:                                                                                           \
   TYPE NAME##_{ __VA_ARGS__ };                                                                    \
                                                                                                   \
public:

/// A sequence, in a value type: NAME(), NAMEIs( index, value ), NAMEPush, NAMEPop, NAMEPopAll.
#define QEL_SEQUENCE( ID, TYPE, NAME )                                                             \
public:                                                                                            \
   using Qel##NAME##Tag = ::Qel::SequenceTag<QelSelf, #NAME>;                                      \
   using Qel##NAME##Sequence =                                                                     \
      ::std::vector<TYPE, ::Pallo::SequenceAllocator<TYPE, Qel##NAME##Tag::tracker>>;              \
   Qel##NAME##Sequence const& NAME() const { return NAME##_; }                                     \
   void NAME##Is( ::std::uint32_t index, TYPE const& value )& {                                    \
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
   QEL_INTERNAL_DESCRIBE( ID, collection, NAME )                                                   \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Map NAME##_;                                                                         \
                                                                                                   \
public:

/// A collection of entities of type T that this one makes and owns, each constructed with its key:
/// NAME(), NAME( key ), NAMEIs( key ), NAMEDel( key ), NAMEDelAll().
#define QEL_CHILDREN( ID, T, NAME, SALT )                                                          \
public:                                                                                            \
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
   QEL_INTERNAL_DESCRIBE( ID, children, NAME )                                                     \
                                                                                                   \
private:                                                                                           \
   Qel##NAME##Map NAME##_;                                                                         \
                                                                                                   \
public:
