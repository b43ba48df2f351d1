#include "platform/file_rows.h"

#include <stdlib.h>
#include <string.h>

namespace zuk {

// The table doubles before it is more than half full. Two numbers with different places in the smaller table have
// different places in the larger one, so growing never has to look for a place.
constexpr u32 FIRST_ROWS = 64;

static FileRow first_rows[FIRST_ROWS];
static constinit FileRow *rows = first_rows;
static constinit u32 row_count = FIRST_ROWS;  // a power of two

constinit u32 file_rows_open = 0;
constinit FileHandle file_rows_last = 0;
constinit FileRowsResize file_rows_resize = realloc;

static FileRow *place_of(FileHandle number) { return &rows[number & (row_count - 1)]; }

static bool rows_grow()
{
    // The rows cannot be resized where they stand: they go to new places.
    if (row_count > UINT32_MAX / 2 / sizeof(FileRow)) return false;
    size_t size = sizeof(FileRow) * row_count * 2;
    FileRow *grown = (FileRow *)file_rows_resize(nullptr, size);
    if (!grown) return false;
    memset(grown, 0, size);

    FileRow *old = rows;
    u32 old_count = row_count;
    rows = grown;
    row_count *= 2;
    for (u32 i = 0; i < old_count; i++) {
        if (old[i].number != 0) *place_of(old[i].number) = old[i];
    }
    if (old != first_rows) free(old);
    return true;
}

FileRow *file_row_claim()
{
    if (file_rows_open >= row_count / 2 && !rows_grow()) return nullptr;

    // A number whose place is taken by an older file is passed over.
    FileRow *row;
    do {
        file_rows_last++;
        row = place_of(file_rows_last);
    } while (file_rows_last == 0 || row->number != 0);

    memset(row, 0, sizeof *row);
    row->number = file_rows_last;
    file_rows_open++;
    return row;
}

FileRow *file_row(FileHandle number)
{
    FileRow *row = place_of(number);
    return number != 0 && row->number == number ? row : nullptr;
}

void file_row_release(FileRow *row)
{
    free(row->ranges);
    memset(row, 0, sizeof *row);
    file_rows_open--;
}

// ---- Ranges ---------------------------------------------------------------------------------------------------------

bool file_row_overlaps(const FileRow *row, u32 offset, u32 length)
{
    // A range may reach beyond the 32 bits of its offset.
    u64 end = (u64)offset + length;
    for (u32 i = 0; i < row->range_count; i++) {
        u64 held_end = (u64)row->ranges[i].offset + row->ranges[i].length;
        if (offset < held_end && row->ranges[i].offset < end) return true;
    }
    return false;
}

bool file_row_reserve(FileRow *row)
{
    if (row->range_count < row->range_room) return true;

    u32 room = row->range_room == 0 ? 4 : row->range_room * 2;
    HeldRange *ranges = (HeldRange *)file_rows_resize(row->ranges, room * sizeof(HeldRange));
    if (!ranges) return false;
    row->ranges = ranges;
    row->range_room = room;
    return true;
}

void file_row_hold(FileRow *row, u32 offset, u32 length)
{
    row->ranges[row->range_count++] = { offset, length };
}

// The index of a range, or `range_count`.
static u32 index_of(const FileRow *row, u32 offset, u32 length)
{
    u32 i = 0;
    while (i < row->range_count && (row->ranges[i].offset != offset || row->ranges[i].length != length)) i++;
    return i;
}

bool file_row_holds(const FileRow *row, u32 offset, u32 length)
{
    return index_of(row, offset, length) < row->range_count;
}

void file_row_let_go(FileRow *row, u32 offset, u32 length)
{
    u32 i = index_of(row, offset, length);
    row->ranges[i] = row->ranges[--row->range_count];
}

} // namespace zuk
