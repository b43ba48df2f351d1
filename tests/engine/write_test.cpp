#include "engine/resources.h"

#include "files/file.h"
#include "tests/engine/slot_dictionary.h"

#include <climits>
#include <string>
#include <vector>

namespace zuk {
namespace {

using Lines = std::vector<std::string>;

// One module of kind 2 in a new file. Its directory stands in block 4; the blocks of its first type are 5 and 6.
class OneModule : public SlotDictionary {
public:
    explicit OneModule(u16 mode = DICT_EXCLUSIVE)
    {
        module(2, 100, "Mod");
        if (mode != DICT_EXCLUSIVE) reopen(mode);
    }
};

// The module with three resources of type 1 and one of type 5 behind them. Nothing has to grow for a few more.
class Filled : public OneModule {
public:
    explicit Filled(u16 mode = DICT_EXCLUSIVE)
    {
        EXPECT_EQ(add(2, 100, 1, 1, "one", "body of one"), 0u);
        EXPECT_EQ(add(2, 100, 1, 3, "three", "body of three"), 0u);
        EXPECT_EQ(add(2, 100, 1, 2, "two", "body of two"), 0u);
        EXPECT_EQ(add(2, 100, 5, 1, "other", "body of other"), 0u);
        if (mode != DICT_EXCLUSIVE) reopen(mode);
    }
};

// A run as its directory has it: "id name_offset+name_size body_offset+body_size".
static Lines run(DictFile *file, i32 kind, i32 module, i16 type)
{
    Lines lines;
    u16 count = 0;
    const ResourceEntry *at = resource_range(file, module_find(file, kind, module), type, &count, nullptr, nullptr);
    for (u16 i = 0; at && i < count; i++, at++) {
        lines.push_back(std::to_string(le_get(at->id)) + ' ' + std::to_string(le_get(at->name_offset)) + '+' +
                        std::to_string(at->name_size) + ' ' + std::to_string(le_get(at->body_offset)) + '+' +
                        std::to_string(le_get(at->body_size)));
    }
    return lines;
}

static std::string names_of(DictFile *file, i32 kind, i32 module, i16 type)
{
    return block_bytes(file, type_name_block(file, kind, module, type));
}

static std::string bodies_of(DictFile *file, i32 kind, i32 module, i16 type)
{
    return block_bytes(file, type_body_block(file, kind, module, type));
}

static u32 size_of(DictFile *file, u32 block) { return le_get(entry_of(file, block).size); }
static u32 used_of(DictFile *file, u32 block) { return size_of(file, block) - le_get(entry_of(file, block).free); }

static std::string place_of(DictFile *file, u32 block)
{
    BlockEntry entry = entry_of(file, block);
    return std::to_string(le_get(entry.type)) + ' ' + std::to_string(le_get(entry.offset)) + '/' +
           std::to_string(le_get(entry.size)) + ' ' + std::to_string(le_get(entry.free));
}

// The same file as another process would find it now.
class Crash : public AfterACrash {
public:
    explicit Crash(const SlotDictionary &of) : AfterACrash(of.bytes()) { EXPECT_EQ(status, 0u); }
};

static void choose(i32 selector, i32 other_selector)
{
    DictCookie cookie = { SLOT, selector, other_selector };
    EXPECT_EQ(ds_setcurdict(&cookie), 0u);
}

static void open_file_1(const SlotDictionary &dict)
{
    slot_set_path(1, 1, dict.dir.name("b.dic"));
    EXPECT_EQ(dict_file_create(slot_path_at(SLOT, 1)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(SLOT, 1), slot_path_at(SLOT, 1), DICT_EXCLUSIVE, 0), 0u);
}

static u32 change_count_of(const SlotDictionary &dict)
{
    return u16_at(dict.bytes(), offsetof(DictHeader, change_count));
}

// The write of a whole block, as the log has it.
static std::string write_of(DictFile *file, u32 block)
{
    return "write " + std::to_string(le_get(entry_of(file, block).offset)) + "+" + std::to_string(size_of(file, block));
}

TEST(writing, has_every_operation)
{
    void *const operations[] = { (void *)dd_add_resource, (void *)dd_change_resource, (void *)dd_remove_resource,
                                 (void *)dd_set_resource_flags, (void *)core_table_write };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Adding ---------------------------------------------------------------------------------------------------------

TEST(dd_add_resource, gives_the_first_resource_its_places)
{
    OneModule dict;
    EXPECT_EQ(dict.bytes().size(), 5856u);
    EXPECT_EQ(place_of(dict, 4), "2 4930/926 0");    // the empty directory

    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    EXPECT_EQ(dict.bytes().size(), 11038u);
    EXPECT_EQ(le_get(dict->header.free_entries), 250u);
    EXPECT_EQ(place_of(dict, 4), "2 9952/1086 0");   // moved to the end: ten slots more
    EXPECT_EQ(place_of(dict, 5), "3 5856/2048 2044");
    EXPECT_EQ(place_of(dict, 6), "4 7904/2048 2038");
    EXPECT_EQ(place_of(dict, 7), "0 4930/926 926");  // where the directory was
    EXPECT_EQ(dict.bytes().substr(5856, 5), std::string("\3abc\0", 5));
    EXPECT_EQ(dict.bytes().substr(7904, 11), std::string("0123456789\0", 11));
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+10" }));
}

TEST(dd_add_resource, reopens_the_file_once_for_each_block_at_its_end)
{
    SlotDictionary dict;
    calls_reset();
    dict.module(2, 100, "Mod");
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    EXPECT_EQ(call_counts().open, 4u);               // directory, names, bodies, the larger directory
}

TEST(dd_add_resource, stands_whole_in_the_file_at_once)
{
    OneModule dict;
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    Crash crash(dict);
    EXPECT_EQ(run(crash, 2, 100, 1), (Lines{ "1 0+4 0+10" }));
    EXPECT_EQ(names_of(crash, 2, 100, 1), "\3abc");
    EXPECT_EQ(bodies_of(crash, 2, 100, 1), "0123456789");
}

TEST(dd_add_resource, works_through_the_open_of_a_dictionary)
{
    for (u16 mode : std::initializer_list<u16>{ DICT_EXCLUSIVE, DICT_SHARED }) {
        Library library(mode);
        library.add_module(2, 100, "Mod100");
        library.add_module(2, 200, "Mod200");
        EXPECT_EQ(library.add(2, 200, 1, 5, "five", "body of five"), 0u);
        EXPECT_EQ(library.add(2, 200, 1, 5, "six", "body of six"), 2u);
        EXPECT_EQ(library.add(2, 200, 1, 6, "five", "body of six"), 2u);
        EXPECT_EQ(library.change(2, 200, 1, 5, "FIVE", "a longer body of five"), 0u);
        library.reopen(mode);
        EXPECT_EQ(library.body(2, 200, 1, 5), "a longer body of five");
        EXPECT_EQ(library.name(2, 200, 1, 5), "FIVE");
        EXPECT_EQ(dd_remove_resource(2, 200, 1, 5), 0u);
        EXPECT_EQ(library.body(2, 200, 1, 5), "<status 3>");
    }
}

TEST(dd_add_resource, writes_name_body_directory_and_block_table_in_this_order)
{
    OneModule dict;
    EXPECT_EQ(dict.add(2, 100, 1, 1, "abc", "0123456789"), 0u);
    calls_reset();
    EXPECT_EQ(dict.add(2, 100, 1, 2, "defg", "01234"), 0u);
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_READ, FAULT_OPEN, FAULT_LOCK }),
              (Lines{ "read 5856+2048",      // the names, for the test of the new one
                      "write 5860+5",        // the name, behind the first
                      "write 7914+5",        // the body
                      "write 9952+1086",     // the directory, whole
                      "write 26+896" }));    // the first page of the block table
}

TEST(dd_add_resource, makes_the_blocks_of_a_new_type_before_anything_else)
{
    Filled dict;
    calls_reset();
    // Names 2 * 16 bytes, bodies 2 * 16, and a directory that ends the file and grows where it stands, by five slots.
    EXPECT_EQ(dict.add(2, 100, 23, 7, "x", "y"), 2u);    // module 100 exists: nothing but its lost directory block
    EXPECT_EQ(dict.add(2, 100, 4, 7, "x", "y"), 0u);
    EXPECT_EQ(size_of(dict, type_name_block(dict, 2, 100, 4)), 32u);
    EXPECT_EQ(size_of(dict, type_body_block(dict, 2, 100, 4)), 32u);
    Lines writes = call_lines({ FAULT_WRITE });
    u32 names = le_get(entry_of(dict, type_name_block(dict, 2, 100, 4)).offset);
    u32 bodies = le_get(entry_of(dict, type_body_block(dict, 2, 100, 4)).offset);
    ASSERT_GE(writes.size(), 4u);
    EXPECT_EQ(Lines(writes.end() - 4, writes.end()),
              (Lines{ "write " + std::to_string(names) + "+2", "write " + std::to_string(bodies) + "+1",
                      write_of(dict, 4), "write 26+896" }));
}

TEST(dd_add_resource, goes_behind_the_others_whatever_its_id)
{
    Filled dict;
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+11", "2 10+4 24+11", "3 4+6 11+13" }));
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\3one\5three\3two");
    EXPECT_EQ(bodies_of(dict, 2, 100, 1), "body of onebody of threebody of two");
    EXPECT_EQ(dict.add(2, 100, 1, 32767, "last", ""), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1).back(), "32767 14+5 35+0");
}

TEST(dd_add_resource, keeps_the_types_apart)
{
    Filled dict;
    EXPECT_EQ(run(dict, 2, 100, 5), (Lines{ "1 0+6 0+13" }));
    EXPECT_EQ(dict.body(2, 100, 5, 1), "body of other");
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
}

