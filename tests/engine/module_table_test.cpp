#include "engine/module_table.h"

#include "engine/directory.h"
#include "engine/resources.h"
#include "foundation/handles.h"
#include "tests/engine/outcomes.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <climits>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

// Where a new file has its first blocks, and where the fourth begins.
constexpr u32 TABLE_AT = 3610;    // the module table, 808 bytes
constexpr u32 LIST_AT = 4418;     // the module name list, 512 bytes
constexpr u32 NEW_FILE = 4930;
constexpr u32 KIND_2_BYTES = 926; // the directory of a module of kind 2, and 894 for kind 3, 8254 for kind 1
constexpr u32 KIND_3_BYTES = 894;

// ---- Bytes ----------------------------------------------------------------------------------------------------------

std::string le(i64 value, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; i++) text += (char)(u8)(value >> 8 * i);
    return text;
}

std::string zeros(size_t count) { return std::string(count, '\0'); }

std::string entry_bytes(i32 kind, i32 module, u32 directory_block, i32 name_offset, i32 name_size)
{
    return le(kind, 2) + le(module, 4) + le(directory_block, 4) + le(name_offset, 4) + le(name_size, 2);
}

std::string stored(const std::string &name) { return (char)(u8)name.size() + name; }

std::string part(const std::string &bytes, size_t offset, size_t count)
{
    return offset < bytes.size() ? bytes.substr(offset, count) : "";
}

void patch(std::string *bytes, size_t offset, const std::string &with)
{
    ASSERT_LE(offset + with.size(), bytes->size());
    bytes->replace(offset, with.size(), with);
}

std::string table_bytes(DictFile *file)
{
    return std::string((const char *)file->module_table, (size_t)gsize(file->module_table_handle));
}

std::string row(const BlockEntry &entry)
{
    return std::to_string(le_get(entry.type)) + ": " + std::to_string(le_get(entry.offset)) + " " +
           std::to_string(le_get(entry.size)) + " " + std::to_string(le_get(entry.free));
}

// ---- Modules to start from ------------------------------------------------------------------------------------------

void make(DictFile *file, i32 kind, i32 module, const std::string &name)
{
    EXPECT_EQ(module_create(file, kind, module, Name(name)), (DictStatus)DICT_OK) << name;
}

// Modules "Mod1" to "Mod<count>" of kind 2, numbered from 1.
void make_many(DictFile *file, i32 from, i32 to, i32 kind = 2)
{
    for (i32 i = from; i <= to; i++) make(file, kind, i, "Mod" + std::to_string(i));
}

// A directory for module 100 of kind 2, to be registered.
u32 new_directory(DictFile *file, i32 module = 100)
{
    DictStatus status;
    u32 block = directory_new(file, 2, module, &status);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    return block;
}

std::string name_at(DictFile *file, i16 index)
{
    Name out("?");
    DictStatus status = module_read_name(file, index, out);
    return status ? "<status " + std::to_string(status) + ">" : out.str();
}

// "2/100 Mod" for each module, in the order of the table.
std::vector<std::string> modules_of(DictFile *file)
{
    std::vector<std::string> lines;
    for (i16 i = 0; const ModuleEntry *entry = module_entry(file, i); i++) {
        lines.push_back(std::to_string(le_get(entry->kind)) + "/" + std::to_string(le_get(entry->module)) + " " +
                        name_at(file, i));
    }
    return lines;
}

using Lines = std::vector<std::string>;

bool is_usable_for_all(DictFile *file, i16 index)
{
    const ModuleDirectory *directory = directory_get(file, index);
    return directory && directory_size(directory) <= gsize(directory_get_handle(file, index));
}

// Every operation that only looks, with the coordinates that tests use and some that nobody has.
void look_everywhere(DictFile *file)
{
    for (i32 kind : { 0, 1, 2, 3, 4 }) {
        (void)module_count(file, kind);
        (void)module_next_id(file, kind);
        (void)module_next_local_id(file, kind);
        for (const char *name : { "", "Mod1", "First", "none of this name" }) {
            (void)module_find_by_name(file, kind, Name(name));
        }
        for (i32 module : { -1, 0, 1, 10, 100, INT_MAX }) {
            (void)module_at(file, kind, module);
            (void)module_position(file, kind, module);
            i16 index = module_find(file, kind, module);
            i16 position = module_insert_pos(file, kind, module);
            EXPECT_EQ(index == MODULE_ABSENT, position != -1);
            (void)module_entry(file, index);
            (void)module_directory_block(file, index);
            (void)name_at(file, index);
            (void)is_usable_for_all(file, index);
        }
    }
    (void)modules_of(file);
}

// Bounds of identifiers as a test needs them.
struct LowestId {
    i16 before = lowest_id;
    explicit LowestId(i16 value) { lowest_id = value; }
    ~LowestId() { lowest_id = before; }
};

// ---- All there is ---------------------------------------------------------------------------------------------------

