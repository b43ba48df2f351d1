#include "engine/dict_set.h"

#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

constexpr DictStatus OK = DICT_OK;

// The set alone, with one free slot and no library around it. Whatever a test puts into a `file` field is a mark and no
// open file: nothing here calls the platform's files.
struct SetAlone {
    u32 alive = handles_alive();

    SetAlone() { EXPECT_TRUE(set_init()); }
    ~SetAlone()
    {
        set_free();
        EXPECT_EQ(handles_alive(), alive) << "handles left alive";
    }

    // Slots 1, 2, ... in use under the identifiers 10, 20, ...
    void claim(i32 count)
    {
        for (i32 i = 1; i <= count; i++) EXPECT_EQ(slot_claim((u16)(i * 10)), OK);
    }
};

// As if the file were open.
void mark_open(i32 slot, i32 selector) { dict_file_at(slot, selector)->file = 77; }

std::string text(ConstPString string) { return std::string((const char *)string + 1, string[0]); }

void set_current(i32 slot, i32 selector, i32 other_selector)
{
    dict_set->current = { .slot = slot, .selector = selector, .other_selector = other_selector };
}

// ---- The unit -------------------------------------------------------------------------------------------------------

TEST(dict_set, has_every_operation)
{
    const AnyProc operations[] = {
        (AnyProc)set_init, (AnyProc)set_free, (AnyProc)slot_claim, (AnyProc)slot_release, (AnyProc)slot_grow,
        (AnyProc)slot_find, (AnyProc)slot_at, (AnyProc)slot_id_at, (AnyProc)slot_total, (AnyProc)slot_used_count,
        (AnyProc)slot_set_path, (AnyProc)slot_path_at, (AnyProc)slot_set_name, (AnyProc)slot_name_at,
        (AnyProc)slot_is_active, (AnyProc)slot_set_active, (AnyProc)dict_file_at, (AnyProc)dict_file_by_cookie,
        (AnyProc)dict_file_of_cookie, (AnyProc)dict_file_of_cookie_kind1, (AnyProc)slot_selector_if_open,
        (AnyProc)dict_selected_is_open, (AnyProc)current_cookie_get, (AnyProc)current_dict_id,
        (AnyProc)dict_select_file,
    };
    for (AnyProc operation : operations) EXPECT_NE(operation, nullptr);
    EXPECT_EQ(std::set<AnyProc>(std::begin(operations), std::end(operations)).size(), std::size(operations));
}

// The order and width of the fields, as far as they do not depend on the width of a pointer.
TEST(dict_set, has_its_fields_in_order)
{
    DictSlot slot = {};
    EXPECT_EQ(sizeof slot.id, 2u);
    EXPECT_EQ(sizeof slot.paths, 3u * 256u);
    EXPECT_EQ(std::size(slot.files), 3u);
    EXPECT_EQ(sizeof slot.name, 32u);
    EXPECT_LT((void *)&slot.id, (void *)slot.paths);
    EXPECT_LT((void *)slot.paths, (void *)slot.files);
    EXPECT_LT((void *)slot.files, (void *)slot.name);
    EXPECT_LT((void *)slot.name, (void *)&slot.inactive);

    EXPECT_EQ(sizeof(DictCookie), 12u);
    EXPECT_EQ(offsetof(DictSet, used_slots), 12u);
    EXPECT_EQ(offsetof(DictSet, free_slots), 14u);
    EXPECT_EQ(offsetof(DictSet, base_path), 16u);
    EXPECT_EQ(offsetof(DictSet, redirect_to_main), 272u);
    EXPECT_EQ(offsetof(DictSet, not_main_product), 274u);
    EXPECT_EQ(offsetof(DictSet, main_slot), 276u);
    EXPECT_EQ(offsetof(DictSet, user_words), 278u);
}

// ---- Start and end --------------------------------------------------------------------------------------------------

