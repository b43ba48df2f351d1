#include "platform/platform.h"

#include <windows.h>

namespace zuk {

static u32 win32_tick_count() { return GetTickCount(); }
static u32 win32_double_click_time() { return GetDoubleClickTime(); }
static void win32_sleep(u32 milliseconds) { Sleep(milliseconds); }

constinit const PlatformClock native_clock = {
    .tick_count = win32_tick_count,
    .double_click_time = win32_double_click_time,
    .sleep = win32_sleep,
};

} // namespace zuk