TEST(dd_add_resource, without_a_body_writes_none)
{
    Filled dict;
    u32 bodies = used_of(dict, type_body_block(dict, 2, 100, 1));
    calls_reset();
    EXPECT_EQ(dd_add_resource(2, 100, 1, 4, Name("four"), 0), 0u);
    EXPECT_EQ(call_counts().write, 3u);    // name, directory, block table
    EXPECT_EQ(run(dict, 2, 100, 1).back(), "4 14+5 35+0");
    EXPECT_EQ(used_of(dict, type_body_block(dict, 2, 100, 1)), bodies);
}

TEST(dd_add_resource, leaves_name_and_body_of_the_caller_as_they_were)
{
    Filled dict;
    for (u16 type : std::initializer_list<u16>{ 1, 15, 33, 61 }) {
        Name name("four");
        GHandle body = handle_of("\1\2\3\4 body");
        EXPECT_EQ(dd_add_resource(2, 100, type, 4, name, body), 0u);
        EXPECT_EQ(name.str(), "four");
        EXPECT_EQ(take(body), "\1\2\3\4 body");
    }
}

TEST(dd_add_resource, with_a_dead_handle_gives_9)
{
    Filled dict;
    GHandle dead = handle_of("gone");
    gfree(dead);
    EXPECT_EQ(dd_add_resource(2, 100, 1, 4, Name("four"), dead), 9u);
    EXPECT_EQ(dict.body(2, 100, 1, 4), "<status 3>");
}

TEST(dd_add_resource, gives_19_for_a_bad_name_or_id_and_changes_nothing)
{
    Filled dict;
    std::string before = dict.bytes();
    calls_reset();
    GHandle body = handle_of("body");
    EXPECT_EQ(dd_add_resource(2, 100, 1, 4, Name(""), body), 19u);
    EXPECT_EQ(dd_add_resource(2, 100, 1, 4, nullptr, body), 19u);
    EXPECT_EQ(dd_add_resource(2, 100, 1, 0, Name("four"), body), 19u);
    EXPECT_EQ(dd_add_resource(2, 100, 1, -1, Name("four"), body), 19u);
    EXPECT_EQ(dd_add_resource(2, 100, 1, -32768, Name("four"), body), 19u);
    EXPECT_EQ(dd_add_resource(2, 100, 2, 0, Name("four"), body), 19u);
    gfree(body);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.bytes(), before);
    EXPECT_EQ(run(dict, 2, 100, 1).size(), 3u);
}

TEST(dd_add_resource, tells_why_there_is_no_file_before_it_looks_at_the_name)
{
    EXPECT_EQ(dd_add_resource(2, 100, 1, 0, nullptr, 0), 15u);
    Filled dict;
    choose(0, 1);
    EXPECT_EQ(dd_add_resource(2, 100, 1, 0, nullptr, 0), 7u);
    choose(0, 7);
    EXPECT_EQ(dd_add_resource(2, 100, 1, 0, nullptr, 0), 3u);
    choose(0, 0);
    dict.close();
    EXPECT_EQ(dd_add_resource(2, 100, 1, 0, nullptr, 0), 7u);
}

TEST(dd_add_resource, gives_2_for_an_id_in_use)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dict.add(2, 100, 1, 2, "another", "body"), 2u);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 2), "body of two");
    EXPECT_EQ(dict.add(2, 100, 5, 2, "another", "body"), 0u);    // another type
    dict.module(2, 200, "Mod200");
    EXPECT_EQ(dict.add(2, 200, 1, 2, "another", "body"), 0u);    // another module
}

TEST(dd_add_resource, gives_2_for_a_name_in_use)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dict.add(2, 100, 1, 4, "two", "body"), 2u);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 4, "Two", "body"), 0u);        // case counts
    EXPECT_EQ(dict.add(2, 100, 5, 4, "two", "body"), 0u);        // another type
    dict.module(2, 200, "Mod200");
    EXPECT_EQ(dict.add(2, 200, 1, 4, "two", "body"), 0u);        // another module
}

TEST(dd_add_resource, makes_no_module_for_kinds_2_and_3)
{
    Filled dict;
    std::string before = dict.bytes();
    calls_reset();
    for (i32 kind : { 2, 3, 0, 4, -1, 65537 }) EXPECT_EQ(dict.add(kind, 500, 1, 1, "one", "body"), 3u);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.bytes(), before);
}

TEST(dd_add_resource, of_a_module_in_an_unknown_kind_gives_3)
{
    Filled dict;
    std::string before = dict.bytes();
    u32 free_entries = le_get(dict->header.free_entries);
    for (i32 kind : { 0, 4, 5, -1, 65537 }) {
        for (u16 type : std::initializer_list<u16>{ 2, 23 }) EXPECT_EQ(dict.add(kind, 7, type, 7, "seven", ""), 3u);
    }
    EXPECT_EQ(le_get(dict->header.free_entries), free_entries);
    EXPECT_EQ(dict.bytes(), before);
}

TEST(dd_add_resource, of_types_2_and_23_makes_the_module)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 7, "seven", "its own"), 0u);
    EXPECT_EQ(dict.add(3, 8, 23, 8, "eight", "its own too"), 0u);
    Crash crash(dict);
    EXPECT_EQ(module_find_by_name(crash, 2, Name("seven")), 7);
    EXPECT_EQ(module_find_by_name(crash, 3, Name("eight")), 8);
    EXPECT_EQ(run(crash, 2, 7, 2), (Lines{ "7 0+6 0+7" }));    // the name stands in the type's block too
    EXPECT_EQ(names_of(crash, 2, 7, 2), "\5seven");
    EXPECT_EQ(run(crash, 3, 8, 23), (Lines{ "8 0+6 0+11" }));
    EXPECT_EQ(dict.body(2, 7, 2, 7), "its own");
}

TEST(dd_add_resource, of_a_module_that_exists_gives_2_and_loses_a_block)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 7, "seven", ""), 0u);
    u32 free_entries = le_get(dict->header.free_entries);
    EXPECT_EQ(dict.add(2, 7, 2, 7, "another", ""), 2u);
    EXPECT_EQ(le_get(dict->header.free_entries), free_entries - 1);
    EXPECT_EQ(dict.add(2, 8, 2, 8, "seven", ""), 2u);
    EXPECT_EQ(le_get(dict->header.free_entries), free_entries - 2);
    EXPECT_EQ(dd_numresources(2, 0, 2), 1);
    EXPECT_EQ(dict.add(3, 7, 2, 7, "seven", ""), 0u);    // another kind
}

TEST(dd_add_resource, does_not_compare_module_and_id_of_a_module)
{
    SlotDictionary dict;
    dict.module(2, 1, "first");
    EXPECT_EQ(dict.add(2, 7, 2, 8, "seven", "body of eight"), 0u);
    EXPECT_EQ(dict.body(2, 7, 2, 8), "body of eight");
    EXPECT_EQ(dict.body(2, 7, 2, 7), "<status 3>");
    EXPECT_EQ(dd_get_resid(2, 0, 2, Name("seven")), 7);
    EXPECT_EQ(dd_remove_resource(2, 7, 2, 8), 3u);       // there is no module 8
    EXPECT_EQ(dd_remove_resource(2, 8, 2, 7), 0u);
}

TEST(dd_add_resource, of_a_module_in_kind_1_gives_2_and_makes_it)
{
    SlotDictionary dict;
    (void)dd_choose_owner(3);
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        i32 core_type = type == 2 ? 1 : 2;
        std::string name = "type " + std::to_string(type);
        EXPECT_EQ(dict.add(1, core_type, type, 1, name, "body"), 2u);
        EXPECT_EQ(module_find_by_name(dict, 1, Name(name)), 3 * 16 + core_type);    // in the series chosen
        EXPECT_EQ(run(dict, 1, 3 * 16 + core_type, (i16)type), Lines{});
    }
    Crash crash(dict);
    EXPECT_EQ(module_count(crash, 1), 2);    // a module reaches the file by itself
}

TEST(dd_add_resource, makes_the_module_of_kind_1_on_demand)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(1);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);
    EXPECT_EQ(module_find_by_name(dict, 1, Name("Financial Core")), 1 * 16 + 1);
    EXPECT_EQ(dd_get_owner(dict, 1, 5), 1);
    EXPECT_EQ(dict.body(1, 1, 1, 5), "body of five");
    EXPECT_EQ(dict.name(1, 1, 1, 5), "five");

    Crash crash(dict);
    EXPECT_EQ(run(crash, 1, 17, 1), (Lines{ "5 0+5 0+12" }));
    std::string table = bodies_of(crash, 1, 10, 52);    // capacity 20, 19 free, then the owners from position 0 on
    EXPECT_EQ(u32_at(table, 0), 20u);
    EXPECT_EQ(u32_at(table, 4), 19u);
    EXPECT_EQ(table.substr(12, 7), std::string("\17\17\17\17\17\1\17", 7));
}

TEST(dd_add_resource, writes_a_new_module_before_and_the_owners_behind_all_else)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(1);
    calls_reset();
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);

    auto at = [&](u32 block, u32 offset = 0) { return std::to_string(le_get(entry_of(dict, block).offset) + offset); };
    u32 directory = module_directory_block(dict, module_find(dict, 1, 17));
    u32 tables = module_directory_block(dict, module_find(dict, 1, 10));
    u32 list_used = used_of(dict, 2);
    Lines expected = {
        "write " + at(2, list_used - 15) + "+15",              // "Financial Core" in the module name list
        "write " + at(1) + "+808",                             // the module table
        "write " + at(type_name_block(dict, 1, 17, 1)) + "+5",
        "write " + at(type_body_block(dict, 1, 17, 1)) + "+12",
        write_of(dict, directory),
        "write 26+896",
        "write " + at(type_body_block(dict, 1, 10, 52)) + "+34",   // the core table
        write_of(dict, tables),
        "write 26+896",
    };
    // In between are the blocks that are made and moved; the order of these is what counts.
    size_t found = 0;
    for (const std::string &line : call_lines({ FAULT_WRITE })) {
        if (found < expected.size() && line == expected[found]) found++;
    }
    EXPECT_EQ(found, expected.size()) << "missing: " << expected[found < expected.size() ? found : 0];
    EXPECT_EQ(call_lines({ FAULT_WRITE }).back(), "write 26+896");
}

