#include "tests/support/screen.h"

#include "desktop/app_state.h"
#include "desktop/args.h"
#include "desktop/starfield.h"
#include "desktop/window.h"

#include <cstdio>
#include <sstream>

namespace zuk {

static Screen *screen;

// The drawing of a window has its number and 1,000 more, an icon its own; so a log shows what belongs to what.
static void *drawing_of(WindowRef window) { return ref((uintptr_t)window + 1000); }

static void write_words(std::ostringstream &) {}
template <typename First, typename... Rest> static void write_words(std::ostringstream &line, First first, Rest... rest)
{
    if constexpr (std::is_same_v<First, void *>) line << ' ' << (uintptr_t)first;
    else line << ' ' << first;
    write_words(line, rest...);
}

// Log a call. False if it is to fail.
template <typename... Words> static bool call(const char *name, Words... words)
{
    bool fails = screen->failing.count(name) > 0;
    std::ostringstream line;
    line << name;
    write_words(line, words...);
    screen->log.push_back(line.str() + (fails ? " failed" : ""));
    return !fails;
}

static const PlatformDesktop recording_desktop = {
    .value = [](WindowRef window) { return screen->values[window]; },
    .set_value =
        [](WindowRef window, u32 value) {
            if (call("set_value", window, value ? "some" : "none")) screen->values[window] = value;
        },
    .caret_create = [](WindowRef window, i32 width, i32 height) { return call("caret_create", window, width, height); },
    .caret_move = [](i32 x, i32 y) { call("caret_move", x, y); },
    .caret_show = [](WindowRef window) { call("caret_show", window); },
    .caret_hide = [](WindowRef window) { call("caret_hide", window); },
    .capture_set = [](WindowRef window) { call("capture_set", window); },
    .capture_release = [] { call("capture_release"); },
    .beep = [] { call("beep"); },
    .post = [](WindowRef window, u32 message, intptr_t data) { return call("post", window, message, data); },
    .timer_set = [](WindowRef window, u32 number, u32 milliseconds) {
        return call("timer_set", window, number, milliseconds);
    },
    .timer_kill = [](WindowRef window, u32 number) { call("timer_kill", window, number); },
    .icon_load = [](u16 number) -> IconRef { return call("icon_load", number) ? ref(number) : nullptr; },
    .icon_draw = [](DrawingRef drawing, i32 x, i32 y, IconRef icon) { return call("icon_draw", drawing, x, y, icon); },
    .icon_free = [](IconRef icon) { call("icon_free", icon); },
    .colour = [](i32 number) { return screen->colours[number]; },
    .set_colour =
        [](i32 number, u32 colour) {
            call("set_colour", number, colour);
            screen->colours[number] = colour;
        },
    .drawing_take = [](WindowRef window) -> DrawingRef {
        return call("drawing_take", window) ? drawing_of(window) : nullptr;
    },
    .drawing_release = [](WindowRef window, DrawingRef drawing) { call("drawing_release", window, drawing); },
    .pixel_set =
        [](DrawingRef drawing, i32 x, i32 y, u32 colour) {
            screen->pixels[{ x, y }] = colour;
            if (!screen->logs_pixels) return;
            char digits[7];
            snprintf(digits, sizeof digits, "%06x", (unsigned)colour & 0xFFFFFF);
            call("pixel", drawing, x, y, digits);
        },
    .paint_begin =
        [](WindowRef window, PlatformPaint *paint) {
            *paint = screen->to_paint;
            paint->drawing = call("paint_begin", window) ? drawing_of(window) : nullptr;
        },
    .paint_fill =
        [](const PlatformPaint *paint, i32 brush) {
            call("paint_fill", paint->drawing, paint->left, paint->top, paint->right, paint->bottom, brush);
        },
    .paint_end = [](WindowRef window, PlatformPaint *paint) { call("paint_end", window, paint->drawing); },
    .invalidate = [](WindowRef window) { call("invalidate", window); },
    .run = [](const char *command, u32 show) { return call("run", command, show) ? screen->run_result : 2u; },
    .log_off = [] { call("log_off"); },
    .random = []() -> u32 {
        if (screen->random_numbers.empty()) return 0;
        u32 number = screen->random_numbers.front();
        screen->random_numbers.pop_front();
        return number;
    },
};

static void forget_program()
{
    caret_hide();
    starfield_stop();
    app_set_main_window(nullptr);
    app_set_current_window(nullptr);
    app_set_client_size(0, 0);
    app_set_device_context(nullptr);
    args_clear();
}

Screen::Screen()
{
    screen = this;
    window_platform_set(&recording_desktop);
    forget_program();
    log.clear();
}

Screen::~Screen()
{
    forget_program();
    window_platform_set(nullptr);
}

std::vector<std::string> Screen::take_log() { return std::exchange(log, {}); }

} // namespace zuk
