#include "engine/cookies.h"

#include "engine/core_tables.h"
#include "engine/lifecycle.h"
#include "engine/module_table.h"
#include "foundation/handles.h"
#include "platform/file_rows.h"
#include "tests/support/dictionary.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace zuk {
namespace {

constexpr DictStatus OK = DICT_OK;

// What no operation writes.
constexpr DictCookie UNTOUCHED = { .slot = 71, .selector = 72, .other_selector = 73 };

std::string words(const DictCookie &cookie)
{
    return std::to_string(cookie.slot) + " " + std::to_string(cookie.selector) + " " +
           std::to_string(cookie.other_selector);
}

// The library, started, without a dictionary.
struct Started {
    TempDir dir;
    u32 alive = handles_alive();
    u32 files = file_rows_open;

    Started() { EXPECT_EQ(dd_init(), 1); }
    ~Started()
    {
        dd_term();
        EXPECT_EQ(handles_alive(), alive) << "handles left alive";
        EXPECT_EQ(file_rows_open, files) << "files left open";
    }

    // A slot in use, with the files of these selectors open.
    i32 add(u16 id, std::initializer_list<i32> selectors = {})
    {
        EXPECT_EQ(slot_claim(id), OK);
        i32 slot = slot_find(id);
        for (i32 selector : selectors) {
            slot_set_path(id, selector, dir.name(std::to_string(id) + "-" + std::to_string(selector)));
            PString path = slot_path_at(slot, selector);
            EXPECT_EQ(dict_file_create(path), OK);
            EXPECT_EQ(dict_file_open(dict_file_at(slot, selector), path, DICT_EXCLUSIVE, 0), OK);
        }
        return slot;
    }
    void name(i32 slot, const std::string &text)
    {
        DictCookie cookie = { .slot = slot, .selector = 0, .other_selector = 0 };
        slot_set_name(&cookie, Name(text));
    }
    void set_current(i32 slot)
    {
        DictCookie cookie = { .slot = slot, .selector = 0, .other_selector = 0 };
        EXPECT_EQ(ds_setcurdict(&cookie), OK);
    }
};

TEST(cookies, has_every_operation)
{
    const AnyProc operations[] = {
        (AnyProc)ds_default_form_cookie, (AnyProc)cookie_current_second, (AnyProc)cookie_for_id,
        (AnyProc)cookie_for_id_second, (AnyProc)cookie_for_name, (AnyProc)cookie_for_name_second,
        (AnyProc)cookie_for_slot_two, (AnyProc)cookie_for_slot_two_second, (AnyProc)cookie_for_first_slot,
        (AnyProc)cookie_for_first_slot_plain, (AnyProc)cookie_copy, (AnyProc)cookie_clear, (AnyProc)cookie_is_set,
        (AnyProc)cookie_other_selector, (AnyProc)cookie_set_selector, (AnyProc)cookie_set_other_selector,
        (AnyProc)cookie_same_slot, (AnyProc)cookie_is_current, (AnyProc)cookie_name, (AnyProc)cookie_path,
        (AnyProc)cookie_dict_id, (AnyProc)set_base_path, (AnyProc)get_base_path, (AnyProc)get_base_dir,
        (AnyProc)get_base_file, (AnyProc)set_redirect_to_main, (AnyProc)set_main_slot,
        (AnyProc)set_main_slot_from_cookie, (AnyProc)get_user_word, (AnyProc)set_user_word, (AnyProc)slot_is_active,
        (AnyProc)slot_set_active, (AnyProc)dict_file_reopen, (AnyProc)slot_remove,
        (AnyProc)slot_release_all_but_first, (AnyProc)ds_setcurdict,
    };
    for (AnyProc operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Making cookies -------------------------------------------------------------------------------------------------

TEST(ds_default_form_cookie, gives_the_current_slot_with_file_1_if_it_is_open)
{
    Started library;
    library.add(10, { 0 });
    library.add(20, { 0, 1 });
    DictCookie cookie = UNTOUCHED;
    library.set_current(1);
    EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
    EXPECT_EQ(words(cookie), "1 0 0");
    library.set_current(2);
    EXPECT_EQ(ds_default_form_cookie(&cookie), 1);
    EXPECT_EQ(words(cookie), "2 1 0");
}

TEST(ds_default_form_cookie, does_not_look_at_the_selectors_of_the_current_cookie)
{
    Started library;
    library.add(10, { 0, 1, 2 });
    DictCookie current = { .slot = 1, .selector = 2, .other_selector = 2 };
    EXPECT_EQ(ds_setcurdict(&current), OK);
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_default_form_cookie(&cookie), 1);
    EXPECT_EQ(words(cookie), "1 1 0");
}

TEST(ds_default_form_cookie, gives_zeros_without_a_set_and_without_a_current_dictionary)
{
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
    EXPECT_EQ(words(cookie), "0 0 0");

    Started library;
    cookie = UNTOUCHED;
    EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
    EXPECT_EQ(words(cookie), "0 0 0");
}

TEST(ds_default_form_cookie, gives_0_for_a_null_cookie)
{
    EXPECT_EQ(ds_default_form_cookie(nullptr), 0);
    Started library;
    library.add(10, { 0, 1 });
    library.set_current(1);
    EXPECT_EQ(ds_default_form_cookie(nullptr), 0);
}

TEST(cookie_current_second, gives_the_current_slot_with_file_2_if_it_is_open)
{
    Started library;
    library.add(10, { 0, 1 });
    library.add(20, { 0, 2 });
    DictCookie cookie = UNTOUCHED;
    library.set_current(1);
    EXPECT_EQ(cookie_current_second(&cookie), 0);
    EXPECT_EQ(words(cookie), "1 0 0");
    library.set_current(2);
    EXPECT_EQ(cookie_current_second(&cookie), 2);
    EXPECT_EQ(words(cookie), "2 2 0");
}

TEST(cookie_current_second, gives_zeros_without_a_set)
{
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_current_second(&cookie), 0);
    EXPECT_EQ(words(cookie), "0 0 0");
}

TEST(cookie_for_id, gives_the_slot_of_the_dictionary_with_file_1)
{
    Started library;
    library.add(10, { 0, 2 });
    library.add(20, { 0, 1 });
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_id(&cookie, 10), 1);
    EXPECT_EQ(words(cookie), "1 0 0");
    cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_id(&cookie, 20), 1);
    EXPECT_EQ(words(cookie), "2 1 0");
}

