#include "engine/pinned_cache.h"

#include "engine/cookies.h"
#include "engine/lifecycle.h"
#include "engine/resources.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

namespace zuk {

using Lines = std::vector<std::string>;

namespace {

// A file below the set, and the array of pinned blocks that `dd_init` would make. The file holds text from 5000 on.
class PinnedFile : public BareDictionary {
public:
    PinnedFile() : alive_before(handles_alive())
    {
        EXPECT_TRUE(cache_init());
        put("0123456789");
        calls_reset();
    }
    ~PinnedFile()
    {
        cache_clear();
        cache_free();
        EXPECT_EQ(handles_alive(), alive_before + lost) << "handles left alive";
    }
    void put(const std::string &text)
    {
        EXPECT_EQ(dict_write_at(file.file, 5000, text.data(), (i32)text.size()), (DictStatus)DICT_OK);
    }

    u32 lost = 0;   // handles that an operation loses by design

private:
    u32 alive_before;
};

} // namespace

// What the cache has of kind 2, module 100, type 1; "<status n>" if it has not.
static std::string cached(DictFile *file, u32 pos, i32 count, u32 is_name = 0)
{
    std::string bytes((size_t)(count > 0 ? count : 0), '.');
    DictStatus status = cache_read(file, 2, 100, 1, is_name, pos, count, bytes.data());
    return status ? "<status " + std::to_string(status) + ">" : bytes;
}

namespace {

// A library with two modules of kind 2 and a resource in the second.
class PinLibrary : public Library {
public:
    PinLibrary()
    {
        add_module(2, 100, "first");
        add_module(2, 101, "second");
        EXPECT_EQ(add(2, 101, 1, 1, "one", "body of one"), (DictStatus)DICT_OK);
        calls_reset();
    }
    BlockEntry body_entry(u16 type = 1) { return entry_of(file(), type_body_block(file(), 2, 101, (i16)type)); }
    BlockEntry name_entry(u16 type = 1) { return entry_of(file(), type_name_block(file(), 2, 101, (i16)type)); }
};

} // namespace

static DictStatus pin_bodies(u16 type = 1) { return cache_pin(0, 2, 101, type, 0); }
static DictStatus pin_names(u16 type = 1) { return cache_pin(0, 2, 101, type, 1); }

TEST(pinned_cache, has_every_operation)
{
    void *const operations[] = {
        (void *)cache_pin, (void *)cache_release, (void *)cache_read, (void *)cache_clear, (void *)cache_find,
        (void *)cache_add, (void *)cache_init, (void *)cache_free, (void *)cache_count, (void *)cache_at,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Start and end --------------------------------------------------------------------------------------------------

TEST(cache_init, makes_an_empty_array)
{
    u32 alive = handles_alive();
    ASSERT_TRUE(cache_init());
    EXPECT_EQ(handles_alive(), alive + 1);
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(cache_at(0), nullptr);
    cache_free();
    EXPECT_EQ(handles_alive(), alive);
}

TEST(cache_init, fails_without_memory)
{
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_FALSE(cache_init());
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(cache_count(), 0);
}

TEST(cache_free, leaves_the_handles_in_the_array)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    GHandle bytes = cache_at(0)->handle;
    dd_term();
    EXPECT_EQ(bytes_of(bytes), "body of one");
    EXPECT_EQ(cache_count(), 0);
    gfree(bytes);
}

TEST(cache_at, gives_null_outside_the_array)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    EXPECT_NE(cache_at(0), nullptr);
    EXPECT_EQ(cache_at(1), nullptr);
    EXPECT_EQ(cache_at(-1), nullptr);
}

// ---- cache_find -----------------------------------------------------------------------------------------------------

TEST(cache_find, asks_for_all_five_keys)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_find(file, 2, 100, 1, 0), 0);
    EXPECT_EQ(cache_find(file, 3, 100, 1, 0), -1);
    EXPECT_EQ(cache_find(file, 2, 101, 1, 0), -1);
    EXPECT_EQ(cache_find(file, 2, 100, 2, 0), -1);
    EXPECT_EQ(cache_find(file, 2, 100, 1, 1), -1);
    DictFile other = {};
    other.file = file->file + 1;
    EXPECT_EQ(cache_find(&other, 2, 100, 1, 0), -1);
    other.file = file->file;                       // the platform file is the key, not the record
    EXPECT_EQ(cache_find(&other, 2, 100, 1, 0), 0);
}

