// The pages of a disk list: numbered from 1, of one size, in a temporary file, with a bounded number in memory.
//
// A page in memory is in a frame. When all frames are in use, a clock sweep with a second chance chooses the one that a
// new page takes over; its old page goes to the file first if it was marked dirty. The file is made when a page has to
// leave memory for the first time. It has no header: page p is at (p - 1) * page_size, written whole.
//
// Between calls:
//   - `free_space` has a value for each page, at the page's number, and `page_count` of them until a compaction fails
//   - a page stands in one frame at most
//   - frames that may still be made plus frames made are what the attribute said
// Used by lists/disk_list.h, which owns the store and fills and disposes of it. All results are a `GlistStatus`; the
// status of a list inside the store goes up as it is.
#pragma once

#include "lists/glist.h"

namespace zuk {

// ---- Records --------------------------------------------------------------------------------------------------------

struct PageStore {
    i32 page_count;        // pages allocated so far
    i32 file_pages;        // pages that the file has
    i32 page_size;
    i32 frames_left;       // frames that may still be made
    FileHandle file;       // 0 until a page has to leave memory
    u8 file_name[256];     // portable
    i32 sweep;             // position in `frames` where the next search for a victim begins
    GHandle free_space;    // memory list of i32: the bytes free at the end of each page
    GHandle frames;        // memory list of PageFrame
    i32 full_pages;        // so many pages from 1 on have no room for an element: no search has to look at them
};
static_assert(sizeof(PageStore) == 292);

struct PageFrame {
    i32 page;              // NO_PAGE in a frame that holds none; first, as the search looks here
    i32 lock_count;        // pins
    i16 dirty;             // 1 if the frame differs from the file
    i16 referenced;        // 1 if used since the sweep last passed
    GHandle memory;        // page_size bytes
};
static_assert(sizeof(PageFrame) == 16);

constexpr i32 NO_PAGE = -1;

enum PageMode : i32 {
    PAGE_READ = 0,
    PAGE_WRITE = 1,        // and mark the page dirty
    PAGE_PIN = 2,          // and keep it in memory until it is released
};

// The id of the callback (type 0) that each of the two lists carries, for the searches in it: a value of `free_space`
// that is not below the one looked for, and the frame of a page.
constexpr i32 PAGE_CALLBACK = 1;
i16 page_has_room(void *free_value, intptr_t need);
i16 frame_holds_page(void *frame, intptr_t page);

// ---- Pages ----------------------------------------------------------------------------------------------------------

// The memory of a page, which is brought in if it is not there. The handle is good until the next page is fetched.
i32 page_fetch(PageStore *store, i32 page, GHandle *memory, i32 mode);
// Take one pin off; 1 for a page that is not in memory.
i32 page_release(PageStore *store, i32 page);
// A frame for a page that is not in memory, as the position in `frames`. After a failed write the victim stays as it
// was; after a failed read the frame holds no page.
i32 page_frame_obtain(PageStore *store, i32 page, i32 *position);

// ---- The file -------------------------------------------------------------------------------------------------------

// Make the temporary file and open it. A failure (17) leaves no file; `file_name` keeps what name there was.
i32 store_open_temporary(PageStore *store);
// The same for any buffer of 256 bytes; 0 on failure.
FileHandle temporary_open(PString file_name);
// Seek to the place of a page, and write a whole page where the file stands. False if the seek or a part of the write
// failed, and for a place beyond 2^31.
bool page_seek(FileHandle file, i32 page, i32 page_size);
bool page_write(FileHandle file, const u8 *bytes, i32 page_size);

} // namespace zuk
