// Bytes of a dictionary file by their place in it.
//
// The floor beneath the block table: nothing here knows of blocks. Positions are offsets from the start of the file;
// one with the top bit set gives 12. The caller has the file to itself or holds its lock.
#pragma once

#include "engine/dict_file.h"

namespace zuk {

// The most bytes that are moved, or loaded to be searched, at a time.
// KEPT: one would expect a power of two. It is 36 bytes less, and the number of reads and writes shows it.
// Test: block_move_bytes.takes_65500_bytes_at_a_time
constexpr i32 CHUNK_MAX = 65500;

// Read or write `count` bytes at `pos`. Fewer bytes read or written are no error; what was not read stays in `buffer`.
DictStatus dict_read_at(DictFile *file, u32 pos, void *buffer, i32 count);
DictStatus dict_write_at(FileHandle file, u32 pos, const void *buffer, i32 count);

// Read a string of at most `max` stored bytes, and never more than 80: a name reads as 79 characters at the most.
DictStatus dict_read_name_at(DictFile *file, u32 pos, PString buffer, u32 max);

// Move `count` bytes within the file; the two ranges may overlap. A failure leaves a part of them moved. 0 for a count
// of 0, whatever else is wrong; 1 for a negative count, 12 for a negative position, 6 without an open file, 9 without
// memory. 12 also for a failed seek, whatever its reason, and for more than one chunk of bytes that are not all in the
// file.
DictStatus block_move_bytes(DictFile *file, i32 from, i32 to, i32 count);

// Write `count` zero bytes at `pos`. 9 without memory, and for a negative count.
DictStatus block_extend_file(DictFile *file, u32 pos, i32 count);

// Length of the file in bytes; -1 when it is not known or does not fit 31 bits.
i32 dict_length(DictFile *file);

} // namespace zuk
