#include "engine/block_table.h"

#include "files/file.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace zuk {

using Lines = std::vector<std::string>;

// ---- What the tests start from --------------------------------------------------------------------------------------

// A new file: header 26 bytes, table 3584 at 26, module table 808 at 3610, module names 512 at 4418. Blocks 1 to 3.
constexpr i32 NEW_LENGTH = 4930;
constexpr u32 TABLE_AT = 26;
constexpr i32 TABLE_BYTES = 3584;      // 256 entries
constexpr i32 PAGE_BYTES = 896;        // 64 entries
constexpr u32 NEW_BLOCK = 4;           // the first block that a new file gives
constexpr size_t FREE_ENTRIES_AT = 22; // in the header

// A new dictionary. It is open in the shared mode, so that a test can read the file beside it on every system; below
// the set that mode takes no locks.
class NewDictionary : public BareDictionary {
public:
    NewDictionary() : BareDictionary(DICT_SHARED)
    {
        file_seterrorptr(&file_error);
        calls_reset();
    }

    // Everything on disk, and only the first page of the table in memory.
    void reopen()
    {
        close();
        open(DICT_SHARED);
        calls_reset();
    }
};

// "type offset size free".
static std::string row(const BlockEntry &entry)
{
    return std::to_string(le_get(entry.type)) + " " + std::to_string(le_get(entry.offset)) + " " +
           std::to_string(le_get(entry.size)) + " " + std::to_string(le_get(entry.free));
}

static BlockEntry entry_with(u16 type, u32 offset, u32 size, u32 free)
{
    return { .type = le16(type), .offset = le32(offset), .size = le32(size), .free = le32(free) };
}

static std::string row_of(DictFile *file, u32 block) { return row(entry_of(file, block)); }

// The same from the bytes of a file, wherever its table stands.
static std::string row_on_disk(const std::string &bytes, u32 block)
{
    size_t at = u32_at(bytes, 14) + (block - 1) * sizeof(BlockEntry);
    u16 type = (u16)u16_at(bytes, at);
    return row(entry_with(type, u32_at(bytes, at + 2), u32_at(bytes, at + 6), u32_at(bytes, at + 10)));
}

static u32 free_entries(const BareDictionary &file) { return le_get(file.file.header.free_entries); }
static u32 free_entries_on_disk(const BareDictionary &file) { return u32_at(file.bytes(), FREE_ENTRIES_AT); }

static std::string bytes_of_entry(const BlockEntry &entry) { return std::string((const char *)&entry, sizeof entry); }

static std::string zeros(size_t count) { return std::string(count, '\0'); }

// Equal bytes; else where they begin to differ, rather than all of them.
static void expect_bytes(const std::string &bytes, const std::string &expected)
{
    EXPECT_EQ(bytes.size(), expected.size());
    auto first = std::mismatch(bytes.begin(), bytes.end(), expected.begin(), expected.end()).first;
    EXPECT_TRUE(bytes == expected) << "from byte " << first - bytes.begin() << " on";
}

static Lines written() { return call_lines({ FAULT_WRITE }); }

// A body block of `size` bytes, `bytes` of them used. Nothing is flushed.
static u32 put_block(DictFile *file, const std::string &bytes, i32 size)
{
    u32 block = block_allocate(file, BLOCK_BODIES, size);
    EXPECT_NE(block, 0u);
    EXPECT_EQ(block_splice(file, block, bytes.data(), 0, (i32)bytes.size(), 0, 0), DICT_OK);
    return block;
}

// Two blocks behind those of a new file, all of it on disk: the first ends where the second begins, the second ends
// with the file.
constexpr u32 FIRST = 4;    // "4 4930 20 15"
constexpr u32 SECOND = 5;   // "4 4950 30 24"
constexpr i32 TWO_BLOCKS_LENGTH = 4980;
class TwoBlocks : public NewDictionary {
public:
    TwoBlocks()
    {
        EXPECT_EQ(put_block(*this, "first", 20), FIRST);
        EXPECT_EQ(put_block(*this, "second", 30), SECOND);
        reopen();
    }
};

// All 256 entries are in use, on disk: blocks 4 to 256 have one byte each, from 4930 on. The file ends at 5183.
class FullTable : public NewDictionary {
public:
    FullTable()
    {
        EXPECT_EQ(block_extend_file(*this, NEW_LENGTH, 253), DICT_OK);
        for (u32 i = 3; i < 256; i++) write(i, entry_with(BLOCK_BODIES, NEW_LENGTH - 3 + i, 1, 0));
        file.header.free_entries = le32(0);
        reopen();
    }

    // Put a free piece of `size` bytes at the end of the file under the number of a used block.
    void make_free(u32 block, i32 size)
    {
        i32 end = dict_length(&file);
        EXPECT_EQ(block_extend_file(&file, (u32)end, size), DICT_OK);
        write(block - 1, entry_with(BLOCK_FREE, (u32)end, (u32)size, (u32)size));
        file.header.free_entries = le32(1);
        reopen();
    }

private:
    void write(u32 index, const BlockEntry &entry)
    {
        EXPECT_EQ(block_write_entry(&file, index, &entry), DICT_OK);
    }
};

// Every way in which an operation can be let down: each of its allocations, of its resizes and of its file calls fails
// in turn, at first alone, then with all of the same sort behind it. The round after the last call is one without a
// fault: `stop` gives false, and the operation must have done all of its work.
//
// No round may lose a handle, but for a failed resize, which takes the array of pages with it (block_page_load).
class EachFailure {
public:
    ~EachFailure() { EXPECT_GT(met_in_all, 0u) << "no call was ever made to fail"; }

    bool next()
    {
        if (begun && sorts[sort] != FAULT_RESIZE) { EXPECT_EQ(handles_alive(), alive) << words(); }
        if (begun && met) {
            nth++;
        } else if (begun) {
            nth = 1;
            if (from_then_on) sort++;
            from_then_on = !from_then_on;
        }
        begun = true;
        alive = handles_alive();
        return sort < std::size(sorts);
    }

    void start()
    {
        calls_reset();
        faults_start({ .call = sorts[sort], .nth = nth, .from_then_on = from_then_on });
    }

    bool stop()
    {
        met = faults_stop();
        met_in_all += met;
        return met;
    }

    std::string words() const
    {
        static const char *const names[] = { "allocation", "resize", "file call" };
        return std::string(names[sort]) + " " + std::to_string(nth) + (from_then_on ? " and all behind it" : "");
    }

private:
    static constexpr FaultCall sorts[] = { FAULT_ALLOC, FAULT_RESIZE, FAULT_ANY_FILE };
    size_t sort = 0;
    u32 nth = 1;
    bool from_then_on = false;
    bool begun = false;
    bool met = false;
    u32 met_in_all = 0;
    u32 alive = 0;
};

// A page whose reading failed counts as one of zeros, and nobody is told: block 1 then reads as free.
static bool first_page_is_lost(DictFile *file)
{
    return file->page_cache && le_get(entry_of(file, 1).type) == BLOCK_FREE;
}

// What another process finds: the file is a dictionary, and the two blocks hold what they held.
static void expect_both_blocks(const TwoBlocks &file)
{
    AfterACrash found(file);
    EXPECT_EQ(found.status, DICT_OK);
    EXPECT_EQ(block_bytes(found, FIRST), "first");
    EXPECT_EQ(block_bytes(found, SECOND), "second");
}

// ---- The whole unit -------------------------------------------------------------------------------------------------

TEST(block_table, has_every_operation)
{
    void *const operations[] = {
        (void *)block_read_entry, (void *)block_read_typed, (void *)block_write_entry, (void *)block_allocate,
        (void *)block_free, (void *)block_grow, (void *)block_splice, (void *)block_read, (void *)block_table_flush,
        (void *)block_table_update_self, (void *)block_cache_init, (void *)block_cache_close, (void *)block_cache_drop,
        (void *)block_page_find, (void *)block_page_load, (void *)block_page_get, (void *)block_find_empty,
        (void *)block_table_grow,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// The live blocks lie in the file, and no two pieces of it share a byte.
static void expect_no_overlap(DictFile *file)
{
    std::map<u32, u32> pieces = { { 0, (u32)sizeof(DictHeader) } };
    for (u32 block = 1; block <= le_get(file->header.table_entries); block++) {
        BlockEntry entry = entry_of(file, block);
        if (le_get(entry.size) == 0) continue;
        EXPECT_TRUE(pieces.emplace(le_get(entry.offset), le_get(entry.size)).second) << "block " << block;
        EXPECT_LE(le_get(entry.free), le_get(entry.size)) << "block " << block;
    }
    u32 end = 0;
    for (const auto &[offset, size] : pieces) {
        EXPECT_LE(end, offset);
        end = offset + size;
    }
    EXPECT_LE((i32)end, dict_length(file));
}

TEST(block_table, keeps_every_block_through_a_long_life)
{
    std::mt19937 random(7);
    auto below = [&](u32 limit) { return (u32)(random() % limit); };
    NewDictionary file;
    std::map<u32, std::string> blocks;  // what each must hold

    for (u32 step = 1; step <= 3000; step++) {
        u32 choice = below(10);
        auto any = blocks.empty() ? blocks.end() : std::next(blocks.begin(), below((u32)blocks.size()));
        if (any == blocks.end() || choice < 3) {
            u32 block = block_allocate(file, BLOCK_BODIES, (i32)below(60));
            ASSERT_NE(block, 0u);
            EXPECT_EQ(blocks.count(block), 0u);
            blocks[block] = "";
        } else if (choice < 4) {
            EXPECT_EQ(block_free(file, any->first), DICT_OK);
            blocks.erase(any);
        } else {
            std::string &held = any->second;
            u32 pos = below((u32)held.size() + 1);
            u32 old_len = below((u32)held.size() - pos + 1);
            std::string data(below(40), (char)('a' + step % 26));
            EXPECT_EQ(block_splice(file, any->first, data.data(), (i32)pos, (i32)data.size(), (i32)old_len, 16),
                      DICT_OK);
            held.replace(pos, old_len, data);
        }
        if (step % 500 != 0) continue;
        file.reopen();
        expect_no_overlap(file);
        for (const auto &[block, held] : blocks) EXPECT_EQ(block_bytes(file, block), held) << "block " << block;
    }
    EXPECT_GT(le_get(file->header.table_entries), 256u);  // so the table has moved meanwhile
}

// ---- block_page_find ------------------------------------------------------------------------------------------------

TEST(block_page_find, gives_3_when_no_page_holds_the_index)
{
    NewDictionary file;  // the open has loaded the page of entries 0 to 63
    BlockPage *page = nullptr;
    EXPECT_EQ(block_page_find(file, 64, &page), DICT_NOT_FOUND);
    EXPECT_EQ(block_page_find(file, 0xFFFFFFFF, &page), DICT_NOT_FOUND);
    EXPECT_EQ(page, nullptr);
}

TEST(block_page_find, takes_both_ends_of_a_page)
{
    NewDictionary file;
    EXPECT_EQ(block_page_load(file, 64), DICT_OK);
    BlockPage *page = nullptr;
    EXPECT_EQ(block_page_find(file, 63, &page), DICT_OK);
    EXPECT_EQ(page, &file->page_cache[0]);
    EXPECT_EQ(block_page_find(file, 64, &page), DICT_OK);
    EXPECT_EQ(page, &file->page_cache[1]);
    EXPECT_EQ(block_page_find(file, 127, &page), DICT_OK);
    EXPECT_EQ(page, &file->page_cache[1]);
}

TEST(block_page_find, gives_the_first_of_two_that_hold_the_index)
{
    NewDictionary file;
    EXPECT_EQ(block_page_load(file, 0), DICT_OK);  // by itself it loads what is there already
    EXPECT_EQ(gsize(file->page_cache_handle), (i32)(2 * sizeof(BlockPage)));
    BlockPage *page = nullptr;
    EXPECT_EQ(block_page_find(file, 5, &page), DICT_OK);
    EXPECT_EQ(page, &file->page_cache[0]);
}

TEST(block_page_find, gives_3_without_a_cache)
{
    DictFile closed = {};
    BlockPage *page = nullptr;
    EXPECT_EQ(block_page_find(&closed, 0, &page), DICT_NOT_FOUND);
}

// ---- block_page_load ------------------------------------------------------------------------------------------------

TEST(block_page_load, loads_64_entries_from_a_multiple_of_64)
{
    NewDictionary file;
    EXPECT_EQ(block_page_load(file, 70), DICT_OK);
    const BlockPage &page = file->page_cache[1];
    EXPECT_EQ(page.first, 64u);
    EXPECT_EQ(page.last, 127u);
    EXPECT_EQ(page.flags, 0u);
    EXPECT_EQ(bytes_of(page.handle), zeros((size_t)PAGE_BYTES));
    EXPECT_EQ(call_lines(), (Lines{ "size", "seek 922", "read 922+896" }));  // 26 + 64 * 14
}

TEST(block_page_load, holds_the_bytes_of_the_file)
{
    NewDictionary file;
    EXPECT_EQ(bytes_of(file->page_cache[0].handle), file.bytes().substr(TABLE_AT, (size_t)PAGE_BYTES));
}

TEST(block_page_load, keeps_the_pages_in_the_order_of_loading)
{
    NewDictionary file;
    for (u32 index : { 255u, 64u, 128u }) EXPECT_EQ(block_page_load(file, index), DICT_OK);
    std::vector<u32> firsts;
    for (u32 i = 0; i < 4; i++) firsts.push_back(file->page_cache[i].first);
    EXPECT_EQ(firsts, (std::vector<u32>{ 0, 192, 64, 128 }));
}

TEST(block_page_load, ends_the_last_page_with_the_table)
{
    // No file of ours has a table of 100 entries; one from elsewhere may.
    NewDictionary file;
    file->header.table_entries = le32(100);
    EXPECT_EQ(block_page_load(file, 99), DICT_OK);
    EXPECT_EQ(file->page_cache[1].first, 64u);
    EXPECT_EQ(file->page_cache[1].last, 99u);
    EXPECT_EQ(gsize(file->page_cache[1].handle), 36 * 14);
}

TEST(block_page_load, gives_3_outside_the_table)
{
    NewDictionary file;
    EXPECT_EQ(block_page_load(file, 256), DICT_NOT_FOUND);
    EXPECT_EQ(block_page_load(file, 0xFFFFFFFF), DICT_NOT_FOUND);
    EXPECT_EQ(gsize(file->page_cache_handle), (i32)sizeof(BlockPage));
}

TEST(block_page_load, gives_3_for_a_page_that_does_not_begin_in_the_file)
{
    // A damaged header promises a table of 60 GB. Six pages begin in the 4930 bytes, the last at 26 + 5 * 896 = 4506.
    NewDictionary file;
    file->header.table_entries = le32(0xFFFFFFFF);
    EXPECT_EQ(block_page_load(file, 5 * 64), DICT_OK);
    EXPECT_EQ(block_page_load(file, 6 * 64), DICT_NOT_FOUND);
    EXPECT_EQ(block_page_load(file, 0xFFFFFFFE), DICT_NOT_FOUND);

    // So no search is longer than the file.
    calls_reset();
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);
    EXPECT_LE(call_counts().read, 6u);
    BlockEntry entry;
    EXPECT_EQ(block_read_entry(file, 0x80000000, &entry), DICT_NOT_FOUND);
}

TEST(block_page_load, gives_9_without_memory_for_the_entries)
{
    NewDictionary file;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_page_load(file, 64), DICT_NO_MEMORY);
    faults_stop();
    EXPECT_EQ(call_counts().read, 0u);
    EXPECT_EQ(row_of(file, 1), "1 3610 808 808");  // the pages before it are still there
    EXPECT_EQ(block_page_load(file, 64), DICT_OK);
}

