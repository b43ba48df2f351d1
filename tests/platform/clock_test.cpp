#include "platform/platform.h"

#include <gtest/gtest.h>

#include <chrono>

#ifndef _WIN32
#include <cerrno>
#include <ctime>
#include <vector>
#endif

namespace zuk {

TEST(native_tick_count, counts_milliseconds)
{
    using namespace std::chrono;
    auto outer_start = steady_clock::now();
    u32 start = native_clock.tick_count();
    auto inner_start = steady_clock::now();
    while (steady_clock::now() - inner_start < microseconds(200)) {
        // A moment to be measured; a fifth of a millisecond is no wait.
    }
    auto inner_end = steady_clock::now();
    u32 end = native_clock.tick_count();
    auto outer_end = steady_clock::now();

    // A tick may be as coarse as 16 milliseconds on some systems.
    i64 ticks = end - start;
    EXPECT_GE(ticks + 16, duration_cast<milliseconds>(inner_end - inner_start).count());
    EXPECT_LE(ticks - 16, duration_cast<milliseconds>(outer_end - outer_start).count());
}

TEST(native_double_click_time, is_a_fraction_of_some_seconds)
{
    EXPECT_GT(native_clock.double_click_time(), 0u);
    EXPECT_LE(native_clock.double_click_time(), 5000u);  // the longest that Windows lets a user choose
}

#ifndef _WIN32

// The C library's call, taken over for this test so that none waits: each call is written down, and the first
// `interrupted_naps` are cut short by half of what was asked.
static std::vector<timespec> naps;
static int interrupted_naps;
static bool naps_taken_over;

} // namespace zuk

extern "C" int nanosleep(const timespec *asked, timespec *left)
{
    using namespace zuk;
    if (!naps_taken_over) {
        int error = clock_nanosleep(CLOCK_REALTIME, 0, asked, left);
        errno = error;
        return error == 0 ? 0 : -1;
    }
    timespec wanted = *asked;
    naps.push_back(wanted);
    if (interrupted_naps-- <= 0) return 0;
    *left = { wanted.tv_sec / 2, wanted.tv_nsec / 2 };
    errno = EINTR;
    return -1;
}

namespace zuk {

static std::vector<timespec> naps_of(u32 milliseconds, int interrupted)
{
    naps.clear();
    interrupted_naps = interrupted;
    naps_taken_over = true;
    native_clock.sleep(milliseconds);
    naps_taken_over = false;
    return naps;
}

TEST(native_sleep, asks_for_the_whole_time_at_once)
{
    std::vector<timespec> asked = naps_of(61250, 0);
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].tv_sec, 61);
    EXPECT_EQ(asked[0].tv_nsec, 250000000);
}

TEST(native_sleep, goes_on_after_a_signal_with_what_is_left)
{
    std::vector<timespec> asked = naps_of(8000, 2);
    ASSERT_EQ(asked.size(), 3u);
    EXPECT_EQ(asked[1].tv_sec, 4);
    EXPECT_EQ(asked[2].tv_sec, 2);
}

#else

TEST(native_sleep, is_the_call_of_the_system)
{
    GTEST_SKIP() << "Sleep of Windows cannot be taken over, and no test waits real time";
}

#endif

} // namespace zuk
