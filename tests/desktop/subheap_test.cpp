#include "desktop/subheap.h"

#include "foundation/handles.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <random>
#include <set>
#include <stddef.h>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

namespace zuk {
namespace {

constexpr size_t HEADER = 2 * sizeof(void *);

using List = std::vector<std::pair<u32, u32>>;    // of free blocks: the paragraph where each begins, and its size

// A sub-heap for one test, which is disposed of at its end.
class Heap {
public:
    explicit Heap(i32 size) : alive(handles_alive()), heap(subheap_create(size)) { EXPECT_NE(heap, nullptr); }
    ~Heap()
    {
        subheap_dispose(heap);
        EXPECT_EQ(handles_alive(), alive);
    }
    Heap(const Heap &) = delete;
    Heap &operator=(const Heap &) = delete;

    u8 *space() const { return (u8 *)heap + HEADER; }
    u32 paragraph(const void *block) const { return (u32)((const u8 *)block - space()) / 16; }
    u32 free_units() const { return heap->free_units; }

    // The free list as it stands; the header must agree with it.
    List list() const
    {
        List blocks;
        u32 units = 0;
        for (const SubHeapBlock *block = heap->head; block; block = block->next) {
            blocks.push_back({ paragraph(block), block->size });
            units += block->size;
            EXPECT_EQ((uintptr_t)((const u8 *)block - space()) % 16, 0u);
        }
        EXPECT_EQ(heap->free_units, units);
        return blocks;
    }
    // A block of whole paragraphs.
    void *take(u32 units) const
    {
        void *block = subheap_alloc((u16)(units * 16 - 2));
        EXPECT_NE(block, nullptr);
        return block;
    }

