#include "engine/resources.h"

#include "engine/pinned_cache.h"
#include "tests/engine/slot_dictionary.h"

#include <climits>
#include <string>
#include <vector>

namespace zuk {
namespace {

using Lines = std::vector<std::string>;

// Two modules of kind 2 and one of kind 3, the first at table index 0, with resources in the others.
class Shelf : public SlotDictionary {
public:
    explicit Shelf(u16 mode = DICT_EXCLUSIVE)
    {
        module(2, 100, "Mod100");
        module(2, 200, "Mod200");
        module(3, 300, "Mod300");
        EXPECT_EQ(add(2, 200, 1, 5, "five", "body of five"), 0u);
        EXPECT_EQ(add(2, 200, 1, 3, "three", "body of three"), 0u);
        EXPECT_EQ(add(3, 300, 1, 5, "five of 300", "another five"), 0u);
        if (mode != DICT_EXCLUSIVE) reopen(mode);
    }
};

// A resource of kind 1 in each series given, with the same type, and its owner known.
class Series : public SlotDictionary {
public:
    Series() { core_table(1); }
    // Below the exported add, which would refuse a second resource of the same name.
    void put(i32 series, i16 id, const std::string &name, const std::string &body)
    {
        i32 number = series * 16 + 1;
        if (module_find(file(), 1, number) == MODULE_ABSENT) module(1, number, "Series " + std::to_string(series));
        EXPECT_EQ(resource_add_entry(file(), 1, number, 1, id, (u8)(name.size() + 1), (i32)body.size()), 0u);
        EXPECT_EQ(block_splice(file(), type_name_block(file(), 1, number, 1), Name(name).text,
                               resource_name_offset(file(), 1, number, 1, id), (i32)name.size() + 1, 0, 1024), 0u);
        EXPECT_EQ(block_splice(file(), type_body_block(file(), 1, number, 1), body.data(),
                               resource_body_offset(file(), 1, number, 1, id), (i32)body.size(), 0, 1024), 0u);
        EXPECT_EQ(core_owner_set(file(), 1, id, (u8)series), 0u);
        EXPECT_EQ(directory_save(file(), 1, number), 0u);
        EXPECT_EQ(block_table_flush(file()), 0u);
    }
};

// Slot 2 is current, and slot 1 the main dictionary, once the redirect is switched on.
class TwoSlots {
public:
    TwoSlots()
    {
        EXPECT_EQ(slot_claim(2), 0u);
        slot_set_path(2, 0, main.dir.name("b.dic"));
        EXPECT_EQ(dict_file_create(slot_path_at(2, 0)), 0u);
        EXPECT_EQ(dict_file_open(dict_file_at(2, 0), slot_path_at(2, 0), DICT_EXCLUSIVE, 0), 0u);
        go_to(2);
    }
    void go_to(i32 slot)
    {
        DictCookie cookie = { slot, 0, 0 };
        EXPECT_EQ(ds_setcurdict(&cookie), 0u);
    }
    void redirect()
    {
        set_main_slot(1);
        set_redirect_to_main(1);
    }
    DictFile *second() { return dict_file_at(2, 0); }

    SlotDictionary main;
};

static u32 file_calls()
{
    CallCounts c = call_counts();
    return c.open + c.close + c.read + c.write + c.seek + c.tell + c.size + c.set_end + c.lock + c.unlock;
}

static void choose(i32 selector, i32 other_selector)
{
    DictCookie cookie = { SLOT, selector, other_selector };
    EXPECT_EQ(ds_setcurdict(&cookie), 0u);
}

// The status of a read that must give no handle.
static DictStatus status_of_read(i32 kind, i32 module, u16 type, u16 id, i32 flags = 0)
{
    u32 status = 99;
    GHandle handle = dd_getresourcehndl(kind, module, type, id, flags, &status);
    EXPECT_EQ(handle, 0u);
    gfree(handle);
    return status;
}

// Change the entry of a resource in memory, as a damaged directory would have it.
static ResourceEntry *entry_in_memory(DictFile *file, i32 kind, i32 module, i16 type, i16 id)
{
    ResourceEntry *entry = resource_entry(file, module_find(file, kind, module), type, id, nullptr, nullptr);
    EXPECT_NE(entry, nullptr);
    return entry;
}

static TypeEntry *type_in_memory(DictFile *file, i32 kind, i32 module, i16 type)
{
    TypeEntry *entry = type_entry(directory_get(file, module_find(file, kind, module)), type);
    EXPECT_NE(entry, nullptr);
    return entry;
}

TEST(reading, has_every_operation)
{
    void *const operations[] = {
        (void *)dd_getresourcehndl,     (void *)dd_getnresourcehndl,   (void *)dd_getnamedreshndl,
        (void *)dd_getresname,          (void *)dd_getnresname,        (void *)dd_numresources,
        (void *)dd_get_resid,           (void *)dd_get_nresid,         (void *)dd_get_resid_pos,
        (void *)dd_local_numres,        (void *)dd_local_get_nresid,   (void *)dd_local_get_nresid_pos,
        (void *)dd_local_get_nresname,  (void *)dd_read_into,          (void *)dd_nread_into,
        (void *)dd_read_named_into,     (void *)resource_id_by_name,   (void *)resource_module,
        (void *)resource_locate,        (void *)resource_fetch,        (void *)name_locate,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Finding --------------------------------------------------------------------------------------------------------

TEST(resource_module, is_the_module_itself_in_other_kinds)
{
    SlotDictionary dict;
    DictStatus status = 77;
    EXPECT_EQ(resource_module(dict, 2, 500, 1, 4, &status), 500);
    EXPECT_EQ(resource_module(dict, 3, -1, 1, 4, &status), -1);
    EXPECT_EQ(status, 77u);
}

TEST(resource_module, adds_the_series_of_the_owner_in_kind_1)
{
    SlotDictionary dict;
    dict.core_table(1);
    EXPECT_EQ(core_owner_set(dict, 1, 4, 5), 0u);
    DictStatus status = 77;
    EXPECT_EQ(resource_module(dict, 1, 3, 1, 4, &status), 5 * 16 + 3);
    EXPECT_EQ(status, 77u);
}

TEST(resource_module, gives_3_and_the_module_without_an_owner)
{
    SlotDictionary dict;
    DictStatus status = 0;
    EXPECT_EQ(resource_module(dict, 1, 3, 1, 4, &status), 3);    // no tables at all
    EXPECT_EQ(status, 3u);
    dict.core_table(1);
    status = 0;
    EXPECT_EQ(resource_module(dict, 1, 3, 1, 4, &status), 3);    // a free identifier
    EXPECT_EQ(status, 3u);
}

TEST(resource_module, of_the_types_of_the_core_tables_is_in_series_0)
{
    SlotDictionary dict;
    DictStatus status = 0;
    for (u16 type = 52; type <= 54; type++) EXPECT_EQ(resource_module(dict, 1, 10, type, 4, &status), 10);
    EXPECT_EQ(status, 0u);
}

TEST(resource_module, takes_any_number)
{
    SlotDictionary dict;
    dict.core_table(1);
    EXPECT_EQ(core_owner_set(dict, 1, 4, 6), 0u);
    DictStatus status = 0;
    EXPECT_EQ(resource_module(dict, 1, INT_MAX, 1, 4, &status), INT_MIN + 6 * 16 - 1);    // wrapped
}

TEST(resource_id_by_name, searches_the_one_module_in_kinds_2_and_3)
{
    Shelf dict;
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("five")), 5);
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("three")), 3);
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("five of 300")), 0);
    EXPECT_EQ(resource_id_by_name(dict, 3, 300, 1, Name("five of 300")), 5);
    EXPECT_EQ(resource_id_by_name(dict, 2, 100, 1, Name("five")), 0);     // a module without the type
    EXPECT_EQ(resource_id_by_name(dict, 2, 999, 1, Name("five")), 0);     // no module
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("Five")), 0);     // case counts
}

TEST(resource_id_by_name, gives_module_numbers_for_types_2_and_23)
{
    Shelf dict;
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        EXPECT_EQ(resource_id_by_name(dict, 2, 0, type, Name("Mod200")), 200);
        EXPECT_EQ(resource_id_by_name(dict, 3, 0, type, Name("Mod300")), 300);
        EXPECT_EQ(resource_id_by_name(dict, 2, 0, type, Name("Mod300")), 0);
    }
}

TEST(resource_id_by_name, searches_seven_series_from_the_module_on_in_kind_1)
{
    Series dict;
    dict.put(7, 17, "name", "");
    EXPECT_EQ(resource_id_by_name(dict, 1, 1, 1, Name("name")), 0);            // series 0 to 6
    EXPECT_EQ(resource_id_by_name(dict, 1, 1 + 16, 1, Name("name")), 17);      // series 1 to 7
    EXPECT_EQ(resource_id_by_name(dict, 1, 1 + 8 * 16, 1, Name("name")), 0);   // none below
    dict.put(6, 16, "name", "");
    EXPECT_EQ(resource_id_by_name(dict, 1, 1, 1, Name("name")), 16);
}

TEST(resource_id_by_name, takes_any_number)
{
    Series dict;
    EXPECT_EQ(resource_id_by_name(dict, 1, INT_MAX - 20, 1, Name("name")), 0);
}

