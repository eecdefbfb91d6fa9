#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Qel/Entity.h"
#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "framework/records/Records.h"
#include "framework/wire/AttrLog.h"

/// The contents of a new entity, as the frame that announces it tells them: everything that is not
/// at its default, with the children that are below it and what they hold. So a record of usual size
/// is one message, and what is not mentioned is at its default or empty.
///
///     contents of the entity    varint given, varint later, varint size, values of that size, the rest
///     contents of a child       varint given, varint size, values of that size, the rest
///     one value                 its form
///     values by key             varint count, each in its form
///     child                     U32 handle, its parameter, varint size, contents of that size
///     children by key           varint count, each as a child
///
/// The given values come first, then the given collections and children, each in id order.
/// Given and later are masks: bit 0 stands for field id 258, bit 1 for 259, and so on. What comes
/// later follows in messages of its own.
namespace Qel {

struct KeyedLog;

/// The bit of an attribute in the masks.
constexpr std::uint64_t contentsBit( Varek::FieldId id ) {
   return std::uint64_t{ 1 } << ( ( id.value() - Varek::firstEntityFieldId.value() ) & 63 );
}

/// Writes the contents of new entities. Keeps its memory from one to the next.
class VAREK_EXPORT ContentsOut {
public:
   /// What the stream that is written to says about entities and types.
   class Names {
   public:
      /// An entity's name on the stream, and the number under which the stream keeps it.
      struct Name {
         std::uint32_t handle;
         std::uint32_t place;
      };
      /// For \p child of the entity at \p parent, which is new to the stream; all 0 if it cannot be
      /// told as part of its parent, but only by itself.
      virtual Name newName( std::uint32_t parent, Entity& child, TypeRecord const& ) = 0;
      /// The attributes of the type that are told even at their default.
      virtual std::uint64_t always( TypeRecord const& ) const = 0;

   protected:
      ~Names() = default;
   };

   /// Looks at \p entity and what is below it. Attributes that make the contents larger than
   /// \p limit bytes come later.
   void entityIs( Entity& entity, TypeRecord const&, std::uint32_t place, Names&,
                  std::size_t limit );
   /// What entityIs() has found; nothing may have changed since.
   std::size_t size() const { return size_; }
   std::uint8_t* put( std::uint8_t* to );
   std::uint64_t later() const { return later_; }
   /// Calls \p visit( place ) for each entity below that is told.
   template<class Visit>
   void forEachBelow( Visit visit ) const {
      for ( std::size_t i = 1; i < parts_.size(); ++i ) {
         visit( parts_[i].name.place );
      }
   }

private:
   struct Part {
      Entity* entity;
      TypeRecord const* type;
      Names::Name name;
      std::uint64_t given;
      std::size_t values;
      std::size_t size;
   };
   static constexpr std::size_t tooLarge = ~std::size_t{ 0 };
   static constexpr unsigned maxDepth = 8;

   std::size_t measured( std::size_t part, unsigned depth );
   std::size_t sizeOf( std::size_t part, unsigned index, unsigned depth );
   std::size_t sizeOfChild( std::uint32_t parent, Entity& child, TypeRecord const&,
                            unsigned depth );
   std::size_t valuesLeft( std::uint64_t& given );
   std::uint8_t* putPart( std::uint8_t* to );
   std::uint8_t* putHolder( std::uint8_t* to, Entity const&, KeyedLog const* );
   std::uint8_t* putChild( std::uint8_t* to );

   std::vector<Part> parts_; // in the order in which they are written
   Names* names_ = nullptr;
   std::size_t limit_ = 0;
   std::size_t size_ = 0;
   std::uint64_t later_ = 0;
   std::size_t next_ = 0; // to be written
};

/// Who is told of what contents say about entities and not about values.
class VAREK_EXPORT ContentsReceiver {
public:
   /// \p child has come, or is there already, under \p parent; the other side calls it \p handle.
   virtual void childCame( Entity& parent, Entity& child, TypeRecord const&,
                           std::uint32_t handle ) = 0;
   /// A child that has gone again before its contents came.
   virtual void childLost( std::uint32_t handle ) = 0;
   /// Attributes that are not known here, and perhaps entities in them.
   virtual void unknownSkipped( unsigned attributes ) = 0;

protected:
   ~ContentsReceiver() = default;
};

/// Applies the contents of sa's entity, which come next and end \p in. \p isNew: the entity was made
/// for this message, so all is at its default. Throws as doHandleAttrDeserialization() does; of a
/// faulty message the attributes before the fault stay applied.
VAREK_EXPORT void contentsApply( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in, bool isNew,
                                 ContentsReceiver& );

} // namespace Qel