TEST(cookie_for_id, gives_0_and_no_slot_for_an_unknown_identifier)
{
    Started library;
    for (u16 id : { (u16)10, (u16)65535 }) {  // a free slot holds 65535, and is no dictionary
        DictCookie cookie = UNTOUCHED;
        EXPECT_EQ(cookie_for_id(&cookie, id), 0);
        EXPECT_EQ(words(cookie), "0 0 0");
    }
}

TEST(cookie_for_id_second, gives_the_slot_of_the_dictionary_with_file_2)
{
    Started library;
    library.add(10, { 0, 1 });
    library.add(20, { 0, 2 });
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_id_second(&cookie, 10), 1);
    EXPECT_EQ(words(cookie), "1 0 0");
    EXPECT_EQ(cookie_for_id_second(&cookie, 20), 1);
    EXPECT_EQ(words(cookie), "2 2 0");
    EXPECT_EQ(cookie_for_id_second(&cookie, 30), 0);
    EXPECT_EQ(words(cookie), "0 0 0");
}

TEST(cookie_for_name, gives_the_first_slot_of_that_name_with_file_1)
{
    Started library;
    library.name(library.add(10, { 0 }), "orders");
    library.name(library.add(20, { 0, 1 }), "stock");
    library.name(library.add(30), "stock");
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_name(Name("orders"), &cookie), 1);
    EXPECT_EQ(words(cookie), "1 0 0");
    EXPECT_EQ(cookie_for_name(Name("stock"), &cookie), 1);
    EXPECT_EQ(words(cookie), "2 1 0");
}