TEST(module_table, has_every_operation)
{
    const void *const operations[] = {
        (const void *)module_compare, (const void *)module_find, (const void *)module_insert_pos,
        (const void *)module_count, (const void *)module_at, (const void *)module_position,
        (const void *)module_find_by_name, (const void *)module_next_id, (const void *)module_next_local_id,
        (const void *)module_entry, (const void *)module_directory_block, (const void *)module_name_location,
        (const void *)module_read_name, (const void *)module_create, (const void *)module_register,
        (const void *)module_unregister, (const void *)module_delete, (const void *)module_rename,
        (const void *)module_default_name, (const void *)module_core_name, (const void *)module_table_load,
        (const void *)module_table_release, (const void *)module_table_write, (const void *)directory_new,
        (const void *)directory_get, (const void *)directory_get_handle, (const void *)directory_attach,
        (const void *)directory_drop, (const void *)directory_load, (const void *)directory_extend,
        (const void *)directory_write, (const void *)directory_save,
    };
    std::set<const void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

TEST(module_table, that_is_not_there_reads_as_empty)
{
    DictFile nothing = {};
    look_everywhere(&nothing);
    EXPECT_EQ(module_find(&nothing, 2, 100), MODULE_ABSENT);
    EXPECT_EQ(module_insert_pos(&nothing, 2, 100), 0);
    EXPECT_EQ(module_entry(&nothing, 0), nullptr);
    EXPECT_EQ(module_count(&nothing, 2), 0);
    EXPECT_EQ(module_create(&nothing, 2, 100, Name("Mod")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_register(&nothing, 2, 100, 4, Name("Mod")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_unregister(&nothing, 2, 100), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_rename(&nothing, 2, 100, Name("Mod")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_delete(&nothing, 2, 100), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_table_write(&nothing), (DictStatus)DICT_NOT_FOUND);
    module_table_release(&nothing);
}

// ---- Finding --------------------------------------------------------------------------------------------------------

TEST(module_compare, orders_by_kind_and_then_by_number_as_signed_numbers)
{
    const struct {
        i32 key_kind, key_module, kind, module, order;
    } rows[] = {
        { 2, 100, 2, 100, 0 },
        { 2, 100, 2, 101, -1 },         // the entry sorts behind the key
        { 2, 101, 2, 100, 1 },
        { 1, 999, 2, 1, -1 },           // the kind counts first
        { 3, 1, 2, 999, 1 },
        { 2, -1, 2, 0, -1 },
        { 2, INT_MIN, 2, INT_MAX, -1 }, // no difference is taken, which would overflow
        { 2, INT_MAX, 2, INT_MIN, 1 },
        { INT_MIN, 5, INT_MAX, 4, -1 },
        { -1, 5, 1, 5, -1 },
    };
    for (const auto &r : rows) {
        EXPECT_EQ(module_compare(r.key_kind, r.key_module, r.kind, r.module), r.order)
            << r.key_kind << "/" << r.key_module << " " << r.kind << "/" << r.module;
    }
}

TEST(module_find, gives_0xFFFF_for_an_empty_table)
{
    BareDictionary bare;
    EXPECT_EQ((u16)module_find(bare, 2, 100), 0xFFFF);
}

TEST(module_find, gives_the_index_of_each_of_many)
{
    BareDictionary bare;
    // Made in an order that is not that of the table.
    const i32 made[][2] = { { 3, 5 }, { 2, 100 }, { 1, 17 }, { 2, -7 }, { 2, 70000 }, { 1, 2 }, { 3, -70000 } };
    for (const auto &m : made) make(bare, m[0], m[1], "Mod" + std::to_string(m[1]));
    const i32 sorted[][2] = { { 1, 2 }, { 1, 17 }, { 2, -7 }, { 2, 100 }, { 2, 70000 }, { 3, -70000 }, { 3, 5 } };
    for (i16 i = 0; i < 7; i++) EXPECT_EQ(module_find(bare, sorted[i][0], sorted[i][1]), i);
    EXPECT_EQ(le_get(bare->module_table->module_count), 7);
}

TEST(module_find, gives_0xFFFF_for_an_absent_module)
{
    BareDictionary bare;
    make(bare, 2, 100, "a");
    make(bare, 2, 102, "b");
    for (i32 module : { INT_MIN, 99, 101, 103, INT_MAX }) EXPECT_EQ((u16)module_find(bare, 2, module), 0xFFFF);
    EXPECT_EQ((u16)module_find(bare, 1, 100), 0xFFFF);
    EXPECT_EQ((u16)module_find(bare, 3, 100), 0xFFFF);
    EXPECT_EQ((u16)module_find(bare, 65538, 100), 0xFFFF);  // 2 in its low 16 bits
}

TEST(module_insert_pos, gives_0_for_an_empty_table)
{
    BareDictionary bare;
    EXPECT_EQ(module_insert_pos(bare, 2, 100), 0);
}

TEST(module_insert_pos, gives_the_place_among_the_others_and_minus_1_for_one_that_exists)
{
    BareDictionary bare;
    make(bare, 2, 100, "a");
    make(bare, 2, 102, "b");
    make(bare, 3, 1, "c");
    EXPECT_EQ(module_insert_pos(bare, 1, 500), 0);
    EXPECT_EQ(module_insert_pos(bare, 2, 99), 0);
    EXPECT_EQ(module_insert_pos(bare, 2, 100), -1);
    EXPECT_EQ(module_insert_pos(bare, 2, 101), 1);
    EXPECT_EQ(module_insert_pos(bare, 2, 102), -1);
    EXPECT_EQ(module_insert_pos(bare, 2, 103), 2);
    EXPECT_EQ(module_insert_pos(bare, 3, 0), 2);
    EXPECT_EQ(module_insert_pos(bare, 3, 1), -1);
    EXPECT_EQ(module_insert_pos(bare, 3, 2), 3);
}

TEST(module_count, counts_the_modules_of_a_kind)
{
    BareDictionary bare;
    for (i32 kind = 0; kind < 5; kind++) EXPECT_EQ(module_count(bare, kind), 0);
    make(bare, 1, 1, "a");
    make(bare, 3, 1, "b");
    make(bare, 3, 2, "c");
    EXPECT_EQ(module_count(bare, 1), 1);
    EXPECT_EQ(module_count(bare, 2), 0);
    EXPECT_EQ(module_count(bare, 3), 2);
    EXPECT_EQ(module_count(bare, 4), 0);
}

TEST(module_at, gives_the_number_at_a_position_within_the_kind)
{
    BareDictionary bare;
    make(bare, 1, 33, "a");
    make(bare, 2, 200, "b");
    make(bare, 2, -5, "c");
    make(bare, 3, 7, "d");
    EXPECT_EQ(module_at(bare, 1, 1), 33);
    EXPECT_EQ(module_at(bare, 2, 1), -5);
    EXPECT_EQ(module_at(bare, 2, 2), 200);
    EXPECT_EQ(module_at(bare, 3, 1), 7);
}

TEST(module_at, gives_0_beyond_the_end_of_the_kind)
{
    BareDictionary bare;
    EXPECT_EQ(module_at(bare, 2, 1), 0);
    make(bare, 2, 200, "b");
    make(bare, 3, 7, "d");
    EXPECT_EQ(module_at(bare, 2, 2), 0);  // an entry of kind 3 stands there
    EXPECT_EQ(module_at(bare, 3, 2), 0);
    EXPECT_EQ(module_at(bare, 3, INT_MAX), 0);
    EXPECT_EQ(module_at(bare, 1, 1), 0);
}

TEST(module_at, gives_0_below_position_1)
{
    BareDictionary bare;
    make(bare, 2, 200, "b");
    make(bare, 3, 7, "d");
    for (i32 position : { 0, -1, -5, INT_MIN }) {
        EXPECT_EQ(module_at(bare, 2, position), 0);
        EXPECT_EQ(module_at(bare, 3, position), 0);  // an entry of kind 2 stands in front
    }
}

TEST(module_at, does_not_tell_module_0_from_none)
{
    BareDictionary bare;
    make(bare, 2, 1, "a");
    make(bare, 3, 0, "b");
    EXPECT_EQ(module_at(bare, 3, 1), 0);
    EXPECT_EQ(module_count(bare, 3), 1);
    EXPECT_EQ(module_position(bare, 3, 0), 0);  // by index it would be 1
    EXPECT_EQ(module_find_by_name(bare, 3, Name("b")), 0);
    EXPECT_EQ(module_find(bare, 3, 0), 1);
}

TEST(module_position, of_a_neighbour_of_module_0_counts_it)
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 1, 1, Name("in front")), (DictStatus)DICT_OK);
    EXPECT_EQ(module_create(bare, 2, 0, Name("zero")), (DictStatus)DICT_OK);
    EXPECT_EQ(module_create(bare, 2, 5, Name("five")), (DictStatus)DICT_OK);
    EXPECT_EQ(module_position(bare, 2, 5), 2);
    EXPECT_EQ(module_position(bare, 2, 0), 0);
}

TEST(module_position, is_0_for_the_kind_that_begins_the_table)
{
    BareDictionary bare;
    make_many(bare, 1, 3);
    for (i32 module = 1; module <= 3; module++) EXPECT_EQ(module_position(bare, 2, module), 0);
    EXPECT_EQ(module_position(bare, 2, 9), 0);  // absent ones too
    make(bare, 1, 1, "in front");
    EXPECT_EQ(module_position(bare, 1, 1), 0);
    for (i16 module = 1; module <= 3; module++) EXPECT_EQ(module_position(bare, 2, module), module);
}

TEST(module_position, is_the_position_within_a_higher_kind)
{
    BareDictionary bare;
    make(bare, 1, 1, "a");
    make(bare, 1, 2, "b");
    make(bare, 2, 50, "c");
    make(bare, 2, 60, "d");
    make(bare, 3, 50, "e");
    EXPECT_EQ(module_position(bare, 2, 50), 1);
    EXPECT_EQ(module_position(bare, 2, 60), 2);
    EXPECT_EQ(module_position(bare, 3, 50), 1);
}

TEST(module_position, is_0_for_a_kind_without_modules)
{
    BareDictionary bare;
    EXPECT_EQ(module_position(bare, 2, 1), 0);
    make(bare, 1, 1, "a");
    EXPECT_EQ(module_position(bare, 2, 1), 0);
}

TEST(module_position, is_minus_the_first_index_when_absent)
{
    BareDictionary bare;
    make(bare, 1, 1, "a");
    make(bare, 2, 50, "b");
    EXPECT_EQ(module_position(bare, 2, 51), -1);  // the kind begins at index 1
    make(bare, 1, 2, "c");
    make(bare, 1, 3, "d");
    EXPECT_EQ(module_position(bare, 2, 51), -3);
}

TEST(module_next_id, gives_the_base_in_a_file_without_modules)
{
    LowestId base(22000);
    BareDictionary bare;
    for (i32 kind : { 1, 2, 3 }) EXPECT_EQ(module_next_id(bare, kind), 22000);
}

TEST(module_next_id, gives_the_base_in_a_file_with_one_module)
{
    LowestId base(22000);
    BareDictionary bare;
    make(bare, 2, 22000, "a");
    EXPECT_EQ(module_next_id(bare, 2), 22000);
    make(bare, 3, 1, "b");  // of another kind, and yet the first counts from now on
    EXPECT_EQ(module_next_id(bare, 2), 22001);
}

TEST(module_next_id, gives_the_first_gap_from_the_base_upward)
{
    LowestId base(22000);
    BareDictionary bare;
    make(bare, 1, 22000, "another kind");
    make(bare, 2, 5, "below the base");
    EXPECT_EQ(module_next_id(bare, 2), 22000);
    make(bare, 2, 22001, "above a gap");
    EXPECT_EQ(module_next_id(bare, 2), 22000);
    make(bare, 2, 22000, "fills it");
    EXPECT_EQ(module_next_id(bare, 2), 22002);
    make(bare, 2, 22004, "above the next");
    make(bare, 3, 22002, "a higher kind");
    EXPECT_EQ(module_next_id(bare, 2), 22002);
    EXPECT_EQ(module_next_id(bare, 3), 22000);
    make(bare, 2, 22002, "fills it too");
    make(bare, 2, 22003, "up to the end of the kind");
    EXPECT_EQ(module_next_id(bare, 2), 22005);
}

TEST(module_next_id, gives_the_base_for_a_kind_that_is_missing)
{
    LowestId base(22000);
    BareDictionary bare;
    make(bare, 1, 22000, "a");
    make(bare, 3, 22000, "b");
    EXPECT_EQ(module_next_id(bare, 2), 22000);  // the walk stops at kind 3
    EXPECT_EQ(module_next_id(bare, 4), 22000);  // and runs off the end
}

TEST(module_next_id, goes_by_lowest_id_as_it_is_at_the_call)
{
    BareDictionary bare;
    make(bare, 2, 5, "a");
    make(bare, 2, 6, "b");
    LowestId base(5);
    EXPECT_EQ(module_next_id(bare, 2), 7);
    LowestId higher(6);
    EXPECT_EQ(module_next_id(bare, 2), 7);
    LowestId negative(-3);
    EXPECT_EQ(module_next_id(bare, 2), -3);
}

TEST(module_next_local_id, searches_from_20000)
{
    LowestId base(22000);
    BareDictionary bare;
    EXPECT_EQ(module_next_local_id(bare, 2), 20000);
    make(bare, 2, 20000, "a");
    EXPECT_EQ(module_next_local_id(bare, 2), 20000);  // one module in the file
    make(bare, 2, 19999, "b");
    EXPECT_EQ(module_next_local_id(bare, 2), 20001);
    make(bare, 2, 20002, "c");
    EXPECT_EQ(module_next_local_id(bare, 2), 20001);
    make(bare, 2, 20001, "d");
    EXPECT_EQ(module_next_local_id(bare, 2), 20003);
    EXPECT_EQ(module_next_id(bare, 2), 22000);
}

TEST(module_entry, is_null_at_an_index_that_is_not_below_the_count)
{
    BareDictionary bare;
    EXPECT_EQ(module_entry(bare, 0), nullptr);
    make(bare, 2, 100, "a");
    EXPECT_EQ(module_entry(bare, 0), bare->module_entries);
    EXPECT_EQ(module_entry(bare, 1), nullptr);   // a spare one stands there
    EXPECT_EQ(module_entry(bare, 32767), nullptr);
    EXPECT_EQ(module_entry(bare, MODULE_ABSENT), nullptr);
    EXPECT_EQ(module_entry(bare, -32768), nullptr);
}

TEST(module_directory_block, is_the_block_of_the_entry_and_0_without_one)
{
    BareDictionary bare;
    make(bare, 2, 100, "a");
    make(bare, 2, 50, "b");
    EXPECT_EQ(module_directory_block(bare, 0), 5u);  // 50, made second
    EXPECT_EQ(module_directory_block(bare, 1), 4u);
    EXPECT_EQ(module_directory_block(bare, 2), 0u);
    EXPECT_EQ(module_directory_block(bare, MODULE_ABSENT), 0u);
}

// ---- Names ----------------------------------------------------------------------------------------------------------

TEST(module_name_location, tells_where_the_name_stands_in_the_file)
{
    BareDictionary bare;
    make(bare, 2, 100, "First");
    make(bare, 2, 50, "Second");
    u32 offset = 0;
    i32 size = 0;
    EXPECT_EQ(module_name_location(bare, 0, &offset, &size), (DictStatus)DICT_OK);
    EXPECT_EQ(offset, LIST_AT + 6);  // behind "First" with its length byte
    EXPECT_EQ(size, 7);
    EXPECT_EQ(part(bare.bytes(), offset, (size_t)size), stored("Second"));
    EXPECT_EQ(module_name_location(bare, 1, &offset, &size), (DictStatus)DICT_OK);
    EXPECT_EQ(offset, LIST_AT);
    EXPECT_EQ(size, 6);
}

TEST(module_name_location, gives_3_without_the_entry_or_the_block_of_names)
{
    BareDictionary bare;
    make(bare, 2, 100, "First");
    u32 offset;
    i32 size;
    EXPECT_EQ(module_name_location(bare, 1, &offset, &size), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_name_location(bare, MODULE_ABSENT, &offset, &size), (DictStatus)DICT_NOT_FOUND);
    for (u32 block : { 0u, 1u, 3u, 4u, 100u, 256u, 257u, 0xFFFFFFFFu }) {
        bare->module_table->name_block = le32(block);
        EXPECT_EQ(module_name_location(bare, 0, &offset, &size), (DictStatus)DICT_NOT_FOUND) << block;
    }
}

TEST(module_name_location, gives_3_for_a_name_that_is_not_in_the_used_part)
{
    BareDictionary bare;
    make(bare, 2, 100, "First");
    make(bare, 2, 101, "Second");
    const struct {
        i32 offset;
        i16 size;
        DictStatus status;
    } rows[] = {
        { 6, 7, DICT_OK },          // as it is: 13 bytes are used
        { 7, 7, DICT_NOT_FOUND },
        { 6, 8, DICT_NOT_FOUND },
        { 13, 0, DICT_OK },         // nothing at the end is inside
        { 14, 0, DICT_NOT_FOUND },
        { -1, 7, DICT_NOT_FOUND },
        { INT_MIN, 7, DICT_NOT_FOUND },
        { INT_MAX, 7, DICT_NOT_FOUND },
        { 0, -1, DICT_NOT_FOUND },
        { 0, 257, DICT_NOT_FOUND },
        { 0, -32768, DICT_NOT_FOUND },
        { 0, 32767, DICT_NOT_FOUND },
    };
    for (const auto &r : rows) {
        bare->module_entries[1].name_offset = le_i32(r.offset);
        bare->module_entries[1].name_size = le_i16(r.size);
        u32 offset;
        i32 size;
        EXPECT_EQ(module_name_location(bare, 1, &offset, &size), r.status) << r.offset << " " << r.size;
        EXPECT_EQ(module_read_name(bare, 1, Name()), r.status) << r.offset << " " << r.size;
    }
}

TEST(module_name_location, goes_by_name_block)
{
    BareDictionary bare;
    make(bare, 2, 100, "First");
    u32 other = block_allocate(bare, BLOCK_NAMES, 100);
    EXPECT_EQ(block_splice(bare, other, stored("Other").data(), 0, 6, 0, 50), (DictStatus)DICT_OK);
    bare->module_table->name_block = le32(other);
    EXPECT_EQ(name_at(bare, 0), "Other");
}

TEST(module_read_name, gives_the_name_up_to_79_characters)
{
    BareDictionary bare;
    std::string longest(255, 'n');
    make(bare, 2, 1, "");
    make(bare, 2, 2, "short");
    make(bare, 2, 3, std::string(79, 'a'));
    make(bare, 2, 4, std::string(80, 'b'));
    make(bare, 2, 5, longest);
    EXPECT_EQ(modules_of(bare), (Lines{ "2/1 ", "2/2 short", "2/3 " + std::string(79, 'a'),
                                        "2/4 " + std::string(79, 'b'), "2/5 " + longest.substr(0, 79) }));
}

TEST(module_read_name, reads_no_more_than_the_stored_size)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    bare->module_entries[0].name_size = le_i16(2);  // of "one", the length byte and one character
    EXPECT_EQ(name_at(bare, 0), "o");
    bare->module_entries[0].name_size = le_i16(0);
    EXPECT_EQ(name_at(bare, 0), "");
}

TEST(module_read_name, gives_the_status_of_a_failed_read)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(name_at(bare, 0), "<status 10>");
    EXPECT_TRUE(faults_stop());
}

TEST(module_find_by_name, gives_the_number_of_the_module_of_that_kind)
{
    BareDictionary bare;
    make(bare, 2, 100, "First");
    make(bare, 2, -3, "Second");
    make(bare, 3, 200, "First");
    EXPECT_EQ(module_find_by_name(bare, 2, Name("First")), 100);
    EXPECT_EQ(module_find_by_name(bare, 2, Name("Second")), -3);
    EXPECT_EQ(module_find_by_name(bare, 3, Name("First")), 200);
    EXPECT_EQ(module_find_by_name(bare, 3, Name("Second")), 0);
    EXPECT_EQ(module_find_by_name(bare, 1, Name("First")), 0);
}

