// The open files of a backend: one row for each, found by its own number.
//
// Both backends keep their files here, so that numbers, positions and held ranges are the same on every target. The
// system's own handle is only a field of the row: a number that its owner kept for too long names no row, where a
// handle of the system may by then be another file.
//
// Between calls:
//   - a number is counted up from the one given before; it is never 0, and does not come back before all 32 bits have
//     been gone through
//   - the row of number n stands at n modulo the size of the table, so finding it takes one look
//   - the ranges of a row do not overlap
// A row pointer holds until the next `file_row_claim`. The rows take their memory from the C library, not from
// `platform_memory`: a test that makes the memory of the library fail does not hit the files.
#pragma once

#include "platform/platform.h"

namespace zuk {

struct HeldRange {
    u32 offset;
    u32 length;
};

struct FileRow {
    FileHandle number;    // 0 in a free row
    u16 mode;             // as given to `open`
    intptr_t os_file;     // file descriptor or HANDLE
    i64 position;
    HeldRange *ranges;
    u32 range_count;
    u32 range_room;       // ranges for which there is memory
};

// A row with a fresh number and everything else 0; null when memory is short.
FileRow *file_row_claim();
// The row of a number; null when no file is open under it.
FileRow *file_row(FileHandle number);
// Forget the file and the ranges it held. The system's handle is the caller's to close.
void file_row_release(FileRow *row);

// A lock asks first whether the row holds any byte of the range, then for room for one more range, then the system;
// so nothing can fail once the system has granted the lock. `length` is not 0.
bool file_row_overlaps(const FileRow *row, u32 offset, u32 length);
bool file_row_reserve(FileRow *row);                              // false when memory is short
void file_row_hold(FileRow *row, u32 offset, u32 length);         // after `file_row_reserve`
// An unlock asks whether the range is held in exactly this form.
bool file_row_holds(const FileRow *row, u32 offset, u32 length);
void file_row_let_go(FileRow *row, u32 offset, u32 length);       // a range that `file_row_holds`

extern u32 file_rows_open;                 // rows in use
extern FileHandle file_rows_last;          // the number given last; a test starts near the wrap with it

using FileRowsResize = void *(*)(void *block, size_t size);
extern FileRowsResize file_rows_resize;    // realloc, or the failing one of a test

} // namespace zuk
