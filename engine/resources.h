// The resource operations beside the exported ones (zuk/zuk.h): the pieces that reads and writes share, reads into a
// caller's buffer, and what only the engine itself writes.
//
// engine/read.cpp and engine/write.cpp hold them all. Both work on the current dictionary and take the lock of the file
// for the length of one operation; one that is called under a lock takes none and frees none. `id` is 16 bits wide
// wherever it comes in wider.
#pragma once

#include "engine/core_tables.h"
#include "engine/directory.h"

namespace zuk {

enum ReadFlags : i32 {
    READ_STORED_FORM = 4,       // leave the conversion of the body out
    READ_NO_REDIRECT = 16,      // select the file as for identifier 20000
};

// Types 2 and 23 stand for the modules themselves: their identifiers are module numbers.
constexpr bool type_is_module(u16 type) { return type == 2 || type == 23; }

// The whole number of a module of kind 1. Callers may hand in any number, so the sum wraps.
constexpr i32 module_in_series(i32 core_type, i32 series) { return (i32)((u32)core_type + (u32)series * 16); }

// ---- Shared by reads and writes -------------------------------------------------------------------------------------

// The whole module number: `module` itself, but for kind 1 with the series that owns the identifier. Without an owner
// `*status` becomes 3 and the result is `module`; else `*status` stays.
i32 resource_module(DictFile *file, i32 kind, i32 module, u16 type, i16 id, DictStatus *status);

// The identifier, or module number, of that name; 0 if there is none or the lock cannot be had. For kind 1 the seven
// series from `module` on are searched.
i32 resource_id_by_name(DictFile *file, i32 kind, i32 module, u16 type, ConstPString name);

// The block of a type's names (BLOCK_NAMES) or bodies (BLOCK_BODIES). 3 for any other block, the three that every file
// begins with among them: only a damaged directory names one.
DictStatus type_block_read(DictFile *file, u32 block, BlockType type, BlockEntry *out);

// Where a body or a name stands in the file. 3 when anything is missing or lies outside its block.
DictStatus resource_locate(DictFile *file, i32 kind, i32 module, u16 type, i16 id, u32 *pos, i32 *len);
DictStatus name_locate(DictFile *file, i32 kind, i32 module, u16 type, i16 id, u32 *pos, i32 *len);

// A length that only a damaged directory tells: no memory is asked for what the file cannot hold. Bodies of one chunk
// at most are not looked at, and cost no call of the system.
bool body_is_beyond_file(DictFile *file, u32 pos, i32 len);

// The bytes of a body, from the pinned cache or the file. What would lie behind the end of the file stays as it was in
// `buffer`, with status 0: callers hand in zeros.
DictStatus resource_fetch(DictFile *file, i32 kind, i32 module, u16 type, u32 pos, i32 len, void *buffer);

// ---- Reads into a buffer that is large enough -----------------------------------------------------------------------

// As `dd_getresourcehndl`, `dd_getnresourcehndl` and `dd_getnamedreshndl`, with the status as result. 3 also for a
// position or a name that does not exist; the one by name selects without the redirect.
DictStatus dd_read_into(i32 kind, i32 module, u16 type, u16 id, void *buffer, i32 flags);
DictStatus dd_nread_into(i32 kind, i32 module, u16 type, i16 n, void *buffer, i32 flags);
DictStatus dd_read_named_into(i32 kind, i32 module, u16 type, ConstPString name, void *buffer, i32 flags);

// ---- Writes of the engine itself ------------------------------------------------------------------------------------

// Store the flags of a resource and its directory. The caller holds the write lock; the block table is not flushed. 3
// for a resource that does not exist, in kind 1 also for an identifier without an owner; 15, 3 or 7 without an open
// file; else the status of the directory's write.
DictStatus dd_set_resource_flags(i32 kind, i32 module, u16 type, u32 id, u8 flags);

// Put a core table of the current dictionary back as the resource that it is. 0 with nothing done for a table that is
// borrowed or absent.
DictStatus core_table_write(DictFile *file, i32 type, i32 range);
constexpr i32 CORE_TABLES_MODULE = 10;       // of kind 1, in series 0
constexpr u16 CORE_TABLES_TYPE = 52;         // and the two behind it, one for each range

} // namespace zuk
