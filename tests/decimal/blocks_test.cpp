#include "decimal/blocks.h"

#include "files/file.h"
#include "foundation/pstrings.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctype.h>
#include <numeric>
#include <random>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

namespace zuk {

using Bytes = std::vector<u8>;  // of the exact size, so that a sanitizer sees the first byte behind it

TEST(blocks, has_every_operation)
{
    void *const operations[] = {
        (void *)block_sort,        (void *)sort_range,         (void *)block_compare_bytes,
        (void *)block_swap,        (void *)block_move,         (void *)block_find_byte,
        (void *)hex_to_bytes,      (void *)bits_from_text,     (void *)bit_test,
        (void *)swap_bytes16,      (void *)bit_rows_shift,     (void *)file_read_at,
        (void *)file_read_byte_at, (void *)file_read_be16_at,  (void *)record_id_name_set,
        (void *)record_pair_set,   (void *)record_long_pair_set, (void *)record_blocks_set,
        (void *)record_blocks_ext_set,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- What a sort does, in words -------------------------------------------------------------------------------------

namespace {

// A record with a key, and a mark that tells equal ones apart.
struct Marked {
    u8 key;
    u8 mark;
    bool operator==(const Marked &other) const { return key == other.key && mark == other.mark; }
};

// The comparisons and swaps of one sort: "1?0" compares record 1 with record 0, "2<>3" swaps them. A swap is found in
// the records as they stand at the next comparison; the sort never makes two without one between them.
struct Recorder {
    static inline std::vector<Marked> records;
    static inline std::vector<Marked> seen;
    static inline std::string steps;

    static void note_swap()
    {
        std::vector<size_t> changed;
        for (size_t i = 0; i < records.size(); i++) {
            if (!(records[i] == seen[i])) changed.push_back(i);
        }
        seen = records;
        if (changed.empty()) return;
        ASSERT_EQ(changed.size(), 2u) << "after " << steps;
        steps += std::to_string(changed[0]) + "<>" + std::to_string(changed[1]) + " ";
    }

    static i16 compare(const void *a, const void *b, i16 size)
    {
        EXPECT_EQ(size, (i16)sizeof(Marked));
        note_swap();
        const Marked *left = (const Marked *)a;
        const Marked *right = (const Marked *)b;
        steps += std::to_string(left - records.data()) + "?" + std::to_string(right - records.data()) + " ";
        return (i16)(left->key - right->key);
    }

    static void start(const Bytes &keys)
    {
        records.clear();
        for (size_t i = 0; i < keys.size(); i++) records.push_back({ keys[i], (u8)('a' + i) });
        seen = records;
        steps.clear();
    }

    // The steps of sorting these keys.
    static std::string sort(const Bytes &keys)
    {
        start(keys);
        block_sort(records.data(), (i16)records.size(), sizeof(Marked), compare);
        note_swap();
        return steps;
    }

    static std::string marks()
    {
        std::string text;
        for (const Marked &record : records) text += (char)record.mark;
        return text;
    }
};

// Comparisons of numbers that count themselves.
struct Counter {
    static inline u64 comparisons;
    static inline const char *lowest;   // of the stack below the callers
    static inline const char *highest;

    static i16 compare(const void *a, const void *b, i16)
    {
        comparisons++;
        const char *here = (const char *)__builtin_frame_address(0);
        if (!lowest || here < lowest) lowest = here;
        if (!highest || here > highest) highest = here;
        i16 left, right;
        memcpy(&left, a, sizeof left);
        memcpy(&right, b, sizeof right);
        return (i16)((left > right) - (left < right));
    }

    // Sort, and give the number of comparisons.
    static u64 sort(std::vector<i16> *numbers)
    {
        comparisons = 0;
        lowest = highest = nullptr;
        block_sort(numbers->data(), (i16)numbers->size(), sizeof(i16), compare);
        return comparisons;
    }
};

} // namespace

static std::vector<i16> ascending(i16 count)
{
    std::vector<i16> numbers((size_t)count);
    std::iota(numbers.begin(), numbers.end(), (i16)0);
    return numbers;
}

static std::vector<i16> shuffled(i16 count)
{
    std::vector<i16> numbers = ascending(count);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(20));
    return numbers;
}

// ---- block_sort -----------------------------------------------------------------------------------------------------

TEST(block_sort, makes_no_comparison_for_0_or_1_records)
{
    EXPECT_EQ(Recorder::sort({}), "");
    EXPECT_EQ(Recorder::sort({ 7 }), "");
}

TEST(block_sort, does_nothing_for_a_negative_count)
{
    Recorder::start({ 2, 1 });
    for (i16 count : std::vector<i16>{ -1, -2, -32768 }) {
        block_sort(Recorder::records.data(), count, sizeof(Marked), Recorder::compare);
    }
    EXPECT_EQ(Recorder::steps, "");
    EXPECT_EQ(Recorder::marks(), "ab");
}

TEST(block_sort, does_nothing_for_a_size_below_1)
{
    Recorder::start({ 2, 1 });
    for (i16 size : std::vector<i16>{ 0, -1, -2, -32768 }) {
        block_sort(Recorder::records.data(), 2, size, Recorder::compare);
    }
    EXPECT_EQ(Recorder::steps, "");
    EXPECT_EQ(Recorder::marks(), "ab");
}

TEST(block_sort, takes_bytes_for_a_null_compare)
{
    Bytes records = { 0x80, 1, 0x7F, 2, 0x80, 0, 0x00, 9 };
    block_sort(records.data(), 4, 2, nullptr);
    EXPECT_EQ(records, (Bytes{ 0x00, 9, 0x7F, 2, 0x80, 0, 0x80, 1 }));  // 80 behind 7F: unsigned
}

TEST(block_sort, sorts_all_its_records_from_the_first)
{
    Recorder::start({ 4, 3, 2, 1 });
    block_sort(Recorder::records.data(), 3, sizeof(Marked), Recorder::compare);
    EXPECT_EQ(Recorder::marks(), "cbad");  // the fourth is none of the three
}

TEST(block_sort, sorts_32767_records)
{
    std::vector<i16> numbers = shuffled(32767);
    Counter::sort(&numbers);
    EXPECT_EQ(numbers, ascending(32767));
}

TEST(block_sort, sorts_records_of_32767_bytes)
{
    constexpr size_t SIZE = 32767;
    Bytes records;
    for (u8 key : Bytes{ 3, 1, 2 }) records.insert(records.end(), SIZE, key);
    block_sort(records.data(), 3, SIZE, nullptr);
    Bytes expected;
    for (u8 key : Bytes{ 1, 2, 3 }) expected.insert(expected.end(), SIZE, key);
    EXPECT_TRUE(records == expected);
}

TEST(block_sort, sorts_records_at_any_address)
{
    Bytes bytes = { 99, 3, 1, 0, 2, 1, 0, 1, 1, 0, 99 };  // records of 3 bytes from byte 1 on
    block_sort(bytes.data() + 1, 3, 3, nullptr);
    EXPECT_EQ(bytes, (Bytes{ 99, 1, 1, 0, 2, 1, 0, 3, 1, 0, 99 }));
}

TEST(block_sort, sorts_every_arrangement_of_up_to_7_keys)
{
    for (size_t count = 0; count <= 7; count++) {
        Bytes sorted(count);
        std::iota(sorted.begin(), sorted.end(), (u8)0);
        Bytes keys = sorted;
        do {
            Bytes records = keys;
            block_sort(records.data(), (i16)count, 1, nullptr);
            ASSERT_EQ(records, sorted);
        } while (std::next_permutation(keys.begin(), keys.end()));
    }
}

TEST(block_sort, sorts_many_equal_keys)
{
    std::mt19937 random(21);
    for (i16 count = 0; count < 200; count++) {
        Bytes records((size_t)count);
        for (u8 &key : records) key = (u8)(random() % 4);
        Bytes sorted = records;
        std::sort(sorted.begin(), sorted.end());
        block_sort(records.data(), count, 1, nullptr);
        ASSERT_EQ(records, sorted);
    }
}

// ---- sort_range -----------------------------------------------------------------------------------------------------

TEST(sort_range, does_nothing_for_less_than_2_records)
{
    Recorder::start({ 3, 2, 1 });
    sort_range(1, 1, Recorder::records.data(), sizeof(Marked), Recorder::compare);
    sort_range(1, 2, Recorder::records.data(), sizeof(Marked), Recorder::compare);
    sort_range(2, 0, Recorder::records.data(), sizeof(Marked), Recorder::compare);
    sort_range(32767, -32768, Recorder::records.data(), sizeof(Marked), Recorder::compare);
    EXPECT_EQ(Recorder::steps, "");
    EXPECT_EQ(Recorder::marks(), "abc");
}

TEST(sort_range, does_nothing_for_a_bad_size_or_a_null_compare)
{
    Recorder::start({ 3, 2, 1 });
    sort_range(0, 3, Recorder::records.data(), 0, Recorder::compare);
    sort_range(0, 3, Recorder::records.data(), -2, Recorder::compare);
    sort_range(0, 3, Recorder::records.data(), sizeof(Marked), nullptr);
    EXPECT_EQ(Recorder::steps, "");
    EXPECT_EQ(Recorder::marks(), "abc");
}

TEST(sort_range, leaves_what_is_outside_the_range)
{
    Recorder::start({ 9, 3, 1, 2, 0 });
    sort_range(1, 4, Recorder::records.data(), sizeof(Marked), Recorder::compare);
    EXPECT_EQ(Recorder::marks(), "acdbe");
}

TEST(sort_range, counts_from_a_base_in_the_midst)
{
    Recorder::start({ 9, 3, 1, 2, 0 });
    sort_range(-1, 2, Recorder::records.data() + 2, sizeof(Marked), Recorder::compare);
    EXPECT_EQ(Recorder::marks(), "acdbe");
}

// 3 1 5 2 4: the scans stop at 5 and 2, which are swapped; then they cross, and the pivot goes to where j stopped.
// Both sides have 2 records: the right one is sorted by a call, first, and the left one in the loop.
TEST(sort_range, keeps_the_order_of_comparisons_and_swaps)
{
    EXPECT_EQ(Recorder::sort({ 3, 1, 5, 2, 4 }),
        "1?0 2?0 4?0 3?0 2<>3 "  // 3 1 2 5 4
        "3?0 2?0 0<>2 "          // 2 1 3 5 4
        "4?3 4?3 3<>4 "          // 2 1 3 4 5: i ran to the end, which is not compared
        "1?0 1?0 0<>1 ");        // 1 2 3 4 5
    EXPECT_EQ(Recorder::marks(), "bdaec");
}

// 3 2 1 6 5 4 7: 2 records to the left of the pivot, 4 to the right.
TEST(sort_range, calls_itself_for_a_smaller_left_side_first)
{
    EXPECT_EQ(Recorder::sort({ 3, 2, 1, 6, 5, 4, 7 }),
        "1?0 2?0 3?0 6?0 5?0 4?0 3?0 2?0 0<>2 "  // 1 2 3 6 5 4 7
        "1?0 1?0 "                               // the left side: the pivot is the smallest
        "4?3 5?3 6?3 6?3 5?3 3<>5 "              // 1 2 3 4 5 6 7
        "4?3 4?3 ");
}

// 5 4 6 1 2 3 7: 4 records to the left of the pivot, 2 to the right once 6 and 3 are swapped.
TEST(sort_range, calls_itself_for_a_smaller_right_side_first)
{
    EXPECT_EQ(Recorder::sort({ 5, 4, 6, 1, 2, 3, 7 }),
        "1?0 2?0 6?0 5?0 2<>5 "    // 5 4 3 1 2 6 7
        "3?0 4?0 5?0 4?0 0<>4 "    // 2 4 3 1 5 6 7
        "6?5 6?5 "                 // the right side
        "1?0 3?0 1<>3 "            // 2 1 3 4 5 6 7
        "2?0 2?0 1?0 0<>1 "        // 1 2 3 4 5 6 7
        "3?2 3?2 ");
}

// The sort in words, over numbers alone: each comparison and each swap is noted where it is due.
struct Described {
    std::vector<u8> keys;
    std::string steps;

    i32 compare(i32 scanned, i32 pivot)
    {
        steps += std::to_string(scanned) + "?" + std::to_string(pivot) + " ";
        return keys[(size_t)scanned] - keys[(size_t)pivot];
    }
    void swap(i32 low, i32 high)
    {
        steps += std::to_string(low) + "<>" + std::to_string(high) + " ";
        std::swap(keys[(size_t)low], keys[(size_t)high]);
    }
    void sort(i32 low, i32 high)
    {
        while (high - low > 1) {
            i32 i = low, j = high;
            for (bool crossed = false; !crossed;) {
                do i++; while (i < high && compare(i, low) < 0);
                do j--; while (j > low && compare(j, low) > 0);
                crossed = j <= i;
                if (!crossed) swap(i, j);
            }
            if (j == low) {
                low++;
                continue;
            }
            swap(low, j);
            bool right_is_larger = high - j - 1 > j - low;
            if (right_is_larger) {
                sort(low, j);
                low = j + 1;
            } else {
                sort(j + 1, high);
                high = j;
            }
        }
    }
};

TEST(sort_range, takes_the_described_steps_for_random_keys)
{
    std::mt19937 random(24);
    for (int round = 0; round < 300; round++) {
        Described described;
        described.keys.resize(random() % 60);
        u32 different = 1 + (u32)random() % 40;  // from all equal to hardly any
        for (u8 &key : described.keys) key = (u8)(random() % different);
        Bytes keys = described.keys;
        described.sort(0, (i32)keys.size());
        ASSERT_EQ(Recorder::sort(keys), described.steps);
    }
}

// A smallest pivot leaves the range, and the next record becomes the pivot.
TEST(sort_range, goes_on_behind_a_pivot_that_is_the_smallest)
{
    EXPECT_EQ(Recorder::sort({ 1, 2, 3 }), "1?0 2?0 1?0 2?1 2?1 ");
}

// Records equal to the pivot stop both scans.
TEST(sort_range, swaps_equal_records_across)
{
    EXPECT_EQ(Recorder::sort({ 5, 5, 5, 5 }),
        "1?0 3?0 1<>3 "    // a d c b
        "2?0 2?0 0<>2 "    // c d a b
        "1?0 1?0 0<>1 ");  // d c a b
}

TEST(sort_range, is_not_stable)
{
    Recorder::sort({ 5, 5, 5, 5 });
    EXPECT_EQ(Recorder::marks(), "dcab");
    Recorder::sort({ 2, 1, 2 });
    EXPECT_EQ(Recorder::marks(), "bca");
}

TEST(sort_range, gives_the_scanned_record_first)
{
    static const void *pivot;
    static u32 comparisons;
    comparisons = 0;
    std::vector<i16> numbers = shuffled(50);
    pivot = numbers.data();
    // In a range whose first record is the largest, one pass leaves all but this one to the next.
    std::iter_swap(numbers.begin(), std::max_element(numbers.begin(), numbers.end()));
    sort_range(0, 50, numbers.data(), sizeof(i16), [](const void *a, const void *b, i16 size) -> i16 {
        if (++comparisons <= 50) {  // 49 upward and 1 downward
            EXPECT_NE(a, pivot);
            EXPECT_EQ(b, pivot);
        }
        EXPECT_GT(a, b);  // the pivot stands at the low end of its range
        return Counter::compare(a, b, size);
    });
    EXPECT_GT(comparisons, 50u);
    EXPECT_EQ(numbers, ascending(50));
}

TEST(sort_range, tests_the_sign_of_the_result_alone)
{
    std::vector<i16> numbers = shuffled(300);
    sort_range(0, 300, numbers.data(), sizeof(i16), [](const void *a, const void *b, i16 size) -> i16 {
        i16 order = Counter::compare(a, b, size);
        return order < 0 ? (i16)-32768 : order > 0 ? (i16)32767 : (i16)0;
    });
    EXPECT_EQ(numbers, ascending(300));
}

// Each pass over n sorted records removes one: 1 comparison upward, n - 1 downward. In all n * (n + 1) / 2 - 1.
TEST(sort_range, takes_the_most_comparisons_for_sorted_records)
{
    std::vector<i16> numbers = ascending(100);
    EXPECT_EQ(Counter::sort(&numbers), 100u * 101 / 2 - 1);
    EXPECT_EQ(numbers, ascending(100));
}

// The pass over n equal records compares each but the pivot once, and one or two where the scans meet twice; then it
// halves the range. So 1024 take less than 11 passes of 1026.
TEST(sort_range, halves_a_range_of_equal_records)
{
    std::vector<i16> numbers(1024, 7);
    EXPECT_LT(Counter::sort(&numbers), 11u * 1026);
}

// How much of the stack the calls of `compare` are apart: a call of the sort takes some 100 to 300 bytes.
static ptrdiff_t stack_of_sorting(std::vector<i16> numbers)
{
    std::vector<i16> sorted = numbers;
    std::sort(sorted.begin(), sorted.end());
    Counter::sort(&numbers);
    EXPECT_EQ(numbers, sorted);
    return Counter::highest - Counter::lowest;
}

constexpr ptrdiff_t STACK_OF_ONE_CALL = 500;
constexpr ptrdiff_t STACK_OF_15_CALLS = 15 * STACK_OF_ONE_CALL;

TEST(sort_range, keeps_to_one_call_for_sorted_records)
{
    EXPECT_LT(stack_of_sorting(ascending(3000)), STACK_OF_ONE_CALL);
}

TEST(sort_range, keeps_the_stack_low_for_reversed_records)
{
    std::vector<i16> numbers = ascending(3000);
    std::reverse(numbers.begin(), numbers.end());
    EXPECT_LT(stack_of_sorting(numbers), STACK_OF_15_CALLS);
}

// 1 0 3 2 5 4 ...: each pivot leaves one record to its left and all others to its right.
TEST(sort_range, keeps_the_stack_low_when_the_right_side_is_always_the_larger)
{
    std::vector<i16> numbers = ascending(3000);
    for (size_t i = 0; i < numbers.size(); i += 2) std::swap(numbers[i], numbers[i + 1]);
    EXPECT_LT(stack_of_sorting(numbers), STACK_OF_15_CALLS);
}

TEST(sort_range, keeps_the_stack_low_for_random_and_equal_records)
{
    EXPECT_LT(stack_of_sorting(shuffled(32767)), STACK_OF_15_CALLS);
    EXPECT_LT(stack_of_sorting(std::vector<i16>(32767, 7)), STACK_OF_15_CALLS);
}

// A comparison that contradicts itself never leads the scans out of the range, and the sort comes to an end.
TEST(sort_range, stays_in_the_range_whatever_compare_says)
{
    static const u8 *first;
    static std::mt19937 random(22);
    auto check = [](const void *a, const void *b) {
        EXPECT_TRUE(a > b && b >= first && a < first + 100);
    };
    static auto checked = check;
    const BlockCompareProc liars[] = {
        [](const void *a, const void *b, i16) -> i16 { checked(a, b); return -1; },
        [](const void *a, const void *b, i16) -> i16 { checked(a, b); return 1; },
        [](const void *a, const void *b, i16) -> i16 { checked(a, b); return (i16)((i32)(random() % 3) - 1); },
    };
    for (BlockCompareProc liar : liars) {
        for (int round = 0; round < 50; round++) {
            Bytes records(102, 0xEE);  // one more at either side
            std::iota(records.begin() + 1, records.end() - 1, (u8)0);
            Bytes before = records;
            first = records.data() + 1;
            block_sort(records.data() + 1, 100, 1, liar);
            EXPECT_EQ(records.front(), 0xEE);
            EXPECT_EQ(records.back(), 0xEE);
            std::sort(records.begin(), records.end());
            std::sort(before.begin(), before.end());
            ASSERT_EQ(records, before);  // each is still there once
        }
    }
}

// ---- block_compare_bytes --------------------------------------------------------------------------------------------

TEST(block_compare_bytes, gives_0_for_equal_bytes)
{
    EXPECT_EQ(block_compare_bytes("abc", "abc", 3), 0);
}

TEST(block_compare_bytes, gives_1_or_minus_1_by_the_first_difference)
{
    EXPECT_EQ(block_compare_bytes("azz", "baa", 3), -1);
    EXPECT_EQ(block_compare_bytes("abz", "abc", 3), 1);
    EXPECT_EQ(block_compare_bytes("a\0b", "a\0a", 3), 1);  // a 0 byte is one like the others
}

TEST(block_compare_bytes, takes_bytes_as_unsigned)
{
    EXPECT_EQ(block_compare_bytes("\x80", "\x7F", 1), 1);
    EXPECT_EQ(block_compare_bytes("\x7F", "\x80", 1), -1);
    EXPECT_EQ(block_compare_bytes("\xFF", "\x00", 1), 1);
}

TEST(block_compare_bytes, looks_at_size_bytes)
{
    EXPECT_EQ(block_compare_bytes("abc", "abd", 2), 0);
    EXPECT_EQ(block_compare_bytes("a", "b", 0), 0);
    EXPECT_EQ(block_compare_bytes("a", "b", -1), 0);
}

// ---- block_swap -----------------------------------------------------------------------------------------------------

TEST(block_swap, swaps_size_bytes)
{
    for (i16 size = 0; size <= 40; size++) {
        Bytes a((size_t)size + 1), b((size_t)size + 1);
        std::iota(a.begin(), a.end(), (u8)1);
        std::iota(b.begin(), b.end(), (u8)101);
        Bytes a_after = b, b_after = a;
        std::swap(a_after.back(), b_after.back());  // the byte behind stays
        block_swap(a.data(), b.data(), size);
        EXPECT_EQ(a, a_after) << size;
        EXPECT_EQ(b, b_after) << size;
    }
}

TEST(block_swap, does_nothing_for_a_size_below_1)
{
    char text[] = "ab";
    block_swap(text, text + 1, 0);
    block_swap(text + 1, text + 2, -1);
    EXPECT_STREQ(text, "ab");
}

// Byte by byte: 0 and 1 are swapped, then the new 1 and 2, so byte 0 is carried to the end.
TEST(block_swap, carries_the_first_byte_through_blocks_that_overlap)
{
    char text[] = "0123456789ABCDEFGHIJ";
    block_swap(text, text + 1, 19);
    EXPECT_STREQ(text, "123456789ABCDEFGHIJ0");
    block_swap(text + 1, text, 19);
    EXPECT_STREQ(text, "23456789ABCDEFGHIJ01");
}

// ---- block_move -----------------------------------------------------------------------------------------------------

TEST(block_move, copies_backward_from_one_byte_below)
{
    char text[] = "abcdef";
    EXPECT_EQ(block_move(text + 1, text, 5), text + 1);
    EXPECT_STREQ(text, "aabcde");
}

TEST(block_move, copies_forward_from_one_byte_above)
{
    char text[] = "abcdef";
    EXPECT_EQ(block_move(text, text + 1, 5), text);
    EXPECT_STREQ(text, "bcdeff");
}

TEST(block_move, copies_at_every_distance)
{
    for (i32 from = 0; from <= 40; from++) {
        Bytes bytes(60);
        std::iota(bytes.begin(), bytes.end(), (u8)0);
        Bytes expected = bytes;
        Bytes moved(bytes.begin() + from, bytes.begin() + from + 20);
        std::copy(moved.begin(), moved.end(), expected.begin() + 20);
        block_move(bytes.data() + 20, bytes.data() + from, 20);
        EXPECT_EQ(bytes, expected) << from;
    }
}

TEST(block_move, does_nothing_for_a_length_below_1_or_equal_pointers)
{
    char text[] = "abc";
    EXPECT_EQ(block_move(text + 1, text, 0), text + 1);
    EXPECT_EQ(block_move(text + 1, text, -1), text + 1);
    EXPECT_EQ(block_move(text, text + 1, -2147483647 - 1), text);
    EXPECT_EQ(block_move(text, text, 3), text);
    EXPECT_EQ(block_move(nullptr, nullptr, 3), nullptr);
    EXPECT_STREQ(text, "abc");
}

TEST(block_move, moves_more_than_65535_bytes)
{
    Bytes bytes(100001);
    for (size_t i = 0; i < bytes.size(); i++) bytes[i] = (u8)(i * 7 + i / 256);
    Bytes expected(bytes.begin(), bytes.end() - 1);
    expected.insert(expected.begin(), bytes[0]);
    block_move(bytes.data() + 1, bytes.data(), 100000);
    EXPECT_TRUE(bytes == expected);
}

// ---- block_find_byte ------------------------------------------------------------------------------------------------

TEST(block_find_byte, points_to_the_first_one)
{
    const char *text = "abcabc";
    EXPECT_EQ(block_find_byte(text, 'c', 6), text + 2);
    EXPECT_EQ(block_find_byte(text, 'a', 6), text);
    EXPECT_EQ(block_find_byte(text, 0, 7), text + 6);
}

TEST(block_find_byte, gives_null_for_none_in_the_length)
{
    Bytes bytes = { 1, 2, 3 };
    EXPECT_EQ(block_find_byte(bytes.data(), 4, 3), nullptr);
    EXPECT_EQ(block_find_byte(bytes.data(), 3, 2), nullptr);
    EXPECT_EQ(block_find_byte(bytes.data(), 1, 0), nullptr);
    EXPECT_EQ(block_find_byte(bytes.data(), 1, -1), nullptr);
}

TEST(block_find_byte, finds_bytes_above_127)
{
    Bytes bytes = { 0x7F, 0xFF, 0x80 };
    EXPECT_EQ(block_find_byte(bytes.data(), 0x80, 3), bytes.data() + 2);
}

// ---- hex_to_bytes ---------------------------------------------------------------------------------------------------

// What `operation` writes for a text, in front of a byte that it must leave.
static Bytes written(void (*operation)(u8 *, ConstPString), ConstPString text, size_t size)
{
    Bytes bytes(size + 1, 0xEE);
    operation(bytes.data(), text);
    EXPECT_EQ(bytes.back(), 0xEE);
    bytes.pop_back();
    return bytes;
}

TEST(hex_to_bytes, writes_the_first_digit_of_a_pair_high)
{
    EXPECT_EQ(written(hex_to_bytes, Name("0123456789"), 5), (Bytes{ 0x01, 0x23, 0x45, 0x67, 0x89 }));
}

TEST(hex_to_bytes, takes_either_case)
{
    EXPECT_EQ(written(hex_to_bytes, Name("aBcDeFAbCdEf"), 6), (Bytes{ 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF }));
}

// The neighbours of the digits and letters, and bytes that a signed character would take for others.
TEST(hex_to_bytes, counts_a_character_that_is_no_digit_as_0)
{
    for (u32 character = 0; character < 256; character++) {
        if (isxdigit((int)character)) continue;
        u8 text[256] = { 4, '7', (u8)character, (u8)character, '9' };
        EXPECT_EQ(written(hex_to_bytes, text, 2), (Bytes{ 0x70, 0x09 })) << character;
    }
}

TEST(hex_to_bytes, writes_nothing_for_an_empty_text)
{
    EXPECT_EQ(written(hex_to_bytes, Name(""), 0), Bytes{});
}

TEST(hex_to_bytes, takes_the_cell_behind_an_odd_length)
{
    u8 text[256] = { 3, '1', '2', '3', 'F' };
    EXPECT_EQ(written(hex_to_bytes, text, 2), (Bytes{ 0x12, 0x3F }));
    text[4] = ' ';
    EXPECT_EQ(written(hex_to_bytes, text, 2), (Bytes{ 0x12, 0x30 }));
}

TEST(hex_to_bytes, does_not_read_behind_the_buffer_of_255_digits)
{
    Bytes text(PSTRING_SIZE, 'A');
    text[0] = 255;
    Bytes expected(127, 0xAA);
    expected.push_back(0xA0);
    EXPECT_EQ(written(hex_to_bytes, text.data(), 128), expected);
}

// ---- bits_from_text -------------------------------------------------------------------------------------------------

TEST(bits_from_text, writes_the_first_character_as_the_top_bit)
{
    EXPECT_EQ(written(bits_from_text, Name("1000000000000001"), 2), (Bytes{ 0x80, 0x01 }));
    EXPECT_EQ(written(bits_from_text, Name("01011010"), 1), (Bytes{ 0x5A }));
}

TEST(bits_from_text, takes_every_character_but_0_as_a_1)
{
    for (u32 character = 0; character < 256; character++) {
        u8 text[256] = { 8, '0', '0', '0', '0', '0', '0', (u8)character, '0' };
        EXPECT_EQ(written(bits_from_text, text, 1), Bytes{ (u8)(character == '0' ? 0 : 2) }) << character;
    }
}

TEST(bits_from_text, writes_nothing_for_an_empty_text)
{
    EXPECT_EQ(written(bits_from_text, Name(""), 0), Bytes{});
}

TEST(bits_from_text, takes_the_cells_behind_the_text)
{
    u8 text[256] = { 9, '0', '0', '0', '0', '0', '0', '0', '0', '1', '1', '0', '1', '0', '0', '0', '0' };
    EXPECT_EQ(written(bits_from_text, text, 2), (Bytes{ 0x00, 0xD0 }));
    u8 fresh[256] = { 1, '0' };  // cells of 0, which is not the character "0"
    EXPECT_EQ(written(bits_from_text, fresh, 1), (Bytes{ 0x7F }));
}

TEST(bits_from_text, does_not_read_behind_the_buffer_of_255_characters)
{
    Bytes text(PSTRING_SIZE, '1');
    text[0] = 255;
    Bytes expected(31, 0xFF);
    expected.push_back(0xFE);  // a text of 255 has no 256th character: it counts as "0"
    EXPECT_EQ(written(bits_from_text, text.data(), 32), expected);
}

TEST(bits_from_text, is_not_the_inverse_of_bit_test)
{
    u8 byte = written(bits_from_text, Name("11010000"), 1)[0];
    std::string by_number;
    for (i16 number = 0; number < 8; number++) by_number += bit_test(&byte, number) ? '1' : '0';
    EXPECT_EQ(by_number, "00001011");
}

// ---- bit_test -------------------------------------------------------------------------------------------------------

TEST(bit_test, counts_from_the_low_bit_of_byte_0)
{
    Bytes bytes = { 0x01, 0x80, 0x04 };
    for (i16 number = 0; number < 24; number++) {
        EXPECT_EQ(bit_test(bytes.data(), number) != 0, number == 0 || number == 15 || number == 18) << number;
    }
}

TEST(bit_test, finds_what_bit_assign_sets)
{
    for (i16 number = 0; number < 24; number++) {
        Bytes bytes(3);
        bit_assign(bytes.data(), number, 1);
        for (i16 other = 0; other < 24; other++) EXPECT_EQ(bit_test(bytes.data(), other) != 0, other == number);
    }
}

TEST(bit_test, reaches_bit_32767)
{
    Bytes bytes(4096);
    EXPECT_EQ(bit_test(bytes.data(), 32767), 0);
    bytes[4095] = 0x80;
    EXPECT_NE(bit_test(bytes.data(), 32767), 0);
}

TEST(bit_test, gives_0_for_a_negative_number)
{
    Bytes bytes = { 0xFF, 0xFF, 0xFF };
    EXPECT_EQ(bit_test(bytes.data() + 2, -1), 0);
    EXPECT_EQ(bit_test(bytes.data() + 2, -8), 0);
    EXPECT_EQ(bit_test(bytes.data() + 2, -32768), 0);
}

// ---- swap_bytes16 ---------------------------------------------------------------------------------------------------

TEST(swap_bytes16, swaps_in_place_and_returns_the_pointer)
{
    u16 value = 0x12FE;
    EXPECT_EQ(swap_bytes16(&value), &value);
    EXPECT_EQ(value, 0xFE12);
    EXPECT_EQ(*swap_bytes16(&value), 0x12FE);
}

// ---- bit_rows_shift -------------------------------------------------------------------------------------------------

// Two rows of 16 bits without a gap, and two bytes to spare.
static const Bytes TWO_ROWS = { 0x12, 0x34, 0x56, 0x78, 0x9A, 0x00 };

static Bytes shifted(Bytes rows, i16 stride, i16 shift, i16 width, i16 height)
{
    bit_rows_shift(rows.data(), stride, shift, width, height);
    return rows;
}

TEST(bit_rows_shift, does_nothing_for_a_shift_outside_1_to_15)
{
    for (i16 shift : std::vector<i16>{ 0, -1, -8, -32768, 16, 17, 32767 }) {
        EXPECT_EQ(shifted(TWO_ROWS, 2, shift, 16, 2), TWO_ROWS) << shift;
    }
}

TEST(bit_rows_shift, does_nothing_without_width_or_height)
{
    for (i16 none : std::vector<i16>{ 0, -1, -32768 }) {
        EXPECT_EQ(shifted(TWO_ROWS, 2, 9, none, 2), TWO_ROWS);
        EXPECT_EQ(shifted(TWO_ROWS, 2, 9, 16, none), TWO_ROWS);
    }
}

// The last byte of a row takes its bits from the byte behind it, which is the next row, not yet shifted.
TEST(bit_rows_shift, moves_bits_left_below_8)
{
    EXPECT_EQ(shifted(TWO_ROWS, 2, 4, 16, 2), (Bytes{ 0x23, 0x45, 0x67, 0x89, 0x9A, 0x00 }));
    EXPECT_EQ(shifted({ 0x40, 0x80, 0xFF }, 2, 1, 16, 1), (Bytes{ 0x81, 0x01, 0xFF }));
    EXPECT_EQ(shifted({ 0x01, 0x03, 0xFF }, 2, 7, 16, 1), (Bytes{ 0x81, 0xFF, 0xFF }));
}

TEST(bit_rows_shift, goes_from_row_to_row_by_the_stride_below_8)
{
    EXPECT_EQ(shifted({ 0x12, 0x34, 0x50, 0x56, 0x78, 0x90 }, 3, 4, 16, 2),
              (Bytes{ 0x23, 0x45, 0x50, 0x67, 0x89, 0x90 }));
    Bytes upward = { 0x56, 0x78, 0x12, 0x34, 0x50 };  // a negative stride: the second row lies in front of the first
    bit_rows_shift(upward.data() + 2, -2, 4, 16, 2);
    EXPECT_EQ(upward, (Bytes{ 0x67, 0x82, 0x23, 0x45, 0x50 }));  // its last byte takes from the shifted first
}

// Row 1 pushes 34 into row 2, which carries it on: 34 stands twice and 56 is gone.
TEST(bit_rows_shift, moves_bytes_up_from_8_on)
{
    EXPECT_EQ(shifted(TWO_ROWS, 2, 8, 16, 2), (Bytes{ 0x12, 0x12, 0x34, 0x34, 0x78, 0x00 }));
}

TEST(bit_rows_shift, ignores_the_stride_when_it_moves_bytes)
{
    for (i16 stride : std::vector<i16>{ 0, 2, 3, 100, -5 }) {
        EXPECT_EQ(shifted(TWO_ROWS, stride, 8, 16, 2), (Bytes{ 0x12, 0x12, 0x34, 0x34, 0x78, 0x00 })) << stride;
    }
}

// By 12: the bytes of 8 first, which gives 12 12 34 34 78 00, then the bits of 4.
TEST(bit_rows_shift, moves_bytes_and_then_bits_above_8)
{
    EXPECT_EQ(shifted(TWO_ROWS, 2, 12, 16, 2), (Bytes{ 0x21, 0x23, 0x43, 0x47, 0x78, 0x00 }));
}

TEST(bit_rows_shift, takes_part_of_a_byte_as_a_whole_one)
{
    for (i16 width : std::vector<i16>{ 9, 12, 16 }) {
        EXPECT_EQ(shifted({ 0x12, 0x34, 0x56, 0x78 }, 2, 4, width, 1), (Bytes{ 0x23, 0x45, 0x56, 0x78 })) << width;
    }
    EXPECT_EQ(shifted({ 0x12, 0x34, 0x56, 0x78 }, 2, 4, 8, 1), (Bytes{ 0x23, 0x34, 0x56, 0x78 }));
    EXPECT_EQ(shifted({ 0x12, 0x34, 0x56, 0x78 }, 2, 4, 17, 1), (Bytes{ 0x23, 0x45, 0x67, 0x78 }));
}

TEST(bit_rows_shift, touches_one_byte_behind_the_rows)
{
    EXPECT_EQ(shifted({ 0x12, 0x34, 0x56 }, 2, 8, 16, 1), (Bytes{ 0x12, 0x12, 0x34 }));  // written
    EXPECT_EQ(shifted({ 0x12, 0x34, 0x56 }, 2, 4, 16, 1), (Bytes{ 0x23, 0x45, 0x56 }));  // read alone
}

// 32767 bits are 4096 bytes: the sum with 7 is no 16-bit number.
TEST(bit_rows_shift, shifts_rows_of_32767_bits)
{
    Bytes rows(4097, 0x81);
    bit_rows_shift(rows.data(), 4096, 1, 32767, 1);
    Bytes expected(4096, 0x03);
    expected.push_back(0x81);
    EXPECT_EQ(rows, expected);
}

// ---- Reading a file -------------------------------------------------------------------------------------------------

namespace {

// A file of ten bytes, open, with the log of calls begun behind the opening.
struct OpenFile {
    TempDir dir;
    FileHandle file;

    OpenFile()
    {
        file_seterrorptr(&file_error);
        file = file_open(dir.put("a", std::string("\x81\x02\x83\x04\x85\x06\x87\x08\x89\x0A", 10)), FILE_RW_SHARED);
        EXPECT_NE(file, 0u);
        calls_reset();
    }
    ~OpenFile()
    {
        faults_stop();
        file_close(file);
        file_error = FILE_OK;
    }
};

} // namespace

using Lines = std::vector<std::string>;

TEST(file_read_at, seeks_and_reads)
{
    OpenFile open;
    Bytes bytes(4, 0xEE);
    EXPECT_EQ(file_read_at(open.file, 3, bytes.data(), 3), 3);
    EXPECT_EQ(bytes, (Bytes{ 0x04, 0x85, 0x06, 0xEE }));
    EXPECT_EQ(call_lines(), (Lines{ "seek 3", "read 3+3" }));
}

TEST(file_read_at, gives_the_bytes_that_there_are)
{
    OpenFile open;
    Bytes bytes(4, 0xEE);
    EXPECT_EQ(file_read_at(open.file, 8, bytes.data(), 4), 2);
    EXPECT_EQ(bytes, (Bytes{ 0x89, 0x0A, 0xEE, 0xEE }));
    EXPECT_EQ(file_read_at(open.file, 10, bytes.data(), 4), 0);
    EXPECT_EQ(bytes, (Bytes{ 0x89, 0x0A, 0xEE, 0xEE }));
}

// The position stays behind the two bytes of the first read, so the third and fourth pass for those at -1.
TEST(file_read_at, reads_on_after_a_failed_seek)
{
    OpenFile open;
    Bytes bytes(2);
    EXPECT_EQ(file_read_at(open.file, 0, bytes.data(), 2), 2);
    EXPECT_EQ(file_read_at(open.file, -1, bytes.data(), 2), 2);
    EXPECT_EQ(bytes, (Bytes{ 0x83, 0x04 }));
    EXPECT_EQ(file_error, FILE_OK);  // of the read

    faults_start({ .call = FAULT_SEEK });
    EXPECT_EQ(file_read_at(open.file, 0, bytes.data(), 2), 2);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(bytes, (Bytes{ 0x85, 0x06 }));
}

TEST(file_read_at, leaves_the_buffer_when_the_read_fails)
{
    OpenFile open;
    Bytes bytes(2, 0xEE);
    faults_start({ .call = FAULT_READ });
    i32 result = file_read_at(open.file, 0, bytes.data(), 2);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(bytes, (Bytes{ 0xEE, 0xEE }));
    EXPECT_NE(file_error, FILE_OK);

    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(result, file_read(open.file, bytes.data(), 2));
    EXPECT_TRUE(faults_stop());
}

TEST(file_read_byte_at, reads_one_byte)
{
    OpenFile open;
    EXPECT_EQ(file_read_byte_at(open.file, 8), 0x89);
    EXPECT_EQ(call_lines(), (Lines{ "seek 8", "read 8+1" }));
}

TEST(file_read_byte_at, gives_0_when_nothing_is_read)
{
    OpenFile open;
    EXPECT_EQ(file_read_byte_at(open.file, 10), 0);
    EXPECT_EQ(file_read_byte_at(0, 0), 0);
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(file_read_byte_at(open.file, 0), 0);
    EXPECT_TRUE(faults_stop());
}

TEST(file_read_be16_at, reads_the_high_byte_first)
{
    OpenFile open;
    EXPECT_EQ(file_read_be16_at(open.file, 0), 0x8102);
    EXPECT_EQ(file_read_be16_at(open.file, 5), 0x0687);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "read 0+2", "seek 5", "read 5+2" }));
}

