#include "engine/lifecycle.h"

#include "engine/core_storage.h"
#include "engine/directory.h"
#include "engine/locks.h"
#include "engine/module_table.h"
#include "engine/pinned_cache.h"
#include "files/file.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "platform/file_rows.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tests/support/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace zuk {
namespace {

constexpr DictStatus OK = DICT_OK;
constexpr DictCookie UNTOUCHED = { .slot = 71, .selector = 72, .other_selector = 73 };  // what no operation writes

using Lines = std::vector<std::string>;

std::string words(const DictCookie &cookie)
{
    return std::to_string(cookie.slot) + " " + std::to_string(cookie.selector) + " " +
           std::to_string(cookie.other_selector);
}

std::string current_words()
{
    DictCookie cookie = UNTOUCHED;
    current_cookie_get(&cookie);
    return words(cookie);
}

std::string text(ConstPString string) { return std::string((const char *)string + 1, string[0]); }

// The handles and open files of the program, to be the same at the end of a scope.
struct NothingLeft {
    u32 handles = handles_alive();
    u32 files = file_rows_open;
    u32 may_lose = 0;  // handles, by failed resizes, each of which takes one away

    ~NothingLeft()
    {
        EXPECT_LE(handles_alive(), handles + may_lose) << "handles left alive";
        EXPECT_EQ(file_rows_open, files) << "files left open";
    }
};

// The library, started, without a dictionary.
struct Started {
    NothingLeft nothing_left;
    TempDir dir;

    Started() { EXPECT_EQ(dd_init(), 1); }
    ~Started() { dd_term(); }

    Name create(const std::string &file)
    {
        EXPECT_EQ(ds_createfile(65000, dir.name(file)), OK);
        return dir.name(file);
    }
    DictCookie open(u16 id, const std::string &file, u16 mode = DICT_EXCLUSIVE)
    {
        DictCookie cookie = {};
        if (!dir.has(file)) create(file);
        EXPECT_EQ(ds_openfile(id, dir.name(file), mode, 0, &cookie), OK);
        return cookie;
    }
    bool is_free(const std::string &file)
    {
        FileHandle opened = file_open(dir.name(file), FILE_RW_EXCLUSIVE);
        if (opened) (void)file_close(opened);
        return opened != 0;
    }
};

// Options of the installation for the length of a test.
struct Options : SettingsHome {
    Options(i16 main_product, i32 min_id)
        : SettingsHome("MainProduct=" + std::to_string(main_product) + "\r\nMinID=" + std::to_string(min_id) + "\r\n")
    {
    }
};

void make_dictionary_unreadable(const TempDir &dir, const std::string &file)
{
    std::fstream stream(dir.path(file), std::ios::binary | std::ios::in | std::ios::out);
    stream << "none";
}

// As in dict_file_test.cpp: each call fails in turn, once and then from there on. Behind the first `dense` calls every
// 31st is taken, for an open that reads one core table after the other.
template <typename Work>
void with_each_failure(std::initializer_list<FaultCall> calls, Work work, u32 dense = 100000)
{
    for (FaultCall call : calls) {
        for (bool from_then_on : { false, true }) {
            for (u32 nth = 1;; nth += nth < dense ? 1 : 31) {
                SCOPED_TRACE("fault " + std::to_string(call) + ", call " + std::to_string(nth) +
                             (from_then_on ? " and all behind it" : ""));
                if (!work(Fault{ .call = call, .nth = nth, .from_then_on = from_then_on })) break;
                ASSERT_LT(nth, 100000u);
            }
        }
    }
    (void)memory_sweep();  // where the record of a handle had no memory, its block is lost
}

TEST(lifecycle, has_every_operation)
{
    const AnyProc operations[] = {
        (AnyProc)dd_init, (AnyProc)dd_term, (AnyProc)ds_openfile, (AnyProc)ds_createfile, (AnyProc)ds_closefile,
        (AnyProc)dict_open_selected, (AnyProc)dict_close_selected, (AnyProc)dict_create_selected,
        (AnyProc)dict_file_reopen,
    };
    for (AnyProc operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- By cookie and selector -----------------------------------------------------------------------------------------

TEST(dict_open_selected, gives_3_for_a_bad_slot_or_selector)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    for (i32 selector : { -1, 3, 99 }) {
        EXPECT_EQ(dict_open_selected(&cookie, selector, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_FOUND) << selector;
    }
    cookie.slot = 2;
    EXPECT_EQ(dict_open_selected(&cookie, 0, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_FOUND);
}

TEST(dict_open_selected, opens_the_path_of_the_selector)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    for (i32 selector : { 1, 2 }) {
        slot_set_path(1, selector, library.create(std::to_string(selector)));
        EXPECT_EQ(dict_open_selected(&cookie, selector, DICT_EXCLUSIVE, 7), OK);
        const DictFile *file = dict_file_at(1, selector);
        EXPECT_TRUE(dict_file_is_open(file));
        EXPECT_EQ(file->path, slot_path_at(1, selector));
        EXPECT_EQ(file->option, 7u);
        EXPECT_FALSE(library.is_free(std::to_string(selector)));
    }
}

TEST(dict_open_selected, passes_on_the_status_of_the_open)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    EXPECT_EQ(dict_open_selected(&cookie, 0, DICT_EXCLUSIVE, 0), (DictStatus)DICT_ALREADY_OPEN);
    slot_set_path(1, 1, library.dir.name("none"));
    EXPECT_EQ(dict_open_selected(&cookie, 1, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NO_FILE);
    slot_set_path(1, 1, library.dir.put("text", "Dear Sir or Madam,"));
    EXPECT_EQ(dict_open_selected(&cookie, 1, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_A_DICTIONARY);
    EXPECT_EQ(dict_open_selected(&cookie, 1, 1, 0), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_FALSE(dict_selected_is_open(&cookie, 1));
}

TEST(dict_close_selected, closes_one_file)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    slot_set_path(1, 2, library.create("b.dic"));
    EXPECT_EQ(dict_open_selected(&cookie, 2, DICT_EXCLUSIVE, 0), OK);
    EXPECT_EQ(dict_close_selected(&cookie, 2), OK);
    EXPECT_TRUE(library.is_free("b.dic"));
    EXPECT_TRUE(dict_selected_is_open(&cookie, 0));
    EXPECT_EQ(dict_close_selected(&cookie, 2), (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(dict_close_selected(&cookie, 1), (DictStatus)DICT_NOT_OPEN);
}

TEST(dict_close_selected, gives_3_for_a_bad_slot_or_selector)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    EXPECT_EQ(dict_close_selected(&cookie, 3), (DictStatus)DICT_NOT_FOUND);
    cookie.slot = 0;
    EXPECT_EQ(dict_close_selected(&cookie, 0), (DictStatus)DICT_NOT_FOUND);
}

TEST(dict_create_selected, makes_the_same_file_for_every_selector)
{
    Started library;
    EXPECT_EQ(slot_claim(1), OK);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    for (i32 selector = 0; selector < 3; selector++) {
        slot_set_path(1, selector, library.dir.name(std::to_string(selector)));
        EXPECT_EQ(dict_create_selected(&cookie, selector), OK);
        EXPECT_FALSE(dict_selected_is_open(&cookie, selector));
    }
    EXPECT_EQ(library.dir.content("0").size(), 4930u);
    EXPECT_EQ(library.dir.content("1"), library.dir.content("0"));
    EXPECT_EQ(library.dir.content("2"), library.dir.content("0"));
}

TEST(dict_create_selected, gives_3_for_a_bad_slot_or_selector)
{
    Started library;
    EXPECT_EQ(slot_claim(1), OK);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(dict_create_selected(&cookie, 3), (DictStatus)DICT_NOT_FOUND);
    cookie.slot = 2;
    EXPECT_EQ(dict_create_selected(&cookie, 0), (DictStatus)DICT_NOT_FOUND);
}

TEST(dict_create_selected, passes_on_the_status_of_the_creation)
{
    Started library;
    EXPECT_EQ(slot_claim(1), OK);
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    for (i32 selector = 0; selector < 3; selector++) {
        slot_set_path(1, selector, library.dir.name("missing/a.dic"));
        EXPECT_EQ(dict_create_selected(&cookie, selector), (DictStatus)DICT_NO_FILE);
    }
}

// ---- The core tables of a file that was just opened -----------------------------------------------------------------

constexpr size_t NEW_FILE = 4930;
constexpr size_t FILE_WITH_TABLES = 29950;

i32 tables_in_memory(const DictFile *file)
{
    i32 count = 0;
    for (i32 type = 1; type <= CORE_TYPE_MAX; type++) {
        for (i32 range = 0; range < CORE_RANGES; range++) count += core_table_at(file, type, range) != nullptr;
    }
    return count;
}

// The bytes of a file that `work` has been at while it was open alone, under identifier 1. The library must not be
// started.
std::string bytes_after(const std::function<void()> &work)
{
    Started library;
    library.open(1, "a.dic");
    work();
    EXPECT_EQ(ds_closefile(1), OK);
    return library.dir.content("a.dic");
}

void add_owned(u16 series, i32 core_type, u16 type, i16 id)
{
    (void)dd_choose_owner(series);
    std::string name = std::to_string(series) + "." + std::to_string(core_type) + "." + std::to_string(id);
    GHandle body = handle_of("body of " + name);
    EXPECT_EQ(dd_add_resource(1, core_type, type, id, Name(name), body), OK);
    gfree(body);
    (void)dd_choose_owner(0);
}

void take_out_tables()
{
    DictFile *file = dict_file_at(1, 0);
    EXPECT_EQ(module_delete(file, 1, 10), OK);
    EXPECT_EQ(block_table_flush(file), OK);
    core_tables_free(file);
}

// A file from before the core tables: resources of type 9 in series 0 (identifier 3) and 1 (4), and one of kind 2.
std::string old_file()
{
    static const std::string bytes = bytes_after([] {
        add_owned(0, 2, 9, 3);
        add_owned(1, 2, 9, 4);
        EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("one hundred"), 0), OK);
        take_out_tables();
    });
    return bytes;
}

// One that cannot be rebuilt: kind 1 has a resource of type 2, which no table holds.
std::string file_that_cannot_be_rebuilt()
{
    return bytes_after([] {
        add_owned(0, 2, 9, 3);
        DictFile *file = dict_file_at(1, 0);
        EXPECT_EQ(resource_add_entry(file, 1, 2, 2, 5, 0, 0), OK);
        EXPECT_EQ(directory_save(file, 1, 2), OK);
        take_out_tables();
    });
}

// Its tables are stored, and series 1 owns identifier 4 of type 9.
std::string complete_file()
{
    static const std::string bytes = bytes_after([] { add_owned(1, 2, 9, 4); });
    return bytes;
}

std::string complete_file_without(u16 table_type, i32 type)
{
    return bytes_after([=] {
        add_owned(1, 2, 9, 4);
        EXPECT_EQ(dd_remove_resource(1, 10, table_type, type), OK);
    });
}

TEST(ds_openfile, adds_156_empty_tables_to_a_new_file)
{
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_EXCLUSIVE }) {
        Started library;
        library.create("a.dic");
        EXPECT_EQ(library.dir.content("a.dic").size(), NEW_FILE);
        library.open(1, "a.dic", mode);
        DictFile *file = dict_file_at(1, 0);
        EXPECT_EQ(tables_in_memory(file), 156);
        EXPECT_EQ(module_count(file, 1), 1);
        for (u16 type : { (u16)52, (u16)53, (u16)54 }) EXPECT_EQ(dd_local_numres(0, 1, 10, type), 52);
        Name name;
        EXPECT_EQ(dd_getresname(1, 10, 54, 9, name), OK);
        EXPECT_EQ(name.str(), "Local core table 9, 2");
        for (u16 type = 1; type <= CORE_TYPE_MAX; type++) EXPECT_EQ(core_used_count(file, type), 0);
        EXPECT_EQ(file->lock_state, mode == DICT_SHARED ? LOCK_WRITER : LOCK_NONE);  // lost when the file grew

        EXPECT_EQ(ds_closefile(1), OK);
        std::string bytes = library.dir.content("a.dic");
        EXPECT_EQ(bytes.size(), FILE_WITH_TABLES);
        EXPECT_EQ(u16_at(bytes, offsetof(DictHeader, change_count)), mode == DICT_SHARED ? 1u : 0u);
        EXPECT_EQ(u32_at(bytes, offsetof(DictHeader, free_entries)), 246u);
    }
}

TEST(ds_openfile, makes_the_same_file_in_every_mode)
{
    std::string made[3];
    const u16 modes[] = { DICT_SHARED, DICT_READ_ONLY, DICT_EXCLUSIVE };
    for (i32 i = 0; i < 3; i++) {
        Started library;
        library.open(1, "a.dic", modes[i]);
        EXPECT_EQ(ds_closefile(1), OK);
        made[i] = library.dir.content("a.dic");
    }
    EXPECT_EQ(made[1], made[2]);
    made[0][offsetof(DictHeader, change_count)] = 0;  // which counts in a shared file alone
    EXPECT_EQ(made[0], made[2]);
}

TEST(ds_openfile, writes_nothing_when_the_tables_are_there)
{
    const std::string complete = complete_file();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Started library;
        library.dir.put("a.dic", complete);
        calls_reset();
        library.open(1, "a.dic", mode);
        EXPECT_EQ(call_counts().write, 0u);
        EXPECT_EQ(call_counts().open, 1u);
        EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 156);
        EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 4), 1);
        EXPECT_EQ(dict_file_at(1, 0)->lock_state, LOCK_NONE);
    }
}