TEST(cache_find, gives_the_first_of_the_records_that_match)
{
    PinnedFile file;
    for (i32 module : { 100, 101, 102 }) {
        ASSERT_EQ(cache_add(file, 2, module, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    }
    EXPECT_EQ(cache_find(file, 2, 100, 1, 0), 0);   // in the order of pinning
    EXPECT_EQ(cache_find(file, 2, 101, 1, 0), 1);
    EXPECT_EQ(cache_find(file, 2, 102, 1, 0), 2);
}

TEST(cache_find, finds_nothing_without_an_array)
{
    DictFile file = {};
    EXPECT_EQ(cache_find(&file, 0, 0, 0, 0), -1);
}

// ---- cache_add ------------------------------------------------------------------------------------------------------

TEST(cache_add, reads_the_bytes_into_a_record)
{
    PinnedFile file;
    EXPECT_EQ(cache_add(file, 2, 0x12345, 40000, 5002, 5, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 5002", "read 5002+5" }));
    ASSERT_EQ(cache_count(), 1);
    const PinnedBlock *record = cache_at(0);
    EXPECT_EQ(record->kind, 2u);
    EXPECT_EQ(record->module, 0x12345u);
    EXPECT_EQ(record->type, 40000);
    EXPECT_EQ(record->is_name, 1u);
    EXPECT_EQ(record->file, file->file);
    EXPECT_EQ(record->ref_count, 1);
    EXPECT_EQ(record->base, 5002u);
    EXPECT_EQ(record->length, 5u);
    EXPECT_EQ(bytes_of(record->handle), "23456");
}

TEST(cache_add, of_a_record_that_stands_counts_a_pin)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    file.put("abcdefghij");
    calls_reset();
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5001, 9, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), Lines{});              // nothing is read again
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->ref_count, 2);
    EXPECT_EQ(cache_at(0)->base, 5000u);
    EXPECT_EQ(bytes_of(cache_at(0)->handle), "0123");
}

TEST(cache_add, of_no_bytes_makes_an_empty_handle)
{
    PinnedFile file;
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 0, 0), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_NE(cache_at(0)->handle, 0u);
    EXPECT_EQ(gsize(cache_at(0)->handle), 0);
    EXPECT_EQ(cached(file, 5000, 0), "");
    EXPECT_EQ(cached(file, 5000, 1), "<status 3>");
}

// The whole array is lost, and with it what was pinned: reads then go to the file, and nothing can be pinned.
TEST(cache_add, loses_the_array_when_it_cannot_grow)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(cache_add(file, 2, 101, 1, 5000, 4, 0), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(cached(file, 5000, 4), "<status 3>");
    EXPECT_EQ(cache_add(file, 2, 101, 1, 5000, 4, 0), (DictStatus)DICT_NO_MEMORY);
    file.lost = 2;   // the old array, and the bytes of its record

    cache_clear();
    EXPECT_EQ(cache_add(file, 2, 101, 1, 5000, 4, 0), (DictStatus)DICT_OK);
}

TEST(cache_add, leaves_a_blank_record_without_memory)
{
    PinnedFile file;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    ASSERT_EQ(cache_count(), 1);
    static const PinnedBlock blank = {};
    const PinnedBlock *record = cache_at(0);
    EXPECT_EQ(record->kind, blank.kind);
    EXPECT_EQ(record->file, blank.file);
    EXPECT_EQ(record->ref_count, blank.ref_count);
    EXPECT_EQ(record->handle, blank.handle);
    EXPECT_EQ(cached(file, 5000, 4), "<status 3>");

    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);   // behind the blank
    EXPECT_EQ(cache_count(), 2);
    EXPECT_EQ(cached(file, 5000, 4), "0123");
}

// The key of a blank record is that of no open file; asked for all the same, it holds nothing.
TEST(cache_add, leaves_a_blank_record_that_serves_nobody)
{
    PinnedFile file;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    DictFile closed = {};
    u8 byte = 7;
    EXPECT_EQ(cache_find(&closed, 0, 0, 0, 0), 0);
    EXPECT_EQ(cache_read(&closed, 0, 0, 0, 0, 0, 1, &byte), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(byte, 7);
}

TEST(cache_add, keeps_the_record_after_a_failed_read)
{
    PinnedFile file;
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->ref_count, 1);
    EXPECT_EQ(cached(file, 5000, 4), std::string(4, '\0'));   // served as it is
}