TEST(resource_id_by_name, takes_the_read_lock_by_itself_and_frees_it)
{
    Shelf dict(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("five")), 5);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }),
              (Lines{ "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "unlock 1000000001+1" }));
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(resource_id_by_name, works_under_a_lock_that_is_held)
{
    Shelf dict(DICT_SHARED);
    EXPECT_TRUE(write_lock(dict));
    calls_reset();
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("five")), 5);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), Lines{});
    EXPECT_EQ(dict->lock_state, LOCK_WRITER);
    (void)write_unlock(dict);
}

TEST(resource_id_by_name, gives_0_when_locked_out)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    EXPECT_EQ(resource_id_by_name(dict, 2, 200, 1, Name("five")), 0);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(type_block_read, gives_the_entry_of_a_block_of_that_type)
{
    Shelf dict;
    BlockEntry entry;
    u32 names = type_name_block(dict, 2, 200, 1);
    EXPECT_EQ(type_block_read(dict, names, BLOCK_NAMES, &entry), 0u);
    EXPECT_EQ(le_get(entry.offset), le_get(entry_of(dict, names).offset));
}

TEST(type_block_read, gives_3_for_any_other_block)
{
    Shelf dict;
    BlockEntry entry;
    EXPECT_EQ(type_block_read(dict, 0, BLOCK_NAMES, &entry), 3u);
    EXPECT_EQ(type_block_read(dict, 1, BLOCK_MODULE_TABLE, &entry), 3u);
    EXPECT_EQ(type_block_read(dict, 2, BLOCK_NAMES, &entry), 3u);      // the names of the modules
    EXPECT_EQ(type_block_read(dict, 3, BLOCK_TABLE, &entry), 3u);
    EXPECT_EQ(type_block_read(dict, type_body_block(dict, 2, 200, 1), BLOCK_NAMES, &entry), 3u);
    EXPECT_EQ(type_block_read(dict, 257, BLOCK_NAMES, &entry), 3u);
    EXPECT_EQ(type_block_read(dict, 0xFFFFFFFF, BLOCK_NAMES, &entry), 3u);
}

TEST(resource_locate, adds_the_offset_to_the_place_of_the_block)
{
    SlotDictionary dict;
    dict.module(2, 100, "Mod");
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 2, "def", "01234"), 0u);
    u32 pos = 0;
    i32 len = 0;
    EXPECT_EQ(resource_locate(dict, 2, 100, 1, 2, &pos, &len), 0u);
    EXPECT_EQ(pos, 7904u + 10);    // body block 6 at 7904, behind the first body
    EXPECT_EQ(len, 5);
}

TEST(resource_locate, gives_3_when_anything_is_missing)
{
    Shelf dict;
    u32 pos;
    i32 len;
    EXPECT_EQ(resource_locate(dict, 2, 999, 1, 5, &pos, &len), 3u);
    EXPECT_EQ(resource_locate(dict, 3, 200, 1, 5, &pos, &len), 3u);
    EXPECT_EQ(resource_locate(dict, 2, 200, 9, 5, &pos, &len), 3u);
    EXPECT_EQ(resource_locate(dict, 2, 200, 1, 4, &pos, &len), 3u);
}

TEST(resource_locate, gives_3_for_a_damaged_place)
{
    Shelf dict;
    u32 pos;
    i32 len;
    TypeEntry *type = type_in_memory(dict, 2, 200, 1);
    u32 bodies = le_get(type->body_block);
    for (u32 block : { 0u, 1u, 2u, 3u, le_get(type->name_block), 257u, 0xFFFFFFFFu }) {
        type->body_block = le32(block);
        EXPECT_EQ(resource_locate(dict, 2, 200, 1, 5, &pos, &len), 3u) << block;
    }
    type->body_block = le32(bodies);
    EXPECT_EQ(resource_locate(dict, 2, 200, 1, 5, &pos, &len), 0u);

    ResourceEntry *entry = entry_in_memory(dict, 2, 200, 1, 3);    // 13 bytes at 12
    i32 room = (i32)le_get(entry_of(dict, bodies).size);
    for (i32 offset : { -1, room - 12, INT_MAX, INT_MIN }) {
        entry->body_offset = le_i32(offset);
        EXPECT_EQ(resource_locate(dict, 2, 200, 1, 3, &pos, &len), 3u) << offset;
    }
    entry->body_offset = le_i32(12);
    for (i32 size : { -1, room - 11, INT_MAX, INT_MIN }) {
        entry->body_size = le_i32(size);
        EXPECT_EQ(resource_locate(dict, 2, 200, 1, 3, &pos, &len), 3u) << size;
    }
    entry->body_size = le_i32(13);
    EXPECT_EQ(resource_locate(dict, 2, 200, 1, 3, &pos, &len), 0u);
}

TEST(resource_locate, finds_a_body_behind_the_used_part)
{
    // As after a stop between the writing of the directory and that of the block table.
    Shelf dict;
    u32 bodies = type_body_block(dict, 2, 200, 1);
    BlockEntry entry = entry_of(dict, bodies);
    entry.free = entry.size;
    EXPECT_EQ(block_write_entry(dict, bodies - 1, &entry), 0u);
    u32 pos;
    i32 len;
    EXPECT_EQ(resource_locate(dict, 2, 200, 1, 3, &pos, &len), 0u);
    EXPECT_EQ(len, 13);
}

TEST(resource_locate, gives_3_in_a_block_with_more_free_than_its_size)
{
    Shelf dict;
    u32 bodies = type_body_block(dict, 2, 200, 1);
    BlockEntry entry = entry_of(dict, bodies);
    entry.free = le32(le_get(entry.size) + 1);
    EXPECT_EQ(block_write_entry(dict, bodies - 1, &entry), 0u);
    u32 pos;
    i32 len;
    EXPECT_EQ(resource_locate(dict, 2, 200, 1, 5, &pos, &len), 3u);
}

TEST(name_locate, adds_the_offset_to_the_place_of_the_block)
{
    SlotDictionary dict;
    dict.module(2, 100, "Mod");
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 2, "defgh", "01234"), 0u);
    u32 pos = 0;
    i32 len = 0;
    EXPECT_EQ(name_locate(dict, 2, 100, 1, 2, &pos, &len), 0u);
    EXPECT_EQ(pos, 5856u + 4);    // name block 5 at 5856, behind the first name
    EXPECT_EQ(len, 6);
}

TEST(name_locate, finds_module_names_in_the_module_name_list)
{
    Shelf dict;
    u32 pos = 0;
    i32 len = 0;
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        EXPECT_EQ(name_locate(dict, 2, 200, type, 0, &pos, &len), 0u);
        EXPECT_EQ(pos, 4418u + 7);    // block 2 at 4418, behind "Mod100"
        EXPECT_EQ(len, 7);
    }
}

TEST(name_locate, gives_3_when_anything_is_missing_or_damaged)
{
    Shelf dict;
    u32 pos;
    i32 len;
    EXPECT_EQ(name_locate(dict, 2, 999, 1, 5, &pos, &len), 3u);
    EXPECT_EQ(name_locate(dict, 2, 999, 2, 5, &pos, &len), 3u);
    EXPECT_EQ(name_locate(dict, 2, 200, 9, 5, &pos, &len), 3u);
    EXPECT_EQ(name_locate(dict, 2, 200, 1, 4, &pos, &len), 3u);

    TypeEntry *type = type_in_memory(dict, 2, 200, 1);
    u32 names = le_get(type->name_block);
    type->name_block = type->body_block;
    EXPECT_EQ(name_locate(dict, 2, 200, 1, 5, &pos, &len), 3u);
    type->name_block = le32(names);
    entry_in_memory(dict, 2, 200, 1, 5)->name_offset = le_i32(-1);
    EXPECT_EQ(name_locate(dict, 2, 200, 1, 5, &pos, &len), 3u);
    ResourceEntry *entry = entry_in_memory(dict, 2, 200, 1, 5);
    i32 last = (i32)le_get(entry_of(dict, names).size) - entry->name_size;    // where the name would end with its block
    entry->name_offset = le_i32(last + 1);
    EXPECT_EQ(name_locate(dict, 2, 200, 1, 5, &pos, &len), 3u);
    entry->name_offset = le_i32(last);
    EXPECT_EQ(name_locate(dict, 2, 200, 1, 5, &pos, &len), 0u);
}

TEST(resource_fetch, reads_the_file_unless_the_block_is_pinned)
{
    Shelf dict;
    u32 pos;
    i32 len;
    EXPECT_EQ(resource_locate(dict, 2, 200, 1, 5, &pos, &len), 0u);
    char bytes[13] = {};
    calls_reset();
    EXPECT_EQ(resource_fetch(dict, 2, 200, 1, pos, len, bytes), 0u);
    EXPECT_STREQ(bytes, "body of five");
    EXPECT_EQ(call_counts().read, 1u);

    EXPECT_EQ(cache_pin(0, 2, 200, 1, 0), 0u);
    calls_reset();
    memset(bytes, 0, sizeof bytes);
    EXPECT_EQ(resource_fetch(dict, 2, 200, 1, pos, len, bytes), 0u);
    EXPECT_STREQ(bytes, "body of five");
    EXPECT_EQ(file_calls(), 0u);
    EXPECT_EQ(cache_release(0, 2, 200, 1, 0), 1);
}

// ---- Bodies ---------------------------------------------------------------------------------------------------------