TEST(set_init, gives_a_set_of_zeros_with_one_free_slot)
{
    SetAlone set;
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(slot_used_count(), 0);
    EXPECT_EQ(dict_set->free_slots, 1u);
    EXPECT_EQ(slot_id_at(1), 65535u);

    EXPECT_EQ(dict_set->current.slot, 0);
    EXPECT_EQ(dict_set->current.selector, 0);
    EXPECT_EQ(dict_set->current.other_selector, 0);
    EXPECT_EQ(dict_set->base_path[0], 0u);
    EXPECT_EQ(dict_set->redirect_to_main, 0u);
    EXPECT_EQ(dict_set->main_slot, 0u);
    EXPECT_EQ(dict_set->user_words[0], 0u);
    EXPECT_EQ(dict_set->user_words[1], 0u);
    for (i32 selector = 0; selector < 3; selector++) {
        EXPECT_EQ(slot_path_at(1, selector)[0], 0u);
        EXPECT_FALSE(dict_file_is_open(dict_file_at(1, selector)));
        EXPECT_EQ(dict_file_at(1, selector)->lock_state, 0);
    }
}

TEST(set_init, fails_without_memory)
{
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_FALSE(set_init());
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict_set, nullptr);
    EXPECT_EQ(slot_total(), 0);
}

TEST(set_init, forgets_an_older_set)
{
    SetAlone set;
    GHandle older = ghandle(dict_set);
    set.claim(1);
    EXPECT_TRUE(set_init());
    EXPECT_EQ(slot_find(10), 0);
    EXPECT_EQ(slot_total(), 1);
    EXPECT_NE(glock(older), nullptr);  // lost, not freed
    gfree(older);
}

TEST(set_free, leaves_no_set)
{
    u32 alive = handles_alive();
    EXPECT_TRUE(set_init());
    set_free();
    EXPECT_EQ(dict_set, nullptr);
    EXPECT_EQ(handles_alive(), alive);
    set_free();  // once more does nothing
    EXPECT_EQ(dict_set, nullptr);
}

// ---- Claiming a slot ------------------------------------------------------------------------------------------------

TEST(slot_claim, gives_15_without_a_set)
{
    EXPECT_EQ(slot_claim(10), (DictStatus)DICT_NOT_STARTED);
}

TEST(slot_claim, stores_the_identifier_and_counts)
{
    SetAlone set;
    EXPECT_EQ(slot_claim(10), OK);
    EXPECT_EQ(slot_id_at(1), 10u);
    EXPECT_EQ(dict_set->used_slots, 1u);
    EXPECT_EQ(dict_set->free_slots, 0u);
}

TEST(slot_claim, takes_identifier_0_and_65534)
{
    SetAlone set;
    EXPECT_EQ(slot_claim(0), OK);
    EXPECT_EQ(slot_claim(65534), OK);
    EXPECT_EQ(slot_find(0), 1);
    EXPECT_EQ(slot_find(65534), 2);
}