TEST(ds_openfile, for_reading_rebuilds_a_new_file_alone_and_opens_it_again)
{
    Started library;
    Name path = library.create("a.dic");
    calls_reset();
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_openfile(1, path, DICT_READ_ONLY, 4711, &cookie), OK);
    std::string opened = "open " + library.dir.native("a.dic");
    Lines expected = { opened, "close", opened };                                   // alone
    for (i32 growth = 0; growth < 4; growth++) expected.insert(expected.end(), { "close", opened });
    expected.insert(expected.end(), { "close", opened });                           // for the caller
    EXPECT_EQ(call_lines({ FAULT_OPEN, FAULT_CLOSE }), expected);

    EXPECT_EQ(words(cookie), "1 0 0");
    EXPECT_EQ(current_words(), "1 0 0");
    const DictFile *file = dict_file_at(1, 0);
    EXPECT_TRUE(dict_file_is_open(file));
    EXPECT_EQ(file->open_mode, (u16)DICT_READ_ONLY);
    EXPECT_EQ(file->option, 4711u);
    FileHandle reader = file_open(path, FILE_READ_ONLY);
    EXPECT_NE(reader, 0u);
    (void)file_close(reader);
    EXPECT_EQ(ds_closefile(1), OK);
    EXPECT_EQ(library.dir.content("a.dic").size(), FILE_WITH_TABLES);

    calls_reset();
    library.open(1, "a.dic", DICT_READ_ONLY);                                       // once
    EXPECT_EQ(call_lines({ FAULT_OPEN, FAULT_CLOSE, FAULT_WRITE }), (Lines{ opened }));
}

TEST(ds_openfile, rebuilds_only_in_an_open_for_reading)
{
    const std::string old = old_file();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_EXCLUSIVE }) {
        Started library;
        library.dir.put("a.dic", old);
        for (u16 next : { mode, mode, (u16)DICT_READ_ONLY, (u16)DICT_READ_ONLY }) {
            library.open(1, "a.dic", next);
            EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 156);
            EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 3), -1);                  // never any more
            EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 4), -1);
            EXPECT_EQ(dd_numresources(1, 2, 9), 0);
            EXPECT_EQ(dd_local_numres(1, 1, 2, 9), 1);                              // it is there all the same
            EXPECT_EQ(ds_closefile(1), OK);
        }
    }
    Started library;
    library.dir.put("a.dic", old);
    library.open(1, "a.dic", DICT_READ_ONLY);
    EXPECT_EQ(ds_closefile(1), OK);
    EXPECT_GT(library.dir.content("a.dic").size(), FILE_WITH_TABLES);
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        library.open(1, "a.dic", mode);
        EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 3), 0);
        EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 4), 1);
        EXPECT_EQ(dd_numresources(1, 2, 9), 2);
        EXPECT_EQ(dd_numresources(2, 100, 2), 1);
        EXPECT_EQ(ds_closefile(1), OK);
    }
}

TEST(dict_open_selected, knows_no_owner_after_a_rebuild)
{
    const std::string old = old_file();
    Started library;
    Name path = library.dir.put("a.dic", old);
    library.open(1, "a.dic", DICT_READ_ONLY);
    DictFile *file = dict_file_at(1, 0);
    EXPECT_EQ(file->core_tables, nullptr);
    EXPECT_EQ(dd_get_owner(file, 9, 3), -1);
    EXPECT_EQ(dd_get_owner(file, 9, 4), -1);
    EXPECT_EQ(dd_numresources(1, 2, 9), 0);
    u32 status = 0;
    EXPECT_EQ(take(dd_getresourcehndl(1, 2, 9, 3, 0, &status)), "body of 0.2.3");  // series 0 is where one looks
    EXPECT_EQ(dd_getresourcehndl(1, 2, 9, 4, 0, &status), 0u);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);

    EXPECT_EQ(ds_closefile(1), OK);
    EXPECT_EQ(ds_openfile(1, path, DICT_READ_ONLY, 0, nullptr), OK);
    EXPECT_EQ(dd_numresources(1, 2, 9), 2);
    EXPECT_EQ(take(dd_getresourcehndl(1, 2, 9, 4, 0, &status)), "body of 1.2.4");
}

TEST(dict_open_selected, gives_0_and_no_file_when_it_is_not_alone)
{
    Started library;
    Name path = library.create("a.dic");
    FileHandle other = file_open(path, FILE_READ_ONLY);
    calls_reset();
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_openfile(1, path, DICT_READ_ONLY, 0, &cookie), OK);
    std::string opened = "open " + library.dir.native("a.dic");
    EXPECT_EQ(call_lines({ FAULT_OPEN, FAULT_CLOSE }), (Lines{ opened, "close", opened + " failed" }));
    EXPECT_EQ(words(cookie), "1 0 0");
    EXPECT_EQ(slot_find(1), 1);
    EXPECT_FALSE(dict_selected_is_open(&cookie, 0));
    u32 status = 0;
    EXPECT_EQ(dd_getresourcehndl(2, 100, 9, 1, 0, &status), 0u);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(dd_uniqueid(1, 2, 9), 0);
    (void)file_close(other);
    EXPECT_EQ(library.dir.content("a.dic").size(), NEW_FILE);

    EXPECT_EQ(ds_closefile(1), OK);
    library.open(1, "a.dic", DICT_READ_ONLY);
    EXPECT_TRUE(dict_selected_is_open(&cookie, 0));
}