TEST(cookie_for_name, compares_all_of_the_name_and_its_case)
{
    Started library;
    library.name(library.add(10, { 0 }), "orders");
    for (const std::string name : { "Orders", "order", "orders2", "" }) {
        DictCookie cookie = UNTOUCHED;
        EXPECT_EQ(cookie_for_name(Name(name), &cookie), 0) << name;
        EXPECT_EQ(words(cookie), "0 0 0");
    }
}

TEST(cookie_for_name, finds_a_released_slot)
{
    Started library;
    i32 slot = library.add(10);
    library.name(slot, "orders");
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_EQ(slot_id_at(slot), 65535u);
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_name(Name("orders"), &cookie), 1);
    EXPECT_EQ(words(cookie), "1 0 0");
}

TEST(cookie_for_name, gives_0_without_a_set)
{
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_name(Name("orders"), &cookie), 0);
    EXPECT_EQ(words(cookie), "0 0 0");
}

TEST(cookie_for_name_second, gives_the_slot_behind)
{
    Started library;
    library.name(library.add(10, { 0, 2 }), "orders");
    library.name(library.add(20, { 0 }), "stock");
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_name_second(Name("orders"), &cookie), 1);
    EXPECT_EQ(words(cookie), "2 2 0");  // file 2 of slot 1 is open, and none of slot 2
    EXPECT_EQ(cookie_for_name_second(Name("stock"), &cookie), 1);
    EXPECT_EQ(words(cookie), "3 0 0");  // which does not exist
}

TEST(cookie_for_name_second, leaves_the_cookie_when_no_name_matches)
{
    Started library;
    library.name(library.add(10, { 0, 2 }), "orders");
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_name_second(Name("stock"), &cookie), 0);
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
}

TEST(cookie_for_slot_two, gives_slot_2_with_file_1)
{
    Started library;
    library.add(10, { 0, 1 });
    library.add(20, { 0 });
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_slot_two(&cookie), 1);
    EXPECT_EQ(words(cookie), "2 0 0");
    library.add(30);
    slot_release(20);
    library.add(21, { 1 });  // takes slot 2 again
    EXPECT_EQ(cookie_for_slot_two(&cookie), 1);
    EXPECT_EQ(words(cookie), "2 1 0");
}

TEST(cookie_for_slot_two, compares_main_slot_with_the_used_slots)
{
    Started library;
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_slot_two(&cookie), 1);  // 0 is not above 0
    EXPECT_EQ(words(cookie), "2 0 0");           // a slot that does not exist
    EXPECT_EQ(slot_total(), 1);

    library.add(10);
    library.add(20);
    cookie = UNTOUCHED;
    set_main_slot(3);
    EXPECT_EQ(cookie_for_slot_two(&cookie), 0);
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
    set_main_slot(2);
    EXPECT_EQ(cookie_for_slot_two(&cookie), 1);
}

TEST(cookie_for_slot_two, gives_0_without_a_set)
{
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(cookie_for_slot_two(&cookie), 0);
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
}

TEST(cookie_for_slot_two_second, wants_two_slots_in_use)
{
    Started library;
    DictCookie cookie = UNTOUCHED;
    library.add(10, { 0, 2 });
    EXPECT_EQ(cookie_for_slot_two_second(&cookie), 0);
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
    library.add(20, { 0 });
    EXPECT_EQ(cookie_for_slot_two_second(&cookie), 1);
    EXPECT_EQ(words(cookie), "2 0 0");
    slot_release(20);
    EXPECT_EQ(cookie_for_slot_two_second(&cookie), 0);  // slot 2 is there, but free
    library.add(21, { 2 });
    EXPECT_EQ(cookie_for_slot_two_second(&cookie), 1);
    EXPECT_EQ(words(cookie), "2 2 0");
}

