#pragma once

#include <utility>

#include "framework/Mutators.h"

/// Single child entities that their owner creates.
namespace Qel {

/// Holds the child, which may be null. The end of the owner clears the parent of one that others
/// still hold.
template<class T>
struct SingleChild {
   using Child = T;
   Ptr<T> child;

   SingleChild() = default;
   SingleChild( SingleChild const& ) = delete;
   SingleChild& operator=( SingleChild const& ) = delete;
   ~SingleChild() {
      if ( child ) {
         child->qelParentIs( nullptr );
      }
   }
};

/// Stands for the constructor parameter of a type that has none; no caller can construct it.
struct NoParameter {
   NoParameter() = delete;
};
template<class T, bool given = Internal::parameterCount<T>() != 0>
struct ChildArgumentOf {
   using Type = NoParameter;
};
template<class T>
struct ChildArgumentOf<T, true> {
   using Type = ParameterType<T>;
};
template<class T>
using ChildArgument = typename ChildArgumentOf<T>::Type;

template<class T>
concept MadeFromNothing = Internal::parameterCount<T>() == 0;

/// Whether there is a child that has the given parameter, or needs none.
template<class T, class... Given>
bool childFits( SingleChild<T> const& held, Given const&... given ) {
   return held.child && ( same( Internal::parameterOf( *held.child ), given ) && ... );
}

/// A child that fits stays as it is. The result is the child that is held when all observers have
/// been told, and never null: the one that was made, if they have removed it.
template<Writer by = Writer::caller, class T, class... Given>
Ptr<T> childIs( Entity& owner, Varek::FieldId id, SingleChild<T>& held, Given const&... given ) {
   if ( childFits( held, given... ) ) {
      return held.child;
   }
   requireWritable<by>( owner );
   Ptr<T> const made = T::qelMake( given... );
   Ptr<T> const old = std::exchange( held.child, made );
   if ( old ) {
      old->qelParentIs( nullptr );
   }
   made->qelParentIs( &owner );
   Ptr<Entity> const keepAlive( &owner );
   publish( owner, id, old ? &old : nullptr );
   return held.child ? held.child : made;
}

template<Writer by = Writer::caller, class T>
Ptr<T> childDel( Entity& owner, Varek::FieldId id, SingleChild<T>& held ) {
   if ( !held.child ) {
      return {};
   }
   requireWritable<by>( owner );
   Ptr<T> old = std::move( held.child );
   old->qelParentIs( nullptr );
   publish( owner, id, &old );
   return old;
}

} // namespace Qel