TEST(dd_getresourcehndl, gives_the_body_in_a_new_handle)
{
    Shelf dict;
    u32 status = 99;
    u32 alive = handles_alive();
    GHandle handle = dd_getresourcehndl(2, 200, 1, 5, 0, &status);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(bytes_of(handle), "body of five");
    EXPECT_EQ(handles_alive(), alive + 1);
    gfree(handle);
    EXPECT_EQ(dict.body(2, 200, 1, 3), "body of three");
    EXPECT_EQ(dict.body(3, 300, 1, 5), "another five");
}

TEST(dd_getresourcehndl, needs_no_status)
{
    Shelf dict;
    EXPECT_EQ(take(dd_getresourcehndl(2, 200, 1, 5, 0, nullptr)), "body of five");
    EXPECT_EQ(dd_getresourcehndl(2, 200, 1, 4, 0, nullptr), 0u);
    EXPECT_EQ(dd_getresourcehndl(2, 200, 1, 0, 0, nullptr), 0u);
}

TEST(dd_getresourcehndl, works_through_the_open_of_a_dictionary)
{
    Library library;
    library.add_module(2, 100, "Mod100");
    library.add_module(2, 200, "Mod200");
    EXPECT_EQ(library.add(2, 200, 1, 5, "five", "body of five"), 0u);
    EXPECT_EQ(library.body(2, 200, 1, 5), "body of five");
    library.reopen(DICT_READ_ONLY);
    EXPECT_EQ(library.body(2, 200, 1, 5), "body of five");
    library.reopen(DICT_SHARED);
    EXPECT_EQ(library.body(2, 200, 1, 5), "body of five");
}

TEST(dd_getresourcehndl, of_an_id_below_1_gives_3_and_touches_no_file)
{
    Shelf dict(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(status_of_read(2, 200, 1, 0), 3u);
    EXPECT_EQ(status_of_read(2, 200, 1, 40000), 3u);    // negative in 16 bits
    EXPECT_EQ(status_of_read(2, 200, 1, 65535), 3u);
    EXPECT_EQ(file_calls(), 0u);
    choose(7, 7);
    EXPECT_EQ(status_of_read(2, 200, 1, 0), 3u);
    EXPECT_EQ(status_of_read(2, 200, 1, 40000), 3u);
}

TEST(dd_getresourcehndl, gives_3_for_anything_missing)
{
    Shelf dict;
    EXPECT_EQ(status_of_read(2, 999, 1, 5), 3u);
    EXPECT_EQ(status_of_read(3, 200, 1, 5), 3u);
    EXPECT_EQ(status_of_read(4, 200, 1, 5), 3u);
    EXPECT_EQ(status_of_read(2, 200, 9, 5), 3u);
    EXPECT_EQ(status_of_read(2, 200, 1, 4), 3u);
}

TEST(dd_getresourcehndl, tells_why_there_is_no_file)
{
    EXPECT_EQ(status_of_read(2, 200, 1, 5), 15u);    // not started
    Shelf dict;
    choose(1, 0);
    EXPECT_EQ(status_of_read(1, 1, 1, 5), 7u);       // file 1 is not open
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body of five");
    choose(7, 0);
    EXPECT_EQ(status_of_read(1, 1, 1, 5), 3u);       // there is no file 7
    choose(0, 1);
    EXPECT_EQ(status_of_read(2, 200, 1, 5), 7u);
    choose(0, 0);
    dict.close();
    EXPECT_EQ(status_of_read(2, 200, 1, 5), 7u);
}

TEST(dd_getresourcehndl, takes_one_read_when_the_directory_is_in_memory)
{
    SlotDictionary dict;
    dict.module(2, 100, "Mod");
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    calls_reset();
    EXPECT_EQ(dict.body(2, 100, 1, 1), "0123456789");
    EXPECT_EQ(call_lines(), (Lines{ "seek 7904", "read 7904+10" }));
    EXPECT_EQ(call_counts().alloc, 1u);
}

TEST(dd_getresourcehndl, loads_a_directory_once)
{
    Shelf dict;
    dict.reopen();
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body of five");
    calls_reset();
    EXPECT_EQ(dict.body(2, 200, 1, 3), "body of three");
    EXPECT_EQ(call_counts().read, 1u);
}

TEST(dd_getresourcehndl, of_an_empty_body_gives_a_handle_of_size_0)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 200, 1, 6, "empty", ""), 0u);
    EXPECT_EQ(dd_add_resource(2, 200, 1, 7, Name("none"), 0), 0u);
    for (u16 id : std::initializer_list<u16>{ 6, 7 }) {
        u32 status = 99;
        GHandle handle = dd_getresourcehndl(2, 200, 1, id, 0, &status);
        EXPECT_EQ(status, 0u);
        EXPECT_NE(handle, 0u);
        EXPECT_EQ(gsize(handle), 0);
        gfree(handle);
    }
}

TEST(dd_getresourcehndl, gives_0_with_status_0_without_memory)
{
    Shelf dict;
    faults_start({ .call = FAULT_ALLOC, .nth = 1 });
    EXPECT_EQ(status_of_read(2, 200, 1, 5), 0u);
    EXPECT_TRUE(faults_stop());
}

TEST(dd_getresourcehndl, frees_the_handle_when_the_read_fails)
{
    Shelf dict;
    const struct {
        u32 error;
        DictStatus status;
    } rows[] = {
        { PLATFORM_GENERAL_FAILURE, DICT_FAILED },      { PLATFORM_HANDLE_EOF, DICT_BAD_POSITION },
        { PLATFORM_ACCESS_DENIED, DICT_ACCESS_DENIED }, { PLATFORM_FILE_NOT_FOUND, DICT_NO_FILE },
        { PLATFORM_TOO_MANY_OPEN_FILES, DICT_TOO_MANY_FILES }, { PLATFORM_DISK_FULL, DICT_NO_ROOM },
    };
    u32 alive = handles_alive();
    for (const auto &row : rows) {
        for (FaultCall call : { FAULT_READ, FAULT_SEEK }) {
            faults_start({ .call = call, .nth = 1, .error = row.error });
            EXPECT_EQ(status_of_read(2, 200, 1, 5), row.status);
            EXPECT_TRUE(faults_stop());
            EXPECT_EQ(handles_alive(), alive);
        }
    }
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body of five");
}

TEST(dd_getresourcehndl, gives_zeros_for_what_a_short_read_leaves_out)
{
    Shelf dict;
    faults_start({ .call = FAULT_READ, .nth = 1, .cut = 4 });
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body" + std::string(8, '\0'));
    EXPECT_TRUE(faults_stop());
}

TEST(dd_getresourcehndl, asks_for_no_memory_that_the_file_cannot_fill)
{
    Shelf dict;
    u32 bodies = type_body_block(dict, 2, 200, 1);
    BlockEntry entry = entry_of(dict, bodies);
    entry.size = le32(0x7FFFFFFF);
    entry.free = le32(0);
    EXPECT_EQ(block_write_entry(dict, bodies - 1, &entry), 0u);
    entry_in_memory(dict, 2, 200, 1, 3)->body_size = le_i32(0x70000000);
    calls_reset();
    EXPECT_EQ(status_of_read(2, 200, 1, 3), 12u);
    EXPECT_EQ(call_counts().alloc, 0u);
    entry_in_memory(dict, 2, 200, 1, 3)->body_size = le_i32(-1);
    EXPECT_EQ(status_of_read(2, 200, 1, 3), 3u);
    EXPECT_EQ(call_counts().alloc, 0u);
}

TEST(dd_getresourcehndl, reads_a_body_of_more_than_65500_bytes)
{
    Shelf dict;
    std::string large(200000, 'x');
    large[65500] = 'y';
    EXPECT_EQ(dict.add(2, 200, 1, 6, "large", large), 0u);
    calls_reset();
    EXPECT_TRUE(dict.body(2, 200, 1, 6) == large);
    EXPECT_EQ(call_counts().read, 1u);
}

TEST(dd_getresourcehndl, with_flag_4_gives_the_stored_bytes)
{
    Shelf dict;
    // Types 19, 33 and 61 have a conversion, type 13 has none.
    for (u16 type : std::initializer_list<u16>{ 13, 19, 33, 61 }) {
        std::string body("\1\2\3\4\5\6\7\0\xFF\xFE", 10);
        EXPECT_EQ(dict.add(2, 200, type, 1, "name", body), 0u);
        EXPECT_EQ(take(dd_getresourcehndl(2, 200, type, 1, READ_STORED_FORM, nullptr)), body);
        EXPECT_EQ(take(dd_getresourcehndl(2, 200, type, 1, 0, nullptr)), body);
    }
}

TEST(dd_getresourcehndl, ignores_all_other_flags)
{
    Shelf dict;
    EXPECT_EQ(take(dd_getresourcehndl(2, 200, 1, 5, ~(READ_STORED_FORM | READ_NO_REDIRECT), nullptr)), "body of five");
    EXPECT_EQ(take(dd_getresourcehndl(2, 200, 1, 5, -1, nullptr)), "body of five");
}