TEST(file_read_be16_at, gives_0_for_bytes_that_are_not_read)
{
    OpenFile open;
    EXPECT_EQ(file_read_be16_at(open.file, 9), 0x0A00);  // the last byte of the file
    EXPECT_EQ(file_read_be16_at(open.file, 10), 0);
    EXPECT_EQ(file_read_be16_at(0, 0), 0);
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(file_read_be16_at(open.file, 0), 0);
    EXPECT_TRUE(faults_stop());
}

// ---- Records --------------------------------------------------------------------------------------------------------

// A record between bytes that must stay, at an odd address: what `fill` writes there.
template <typename Fill> static Bytes filled(size_t size, Fill fill)
{
    Bytes bytes(size + 2, 0xEE);
    fill(bytes.data() + 1);
    EXPECT_EQ(bytes.front(), 0xEE);
    EXPECT_EQ(bytes.back(), 0xEE);
    return Bytes(bytes.begin() + 1, bytes.end() - 1);
}

TEST(record_id_name_set, fills_36_bytes)
{
    Bytes expected(36);
    memcpy(expected.data(), "\x34\x12\x03" "abc", 6);
    expected[34] = 0xF1;
    expected[35] = 0xF2;
    Name name("abc");
    memset(name.text + 4, 'x', 252);  // what stands behind the text is not copied
    EXPECT_EQ(filled(36, [&](u8 *record) { record_id_name_set(record, 0x1234, name, 0xF1, 0xF2); }), expected);
}