    u32 alive;
    SubHeap *heap;
};

u16 prefix_of(const void *block)
{
    u16 units;
    memcpy(&units, (const u8 *)block - 2, sizeof units);
    return units;
}

void set_prefix(void *block, u16 units) { memcpy((u8 *)block - 2, &units, sizeof units); }

TEST(subheap, has_every_operation)
{
    void *const operations[] = {
        (void *)subheap_create, (void *)subheap_current, (void *)subheap_dispose,
        (void *)subheap_alloc,  (void *)subheap_free,
    };
    std::set<void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

TEST(subheap, has_a_header_of_two_addresses)
{
    EXPECT_EQ(sizeof(SubHeap), HEADER);
    EXPECT_EQ(offsetof(SubHeap, head), 0u);
    EXPECT_EQ(offsetof(SubHeap, free_units), sizeof(void *));
    EXPECT_EQ(offsetof(SubHeapBlock, next), 0u);
    EXPECT_EQ(offsetof(SubHeapBlock, size), sizeof(void *));
}

// ---- Making one -----------------------------------------------------------------------------------------------------

TEST(subheap_create, starts_with_one_free_block_behind_the_header)
{
    Heap h(160);
    EXPECT_EQ((u8 *)h.heap->head, h.space());
    EXPECT_EQ(h.list(), (List{ { 0, 10 } }));
    EXPECT_EQ(h.free_units(), 10u);
    EXPECT_EQ(subheap_current(), h.heap);
}

TEST(subheap_create, takes_a_handle_of_that_size)
{
    Heap h(1000);
    EXPECT_EQ(gsize(ghandle(h.heap)), 1000);
    EXPECT_EQ(glock(ghandle(h.heap)), (void *)h.heap);
}

TEST(subheap_create, counts_the_header_as_space)
{
    for (auto [size, units] : { std::pair(16, 1u), { 31, 1u }, { 32, 2u }, { 95, 5u }, { 96, 6u }, { 97, 6u } }) {
        Heap h(size);
        EXPECT_EQ(h.free_units(), units) << size;
        EXPECT_EQ(h.list(), (List{ { 0, units } })) << size;
    }
}

TEST(subheap_create, clears_the_space)
{
    GHandle dirty = galloc(4096, nullptr, 0);    // what is likely to be given out next
    memset(glock(dirty), 0xFF, 4096);
    gfree(dirty);
    Heap h(4096);
    const u8 *first = h.space() + 16;
    EXPECT_TRUE(std::all_of(first, (const u8 *)h.heap + 4096, [](u8 byte) { return byte == 0; }));
}

TEST(subheap_create, of_less_than_a_paragraph_has_nothing_to_give)
{
    for (i32 size = 0; size < 16; size++) {
        Heap h(size);
        EXPECT_EQ(h.list(), List());
        EXPECT_EQ(subheap_alloc(1), nullptr);
        subheap_free(h.space() + 2);
        EXPECT_EQ(h.list(), List());
    }
}

TEST(subheap_create, of_a_negative_size_gives_null_and_leaves_the_current_one)
{
    Heap h(160);
    for (i32 size : { -1, -16, INT32_MIN }) EXPECT_EQ(subheap_create(size), nullptr) << size;
    EXPECT_EQ(subheap_current(), h.heap);
}

TEST(subheap_create, without_memory_gives_null_and_leaves_the_current_one)
{
    Heap h(160);
    u32 before = handles_alive();
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(subheap_create(160), nullptr);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(subheap_current(), h.heap);
    EXPECT_EQ(handles_alive(), before);
}

TEST(subheap_create, leaves_the_one_before_alive)
{
    u32 before = handles_alive();
    SubHeap *first = subheap_create(160);
    SubHeap *second = subheap_create(320);
    EXPECT_NE(first, second);
    EXPECT_EQ(subheap_current(), second);
    EXPECT_EQ(handles_alive(), before + 2);
    EXPECT_EQ(first->free_units, 10u);
    subheap_dispose(second);
    EXPECT_EQ(subheap_current(), nullptr);    // the first does not come back
    EXPECT_EQ(handles_alive(), before + 1);
    subheap_dispose(first);
    EXPECT_EQ(handles_alive(), before);
}

TEST(subheap_create, takes_blocks_from_the_new_one_alone)
{
    Heap first(160);
    void *block = first.take(3);
    {
        Heap second(160);
        EXPECT_EQ(second.paragraph(subheap_alloc(14)), 0u);
        subheap_free(block);    // not one of the current sub-heap
        EXPECT_EQ(first.list(), (List{ { 3, 7 } }));
        EXPECT_EQ(second.list(), (List{ { 1, 9 } }));
    }
    EXPECT_EQ(subheap_current(), nullptr);
    EXPECT_EQ(subheap_alloc(14), nullptr);
}

// ---- Disposing of one -----------------------------------------------------------------------------------------------

TEST(subheap_dispose, frees_the_block)
{
    u32 before = handles_alive();
    SubHeap *heap = subheap_create(160);
    EXPECT_NE(subheap_alloc(14), nullptr);
    EXPECT_EQ(handles_alive(), before + 1);
    subheap_dispose(heap);
    EXPECT_EQ(handles_alive(), before);
    EXPECT_EQ(subheap_current(), nullptr);
}

TEST(subheap_dispose, leaves_no_current_one_whichever_it_is)
{
    SubHeap *first = subheap_create(160);
    SubHeap *second = subheap_create(160);
    subheap_dispose(first);
    EXPECT_EQ(subheap_current(), nullptr);
    EXPECT_EQ(subheap_alloc(14), nullptr);
    EXPECT_EQ(second->free_units, 10u);    // alive, but out of reach
    subheap_dispose(second);

    SubHeap *third = subheap_create(160);
    u32 before = handles_alive();
    subheap_dispose(nullptr);
    EXPECT_EQ(subheap_current(), nullptr);
    EXPECT_EQ(handles_alive(), before);
    subheap_dispose(third);
    EXPECT_EQ(handles_alive(), before - 1);
}

// ---- Taking a block -------------------------------------------------------------------------------------------------

TEST(subheap_alloc, counts_two_bytes_for_the_prefix)
{
    for (auto [size, units] : { std::pair(1, 1u), { 13, 1u }, { 14, 1u }, { 15, 2u }, { 30, 2u }, { 31, 3u } }) {
        Heap h(160);
        void *block = subheap_alloc((u16)size);
        EXPECT_EQ((u8 *)block, h.space() + 2) << size;
        EXPECT_EQ(prefix_of(block), units) << size;
        EXPECT_EQ(h.list(), (List{ { units, 10 - units } })) << size;
        EXPECT_EQ(h.free_units(), 10 - units) << size;
    }
}

TEST(subheap_alloc, of_65535_takes_4097_paragraphs)
{
    Heap h(4098 * 16);
    void *block = subheap_alloc(65535);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(prefix_of(block), 4097);
    EXPECT_EQ(h.list(), (List{ { 4097, 1 } }));
    memset(block, 0xFF, 65535);
    subheap_free(block);
    EXPECT_EQ(h.list(), (List{ { 0, 4098 } }));

    Heap small(4096 * 16);
    EXPECT_EQ(subheap_alloc(65535), nullptr);
    EXPECT_NE(subheap_alloc(65534), nullptr);
    EXPECT_EQ(small.list(), List());
}

TEST(subheap_alloc, of_0_gives_null)
{
    Heap h(160);
    EXPECT_EQ(subheap_alloc(0), nullptr);
    EXPECT_EQ(h.list(), (List{ { 0, 10 } }));
}

TEST(subheap_alloc, without_a_sub_heap_gives_null)
{
    EXPECT_EQ(subheap_current(), nullptr);
    EXPECT_EQ(subheap_alloc(1), nullptr);
}

TEST(subheap_alloc, of_the_only_free_block_leaves_no_head)
{
    Heap h(160);
    void *block = subheap_alloc(158);
    EXPECT_EQ((u8 *)block, h.space() + 2);
    EXPECT_EQ(h.heap->head, nullptr);
    EXPECT_EQ(h.free_units(), 0u);
    EXPECT_EQ(subheap_alloc(1), nullptr);
    subheap_free(block);
    EXPECT_EQ(h.list(), (List{ { 0, 10 } }));
}

TEST(subheap_alloc, takes_the_front_of_a_larger_block)
{
    Heap h(160);
    EXPECT_EQ(h.paragraph(h.take(3)), 0u);
    EXPECT_EQ(h.paragraph(h.take(2)), 3u);
    EXPECT_EQ(h.list(), (List{ { 5, 5 } }));
}

// Free blocks of 2, 4, 3 and 5 paragraphs with one between each and the next.
struct Gaps : Heap {
    Gaps() : Heap((2 + 1 + 4 + 1 + 3 + 1 + 5) * 16)
    {
        void *blocks[7];
        const u32 sizes[7] = { 2, 1, 4, 1, 3, 1, 5 };
        for (i32 i = 0; i < 7; i++) blocks[i] = take(sizes[i]);
        for (i32 i = 0; i < 7; i += 2) subheap_free(blocks[i]);
        EXPECT_EQ(list(), (List{ { 0, 2 }, { 3, 4 }, { 8, 3 }, { 12, 5 } }));
    }
};

TEST(subheap_alloc, takes_the_first_that_is_large_enough)
{
    Gaps h;
    EXPECT_EQ(h.paragraph(h.take(3)), 3u);    // not the block at 8, which would fit exactly
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 6, 1 }, { 8, 3 }, { 12, 5 } }));
    EXPECT_EQ(h.paragraph(h.take(1)), 0u);
    EXPECT_EQ(h.list(), (List{ { 1, 1 }, { 6, 1 }, { 8, 3 }, { 12, 5 } }));
    EXPECT_EQ(h.paragraph(h.take(4)), 12u);
    EXPECT_EQ(h.list(), (List{ { 1, 1 }, { 6, 1 }, { 8, 3 }, { 16, 1 } }));
}

