#include "engine/block_table.h"

#include "engine/convert.h"
#include "files/file.h"

#include <string.h>

namespace zuk {

constexpr i32 SPLIT_MIN = 16;            // a free piece is split only if as much would remain
constexpr i64 FILE_MAX = 0x7FFFFFFF;     // positions are signed 32-bit

static i32 entry_bytes(u32 entries) { return (i32)(entries * (u32)sizeof(BlockEntry)); }

static u32 page_count(const DictFile *file) { return (u32)(((u64)le_get(file->header.table_entries) + 63) / 64); }

static bool is_empty(const BlockEntry *entry)
{
    return le_get(entry->type) == BLOCK_FREE && le_get(entry->size) == 0;
}

// KEPT: one would expect a new block to count as full. All of its bytes are free, however many were asked for.
// Test: block_allocate.gives_a_block_whose_bytes_are_all_free
static BlockEntry new_block(u16 type, u32 offset, u32 size)
{
    return { .type = le16(type), .offset = le32(offset), .size = le32(size), .free = le32(size) };
}

static BlockEntry free_piece(u32 offset, u32 size) { return new_block(BLOCK_FREE, offset, size); }

static void count_free_entries(DictFile *file, i32 change)
{
    file->header.free_entries = le32(le_get(file->header.free_entries) + (u32)change);
}

// ---- Pages ----------------------------------------------------------------------------------------------------------

static u32 pages_loaded(const DictFile *file) { return (u32)gsize(file->page_cache_handle) / (u32)sizeof(BlockPage); }

DictStatus block_page_find(DictFile *file, u32 index, BlockPage **page)
{
    u32 count = file->page_cache ? pages_loaded(file) : 0;
    for (u32 i = 0; i < count; i++) {
        BlockPage *at = &file->page_cache[i];
        if (at->first <= index && index <= at->last) {
            *page = at;
            return DICT_OK;
        }
    }
    return DICT_NOT_FOUND;
}

DictStatus block_page_load(DictFile *file, u32 index)
{
    u32 entries = le_get(file->header.table_entries);
    if (index >= entries) return DICT_NOT_FOUND;
    if (!file->page_cache_handle) return DICT_NO_MEMORY;

    u32 first = index & ~(PAGE_ENTRIES - 1);
    u32 end = entries - first < PAGE_ENTRIES ? entries : first + PAGE_ENTRIES;
    // A table of billions of entries, from a damaged header, has no more pages than begin in the file.
    i32 length = dict_length(file);
    i64 place = le_get(file->header.table_offset) + (i64)first * (i64)sizeof(BlockEntry);
    if (length >= 0 && place >= length) return DICT_NOT_FOUND;

    GHandle handle = galloc(entry_bytes(end - first), nullptr, 1);
    if (!handle) return DICT_NO_MEMORY;

    u32 loaded = pages_loaded(file);
    if (!grealloc(&file->page_cache_handle, (i32)((loaded + 1) * sizeof(BlockPage)))) {
        file->page_cache = nullptr;  // the array is lost, and the pages in it with their changes
        gfree(handle);
        return DICT_NO_MEMORY;
    }
    file->page_cache = (BlockPage *)glock(file->page_cache_handle);
    file->page_cache[loaded] = { .first = first, .last = end - 1, .flags = 0, .handle = handle };

    // KEPT: one would expect a failed read to fail the load. Nobody looks at it: the page stays in the cache with
    // entries of zeros, which read as free. Test: block_page_load.keeps_a_page_of_zeros_after_a_failed_read
    (void)dict_read_at(file, (u32)place, glock(handle), entry_bytes(end - first));
    gunlock(handle);
    return DICT_OK;
}

static DictStatus page_of_index(DictFile *file, u32 index, BlockPage **page)
{
    DictStatus status = block_page_find(file, index, page);
    if (!status) return DICT_OK;
    status = block_page_load(file, index);
    return status ? status : block_page_find(file, index, page);
}

DictStatus block_page_get(DictFile *file, i32 page_no, BlockPage **page)
{
    if (page_no < 0 || (u32)page_no >= page_count(file)) return DICT_FAILED;
    return page_of_index(file, (u32)page_no * PAGE_ENTRIES, page);
}

DictStatus block_read_entry(DictFile *file, u32 index, BlockEntry *out)
{
    if (index >= le_get(file->header.table_entries)) return DICT_NOT_FOUND;

    BlockPage *page;
    DictStatus status = page_of_index(file, index, &page);
    if (status) return status;

    const BlockEntry *entries = (const BlockEntry *)glock(page->handle);
    if (!entries) return DICT_FAILED;
    *out = entries[index - page->first];
    gunlock(page->handle);
    return DICT_OK;
}

DictStatus block_read_typed(DictFile *file, u32 block, u16 type, BlockEntry *out)
{
    DictStatus status = block_read_entry(file, block - 1, out);
    if (status) return status;
    if (le_get(out->type) != type) return DICT_NOT_FOUND;
    return DICT_OK;
}

DictStatus block_write_entry(DictFile *file, u32 index, const BlockEntry *in)
{
    if (index >= le_get(file->header.table_entries)) return DICT_NOT_FOUND;

    BlockPage *page;
    DictStatus status = page_of_index(file, index, &page);
    if (status) return status;

    BlockEntry *entries = (BlockEntry *)glock(page->handle);
    if (!entries) return DICT_FAILED;
    entries[index - page->first] = *in;
    page->flags |= PAGE_DIRTY;
    gunlock(page->handle);

    bool own_entry = le_get(in->type) == BLOCK_TABLE && index == le_get(file->header.table_entry);
    if (!own_entry) return DICT_OK;
    file->header.table_offset = in->offset;
    return header_write(file->file, &file->header);
}

DictStatus block_table_flush(DictFile *file)
{
    u32 count = file->page_cache ? pages_loaded(file) : 0;
    for (u32 i = 0; i < count; i++) {
        BlockPage *page = &file->page_cache[i];
        if (!(page->flags & PAGE_DIRTY)) continue;

        // KEPT: one would expect a page to stay dirty until it is written. The bit goes before the write, so that a
        // second flush does not write again what failed. Test: block_table_flush.forgets_a_page_whose_write_failed
        page->flags &= ~PAGE_DIRTY;
        const void *entries = glock(page->handle);
        if (!entries) return DICT_FAILED;
        DictStatus status = dict_write_at(file->file,
                                          le_get(file->header.table_offset) + (u32)entry_bytes(page->first), entries,
                                          entry_bytes(page->last - page->first + 1));
        gunlock(page->handle);
        if (status) return status;
    }
    return DICT_OK;
}

DictStatus block_cache_init(DictFile *file)
{
    if (!file) return DICT_FAILED;
    file->page_cache_handle = galloc(0, nullptr, 0);
    file->page_cache = (BlockPage *)glock(file->page_cache_handle);
    return file->page_cache_handle ? DICT_OK : DICT_NO_MEMORY;
}

void block_cache_drop(DictFile *file)
{
    u32 count = file->page_cache ? pages_loaded(file) : 0;
    for (u32 i = 0; i < count; i++) gfree(file->page_cache[i].handle);
    (void)grealloc(&file->page_cache_handle, 0);  // a failure leaves no array, which reads as empty
    file->page_cache = (BlockPage *)glock(file->page_cache_handle);
}

DictStatus block_cache_close(DictFile *file)
{
    DictStatus status = block_table_flush(file);
    block_cache_drop(file);
    gfree(file->page_cache_handle);
    file->page_cache_handle = 0;
    file->page_cache = nullptr;
    return status;
}

// ---- Allocation -----------------------------------------------------------------------------------------------------

bool block_find_empty(DictFile *file, BlockEntry *out, u32 *index)
{
    u32 pages = page_count(file);
    for (u32 no = 0; no < pages; no++) {
        BlockPage *page;
        if (block_page_get(file, (i32)no, &page)) return false;
        const BlockEntry *entries = (const BlockEntry *)glock(page->handle);
        if (!entries) return false;
        u32 count = page->last - page->first + 1;
        u32 i = 0;
        while (i < count && !is_empty(&entries[i])) i++;
        if (i < count) {
            *out = entries[i];
            *index = page->first + i;
        }
        gunlock(page->handle);
        if (i < count) return true;
    }
    return false;
}

DictStatus block_table_update_self(DictFile *file)
{
    u32 own = le_get(file->header.table_entry);
    BlockEntry entry;
    if (block_read_entry(file, own, &entry)) return DICT_FAILED;

    entry.type = le16(BLOCK_TABLE);
    entry.offset = file->header.table_offset;
    entry.size = le32((u32)entry_bytes(le_get(file->header.table_entries)));
    entry.free = le32(0);
    (void)block_write_entry(file, own, &entry);
    // KEPT: one would expect the status of the writes. It is 0 whatever they did, and 1 only when the entry could not
    // be read. Test: block_table_update_self.gives_0_whatever_the_flush_did
    // Test: block_table_update_self.gives_1_when_its_entry_cannot_be_read
    (void)block_table_flush(file);
    return DICT_OK;
}

// Copy the table to the end of the file, where the header says that it is now, and put empty entries behind it.
static DictStatus move_table(DictFile *file, u32 old_offset, u32 old_entries, u32 increment)
{
    u32 offset = le_get(file->header.table_offset);
    DictStatus status = block_move_bytes(file, (i32)old_offset, (i32)offset, entry_bytes(old_entries));
    if (status) return status;

    u32 new_entries_at = offset + (u32)entry_bytes(old_entries);
    GHandle zeros = galloc(entry_bytes(increment), nullptr, 1);
    if (!zeros) {
        // KEPT: one would expect 9. Without memory for the zeros they are not written, and nobody is told. The file is
        // only made as long as they would have made it, or the next new block would come to lie in the table.
        // Test: block_table_grow.says_nothing_of_zeros_that_it_could_not_write
        (void)file_seteof(file->file, (i32)new_entries_at + entry_bytes(increment));  // the error word tells
        return status_from_file_error();
    }
    status = dict_write_at(file->file, new_entries_at, glock(zeros), entry_bytes(increment));
    gunlock(zeros);
    gfree(zeros);
    return status;
}

DictStatus block_table_grow(DictFile *file, u32 wanted)
{
    DictHeader old_header = file->header;
    u32 old_entries = le_get(old_header.table_entries);
    u32 old_offset = le_get(old_header.table_offset);
    // KEPT: one would expect a large table to grow by more at a time. The one caller asks for nothing special, so it
    // is 256 entries always. Test: block_table_grow.grows_by_256_entries
    u32 increment = wanted ? (((wanted - old_entries) >> 8) + 1) * BLOCK_TABLE_STEP : BLOCK_TABLE_STEP;

    i32 length = dict_length(file);
    if (length < 0 || (i64)length + ((i64)old_entries + increment) * (i64)sizeof(BlockEntry) > FILE_MAX) {
        return DICT_NO_ROOM;
    }
    DictStatus status = block_table_flush(file);
    if (status) return status;
    block_cache_drop(file);  // the last page may end elsewhere from now on

    file->header.table_entries = le32(old_entries + increment);
    count_free_entries(file, (i32)increment);
    file->header.table_offset = le32((u32)length);
    status = move_table(file, old_offset, old_entries, increment);
    if (status) {
        file->header.table_entries = old_header.table_entries;
        file->header.free_entries = old_header.free_entries;
        file->header.table_offset = old_header.table_offset;
        return status;
    }
    (void)header_write(file->file, &file->header);  // the update below writes it once more
    (void)block_table_update_self(file);            // its entry is in the page that the next step loads anyway

    BlockEntry old_place;
    u32 index;
    if (!block_find_empty(file, &old_place, &index)) return DICT_NO_MEMORY;
    old_place = free_piece(old_offset, (u32)entry_bytes(old_entries));
    return block_write_entry(file, index, &old_place);
}

// What a search of the table found.
struct Places {
    bool has_fit, has_spare;
    BlockEntry fit;       // a free piece that is large enough
    BlockEntry spare;     // an empty entry
    u32 fit_index, spare_index;
};

// KEPT: one would expect a block of the size that was asked for. A rest under 16 bytes is not split off, so that a
// block can be up to 15 bytes larger. Test: block_allocate.gives_a_piece_whole_when_under_16_bytes_remain
// Test: block_allocate.splits_a_piece_when_16_bytes_remain
static bool taken_whole(const Places *places, i32 need)
{
    return (i64)le_get(places->fit.size) - need < SPLIT_MIN;
}

// A fit is known, and an empty entry for its rest or no need of one.
static bool found_enough(const Places *places, i32 need)
{
    return places->has_fit && (places->has_spare || taken_whole(places, need));
}

// A free piece that damage has put over the header or behind the end of the file.
static bool is_outside(DictFile *file, const BlockEntry *entry)
{
    if (le_get(entry->size) == 0) return false;
    if (le_get(entry->offset) < sizeof(DictHeader)) return true;
    return (i64)le_get(entry->offset) + le_get(entry->size) > dict_length(file);
}

// Take note of an entry if it is of use.
static void consider(DictFile *file, Places *places, const BlockEntry *entry, u32 index, i32 need)
{
    if (le_get(entry->type) != BLOCK_FREE) return;
    // KEPT: one would expect a request for nothing to get nothing. Any free entry is large enough for it, an empty one
    // too, which then is a block of size 0. Test: block_allocate.gives_the_first_free_entry_for_0
    if (!places->has_fit && (i32)le_get(entry->size) >= need && !is_outside(file, entry)) {
        places->has_fit = true;
        places->fit = *entry;
        places->fit_index = index;
    } else if (!places->has_spare && le_get(entry->size) == 0) {
        places->has_spare = true;
        places->spare = *entry;
        places->spare_index = index;
    }
}

// KEPT: one would expect the piece that fits best, and neighbouring pieces merged into a larger one. It is the first in
// the order of the table, and pieces stay as they are for good. Test: block_allocate.takes_the_first_fit_in_table_order
// Test: block_allocate.never_merges_neighbours
static DictStatus find_places(DictFile *file, i32 need, Places *places)
{
    u32 pages = page_count(file);
    for (u32 no = 0; no < pages && !found_enough(places, need); no++) {
        BlockPage *page;
        DictStatus status = block_page_get(file, (i32)no, &page);
        if (status) return status;
        const BlockEntry *entries = (const BlockEntry *)glock(page->handle);
        if (!entries) return DICT_FAILED;

        for (u32 index = page->first; index <= page->last && !found_enough(places, need); index++) {
            BlockEntry entry = entries[index - page->first];
            block_entry_from_file(&entry);
            consider(file, places, &entry, index, need);
        }
        gunlock(page->handle);
    }
    return DICT_OK;
}

// `need` zero bytes behind the end of the file become the block of the entry at `index`.
static DictStatus allocate_at_end(DictFile *file, u16 type, i32 need, u32 index)
{
    i32 end = dict_length(file);
    if (end < 0 || (i64)end + need > FILE_MAX) return DICT_NO_ROOM;
    DictStatus status = block_extend_file(file, (u32)end, need);
    if (status) return status;

    // KEPT: one would expect the file to stay open. It is closed and opened again by its path, which gives up every
    // byte-range lock on it; growing a block in place does not. Test: block_allocate.reopens_the_file_that_it_extends
    // Test: block_grow.keeps_the_file_open_at_its_end
    (void)file_close(file->file);  // there is nothing to do about a failure
    file->file = file_open(file->path, file->open_mode);
    if (!file->file) return status_from_file_error();

    BlockEntry entry = new_block(type, (u32)end, (u32)need);
    return block_write_entry(file, index, &entry);
}

// Cut `need` bytes off the front of the fit; the rest becomes a free piece under the spare entry.
static DictStatus allocate_part(DictFile *file, u16 type, i32 need, const Places *places)
{
    u32 offset = le_get(places->fit.offset);
    BlockEntry rest = free_piece(offset + (u32)need, le_get(places->fit.size) - (u32)need);
    DictStatus status = block_write_entry(file, places->spare_index, &rest);
    if (status) return status;

    BlockEntry block = new_block(type, offset, (u32)need);
    return block_write_entry(file, places->fit_index, &block);
}

// KEPT: one would expect the file to tell of a block that was given out. Neither the header nor the table is written,
// so that until the next flush the file counts one free entry more than memory.
// Test: block_allocate.writes_neither_header_nor_table
u32 block_allocate(DictFile *file, u16 type, i32 need)
{
    if (need < 0) return 0;

    Places places = {};
    BlockPage *page;
    if (block_page_get(file, 0, &page)) return 0;
    // KEPT: one would expect the table to be looked at. A header that counts no free entry is believed, also where a
    // crash left it behind the table. Test: block_allocate.believes_a_header_without_free_entries
    if (le_get(file->header.free_entries) != 0 && find_places(file, need, &places)) return 0;

    // KEPT: one would expect the table to grow only when no piece fits, and the piece that it leaves behind to serve
    // the request. It grows whenever an entry is wanted and none is empty, and the fit is not looked for again.
    // Test: block_allocate.grows_the_table_although_a_piece_fits
    // Test: block_allocate.does_not_use_the_old_place_of_the_table_at_once
    bool split = places.has_fit && !taken_whole(&places, need);
    if (!places.has_spare && (split || !places.has_fit)) {
        if (block_table_grow(file, 0)) return 0;
        if (!block_find_empty(file, &places.spare, &places.spare_index)) return 0;
    }

    DictStatus status;
    u32 index = places.has_fit ? places.fit_index : places.spare_index;
    if (!places.has_fit) {
        status = allocate_at_end(file, type, need, index);
    } else if (split) {
        status = allocate_part(file, type, need, &places);
    } else {
        places.fit.type = le16(type);  // all else stays as it is in a free piece
        status = block_write_entry(file, index, &places.fit);
    }
    if (status) return 0;
    count_free_entries(file, -1);
    return index + 1;
}

DictStatus block_free(DictFile *file, u32 block)
{
    if (block == 0 || block > le_get(file->header.table_entries)) return DICT_NOT_FOUND;
    if (block == BLOCK_OF_MODULE_TABLE || block == BLOCK_OF_MODULE_NAMES) return DICT_NOT_FOUND;
    if (block - 1 == le_get(file->header.table_entry)) return DICT_NOT_FOUND;

    BlockEntry entry;
    DictStatus status = block_read_entry(file, block - 1, &entry);
    if (status) return status;
    if (le_get(entry.type) == BLOCK_FREE) return DICT_NOT_FOUND;

    entry.type = le16(BLOCK_FREE);
    entry.free = entry.size;
    status = block_write_entry(file, block - 1, &entry);
    if (status) return status;
    file->block_changes++;
    count_free_entries(file, 1);

    status = block_table_flush(file);
    if (status) return status;
    status = block_table_update_self(file);
    (void)header_write(file->file, &file->header);  // the status of the update is the one that counts
    return status;
}

// ---- Growth and change ----------------------------------------------------------------------------------------------

static DictStatus grow_in_place(DictFile *file, BlockEntry *e, u32 new_size)
{
    u32 end = le_get(e->offset) + le_get(e->size);
    u32 delta = new_size - le_get(e->size);
    DictStatus status = block_extend_file(file, end, (i32)delta);
    if (status) return status;
    e->size = le32(new_size);
    e->free = le32(le_get(e->free) + delta);
    return DICT_OK;
}

// KEPT: one would expect the bytes to be known by the number of their new block. The two entries change places: the old
// number goes with the bytes, and the new one names the piece that they leave.
// Test: block_grow.swaps_the_entries_so_that_the_number_stays
static DictStatus grow_by_moving(DictFile *file, u32 block, BlockEntry *e, u32 new_size)
{
    u32 moved = block_allocate(file, le_get(e->type), (i32)new_size);
    if (!moved) return DICT_NO_ROOM;

    // Where the table grew, its pages were dropped. Both that are about to change are loaded before the first one does:
    // one change alone would give the same bytes to a block and to a free piece.
    BlockEntry n, loaded;
    DictStatus status = block_read_entry(file, block - 1, &loaded);
    if (status) return status;
    status = block_read_entry(file, moved - 1, &n);
    if (status) return status;
    // KEPT: one would expect the new block to be given back when the bytes cannot be copied. It stays taken, and
    // nothing reclaims it. Test: block_grow.leaves_the_new_block_taken_when_the_move_fails
    status = block_move_bytes(file, (i32)le_get(e->offset), (i32)le_get(n.offset), (i32)le_get(e->size));
    if (status) return status;

    n.free = le32(le_get(n.size) - le_get(e->size) + le_get(e->free));
    BlockEntry old_place = free_piece(le_get(e->offset), le_get(e->size));
    status = block_write_entry(file, moved - 1, &old_place);
    if (status) return status;
    status = block_write_entry(file, block - 1, &n);
    if (status) return status;
    *e = n;
    count_free_entries(file, 1);
    (void)block_table_update_self(file);            // flushes; what it could not write is written later or never
    file->block_changes++;
    (void)header_write(file->file, &file->header);  // it was written by the update too
    return DICT_OK;
}

DictStatus block_grow(DictFile *file, u32 block, BlockEntry *entry, u32 new_size)
{
    BlockEntry e;
    DictStatus status = block_read_entry(file, block - 1, &e);
    if (status) return status;
    if (le_get(e.free) > le_get(e.size) || new_size < le_get(e.size)) return DICT_FAILED;

    i64 end = (i64)le_get(e.offset) + le_get(e.size);
    i32 length = dict_length(file);
    if (length < 0 || (i64)new_size > FILE_MAX) return DICT_NO_ROOM;
    if (end > length) return DICT_BAD_POSITION;  // damage, which would have us fill the file up to there
    bool at_end = end == length;
    if (at_end && (i64)le_get(e.offset) + new_size > FILE_MAX) return DICT_NO_ROOM;

    status = at_end ? grow_in_place(file, &e, new_size) : grow_by_moving(file, block, &e, new_size);
    if (!status) *entry = e;
    return status;
}

DictStatus block_splice(DictFile *file, u32 block, const void *data, i32 pos, i32 new_len, i32 old_len, i16 unit)
{
    BlockEntry e;
    DictStatus status = block_read_entry(file, block - 1, &e);
    if (status) return status;

    i64 used = (i64)le_get(e.size) - le_get(e.free);  // damage may put it below 0, where no position lies
    if (pos < 0 || old_len < 0 || new_len < 0 || (i64)pos + old_len > used) return DICT_FAILED;
    if ((i64)le_get(e.offset) + le_get(e.size) > dict_length(file)) return DICT_BAD_POSITION;

    i64 delta = (i64)new_len - old_len;
    if (delta > le_get(e.free)) {
        if (unit <= 0) return DICT_FAILED;
        // KEPT: one would expect the bytes that go to be taken off this sum. They are not: a block in growth gets a
        // little more than it needs, and its size in the file shows it.
        // Test: block_splice.grows_as_if_the_old_bytes_stayed
        i64 new_size = ((used + new_len) / unit + 1) * unit;
        if (new_size > FILE_MAX) return DICT_NO_ROOM;
        status = block_grow(file, block, &e, (u32)new_size);
        if (status) return status;
    }

    u32 place = le_get(e.offset) + (u32)pos;
    if (delta != 0) {
        status = block_move_bytes(file, (i32)(place + (u32)old_len), (i32)(place + (u32)new_len),
                                  (i32)(used - old_len - pos));
        if (status) return status;
    }
    if (new_len != 0) {
        status = dict_write_at(file->file, place, data, new_len);
        if (status) return status;
    }
    // KEPT: one would expect a block that has lost most of its bytes to give some of its room back. It never shrinks.
    // Test: block_splice.never_shrinks_a_block
    e.free = le32((u32)((i64)le_get(e.free) - delta));
    return block_write_entry(file, block - 1, &e);
}

GHandle block_read(DictFile *file, u32 block, ConstPString label, DictStatus *status)
{
    BlockEntry entry;
    *status = block_read_entry(file, block - 1, &entry);
    if (*status) return 0;

    i32 length = dict_length(file);
    i64 end = (i64)le_get(entry.offset) + le_get(entry.size);
    if (length < 0 || end > length) {  // never ask for more memory than the file can fill
        *status = DICT_BAD_POSITION;
        return 0;
    }
    GHandle handle = galloc((i32)le_get(entry.size), label, 1);  // zeros, should somebody cut the file short now
    if (!handle) {
        *status = DICT_NO_MEMORY;
        return 0;
    }
    *status = dict_read_at(file, le_get(entry.offset), glock(handle), (i32)le_get(entry.size));
    gunlock(handle);
    if (!*status) return handle;
    gfree(handle);
    return 0;
}

} // namespace zuk
