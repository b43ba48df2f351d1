#include "foundation/handles.h"

#include "platform/platform.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <set>
#include <string.h>
#include <string>
#include <vector>

using namespace zuk;

namespace {

// A number is not given again before this many others were freed.
constexpr int REUSE_AT_LEAST = 4096;
// More than all the numbers that the tests of this program have given by now: by then a number that waits has its turn.
constexpr u32 EVERY_NUMBER = 1000000;

// Memory that counts, remembers what it gave, refuses a call when told to, and moves a block at every resize. It is in
// front for as long as the record lives; it frees nothing by itself, since records of handles are among the blocks.
struct WatchedMemory {
    static inline int allocs, resizes, frees;
    static inline int refused_alloc;         // the n-th from now is refused; 0 = none
    static inline bool refuse_resize;
    static inline size_t asked;              // size of the last call, refused or not
    static inline bool asked_zero;
    static inline std::map<void *, size_t> blocks;
    static inline void *last;                // the last block given

    static inline const PlatformMemory *before;  // the table behind this one, which sees every call too

    static void *alloc(size_t size, bool zero)
    {
        allocs++;
        asked = size;
        asked_zero = zero;
        if (refused_alloc && allocs == refused_alloc) return nullptr;

        void *block = before->alloc(size, zero);
        if (!block) return nullptr;
        if (!zero) memset(block, 0xCC, size);  // so that nobody takes fresh memory for cleared memory
        blocks[block] = size;
        last = block;
        return block;
    }

    static void *resize(void *block, size_t size)
    {
        resizes++;
        asked = size;
        if (refuse_resize) return nullptr;

        void *moved = before->alloc(size, false);
        if (!moved) return nullptr;
        memset(moved, 0xCC, size);
        memcpy(moved, block, std::min(size, blocks.at(block)));
        blocks.erase(block);
        before->free(block);
        blocks[moved] = size;
        last = moved;
        return moved;
    }

    static void free(void *block)
    {
        frees++;
        blocks.erase(block);
        before->free(block);
    }

    static void refuse_alloc(int nth)
    {
        allocs = 0;
        refused_alloc = nth;
    }