TEST(dd_getresourcehndl, with_other_flags_than_16_follows_the_redirect)
{
    TwoSlots two;
    two.redirect();
    two.go_to(1);
    two.main.module(1, 1, "Main");
    EXPECT_EQ(resource_add_entry(two.main, 1, 1, 1, 5, 0, 0), 0u);    // without an owner
    two.go_to(2);
    GHandle found = dd_getresourcehndl(1, 1, 1, 5, ~READ_NO_REDIRECT, nullptr);
    EXPECT_NE(found, 0u);
    gfree(found);
    EXPECT_EQ(status_of_read(1, 1, 1, 5, READ_NO_REDIRECT), 3u);
}

TEST(dd_getresourcehndl, with_flag_16_stays_in_the_current_dictionary)
{
    TwoSlots two;
    two.redirect();
    for (i32 slot : { 1, 2 }) {
        two.go_to(slot);
        DictFile *file = dict_file_at(slot, 0);
        EXPECT_EQ(module_create(file, 2, 100, Name("Mod100")), 0u);
        EXPECT_EQ(two.main.add(2, 100, 19, 5, "five", slot == 1 ? "main" : "current"), 0u);
    }
    EXPECT_EQ(take(dd_getresourcehndl(2, 100, 19, 5, 0, nullptr)), "main");
    EXPECT_EQ(take(dd_getresourcehndl(2, 100, 19, 5, READ_NO_REDIRECT, nullptr)), "current");
    set_redirect_to_main(0);
    EXPECT_EQ(take(dd_getresourcehndl(2, 100, 19, 5, 0, nullptr)), "current");
}

TEST(dd_getresourcehndl, goes_by_the_selector_in_kind_1_and_by_the_other_in_the_rest)
{
    SlotDictionary dict;
    slot_set_path(1, 1, dict.dir.name("b.dic"));
    EXPECT_EQ(dict_file_create(slot_path_at(SLOT, 1)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(SLOT, 1), slot_path_at(SLOT, 1), DICT_EXCLUSIVE, 0), 0u);
    for (i32 selector : { 0, 1 }) {
        choose(selector, selector);
        DictFile *file = dict_file_at(SLOT, selector);
        for (i32 kind : { 1, 2 }) {
            EXPECT_EQ(module_create(file, kind, 3, Name("Mod")), 0u);
            EXPECT_EQ(resource_add_entry(file, kind, 3, 1, 5, 0, kind * 10 + selector), 0u);
            std::string body((size_t)(kind * 10 + selector), 'b');
            u32 block = type_body_block(file, kind, 3, 1);
            EXPECT_EQ(block_splice(file, block, body.data(), 0, (i32)body.size(), 0, 1024), 0u);
        }
    }
    choose(1, 0);
    EXPECT_EQ(dict.body(1, 3, 1, 5).size(), 11u);    // kind 1 of file 1
    EXPECT_EQ(dict.body(2, 3, 1, 5).size(), 20u);    // kind 2 of file 0
    choose(0, 1);
    EXPECT_EQ(dict.body(1, 3, 1, 5).size(), 10u);
    EXPECT_EQ(dict.body(2, 3, 1, 5).size(), 21u);
}

TEST(dd_getresourcehndl, finds_a_resource_of_kind_1_by_its_owner)
{
    Series dict;
    dict.put(0, 4, "four", "body in series 0");
    dict.put(5, 6, "six", "body in series 5");
    EXPECT_EQ(dict.body(1, 1, 1, 4), "body in series 0");
    EXPECT_EQ(dict.body(1, 1, 1, 6), "body in series 5");
    EXPECT_EQ(dict.body(1, 2, 1, 6), "<status 3>");    // core type 2
    EXPECT_EQ(core_owner_set(dict, 1, 6, 0), 0u);
    EXPECT_EQ(dict.body(1, 1, 1, 6), "<status 3>");    // looked for in series 0 alone
}

TEST(dd_getresourcehndl, finds_a_body_without_owner_in_series_0)
{
    Series dict;
    dict.put(0, 4, "four", "body in series 0");
    dict.put(2, 6, "six", "body in series 2");
    EXPECT_EQ(core_owner_set(dict, 1, 4, CORE_FREE), 0u);
    EXPECT_EQ(core_owner_set(dict, 1, 6, CORE_FREE), 0u);
    EXPECT_EQ(dict.body(1, 1, 1, 4), "body in series 0");
    EXPECT_EQ(dict.name(1, 1, 1, 4), "<status 3>");
    EXPECT_EQ(dict.body(1, 1, 1, 6), "<status 3>");
}

TEST(dd_getresourcehndl, takes_types_of_any_16_bits_in_kind_2)
{
    Shelf dict;
    for (u16 type : std::initializer_list<u16>{ 0, 65, 40000, 65535 }) {
        std::string body = "type " + std::to_string(type);
        EXPECT_EQ(dict.add(2, 200, type, 1, "name", body), 0u);
    }
    dict.reopen();
    for (u16 type : std::initializer_list<u16>{ 0, 65, 40000, 65535 }) {
        EXPECT_EQ(dict.body(2, 200, type, 1), "type " + std::to_string(type));
    }
}

TEST(dd_getresourcehndl, takes_the_read_lock_around_its_work)
{
    SlotDictionary dict;
    dict.module(2, 100, "Mod");
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    dict.reopen(DICT_SHARED);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "0123456789");
    calls_reset();
    EXPECT_EQ(dict.body(2, 100, 1, 1), "0123456789");
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK, FAULT_READ, FAULT_WRITE }),
              (Lines{ "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "read 0+26", "read 7904+10",
                      "unlock 1000000001+1" }));
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_getresourcehndl, keeps_a_lock_that_the_caller_holds)
{
    Shelf dict(DICT_SHARED);
    EXPECT_TRUE(read_lock(dict));
    calls_reset();
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body of five");
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), Lines{});
    EXPECT_EQ(dict->lock_state, 1);
    read_unlock(dict);
}

TEST(dd_getresourcehndl, gives_21_when_locked_out_and_frees_nothing)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    calls_reset();
    EXPECT_EQ(status_of_read(2, 200, 1, 5), 21u);
    EXPECT_EQ(call_lines({ FAULT_UNLOCK }), (Lines{ "unlock 999999998+1" }));    // the gate alone
    EXPECT_EQ(call_counts().read, 0u);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_getresourcehndl, frees_the_lock_after_a_failure)
{
    Shelf dict(DICT_SHARED);
    EXPECT_EQ(status_of_read(2, 200, 1, 4), 3u);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
    faults_start({ .call = FAULT_READ, .nth = 2 });    // the body; the first is the header
    EXPECT_EQ(status_of_read(2, 200, 1, 5), 1u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_getresourcehndl, sees_what_another_workstation_has_written)
{
    Shelf dict(DICT_SHARED);
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body of five");
    {
        OtherStation other(dict);
        EXPECT_TRUE(write_lock(other));
        EXPECT_EQ(block_splice(other, type_body_block(other, 2, 200, 1), "FIVE", 8, 4, 4, 1024), 0u);
        EXPECT_EQ(resource_remove_entry(other, 2, 200, 1, 3), 0u);
        EXPECT_EQ(directory_save(other, 2, 200), 0u);
        EXPECT_EQ(block_table_flush(other), 0u);
        EXPECT_EQ(write_unlock(other), 1u);
    }
    EXPECT_EQ(dict.body(2, 200, 1, 5), "body of FIVE");
    EXPECT_EQ(status_of_read(2, 200, 1, 3), 3u);
}

TEST(dd_read_into, reads_as_the_handle_read_does)
{
    Shelf dict;
    char buffer[16] = {};
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 0u);
    EXPECT_STREQ(buffer, "body of five");
    EXPECT_EQ(dd_read_into(2, 200, 1, 3, buffer, READ_STORED_FORM), 0u);
    EXPECT_STREQ(buffer, "body of three");
    EXPECT_EQ(dd_read_into(2, 200, 1, 0, buffer, 0), 3u);
    EXPECT_EQ(dd_read_into(2, 200, 1, 40000, buffer, 0), 3u);
    EXPECT_EQ(dd_read_into(2, 200, 1, 4, buffer, 0), 3u);
    EXPECT_EQ(dd_read_into(2, 999, 1, 5, buffer, 0), 3u);
}

TEST(dd_read_into, tells_why_nothing_was_read)
{
    char buffer[16];
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 15u);
    Shelf dict(DICT_SHARED);
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 0u);
    faults_start({ .call = FAULT_READ, .nth = 2, .error = PLATFORM_HANDLE_EOF });    // the first is the header
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 12u);
    EXPECT_TRUE(faults_stop());
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 21u);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
    other.leave();
    dict.close();
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 7u);
}

TEST(dd_read_into, finds_a_body_without_owner_in_series_0)
{
    Series dict;
    dict.put(0, 4, "four", "series 0");
    EXPECT_EQ(core_owner_set(dict, 1, 4, CORE_FREE), 0u);
    char buffer[16] = {};
    EXPECT_EQ(dd_read_into(1, 1, 1, 4, buffer, 0), 0u);
    EXPECT_STREQ(buffer, "series 0");
}