TEST(block_page_load, loses_the_array_and_its_pages_when_it_cannot_grow)
{
    NewDictionary file;
    BlockEntry changed = entry_with(BLOCK_BODIES, 1, 2, 2);
    EXPECT_EQ(block_write_entry(file, 3, &changed), DICT_OK);

    u32 alive = handles_alive();
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(block_page_load(file, 64), DICT_NO_MEMORY);
    faults_stop();
    EXPECT_EQ(handles_alive(), alive);  // the new page was freed; the array and page 0 are out of reach
    EXPECT_EQ(file->page_cache_handle, 0u);
    EXPECT_EQ(file->page_cache, nullptr);

    // The file reads as one without a table from here on, and the change never reaches it.
    BlockEntry entry;
    EXPECT_EQ(block_read_entry(file, 3, &entry), DICT_NO_MEMORY);
    EXPECT_EQ(block_write_entry(file, 3, &changed), DICT_NO_MEMORY);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 10), 0u);
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(row_on_disk(file.bytes(), NEW_BLOCK), "0 0 0 0");
    file.reopen();
    EXPECT_EQ(row_of(file, 1), "1 3610 808 808");
}

TEST(block_page_load, keeps_a_page_of_zeros_after_a_failed_read)
{
    for (FaultCall call : { FAULT_SEEK, FAULT_READ }) {
        NewDictionary file;
        block_cache_drop(file);
        faults_start({ .call = call });
        EXPECT_EQ(block_page_load(file, 0), DICT_OK);
        faults_stop();
        calls_reset();
        EXPECT_EQ(row_of(file, 1), "0 0 0 0");
        EXPECT_EQ(call_lines(), Lines{});  // it isn't read again
    }
}

TEST(block_page_load, reads_entries_behind_the_end_of_the_file_as_zeros)
{
    NewDictionary file;
    block_cache_drop(file);
    EXPECT_EQ(file_seteof(file->file, (i32)TABLE_AT + 14 + 3), 1);  // one entry and three bytes
    EXPECT_EQ(block_page_load(file, 0), DICT_OK);
    EXPECT_EQ(row_of(file, 1), "1 3610 808 808");
    EXPECT_EQ(row_of(file, 2), "3 66 0 0");                         // 66: the first byte of 4418
    EXPECT_EQ(row_of(file, 3), "0 0 0 0");
}

// ---- block_page_get -------------------------------------------------------------------------------------------------

TEST(block_page_get, finds_or_loads_a_page_by_its_number)
{
    NewDictionary file;
    BlockPage *page = nullptr;
    EXPECT_EQ(block_page_get(file, 3, &page), DICT_OK);
    EXPECT_EQ(page->first, 192u);
    EXPECT_EQ(call_counts().read, 1u);
    EXPECT_EQ(block_page_get(file, 3, &page), DICT_OK);
    EXPECT_EQ(call_counts().read, 1u);
}

TEST(block_page_get, gives_1_outside_the_table)
{
    NewDictionary file;
    BlockPage *page = nullptr;
    EXPECT_EQ(block_page_get(file, -1, &page), DICT_FAILED);
    EXPECT_EQ(block_page_get(file, 4, &page), DICT_FAILED);
    EXPECT_EQ(block_page_get(file, INT32_MAX, &page), DICT_FAILED);

    file->header.table_entries = le32(257);  // a fifth page, of one entry
    EXPECT_EQ(block_page_get(file, 4, &page), DICT_OK);
    EXPECT_EQ(page->first, 256u);
    EXPECT_EQ(page->last, 256u);
    EXPECT_EQ(block_page_get(file, 5, &page), DICT_FAILED);
}

TEST(block_page_get, gives_9_without_memory)
{
    NewDictionary file;
    BlockPage *page = nullptr;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_page_get(file, 1, &page), DICT_NO_MEMORY);
}

// ---- block_read_entry -----------------------------------------------------------------------------------------------

TEST(block_read_entry, gives_the_blocks_of_a_new_file)
{
    NewDictionary file;
    EXPECT_EQ(row_of(file, 1), "1 3610 808 808");
    EXPECT_EQ(row_of(file, 2), "3 4418 512 512");
    EXPECT_EQ(row_of(file, 3), "6 26 3584 3584");
    for (u32 block = 4; block <= 256; block++) EXPECT_EQ(row_of(file, block), "0 0 0 0");
}

TEST(block_read_entry, touches_the_disk_for_a_page_that_is_not_loaded_alone)
{
    NewDictionary file;
    for (u32 block = 1; block <= 64; block++) (void)entry_of(file, block);
    EXPECT_EQ(call_lines(), Lines{});
    for (u32 block = 65; block <= 256; block++) (void)entry_of(file, block);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 922+896", "read 1818+896", "read 2714+896" }));
}

TEST(block_read_entry, gives_3_for_an_index_outside_the_table)
{
    NewDictionary file;
    BlockEntry entry = entry_with(9, 9, 9, 9);
    EXPECT_EQ(block_read_entry(file, 256, &entry), DICT_NOT_FOUND);
    EXPECT_EQ(block_read_entry(file, 0u - 1, &entry), DICT_NOT_FOUND);  // the index of block 0
    EXPECT_EQ(row(entry), "9 9 9 9");
    EXPECT_EQ(block_read_entry(file, 255, &entry), DICT_OK);
}

TEST(block_read_entry, gives_3_without_a_table)
{
    DictFile closed = {};
    BlockEntry entry;
    EXPECT_EQ(block_read_entry(&closed, 0, &entry), DICT_NOT_FOUND);
}

TEST(block_read_entry, gives_9_without_memory_for_the_page)
{
    NewDictionary file;
    BlockEntry entry;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_read_entry(file, 64, &entry), DICT_NO_MEMORY);
}

TEST(block_read_entry, gives_1_when_the_page_cannot_be_locked)
{
    NewDictionary file;
    gfree(file->page_cache[0].handle);
    BlockEntry entry;
    EXPECT_EQ(block_read_entry(file, 0, &entry), DICT_FAILED);
}

// ---- block_read_typed -----------------------------------------------------------------------------------------------

TEST(block_read_typed, gives_the_entry_of_a_block_of_this_type)
{
    NewDictionary file;
    BlockEntry entry;
    EXPECT_EQ(block_read_typed(file, 2, BLOCK_NAMES, &entry), DICT_OK);
    EXPECT_EQ(row(entry), "3 4418 512 512");
}

TEST(block_read_typed, gives_3_for_any_other_number)
{
    NewDictionary file;
    BlockEntry entry;
    EXPECT_EQ(block_read_typed(file, 1, BLOCK_NAMES, &entry), DICT_NOT_FOUND);
    EXPECT_EQ(block_read_typed(file, 4, BLOCK_NAMES, &entry), DICT_NOT_FOUND);
    EXPECT_EQ(block_read_typed(file, 0, BLOCK_NAMES, &entry), DICT_NOT_FOUND);
    EXPECT_EQ(block_read_typed(file, 257, BLOCK_NAMES, &entry), DICT_NOT_FOUND);
}

// ---- block_write_entry ----------------------------------------------------------------------------------------------

TEST(block_write_entry, changes_the_page_and_not_the_file)
{
    NewDictionary file;
    std::string before = file.bytes();
    BlockEntry entry = entry_with(BLOCK_BODIES, 1, 22, 333);
    EXPECT_EQ(block_write_entry(file, 3, &entry), DICT_OK);
    EXPECT_EQ(row_of(file, 4), "4 1 22 333");
    EXPECT_EQ(row_of(file, 3), "6 26 3584 3584");
    EXPECT_EQ(row_of(file, 5), "0 0 0 0");
    EXPECT_EQ(file->page_cache[0].flags, PAGE_DIRTY);
    EXPECT_EQ(call_lines(), Lines{});
    expect_bytes(file.bytes(), before);
}

TEST(block_write_entry, loads_the_page_that_it_changes)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_BODIES, 1, 22, 333);
    EXPECT_EQ(block_write_entry(file, 255, &entry), DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 2714+896" }));
    EXPECT_EQ(file->page_cache[0].flags, 0u);
    EXPECT_EQ(file->page_cache[1].flags, PAGE_DIRTY);
}

TEST(block_write_entry, of_the_tables_own_writes_the_header_at_once)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_TABLE, 77, 1, 0);
    EXPECT_EQ(block_write_entry(file, 2, &entry), DICT_OK);
    EXPECT_EQ(le_get(file->header.table_offset), 77u);
    EXPECT_EQ(written(), (Lines{ "write 0+26" }));
    EXPECT_EQ(u32_at(file.bytes(), 14), 77u);
}

TEST(block_write_entry, of_the_tables_own_gives_the_status_of_the_header)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_TABLE, 77, 1, 0);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(block_write_entry(file, 2, &entry), DICT_NO_ROOM);
    EXPECT_EQ(row_of(file, 3), "6 77 1 0");  // stored all the same
    EXPECT_EQ(u32_at(file.bytes(), 14), TABLE_AT);
}

