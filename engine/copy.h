// Copies of modules between two open dictionaries.
//
// A module travels as its directory and, for each type, its name block and its body block. Only the used bytes are
// copied, so that a dictionary rebuilt by copying is packed. The name goes the way of every new module. No lock is
// taken, the current dictionary plays no part, and the core tables in memory stay as they are: the caller has both
// files to itself, and rebuilds the owners (`dict_reset_core_tables`) where they matter.
#pragma once

#include "engine/cookies.h"
#include "engine/directory.h"

namespace zuk {

// Copy a module. With `keep`, and always for kind 1, it keeps its number and replaces one of that number; else it gets
// the next free one; so does a missing module that is not of kind 1. `name` null: the name of the source. The result is
// the number in the destination, whatever the status (null if it is not wanted): 3 for a missing module, 2 when its
// number or name is taken, 13 without a block, 1 for bytes that could not be copied, and what the files gave.
i16 module_copy(DictFile *source, DictFile *destination, i32 kind, u32 module, u16 keep, ConstPString name,
                u32 reserved, DictStatus *status);

// The same for file `other_selector` of each cookie. 0 when a file cannot be had: with 3, 7 or 15, but for a cookie of
// slot 0, which leaves `status` alone.
i16 dict_copy_module(const DictCookie *source, const DictCookie *destination, i32 kind, u32 module, u16 keep,
                     ConstPString name, u32 reserved, DictStatus *status);

// Copy the modules of kind 1 with core type 1, 2, 5, 6 and 10, of every series. The status is that of the last one,
// which is missing as a rule: 3.
DictStatus dict_copy_base_modules(const DictCookie *source, const DictCookie *destination);

// ---- Pieces ---------------------------------------------------------------------------------------------------------

// Give the resources of type 2 or 23 in a directory the number of their module. Nothing for another type or with
// `keep`.
void module_renumber_self(i32 number, i16 type, ModuleDirectory *directory, u16 keep);

// Copy the used part of a block into a new block of another file, and flush that file's table. 13 without a block, 1
// when the bytes cannot be copied. `new_block` is 0 if none was allocated; else it is taken, also after a failure.
DictStatus block_copy_to(DictFile *from, DictFile *to, u32 block, u32 *new_block);

// Copy bytes between files, at positions; those of the destination must exist. 1, or 0 with perhaps a part of them
// copied.
i16 file_copy_between(FileHandle source, FileHandle destination, i32 from, i32 to, i32 count);

} // namespace zuk