TEST(dict_open_selected, gives_0_and_no_file_when_a_writer_keeps_the_tables_away)
{
    const std::string complete = complete_file();
    Started library;
    Name path = library.dir.put("a.dic", complete);
    FileHandle other = file_open(path, FILE_RW_SHARED);
    EXPECT_TRUE(file_lock(other, READER_BASE + 1, READER_COUNT));
    clock_virtual_start(0);
    calls_reset();
    EXPECT_EQ(ds_openfile(1, path, DICT_SHARED, 0, nullptr), OK);  // not read, and so to be rebuilt, and not alone
    EXPECT_EQ(call_counts().slept_ms, 3000u);
    EXPECT_FALSE(dict_file_is_open(dict_file_at(1, 0)));
    (void)file_close(other);
    EXPECT_EQ(library.dir.content("a.dic"), complete);
}

TEST(dict_open_selected, stays_closed_when_the_callers_mode_cannot_be_had_again)
{
    const std::string old = old_file();
    Started library;
    Name path = library.dir.put("a.dic", old);
    calls_reset();
    library.open(1, "a.dic", DICT_READ_ONLY);
    u32 opens = call_counts().open;
    EXPECT_EQ(ds_closefile(1), OK);

    library.dir.put("a.dic", old);
    faults_start({ .call = FAULT_OPEN, .nth = opens });
    EXPECT_EQ(ds_openfile(1, path, DICT_READ_ONLY, 0, nullptr), OK);  // the status of the rebuild
    EXPECT_TRUE(faults_stop());
    EXPECT_FALSE(dict_file_is_open(dict_file_at(1, 0)));
    EXPECT_EQ(dd_numresources(2, 100, 2), 0);
    EXPECT_EQ(ds_closefile(1), OK);
    library.open(1, "a.dic", DICT_READ_ONLY);
    EXPECT_EQ(dd_numresources(1, 2, 9), 2);
}

TEST(ds_openfile, does_not_look_at_the_status_of_the_load)
{
    const std::string complete = complete_file();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Started library;
        Name path = library.dir.put("a.dic", complete);
        calls_reset();
        library.open(1, "a.dic", mode);
        u32 reads = call_counts().read;
        EXPECT_EQ(ds_closefile(1), OK);

        faults_start({ .call = FAULT_READ, .nth = reads });  // of the last table
        EXPECT_EQ(ds_openfile(1, path, mode, 0, nullptr), OK);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 155);
        EXPECT_EQ(core_table_at(dict_file_at(1, 0), 64, 2), nullptr);
    }
}

TEST(ds_openfile, for_reading_goes_on_without_the_tables_behind_a_missing_one)
{
    const std::string bytes = complete_file_without(54, 15);
    Started library;
    library.dir.put("a.dic", bytes);
    calls_reset();
    library.open(1, "a.dic", DICT_READ_ONLY);
    EXPECT_EQ(call_counts().write, 0u);
    DictFile *file = dict_file_at(1, 0);
    EXPECT_EQ(tables_in_memory(file), 3 * 6 + 2);  // types 1, 5, 6, 7, 8 and 9, and two of type 15
    EXPECT_EQ(dd_get_owner(file, 9, 4), 1);
    EXPECT_EQ(core_table_at(file, 18, 0), nullptr);
}

TEST(ds_openfile, for_reading_rebuilds_all_tables_when_one_below_type_9_is_missing)
{
    const std::string bytes = complete_file_without(53, 7);
    Started library;
    library.dir.put("a.dic", bytes);
    library.open(1, "a.dic", DICT_READ_ONLY);
    EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 0);
    EXPECT_EQ(ds_closefile(1), OK);
    library.open(1, "a.dic", DICT_READ_ONLY);
    EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 156);
    EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 4), 1);
}

TEST(ds_openfile, does_not_rebuild_because_of_a_damaged_table)
{
    const std::string bytes = bytes_after([] {
        GHandle damaged = handle_of("damaged");
        EXPECT_EQ(dd_change_resource(1, 10, 52, 9, nullptr, damaged), OK);
        gfree(damaged);
    });
    Started library;
    library.dir.put("a.dic", bytes);
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        calls_reset();
        library.open(1, "a.dic", mode);
        EXPECT_EQ(call_counts().write, 0u);
        EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 155);
        EXPECT_EQ(ds_closefile(1), OK);
    }
}

TEST(ds_openfile, closes_the_file_after_a_failed_rebuild)
{
    const std::string broken = file_that_cannot_be_rebuilt();
    Started library;
    Name path = library.dir.put("a.dic", broken);
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_openfile(1, path, DICT_READ_ONLY, 0, &cookie), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(words(cookie), "0 0 0");
    EXPECT_EQ(slot_find(1), 0);
    EXPECT_TRUE(library.is_free("a.dic"));
    EXPECT_EQ(words(library.open(1, "b.dic")), "1 0 0");
    EXPECT_EQ(ds_closefile(1), OK);

    library.open(1, "a.dic", DICT_READ_ONLY);  // tables were stored, and so the second time works
    EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 156);
}

TEST(dict_open_selected, leaves_the_file_open_after_a_failed_rebuild)
{
    const std::string broken = file_that_cannot_be_rebuilt();
    Started library;
    EXPECT_EQ(slot_claim(1), OK);
    slot_set_path(1, 0, library.dir.put("a.dic", broken));
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(dict_open_selected(&cookie, 0, DICT_READ_ONLY, 0), (DictStatus)DICT_NOT_FOUND);
    EXPECT_TRUE(dict_selected_is_open(&cookie, 0));
    EXPECT_EQ(dict_file_at(1, 0)->open_mode, (u16)DICT_READ_ONLY);
    EXPECT_EQ(current_words(), "0 0 0");       // as it was
}

TEST(dict_open_selected, rebuilds_another_than_the_current_dictionary_in_itself)
{
    const std::string complete = complete_file();
    const std::string old = old_file();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Started library;
        library.dir.put("a.dic", complete);
        library.open(1, "a.dic");
        EXPECT_EQ(slot_claim(2), OK);
        slot_set_path(2, 0, library.dir.put("b.dic", old));
        DictCookie second = { .slot = 2, .selector = 0, .other_selector = 0 };
        // In the modes that write, the first table is made in the current dictionary, which has it, and so the load
        // ends without the table of type 9.
        EXPECT_EQ(dict_open_selected(&second, 0, mode, 0), OK);
        EXPECT_EQ(current_words(), "1 0 0");
        EXPECT_TRUE(dict_selected_is_open(&second, 0));
        EXPECT_EQ(dict_file_at(2, 0)->open_mode, mode);
        EXPECT_EQ(ds_closefile(1), OK);
        EXPECT_EQ(library.dir.content("a.dic"), complete);

        EXPECT_EQ(ds_closefile(2), OK);
        library.open(2, "b.dic", mode);
        EXPECT_EQ(dd_numresources(1, 2, 9), 2);
    }
}

TEST(dict_open_selected, makes_the_first_table_of_another_dictionary_in_the_current_one)
{
    Started library;
    library.open(1, "a.dic");
    take_out_tables();
    EXPECT_EQ(slot_claim(2), OK);
    slot_set_path(2, 0, library.create("b.dic"));
    DictCookie second = { .slot = 2, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(dict_open_selected(&second, 0, DICT_EXCLUSIVE, 0), OK);
    EXPECT_EQ(dd_local_numres(0, 1, 10, 52), 1);
    EXPECT_EQ(dd_local_numres(0, 1, 10, 53), 0);
}

TEST(dict_open_selected, rebuilds_a_further_file_in_itself)
{
    const std::string complete = complete_file();
    const std::string old = old_file();
    Started library;
    library.dir.put("a.dic", complete);
    DictCookie cookie = library.open(1, "a.dic");
    cookie.selector = 1;                       // as callers have it: writes go to file 0
    EXPECT_EQ(ds_setcurdict(&cookie), OK);
    slot_set_path(1, 1, library.dir.put("b.dic", old));
    EXPECT_EQ(dict_open_selected(&cookie, 1, DICT_EXCLUSIVE, 0), OK);
    EXPECT_EQ(current_words(), "1 1 0");
    EXPECT_EQ(dict_close_selected(&cookie, 1), OK);
    EXPECT_EQ(dict_close_selected(&cookie, 0), OK);
    EXPECT_EQ(library.dir.content("a.dic"), complete);

    EXPECT_EQ(dict_open_selected(&cookie, 1, DICT_EXCLUSIVE, 0), OK);
    DictFile *file = dict_file_at(1, 1);
    EXPECT_EQ(tables_in_memory(file), 156);    // all its own
    EXPECT_EQ(dd_get_owner(file, 9, 3), 0);
    EXPECT_EQ(dd_get_owner(file, 9, 4), 1);
}

std::string further_file()
{
    static const std::string bytes = bytes_after([] { add_owned(2, 2, 9, 20005); });
    return bytes;
}

// A further file with tables of its own, and file 0, which owns identifier 4 of type 9 in series 1.
struct WithFurther : Started {
    DictCookie cookie;

    explicit WithFurther(const std::string &bytes = further_file(), const std::string &main = complete_file())
    {
        dir.put("a.dic", main);
        cookie = open(1, "a.dic");
        slot_set_path(1, 1, dir.put("b.dic", bytes));
    }
    DictFile *file() { return dict_file_at(1, 1); }
    DictStatus open_it(u16 mode) { return dict_open_selected(&cookie, 1, mode, 0); }
};

TEST(dict_open_selected, borrows_two_ranges_of_a_further_file_from_file_0)
{
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        WithFurther library;
        calls_reset();
        EXPECT_EQ(library.open_it(mode), OK);
        EXPECT_EQ(call_counts().write, 0u);
        EXPECT_EQ(call_counts().open, 1u);
        EXPECT_EQ(tables_in_memory(library.file()), 156);
        EXPECT_EQ(dd_get_owner(library.file(), 9, 4), mode == DICT_EXCLUSIVE ? -1 : 1);
        EXPECT_EQ(dd_get_owner(library.file(), 9, 20005), 2);
        for (i32 range = 0; range < CORE_RANGES; range++) {
            bool own = mode == DICT_EXCLUSIVE || range == 1;
            EXPECT_EQ(core_table_at(library.file(), 9, range) != core_table_at(dict_file_at(1, 0), 9, range), own);
        }
        EXPECT_EQ(dict_close_selected(&library.cookie, 1), OK);
        EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 156);  // none has gone with the borrower
        EXPECT_EQ(dd_get_owner(dict_file_at(1, 0), 9, 4), 1);
    }
}

