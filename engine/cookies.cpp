#include "engine/cookies.h"

#include "files/names.h"
#include "foundation/pstrings.h"

#include <string.h>

namespace zuk {

static void cookie_with_file(DictCookie *cookie, i32 slot, i32 selector)
{
    *cookie = { .slot = slot, .selector = slot_selector_if_open(slot, selector), .other_selector = 0 };
}

// ---- Making cookies -------------------------------------------------------------------------------------------------

static i32 cookie_for_current(DictCookie *cookie, i32 selector)
{
    if (!dict_set) *cookie = {};
    else cookie_with_file(cookie, dict_set->current.slot, selector);
    return cookie->selector;
}

i32 cookie_current_second(DictCookie *cookie) { return cookie_for_current(cookie, 2); }

static i32 cookie_for_id_with(DictCookie *cookie, u16 id, i32 selector)
{
    i32 slot = slot_find(id);
    cookie_with_file(cookie, slot, selector);
    return slot != 0;
}

i32 cookie_for_id(DictCookie *cookie, u16 id) { return cookie_for_id_with(cookie, id, 1); }
i32 cookie_for_id_second(DictCookie *cookie, u16 id) { return cookie_for_id_with(cookie, id, 2); }

// The first slot of that name, 0 if none.
// KEPT: one would expect only open dictionaries to be found. A released slot keeps its name and is found by it.
// Test: cookie_for_name.finds_a_released_slot
static i32 slot_of_name(ConstPString name)
{
    for (i32 slot = 1; slot <= slot_total(); slot++) {
        if (pstricompare(slot_at(slot)->name, name, 1, 255, 0) == 0) return slot;
    }
    return 0;
}

i32 cookie_for_name(ConstPString name, DictCookie *cookie)
{
    i32 slot = slot_of_name(name);
    cookie_with_file(cookie, slot, 1);
    return slot != 0;
}

i32 cookie_for_name_second(ConstPString name, DictCookie *cookie)
{
    i32 slot = slot_of_name(name);
    if (!slot) return 0;
    // KEPT: one would expect the slot that matches. The number behind it is stored, with file 2 of the one that
    // matches; and no match leaves the cookie as it was. Test: cookie_for_name_second.gives_the_slot_behind
    // Test: cookie_for_name_second.leaves_the_cookie_when_no_name_matches
    *cookie = { .slot = slot + 1, .selector = slot_selector_if_open(slot, 2), .other_selector = 0 };
    return 1;
}

static i32 cookie_for_slot_two_with(DictCookie *cookie, i32 selector)
{
    cookie_with_file(cookie, 2, selector);
    return 1;
}

i32 cookie_for_slot_two(DictCookie *cookie)
{
    // KEPT: one would expect a test for two slots. The slot to redirect to is compared with the slots in use, so a
    // fresh set gives slot 2, which does not exist. Test: cookie_for_slot_two.compares_main_slot_with_the_used_slots
    if (!dict_set || dict_set->main_slot > dict_set->used_slots) return 0;
    return cookie_for_slot_two_with(cookie, 1);
}

i32 cookie_for_slot_two_second(DictCookie *cookie)
{
    if (slot_used_count() < 2) return 0;
    return cookie_for_slot_two_with(cookie, 2);
}

void cookie_for_first_slot(DictCookie *cookie)
{
    bool free = slot_id_at(1) == SLOT_FREE;
    *cookie = { .slot = 1, .selector = free ? 0 : slot_selector_if_open(1, 1), .other_selector = 0 };
}

void cookie_for_first_slot_plain(DictCookie *cookie)
{
    *cookie = { .slot = slot_id_at(1) == SLOT_FREE ? 0 : 1, .selector = 0, .other_selector = 0 };
}

// ---- Reading and changing cookies -----------------------------------------------------------------------------------

void cookie_copy(DictCookie *to, const DictCookie *from) { *to = *from; }
void cookie_clear(DictCookie *cookie) { cookie->slot = 0; }
bool cookie_is_set(const DictCookie *cookie) { return cookie->slot != 0; }
i32 cookie_other_selector(const DictCookie *cookie) { return cookie->other_selector; }

// KEPT: one would expect selector 0 to be set where file 0 is open. The test gives the selector of an open file, and
// that is 0, which reads as closed: a cookie never goes back to file 0 by these two.
// Test: cookie_set_selector.never_stores_0
i32 cookie_set_selector(DictCookie *cookie, i32 selector)
{
    if (slot_selector_if_open(cookie->slot, selector) == 0) return 0;
    cookie->selector = selector;
    return 1;
}

i32 cookie_set_other_selector(DictCookie *cookie, i32 selector)
{
    if (slot_selector_if_open(cookie->slot, selector) == 0) return 0;
    cookie->other_selector = selector;
    return 1;
}

bool cookie_same_slot(const DictCookie *a, const DictCookie *b) { return a->slot == b->slot; }

bool cookie_is_current(const DictCookie *cookie, i16 id)
{
    bool current = dict_set && cookie->slot == dict_set->current.slot;
    // KEPT: one would expect identifiers from 22000 on to be answered in another way. Both branches say the same.
    // Test: cookie_is_current.answers_the_same_below_and_above_22000
    return id < 22000 ? current : current;  // NOLINT(bugprone-branch-clone)
}

void cookie_name(const DictCookie *cookie, PString out) { slot_name_at(cookie->slot, out); }

i32 cookie_path(const DictCookie *cookie, i32 selector, PString out)
{
    ConstPString path = slot_path_at(cookie->slot, selector);
    if (!path) return 0;
    pstricpy(out, path, 1, 255);
    return 1;
}

u16 cookie_dict_id(const DictCookie *cookie) { return slot_id_at(cookie->slot); }

// ---- Values of the set ----------------------------------------------------------------------------------------------

void set_base_path(ConstPString path)
{
    if (dict_set) pstricpy(dict_set->base_path, path, 1, 255);
}

void get_base_path(PString out)
{
    pstrnull(out);
    if (dict_set) pstricpy(out, dict_set->base_path, 1, 255);
}

void get_base_dir(PString out)
{
    pstrnull(out);
    if (dict_set) filename_dir(out, dict_set->base_path);
}

void get_base_file(PString out)
{
    pstrnull(out);
    if (dict_set) filename_name(out, dict_set->base_path);
}

void set_redirect_to_main(u16 flag)
{
    if (dict_set) dict_set->redirect_to_main = flag;
}

void set_main_slot(u16 slot)
{
    if (dict_set) dict_set->main_slot = slot;
}

void set_main_slot_from_cookie(const DictCookie *cookie)
{
    if (cookie_is_set(cookie)) set_main_slot((u16)cookie->slot);
}

u16 get_user_word(i16 index)
{
    return dict_set && (index == 0 || index == 1) ? dict_set->user_words[index] : (u16)0;
}

void set_user_word(i16 index, u16 value)
{
    if (!dict_set) return;
    // KEPT: one would expect a bad index to be refused, and the words to mean something here. The test of the index
    // rejects none; what is neither 0 nor 1 goes to the word of its low bit, so that nothing else is overwritten. The
    // words are the callers' own, and no operation asks for them. Test: set_user_word.rejects_no_index
    dict_set->user_words[index & 1] = value;
}

// ---- Slots as a whole -----------------------------------------------------------------------------------------------

static void repair_paths(DictSlot *slot)
{
    for (i32 selector = 0; selector < SLOT_FILES; selector++) slot->files[selector].path = slot->paths[selector];
}

// What hangs on the files of a slot belongs to another slot from here on: two that hold the same memory would be left
// with dead pointers as soon as one of them grows or closes. The platform files stay with both.
static void forget_structures(DictSlot *slot)
{
    for (DictFile &file : slot->files) {
        file.module_table_handle = 0;
        file.module_table = nullptr;
        file.module_entries = nullptr;
        file.directories_handle = 0;
        file.directories = nullptr;
        file.page_cache_handle = 0;
        file.page_cache = nullptr;
        file.core_tables = nullptr;
        file.core_tables_handle = 0;
    }
}

void slot_remove(u16 id)
{
    i32 slot = slot_find(id);
    if (!slot) return;
    slot_release(id);
    // KEPT: one would expect all slots behind it to move up. One does, whatever may follow, so that two slots can hold
    // the same files; and the last slot of the array is cleared. Test: slot_remove.moves_one_slot_only
    i32 last = slot_total();
    if (slot != last) {
        *slot_at(slot) = *slot_at(slot + 1);
        repair_paths(slot_at(slot));
        forget_structures(slot_at(slot + 1));  // which reads as empty, should it stay
    }
    *slot_at(last) = {};
    slot_at(last)->id = SLOT_FREE;
}

void slot_release_all_but_first()
{
    // KEPT: one would expect every slot behind the first. The walk ends at the number of slots in use, so that a free
    // slot in between leaves the last one taken. Test: slot_release_all_but_first.ends_at_the_number_of_used_slots
    i32 used = slot_used_count();
    for (i32 slot = 2; slot <= used; slot++) {
        if (slot_id_at(slot) != SLOT_FREE) slot_release(slot_id_at(slot));
    }
}

} // namespace zuk

extern "C" {

int32_t ds_default_form_cookie(DictCookie *cookie) { return cookie ? zuk::cookie_for_current(cookie, 1) : 0; }

DictStatus ds_setcurdict(const DictCookie *cookie)
{
    using namespace zuk;
    if (!dict_set) return DICT_NOT_STARTED;
    if (!cookie || !slot_at(cookie->slot)) return DICT_NOT_FOUND;
    // KEPT: one would expect a slot that is free, or a file that is closed, to be refused. Only the slot number is
    // tested; the operations that follow find that no file is open. Test: ds_setcurdict.takes_a_free_slot
    dict_set->current = *cookie;
    return DICT_OK;
}

} // extern "C"
