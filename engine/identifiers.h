// The next free identifier.
//
// Nothing is reserved: an identifier stays free until a resource is added under it, and two calls give the same. Kind 1
// goes by the core tables, kinds 2 and 3 by the sorted identifiers of the module's directory, types 2 and 23 by the
// module table. `dd_uniqueid`, declared in zuk/zuk.h, gives those of the global range; here stand those of the local
// range and the pieces. The pieces run under the read lock of their caller; a table that is full grows and is written.
#pragma once

#include "engine/core_tables.h"

namespace zuk {

// As dd_uniqueid, from 20000 on; 0 without the lock or an open file, too. `module` counts for kinds 2 and 3 alone.
i16 dd_local_uniqueid(i32 kind, i32 module, u16 type);

// Kind 1. Each gives a number, also when the table is absent or cannot grow: results in 16 bits.
i16 core_next_id(DictFile *file, u16 type);               // from `lowest_id` on: range 2 or, for the main product, 0
i16 core_next_local_id(DictFile *file, u16 type);         // from 20000 on: range 1
// Range 0 of the current dictionary, from position 1 on whatever `lowest_id` is. 0 without an open file. No lock.
i16 core_next_id_current(u16 type);

// From `lowest_id` and from 20000 on. The first of them when there is no such type or module.
i16 resource_next_id(DictFile *file, i32 kind, i32 module, u16 type);        // kinds 2 and 3
i16 resource_next_local_id(DictFile *file, i32 kind, i32 module, u16 type);

} // namespace zuk
