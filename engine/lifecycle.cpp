#include "engine/lifecycle.h"

#include "engine/core_storage.h"
#include "engine/locks.h"
#include "engine/pinned_cache.h"
#include "files/file.h"
#include "files/names.h"
#include "foundation/pstrings.h"
#include "settings/options.h"

namespace zuk {

// ---- The core tables of a file that was just opened -----------------------------------------------------------------

// A further file has a middle range of its own and borrows the others from file 0.
static DictStatus bring_in_further_tables(DictFile *file, DictFile *main)
{
    // KEPT: one would expect the file to be closed again without the lock. It stays open, without tables.
    // Test: dict_open_selected.leaves_the_file_open_without_the_lock
    bool locked = read_lock_needed(file);
    if (locked && !read_lock(file)) return DICT_LOCKED_OUT;
    // KEPT: one would expect a missing middle range to be made, as it is for file 0. The read lock keeps out the write
    // lock that it needs, which is tried for about a minute, or the tables go to file 0, where writes go as a rule. The
    // load ends either way. Test: dict_open_selected.makes_no_middle_range_for_a_shared_further_file
    (void)core_tables_load(file, main);  // its status is not looked at, as below
    if (locked) read_unlock(file);
    return DICT_OK;
}

// Rebuild the tables from the contents of the file, which is opened for this alone and then for the caller again.
static DictStatus rebuild_tables(const DictCookie *cookie, i32 selector, u16 mode, u16 option)
{
    DictFile *file = dict_file_by_cookie(cookie, selector);
    PString path = slot_path_at(cookie->slot, selector);
    (void)dict_file_close(file);  // nobody is left to tell

    // KEPT: one would expect a file that cannot be had alone to be told, or to be opened as it is. The status is 0, no
    // file is open, and the next operation gives 7. Test: dict_open_selected.gives_0_and_no_file_when_it_is_not_alone
    if (dict_file_open(file, path, DICT_EXCLUSIVE, option)) return DICT_OK;

    DictCookie before = dict_set->current;
    dict_set->current = { .slot = cookie->slot, .selector = cookie->selector, .other_selector = selector };
    DictStatus status = dict_reset_core_tables(file);
    (void)dict_file_close(file);

    // KEPT: one would expect the new tables in memory. The close has freed them and nothing loads them again, so that
    // no owner is known until the file is opened once more. Test: dict_open_selected.knows_no_owner_after_a_rebuild
    (void)dict_file_open(file, path, mode, option);  // a failure shows in the file that is not open
    dict_set->current = before;
    return status;
}

static DictStatus bring_in_tables(const DictCookie *cookie, i32 selector, u16 mode, u16 option)
{
    DictFile *file = dict_file_by_cookie(cookie, selector);
    if (selector != 0 && mode != DICT_EXCLUSIVE) return bring_in_further_tables(file, dict_file_at(cookie->slot, 0));

    // KEPT: one would expect a failed load to be told. Its status is not looked at; only a file without the table of
    // type 9 in the lowest range is treated otherwise. Test: ds_openfile.does_not_look_at_the_status_of_the_load
    (void)core_tables_load(file, nullptr);

    // KEPT: one would expect every open of a file from before the core tables to rebuild them from its contents, and an
    // open for reading to write nothing. In the modes that write, the load has added empty tables and nobody walks the
    // resources; only an open for reading, which could add nothing, rebuilds them, and so it writes the file.
    // Test: ds_openfile.rebuilds_only_in_an_open_for_reading
    if (dict_has_core_tables(file)) return DICT_OK;
    return rebuild_tables(cookie, selector, mode, option);
}

// ---- By cookie and selector -----------------------------------------------------------------------------------------

DictStatus dict_open_selected(const DictCookie *cookie, i32 selector, u16 mode, u16 option)
{
    DictFile *file = dict_file_by_cookie(cookie, selector);
    if (!file) return DICT_NOT_FOUND;
    DictStatus status = dict_file_open(file, slot_path_at(cookie->slot, selector), mode, option);
    return status ? status : bring_in_tables(cookie, selector, mode, option);
}

DictStatus dict_close_selected(const DictCookie *cookie, i32 selector)
{
    DictFile *file = dict_file_by_cookie(cookie, selector);
    if (!file) return DICT_NOT_FOUND;
    return dict_file_close(file);
}

DictStatus dict_create_selected(const DictCookie *cookie, i32 selector)
{
    ConstPString path = slot_path_at(cookie->slot, selector);
    if (!path) return DICT_NOT_FOUND;
    DictStatus status = dict_file_create(path);
    if (status || selector == 0) return status;
    static const u8 type[] = { 4, 'R', 'D', 'I', 'C' };
    static const u8 creator[] = { 4, 'Q', 'R', 'E', 'B' };
    file_settype(path, type, creator);
    return DICT_OK;
}

i32 dict_file_reopen(const DictCookie *cookie, i32 selector, u16 mode)
{
    DictFile *file = dict_file_by_cookie(cookie, selector);
    if (!file || !dict_file_is_open(file)) return 0;

    // KEPT: one would expect only this file's blocks to go. All pinned blocks of all dictionaries are forgotten.
    // Test: dict_file_reopen.empties_the_whole_pinned_cache
    cache_clear();
    (void)file_close(file->file);  // there is nothing to do about a failure
    file->file = file_open(file->path, mode);
    if (file->file) {
        file->open_mode = mode;
        return 1;
    }
    file->file = file_open(file->path, file->open_mode);
    return 0;
}

// The bounds of the identifiers that are given out.
// KEPT: one would expect a small MinID to count without the main product. Below 22000 it does not.
// Test: dd_init.keeps_22000_whatever_a_small_min_id_says
static void set_id_bounds()
{
    bool main_product = option_main_product() != 0;
    i16 min_id = option_min_id();
    i16 floor = main_product ? 1 : 22000;
    dict_set->not_main_product = !main_product;
    lowest_id = min_id > floor ? min_id : floor;
    highest_id = main_product ? 19999 : 31999;
}

} // namespace zuk