TEST(dd_add_resource, gives_2_for_an_id_or_a_name_in_any_series_of_kind_1)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(4);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", ""), 0u);
    (void)dd_choose_owner(2);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "other", ""), 2u);
    EXPECT_EQ(dict.add(1, 3, 1, 5, "other", ""), 2u);    // over the core types too
    EXPECT_EQ(dict.add(1, 1, 1, 6, "five", ""), 2u);
    EXPECT_EQ(dict.add(1, 3, 1, 6, "five", ""), 0u);     // names count for one core type
    EXPECT_EQ(dict.add(1, 1, 1, 7, "other", ""), 0u);
    EXPECT_EQ(dd_get_owner(dict, 1, 7), 2);
}

TEST(dd_add_resource, uses_module_10_of_kind_1_as_it_stands)
{
    SlotDictionary dict;
    (void)dd_choose_owner(5);
    EXPECT_EQ(dict.add(1, 10, 52, 1, "table", "body"), 0u);
    EXPECT_EQ(run(dict, 1, 10, 52), (Lines{ "1 0+6 0+4" }));
    EXPECT_EQ(module_find(dict, 1, 5 * 16 + 10), MODULE_ABSENT);
    EXPECT_EQ(module_find_by_name(dict, 1, Name("System Core Tables")), 10);
}

TEST(dd_add_resource, of_types_52_to_54_tests_the_id_in_the_module)
{
    SlotDictionary dict;
    for (u16 type = 52; type <= 54; type++) {
        EXPECT_EQ(dict.add(1, 10, type, 1, "table", "body"), 0u);
        EXPECT_EQ(dict.add(1, 10, type, 1, "another", "body"), 2u);
        EXPECT_EQ(dict.add(1, 10, type, 2, "another", "body"), 0u);
    }
    EXPECT_EQ(dict->core_tables, nullptr);
}

TEST(dd_add_resource, of_types_52_to_54_writes_the_table_that_describes_them)
{
    SlotDictionary dict;
    dict.stored_core_table(52);    // the resource 52 of type 52, and the table in memory
    calls_reset();
    EXPECT_EQ(dict.add(1, 10, 53, 1, "table", "body"), 0u);    // type 53 has no table: nothing more
    u32 plain = call_counts().write;
    EXPECT_EQ(dict.add(1, 10, 53, 2, "second", "body"), 0u);
    calls_reset();
    EXPECT_EQ(dict.add(1, 10, 53, 3, "third", "body"), 0u);
    EXPECT_EQ(call_counts().write, 4u);
    calls_reset();
    EXPECT_EQ(dict.add(1, 10, 52, 3, "third", "body"), 0u);
    EXPECT_EQ(call_counts().write, 4u + 3u);                   // body, directory and block table of the core table
    EXPECT_GT(plain, 4u);
}

TEST(dd_add_resource, of_kind_1_gives_3_when_the_owners_are_not_stored)
{
    SlotDictionary dict;
    dict.core_table(1);    // in memory, without its resource
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 3u);
    EXPECT_EQ(dict.body(1, 1, 1, 5), "body of five");          // all the rest was done
    EXPECT_EQ(dd_get_owner(dict, 1, 5), 0);
    Crash crash(dict);
    EXPECT_EQ(run(crash, 1, 1, 1), (Lines{ "5 0+5 0+12" }));
}

TEST(dd_add_resource, of_kind_1_without_a_table_fails_at_the_end)
{
    SlotDictionary dict;
    // These types never have a table. Types 2 and 23 fail earlier.
    for (u16 type : std::initializer_list<u16>{ 3, 4, 10, 11, 12, 13, 14, 16, 17, 24 }) {
        EXPECT_EQ(dict.add(1, 1, type, 5, "five", "body"), 3u);
        EXPECT_EQ(run(dict, 1, 1, (i16)type), Lines{});
        EXPECT_EQ(used_of(dict, type_name_block(dict, 1, 1, (i16)type)), 5u);    // name and body were written
        EXPECT_EQ(used_of(dict, type_body_block(dict, 1, 1, (i16)type)), 4u);
    }
    EXPECT_EQ(module_find_by_name(dict, 1, Name("System Core")), 1);             // the module stays
    Crash crash(dict);
    EXPECT_EQ(run(crash, 1, 1, 3), Lines{});
    EXPECT_EQ(le_get(directory_get(crash, module_find(crash, 1, 1))->type_count), 0);
}

TEST(dd_add_resource, of_kind_1_in_an_unreadable_module_gives_2)
{
    SlotDictionary dict;
    dict.module(1, 1, "System Core");
    u32 block = module_directory_block(dict, module_find(dict, 1, 1));
    directory_drop(dict, 1, 1);
    BlockEntry entry = entry_of(dict, block);
    entry.type = le16(BLOCK_BODIES);
    EXPECT_EQ(block_write_entry(dict, block - 1, &entry), 0u);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body"), 2u);    // the 3 asks for a new module, which exists
}

TEST(dd_add_resource, of_a_second_unknown_core_type_gives_2)
{
    SlotDictionary dict;
    dict.stored_core_table(58);
    dict.stored_core_table(59);
    EXPECT_EQ(dict.add(1, 11, 58, 1, "one", ""), 0u);
    EXPECT_EQ(module_find_by_name(dict, 1, Name("System Unknown core type")), 11);
    EXPECT_EQ(dict.add(1, 12, 59, 1, "one", ""), 2u);       // its module would have the same name
}

TEST(dd_add_resource, takes_any_owner)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(15);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "fifteen", "body"), 0u);
    EXPECT_EQ(run(dict, 1, 15 * 16 + 1, 1).size(), 1u);
    EXPECT_EQ(dd_get_owner(dict, 1, 5), -1);                // 15 counts as free
    (void)dd_choose_owner(300);
    // Of another core type, for the words of both series are the same.
    EXPECT_EQ(dict.add(1, 2, 1, 6, "three hundred", "body"), 0u);
    EXPECT_EQ(run(dict, 1, 300 * 16 + 2, 1).size(), 1u);
    EXPECT_EQ(dd_get_owner(dict, 1, 6), 44);                // the low byte
    (void)dd_choose_owner(255);
    EXPECT_EQ(dict.add(1, 3, 1, 7, "two hundred", "body"), 0u);
    EXPECT_EQ(run(dict, 1, 255 * 16 + 3, 1).size(), 1u);
    EXPECT_EQ(dd_get_owner(dict, 1, 7), -1);
    (void)dd_choose_owner(65535);                           // -1 as a signed number
    EXPECT_EQ(dict.add(1, 20, 1, 8, "minus one", "body"), 0u);
    EXPECT_EQ(run(dict, 1, 4, 1).size(), 1u);
}

TEST(dd_add_resource, of_an_id_that_only_the_directory_knows_gives_2)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(15);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "first", "body"), 0u);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "second", "other"), 2u);    // owner 15 counts as free, so the test of the id passes
    EXPECT_EQ(run(dict, 1, 15 * 16 + 1, 1), (Lines{ "5 0+6 0+4" }));
}

TEST(dd_add_resource, takes_any_module_number)
{
    SlotDictionary dict;
    (void)dd_choose_owner(6);
    EXPECT_EQ(dict.add(1, INT_MAX, 1, 5, "name", "body"), 3u);    // a module is made, the owner fails
    EXPECT_EQ(module_find(dict, 1, INT_MIN + 6 * 16 - 1), 0);     // wrapped
    EXPECT_EQ(dict.add(2, INT_MAX, 2, 5, "high", "body"), 0u);
    EXPECT_EQ(dict.add(2, INT_MIN, 2, 5, "low", "body"), 0u);
    EXPECT_EQ(dict.body(2, INT_MIN, 2, 5), "body");
}

TEST(dd_add_resource, takes_types_of_any_16_bits_in_kind_2)
{
    Filled dict;
    for (u16 type : std::initializer_list<u16>{ 0, 65, 40000, 65535 }) {
        EXPECT_EQ(dict.add(2, 100, type, 9, "nine", "body"), 0u);
        EXPECT_EQ(size_of(dict, type_name_block(dict, 2, 100, (i16)type)), 2 * 256u);    // the default units
        EXPECT_EQ(size_of(dict, type_body_block(dict, 2, 100, (i16)type)), 2 * 512u);
    }
    Crash crash(dict);
    EXPECT_EQ(le_get(type_at(directory_get(crash, 0), 0)->type), -25536);    // in the order of signed numbers
    EXPECT_EQ(le_get(type_at(directory_get(crash, 0), 1)->type), -1);
    EXPECT_EQ(le_get(type_at(directory_get(crash, 0), 2)->type), 0);
}

TEST(dd_add_resource, stores_a_name_of_254_characters_whole)
{
    Filled dict;
    std::string name(254, 'n');
    EXPECT_EQ(dict.add(2, 100, 1, 4, name, ""), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1).back(), "4 14+255 35+0");
    EXPECT_EQ(names_of(dict, 2, 100, 1).substr(14), "\xFE" + name);
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name(name)), 4);
}

TEST(dd_add_resource, stores_nothing_of_a_name_of_255_characters)
{
    Filled dict;
    EXPECT_EQ(dict.add(2, 100, 1, 4, std::string(255, 'n'), "body of four"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1).back(), "4 14+0 35+12");
    EXPECT_EQ(names_of(dict, 2, 100, 1).size(), 14u);
    EXPECT_EQ(dict.body(2, 100, 1, 4), "body of four");
    EXPECT_EQ(dd_get_resid(2, 100, 1, Name(std::string(255, 'n'))), 0);
}

