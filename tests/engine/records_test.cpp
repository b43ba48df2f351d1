// Each record of the file against bytes written by hand, so that a field that moves, grows or turns round is seen.

#include "engine/records.h"

#include "tests/support/dictionary.h"

#include <cstring>
#include <gtest/gtest.h>

namespace zuk {

// Text of hex digits, with blanks anywhere, as bytes.
static std::string hex(const std::string &digits)
{
    std::string bytes;
    std::string pair;
    for (char digit : digits) {
        if (digit == ' ') continue;
        pair += digit;
        if (pair.size() < 2) continue;
        bytes += (char)std::stoi(pair, nullptr, 16);
        pair.clear();
    }
    EXPECT_TRUE(pair.empty()) << digits;
    return bytes;
}

template <typename Record>
static std::string bytes_of_record(const Record &record)
{
    return std::string((const char *)&record, sizeof record);
}

template <typename Record>
static Record record_of(const std::string &bytes)
{
    Record record;
    EXPECT_EQ(bytes.size(), sizeof record);
    memcpy(&record, bytes.data(), sizeof record);
    return record;
}

static std::string zeros(size_t count) { return std::string(count, '\0'); }

TEST(DictHeader, has_26_bytes)
{
    DictHeader header = {
        .magic = { '%', 'V', 'T', 'L' },
        .version = le16(11),
        .change_count = le16(0x0201),
        .reserved = { 0xAA, 0xBB },
        .table_entry = le32(0x13121110),
        .table_offset = le32(0x23222120),
        .table_entries = le32(0x33323130),
        .free_entries = le32(0x43424140),
    };
    EXPECT_EQ(bytes_of_record(header),
              hex("25 56 54 4C  0B 00  01 02  AA BB  10 11 12 13  20 21 22 23  30 31 32 33  40 41 42 43"));
}

TEST(DictHeader, keeps_counts_with_their_top_bit)
{
    DictHeader header = record_of<DictHeader>(
        hex("25 56 54 4C  FF FF  FE FF  00 00  FF FF FF FF  00 00 00 80  01 00 00 80  FE FF FF FF"));
    EXPECT_EQ(le_get(header.version), 65535u);
    EXPECT_EQ(le_get(header.change_count), 65534u);
    EXPECT_EQ(le_get(header.table_entry), 0xFFFFFFFFu);
    EXPECT_EQ(le_get(header.table_offset), 0x80000000u);
    EXPECT_EQ(le_get(header.table_entries), 0x80000001u);
    EXPECT_EQ(le_get(header.free_entries), 0xFFFFFFFEu);
}

TEST(BlockEntry, has_14_bytes)
{
    BlockEntry entry = {
        .type = le16(0x0201), .offset = le32(0x13121110), .size = le32(0x23222120), .free = le32(0x33323130)
    };
    EXPECT_EQ(bytes_of_record(entry), hex("01 02  10 11 12 13  20 21 22 23  30 31 32 33"));
}

TEST(BlockEntry, keeps_a_size_above_31_bits)
{
    BlockEntry entry = record_of<BlockEntry>(hex("06 00  FF FF FF FF  00 00 00 80  FF FF FF 7F"));
    EXPECT_EQ(le_get(entry.type), BLOCK_TABLE);
    EXPECT_EQ(le_get(entry.offset), 0xFFFFFFFFu);
    EXPECT_EQ(le_get(entry.size), 0x80000000u);
    EXPECT_EQ(le_get(entry.free), 0x7FFFFFFFu);
}

TEST(BlockType, has_the_numbers_that_stand_in_files)
{
    EXPECT_EQ(BLOCK_FREE, 0);
    EXPECT_EQ(BLOCK_MODULE_TABLE, 1);
    EXPECT_EQ(BLOCK_DIRECTORY, 2);
    EXPECT_EQ(BLOCK_NAMES, 3);
    EXPECT_EQ(BLOCK_BODIES, 4);
    EXPECT_EQ(BLOCK_TABLE, 6);
}

TEST(ModuleEntry, has_16_bytes)
{
    ModuleEntry entry = {
        .kind = le_i16(3),
        .module = le_i32(-2),
        .directory_block = le32(0x13121110),
        .name_offset = le_i32(0x23222120),
        .name_size = le_i16(0x0100),
    };
    EXPECT_EQ(bytes_of_record(entry), hex("03 00  FE FF FF FF  10 11 12 13  20 21 22 23  00 01"));
}

TEST(ModuleEntry, has_signed_numbers)
{
    ModuleEntry entry = record_of<ModuleEntry>(hex("FF FF  FE FF FF FF  FD FF FF FF  FC FF FF FF  FB FF"));
    EXPECT_EQ(le_get(entry.kind), -1);
    EXPECT_EQ(le_get(entry.module), -2);
    EXPECT_EQ(le_get(entry.directory_block), 0xFFFFFFFDu);
    EXPECT_EQ(le_get(entry.name_offset), -4);
    EXPECT_EQ(le_get(entry.name_size), -5);
}

TEST(ModuleTable, has_8_bytes)
{
    ModuleTable table = { .module_count = le_i16(0x0201), .spare_entries = le_i16(-2), .name_block = le32(2) };
    EXPECT_EQ(bytes_of_record(table), hex("01 02  FE FF  02 00 00 00"));
    EXPECT_EQ(sizeof(ModuleTable) + MODULE_TABLE_STEP * sizeof(ModuleEntry), 808u);  // a new one
}

TEST(ModuleDirectory, has_14_bytes)
{
    ModuleDirectory directory = {
        .kind = le_i16(2),
        .module = le_i32(-3),
        .type_count = le16(0x0201),
        .free_type_slots = le16(0x0403),
        .assigned_slots = le16(0xFFFE),
        .reserve_slots = le16(0x0605),
    };
    EXPECT_EQ(bytes_of_record(directory), hex("02 00  FD FF FF FF  01 02  03 04  FE FF  05 06"));
    EXPECT_EQ(le_get(directory.assigned_slots), 65534u);
}

TEST(TypeEntry, has_16_bytes)
{
    TypeEntry entry = {
        .type = le_i16(-2),
        .name_block = le32(0x13121110),
        .body_block = le32(0x23222120),
        .first_slot = le16(0xFFFE),
        .resource_count = le16(0x3130),
        .free_slots = le16(0x4140),
    };
    EXPECT_EQ(bytes_of_record(entry), hex("FE FF  10 11 12 13  20 21 22 23  FE FF  30 31  40 41"));
    EXPECT_EQ(le_get(entry.type), -2);
    EXPECT_EQ(le_get(entry.first_slot), 65534u);
}

TEST(ResourceEntry, has_16_bytes)
{
    ResourceEntry entry = {
        .id = le_i16(-2),
        .flags = 0x80,
        .name_size = 255,
        .name_offset = le_i32(0x13121110),
        .body_offset = le_i32(-3),
        .body_size = le_i32(0x33323130),
    };
    EXPECT_EQ(bytes_of_record(entry), hex("FE FF  80  FF  10 11 12 13  FD FF FF FF  30 31 32 33"));
    EXPECT_EQ(le_get(entry.id), -2);
    EXPECT_EQ(le_get(entry.body_offset), -3);
}

TEST(CoreTable, has_12_bytes_ahead_of_the_owners)
{
    CoreTable table = { .capacity = le_i32(0x13121110), .free_count = le_i32(-2), .reserved = { 1, 2, 3, 4 } };
    EXPECT_EQ(bytes_of_record(table), hex("10 11 12 13  FE FF FF FF  01 02 03 04"));
    EXPECT_EQ(CORE_FREE, 15);
}

TEST(records, stand_at_any_address)
{
    std::string bytes = "x" + hex("04 00  10 11 12 13  20 21 22 23  30 31 32 33");
    const BlockEntry *entry = (const BlockEntry *)(bytes.data() + 1);
    EXPECT_EQ(le_get(entry->size), 0x23222120u);
}

TEST(records, make_up_a_new_file)
{
    // 26 + 3584 + 808 + 512 bytes, each of them written out: header, block table, module table, module name list.
    std::string expected =
        hex("25 56 54 4C  0B 00  00 00  00 00  02 00 00 00  1A 00 00 00  00 01 00 00  FD 00 00 00") +
        hex("01 00  1A 0E 00 00  28 03 00 00  28 03 00 00") +   // block 1: 808 bytes at 3610
        hex("03 00  42 11 00 00  00 02 00 00  00 02 00 00") +   // block 2: 512 bytes at 4418
        hex("06 00  1A 00 00 00  00 0E 00 00  00 0E 00 00") +   // block 3: 3584 bytes at 26
        zeros(253 * 14) +
        hex("00 00  32 00  02 00 00 00") + zeros(50 * 16) +
        zeros(512);
    EXPECT_EQ(expected.size(), 4930u);

    TempDir dir;
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), DICT_OK);
    EXPECT_EQ(dir.content("a.dic"), expected);
}

} // namespace zuk
