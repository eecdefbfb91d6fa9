#pragma once

#include <utility>

#include "framework/declare/Mutators.h"

/// Single child entities that their owner creates.
namespace Qel {

/// Holds the child, which may be null. If others still hold the child when the owner ends, its
/// parent becomes null.
template<class T>
struct SingleChild {
   using Child = T;
   Ptr<T> child;

   SingleChild() = default;
   SingleChild( SingleChild const& ) = delete;
   SingleChild& operator=( SingleChild const& ) = delete;
   ~SingleChild() {
      if ( child ) {
         Internal::childLetGo( *child );
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

namespace Internal {

/// The second half of childIs and childDel, once for all types: \p old has been replaced by
/// \p made; either may be null. \p oldData is what observers get.
VAREK_EXPORT void childReplaced( Entity& owner, Varek::FieldId id, Entity* old, Entity* made,
                                 void const* oldData );

} // namespace Internal

/// Makes a child in place of the one that is held. For the result see childIs.
template<class T, class... Given>
[[gnu::noinline]] Ptr<T> childNew( Entity& owner, Varek::FieldId id, SingleChild<T>& held,
                                   Given const&... given ) {
   Ptr<T> const made = T::qelMake( given... );
   Ptr<T> const old = std::exchange( held.child, made );
   Ptr<Entity> const keepAlive( &owner );
   Internal::childReplaced( owner, id, old.get(), made.get(), &old );
   return held.child ? held.child : made;
}

/// A child that fits stays as it is. The result is the child that is held when all observers have
/// been told. It is never null: if they have removed the child, it is the child that was made.
template<Writer by = Writer::caller, class T, class... Given>
Ptr<T> childIs( Entity& owner, Varek::FieldId id, SingleChild<T>& held, Given const&... given ) {
   if ( childFits( held, given... ) ) {
      return held.child;
   }
   requireWritable<by>( owner );
   return childNew( owner, id, held, given... );
}

template<Writer by = Writer::caller, class T>
Ptr<T> childDel( Entity& owner, Varek::FieldId id, SingleChild<T>& held ) {
   if ( !held.child ) {
      return {};
   }
   requireWritable<by>( owner );
   Ptr<T> old = std::move( held.child );
   Internal::childReplaced( owner, id, old.get(), nullptr, &old );
   return old;
}

} // namespace Qel
