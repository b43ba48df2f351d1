#include "platform/platform.h"

#include <errno.h>
#include <time.h>

namespace zuk {

static u32 posix_tick_count()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (u32)((u64)now.tv_sec * 1000 + (u64)now.tv_nsec / 1000000);
}

// There is no such setting on this system; half a second is the usual one elsewhere.
static u32 posix_double_click_time() { return 500; }

static void posix_sleep(u32 milliseconds)
{
    timespec left;
    left.tv_sec = (time_t)(milliseconds / 1000);
    left.tv_nsec = (long)(milliseconds % 1000) * 1000000;
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
        // A signal cut the wait short; `left` tells what is missing.
    }
}

static void posix_local_time(PlatformLocalTime *now)
{
    time_t seconds = time(nullptr);
    tm parts = {};
    (void)localtime_r(&seconds, &parts);  // fails only for years beyond 31 bits
    now->year = (u16)(parts.tm_year + 1900);
    now->month = (u16)(parts.tm_mon + 1);
    now->day = (u16)parts.tm_mday;
    now->weekday = (u16)parts.tm_wday;
    now->hour = (u16)parts.tm_hour;
    now->minute = (u16)parts.tm_min;
    now->second = (u16)parts.tm_sec;
}

// Steps of 100 nanoseconds: a thousand times as many as there are in 29 years fit into 64 bits.
constexpr i64 COUNTER_FREQUENCY = 10000000;

static i64 posix_counter()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (i64)now.tv_sec * COUNTER_FREQUENCY + (i64)now.tv_nsec / (1000000000 / COUNTER_FREQUENCY);
}

static i64 posix_counter_frequency() { return COUNTER_FREQUENCY; }

constinit const PlatformClock native_clock = {
    .tick_count = posix_tick_count,
    .double_click_time = posix_double_click_time,
    .sleep = posix_sleep,
    .local_time = posix_local_time,
    .counter = posix_counter,
    .counter_frequency = posix_counter_frequency,
};

} // namespace zuk