TEST(block_write_entry, of_another_block_with_the_type_of_the_table_leaves_the_header)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_TABLE, 77, 1, 0);
    EXPECT_EQ(block_write_entry(file, 3, &entry), DICT_OK);
    EXPECT_EQ(le_get(file->header.table_offset), TABLE_AT);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(block_write_entry, of_the_tables_own_with_another_type_leaves_the_header)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_BODIES, 77, 1, 0);
    EXPECT_EQ(block_write_entry(file, 2, &entry), DICT_OK);
    EXPECT_EQ(le_get(file->header.table_offset), TABLE_AT);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(block_write_entry, gives_3_for_an_index_outside_the_table)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_BODIES, 1, 2, 3);
    EXPECT_EQ(block_write_entry(file, 256, &entry), DICT_NOT_FOUND);
    EXPECT_EQ(block_write_entry(file, 0u - 1, &entry), DICT_NOT_FOUND);
}

TEST(block_write_entry, gives_9_without_memory_and_1_without_a_lock)
{
    NewDictionary file;
    BlockEntry entry = entry_with(BLOCK_BODIES, 1, 2, 3);
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_write_entry(file, 64, &entry), DICT_NO_MEMORY);
    faults_stop();
    gfree(file->page_cache[0].handle);
    EXPECT_EQ(block_write_entry(file, 0, &entry), DICT_FAILED);
    EXPECT_EQ(file->page_cache[0].flags, 0u);
}

TEST(block_write_entry, of_the_tables_own_leaves_the_old_header_or_the_new_one)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        BlockEntry own = entry_with(BLOCK_TABLE, TABLE_AT, TABLE_BYTES, 0);
        file->header.free_entries = le32(240);
        failure.start();
        DictStatus status = block_write_entry(file, 2, &own);
        bool failed = failure.stop();

        EXPECT_EQ(status, failed ? DICT_FAILED : DICT_OK);
        EXPECT_EQ(free_entries_on_disk(file), failed ? 251u : 240u);
        expect_both_blocks(file);
    }
}

// ---- block_table_flush ----------------------------------------------------------------------------------------------

// Mark blocks by number, each with an entry that tells it.
static void mark(DictFile *file, std::initializer_list<u32> blocks)
{
    for (u32 block : blocks) {
        BlockEntry entry = entry_with(BLOCK_FREE, 0, 0, block);  // still an empty entry
        EXPECT_EQ(block_write_entry(file, block - 1, &entry), DICT_OK);
    }
}

TEST(block_table_flush, writes_whole_pages_that_are_dirty)
{
    NewDictionary file;
    mark(file, { 10, 200 });
    (void)entry_of(file, 100);  // loaded and clean
    calls_reset();
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 26", "write 26+896", "seek 2714", "write 2714+896" }));
    EXPECT_EQ(row_on_disk(file.bytes(), 10), "0 0 0 10");
    EXPECT_EQ(row_on_disk(file.bytes(), 200), "0 0 0 200");
}

TEST(block_table_flush, writes_nothing_twice)
{
    NewDictionary file;
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(call_lines(), Lines{});
    mark(file, { 10 });
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(call_counts().write, 1u);
    EXPECT_EQ(row_of(file, 10), "0 0 0 10");  // the page stays loaded
    EXPECT_EQ(call_counts().read, 0u);
}

TEST(block_table_flush, writes_the_pages_in_the_order_of_loading)
{
    NewDictionary file;
    block_cache_drop(file);
    mark(file, { 200, 10, 100 });
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(written(), (Lines{ "write 2714+896", "write 26+896", "write 922+896" }));
}

TEST(block_table_flush, writes_a_short_last_page_no_further_than_the_table)
{
    NewDictionary file;
    file->header.table_entries = le32(100);
    mark(file, { 100 });
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(written(), (Lines{ "write 922+504" }));  // 36 entries
}

TEST(block_table_flush, ends_at_the_first_failing_write)
{
    NewDictionary file;
    mark(file, { 10, 100, 200 });
    faults_start({ .call = FAULT_WRITE, .nth = 2, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(block_table_flush(file), DICT_NO_ROOM);
    EXPECT_EQ(written(), (Lines{ "write 26+896", "write 922+896 failed" }));
}

TEST(block_table_flush, forgets_a_page_whose_write_failed)
{
    NewDictionary file;
    mark(file, { 10, 100, 200 });
    faults_start({ .call = FAULT_WRITE, .nth = 2 });
    EXPECT_EQ(block_table_flush(file), DICT_FAILED);
    faults_stop();
    calls_reset();
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(written(), (Lines{ "write 2714+896" }));  // the third, which it had not come to
    EXPECT_EQ(row_of(file, 100), "0 0 0 100");
    EXPECT_EQ(row_on_disk(file.bytes(), 100), "0 0 0 0");
}

TEST(block_table_flush, gives_1_when_a_page_cannot_be_locked)
{
    NewDictionary file;
    mark(file, { 10 });
    gfree(file->page_cache[0].handle);
    EXPECT_EQ(block_table_flush(file), DICT_FAILED);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(block_table_flush, without_a_cache_has_nothing_to_do)
{
    DictFile closed = {};
    EXPECT_EQ(block_table_flush(&closed), DICT_OK);
}

TEST(block_table_flush, leaves_each_page_old_or_new_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        mark(file, { 10, 100 });
        failure.start();
        DictStatus status = block_table_flush(file);
        bool failed = failure.stop();

        EXPECT_EQ(status != DICT_OK, failed);
        AfterACrash found(file);
        bool first_new = row_of(found, 10) == "0 0 0 10";
        bool second_new = row_of(found, 100) == "0 0 0 100";
        EXPECT_TRUE(first_new || row_of(found, 10) == "0 0 0 0");
        EXPECT_TRUE(second_new || row_of(found, 100) == "0 0 0 0");
        EXPECT_TRUE(first_new || !second_new);  // the first failure ends it
        EXPECT_EQ(first_new && second_new, !failed);
        expect_both_blocks(file);
    }
}

// ---- block_cache_init -----------------------------------------------------------------------------------------------

TEST(block_cache_init, makes_an_empty_array)
{
    DictFile file = {};
    EXPECT_EQ(block_cache_init(&file), DICT_OK);
    EXPECT_NE(file.page_cache_handle, 0u);
    EXPECT_NE(file.page_cache, nullptr);
    EXPECT_EQ(gsize(file.page_cache_handle), 0);
    EXPECT_EQ(block_cache_close(&file), DICT_OK);
}

TEST(block_cache_init, gives_1_for_null)
{
    EXPECT_EQ(block_cache_init(nullptr), DICT_FAILED);
}

TEST(block_cache_init, gives_9_without_memory)
{
    DictFile file = {};
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_cache_init(&file), DICT_NO_MEMORY);
    EXPECT_EQ(file.page_cache_handle, 0u);
    EXPECT_EQ(file.page_cache, nullptr);
}

// ---- block_cache_drop -----------------------------------------------------------------------------------------------

TEST(block_cache_drop, forgets_every_page_dirty_or_not)
{
    NewDictionary file;
    mark(file, { 10, 100 });
    u32 alive = handles_alive();
    calls_reset();
    block_cache_drop(file);
    EXPECT_EQ(handles_alive(), alive - 2);
    EXPECT_EQ(gsize(file->page_cache_handle), 0);
    EXPECT_EQ(call_lines(), Lines{});
    EXPECT_EQ(row_of(file, 10), "0 0 0 0");
    EXPECT_EQ(call_counts().read, 1u);  // from the file again
}

TEST(block_cache_drop, leaves_a_cache_that_can_be_used)
{
    NewDictionary file;
    block_cache_drop(file);
    block_cache_drop(file);
    EXPECT_NE(file->page_cache, nullptr);
    EXPECT_EQ(row_of(file, 1), "1 3610 808 808");
}

TEST(block_cache_drop, without_memory_leaves_none)
{
    NewDictionary file;
    faults_start({ .call = FAULT_RESIZE });
    block_cache_drop(file);
    faults_stop();
    EXPECT_EQ(file->page_cache, nullptr);
    BlockEntry entry;
    EXPECT_EQ(block_read_entry(file, 0, &entry), DICT_NO_MEMORY);
}

TEST(block_cache_drop, of_a_closed_file_does_nothing)
{
    DictFile closed = {};
    block_cache_drop(&closed);
    EXPECT_EQ(closed.page_cache_handle, 0u);
    EXPECT_EQ(closed.page_cache, nullptr);
}

// ---- block_cache_close ----------------------------------------------------------------------------------------------

TEST(block_cache_close, flushes_and_frees)
{
    NewDictionary file;
    mark(file, { 10, 100 });
    u32 alive = handles_alive();
    EXPECT_EQ(block_cache_close(file), DICT_OK);
    EXPECT_EQ(handles_alive(), alive - 3);  // two pages and the array
    EXPECT_EQ(file->page_cache_handle, 0u);
    EXPECT_EQ(file->page_cache, nullptr);
    EXPECT_EQ(row_on_disk(file.bytes(), 10), "0 0 0 10");
    EXPECT_EQ(row_on_disk(file.bytes(), 100), "0 0 0 100");
}

TEST(block_cache_close, leaves_the_file_whole_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        mark(file, { 10 });
        failure.start();
        DictStatus status = block_cache_close(file);
        (void)failure.stop();

        // A resize that fails in the drop is no failure of the flush.
        EXPECT_EQ(row_on_disk(file.bytes(), 10), status ? "0 0 0 0" : "0 0 0 10");
        EXPECT_EQ(file->page_cache, nullptr);
        expect_both_blocks(file);
    }
}

// ---- block_find_empty -----------------------------------------------------------------------------------------------

TEST(block_find_empty, gives_the_first_entry_of_type_0_and_size_0)
{
    TwoBlocks file;
    EXPECT_EQ(block_free(file, FIRST), DICT_OK);  // a free piece, which is not empty
    mark(file, { 6 });
    BlockEntry entry;
    u32 index = 0;
    EXPECT_TRUE(block_find_empty(file, &entry, &index));
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(row(entry), "0 0 0 6");
}

TEST(block_find_empty, loads_pages_up_to_the_one_it_needs)
{
    FullTable file;
    BlockEntry empty = entry_with(BLOCK_FREE, 0, 0, 0);
    EXPECT_EQ(block_write_entry(file, 130, &empty), DICT_OK);
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    file.reopen();
    BlockEntry entry;
    u32 index = 0;
    EXPECT_TRUE(block_find_empty(file, &entry, &index));
    EXPECT_EQ(index, 130u);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 922+896", "read 1818+896" }));
}

TEST(block_find_empty, stores_nothing_when_there_is_none)
{
    FullTable file;
    BlockEntry entry = entry_with(9, 9, 9, 9);
    u32 index = 77;
    EXPECT_FALSE(block_find_empty(file, &entry, &index));
    EXPECT_EQ(index, 77u);
    EXPECT_EQ(row(entry), "9 9 9 9");
}

TEST(block_find_empty, does_not_look_behind_a_short_last_page)
{
    // A damaged table of 70 entries, all in use; in the file an empty entry follows.
    FullTable file;
    BlockEntry empty = entry_with(BLOCK_FREE, 0, 0, 0);
    EXPECT_EQ(block_write_entry(file, 70, &empty), DICT_OK);
    file.reopen();
    file->header.table_entries = le32(70);
    BlockEntry entry;
    u32 index = 0;
    EXPECT_FALSE(block_find_empty(file, &entry, &index));
}

TEST(block_find_empty, gives_none_without_memory)
{
    FullTable file;
    BlockEntry entry;
    u32 index = 0;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_FALSE(block_find_empty(file, &entry, &index));
}

// ---- block_table_update_self ----------------------------------------------------------------------------------------

TEST(block_table_update_self, rewrites_the_tables_own_entry_and_the_header)
{
    NewDictionary file;
    file->header.free_entries = le32(251);
    EXPECT_EQ(block_table_update_self(file), DICT_OK);
    EXPECT_EQ(row_of(file, 3), "6 26 3584 0");  // nothing of it is free any more
    EXPECT_EQ(written(), (Lines{ "write 0+26", "write 26+896" }));
    EXPECT_EQ(row_on_disk(file.bytes(), 3), "6 26 3584 0");
    EXPECT_EQ(free_entries_on_disk(file), 251u);
}

