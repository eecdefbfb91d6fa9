#pragma once

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "framework/declare/Declare.h"

/// A tree to be mirrored: many answers under one root.
namespace Bench {

extern Varek::ModuleInspectData const benchModule;

class Holder final : public Qel::EntityOf<Holder> {
   QEL_ENTITY( Holder, benchModule, 0 )
   QEL_PARAMETER( 258, std::uint32_t, number )
   QEL_CHILD( 259, Dot1xV2::AaaResponse, aaaResponse )
};

class Table final : public Qel::EntityOf<Table> {
   QEL_ENTITY( Table, benchModule, 1 )
   QEL_CHILDREN( 258, Holder, holder, 0x5D2F0B71 )
};

} // namespace Bench