TEST(dict_open_selected, holds_one_read_lock_over_the_tables_of_a_further_file)
{
    WithFurther library;
    calls_reset();
    EXPECT_EQ(library.open_it(DICT_SHARED), OK);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }),
              (Lines{ "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "unlock 1000000001+1" }));
    EXPECT_EQ(call_lines().back(), "unlock 1000000001+1");
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
    EXPECT_EQ(dict_close_selected(&library.cookie, 1), OK);

    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        calls_reset();
        EXPECT_EQ(library.open_it(mode), OK);
        EXPECT_EQ(call_counts().lock, 0u);
        EXPECT_EQ(dict_close_selected(&library.cookie, 1), OK);
    }
}

TEST(dict_open_selected, leaves_the_file_open_without_the_lock)
{
    WithFurther library;
    FileHandle other = file_open(library.dir.name("b.dic"), FILE_RW_SHARED);
    EXPECT_TRUE(file_lock(other, READER_BASE + 1, READER_COUNT));
    clock_virtual_start(0);
    EXPECT_EQ(library.open_it(DICT_SHARED), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_TRUE(dict_selected_is_open(&library.cookie, 1));
    EXPECT_EQ(library.file()->core_tables, nullptr);
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
    (void)file_close(other);
    EXPECT_EQ(dict_close_selected(&library.cookie, 1), OK);
    EXPECT_EQ(library.open_it(DICT_SHARED), OK);
}

TEST(dict_open_selected, makes_no_middle_range_for_a_shared_further_file)
{
    for (i32 other_selector : { 0, 1 }) {
        WithFurther library;
        library.create("b.dic");
        library.cookie.selector = 1;
        library.cookie.other_selector = other_selector;
        EXPECT_EQ(ds_setcurdict(&library.cookie), OK);
        clock_virtual_start(0);
        calls_reset();
        EXPECT_EQ(library.open_it(DICT_SHARED), OK);
        // The write lock of this very file is waited for in vain; file 0 has the table already.
        EXPECT_EQ(call_counts().slept_ms, other_selector == 1 ? 60000u : 0u);
        EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
        EXPECT_EQ(tables_in_memory(library.file()), 1);  // range 0 of type 1, borrowed
        EXPECT_EQ(dict_close_selected(&library.cookie, 1), OK);
        EXPECT_EQ(library.dir.content("b.dic").size(), NEW_FILE);
    }
}

TEST(dict_open_selected, of_a_further_file_for_reading_makes_and_rebuilds_nothing)
{
    WithFurther library(old_file());
    calls_reset();
    EXPECT_EQ(library.open_it(DICT_READ_ONLY), OK);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(call_counts().open, 1u);
    EXPECT_EQ(tables_in_memory(library.file()), 1);
}

TEST(dict_open_selected, of_a_further_file_borrows_nothing_while_file_0_is_closed)
{
    WithFurther library;
    EXPECT_EQ(dict_close_selected(&library.cookie, 0), OK);
    EXPECT_EQ(library.open_it(DICT_READ_ONLY), OK);
    EXPECT_EQ(tables_in_memory(library.file()), 52);
    EXPECT_EQ(dd_get_owner(library.file(), 9, 20005), 2);
    EXPECT_EQ(dd_get_owner(library.file(), 9, 4), -1);
}

// Two workstations on one file: each has the tables of its own open, and no reload brings them up to date.
struct TwoStations : Started {
    DictCookie first = {}, second = {};

    explicit TwoStations(const std::string &bytes = complete_file())
    {
        Name path = dir.put("a.dic", bytes);
        EXPECT_EQ(ds_openfile(1, path, DICT_SHARED, 0, &first), OK);
        EXPECT_EQ(ds_openfile(2, path, DICT_SHARED, 0, &second), OK);
    }
    DictStatus add(const DictCookie &station, u16 series, i16 id, const char *name)
    {
        EXPECT_EQ(ds_setcurdict(&station), OK);
        (void)dd_choose_owner(series);
        DictStatus status = dd_add_resource(1, 2, 9, id, Name(name), 0);
        (void)dd_choose_owner(0);
        return status;
    }
    i16 owner(i32 slot, i16 id) { return dd_get_owner(dict_file_at(slot, 0), 9, (u16)id); }
};

TEST(shared_core_tables, of_the_last_writer_stand_in_the_file)
{
    TwoStations library;
    EXPECT_EQ(library.add(library.first, 1, 5, "five"), OK);
    EXPECT_EQ(library.add(library.second, 1, 6, "six"), OK);
    EXPECT_EQ(library.owner(1, 5), 1);
    EXPECT_EQ(library.owner(1, 6), -1);
    EXPECT_EQ(library.owner(2, 5), -1);
    EXPECT_EQ(library.owner(2, 6), 1);
    EXPECT_EQ(dd_local_numres(1, 1, 2, 9), 3);  // both resources are there, beside identifier 4
    EXPECT_EQ(ds_closefile(1), OK);
    EXPECT_EQ(ds_closefile(2), OK);

    library.open(3, "a.dic");
    EXPECT_EQ(library.owner(1, 5), -1);         // its owner was written over
    EXPECT_EQ(library.owner(1, 6), 1);
    EXPECT_EQ(dd_numresources(1, 2, 9), 2);
    EXPECT_EQ(dd_local_numres(1, 1, 2, 9), 3);
}

TEST(shared_core_tables, do_not_tell_one_what_another_has_taken)
{
    TwoStations library;
    EXPECT_EQ(ds_setcurdict(&library.first), OK);
    EXPECT_EQ(dd_uniqueid(1, 2, 9), 22000);
    EXPECT_EQ(library.add(library.first, 1, 22000, "here"), OK);
    EXPECT_EQ(dd_uniqueid(1, 2, 9), 22001);
    EXPECT_EQ(ds_setcurdict(&library.second), OK);
    EXPECT_EQ(dd_uniqueid(1, 2, 9), 22000);
    EXPECT_EQ(library.add(library.second, 1, 22000, "there"), (DictStatus)DICT_EXISTS);  // the directory knows it
}

TEST(ds_closefile, frees_the_core_tables)
{
    const std::string complete = complete_file();
    Started library;
    library.dir.put("a.dic", complete);
    u32 before = handles_alive();
    library.open(1, "a.dic");
    EXPECT_GT(handles_alive(), before + 156);
    EXPECT_EQ(ds_closefile(1), OK);
    EXPECT_EQ(handles_alive(), before);
}

// An open that adds or rebuilds tables, with each call of the platform failing in turn. There are some 4,700, most of
// them in the adding of one table after the other: of those in the middle every 61st is taken.
void with_each_failure_of_an_open(const std::string &bytes, u16 mode)
{
    constexpr u32 FIRST = 60, LAST = 120;
    for (FaultCall call : { FAULT_ANY, FAULT_RESIZE, FAULT_OPEN, FAULT_CLOSE }) {
        for (bool from_then_on : { false, true }) {
            bool met = true;
            u32 total = 0;
            for (u32 nth = 0; met; nth += call != FAULT_ANY || nth < FIRST || nth + LAST > total ? 1 : 61) {
                SCOPED_TRACE("fault " + std::to_string(call) + ", call " + std::to_string(nth) +
                             (from_then_on ? " and all behind it" : ""));
                clock_virtual_start(0);
                Started library;
                Name path = library.dir.put("a.dic", bytes);
                DictCookie cookie = UNTOUCHED;
                calls_reset();
                if (nth > 0) faults_start({ .call = call, .nth = nth, .from_then_on = from_then_on });
                DictStatus status = ds_openfile(1, path, mode, 0, &cookie);
                met = faults_stop() || nth == 0;  // the first run is for counting
                CallCounts counts = call_counts();
                if (nth == 0) total = counts.alloc + counts.resize + (u32)call_log().size();

                bool may_lose = call == FAULT_RESIZE || call == FAULT_ANY;  // what cannot be made larger, by design
                library.nothing_left.may_lose = may_lose ? counts.resize : 0;
                EXPECT_EQ(words(cookie), status ? "0 0 0" : "1 0 0");
                EXPECT_EQ(slot_used_count(), status ? 0 : 1);
                EXPECT_EQ(current_words(), "1 0 0");
                EXPECT_TRUE(status == OK || !dict_file_is_open(dict_file_at(1, 0)));
                EXPECT_EQ(ds_closefile(1), OK);
                EXPECT_TRUE(library.is_free("a.dic"));
                // What a stop in the midst leaves may be half of something; the next open comes to an end all the same.
                if (!from_then_on) continue;
                EXPECT_LE(ds_openfile(1, path, DICT_EXCLUSIVE, 0, nullptr), (DictStatus)DICT_LOCKED_OUT);
            }
        }
    }
    (void)memory_sweep();
}

TEST(ds_openfile, frees_all_whichever_call_fails_in_the_first_open)
{
    std::string bytes;
    {
        Started library;
        library.create("a.dic");
        bytes = library.dir.content("a.dic");
    }
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_EXCLUSIVE }) with_each_failure_of_an_open(bytes, mode);
}

TEST(ds_openfile, frees_all_whichever_call_fails_in_a_rebuild)
{
    with_each_failure_of_an_open(old_file(), DICT_READ_ONLY);
}

