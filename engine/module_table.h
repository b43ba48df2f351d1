// The modules of a dictionary file: the sorted table of block 1 and the list of their names.
//
// A module is found by kind and number, and stands at a table index, a signed 16-bit number. Its directory
// (engine/directory.h) is cached at the same index. Built on engine/block_table.h.
//
// Between calls:
//   - entries are strictly ascending by kind and module, in front, without holes; zeroed spare entries follow
//   - `directories` has one pair for each of them, used or spare
//   - a null `module_table` reads as a table without modules
// Entries and directories move with each registration, removal and reload: callers keep indices and coordinates, and
// ask again. The caller holds the write lock for all that changes the table.
#pragma once

#include "engine/block_table.h"

namespace zuk {

constexpr i16 MODULE_ABSENT = -1;   // the index 0xFFFF of a module that is not there

// ---- Finding --------------------------------------------------------------------------------------------------------

// -1 if the entry sorts behind the key, 1 if before it, 0 if equal.
i32 module_compare(i32 key_kind, i32 key_module, i32 entry_kind, i32 entry_module);

i16 module_find(const DictFile *file, i32 kind, i32 module);         // index, MODULE_ABSENT if there is none
i16 module_insert_pos(const DictFile *file, i32 kind, i32 module);   // where it would go; -1 if it exists

i16 module_count(const DictFile *file, i32 kind);                    // modules of the kind
i32 module_at(const DictFile *file, i32 kind, i32 position);         // number at a position from 1, 0 if none
i16 module_position(const DictFile *file, i32 kind, i32 module);     // position of a number; see its KEPT notes

// The module of that name, 0 if there is none.
i32 module_find_by_name(DictFile *file, i32 kind, ConstPString name);

i32 module_next_id(const DictFile *file, i32 kind);        // first number not in use from `lowest_id` on
i32 module_next_local_id(const DictFile *file, i32 kind);  // the same from 20000 on

ModuleEntry *module_entry(const DictFile *file, i16 index);          // null when there is none
u32 module_directory_block(const DictFile *file, i16 index);         // 0 when there is none

// Where the name of a module stands in the file. 3 if the module or the place of its name is missing.
DictStatus module_name_location(DictFile *file, i16 index, u32 *offset, i32 *size);
DictStatus module_read_name(DictFile *file, i16 index, PString buffer);

// ---- Changing -------------------------------------------------------------------------------------------------------

// A new module with an empty directory. 2 when the number or the name is taken; the directory's block then stays taken.
DictStatus module_create(DictFile *file, i32 kind, i32 module, ConstPString name);

// Enter a module whose directory stands in `directory_block`: its name goes to the list, its entry to the table. 2 when
// the number or the name is taken, 13 when the table can count no more modules; else what the list of names or the
// loading of the directory gives.
DictStatus module_register(DictFile *file, i32 kind, i32 module, u32 directory_block, ConstPString name);

// Take a module out of the table and its name out of the list. Its blocks stay. 3 when it is missing.
DictStatus module_unregister(DictFile *file, i32 kind, i32 module);

// Give a module another name, cut to 79 characters. A failure before the name is written changes nothing.
DictStatus module_rename(DictFile *file, i32 kind, i32 module, ConstPString name);

// The words of a module number of kind 1: series, then core type. The result is `buffer`.
PString module_default_name(i32 module, PString buffer);
PString module_core_name(PString buffer, i32 module);      // "Core Module " and the number

// ---- Start and end --------------------------------------------------------------------------------------------------

// Read block 1 and make the empty cache of directories. 4 for a table that does not fit its block, 9 without memory.
DictStatus module_table_load(DictFile *file);
void module_table_release(DictFile *file);                 // free the table and all cached directories
DictStatus module_table_write(DictFile *file);             // block 1 grows first if the table has grown

// How to make text of a fixed part and a number, for labels and names. The result is `dest`.
PString text_with_number(PString dest, const char *text, i32 number);

} // namespace zuk