TEST(subheap_alloc, unlinks_a_block_of_that_size)
{
    Gaps h;
    EXPECT_EQ(h.paragraph(h.take(4)), 3u);
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 8, 3 }, { 12, 5 } }));
    EXPECT_EQ(h.paragraph(h.take(5)), 12u);
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 8, 3 } }));
    EXPECT_EQ(h.paragraph(h.take(2)), 0u);
    EXPECT_EQ(h.list(), (List{ { 8, 3 } }));
}

TEST(subheap_alloc, of_more_than_any_block_has_gives_null)
{
    Gaps h;
    EXPECT_EQ(h.free_units(), 14u);
    EXPECT_EQ(subheap_alloc(5 * 16 - 1), nullptr);
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 3, 4 }, { 8, 3 }, { 12, 5 } }));
}

TEST(subheap_alloc, clears_as_many_bytes_as_were_asked_for)
{
    Heap h(160);
    u8 *block = (u8 *)subheap_alloc(46);    // three paragraphs
    memset(block, 0xFF, 46);
    subheap_free(block);
    EXPECT_EQ((u8 *)subheap_alloc(40), block);    // three again
    EXPECT_EQ(std::string((const char *)block, 40), std::string(40, '\0'));
    EXPECT_EQ(std::string((const char *)block + 40, 6), std::string(6, '\xFF'));
}