TEST(dd_read_into, puts_zeros_for_what_a_short_read_leaves_out)
{
    Shelf dict;
    char buffer[13];
    memset(buffer, '?', sizeof buffer);
    faults_start({ .call = FAULT_READ, .nth = 1, .cut = 4 });
    EXPECT_EQ(dd_read_into(2, 200, 1, 5, buffer, 0), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(std::string(buffer, 13), "body" + std::string(8, '\0') + "?");
}

TEST(dd_nread_into, reads_by_position)
{
    Shelf dict;
    char buffer[16] = {};
    EXPECT_EQ(dd_nread_into(2, 200, 1, 2, buffer, 0), 0u);
    EXPECT_STREQ(buffer, "body of five");    // identifiers 3 and 5, in this order
    EXPECT_EQ(dd_nread_into(2, 200, 1, 0, buffer, 0), 3u);
    EXPECT_EQ(dd_nread_into(2, 200, 1, -1, buffer, 0), 3u);
    EXPECT_EQ(dd_nread_into(2, 200, 1, 3, buffer, 0), 3u);
}

TEST(dd_nread_into, reads_the_resource_of_a_module_itself)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 400, 2, 400, "Mod400", "its own"), 0u);
    char buffer[16] = {};
    EXPECT_EQ(dd_nread_into(2, 0, 2, 3, buffer, 0), 0u);    // modules 100, 200, 400
    EXPECT_STREQ(buffer, "its own");
}

TEST(dd_read_named_into, reads_by_name)
{
    Shelf dict;
    char buffer[16] = {};
    EXPECT_EQ(dd_read_named_into(2, 200, 1, Name("three"), buffer, 0), 0u);
    EXPECT_STREQ(buffer, "body of three");
    EXPECT_EQ(dd_read_named_into(2, 200, 1, Name("four"), buffer, 0), 3u);
    EXPECT_EQ(dd_read_named_into(2, 200, 1, nullptr, buffer, 0), 3u);
}

TEST(dd_read_named_into, selects_without_the_redirect)
{
    TwoSlots two;
    two.redirect();
    for (i32 slot : { 1, 2 }) {
        two.go_to(slot);
        EXPECT_EQ(module_create(dict_file_at(slot, 0), 2, 100, Name("Mod100")), 0u);
        EXPECT_EQ(two.main.add(2, 100, 19, 5, "five", slot == 1 ? "main" : "current"), 0u);
    }
    char buffer[16] = {};
    EXPECT_EQ(dd_read_named_into(2, 100, 19, Name("five"), buffer, 0), 0u);
    EXPECT_STREQ(buffer, "current");
    EXPECT_EQ(take(dd_getnamedreshndl(2, 100, 19, Name("five"), 0, nullptr)), "main");    // unlike the handle read
}

TEST(dd_getnresourcehndl, reads_by_position)
{
    Shelf dict;
    u32 status = 99;
    EXPECT_EQ(take(dd_getnresourcehndl(2, 200, 1, 1, 0, &status)), "body of three");
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(take(dd_getnresourcehndl(2, 200, 1, 2, 0, nullptr)), "body of five");
    status = 99;
    EXPECT_EQ(dd_getnresourcehndl(2, 200, 1, 3, 0, &status), 0u);
    EXPECT_EQ(status, 3u);
}

TEST(dd_getnresourcehndl, of_a_position_below_1_gives_3_and_touches_no_file)
{
    Shelf dict(DICT_SHARED);
    calls_reset();
    for (i16 n : std::initializer_list<i16>{ 0, -1, -32768 }) {
        u32 status = 99;
        EXPECT_EQ(dd_getnresourcehndl(2, 200, 1, n, 0, &status), 0u);
        EXPECT_EQ(status, 3u);
    }
    EXPECT_EQ(dd_getnresourcehndl(2, 200, 1, 0, 0, nullptr), 0u);
    EXPECT_EQ(file_calls(), 0u);
}

TEST(dd_getnresourcehndl, goes_over_all_series_in_kind_1)
{
    Series dict;
    dict.put(3, 2, "two", "body of two");
    dict.put(0, 4, "four", "body of four");
    EXPECT_EQ(take(dd_getnresourcehndl(1, 1, 1, 1, 0, nullptr)), "body of two");
    EXPECT_EQ(take(dd_getnresourcehndl(1, 1, 1, 2, 0, nullptr)), "body of four");
    EXPECT_EQ(dd_getnresourcehndl(1, 1, 1, 3, 0, nullptr), 0u);
}

TEST(dd_getnresourcehndl, reads_the_resource_of_a_module_itself)
{
    SlotDictionary dict;
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        i32 base = type * 1000;
        EXPECT_EQ(dict.add(3, base + 1, type, (i16)(base + 1), "first " + std::to_string(type), "one"), 0u);
        EXPECT_EQ(dict.add(3, base + 2, type, (i16)(base + 2), "second " + std::to_string(type), "two"), 0u);
    }
    EXPECT_EQ(take(dd_getnresourcehndl(3, 0, 2, 2, 0, nullptr)), "two");     // modules 2001, 2002, 23001, 23002
    EXPECT_EQ(take(dd_getnresourcehndl(3, 0, 23, 3, 0, nullptr)), "one");
    u32 status = 0;
    EXPECT_EQ(dd_getnresourcehndl(3, 0, 2, 3, 0, &status), 0u);             // module 23001 has no type 2
    EXPECT_EQ(status, 3u);
}

TEST(dd_getnresourcehndl, cuts_module_numbers_to_16_bits)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(3, 65536 + 7, 2, 7, "large", "body"), 0u);
    EXPECT_EQ(take(dd_getnresourcehndl(3, 0, 2, 1, 0, nullptr)), "body");    // in module 65543, the resource 7
    EXPECT_EQ(dict.add(3, 65536, 2, 7, "at 0", "body"), 0u);
    u32 status = 0;
    EXPECT_EQ(dd_getnresourcehndl(3, 0, 2, 1, 0, &status), 0u);
    EXPECT_EQ(status, 3u);    // 65536, which sorts in front, is identifier 0
    EXPECT_EQ(take(dd_getnresourcehndl(3, 0, 2, 2, 0, nullptr)), "body");
}

TEST(dd_getnresourcehndl, gives_3_when_the_first_lock_is_refused)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    u32 status = 99;
    EXPECT_EQ(dd_getnresourcehndl(2, 200, 1, 1, 0, &status), 0u);
    EXPECT_EQ(status, 3u);
}

TEST(dd_getnresourcehndl, gives_21_when_the_second_lock_is_refused)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    clock_virtual_start(0);
    faults_hook(FAULT_LOCK, 3, [&] { other.hold_write_lock(); });    // before the gate of the second turn
    u32 status = 99;
    EXPECT_EQ(dd_getnresourcehndl(2, 200, 1, 1, 0, &status), 0u);
    EXPECT_EQ(status, 21u);
}

TEST(dd_getnamedreshndl, reads_by_name)
{
    Shelf dict;
    u32 status = 99;
    EXPECT_EQ(take(dd_getnamedreshndl(2, 200, 1, Name("five"), 0, &status)), "body of five");
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(dd_getnamedreshndl(2, 200, 1, Name("four"), 0, &status), 0u);
    EXPECT_EQ(status, 3u);
    status = 99;
    EXPECT_EQ(dd_getnamedreshndl(2, 200, 1, nullptr, 0, &status), 0u);
    EXPECT_EQ(status, 3u);
    EXPECT_EQ(dd_getnamedreshndl(2, 200, 1, Name("four"), 0, nullptr), 0u);
}

TEST(dd_getnamedreshndl, finds_a_name_of_any_series_in_kind_1)
{
    Series dict;
    dict.put(3, 7, "seven", "body of seven");
    EXPECT_EQ(take(dd_getnamedreshndl(1, 1, 1, Name("seven"), 0, nullptr)), "body of seven");
}

TEST(dd_getnamedreshndl, keeps_the_module_for_types_2_and_23)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 400, 2, 400, "Mod400", "its own"), 0u);
    u32 status = 0;
    EXPECT_EQ(dd_getnamedreshndl(2, 0, 2, Name("Mod400"), 0, &status), 0u);
    EXPECT_EQ(status, 3u);
    EXPECT_EQ(take(dd_getnamedreshndl(2, 400, 2, Name("Mod400"), 0, &status)), "its own");
}

TEST(dd_getnamedreshndl, gives_3_when_locked_out)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    u32 status = 99;
    EXPECT_EQ(dd_getnamedreshndl(2, 200, 1, Name("five"), 0, &status), 0u);
    EXPECT_EQ(status, 3u);
}

// ---- Names ----------------------------------------------------------------------------------------------------------

TEST(dd_getresname, gives_the_name)
{
    Shelf dict;
    Name out("before");
    EXPECT_EQ(dd_getresname(2, 200, 1, 5, out), 0u);
    EXPECT_EQ(out.str(), "five");
    EXPECT_EQ(dict.name(2, 200, 1, 3), "three");
    EXPECT_EQ(dict.name(3, 300, 1, 5), "five of 300");
}

TEST(dd_getresname, takes_one_read_of_the_stored_bytes)
{
    SlotDictionary dict;
    dict.module(2, 100, "Mod");
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    calls_reset();
    EXPECT_EQ(dict.name(2, 100, 1, 1), "abc");
    EXPECT_EQ(call_lines(), (Lines{ "seek 5856", "read 5856+4" }));
}