using namespace zuk;

extern "C" {

int32_t dd_init(void)
{
    // KEPT: one would expect a second start to be refused, and a failed one to leave nothing. The first set is
    // forgotten with its open files, and without memory for the pinned cache the new set stays.
    // Test: dd_init.called_twice_forgets_the_first_set
    // Test: dd_init.gives_0_without_memory_for_the_pinned_cache_and_keeps_the_set
    if (!set_init()) return 0;
    if (!cache_init()) return 0;
    set_id_bounds();
    return 1;
}

void dd_term(void)
{
    for (i32 slot = 1; slot <= slot_total(); slot++) {
        for (i32 selector = 0; selector < SLOT_FILES; selector++) {
            (void)dict_file_close(dict_file_at(slot, selector));  // 7 where no file is open
        }
    }
    set_free();
    cache_free();
}

DictStatus ds_openfile(uint16_t id, ConstPString path, uint16_t mode, uint16_t option, DictCookie *cookie)
{
    DictStatus status = slot_claim(id);
    if (status) return status;
    DictCookie opened = { .slot = slot_find(id), .selector = 0, .other_selector = 0 };
    slot_set_path(id, 0, path);

    // KEPT: one would expect a failed open to give the former dictionary back. It is current before the file is open
    // and stays so, naming a slot that is then released. Test: ds_openfile.leaves_current_at_the_released_slot
    (void)ds_setcurdict(&opened);  // the slot has just been claimed
    status = path ? dict_open_selected(&opened, 0, mode, option) : DictStatus{ DICT_NO_NAME };
    if (status) {
        if (dict_selected_is_open(&opened, 0)) (void)dict_close_selected(&opened, 0);  // or the slot could not be used
        if (cookie) *cookie = {};
        slot_release(id);
        return status;
    }

    u8 name[PSTRING_SIZE];
    slot_set_name(&opened, filename_name(name, path));
    if (cookie) *cookie = opened;
    return DICT_OK;
}

DictStatus ds_createfile(uint16_t id, ConstPString path)
{
    DictStatus status = slot_claim(id);
    if (status) return status;
    // KEPT: one would expect no slot to be touched. One is claimed and released, so that an identifier in use gives 2
    // and the set can become longer. Test: ds_createfile.claims_and_releases_a_slot
    DictCookie made = { .slot = slot_find(id), .selector = 0, .other_selector = 0 };
    slot_set_path(id, 0, path);
    status = path ? dict_create_selected(&made, 0) : DictStatus{ DICT_NO_NAME };
    slot_release(id);
    return status;
}

DictStatus ds_closefile(int16_t id)
{
    // KEPT: one would expect a status. It is always 0; a negative identifier does nothing, so that one from 32768 on is
    // closed by `dd_term` alone, and `current` stays. Test: ds_closefile.always_gives_0
    // Test: ds_closefile.leaves_current_where_it_was
    i32 slot = id < 0 ? 0 : slot_find((u16)id);
    if (!slot) return DICT_OK;
    DictCookie closed = { .slot = slot, .selector = 0, .other_selector = 0 };
    for (i32 selector = 0; selector < SLOT_FILES; selector++) (void)dict_close_selected(&closed, selector);
    slot_release((u16)id);
    return DICT_OK;
}

} // extern "C"
