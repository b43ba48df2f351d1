#include "lists/page_store.h"

#include "files/file.h"
#include "files/file_util.h"

namespace zuk {

// ---- Searches -------------------------------------------------------------------------------------------------------

i16 page_has_room(void *free_value, intptr_t need)
{
    return need <= *(const i32 *)free_value;
}

i16 frame_holds_page(void *frame, intptr_t page)
{
    return page == ((const PageFrame *)frame)->page;
}

// A page's frame and its position, with the cursor of `frames` on it. `GLIST_ERR_NOT_FOUND` if the page is not in
// memory.
static i32 frame_find(PageStore *store, i32 page, PageFrame *frame, i32 *position)
{
    // The cursor is still on the frame of the last page, which is wanted again as a rule: no two have the same page.
    *position = glist_tell(store->frames, 0);
    if (*position > 0 && glist_get(store->frames, 0, frame) && frame_holds_page(frame, page)) return GLIST_OK;

    if (!glist_find(store->frames, 0, GLIST_FORWARD, PAGE_CALLBACK, nullptr, page)) return glist_error(store->frames);
    *position = glist_tell(store->frames, 0);
    return glist_get(store->frames, 0, frame) ? (i32)GLIST_OK : glist_error(store->frames);
}

// ---- The file -------------------------------------------------------------------------------------------------------

FileHandle temporary_open(PString file_name)
{
    u8 name[260];                            // what `file_tempname` asks for; no name has more than 255 characters
    (void)file_tempname(name);               // says 1 always; without a file the name is empty, and not opened
    pstricpy(file_name, name, 1, 255);
    FileHandle file = file_open(file_name, FILE_RW_SHARED);
    if (!file) (void)file_delete(file_name);  // it was made under this name, and nobody else would delete it
    return file;
}

i32 store_open_temporary(PageStore *store)
{
    store->file = temporary_open(store->file_name);
    return store->file ? GLIST_OK : GLIST_ERR_TEMP_FILE;
}

// A page beyond what a file position can say is refused as a failed seek is.
bool page_seek(FileHandle file, i32 page, i32 page_size)
{
    i64 place = (i64)(page - 1) * page_size;
    return place <= INT32_MAX && file_seek(file, (i32)place);
}

bool page_write(FileHandle file, const u8 *bytes, i32 page_size)
{
    return file_write(file, bytes, page_size) == page_size;
}

// The page goes to the file, and the file up to it.
static i32 page_write_out(PageStore *store, const PageFrame *frame)
{
    const u8 *bytes = (const u8 *)glock(frame->memory);
    if (!bytes) return GLIST_ERR_MEMORY;

    // KEPT: one would expect zeros, or a hole, where the file has no pages in front of this one. Each of them is
    // written with the bytes of this page, and counts as a page of the file from then on.
    // Test: page_frame_obtain.fills_the_gap_in_front_of_a_page_with_its_bytes
    bool good = true;
    if (store->file_pages + 1 < frame->page) {
        good = page_seek(store->file, store->file_pages + 1, store->page_size);
        while (good && store->file_pages + 1 < frame->page) {
            good = page_write(store->file, bytes, store->page_size);
            if (good) store->file_pages++;
        }
    }
    good = good && page_seek(store->file, frame->page, store->page_size) &&
           page_write(store->file, bytes, store->page_size);
    gunlock(frame->memory);
    if (!good) return GLIST_ERR_FAILED;

    if (store->file_pages < frame->page) store->file_pages = frame->page;
    return GLIST_OK;
}

// Fill the frame's memory with the page, if the file has it.
static i32 page_read_in(PageStore *store, i32 page, const PageFrame *frame)
{
    // KEPT: one would expect a new page to be empty. What the frame held before stays in it, until somebody writes to
    // it, and goes to the file with it. Test: page_fetch.of_a_new_page_finds_what_the_frame_held
    if (store->file_pages < page) return GLIST_OK;

    u8 *bytes = (u8 *)glock(frame->memory);
    if (!bytes) return GLIST_ERR_MEMORY;
    bool good = page_seek(store->file, page, store->page_size) &&
                file_read(store->file, bytes, store->page_size) == store->page_size;
    gunlock(frame->memory);
    return good ? GLIST_OK : GLIST_ERR_FAILED;
}

// ---- Frames ---------------------------------------------------------------------------------------------------------

static i32 frame_at(PageStore *store, i32 position, PageFrame *frame)
{
    return glist_get_at(store->frames, 0, position, frame) ? (i32)GLIST_OK : glist_error(store->frames);
}

// Write back the frame that `frame_at` has just read.
static i32 frame_put(PageStore *store, const PageFrame *frame)
{
    return glist_replace(store->frames, 0, frame) ? (i32)GLIST_OK : glist_error(store->frames);
}

// Walk over the frames for one that is neither pinned nor was used since the last time. It is left in `*frame`, and is
// the one in front of `sweep`.
static i32 sweep_for_victim(PageStore *store, PageFrame *frame)
{
    i32 total = glist_count(store->frames, 0);
    if (store->sweep > total) store->sweep = 1;

    i32 status = frame_at(store, store->sweep, frame);
    if (status) return status;
    store->sweep++;

    for (i32 pass = 1; frame->referenced || frame->lock_count > 0;) {
        // KEPT: one would expect a pinned frame to be passed by. It loses its mark like all others, so that it can be
        // the next to go as soon as it is released. Test: page_frame_obtain.takes_the_mark_of_pinned_frames_too
        frame->referenced = 0;
        status = frame_put(store, frame);
        if (status) return status;

        // KEPT: one would expect every search to look at each frame twice. It ends when it comes to the end for the
        // second time, and a search that begins further on sees the first ones only once.
        // Test: page_frame_obtain.gives_up_at_the_second_wrap
        if (store->sweep > total) {
            store->sweep = 1;
            if (++pass > 2) return GLIST_ERR_ALL_PAGES_BUSY;
        }
        status = frame_at(store, store->sweep, frame);
        if (status) return status;
        store->sweep++;
    }
    return GLIST_OK;
}

// A frame more, with memory of zeros, for `page`.
static i32 frame_make(PageStore *store, i32 page, i32 *position)
{
    PageFrame frame = { .page = page, .lock_count = 0, .dirty = 0, .referenced = 1, .memory = 0 };
    frame.memory = galloc(store->page_size, nullptr, 1);
    if (!frame.memory) return GLIST_ERR_MEMORY;

    i32 status = page_read_in(store, page, &frame);
    if (!status && !glist_append(store->frames, 0, &frame, 1, 0)) status = glist_error(store->frames);
    if (status) {
        gfree(frame.memory);
        return status;
    }
    store->frames_left--;
    *position = glist_count(store->frames, 0);
    return GLIST_OK;
}

// A frame that has to give up its page, for `page`.
static i32 frame_reuse(PageStore *store, i32 page, i32 *position)
{
    if (!store->file) {
        i32 status = store_open_temporary(store);
        if (status) return status;
    }

    PageFrame frame;
    i32 status = sweep_for_victim(store, &frame);
    if (status) return status;
    if (frame.dirty) {
        status = page_write_out(store, &frame);
        if (status) return status;
    }

    // After a failed read nobody knows what is in the frame.
    i32 read_status = page_read_in(store, page, &frame);
    frame = { .page = read_status ? NO_PAGE : page, .lock_count = 0, .dirty = 0, .referenced = 1,
              .memory = frame.memory };
    status = frame_put(store, &frame);
    if (read_status || status) return read_status ? read_status : status;
    *position = store->sweep - 1;
    return GLIST_OK;
}

i32 page_frame_obtain(PageStore *store, i32 page, i32 *position)
{
    return store->frames_left > 0 ? frame_make(store, page, position) : frame_reuse(store, page, position);
}

// ---- Pages ----------------------------------------------------------------------------------------------------------

i32 page_fetch(PageStore *store, i32 page, GHandle *memory, i32 mode)
{
    if (page < 1) return GLIST_ERR_FAILED;

    PageFrame frame = {};
    i32 position = 0;
    i32 status = frame_find(store, page, &frame, &position);
    if (status == GLIST_ERR_NOT_FOUND) {
        status = page_frame_obtain(store, page, &position);
        if (!status) status = frame_at(store, position, &frame);
    }
    if (status) return status;

    if (mode != PAGE_READ || !frame.referenced) {
        if (mode == PAGE_WRITE) frame.dirty = 1;
        if (mode == PAGE_PIN) frame.lock_count++;
        frame.referenced = 1;
        status = frame_put(store, &frame);
        if (status) return status;
    }
    *memory = frame.memory;
    return GLIST_OK;
}

i32 page_release(PageStore *store, i32 page)
{
    // Searched by hand: a walk ends with this, and a pin must go when there is no memory for another walk, too.
    for (i32 i = 1; i <= glist_count(store->frames, 0); i++) {
        PageFrame frame;
        i32 status = frame_at(store, i, &frame);
        if (status) return status;
        if (!frame_holds_page(&frame, page)) continue;

        // KEPT: one would expect the count to stop at 0. It goes below, and as many pins more are needed before the
        // page is kept again. Test: page_release.counts_below_0
        frame.lock_count--;
        return frame_put(store, &frame);
    }
    return GLIST_ERR_FAILED;
}

} // namespace zuk