TEST(dd_getresname, of_what_is_missing_gives_3_and_the_text)
{
    Shelf dict;
    const struct {
        i32 kind, module;
        u16 type, id;
    } rows[] = { { 2, 200, 1, 4 }, { 2, 200, 9, 5 }, { 2, 999, 1, 5 }, { 2, 999, 2, 5 }, { 4, 200, 1, 5 },
                 { 2, 200, 1, 0 }, { 2, 200, 1, 40000 } };
    for (const auto &row : rows) {
        Name out("before");
        EXPECT_EQ(dd_getresname(row.kind, row.module, row.type, row.id, out), 3u);
        EXPECT_EQ(out.str(), "[Not Found]");
        EXPECT_EQ(out.text[0], 11);
    }
    choose(0, 7);    // no such file
    Name out("before");
    EXPECT_EQ(dd_getresname(2, 200, 1, 5, out), 3u);
    EXPECT_EQ(out.str(), "[Not Found]");
}

TEST(dd_getresname, leaves_out_alone_without_an_open_file)
{
    Name out("before");
    EXPECT_EQ(dd_getresname(2, 200, 1, 5, out), 15u);
    EXPECT_EQ(out.str(), "before");
    Shelf dict;
    dict.close();
    EXPECT_EQ(dd_getresname(2, 200, 1, 5, out), 7u);
    EXPECT_EQ(out.str(), "before");
}

TEST(dd_getresname, leaves_out_alone_when_locked_out)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    Name out("before");
    EXPECT_EQ(dd_getresname(2, 200, 1, 5, out), 21u);
    EXPECT_EQ(out.str(), "before");
}

TEST(dd_getresname, gives_the_status_of_a_failed_read)
{
    Shelf dict;
    Name out("before");
    faults_start({ .call = FAULT_READ, .nth = 1, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dd_getresname(2, 200, 1, 5, out), 10u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(out.str(), "");
}

TEST(dd_getresname, cuts_to_79_characters_but_not_a_pinned_name)
{
    Shelf dict;
    std::string name(100, 'n');
    EXPECT_EQ(dict.add(2, 200, 1, 6, name, ""), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 6), std::string(79, 'n'));
    EXPECT_EQ(cache_pin(0, 2, 200, 1, 1), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 6), name);
    EXPECT_EQ(cache_release(0, 2, 200, 1, 1), 1);
}

TEST(dd_getresname, of_254_characters_is_given_whole_when_pinned)
{
    Shelf dict;
    std::string name(254, 'n');
    EXPECT_EQ(dict.add(2, 200, 1, 6, name, ""), 0u);
    EXPECT_EQ(cache_pin(0, 2, 200, 1, 1), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 6), name);
    EXPECT_EQ(cache_release(0, 2, 200, 1, 1), 1);
}

TEST(dd_getresname, of_255_characters_is_empty)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 200, 1, 6, std::string(255, 'n'), ""), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 6), "");
    EXPECT_EQ(cache_pin(0, 2, 200, 1, 1), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 6), "");
    EXPECT_EQ(cache_release(0, 2, 200, 1, 1), 1);
}

TEST(dd_getresname, of_a_pinned_name_is_no_longer_than_its_place)
{
    Shelf dict;
    // A damaged length byte: the name has 5 stored bytes and says 200.
    u32 pos;
    i32 len;
    EXPECT_EQ(name_locate(dict, 2, 200, 1, 5, &pos, &len), 0u);
    EXPECT_EQ(dict_write_at(dict->file, pos, "\xC8", 1), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 5), "five");
    EXPECT_EQ(cache_pin(0, 2, 200, 1, 1), 0u);
    EXPECT_EQ(dict.name(2, 200, 1, 5), "five");
    EXPECT_EQ(cache_release(0, 2, 200, 1, 1), 1);
}

TEST(dd_getresname, of_types_2_and_23_is_the_name_of_the_module)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 400, 2, 400, "Mod400", "its own"), 0u);
    EXPECT_EQ(dict.name(2, 200, 2, 200), "Mod200");
    EXPECT_EQ(dict.name(2, 200, 23, 1), "Mod200");     // the identifier plays no part
    EXPECT_EQ(dict.name(2, 400, 2, 400), "Mod400");
    // The names of type 2 are pinned; the name of the module still comes from the module name list.
    EXPECT_EQ(cache_pin(0, 2, 400, 2, 1), 0u);
    EXPECT_EQ(dd_change_resource(2, 400, 2, 400, Name("Renamed"), 0), 0u);
    EXPECT_EQ(dict.name(2, 400, 2, 400), "Renamed");
    EXPECT_EQ(cache_release(0, 2, 400, 2, 1), 1);
}

TEST(dd_getresname, without_an_owner_gives_3_where_the_body_is_found)
{
    Series dict;
    dict.put(0, 4, "four", "body of four");
    EXPECT_EQ(dict.name(1, 1, 1, 4), "four");
    EXPECT_EQ(core_owner_set(dict, 1, 4, CORE_FREE), 0u);
    Name out("before");
    EXPECT_EQ(dd_getresname(1, 1, 1, 4, out), 3u);
    EXPECT_EQ(out.str(), "[Not Found]");
    EXPECT_EQ(dict.body(1, 1, 1, 4), "body of four");
}

TEST(dd_getresname, finds_no_module_name_in_kind_1)
{
    SlotDictionary dict;
    dict.module(1, 1, "System Core");
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        Name out("before");
        EXPECT_EQ(dd_getresname(1, 1, type, 1, out), 3u);
        EXPECT_EQ(out.str(), "[Not Found]");
        out = Name("before");
        EXPECT_EQ(dd_getnresname(1, 0, type, 1, out), 3u);
        EXPECT_EQ(out.str(), "[Not Found]");    // the position exists, so the text comes
    }
}

TEST(dd_getnresname, gives_the_name_at_a_position)
{
    Shelf dict;
    Name out("before");
    EXPECT_EQ(dd_getnresname(2, 200, 1, 1, out), 0u);
    EXPECT_EQ(out.str(), "three");
    EXPECT_EQ(dd_getnresname(2, 200, 1, 2, out), 0u);
    EXPECT_EQ(out.str(), "five");
    EXPECT_EQ(dd_getnresname(2, 0, 2, 2, out), 0u);
    EXPECT_EQ(out.str(), "Mod200");
    EXPECT_EQ(dd_getnresname(2, 0, 23, 1, out), 0u);
    EXPECT_EQ(out.str(), "Mod100");
}

TEST(dd_getnresname, leaves_out_alone_for_a_bad_position)
{
    Shelf dict;
    for (i16 n : std::initializer_list<i16>{ 0, -1, 3 }) {
        Name out("before");
        EXPECT_EQ(dd_getnresname(2, 200, 1, n, out), 3u);
        EXPECT_EQ(out.str(), "before");
    }
    Name out("before");
    EXPECT_EQ(dd_getnresname(2, 0, 2, 3, out), 3u);
    EXPECT_EQ(out.str(), "before");
}

TEST(dd_getnresname, gives_3_when_locked_out)
{
    Shelf dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    Name out("before");
    EXPECT_EQ(dd_getnresname(2, 200, 1, 1, out), 3u);
    EXPECT_EQ(out.str(), "before");
}

// ---- Counts, identifiers, positions ---------------------------------------------------------------------------------

TEST(dd_numresources, counts_the_resources_of_a_type)
{
    Shelf dict;
    EXPECT_EQ(dd_numresources(2, 200, 1), 2);
    EXPECT_EQ(dd_numresources(3, 300, 1), 1);
    EXPECT_EQ(dd_numresources(2, 200, 9), 0);
    EXPECT_EQ(dd_numresources(2, 999, 1), 0);
    EXPECT_EQ(dd_numresources(4, 200, 1), 0);
    EXPECT_EQ(dd_numresources(0, 0, 0), 0);
}

TEST(dd_numresources, counts_modules_for_types_2_and_23)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 400, 2, 400, "Mod400", ""), 0u);    // the one resource of type 2
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        EXPECT_EQ(dd_numresources(2, 0, type), 3);
        EXPECT_EQ(dd_numresources(3, 0, type), 1);
        EXPECT_EQ(dd_numresources(1, 0, type), 0);
    }
}

TEST(dd_numresources, counts_owners_in_kind_1)
{
    Series dict;
    EXPECT_EQ(dd_numresources(1, 1, 1), 0);
    dict.put(0, 4, "four", "");
    dict.put(5, 6, "six", "");
    EXPECT_EQ(dd_numresources(1, 1, 1), 2);
    EXPECT_EQ(dd_numresources(1, 99, 1), 2);      // over all series and core types
    EXPECT_EQ(core_owner_set(dict, 1, 4, CORE_FREE), 0u);
    EXPECT_EQ(dd_numresources(1, 1, 1), 1);
}

TEST(dd_numresources, turns_negative_above_32767)
{
    Shelf dict;
    type_in_memory(dict, 2, 200, 1)->resource_count = le16(40000);
    EXPECT_EQ(dd_numresources(2, 200, 1), 40000 - 65536);
    EXPECT_EQ(dd_local_numres(0, 2, 200, 1), 40000 - 65536);
}

TEST(dd_numresources, gives_0_without_a_file_or_a_lock)
{
    EXPECT_EQ(dd_numresources(2, 200, 1), 0);
    Shelf dict(DICT_SHARED);
    {
        OtherStation other(dict);
        other.hold_write_lock();
        clock_virtual_start(0);
        EXPECT_EQ(dd_numresources(2, 200, 1), 0);
    }
    EXPECT_EQ(dd_numresources(2, 200, 1), 2);
    dict.close();
    EXPECT_EQ(dd_numresources(2, 200, 1), 0);
}

