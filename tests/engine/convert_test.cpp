#include "engine/convert.h"

#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace zuk {

// Bytes that no conversion could take for zeros or turn round unseen.
static std::string pattern(size_t count)
{
    std::string bytes;
    for (size_t i = 0; i < count; i++) bytes += (char)(u8)(i * 7 + 1);
    return bytes;
}

template <typename Record>
static void expect_unchanged(const std::function<void(Record *)> &hook)
{
    Record record;
    std::string before = pattern(sizeof record);
    memcpy((void *)&record, before.data(), sizeof record);
    hook(&record);
    EXPECT_EQ(std::string((const char *)&record, sizeof record), before);
}

TEST(convert, has_every_operation)
{
    void *const operations[] = {
        (void *)header_to_file, (void *)header_from_file,
        (void *)block_entries_to_file, (void *)block_entry_from_file,
        (void *)module_table_to_file, (void *)module_table_from_file,
        (void *)directory_to_file, (void *)directory_from_file,
        (void *)resource_from_file, (void *)resource_to_file,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- The fixed records ----------------------------------------------------------------------------------------------

TEST(header_to_file, changes_no_byte)
{
    expect_unchanged<DictHeader>(header_to_file);
}

TEST(header_from_file, changes_no_byte)
{
    expect_unchanged<DictHeader>(header_from_file);
}

TEST(block_entries_to_file, changes_no_byte_of_three_entries)
{
    struct Three { BlockEntry entries[3]; };
    expect_unchanged<Three>([](Three *three) { block_entries_to_file(three->entries, 3); });
}

TEST(block_entry_from_file, changes_no_byte)
{
    expect_unchanged<BlockEntry>(block_entry_from_file);
}

TEST(module_table_to_file, gives_its_argument_unchanged)
{
    expect_unchanged<ModuleTable>([](ModuleTable *table) { EXPECT_EQ(module_table_to_file(table), table); });
    EXPECT_EQ(module_table_to_file(nullptr), nullptr);
}

TEST(module_table_from_file, gives_its_argument_unchanged)
{
    expect_unchanged<ModuleTable>([](ModuleTable *table) { EXPECT_EQ(module_table_from_file(table), table); });
    EXPECT_EQ(module_table_from_file(nullptr), nullptr);
}

// A directory with two types and 9 slots of resources, whole.
struct SmallDirectory {
    ModuleDirectory head;
    TypeEntry types[2];
    ResourceEntry slots[9];
};

static void fill(SmallDirectory *directory)
{
    directory->head.type_count = le16(2);
    directory->head.free_type_slots = le16(0);
    directory->head.assigned_slots = le16(9);
}

TEST(directory_to_file, changes_no_byte)
{
    SmallDirectory directory;
    memcpy((void *)&directory, pattern(sizeof directory).data(), sizeof directory);
    fill(&directory);
    std::string before((const char *)&directory, sizeof directory);
    directory_to_file(&directory.head);
    EXPECT_EQ(std::string((const char *)&directory, sizeof directory), before);
}

TEST(directory_from_file, changes_no_byte)
{
    SmallDirectory directory;
    memcpy((void *)&directory, pattern(sizeof directory).data(), sizeof directory);
    fill(&directory);
    std::string before((const char *)&directory, sizeof directory);
    directory_from_file(&directory.head);
    EXPECT_EQ(std::string((const char *)&directory, sizeof directory), before);
}

// ---- Bodies ---------------------------------------------------------------------------------------------------------

TEST(resource_item_count, counts_elements_of_2_bytes)
{
    for (i16 type : { i16{ 33 }, i16{ 38 } }) {
        EXPECT_EQ(resource_item_count(type, 0), 0);
        EXPECT_EQ(resource_item_count(type, 1), 0);
        EXPECT_EQ(resource_item_count(type, 2), 1);
        EXPECT_EQ(resource_item_count(type, 101), 50);
    }
}

TEST(resource_item_count, counts_records_of_74_bytes)
{
    EXPECT_EQ(resource_item_count(34, 73), 0);
    EXPECT_EQ(resource_item_count(34, 74), 1);
    EXPECT_EQ(resource_item_count(34, 74 * 7 + 73), 7);
}

TEST(resource_item_count, counts_records_of_22_bytes)
{
    EXPECT_EQ(resource_item_count(37, 21), 0);
    EXPECT_EQ(resource_item_count(37, 22), 1);
    EXPECT_EQ(resource_item_count(37, 22 * 9 + 21), 9);
}

TEST(resource_item_count, is_0_for_every_other_layout)
{
    for (i16 type = -2; type <= 70; type++) {
        if (type == 33 || type == 34 || type == 37 || type == 38) continue;
        EXPECT_EQ(resource_item_count(type, 1000), 0) << "type " << type;
    }
}

// Bodies that would mislead a walk: empty, cut off in a record, and a chain of type 15 whose first item, at byte 20,
// says that the next one is 0 bytes further, or far outside.
static std::vector<std::string> bodies()
{
    std::string chain = pattern(30);
    chain.replace(4, 4, std::string("\xFF\xFF\xFF\xFF", 4));   // as many items
    std::string loop = chain;
    loop.replace(20, 4, std::string(4, '\0'));
    std::string outside = chain;
    outside.replace(20, 4, std::string("\x00\x00\x00\x7F", 4));
    std::string nine = std::string("\x09\x00", 2) + pattern(20);
    return { "", "x", nine, pattern(21), loop, outside, pattern(74 * 2 + 5) };
}

// Both dispatchers, in both directions: `what` is told when bytes differ.
static void expect_bodies_unchanged(i16 type)
{
    for (const std::string &body : bodies()) {
        for (auto *convert : { resource_from_file, resource_to_file }) {
            GHandle handle = handle_of(body);
            convert(handle, type, nullptr);        // locks the body itself
            EXPECT_EQ(bytes_of(handle), body) << "type " << type;
            convert(handle, type, glock(handle));  // finds it locked
            EXPECT_EQ(bytes_of(handle), body) << "type " << type;
            convert(0, type, glock(handle));       // has nothing but the bytes
            EXPECT_EQ(bytes_of(handle), body) << "type " << type;
            gfree(handle);
        }
    }
}

TEST(resource_from_file, changes_no_byte_of_any_type)
{
    for (i16 type = 0; type <= 64; type++) expect_bodies_unchanged(type);
}

TEST(resource_from_file, ignores_types_outside_0_to_64)
{
    for (i32 type : { -32768, -1, 65, 255, 32767 }) expect_bodies_unchanged((i16)type);
}

TEST(resource_from_file, needs_neither_handle_nor_data)
{
    for (i16 type = -1; type <= 65; type++) {
        resource_from_file(0, type, nullptr);
        resource_to_file(0, type, nullptr);
    }
    EXPECT_EQ(call_lines(), std::vector<std::string>{});
}

TEST(resource_from_file, ignores_a_handle_that_is_not_alive)
{
    GHandle freed = handle_of("body");
    gfree(freed);
    for (i16 type = 0; type <= 64; type++) {
        resource_from_file(freed, type, nullptr);
        resource_to_file(freed, type, nullptr);
    }
    EXPECT_EQ(glock(freed), nullptr);
}

TEST(resource_from_file, takes_no_memory_and_no_file)
{
    GHandle handle = handle_of(pattern(200));
    calls_reset();
    for (i16 type = 0; type <= 64; type++) {
        resource_from_file(handle, type, nullptr);
        resource_to_file(handle, type, nullptr);
    }
    EXPECT_EQ(call_counts().alloc + call_counts().resize + call_counts().free, 0u);
    EXPECT_EQ(call_lines(), std::vector<std::string>{});
    gfree(handle);
}

TEST(resource_to_file, and_back_leaves_the_body_of_a_caller)
{
    // A write converts the caller's own body to the file's form and back.
    for (i16 type = 0; type <= 64; type++) {
        GHandle handle = handle_of(pattern(200));
        void *data = glock(handle);
        resource_to_file(handle, type, data);
        EXPECT_EQ(bytes_of(handle), pattern(200));  // what is written
        resource_from_file(handle, type, data);
        EXPECT_EQ(take(handle), pattern(200));
    }
}

TEST(resource_to_file, stores_the_bytes_that_reads_with_and_without_the_flag_give)
{
    constexpr i32 STORED_FORM = 4;
    Library library;
    library.add_module(2, 1, "Before");  // so that the module of the test is not the first of its kind
    library.add_module(2, 2, "Bodies");
    for (u16 type = 1; type <= 64; type++) {
        if (type == 2 || type == 23) continue;  // these stand for modules
        std::string name = "type " + std::to_string(type);
        EXPECT_EQ(library.add(2, 2, type, 1, name, pattern(200)), DICT_OK) << name;
        for (i32 flags : { 0, STORED_FORM }) {
            u32 status = 77;
            EXPECT_EQ(take(dd_getresourcehndl(2, 2, type, 1, flags, &status)), pattern(200)) << name;
            EXPECT_EQ(status, DICT_OK) << name;
        }
    }
}

} // namespace zuk
