// The numbered blocks of a dictionary file.
//
// Above this unit a place in the file is a block number, and a number stays when its block moves.
// Built on engine/block_io.h; used by module_table, directory, pinned_cache, read and write.
//
// Between calls:
//   - entry i describes block i + 1; number 0 is no block
//   - free_entries counts the entries of type BLOCK_FREE, with or without space
//   - the table in memory runs ahead of the file until block_table_flush; a page, once loaded, stays
// The caller holds the write lock or has the file to itself. Pointers into pages never leave this unit.
#pragma once

#include "engine/block_io.h"

namespace zuk {

// The entry at `index` (block number - 1). 3 for an index outside the table, 9 without memory for its page.
DictStatus block_read_entry(DictFile *file, u32 index, BlockEntry *out);

// The entry of a block that must be of `type`; 3 if there is no such block. A damaged directory may name any.
DictStatus block_read_typed(DictFile *file, u32 block, u16 type, BlockEntry *out);

// Store an entry in its page, which is then dirty. The table's own entry also sets `table_offset` and writes the
// header.
DictStatus block_write_entry(DictFile *file, u32 index, const BlockEntry *in);

// A block of `type` with at least `need` bytes, all of them free: the first free piece that is large enough, else new
// bytes at the end of the file. Its number, 0 on any failure. Neither the header nor the table is written; growing the
// file closes and opens it again, which gives up every lock on it.
u32 block_allocate(DictFile *file, u16 type, i32 need);

// Give a block back. 3 for number 0, a number above the table, a block that is free already, and the blocks that every
// file stands on (1, 2 and the table's own). The table and the header are written.
DictStatus block_free(DictFile *file, u32 block);

// Give a block room for `new_size` bytes; its number stays. At the end of the file it grows where it stands and the
// caller writes `entry`; anywhere else it moves. After a failure the old entry and the old bytes still stand, and a
// block already taken for the move stays taken. 13 without room; 12 for a block that is not all in the file, and 1 for
// one with more bytes free than it has, or that would shrink.
DictStatus block_grow(DictFile *file, u32 block, BlockEntry *entry, u32 new_size);

// Replace `old_len` bytes at `pos` in the used part of a block by `new_len` bytes of `data`, and move what lies behind.
// `unit` is what the block grows by; 0 when it cannot have to. A failure ends the work where it is, and the entry still
// tells the old length. 1 when the bytes do not lie in the used part, 12 for a block that is not all in the file.
DictStatus block_splice(DictFile *file, u32 block, const void *data, i32 pos, i32 new_len, i32 old_len, i16 unit);

// The whole block, its free tail included, in a new unlocked handle; 0 on failure, with the status, which is 12 for a
// block that is not all in the file. `label` is for people who look at memory; it has no effect.
GHandle block_read(DictFile *file, u32 block, ConstPString label, DictStatus *status);

// Write the dirty pages. The first failing write ends it; that page counts as written all the same.
DictStatus block_table_flush(DictFile *file);

// Rewrite the table's own entry, and so the header, then flush. 1 if the entry cannot be read, else 0, whatever the
// flush did.
DictStatus block_table_update_self(DictFile *file);

DictStatus block_cache_init(DictFile *file);   // an empty cache; 1 for null, 9 without memory
DictStatus block_cache_close(DictFile *file);  // flush, drop, free; the status of the flush
void block_cache_drop(DictFile *file);         // forget every page, dirty or not

// ---- Inside the unit, open to its tests -----------------------------------------------------------------------------

constexpr u32 PAGE_ENTRIES = 64;

DictStatus block_page_find(DictFile *file, u32 index, BlockPage **page);    // 3 when no page holds it
DictStatus block_page_load(DictFile *file, u32 index);                      // 3 outside table or file, 9 no memory
DictStatus block_page_get(DictFile *file, i32 page_no, BlockPage **page);   // 1 outside the table
bool block_find_empty(DictFile *file, BlockEntry *out, u32 *index);         // the first empty entry
DictStatus block_table_grow(DictFile *file, u32 wanted);                    // to `wanted` entries, or by 256 for 0

} // namespace zuk
