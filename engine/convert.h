// Hooks at each point where bytes pass between the file and memory.
//
// The file is little-endian and the records are edited as bytes, so no hook changes anything. They mark the places, and
// the dispatch by resource type says what the engine knows of the layout of bodies.
#pragma once

#include "engine/records.h"

namespace zuk {

void header_to_file(DictHeader *header);
void header_from_file(DictHeader *header);
void block_entries_to_file(BlockEntry *entries, u32 count);
void block_entry_from_file(BlockEntry *entry);
ModuleTable *module_table_to_file(ModuleTable *table);     // the same table
ModuleTable *module_table_from_file(ModuleTable *table);
void directory_to_file(ModuleDirectory *directory);
void directory_from_file(ModuleDirectory *directory);

// A body arrives from the file, or goes to it. `data` is the locked body, or null: then `handle` is locked here. With
// `data`, `handle` may be 0. A type outside 0 to 64 is ignored.
void resource_from_file(GHandle handle, i16 type, void *data);
void resource_to_file(GHandle handle, i16 type, void *data);

// How many items of a known size the dispatch sees in a body of `type` and `size` bytes; 0 for every other layout.
i32 resource_item_count(i16 type, i32 size);

} // namespace zuk