TEST(slot_claim, gives_2_for_an_identifier_in_use)
{
    SetAlone set;
    set.claim(2);
    EXPECT_EQ(slot_claim(20), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(slot_total(), 2);  // it did not grow for it
    EXPECT_EQ(slot_used_count(), 2);
}

TEST(slot_claim, gives_2_for_65535_with_a_free_slot_and_without_one)
{
    SetAlone set;
    EXPECT_EQ(slot_claim(65535), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(slot_used_count(), 0);
    set.claim(1);
    EXPECT_EQ(slot_claim(65535), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(slot_used_count(), 1);
}

TEST(slot_claim, takes_the_first_free_slot_in_their_order)
{
    SetAlone set;
    set.claim(4);
    slot_release(30);
    slot_release(20);
    EXPECT_EQ(slot_claim(90), OK);
    EXPECT_EQ(slot_find(90), 2);
    EXPECT_EQ(slot_claim(91), OK);
    EXPECT_EQ(slot_find(91), 3);
    EXPECT_EQ(slot_total(), 4);
}

TEST(slot_claim, grows_the_set_by_one_slot_when_none_is_free)
{
    SetAlone set;
    set.claim(3);
    EXPECT_EQ(slot_total(), 3);
    EXPECT_EQ(dict_set->free_slots, 0u);
}

TEST(slot_claim, passes_on_that_the_set_cannot_grow)
{
    SetAlone set;
    set.claim(1);
    GHandle lost = ghandle(dict_set);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(slot_claim(20), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    gfree(lost);
}

TEST(slot_claim, gives_9_when_the_count_of_free_slots_is_wrong)
{
    SetAlone set;
    set.claim(1);
    dict_set->free_slots = 1;  // of 2 slots that the counts tell, the array has none that is free
    GHandle handle = ghandle(dict_set);
    EXPECT_TRUE(grealloc(&handle, (i32)(gsize(handle) + (i32)sizeof(DictSlot))));
    dict_set = (DictSet *)glock(handle);
    EXPECT_EQ(slot_claim(20), (DictStatus)DICT_NO_MEMORY);
    EXPECT_EQ(slot_used_count(), 1);
}

// ---- Releasing it ---------------------------------------------------------------------------------------------------

TEST(slot_release, keeps_place_and_contents)
{
    SetAlone set;
    set.claim(2);
    slot_set_path(10, 0, Name("a/b.dic"));
    slot_set_path(10, 2, Name("c.dic"));
    DictCookie first = { .slot = 1, .selector = 0, .other_selector = 0 };
    slot_set_name(&first, Name("b.dic"));
    dict_file_at(1, 0)->lock_state = LOCK_WRITER;

    slot_release(10);
    EXPECT_EQ(slot_id_at(1), 65535u);
    EXPECT_EQ(slot_find(20), 2);
    EXPECT_EQ(dict_set->used_slots, 1u);
    EXPECT_EQ(dict_set->free_slots, 1u);

    EXPECT_EQ(slot_claim(30), OK);
    EXPECT_EQ(slot_find(30), 1);
    EXPECT_EQ(text(slot_path_at(1, 0)), "a/b.dic");
    EXPECT_EQ(text(slot_path_at(1, 2)), "c.dic");
    Name name;
    slot_name_at(1, name);
    EXPECT_EQ(name.str(), "b.dic");
    EXPECT_EQ(dict_file_at(1, 0)->lock_state, LOCK_WRITER);
}

TEST(slot_release, does_nothing_for_an_identifier_that_no_slot_has)
{
    SetAlone set;
    set.claim(1);
    slot_release(20);
    EXPECT_EQ(slot_used_count(), 1);
    EXPECT_EQ(slot_total(), 1);
}

TEST(slot_release, does_nothing_for_65535_though_a_free_slot_holds_it)
{
    SetAlone set;
    set.claim(2);
    slot_release(20);
    slot_release(65535);
    EXPECT_EQ(dict_set->used_slots, 1u);
    EXPECT_EQ(dict_set->free_slots, 1u);
}

TEST(slot_release, does_nothing_without_a_set)
{
    slot_release(10);
    EXPECT_EQ(dict_set, nullptr);
}

// ---- Growing the set ------------------------------------------------------------------------------------------------

TEST(slot_grow, keeps_what_the_slots_hold)
{
    SetAlone set;
    set.claim(1);
    dict_set->current = { .slot = 1, .selector = 2, .other_selector = 1 };
    dict_set->main_slot = 9;
    slot_set_path(10, 1, Name("one"));
    dict_file_at(1, 2)->option = 4711;

    EXPECT_EQ(slot_grow(1), OK);
    EXPECT_EQ(slot_id_at(1), 10u);
    EXPECT_EQ(dict_set->current.selector, 2);
    EXPECT_EQ(dict_set->main_slot, 9u);
    EXPECT_EQ(text(slot_path_at(1, 1)), "one");
    EXPECT_EQ(dict_file_at(1, 2)->option, 4711u);
}

TEST(slot_grow, sets_the_path_of_every_file_again)
{
    SetAlone set;
    set.claim(3);
    for (u16 id = 10; id <= 30; id = (u16)(id + 10)) {
        for (i32 selector = 0; selector < 3; selector++) {
            slot_set_path(id, selector, Name("path " + std::to_string(id + selector)));
        }
    }
    DictSet *before = dict_set;
    while (dict_set == before) EXPECT_EQ(slot_grow(1), OK);  // until the slots have moved
    for (i32 slot = 1; slot <= 3; slot++) {
        for (i32 selector = 0; selector < 3; selector++) {
            EXPECT_EQ(dict_file_at(slot, selector)->path, slot_path_at(slot, selector));
            EXPECT_EQ(text(dict_file_at(slot, selector)->path), "path " + std::to_string(slot * 10 + selector));
        }
    }
}

TEST(slot_grow, marks_the_new_slots_free_and_counts_them)
{
    SetAlone set;
    set.claim(1);
    EXPECT_EQ(slot_grow(3), OK);
    EXPECT_EQ(slot_total(), 4);
    EXPECT_EQ(dict_set->used_slots, 1u);
    EXPECT_EQ(dict_set->free_slots, 3u);
    for (i32 slot = 2; slot <= 4; slot++) {
        EXPECT_EQ(slot_id_at(slot), 65535u);
        EXPECT_EQ(slot_path_at(slot, 0)[0], 0u);
        EXPECT_FALSE(dict_file_is_open(dict_file_at(slot, 0)));
    }
}

TEST(slot_grow, loses_the_set_when_memory_is_short)
{
    SetAlone set;
    set.claim(1);
    mark_open(1, 0);
    GHandle lost = ghandle(dict_set);

    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(slot_grow(1), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict_set, nullptr);
    EXPECT_EQ(slot_total(), 0);
    EXPECT_EQ(slot_find(10), 0);
    EXPECT_EQ(slot_claim(10), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(dict_file_at(1, 0), nullptr);
    gfree(lost);
}

// ---- Looking at slots -----------------------------------------------------------------------------------------------

TEST(slot_find, gives_the_slot_number_or_0)
{
    SetAlone set;
    set.claim(2);
    EXPECT_EQ(slot_find(10), 1);
    EXPECT_EQ(slot_find(20), 2);
    EXPECT_EQ(slot_find(30), 0);
}

TEST(slot_find, finds_no_free_slot_by_65535)
{
    SetAlone set;
    EXPECT_EQ(slot_find(65535), 0);
}

TEST(slot_find, gives_0_without_a_set)
{
    EXPECT_EQ(slot_find(10), 0);
}

TEST(slot_at, gives_none_outside_the_set)
{
    SetAlone set;
    set.claim(2);
    EXPECT_EQ(slot_at(1), &dict_set->slots[0]);
    EXPECT_EQ(slot_at(2), slot_at(1) + 1);
    for (i32 slot : { 0, -1, 3, 65536, INT32_MIN, INT32_MAX }) EXPECT_EQ(slot_at(slot), nullptr) << slot;
}

TEST(slot_id_at, gives_65535_for_a_bad_number)
{
    SetAlone set;
    set.claim(1);
    EXPECT_EQ(slot_id_at(1), 10u);
    EXPECT_EQ(slot_id_at(0), 65535u);
    EXPECT_EQ(slot_id_at(2), 65535u);
}

TEST(slot_total, counts_used_and_free_slots)
{
    SetAlone set;
    set.claim(3);
    slot_release(20);
    EXPECT_EQ(slot_total(), 3);
    EXPECT_EQ(slot_used_count(), 2);
}

TEST(slot_total, is_0_without_a_set)
{
    EXPECT_EQ(slot_total(), 0);
    EXPECT_EQ(slot_used_count(), 0);
}

// ---- Paths and names ------------------------------------------------------------------------------------------------

TEST(slot_set_path, stores_a_path_for_each_selector)
{
    SetAlone set;
    set.claim(2);
    for (i32 selector = 0; selector < 3; selector++) {
        slot_set_path(20, selector, Name("dir/file" + std::to_string(selector)));
    }
    for (i32 selector = 0; selector < 3; selector++) {
        EXPECT_EQ(text(slot_path_at(2, selector)), "dir/file" + std::to_string(selector));
        EXPECT_EQ(slot_path_at(1, selector)[0], 0u);
    }
}

TEST(slot_set_path, keeps_255_characters)
{
    SetAlone set;
    set.claim(1);
    slot_set_path(10, 0, Name(std::string(255, 'p')));
    EXPECT_EQ(text(slot_path_at(1, 0)), std::string(255, 'p'));
    EXPECT_EQ(slot_path_at(1, 1)[0], 0u);
}

TEST(slot_set_path, empties_the_path_for_null)
{
    SetAlone set;
    set.claim(1);
    slot_set_path(10, 0, Name("old"));
    slot_set_path(10, 0, nullptr);
    EXPECT_EQ(text(slot_path_at(1, 0)), "");
}

TEST(slot_set_path, does_nothing_for_a_bad_identifier_or_selector)
{
    SetAlone set;
    set.claim(1);
    for (i32 selector = 0; selector < 3; selector++) slot_set_path(10, selector, Name("kept"));
    slot_set_path(11, 0, Name("lost"));
    slot_set_path(65535, 0, Name("lost"));
    slot_set_path(10, 3, Name("lost"));
    slot_set_path(10, -1, Name("lost"));
    for (i32 selector = 0; selector < 3; selector++) EXPECT_EQ(text(slot_path_at(1, selector)), "kept");
}

TEST(slot_path_at, gives_none_for_a_bad_slot_or_selector)
{
    SetAlone set;
    EXPECT_NE(slot_path_at(1, 0), nullptr);  // of a free slot as well
    EXPECT_NE(slot_path_at(1, 2), nullptr);
    EXPECT_EQ(slot_path_at(1, 3), nullptr);
    EXPECT_EQ(slot_path_at(1, -1), nullptr);
    EXPECT_EQ(slot_path_at(0, 0), nullptr);
    EXPECT_EQ(slot_path_at(2, 0), nullptr);
}

TEST(slot_set_name, keeps_31_characters)
{
    SetAlone set;
    set.claim(1);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    dict_set->slots[0].inactive = 0x5555;  // what stands behind the name
    slot_set_name(&cookie, Name(std::string(31, 'n') + "lost"));
    Name name;
    slot_name_at(1, name);
    EXPECT_EQ(name.str(), std::string(31, 'n'));
    EXPECT_EQ(dict_set->slots[0].inactive, 0x5555u);
}

TEST(slot_set_name, does_nothing_for_a_bad_slot)
{
    SetAlone set;
    set.claim(1);
    DictCookie cookie = { .slot = 2, .selector = 0, .other_selector = 0 };
    slot_set_name(&cookie, Name("lost"));
    Name name;
    slot_name_at(1, name);
    EXPECT_EQ(name.str(), "");
}

TEST(slot_name_at, gives_an_empty_name_for_a_bad_slot)
{
    SetAlone set;
    Name name("before");
    slot_name_at(2, name);
    EXPECT_EQ(name.str(), "");
}

TEST(slot_set_active, stores_the_negation)
{
    SetAlone set;
    EXPECT_TRUE(slot_is_active(1));  // a new slot has 0
    slot_set_active(1, false);
    EXPECT_EQ(slot_at(1)->inactive, 1u);
    EXPECT_FALSE(slot_is_active(1));
    slot_set_active(1, true);
    EXPECT_EQ(slot_at(1)->inactive, 0u);
    EXPECT_TRUE(slot_is_active(1));
}

TEST(slot_set_active, does_nothing_for_a_bad_slot)
{
    SetAlone set;
    slot_set_active(2, false);
    slot_set_active(0, false);
    EXPECT_TRUE(slot_is_active(1));
    EXPECT_FALSE(slot_is_active(2));
    EXPECT_FALSE(slot_is_active(0));
}

TEST(slot_set_active, hinders_no_operation)
{
    Library library;
    library.add_module(2, 5, "five");
    library.add_module(2, 6, "six");
    slot_set_active(1, false);
    EXPECT_EQ(library.add(2, 6, 9, 1, "name", "body"), OK);
    EXPECT_EQ(library.body(2, 6, 9, 1), "body");
    EXPECT_EQ(slot_selector_if_open(1, 0), 0);
    EXPECT_TRUE(dict_selected_is_open(&library.cookie, 0));
    EXPECT_EQ(ds_setcurdict(&library.cookie), OK);
    library.reopen(DICT_EXCLUSIVE);
    EXPECT_FALSE(slot_is_active(1));  // it stays through close and open
    EXPECT_EQ(library.body(2, 6, 9, 1), "body");
}

// ---- Files ----------------------------------------------------------------------------------------------------------

TEST(dict_file_at, gives_the_file_of_a_slot_and_a_selector)
{
    SetAlone set;
    set.claim(2);
    for (i32 slot = 1; slot <= 2; slot++) {
        for (i32 selector = 0; selector < 3; selector++) {
            EXPECT_EQ(dict_file_at(slot, selector), &dict_set->slots[slot - 1].files[selector]);
        }
    }
}

TEST(dict_file_at, gives_none_for_a_bad_slot_or_selector)
{
    SetAlone set;
    EXPECT_EQ(dict_file_at(1, 3), nullptr);
    EXPECT_EQ(dict_file_at(1, -1), nullptr);
    EXPECT_EQ(dict_file_at(1, INT32_MAX), nullptr);
    EXPECT_EQ(dict_file_at(0, 0), nullptr);
    EXPECT_EQ(dict_file_at(2, 0), nullptr);
}

TEST(dict_file_by_cookie, takes_the_slot_of_the_cookie_alone)
{
    SetAlone set;
    set.claim(2);
    DictCookie cookie = { .slot = 2, .selector = 1, .other_selector = 1 };
    EXPECT_EQ(dict_file_by_cookie(&cookie, 2), dict_file_at(2, 2));
    EXPECT_EQ(dict_file_by_cookie(&cookie, 3), nullptr);
    cookie.slot = 3;
    EXPECT_EQ(dict_file_by_cookie(&cookie, 0), nullptr);
}

TEST(dict_file_of_cookie, goes_by_the_other_selector)
{
    SetAlone set;
    DictCookie cookie = { .slot = 1, .selector = 1, .other_selector = 2 };
    EXPECT_EQ(dict_file_of_cookie(&cookie), dict_file_at(1, 2));
    cookie.other_selector = 3;
    EXPECT_EQ(dict_file_of_cookie(&cookie), nullptr);
}

TEST(dict_file_of_cookie_kind1, goes_by_the_selector)
{
    SetAlone set;
    DictCookie cookie = { .slot = 1, .selector = 1, .other_selector = 2 };
    EXPECT_EQ(dict_file_of_cookie_kind1(&cookie), dict_file_at(1, 1));
    cookie.selector = -1;
    EXPECT_EQ(dict_file_of_cookie_kind1(&cookie), nullptr);
}

TEST(slot_selector_if_open, gives_the_selector_of_an_open_file_else_0)
{
    SetAlone set;
    mark_open(1, 2);
    EXPECT_EQ(slot_selector_if_open(1, 2), 2);
    EXPECT_EQ(slot_selector_if_open(1, 1), 0);
    EXPECT_EQ(slot_selector_if_open(1, 3), 0);
    EXPECT_EQ(slot_selector_if_open(2, 2), 0);
}

TEST(dict_selected_is_open, tells_it_by_cookie)
{
    SetAlone set;
    mark_open(1, 2);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_TRUE(dict_selected_is_open(&cookie, 2));
    EXPECT_FALSE(dict_selected_is_open(&cookie, 0));
    EXPECT_FALSE(dict_selected_is_open(&cookie, 3));  // no such file
    cookie.slot = 2;
    EXPECT_FALSE(dict_selected_is_open(&cookie, 2));
}

TEST(dict_main_file_of, gives_file_0_of_the_same_slot)
{
    SetAlone set;
    set.claim(3);
    for (i32 slot = 1; slot <= 3; slot++) {
        for (i32 selector = 0; selector < 3; selector++) {
            EXPECT_EQ(dict_main_file_of(dict_file_at(slot, selector)), dict_file_at(slot, 0));
        }
    }
    DictFile stranger = {};
    EXPECT_EQ(dict_main_file_of(&stranger), nullptr);
}

TEST(dict_file_usable, gives_15_without_a_set)
{
    DictFile file = {};
    file.file = 77;
    EXPECT_EQ(dict_file_usable(&file), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(dict_file_usable(nullptr), (DictStatus)DICT_NOT_STARTED);
}

TEST(dict_file_usable, gives_3_without_a_file_7_for_a_closed_one_and_0)
{
    SetAlone set;
    EXPECT_EQ(dict_file_usable(nullptr), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(dict_file_usable(dict_file_at(1, 0)), (DictStatus)DICT_NOT_OPEN);
    mark_open(1, 0);
    EXPECT_EQ(dict_file_usable(dict_file_at(1, 0)), OK);
}

// ---- The current dictionary -----------------------------------------------------------------------------------------

TEST(current_cookie_get, copies_the_three_words)
{
    SetAlone set;
    set_current(4, 5, 6);  // nothing is tested
    DictCookie cookie;
    current_cookie_get(&cookie);
    EXPECT_EQ(cookie.slot, 4);
    EXPECT_EQ(cookie.selector, 5);
    EXPECT_EQ(cookie.other_selector, 6);
}

TEST(current_cookie_get, leaves_the_cookie_alone_without_a_set)
{
    DictCookie cookie = { .slot = 4, .selector = 5, .other_selector = 6 };
    current_cookie_get(&cookie);
    EXPECT_EQ(cookie.slot, 4);
    EXPECT_EQ(cookie.selector, 5);
    EXPECT_EQ(cookie.other_selector, 6);
}

TEST(current_dict_id, is_0_without_a_set)
{
    EXPECT_EQ(current_dict_id(), 0u);
}

TEST(current_dict_id, is_the_identifier_of_the_current_slot)
{
    SetAlone set;
    set.claim(2);
    EXPECT_EQ(current_dict_id(), 65535u);  // no dictionary is current yet
    set_current(2, 0, 0);
    EXPECT_EQ(current_dict_id(), 20u);
}

// ---- Which file a read reaches --------------------------------------------------------------------------------------

TEST(dict_select_file, gives_none_without_a_set)
{
    EXPECT_EQ(dict_select_file(1, 9, 1), nullptr);
}

TEST(dict_select_file, gives_none_without_a_current_dictionary)
{
    SetAlone set;
    EXPECT_EQ(dict_select_file(1, 9, 1), nullptr);
    EXPECT_EQ(dict_select_file(2, 9, 1), nullptr);
}

TEST(dict_select_file, gives_none_for_a_selector_outside_0_to_2)
{
    SetAlone set;
    set.claim(1);
    for (i32 bad : { -1, 3, 7, INT32_MAX }) {
        set_current(1, bad, 0);
        EXPECT_EQ(dict_select_file(1, 9, 1), nullptr);
        EXPECT_EQ(dict_select_file(2, 9, 1), dict_file_at(1, 0));
        set_current(1, 0, bad);
        EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 0));
        EXPECT_EQ(dict_select_file(3, 9, 1), nullptr);
    }
}

TEST(dict_select_file, reads_kind_1_by_the_selector)
{
    SetAlone set;
    set.claim(1);
    set_current(1, 1, 2);
    EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 1));
    for (i32 kind : { 2, 3, 0, 4, -1 }) EXPECT_EQ(dict_select_file(kind, 9, 1), dict_file_at(1, 2)) << kind;

    // Where a write of any kind goes:
    EXPECT_EQ(dict_file_of_cookie(&dict_set->current), dict_file_at(1, 2));
}

TEST(dict_select_file, takes_main_only_types_from_file_0)
{
    SetAlone set;
    set.claim(1);
    set_current(1, 1, 2);
    const std::set<i32> main_only = { 5,  7,  11, 12, 13, 14, 18, 19, 20, 21, 22, 26, 32, 33, 34, 35, 36, 37, 38, 39,
                                      40, 41, 42, 43, 44, 45, 48, 50, 51, 52, 54, 55, 59, 60, 61, 62, 63 };
    for (i32 type = 0; type <= 65535; type++) {
        bool main = main_only.count(type) != 0;
        ASSERT_EQ(dict_select_file(1, (u16)type, 1), dict_file_at(1, main ? 0 : 1)) << type;
        ASSERT_EQ(dict_select_file(2, (u16)type, 1), dict_file_at(1, main ? 0 : 2)) << type;
        ASSERT_EQ(dict_select_file(3, (u16)type, 20000), dict_file_at(1, main ? 0 : 2)) << type;
    }
    // The middle range of the core tables is each file's own.
    EXPECT_EQ(dict_select_file(1, 53, 1), dict_file_at(1, 1));
}

// Two dictionaries, the second of them current and the first the main one, redirected.
struct Redirected : SetAlone {
    Redirected()
    {
        claim(2);
        set_current(2, 0, 0);
        dict_set->main_slot = 1;
        dict_set->redirect_to_main = 1;
    }
    bool goes_to_main(i32 kind, u16 type, i16 id)
    {
        const DictFile *file = dict_select_file(kind, type, id);
        return file >= dict_file_at(1, 0) && file <= dict_file_at(1, 2);
    }
};

TEST(dict_select_file, redirects_kind_1_and_eight_types_of_kind_2)
{
    Redirected set;
    for (u16 type = 0; type < 70; type++) {
        bool of_kind_2 = (type >= 19 && type <= 22) || (type >= 60 && type <= 63);
        EXPECT_TRUE(set.goes_to_main(1, type, 1)) << type;
        EXPECT_EQ(set.goes_to_main(2, type, 1), of_kind_2) << type;
        EXPECT_FALSE(set.goes_to_main(3, type, 1)) << type;
    }
}

TEST(dict_select_file, redirects_identifiers_below_20000)
{
    Redirected set;
    for (i32 id : { 1, 19999, 0, -1, -32768 }) EXPECT_TRUE(set.goes_to_main(1, 9, (i16)id)) << id;
    for (i32 id : { 20000, 20001, 32767 }) EXPECT_FALSE(set.goes_to_main(1, 9, (i16)id)) << id;
    EXPECT_FALSE(set.goes_to_main(1, 9, SELECT_NO_REDIRECT));
}

TEST(dict_select_file, does_not_redirect_the_first_slot)
{
    Redirected set;
    dict_set->main_slot = 2;
    set_current(1, 0, 0);
    EXPECT_TRUE(set.goes_to_main(1, 9, 1));  // slot 1 it is, though the main one is 2
}

TEST(dict_select_file, does_not_redirect_without_the_flag)
{
    Redirected set;
    dict_set->redirect_to_main = 0;
    EXPECT_FALSE(set.goes_to_main(1, 9, 1));
    dict_set->redirect_to_main = 0x100;  // any value but 0 counts
    EXPECT_TRUE(set.goes_to_main(1, 9, 1));
}

TEST(dict_select_file, redirects_to_the_selector_that_is_open)
{
    Redirected set;
    for (i32 selector : { 0, 1, 5, -3 }) {
        set_current(2, selector, 0);
        EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 0)) << selector;
    }
    mark_open(1, 1);
    for (i32 selector : { 0, 1, 5, -3 }) {
        set_current(2, selector, 0);
        EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 1)) << selector;
    }
    set_current(2, 2, 0);
    EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 0));  // file 2 is closed, and file 1 not asked for
    mark_open(1, 2);
    EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 2));
}

