// Handle memory: a stable 32-bit number for each resizable block.
//
// A handle is an index, from 1 on, into a table of records that never move. The record holds the address of the data,
// which only `grealloc` changes; the 32-bit word just in front of the data holds the handle, so that a pointer leads
// back to it. Blocks are never locked: a pointer holds until the next `grealloc` or `gfree` of its handle. The exported
// six (`galloc`, `gfree`, `grealloc`, `glock`, `gunlock`, `gsize`) are declared in zuk/zuk.h.
//
// Between calls:
//   - 0, a number never given and the number of a freed handle are refused by every operation: 0 or nothing
//   - the number of a freed handle comes back only after some thousand other handles were freed
//   - the data are aligned for any type, and 16 bytes behind the last one belong to the block too
//   - a live handle is lost only by its owner: nothing is ever freed implicitly
// One thread at a time. Memory comes from `platform_memory`; the table itself is kept until the process ends.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

// The handle whose data begin at `data`; 0 for null. `data` must come from `glock`.
GHandle ghandle(const void *data);

// `glock` with a test for 0 of its own ahead of it.
void *glock_checked(GHandle handle);

// A copy with the same size and bytes; 0 for 0 or when memory is short.
GHandle gdup(GHandle handle);

// A handle with a copy of `length` bytes (0 to 32767) of `source`; a negative length gives 0.
GHandle ghandle_from_bytes(const void *source, i16 length);

// Copy all of a handle's bytes to `dest`, which must hold `gsize` of them. The result is `dest`.
void *ghandle_to_bytes(void *dest, GHandle handle);

// A zero-filled block of `size` + 1 bytes, known by its address alone (which is even, no more); null on failure.
// `size` + 1 is a 16-bit sum, so 32767 fails. `unused` counts for nothing.
void *str_alloc(i32 unused, i16 size);
void str_free(void *text);  // null is ignored; anything else must come from `str_alloc`

// Hooks around a callback that is handed to another operation: the pointer as it is, and nothing.
using AnyProc = void (*)(void);
AnyProc proc_instance_make(AnyProc proc);
void proc_instance_free(AnyProc proc);

// How many handles are alive, for leak tests: the table refers to every live block, so a leak checker sees none of
// them as lost. A handle lost by a failed `grealloc` stays alive.
u32 handles_alive();

} // namespace zuk