TEST(dd_add_resource, grows_the_names_by_their_unit)
{
    OneModule dict;
    EXPECT_EQ(dict.add(2, 100, 7, 1, std::string(40, 'n'), ""), 0u);    // unit 16: two units hold 32 bytes
    EXPECT_EQ(size_of(dict, type_name_block(dict, 2, 100, 7)), 48u);    // (0 + 41) / 16 + 1 units
    EXPECT_EQ(names_of(dict, 2, 100, 7), "\x28" + std::string(40, 'n'));
}

TEST(dd_add_resource, grows_the_body_by_the_name_unit)
{
    OneModule dict;
    // Type 19: names by 64, bodies by 15360 bytes. Two units are 30720.
    EXPECT_EQ(dict.add(2, 100, 19, 1, "one", std::string(40000, 'b')), 0u);
    EXPECT_EQ(size_of(dict, type_body_block(dict, 2, 100, 19)), (40000u / 64 + 1) * 64);
    // Type 9: names by 5120, bodies by 256 bytes. Two units are 512.
    EXPECT_EQ(dict.add(2, 100, 9, 1, "one", std::string(600, 'b')), 0u);
    EXPECT_EQ(size_of(dict, type_body_block(dict, 2, 100, 9)), 5120u);
}

TEST(dd_add_resource, takes_more_slots_when_a_run_is_full)
{
    Filled dict;
    u32 before = size_of(dict, 4);
    for (i16 id = 4; id <= 10; id++) EXPECT_EQ(dict.add(2, 100, 1, id, "n" + std::to_string(id), "b"), 0u);
    EXPECT_EQ(size_of(dict, 4), before);              // ten slots of type 1
    EXPECT_EQ(dict.add(2, 100, 1, 11, "n11", "b"), 0u);
    EXPECT_EQ(size_of(dict, 4), before + 10 * 16);
    EXPECT_EQ(dict.body(2, 100, 5, 1), "body of other");    // the run behind it has moved
}

TEST(dd_add_resource, leaves_a_gap_after_a_failed_body)
{
    Filled dict;
    std::string before = dict.bytes();
    faults_start({ .call = FAULT_WRITE, .nth = 2 });    // the name is the first
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", "body of four"), 1u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(run(dict, 2, 100, 1).size(), 3u);
    EXPECT_EQ(names_of(dict, 2, 100, 1).substr(14), "\4four");                       // inside the used length
    EXPECT_EQ(dict.bytes().substr(0, 26 + 3584), before.substr(0, 26 + 3584));       // nothing is flushed
    EXPECT_EQ(used_of(Crash(dict), type_name_block(dict, 2, 100, 1)), 14u);

    EXPECT_EQ(dict.add(2, 100, 1, 4, "vier", "body of vier"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1).back(), "4 19+5 35+12");                          // behind the gap of 5
    dict.reopen();
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\3one\5three\3two\4four\4vier");
    EXPECT_EQ(dict.body(2, 100, 1, 4), "body of vier");
    EXPECT_EQ(dict.add(2, 100, 1, 5, "four", ""), 0u);                               // nobody has the name
}

TEST(dd_add_resource, leaves_type_and_module_after_a_failure)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(2);
    GHandle dead = handle_of("gone");
    gfree(dead);
    EXPECT_EQ(dd_add_resource(1, 1, 1, 6, Name("six"), dead), 9u);
    EXPECT_EQ(module_find_by_name(dict, 1, Name("Sales Core")), 2 * 16 + 1);
    EXPECT_EQ(run(dict, 1, 33, 1), Lines{});
    EXPECT_NE(type_name_block(dict, 1, 33, 1), 0u);
    EXPECT_EQ(dd_get_owner(dict, 1, 6), -1);
    Crash crash(dict);
    EXPECT_NE(module_find(crash, 1, 33), MODULE_ABSENT);
    EXPECT_EQ(type_name_block(crash, 1, 33, 1), 0u);              // its directory was not written again
}

TEST(dd_add_resource, keeps_its_entry_when_the_directory_cannot_be_written)
{
    Filled dict;
    faults_start({ .call = FAULT_WRITE, .nth = 3 });
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", "body of four"), 1u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.body(2, 100, 1, 4), "body of four");           // in memory
    EXPECT_EQ(run(Crash(dict), 2, 100, 1).size(), 3u);
}

TEST(dd_add_resource, gives_the_status_of_the_flush)
{
    Filled dict;
    faults_start({ .call = FAULT_WRITE, .nth = 4, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", "body of four"), 13u);
    EXPECT_TRUE(faults_stop());
    Crash crash(dict);
    EXPECT_EQ(run(crash, 2, 100, 1).size(), 4u);                  // the directory is on disk, the block table is not
    EXPECT_EQ(used_of(crash, type_body_block(crash, 2, 100, 1)), 35u);
}

TEST(dd_add_resource, goes_by_the_other_selector_for_every_kind)
{
    SlotDictionary dict;
    open_file_1(dict);
    choose(1, 0);
    EXPECT_EQ(dict.add(2, 100, 2, 1, "Mod", ""), 0u);
    EXPECT_EQ(dict.add(1, 10, 52, 1, "table", "body"), 0u);
    EXPECT_EQ(run(dict_file_at(SLOT, 0), 1, 10, 52).size(), 1u);
    EXPECT_EQ(module_find(dict_file_at(SLOT, 1), 1, 10), MODULE_ABSENT);
    choose(0, 1);
    EXPECT_EQ(dict.add(1, 10, 52, 2, "table 2", "body"), 0u);    // of a type that only file 0 is read for
    EXPECT_EQ(run(dict_file_at(SLOT, 1), 1, 10, 52).size(), 1u);
    EXPECT_EQ(dict.body(1, 10, 52, 2), "<status 3>");            // the read looks into file 0
}

TEST(dd_add_resource, is_not_redirected)
{
    SlotDictionary dict;
    EXPECT_EQ(slot_claim(2), 0u);
    slot_set_path(2, 0, dict.dir.name("b.dic"));
    EXPECT_EQ(dict_file_create(slot_path_at(2, 0)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(2, 0), slot_path_at(2, 0), DICT_EXCLUSIVE, 0), 0u);
    DictCookie second = { 2, 0, 0 };
    EXPECT_EQ(ds_setcurdict(&second), 0u);
    set_main_slot(1);
    set_redirect_to_main(1);
    EXPECT_EQ(dict.add(2, 100, 2, 100, "Mod", ""), 0u);
    EXPECT_EQ(dict.add(2, 100, 19, 5, "five", ""), 0u);
    EXPECT_EQ(run(dict_file_at(2, 0), 2, 100, 19).size(), 1u);
    EXPECT_EQ(dict.body(2, 100, 19, 5), "<status 3>");           // read from the main dictionary
}

TEST(dd_add_resource, takes_the_write_lock_around_its_work)
{
    Filled dict(DICT_SHARED);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");    // so that the directory is in memory
    calls_reset();
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", "body of four"), 0u);
    Lines lines = call_lines({ FAULT_LOCK, FAULT_UNLOCK, FAULT_WRITE });
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(lines[0], "lock 999999998+1");
    EXPECT_EQ(lines[1], "lock 1000000001+1000");
    EXPECT_EQ(lines[2], "unlock 999999998+1");
    EXPECT_EQ(lines[7], "write 0+26");                    // the header with the raised count
    EXPECT_EQ(lines[8], "unlock 1000000001+1000");
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
    EXPECT_EQ(change_count_of(dict), 1u);
}

TEST(dd_add_resource, raises_the_change_count_after_any_failure_under_the_lock)
{
    Filled dict(DICT_SHARED);
    EXPECT_EQ(dict.add(2, 100, 1, 0, "four", ""), 19u);
    EXPECT_EQ(change_count_of(dict), 1u);
    EXPECT_EQ(dict.add(2, 100, 1, 1, "four", ""), 2u);
    EXPECT_EQ(change_count_of(dict), 2u);
    EXPECT_EQ(dict.add(2, 999, 1, 1, "four", ""), 3u);
    EXPECT_EQ(change_count_of(dict), 3u);
    faults_start({ .call = FAULT_WRITE, .nth = 1 });
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", ""), 1u);    // a failed name
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(change_count_of(dict), 4u);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_add_resource, gives_21_when_locked_out_and_writes_nothing)
{
    Filled dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_read_lock();    // one reader is enough
    std::string before = dict.bytes();
    clock_virtual_start(0);
    calls_reset();
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", ""), 21u);
    EXPECT_EQ(dict.add(2, 100, 1, 0, "", ""), 21u);       // the lock comes before the name
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.bytes(), before);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_add_resource, keeps_a_lock_that_the_caller_holds)
{
    Filled dict(DICT_SHARED);
    EXPECT_TRUE(write_lock(dict));
    calls_reset();
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", ""), 0u);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), Lines{});
    EXPECT_EQ(change_count_of(dict), 0u);
    EXPECT_EQ(dict->lock_state, LOCK_WRITER);
    EXPECT_EQ(write_unlock(dict), 1u);
}

TEST(dd_add_resource, of_kind_1_raises_the_change_count_once)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", ""), 0u);
    dict.reopen(DICT_SHARED);
    dict.core_table(1);    // a fresh one: in memory only, but its resource is there
    calls_reset();
    EXPECT_EQ(dict.add(1, 1, 1, 6, "six", ""), 0u);
    EXPECT_EQ(change_count_of(dict), 1u);
    EXPECT_EQ(call_lines({ FAULT_UNLOCK }), (Lines{ "unlock 999999998+1", "unlock 1000000001+1000" }));
}

TEST(dd_add_resource, gives_10_in_a_dictionary_that_is_read_only)
{
    Filled dict;
    dict.reopen(DICT_READ_ONLY);
    std::string before = dict.bytes();
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", "body"), 10u);
    EXPECT_EQ(dict.bytes(), before);
    EXPECT_EQ(dict.body(2, 100, 1, 4), "<status 3>");
}