TEST(module_find_by_name, compares_every_character_as_it_is)
{
    BareDictionary bare;
    std::string longest(254, 'n');
    make(bare, 2, 100, "First");
    make(bare, 2, 101, longest + "a");
    make(bare, 2, 102, longest + "b");
    for (const char *other : { "first", "FIRST", "Firs", "Firstly", "", " First", "First " }) {
        EXPECT_EQ(module_find_by_name(bare, 2, Name(other)), 0) << other;
    }
    EXPECT_EQ(module_find_by_name(bare, 2, Name(longest + "a")), 101);
    EXPECT_EQ(module_find_by_name(bare, 2, Name(longest + "b")), 102);
    EXPECT_EQ(module_find_by_name(bare, 2, Name(longest)), 0);
}

TEST(module_find_by_name, finds_nothing_in_an_empty_file)
{
    BareDictionary bare;
    EXPECT_EQ(module_find_by_name(bare, 2, Name("")), 0);
    EXPECT_EQ(module_find_by_name(bare, 2, Name("First")), 0);
}

TEST(module_find_by_name, reads_the_list_once)
{
    BareDictionary bare;
    make_many(bare, 1, 20);
    u32 alive = handles_alive();
    calls_reset();
    EXPECT_EQ(module_find_by_name(bare, 2, Name("Mod20")), 20);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 4418+512" }));
    EXPECT_EQ(handles_alive(), alive);
}

TEST(module_find_by_name, reads_name_by_name_from_a_list_above_65500_bytes)
{
    for (i32 size : { 65500, 65501 }) {
        BareDictionary bare;
        make(bare, 2, 1, "one");
        std::string longest(255, 'x');
        make(bare, 2, 2, longest);
        make(bare, 3, 3, "not of this kind");
        BlockEntry list = entry_of(bare, BLOCK_OF_MODULE_NAMES);
        ASSERT_EQ(block_grow(bare, BLOCK_OF_MODULE_NAMES, &list, (u32)size), (DictStatus)DICT_OK);
        u32 at = le_get(list.offset);
        calls_reset();
        EXPECT_EQ(module_find_by_name(bare, 2, Name(longest)), 2);  // all 255 characters count in both ways
        Lines whole = { "read " + std::to_string(at) + "+65500" };
        Lines single = { "read " + std::to_string(at) + "+4", "read " + std::to_string(at + 4) + "+256" };
        EXPECT_EQ(call_lines({ FAULT_READ }), size == 65500 ? whole : single);
        EXPECT_EQ(module_find_by_name(bare, 2, Name(longest.substr(1) + "y")), 0);
        EXPECT_EQ(module_find_by_name(bare, 3, Name("one")), 0);
    }
}

TEST(module_find_by_name, reads_name_by_name_without_memory_for_the_list)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    faults_start({ .call = FAULT_ALLOC });
    calls_reset();
    EXPECT_EQ(module_find_by_name(bare, 2, Name("two")), 2);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 4418+4", "read 4422+4" }));
}

TEST(module_find_by_name, reads_name_by_name_when_the_list_cannot_be_read)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(module_find_by_name(bare, 2, Name("two")), 2);
    EXPECT_TRUE(faults_stop());
}

TEST(module_find_by_name, takes_a_failed_read_for_not_found)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    faults_start({ .call = FAULT_READ, .from_then_on = true });
    EXPECT_EQ(module_find_by_name(bare, 2, Name("one")), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(module_find_by_name(bare, 2, Name("one")), 1);

    EXPECT_EQ(block_table_flush(bare), (DictStatus)DICT_OK);
    block_cache_drop(bare);
    faults_start({ .call = FAULT_ALLOC });  // of the page with the block's entry
    EXPECT_EQ(module_find_by_name(bare, 2, Name("one")), 0);
    EXPECT_TRUE(faults_stop());
}

TEST(module_find_by_name, reads_block_2_whatever_name_block_says)
{
    BareDictionary bare;
    make(bare, 2, 100, "First");
    u32 other = block_allocate(bare, BLOCK_NAMES, 100);
    EXPECT_EQ(block_splice(bare, other, stored("Other").data(), 0, 6, 0, 50), (DictStatus)DICT_OK);
    bare->module_table->name_block = le32(other);
    EXPECT_EQ(module_find_by_name(bare, 2, Name("First")), 100);
    EXPECT_EQ(module_find_by_name(bare, 2, Name("Other")), 0);
    EXPECT_EQ(module_rename(bare, 2, 100, Name("Last!")), (DictStatus)DICT_OK);
    EXPECT_EQ(block_bytes(bare, BLOCK_OF_MODULE_NAMES), stored("Last!"));
    EXPECT_EQ(block_bytes(bare, other), stored("Other"));
}

TEST(module_find_by_name, takes_an_offset_outside_the_list_for_no_name)
{
    for (bool in_memory : { true, false }) {
        BareDictionary bare;
        make(bare, 2, 1, "one");
        make(bare, 2, 2, "two");
        auto found = [&](const char *name) {
            if (!in_memory) faults_start({ .call = FAULT_ALLOC });
            i32 number = module_find_by_name(bare, 2, Name(name));
            faults_stop();
            return number;
        };
        for (i32 offset : { -1, INT_MIN, 512, 513, INT_MAX, INT_MAX - 4417 }) {
            bare->module_entries[0].name_offset = le_i32(offset);
            EXPECT_EQ(found("one"), 0) << offset;
            EXPECT_EQ(found("two"), 2) << offset;  // the walk goes on
        }
    }
}

TEST(module_find_by_name, does_not_read_behind_the_list_in_memory)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    // A name whose last byte would stand behind the block: as a 0, which is what a longer read would find there.
    bare->module_entries[0].name_offset = le_i32(509);
    EXPECT_EQ(dict_write_at(bare->file, LIST_AT + 509, "\x03" "ab", 3), (DictStatus)DICT_OK);
    EXPECT_EQ(module_find_by_name(bare, 2, Name(std::string("ab\0", 3))), 0);
}

TEST(module_find_by_name, reads_at_most_256_bytes_of_a_name_whose_size_is_damaged)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    for (i16 size : { (i16)-1, (i16)-32768, (i16)257, (i16)32767 }) {
        bare->module_entries[0].name_size = le_i16(size);
        EXPECT_EQ(module_find_by_name(bare, 2, Name("one")), 1) << size;  // in memory the size does not count
        faults_start({ .call = FAULT_ALLOC });
        EXPECT_EQ(module_find_by_name(bare, 2, Name("one")), size < 0 ? 0 : 1) << size;
        EXPECT_TRUE(faults_stop());
    }
}

TEST(text_with_number, appends_the_number_in_decimal)
{
    Name text;
    EXPECT_EQ(text_with_number(text, "at ", 0), (PString)text.text);
    EXPECT_EQ(text.str(), "at 0");
    text_with_number(text, "", -32768);
    EXPECT_EQ(text.str(), "-32768");
    text_with_number(text, "DD: modpos ", 70000);
    EXPECT_EQ(text.str(), "DD: modpos 70000");
}

TEST(module_default_name, is_the_series_and_the_core_type)
{
    const char *const series[16] = { "System ", "Financial ", "Sales ", "Purchasing ", "Inventory ", "Payroll ",
                                     "Project ", "Unknown Series ", "Unknown Series ", "Unknown Series ",
                                     "Unknown Series ", "Unknown Series ", "Unknown Series ", "Unknown Series ",
                                     "Unknown Series ", "Unknown Series " };
    const char *const core[16] = { "Unknown core type", "Core", "Strings", "QScript Code/Data", "Install", "Messages",
                                   "Data Types", "Fields", "Short Names", "QScript Source/Debug", "Core Tables",
                                   "Unknown core type", "Unknown core type", "Unknown core type", "Unknown core type",
                                   "Unknown core type" };
    for (i32 module = 0; module < 256; module++) {
        Name name;
        EXPECT_EQ(module_default_name(module, name), (PString)name.text);
        EXPECT_EQ(name.str(), std::string(series[module / 16]) + core[module % 16]) << module;
    }
}

TEST(module_default_name, looks_at_the_low_8_bits)
{
    Name name;
    module_default_name(4097 * 256 + 0x12, name);
    EXPECT_EQ(name.str(), "Financial Strings");
    module_default_name(-1, name);
    EXPECT_EQ(name.str(), "Unknown Series Unknown core type");
    module_default_name(INT_MIN + 0x65, name);
    EXPECT_EQ(name.str(), "Project Messages");
}

