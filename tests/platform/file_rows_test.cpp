#include "platform/file_rows.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace zuk {

// The table is one for the whole program and other tests may have files in it, so each test takes what it claimed out
// again and puts the last number back.
struct Rows {
    u32 open_before = file_rows_open;
    FileHandle last_before = file_rows_last;
    std::vector<FileHandle> mine;

    FileHandle claim()
    {
        FileRow *row = file_row_claim();
        if (!row) return 0;
        mine.push_back(row->number);
        return row->number;
    }

    ~Rows()
    {
        for (FileHandle number : mine) {
            if (file_row(number)) file_row_release(file_row(number));
        }
        EXPECT_EQ(file_rows_open, open_before);
        file_rows_last = last_before;
        file_rows_resize = realloc;
    }
};

static void *no_memory(void *, size_t) { return nullptr; }

TEST(file_row_claim, counts_up)
{
    Rows rows;
    FileHandle first = rows.claim();
    EXPECT_EQ(rows.claim(), first + 1);
    EXPECT_EQ(rows.claim(), first + 2);
}

TEST(file_row_claim, gives_no_number_a_second_time_soon)
{
    Rows rows;
    FileHandle first = rows.claim();
    file_row_release(file_row(first));
    for (int i = 0; i < 10000; i++) {
        FileHandle next = rows.claim();
        EXPECT_GT(next, first);
        file_row_release(file_row(next));
    }
}

TEST(file_row_claim, gives_an_empty_row)
{
    Rows rows;
    FileHandle first = rows.claim();
    FileRow *row = file_row(first);
    row->position = 5;
    row->mode = PLATFORM_READ_ONLY;
    file_row_release(row);

    file_rows_last = first - 1;  // the same place of the table again
    row = file_row(rows.claim());
    EXPECT_EQ(row->number, first);
    EXPECT_EQ(row->position, 0);
    EXPECT_EQ(row->mode, 0);
    EXPECT_EQ(row->range_count, 0u);
}

TEST(file_row_claim, never_gives_0_at_the_wrap)
{
    Rows rows;
    file_rows_last = 0xFFFFFFFE;
    EXPECT_EQ(rows.claim(), 0xFFFFFFFF);
    FileHandle behind = rows.claim();
    EXPECT_NE(behind, 0u);
    EXPECT_LT(behind, 1000u);
}

TEST(file_row_claim, passes_over_a_number_still_in_use)
{
    Rows rows;
    file_rows_last = 0xFFFFFFFF;
    FileHandle kept = rows.claim();
    file_rows_last = kept - 1;
    EXPECT_EQ(rows.claim(), kept + 1);
}

TEST(file_row_claim, passes_over_a_number_whose_place_is_taken)
{
    Rows rows;
    FileHandle kept = rows.claim();
    for (u32 size = 64; size <= 1u << 16; size *= 2) {
        file_rows_last = kept + size - 1;  // in a table of `size` rows this number stands at the place of `kept`
        FileHandle next = rows.claim();
        EXPECT_NE(next, kept);
        EXPECT_EQ(file_row(kept)->number, kept);
        EXPECT_EQ(file_row(next)->number, next);
    }
}

TEST(file_row_claim, grows_and_finds_all_rows_again)
{
    Rows rows;
    for (i64 i = 0; i < 1000; i++) file_row(rows.claim())->position = i;
    for (size_t i = 0; i < rows.mine.size(); i++) {
        ASSERT_NE(file_row(rows.mine[i]), nullptr);
        EXPECT_EQ(file_row(rows.mine[i])->position, (i64)i);
    }
}

TEST(file_row_claim, without_memory_to_grow_gives_null_and_keeps_the_rest)
{
    Rows rows;
    file_rows_resize = no_memory;
    while (rows.claim() != 0) ASSERT_LT(rows.mine.size(), 1000000u);
    EXPECT_GE(file_rows_open, 32u);
    for (FileHandle number : rows.mine) EXPECT_NE(file_row(number), nullptr);

    // A file that goes makes room again.
    file_row_release(file_row(rows.mine.front()));
    EXPECT_NE(rows.claim(), 0u);
}