TEST(dd_get_resid, finds_the_identifier_of_a_name)
{
    Shelf dict;
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("five")), 5);
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("three")), 3);
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("four")), 0);
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("")), 0);
    EXPECT_EQ(dd_get_resid(2, 200, 1, nullptr), 0);
    EXPECT_EQ(dd_get_resid(2, 0, 2, Name("Mod200")), 200);
    EXPECT_EQ(dd_get_resid(2, 0, 23, Name("Mod100")), 100);
}

TEST(dd_get_resid, gives_whole_module_numbers)
{
    SlotDictionary dict;
    dict.module(2, 1000000, "large");
    EXPECT_EQ(dd_get_resid(2, 0, 2, Name("large")), 1000000);
}

TEST(dd_get_resid, finds_the_lowest_series_of_a_name)
{
    Series dict;
    dict.put(5, 15, "twice", "");
    dict.put(3, 13, "twice", "");
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("twice")), 13);
    dict.put(0, 10, "twice", "");
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("twice")), 10);

    // Seven of them, from the module given.
    dict.put(6, 16, "sixth", "");
    dict.put(7, 17, "seventh", "");
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("sixth")), 16);
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("seventh")), 0);
    EXPECT_EQ(dd_get_resid(1, 16 + 1, 1, Name("seventh")), 17);
    EXPECT_EQ(dd_get_resid(1, 16 + 1, 1, Name("twice")), 13);
}

TEST(dd_get_resid, ends_at_the_first_hit)
{
    Series dict;
    dict.put(0, 10, "low", "");
    dict.put(3, 13, "high", "");
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("high")), 13);    // both directories are in memory now
    calls_reset();
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("low")), 10);
    EXPECT_EQ(call_counts().read, 1u);                      // one name block
    calls_reset();
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("high")), 13);
    EXPECT_EQ(call_counts().read, 2u);
}

TEST(dd_get_resid, searches_once_in_slot_1)
{
    Shelf dict;
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("four")), 0);
    calls_reset();
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("four")), 0);
    EXPECT_EQ(call_counts().read, 1u);
}

TEST(dd_get_resid, searches_the_same_file_twice_away_from_slot_1)
{
    TwoSlots two;
    EXPECT_EQ(module_create(two.second(), 2, 100, Name("Mod100")), 0u);
    EXPECT_EQ(two.main.add(2, 100, 1, 5, "five", ""), 0u);
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name("five")), 5);
    calls_reset();
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name("four")), 0);
    EXPECT_EQ(call_counts().read, 2u);
    calls_reset();
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name("five")), 5);
    EXPECT_EQ(call_counts().read, 1u);    // the first pass has it
}

TEST(dd_get_resid, goes_on_in_the_main_dictionary_with_the_redirect)
{
    TwoSlots two;
    two.redirect();
    two.go_to(1);
    two.main.module(2, 100, "Mod100");
    EXPECT_EQ(two.main.add(2, 100, 19, 5, "five", ""), 0u);
    two.go_to(2);
    EXPECT_EQ(dd_get_resid(2, 100, 19, Name("five")), 5);
    EXPECT_EQ(module_create(two.second(), 2, 100, Name("Mod100")), 0u);
    EXPECT_EQ(two.main.add(2, 100, 19, 6, "five", ""), 0u);
    EXPECT_EQ(dd_get_resid(2, 100, 19, Name("five")), 6);    // the current dictionary comes first
    set_redirect_to_main(0);
    EXPECT_EQ(dd_get_resid(2, 100, 19, Name("five")), 6);
}

TEST(dd_get_resid, goes_on_when_the_current_dictionary_is_closed)
{
    TwoSlots two;
    two.redirect();
    two.go_to(1);
    two.main.module(2, 100, "Mod100");
    EXPECT_EQ(two.main.add(2, 100, 19, 5, "five", ""), 0u);
    two.go_to(2);
    EXPECT_EQ(dict_file_close(two.second()), 0u);
    EXPECT_EQ(dd_get_resid(2, 100, 19, Name("five")), 5);
}

// A name block of exactly this size, with a name of 100 characters that differs from another behind the 79th.
static void give_name_block(SlotDictionary *dict, u32 size)
{
    dict->module(2, 100, "Mod100");
    EXPECT_EQ(dict->add(2, 100, 1, 5, std::string(100, 'n'), ""), 0u);
    u32 block = type_name_block(*dict, 2, 100, 1);
    BlockEntry entry;
    EXPECT_EQ(block_grow(*dict, block, &entry, size), 0u);
    EXPECT_EQ(block_write_entry(*dict, block - 1, &entry), 0u);
    EXPECT_EQ(le_get(entry_of(*dict, block).size), size);
}

TEST(dd_get_resid, reads_a_name_block_of_65500_bytes_whole)
{
    SlotDictionary dict;
    give_name_block(&dict, 65500);
    calls_reset();
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name(std::string(100, 'n'))), 5);
    EXPECT_EQ(call_log().back().length, 65500u);
    EXPECT_EQ(call_counts().read, 1u);
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name(std::string(79, 'n'))), 0);
}

TEST(dd_get_resid, compares_79_characters_in_a_name_block_of_65501_bytes)
{
    SlotDictionary dict;
    give_name_block(&dict, 65501);
    calls_reset();
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name(std::string(100, 'n'))), 0);
    EXPECT_EQ(call_log().back().length, 80u);
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name(std::string(79, 'n'))), 5);
}

TEST(dd_get_resid, gives_0_without_a_file_or_a_lock)
{
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("five")), 0);
    Shelf dict(DICT_SHARED);
    {
        OtherStation other(dict);
        other.hold_write_lock();
        clock_virtual_start(0);
        EXPECT_EQ(dd_get_resid(2, 200, 1, Name("five")), 0);
    }
    dict.close();
    EXPECT_EQ(dd_get_resid(2, 200, 1, Name("five")), 0);
}

TEST(dd_get_nresid, gives_the_identifier_at_a_position)
{
    Shelf dict;
    EXPECT_EQ(dd_get_nresid(2, 200, 1, 1), 3);
    EXPECT_EQ(dd_get_nresid(2, 200, 1, 2), 5);
    for (i16 n : std::initializer_list<i16>{ 0, -1, -32768, 3, 32767 }) EXPECT_EQ(dd_get_nresid(2, 200, 1, n), 0);
    EXPECT_EQ(dd_get_nresid(2, 200, 9, 1), 0);
    EXPECT_EQ(dd_get_nresid(2, 999, 1, 1), 0);
    EXPECT_EQ(dd_get_nresid(5, 200, 1, 1), 0);
}

TEST(dd_get_nresid, gives_module_numbers_for_types_2_and_23)
{
    Shelf dict;
    dict.module(2, 1000000, "large");
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        EXPECT_EQ(dd_get_nresid(2, 0, type, 1), 100);
        EXPECT_EQ(dd_get_nresid(2, 0, type, 2), 200);
        EXPECT_EQ(dd_get_nresid(2, 0, type, 3), 1000000);
        EXPECT_EQ(dd_get_nresid(3, 0, type, 1), 300);
        for (i16 n : std::initializer_list<i16>{ 0, -5, 4 }) EXPECT_EQ(dd_get_nresid(2, 0, type, n), 0);
        for (i16 n : std::initializer_list<i16>{ 0, -5, 1 }) EXPECT_EQ(dd_get_nresid(1, 0, type, n), 0);
    }
}

TEST(dd_get_nresid, goes_over_the_owners_in_kind_1)
{
    Series dict;
    dict.put(5, 6, "six", "");
    dict.put(0, 4, "four", "");
    EXPECT_EQ(dd_get_nresid(1, 1, 1, 1), 4);
    EXPECT_EQ(dd_get_nresid(1, 1, 1, 2), 6);
    EXPECT_EQ(dd_get_nresid(1, 1, 1, 3), 0);
    EXPECT_EQ(dd_get_nresid(1, 1, 1, 0), 0);
}

TEST(dd_get_nresid, selects_by_the_module_number)
{
    TwoSlots two;
    two.redirect();
    for (i32 slot : { 1, 2 }) {
        two.go_to(slot);
        for (i32 module : { 100, 20000, 65536 + 100 }) {
            EXPECT_EQ(module_create(dict_file_at(slot, 0), 2, module, Name("Mod" + std::to_string(module))), 0u);
            EXPECT_EQ(two.main.add(2, module, 19, (i16)slot, "name", ""), 0u);
        }
    }
    EXPECT_EQ(dd_get_nresid(2, 100, 19, 1), 1);            // a low number: the main dictionary
    EXPECT_EQ(dd_get_nresid(2, 20000, 19, 1), 2);          // the current one
    EXPECT_EQ(dd_get_nresid(2, 65536 + 100, 19, 1), 1);    // cut to 16 bits
    EXPECT_EQ(dd_get_nresid(2, 100, 2, 1), 100);           // types 2 and 23 never leave the current one
}

TEST(dd_get_nresid, gives_0_without_a_file_or_a_lock)
{
    EXPECT_EQ(dd_get_nresid(2, 200, 1, 1), 0);
    Shelf dict(DICT_SHARED);
    {
        OtherStation other(dict);
        other.hold_write_lock();
        clock_virtual_start(0);
        EXPECT_EQ(dd_get_nresid(2, 200, 1, 1), 0);
    }
    dict.close();
    EXPECT_EQ(dd_get_nresid(2, 200, 1, 1), 0);
}