TEST(module_default_name, gives_several_numbers_of_a_series_one_name)
{
    BareDictionary bare;
    Name name;
    EXPECT_EQ(module_create(bare, 1, 11, module_default_name(11, name)), (DictStatus)DICT_OK);
    EXPECT_EQ(module_create(bare, 1, 12, module_default_name(12, name)), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(module_create(bare, 1, 0, module_default_name(0, name)), (DictStatus)DICT_EXISTS);
}

TEST(module_core_name, is_core_module_and_the_number)
{
    Name name;
    EXPECT_EQ(module_core_name(name, 18), (PString)name.text);
    EXPECT_EQ(name.str(), "Core Module 18");
    module_core_name(name, 0);
    EXPECT_EQ(name.str(), "Core Module 0");
    module_core_name(name, -2147483647);
    EXPECT_EQ(name.str(), "Core Module -2147483647");
}

// ---- The table in memory and in the file ----------------------------------------------------------------------------

TEST(module_table_load, makes_the_table_and_an_empty_cache)
{
    BareDictionary bare;
    EXPECT_EQ(table_bytes(bare), le(0, 2) + le(50, 2) + le(2, 4) + zeros(800));
    EXPECT_EQ((const void *)bare->module_table, glock(bare->module_table_handle));
    EXPECT_EQ((const void *)bare->module_entries, (const void *)(bare->module_table + 1));
    EXPECT_EQ(gsize(bare->directories_handle), 50 * (i32)sizeof(DirectoryPair));
    EXPECT_EQ((const void *)bare->directories, glock(bare->directories_handle));
    for (i32 i = 0; i < 50; i++) {
        EXPECT_EQ(bare->directories[i].handle, 0u);
        EXPECT_EQ(bare->directories[i].directory, nullptr);
    }
}

TEST(module_table_load, reads_block_1_whole_and_no_directory)
{
    BareDictionary bare;
    make_many(bare, 1, 51);
    EXPECT_EQ(block_table_flush(bare), (DictStatus)DICT_OK);
    module_table_release(bare);
    calls_reset();
    EXPECT_EQ(module_table_load(bare), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 52156+1608" }));
    EXPECT_EQ(gsize(bare->directories_handle), 100 * (i32)sizeof(DirectoryPair));  // 51 used, 49 spare
    EXPECT_EQ(module_count(bare, 2), 51);
    EXPECT_EQ(bare->directories[50].handle, 0u);
}

TEST(module_table_load, gives_9_and_leaves_nothing_without_memory)
{
    for (u32 nth : { 1u, 2u }) {  // for the table, for the cache
        BareDictionary bare;
        make(bare, 2, 1, "one");
        module_table_release(bare);
        u32 alive = handles_alive();
        faults_start({ .call = FAULT_ALLOC, .nth = nth });
        EXPECT_EQ(module_table_load(bare), (DictStatus)DICT_NO_MEMORY);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(handles_alive(), alive);
        EXPECT_EQ(bare->module_table_handle, 0u);
        EXPECT_EQ(bare->module_table, nullptr);
        EXPECT_EQ(bare->module_entries, nullptr);
        EXPECT_EQ(bare->directories_handle, 0u);
        EXPECT_EQ(bare->directories, nullptr);
        look_everywhere(bare);
        EXPECT_EQ(module_table_load(bare), (DictStatus)DICT_OK);
        EXPECT_EQ(modules_of(bare), (Lines{ "2/1 one" }));
    }
}

TEST(module_table_load, gives_the_status_of_a_failed_read)
{
    BareDictionary bare;
    module_table_release(bare);
    u32 alive = handles_alive();
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(module_table_load(bare), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(handles_alive(), alive);
    look_everywhere(bare);
}

TEST(module_table_load, gives_4_for_a_table_that_does_not_fit_its_block)
{
    BareDictionary bare;
    bare.close();
    const std::string sound = bare.bytes();
    const struct {
        size_t offset;
        std::string bytes;
        DictStatus status;
    } rows[] = {
        { TABLE_AT, le(-1, 2), DICT_NOT_A_DICTIONARY },       // module_count
        { TABLE_AT, le(-32768, 2), DICT_NOT_A_DICTIONARY },
        { TABLE_AT, le(32767, 2), DICT_NOT_A_DICTIONARY },
        { TABLE_AT, le(1, 2), DICT_NOT_A_DICTIONARY },        // 51 entries are 824 bytes
        { TABLE_AT + 2, le(-1, 2), DICT_NOT_A_DICTIONARY },   // spare_entries
        { TABLE_AT + 2, le(51, 2), DICT_NOT_A_DICTIONARY },
        { TABLE_AT + 2, le(32767, 2), DICT_NOT_A_DICTIONARY },
        { TABLE_AT, le(1, 2) + le(-1, 2), DICT_NOT_A_DICTIONARY },
        { TABLE_AT, le(32767, 2) + le(32767, 2), DICT_NOT_A_DICTIONARY },
        { TABLE_AT, le(20, 2) + le(30, 2), DICT_OK },         // 20 entries of zeros: strange, and inside
        { TABLE_AT, le(0, 2) + le(0, 2), DICT_OK },
        { 26 + 2, le(NEW_FILE - 807, 4), DICT_NOT_A_DICTIONARY },  // entry of block 1: one byte behind the file
        { 26 + 2, le(0x80000000, 4), DICT_NOT_A_DICTIONARY },
        { 26 + 6, le(0, 4), DICT_NOT_A_DICTIONARY },          // its size
        { 26 + 6, le(7, 4), DICT_NOT_A_DICTIONARY },
        { 26 + 6, le(807, 4), DICT_NOT_A_DICTIONARY },
        { 26 + 6, le(0x7FFFFFFF, 4), DICT_NOT_A_DICTIONARY },
        { 26 + 6, le(0xFFFFFFFF, 4), DICT_NOT_A_DICTIONARY },
        { 26 + 6, le(809, 4), DICT_OK },
    };
    for (const auto &r : rows) {
        std::string damaged = sound;
        patch(&damaged, r.offset, r.bytes);
        u32 alive = handles_alive();
        AfterACrash opened(damaged);
        EXPECT_EQ(opened.status, r.status) << "row " << &r - rows;
        if (opened.status) {
            EXPECT_EQ(handles_alive(), alive) << "row " << &r - rows;
        } else {
            look_everywhere(opened);
        }
    }
}

TEST(module_table_release, frees_the_table_and_every_directory)
{
    BareDictionary bare;
    make_many(bare, 1, 1);
    u32 alive = handles_alive() - 1;
    make_many(bare, 2, 3);
    EXPECT_EQ(handles_alive(), alive + 3);  // the directories that registering has loaded
    module_table_release(bare);
    EXPECT_EQ(handles_alive(), alive - 2);  // the table and the cache go too
    EXPECT_EQ(bare->module_table_handle, 0u);
    EXPECT_EQ(bare->module_table, nullptr);
    EXPECT_EQ(bare->module_entries, nullptr);
    EXPECT_EQ(bare->directories_handle, 0u);
    EXPECT_EQ(bare->directories, nullptr);
    look_everywhere(bare);
    module_table_release(bare);
    EXPECT_EQ(handles_alive(), alive - 2);
}

TEST(module_table_release, lets_the_table_be_loaded_again)
{
    BareDictionary bare;
    make_many(bare, 1, 3);
    module_table_release(bare);
    EXPECT_EQ(module_table_load(bare), (DictStatus)DICT_OK);
    EXPECT_EQ(modules_of(bare), (Lines{ "2/1 Mod1", "2/2 Mod2", "2/3 Mod3" }));
    EXPECT_TRUE(is_usable_for_all(bare, 2));
}

TEST(module_table_write, writes_the_block_from_memory)
{
    BareDictionary bare;
    make(bare, 2, 100, "Mod");
    bare->module_entries[0].module = le_i32(0x01020304);
    calls_reset();
    EXPECT_EQ(module_table_write(bare), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE, FAULT_OPEN }), (Lines{ "write 3610+808" }));
    EXPECT_EQ(part(bare.bytes(), TABLE_AT, 808),
              le(1, 2) + le(49, 2) + le(2, 4) + entry_bytes(2, 0x01020304, 4, 0, 4) + zeros(784));
}

TEST(module_table_write, gives_the_status_of_a_failed_write)
{
    BareDictionary bare;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(module_table_write(bare), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
}

TEST(module_table_write, gives_the_status_of_an_entry_that_cannot_be_read)
{
    BareDictionary bare;
    bare.close();
    bare.open();
    block_cache_drop(bare);
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(module_table_write(bare), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
}

TEST(module_table_write, stores_the_new_size_of_a_block_that_grows_at_the_end_of_the_file)
{
    BareDictionary bare;
    u32 in_front = block_allocate(bare, BLOCK_BODIES, 50 * KIND_3_BYTES + 2000);  // the list of names moves there too
    make_many(bare, 1, 51, 3);
    BlockEntry table = entry_of(bare, BLOCK_OF_MODULE_TABLE);
    u32 length = (u32)bare.bytes().size();
    EXPECT_EQ(le_get(table.offset) + le_get(table.size), length);  // it has moved to the end
    EXPECT_EQ(block_free(bare, in_front), (DictStatus)DICT_OK);    // where the next 50 directories go
    make_many(bare, 52, 100, 3);
    EXPECT_EQ(le_get(bare->module_table->spare_entries), 0);
    EXPECT_EQ(bare.bytes().size(), length);
    make_many(bare, 101, 101, 3);
    EXPECT_EQ(bare.bytes().size(), length + 800);

    BlockEntry grown = entry_of(bare, BLOCK_OF_MODULE_TABLE);
    EXPECT_EQ(le_get(grown.offset), le_get(table.offset));
    EXPECT_EQ(le_get(grown.size), 2408u);
    EXPECT_EQ(le_get(grown.free), 2408u);
    bare.close();
    bare.open();
    EXPECT_EQ(le_get(bare->module_table->module_count), 101);
    EXPECT_EQ(le_get(bare->module_table->spare_entries), 49);
    EXPECT_EQ(module_find_by_name(bare, 3, Name("Mod101")), 101);
    EXPECT_TRUE(is_usable_for_all(bare, 100));
}

TEST(module_table_write, writes_no_more_than_the_handle_holds)
{
    BareDictionary bare;
    make_many(bare, 1, 50);
    u32 directory = new_directory(bare, 51);
    u32 piece = block_allocate(bare, BLOCK_BODIES, 1608 + 15);  // under 16 bytes more, so it is given whole
    u32 offset = le_get(entry_of(bare, piece).offset);
    EXPECT_EQ(block_free(bare, piece), (DictStatus)DICT_OK);
    EXPECT_EQ(dict_write_at(bare->file, offset + 1608, "fifteen bytes!!", 15), (DictStatus)DICT_OK);

    EXPECT_EQ(module_register(bare, 2, 51, directory, Name("Mod51")), (DictStatus)DICT_OK);
    EXPECT_EQ(row(entry_of(bare, BLOCK_OF_MODULE_TABLE)), "1: " + std::to_string(offset) + " 1623 1623");
    EXPECT_EQ(gsize(bare->module_table_handle), 1608);
    EXPECT_EQ(part(bare.bytes(), offset + 1608, 15), "fifteen bytes!!");
    bare.close();
    bare.open();
    EXPECT_EQ(gsize(bare->module_table_handle), 1623);
    EXPECT_EQ(module_count(bare, 2), 51);
}

// ---- Making modules -------------------------------------------------------------------------------------------------

TEST(module_create, makes_directory_name_and_entry)
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 2, 100, Name("Mod")), (DictStatus)DICT_OK);
    std::string bytes = bare.bytes();
    EXPECT_EQ(bytes.size(), 5856u);
    EXPECT_EQ(part(bytes, TABLE_AT, 808), le(1, 2) + le(49, 2) + le(2, 4) + entry_bytes(2, 100, 4, 0, 4) + zeros(784));
    EXPECT_EQ(part(bytes, LIST_AT, 512), stored("Mod") + zeros(508));
    EXPECT_EQ(part(bytes, NEW_FILE, KIND_2_BYTES),
              le(2, 2) + le(100, 4) + le(0, 2) + le(7, 2) + le(0, 2) + le(50, 2) + zeros(912));
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 508");
    EXPECT_EQ(row(entry_of(bare, 4)), "2: 4930 926 0");
    EXPECT_EQ(le_get(bare->header.free_entries), 252u);
    EXPECT_EQ(table_bytes(bare), part(bytes, TABLE_AT, 808));
    EXPECT_EQ(bytes_of(directory_get_handle(bare, 0)), part(bytes, NEW_FILE, KIND_2_BYTES));
}

TEST(module_create, writes_directory_name_and_table_in_this_order)
{
    BareDictionary bare;
    calls_reset();
    EXPECT_EQ(module_create(bare, 2, 100, Name("Mod")), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_READ }),
              (Lines{ "read 922+896", "read 1818+896", "read 2714+896",  // the search for a free piece of the file
                      "write 4930+926",                      // the file grows
                      "write 4930+926",                      // the directory
                      "read 4418+512",                       // the list, to search it for the name
                      "write 4418+4",
                      "write 3610+808",
                      "read 4930+926" }));                   // the directory enters the cache
    EXPECT_EQ(call_counts().open, 1u);
    EXPECT_EQ(call_counts().close, 1u);
}

TEST(module_create, is_complete_after_a_close)
{
    BareDictionary bare;
    make(bare, 2, 100, "Mod");
    make(bare, 1, 16, "Core");
    make(bare, 3, -8, "Third");
    std::string before = table_bytes(bare);
    bare.close();
    std::string bytes = bare.bytes();
    EXPECT_EQ(bytes.size(), NEW_FILE + 926 + 8254 + 894);
    EXPECT_EQ(part(bytes, 26 + 14, 14), le(3, 2) + le(4418, 4) + le(512, 4) + le(512 - 15, 4));
    EXPECT_EQ(part(bytes, 26 + 3 * 14, 14), le(2, 2) + le(4930, 4) + le(926, 4) + le(0, 4));
    EXPECT_EQ(part(bytes, 26 + 4 * 14, 14), le(2, 2) + le(5856, 4) + le(8254, 4) + le(0, 4));
    EXPECT_EQ(part(bytes, 26 + 5 * 14, 14), le(2, 2) + le(14110, 4) + le(894, 4) + le(0, 4));
    EXPECT_EQ(u32_at(bytes, 22), 250u);  // free_entries
    EXPECT_EQ(part(bytes, TABLE_AT, 808),
              le(3, 2) + le(47, 2) + le(2, 4) + entry_bytes(1, 16, 5, 4, 5) + entry_bytes(2, 100, 4, 0, 4) +
                  entry_bytes(3, -8, 6, 9, 6) + zeros(752));
    EXPECT_EQ(part(bytes, LIST_AT, 15), stored("Mod") + stored("Core") + stored("Third"));
    EXPECT_EQ(part(bytes, TABLE_AT, 808), before);
    bare.open();
    EXPECT_EQ(modules_of(bare), (Lines{ "1/16 Core", "2/100 Mod", "3/-8 Third" }));
}

TEST(module_create, makes_51_modules)
{
    BareDictionary bare;
    calls_reset();
    make_many(bare, 1, 50);
    EXPECT_EQ(gsize(bare->module_table_handle), 808);
    EXPECT_EQ(le_get(bare->module_table->spare_entries), 0);
    EXPECT_EQ(row(entry_of(bare, BLOCK_OF_MODULE_TABLE)), "1: 3610 808 808");

    make_many(bare, 51, 51);
    EXPECT_EQ(call_counts().open, 52u);  // one for each directory, one for block 1
    EXPECT_EQ(gsize(bare->module_table_handle), 1608);
    EXPECT_EQ(gsize(bare->directories_handle), 100 * (i32)sizeof(DirectoryPair));
    EXPECT_EQ(le_get(bare->module_table->spare_entries), 49);
    EXPECT_EQ(row(entry_of(bare, BLOCK_OF_MODULE_TABLE)), "1: 52156 1608 1608");
    EXPECT_EQ(row(entry_of(bare, 55)), "0: 3610 808 808");  // where it stood
    EXPECT_EQ(le_get(bare->header.free_entries), 202u);
    EXPECT_EQ(bare.bytes().size(), 53764u);

    bare.close();
    std::string bytes = bare.bytes();
    EXPECT_EQ(bytes.size(), 53764u);
    EXPECT_EQ(u32_at(bytes, 22), 202u);
    EXPECT_EQ(part(bytes, 52156, 24), le(51, 2) + le(49, 2) + le(2, 4) + entry_bytes(2, 1, 4, 0, 5));
    EXPECT_EQ(part(bytes, 52156 + 8 + 51 * 16, 784), zeros(784));
    bare.open();
    for (i16 i = 0; i < 51; i++) {
        EXPECT_EQ(module_find(bare, 2, i + 1), i);
        EXPECT_EQ(name_at(bare, i), "Mod" + std::to_string(i + 1));
        EXPECT_TRUE(is_usable_for_all(bare, i));
    }
}