TEST(block_table_update_self, tells_what_the_header_tells)
{
    NewDictionary file;
    file->header.table_offset = le32(NEW_LENGTH);
    file->header.table_entries = le32(512);
    BlockEntry wrong = entry_with(BLOCK_NAMES, 1, 2, 3);
    EXPECT_EQ(block_write_entry(file, 2, &wrong), DICT_OK);
    EXPECT_EQ(block_table_update_self(file), DICT_OK);
    EXPECT_EQ(row_of(file, 3), "6 4930 7168 0");
}

TEST(block_table_update_self, flushes_the_other_pages_too)
{
    NewDictionary file;
    mark(file, { 100 });
    EXPECT_EQ(block_table_update_self(file), DICT_OK);
    EXPECT_EQ(row_on_disk(file.bytes(), 100), "0 0 0 100");
}

TEST(block_table_update_self, gives_1_when_its_entry_cannot_be_read)
{
    NewDictionary file;
    mark(file, { 10 });
    file->header.table_entry = le32(256);
    EXPECT_EQ(block_table_update_self(file), DICT_FAILED);
    EXPECT_EQ(call_lines(), Lines{});  // nor is anything flushed

    file->header.table_entry = le32(64);
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_table_update_self(file), DICT_FAILED);
}

TEST(block_table_update_self, gives_0_whatever_the_flush_did)
{
    NewDictionary file;
    faults_start({ .call = FAULT_WRITE, .from_then_on = true });
    EXPECT_EQ(block_table_update_self(file), DICT_OK);
    EXPECT_EQ(written(), (Lines{ "write 0+26 failed", "write 26+896 failed" }));
    EXPECT_EQ(row_on_disk(file.bytes(), 3), "6 26 3584 3584");
}

TEST(block_table_update_self, leaves_the_file_whole_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        failure.start();
        EXPECT_EQ(block_table_update_self(file), DICT_OK);
        (void)failure.stop();
        expect_both_blocks(file);
    }
}

// ---- block_table_grow -----------------------------------------------------------------------------------------------

TEST(block_table_grow, makes_these_bytes)
{
    NewDictionary file;
    std::string before = file.bytes();
    EXPECT_EQ(block_table_grow(file, 0), DICT_OK);
    EXPECT_EQ(block_table_flush(file), DICT_OK);

    // 4930 = 0x1342, 512 = 0x200, 509 = 0x1FD. The old place keeps its bytes, which mean nothing any more.
    std::string header = before.substr(0, 14) + std::string("\x42\x13\0\0\0\x02\0\0\xFD\x01\0\0", 12);
    std::string table = before.substr(TABLE_AT, 28) +                                // blocks 1 and 2
                        bytes_of_entry(entry_with(BLOCK_TABLE, 4930, 7168, 0)) +     // block 3, itself
                        bytes_of_entry(entry_with(BLOCK_FREE, 26, 3584, 3584)) +     // its old place
                        zeros(508 * 14);
    expect_bytes(file.bytes(), header + before.substr(TABLE_AT) + table);
}

TEST(block_table_grow, moves_and_writes_in_this_order)
{
    TwoBlocks file;
    mark(file, { 10 });
    EXPECT_EQ(block_table_grow(file, 0), DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{
        "write 26+896",                         // what was dirty, at the old place
        "read 26+3584", "write 4980+3584",      // the table
        "write 8564+3584",                      // 256 empty entries
        "write 0+26",                           // the header, which makes the new place count
        "read 4980+896",                        // the table's own entry
        "write 0+26", "write 4980+896",
    }));
    EXPECT_EQ(file->page_cache[0].flags, PAGE_DIRTY);  // the entry of the old place is yet to be flushed
}

TEST(block_table_grow, counts_the_new_entries_as_free)
{
    TwoBlocks file;
    EXPECT_EQ(block_table_grow(file, 0), DICT_OK);
    EXPECT_EQ(le_get(file->header.table_entries), 512u);
    EXPECT_EQ(le_get(file->header.table_offset), (u32)TWO_BLOCKS_LENGTH);
    EXPECT_EQ(free_entries(file), 251u + 256u);  // the old place was an empty entry, and now is a free piece
    EXPECT_EQ(free_entries_on_disk(file), 251u + 256u);
    EXPECT_EQ(row_of(file, 6), "0 26 3584 3584");
    for (u32 block = 7; block <= 512; block++) EXPECT_EQ(row_of(file, block), "0 0 0 0");
}

TEST(block_table_grow, keeps_the_changes_in_memory)
{
    TwoBlocks file;
    mark(file, { 10, 100 });
    EXPECT_EQ(block_table_grow(file, 0), DICT_OK);
    EXPECT_EQ(row_of(file, 10), "0 0 0 10");
    EXPECT_EQ(row_of(file, 100), "0 0 0 100");
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 15");
    expect_both_blocks(file);
}

TEST(block_table_grow, grows_by_256_entries)
{
    NewDictionary file;
    for (u32 entries : { 512u, 768u, 1024u }) {
        EXPECT_EQ(block_table_grow(file, 0), DICT_OK);
        EXPECT_EQ(le_get(file->header.table_entries), entries);
    }
    // Each place it left is a piece of its own: 4930 + 7168 = 12098, + 10752 = 22850.
    EXPECT_EQ(row_of(file, 3), "6 22850 14336 0");
    EXPECT_EQ(row_of(file, 4), "0 26 3584 3584");
    EXPECT_EQ(row_of(file, 5), "0 4930 7168 7168");
    EXPECT_EQ(row_of(file, 6), "0 12098 10752 10752");
}

TEST(block_table_grow, takes_a_wish_in_steps_of_256)
{
    const struct {
        u32 wanted, entries;
    } wishes[] = { { 257, 512 }, { 511, 512 }, { 512, 768 }, { 1000, 1024 } };
    for (const auto &wish : wishes) {
        NewDictionary file;
        EXPECT_EQ(block_table_grow(file, wish.wanted), DICT_OK);
        EXPECT_EQ(le_get(file->header.table_entries), wish.entries);
        EXPECT_EQ(file.bytes().size(), 4930 + wish.entries * 14);
    }
}

TEST(block_table_grow, takes_the_counts_back_when_a_write_fails)
{
    const struct {
        u32 nth;
        size_t length;
    } writes[] = {
        { 1, NEW_LENGTH },                // the table
        { 2, NEW_LENGTH + TABLE_BYTES },  // the empty entries: what was written stays, out of reach
    };
    for (const auto &write : writes) {
        NewDictionary file;
        std::string before = file.bytes();
        faults_start({ .call = FAULT_WRITE, .nth = write.nth, .error = PLATFORM_DISK_FULL });
        EXPECT_EQ(block_table_grow(file, 0), DICT_NO_ROOM);
        faults_stop();
        EXPECT_EQ(le_get(file->header.table_entries), 256u);
        EXPECT_EQ(free_entries(file), 253u);
        EXPECT_EQ(le_get(file->header.table_offset), TABLE_AT);
        EXPECT_EQ(file.bytes().size(), write.length);
        expect_bytes(file.bytes().substr(0, NEW_LENGTH), before);
        EXPECT_EQ(row_of(file, 1), "1 3610 808 808");

        EXPECT_EQ(block_table_grow(file, 0), DICT_OK);  // the next attempt goes behind those bytes
        EXPECT_EQ(le_get(file->header.table_offset), (u32)write.length);
    }
}

TEST(block_table_grow, says_nothing_of_zeros_that_it_could_not_write)
{
    NewDictionary whole;
    EXPECT_EQ(block_table_grow(whole, 0), DICT_OK);

    NewDictionary file;
    faults_start({ .call = FAULT_ALLOC, .nth = 2 });  // the first is the buffer of the move
    EXPECT_EQ(block_table_grow(file, 0), DICT_OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_SET_END }), (Lines{
        "write 4930+3584", "set_end 12098", "write 0+26", "write 0+26", "write 4930+896" }));
    expect_bytes(file.bytes(), whole.bytes());

    // The next block comes behind the table, and a later process finds both.
    u32 block = put_block(file, "behind the table", 5000);  // more than the old place of the table holds
    EXPECT_EQ(row_of(file, block), "4 12098 5000 4984");
    file.reopen();
    EXPECT_EQ(block_bytes(file, block), "behind the table");
}

TEST(block_table_grow, takes_the_counts_back_when_neither_zeros_nor_length_can_be_had)
{
    NewDictionary file;
    std::string before = file.bytes();
    faults_start({ .call = FAULT_ALLOC, .nth = 2 });
    faults_hook(FAULT_SET_END, 1, [] { faults_start({ .call = FAULT_SET_END, .error = PLATFORM_DISK_FULL }); });
    EXPECT_EQ(block_table_grow(file, 0), DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(le_get(file->header.table_entries), 256u);
    EXPECT_EQ(free_entries(file), 253u);
    EXPECT_EQ(le_get(file->header.table_offset), TABLE_AT);
    expect_bytes(file.bytes().substr(0, NEW_LENGTH), before);
}

TEST(block_table_grow, gives_the_status_of_a_failed_flush_and_keeps_the_pages)
{
    NewDictionary file;
    mark(file, { 10, 100 });
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(block_table_grow(file, 0), DICT_NO_ROOM);
    faults_stop();
    EXPECT_EQ(le_get(file->header.table_entries), 256u);
    EXPECT_EQ(free_entries(file), 253u);
    EXPECT_EQ(row_of(file, 10), "0 0 0 10");
    EXPECT_EQ(row_of(file, 100), "0 0 0 100");
    EXPECT_EQ((i32)file.bytes().size(), NEW_LENGTH);
}

TEST(block_table_grow, gives_13_when_the_length_is_unknown_or_too_large)
{
    NewDictionary file;
    std::string before = file.bytes();
    faults_start({ .call = FAULT_SIZE });
    EXPECT_EQ(block_table_grow(file, 0), DICT_NO_ROOM);
    faults_stop();
    EXPECT_EQ(block_table_grow(file, 200000000), DICT_NO_ROOM);  // 2.8 GB of entries
    EXPECT_EQ(le_get(file->header.table_entries), 256u);
    EXPECT_EQ(free_entries(file), 253u);
    EXPECT_EQ(written(), Lines{});
    expect_bytes(file.bytes(), before);
}

TEST(block_table_grow, leaves_the_old_table_or_the_new_one_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        failure.start();
        DictStatus status = block_table_grow(file, 0);
        bool failed = failure.stop();

        bool grown = le_get(file->header.table_entries) == 512;
        EXPECT_EQ(le_get(file->header.table_offset), grown ? (u32)TWO_BLOCKS_LENGTH : TABLE_AT);
        EXPECT_EQ(free_entries(file), grown ? 251u + 256u : 251u);
        if (!failed) { EXPECT_TRUE(grown && !status); }
        if (!grown) { EXPECT_NE(status, DICT_OK); }
        if (first_page_is_lost(file)) {
            EXPECT_EQ(status, DICT_OK);  // nobody is told, and its zeros have reached the file
            continue;
        }
        expect_both_blocks(file);
        AfterACrash found(file);
        EXPECT_TRUE(row_of(found, 3) == "6 26 3584 3584" || row_of(found, 3) == "6 4980 7168 0");
    }
}

// ---- block_allocate -------------------------------------------------------------------------------------------------

TEST(block_allocate, extends_a_new_file)
{
    NewDictionary file;
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), NEW_BLOCK);
    EXPECT_EQ(row_of(file, NEW_BLOCK), "4 4930 100 100");
    EXPECT_EQ(file.bytes().substr(NEW_LENGTH), zeros(100));
    EXPECT_EQ(free_entries(file), 252u);
    EXPECT_EQ(free_entries_on_disk(file), 253u);
}

TEST(block_allocate, numbers_blocks_in_the_order_of_the_table)
{
    NewDictionary file;
    EXPECT_EQ(block_allocate(file, BLOCK_DIRECTORY, 10), 4u);
    EXPECT_EQ(block_allocate(file, BLOCK_NAMES, 20), 5u);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 30), 6u);
    EXPECT_EQ(row_of(file, 4), "2 4930 10 10");
    EXPECT_EQ(row_of(file, 5), "3 4940 20 20");
    EXPECT_EQ(row_of(file, 6), "4 4960 30 30");
}