TEST(subheap_alloc, lends_the_bytes_behind_the_end)
{
    Heap h(64);
    u8 *block = (u8 *)subheap_alloc(62);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block + 62, (u8 *)h.heap + 64 + HEADER);    // a whole header behind the block
    memset(block, 0xFF, 62);
    EXPECT_EQ(gsize(ghandle(h.heap)), 64);
    subheap_free(block);
    EXPECT_EQ(h.list(), (List{ { 0, 4 } }));
}

// The fields of a free block have room even in the last paragraph.
TEST(subheap_free, of_the_last_paragraph_stays_in_the_block)
{
    Heap h(16);
    void *block = subheap_alloc(14);
    memset(block, 0xFF, 14);
    subheap_free(block);
    EXPECT_EQ(h.list(), (List{ { 0, 1 } }));
}

// ---- Giving it back -------------------------------------------------------------------------------------------------

// Five blocks of two paragraphs that fill the sub-heap.
struct Full : Heap {
    Full() : Heap(160)
    {
        for (void *&block : blocks) block = take(2);
        EXPECT_EQ(list(), List());
    }
    void *blocks[5];
};

TEST(subheap_free, into_an_empty_list_makes_the_only_free_block)
{
    Full h;
    subheap_free(h.blocks[2]);
    EXPECT_EQ(h.list(), (List{ { 4, 2 } }));
    EXPECT_EQ(h.free_units(), 2u);
}

TEST(subheap_free, keeps_the_list_in_the_order_of_addresses)
{
    Full h;
    subheap_free(h.blocks[2]);
    subheap_free(h.blocks[4]);    // behind the last
    EXPECT_EQ(h.list(), (List{ { 4, 2 }, { 8, 2 } }));
    subheap_free(h.blocks[0]);    // in front of the first
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 4, 2 }, { 8, 2 } }));
}

TEST(subheap_free, between_two_that_it_does_not_touch)
{
    Heap h(160);
    void *blocks[5];
    for (u32 i = 0; i < 5; i++) blocks[i] = h.take(2);
    subheap_free(blocks[0]);
    subheap_free(blocks[4]);
    subheap_free(blocks[2]);
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 4, 2 }, { 8, 2 } }));
    EXPECT_EQ(h.free_units(), 6u);
}

TEST(subheap_free, joins_the_free_block_behind)
{
    Full h;
    subheap_free(h.blocks[2]);
    subheap_free(h.blocks[1]);
    EXPECT_EQ(h.list(), (List{ { 2, 4 } }));
    EXPECT_EQ(h.free_units(), 4u);
}

TEST(subheap_free, joins_the_free_block_in_front)
{
    Full h;
    subheap_free(h.blocks[1]);
    subheap_free(h.blocks[4]);
    subheap_free(h.blocks[2]);
    EXPECT_EQ(h.list(), (List{ { 2, 4 }, { 8, 2 } }));
    EXPECT_EQ(h.free_units(), 6u);
}