TEST(cache_add, of_a_short_read_keeps_zeros_for_the_rest)
{
    PinnedFile file;
    faults_start({ .call = FAULT_READ, .cut = 2 });
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(cached(file, 5000, 4), std::string("01\0\0", 4));
}

TEST(cache_add, keeps_blocks_of_several_files_side_by_side)
{
    PinnedFile file;
    BareDictionary second;
    ASSERT_EQ(dict_write_at(second->file, 5000, "abcd", 4), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_add(file, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_add(second, 2, 100, 1, 5000, 4, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_count(), 2);
    EXPECT_EQ(cached(file, 5000, 4), "0123");
    EXPECT_EQ(cached(second, 5000, 4), "abcd");
}

// ---- cache_pin ------------------------------------------------------------------------------------------------------

TEST(cache_pin, holds_the_used_bytes_of_the_body_block)
{
    PinLibrary library;
    BlockEntry entry = library.body_entry();
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->kind, 2u);
    EXPECT_EQ(cache_at(0)->module, 101u);
    EXPECT_EQ(cache_at(0)->type, 1);
    EXPECT_EQ(cache_at(0)->is_name, 0u);
    EXPECT_EQ(cache_at(0)->file, library.file()->file);
    EXPECT_EQ(cache_at(0)->base, le_get(entry.offset));
    EXPECT_EQ(bytes_of(cache_at(0)->handle), "body of one");
    cache_clear();
}

TEST(cache_pin, holds_the_used_bytes_of_the_name_block)
{
    PinLibrary library;
    BlockEntry entry = library.name_entry();
    EXPECT_EQ(cache_pin(0, 2, 101, 1, 5), (DictStatus)DICT_OK);   // any number but 0
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->is_name, 1u);
    EXPECT_EQ(cache_at(0)->base, le_get(entry.offset));
    EXPECT_EQ(bytes_of(cache_at(0)->handle), "\x03one");
    EXPECT_EQ(pin_names(), (DictStatus)DICT_OK);                  // the same record
    EXPECT_EQ(cache_at(0)->ref_count, 2);
    cache_clear();
}

TEST(cache_pin, adds_the_series_to_the_module)
{
    PinLibrary library;
    EXPECT_EQ(cache_pin(6, 2, 5, 1, 0), (DictStatus)DICT_OK);     // 5 + 6 * 16 is 101
    EXPECT_EQ(cache_pin(-1, 2, 117, 1, 0), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->module, 101u);
    EXPECT_EQ(cache_at(0)->ref_count, 2);
    cache_clear();
}

TEST(cache_pin, twice_keeps_one_copy)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    GHandle bytes = cache_at(0)->handle;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->ref_count, 2);
    EXPECT_EQ(cache_at(0)->handle, bytes);
    cache_clear();
}