TEST(block_allocate, writes_neither_header_nor_table)
{
    NewDictionary file;
    std::string before = file.bytes();
    u32 block = block_allocate(file, BLOCK_BODIES, 100);
    EXPECT_EQ(written(), (Lines{ "write 4930+100" }));
    expect_bytes(file.bytes(), before + zeros(100));
    EXPECT_EQ(block_free(file, block), DICT_OK);

    // Nor does a part of a free piece, or the whole of it.
    before = file.bytes();
    calls_reset();
    EXPECT_NE(block_allocate(file, BLOCK_BODIES, 60), 0u);
    EXPECT_NE(block_allocate(file, BLOCK_BODIES, 40), 0u);
    EXPECT_EQ(call_lines(), (Lines{ "size", "size" }));      // whether the piece lies in the file
    expect_bytes(file.bytes(), before);
    EXPECT_EQ(free_entries(file), 251u);
    EXPECT_EQ(free_entries_on_disk(file), 253u);
}

TEST(block_allocate, gives_a_block_whose_bytes_are_all_free)
{
    NewDictionary file;
    u32 at_the_end = block_allocate(file, BLOCK_BODIES, 100);
    EXPECT_EQ(row_of(file, at_the_end), "4 4930 100 100");
    EXPECT_EQ(block_free(file, at_the_end), DICT_OK);
    u32 part = block_allocate(file, BLOCK_BODIES, 60);
    EXPECT_EQ(row_of(file, part), "4 4930 60 60");
    u32 whole = block_allocate(file, BLOCK_BODIES, 30);
    EXPECT_EQ(row_of(file, whole), "4 4990 40 40");
}

TEST(block_allocate, reopens_the_file_that_it_extends)
{
    NewDictionary file;
    FileHandle before = file->file;
    FileHandle other = file_open(file.path, FILE_RW_SHARED);
    EXPECT_EQ(file_lock(file->file, 1000000, 1), 1);
    EXPECT_EQ(file_lock(other, 1000000, 1), 0);

    calls_reset();
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), NEW_BLOCK);
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_CLOSE, FAULT_OPEN }),
              (Lines{ "write 4930+100", "close", "open " + file.dir.native("a.dic") }));
    EXPECT_NE(file->file, before);
    EXPECT_EQ(file_lock(other, 1000000, 1), 1);  // the lock went with the handle
    file_close(other);
}

TEST(block_allocate, reopens_the_file_in_its_own_mode)
{
    BareDictionary file(DICT_EXCLUSIVE);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), NEW_BLOCK);
    EXPECT_EQ(file_open(file.path, FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_REFUSED);
}

TEST(block_allocate, gives_a_piece_whole_when_under_16_bytes_remain)
{
    for (i32 need : { 85, 90, 100 }) {
        NewDictionary file;
        u32 block = block_allocate(file, BLOCK_BODIES, 100);
        EXPECT_EQ(block_free(file, block), DICT_OK);
        EXPECT_EQ(block_allocate(file, BLOCK_NAMES, need), block);
        EXPECT_EQ(row_of(file, block), "3 4930 100 100") << need;
        EXPECT_EQ(row_of(file, block + 1), "0 0 0 0");
        EXPECT_EQ(free_entries(file), 252u);
        EXPECT_EQ(file.bytes().size(), NEW_LENGTH + 100u);
    }
}

TEST(block_allocate, splits_a_piece_when_16_bytes_remain)
{
    NewDictionary file;
    u32 block = block_allocate(file, BLOCK_BODIES, 100);
    EXPECT_EQ(block_free(file, block), DICT_OK);
    EXPECT_EQ(block_allocate(file, BLOCK_NAMES, 84), block);
    EXPECT_EQ(row_of(file, block), "3 4930 84 84");
    EXPECT_EQ(row_of(file, block + 1), "0 5014 16 16");  // the first empty entry has the rest
    EXPECT_EQ(free_entries(file), 252u);                 // one fewer: an empty entry became a free piece
}

TEST(block_allocate, takes_the_first_fit_in_table_order)
{
    NewDictionary file;
    u32 large = put_block(file, "", 300);
    u32 fence = put_block(file, "", 10);
    u32 exact = put_block(file, "", 100);
    EXPECT_EQ(block_free(file, exact), DICT_OK);
    EXPECT_EQ(block_free(file, large), DICT_OK);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), large);  // not the one that fits exactly
    EXPECT_EQ(row_of(file, large), "4 4930 100 100");
    EXPECT_EQ(row_of(file, exact), "0 5240 100 100");
    EXPECT_EQ(row_of(file, fence), "4 5230 10 10");
}

TEST(block_allocate, passes_over_a_piece_that_is_too_small)
{
    NewDictionary file;
    u32 small = put_block(file, "", 99);
    u32 fence = put_block(file, "", 10);
    u32 exact = put_block(file, "", 100);
    EXPECT_EQ(block_free(file, small), DICT_OK);
    EXPECT_EQ(block_free(file, exact), DICT_OK);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), exact);
    EXPECT_EQ(row_of(file, small), "0 4930 99 99");
    EXPECT_EQ(row_of(file, fence), "4 5029 10 10");
}

TEST(block_allocate, never_merges_neighbours)
{
    NewDictionary file;
    u32 first = put_block(file, "", 100);
    u32 second = put_block(file, "", 100);
    EXPECT_EQ(block_free(file, first), DICT_OK);
    EXPECT_EQ(block_free(file, second), DICT_OK);
    u32 block = block_allocate(file, BLOCK_BODIES, 200);
    EXPECT_EQ(row_of(file, block), "4 5130 200 200");  // behind them, at the end of the file
    EXPECT_EQ(row_of(file, first), "0 4930 100 100");
    EXPECT_EQ(row_of(file, second), "0 5030 100 100");
}

TEST(block_allocate, uses_an_empty_entry_ahead_of_the_piece_it_splits)
{
    NewDictionary file;
    u32 piece = put_block(file, "", 100);
    EXPECT_EQ(block_free(file, piece), DICT_OK);
    // The piece changes places with an entry further behind, so that block 4 is empty.
    BlockEntry entry = entry_of(file, piece);
    BlockEntry empty = entry_of(file, 10);
    EXPECT_EQ(block_write_entry(file, 9, &entry), DICT_OK);
    EXPECT_EQ(block_write_entry(file, piece - 1, &empty), DICT_OK);

    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 60), 10u);
    EXPECT_EQ(row_of(file, 10), "4 4930 60 60");
    EXPECT_EQ(row_of(file, 4), "0 4990 40 40");
}

TEST(block_allocate, looks_no_further_than_it_has_to)
{
    FullTable file;
    file.make_free(10, 100);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 90), 10u);  // whole: no empty entry is wanted
    EXPECT_EQ(call_lines(), Lines{ "size" });                // so that the other three pages are never read
}

TEST(block_allocate, gives_no_piece_that_lies_outside_the_file)
{
    NewDictionary file;
    for (u32 offset : { 0u, 25u, 4830u, 0x7FFFFF00u, 0xFFFFFF00u }) {
        BlockEntry piece = entry_with(BLOCK_FREE, offset, 101, 101);
        EXPECT_EQ(block_write_entry(file, 3, &piece), DICT_OK);
        u32 block = block_allocate(file, BLOCK_BODIES, 100);
        EXPECT_EQ(row_of(file, block), "4 4930 100 100") << offset;
        BlockEntry none = {};
        EXPECT_EQ(block_write_entry(file, block - 1, &none), DICT_OK);
        EXPECT_TRUE(file_seteof(file->file, 4930));
    }
}

TEST(block_allocate, gives_a_piece_that_ends_with_the_file)
{
    TwoBlocks file;
    EXPECT_EQ(block_free(file, SECOND), DICT_OK);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 30), SECOND);
    EXPECT_EQ(row_of(file, SECOND), "4 4950 30 30");
}

TEST(block_allocate, takes_sizes_as_signed)
{
    // A damaged piece of 2 GiB and more is smaller than any request.
    NewDictionary file;
    BlockEntry piece = entry_with(BLOCK_FREE, 26, 0x80000000, 0x80000000);
    EXPECT_EQ(block_write_entry(file, 3, &piece), DICT_OK);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 5u);
    EXPECT_EQ(row_of(file, 5), "4 4930 100 100");
}

TEST(block_allocate, gives_the_first_free_entry_for_0)
{
    NewDictionary file;
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 0), NEW_BLOCK);
    EXPECT_EQ(row_of(file, NEW_BLOCK), "4 0 0 0");  // an empty one
    EXPECT_EQ(call_lines(), Lines{});
    EXPECT_EQ(free_entries(file), 252u);
}

TEST(block_allocate, splits_or_gives_a_piece_for_0)
{
    NewDictionary file;
    u32 large = put_block(file, "", 16);
    EXPECT_EQ(block_free(file, large), DICT_OK);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 0), large);
    EXPECT_EQ(row_of(file, large), "4 4930 0 0");
    EXPECT_EQ(row_of(file, large + 1), "0 4930 16 16");

    NewDictionary another;
    u32 small = put_block(another, "", 15);
    EXPECT_EQ(block_free(another, small), DICT_OK);
    EXPECT_EQ(block_allocate(another, BLOCK_BODIES, 0), small);
    EXPECT_EQ(row_of(another, small), "4 4930 15 15");
}

TEST(block_allocate, gives_0_for_a_negative_need)
{
    NewDictionary file;
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, -1), 0u);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, INT32_MIN), 0u);
    EXPECT_EQ(free_entries(file), 253u);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(block_allocate, moves_a_full_table)
{
    FullTable file;
    u32 block = block_allocate(file, BLOCK_BODIES, 100);
    EXPECT_EQ(le_get(file->header.table_entries), 512u);
    EXPECT_EQ(row_of(file, 3), "6 5183 7168 0");
    EXPECT_EQ(row_of(file, 257), "0 26 3584 3584");
    EXPECT_EQ(block, 258u);
    EXPECT_EQ(row_of(file, 258), "4 12351 100 100");  // behind the new table
    EXPECT_EQ(free_entries(file), 255u);
    EXPECT_EQ(free_entries_on_disk(file), 256u);
}

TEST(block_allocate, does_not_use_the_old_place_of_the_table_at_once)
{
    FullTable file;
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 258u);
    EXPECT_EQ(row_of(file, 258), "4 12351 100 100");
    // The next request takes of it, and the rest stays a piece of its own.
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 257u);
    EXPECT_EQ(row_of(file, 257), "4 26 100 100");
    EXPECT_EQ(row_of(file, 259), "0 126 3484 3484");
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 3484), 259u);
    EXPECT_EQ(row_of(file, 259), "4 126 3484 3484");
}

TEST(block_allocate, grows_the_table_although_a_piece_fits)
{
    FullTable file;
    file.make_free(10, 200);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 10u);
    EXPECT_EQ(le_get(file->header.table_entries), 512u);  // for an entry that holds the rest
    EXPECT_EQ(row_of(file, 10), "4 5183 100 100");
    EXPECT_EQ(row_of(file, 257), "0 26 3584 3584");
    EXPECT_EQ(row_of(file, 258), "0 5283 100 100");
    EXPECT_EQ(free_entries(file), 1u + 256u - 1u);
}

TEST(block_allocate, leaves_a_full_table_when_a_piece_is_given_whole)
{
    FullTable file;
    file.make_free(10, 200);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 185), 10u);
    EXPECT_EQ(le_get(file->header.table_entries), 256u);
    EXPECT_EQ(row_of(file, 10), "4 5183 200 200");
    EXPECT_EQ(free_entries(file), 0u);
}

TEST(block_allocate, believes_a_header_without_free_entries)
{
    NewDictionary file;
    file->header.free_entries = le32(0);
    u32 block = block_allocate(file, BLOCK_BODIES, 100);
    EXPECT_EQ(le_get(file->header.table_entries), 512u);
    EXPECT_EQ(row_of(file, 4), "0 26 3584 3584");
    EXPECT_EQ(block, 5u);
    EXPECT_EQ(row_of(file, 5), "4 12098 100 100");
    EXPECT_EQ(free_entries(file), 255u);  // it is never counted anew: 508 are free
}

TEST(block_allocate, gives_0_when_the_file_is_gone_in_the_gap)
{
    NewDictionary file;
    faults_hook(FAULT_OPEN, 1, [&] { std::filesystem::remove(file.dir.path("a.dic")); });
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);
    EXPECT_EQ(file->file, 0u);
    EXPECT_FALSE(dict_file_is_open(file));
    EXPECT_EQ(free_entries(file), 253u);
    EXPECT_EQ(row_of(file, NEW_BLOCK), "0 0 0 0");  // the tables stay in memory until the close
    EXPECT_NE(file->module_table, nullptr);

    // Nothing works any more, and nothing breaks.
    BlockEntry entry;
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);
    EXPECT_EQ(block_grow(file, 2, &entry, 1000), DICT_NO_ROOM);
    EXPECT_NE(block_splice(file, 2, "a", 0, 1, 0, 50), DICT_OK);
    EXPECT_EQ(dict_file_close(file), DICT_NOT_OPEN);
}