TEST(dict_select_file, looks_at_the_main_slot_for_open_files)
{
    Redirected set;
    mark_open(2, 1);  // of the current slot: it does not count
    set_current(2, 1, 0);
    EXPECT_EQ(dict_select_file(1, 9, 1), dict_file_at(1, 0));
}

TEST(dict_select_file, takes_main_only_types_from_file_0_of_the_main_slot)
{
    Redirected set;
    mark_open(1, 1);
    set_current(2, 1, 1);
    EXPECT_EQ(dict_select_file(1, 20, 1), dict_file_at(1, 0));
    EXPECT_EQ(dict_select_file(2, 20, 1), dict_file_at(1, 0));
    EXPECT_EQ(dict_select_file(2, 20, 20000), dict_file_at(2, 0));
}

TEST(dict_select_file, gives_none_when_the_main_slot_does_not_exist)
{
    Redirected set;
    for (u16 slot : { (u16)0, (u16)3, (u16)65535 }) {
        dict_set->main_slot = slot;
        EXPECT_EQ(dict_select_file(1, 9, 1), nullptr) << slot;
        EXPECT_EQ(dict_select_file(2, 20, 1), nullptr) << slot;
        EXPECT_EQ(dict_select_file(2, 9, 1), dict_file_at(2, 0)) << slot;
    }
}

TEST(dict_select_file, leaves_the_current_cookie_alone)
{
    Redirected set;
    set_current(2, 1, 2);
    (void)dict_select_file(1, 9, 1);
    EXPECT_EQ(dict_set->current.slot, 2);
    EXPECT_EQ(dict_set->current.selector, 1);
    EXPECT_EQ(dict_set->current.other_selector, 2);
}

TEST(dict_select_file, asks_nothing_of_the_platform)
{
    Library library;
    calls_reset();
    (void)dict_select_file(1, 9, 1);
    (void)dict_select_file(2, 9, 1);
    EXPECT_EQ(call_lines(), std::vector<std::string>());
    EXPECT_EQ(call_counts().alloc, 0u);
}

} // namespace
} // namespace zuk