TEST(dd_add_resource, of_two_workstations_are_both_there)
{
    Filled dict(DICT_SHARED);
    OtherStation other(dict);
    EXPECT_EQ(run(other, 2, 100, 1).size(), 3u);
    EXPECT_EQ(dict.add(2, 100, 1, 4, "four", "body of four"), 0u);
    EXPECT_TRUE(write_lock(other));
    EXPECT_EQ(run(other, 2, 100, 1).size(), 4u);    // loaded again
    EXPECT_EQ(write_unlock(other), 1u);
    EXPECT_EQ(dict.add(2, 100, 1, 5, "five", "body of five"), 0u);
    other.leave();
    dict.reopen();
    EXPECT_EQ(run(dict, 2, 100, 1).size(), 5u);
}

// ---- Changing -------------------------------------------------------------------------------------------------------

TEST(dd_change_resource, of_nothing_writes_the_directory)
{
    Filled dict;
    std::string before = dict.bytes();
    calls_reset();
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, nullptr, 0), 0u);
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_READ }), (Lines{ write_of(dict, 4) }));
    EXPECT_EQ(dict.bytes(), before);
}

TEST(dd_change_resource, of_a_name_to_a_longer_one_moves_the_names_behind_it)
{
    Filled dict;
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "number one"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+11 0+11", "2 17+4 24+11", "3 11+6 11+13" }));
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\12number one\5three\3two");
    Crash crash(dict);
    EXPECT_EQ(run(crash, 2, 100, 1), run(dict, 2, 100, 1));
    EXPECT_EQ(names_of(crash, 2, 100, 1), "\12number one\5three\3two");
    EXPECT_EQ(dict.name(2, 100, 5, 1), "other");
}

TEST(dd_change_resource, of_a_name_to_a_shorter_one_closes_up)
{
    Filled dict;
    EXPECT_EQ(dict.change_name(2, 100, 1, 3, "3"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+11", "2 6+4 24+11", "3 4+2 11+13" }));
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\3one\0013\3two");
    EXPECT_EQ(names_of(Crash(dict), 2, 100, 1), "\3one\0013\3two");
}

TEST(dd_change_resource, of_a_name_to_one_as_long_writes_it_alone)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "uno"), 0u);
    EXPECT_EQ(call_lines({ FAULT_WRITE })[0], "write 5856+4");
    EXPECT_EQ(call_counts().write, 3u);    // the name, the directory, the block table
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\3uno\5three\3two");
}

TEST(dd_change_resource, of_a_name_to_the_same_leaves_the_names_alone)
{
    Filled dict;
    std::string before = dict.bytes();
    calls_reset();
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "one"), 0u);
    EXPECT_EQ(call_counts().write, 1u);    // the directory
    EXPECT_EQ(dict.bytes(), before);
}

TEST(dd_change_resource, gives_2_for_the_name_of_another)
{
    Filled dict;
    calls_reset();
    GHandle body = handle_of("new body");
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, Name("two"), body), 2u);
    gfree(body);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");    // the body was not looked at
    EXPECT_EQ(dict.name(2, 100, 1, 1), "one");
}

TEST(dd_change_resource, grows_the_names_by_their_unit)
{
    OneModule dict;
    EXPECT_EQ(dict.add(2, 100, 7, 1, "one", ""), 0u);
    EXPECT_EQ(dict.change_name(2, 100, 7, 1, std::string(40, 'n')), 0u);
    EXPECT_EQ(size_of(dict, type_name_block(dict, 2, 100, 7)), 48u);    // (4 + 41) / 16 + 1 units of 16
}

TEST(dd_change_resource, takes_an_empty_name)
{
    Filled dict;
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, ""), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1)[0], "1 0+1 0+11");
    EXPECT_EQ(names_of(dict, 2, 100, 1), std::string("\0\5three\3two", 11));
    EXPECT_EQ(dict.name(2, 100, 1, 1), "");
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "one"), 0u);
    EXPECT_EQ(dict.name(2, 100, 1, 1), "one");

    // Of 255 characters all are written, but the size of 256 is kept in 8 bits. The next change knows of no old bytes,
    // so these stay as a gap.
    std::string longest(255, 'n');
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, longest), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+0 0+11", "2 262+4 24+11", "3 256+6 11+13" }));
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\xFF" + longest + "\5three\3two");
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "one"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+11", "2 266+4 24+11", "3 260+6 11+13" }));
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\3one\xFF" + longest + "\5three\3two");
    EXPECT_EQ(dict.name(2, 100, 1, 3), "three");
}

TEST(dd_change_resource, of_a_body_to_a_larger_one_moves_the_bodies_behind_it)
{
    Filled dict;
    u32 other = le_get(entry_of(dict, type_body_block(dict, 2, 100, 5)).offset);
    EXPECT_EQ(dict.change_body(2, 100, 1, 1, "a larger body of one"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+20", "2 10+4 33+11", "3 4+6 20+13" }));
    EXPECT_EQ(bodies_of(dict, 2, 100, 1), "a larger body of onebody of threebody of two");
    Crash crash(dict);
    EXPECT_EQ(run(crash, 2, 100, 1), run(dict, 2, 100, 1));
    EXPECT_EQ(bodies_of(crash, 2, 100, 1), bodies_of(dict, 2, 100, 1));
    EXPECT_EQ(le_get(entry_of(dict, type_body_block(dict, 2, 100, 5)).offset), other);
    EXPECT_EQ(run(dict, 2, 100, 5), (Lines{ "1 0+6 0+13" }));
    EXPECT_EQ(dict.body(2, 100, 5, 1), "body of other");
}

TEST(dd_change_resource, of_a_body_to_a_smaller_one_closes_up)
{
    Filled dict;
    EXPECT_EQ(dict.change_body(2, 100, 1, 3, "3"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+11", "2 10+4 12+11", "3 4+6 11+1" }));
    EXPECT_EQ(bodies_of(dict, 2, 100, 1), "body of one3body of two");
    EXPECT_EQ(bodies_of(Crash(dict), 2, 100, 1), "body of one3body of two");
}

TEST(dd_change_resource, of_a_body_to_one_as_large_moves_nothing)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dict.change_body(2, 100, 1, 1, "BODY OF ONE"), 0u);
    EXPECT_EQ(call_lines({ FAULT_WRITE })[0], "write 7904+11");
    EXPECT_EQ(call_counts().write, 3u);
    EXPECT_EQ(call_counts().read, 0u);
    EXPECT_EQ(bodies_of(dict, 2, 100, 1), "BODY OF ONEbody of threebody of two");
}

TEST(dd_change_resource, writes_name_body_directory_and_block_table_in_this_order)
{
    Filled dict;
    calls_reset();
    GHandle body = handle_of("BODY OF ONE!");
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, Name("uno!"), body), 0u);
    gfree(body);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }),
              (Lines{ "read 5856+2048",                      // the names, for the test of the new one
                      "read 5860+10", "write 5861+10",       // those behind move up
                      "write 5856+5",
                      "read 7915+24", "write 7916+24",
                      "write 7904+12", write_of(dict, 4), "write 26+896" }));
}

TEST(dd_change_resource, grows_the_body_by_the_body_unit)
{
    OneModule dict;
    // Type 9: names by 5120, bodies by 256 bytes; two units are 512. The 100 old bytes are not taken off the sum.
    EXPECT_EQ(dict.add(2, 100, 9, 1, "one", std::string(100, 'b')), 0u);
    EXPECT_EQ(dict.change_body(2, 100, 9, 1, std::string(700, 'c')), 0u);
    EXPECT_EQ(size_of(dict, type_body_block(dict, 2, 100, 9)), ((100u + 700) / 256 + 1) * 256);
    EXPECT_EQ(dict.body(2, 100, 9, 1), std::string(700, 'c'));
}

TEST(dd_change_resource, cannot_empty_a_body)
{
    Filled dict;
    EXPECT_EQ(dict.change_body(2, 100, 1, 1, ""), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, nullptr, 0), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    GHandle dead = handle_of("gone");
    gfree(dead);
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, nullptr, dead), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
}

TEST(dd_change_resource, gives_a_body_to_a_resource_without_one)
{
    OneModule dict;
    EXPECT_EQ(dd_add_resource(2, 100, 1, 1, Name("A"), 0), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 2, "B", "body of B"), 0u);
    EXPECT_EQ(dd_add_resource(2, 100, 1, 3, Name("C"), 0), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 4, "D", "body of D"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+2 0+0", "2 2+2 0+9", "3 4+2 9+0", "4 6+2 9+9" }));

    EXPECT_EQ(dict.change_body(2, 100, 1, 1, "new"), 0u);    // in front of B, whose offset was the same
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+2 0+3", "2 2+2 3+9", "3 4+2 12+0", "4 6+2 12+9" }));
    EXPECT_EQ(dict.body(2, 100, 1, 1), "new");
    EXPECT_EQ(dict.body(2, 100, 1, 2), "body of B");
    EXPECT_EQ(dict.change_body(2, 100, 1, 3, "newer"), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 3), "newer");
    EXPECT_EQ(dict.body(2, 100, 1, 4), "body of D");
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 2), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "new");
    EXPECT_EQ(dict.body(2, 100, 1, 3), "newer");
    EXPECT_EQ(dict.body(2, 100, 1, 4), "body of D");
    EXPECT_EQ(bodies_of(Crash(dict), 2, 100, 1), "newnewerbody of D");
}

TEST(dd_change_resource, leaves_bodyless_neighbours_where_they_may_grow)
{
    OneModule dict;
    EXPECT_EQ(dd_add_resource(2, 100, 1, 1, Name("A"), 0), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 2, "B", "body of B"), 0u);
    EXPECT_EQ(dict.change_body(2, 100, 1, 2, "a larger body of B"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+2 0+0", "2 2+2 0+18" }));    // A stays in front of B
    EXPECT_EQ(dict.change_body(2, 100, 1, 1, "of A"), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "of A");
    EXPECT_EQ(dict.body(2, 100, 1, 2), "a larger body of B");
}

TEST(dd_change_resource, gives_a_name_to_a_resource_of_which_none_was_stored)
{
    OneModule dict;
    EXPECT_EQ(dict.add(2, 100, 1, 1, std::string(255, 'A'), "body of A"), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 2, "B", "body of B"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+0 0+9", "2 0+2 9+9" }));
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "name of A"), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+10 0+9", "2 10+2 9+9" }));
    EXPECT_EQ(dict.name(2, 100, 1, 1), "name of A");
    EXPECT_EQ(dict.name(2, 100, 1, 2), "B");
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 0u);
    EXPECT_EQ(dict.name(2, 100, 1, 2), "B");
    EXPECT_EQ(names_of(Crash(dict), 2, 100, 1), "\1B");
}