TEST(block_allocate, gives_0_when_somebody_takes_the_file_in_the_gap)
{
    NewDictionary file;
    FileHandle other = 0;
    faults_hook(FAULT_OPEN, 1, [&] { other = file_open(file.path, FILE_RW_EXCLUSIVE); });
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);
    EXPECT_NE(other, 0u);
    EXPECT_EQ(file->file, 0u);
    EXPECT_EQ(free_entries(file), 253u);
    file_close(other);
    AfterACrash found(file);
    EXPECT_EQ(found.status, DICT_OK);
    EXPECT_EQ(row_of(found, NEW_BLOCK), "0 0 0 0");
}

TEST(block_allocate, gives_0_when_the_length_is_unknown_or_too_large)
{
    NewDictionary file;
    std::string before = file.bytes();
    faults_start({ .call = FAULT_SIZE, .from_then_on = true });
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);
    faults_stop();
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, INT32_MAX), 0u);
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, INT32_MAX - NEW_LENGTH + 1), 0u);
    EXPECT_EQ(free_entries(file), 253u);
    EXPECT_EQ(written(), Lines{});
    expect_bytes(file.bytes(), before);
}

TEST(block_allocate, gives_0_without_a_table)
{
    DictFile closed = {};
    EXPECT_EQ(block_allocate(&closed, BLOCK_BODIES, 100), 0u);
}

TEST(block_allocate, only_lengthens_the_file_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        std::string before = file.bytes();
        failure.start();
        u32 block = block_allocate(file, BLOCK_BODIES, 100);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(block, 6u); }
        EXPECT_EQ(free_entries(file), block ? 250u : 251u);
        if (file->page_cache) {  // a failed resize takes it away
            EXPECT_EQ(row_of(file, 6), block ? "4 4980 100 100" : "0 0 0 0");
        }
        std::string after = file.bytes();
        expect_bytes(after.substr(0, before.size()), before);
        EXPECT_EQ(after.substr(before.size()), zeros(after.size() - before.size()));
        expect_both_blocks(file);
    }
}

TEST(block_allocate, keeps_every_block_of_a_full_table_whichever_call_fails)
{
    Lines rows;
    {
        FullTable file;
        for (u32 block = 1; block <= 256; block++) rows.push_back(row_of(file, block));
    }
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        FullTable file;
        failure.start();
        u32 block = block_allocate(file, BLOCK_BODIES, 100);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(block, 258u); }
        if (block) {
            EXPECT_EQ(free_entries(file), 255u);
        } else {
            EXPECT_TRUE(free_entries(file) == 0 || free_entries(file) == 256);
        }
        if (first_page_is_lost(file)) continue;  // as in block_table_grow above
        AfterACrash found(file);
        ASSERT_EQ(found.status, DICT_OK);
        for (u32 number = 1; number <= 256; number++) {
            if (number != 3) { EXPECT_EQ(row_of(found, number), rows[number - 1]); }
        }
    }
}

// ---- block_free -----------------------------------------------------------------------------------------------------

TEST(block_free, makes_the_block_a_free_piece)
{
    TwoBlocks file;
    EXPECT_EQ(block_free(file, FIRST), DICT_OK);
    EXPECT_EQ(row_of(file, FIRST), "0 4930 20 20");
    EXPECT_EQ(free_entries(file), 252u);
    EXPECT_EQ(file->block_changes, 1);
    EXPECT_EQ(row_on_disk(file.bytes(), FIRST), "0 4930 20 20");
    EXPECT_EQ(free_entries_on_disk(file), 252u);
}

TEST(block_free, writes_in_this_order)
{
    TwoBlocks file;
    EXPECT_EQ(block_free(file, FIRST), DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{
        "seek 26", "write 26+896",                        // the page
        "seek 0", "write 0+26", "seek 26", "write 26+896",  // the table's own entry, and the header with it
        "seek 0", "write 0+26",                           // the header once more
    }));
}

TEST(block_free, leaves_the_bytes_and_the_length)
{
    TwoBlocks file;
    std::string before = file.bytes();
    EXPECT_EQ(block_free(file, SECOND), DICT_OK);  // the last in the file
    expect_bytes(file.bytes().substr(NEW_LENGTH), before.substr(NEW_LENGTH));
}

TEST(block_free, flushes_what_else_is_dirty)
{
    TwoBlocks file;
    mark(file, { 100 });
    EXPECT_EQ(block_free(file, FIRST), DICT_OK);
    EXPECT_EQ(row_on_disk(file.bytes(), 100), "0 0 0 100");
}

TEST(block_free, gives_3_for_a_number_that_is_no_block)
{
    TwoBlocks file;
    EXPECT_EQ(block_free(file, 0), DICT_NOT_FOUND);
    EXPECT_EQ(block_free(file, 257), DICT_NOT_FOUND);
    EXPECT_EQ(block_free(file, 0xFFFFFFFF), DICT_NOT_FOUND);
    EXPECT_EQ(block_free(file, 6), DICT_NOT_FOUND);  // empty
    EXPECT_EQ(free_entries(file), 251u);
    EXPECT_EQ(file->block_changes, 0);
    EXPECT_EQ(call_lines({ FAULT_WRITE }), Lines{});
}

TEST(block_free, gives_3_the_second_time)
{
    TwoBlocks file;
    EXPECT_EQ(block_free(file, FIRST), DICT_OK);
    calls_reset();
    EXPECT_EQ(block_free(file, FIRST), DICT_NOT_FOUND);
    EXPECT_EQ(free_entries(file), 252u);
    EXPECT_EQ(file->block_changes, 1);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(block_free, gives_3_for_the_blocks_that_every_file_stands_on)
{
    // A damaged directory may name them as its own.
    TwoBlocks file;
    for (u32 block : { 1u, 2u, 3u }) EXPECT_EQ(block_free(file, block), DICT_NOT_FOUND) << block;
    EXPECT_EQ(row_of(file, 1), "1 3610 808 808");
    EXPECT_EQ(row_of(file, 2), "3 4418 512 512");
    EXPECT_EQ(row_of(file, 3), "6 26 3584 3584");
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(block_free, returns_where_the_flush_fails)
{
    TwoBlocks file;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(block_free(file, FIRST), DICT_NO_ROOM);
    EXPECT_EQ(written(), (Lines{ "write 26+896 failed" }));
    EXPECT_EQ(row_of(file, FIRST), "0 4930 20 20");  // memory has it all the same
    EXPECT_EQ(free_entries(file), 252u);
    EXPECT_EQ(file->block_changes, 1);
}

TEST(block_free, gives_the_status_of_the_update_and_writes_the_header)
{
    TwoBlocks file;
    file->header.table_entry = le32(999);  // damage: the table cannot find itself
    EXPECT_EQ(block_free(file, FIRST), DICT_FAILED);
    EXPECT_EQ(written(), (Lines{ "write 26+896", "write 0+26" }));
    EXPECT_EQ(free_entries_on_disk(file), 252u);
}

TEST(block_free, gives_9_without_memory_for_the_page)
{
    FullTable file;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_free(file, 200), DICT_NO_MEMORY);
    EXPECT_EQ(free_entries(file), 0u);
    EXPECT_EQ(file->block_changes, 0);
}

TEST(block_free, leaves_the_block_live_or_free_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        failure.start();
        DictStatus status = block_free(file, FIRST);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(status, DICT_OK); }
        EXPECT_EQ(row_of(file, FIRST), "0 4930 20 20");
        AfterACrash found(file);
        ASSERT_EQ(found.status, DICT_OK);
        bool live = row_of(found, FIRST) == "4 4930 20 15";
        EXPECT_TRUE(live || row_of(found, FIRST) == "0 4930 20 20");
        EXPECT_FALSE(live && !status);
        if (live) { EXPECT_EQ(block_bytes(found, FIRST), "first"); }
        EXPECT_EQ(block_bytes(found, SECOND), "second");
        u32 count = free_entries_on_disk(file);
        EXPECT_TRUE(count == 251 || count == 252);
    }
}

// ---- block_grow -----------------------------------------------------------------------------------------------------

TEST(block_grow, adds_zeros_at_the_end_of_the_file)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, SECOND, &entry, 50), DICT_OK);
    EXPECT_EQ(row(entry), "4 4950 50 44");
    EXPECT_EQ(file.bytes().substr(4950), "second" + zeros(44));
}

TEST(block_grow, leaves_the_entry_to_the_caller_at_the_end_of_the_file)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, SECOND, &entry, 50), DICT_OK);
    EXPECT_EQ(row_of(file, SECOND), "4 4950 30 24");
    EXPECT_EQ(file->page_cache[0].flags, 0u);
    EXPECT_EQ(written(), (Lines{ "write 4980+20" }));
    EXPECT_EQ(file->block_changes, 0);
    EXPECT_EQ(free_entries(file), 251u);
}

TEST(block_grow, keeps_the_file_open_at_its_end)
{
    TwoBlocks file;
    FileHandle before = file->file;
    FileHandle other = file_open(file.path, FILE_RW_SHARED);
    EXPECT_EQ(file_lock(file->file, 1000000, 1), 1);
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, SECOND, &entry, 50), DICT_OK);
    EXPECT_EQ(file->file, before);
    EXPECT_EQ(file_lock(other, 1000000, 1), 0);  // still held
    file_close(other);
}

TEST(block_grow, by_nothing_at_the_end_of_the_file_writes_nothing)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, SECOND, &entry, 30), DICT_OK);
    EXPECT_EQ(row(entry), "4 4950 30 24");
    EXPECT_EQ(written(), Lines{});
}

TEST(block_grow, swaps_the_entries_so_that_the_number_stays)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, FIRST, &entry, 500), DICT_OK);
    EXPECT_EQ(row(entry), "4 4980 500 495");
    EXPECT_EQ(row_of(file, FIRST), "4 4980 500 495");
    EXPECT_EQ(row_of(file, 6), "0 4930 20 20");  // the number that was given out for the move
    EXPECT_EQ(block_bytes(file, FIRST), "first");
    EXPECT_EQ(free_entries(file), 251u);         // one taken, one given
    EXPECT_EQ(file->block_changes, 1);
}

TEST(block_grow, has_a_move_in_the_file_at_once)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, FIRST, &entry, 500), DICT_OK);
    AfterACrash found(file);
    EXPECT_EQ(row_of(found, FIRST), "4 4980 500 495");
    EXPECT_EQ(row_of(found, 6), "0 4930 20 20");
    EXPECT_EQ(row_of(found, 3), "6 26 3584 0");
    EXPECT_EQ(le_get(found->header.free_entries), 251u);
    EXPECT_EQ(block_bytes(found, FIRST), "first");
}

TEST(block_grow, moves_in_this_order)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, FIRST, &entry, 500), DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE, FAULT_CLOSE, FAULT_OPEN }), (Lines{
        "read 922+896", "read 1818+896", "read 2714+896",               // the table, in search of a free piece
        "write 4980+500", "close", "open " + file.dir.native("a.dic"),  // the new block
        "read 4930+20", "write 4980+20",                                // all of the old one, its free tail too
        "write 0+26", "write 26+896",                                   // header with the table's own entry; page
        "write 0+26",
    }));
}

TEST(block_grow, moves_into_a_free_piece_that_is_larger_than_asked)
{
    TwoBlocks file;
    u32 piece = put_block(file, "", 60);
    u32 fence = put_block(file, "", 10);
    EXPECT_EQ(block_free(file, piece), DICT_OK);
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, FIRST, &entry, 50), DICT_OK);
    EXPECT_EQ(row(entry), "4 4980 60 55");       // 10 bytes more than asked for
    EXPECT_EQ(row_of(file, piece), "0 4930 20 20");
    EXPECT_EQ(row_of(file, fence), "4 5040 10 10");
    EXPECT_EQ(block_bytes(file, FIRST), "first");
}

TEST(block_grow, moves_a_block_of_no_bytes)
{
    TwoBlocks file;
    u32 empty = block_allocate(file, BLOCK_BODIES, 0);
    EXPECT_EQ(row_of(file, empty), "4 0 0 0");
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, empty, &entry, 100), DICT_OK);
    EXPECT_EQ(row_of(file, empty), "4 4980 100 100");
    EXPECT_EQ(row_of(file, empty + 1), "0 0 0 0");  // what it left is an empty entry again
}