TEST(cache_pin, gives_3_for_a_type_or_module_that_is_missing)
{
    PinLibrary library;
    EXPECT_EQ(pin_bodies(9), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(pin_names(9), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(cache_pin(0, 2, 999, 1, 0), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(cache_pin(0, 3, 101, 1, 0), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(cache_count(), 0);
}

TEST(cache_pin, of_an_empty_block_makes_an_empty_record)
{
    PinLibrary library;
    ASSERT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_OK);   // the type stays, with nothing in it
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->length, 0u);
    EXPECT_NE(cache_at(0)->handle, 0u);
    cache_clear();
}

TEST(cache_pin, holds_65499_bytes)
{
    PinLibrary library;
    ASSERT_EQ(library.add(2, 101, 7, 1, "long", std::string(65499, 'x')), (DictStatus)DICT_OK);
    EXPECT_EQ(pin_bodies(7), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->length, 65499u);
    EXPECT_EQ(library.body(2, 101, 7, 1), std::string(65499, 'x'));
    cache_clear();
}

TEST(cache_pin, gives_0_and_no_record_for_65500_bytes)
{
    PinLibrary library;
    ASSERT_EQ(library.add(2, 101, 7, 1, "long", std::string(65500, 'x')), (DictStatus)DICT_OK);
    EXPECT_EQ(pin_bodies(7), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(cache_find(library.file(), 2, 101, 7, 0), -1);
    EXPECT_EQ(library.body(2, 101, 7, 1), std::string(65500, 'x'));   // from the file
}

TEST(cache_pin, takes_no_lock)
{
    PinLibrary library;
    library.reopen(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 1);
    EXPECT_EQ(call_counts().lock, 0u);
    EXPECT_EQ(call_counts().unlock, 0u);
}

// The file is the one that identifier 20000 selects: for kind 2 that of the other selector.
TEST(cache_pin, takes_the_file_that_a_read_selects)
{
    PinLibrary library;
    DictCookie second = { library.cookie.slot, 0, 1 };
    ASSERT_EQ(ds_setcurdict(&second), (DictStatus)DICT_OK);
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(cache_pin(0, 1, 101, 1, 0), (DictStatus)DICT_NOT_FOUND);   // kind 1 goes to file 0, which has no such
    ASSERT_EQ(ds_setcurdict(&library.cookie), (DictStatus)DICT_OK);
}

// A read of an identifier below 20000 would go to the main dictionary here.
TEST(cache_pin, is_not_redirected_to_the_main_dictionary)
{
    PinLibrary library;
    Name second = library.dir.name("b.dic");
    ASSERT_EQ(ds_createfile(2, second), (DictStatus)DICT_OK);
    DictCookie cookie;
    ASSERT_EQ(ds_openfile(2, second, DICT_EXCLUSIVE, 0, &cookie), (DictStatus)DICT_OK);
    library.add_module(2, 102, "third");
    ASSERT_EQ(library.add(2, 102, 20, 1, "one", "body of one"), (DictStatus)DICT_OK);
    dict_set->redirect_to_main = 1;
    dict_set->main_slot = (u16)library.cookie.slot;
    EXPECT_EQ(dict_select_file(2, 20, 1), library.file());
    EXPECT_EQ(cache_pin(0, 2, 102, 20, 0), (DictStatus)DICT_OK);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->file, dict_file_by_cookie(&cookie, 0)->file);
    EXPECT_EQ(cache_release(0, 2, 102, 20, 0), 1);
}

TEST(cache_pin, needs_a_started_library_and_an_open_file)
{
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NOT_STARTED);
    PinLibrary library;
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NOT_OPEN);
    DictCookie nowhere = { library.cookie.slot, 0, 7 };
    ASSERT_EQ(ds_setcurdict(&nowhere), (DictStatus)DICT_OK);
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NOT_FOUND);
}

// A damaged directory or block table names a block of another kind, or one with more free bytes than it has.
TEST(cache_pin, of_a_damaged_block_holds_nothing)
{
    PinLibrary library;
    TypeEntry *type = type_entry(directory_get(library.file(), module_find(library.file(), 2, 101)), 1);
    ASSERT_NE(type, nullptr);
    Le32 sound = type->body_block;
    for (u32 block : { BLOCK_OF_MODULE_TABLE, BLOCK_OF_BLOCK_TABLE, le_get(type->name_block) }) {
        type->body_block = le32(block);
        EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NOT_FOUND) << block;
    }
    type->body_block = le32(0x7FFFFFFF);
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NOT_FOUND);
    type->body_block = sound;

    BlockEntry entry = library.body_entry();
    BlockEntry damaged = entry;
    damaged.free = le32(le_get(entry.size) + 1);
    ASSERT_EQ(block_write_entry(library.file(), le_get(sound) - 1, &damaged), (DictStatus)DICT_OK);
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_FAILED);
    ASSERT_EQ(block_write_entry(library.file(), le_get(sound) - 1, &entry), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_count(), 0);
}

TEST(cache_pin, without_memory_gives_9_and_reads_go_to_the_file)
{
    PinLibrary library;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    cache_clear();

    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    library.expect_lost(1);   // the array
}

// ---- cache_release --------------------------------------------------------------------------------------------------

TEST(cache_release, of_the_last_pin_frees_the_bytes)
{
    PinLibrary library;
    u32 alive = handles_alive();
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(handles_alive(), alive + 1);
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 1);
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(handles_alive(), alive);
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

TEST(cache_release, moves_the_later_records_down)
{
    PinLibrary library;
    ASSERT_EQ(library.add(2, 101, 7, 1, "seven", "body of seven"), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_bodies(7), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_release(0, 2, 101, 1, 1), 1);
    ASSERT_EQ(cache_count(), 2);
    EXPECT_EQ(bytes_of(cache_at(0)->handle), "body of one");
    EXPECT_EQ(bytes_of(cache_at(1)->handle), "body of seven");
    EXPECT_EQ(cache_release(0, 2, 101, 7, 0), 1);                 // the last one
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(bytes_of(cache_at(0)->handle), "body of one");
    cache_clear();
}