TEST(module_create, loses_the_directory_block_of_a_duplicate)
{
    BareDictionary bare;
    make(bare, 2, 100, "Mod");
    EXPECT_EQ(module_create(bare, 2, 100, Name("Other")), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(bare.bytes().size(), 5856u + 926);
    EXPECT_EQ(le_get(bare->header.free_entries), 251u);
    EXPECT_EQ(row(entry_of(bare, 5)), "2: 5856 926 0");
    EXPECT_EQ(module_create(bare, 2, 101, Name("Mod")), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(row(entry_of(bare, 6)), "2: 6782 926 0");
    EXPECT_EQ(modules_of(bare), (Lines{ "2/100 Mod" }));
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 508");  // no name was added
}

TEST(module_create, refuses_other_kinds)
{
    BareDictionary bare;
    std::string before = bare.bytes();
    calls_reset();
    for (i32 kind : { 0, 4, 5, -1, 65537, 65538, INT_MIN, INT_MAX }) {
        EXPECT_EQ(module_create(bare, kind, 100, Name("Mod")), (DictStatus)DICT_NOT_FOUND) << kind;
    }
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_OPEN }), Lines());
    EXPECT_EQ(le_get(bare->header.free_entries), 253u);
    EXPECT_EQ(bare.bytes(), before);
}

TEST(module_create, gives_13_on_a_full_disk)
{
    BareDictionary bare;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(module_create(bare, 2, 100, Name("Mod")), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(modules_of(bare), Lines());
    EXPECT_EQ(le_get(bare->header.free_entries), 253u);
}

TEST(module_create, gives_13_when_the_file_cannot_be_opened_again)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    EXPECT_EQ(block_table_flush(bare), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_OPEN });
    EXPECT_EQ(module_create(bare, 2, 100, Name("Mod")), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(bare->file, 0u);
    look_everywhere(bare);
    EXPECT_NE(module_create(bare, 2, 101, Name("Mod")), (DictStatus)DICT_OK);
    EXPECT_NE(module_rename(bare, 2, 1, Name("two")), (DictStatus)DICT_OK);
    EXPECT_NE(module_delete(bare, 2, 1), (DictStatus)DICT_OK);
    bare.close();
    bare.open();
    EXPECT_EQ(modules_of(bare), (Lines{ "2/1 one" }));
}

// ---- Registering ----------------------------------------------------------------------------------------------------

TEST(module_register, enters_the_module_at_its_place)
{
    BareDictionary bare;
    make(bare, 2, 50, "Low");
    make(bare, 3, 1, "High");
    u32 block = new_directory(bare);
    const ModuleDirectory *low = directory_get(bare, 0);
    const ModuleDirectory *high = directory_get(bare, 1);
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("Middle")), (DictStatus)DICT_OK);
    EXPECT_EQ(part(table_bytes(bare), 0, 72),
              le(3, 2) + le(47, 2) + le(2, 4) + entry_bytes(2, 50, 4, 0, 4) + entry_bytes(2, 100, 6, 9, 7) +
                  entry_bytes(3, 1, 5, 4, 5) + zeros(16));
    EXPECT_EQ(part(bare.bytes(), TABLE_AT, 808), table_bytes(bare));
    EXPECT_EQ(block_bytes(bare, 2), stored("Low") + stored("High") + stored("Middle"));

    // The directories in memory have moved with their entries.
    EXPECT_EQ(bare->directories[0].directory, low);
    EXPECT_EQ(bare->directories[2].directory, high);
    EXPECT_EQ(le_get(bare->directories[1].directory->module), 100);
    EXPECT_EQ(ghandle(bare->directories[1].directory), bare->directories[1].handle);
}

TEST(module_register, takes_any_block_for_a_directory_and_tells_with_3_that_it_is_none)
{
    BareDictionary bare;
    EXPECT_EQ(module_register(bare, 2, 100, 2, Name("Mod")), (DictStatus)DICT_NOT_FOUND);  // the list of names
    EXPECT_EQ(module_register(bare, 2, 101, 0, Name("Mod2")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(modules_of(bare), (Lines{ "2/100 Mod", "2/101 Mod2" }));  // they are entered all the same
    EXPECT_EQ(directory_get(bare, 0), nullptr);
}

TEST(module_register, gives_2_for_a_number_or_a_name_that_is_taken)
{
    BareDictionary bare;
    make(bare, 2, 50, "Low");
    u32 block = new_directory(bare);
    std::string before = bare.bytes();
    calls_reset();
    EXPECT_EQ(module_register(bare, 2, 50, block, Name("Other")), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(call_counts().read, 0u);  // the number is looked at first
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("Low")), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(bare.bytes(), before);
    EXPECT_EQ(module_register(bare, 3, 100, block, Name("Low")), (DictStatus)DICT_OK);  // in another kind
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("low")), (DictStatus)DICT_OK);
}

TEST(module_register, does_not_see_the_name_of_module_0)
{
    BareDictionary bare;
    make(bare, 2, 0, "Same");
    make(bare, 2, 1, "Same");
    EXPECT_EQ(modules_of(bare), (Lines{ "2/0 Same", "2/1 Same" }));
}

TEST(module_register, stores_a_long_name_whole)
{
    BareDictionary bare;
    std::string longest(255, 'n');
    std::string hundred(100, 'h');
    make(bare, 2, 100, hundred);
    EXPECT_EQ(le_get(bare->module_entries[0].name_size), 101);
    make(bare, 2, 101, longest);
    EXPECT_EQ(le_get(bare->module_entries[1].name_size), 256);
    EXPECT_EQ(block_bytes(bare, 2), stored(hundred) + stored(longest));
    EXPECT_EQ(name_at(bare, 0), hundred.substr(0, 79));
}

TEST(module_register, stores_an_empty_name_as_one_byte)
{
    BareDictionary bare;
    make(bare, 2, 100, "");
    EXPECT_EQ(part(table_bytes(bare), 8, 16), entry_bytes(2, 100, 4, 0, 1));
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 511");
    EXPECT_EQ(module_find_by_name(bare, 2, Name("")), 100);
}

TEST(module_register, grows_the_list_by_a_unit_of_50)
{
    BareDictionary bare;
    make(bare, 2, 1, std::string(254, 'a'));      // 255 bytes
    make(bare, 2, 2, std::string(255, 'b'));      // 511
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 1");
    make(bare, 2, 3, "");                         // the last free byte
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 0");
    make(bare, 2, 4, "c");                        // (512 + 2) / 50 + 1 units, behind the directory of the module
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 8634 550 36");
    EXPECT_EQ(row(entry_of(bare, 8)), "0: 4418 512 512");
    EXPECT_EQ(part(bare.bytes(), 8634 + 511, 3), stored("") + stored("c"));
    EXPECT_EQ(module_find_by_name(bare, 2, Name("c")), 4);
}

TEST(module_register, goes_by_name_block_to_store_the_name)
{
    BareDictionary bare;
    u32 other = block_allocate(bare, BLOCK_NAMES, 100);
    bare->module_table->name_block = le32(other);
    make(bare, 2, 100, "Mod");
    EXPECT_EQ(block_bytes(bare, other), stored("Mod"));
    EXPECT_EQ(part(bare.bytes(), LIST_AT, 4), zeros(4));
}

TEST(module_register, gives_3_when_name_block_is_no_block_of_names)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    u32 block = new_directory(bare);
    for (u32 names : { 0u, 1u, 3u, 4u, 100u, 257u, 0xFFFFFFFFu }) {
        bare->module_table->name_block = le32(names);
        std::string before = bare.bytes();
        EXPECT_EQ(module_register(bare, 2, 100, block, Name("Mod")), (DictStatus)DICT_NOT_FOUND) << names;
        EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_NOT_FOUND) << names;
        EXPECT_EQ(bare.bytes(), before);
        EXPECT_EQ(module_count(bare, 2), 1);
    }
}

TEST(module_register, gives_1_for_a_list_with_more_free_bytes_than_bytes)
{
    BareDictionary bare;
    u32 block = new_directory(bare);
    BlockEntry list = entry_of(bare, 2);
    list.free = le32(513);
    EXPECT_EQ(block_write_entry(bare, 1, &list), (DictStatus)DICT_OK);
    std::string before = bare.bytes();
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("Mod")), (DictStatus)DICT_FAILED);
    EXPECT_EQ(bare.bytes(), before);
    EXPECT_EQ(module_count(bare, 2), 0);
}

TEST(module_register, changes_nothing_but_the_list_when_the_name_cannot_be_written)
{
    BareDictionary bare;
    make(bare, 2, 50, "Low");
    u32 block = new_directory(bare);
    std::string before = table_bytes(bare);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("Mod")), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(table_bytes(bare), before);
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 508");
}

TEST(module_register, ignores_a_failed_write_of_the_table)
{
    BareDictionary bare;
    u32 block = new_directory(bare);
    faults_start({ .call = FAULT_WRITE, .nth = 2 });  // behind the name
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("Mod")), (DictStatus)DICT_OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(modules_of(bare), (Lines{ "2/100 Mod" }));
    EXPECT_EQ(part(bare.bytes(), TABLE_AT, 808), le(0, 2) + le(50, 2) + le(2, 4) + zeros(800));
}