TEST(cookie_for_first_slot, gives_slot_1_with_file_1)
{
    Started library;
    library.add(10, { 0 });
    DictCookie cookie = UNTOUCHED;
    cookie_for_first_slot(&cookie);
    EXPECT_EQ(words(cookie), "1 0 0");
    slot_release(10);
    library.add(11, { 1 });
    cookie_for_first_slot(&cookie);
    EXPECT_EQ(words(cookie), "1 1 0");
}

TEST(cookie_for_first_slot, gives_slot_1_with_selector_0_when_it_is_free)
{
    Started library;
    library.add(10, { 1 });
    slot_release(10);  // its file 1 is still open
    DictCookie cookie = UNTOUCHED;
    cookie_for_first_slot(&cookie);
    EXPECT_EQ(words(cookie), "1 0 0");
}

TEST(cookie_for_first_slot, gives_slot_1_without_a_set)
{
    DictCookie cookie = UNTOUCHED;
    cookie_for_first_slot(&cookie);
    EXPECT_EQ(words(cookie), "1 0 0");
}

TEST(cookie_for_first_slot_plain, gives_slot_1_with_file_0_or_clears)
{
    Started library;
    library.add(10, { 0, 1 });
    DictCookie cookie = UNTOUCHED;
    cookie_for_first_slot_plain(&cookie);
    EXPECT_EQ(words(cookie), "1 0 0");
    slot_release(10);
    cookie = UNTOUCHED;
    cookie_for_first_slot_plain(&cookie);
    EXPECT_EQ(words(cookie), "0 0 0");
}

TEST(cookie_for_first_slot_plain, clears_without_a_set)
{
    DictCookie cookie = UNTOUCHED;
    cookie_for_first_slot_plain(&cookie);
    EXPECT_EQ(words(cookie), "0 0 0");
}

// ---- Reading and changing them --------------------------------------------------------------------------------------

TEST(cookie_copy, copies_the_three_words)
{
    DictCookie cookie = {};
    cookie_copy(&cookie, &UNTOUCHED);
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
}

TEST(cookie_clear, sets_the_slot_to_0)
{
    DictCookie cookie = UNTOUCHED;
    cookie_clear(&cookie);
    EXPECT_EQ(words(cookie), "0 72 73");
}

TEST(cookie_is_set, asks_for_any_slot_but_0)
{
    DictCookie cookie = { .slot = 0, .selector = 1, .other_selector = 1 };
    EXPECT_FALSE(cookie_is_set(&cookie));
    for (i32 slot : { 1, -1, 9999 }) {
        cookie.slot = slot;
        EXPECT_TRUE(cookie_is_set(&cookie));
    }
}

TEST(cookie_other_selector, reads_the_third_word)
{
    EXPECT_EQ(cookie_other_selector(&UNTOUCHED), 73);
}

TEST(cookie_set_selector, stores_a_selector_whose_file_is_open)
{
    Started library;
    library.add(10, { 0, 2 });
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(cookie_set_selector(&cookie, 2), 1);
    EXPECT_EQ(words(cookie), "1 2 0");
    for (i32 selector : { 1, 3, -1 }) EXPECT_EQ(cookie_set_selector(&cookie, selector), 0) << selector;
    EXPECT_EQ(words(cookie), "1 2 0");
    cookie.slot = 2;
    EXPECT_EQ(cookie_set_selector(&cookie, 2), 0);
}

TEST(cookie_set_selector, never_stores_0)
{
    Started library;
    library.add(10, { 0, 2 });
    DictCookie cookie = { .slot = 1, .selector = 2, .other_selector = 2 };
    EXPECT_EQ(cookie_set_selector(&cookie, 0), 0);
    EXPECT_EQ(cookie_set_other_selector(&cookie, 0), 0);
    EXPECT_EQ(words(cookie), "1 2 2");
}