TEST(cache_release, forms_the_module_as_the_pin_does)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_release(6, 2, 5, 1, 0), 1);                   // 5 + 6 * 16 is 101
    EXPECT_EQ(cache_count(), 0);
}

TEST(cache_release, of_what_is_not_pinned_gives_0)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_release(0, 2, 101, 1, 1), 0);
    EXPECT_EQ(cache_release(0, 2, 100, 1, 0), 0);
    EXPECT_EQ(cache_release(0, 3, 101, 1, 0), 0);
    EXPECT_EQ(cache_release(0, 2, 101, 9, 0), 0);
    EXPECT_EQ(cache_count(), 1);
    cache_clear();
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 0);
}

TEST(cache_release, needs_no_library_to_be_harmless)
{
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 0);
}

// Two pins of A and one of B: a release of A leaves it one pin, and takes B away with its bytes still alive.
TEST(cache_release, cuts_one_record_in_every_case)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    GHandle bytes = cache_at(1)->handle;
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 1);
    ASSERT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_at(0)->ref_count, 1);
    EXPECT_EQ(bytes_of(cache_at(0)->handle), "body of one");
    EXPECT_EQ(cache_find(library.file(), 2, 101, 1, 1), -1);
    EXPECT_EQ(bytes_of(bytes), "\x03one");
    library.expect_lost(1);
    cache_clear();
}

// Pinned twice and alone in the array, a block goes with its first release.
TEST(cache_release, of_one_of_two_pins_cuts_the_block_itself_when_it_is_the_last)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 1);
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 0);
    library.expect_lost(1);
}

TEST(cache_release, that_cannot_shrink_the_array_loses_it)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(cache_release(0, 2, 101, 1, 0), 1);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(cache_count(), 0);
    library.expect_lost(2);   // the array, and the bytes of the names
    EXPECT_EQ(library.name(2, 101, 1, 1), "one");
}

// ---- cache_read -----------------------------------------------------------------------------------------------------

TEST(cache_read, copies_from_the_place_in_the_file)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 10, 0), (DictStatus)DICT_OK);
    calls_reset();
    EXPECT_EQ(cached(file, 5000, 10), "0123456789");
    EXPECT_EQ(cached(file, 5003, 2), "34");
    EXPECT_EQ(cached(file, 5009, 1), "9");
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(cache_read, gives_3_without_a_record)
{
    PinnedFile file;
    EXPECT_EQ(cached(file, 5000, 1), "<status 3>");
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 10, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(cached(file, 5000, 1, 1), "<status 3>");   // the names are not pinned
}

TEST(cache_read, of_no_bytes_touches_nothing)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 10, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_read(file, 2, 100, 1, 0, 5000, 0, nullptr), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_read(file, 2, 100, 1, 0, 5000, -1, nullptr), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_read(file, 2, 100, 1, 0, 9999, 0, nullptr), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_read(file, 2, 101, 1, 0, 5000, 0, nullptr), (DictStatus)DICT_NOT_FOUND);
}

// What does not lie wholly in the copy is for the file to serve.
TEST(cache_read, gives_3_outside_the_copy)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 10, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(cached(file, 4999, 1), "<status 3>");
    EXPECT_EQ(cached(file, 4999, 11), "<status 3>");
    EXPECT_EQ(cached(file, 5000, 11), "<status 3>");
    EXPECT_EQ(cached(file, 5010, 1), "<status 3>");
    EXPECT_EQ(cached(file, 0, 5005), "<status 3>");
    EXPECT_EQ(cached(file, 0xFFFFFFFF, 1), "<status 3>");
    u8 nothing[1];
    EXPECT_EQ(cache_read(file, 2, 100, 1, 0, 0xFFFFFFFF, 0x7FFFFFFF, nothing), (DictStatus)DICT_NOT_FOUND);
}

TEST(cache_read, gives_9_when_the_data_cannot_be_locked)
{
    PinnedFile file;
    ASSERT_EQ(cache_add(file, 2, 100, 1, 5000, 10, 0), (DictStatus)DICT_OK);
    gfree(cache_at(0)->handle);   // by somebody who had no business with it
    EXPECT_EQ(cached(file, 5000, 1), "<status 9>");
}

