// A screen for the length of a test: a table of windows in front of the native one that writes down every call, holds
// values and colours, deals out the random numbers of the test, and fails where it is told to. It begins, and leaves
// off, with a program that has told nothing of itself, no caret and no star field.
#pragma once

#include "platform/platform.h"

#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zuk {

// An address for a window, a drawing or an icon; none of them is looked at.
inline void *ref(uintptr_t number) { return (void *)number; }

struct Screen {
    Screen();
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    // The calls in words since the last `take_log`, those that only ask aside: "post 7 1029 -1", "timer_set 7 999 100
    // failed". Windows, drawings and icons are shown by their numbers.
    std::vector<std::string> log;
    std::vector<std::string> take_log();

    std::set<std::string> failing;             // calls, by the names of their rows, that fail from now on
    std::map<WindowRef, u32> values;
    std::map<i32, u32> colours;
    std::deque<u32> random_numbers;            // dealt out from the front; then 0
    std::map<std::pair<i32, i32>, u32> pixels;  // as they were set last
    bool logs_pixels = false;                  // "pixel 1007 200 150 ffffff" as well
    PlatformPaint to_paint = {};               // what `paint_begin` gives, beside a drawing
    u32 run_result = 33;
};

} // namespace zuk
