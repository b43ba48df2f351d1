// Name and body blocks that a caller keeps in memory.
//
// A pinned block is read once; later reads of names or bodies from it are served from memory. One array serves all
// dictionaries, made by `dd_init` and freed by `dd_term`; a record's key holds the platform file, which is never given
// twice, so the records of a closed file are out of reach until `cache_clear`. Writes do not touch the cache: what was
// pinned is served as it was. No lock is taken. Nothing in the library pins; the operations are for its users.
#pragma once

#include "engine/directory.h"

namespace zuk {

struct PinnedBlock {
    u32 kind;             // key
    u32 module;           // key: the whole module number
    u16 type;             // key
    u32 is_name;          // key: 1 for the type's name block, 0 for its body block
    u32 file;             // key: the platform file
    u16 ref_count;        // pins
    u32 base;             // where the block stood in the file when it was pinned
    u32 length;           // bytes held: those in use then
    GHandle handle;
};

bool cache_init();        // an empty array; false without memory
void cache_free();        // the array, not the handles in it

// Pin the name block (`is_name` not 0) or the body block of a type in module `module` + `series` * 16 of the current
// dictionary. 3 when there is no such block, 9 without memory; 0 without a record for 65500 used bytes or more. 15, 3
// or 7 without an open file, 1 for a damaged block; else the status of the reads.
DictStatus cache_pin(i16 series, i32 kind, u32 module, u16 type, u32 is_name);

// Take one pin back, named as for `cache_pin`; 1 if the record was found, else 0. See its KEPT note: only blocks pinned
// once are safe to release.
i16 cache_release(i16 series, i32 kind, u32 module, u16 type, u32 is_name);

// Copy `count` bytes, if above 0, from file offset `pos` to `dest`. 3 when no record holds them, for the file to serve;
// 9 when the data cannot be locked.
DictStatus cache_read(DictFile *file, i32 kind, i32 module, u16 type, u32 is_name, u32 pos, i32 count, void *dest);

void cache_clear();       // forget every record, whatever its pins

i32 cache_find(const DictFile *file, i32 kind, i32 module, u16 type, u32 is_name);  // index, -1 if none

// Count one more pin of a record that stands, whose bytes are not read again; or read `length` bytes from file offset
// `base` into a new one behind all others. 9 without memory, else the status of the read; see its KEPT note.
DictStatus cache_add(DictFile *file, i32 kind, i32 module, u16 type, u32 base, u32 length, u32 is_name);

i32 cache_count();
const PinnedBlock *cache_at(i32 index);  // null when there is none

} // namespace zuk
