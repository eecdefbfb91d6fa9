#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Qel/HashMap2018Generic.h"
#include "Varek/Export.h"

/// What is still to be said of one collection to one stream.
namespace Qel {

namespace Internal {

struct KeyForm;

/// A set of keys: an HSet of what the form says.
class VAREK_EXPORT KeySet : public HashMap2018Generic {
public:
   explicit KeySet( KeyForm const& form ) : form_( &form ) {}
   KeySet( KeySet const& other );
   KeySet( KeySet&& ) noexcept = default;
   KeySet& operator=( KeySet other ) noexcept;
   ~KeySet() { clear(); }

   bool contains( void const* key ) const;
   void const* at( std::uint32_t position ) const;
   void insert( void const* key );
   /// Whether it was there.
   bool erase( void const* key );
   void clear() noexcept;

private:
   void* slot( std::uint32_t position ) const;
   std::uint32_t find( void const* key, std::uint32_t hash ) const;
   void grow();

   KeyForm const* form_;
};

/// Keys, each with a flag, that are taken out one after the other: the last that came in first, or
/// in the order in which they came.
class VAREK_EXPORT KeyList {
public:
   explicit KeyList( KeyForm const& form ) : form_( &form ) {}
   KeyList( KeyList const& other );
   KeyList( KeyList&& other ) noexcept;
   KeyList& operator=( KeyList other ) noexcept;
   ~KeyList();

   std::size_t size() const { return end_ - first_; }
   bool empty() const { return first_ == end_; }
   void push( void const* key, bool flag = false );
   /// From now on the order is that in which they came.
   void firstComesFirst() { fromFront_ = true; }
   // Of the one that is to be taken next.
   void const* key() const;
   bool flag() const;
   void pop();

private:
   std::size_t stride() const;
   std::byte* at( std::size_t index ) const { return storage_.get() + index * stride(); }
   std::size_t next() const { return fromFront_ ? first_ : end_ - 1; }

   KeyForm const* form_;
   std::unique_ptr<std::byte[]> storage_; // for each the key, and its flag behind it
   std::size_t first_ = 0;
   std::size_t end_ = 0;
   std::size_t capacity_ = 0;
   bool fromFront_ = false;
};

/// The keys whose elements are to be said.
class VAREK_EXPORT DirtyKeys {
public:
   explicit DirtyKeys( KeyForm const& form ) : all_( form ), new_( form ) {}
   KeySet const& all() const { return all_; }
   bool contains( void const* key ) const { return all_.contains( key ); }
   /// Whether the other end may hold the element with \p key, which is one of these.
   bool mayBeHeld( void const* key ) const { return !new_.contains( key ); }
   void insert( void const* key, bool held );
   void erase( void const* key );
   void clear();
   /// Moves all to \p left, each with whether it may be held.
   void moveTo( KeyList& left );

private:
   KeySet all_;
   KeySet new_; // those that the other end does not hold
};

/// How far the full sync of a collection has come.
struct Bookmark {
   bool walking = false;       // by position
   std::uint32_t version = 0;  // of the layout that the position is one of
   std::uint32_t position = 0; // where the walk goes on
   std::size_t sent = 0;       // elements since the begin marker, at most
   /// The keys whose elements are to be said before the end marker, each with whether it may have
   /// been sent: only then, if it is gone by then, that is said.
   KeyList left;
};

} // namespace Internal

namespace NboAttrLog {

/// The keys whose elements changed, and how far an unfinished full sync has come.
///
/// A mark says also whether the other end may hold an element with that key. If it does not, and
/// there is none here any more, nothing has to be said: what came and went leaves no mark. So there
/// are never more marks than the other end knows elements and there are elements now.
struct VAREK_EXPORT KeyedFlow {
   Qel::Internal::DirtyKeys dirty;
   std::optional<Qel::Internal::Bookmark> bookmark;

   explicit KeyedFlow( Qel::Internal::KeyForm const& form ) : dirty( form ) {}
   /// Whether the other end may hold an element with \p key: what the mark says or, if there is
   /// none, \p before, for the time before the change that is being told.
   bool mayBeHeld( void const* key, bool before ) const {
      return dirty.contains( key ) ? dirty.mayBeHeld( key ) : before;
   }
   std::size_t dirtyKeys() const { return dirty.all().size(); }
   /// Whether a full sync that is under way keeps far more keys than have been sent and than the
   /// \p elements that there are: then it costs less to begin it anew.
   bool outgrown( std::size_t elements ) const {
      constexpr std::size_t few = 64;
      return bookmark &&
             bookmark->left.size() + dirtyKeys() > 2 * ( bookmark->sent + elements ) + few;
   }
};

} // namespace NboAttrLog

} // namespace Qel
