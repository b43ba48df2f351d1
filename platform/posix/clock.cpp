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

constinit const PlatformClock native_clock = {
    .tick_count = posix_tick_count,
    .double_click_time = posix_double_click_time,
    .sleep = posix_sleep,
};

} // namespace zuk