TEST(cookie_set_other_selector, stores_a_selector_whose_file_is_open)
{
    Started library;
    library.add(10, { 0, 1 });
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(cookie_set_other_selector(&cookie, 1), 1);
    EXPECT_EQ(words(cookie), "1 0 1");
    for (i32 selector : { 2, 3, -1 }) EXPECT_EQ(cookie_set_other_selector(&cookie, selector), 0) << selector;
    EXPECT_EQ(words(cookie), "1 0 1");
}

TEST(cookie_same_slot, compares_nothing_but_the_slots)
{
    DictCookie a = { .slot = 3, .selector = 1, .other_selector = 2 };
    DictCookie b = { .slot = 3, .selector = 0, .other_selector = 0 };
    EXPECT_TRUE(cookie_same_slot(&a, &b));
    b = a;
    b.slot = 4;
    EXPECT_FALSE(cookie_same_slot(&a, &b));
}

TEST(cookie_is_current, answers_the_same_below_and_above_22000)
{
    Started library;
    library.add(10);
    library.add(20);
    library.set_current(2);
    DictCookie cookie = { .slot = 2, .selector = 1, .other_selector = 1 };
    for (i32 id : { -1, 1, 21999, 22000, 22001, 32767 }) EXPECT_TRUE(cookie_is_current(&cookie, (i16)id)) << id;
    cookie.slot = 1;
    for (i32 id : { -1, 1, 21999, 22000, 22001, 32767 }) EXPECT_FALSE(cookie_is_current(&cookie, (i16)id)) << id;
}

TEST(cookie_is_current, is_false_without_a_set)
{
    DictCookie cookie = {};
    EXPECT_FALSE(cookie_is_current(&cookie, 1));
}

TEST(cookie_name, gives_the_name_of_the_slot)
{
    Started library;
    library.name(library.add(10), "orders");
    DictCookie cookie = { .slot = 1, .selector = 7, .other_selector = 7 };
    Name name;
    cookie_name(&cookie, name);
    EXPECT_EQ(name.str(), "orders");
    cookie.slot = 2;
    cookie_name(&cookie, name);
    EXPECT_EQ(name.str(), "");
}

TEST(cookie_path, gives_the_path_of_a_selector)
{
    Started library;
    library.add(10);
    slot_set_path(10, 2, Name("dir/second"));
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    Name path("before");
    EXPECT_EQ(cookie_path(&cookie, 2, path), 1);
    EXPECT_EQ(path.str(), "dir/second");
    EXPECT_EQ(cookie_path(&cookie, 1, path), 1);  // never set, but there
    EXPECT_EQ(path.str(), "");
}

TEST(cookie_path, gives_0_where_there_is_no_such_path)
{
    Started library;
    library.add(10);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    Name path("before");
    EXPECT_EQ(cookie_path(&cookie, 3, path), 0);
    EXPECT_EQ(cookie_path(&cookie, -1, path), 0);
    cookie.slot = 2;
    EXPECT_EQ(cookie_path(&cookie, 0, path), 0);
    EXPECT_EQ(path.str(), "before");
}

TEST(cookie_dict_id, gives_the_identifier_of_the_slot_or_65535)
{
    Started library;
    library.add(10);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(cookie_dict_id(&cookie), 10u);
    cookie.slot = 2;
    EXPECT_EQ(cookie_dict_id(&cookie), 65535u);
    cookie.slot = 0;
    EXPECT_EQ(cookie_dict_id(&cookie), 65535u);
}

// ---- Values of the set ----------------------------------------------------------------------------------------------