TEST(dict_open_selected, frees_all_whichever_call_fails_in_the_open_of_a_further_file)
{
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY }) {
        with_each_failure({ FAULT_ALLOC, FAULT_RESIZE, FAULT_ANY_FILE }, [&](const Fault &fault) {
            clock_virtual_start(0);
            WithFurther library;
            calls_reset();
            faults_start(fault);
            DictStatus status = library.open_it(mode);
            bool met = faults_stop();
            library.nothing_left.may_lose = fault.call == FAULT_RESIZE ? call_counts().resize : 0;
            EXPECT_EQ(dict_file_is_open(library.file()), status == OK || status == DICT_LOCKED_OUT);
            EXPECT_EQ(current_words(), "1 0 0");
            EXPECT_EQ(tables_in_memory(dict_file_at(1, 0)), 156);
            return met;
        }, 80);
    }
}

// ---- Opening again in another mode ----------------------------------------------------------------------------------

TEST(dict_file_reopen, gives_0_without_a_file_or_for_a_closed_one)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    calls_reset();
    EXPECT_EQ(dict_file_reopen(&cookie, 3, DICT_SHARED), 0);
    EXPECT_EQ(dict_file_reopen(&cookie, 1, DICT_SHARED), 0);
    cookie.slot = 2;
    EXPECT_EQ(dict_file_reopen(&cookie, 0, DICT_SHARED), 0);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(dict_file_reopen, closes_and_opens_the_file_in_the_new_mode)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    std::string name = library.dir.native("a.dic");
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE, (u16)DICT_EXCLUSIVE }) {
        calls_reset();
        EXPECT_EQ(dict_file_reopen(&cookie, 0, mode), 1);
        EXPECT_EQ(call_lines(), (Lines{ "close", "open " + name }));
        EXPECT_EQ(dict_file_at(1, 0)->open_mode, mode);
        FileHandle same = file_open(library.dir.name("a.dic"), mode);
        EXPECT_EQ(same != 0, mode != DICT_EXCLUSIVE);
        if (same) (void)file_close(same);
    }
}

TEST(dict_file_reopen, keeps_all_that_is_in_memory)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    DictFile *file = dict_file_at(1, 0);
    file->lock_state = 5;
    file->header.version = le16(99);
    file->option = 4711;
    DictFile before = *file;
    EXPECT_EQ(dict_file_reopen(&cookie, 0, DICT_SHARED), 1);
    EXPECT_NE(file->file, before.file);
    before.file = file->file;
    before.open_mode = DICT_SHARED;
    EXPECT_EQ(memcmp(&before, file, sizeof before), 0);
    file->lock_state = LOCK_NONE;
}

TEST(dict_file_reopen, opens_the_file_in_the_old_mode_when_the_new_one_fails)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic", DICT_SHARED);
    std::string name = library.dir.native("a.dic");
    FileHandle other = file_open(library.dir.name("a.dic"), FILE_RW_SHARED);
    calls_reset();
    EXPECT_EQ(dict_file_reopen(&cookie, 0, DICT_EXCLUSIVE), 0);
    EXPECT_EQ(call_lines(), (Lines{ "close", "open " + name + " failed", "open " + name }));
    EXPECT_TRUE(dict_selected_is_open(&cookie, 0));
    EXPECT_EQ(dict_file_at(1, 0)->open_mode, (u16)DICT_SHARED);
    (void)file_close(other);

    EXPECT_EQ(dict_file_reopen(&cookie, 0, 1), 0);  // no mode at all
    EXPECT_TRUE(dict_selected_is_open(&cookie, 0));
}

TEST(dict_file_reopen, loses_the_file_when_the_old_mode_fails_too)
{
    Started library;
    DictCookie cookie = library.open(1, "a.dic");
    faults_start({ .call = FAULT_OPEN, .from_then_on = true });
    EXPECT_EQ(dict_file_reopen(&cookie, 0, DICT_SHARED), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_FALSE(dict_selected_is_open(&cookie, 0));
    EXPECT_EQ(dict_file_at(1, 0)->open_mode, (u16)DICT_EXCLUSIVE);
    u32 status = 0;
    EXPECT_EQ(dd_getresourcehndl(2, 5, 9, 1, 0, &status), 0u);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(dict_open_selected(&cookie, 0, DICT_EXCLUSIVE, 0), OK);
}

TEST(dict_file_reopen, empties_the_whole_pinned_cache)
{
    Started library;
    DictCookie cookies[2];
    for (u16 i = 0; i < 2; i++) {
        cookies[i] = library.open((u16)(i + 1), i ? "b.dic" : "a.dic");
        EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("one hundred"), 0), OK);
        GHandle body = handle_of("body");
        EXPECT_EQ(dd_add_resource(2, 100, 9, 1, Name("name"), body), OK);
        gfree(body);
        EXPECT_EQ(cache_pin(0, 2, 100, 9, 0), OK);
    }
    EXPECT_EQ(cache_count(), 2);
    EXPECT_EQ(dict_file_reopen(&cookies[0], 0, DICT_SHARED), 1);
    EXPECT_EQ(cache_count(), 0);
}

TEST(dict_file_reopen, leaves_the_file_open_or_lost_whichever_call_fails)
{
    with_each_failure({ FAULT_ALLOC, FAULT_ANY_FILE, FAULT_ANY }, [](const Fault &fault) {
        Started library;
        DictCookie cookie = library.open(1, "a.dic");
        faults_start(fault);
        i32 result = dict_file_reopen(&cookie, 0, DICT_SHARED);
        bool met = faults_stop();
        const DictFile *file = dict_file_at(1, 0);
        if (result) {
            EXPECT_TRUE(dict_file_is_open(file));
            EXPECT_EQ(file->open_mode, (u16)DICT_SHARED);
        } else {
            EXPECT_EQ(file->open_mode, (u16)DICT_EXCLUSIVE);
        }
        EXPECT_EQ(ds_closefile(1), OK);
        EXPECT_TRUE(library.is_free("a.dic"));
        library.open(1, "a.dic");
        return met;
    });
}

// ---- Starting -------------------------------------------------------------------------------------------------------

TEST(dd_init, gives_1_and_an_empty_set)
{
    NothingLeft nothing_left;
    EXPECT_EQ(dd_init(), 1);
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(slot_used_count(), 0);
    EXPECT_EQ(current_words(), "0 0 0");
    EXPECT_EQ(cache_count(), 0);
    dd_term();
}

TEST(dd_init, gives_0_without_memory_for_the_set)
{
    NothingLeft nothing_left;
    faults_start({ .call = FAULT_ALLOC, .nth = 1 });
    EXPECT_EQ(dd_init(), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict_set, nullptr);
    EXPECT_EQ(ds_createfile(1, Name("a.dic")), (DictStatus)DICT_NOT_STARTED);
}