TEST(subheap_free, joins_both)
{
    Full h;
    subheap_free(h.blocks[1]);
    subheap_free(h.blocks[3]);
    subheap_free(h.blocks[2]);
    EXPECT_EQ(h.list(), (List{ { 2, 6 } }));
    EXPECT_EQ(h.free_units(), 6u);
}

TEST(subheap_free, of_three_adjoining_blocks_leaves_one_in_any_order)
{
    std::vector<size_t> order = { 1, 2, 3 };
    do {
        Full h;
        for (size_t i : order) subheap_free(h.blocks[i]);
        EXPECT_EQ(h.list(), (List{ { 2, 6 } })) << order[0] << order[1] << order[2];
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(subheap_free, of_all_blocks_leaves_the_space_as_it_was)
{
    std::vector<size_t> order = { 0, 1, 2, 3, 4 };
    do {
        Full h;
        for (size_t i : order) subheap_free(h.blocks[i]);
        EXPECT_EQ(h.list(), (List{ { 0, 10 } }));
    } while (std::next_permutation(order.begin(), order.end()));
}

// ---- Bad calls ------------------------------------------------------------------------------------------------------

TEST(subheap_free, of_null_does_nothing)
{
    subheap_free(nullptr);    // without a sub-heap, too
    Full h;
    subheap_free(nullptr);
    EXPECT_EQ(h.list(), List());
}

TEST(subheap_free, without_a_sub_heap_does_nothing)
{
    u32 block[8] = { 0x00010001 };
    subheap_free((u8 *)block + 2);
    EXPECT_EQ(block[0], 0x00010001u);
    EXPECT_EQ(block[1], 0u);
}

// In front of the space, in the header, behind the space, somewhere else, and between the paragraphs. What would be
// their prefix says one paragraph.
TEST(subheap_free, of_a_pointer_that_was_never_given_out_does_nothing)
{
    Full h;
    u16 elsewhere[16] = { 1, 1 };
    subheap_free(elsewhere + 1);
    EXPECT_EQ(h.list(), List());

    subheap_free(h.heap);
    subheap_free((u8 *)h.heap + 2);
    subheap_free(h.space());
    subheap_free(h.space() + 10 * 16 + 2);
    EXPECT_EQ(h.list(), List());

    memset(h.blocks[1], 1, 30);
    for (u32 offset = 1; offset < 16; offset++) {
        set_prefix((u8 *)h.blocks[1] + offset, 1);
        subheap_free((u8 *)h.blocks[1] + offset);
    }
    EXPECT_EQ(h.list(), List());
}

TEST(subheap_free, of_a_free_block_does_nothing)
{
    Full h;
    subheap_free(h.blocks[1]);
    subheap_free(h.blocks[1]);    // what reads as its prefix is 0, of a `next` that is null
    EXPECT_EQ(h.list(), (List{ { 2, 2 } }));
    subheap_free(h.blocks[0]);
    subheap_free(h.blocks[4]);
    subheap_free(h.blocks[0]);    // here it is a part of an address
    EXPECT_EQ(h.list(), (List{ { 0, 4 }, { 8, 2 } }));
    EXPECT_EQ(call_counts().debug_break, 0u);    // nobody is told
}

TEST(subheap_free, of_a_place_in_a_free_block_does_nothing)
{
    Full h;
    subheap_free(h.blocks[1]);
    subheap_free(h.blocks[2]);
    EXPECT_EQ(h.list(), (List{ { 2, 4 } }));
    for (u16 units : std::initializer_list<u16>{ 1, 2, 3 }) {    // in it, up to its end, and beyond that
        set_prefix(h.blocks[2], units);
        subheap_free(h.blocks[2]);
        EXPECT_EQ(h.list(), (List{ { 2, 4 } })) << units;
    }
}

// Its prefix says three paragraphs, and so the block would end inside a free one.
TEST(subheap_free, of_a_block_over_a_free_one_does_nothing)
{
    Full h;
    subheap_free(h.blocks[2]);
    set_prefix(h.blocks[1], 3);
    subheap_free(h.blocks[1]);    // in front of the first
    EXPECT_EQ(h.list(), (List{ { 4, 2 } }));

    subheap_free(h.blocks[0]);
    subheap_free(h.blocks[1]);    // right behind one, and over the next
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 4, 2 } }));
    EXPECT_EQ(call_counts().debug_break, 0u);    // nobody is told

    set_prefix(h.blocks[1], 2);
    subheap_free(h.blocks[1]);
    EXPECT_EQ(h.list(), (List{ { 0, 6 } }));
}