TEST(block_grow, moves_a_block_while_the_table_moves_too)
{
    FullTable file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, 100, &entry, 1000), DICT_OK);
    EXPECT_EQ(row_of(file, 3), "6 5183 7168 0");
    EXPECT_EQ(row_of(file, 100), "4 12351 1000 999");
    EXPECT_EQ(row_of(file, 257), "0 26 3584 3584");
    EXPECT_EQ(row_of(file, 258), "0 5026 1 1");     // where the block has stood: 4930 + 96
    file.reopen();
    EXPECT_EQ(row_of(file, 100), "4 12351 1000 999");
    EXPECT_EQ(row_of(file, 101), "4 5027 1 0");
}

TEST(block_grow, gives_no_byte_to_a_block_and_a_free_piece_whichever_call_fails)
{
    // A crash has left a header without free entries, so the table grows; the block stands in a page that is not loaded
    // again on the way.
    constexpr u32 BLOCK = 100;
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        BlockEntry entry = entry_of(file, FIRST);
        BlockEntry none = {};
        EXPECT_EQ(block_write_entry(file, BLOCK - 1, &entry), DICT_OK);
        EXPECT_EQ(block_write_entry(file, FIRST - 1, &none), DICT_OK);
        file->header.free_entries = le32(0);
        file.reopen();

        failure.start();
        DictStatus status = block_grow(file, BLOCK, &entry, 500);
        if (!failure.stop()) { EXPECT_EQ(status, DICT_OK); }
        if (!file->page_cache || first_page_is_lost(file)) continue;

        u32 owners = 0;  // of the bytes from 4930 on, where the block has stood
        for (u32 block = 1; block <= 256; block++) owners += le_get(entry_of(file, block).offset) == 4930;
        EXPECT_LE(owners, 1u);
    }
}

TEST(block_grow, leaves_the_new_block_taken_when_the_move_fails)
{
    TwoBlocks file;
    BlockEntry entry = entry_with(9, 9, 9, 9);
    faults_start({ .call = FAULT_WRITE, .nth = 2, .error = PLATFORM_DISK_FULL });  // the first makes the block
    EXPECT_EQ(block_grow(file, FIRST, &entry, 500), DICT_NO_ROOM);
    faults_stop();
    EXPECT_EQ(row(entry), "9 9 9 9");
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 15");
    EXPECT_EQ(row_of(file, 6), "4 4980 500 500");
    EXPECT_EQ(free_entries(file), 250u);
    EXPECT_EQ(block_bytes(file, FIRST), "first");
}

TEST(block_grow, gives_13_without_a_new_block)
{
    TwoBlocks file;
    BlockEntry entry;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });  // whatever the reason
    EXPECT_EQ(block_grow(file, FIRST, &entry, 500), DICT_NO_ROOM);
    faults_start({ .call = FAULT_OPEN });
    EXPECT_EQ(block_grow(file, FIRST, &entry, 500), DICT_NO_ROOM);
    EXPECT_EQ(file->file, 0u);
}

TEST(block_grow, gives_the_status_of_the_extension_at_the_end_of_the_file)
{
    TwoBlocks file;
    BlockEntry entry = entry_with(9, 9, 9, 9);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(block_grow(file, SECOND, &entry, 500), DICT_ACCESS_DENIED);
    EXPECT_EQ(row(entry), "9 9 9 9");
    EXPECT_EQ(row_of(file, SECOND), "4 4950 30 24");
}

TEST(block_grow, gives_3_outside_the_table)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, 0, &entry, 500), DICT_NOT_FOUND);
    EXPECT_EQ(block_grow(file, 257, &entry, 500), DICT_NOT_FOUND);
}

TEST(block_grow, gives_13_when_the_length_is_unknown_or_too_large)
{
    TwoBlocks file;
    BlockEntry entry;
    faults_start({ .call = FAULT_SIZE });
    EXPECT_EQ(block_grow(file, SECOND, &entry, 500), DICT_NO_ROOM);
    faults_stop();
    EXPECT_EQ(block_grow(file, SECOND, &entry, 0x80000000), DICT_NO_ROOM);
    EXPECT_EQ(block_grow(file, SECOND, &entry, 0x7FFFFFFF), DICT_NO_ROOM);  // from 4950 on
    EXPECT_EQ(block_grow(file, FIRST, &entry, 0x7FFFFFFF), DICT_NO_ROOM);
    EXPECT_EQ(written(), Lines{});
    EXPECT_EQ(free_entries(file), 251u);
}

TEST(block_grow, refuses_to_shrink)
{
    TwoBlocks file;
    BlockEntry entry;
    EXPECT_EQ(block_grow(file, FIRST, &entry, 19), DICT_FAILED);
    EXPECT_EQ(block_grow(file, SECOND, &entry, 0), DICT_FAILED);
    EXPECT_EQ(written(), Lines{});
}

// Damaged entries, each of which would have an operation leave the file or count below 0.
static const BlockEntry more_free_than_size = entry_with(BLOCK_BODIES, 4930, 20, 21);
static const BlockEntry behind_the_file = entry_with(BLOCK_BODIES, 1000000, 20, 0);
static const BlockEntry across_the_end = entry_with(BLOCK_BODIES, 4970, 0x400000, 0);
static const BlockEntry behind_every_position = entry_with(BLOCK_BODIES, 0x80000000, 20, 0);
static const BlockEntry around_the_top = entry_with(BLOCK_BODIES, 0xFFFFFFF0, 32, 0);  // ends at 16, in the header

// A dictionary whose first block has this entry, from a process before.
class DamagedBlock : public TwoBlocks {
public:
    explicit DamagedBlock(const BlockEntry &entry)
    {
        EXPECT_EQ(block_write_entry(&file, FIRST - 1, &entry), DICT_OK);
        reopen();
        before = bytes();
    }
    void expect_untouched()
    {
        EXPECT_EQ(written(), Lines{});
        expect_bytes(bytes(), before);
        EXPECT_EQ(le_get(file.header.free_entries), 251u);
    }

    std::string before;
};

TEST(block_grow, refuses_a_damaged_entry_before_anything_is_written)
{
    const struct {
        const BlockEntry &entry;
        DictStatus status;
    } cases[] = {
        { more_free_than_size, DICT_FAILED },
        { behind_the_file, DICT_BAD_POSITION },
        { across_the_end, DICT_BAD_POSITION },
        { behind_every_position, DICT_BAD_POSITION },
        { around_the_top, DICT_BAD_POSITION },
    };
    for (const auto &damage : cases) {
        SCOPED_TRACE(row(damage.entry));
        DamagedBlock file(damage.entry);
        size_t memory = memory_alive_bytes();
        BlockEntry entry;
        EXPECT_EQ(block_grow(file, FIRST, &entry, 0x400100), damage.status);
        EXPECT_EQ(memory_alive_bytes(), memory);
        file.expect_untouched();
    }
}

TEST(block_grow, keeps_the_bytes_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        BlockEntry entry;
        failure.start();
        DictStatus status = block_grow(file, FIRST, &entry, 500);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(status, DICT_OK); }
        EXPECT_TRUE(free_entries(file) == 251 || (status && free_entries(file) == 250));
        if (file->page_cache) {  // a failed resize takes it away
            EXPECT_EQ(row_of(file, FIRST), status ? "4 4930 20 15" : "4 4980 500 495");
            if (file->file) { EXPECT_EQ(block_bytes(file, FIRST), "first"); }
        }

        expect_both_blocks(file);  // by the old entry or by the new one
        AfterACrash found(file);
        EXPECT_TRUE(row_of(found, FIRST) == "4 4930 20 15" ||
                    (!status && row_of(found, FIRST) == "4 4980 500 495"));
    }
}

TEST(block_grow, only_lengthens_the_file_at_its_end_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        std::string before = file.bytes();
        BlockEntry entry;
        failure.start();
        DictStatus status = block_grow(file, SECOND, &entry, 50);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(status, DICT_OK); }
        if (!status) { EXPECT_EQ(row(entry), "4 4950 50 44"); }
        expect_bytes(file.bytes().substr(0, before.size()), before);
        expect_both_blocks(file);
    }
}

// ---- block_splice ---------------------------------------------------------------------------------------------------

// Splice text into the first block. `unit` 0: it must not have to grow.
static DictStatus splice(DictFile *file, u32 block, const std::string &data, i32 pos, i32 old_len, i16 unit = 0)
{
    return block_splice(file, block, data.data(), pos, (i32)data.size(), old_len, unit);
}

TEST(block_splice, appends)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, " one", 5, 0), DICT_OK);
    EXPECT_EQ(block_bytes(file, FIRST), "first one");
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 11");
    EXPECT_EQ(written(), (Lines{ "write 4935+4" }));
}

TEST(block_splice, inserts)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "XYZ", 2, 0), DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }),
              (Lines{ "read 4932+3", "write 4935+3", "write 4932+3" }));  // the tail first, then the data
    EXPECT_EQ(block_bytes(file, FIRST), "fiXYZrst");
}

TEST(block_splice, removes)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "", 1, 3), DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 4934+1", "write 4931+1" }));
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 18");
    EXPECT_EQ(block_bytes(file, FIRST), "ft");
}

TEST(block_splice, removes_the_last_bytes_without_a_write)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "", 3, 2), DICT_OK);
    EXPECT_EQ(block_bytes(file, FIRST), "fir");
    EXPECT_EQ(written(), Lines{});
}

TEST(block_splice, removes_from_a_full_block_without_a_unit)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "01234567890123456789", 0, 5), DICT_OK);
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 0");
    EXPECT_EQ(splice(file, FIRST, "", 0, 1), DICT_OK);   // the first byte
    EXPECT_EQ(splice(file, FIRST, "", 18, 1), DICT_OK);  // the last
    EXPECT_EQ(block_bytes(file, FIRST), "123456789012345678");
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 2");
}

TEST(block_splice, replaces_bytes_of_the_same_length_in_place)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "IRS", 1, 3), DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "write 4931+3" }));
    EXPECT_EQ(block_bytes(file, FIRST), "fIRSt");
}

TEST(block_splice, replaces_by_more_and_by_fewer)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "1234567", 1, 3), DICT_OK);
    EXPECT_EQ(block_bytes(file, FIRST), "f1234567t");
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 11");
    EXPECT_EQ(splice(file, FIRST, "--", 1, 7), DICT_OK);
    EXPECT_EQ(block_bytes(file, FIRST), "f--t");
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 16");
}

TEST(block_splice, of_nothing_for_nothing_only_touches_the_entry)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "", 2, 0), DICT_OK);
    EXPECT_EQ(block_bytes(file, FIRST), "first");
    EXPECT_EQ(file->page_cache[0].flags, PAGE_DIRTY);
    EXPECT_EQ(written(), Lines{});
}

TEST(block_splice, leaves_the_table_to_the_next_flush)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, " one", 5, 0), DICT_OK);
    EXPECT_EQ(row_on_disk(file.bytes(), FIRST), "4 4930 20 15");
    EXPECT_EQ(block_table_flush(file), DICT_OK);
    EXPECT_EQ(row_on_disk(file.bytes(), FIRST), "4 4930 20 11");
}

TEST(block_splice, grows_only_when_the_free_bytes_do_not_do)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, std::string(15, 'x'), 5, 0, 50), DICT_OK);  // just as many as there are
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 0");
    EXPECT_EQ(splice(file, FIRST, "y", 20, 0, 50), DICT_OK);
    EXPECT_EQ(row_of(file, FIRST), "4 4980 50 29");
    EXPECT_EQ(block_bytes(file, FIRST), "first" + std::string(15, 'x') + "y");
}

TEST(block_splice, grows_as_if_the_old_bytes_stayed)
{
    // 100 bytes by 200, in units of 256: 256 would do, but 100 + 200 bytes take two of them.
    NewDictionary file;
    u32 block = put_block(file, std::string(100, 'a'), 100);
    EXPECT_EQ(splice(file, block, std::string(200, 'b'), 0, 100, 256), DICT_OK);
    EXPECT_EQ(row_of(file, block), "4 4930 512 312");
    EXPECT_EQ(block_bytes(file, block), std::string(200, 'b'));
}