TEST(file_row, of_0_is_null)
{
    EXPECT_EQ(file_row(0), nullptr);
}

TEST(file_row, of_a_number_never_given_is_null)
{
    Rows rows;
    FileHandle last = rows.claim();
    EXPECT_EQ(file_row(last + 1), nullptr);
    EXPECT_EQ(file_row(0xFFFFFFFF), nullptr);
}

TEST(file_row_release, makes_the_number_unknown)
{
    Rows rows;
    FileHandle number = rows.claim();
    file_row_release(file_row(number));
    EXPECT_EQ(file_row(number), nullptr);
}

TEST(file_row_release, forgets_the_ranges)
{
    Rows rows;
    FileHandle number = rows.claim();
    ASSERT_TRUE(file_row_reserve(file_row(number)));
    file_row_hold(file_row(number), 10, 5);
    file_row_release(file_row(number));
    file_rows_last = number - 1;
    EXPECT_FALSE(file_row_overlaps(file_row(rows.claim()), 10, 5));
}

TEST(file_row_overlaps, sees_every_shared_byte_and_no_neighbour)
{
    Rows rows;
    FileRow *row = file_row(rows.claim());
    ASSERT_TRUE(file_row_reserve(row));
    file_row_hold(row, 10, 5);  // bytes 10 to 14
    EXPECT_FALSE(file_row_overlaps(row, 9, 1));
    EXPECT_TRUE(file_row_overlaps(row, 9, 2));
    EXPECT_TRUE(file_row_overlaps(row, 10, 5));
    EXPECT_TRUE(file_row_overlaps(row, 12, 1));
    EXPECT_TRUE(file_row_overlaps(row, 0, 100));
    EXPECT_TRUE(file_row_overlaps(row, 14, 1));
    EXPECT_FALSE(file_row_overlaps(row, 15, 1));
}

TEST(file_row_overlaps, counts_an_end_beyond_32_bits)
{
    Rows rows;
    FileRow *row = file_row(rows.claim());
    ASSERT_TRUE(file_row_reserve(row));
    file_row_hold(row, 0xFFFFFFFF, 0xFFFFFFFF);
    EXPECT_FALSE(file_row_overlaps(row, 0, 0xFFFFFFFF));  // ends just in front of it
    EXPECT_TRUE(file_row_overlaps(row, 1, 0xFFFFFFFF));
}

TEST(file_row_reserve, without_memory_fails_and_keeps_the_ranges)
{
    Rows rows;
    FileRow *row = file_row(rows.claim());
    u32 held = 0;
    ASSERT_TRUE(file_row_reserve(row));
    file_rows_resize = no_memory;
    while (file_row_reserve(row)) file_row_hold(row, held++ * 2, 1);
    EXPECT_EQ(row->range_count, held);
    EXPECT_GT(held, 0u);
    for (u32 i = 0; i < held; i++) EXPECT_TRUE(file_row_holds(row, i * 2, 1));
}

TEST(file_row_holds, asks_for_exactly_the_range)
{
    Rows rows;
    FileRow *row = file_row(rows.claim());
    ASSERT_TRUE(file_row_reserve(row));
    file_row_hold(row, 10, 5);
    EXPECT_TRUE(file_row_holds(row, 10, 5));
    EXPECT_FALSE(file_row_holds(row, 10, 4));
    EXPECT_FALSE(file_row_holds(row, 11, 4));
    EXPECT_FALSE(file_row_holds(row, 9, 6));
}

TEST(file_row_let_go, leaves_the_other_ranges)
{
    Rows rows;
    FileRow *row = file_row(rows.claim());
    for (u32 i = 0; i < 20; i++) {
        ASSERT_TRUE(file_row_reserve(row));
        file_row_hold(row, i, 1);
    }
    for (u32 i = 0; i < 20; i += 2) file_row_let_go(row, i, 1);
    for (u32 i = 0; i < 20; i++) EXPECT_EQ(file_row_holds(row, i, 1), i % 2 == 1);
}

} // namespace zuk
