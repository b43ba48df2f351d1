#include "desktop/stopwatch.h"

#include "foundation/handles.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string.h>

namespace zuk {
namespace {

constexpr i64 PER_SECOND = 10000000;    // as the systems have it
constexpr i32 UNTOUCHED = 77;

// A watch that was started at `start`; freed at the end.
class Watch {
public:
    explicit Watch(i64 start = 0, i64 frequency = PER_SECOND) : alive(handles_alive()), handle(stopwatch_create())
    {
        clock_virtual_counter(start, frequency);
        EXPECT_EQ(stopwatch_start(handle), 1);
    }
    ~Watch()
    {
        stopwatch_dispose(handle);
        EXPECT_EQ(handles_alive(), alive);
    }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    // The milliseconds at a count.
    i32 at(i64 counter, i64 frequency = PER_SECOND) const
    {
        clock_virtual_counter(counter, frequency);
        i32 milliseconds = UNTOUCHED;
        EXPECT_EQ(stopwatch_elapsed(handle, &milliseconds), 1);
        return milliseconds;
    }

    u32 alive;
    GHandle handle;
};

i64 stored(GHandle watch)
{
    i64 start = -1;
    EXPECT_EQ(gsize(watch), 8);
    if (gsize(watch) == 8) memcpy(&start, glock(watch), sizeof start);
    return start;
}

TEST(stopwatch, has_every_operation)
{
    void *const operations[] = {
        (void *)stopwatch_resolution, (void *)stopwatch_create, (void *)stopwatch_start,
        (void *)stopwatch_elapsed,    (void *)stopwatch_dispose,
    };
    std::set<void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

TEST(stopwatch, tells_the_time_by_the_counter_of_the_system)
{
    GHandle watch = stopwatch_create();
    EXPECT_EQ(stopwatch_start(watch), 1);
    i32 milliseconds = UNTOUCHED;
    EXPECT_EQ(stopwatch_elapsed(watch, &milliseconds), 1);
    EXPECT_GE(milliseconds, 0);
    stopwatch_dispose(watch);
}

TEST(stopwatch_resolution, is_10_whatever_the_counter_is)
{
    EXPECT_EQ(stopwatch_resolution(), 10);
    for (i64 frequency : { (i64)0, (i64)1, (i64)1000, (i64)1000000000 }) {
        clock_virtual_counter(0, frequency);
        EXPECT_EQ(stopwatch_resolution(), 10) << frequency;
    }
    Watch watch(0, 1000);
    EXPECT_EQ(watch.at(1, 1000), 1);    // though single milliseconds are told
}

TEST(stopwatch_create, gives_eight_bytes_of_0)
{
    clock_virtual_counter(123, PER_SECOND);
    GHandle dirty = galloc(8, nullptr, 0);    // what is likely to be given out next
    memset(glock(dirty), 0xFF, 8);
    gfree(dirty);
    GHandle watch = stopwatch_create();
    EXPECT_EQ(stored(watch), 0);
    stopwatch_dispose(watch);
}

TEST(stopwatch_create, gives_0_without_memory)
{
    u32 before = handles_alive();
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(stopwatch_create(), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(handles_alive(), before);
}

TEST(stopwatch_start, stores_the_counter)
{
    Watch watch(0x123456789ABCDEF0);
    EXPECT_EQ(stored(watch.handle), 0x123456789ABCDEF0);
    clock_virtual_counter(-2, PER_SECOND);
    EXPECT_EQ(stopwatch_start(watch.handle), 1);    // again, at another count
    EXPECT_EQ(stored(watch.handle), -2);
}

// 0, a freed handle, and one that is too short.
TEST(stopwatch_start, gives_0_without_a_stopwatch)
{
    GHandle freed = galloc(8, nullptr, 0);
    gfree(freed);
    GHandle shorter = galloc(7, nullptr, 1);
    EXPECT_EQ(stopwatch_start(0), 0);
    EXPECT_EQ(stopwatch_start(freed), 0);
    clock_virtual_counter(-1, PER_SECOND);
    EXPECT_EQ(stopwatch_start(shorter), 0);
    const u8 zeros[7] = {};
    EXPECT_EQ(memcmp(glock(shorter), zeros, 7), 0);
    gfree(shorter);
}

TEST(stopwatch_elapsed, is_the_difference_in_milliseconds_cut)
{
    Watch watch(1000);
    EXPECT_EQ(watch.at(1000), 0);
    EXPECT_EQ(watch.at(1000 + 9999), 0);
    EXPECT_EQ(watch.at(1000 + 10000), 1);
    EXPECT_EQ(watch.at(1000 + 19999), 1);
    EXPECT_EQ(watch.at(1000 + 12345 * PER_SECOND), 12345000);
    EXPECT_EQ(stored(watch.handle), 1000);    // it runs on
}

// Steps that are no whole part of a millisecond: the product comes first.
TEST(stopwatch_elapsed, multiplies_ahead_of_the_division)
{
    Watch watch(0, 3);
    EXPECT_EQ(watch.at(1, 3), 333);
    EXPECT_EQ(watch.at(2, 3), 666);
    EXPECT_EQ(watch.at(3, 3), 1000);
}

TEST(stopwatch_elapsed, of_a_new_stopwatch_counts_from_0)
{
    GHandle watch = stopwatch_create();
    clock_virtual_counter(5 * PER_SECOND, PER_SECOND);
    i32 milliseconds = UNTOUCHED;
    EXPECT_EQ(stopwatch_elapsed(watch, &milliseconds), 1);
    EXPECT_EQ(milliseconds, 5000);
    stopwatch_dispose(watch);
}

TEST(stopwatch_elapsed, stores_minus_1_from_2147483647_ms_on)
{
    Watch watch(0, 1000);    // a step a millisecond
    EXPECT_EQ(watch.at(2147483646, 1000), 2147483646);
    EXPECT_EQ(watch.at(2147483647, 1000), -1);
    EXPECT_EQ(watch.at(2147483648, 1000), -1);
    EXPECT_EQ(watch.at(4294967301, 1000), -1);    // its low 32 bits are 5
}

TEST(stopwatch_elapsed, stores_the_low_32_bits_of_a_time_below_0)
{
    Watch watch(0, 1000);
    EXPECT_EQ(watch.at(-1, 1000), -1);
    EXPECT_EQ(watch.at(-2147483648, 1000), INT32_MIN);
    EXPECT_EQ(watch.at(-2147483649, 1000), INT32_MAX);
    EXPECT_EQ(watch.at(-4294967291, 1000), 5);
}

TEST(stopwatch_elapsed, cuts_a_time_below_0_toward_0)
{
    Watch watch(0);
    EXPECT_EQ(watch.at(-9999), 0);
    EXPECT_EQ(watch.at(-10000), -1);
    EXPECT_EQ(watch.at(-19999), -1);
}

TEST(stopwatch_elapsed, wraps_at_64_bits)
{
    Watch watch(INT64_MIN, 1000);
    EXPECT_EQ(watch.at(INT64_MAX, 1000), -1);    // the difference is -1
    EXPECT_EQ(watch.at(INT64_MIN + 5, 1000), 5);
    Watch other(0, 1);
    EXPECT_EQ(other.at(18446744073709552, 1), 384);    // times 1000 that is 2^64 + 384
}

TEST(stopwatch_elapsed, without_a_counter_gives_0_and_stores_0)
{
    Watch watch(0);
    for (i64 frequency : { (i64)0, (i64)-1, INT64_MIN }) {
        clock_virtual_counter(5000, frequency);
        i32 milliseconds = UNTOUCHED;
        EXPECT_EQ(stopwatch_elapsed(watch.handle, &milliseconds), 0);
        EXPECT_EQ(milliseconds, 0);
        EXPECT_EQ(stopwatch_elapsed(watch.handle, nullptr), 0);
    }
}

TEST(stopwatch_elapsed, without_a_counter_and_a_stopwatch_gives_0_and_stores_0)
{
    clock_virtual_counter(5000, 0);
    i32 milliseconds = UNTOUCHED;
    EXPECT_EQ(stopwatch_elapsed(0, &milliseconds), 0);
    EXPECT_EQ(milliseconds, 0);
}

TEST(stopwatch_elapsed, without_a_stopwatch_gives_0_and_stores_nothing)
{
    clock_virtual_counter(5000, PER_SECOND);
    GHandle freed = galloc(8, nullptr, 0);
    gfree(freed);
    GHandle shorter = galloc(7, nullptr, 1);
    for (GHandle watch : { (GHandle)0, freed, shorter }) {
        i32 milliseconds = UNTOUCHED;
        EXPECT_EQ(stopwatch_elapsed(watch, &milliseconds), 0);
        EXPECT_EQ(milliseconds, UNTOUCHED);
    }
    gfree(shorter);
}

TEST(stopwatch_elapsed, may_be_asked_for_the_result_alone)
{
    Watch watch(0);
    clock_virtual_counter(5000, PER_SECOND);
    EXPECT_EQ(stopwatch_elapsed(watch.handle, nullptr), 1);
}

TEST(stopwatch_dispose, frees_it)
{
    u32 before = handles_alive();
    GHandle watch = stopwatch_create();
    EXPECT_EQ(handles_alive(), before + 1);
    stopwatch_dispose(watch);
    EXPECT_EQ(handles_alive(), before);
    stopwatch_dispose(watch);
    stopwatch_dispose(0);
    EXPECT_EQ(handles_alive(), before);
}

} // namespace
} // namespace zuk