TEST(block_splice, grows_by_one_unit_more_than_an_exact_sum)
{
    NewDictionary file;
    u32 block = put_block(file, std::string(50, 'a'), 50);
    EXPECT_EQ(splice(file, block, std::string(50, 'b'), 50, 0, 50), DICT_OK);  // 100 / 50 + 1 units
    EXPECT_EQ(row_of(file, block), "4 4930 150 50");

    NewDictionary largest;  // the largest unit of a body
    block = put_block(largest, "a", 1);
    EXPECT_EQ(splice(largest, block, std::string(15360, 'b'), 1, 0, 15360), DICT_OK);
    EXPECT_EQ(row_of(largest, block), "4 4930 30720 15359");
}

TEST(block_splice, writes_the_entry_of_a_block_that_grew_where_it_stood)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, SECOND, std::string(40, 'x'), 0, 0, 50), DICT_OK);
    EXPECT_EQ(row_of(file, SECOND), "4 4950 50 4");
    EXPECT_EQ(block_bytes(file, SECOND), std::string(40, 'x') + "second");
    file.reopen();
    EXPECT_EQ(row_of(file, SECOND), "4 4950 50 4");
    EXPECT_EQ(block_bytes(file, SECOND), std::string(40, 'x') + "second");
}

TEST(block_splice, inserts_into_a_block_that_moves)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, std::string(40, 'x'), 2, 1, 50), DICT_OK);
    EXPECT_EQ(row_of(file, FIRST), "4 4980 50 6");
    EXPECT_EQ(block_bytes(file, FIRST), "fi" + std::string(40, 'x') + "st");
    EXPECT_EQ(block_bytes(file, SECOND), "second");
}

TEST(block_splice, moves_a_tail_of_more_than_a_chunk)
{
    NewDictionary file;
    std::string tail(70000, 't');
    u32 block = put_block(file, tail, 70010);
    EXPECT_EQ(splice(file, block, "0123456789", 0, 0), DICT_OK);
    EXPECT_EQ(block_bytes(file, block), "0123456789" + tail);
    EXPECT_EQ(splice(file, block, "", 0, 10), DICT_OK);
    EXPECT_EQ(block_bytes(file, block), tail);
}

TEST(block_splice, never_shrinks_a_block)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, SECOND, "", 0, 6), DICT_OK);
    EXPECT_EQ(row_of(file, SECOND), "4 4950 30 30");
    EXPECT_EQ((i32)file.bytes().size(), TWO_BLOCKS_LENGTH);
}

TEST(block_splice, gives_1_when_it_would_grow_without_a_unit)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, std::string(16, 'x'), 5, 0, 0), DICT_FAILED);
    EXPECT_EQ(splice(file, FIRST, std::string(16, 'x'), 5, 0, -50), DICT_FAILED);
    EXPECT_EQ(written(), Lines{});
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 15");
}

TEST(block_splice, gives_1_when_the_bytes_do_not_lie_in_the_used_part)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, FIRST, "x", -1, 0, 50), DICT_FAILED);
    EXPECT_EQ(splice(file, FIRST, "x", 0, -1, 50), DICT_FAILED);
    EXPECT_EQ(splice(file, FIRST, "x", 6, 0, 50), DICT_FAILED);  // behind the 5 used bytes
    EXPECT_EQ(splice(file, FIRST, "x", 5, 1, 50), DICT_FAILED);
    EXPECT_EQ(splice(file, FIRST, "x", INT32_MAX, INT32_MAX, 50), DICT_FAILED);
    EXPECT_EQ(block_splice(file, FIRST, "x", 0, -1, 0, 50), DICT_FAILED);
    EXPECT_EQ(written(), Lines{});
    EXPECT_EQ(row_of(file, FIRST), "4 4930 20 15");
}

TEST(block_splice, gives_13_beyond_2_gib)
{
    TwoBlocks file;
    EXPECT_EQ(block_splice(file, FIRST, nullptr, 0, INT32_MAX, 0, 50), DICT_NO_ROOM);
    EXPECT_EQ(block_splice(file, FIRST, nullptr, 0, INT32_MAX - 6, 0, 32767), DICT_NO_ROOM);  // by its last unit
    EXPECT_EQ(written(), Lines{});
}

TEST(block_splice, gives_12_when_the_length_is_unknown)
{
    TwoBlocks file;
    faults_start({ .call = FAULT_SIZE });
    EXPECT_EQ(splice(file, FIRST, "x", 5, 0), DICT_BAD_POSITION);
    EXPECT_EQ(written(), Lines{});
}

TEST(block_splice, gives_3_outside_the_table)
{
    TwoBlocks file;
    EXPECT_EQ(splice(file, 0, "x", 0, 0, 50), DICT_NOT_FOUND);
    EXPECT_EQ(splice(file, 257, "x", 0, 0, 50), DICT_NOT_FOUND);
}

TEST(block_splice, ends_at_the_first_failure_with_the_old_entry)
{
    const struct {
        FaultCall call;
        u32 nth;
        DictStatus status;
        std::string first_bytes;  // what the block's bytes are then
    } cases[] = {
        { FAULT_READ, 1, DICT_ACCESS_DENIED, "first" + zeros(3) },
        { FAULT_WRITE, 1, DICT_ACCESS_DENIED, "first" + zeros(3) },
        { FAULT_WRITE, 2, DICT_ACCESS_DENIED, "firstrst" },          // the tail is moved, the data are not there
        { FAULT_SEEK, 1, DICT_BAD_POSITION, "first" + zeros(3) },    // within the move
        { FAULT_SEEK, 3, DICT_ACCESS_DENIED, "firstrst" },           // of the data
    };
    for (const auto &failure : cases) {
        TwoBlocks file;
        faults_start({ .call = failure.call, .nth = failure.nth, .error = PLATFORM_ACCESS_DENIED });
        EXPECT_EQ(splice(file, FIRST, "XYZ", 2, 0), failure.status);
        faults_stop();
        EXPECT_EQ(row_of(file, FIRST), "4 4930 20 15");
        EXPECT_EQ(file.bytes().substr(4930, 8), failure.first_bytes);
    }
}

TEST(block_splice, refuses_a_damaged_entry_before_anything_is_written)
{
    const struct {
        const BlockEntry &entry;
        i32 pos;
        DictStatus status;
    } cases[] = {
        { more_free_than_size, 0, DICT_FAILED },
        { behind_the_file, 20, DICT_BAD_POSITION },
        { across_the_end, 20, DICT_BAD_POSITION },
        { behind_every_position, 20, DICT_BAD_POSITION },
        { around_the_top, 20, DICT_BAD_POSITION },  // byte 20 would be byte 4 of the header
    };
    for (const auto &damage : cases) {
        SCOPED_TRACE(row(damage.entry));
        DamagedBlock file(damage.entry);
        EXPECT_EQ(splice(file, FIRST, "x", damage.pos, 0, 50), damage.status);
        EXPECT_EQ(splice(file, FIRST, "", 0, 0), damage.status);
        file.expect_untouched();
    }
}

TEST(block_splice, keeps_the_old_bytes_of_an_append_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        failure.start();
        DictStatus status = splice(file, FIRST, " one", 5, 0);
        bool failed = failure.stop();

        EXPECT_EQ(status != DICT_OK, failed);
        EXPECT_EQ(row_of(file, FIRST), failed ? "4 4930 20 15" : "4 4930 20 11");
        expect_both_blocks(file);  // the table in the file tells the old length
    }
}

TEST(block_splice, keeps_the_old_bytes_of_an_append_that_moves_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        failure.start();
        DictStatus status = splice(file, FIRST, std::string(40, 'x'), 5, 0, 50);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(status, DICT_OK); }
        if (!status) { EXPECT_EQ(block_bytes(file, FIRST), "first" + std::string(40, 'x')); }
        expect_both_blocks(file);
    }
}

TEST(block_splice, keeps_the_bytes_ahead_of_the_change_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        failure.start();
        DictStatus status = splice(file, FIRST, "XYZ", 2, 1);
        bool failed = failure.stop();

        if (!failed) { EXPECT_EQ(status, DICT_OK); }  // one failed allocation only makes the buffer smaller
        EXPECT_EQ(row_of(file, FIRST), status ? "4 4930 20 15" : "4 4930 20 13");
        AfterACrash found(file);
        ASSERT_EQ(found.status, DICT_OK);
        EXPECT_EQ(row_of(found, FIRST), "4 4930 20 15");
        EXPECT_EQ(block_bytes(found, FIRST).substr(0, 2), "fi");
        EXPECT_EQ(block_bytes(found, SECOND), "second");
    }
}

// ---- block_read -----------------------------------------------------------------------------------------------------

TEST(block_read, gives_the_whole_block_with_its_free_tail)
{
    TwoBlocks file;
    DictStatus status = 77;
    EXPECT_EQ(take(block_read(file, FIRST, nullptr, &status)), "first" + zeros(15));
    EXPECT_EQ(status, DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 4930+20" }));
}

TEST(block_read, gives_a_new_handle_each_time_whatever_the_label)
{
    TwoBlocks file;
    DictStatus status = 77;
    GHandle first = block_read(file, SECOND, Name("a label"), &status);
    GHandle second = block_read(file, SECOND, Name(""), &status);
    EXPECT_NE(first, second);
    EXPECT_EQ(take(first), take(second));
}

TEST(block_read, gives_an_empty_handle_for_a_block_of_no_bytes)
{
    TwoBlocks file;
    u32 block = block_allocate(file, BLOCK_BODIES, 0);
    DictStatus status = 77;
    GHandle handle = block_read(file, block, nullptr, &status);
    EXPECT_NE(handle, 0u);
    EXPECT_EQ(status, DICT_OK);
    EXPECT_EQ(gsize(handle), 0);
    gfree(handle);
}

TEST(block_read, gives_3_outside_the_table)
{
    TwoBlocks file;
    DictStatus status = 77;
    EXPECT_EQ(block_read(file, 0, nullptr, &status), 0u);
    EXPECT_EQ(status, DICT_NOT_FOUND);
    EXPECT_EQ(block_read(file, 257, nullptr, &status), 0u);
    EXPECT_EQ(status, DICT_NOT_FOUND);
}

TEST(block_read, gives_12_for_a_block_that_is_not_in_the_file)
{
    for (const BlockEntry *entry : { &behind_the_file, &across_the_end, &behind_every_position, &around_the_top }) {
        SCOPED_TRACE(row(*entry));
        DamagedBlock file(*entry);
        DictStatus status = 77;
        calls_reset();
        EXPECT_EQ(block_read(file, FIRST, nullptr, &status), 0u);
        EXPECT_EQ(status, DICT_BAD_POSITION);
        EXPECT_EQ(call_counts().alloc, 0u);  // not even asked for
    }
}

TEST(block_read, gives_the_last_byte_of_the_file)
{
    DamagedBlock file(entry_with(BLOCK_BODIES, TWO_BLOCKS_LENGTH - 1, 1, 5));  // `free` is nothing to it
    DictStatus status = 77;
    EXPECT_EQ(take(block_read(file, FIRST, nullptr, &status)), zeros(1));

    DamagedBlock one_more(entry_with(BLOCK_BODIES, TWO_BLOCKS_LENGTH - 1, 2, 0));
    EXPECT_EQ(block_read(one_more, FIRST, nullptr, &status), 0u);
    EXPECT_EQ(status, DICT_BAD_POSITION);
}

TEST(block_read, gives_zeros_for_what_is_cut_off_meanwhile)
{
    TwoBlocks file;
    faults_hook(FAULT_READ, 1, [&] { std::filesystem::resize_file(file.dir.path("a.dic"), 4933); });
    DictStatus status = 77;
    std::string bytes = take(block_read(file, FIRST, nullptr, &status));
    EXPECT_EQ(status, DICT_OK);
    EXPECT_EQ(bytes, "fir" + zeros(17));
}

TEST(block_read, gives_no_handle_whichever_call_fails)
{
    for (EachFailure failure; failure.next();) {
        SCOPED_TRACE(failure.words());
        TwoBlocks file;
        DictStatus status = 77;
        failure.start();
        GHandle handle = block_read(file, SECOND, nullptr, &status);
        bool failed = failure.stop();

        EXPECT_EQ(handle == 0, failed);
        EXPECT_EQ(status != DICT_OK, failed);
        if (!failed) { EXPECT_EQ(bytes_of(handle), "second" + zeros(24)); }
        gfree(handle);
    }
}

} // namespace zuk