TEST(dd_get_resid_pos, gives_the_position_of_an_identifier)
{
    Shelf dict;
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 3), 1);
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 5), 2);
    EXPECT_EQ(dd_get_resid_pos(3, 300, 1, 5), 1);
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 4), 0);
    EXPECT_EQ(dd_get_resid_pos(2, 200, 9, 5), 0);
    EXPECT_EQ(dd_get_resid_pos(2, 999, 1, 5), 0);
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 0), 0);
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 0x10003), 1);    // cut to 16 bits
}

TEST(dd_get_resid_pos, is_0_in_the_module_at_table_index_0)
{
    Shelf dict;
    EXPECT_EQ(dict.add(2, 100, 1, 7, "seven", ""), 0u);
    EXPECT_EQ(dd_get_resid_pos(2, 100, 1, 7), 0);
    EXPECT_EQ(dd_get_nresid(2, 100, 1, 1), 7);              // the other way works there
    dict.module(1, 1, "System Core");                       // goes in front
    EXPECT_EQ(dd_get_resid_pos(2, 100, 1, 7), 1);
}

TEST(dd_get_resid_pos, of_types_2_and_23_takes_the_identifier_for_the_module)
{
    Shelf dict;
    dict.module(3, 1000000, "large");
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        EXPECT_EQ(dd_get_resid_pos(3, 0, type, 300), 1);
        EXPECT_EQ(dd_get_resid_pos(3, 999, type, 1000000), 2);    // a whole number
        EXPECT_EQ(dd_get_resid_pos(2, 0, type, 100), 0);          // the kind that begins the table
        EXPECT_EQ(dd_get_resid_pos(2, 0, type, 200), 0);
    }
}

TEST(dd_get_resid_pos, counts_owners_in_kind_1_and_unknown_kinds)
{
    Series dict;
    dict.put(5, 6, "six", "");
    dict.put(0, 4, "four", "");
    for (i32 kind : { 1, 0, 4 }) {
        EXPECT_EQ(dd_get_resid_pos(kind, 1, 1, 4), 1);
        EXPECT_EQ(dd_get_resid_pos(kind, 1, 1, 6), 2);
        EXPECT_EQ(dd_get_resid_pos(kind, 1, 1, 5), 0);
    }
}

TEST(dd_get_resid_pos, gives_0_without_a_file_or_a_lock)
{
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 3), 0);
    Shelf dict(DICT_SHARED);
    {
        OtherStation other(dict);
        other.hold_write_lock();
        clock_virtual_start(0);
        EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 3), 0);
    }
    dict.close();
    EXPECT_EQ(dd_get_resid_pos(2, 200, 1, 3), 0);
}

// ---- One series -----------------------------------------------------------------------------------------------------

// Series 0 and 3 of core type 1, that of series 0 at table index 0; no identifier has an owner.
class LocalSeries : public Series {
public:
    explicit LocalSeries(u16 mode = DICT_EXCLUSIVE)
    {
        put(0, 4, "four", "");
        put(3, 5, "five", "");
        put(3, 6, "six", "");
        core_tables_free(file());
        if (mode != DICT_EXCLUSIVE) reopen(mode);
    }
};

TEST(dd_local_numres, counts_in_one_module)
{
    LocalSeries dict;
    EXPECT_EQ(dd_local_numres(0, 1, 1, 1), 1);
    EXPECT_EQ(dd_local_numres(3, 1, 1, 1), 2);
    EXPECT_EQ(dd_local_numres(0, 1, 49, 1), 2);     // 49 is series 3, core type 1
    EXPECT_EQ(dd_local_numres(1, 1, 1, 1), 0);
    EXPECT_EQ(dd_local_numres(3, 1, 2, 1), 0);
    EXPECT_EQ(dd_local_numres(3, 1, 1, 9), 0);
    EXPECT_EQ(dd_local_numres(32767, 1, INT_MAX, 1), 0);
}

TEST(dd_local_numres, counts_in_the_kind_passed_in)
{
    LocalSeries dict;
    dict.module(2, 200, "Mod200");
    EXPECT_EQ(dict.add(2, 200, 1, 9, "nine", ""), 0u);
    EXPECT_EQ(dd_local_numres(0, 2, 200, 1), 1);
    EXPECT_EQ(dd_local_numres(12, 2, 8, 1), 1);      // 12 * 16 + 8
    EXPECT_EQ(dd_local_numres(0, 3, 200, 1), 0);
}

TEST(dd_local_get_nresid, gives_the_identifier_at_a_position)
{
    LocalSeries dict;
    EXPECT_EQ(dd_local_get_nresid(3, 1, 1, 1), 5);
    EXPECT_EQ(dd_local_get_nresid(3, 1, 1, 2), 6);
    EXPECT_EQ(dd_local_get_nresid(0, 1, 1, 1), 4);   // at table index 0
    for (i16 n : std::initializer_list<i16>{ 0, -1, -32768, 3 }) EXPECT_EQ(dd_local_get_nresid(3, 1, 1, n), 0);
    EXPECT_EQ(dd_local_get_nresid(1, 1, 1, 1), 0);
    EXPECT_EQ(dd_local_get_nresid(-32768, INT_MIN, 1, 1), 0);
}

TEST(dd_local_get_nresid_pos, gives_the_position_of_an_identifier)
{
    LocalSeries dict;
    EXPECT_EQ(dd_local_get_nresid_pos(3, 1, 1, 5), 1);
    EXPECT_EQ(dd_local_get_nresid_pos(3, 1, 1, 6), 2);
    EXPECT_EQ(dd_local_get_nresid_pos(3, 1, 1, 0x10006), 2);    // cut to 16 bits
    EXPECT_EQ(dd_local_get_nresid_pos(3, 1, 1, 4), 0);
    EXPECT_EQ(dd_local_get_nresid_pos(1, 1, 1, 5), 0);
    EXPECT_EQ(dd_local_get_nresid_pos(32767, INT_MAX, 1, 5), 0);
}

TEST(dd_local_get_nresid_pos, is_0_in_the_module_at_table_index_0)
{
    LocalSeries dict;
    EXPECT_EQ(dd_local_get_nresid_pos(0, 1, 1, 4), 0);
    EXPECT_EQ(dd_local_get_nresid(0, 1, 1, 1), 4);
}

TEST(dd_local_get_nresname, gives_the_name_at_a_position)
{
    LocalSeries dict;
    Name out("before");
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 2, out), 0u);
    EXPECT_EQ(out.str(), "six");
    EXPECT_EQ(dd_local_get_nresname(0, 1, 1, 1, out), 0u);
    EXPECT_EQ(out.str(), "four");
}

TEST(dd_local_get_nresname, leaves_out_alone_for_a_bad_position)
{
    LocalSeries dict;
    for (i16 n : std::initializer_list<i16>{ 0, -1, -32768, 3 }) {
        Name out("before");
        EXPECT_EQ(dd_local_get_nresname(3, 1, 1, n, out), 3u);
        EXPECT_EQ(out.str(), "before");
    }
    Name out("before");
    EXPECT_EQ(dd_local_get_nresname(1, 1, 1, 1, out), 3u);
    EXPECT_EQ(dd_local_get_nresname(3, 1, 9, 1, out), 3u);
    EXPECT_EQ(dd_local_get_nresname(32767, INT_MAX, 1, 1, out), 3u);
    EXPECT_EQ(out.str(), "before");
}

TEST(dd_local_get_nresname, asks_the_pinned_cache_first)
{
    LocalSeries dict;
    std::string name(100, 'n');
    dict.core_table(1);
    dict.put(3, 7, name, "");
    Name out;
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 3, out), 0u);
    EXPECT_EQ(out.str(), std::string(79, 'n'));
    EXPECT_EQ(cache_pin(3, 1, 1, 1, 1), 0u);
    calls_reset();
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 3, out), 0u);
    EXPECT_EQ(out.str(), name);
    EXPECT_EQ(call_counts().read, 0u);
    EXPECT_EQ(cache_release(3, 1, 1, 1, 1), 1);
}

TEST(dd_local_get_nresname, gives_21_when_locked_out)
{
    LocalSeries dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    Name out("before");
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 1, out), 21u);
    EXPECT_EQ(out.str(), "before");
    EXPECT_EQ(dd_local_numres(3, 1, 1, 1), 0);
    EXPECT_EQ(dd_local_get_nresid(3, 1, 1, 1), 0);
    EXPECT_EQ(dd_local_get_nresid_pos(3, 1, 1, 5), 0);
    other.leave();
    EXPECT_EQ(dd_local_numres(3, 1, 1, 1), 2);
}

TEST(dd_local_get_nresname, tells_why_there_is_no_file)
{
    Name out("before");
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 1, out), 15u);
    EXPECT_EQ(dd_local_numres(3, 1, 1, 1), 0);
    EXPECT_EQ(dd_local_get_nresid(3, 1, 1, 1), 0);
    EXPECT_EQ(dd_local_get_nresid_pos(3, 1, 1, 5), 0);
    LocalSeries dict;
    choose(7, 0);
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 1, out), 3u);
    choose(0, 0);
    dict.close();
    EXPECT_EQ(dd_local_get_nresname(3, 1, 1, 1, out), 7u);
    EXPECT_EQ(out.str(), "before");
}

} // namespace
} // namespace zuk