TEST(record_id_name_set, leaves_the_name_empty_for_null)
{
    Bytes expected(36);
    expected[0] = 0xFE;
    expected[1] = 0xFF;
    expected[34] = 1;
    expected[35] = 2;
    EXPECT_EQ(filled(36, [](u8 *record) { record_id_name_set(record, -2, nullptr, 1, 2); }), expected);
}

TEST(record_id_name_set, takes_31_characters_and_cuts_a_longer_name)
{
    for (u32 length : { 31u, 32u, 255u }) {
        Bytes record = filled(36, [&](u8 *bytes) {
            record_id_name_set(bytes, 1, Name(std::string(length, 'n')), 0xF1, 0xF2);
        });
        Bytes expected(36, 'n');
        expected[0] = 1;
        expected[1] = 0;
        expected[2] = 31;
        expected[34] = 0xF1;
        expected[35] = 0xF2;
        EXPECT_EQ(record, expected) << length;
    }
}

TEST(record_pair_set, fills_8_bytes)
{
    EXPECT_EQ(filled(8, [](u8 *record) { record_pair_set(record, 0x1234, -2, 0x56789ABC); }),
              (Bytes{ 0x34, 0x12, 0xFE, 0xFF, 0xBC, 0x9A, 0x78, 0x56 }));
}