TEST(module_register, gives_3_when_the_directory_cannot_be_read)
{
    u32 alive = handles_alive();
    BareDictionary bare;
    make(bare, 2, 50, "Low");
    make(bare, 2, 150, "High");
    u32 block = new_directory(bare);
    const ModuleDirectory *high = directory_get(bare, 1);
    u32 loaded = handles_alive();
    faults_start({ .call = FAULT_READ, .nth = 2 });   // behind the list of names
    EXPECT_EQ(module_register(bare, 2, 100, block, Name("Mod")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(modules_of(bare), (Lines{ "2/50 Low", "2/100 Mod", "2/150 High" }));
    EXPECT_EQ(bare->directories[1].handle, 0u);       // and not its neighbour's, which would be freed twice
    EXPECT_EQ(bare->directories[1].directory, nullptr);
    EXPECT_EQ(bare->directories[2].directory, high);
    EXPECT_EQ(handles_alive(), loaded);
    EXPECT_TRUE(is_usable_for_all(bare, 1));          // it is loaded when it is wanted
    bare.close();
    EXPECT_EQ(handles_alive(), alive);
}

// 50 modules, so that the next one needs a larger table. Their directories are in memory.
struct FullTable {
    BareDictionary bare;
    u32 block;      // a directory for module 51

    FullTable()
    {
        make_many(bare, 1, 50);
        block = new_directory(bare, 51);
    }
};

TEST(module_register, gives_9_and_reads_as_empty_when_the_table_cannot_grow)
{
    u32 alive = handles_alive();
    FullTable full;
    BareDictionary &bare = full.bare;
    std::string before = bare.bytes();
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(module_register(bare, 2, 51, full.block, Name("Mod51")), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(bare->module_table_handle, 0u);
    EXPECT_EQ(bare->module_table, nullptr);
    EXPECT_EQ(bare->module_entries, nullptr);
    EXPECT_EQ(gsize(bare->directories_handle), 100 * (i32)sizeof(DirectoryPair));
    EXPECT_EQ((const void *)bare->directories, glock(bare->directories_handle));

    look_everywhere(bare);
    EXPECT_EQ(modules_of(bare), Lines());
    EXPECT_EQ(module_find(bare, 2, 1), MODULE_ABSENT);
    EXPECT_EQ(directory_get(bare, 0), nullptr);
    EXPECT_EQ(module_table_write(bare), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_create(bare, 2, 51, Name("Mod51")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(part(bare.bytes(), TABLE_AT, 808), part(before, TABLE_AT, 808));  // never written from nothing

    bare.close();
    EXPECT_EQ(handles_alive(), alive + 1);                                      // the old table is lost
    EXPECT_GE(memory_sweep(), 1u);
    bare.open();
    EXPECT_EQ(module_count(bare, 2), 50);
    // The name is in the list, for nobody: 9 * 5 + 41 * 6 bytes of names, and 6 more.
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 215");
    make_many(bare, 51, 51);
    EXPECT_EQ(name_at(bare, 50), "Mod51");
    EXPECT_EQ(le_get(bare->module_entries[50].name_offset), 9 * 5 + 42 * 6);
}

TEST(module_register, gives_9_and_has_no_directories_when_the_cache_cannot_grow)
{
    u32 alive = handles_alive();
    FullTable full;
    BareDictionary &bare = full.bare;
    faults_start({ .call = FAULT_RESIZE, .nth = 2 });
    EXPECT_EQ(module_register(bare, 2, 51, full.block, Name("Mod51")), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(gsize(bare->module_table_handle), 1608);
    EXPECT_EQ((const void *)bare->module_table, glock(bare->module_table_handle));
    EXPECT_EQ(le_get(bare->module_table->spare_entries), 0);
    EXPECT_EQ(bare->directories_handle, 0u);
    EXPECT_EQ(bare->directories, nullptr);

    look_everywhere(bare);
    EXPECT_EQ(module_count(bare, 2), 50);
    EXPECT_EQ(name_at(bare, 49), "Mod50");
    EXPECT_EQ(directory_get(bare, 0), nullptr);
    EXPECT_EQ(directory_load(bare, 0), (DictStatus)DICT_NOT_FOUND);
    directory_drop(bare, 2, 1);
    EXPECT_EQ(module_register(bare, 2, 51, full.block, Name("Mod51")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_delete(bare, 2, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_rename(bare, 2, 1, Name("Renamed")), (DictStatus)DICT_OK);

    bare.close();
    EXPECT_EQ(handles_alive(), alive + 1 + 50);  // the cache, and the directories that only it knew
    EXPECT_GE(memory_sweep(), 51u);
    bare.open();
    EXPECT_EQ(module_count(bare, 2), 50);
    EXPECT_EQ(name_at(bare, 0), "Renamed");
    EXPECT_TRUE(is_usable_for_all(bare, 49));
}

TEST(module_register, gives_9_when_neither_can_grow)
{
    FullTable full;
    BareDictionary &bare = full.bare;
    faults_start({ .call = FAULT_RESIZE, .from_then_on = true });
    EXPECT_EQ(module_register(bare, 2, 51, full.block, Name("Mod51")), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    look_everywhere(bare);
    bare.close();
    bare.open();
    EXPECT_EQ(module_count(bare, 2), 50);
    EXPECT_GE(memory_sweep(), 52u);
}

TEST(module_register, moves_the_directories_in_memory_when_the_table_grows)
{
    FullTable full;
    BareDictionary &bare = full.bare;
    std::vector<const ModuleDirectory *> before;
    for (i16 i = 0; i < 50; i++) before.push_back(directory_get(bare, i));
    calls_reset();
    EXPECT_EQ(module_register(bare, 2, -1, full.block, Name("in front")), (DictStatus)DICT_OK);
    for (i16 i = 0; i < 50; i++) EXPECT_EQ(directory_get(bare, (i16)(i + 1)), before[(size_t)i]);
    EXPECT_EQ(le_get(directory_get(bare, 0)->module), 51);  // as it was made: nobody compares
}

// A dictionary whose table is as large as its counters can tell: block 1 stands at the end of the file.
std::string dictionary_with_counts(i32 used, i32 spare)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    bare.close();
    std::string bytes = bare.bytes();
    std::string table = le(used, 2) + le(spare, 2) + le(2, 4);
    for (i32 i = 0; i < used; i++) table += entry_bytes(2, i + 1, i == 0 ? 4 : 0, 0, i == 0 ? 4 : 0);
    table += zeros((size_t)spare * 16);
    patch(&bytes, 26 + 2, le((i64)bytes.size(), 4) + le((i64)table.size(), 4) + le((i64)table.size(), 4));
    return bytes + table;
}

TEST(module_register, gives_13_when_the_count_of_modules_is_full)
{
    const struct {
        i32 used, spare;
        bool has_room;
    } rows[] = {
        { 32717, 0, true },    // 50 more entries are 32767
        { 32718, 0, false },
        { 32767, 0, false },
        { 32766, 1, true },
        { 32766, 2, false },   // more entries than an index can tell: damage
        { 32767, 1, false },
        { 32767, 32767, false },
        { 1, 32767, false },
    };
    for (const auto &r : rows) {
        AfterACrash opened(dictionary_with_counts(r.used, r.spare));
        ASSERT_EQ(opened.status, (DictStatus)DICT_OK);
        u32 block = new_directory(opened, 40000);
        DictStatus status = r.has_room ? DICT_OK : DICT_NO_ROOM;
        EXPECT_EQ(module_register(opened, 2, 40000, block, Name("Mod")), status) << r.used << " " << r.spare;
        EXPECT_EQ(module_find(opened, 2, 40000), r.has_room ? r.used : MODULE_ABSENT);
        EXPECT_EQ(module_unregister(opened, 2, 1), (DictStatus)DICT_OK);
        EXPECT_GE(le_get(opened->module_table->spare_entries), 0);
        EXPECT_EQ(module_entry(opened, 0) != nullptr, r.used > 1);
    }
}

TEST(module_register, gives_2_for_a_module_that_is_there_though_the_count_is_full)
{
    AfterACrash opened(dictionary_with_counts(32767, 0));
    ASSERT_EQ(opened.status, (DictStatus)DICT_OK);
    EXPECT_EQ(module_register(opened, 2, 1, 4, Name("new")), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(module_register(opened, 2, 40000, 4, Name("one")), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(module_register(opened, 2, 40000, 4, Name("new")), (DictStatus)DICT_NO_ROOM);
}

// ---- Removing -------------------------------------------------------------------------------------------------------

TEST(module_unregister, takes_the_entry_and_the_name)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "second");
    make(bare, 2, 3, "three");
    const ModuleDirectory *first = directory_get(bare, 0);
    const ModuleDirectory *third = directory_get(bare, 2);
    u32 alive = handles_alive();
    EXPECT_EQ(module_unregister(bare, 2, 2), (DictStatus)DICT_OK);
    EXPECT_EQ(table_bytes(bare), le(2, 2) + le(48, 2) + le(2, 4) + entry_bytes(2, 1, 4, 0, 4) +
                                     entry_bytes(2, 3, 6, 4, 6) + zeros(768));
    EXPECT_EQ(part(bare.bytes(), TABLE_AT, 808), table_bytes(bare));
    EXPECT_EQ(part(bare.bytes(), LIST_AT, 10), stored("one") + stored("three"));
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 502");
    EXPECT_EQ(bare->directories[0].directory, first);
    EXPECT_EQ(bare->directories[1].directory, third);
    EXPECT_EQ(bare->directories[2].handle, 0u);
    EXPECT_EQ(bare->directories[2].directory, nullptr);
    EXPECT_EQ(handles_alive(), alive - 1);
    EXPECT_EQ(row(entry_of(bare, 5)), "2: 5856 926 0");  // its block stays
}

TEST(module_unregister, of_the_last_and_of_the_only_module)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    EXPECT_EQ(module_unregister(bare, 2, 2), (DictStatus)DICT_OK);
    EXPECT_EQ(modules_of(bare), (Lines{ "2/1 one" }));
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(table_bytes(bare), le(0, 2) + le(50, 2) + le(2, 4) + zeros(800));
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 512");
    make(bare, 2, 3, "three");
    EXPECT_EQ(modules_of(bare), (Lines{ "2/3 three" }));
}

TEST(module_unregister, moves_the_names_of_all_kinds)
{
    BareDictionary bare;
    make(bare, 3, 1, "third");
    make(bare, 2, 1, "second");
    make(bare, 1, 1, "first");
    make(bare, 3, 2, "last");
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(part(table_bytes(bare), 8, 48), entry_bytes(1, 1, 6, 6, 6) + entry_bytes(3, 1, 4, 0, 6) +
                                                  entry_bytes(3, 2, 7, 12, 5));
    EXPECT_EQ(modules_of(bare), (Lines{ "1/1 first", "3/1 third", "3/2 last" }));
}

TEST(module_unregister, writes_the_list_and_the_table)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    calls_reset();
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 4422+4", "write 4418+4", "write 3610+808" }));
}

TEST(module_unregister, gives_3_for_an_absent_module)
{
    BareDictionary bare;
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_NOT_FOUND);
    make(bare, 2, 1, "one");
    EXPECT_EQ(module_unregister(bare, 2, 2), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_unregister(bare, 3, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(modules_of(bare), (Lines{ "2/1 one" }));
}

TEST(module_unregister, drops_the_directory_even_if_the_name_stays)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    std::string before = table_bytes(bare);
    u32 alive = handles_alive();
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });  // of the names behind it
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(table_bytes(bare), before);
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 504");
    EXPECT_EQ(handles_alive(), alive - 1);
    EXPECT_EQ(bare->directories[0].handle, 0u);
    EXPECT_TRUE(is_usable_for_all(bare, 0));  // it comes back when it is wanted
}

TEST(module_unregister, gives_the_status_of_a_failed_write_of_the_table)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(modules_of(bare), Lines());  // in memory it is gone
}

TEST(module_unregister, gives_1_for_a_name_outside_the_used_part)
{
    BareDictionary bare;
    make(bare, 2, 1, "one");
    make(bare, 2, 2, "two");
    for (i32 offset : { -1, 5, INT_MIN, INT_MAX }) {  // 8 bytes are used, 4 by the name
        bare->module_entries[0].name_offset = le_i32(offset);
        EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_FAILED) << offset;
    }
    bare->module_entries[0].name_offset = le_i32(0);
    for (i16 size : { (i16)-1, (i16)9, (i16)-32768, (i16)32767 }) {
        bare->module_entries[0].name_size = le_i16(size);
        EXPECT_EQ(module_unregister(bare, 2, 1), (DictStatus)DICT_FAILED) << size;
    }
    EXPECT_EQ(module_count(bare, 2), 2);
}

// ---- Renaming -------------------------------------------------------------------------------------------------------

struct ThreeModules {
    BareDictionary bare;
    ThreeModules()
    {
        make(bare, 3, 1, "one");
        make(bare, 2, 2, "second");
        make(bare, 2, 3, "three");
    }
    operator DictFile *() { return bare; }
    DictFile *operator->() { return bare; }
};

TEST(module_rename, to_a_longer_name_moves_the_names_behind_it)
{
    ThreeModules file;
    EXPECT_EQ(module_rename(file, 2, 2, Name("much longer")), (DictStatus)DICT_OK);
    EXPECT_EQ(block_bytes(file, 2), stored("one") + stored("much longer") + stored("three"));
    EXPECT_EQ(row(entry_of(file, 2)), "3: 4418 512 490");
    EXPECT_EQ(part(table_bytes(file), 8, 48), entry_bytes(2, 2, 5, 4, 12) + entry_bytes(2, 3, 6, 16, 6) +
                                                  entry_bytes(3, 1, 4, 0, 4));
    EXPECT_EQ(part(file.bare.bytes(), TABLE_AT, 808), table_bytes(file));
    EXPECT_EQ(modules_of(file), (Lines{ "2/2 much longer", "2/3 three", "3/1 one" }));
}

TEST(module_rename, to_a_shorter_name_closes_the_gap)
{
    ThreeModules file;
    EXPECT_EQ(module_rename(file, 2, 2, Name("2")), (DictStatus)DICT_OK);
    EXPECT_EQ(block_bytes(file, 2), stored("one") + stored("2") + stored("three"));
    EXPECT_EQ(row(entry_of(file, 2)), "3: 4418 512 500");
    EXPECT_EQ(part(file.bare.bytes(), TABLE_AT + 8, 48), entry_bytes(2, 2, 5, 4, 2) + entry_bytes(2, 3, 6, 6, 6) +
                                                             entry_bytes(3, 1, 4, 0, 4));
    EXPECT_EQ(module_rename(file, 2, 2, Name("")), (DictStatus)DICT_OK);
    EXPECT_EQ(modules_of(file), (Lines{ "2/2 ", "2/3 three", "3/1 one" }));
}

TEST(module_rename, to_a_name_of_the_same_size_writes_only_the_name)
{
    ThreeModules file;
    calls_reset();
    EXPECT_EQ(module_rename(file, 2, 2, Name("SECOND")), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "write 4422+7" }));
    EXPECT_EQ(modules_of(file), (Lines{ "2/2 SECOND", "2/3 three", "3/1 one" }));
}