    WatchedMemory()
    {
        static const PlatformMemory table = {.alloc = alloc, .resize = resize, .free = free};
        allocs = resizes = frees = refused_alloc = 0;
        refuse_resize = false;
        asked = 0;
        asked_zero = false;
        blocks.clear();
        last = nullptr;
        before = platform_memory;
        platform_memory = &table;
    }
    ~WatchedMemory() { platform_memory = before; }
};

u8 *bytes_of(GHandle handle)
{
    return (u8 *)glock(handle);
}

// A handle whose bytes count up from `first`.
GHandle counting(i32 size, u8 first = 1)
{
    GHandle handle = galloc(size, nullptr, 0);
    for (i32 i = 0; i < size; i++) bytes_of(handle)[i] = (u8)(first + i);
    return handle;
}

std::vector<u8> content(GHandle handle)
{
    return {bytes_of(handle), bytes_of(handle) + gsize(handle)};
}

u32 word_in_front_of(const void *data)
{
    u32 word;
    memcpy(&word, (const u8 *)data - sizeof word, sizeof word);
    return word;
}

// A handle that was alive and is not any more; its number waits.
GHandle freed_handle()
{
    GHandle handle = galloc(10, nullptr, 1);
    gfree(handle);
    return handle;
}

// Handles, so many that no number waits that may be given again: the last one is fresh, as it needed a new record.
std::vector<GHandle> use_up_numbers()
{
    WatchedMemory memory;
    std::vector<GHandle> handles;
    do {
        memory.allocs = 0;
        handles.push_back(galloc(1, nullptr, 0));
    } while (memory.allocs < 2 && handles.size() < EVERY_NUMBER);
    EXPECT_EQ(memory.allocs, 2);
    return handles;
}

// Values that are no handle: none, freed, never given, beyond the table.
std::vector<GHandle> dead_handles()
{
    return {0, freed_handle(), 0x00FFFFFF, 0x03FFFFFF, 0x04000000, 0x7FFFFFFF, 0x80000001, 0xFFFFFFFF};
}

// ---- galloc ----

TEST(galloc, gives_a_block_of_the_size)
{
    GHandle handle = galloc(100, nullptr, 0);
    ASSERT_NE(handle, 0u);
    ASSERT_NE(glock(handle), nullptr);
    EXPECT_EQ(gsize(handle), 100);
    memset(glock(handle), 0xA5, 100);
    gfree(handle);
}

TEST(galloc, of_a_negative_size_gives_0)
{
    WatchedMemory memory;
    EXPECT_EQ(galloc(-1, nullptr, 1), 0u);
    EXPECT_EQ(galloc(INT32_MIN, nullptr, 0), 0u);
    EXPECT_EQ(memory.allocs, 0);
}

TEST(galloc, of_size_0_gives_a_handle_with_data)
{
    GHandle handle = galloc(0, nullptr, 0);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(gsize(handle), 0);
    EXPECT_NE(glock(handle), nullptr);
    EXPECT_EQ(ghandle(glock(handle)), handle);
    gfree(handle);
}

TEST(galloc, clears_the_data_for_any_flag_but_0)
{
    WatchedMemory memory;
    for (i16 zero : std::initializer_list<i16>{1, 2, 256, -1, -32768}) {
        GHandle handle = galloc(1000, nullptr, zero);
        EXPECT_EQ(content(handle), std::vector<u8>(1000, 0)) << "flag " << zero;
        gfree(handle);
    }
}

TEST(galloc, does_not_ask_for_clearing_with_flag_0)
{
    WatchedMemory memory;
    memory.refuse_alloc(1);  // the data block: records, which are cleared, are not asked for after that
    EXPECT_EQ(galloc(1000, nullptr, 0), 0u);
    EXPECT_FALSE(memory.asked_zero);
}

TEST(galloc, ignores_the_label)
{
    const u8 label[] = {3, 'a', 'b', 'c'};
    const u8 empty[] = {0};
    GHandle named = galloc(5, label, 1);
    GHandle empty_named = galloc(5, empty, 1);
    EXPECT_EQ(content(named), std::vector<u8>(5, 0));
    EXPECT_EQ(content(empty_named), std::vector<u8>(5, 0));
    gfree(named);
    gfree(empty_named);
}

TEST(galloc, aligns_the_data_for_any_type)
{
    constexpr size_t alignment = std::max({alignof(u64), alignof(double), alignof(long double), alignof(void *)});
    for (i32 size = 0; size < 70; size++) {
        GHandle handle = galloc(size, nullptr, 0);
        EXPECT_EQ((uintptr_t)glock(handle) % alignment, 0u) << "size " << size;
        gfree(handle);
    }
}

TEST(galloc, puts_the_handle_in_front_of_the_data)
{
    WatchedMemory memory;  // moves the block when it is resized
    GHandle handle = galloc(5, nullptr, 1);
    EXPECT_EQ(word_in_front_of(glock(handle)), handle);

    GHandle variable = handle;
    ASSERT_EQ(grealloc(&variable, 500), 1);
    EXPECT_EQ(word_in_front_of(glock(handle)), handle);
    ASSERT_EQ(grealloc(&variable, 3), 1);
    EXPECT_EQ(word_in_front_of(glock(handle)), handle);
    gfree(handle);
}

TEST(galloc, leaves_16_bytes_behind_the_data_to_the_block)
{
    GHandle handle = galloc(5, nullptr, 1);
    EXPECT_EQ(gsize(handle), 5);             // the spare bytes are not told
    memset(bytes_of(handle) + 5, 0xA5, 16);  // a sanitizer would speak up
    EXPECT_EQ(content(handle), std::vector<u8>(5, 0));
    gfree(handle);
}

TEST(galloc, asks_for_the_data_its_prefix_and_the_spare_bytes)
{
    WatchedMemory memory;
    memory.refuse_alloc(1);
    EXPECT_EQ(galloc(100, nullptr, 1), 0u);
    EXPECT_EQ(memory.asked, 100u + 32u);
    EXPECT_TRUE(memory.asked_zero);
}

TEST(galloc, gives_no_number_twice_while_it_lives)
{
    std::set<GHandle> seen;
    for (int i = 0; i < 10000; i++) {  // passes the end of two segments of records
        GHandle handle = galloc(8, nullptr, 0);
        ASSERT_NE(handle, 0u);
        ASSERT_TRUE(seen.insert(handle).second);
        memcpy(glock(handle), &handle, sizeof handle);
    }
    for (GHandle handle : seen) ASSERT_EQ(memcmp(glock(handle), &handle, sizeof handle), 0);
    for (GHandle handle : seen) gfree(handle);
}

TEST(galloc, of_the_largest_size_gives_0_or_a_block_of_that_size)
{
    GHandle handle = galloc(INT32_MAX, nullptr, 0);
    if (handle) {
        EXPECT_EQ(gsize(handle), INT32_MAX);
        bytes_of(handle)[0] = 1;
        bytes_of(handle)[INT32_MAX - 1] = 2;
        EXPECT_EQ(bytes_of(handle)[0], 1);
        EXPECT_EQ(bytes_of(handle)[INT32_MAX - 1], 2);
    }
    gfree(handle);
}

TEST(galloc, of_the_largest_size_asks_for_more_than_31_bits)
{
    WatchedMemory memory;
    memory.refuse_alloc(1);
    EXPECT_EQ(galloc(INT32_MAX, nullptr, 0), 0u);
    EXPECT_GE(memory.asked, (size_t)INT32_MAX + 32u);  // prefix and spare bytes included
}

TEST(galloc, gives_0_when_the_data_block_fails)
{
    WatchedMemory memory;
    u32 alive = handles_alive();
    memory.refuse_alloc(1);
    EXPECT_EQ(galloc(10, nullptr, 1), 0u);
    EXPECT_EQ(memory.allocs, 1);
    EXPECT_EQ(handles_alive(), alive);
}

TEST(galloc, leaves_the_data_block_when_the_record_fails)
{
    WatchedMemory memory;
    std::vector<GHandle> handles;
    bool failed = false;

    // Records are asked for many at once, so most handles need no memory for theirs; one of some thousand does.
    for (u32 i = 0; i < EVERY_NUMBER && !failed; i++) {
        u32 alive = handles_alive();
        memory.refuse_alloc(2);  // the first is the data block
        GHandle handle = galloc(10, nullptr, 1);
        if (handle) {
            ASSERT_EQ(memory.allocs, 1);
            handles.push_back(handle);
            continue;
        }

        failed = true;
        EXPECT_EQ(memory.allocs, 2);
        EXPECT_EQ(memory.frees, 0);
        EXPECT_EQ(handles_alive(), alive);
        ASSERT_EQ(memory.blocks.count(memory.last), 1u);  // the data block, alone in the world
        memory.before->free(memory.last);
        memory.blocks.erase(memory.last);
    }
    EXPECT_TRUE(failed);

    // The next one finds memory again.
    memory.refuse_alloc(0);
    GHandle handle = galloc(10, nullptr, 1);
    EXPECT_NE(handle, 0u);
    EXPECT_EQ(content(handle), std::vector<u8>(10, 0));
    handles.push_back(handle);
    for (GHandle each : handles) gfree(each);
}

// ---- gfree ----

TEST(gfree, gives_the_data_block_back)
{
    WatchedMemory memory;
    GHandle handle = galloc(10, nullptr, 1);
    size_t blocks = memory.blocks.size();  // with the records, if new ones were needed
    gfree(handle);
    EXPECT_EQ(memory.frees, 1);
    EXPECT_EQ(memory.blocks.size(), blocks - 1);
}

TEST(gfree, of_no_handle_does_nothing)
{
    std::vector<GHandle> dead = dead_handles();
    GHandle other = counting(4);
    u32 alive = handles_alive();

    WatchedMemory memory;
    for (GHandle handle : dead) gfree(handle);
    EXPECT_EQ(memory.frees, 0);
    EXPECT_EQ(handles_alive(), alive);
    EXPECT_EQ(content(other), (std::vector<u8>{1, 2, 3, 4}));
    gfree(other);
}

TEST(gfree, of_a_freed_handle_does_nothing)
{
    GHandle handle = counting(4);
    GHandle other = counting(4);
    u32 alive = handles_alive();
    gfree(handle);

    WatchedMemory memory;
    calls_reset();
    gfree(handle);
    gfree(handle);
    EXPECT_EQ(call_counts().debug_break, 0u);  // nobody is told
    EXPECT_EQ(memory.frees, 0);
    EXPECT_EQ(handles_alive(), alive - 1);
    EXPECT_EQ(content(other), (std::vector<u8>{1, 2, 3, 4}));
    gfree(other);
}

TEST(gfree, twice_lets_the_number_come_back_once)
{
    std::vector<GHandle> others;
    for (int i = 0; i < REUSE_AT_LEAST + 10; i++) others.push_back(galloc(1, nullptr, 0));
    GHandle handle = freed_handle();
    gfree(handle);
    for (GHandle other : others) gfree(other);  // so many that the number gets its turn

    std::set<GHandle> seen;
    for (u32 i = 0; i < EVERY_NUMBER && !seen.count(handle); i++) {
        ASSERT_TRUE(seen.insert(galloc(1, nullptr, 0)).second);
    }
    EXPECT_TRUE(seen.count(handle));
    for (int i = 0; i < 100; i++) ASSERT_TRUE(seen.insert(galloc(1, nullptr, 0)).second);
    for (GHandle each : seen) gfree(each);
}

TEST(gfree, keeps_the_number_back_for_long)
{
    std::vector<GHandle> handles = use_up_numbers();
    GHandle handle = freed_handle();
    for (int i = 0; i < REUSE_AT_LEAST; i++) {
        GHandle next = galloc(1, nullptr, 0);
        ASSERT_NE(next, handle) << "after " << i << " others";
        ASSERT_EQ(glock(handle), nullptr);
        gfree(next);
    }
    for (GHandle each : handles) gfree(each);
}

TEST(gfree, lets_the_number_come_back_in_the_end)
{
    GHandle handle = freed_handle();
    bool came_back = false;
    for (u32 i = 0; i < EVERY_NUMBER && !came_back; i++) {
        GHandle next = galloc(1, nullptr, 0);
        came_back = next == handle;
        gfree(next);
    }
    EXPECT_TRUE(came_back);
}

TEST(gfree, lets_numbers_come_back_in_the_order_of_freeing)
{
    GHandle first = galloc(1, nullptr, 0);
    GHandle second = galloc(1, nullptr, 0);
    GHandle third = galloc(1, nullptr, 0);
    gfree(second);
    gfree(third);
    gfree(first);

    std::vector<GHandle> order;
    for (u32 i = 0; i < EVERY_NUMBER && order.size() < 3; i++) {
        GHandle next = galloc(1, nullptr, 0);
        if (next == first || next == second || next == third) order.push_back(next);
        gfree(next);
    }
    EXPECT_EQ(order, (std::vector<GHandle>{second, third, first}));
}

// ---- grealloc ----

TEST(grealloc, keeps_handle_and_bytes_when_the_block_moves)
{
    WatchedMemory memory;
    GHandle handle = counting(4);
    GHandle variable = handle;
    const void *before = glock(handle);

    EXPECT_EQ(grealloc(&variable, 4000), 1);
    EXPECT_EQ(variable, handle);
    EXPECT_NE(glock(handle), before);
    EXPECT_EQ(gsize(handle), 4000);
    EXPECT_EQ(ghandle(glock(handle)), handle);
    std::vector<u8> expected = {1, 2, 3, 4};
    expected.resize(4000);
    EXPECT_EQ(content(handle), expected);
    gfree(handle);
}

TEST(grealloc, clears_the_growth_of_a_handle_made_without_zero_fill)
{
    WatchedMemory memory;  // gives CC bytes where none are cleared
    GHandle handle = galloc(3, nullptr, 0);
    memset(glock(handle), 0xFF, 3);
    ASSERT_EQ(grealloc(&handle, 6), 1);
    EXPECT_EQ(content(handle), (std::vector<u8>{0xFF, 0xFF, 0xFF, 0, 0, 0}));
    gfree(handle);
}

TEST(grealloc, clears_again_what_a_shrink_had_given_up)
{
    GHandle handle = galloc(10, nullptr, 0);
    memset(glock(handle), 0xFF, 10);
    ASSERT_EQ(grealloc(&handle, 4), 1);
    EXPECT_EQ(content(handle), std::vector<u8>(4, 0xFF));
    ASSERT_EQ(grealloc(&handle, 10), 1);
    EXPECT_EQ(content(handle), (std::vector<u8>{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0}));
    gfree(handle);
}

TEST(grealloc, to_the_same_size_changes_no_byte)
{
    WatchedMemory memory;
    GHandle handle = counting(5);
    EXPECT_EQ(grealloc(&handle, 5), 1);
    EXPECT_EQ(content(handle), (std::vector<u8>{1, 2, 3, 4, 5}));
    gfree(handle);
}

TEST(grealloc, to_size_0_leaves_a_handle_with_data)
{
    GHandle handle = counting(5);
    EXPECT_EQ(grealloc(&handle, 0), 1);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(gsize(handle), 0);
    EXPECT_NE(glock(handle), nullptr);
    ASSERT_EQ(grealloc(&handle, 3), 1);
    EXPECT_EQ(content(handle), std::vector<u8>(3, 0));
    gfree(handle);
}

TEST(grealloc, leaves_the_spare_bytes_behind_the_data)
{
    GHandle handle = counting(5);
    ASSERT_EQ(grealloc(&handle, 50), 1);
    memset(bytes_of(handle) + 50, 0xA5, 16);  // a sanitizer would speak up
    ASSERT_EQ(grealloc(&handle, 7), 1);
    memset(bytes_of(handle) + 7, 0xA5, 16);
    EXPECT_EQ(content(handle), (std::vector<u8>{1, 2, 3, 4, 5, 0, 0}));
    gfree(handle);
}

TEST(grealloc, takes_the_handle_away_when_the_resize_fails)
{
    WatchedMemory memory;
    GHandle handle = counting(4);
    GHandle variable = handle;
    const u8 *before = bytes_of(handle);
    u32 alive = handles_alive();

    memory.refuse_resize = true;
    EXPECT_EQ(grealloc(&variable, 100), 0);
    EXPECT_EQ(variable, 0u);

    EXPECT_EQ(memory.frees, 0);
    EXPECT_EQ(before[0], 1);               // the old pointer can still be read,
    EXPECT_EQ(before[3], 4);
    EXPECT_EQ(glock(handle), before);      // and the record stays as it was
    EXPECT_EQ(gsize(handle), 4);
    EXPECT_EQ(handles_alive(), alive);
    gfree(handle);
}

TEST(grealloc, takes_the_handle_away_when_a_shrink_fails)
{
    WatchedMemory memory;
    GHandle handle = counting(4);
    GHandle variable = handle;
    memory.refuse_resize = true;
    EXPECT_EQ(grealloc(&variable, 2), 0);
    EXPECT_EQ(variable, 0u);
    EXPECT_EQ(content(handle), (std::vector<u8>{1, 2, 3, 4}));
    gfree(handle);
}

TEST(grealloc, of_a_negative_size_touches_nothing)
{
    WatchedMemory memory;
    GHandle handle = counting(4);
    GHandle variable = handle;
    EXPECT_EQ(grealloc(&variable, -1), 0);
    EXPECT_EQ(grealloc(&variable, INT32_MIN), 0);
    EXPECT_EQ(variable, handle);
    EXPECT_EQ(memory.resizes, 0);
    EXPECT_EQ(content(handle), (std::vector<u8>{1, 2, 3, 4}));
    gfree(handle);
}

TEST(grealloc, of_a_null_variable_gives_0)
{
    WatchedMemory memory;
    EXPECT_EQ(grealloc(nullptr, 10), 0);
    EXPECT_EQ(memory.resizes, 0);
    EXPECT_EQ(memory.allocs, 0);
}

TEST(grealloc, of_no_handle_touches_nothing)
{
    std::vector<GHandle> dead = dead_handles();
    WatchedMemory memory;
    for (GHandle handle : dead) {
        GHandle variable = handle;
        EXPECT_EQ(grealloc(&variable, 10), 0);
        EXPECT_EQ(variable, handle);
    }
    EXPECT_EQ(memory.resizes, 0);
    EXPECT_EQ(memory.allocs, 0);
}

TEST(grealloc, to_the_largest_size_asks_for_more_than_31_bits)
{
    WatchedMemory memory;
    GHandle handle = counting(4);
    GHandle variable = handle;
    memory.refuse_resize = true;
    EXPECT_EQ(grealloc(&variable, INT32_MAX), 0);
    EXPECT_GE(memory.asked, (size_t)INT32_MAX + 32u);  // prefix and spare bytes included
    gfree(handle);
}

// ---- glock, gunlock, gsize ----

TEST(glock, gives_the_same_pointer_until_a_resize)
{
    GHandle handle = galloc(10, nullptr, 1);
    void *data = glock(handle);
    GHandle other = galloc(100000, nullptr, 1);
    EXPECT_EQ(glock(handle), data);
    gfree(other);
    EXPECT_EQ(glock(handle), data);
    gfree(handle);
}

TEST(glock, allocates_nothing)
{
    GHandle handle = galloc(10, nullptr, 1);
    WatchedMemory memory;
    (void)glock(handle);
    (void)gsize(handle);
    EXPECT_EQ(memory.allocs + memory.resizes + memory.frees, 0);
    gfree(handle);
}

TEST(glock, of_no_handle_gives_null)
{
    for (GHandle handle : dead_handles()) EXPECT_EQ(glock(handle), nullptr) << "handle " << handle;
}

TEST(glock, knows_the_live_numbers_among_all)
{
    std::set<GHandle> mine;
    for (int i = 0; i < 100; i++) mine.insert(galloc(1, nullptr, 0));
    gfree(*mine.begin());
    mine.erase(mine.begin());

    u32 live = 0;
    for (GHandle handle = 0; handle < EVERY_NUMBER; handle++) {
        void *data = glock(handle);
        if (!data) continue;
        ASSERT_EQ(ghandle(data), handle);
        live++;
    }
    EXPECT_EQ(live, handles_alive());
    for (GHandle handle : mine) gfree(handle);
}

TEST(glock, looks_at_all_32_bits)
{
    GHandle handle = galloc(1, nullptr, 0);
    for (u32 bit = 1u << 22; bit != 0; bit <<= 1) EXPECT_EQ(glock(handle | bit), nullptr) << std::hex << bit;
    gfree(handle);
}

TEST(gunlock, leaves_the_pointer_valid)
{
    GHandle handle = counting(3);
    const u8 *data = bytes_of(handle);
    for (int i = 0; i < 5; i++) gunlock(handle);
    EXPECT_EQ(bytes_of(handle), data);
    EXPECT_EQ(data[2], 3);
    EXPECT_EQ(gsize(handle), 3);

    ASSERT_EQ(glock(handle), data);  // three locks and no unlock keep nobody from resizing or freeing
    ASSERT_EQ(glock(handle), data);
    EXPECT_EQ(grealloc(&handle, 300), 1);
    u32 alive = handles_alive();
    gfree(handle);
    EXPECT_EQ(handles_alive(), alive - 1);
}

TEST(gunlock, of_no_handle_does_nothing)
{
    u32 alive = handles_alive();
    for (GHandle handle : dead_handles()) gunlock(handle);
    EXPECT_EQ(handles_alive(), alive);
}

TEST(gsize, gives_the_size_asked_for)
{
    GHandle handle = galloc(5, nullptr, 1);
    EXPECT_EQ(gsize(handle), 5);
    ASSERT_EQ(grealloc(&handle, 17), 1);
    EXPECT_EQ(gsize(handle), 17);
    ASSERT_EQ(grealloc(&handle, 1), 1);
    EXPECT_EQ(gsize(handle), 1);
    gfree(handle);
}

TEST(gsize, of_no_handle_gives_0)
{
    for (GHandle handle : dead_handles()) EXPECT_EQ(gsize(handle), 0) << "handle " << handle;
}

// ---- The operations of handles.h ----

TEST(ghandle, leads_from_the_data_to_the_handle)
{
    GHandle first = galloc(10, nullptr, 0);
    GHandle second = galloc(0, nullptr, 0);
    EXPECT_EQ(ghandle(glock(first)), first);
    EXPECT_EQ(ghandle(glock(second)), second);
    gfree(first);
    gfree(second);
}

TEST(ghandle, of_null_gives_0)
{
    EXPECT_EQ(ghandle(nullptr), 0u);
}

TEST(glock_checked, gives_what_glock_gives)
{
    GHandle handle = galloc(10, nullptr, 0);
    EXPECT_EQ(glock_checked(handle), glock(handle));
    gfree(handle);
    for (GHandle dead : dead_handles()) EXPECT_EQ(glock_checked(dead), nullptr);
}

TEST(gdup, copies_size_and_bytes)
{
    GHandle handle = counting(300);
    GHandle copy = gdup(handle);
    ASSERT_NE(copy, 0u);
    EXPECT_NE(copy, handle);
    EXPECT_NE(glock(copy), glock(handle));
    EXPECT_EQ(content(copy), content(handle));
    EXPECT_EQ(ghandle(glock(copy)), copy);

    bytes_of(copy)[0] = 99;
    EXPECT_EQ(bytes_of(handle)[0], 1);
    gfree(handle);
    EXPECT_EQ(gsize(copy), 300);
    gfree(copy);
}

TEST(gdup, of_an_empty_block_gives_an_empty_block)
{
    GHandle handle = galloc(0, nullptr, 0);
    GHandle copy = gdup(handle);
    ASSERT_NE(copy, 0u);
    EXPECT_NE(copy, handle);
    EXPECT_EQ(gsize(copy), 0);
    gfree(handle);
    gfree(copy);
}

TEST(gdup, of_no_handle_gives_0)
{
    for (GHandle handle : dead_handles()) EXPECT_EQ(gdup(handle), 0u);
}

TEST(gdup, gives_0_when_memory_is_short)
{
    GHandle handle = counting(4);
    WatchedMemory memory;
    memory.refuse_alloc(1);
    EXPECT_EQ(gdup(handle), 0u);
    EXPECT_EQ(content(handle), (std::vector<u8>{1, 2, 3, 4}));
    gfree(handle);
}

TEST(ghandle_from_bytes, copies_the_bytes)
{
    const u8 source[] = {9, 8, 7, 6};
    GHandle handle = ghandle_from_bytes(source, 3);
    EXPECT_EQ(content(handle), (std::vector<u8>{9, 8, 7}));
    gfree(handle);

    handle = ghandle_from_bytes(source, 1);
    EXPECT_EQ(content(handle), std::vector<u8>{9});
    gfree(handle);
}

TEST(ghandle_from_bytes, takes_up_to_32767)
{
    std::vector<u8> source(32767, 0x5A);
    GHandle handle = ghandle_from_bytes(source.data(), 32767);
    EXPECT_EQ(content(handle), source);
    gfree(handle);
}

TEST(ghandle_from_bytes, of_length_0_gives_an_empty_block)
{
    GHandle handle = ghandle_from_bytes(nullptr, 0);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(gsize(handle), 0);
    gfree(handle);
}

TEST(ghandle_from_bytes, of_a_negative_length_gives_0)
{
    const u8 source[] = {1};
    EXPECT_EQ(ghandle_from_bytes(source, -1), 0u);
    EXPECT_EQ(ghandle_from_bytes(source, -32768), 0u);
}

TEST(ghandle_from_bytes, gives_0_when_memory_is_short)
{
    const u8 source[] = {1};
    WatchedMemory memory;
    memory.refuse_alloc(1);
    EXPECT_EQ(ghandle_from_bytes(source, 1), 0u);
}

TEST(ghandle_to_bytes, copies_the_whole_block)
{
    GHandle handle = counting(3);
    u8 dest[5] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(ghandle_to_bytes(dest, handle), dest);
    EXPECT_EQ(std::vector<u8>(dest, dest + 5), (std::vector<u8>{1, 2, 3, 0xEE, 0xEE}));
    gfree(handle);
}

TEST(ghandle_to_bytes, of_an_empty_block_or_no_handle_copies_nothing)
{
    u8 dest[2] = {0xEE, 0xEE};
    GHandle empty = galloc(0, nullptr, 0);
    EXPECT_EQ(ghandle_to_bytes(dest, empty), dest);
    for (GHandle handle : dead_handles()) EXPECT_EQ(ghandle_to_bytes(dest, handle), dest);
    EXPECT_EQ(dest[0], 0xEE);
    EXPECT_EQ(ghandle_to_bytes(nullptr, 0), nullptr);
    gfree(empty);
}

TEST(str_alloc, gives_cleared_bytes_for_the_size_and_a_terminator)
{
    u8 *text = (u8 *)str_alloc(12345, 10);
    ASSERT_NE(text, nullptr);
    for (int i = 0; i < 11; i++) EXPECT_EQ(text[i], 0);
    memset(text, 'x', 11);
    str_free(text);
}

TEST(str_alloc, stands_six_bytes_into_a_handle)
{
    const u8 *text = (const u8 *)str_alloc(0, 10);
    ASSERT_NE(text, nullptr);
    GHandle handle = ghandle(text - 6);
    EXPECT_EQ(glock(handle), text - 6);
    EXPECT_EQ(gsize(handle), 18);  // 10 + 1, and 7

    i16 hidden;
    memcpy(&hidden, text - 2, sizeof hidden);
    EXPECT_EQ(hidden, 11);
    for (int i = 0; i < 4; i++) EXPECT_EQ(bytes_of(handle)[i], 0);
    str_free((void *)text);
}

TEST(str_alloc, fails_for_the_largest_size)
{
    WatchedMemory memory;
    EXPECT_EQ(str_alloc(0, 32767), nullptr);  // 32767 + 1 is -32768 in 16 bits
    EXPECT_EQ(memory.allocs, 0);

    void *text = str_alloc(0, 32766);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(gsize(ghandle((u8 *)text - 6)), 32774);
    str_free(text);
}

TEST(str_alloc, of_size_minus_1_has_room_for_one_byte)
{
    u8 *text = (u8 *)str_alloc(0, -1);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(gsize(ghandle(text - 6)), 7);
    i16 hidden;
    memcpy(&hidden, text - 2, sizeof hidden);
    EXPECT_EQ(hidden, 0);
    str_free(text);
}

TEST(str_alloc, of_sizes_below_minus_8_fails)
{
    u8 *text = (u8 *)str_alloc(0, -8);  // -8 + 1 + 7 is size 0, which a handle may have
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(gsize(ghandle(text - 6)), 0);
    str_free(text);

    EXPECT_EQ(str_alloc(0, -9), nullptr);
    EXPECT_EQ(str_alloc(0, -32768), nullptr);
}

TEST(str_alloc, gives_null_when_memory_is_short)
{
    WatchedMemory memory;
    memory.refuse_alloc(1);
    EXPECT_EQ(str_alloc(0, 10), nullptr);  // null, and not a place six bytes behind it
}

TEST(str_free, frees_the_handle)
{
    u32 alive = handles_alive();
    void *text = str_alloc(0, 10);
    EXPECT_EQ(handles_alive(), alive + 1);
    GHandle handle = ghandle((u8 *)text - 6);
    str_free(text);
    EXPECT_EQ(handles_alive(), alive);
    EXPECT_EQ(glock(handle), nullptr);
}

TEST(str_free, of_null_does_nothing)
{
    u32 alive = handles_alive();
    str_free(nullptr);
    EXPECT_EQ(handles_alive(), alive);
}

int calls;

void count_a_call()
{
    calls++;
}

TEST(proc_instance_make, gives_the_pointer_as_it_is)
{
    calls = 0;
    EXPECT_EQ(proc_instance_make(count_a_call), &count_a_call);
    EXPECT_EQ(proc_instance_make(nullptr), nullptr);
    EXPECT_EQ(calls, 0);
}

TEST(proc_instance_free, leaves_the_callback_usable)
{
    AnyProc proc = proc_instance_make(count_a_call);
    proc_instance_free(proc);
    proc_instance_free(nullptr);
    calls = 0;
    proc();
    EXPECT_EQ(calls, 1);
}

TEST(handles_alive, counts_what_galloc_gave_and_gfree_took)
{
    u32 alive = handles_alive();
    GHandle first = galloc(1, nullptr, 0);
    GHandle second = galloc(1, nullptr, 0);
    EXPECT_EQ(handles_alive(), alive + 2);
    EXPECT_EQ(grealloc(&first, 10), 1);
    EXPECT_EQ(handles_alive(), alive + 2);
    gfree(first);
    EXPECT_EQ(handles_alive(), alive + 1);
    gfree(second);
    EXPECT_EQ(handles_alive(), alive);
}

} // namespace