TEST(dd_init, gives_0_without_memory_for_the_pinned_cache_and_keeps_the_set)
{
    NothingLeft nothing_left;
    gfree(galloc(1, nullptr, 0));  // the table of handles has its memory
    faults_start({ .call = FAULT_ALLOC, .nth = 2 });
    EXPECT_EQ(dd_init(), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_NE(dict_set, nullptr);
    EXPECT_EQ(slot_claim(1), OK);
    dd_term();
    EXPECT_EQ(dict_set, nullptr);
}

TEST(dd_init, called_twice_forgets_the_first_set)
{
    u32 handles = handles_alive();
    Started library;
    library.open(1, "a.dic");
    DictSet *first = dict_set;

    EXPECT_EQ(dd_init(), 1);
    EXPECT_NE(dict_set, first);
    EXPECT_EQ(slot_find(1), 0);
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(current_words(), "0 0 0");
    EXPECT_EQ(ds_closefile(1), OK);          // an identifier that it does not know
    EXPECT_FALSE(library.is_free("a.dic"));  // lost, and not closed

    EXPECT_EQ(dict_file_close(&first->slots[0].files[0]), OK);
    gfree(ghandle(first));
    EXPECT_EQ(handles_alive(), handles + 3);  // the second set, and two pinned caches of which one is lost
    library.nothing_left.may_lose = 1;
}

TEST(dd_init, bounds_the_identifiers_by_the_options)
{
    const struct {
        i16 main_product;
        i32 min_id;
        i32 lowest, highest;
    } rows[] = {
        { 0, 1, 22000, 31999 },      { 0, 5, 22000, 31999 },     { 0, 21999, 22000, 31999 },
        { 0, 22000, 22000, 31999 },  { 0, 22001, 22001, 31999 }, { 0, 32767, 32767, 31999 },
        { 0, -1, 22000, 31999 },     { 1, 1, 1, 19999 },         { 1, 5, 5, 19999 },
        { 1, 0, 1, 19999 },          { 1, -5, 1, 19999 },        { 1, 2, 2, 19999 },
        { 1, 30000, 30000, 19999 },  { -1, 5, 22000, 31999 },    // no word for true
        { 1, 40000, 1, 19999 },      { 0, 40000, 22000, 31999 }, // negative in 16 bits
        { 1, 65541, 5, 19999 },      // 65536 + 5
    };
    for (const auto &row : rows) {
        Options options(row.main_product, row.min_id);
        Started library;
        EXPECT_EQ(lowest_id, row.lowest) << row.main_product << " " << row.min_id;
        EXPECT_EQ(highest_id, row.highest) << row.main_product << " " << row.min_id;
        EXPECT_EQ(dict_set->not_main_product, row.main_product == 1 ? 0u : 1u);
    }
}

TEST(dd_init, keeps_22000_whatever_a_small_min_id_says)
{
    Options options(0, 5);
    Started library;
    EXPECT_EQ(lowest_id, 22000);
    EXPECT_EQ(highest_id, 31999);
}

TEST(dd_init, begins_at_22000_without_any_option)
{
    Started library;
    EXPECT_EQ(lowest_id, 22000);
    EXPECT_EQ(highest_id, 31999);
    EXPECT_EQ(dict_set->not_main_product, 1u);
}

// ---- Stopping -------------------------------------------------------------------------------------------------------

TEST(dd_term, does_nothing_when_the_library_is_not_started)
{
    NothingLeft nothing_left;
    dd_term();
    dd_term();
    EXPECT_EQ(dict_set, nullptr);
}

TEST(dd_term, closes_every_file_of_every_slot)
{
    TempDir dir;
    NothingLeft nothing_left;
    EXPECT_EQ(dd_init(), 1);
    for (u16 id : { (u16)1, (u16)32768, (u16)65534 }) {  // the last two cannot be closed in any other way
        DictCookie cookie;
        Name path = dir.name(std::to_string(id));
        EXPECT_EQ(ds_createfile(id, path), OK);
        EXPECT_EQ(ds_openfile(id, path, DICT_EXCLUSIVE, 0, &cookie), OK);
        for (i32 selector : { 1, 2 }) {
            slot_set_path(id, selector, dir.name(std::to_string(id) + "-" + std::to_string(selector)));
            EXPECT_EQ(dict_create_selected(&cookie, selector), OK);
            EXPECT_EQ(dict_open_selected(&cookie, selector, DICT_EXCLUSIVE, 0), OK);
        }
    }
    EXPECT_EQ(file_rows_open, nothing_left.files + 9);
    dd_term();
    EXPECT_EQ(dict_set, nullptr);
    EXPECT_EQ(slot_total(), 0);
}

TEST(dd_term, closes_a_file_in_a_released_slot)
{
    Started library;
    library.open(1, "a.dic");
    slot_release(1);
    dd_term();
    EXPECT_TRUE(library.is_free("a.dic"));
}

TEST(dd_term, writes_what_has_not_been_written)
{
    Started library;
    library.open(1, "a.dic");
    dict_file_at(1, 0)->header.version = le16(0x4321);
    dd_term();
    EXPECT_EQ(u16_at(library.dir.content("a.dic"), 4), 0x4321u);
}

TEST(dd_term, can_be_followed_by_a_new_start)
{
    Started library;
    library.open(1, "a.dic");
    dd_term();
    EXPECT_EQ(dd_init(), 1);
    EXPECT_EQ(slot_total(), 1);
    library.open(1, "a.dic");
}

TEST(dd_term, frees_all_whichever_call_fails)
{
    with_each_failure({ FAULT_RESIZE, FAULT_ANY_FILE, FAULT_ANY }, [](const Fault &fault) {
        Started library;
        library.open(1, "a.dic");
        library.open(2, "b.dic");
        calls_reset();
        faults_start(fault);
        dd_term();
        bool met = faults_stop();
        library.nothing_left.may_lose = fault.call == FAULT_ANY_FILE ? 0 : call_counts().resize;
        EXPECT_TRUE(library.is_free("a.dic"));
        EXPECT_TRUE(library.is_free("b.dic"));
        return met;
    });
}

// ---- Opening a dictionary -------------------------------------------------------------------------------------------

TEST(ds_openfile, gives_15_before_the_start)
{
    TempDir dir;
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_openfile(1, dir.name("a.dic"), DICT_SHARED, 0, &cookie), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
}

TEST(ds_openfile, fills_the_cookie_and_makes_the_dictionary_current)
{
    Started library;
    EXPECT_EQ(words(library.open(10, "a.dic")), "1 0 0");
    EXPECT_EQ(current_words(), "1 0 0");
    EXPECT_EQ(current_dict_id(), 10u);
    EXPECT_EQ(words(library.open(20, "b.dic")), "2 0 0");
    EXPECT_EQ(current_words(), "2 0 0");
    EXPECT_EQ(current_dict_id(), 20u);
}

TEST(ds_openfile, stores_path_mode_and_option)
{
    Started library;
    Name path = library.create("a.dic");
    EXPECT_EQ(ds_openfile(10, path, DICT_SHARED, 4711, nullptr), OK);
    const DictFile *file = dict_file_at(1, 0);
    EXPECT_EQ(text(slot_path_at(1, 0)), path.str());
    EXPECT_EQ(file->path, slot_path_at(1, 0));
    EXPECT_EQ(file->open_mode, (u16)DICT_SHARED);
    EXPECT_EQ(file->option, 4711u);
}

TEST(ds_openfile, names_the_slot_after_the_last_part_of_the_path)
{
    Started library;
    library.open(10, "orders.dic");
    Name name;
    slot_name_at(1, name);
    EXPECT_EQ(name.str(), "orders.dic");
}

TEST(ds_openfile, cuts_the_name_to_31_characters)
{
    Started library;
    std::string file = "orders of the year one thousand nine hundred";
    library.open(10, file);
    Name name;
    slot_name_at(1, name);
    EXPECT_EQ(name.str(), file.substr(0, 31));
    DictCookie cookie;
    EXPECT_EQ(cookie_for_name(Name(file), &cookie), 0);
    EXPECT_EQ(cookie_for_name(Name(file.substr(0, 31)), &cookie), 1);
}

TEST(ds_openfile, keeps_the_old_name_of_the_slot_when_it_fails)
{
    Started library;
    library.open(10, "orders.dic");
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_EQ(ds_openfile(11, library.dir.name("none"), DICT_SHARED, 0, nullptr), (DictStatus)DICT_NO_FILE);
    Name name;
    slot_name_at(1, name);
    EXPECT_EQ(name.str(), "orders.dic");
    EXPECT_EQ(text(slot_path_at(1, 0)), library.dir.name("none").str());  // the path is stored first
}

TEST(ds_openfile, works_without_a_cookie)
{
    Started library;
    Name path = library.create("a.dic");
    EXPECT_EQ(ds_openfile(10, path, DICT_EXCLUSIVE, 0, nullptr), OK);
    EXPECT_EQ(current_words(), "1 0 0");
    EXPECT_EQ(ds_openfile(20, library.dir.name("none"), DICT_EXCLUSIVE, 0, nullptr), (DictStatus)DICT_NO_FILE);
}

TEST(ds_openfile, gives_2_for_an_identifier_in_use_and_leaves_all_as_it_was)
{
    Started library;
    library.open(10, "a.dic");
    library.open(20, "b.dic");
    DictCookie cookie = UNTOUCHED;
    calls_reset();
    EXPECT_EQ(ds_openfile(10, library.dir.name("b.dic"), DICT_SHARED, 0, &cookie), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
    EXPECT_EQ(current_words(), "2 0 0");
    EXPECT_EQ(text(slot_path_at(1, 0)), library.dir.name("a.dic").str());
    EXPECT_TRUE(dict_file_is_open(dict_file_at(1, 0)));
}

TEST(ds_openfile, gives_2_for_65535_with_a_free_slot_and_without_one)
{
    Started library;
    Name path = library.create("a.dic");
    EXPECT_EQ(ds_openfile(65535, path, DICT_SHARED, 0, nullptr), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(slot_used_count(), 0);
    library.open(10, "a.dic");
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(ds_openfile(65535, path, DICT_SHARED, 0, nullptr), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(slot_used_count(), 1);
}

TEST(ds_openfile, gives_14_for_a_null_path)
{
    Started library;
    EXPECT_EQ(slot_claim(10), OK);
    slot_set_path(10, 0, Name("old"));
    slot_release(10);
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_openfile(20, nullptr, DICT_SHARED, 0, &cookie), (DictStatus)DICT_NO_NAME);
    EXPECT_EQ(words(cookie), "0 0 0");
    EXPECT_EQ(current_words(), "1 0 0");
    EXPECT_EQ(slot_find(20), 0);
    EXPECT_EQ(text(slot_path_at(1, 0)), "");
}

TEST(ds_openfile, hands_an_empty_path_to_the_file_layer)
{
    Started library;
    EXPECT_EQ(ds_openfile(20, Name(""), DICT_SHARED, 0, nullptr), (DictStatus)DICT_NO_FILE);
}

TEST(ds_openfile, clears_the_cookie_and_frees_the_slot_when_it_fails)
{
    Started library;
    DictCookie cookie = UNTOUCHED;
    EXPECT_EQ(ds_openfile(10, library.dir.name("none"), DICT_SHARED, 0, &cookie), (DictStatus)DICT_NO_FILE);
    EXPECT_EQ(words(cookie), "0 0 0");
    EXPECT_EQ(slot_find(10), 0);
    EXPECT_EQ(slot_used_count(), 0);
    EXPECT_EQ(slot_total(), 1);
}

TEST(ds_openfile, leaves_current_at_the_released_slot)
{
    Started library;
    DictCookie first = library.open(10, "a.dic");
    EXPECT_EQ(ds_openfile(20, library.dir.name("none"), DICT_SHARED, 0, nullptr), (DictStatus)DICT_NO_FILE);
    EXPECT_EQ(current_words(), "2 0 0");
    EXPECT_EQ(current_dict_id(), 65535u);
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(ds_setcurdict(&first), OK);
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), OK);
}

TEST(ds_openfile, gives_4_for_a_wrong_magic_and_can_be_tried_again)
{
    Started library;
    Name path = library.create("a.dic");
    std::string sound = library.dir.content("a.dic");
    make_dictionary_unreadable(library.dir, "a.dic");
    for (i32 i = 0; i < 2; i++) {
        EXPECT_EQ(ds_openfile(10, path, DICT_EXCLUSIVE, 0, nullptr), (DictStatus)DICT_NOT_A_DICTIONARY);
        EXPECT_TRUE(library.is_free("a.dic"));
    }
    library.dir.put("a.dic", sound);
    EXPECT_EQ(ds_openfile(10, path, DICT_EXCLUSIVE, 0, nullptr), OK);
}

TEST(ds_openfile, does_not_take_an_empty_file_for_the_dictionary_that_was_in_the_slot)
{
    Started library;
    library.open(10, "a.dic");
    EXPECT_EQ(ds_closefile(10), OK);
    Name empty = library.dir.put("empty", "");
    EXPECT_EQ(ds_openfile(10, empty, DICT_EXCLUSIVE, 0, nullptr), (DictStatus)DICT_NOT_A_DICTIONARY);
}

TEST(ds_openfile, gives_10_for_an_unknown_mode)
{
    Started library;
    Name path = library.create("a.dic");
    EXPECT_EQ(ds_openfile(10, path, 1, 0, nullptr), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(ds_openfile(10, library.dir.name("none"), 1, 0, nullptr), (DictStatus)DICT_ACCESS_DENIED);
}

TEST(ds_openfile, opens_the_same_path_twice_where_the_mode_allows_it)
{
    Started library;
    library.open(10, "a.dic", DICT_SHARED);
    EXPECT_EQ(ds_openfile(20, library.dir.name("a.dic"), DICT_SHARED, 0, nullptr), OK);
    EXPECT_EQ(ds_openfile(30, library.dir.name("a.dic"), DICT_READ_ONLY, 0, nullptr), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(ds_openfile(30, library.dir.name("a.dic"), DICT_EXCLUSIVE, 0, nullptr), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_EQ(ds_closefile(20), OK);

    library.open(10, "a.dic", DICT_READ_ONLY);
    EXPECT_EQ(ds_openfile(20, library.dir.name("a.dic"), DICT_READ_ONLY, 0, nullptr), OK);
}

TEST(ds_openfile, grows_the_set_and_every_path_still_points_at_its_text)
{
    Started library;
    library.open(10, "a.dic");
    slot_set_path(10, 1, library.create("second"));
    DictCookie cookie = { .slot = 1, .selector = 0, .other_selector = 0 };
    EXPECT_EQ(dict_open_selected(&cookie, 1, DICT_EXCLUSIVE, 0), OK);
    for (u16 id = 20; id < 30; id++) library.open(id, std::to_string(id));
    EXPECT_EQ(slot_total(), 11);
    EXPECT_EQ(text(dict_file_at(1, 0)->path), library.dir.name("a.dic").str());
    EXPECT_EQ(text(dict_file_at(1, 1)->path), library.dir.name("second").str());
    for (i32 slot = 1; slot <= 11; slot++) EXPECT_EQ(dict_file_at(slot, 0)->path, slot_path_at(slot, 0));

    // The path is used when the file grows.
    EXPECT_EQ(ds_setcurdict(&cookie), OK);
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), OK);
}

TEST(ds_openfile, reuses_a_freed_slot_and_the_others_keep_their_numbers)
{
    Started library;
    library.open(10, "a.dic");
    DictCookie second = library.open(20, "b.dic");
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_EQ(slot_find(20), 2);
    EXPECT_TRUE(dict_selected_is_open(&second, 0));
    EXPECT_EQ(words(library.open(30, "c.dic")), "1 0 0");
    EXPECT_EQ(slot_total(), 2);
}

TEST(ds_openfile, loses_every_dictionary_when_the_set_cannot_grow)
{
    Started library;
    DictCookie first = library.open(10, "a.dic");
    Name path = library.create("b.dic");  // has grown the set, so that a slot is free
    library.open(20, "b.dic");
    DictSet *lost = dict_set;
    DictCookie cookie = UNTOUCHED;
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(ds_openfile(30, path, DICT_SHARED, 0, &cookie), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(words(cookie), words(UNTOUCHED));
    EXPECT_EQ(ds_setcurdict(&first), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(ds_closefile(10), OK);
    dd_term();
    EXPECT_FALSE(library.is_free("a.dic"));

    EXPECT_EQ(dict_file_close(&lost->slots[0].files[0]), OK);
    EXPECT_EQ(dict_file_close(&lost->slots[1].files[0]), OK);
    gfree(ghandle(lost));
}

TEST(ds_openfile, leaves_no_file_open_and_the_slot_free_whichever_call_fails)
{
    std::string bytes;
    {
        Started library;  // the dictionary has been open once, so that nothing is left to be added at the open
        library.open(10, "a.dic");
        EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), OK);
        EXPECT_EQ(ds_closefile(10), OK);
        bytes = library.dir.content("a.dic");
    }
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        with_each_failure({ FAULT_RESIZE, FAULT_ANY }, [&](const Fault &fault) {
            clock_virtual_start(0);  // for the waits of a lock that is refused
            Started library;
            Name path = library.dir.put("a.dic", bytes);
            DictCookie cookie = UNTOUCHED;
            calls_reset();
            faults_start(fault);
            DictStatus status = ds_openfile(10, path, mode, 0, &cookie);
            bool met = faults_stop();
            bool may_lose = fault.call == FAULT_RESIZE || fault.call == FAULT_ANY;
            library.nothing_left.may_lose = may_lose ? call_counts().resize : 0;

            const std::vector<CallRecord> &log = call_log();
            bool written = std::any_of(log.begin(), log.end(), [](const CallRecord &record) {
                return record.call == FAULT_WRITE && record.ok;
            });
            EXPECT_EQ(words(cookie), status ? "0 0 0" : "1 0 0");
            EXPECT_EQ(slot_find(10), status ? 0 : 1);
            EXPECT_EQ(slot_used_count(), status ? 0 : 1);
            EXPECT_EQ(current_words(), "1 0 0");
            EXPECT_EQ(ds_closefile(10), OK);
            EXPECT_TRUE(library.is_free("a.dic"));
            EXPECT_TRUE(written || library.dir.content("a.dic") == bytes);
            if (written) return met;  // which only the adding of tables does, and it can fail half-way
            EXPECT_EQ(ds_openfile(10, path, mode, 0, &cookie), OK);
            EXPECT_EQ(dd_numresources(2, 100, 2), 1);
            return met;
        }, 80);
    }
}

// ---- Making a dictionary --------------------------------------------------------------------------------------------

TEST(ds_createfile, gives_15_before_the_start)
{
    TempDir dir;
    EXPECT_EQ(ds_createfile(1, dir.name("a.dic")), (DictStatus)DICT_NOT_STARTED);
    EXPECT_FALSE(dir.has("a.dic"));
}

TEST(ds_createfile, makes_a_file_of_4930_bytes_and_leaves_nothing_open)
{
    Started library;
    EXPECT_EQ(ds_createfile(10, library.dir.name("a.dic")), OK);
    EXPECT_EQ(library.dir.content("a.dic").size(), 4930u);
    EXPECT_TRUE(library.is_free("a.dic"));
    EXPECT_EQ(slot_find(10), 0);
    EXPECT_EQ(slot_used_count(), 0);
}

TEST(ds_createfile, leaves_current_alone)
{
    Started library;
    library.open(10, "a.dic");
    DictCookie cookie = { .slot = 1, .selector = 2, .other_selector = 1 };
    EXPECT_EQ(ds_setcurdict(&cookie), OK);
    EXPECT_EQ(ds_createfile(20, library.dir.name("b.dic")), OK);
    EXPECT_EQ(current_words(), "1 2 1");
}

TEST(ds_createfile, claims_and_releases_a_slot)
{
    Started library;
    library.open(10, "a.dic");
    EXPECT_EQ(slot_total(), 1);
    EXPECT_EQ(ds_createfile(10, library.dir.name("b.dic")), (DictStatus)DICT_EXISTS);
    EXPECT_FALSE(library.dir.has("b.dic"));
    EXPECT_EQ(ds_createfile(20, library.dir.name("b.dic")), OK);
    EXPECT_EQ(slot_total(), 2);  // longer by one
    EXPECT_EQ(slot_used_count(), 1);
    EXPECT_EQ(text(slot_path_at(2, 0)), library.dir.name("b.dic").str());
}

TEST(ds_createfile, gives_2_for_65535)
{
    Started library;
    EXPECT_EQ(ds_createfile(65535, library.dir.name("a.dic")), (DictStatus)DICT_EXISTS);
    EXPECT_FALSE(library.dir.has("a.dic"));
}

TEST(ds_createfile, gives_14_for_a_null_path)
{
    Started library;
    EXPECT_EQ(ds_createfile(10, nullptr), (DictStatus)DICT_NO_NAME);
    EXPECT_EQ(slot_used_count(), 0);
}

TEST(ds_createfile, replaces_a_dictionary)
{
    Started library;
    library.open(10, "a.dic");
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), OK);
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_EQ(ds_createfile(10, library.dir.name("a.dic")), OK);
    EXPECT_EQ(library.dir.content("a.dic").size(), 4930u);
    library.open(10, "a.dic");
    EXPECT_EQ(dd_numresources(2, 100, 2), 0);
}

