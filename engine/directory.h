// The directory of a module: its resource types and its resources.
//
// A directory is edited in memory, in a handle as large as its block, and reaches the file only through
// `directory_write`. It enters the cache on first use and stays until the file is closed, the module table is loaded
// again, or `directory_drop`. Built on engine/module_table.h.
//
// Between calls, for each directory in memory:
//   - TypeEntry records are strictly ascending by type
//   - a type's slots are one run from `first_slot` on, inside the first `assigned_slots`; runs do not overlap
//   - within a run, entries are strictly ascending by id, and zeroed slots follow them
// A directory that breaks the rule of the runs is not loaded. Pointers into a directory hold until the next operation
// that extends or drops one, registers or removes a module, or takes a lock.
// `index` is the module's table index; the caller holds the write lock for all that changes a directory.
#pragma once

#include "engine/module_table.h"

namespace zuk {

constexpr u16 RESOURCE_ABSENT = 0xFFFF;   // the index of a resource that is not there

// ---- Directories ----------------------------------------------------------------------------------------------------

// A block with an empty directory for a module of kind 1, 2 or 3; its number, 0 on failure with the status.
u32 directory_new(DictFile *file, i32 kind, i32 module, DictStatus *status);

ModuleDirectory *directory_get(DictFile *file, i16 index);           // loaded on demand; null on failure
GHandle directory_get_handle(DictFile *file, i16 index);             // the same as a handle
void directory_attach(DictFile *file, i16 index, GHandle handle);
void directory_drop(DictFile *file, i32 kind, i32 module);
DictStatus directory_load(DictFile *file, i16 index);                // 0 or 3

// Make room for `bytes` more. A failure may still have taken the room that was free.
DictStatus directory_extend(DictFile *file, i16 index, i32 bytes);

DictStatus directory_write(DictFile *file, ModuleDirectory *directory, u32 block);
DictStatus directory_save(DictFile *file, i32 kind, i32 module);

i32 directory_size(const ModuleDirectory *directory);                // bytes in use

// ---- Types ----------------------------------------------------------------------------------------------------------

i16 type_find(const ModuleDirectory *directory, i16 type);           // index, -1 if absent
i16 type_insert_pos(const ModuleDirectory *directory, i16 type);     // where it would go, -1 if it exists
TypeEntry *type_entry(ModuleDirectory *directory, i16 type);         // null if absent
TypeEntry *type_at(ModuleDirectory *directory, i32 index);           // null if there is none

// Give a module a new type with its two blocks and its first slots. 2 if the type exists, 13 when the counters of the
// directory are full, 9 when a block could not be had, 3 without the module.
DictStatus type_add(DictFile *file, i16 index, i16 type);
DictStatus type_add_slots(DictFile *file, i16 index);                // five more TypeEntry slots

// ---- Resources ------------------------------------------------------------------------------------------------------

// The run of a type: its first entry, null if the module or the type is missing. The three outs may be null.
ResourceEntry *resource_range(DictFile *file, i16 index, i16 type, u16 *count, u32 *name_block, u32 *body_block);
ResourceEntry *resource_run(ModuleDirectory *directory, const TypeEntry *type);   // the same in a directory at hand
u16 resource_find(const ResourceEntry *entries, u16 count, i16 id);         // index, RESOURCE_ABSENT
i32 resource_insert_pos(const ResourceEntry *entries, u16 count, i16 id);   // where it would go, -1 if it exists

ResourceEntry *resource_entry(DictFile *file, i16 index, i16 type, i16 id, u32 *name_block, u32 *body_block);
ResourceEntry *resource_entry_at(DictFile *file, i16 index, i16 type, i32 position, u32 *name_block, u32 *body_block);

// `slot_unit` more slots for a type. 13 when the counters of the directory are full.
DictStatus resource_add_slots(DictFile *file, i16 index, i16 type);

// Enter a resource whose name and body will go behind the used parts of the type's blocks; neither is written here. The
// type is made if it is missing. 2 if the id exists.
DictStatus resource_add_entry(DictFile *file, i32 kind, i32 module, i16 type, i16 id, u8 name_size, i32 body_size);
DictStatus resource_remove_entry(DictFile *file, i32 kind, i32 module, i16 type, i16 id);

// After the name (body) of `id` has grown by `delta`, correct the offsets of those that lie behind it.
DictStatus resource_shift_names(DictFile *file, i32 kind, i32 module, i16 type, i16 id, i32 delta);
DictStatus resource_shift_bodies(DictFile *file, i32 kind, i32 module, i16 type, i16 id, i32 delta);

// The id of the resource of that name, 0 if none; then where its body stands. `body_size` is left alone when the body
// would end behind its block. Both outs may be null.
i16 resource_find_by_name(DictFile *file, i32 kind, i32 module, i16 type, ConstPString name, u32 *body_offset,
                          i32 *body_size);

// The index of the entry of that name among `count`, -1 if none. A read that fails ends the scan and gives its status.
i32 resource_scan_names(DictFile *file, const ResourceEntry *entries, u16 count, ConstPString name, u32 name_block,
                        i16 *id, DictStatus *status);

DictStatus resource_set_flags(DictFile *file, i32 kind, i32 module, i16 type, i16 id, u8 flags);
void resource_mark(DictFile *file, i32 kind, i32 module, i16 type, i16 id);  // sets bit 0x80

// ---- Single fields by coordinates -----------------------------------------------------------------------------------

// 0 when anything on the way is absent, but -1 for the two offsets.
u32 type_name_block(DictFile *file, i32 kind, i32 module, i16 type);
u32 type_body_block(DictFile *file, i32 kind, i32 module, i16 type);
u16 type_resource_count(DictFile *file, i32 kind, i32 module, i16 type);
i32 resource_name_offset(DictFile *file, i32 kind, i32 module, i16 type, i16 id);
u8 resource_name_size(DictFile *file, i32 kind, i32 module, i16 type, i16 id);
i32 resource_body_offset(DictFile *file, i32 kind, i32 module, i16 type, i16 id);
i32 resource_body_size(DictFile *file, i32 kind, i32 module, i16 type, i16 id);
DictStatus resource_set_name_size(DictFile *file, i32 kind, i32 module, i16 type, i16 id, u8 size);
DictStatus resource_set_body_size(DictFile *file, i32 kind, i32 module, i16 type, i16 id, i32 size);

// ---- Modules with all that is in them -------------------------------------------------------------------------------

// Free the blocks of every type, take the module out of the table, free its directory. 3 when it is missing.
DictStatus module_delete(DictFile *file, i32 kind, i32 module);

// ---- Growth ---------------------------------------------------------------------------------------------------------

i16 block_unit(u16 block_type, i16 type);   // bytes a name or body block grows by; 0 for another block type
u16 slot_unit(i16 type);                    // slots a type gains at a time

} // namespace zuk