TEST(set_base_path, is_read_back_whole_and_in_its_parts)
{
    Started library;
    Name out;
    for (const std::string path : { ":C:DIR/SUB/FILE.DIC", "DIR/FILE", "FILE", "", "A/" }) {
        set_base_path(Name(path));
        get_base_path(out);
        EXPECT_EQ(out.str(), path);
        size_t split = path.find_last_of("/:") + 1;  // 0 without any
        get_base_dir(out);
        EXPECT_EQ(out.str(), path.substr(0, split));
        get_base_file(out);
        EXPECT_EQ(out.str(), path.substr(split));
    }
}

TEST(set_base_path, keeps_255_characters)
{
    Started library;
    std::string path = "d/" + std::string(253, 'f');
    set_base_path(Name(path));
    Name out;
    get_base_path(out);
    EXPECT_EQ(out.str(), path);
    get_base_file(out);
    EXPECT_EQ(out.str(), std::string(253, 'f'));
}

TEST(set_base_path, does_nothing_without_a_set)
{
    set_base_path(Name("dir/file"));
    Name out("before");
    get_base_path(out);
    EXPECT_EQ(out.str(), "");
    out = Name("before");
    get_base_dir(out);
    EXPECT_EQ(out.str(), "");
    out = Name("before");
    get_base_file(out);
    EXPECT_EQ(out.str(), "");
}

TEST(set_redirect_to_main, stores_the_flag_whole)
{
    Started library;
    set_redirect_to_main(0x1234);
    EXPECT_EQ(dict_set->redirect_to_main, 0x1234u);
    set_redirect_to_main(0);
    EXPECT_EQ(dict_set->redirect_to_main, 0u);
}

TEST(set_main_slot, stores_the_slot_untested)
{
    Started library;
    set_main_slot(65535);
    EXPECT_EQ(dict_set->main_slot, 65535u);
    set_main_slot(0);
    EXPECT_EQ(dict_set->main_slot, 0u);
}

TEST(set_main_slot_from_cookie, stores_a_slot_other_than_0)
{
    Started library;
    DictCookie cookie = { .slot = 5, .selector = 1, .other_selector = 2 };
    set_main_slot_from_cookie(&cookie);
    EXPECT_EQ(dict_set->main_slot, 5u);
    cookie.slot = 0;
    set_main_slot_from_cookie(&cookie);
    EXPECT_EQ(dict_set->main_slot, 5u);
}

TEST(get_user_word, reads_words_0_and_1_and_0_for_any_other_index)
{
    Started library;
    set_user_word(0, 0xABCD);
    set_user_word(1, 0x1234);
    EXPECT_EQ(get_user_word(0), 0xABCDu);
    EXPECT_EQ(get_user_word(1), 0x1234u);
    for (i32 index : { -1, 2, 3, 32767, -32768 }) EXPECT_EQ(get_user_word((i16)index), 0u) << index;
}

TEST(set_user_word, rejects_no_index)
{
    Started library;
    library.add(10);
    set_user_word(2, 0x1111);
    set_user_word(3, 0x2222);
    EXPECT_EQ(get_user_word(0), 0x1111u);
    EXPECT_EQ(get_user_word(1), 0x2222u);
    set_user_word(-2, 0x3333);
    set_user_word(-1, 0x4444);
    EXPECT_EQ(get_user_word(0), 0x3333u);
    EXPECT_EQ(get_user_word(1), 0x4444u);
    set_user_word(32767, 0x5555);
    set_user_word(-32768, 0x6666);
    EXPECT_EQ(slot_id_at(1), 10u);  // what stands behind the words
    EXPECT_EQ(dict_set->main_slot, 0u);
}

TEST(set_user_word, does_nothing_without_a_set)
{
    set_user_word(0, 1);
    EXPECT_EQ(get_user_word(0), 0u);
    set_redirect_to_main(1);
    set_main_slot(1);
    EXPECT_EQ(dict_set, nullptr);
}

// ---- Slots as a whole -----------------------------------------------------------------------------------------------

std::string path_of(i32 slot, i32 selector = 0)
{
    ConstPString path = slot_path_at(slot, selector);
    return std::string((const char *)path + 1, path[0]);
}