TEST(ds_createfile, gives_6_for_a_file_that_somebody_has_open)
{
    Started library;
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        library.create("a.dic");
        FileHandle other = file_open(library.dir.name("a.dic"), mode);
        EXPECT_EQ(ds_createfile(10, library.dir.name("a.dic")), (DictStatus)DICT_NO_FILE) << mode;
        (void)file_close(other);
    }
    library.open(10, "a.dic");  // by this library itself, under another identifier
    EXPECT_EQ(ds_createfile(20, library.dir.name("a.dic")), (DictStatus)DICT_NO_FILE);
}

TEST(ds_createfile, leaves_no_slot_taken_and_nothing_open_whichever_call_fails)
{
    std::string made;
    {
        Started library;
        library.create("a.dic");
        made = library.dir.content("a.dic");
    }
    with_each_failure({ FAULT_ALLOC, FAULT_ANY_FILE, FAULT_ANY }, [&](const Fault &fault) {
        Started library;
        faults_start(fault);
        DictStatus status = ds_createfile(10, library.dir.name("a.dic"));
        bool met = faults_stop();
        EXPECT_TRUE(status == OK || status == DICT_NO_FILE || status == DICT_NO_MEMORY) << status;
        EXPECT_EQ(slot_used_count(), 0);
        EXPECT_EQ(slot_total(), 1);
        EXPECT_EQ(current_words(), "0 0 0");
        std::string now = library.dir.has("a.dic") ? library.dir.content("a.dic") : "";
        bool may_stay = met && fault.from_then_on;  // in part, when its deletion fails as well
        EXPECT_TRUE(now == made || now == (may_stay ? made.substr(0, now.size()) : ""));
        EXPECT_TRUE(status != DICT_NO_FILE || now.empty());
        return met;
    });
}