TEST(dd_change_resource, leaves_the_body_of_the_caller_as_it_was)
{
    Filled dict;
    for (u16 type : std::initializer_list<u16>{ 15, 33, 61 }) {
        EXPECT_EQ(dict.add(2, 100, type, 4, "four", "x"), 0u);
        GHandle body = handle_of("\1\2\3\4 body");
        EXPECT_EQ(dd_change_resource(2, 100, type, 4, nullptr, body), 0u);
        EXPECT_EQ(take(body), "\1\2\3\4 body");
        EXPECT_EQ(dict.body(2, 100, type, 4), "\1\2\3\4 body");
    }
}

TEST(dd_change_resource, gives_3_for_anything_missing)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dict.change_name(2, 100, 1, 4, "four"), 3u);
    EXPECT_EQ(dict.change_name(2, 100, 9, 1, "four"), 3u);
    EXPECT_EQ(dict.change_name(2, 999, 1, 1, "four"), 3u);
    EXPECT_EQ(dict.change_name(3, 100, 1, 1, "four"), 3u);
    EXPECT_EQ(dict.change_name(2, 100, 1, 0, "four"), 3u);
    EXPECT_EQ(dict.change_name(2, 100, 1, -1, "four"), 3u);
    EXPECT_EQ(dd_change_resource(2, 100, 1, 4, nullptr, 0), 3u);
    EXPECT_EQ(call_counts().write, 0u);
}

TEST(dd_change_resource, cuts_the_id_to_16_bits)
{
    Filled dict;
    EXPECT_EQ(dict.change_name(2, 100, 1, 0x10001, "uno"), 0u);
    EXPECT_EQ(dict.name(2, 100, 1, 1), "uno");
}

TEST(dd_change_resource, tells_why_there_is_no_file)
{
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, nullptr, 0), 15u);
    Filled dict;
    choose(0, 7);
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, nullptr, 0), 3u);
    choose(0, 1);
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, nullptr, 0), 7u);
}

TEST(dd_change_resource, of_a_module_renames_it)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 7, "seven", "its own"), 0u);
    EXPECT_EQ(dict.add(2, 8, 2, 8, "eight", ""), 0u);
    EXPECT_EQ(dict.change_name(2, 7, 2, 7, "number seven"), 0u);
    EXPECT_EQ(module_find_by_name(dict, 2, Name("number seven")), 7);
    EXPECT_EQ(names_of(dict, 2, 7, 2), "\14number seven");    // the name in the type's block as well
    EXPECT_EQ(dict.name(2, 8, 2, 8), "eight");
    EXPECT_EQ(dict.body(2, 7, 2, 7), "its own");
    EXPECT_EQ(dict.change_name(2, 7, 2, 7, "eight"), 2u);
    EXPECT_EQ(dict.change_name(2, 7, 2, 7, "number seven"), 0u);
    Crash crash(dict);
    EXPECT_EQ(module_find_by_name(crash, 2, Name("number seven")), 7);
    EXPECT_EQ(module_find_by_name(crash, 2, Name("seven")), 0);
    EXPECT_EQ(names_of(crash, 2, 7, 2), "\14number seven");
}

TEST(dd_change_resource, of_a_module_compares_the_holder_of_the_name_with_the_id)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 8, "seven", ""), 0u);                  // module 7 with the resource 8
    EXPECT_EQ(dict.change_name(2, 7, 2, 8, "seven"), 2u);              // 7 has the name
    EXPECT_EQ(dict.add(2, 8, 2, 8, "eight", ""), 0u);
    EXPECT_EQ(dict.change_name(2, 7, 2, 8, "eight"), 0u);              // 8 has it: unchanged, it seems
    EXPECT_EQ(module_find_by_name(dict, 2, Name("seven")), 7);
}

TEST(dd_change_resource, ignores_a_failed_renaming_of_the_module)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 7, "seven", ""), 0u);
    faults_start({ .call = FAULT_WRITE, .nth = 1 });    // the name of the module
    EXPECT_EQ(dict.change_name(2, 7, 2, 7, "SEVEN"), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(module_find_by_name(dict, 2, Name("SEVEN")), 0);
    EXPECT_EQ(module_find_by_name(dict, 2, Name("seven")), 7);
    EXPECT_EQ(names_of(dict, 2, 7, 2), "\5SEVEN");
}

TEST(dd_change_resource, of_a_module_in_kind_1_gives_3)
{
    SlotDictionary dict;
    dict.module(1, 1, "System Core");
    EXPECT_EQ(resource_add_entry(dict, 1, 1, 2, 1, 0, 0), 0u);    // the resource is there
    EXPECT_EQ(dict.change_name(1, 1, 2, 1, "other"), 3u);
    EXPECT_EQ(dict.change_name(1, 1, 23, 1, "other"), 3u);
    EXPECT_EQ(module_find_by_name(dict, 1, Name("System Core")), 1);
}

TEST(dd_change_resource, finds_a_resource_of_kind_1_by_its_owner)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(4);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);
    (void)dd_choose_owner(0);
    EXPECT_EQ(dict.change_body(1, 1, 1, 5, "another body"), 0u);
    EXPECT_EQ(dict.body(1, 1, 1, 5), "another body");
    EXPECT_EQ(dd_get_owner(dict, 1, 5), 4);    // owners stay as they are
    EXPECT_EQ(core_owner_set(dict, 1, 5, CORE_FREE), 0u);
    EXPECT_EQ(dict.change_body(1, 1, 1, 5, "third"), 3u);
}

TEST(dd_change_resource, of_kind_1_writes_no_owners)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);
    calls_reset();
    EXPECT_EQ(dict.change_body(1, 1, 1, 5, "BODY OF FIVE"), 0u);
    EXPECT_EQ(call_counts().write, 3u);    // the body, the directory, the block table
}

TEST(dd_change_resource, without_an_owner_gives_3_even_in_series_0)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);
    EXPECT_EQ(core_owner_set(dict, 1, 5, CORE_FREE), 0u);
    EXPECT_EQ(dict.change_body(1, 1, 1, 5, "third"), 3u);
    EXPECT_EQ(dict.body(1, 1, 1, 5), "body of five");
}

TEST(dd_change_resource, does_not_see_names_in_lower_series)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(2);
    EXPECT_EQ(dict.add(1, 1, 1, 12, "low", ""), 0u);
    (void)dd_choose_owner(4);
    EXPECT_EQ(dict.add(1, 1, 1, 14, "high", ""), 0u);
    EXPECT_EQ(dict.change_name(1, 1, 1, 12, "high"), 2u);    // a higher series counts
    EXPECT_EQ(dict.change_name(1, 1, 1, 14, "low"), 0u);     // a lower one does not
    EXPECT_EQ(dict.name(1, 1, 1, 12), "low");
    EXPECT_EQ(dict.name(1, 1, 1, 14), "low");
    EXPECT_EQ(dd_get_resid(1, 1, 1, Name("low")), 12);
}

TEST(dd_change_resource, takes_the_write_lock_around_its_work)
{
    Filled dict(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(dict.change_body(2, 100, 1, 1, "BODY OF ONE"), 0u);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }),
              (Lines{ "lock 999999998+1", "lock 1000000001+1000", "unlock 999999998+1", "unlock 1000000001+1000" }));
    EXPECT_EQ(change_count_of(dict), 1u);
    EXPECT_EQ(dict.change_name(2, 100, 1, 1, "two"), 2u);
    EXPECT_EQ(dict.change_name(2, 100, 1, 9, "nine"), 3u);
    EXPECT_EQ(change_count_of(dict), 3u);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_change_resource, gives_21_when_locked_out_and_writes_nothing)
{
    Filled dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    std::string before = dict.bytes();
    clock_virtual_start(0);
    EXPECT_EQ(dict.change_body(2, 100, 1, 1, "BODY OF ONE"), 21u);
    EXPECT_EQ(dict.change_body(2, 100, 1, 9, "BODY OF NINE"), 21u);    // found or not
    EXPECT_EQ(dict.bytes(), before);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_change_resource, takes_nothing_back)
{
    Filled dict;
    faults_start({ .call = FAULT_WRITE, .nth = 3 });    // names move, name, then the bodies behind
    GHandle body = handle_of("a larger body of one");
    EXPECT_EQ(dd_change_resource(2, 100, 1, 1, Name("number one"), body), 1u);
    gfree(body);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.name(2, 100, 1, 1), "number one");    // done in memory and in the bytes
    EXPECT_EQ(dict.name(2, 100, 1, 3), "three");
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    Crash crash(dict);                                    // the old directory over new bytes
    EXPECT_EQ(run(crash, 2, 100, 1)[0], "1 0+4 0+11");
    EXPECT_EQ(names_of(crash, 2, 100, 1).substr(0, 14), "\12number one\5th");
}

