#include "engine/lifecycle.h"

#include "engine/pinned_cache.h"
#include "files/file.h"
#include "files/names.h"
#include "foundation/pstrings.h"
#include "settings/options.h"

namespace zuk {

DictStatus dict_open_selected(const DictCookie *cookie, i32 selector, u16 mode, u16 option)
{
    DictFile *file = dict_file_by_cookie(cookie, selector);
    if (!file) return DICT_NOT_FOUND;
    return dict_file_open(file, slot_path_at(cookie->slot, selector), mode, option);
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
    i16 min_id = (i16)option_min_id();  // compared in 16 bits
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
    i32 slot = id < 0 ? 0 : slot_find((u16)id);
    if (!slot) return DICT_OK;
    DictCookie closed = { .slot = slot, .selector = 0, .other_selector = 0 };
    for (i32 selector = 0; selector < SLOT_FILES; selector++) (void)dict_close_selected(&closed, selector);
    slot_release((u16)id);
    return DICT_OK;
}

} // extern "C"