TEST(cache_read, serves_stale_bytes)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    ASSERT_EQ(library.change(2, 101, 1, 1, "two", "BODY OF ONE"), (DictStatus)DICT_OK);   // of the same lengths
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    EXPECT_EQ(library.name(2, 101, 1, 1), "one");
    cache_clear();
    EXPECT_EQ(library.body(2, 101, 1, 1), "BODY OF ONE");
    EXPECT_EQ(library.name(2, 101, 1, 1), "two");
}

TEST(cache_read, serves_what_a_removed_resource_leaves)
{
    PinLibrary library;
    ASSERT_EQ(library.add(2, 101, 1, 2, "two", "body of two"), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_count(), 1);
    EXPECT_EQ(library.body(2, 101, 1, 2), "body of one");   // what stood where the second stands now
    cache_clear();
    EXPECT_EQ(library.body(2, 101, 1, 2), "body of two");
}

TEST(cache_read, leaves_what_was_added_behind_the_copy_to_the_file)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(library.add(2, 101, 1, 2, "two", "body of two"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 101, 1, 2), "body of two");
    cache_clear();
}

// The platform file has changed as well, since the file grew at its end.
TEST(cache_read, leaves_a_block_that_has_moved_to_the_file)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    u32 place = le_get(library.body_entry().offset);
    ASSERT_EQ(library.add(2, 101, 7, 1, "seven", "in the way"), (DictStatus)DICT_OK);   // no longer at the end
    ASSERT_EQ(library.change(2, 101, 1, 1, "one", std::string(9000, 'x')), (DictStatus)DICT_OK);
    EXPECT_NE(le_get(library.body_entry().offset), place);
    EXPECT_EQ(library.body(2, 101, 1, 1), std::string(9000, 'x'));
    EXPECT_EQ(cache_count(), 1);
    cache_clear();
}

TEST(cache_read, serves_reads_without_a_platform_call)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    calls_reset();
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    EXPECT_EQ(library.name(2, 101, 1, 1), "one");
    EXPECT_EQ(call_lines(), Lines{});
    cache_clear();
}

// A name from the file is cut to 79 characters; a pinned one comes whole.
TEST(cache_read, serves_a_long_name_whole)
{
    PinLibrary library;
    std::string name(100, 'n');
    ASSERT_EQ(library.add(2, 101, 1, 2, name, "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.name(2, 101, 1, 2), name.substr(0, 79));
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    EXPECT_EQ(library.name(2, 101, 1, 2), name);
    cache_clear();
    EXPECT_EQ(library.name(2, 101, 1, 2), name.substr(0, 79));
}

// The number of a file is not given again: the records of a closed file are out of reach.
TEST(cache_read, does_not_serve_a_file_that_was_closed_and_opened)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    library.reopen(DICT_EXCLUSIVE);
    EXPECT_EQ(cache_count(), 1);
    EXPECT_EQ(cache_find(library.file(), 2, 101, 1, 0), -1);
    ASSERT_EQ(library.change(2, 101, 1, 1, "one", "BODY OF ONE"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 101, 1, 1), "BODY OF ONE");
    cache_clear();
}

// ---- cache_clear ----------------------------------------------------------------------------------------------------

TEST(cache_clear, frees_every_record_whatever_its_pins)
{
    PinLibrary library;
    u32 alive = handles_alive();
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    ASSERT_EQ(pin_names(), (DictStatus)DICT_OK);
    cache_clear();
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(handles_alive(), alive);
    EXPECT_EQ(cache_find(library.file(), 2, 101, 1, 0), -1);
    u8 byte = 7;
    EXPECT_EQ(cache_read(library.file(), 2, 101, 1, 0, le_get(library.body_entry().offset), 1, &byte),
              (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(byte, 7);
    calls_reset();
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    EXPECT_EQ(call_counts().read, 1u);   // from the file
}

TEST(cache_clear, makes_a_new_array_that_can_be_used)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    cache_clear();
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(cache_at(0)->ref_count, 1);
    cache_clear();
}

TEST(cache_clear, without_memory_leaves_reads_to_the_file)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_ALLOC });
    cache_clear();
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_NO_MEMORY);
    cache_clear();
    EXPECT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    cache_clear();
}

TEST(cache_clear, comes_with_a_reopen)
{
    PinLibrary library;
    ASSERT_EQ(pin_bodies(), (DictStatus)DICT_OK);
    EXPECT_EQ(dict_file_reopen(&library.cookie, 0, DICT_SHARED), 1);
    EXPECT_EQ(cache_count(), 0);
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

} // namespace zuk