// ---- Closing a dictionary -------------------------------------------------------------------------------------------

TEST(ds_closefile, always_gives_0)
{
    EXPECT_EQ(ds_closefile(10), OK);  // not started
    Started library;
    EXPECT_EQ(ds_closefile(10), OK);  // unknown
    EXPECT_EQ(ds_closefile(-1), OK);  // and of a free slot
    EXPECT_EQ(slot_total(), 1);

    library.open(10, "a.dic");
    faults_start({ .call = FAULT_ANY_FILE, .from_then_on = true });
    EXPECT_EQ(ds_closefile(10), OK);  // with a failure
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(slot_find(10), 0);

    library.open(40000, "b.dic");
    EXPECT_EQ(ds_closefile((i16)40000), OK);  // negative, so nothing happens
    EXPECT_EQ(slot_find(40000), 1);
    EXPECT_FALSE(library.is_free("b.dic"));
}

TEST(ds_closefile, takes_identifiers_0_and_32767)
{
    Started library;
    library.open(0, "a.dic");
    library.open(32767, "b.dic");
    EXPECT_EQ(ds_closefile(0), OK);
    EXPECT_TRUE(library.is_free("a.dic"));
    EXPECT_EQ(ds_closefile(32767), OK);
    EXPECT_TRUE(library.is_free("b.dic"));
    EXPECT_EQ(slot_used_count(), 0);
}

TEST(ds_closefile, closes_the_three_files_in_their_order)
{
    Started library;
    DictCookie cookie = library.open(10, "a.dic");
    std::vector<FileHandle> files = { dict_file_at(1, 0)->file };
    for (i32 selector : { 1, 2 }) {
        slot_set_path(10, selector, library.create(std::to_string(selector)));
        EXPECT_EQ(dict_open_selected(&cookie, selector, DICT_EXCLUSIVE, 0), OK);
        files.push_back(dict_file_at(1, selector)->file);
    }
    files[0] = dict_file_at(1, 0)->file;  // which may have grown, and been opened again
    calls_reset();
    EXPECT_EQ(ds_closefile(10), OK);
    std::vector<FileHandle> closed;
    for (const CallRecord &record : call_log()) {
        if (record.call == FAULT_CLOSE) closed.push_back(record.file);
    }
    EXPECT_EQ(closed, files);
    EXPECT_EQ(slot_used_count(), 0);
}

TEST(ds_closefile, closes_the_files_that_are_there)
{
    Started library;
    DictCookie cookie = library.open(10, "a.dic");
    slot_set_path(10, 2, library.create("b.dic"));
    EXPECT_EQ(dict_open_selected(&cookie, 2, DICT_EXCLUSIVE, 0), OK);
    EXPECT_EQ(dict_close_selected(&cookie, 0), OK);
    EXPECT_EQ(ds_closefile(10), OK);  // selectors 0 and 1 have no file
    EXPECT_TRUE(library.is_free("b.dic"));
}

TEST(ds_closefile, leaves_current_where_it_was)
{
    Started library;
    library.open(10, "a.dic");
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_EQ(current_words(), "1 0 0");
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("name"), 0), (DictStatus)DICT_NOT_OPEN);
}

TEST(ds_closefile, keeps_what_was_written_for_the_next_open)
{
    Library library;
    library.add_module(2, 100, "one hundred");
    library.add_module(2, 101, "one hundred and one");
    EXPECT_EQ(library.add(2, 101, 9, 1, "name", "body"), OK);
    library.reopen(DICT_READ_ONLY);
    EXPECT_EQ(library.body(2, 101, 9, 1), "body");
    EXPECT_EQ(library.name(2, 101, 9, 1), "name");
    library.reopen(DICT_SHARED);
    EXPECT_EQ(library.body(2, 101, 9, 1), "body");
}

TEST(ds_closefile, frees_slot_and_memory_whichever_call_fails)
{
    with_each_failure({ FAULT_ALLOC, FAULT_RESIZE, FAULT_ANY_FILE, FAULT_ANY }, [](const Fault &fault) {
        Started library;
        DictCookie cookie = library.open(10, "a.dic");
        slot_set_path(10, 1, library.create("b.dic"));
        EXPECT_EQ(dict_open_selected(&cookie, 1, DICT_EXCLUSIVE, 0), OK);
        BlockEntry entry = {};
        EXPECT_EQ(block_write_entry(dict_file_at(1, 0), 255, &entry), OK);  // a page to be flushed

        calls_reset();
        faults_start(fault);
        EXPECT_EQ(ds_closefile(10), OK);
        bool met = faults_stop();
        bool may_lose = fault.call == FAULT_RESIZE || fault.call == FAULT_ANY;
        library.nothing_left.may_lose = may_lose ? call_counts().resize : 0;
        EXPECT_EQ(slot_find(10), 0);
        EXPECT_TRUE(library.is_free("a.dic"));
        EXPECT_TRUE(library.is_free("b.dic"));
        library.open(10, "a.dic");
        library.open(20, "b.dic");
        return met;
    });
}

// ---- Damage ---------------------------------------------------------------------------------------------------------

// What one does with a dictionary, as far as it lets one. Any status of the table will do. The disk is full after 3000
// writes, far more than a sound file needs, so that no damaged length makes the test move gigabytes.
void use_current()
{
    faults_start({ .call = FAULT_WRITE, .nth = 3000, .from_then_on = true, .error = PLATFORM_DISK_FULL });
    Name name;
    for (i32 kind = 1; kind <= 3; kind++) {
        for (i16 n = 1; n <= 3; n++) {
            i32 module = dd_get_nresid(kind, 0, 2, n);
            (void)dd_getresname(kind, module, 2, (u16)module, name);
            (void)dd_get_resid_pos(kind, module, 2, module);
            for (i16 i = 1; i <= 3; i++) {
                gfree(dd_getnresourcehndl(kind, module, 9, i, 0, nullptr));
                (void)dd_getnresname(kind, module, 9, i, name);
            }
            (void)dd_numresources(kind, module, 9);
            (void)dd_get_resid(kind, module, 9, Name("second"));
        }
    }
    GHandle body = handle_of("another body");
    (void)dd_change_resource(2, 101, 9, 1, Name("changed"), body);
    (void)dd_add_resource(2, 101, 9, 7, Name("added"), body);
    (void)dd_add_resource(2, 102, 2, 102, Name("a third module"), 0);
    (void)dd_add_resource(2, 102, 9, 1, Name("added there"), body);
    (void)dd_remove_resource(2, 101, 9, 2);
    (void)dd_remove_resource(2, 100, 2, 100);
    gfree(body);
    (void)faults_stop();
}

DictStatus open_and_use(Started &library, const std::string &bytes)
{
    NothingLeft nothing_left;
    std::filesystem::remove(library.dir.path("a.dic"));  // many systems flush a file that is cut and written again
    Name path = library.dir.put("a.dic", bytes);
    DictStatus status = ds_openfile(10, path, DICT_EXCLUSIVE, 0, nullptr);
    use_current();
    EXPECT_EQ(ds_closefile(10), OK);
    EXPECT_TRUE(library.is_free("a.dic"));
    return status;
}

std::string dictionary_with_two_modules()
{
    Library library;
    library.add_module(2, 100, "one hundred");
    library.add_module(2, 101, "one hundred and one");
    EXPECT_EQ(library.add(2, 101, 9, 1, "first", "body"), OK);
    EXPECT_EQ(library.add(2, 101, 9, 2, "second", "second body"), OK);
    EXPECT_EQ(ds_closefile(1), OK);
    return library.bytes();
}

TEST(damaged_dictionary, cut_short_gives_a_status_or_works)
{
    std::string sound = dictionary_with_two_modules();
    Started library;
    for (size_t length : { 0u, 1u, 3u, 4u, 25u, 26u, 27u, 39u, 40u, 3609u, 3610u, 3611u, 4417u, 4418u, 4500u, 4930u,
                           5000u, 5856u, 8000u, 10000u }) {
        ASSERT_LT(length, sound.size());
        (void)open_and_use(library, sound.substr(0, length));
    }
}

TEST(damaged_dictionary, with_a_changed_byte_in_header_block_entries_or_module_table_gives_a_status_or_works)
{
    std::string sound = dictionary_with_two_modules();
    Started library;
    size_t modules_at = u32_at(sound, 28);
    for (size_t i = 0; i < 26 + 42 + 8 + 48; i++) {
        size_t offset = i < 68 ? i : modules_at + i - 68;
        for (i32 value : { 0, 0xFF, 0x7F }) {
            std::string bytes = sound;
            bytes[offset] = (char)value;
            SCOPED_TRACE("byte " + std::to_string(offset) + " is " + std::to_string(value));
            if (bytes != sound) (void)open_and_use(library, bytes);
        }
    }
}

} // namespace
} // namespace zuk