// Slots with the identifiers 10, 20, ... and the paths "p10", "p20", ..., and no files.
void add_slots(Started &library, i32 count)
{
    for (i32 i = 1; i <= count; i++) {
        u16 id = (u16)(i * 10);
        library.add(id);
        slot_set_path(id, 0, Name("p" + std::to_string(id)));
    }
}

TEST(slot_remove, moves_one_slot_only)
{
    Started library;
    add_slots(library, 4);
    slot_remove(10);
    EXPECT_EQ(slot_total(), 4);
    EXPECT_EQ(slot_used_count(), 3);
    EXPECT_EQ(slot_id_at(1), 20u);
    EXPECT_EQ(path_of(1), "p20");
    EXPECT_EQ(slot_id_at(2), 20u);      // not 30
    EXPECT_EQ(path_of(2), "p20");
    EXPECT_EQ(slot_id_at(3), 30u);
    EXPECT_EQ(slot_id_at(4), 65535u);   // 40 is lost
    EXPECT_EQ(path_of(4), "");
    for (i32 slot = 1; slot <= 2; slot++) {
        for (i32 selector = 0; selector < 3; selector++) {
            ConstPString path = dict_file_at(slot, selector)->path;
            EXPECT_TRUE(!path || path == slot_path_at(slot, selector));  // never into the other slot
        }
    }
}

TEST(slot_remove, takes_the_open_files_along)
{
    Started library;
    library.add(10);
    library.add(20, { 0 });
    FileHandle file = dict_file_at(2, 0)->file;
    slot_remove(10);
    EXPECT_EQ(slot_find(20), 1);
    EXPECT_EQ(dict_file_at(1, 0)->file, file);
    EXPECT_EQ(dict_file_at(1, 0)->path, slot_path_at(1, 0));
    EXPECT_FALSE(dict_file_is_open(dict_file_at(2, 0)));
}

// Slots 1 and 2 then name one platform file. What stands in memory is that of slot 1 alone, so that neither a growth
// nor a close there leaves the other with dead pointers.
TEST(slot_remove, leaves_a_file_that_two_slots_hold_empty_in_the_second)
{
    Started library;
    library.add(10);
    library.add(20, { 0 });
    library.add(30);
    DictFile *second = dict_file_at(2, 0);
    ASSERT_EQ(core_tables_init(second), OK);
    ASSERT_EQ(module_create(second, 2, 100, Name("first")), OK);
    FileHandle file = second->file;
    slot_remove(10);
    EXPECT_EQ(dict_file_at(1, 0)->file, file);
    EXPECT_EQ(second->file, file);
    EXPECT_EQ(module_find(dict_file_at(1, 0), 2, 100), 0);
    EXPECT_EQ(module_find(second, 2, 100), MODULE_ABSENT);

    library.set_current(2);
    u32 status = 0;
    EXPECT_EQ(dd_getresourcehndl(2, 100, 2, 100, 0, &status), 0u);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
    for (i32 module = 101; module <= 151; module++) {  // past the 50 entries that a module table begins with
        ASSERT_EQ(module_create(dict_file_at(1, 0), 2, module, Name("m" + std::to_string(module))), OK);
    }
    EXPECT_EQ(dict_file_close(dict_file_at(1, 0)), OK);
    EXPECT_EQ(module_find(second, 2, 100), MODULE_ABSENT);
    EXPECT_EQ(dict_file_close(second), OK);  // once more, of a file that is closed
}

TEST(slot_remove, clears_the_last_slot_of_the_array)
{
    Started library;
    add_slots(library, 3);
    slot_set_active(3, false);
    library.name(3, "third");
    slot_remove(30);
    EXPECT_EQ(slot_id_at(1), 10u);
    EXPECT_EQ(slot_id_at(2), 20u);
    EXPECT_EQ(path_of(2), "p20");
    EXPECT_EQ(slot_id_at(3), 65535u);
    EXPECT_EQ(path_of(3), "");
    EXPECT_TRUE(slot_is_active(3));
    Name name("before");
    slot_name_at(3, name);
    EXPECT_EQ(name.str(), "");
}