TEST(dd_change_resource, without_a_directory_written_flushes_nothing)
{
    Filled dict;
    faults_start({ .call = FAULT_WRITE, .nth = 2 });      // the body, then the directory
    EXPECT_EQ(dict.change_body(2, 100, 1, 2, "another body of two"), 1u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(used_of(Crash(dict), type_body_block(dict, 2, 100, 1)), 35u);
    EXPECT_EQ(used_of(dict, type_body_block(dict, 2, 100, 1)), 43u);
}

TEST(dd_change_resource, of_a_damaged_place_writes_nothing)
{
    Filled dict;
    TypeEntry *type = type_entry(directory_get(dict, 0), 1);
    u32 names = le_get(type->name_block), bodies = le_get(type->body_block);
    std::string before = dict.bytes();
    // A block of another type, the module table and the list of module names.
    for (u32 block : { bodies, 0u, 1u, 2u, 3u, 4u, 257u }) {
        type->name_block = le32(block);
        EXPECT_EQ(dict.change_name(2, 100, 1, 1, "number one"), 3u) << block;
    }
    type->name_block = le32(names);
    for (u32 block : { names, 0u, 1u, 2u, 3u, 4u, 257u }) {
        type->body_block = le32(block);
        EXPECT_EQ(dict.change_body(2, 100, 1, 1, "a larger body"), 3u) << block;
        EXPECT_EQ(dd_remove_resource(2, 100, 5, 2), 3u);
    }
    type->body_block = le32(bodies);
    ResourceEntry *entry = resource_entry(dict, 0, 1, 1, nullptr, nullptr);
    for (i32 offset : { -1, 36, INT_MAX, INT_MIN }) {
        entry->body_offset = le_i32(offset);
        EXPECT_EQ(dict.change_body(2, 100, 1, 1, "a larger body"), 1u) << offset;
    }
    EXPECT_EQ(dict.bytes(), before);
}

TEST(dd_change_resource, of_a_block_behind_the_end_of_the_file_gives_12_and_stretches_nothing)
{
    Filled dict;
    u32 size = (u32)dict.bytes().size();
    for (u32 block : { type_name_block(dict, 2, 100, 1), type_body_block(dict, 2, 100, 1) }) {
        BlockEntry sound = entry_of(dict, block), entry = sound;
        entry.offset = le32(0x40000000);
        EXPECT_EQ(block_write_entry(dict, block - 1, &entry), 0u);
        GHandle body = handle_of("a larger body of one");
        EXPECT_EQ(dd_change_resource(2, 100, 1, 1, block == 5 ? Name("number one").text : nullptr, body), 12u);
        EXPECT_EQ(dd_add_resource(2, 100, 1, 4, Name("four"), body), 12u);
        gfree(body);
        EXPECT_EQ(dd_remove_resource(2, 100, 1, 2), 12u);
        EXPECT_EQ(block_write_entry(dict, block - 1, &sound), 0u);
    }
    EXPECT_EQ(dict.bytes().size(), size);
}

// ---- Removing -------------------------------------------------------------------------------------------------------

TEST(dd_remove_resource, closes_the_gap_in_names_and_bodies)
{
    Filled dict;
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "2 6+4 13+11", "3 0+6 0+13" }));
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\5three\3two");
    EXPECT_EQ(bodies_of(dict, 2, 100, 1), "body of threebody of two");    // no stale copy in the used length
    Crash crash(dict);
    EXPECT_EQ(run(crash, 2, 100, 1), run(dict, 2, 100, 1));
    EXPECT_EQ(names_of(crash, 2, 100, 1), "\5three\3two");
    EXPECT_EQ(bodies_of(crash, 2, 100, 1), "body of threebody of two");
    EXPECT_EQ(dict.body(2, 100, 5, 1), "body of other");
    EXPECT_EQ(dict.body(2, 100, 1, 1), "<status 3>");
}

TEST(dd_remove_resource, writes_names_bodies_directory_and_block_table_in_this_order)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 0u);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }),
              (Lines{ "read 5860+10", "write 5856+10", "read 7915+24", "write 7904+24", write_of(dict, 4),
                      "write 26+896" }));
}

TEST(dd_remove_resource, of_the_one_at_the_end_moves_nothing)
{
    Filled dict;
    calls_reset();
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 2), 0u);    // added last
    EXPECT_EQ(call_counts().read, 0u);
    EXPECT_EQ(call_counts().write, 2u);                 // the directory and the block table
    EXPECT_EQ(run(dict, 2, 100, 1), (Lines{ "1 0+4 0+11", "3 4+6 11+13" }));
    EXPECT_EQ(used_of(dict, type_name_block(dict, 2, 100, 1)), 10u);
    EXPECT_EQ(used_of(dict, type_body_block(dict, 2, 100, 1)), 24u);
}

TEST(dd_remove_resource, of_the_last_one_keeps_the_type)
{
    Filled dict;
    u32 names = type_name_block(dict, 2, 100, 5), bodies = type_body_block(dict, 2, 100, 5);
    u32 free_entries = le_get(dict->header.free_entries);
    EXPECT_EQ(dd_remove_resource(2, 100, 5, 1), 0u);
    EXPECT_EQ(type_name_block(dict, 2, 100, 5), names);
    EXPECT_EQ(type_body_block(dict, 2, 100, 5), bodies);
    EXPECT_EQ(dd_numresources(2, 100, 5), 0);
    u32 size = (u32)dict.bytes().size();
    EXPECT_EQ(dict.add(2, 100, 5, 2, "again", "body"), 0u);
    EXPECT_EQ(le_get(dict->header.free_entries), free_entries);
    EXPECT_EQ(dict.bytes().size(), size);
    EXPECT_EQ(type_name_block(dict, 2, 100, 5), names);
}

TEST(dd_remove_resource, of_what_is_missing_gives_3_and_writes_nothing)
{
    Filled dict;
    std::string before = dict.bytes();
    calls_reset();
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 4), 3u);    // the type is there
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 0), 3u);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, -1), 3u);
    EXPECT_EQ(dd_remove_resource(2, 100, 9, 1), 3u);
    EXPECT_EQ(dd_remove_resource(2, 999, 1, 1), 3u);
    EXPECT_EQ(dd_remove_resource(7, 100, 1, 1), 3u);
    EXPECT_EQ(dd_remove_resource(1, 1, 1, 1), 3u);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.bytes(), before);
    EXPECT_EQ(run(dict, 2, 100, 1).size(), 3u);
}

TEST(dd_remove_resource, cuts_the_id_to_16_bits)
{
    Filled dict;
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 0x10003), 0u);
    EXPECT_EQ(dict.body(2, 100, 1, 3), "<status 3>");
}

TEST(dd_remove_resource, tells_why_there_is_no_file)
{
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 15u);
    Filled dict;
    choose(0, 7);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 3u);
    choose(0, 1);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 7u);
}

TEST(dd_remove_resource, of_a_resource_without_a_body_removes_its_name)
{
    Filled dict;
    EXPECT_EQ(dd_add_resource(2, 100, 1, 4, Name("four"), 0), 0u);
    EXPECT_EQ(dict.add(2, 100, 1, 5, "five", "body of five"), 0u);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 4), 0u);
    EXPECT_EQ(run(dict, 2, 100, 1).back(), "5 14+5 35+12");
    EXPECT_EQ(dict.name(2, 100, 1, 5), "five");
    EXPECT_EQ(dict.body(2, 100, 1, 5), "body of five");
}

TEST(dd_remove_resource, of_a_module_ignores_the_module_argument)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 7, "seven", "its own"), 0u);
    EXPECT_EQ(dict.add(2, 8, 2, 8, "eight", ""), 0u);
    EXPECT_EQ(dict.add(2, 7, 1, 1, "one", "body"), 0u);
    u32 free_entries = le_get(dict->header.free_entries);
    EXPECT_EQ(dd_remove_resource(2, 8, 2, 7), 0u);
    EXPECT_EQ(le_get(dict->header.free_entries), free_entries + 5);    // the directory and the blocks of two types
    EXPECT_EQ(dict.body(2, 7, 1, 1), "<status 3>");
    EXPECT_EQ(dict.name(2, 8, 2, 8), "eight");
    Crash crash(dict);
    EXPECT_EQ(module_count(crash, 2), 1);
    EXPECT_EQ(module_at(crash, 2, 1), 8);
    EXPECT_EQ(le_get(crash->header.free_entries), free_entries + 5);
    EXPECT_EQ(dd_remove_resource(2, 123456, 23, 8), 0u);               // type 23 does the same
    EXPECT_EQ(dd_numresources(2, 0, 2), 0);
}

TEST(dd_remove_resource, of_an_unknown_module_gives_3)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 40000, 2, 7, "large", ""), 0u);
    for (u16 type : std::initializer_list<u16>{ 2, 23 }) {
        EXPECT_EQ(dd_remove_resource(2, 0, type, 8), 3u);
        EXPECT_EQ(dd_remove_resource(3, 0, type, 40000), 3u);
        EXPECT_EQ(dd_remove_resource(2, 0, type, 40000), 3u);          // negative in 16 bits
    }
    EXPECT_EQ(dd_numresources(2, 0, 2), 1);
}

TEST(dd_remove_resource, of_a_module_works_in_kind_1)
{
    SlotDictionary dict;
    dict.module(1, 17, "Financial Core");
    EXPECT_EQ(dd_remove_resource(1, 0, 2, 17), 0u);
    EXPECT_EQ(dd_numresources(1, 0, 2), 0);
}

TEST(dd_remove_resource, of_kind_1_frees_the_identifier)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(4);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);
    (void)dd_choose_owner(0);
    calls_reset();
    EXPECT_EQ(dd_remove_resource(1, 1, 1, 5), 0u);
    EXPECT_EQ(dd_get_owner(dict, 1, 5), -1);
    EXPECT_EQ(dd_numresources(1, 1, 1), 0);
    EXPECT_EQ(run(dict, 1, 4 * 16 + 1, 1), Lines{});

    // The directory, then the owners with the block table; nothing is left for the last flush.
    u32 series = module_directory_block(dict, module_find(dict, 1, 65));
    u32 tables = module_directory_block(dict, module_find(dict, 1, 10));
    u32 table = le_get(entry_of(dict, type_body_block(dict, 1, 10, 52)).offset);
    EXPECT_EQ(call_lines({ FAULT_WRITE }),
              (Lines{ write_of(dict, series), "write " + std::to_string(table) + "+34", write_of(dict, tables),
                      "write 26+896" }));
    Crash crash(dict);
    EXPECT_EQ(u32_at(bodies_of(crash, 1, 10, 52), 4), 20u);    // all free again
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "again"), 0u);
}

