#include "desktop/stopwatch.h"

#include "platform/platform.h"
#include "zuk/zuk.h"

namespace zuk {

// What a stopwatch holds: the counter at its start.
static i64 *start_of(GHandle watch)
{
    return gsize(watch) < (i32)sizeof(i64) ? nullptr : (i64 *)glock(watch);
}

static void store(i32 *milliseconds, i32 value)
{
    if (milliseconds) *milliseconds = value;
}

// KEPT: one would expect this to follow from the frequency of the counter, and the stopwatch to go by tens. It is 10 on
// every system, while the stopwatch tells single milliseconds. Test: stopwatch_resolution.is_10_whatever_the_counter_is
i32 stopwatch_resolution() { return 10; }

GHandle stopwatch_create() { return galloc((i32)sizeof(i64), nullptr, 1); }

i16 stopwatch_start(GHandle watch)
{
    i64 *start = start_of(watch);
    if (!start) return 0;
    *start = platform_clock->counter();
    gunlock(watch);
    return 1;
}

i16 stopwatch_elapsed(GHandle watch, i32 *milliseconds)
{
    i64 now = platform_clock->counter();
    i64 frequency = platform_clock->counter_frequency();
    if (frequency <= 0) {
        store(milliseconds, 0);
        return 0;
    }
    const i64 *start = start_of(watch);
    if (!start) return 0;

    // Both steps wrap at 64 bits, as the counter itself would.
    i64 scaled = (i64)(((u64)now - (u64)*start) * 1000);
    i64 elapsed = scaled / frequency;
    gunlock(watch);

    // KEPT: one would expect the longest time that there is room for, and a time below 0 to be told as such. From
    // 2147483647 ms on, some 25 days, it is -1; of a time below 0 the low 32 bits are stored, and below -2147483648 ms
    // they can be any number. Test: stopwatch_elapsed.stores_minus_1_from_2147483647_ms_on,
    // Test: stopwatch_elapsed.stores_the_low_32_bits_of_a_time_below_0
    store(milliseconds, elapsed >= INT32_MAX ? -1 : (i32)(u32)elapsed);
    return 1;
}

void stopwatch_dispose(GHandle watch) { gfree(watch); }

} // namespace zuk
