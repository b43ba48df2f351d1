#include "platform/platform.h"

#include <windows.h>

namespace zuk {

static u32 win32_tick_count() { return GetTickCount(); }
static u32 win32_double_click_time() { return GetDoubleClickTime(); }
static void win32_sleep(u32 milliseconds) { Sleep(milliseconds); }

static void win32_local_time(PlatformLocalTime *now)
{
    SYSTEMTIME parts;
    GetLocalTime(&parts);
    now->year = parts.wYear;
    now->month = parts.wMonth;
    now->day = parts.wDay;
    now->weekday = parts.wDayOfWeek;
    now->hour = parts.wHour;
    now->minute = parts.wMinute;
    now->second = parts.wSecond;
}

static i64 win32_counter()
{
    LARGE_INTEGER counter = {};
    (void)QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

static i64 win32_counter_frequency()
{
    LARGE_INTEGER frequency = {};
    return QueryPerformanceFrequency(&frequency) ? frequency.QuadPart : 0;
}

constinit const PlatformClock native_clock = {
    .tick_count = win32_tick_count,
    .double_click_time = win32_double_click_time,
    .sleep = win32_sleep,
    .local_time = win32_local_time,
    .counter = win32_counter,
    .counter_frequency = win32_counter_frequency,
};

} // namespace zuk
