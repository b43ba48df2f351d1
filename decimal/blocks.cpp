#include "decimal/blocks.h"

#include "files/file.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"

#include <string.h>

namespace zuk {

// ---- Sorting and blocks ---------------------------------------------------------------------------------------------

void block_sort(void *base, i16 count, i16 size, BlockCompareProc compare)
{
    if (size < 1) return;

    if (!compare) compare = block_compare_bytes;
    BlockCompareProc made = (BlockCompareProc)proc_instance_make((AnyProc)compare);
    if (!made) return;

    sort_range(0, count, base, size, made);
    proc_instance_free((AnyProc)made);
}

static u8 *record_at(void *base, i16 index, i16 size)
{
    return (u8 *)base + (ptrdiff_t)index * size;
}

// KEPT: one would expect a pivot from the midst, and equal records to stay in their order. The pivot is the first
// record, so that sorted records take the most comparisons of all, and records equal to it are swapped across. Callers
// see it in the order of equal records and in the calls of `compare`, whose first argument is the scanned record.
// Test: sort_range.takes_the_most_comparisons_for_sorted_records, Test: sort_range.is_not_stable,
// Test: sort_range.gives_the_scanned_record_first
void sort_range(i16 low, i16 high, void *base, i16 size, BlockCompareProc compare)
{
    if (size < 1 || !compare) return;

    while (high - low > 1) {
        u8 *pivot = record_at(base, low, size);
        i16 i = low;
        i16 j = high;
        for (;;) {
            // Each scan looks at its bound first: no comparison leads it out of the range.
            i++;
            while (i < high && compare(record_at(base, i, size), pivot, size) < 0) i++;
            j--;
            while (j > low && compare(record_at(base, j, size), pivot, size) > 0) j--;
            if (j <= i) break;
            block_swap(record_at(base, i, size), record_at(base, j, size), size);
        }

        // The pivot is the smallest already: no call for a side with nothing in it.
        if (j == low) {
            low++;
            continue;
        }

        block_swap(pivot, record_at(base, j, size), size);
        i32 left_size = j - low;
        i32 right_size = high - j - 1;
        if (right_size > left_size) {
            sort_range(low, j, base, size, compare);
            low = (i16)(j + 1);
        } else {
            sort_range((i16)(j + 1), high, base, size, compare);
            high = j;
        }
    }
}

i16 block_compare_bytes(const void *a, const void *b, i16 size)
{
    if (size < 1) return 0;

    int order = memcmp(a, b, (size_t)size);
    return (i16)((order > 0) - (order < 0));
}

void block_swap(void *a, void *b, i16 size)
{
    u8 *left = (u8 *)a;
    u8 *right = (u8 *)b;
    i32 i = 0;

    // Eight bytes at once make a sort of long records several times as fast. Where the blocks overlap this would not
    // give what byte by byte does.
    uintptr_t distance = left < right ? (uintptr_t)right - (uintptr_t)left : (uintptr_t)left - (uintptr_t)right;
    if (size >= 8 && distance >= (uintptr_t)size) {
        for (; i + 8 <= size; i += 8) {
            u64 from_left, from_right;
            memcpy(&from_left, left + i, 8);
            memcpy(&from_right, right + i, 8);
            memcpy(left + i, &from_right, 8);
            memcpy(right + i, &from_left, 8);
        }
    }

    for (; i < size; i++) {
        u8 byte = left[i];
        left[i] = right[i];
        right[i] = byte;
    }
}

void *block_move(void *dest, const void *src, i32 length)
{
    // It goes backward where `src` is below `dest` and reaches into it, and forward everywhere else.
    if (length >= 1 && dest != src) memmove(dest, src, (size_t)length);
    return dest;
}

void *block_find_byte(const void *block, u8 value, i32 length)
{
    return length < 1 ? nullptr : (void *)memchr(block, value, (size_t)length);
}

// ---- Bits and hexadecimal -------------------------------------------------------------------------------------------

// The cell of a text buffer, which may lie behind its length. Behind the buffer's own last one stand zeros.
static u8 text_cell(ConstPString text, i32 position)
{
    return position < PSTRING_SIZE ? text[position] : (u8)'0';
}

static u8 hex_digit(u8 character)
{
    u8 letter = ascii_upper(character);
    if (letter >= '0' && letter <= '9') return (u8)(letter - '0');
    if (letter >= 'A' && letter <= 'F') return (u8)(letter - 'A' + 10);
    return 0;
}

void hex_to_bytes(u8 *dest, ConstPString text)
{
    // KEPT: one would expect the missing digit of an odd length to be 0. It is the cell behind the text, whatever an
    // earlier text left there; the low half of the last byte shows it.
    // Test: hex_to_bytes.takes_the_cell_behind_an_odd_length
    i32 length = text[0];
    for (i32 position = 1; position <= length; position += 2) {
        *dest++ = (u8)(hex_digit(text[position]) << 4 | hex_digit(text_cell(text, position + 1)));
    }
}

void bits_from_text(u8 *dest, ConstPString text)
{
    // KEPT: one would expect the bits that `bit_test` finds under the same numbers, and zeros behind the text. The
    // first character is the top bit, where `bit_test` counts from the lowest, and the last byte takes the cells behind
    // the text as they are. Whoever tests the bits by number sees each byte reversed.
    // Test: bits_from_text.is_not_the_inverse_of_bit_test, Test: bits_from_text.takes_the_cells_behind_the_text
    i32 length = text[0];
    for (i32 position = 1; position <= length; position += 8) {
        u32 byte = 0;
        for (i32 bit = 0; bit < 8; bit++) byte = byte << 1 | (text_cell(text, position + bit) != '0');
        *dest++ = (u8)byte;
    }
}

i16 bit_test(const u8 *bytes, i16 number)
{
    // KEPT: one would expect the order in which `bits_from_text` writes. Bit 0 is the lowest of a byte here and the
    // highest there. Test: bits_from_text.is_not_the_inverse_of_bit_test
    if (number < 0) return 0;
    return (i16)(bytes[number / 8] >> number % 8 & 1);
}

u16 *swap_bytes16(u16 *value)
{
    *value = (u16)(*value << 8 | *value >> 8);
    return value;
}

void bit_rows_shift(u8 *rows, i16 stride, i16 shift, i16 width, i16 height)
{
    if (shift < 1 || shift > 15 || width < 1 || height < 1) return;

    i32 bytes = (width + 7) / 8;

    // KEPT: one would expect one shift in one direction, row by row. The whole byte goes up, to the higher address, and
    // as if the rows had no gaps, so that with a wider `stride` other bytes move than those of the rows; and each row
    // takes the byte that the row before pushed into it. The bits below 8 go down. Callers see a shift by 8 and more go
    // the other way than one by less. Test: bit_rows_shift.moves_bytes_up_from_8_on,
    // Test: bit_rows_shift.ignores_the_stride_when_it_moves_bytes, Test: bit_rows_shift.moves_bits_left_below_8
    if (shift >= 8) {
        u8 *row = rows;
        for (i32 n = 0; n < height; n++, row += bytes) block_move(row + 1, row, bytes);
        shift = (i16)(shift - 8);
    }

    if (shift == 0) return;

    for (i32 n = 0; n < height; n++) {
        u8 *row = rows + (ptrdiff_t)n * stride;
        for (i32 i = 0; i < bytes; i++) row[i] = (u8)(row[i] << shift | row[i + 1] >> (8 - shift));
    }
}

// ---- Big-endian fields of a file ------------------------------------------------------------------------------------

i32 file_read_at(FileHandle file, i32 offset, void *buffer, i32 n)
{
    // KEPT: one would expect no read behind a failed seek. The read is made all the same, where the file stands, and
    // what it gives passes for the bytes at `offset`. Test: file_read_at.reads_on_after_a_failed_seek
    (void)file_seek(file, offset);
    return file_read(file, buffer, n);
}

u8 file_read_byte_at(FileHandle file, i32 offset)
{
    u8 byte = 0;
    (void)file_read_at(file, offset, &byte, 1);  // a byte that is not there is 0
    return byte;
}

u16 file_read_be16_at(FileHandle file, i32 offset)
{
    u8 bytes[2] = {};
    (void)file_read_at(file, offset, bytes, 2);  // bytes that are not there are 0
    return (u16)(bytes[0] << 8 | bytes[1]);
}

// ---- Records --------------------------------------------------------------------------------------------------------

void record_id_name_set(void *record, i16 id, ConstPString name, u8 flag_a, u8 flag_b)
{
    IdNameRecord filled = {};
    filled.id = le_i16(id);
    if (name) {
        constexpr u8 LONGEST = sizeof filled.name - 1;
        filled.name[0] = name[0] < LONGEST ? name[0] : LONGEST;
        memcpy(filled.name + 1, name + 1, filled.name[0]);
    }
    filled.flag_a = flag_a;
    filled.flag_b = flag_b;
    memcpy(record, &filled, sizeof filled);
}

void record_pair_set(void *record, i16 a, i16 b, i32 c)
{
    PairRecord filled = { le_i16(a), le_i16(b), le_i32(c) };
    memcpy(record, &filled, sizeof filled);
}

void record_long_pair_set(void *record, i16 a, i32 b, i32 c)
{
    LongPairRecord filled = { le_i16(a), le_i32(b), le_i32(c) };
    memcpy(record, &filled, sizeof filled);
}

static BlocksRecord blocks_record(const void *first, const void *second, i16 value)
{
    BlocksRecord filled = {};
    if (first) memcpy(filled.first, first, sizeof filled.first);
    if (second) memcpy(filled.second, second, sizeof filled.second);
    filled.value = le_i16(value);
    return filled;
}

void record_blocks_set(void *record, const void *first, const void *second, i16 value)
{
    BlocksRecord filled = blocks_record(first, second, value);
    memcpy(record, &filled, sizeof filled);
}

void record_blocks_ext_set(void *record, const void *first, const void *second, i16 value, const void *third)
{
    BlocksExtRecord filled = { blocks_record(first, second, value), {} };
    if (third) memcpy(filled.third, third, sizeof filled.third);
    memcpy(record, &filled, sizeof filled);
}

} // namespace zuk