TEST(record_long_pair_set, fills_10_bytes_without_a_gap)
{
    EXPECT_EQ(filled(10, [](u8 *record) { record_long_pair_set(record, 0x1234, 0x56789ABC, -2); }),
              (Bytes{ 0x34, 0x12, 0xBC, 0x9A, 0x78, 0x56, 0xFE, 0xFF, 0xFF, 0xFF }));
}

TEST(record_blocks_set, fills_20_bytes)
{
    Bytes expected = { '1', '2', '3', '4', '5', '6', '7', '8',
                       'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 0x34, 0x12 };
    EXPECT_EQ(filled(20, [](u8 *record) { record_blocks_set(record, "12345678", "abcdefghij", 0x1234); }), expected);
}

TEST(record_blocks_set, fills_zeros_for_a_null_source)
{
    Bytes expected(20);
    expected[18] = 7;
    EXPECT_EQ(filled(20, [](u8 *record) { record_blocks_set(record, nullptr, nullptr, 7); }), expected);
}

TEST(record_blocks_ext_set, fills_36_bytes_more)
{
    Bytes third(36);
    std::iota(third.begin(), third.end(), (u8)100);
    Bytes expected = { '1', '2', '3', '4', '5', '6', '7', '8',
                       'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 0x34, 0x12 };
    expected.insert(expected.end(), third.begin(), third.end());
    EXPECT_EQ(filled(56, [&](u8 *record) {
        record_blocks_ext_set(record, "12345678", "abcdefghij", 0x1234, third.data());
    }), expected);
}

TEST(record_blocks_ext_set, fills_zeros_for_a_null_source)
{
    Bytes expected(56);
    expected[18] = 7;
    EXPECT_EQ(filled(56, [](u8 *record) { record_blocks_ext_set(record, nullptr, nullptr, 7, nullptr); }), expected);
}

} // namespace zuk