TEST(module_rename, moves_the_tail_then_writes_the_name_and_the_table)
{
    ThreeModules file;
    calls_reset();
    EXPECT_EQ(module_rename(file, 2, 2, Name("seconds")), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }),
              (Lines{ "read 4429+6", "write 4430+6", "write 4422+8", "write 3610+808" }));
}

TEST(module_rename, cuts_to_79_characters)
{
    ThreeModules file;
    EXPECT_EQ(module_rename(file, 2, 3, Name(std::string(79, 'a') + "b")), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(module_entry(file, 1)->name_size), 80);
    EXPECT_EQ(block_bytes(file, 2), stored("one") + stored("second") + stored(std::string(79, 'a')));
    EXPECT_EQ(module_rename(file, 2, 2, Name(std::string(255, 'c'))), (DictStatus)DICT_OK);
    EXPECT_EQ(modules_of(file)[0], "2/2 " + std::string(79, 'c'));
}

TEST(module_rename, does_not_ask_whether_the_name_is_taken)
{
    ThreeModules file;
    EXPECT_EQ(module_rename(file, 2, 2, Name("three")), (DictStatus)DICT_OK);
    EXPECT_EQ(modules_of(file), (Lines{ "2/2 three", "2/3 three", "3/1 one" }));
}

TEST(module_rename, grows_a_full_list_by_256_bytes)
{
    BareDictionary bare;
    make(bare, 2, 1, "first");
    make(bare, 2, 2, std::string(255, 'b'));
    make(bare, 2, 3, std::string(248, 'c'));
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 1");
    EXPECT_EQ(module_rename(bare, 2, 1, Name("first!")), (DictStatus)DICT_OK);  // the last free byte
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 0");
    EXPECT_EQ(module_rename(bare, 2, 1, Name("first!!")), (DictStatus)DICT_OK);
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 7708 768 255");
    EXPECT_EQ(row(entry_of(bare, 7)), "0: 4418 512 512");
    EXPECT_EQ(block_bytes(bare, 2), stored("first!!") + stored(std::string(255, 'b')) + stored(std::string(248, 'c')));
}

TEST(module_rename, stores_the_new_size_of_a_list_that_grows_at_the_end_of_the_file)
{
    BareDictionary bare;
    make(bare, 2, 1, "a");
    make(bare, 2, 2, std::string(255, 'b'));
    make(bare, 2, 3, std::string(253, 'c'));
    u32 directory = new_directory(bare, 4);
    EXPECT_EQ(module_rename(bare, 2, 1, Name("aa")), (DictStatus)DICT_OK);
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 8634 768 255");  // behind four directories
    EXPECT_EQ(module_register(bare, 2, 4, directory, Name(std::string(254, 'd'))), (DictStatus)DICT_OK);
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 8634 768 0");
    calls_reset();
    EXPECT_EQ(module_rename(bare, 2, 1, Name("aaa")), (DictStatus)DICT_OK);
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 8634 1024 255");
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE, FAULT_OPEN }),
              (Lines{ "write 9402+256", "read 8637+765", "write 8638+765", "write 8634+4", "write 3610+808" }));
    bare.close();
    EXPECT_EQ(bare.bytes().size(), 8634u + 1024);
    bare.open();
    EXPECT_EQ(row(entry_of(bare, 2)), "3: 8634 1024 255");
    EXPECT_EQ(name_at(bare, 0), "aaa");
    EXPECT_EQ(module_find_by_name(bare, 2, Name(std::string(254, 'd'))), 4);
}