TEST(slot_remove, does_nothing_for_an_identifier_that_no_slot_has)
{
    Started library;
    add_slots(library, 2);
    slot_release(20);
    for (u16 id : { (u16)30, (u16)65535 }) slot_remove(id);
    EXPECT_EQ(slot_used_count(), 1);
    EXPECT_EQ(slot_id_at(1), 10u);
    EXPECT_EQ(path_of(2), "p20");
}

TEST(slot_release_all_but_first, releases_the_slots_behind_the_first)
{
    Started library;
    add_slots(library, 4);
    slot_release_all_but_first();
    EXPECT_EQ(slot_used_count(), 1);
    EXPECT_EQ(slot_total(), 4);
    EXPECT_EQ(slot_id_at(1), 10u);
    for (i32 slot = 2; slot <= 4; slot++) EXPECT_EQ(slot_id_at(slot), 65535u);
    EXPECT_EQ(path_of(3), "p30");  // a release leaves the contents
}

TEST(slot_release_all_but_first, ends_at_the_number_of_used_slots)
{
    Started library;
    add_slots(library, 4);
    slot_release(20);
    slot_release_all_but_first();  // 3 in use: slots 2 and 3 are looked at
    EXPECT_EQ(slot_id_at(1), 10u);
    EXPECT_EQ(slot_id_at(3), 65535u);
    EXPECT_EQ(slot_id_at(4), 40u);
    EXPECT_EQ(slot_used_count(), 2);
}

TEST(slot_release_all_but_first, does_nothing_without_a_set)
{
    slot_release_all_but_first();
    slot_remove(10);
    EXPECT_EQ(dict_set, nullptr);
}

// ---- The current dictionary -----------------------------------------------------------------------------------------

TEST(ds_setcurdict, gives_15_without_a_set)
{
    EXPECT_EQ(ds_setcurdict(&UNTOUCHED), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(ds_setcurdict(nullptr), (DictStatus)DICT_NOT_STARTED);
}

TEST(ds_setcurdict, gives_3_for_a_slot_that_does_not_exist_and_changes_nothing)
{
    Started library;
    add_slots(library, 2);
    DictCookie current = { .slot = 2, .selector = 1, .other_selector = 2 };
    EXPECT_EQ(ds_setcurdict(&current), OK);
    for (i32 slot : { 0, -1, 3, INT32_MAX, INT32_MIN }) {
        DictCookie cookie = { .slot = slot, .selector = 0, .other_selector = 0 };
        EXPECT_EQ(ds_setcurdict(&cookie), (DictStatus)DICT_NOT_FOUND) << slot;
    }
    EXPECT_EQ(ds_setcurdict(nullptr), (DictStatus)DICT_NOT_FOUND);
    DictCookie now;
    current_cookie_get(&now);
    EXPECT_EQ(words(now), "2 1 2");
}

TEST(ds_setcurdict, copies_the_three_words_untested)
{
    Started library;
    add_slots(library, 2);
    DictCookie cookie = { .slot = 2, .selector = -8, .other_selector = 99 };
    EXPECT_EQ(ds_setcurdict(&cookie), OK);
    cookie = {};  // the set has a copy
    DictCookie now;
    current_cookie_get(&now);
    EXPECT_EQ(words(now), "2 -8 99");
}

TEST(ds_setcurdict, takes_a_free_slot)
{
    Started library;
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(slot_id_at(1), 65535u);
    EXPECT_EQ(ds_setcurdict(&cookie), OK);
    u32 status = 0;
    EXPECT_EQ(dd_getresourcehndl(2, 5, 9, 1, 0, &status), 0u);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_OPEN);
}

} // namespace
} // namespace zuk
