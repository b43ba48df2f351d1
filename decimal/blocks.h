// Blocks of bytes: a sort of fixed-size records, moves, bits, hexadecimal text, big-endian fields of a file, and
// fillers of small records.
//
// Services for callers; nothing else in the library needs them. Nothing here keeps state, allocates or reports failure:
// a size, count or length below 1 does nothing or finds nothing. A null pointer is a mistake of the caller where
// nothing is said of it. `bit_assign`, the partner of `bit_test`, stands in foundation/pstrings.h.
#pragma once

#include "foundation/little_endian.h"
#include "zuk/types.h"

#include <stddef.h>

namespace zuk {

// ---- Sorting and blocks ---------------------------------------------------------------------------------------------

// Negative, zero or positive, as the first record sorts before, with or behind the second. `size` is the record's.
using BlockCompareProc = i16 (*)(const void *a, const void *b, i16 size);

// Sort `count` records of `size` bytes in place, by `block_compare_bytes` if `compare` is null. Equal records change
// places, sorted ones take count * count / 2 comparisons, and nothing but the stack is needed: see `sort_range`.
void block_sort(void *base, i16 count, i16 size, BlockCompareProc compare);

// Sort the records from `low` to the one in front of `high`: a quicksort that takes the first record as its pivot. The
// scanned record is always the first argument of `compare`, and the pivot the second. It calls itself for the smaller
// side alone, so the stack stays at some 15 calls whatever the order. A `compare` that contradicts itself leaves the
// records in any order, each still there once. A `size` below 1 or a null `compare` does nothing.
void sort_range(i16 low, i16 high, void *base, i16 size, BlockCompareProc compare);

i16 block_compare_bytes(const void *a, const void *b, i16 size);  // 1, 0 or -1 by the first difference, unsigned
void block_swap(void *a, void *b, i16 size);                      // as byte by byte, should they overlap
void *block_move(void *dest, const void *src, i32 length);        // `dest` ends as `src` was, should they overlap
void *block_find_byte(const void *block, u8 value, i32 length);   // the first byte of that value, null for none

// ---- Bits and hexadecimal -------------------------------------------------------------------------------------------

// Write (length + 1) / 2 bytes from a string of hexadecimal digits, the first of a pair as the high half. A character
// that is no digit counts as 0. For an odd length the cell behind the text is the last digit: callers pad the text.
void hex_to_bytes(u8 *dest, ConstPString text);

// Write (length + 7) / 8 bytes from a string of bits, the first as the top bit of byte 0; "0" is a 0 and any other
// character a 1. The last byte takes eight cells even behind the text.
void bits_from_text(u8 *dest, ConstPString text);

// 1 if bit `number` is set, else 0; bit 0 is the lowest of byte 0. A negative number gives 0.
i16 bit_test(const u8 *bytes, i16 number);

u16 *swap_bytes16(u16 *value);  // in place; the result is `value`

// Shift rows of `width` bits, which take (width + 7) / 8 bytes each, by 1 to 15; another shift does nothing.
// From 8 on the rows, taken as if they lay without gaps, move one byte up; what remains of the shift moves the bits of
// each row, `stride` bytes from the last, down. So the byte behind the last row is read, and from 8 on written.
void bit_rows_shift(u8 *rows, i16 stride, i16 shift, i16 width, i16 height);

// ---- Big-endian fields of a file ------------------------------------------------------------------------------------

// Read at an offset. The plain file operations are used, so the error location tells of the read, and of it alone.
// Bytes that the file does not give are 0, but for `file_read_at`, which leaves them as they were in `buffer`.
i32 file_read_at(FileHandle file, i32 offset, void *buffer, i32 n);  // the result of `file_read`
u8 file_read_byte_at(FileHandle file, i32 offset);
u16 file_read_be16_at(FileHandle file, i32 offset);

// ---- Records --------------------------------------------------------------------------------------------------------

// Small records that callers keep, without a meaning of their own; the same bytes on every target.
//
//   0    2                            34       35       36
//   | id | name as a string of 0 to 31 | flag_a | flag_b |
struct IdNameRecord {
    LeI16 id;
    u8 name[32];
    u8 flag_a;
    u8 flag_b;
};
static_assert(sizeof(IdNameRecord) == 36 && offsetof(IdNameRecord, flag_b) == 35);

//   0   2   4   8
//   | a | b | c |
struct PairRecord {
    LeI16 a;
    LeI16 b;
    LeI32 c;
};
static_assert(sizeof(PairRecord) == 8 && offsetof(PairRecord, c) == 4);

//   0   2   6   10
//   | a | b | c |
struct LongPairRecord {
    LeI16 a;
    LeI32 b;
    LeI32 c;
};
static_assert(sizeof(LongPairRecord) == 10 && offsetof(LongPairRecord, c) == 6);

//   0       8        18      20
//   | first | second | value |
struct BlocksRecord {
    u8 first[8];
    u8 second[10];
    LeI16 value;
};
static_assert(sizeof(BlocksRecord) == 20 && offsetof(BlocksRecord, value) == 18);

//   0        20      56
//   | blocks | third |
struct BlocksExtRecord {
    BlocksRecord blocks;
    u8 third[36];
};
static_assert(sizeof(BlocksExtRecord) == 56 && offsetof(BlocksExtRecord, third) == 20);

// Fill a record, which may stand at any address. A source that is null gives zero bytes; a name is cut to 31
// characters, and the bytes behind it are 0.
void record_id_name_set(void *record, i16 id, ConstPString name, u8 flag_a, u8 flag_b);
void record_pair_set(void *record, i16 a, i16 b, i32 c);
void record_long_pair_set(void *record, i16 a, i32 b, i32 c);
void record_blocks_set(void *record, const void *first, const void *second, i16 value);
void record_blocks_ext_set(void *record, const void *first, const void *second, i16 value, const void *third);

} // namespace zuk