TEST(subheap_free, of_a_block_over_a_free_one_behind_a_gap_does_nothing)
{
    Full h;
    subheap_free(h.blocks[0]);
    subheap_free(h.blocks[3]);
    set_prefix(h.blocks[2], 3);
    subheap_free(h.blocks[2]);
    EXPECT_EQ(h.list(), (List{ { 0, 2 }, { 6, 2 } }));
}

TEST(subheap_free, of_a_block_of_no_size_or_beyond_the_end_does_nothing)
{
    Full h;
    for (u16 units : std::initializer_list<u16>{ 0, 3, 4096, 65535 }) {
        set_prefix(h.blocks[4], units);
        subheap_free(h.blocks[4]);
        EXPECT_EQ(h.list(), List()) << units;
    }
    set_prefix(h.blocks[4], 2);
    subheap_free(h.blocks[4]);
    EXPECT_EQ(h.list(), (List{ { 8, 2 } }));
}

// ---- Many calls -----------------------------------------------------------------------------------------------------

// Against a row of paragraphs, each free or not: the first run of free ones that is long enough is taken, runs are the
// free list, and no block's bytes change but by its owner.
TEST(subheap, keeps_to_a_row_of_paragraphs_over_random_calls)
{
    constexpr u32 UNITS = 64;
    struct Held {
        u8 *block;
        u16 size;
        u8 fill;
    };
    std::mt19937 random(71);
    Heap h(UNITS * 16);
    std::vector<bool> used(UNITS);
    std::vector<Held> held;
    auto runs = [&] {
        List list;
        for (u32 at = 0; at < UNITS; at++) {
            if (used[at]) continue;
            if (!list.empty() && list.back().first + list.back().second == at) list.back().second++;
            else list.push_back({ at, 1 });
        }
        return list;
    };
    auto mark = [&](u32 at, u32 units, bool value) { std::fill_n(used.begin() + at, units, value); };

    for (i32 n = 0; n < 5000; n++) {
        u16 size = (u16)(random() % 120 + 1);
        u32 units = (u32)(size + 17) / 16;
        if (random() % 2) {
            List free = runs();
            auto fit = std::find_if(free.begin(), free.end(), [&](auto run) { return run.second >= units; });
            u8 *block = (u8 *)subheap_alloc(size);
            ASSERT_EQ(block != nullptr, fit != free.end());
            if (!block) continue;
            ASSERT_EQ(h.paragraph(block), fit->first);
            ASSERT_EQ(std::count(block, block + size, 0), size);
            u8 fill = (u8)random();
            memset(block, fill, size);
            held.push_back({ block, size, fill });
            mark(fit->first, units, true);
        } else if (!held.empty()) {
            size_t which = random() % held.size();
            Held gone = held[which];
            held.erase(held.begin() + (ptrdiff_t)which);
            ASSERT_EQ(std::count(gone.block, gone.block + gone.size, gone.fill), gone.size);
            mark(h.paragraph(gone.block), (u32)(gone.size + 17) / 16, false);
            subheap_free(gone.block);
        }
        ASSERT_EQ(h.list(), runs());
    }
    for (const Held &last : held) subheap_free(last.block);
    EXPECT_EQ(h.list(), (List{ { 0, UNITS } }));
}

} // namespace
} // namespace zuk