TEST(module_rename, gives_3_for_an_absent_module)
{
    ThreeModules file;
    EXPECT_EQ(module_rename(file, 2, 1, Name("x")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_rename(file, 1, 2, Name("x")), (DictStatus)DICT_NOT_FOUND);
}

TEST(module_rename, changes_nothing_when_the_list_cannot_grow_or_move)
{
    for (u32 nth : { 1u, 2u }) {
        BareDictionary bare;
        make(bare, 2, 1, "first");
        make(bare, 2, 2, std::string(255, 'b'));
        make(bare, 2, 3, std::string(249, 'c'));
        std::string before = table_bytes(bare);
        // The first write makes room at the end of the file, the second copies the list there.
        faults_start({ .call = FAULT_WRITE, .nth = nth, .error = PLATFORM_DISK_FULL });
        EXPECT_EQ(module_rename(bare, 2, 1, Name("firstly")), (DictStatus)DICT_NO_ROOM);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(table_bytes(bare), before);
        EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 0");
        EXPECT_EQ(modules_of(bare)[0], "2/1 first");
        EXPECT_EQ(module_rename(bare, 2, 1, Name("firstly")), (DictStatus)DICT_OK);
    }
}

TEST(module_rename, changes_nothing_in_memory_when_the_tail_cannot_move)
{
    ThreeModules file;
    std::string before = table_bytes(file);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(module_rename(file, 2, 2, Name("seconds")), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(table_bytes(file), before);
    EXPECT_EQ(row(entry_of(file, 2)), "3: 4418 512 495");
    EXPECT_EQ(modules_of(file), (Lines{ "2/2 second", "2/3 three", "3/1 one" }));
}

TEST(module_rename, adds_the_difference_twice_when_the_write_fails)
{
    ThreeModules file;
    faults_start({ .call = FAULT_WRITE, .nth = 2, .error = PLATFORM_DISK_FULL });  // behind the move of the tail
    EXPECT_EQ(module_rename(file, 2, 2, Name("seconds!")), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(le_get(module_entry(file, 0)->name_size), 11);  // 7, then 9, and 2 more
    EXPECT_EQ(le_get(module_entry(file, 1)->name_offset), 11);
    EXPECT_EQ(row(entry_of(file, 2)), "3: 4418 512 495");
    look_everywhere(file);
}

TEST(module_rename, goes_on_with_a_size_that_a_failure_has_left_negative)
{
    ThreeModules file;
    faults_start({ .call = FAULT_WRITE, .nth = 2 });
    EXPECT_EQ(module_rename(file, 2, 2, Name("")), (DictStatus)DICT_FAILED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(le_get(module_entry(file, 0)->name_size), -5);  // 7, then 1, and 6 less
    EXPECT_EQ(name_at(file, 0), "<status 3>");
    look_everywhere(file);
    EXPECT_EQ(module_rename(file, 2, 2, Name("second")), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_unregister(file, 2, 2), (DictStatus)DICT_FAILED);
}

TEST(module_rename, gives_the_status_of_a_failed_write_of_the_table_and_keeps_the_name)
{
    ThreeModules file;
    faults_start({ .call = FAULT_WRITE, .nth = 3, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(module_rename(file, 2, 2, Name("seconds")), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(row(entry_of(file, 2)), "3: 4418 512 494");
    EXPECT_EQ(modules_of(file), (Lines{ "2/2 seconds", "2/3 three", "3/1 one" }));
}

TEST(module_rename, refuses_a_name_outside_the_used_part)
{
    ThreeModules file;
    const struct {
        i32 offset;
        i16 size;
        DictStatus status;
    } rows[] = {
        { -1, 7, DICT_NOT_FOUND }, { INT_MIN, 7, DICT_NOT_FOUND },
        { 4, -1, DICT_NOT_FOUND }, { 4, 257, DICT_NOT_FOUND },
        { 11, 7, DICT_FAILED },    { 4, 14, DICT_FAILED },         { INT_MAX, 7, DICT_FAILED },
        { 17, 2, DICT_FAILED },  // as large as the new name, so that nothing has to move
    };
    std::string before = file.bare.bytes();
    for (const auto &r : rows) {
        module_entry(file, 0)->name_offset = le_i32(r.offset);
        module_entry(file, 0)->name_size = le_i16(r.size);
        EXPECT_EQ(module_rename(file, 2, 2, Name("x")), r.status) << r.offset << " " << r.size;
    }
    EXPECT_EQ(file.bare.bytes(), before);
}

// ---- Damage in the file ---------------------------------------------------------------------------------------------

// Three modules with a resource each, closed: what every damage below starts from.
std::string sound_file()
{
    BareDictionary bare;
    make(bare, 2, 1, "First");
    make(bare, 2, 10, "Second");
    make(bare, 3, 100, "Third");
    for (i32 i = 0; i < 3; i++) {
        i32 kind = i < 2 ? 2 : 3;
        i32 module = i == 0 ? 1 : i == 1 ? 10 : 100;
        EXPECT_EQ(resource_add_entry(bare, kind, module, 4, 1, 0, 0), (DictStatus)DICT_OK);
        EXPECT_EQ(directory_save(bare, kind, module), (DictStatus)DICT_OK);
    }
    bare.close();
    return bare.bytes();
}

// Every operation of this unit on a file that may be damaged; each may give any status.
void use_all(DictFile *file)
{
    look_everywhere(file);
    (void)module_create(file, 2, 77, Name("made"));
    (void)module_create(file, 1, 16, Name("made"));
    (void)module_rename(file, 2, 10, Name("renamed to a longer name"));
    (void)module_rename(file, 2, 1, Name("f"));
    (void)module_unregister(file, 3, 100);
    (void)module_delete(file, 2, 1);
    (void)module_delete(file, 2, 10);
    (void)module_create(file, 3, 78, Name(std::string(255, 'n')));
    (void)module_table_write(file);
    look_everywhere(file);
    module_table_release(file);
    (void)module_table_load(file);
    look_everywhere(file);
}

TEST(damage_to_the_module_table, of_one_field_gives_the_status_of_its_operations)
{
    const std::string sound = sound_file();
    u32 first = TABLE_AT + 8;          // the entry of 2/1, whose directory is block 4
    const struct {
        const char *what;
        size_t offset;
        std::string bytes;
        DictStatus name, directory, unregister;   // of module 2/1
    } rows[] = {
        { "nothing", 0, "", DICT_OK, DICT_OK, DICT_OK },
        { "name_block 0", TABLE_AT + 4, le(0, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block 1", TABLE_AT + 4, le(1, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block 3", TABLE_AT + 4, le(3, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block of a directory", TABLE_AT + 4, le(4, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block of bodies", TABLE_AT + 4, le(8, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block of a free entry", TABLE_AT + 4, le(200, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block above the table", TABLE_AT + 4, le(257, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "name_block of all bits", TABLE_AT + 4, le(-1, 4), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "directory_block 0", first + 6, le(0, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block 1", first + 6, le(1, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block 2", first + 6, le(2, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block 3", first + 6, le(3, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block of bodies", first + 6, le(8, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block of a free entry", first + 6, le(200, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block above the table", first + 6, le(257, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block of all bits", first + 6, le(-1, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "directory_block of another module", first + 6, le(5, 4), DICT_OK, DICT_OK, DICT_OK },
        { "name_offset -1", first + 10, le(-1, 4), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_offset behind the used part", first + 10, le(19, 4), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_offset of 31 bits", first + 10, le(0x7FFFFFFF, 4), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_offset of the top bit", first + 10, le(0x80000000, 4), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_size -1", first + 14, le(-1, 2), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_size 257", first + 14, le(257, 2), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_size beyond the used part", first + 14, le(20, 2), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_size of the top bit", first + 14, le(0x8000, 2), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "name_size 0", first + 14, le(0, 2), DICT_OK, DICT_OK, DICT_OK },
        { "the list all free", 26 + 14 + 10, le(512, 4), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "the list more than free", 26 + 14 + 10, le(513, 4), DICT_NOT_FOUND, DICT_OK, DICT_FAILED },
        { "the list of another type", 26 + 14, le(4, 2), DICT_NOT_FOUND, DICT_OK, DICT_NOT_FOUND },
        { "the list above 2 GiB", 26 + 14 + 2, le(0x80000000, 4), DICT_BAD_POSITION, DICT_OK, DICT_BAD_POSITION },
        { "the directory of another type", 26 + 3 * 14, le(4, 2), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "the directory behind the file", 26 + 3 * 14 + 2, le(0x7FFFFF00, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "the directory too large", 26 + 3 * 14 + 6, le(0x7FFFFFFF, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
        { "the directory too small", 26 + 3 * 14 + 6, le(100, 4), DICT_OK, DICT_NOT_FOUND, DICT_OK },
    };
    for (const auto &r : rows) {
        std::string damaged = sound;
        patch(&damaged, r.offset, r.bytes);
        AfterACrash opened(damaged);
        ASSERT_EQ(opened.status, (DictStatus)DICT_OK) << r.what;
        Name name;
        EXPECT_EQ(module_read_name(opened, 0, name), r.name) << r.what;
        EXPECT_EQ(directory_get(opened, 0) ? DICT_OK : DICT_NOT_FOUND, (int)r.directory) << r.what;
        if (r.directory) {
            EXPECT_EQ(directory_load(opened, 0), r.directory) << r.what;
            EXPECT_EQ(module_delete(opened, 2, 1), r.directory) << r.what;
        }
        EXPECT_EQ(module_unregister(opened, 2, 1), r.unregister) << r.what;

        AfterACrash again(damaged);
        use_all(again);
    }
}

TEST(damage_to_the_module_table, of_the_place_of_the_list_makes_no_file_longer)
{
    const std::string sound = sound_file();
    for (const std::string &place : { le((i64)sound.size() - 511, 4) + le(512, 4),   // one byte behind the file
                                      le(0x7FFFF000, 4) + le(512, 4), le(LIST_AT, 4) + le(0x7F000000, 4),
                                      le(0xFFFFFFFF, 4) + le(0xFFFFFFFF, 4) }) {
        std::string damaged = sound;
        patch(&damaged, 26 + 14 + 2, place);
        AfterACrash opened(damaged);
        EXPECT_EQ(module_register(opened, 2, 5, 4, Name("x")), (DictStatus)DICT_BAD_POSITION);
        EXPECT_EQ(module_unregister(opened, 2, 1), (DictStatus)DICT_BAD_POSITION);
        EXPECT_EQ(module_rename(opened, 2, 1, Name("x")), (DictStatus)DICT_BAD_POSITION);
        EXPECT_EQ(dict_length(opened), (i32)sound.size());
    }
}

TEST(damage_to_the_module_table, of_its_order_hides_modules_and_harms_nothing)
{
    const std::string sound = sound_file();
    std::string one = part(sound, TABLE_AT + 8, 16);
    std::string two = part(sound, TABLE_AT + 24, 16);
    std::string three = part(sound, TABLE_AT + 40, 16);
    for (const std::string &order : { three + two + one, two + one + three, one + one + one, three + one + three }) {
        std::string damaged = sound;
        patch(&damaged, TABLE_AT + 8, order);
        AfterACrash opened(damaged);
        EXPECT_EQ(opened.status, (DictStatus)DICT_OK);
        EXPECT_EQ(modules_of(opened).size(), 3u);
        use_all(opened);
    }
}

TEST(damage_to_the_module_table, of_any_byte_harms_nothing)
{
    const std::string sound = sound_file();
    std::vector<size_t> places;
    for (size_t i = 0; i < 56 + 4; i++) places.push_back(TABLE_AT + i);     // the head, three entries, a spare one
    for (size_t i = 0; i < 19; i++) places.push_back(LIST_AT + i);          // the names
    for (size_t i = 0; i < 6 * 14; i++) places.push_back(26 + i);           // the entries of the first blocks
    for (size_t place : places) {
        for (int value : { 0x00, 0x01, 0x7F, 0x80, 0xFF }) {
            if ((u8)sound[place] == value) continue;
            std::string damaged = sound;
            damaged[place] = (char)value;
            AfterACrash opened(damaged);
            if (opened.status) {
                EXPECT_EQ(opened.status, (DictStatus)DICT_NOT_A_DICTIONARY) << place << " " << value;
            } else {
                use_all(opened);
            }
        }
    }
}

// ---- Each call of the platform fails in turn ------------------------------------------------------------------------

// Two modules, each with one resource of type 4, closed.
std::string two_modules()
{
    BareDictionary bare;
    make(bare, 2, 10, "First");
    make(bare, 3, 20, "Second");
    for (i32 kind : { 2, 3 }) {
        i32 module = kind * 10 - 10;
        std::string body = kind == 2 ? "body 1" : "body 2";
        EXPECT_EQ(resource_add_entry(bare, kind, module, 4, 1, 4, 6), (DictStatus)DICT_OK);
        EXPECT_EQ(block_splice(bare, type_name_block(bare, kind, module, 4), "\x03one", 0, 4, 0, 16),
                  (DictStatus)DICT_OK);
        EXPECT_EQ(block_splice(bare, type_body_block(bare, kind, module, 4), body.data(), 0, 6, 0, 16),
                  (DictStatus)DICT_OK);
        EXPECT_EQ(directory_save(bare, kind, module), (DictStatus)DICT_OK);
    }
    bare.close();
    return bare.bytes();
}

std::string body_of(DictFile *file, i32 kind, i32 module)
{
    u32 offset;
    i32 size;
    DictStatus status = resource_locate(file, kind, module, 4, 1, &offset, &size);
    if (status) return "<status " + std::to_string(status) + ">";
    std::string text((size_t)size, '?');
    EXPECT_EQ(dict_read_at(file, offset, text.data(), size), (DictStatus)DICT_OK);
    return text;
}

// Modules and bodies in one line: "2/10 First (body 1), 3/20 Second (body 2)".
std::string contents(DictFile *file)
{
    look_everywhere(file);
    std::string text;
    Lines modules = modules_of(file);
    for (i16 i = 0; i < (i16)modules.size(); i++) {
        if (i > 0) text += ", ";
        text += modules[(size_t)i];
        ModuleDirectory *directory = directory_get(file, i);
        if (!directory) {
            text += " no directory";
        } else if (type_entry(directory, 4)) {
            text += " (" + body_of(file, le_get(directory->kind), le_get(directory->module)) + ")";
        }
    }
    return text;
}

// How many modules, and of how many the name and the directory can be read.
std::string counts(DictFile *file)
{
    look_everywhere(file);
    int modules = 0;
    int names = 0;
    int directories = 0;
    for (i16 i = 0; module_entry(file, i); i++) {
        modules++;
        names += name_at(file, i)[0] != '<';
        directories += is_usable_for_all(file, i);
    }
    return std::to_string(modules) + " " + std::to_string(names) + " " + std::to_string(directories);
}

TEST(module_create, leaves_the_old_or_the_new_state_whichever_call_fails)
{
    const std::string before = "2/10 First (body 1), 3/20 Second (body 2)";
    const std::string after = "2/10 First (body 1), 2/15 Third, 3/20 Second (body 2)";
    // The block table reaches the file at the close: until then others see the entry without its name and directory.
    const std::string unflushed = "2/10 First (body 1), 2/15 <status 3> no directory, 3/20 Second (body 2)";
    std::set<Outcome> outcomes = outcomes_of(two_modules(), [](DictFile *file) {
        return module_create(file, 2, 15, Name("Third"));
    }, contents);
    EXPECT_EQ(outcomes, (std::set<Outcome>{
                            { false, before, before, before },
                            { false, before, "lost", before },
                            { true, unflushed, after, after },
                            { false, unflushed, after, after },  // the directory could not be read into the cache
                            { true, before, after, before },     // the table was not written, and nobody was told
                            { false, before, after, before },    // both
                        }));
}

TEST(module_register, leaves_the_old_or_the_new_state_whichever_call_fails)
{
    std::string sound;
    {
        AfterACrash opened(two_modules());
        EXPECT_EQ(new_directory(opened, 15), 12u);
        (void)dict_file_close(opened);
        sound = opened.dir.content("crash.dic");
    }
    const std::string before = "2/10 First (body 1), 3/20 Second (body 2)";
    const std::string after = "2/10 First (body 1), 2/15 Third, 3/20 Second (body 2)";
    const std::string unflushed = "2/10 First (body 1), 2/15 <status 3>, 3/20 Second (body 2)";
    std::set<Outcome> outcomes = outcomes_of(sound, [](DictFile *file) {
        return module_register(file, 2, 15, 12, Name("Third"));
    }, contents);
    EXPECT_EQ(outcomes, (std::set<Outcome>{
                            { false, before, before, before },
                            { true, unflushed, after, after },
                            { false, unflushed, after, after },
                            { true, before, after, before },
                            { false, before, after, before },
                        }));
}

TEST(module_register, keeps_50_modules_whichever_call_fails_when_table_and_list_grow)
{
    std::string sound;
    {
        BareDictionary bare;
        make_many(bare, 1, 49);
        make(bare, 2, 50, std::string(226, 'x'));       // the list is full with it
        EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 0");
        EXPECT_EQ(new_directory(bare, 51), 54u);
        bare.close();
        sound = bare.bytes();
    }
    std::set<Outcome> outcomes = outcomes_of(
        sound, [](DictFile *file) { return module_register(file, 2, 51, 54, Name("Mod51")); }, counts);
    EXPECT_EQ(outcomes, (std::set<Outcome>{
                            { false, "50 50 50", "50 50 50", "50 50 50" },
                            { false, "50 50 50", "lost", "50 50 50" },
                            { true, "51 51 51", "51 51 51", "51 51 51" },  // block 1 has moved, which flushes it
                            { false, "51 51 51", "51 51 51", "51 51 51" },  // the directory could not be read
                            { true, "50 50 50", "51 51 51", "51 51 51" },   // the flush failed
                            { true, "50 50 50", "51 51 51", "50 50 50" },   // block 1 was not written or could not move
                            { false, "50 50 50", "51 51 51", "50 50 50" },
                        }));
}

TEST(module_unregister, leaves_the_old_or_the_new_state_whichever_call_fails)
{
    const std::string before = "2/10 First (body 1), 3/20 Second (body 2)";
    const std::string after = "3/20 Second (body 2)";
    std::set<Outcome> outcomes = outcomes_of(two_modules(), [](DictFile *file) {
        return module_unregister(file, 2, 10);
    }, contents);
    EXPECT_EQ(outcomes, (std::set<Outcome>{
                            { false, before, before, before },
                            { true, after, after, after },
                            // The list is written ahead of the table: with the old table the names stand elsewhere.
                            { false, "2/10 Secon (body 1), 3/20 Second (body 2)", after,
                              "2/10 Secon (body 1), 3/20 <status 3> (body 2)" },
                        }));
}

TEST(module_rename, leaves_the_old_or_the_new_state_whichever_call_fails)
{
    const std::string before = "2/10 First (body 1), 3/20 Second (body 2)";
    const std::string after = "2/10 Renamed (body 1), 3/20 Second (body 2)";
    std::set<Outcome> outcomes = outcomes_of(two_modules(), [](DictFile *file) {
        return module_rename(file, 2, 10, Name("Renamed"));
    }, contents);
    // The tail of the list moves by 2, then comes the name, then the table; the list's new length waits for the close.
    const std::string moved = "2/10 First (body 1), 3/20 S\x06Seco (body 2)";
    const std::string named = "2/10 Renam (body 1), 3/20 d\x06Seco (body 2)";
    EXPECT_EQ(outcomes, (std::set<Outcome>{
                            { false, before, before, before },
                            { true, "2/10 Renamed (body 1), 3/20 <status 3> (body 2)", after, after },
                            { false, moved, moved, moved },
                            { false, named, after, named },
                        }));
}

TEST(module_rename, keeps_the_names_whichever_call_fails_when_the_list_grows)
{
    std::string sound;
    {
        BareDictionary bare;
        make(bare, 2, 10, "First");
        make(bare, 2, 11, std::string(255, 'x'));
        make(bare, 2, 12, std::string(249, 'x'));
        EXPECT_EQ(row(entry_of(bare, 2)), "3: 4418 512 0");
        bare.close();
        sound = bare.bytes();
    }
    // Names by their first characters, and what is the length byte of a long name as "#".
    Summary names = [](DictFile *file) {
        std::string text;
        for (i16 i = 0; module_entry(file, i); i++) {
            for (char c : name_at(file, i).substr(0, i == 0 ? 8 : 3)) text += (u8)c > 0x7F ? '#' : c;
            text += ' ';
        }
        return text;
    };
    std::set<Outcome> outcomes =
        outcomes_of(sound, [](DictFile *file) { return module_rename(file, 2, 10, Name("Renamed")); }, names);
    const std::string before = "First xxx xxx ";
    const std::string after = "Renamed xxx xxx ";
    EXPECT_EQ(outcomes, (std::set<Outcome>{
                            { false, before, before, before },
                            { false, before, "lost", before },
                            // The list's new length waits for the close: the last name is outside of it for others.
                            { true, "Renamed xxx <st ", after, after },
                            { true, "First xxx <st ", after, after },       // and the flush of the move failed
                            { false, "First x#x x#x ", "First x#x x#x ", "First x#x x#x " },  // the tail has moved by 2
                            { false, "Renam d#x x#x ", after, "Renam d#x x#x " },             // no table was written
                        }));
}

} // namespace
} // namespace zuk
