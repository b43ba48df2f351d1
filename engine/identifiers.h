// The next free identifier.
//
// Nothing is reserved: an identifier stays free until a resource is added under it, and two calls give the same. Kind 1
// goes by the core tables, kinds 2 and 3 by the sorted identifiers of the module's directory, types 2 and 23 by the
// module table. `dd_uniqueid`, declared in zuk/zuk.h, gives those of the global range; here stand those of the local
// range and the pieces. The pieces run under the read lock of their caller; a table that is full grows and is written.
#pragma once

#include "engine/core_tables.h"

namespace zuk {

i16 dd_local_uniqueid(i32 kind, i32 module, u16 type);    // as dd_uniqueid, from 20000 on

i16 core_next_id(DictFile *file, u16 type);               // kind 1, range 2 or, for the main product, 0
i16 core_next_local_id(DictFile *file, u16 type);         // kind 1, range 1
i16 core_next_id_current(u16 type);                       // range 0 of the current dictionary, from position 1

i16 resource_next_id(DictFile *file, i32 kind, i32 module, u16 type);        // kinds 2 and 3
i16 resource_next_local_id(DictFile *file, i32 kind, i32 module, u16 type);

} // namespace zuk
