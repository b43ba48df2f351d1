// Owners in memory: which series holds an identifier of kind 1.
//
// For each resource type from 1 to 64 and each of three ranges of identifiers there can be a table with one byte for
// each identifier. A file without tables knows no owner. Changes are made in memory; `core_table_write` (resources.h)
// puts a table back into the file.
//
//   range   identifiers        position in the table
//   0       below 20000        the identifier itself
//   1       20000 to 21999     identifier - 19999
//   2       22000 and above    identifier - 21999
//
// Pointers to a table hold until one of its file grows or is detached. A borrowed table belongs to file 0 of the same
// slot, and is asked for there each time. `dd_get_owner` and `dd_choose_owner` are declared in zuk/zuk.h.
#pragma once

#include "engine/dict_set.h"

namespace zuk {

constexpr i32 CORE_TYPE_MAX = 64;

// Make the empty array of rows. 9 without memory.
DictStatus core_tables_init(DictFile *file);

i16 current_owner_get();

i32 core_id_range(i16 id, i32 *position);             // range 0, 1 or 2; `position` may be null
i16 core_table_size(i32 type);                        // capacity of a new table and its growth; 0: no table
i32 default_core_type(i32 type);                      // the core type where a resource type normally lies

// Null when there is none: outside types 1 to 64 and ranges 0 to 2, and for a damaged table.
CoreTable *core_table_at(const DictFile *file, i32 type, i32 range);
u8 *core_owners(CoreTable *table);                    // the owner bytes, by position
// Own a table; or say that it is borrowed, which forgets a handle of its own. Nothing outside those types and ranges.
void core_table_attach(DictFile *file, i32 type, i32 range, GHandle handle);
void core_table_borrow(DictFile *file, i32 type, i32 range, CoreTable *table);
// Let go of a table, whose handle stays recorded; the handle, 0 for a borrowed or absent table.
GHandle core_table_detach(DictFile *file, i32 type, i32 range);

// Room for `position` at least. 9 when the table is absent or borrowed, or without memory: then it is absent.
DictStatus core_table_grow(DictFile *file, i32 range, i32 type, i32 position);

// Record the owner of an identifier; CORE_FREE frees it. The table grows as `core_table_grow` does where it must, with
// its 9. 3 without a table or below range 0; types 52 to 54 do nothing.
DictStatus core_owner_set(DictFile *file, u16 type, i16 id, u8 owner);

// In use over the three ranges, as the counters of the tables tell, in 16 bits.
i16 core_used_count(const DictFile *file, u16 type);
i32 core_id_at(const DictFile *file, u16 type, i32 position);    // the one at a position from 1, 0 if none
i16 core_position_of(const DictFile *file, u16 type, i16 id);    // its position, 0 if it is free

} // namespace zuk