TEST(dd_remove_resource, of_kind_1_gives_the_status_of_the_owners)
{
    SlotDictionary dict;
    dict.core_table(1);    // its resource is missing
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 3u);
    EXPECT_EQ(dict.add(1, 1, 1, 6, "six", "body of six"), 3u);
    EXPECT_EQ(block_table_flush(dict), 0u);
    calls_reset();
    EXPECT_EQ(dd_remove_resource(1, 1, 1, 6), 3u);
    EXPECT_EQ(run(dict, 1, 1, 1).size(), 1u);             // all the same it is gone,
    EXPECT_EQ(dd_get_owner(dict, 1, 6), -1);
    EXPECT_EQ(call_counts().write, 1u);                   // but only the directory was written
}

TEST(dd_remove_resource, without_an_owner_gives_3_and_removes_nothing)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", "body of five"), 0u);
    EXPECT_EQ(core_owner_set(dict, 1, 5, CORE_FREE), 0u);
    calls_reset();
    EXPECT_EQ(dd_remove_resource(1, 1, 1, 5), 3u);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(dict.body(1, 1, 1, 5), "body of five");
    EXPECT_EQ(dd_remove_resource(1, 1, 1, 6), 3u);        // nor is that one there
}

TEST(dd_remove_resource, gives_3_when_locked_out_and_missing)
{
    Filled dict(DICT_SHARED);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    OtherStation other(dict);
    other.hold_write_lock();
    std::string before = dict.bytes();
    clock_virtual_start(0);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 4), 3u);
    EXPECT_EQ(dd_remove_resource(2, 100, 9, 4), 3u);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 21u);
    EXPECT_EQ(dict.bytes(), before);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
    other.leave();
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
}

TEST(dd_remove_resource, of_a_module_when_locked_out_deletes_nothing)
{
    SlotDictionary dict;
    EXPECT_EQ(dict.add(2, 7, 2, 7, "seven", ""), 0u);
    dict.reopen(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    EXPECT_EQ(dd_remove_resource(2, 7, 2, 7), 21u);    // as the resource 7 of module 7
    EXPECT_EQ(dd_remove_resource(2, 0, 2, 7), 3u);     // there is no module 0
    other.leave();
    EXPECT_EQ(dd_numresources(2, 0, 2), 1);
    EXPECT_EQ(dict.name(2, 7, 2, 7), "seven");
}

TEST(dd_remove_resource, of_kind_1_when_locked_out_tells_the_missing_owner)
{
    SlotDictionary dict;
    dict.module(1, 1, "System Core");
    EXPECT_EQ(resource_add_entry(dict, 1, 1, 1, 5, 0, 0), 0u);
    EXPECT_EQ(directory_save(dict, 1, 1), 0u);
    dict.reopen(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    EXPECT_EQ(dd_remove_resource(1, 1, 1, 5), 3u);     // found, without an owner: its 3 has replaced the 21
}

TEST(dd_remove_resource, takes_the_write_lock_around_its_work)
{
    Filled dict(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 0u);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }),
              (Lines{ "lock 999999998+1", "lock 1000000001+1000", "unlock 999999998+1", "unlock 1000000001+1000" }));
    EXPECT_EQ(change_count_of(dict), 1u);
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 3u);
    EXPECT_EQ(dd_remove_resource(2, 100, 2, 1), 3u);
    EXPECT_EQ(change_count_of(dict), 3u);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_remove_resource, of_a_read_only_dictionary_changes_memory)
{
    Filled dict;
    dict.reopen(DICT_READ_ONLY);
    std::string before = dict.bytes();
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 10u);        // the names behind it cannot be moved
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 2), 10u);        // nothing moves; the directory is the first write
    EXPECT_EQ(dict.body(2, 100, 1, 2), "<status 3>");        // in memory it is gone
    EXPECT_EQ(dict.bytes(), before);
    dict.reopen();
    EXPECT_EQ(dict.body(2, 100, 1, 2), "body of two");
}

TEST(dd_remove_resource, takes_nothing_back)
{
    Filled dict;
    faults_start({ .call = FAULT_WRITE, .nth = 2 });         // the names have moved, the bodies have not
    EXPECT_EQ(dd_remove_resource(2, 100, 1, 1), 1u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(names_of(dict, 2, 100, 1), "\5three\3two");
    EXPECT_EQ(dict.name(2, 100, 1, 3), "three");
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    EXPECT_EQ(run(dict, 2, 100, 1).size(), 3u);
}

// ---- What only the engine writes ------------------------------------------------------------------------------------

TEST(dd_set_resource_flags, stores_the_flags)
{
    Filled dict;
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 3, 0xA5), 0u);
    Crash crash(dict);
    EXPECT_EQ(resource_entry(crash, 0, 1, 3, nullptr, nullptr)->flags, 0xA5);
    EXPECT_EQ(resource_entry(crash, 0, 1, 1, nullptr, nullptr)->flags, 0);
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 0x10001, 7), 0u);    // the id in 16 bits
    EXPECT_EQ(resource_entry(dict, 0, 1, 1, nullptr, nullptr)->flags, 7);
    EXPECT_EQ(dict.body(2, 100, 1, 3), "body of three");            // nothing interprets them
}

TEST(dd_set_resource_flags, takes_no_lock_and_flushes_nothing)
{
    Filled dict(DICT_SHARED);
    EXPECT_EQ(dict.body(2, 100, 1, 1), "body of one");
    BlockEntry entry = entry_of(dict, 5);
    EXPECT_EQ(block_write_entry(dict, 4, &entry), 0u);              // a page that would have to be flushed
    calls_reset();
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 3, 1), 0u);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK, FAULT_WRITE }),
              (Lines{ write_of(dict, 4) }));
    EXPECT_EQ(change_count_of(dict), 0u);
}

TEST(dd_set_resource_flags, gives_3_for_anything_missing)
{
    Filled dict;
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 4, 1), 3u);
    EXPECT_EQ(dd_set_resource_flags(2, 100, 9, 1, 1), 3u);
    EXPECT_EQ(dd_set_resource_flags(2, 999, 1, 1, 1), 3u);
    EXPECT_EQ(dd_set_resource_flags(1, 1, 1, 1, 1), 3u);    // no owner
}

TEST(dd_set_resource_flags, finds_a_resource_of_kind_1_by_its_owner)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    (void)dd_choose_owner(4);
    EXPECT_EQ(dict.add(1, 1, 1, 5, "five", ""), 0u);
    EXPECT_EQ(dd_set_resource_flags(1, 1, 1, 5, 9), 0u);
    EXPECT_EQ(resource_entry(dict, module_find(dict, 1, 65), 1, 5, nullptr, nullptr)->flags, 9);
}

TEST(dd_set_resource_flags, goes_by_the_other_selector)
{
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 1, 1), 15u);
    Filled dict;
    choose(0, 1);
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 1, 1), 7u);
    choose(1, 0);
    EXPECT_EQ(dd_set_resource_flags(2, 100, 1, 1, 1), 0u);
}

TEST(core_table_write, puts_the_table_back_as_its_resource)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    dict.stored_core_table(1, 1);
    dict.stored_core_table(1, 2);
    for (i32 range = 0; range < CORE_RANGES; range++) {
        core_owners(core_table_at(dict, 1, range))[3] = 5;
        EXPECT_EQ(core_table_write(dict, 1, range), 0u);
        EXPECT_EQ(bodies_of(dict, 1, 10, (i16)(52 + range))[12 + 3], 5);
        ASSERT_NE(core_table_at(dict, 1, range), nullptr);          // attached again
        EXPECT_EQ(core_owners(core_table_at(dict, 1, range))[3], 5);
    }
    EXPECT_EQ(names_of(dict, 1, 10, 52), "\11table 1/0");           // the name stays
}

TEST(core_table_write, of_an_absent_table_does_nothing)
{
    SlotDictionary dict;
    calls_reset();
    EXPECT_EQ(core_table_write(dict, 1, 0), 0u);
    dict.core_table(2);
    EXPECT_EQ(core_table_write(dict, 1, 0), 0u);
    EXPECT_EQ(core_table_write(dict, 0, 0), 0u);
    EXPECT_EQ(core_table_write(dict, 65, 0), 0u);
    EXPECT_EQ(core_table_write(dict, 1, 3), 0u);
    EXPECT_EQ(call_counts().write, 0u);
}

TEST(core_table_write, of_a_borrowed_table_does_nothing)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    open_file_1(dict);
    DictFile *borrower = dict_file_at(SLOT, 1);
    EXPECT_EQ(core_tables_init(borrower), 0u);
    core_table_borrow(borrower, 1, 0, core_table_at(dict, 1, 0));
    calls_reset();
    EXPECT_EQ(core_table_write(borrower, 1, 0), 0u);
    EXPECT_EQ(call_counts().write, 0u);
}

TEST(core_table_write, gives_3_without_the_resource_and_keeps_the_table)
{
    SlotDictionary dict;
    dict.core_table(1);
    EXPECT_EQ(core_table_write(dict, 1, 0), 3u);
    EXPECT_NE(core_table_at(dict, 1, 0), nullptr);
}

TEST(core_table_write, writes_to_the_current_dictionary)
{
    SlotDictionary dict;
    dict.stored_core_table(1);
    open_file_1(dict);
    DictFile *other = dict_file_at(SLOT, 1);
    EXPECT_EQ(core_tables_init(other), 0u);
    std::string table = bytes_of(dict->core_tables[1].handles[0]);
    table[12 + 7] = 3;
    core_table_attach(other, 1, 0, handle_of(table));
    EXPECT_EQ(core_table_write(other, 1, 0), 0u);
    EXPECT_EQ(bodies_of(dict, 1, 10, 52), table);    // into file 0, which is current
    EXPECT_EQ(module_find(other, 1, 10), MODULE_ABSENT);
}

} // namespace
} // namespace zuk
