#include "platform/platform.h"

#include "desktop/app_state.h"
#include "desktop/starfield.h"
#include "desktop/window.h"
#include "foundation/handles.h"
#include "tests/support/faults.h"
#include "tests/support/screen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <set>

#ifdef _WIN32
#include <windows.h>
#endif

namespace zuk {

TEST(native_desktop, has_no_null_row)
{
    constexpr size_t COUNT = sizeof(PlatformDesktop) / sizeof(void *);
    void *rows[COUNT];
    memcpy(rows, &native_desktop, sizeof rows);
    for (size_t i = 0; i < COUNT; i++) EXPECT_NE(rows[i], nullptr) << i;
}

TEST(native_desktop, is_in_use_at_first)
{
    EXPECT_EQ(platform_desktop, &native_desktop);  // whoever puts another one in front takes it away again
}

TEST(native_random, gives_many_numbers_with_at_least_15_bits)
{
    std::set<u32> numbers;
    u32 bits = 0;
    for (int i = 0; i < 1000; i++) {
        u32 number = native_desktop.random();
        numbers.insert(number);
        bits |= number;
    }
    EXPECT_GT(numbers.size(), 900u);
    EXPECT_EQ(bits & 0x7FFF, 0x7FFFu);
}

#ifndef _WIN32

// ---- Without a screen -----------------------------------------------------------------------------------------------

TEST(native_value, is_0_at_first)
{
    EXPECT_EQ(native_desktop.value(ref(7)), 0u);
    EXPECT_EQ(native_desktop.value(nullptr), 0u);
}

TEST(native_value, is_kept_for_each_window)
{
    native_desktop.set_value(ref(7), 1);
    native_desktop.set_value(ref(8), 0xFFFFFFFF);
    EXPECT_EQ(native_desktop.value(ref(7)), 1u);
    EXPECT_EQ(native_desktop.value(ref(8)), 0xFFFFFFFFu);
    native_desktop.set_value(ref(7), 2);
    EXPECT_EQ(native_desktop.value(ref(7)), 2u);
    native_desktop.set_value(ref(7), 0);
    EXPECT_EQ(native_desktop.value(ref(7)), 0u);
    EXPECT_EQ(native_desktop.value(ref(8)), 0xFFFFFFFFu);
    native_desktop.set_value(ref(8), 0);
}

TEST(native_value, is_kept_for_any_number_of_windows_and_no_memory_stays_behind)
{
    u32 before = memory_alive();
    for (u32 i = 1; i <= 100; i++) native_desktop.set_value(ref(i), 1000 + i);
    for (u32 i = 1; i <= 100; i += 2) native_desktop.set_value(ref(i), 0);
    for (u32 i = 1; i <= 100; i++) EXPECT_EQ(native_desktop.value(ref(i)), i % 2 ? 0 : 1000 + i);
    for (u32 i = 100; i >= 1; i--) native_desktop.set_value(ref(i), 0);
    EXPECT_EQ(memory_alive(), before);
}

TEST(native_value, of_null_is_not_kept)
{
    native_desktop.set_value(nullptr, 5);
    EXPECT_EQ(native_desktop.value(nullptr), 0u);
}

TEST(native_value, is_lost_without_memory_and_the_others_stay)
{
    u32 before = memory_alive();
    for (u32 nth = 1;; nth++) {
        faults_start({ .call = FAULT_ANY_MEMORY, .nth = nth });
        for (u32 i = 1; i <= 17; i++) native_desktop.set_value(ref(i), i);  // the 17th asks for memory once more
        bool met = faults_stop();
        u32 kept = 0;
        for (u32 i = 1; i <= 17; i++) {
            u32 value = native_desktop.value(ref(i));
            EXPECT_TRUE(value == i || value == 0) << i;
            kept += value != 0;
            native_desktop.set_value(ref(i), 0);
        }
        EXPECT_EQ(kept, met ? 16u : 17u) << nth;
        EXPECT_EQ(memory_alive(), before) << nth;
        if (!met) break;
    }
}

TEST(native_desktop, fails_at_all_that_needs_a_screen)
{
    EXPECT_FALSE(native_desktop.caret_create(ref(7), 1, 12));
    EXPECT_FALSE(native_desktop.post(ref(7), 1024, 0));
    EXPECT_FALSE(native_desktop.timer_set(ref(7), 999, 100));
    EXPECT_EQ(native_desktop.icon_load(32516), nullptr);
    EXPECT_FALSE(native_desktop.icon_draw(ref(5), 0, 0, ref(6)));
    native_desktop.set_colour(12, 0x123456);
    EXPECT_EQ(native_desktop.colour(12), 0u);
    EXPECT_EQ(native_desktop.drawing_take(ref(7)), nullptr);
    EXPECT_EQ(native_desktop.run("true", 5), 0u);

    PlatformPaint paint;
    memset(&paint, 0x77, sizeof paint);
    native_desktop.paint_begin(ref(7), &paint);
    EXPECT_EQ(paint.drawing, nullptr);
    EXPECT_EQ(paint.left | paint.top | paint.right | paint.bottom, 0);
    native_desktop.paint_fill(&paint, 4);
    native_desktop.paint_end(ref(7), &paint);
}

TEST(native_desktop, takes_every_other_call_without_effect)
{
    native_desktop.caret_move(1, 2);
    native_desktop.caret_show(ref(7));
    native_desktop.caret_hide(ref(7));
    native_desktop.capture_set(ref(7));
    native_desktop.capture_release();
    native_desktop.beep();
    native_desktop.timer_kill(ref(7), 999);
    native_desktop.icon_free(ref(6));
    native_desktop.drawing_release(ref(7), ref(5));
    native_desktop.pixel_set(ref(5), 1, 2, 0xFFFFFF);
    native_desktop.invalidate(ref(7));
    native_desktop.log_off();
    EXPECT_EQ(native_desktop.value(ref(7)), 0u);
}

// The operations above the table, as a program without a screen has them.
TEST(native_desktop, lets_the_operations_fail_and_window_data_work)
{
    u32 before = handles_alive();
    app_set_main_window(ref(7));
    app_set_device_context(ref(5));
    window_set_long_b(ref(7), -3);
    EXPECT_EQ(window_get_long_b(ref(7)), -3);
    EXPECT_EQ(app_post(nullptr, 5, 0), 0);
    EXPECT_EQ(icon_draw(0, 0), 0);
    EXPECT_EQ(program_run("true"), 0);
    user_logoff();
    caret_show(ref(7), { 1, 2 }, 3);
    EXPECT_EQ(caret_get(nullptr, nullptr, nullptr), 1);
    caret_hide();
    EXPECT_EQ(handles_alive(), before + 1);
    starfield_start();
    EXPECT_EQ(handles_alive(), before + 1);  // no stars without a timer
    starfield_tick();
    starfield_paint();
    starfield_clear();
    starfield_stop();
    window_data_free(ref(7), 1);
    EXPECT_EQ(handles_alive(), before);
    app_set_main_window(nullptr);
    app_set_device_context(nullptr);
}

#else

// ---- With one, mostly in windows that never show --------------------------------------------------------------------

namespace {

struct HiddenWindow {
    HWND window;

    explicit HiddenWindow(int extra = 4)
    {
        const char *name = extra ? "zuk_test_with_extra_bytes" : "zuk_test_without_extra_bytes";
        WNDCLASSA kind = {};
        kind.lpfnWndProc = DefWindowProcA;
        kind.cbWndExtra = extra;
        kind.hInstance = GetModuleHandleA(nullptr);
        kind.lpszClassName = name;
        (void)RegisterClassA(&kind);  // it may be there from an earlier test
        window = CreateWindowExA(0, name, "", WS_POPUP, 0, 0, 200, 100, nullptr, nullptr, kind.hInstance, nullptr);
        EXPECT_NE(window, nullptr);
    }
    ~HiddenWindow() { DestroyWindow(window); }
    operator WindowRef() const { return window; }
};

// The system asks to paint what is seen alone. This one takes no focus, and begins with nothing to be painted.
struct ShownWindow : HiddenWindow {
    ShownWindow()
    {
        ShowWindow(window, SW_SHOWNOACTIVATE);
        ValidateRect(window, nullptr);
    }
    bool is_to_be_painted() const { return GetUpdateRect(window, nullptr, FALSE); }
};

// A picture in memory, all red.
struct Picture {
    HDC drawing = CreateCompatibleDC(nullptr);
    HBITMAP bits = CreateBitmap(200, 100, 1, 32, nullptr);
    HGDIOBJ before = SelectObject(drawing, bits);

    Picture()
    {
        for (int y = 0; y < 100; y++)
            for (int x = 0; x < 200; x++) SetPixel(drawing, x, y, 0x0000FF);
    }
    ~Picture()
    {
        SelectObject(drawing, before);
        DeleteObject(bits);
        DeleteDC(drawing);
    }
    u32 at(int x, int y) const { return GetPixel(drawing, x, y); }
    // Pixels that are not red any more, inside and outside of 32 by 32 from this place.
    int changed(int left, int top, bool inside) const
    {
        int count = 0;
        for (int y = 0; y < 100; y++)
            for (int x = 0; x < 200; x++) {
                bool is_inside = x >= left && x < left + 32 && y >= top && y < top + 32;
                count += is_inside == inside && at(x, y) != 0x0000FF;
            }
        return count;
    }
};

} // namespace

TEST(native_value, is_kept_in_the_extra_bytes_of_a_window)
{
    HiddenWindow window;
    EXPECT_EQ(native_desktop.value(window), 0u);
    native_desktop.set_value(window, 0xFFFFFFFE);
    EXPECT_EQ(native_desktop.value(window), 0xFFFFFFFEu);
    EXPECT_EQ((u32)GetWindowLongA(window.window, 0), 0xFFFFFFFEu);
    native_desktop.set_value(window, 0);
    EXPECT_EQ(native_desktop.value(window), 0u);
}

TEST(native_value, is_not_kept_without_extra_bytes_or_a_window)
{
    HiddenWindow window(0);
    native_desktop.set_value(window, 5);
    EXPECT_EQ(native_desktop.value(window), 0u);
    native_desktop.set_value(nullptr, 5);
    EXPECT_EQ(native_desktop.value(nullptr), 0u);

    u32 before = handles_alive();
    window_set_word_a(window, 3);
    EXPECT_EQ(window_get_word_a(window), 0);
    EXPECT_EQ(handles_alive(), before);
}

TEST(native_value, serves_the_data_of_a_window)
{
    u32 before = handles_alive();
    HiddenWindow window;
    window_set_long_b(window, -3);
    EXPECT_EQ(window_get_long_b(window), -3);
    window_data_free(window, 1);
    EXPECT_EQ(handles_alive(), before);
    EXPECT_EQ(native_desktop.value(window), 0u);
}

TEST(native_caret, is_made_and_moves)
{
    HiddenWindow window;
    EXPECT_TRUE(native_desktop.caret_create(window, 1, 12));
    native_desktop.caret_move(30, 40);
    POINT place = {};
    EXPECT_TRUE(GetCaretPos(&place));
    EXPECT_EQ(place.x, 30);
    EXPECT_EQ(place.y, 40);
    DestroyCaret();
    EXPECT_FALSE(native_desktop.caret_create(ref(0xDEAD), 1, 12));
}

// It blinks by messages that nobody takes from the queue here, so it stays as it is.
TEST(native_caret, shows_and_hides)
{
    ShownWindow window;
    HDC drawing = GetDC(window.window);
    RECT all = { 0, 0, 200, 100 };
    FillRect(drawing, &all, (HBRUSH)GetStockObject(BLACK_BRUSH));
    EXPECT_TRUE(native_desktop.caret_create(window, 1, 12));
    native_desktop.caret_move(30, 40);
    EXPECT_EQ(GetPixel(drawing, 30, 45), 0u);
    native_desktop.caret_show(window);
    EXPECT_EQ(GetPixel(drawing, 30, 40), 0xFFFFFFu);
    EXPECT_EQ(GetPixel(drawing, 30, 51), 0xFFFFFFu);
    EXPECT_EQ(GetPixel(drawing, 30, 52), 0u);
    EXPECT_EQ(GetPixel(drawing, 31, 45), 0u);
    native_desktop.caret_hide(window);
    EXPECT_EQ(GetPixel(drawing, 30, 45), 0u);
    DestroyCaret();
    ReleaseDC(window.window, drawing);
}

TEST(native_capture, goes_to_the_window_and_back)
{
    HiddenWindow window;
    native_desktop.capture_set(window);
    EXPECT_EQ(GetCapture(), window.window);
    native_desktop.capture_release();
    EXPECT_EQ(GetCapture(), nullptr);
}

TEST(native_post, puts_a_message_into_the_queue)
{
    HiddenWindow window;
    EXPECT_TRUE(native_desktop.post(window, 1029, -7));
    MSG message = {};
    ASSERT_TRUE(PeekMessageA(&message, window.window, 1029, 1029, PM_REMOVE));
    EXPECT_EQ(message.message, 1029u);
    EXPECT_EQ(message.wParam, 0u);
    EXPECT_EQ(message.lParam, -7);
    EXPECT_FALSE(native_desktop.post(ref(0xDEAD), 1029, 0));
}

TEST(native_timer, is_set_and_killed)
{
    HiddenWindow window;
    EXPECT_TRUE(native_desktop.timer_set(window, 999, 100000));  // none of its messages is awaited
    native_desktop.timer_kill(window, 999);
    EXPECT_FALSE(KillTimer(window.window, 999));  // gone already
    EXPECT_FALSE(native_desktop.timer_set(ref(0xDEAD), 999, 100));
}

TEST(native_icon, is_drawn_32_by_32)
{
    for (u16 number : std::initializer_list<u16>{ 32516, 32515, 32513 }) {
        Picture picture;
        IconRef icon = native_desktop.icon_load(number);
        ASSERT_NE(icon, nullptr) << number;
        EXPECT_TRUE(native_desktop.icon_draw(picture.drawing, 20, 10, icon));
        native_desktop.icon_free(icon);
        EXPECT_GT(picture.changed(20, 10, true), 300) << number;  // all are filled in their middle
        EXPECT_EQ(picture.changed(20, 10, false), 0) << number;
    }
    EXPECT_EQ(native_desktop.icon_load(1), nullptr);
}

TEST(native_colour, of_the_system_is_set_and_read)
{
    u32 before = native_desktop.colour(12);
    native_desktop.set_colour(12, 0x563412);
    EXPECT_EQ(native_desktop.colour(12), 0x563412u);
    EXPECT_EQ(GetBValue(native_desktop.colour(12)), 0x56);  // blue in the third byte
    native_desktop.set_colour(12, before);
    EXPECT_EQ(native_desktop.colour(12), before);
}

TEST(native_drawing, of_a_window_is_taken_and_released)
{
    HiddenWindow window;
    DrawingRef drawing = native_desktop.drawing_take(window);
    EXPECT_NE(drawing, nullptr);
    EXPECT_EQ(WindowFromDC((HDC)drawing), window.window);
    native_desktop.drawing_release(window, drawing);
    EXPECT_EQ(native_desktop.drawing_take(ref(0xDEAD)), nullptr);
}

TEST(native_pixel_set, sets_one_pixel_and_none_outside)
{
    Picture picture;
    native_desktop.pixel_set(picture.drawing, 50, 60, 0xFFFFFF);
    native_desktop.pixel_set(picture.drawing, -1, 60, 0xFFFFFF);
    native_desktop.pixel_set(picture.drawing, 39960, -39960, 0xFFFFFF);
    EXPECT_EQ(picture.at(50, 60), 0xFFFFFFu);
    EXPECT_EQ(picture.changed(50, 60, true), 1);
    EXPECT_EQ(picture.changed(50, 60, false), 0);
}

TEST(native_paint, fills_its_rectangle)
{
    Picture picture;
    PlatformPaint paint = {};
    paint.drawing = picture.drawing;
    paint.left = 10;
    paint.top = 20;
    paint.right = 42;
    paint.bottom = 52;
    native_desktop.paint_fill(&paint, 4);  // black
    EXPECT_EQ(picture.at(10, 20), 0u);
    EXPECT_EQ(picture.at(41, 51), 0u);
    EXPECT_EQ(picture.changed(10, 20, true), 32 * 32);
    EXPECT_EQ(picture.changed(10, 20, false), 0);
}

TEST(native_paint, begins_and_ends)
{
    HiddenWindow window;
    PlatformPaint paint;
    memset(&paint, 0x77, sizeof paint);
    native_desktop.paint_begin(window, &paint);
    EXPECT_NE(paint.drawing, nullptr);
    EXPECT_EQ(paint.right, paint.left);  // nothing of a hidden window is to be painted
    native_desktop.paint_end(window, &paint);

    native_desktop.paint_begin(ref(0xDEAD), &paint);
    EXPECT_EQ(paint.drawing, nullptr);
    native_desktop.paint_fill(&paint, 4);
    native_desktop.paint_end(ref(0xDEAD), &paint);
}

TEST(native_paint, begins_with_the_rectangle_to_be_painted)
{
    ShownWindow window;
    RECT part = { 10, 20, 30, 50 };
    InvalidateRect(window.window, &part, FALSE);
    PlatformPaint paint = {};
    native_desktop.paint_begin(window, &paint);
    EXPECT_EQ(paint.left, 10);
    EXPECT_EQ(paint.top, 20);
    EXPECT_EQ(paint.right, 30);
    EXPECT_EQ(paint.bottom, 50);
    EXPECT_EQ(WindowFromDC((HDC)paint.drawing), window.window);
    native_desktop.paint_end(window, &paint);
    EXPECT_FALSE(window.is_to_be_painted());
}

TEST(native_invalidate, has_all_of_a_window_erased_and_painted)
{
    ShownWindow window;
    native_desktop.invalidate(window);
    PAINTSTRUCT paint = {};
    BeginPaint(window.window, &paint);
    EXPECT_EQ(paint.rcPaint.left, 0);
    EXPECT_EQ(paint.rcPaint.top, 0);
    EXPECT_EQ(paint.rcPaint.right, 200);
    EXPECT_EQ(paint.rcPaint.bottom, 100);
    EXPECT_TRUE(paint.fErase);  // left to the program, since the class of the window has no brush
    EndPaint(window.window, &paint);
}

TEST(native_invalidate, of_null_does_not_mean_every_window)
{
    ShownWindow window;
    native_desktop.invalidate(nullptr);
    EXPECT_FALSE(window.is_to_be_painted());
}

TEST(native_run, gives_more_than_31_for_a_program_that_runs)
{
    EXPECT_GT(native_desktop.run("cmd.exe /c exit", 5), 31u);
    EXPECT_GT(program_run("cmd.exe /c exit"), 31);
}

TEST(native_run, gives_31_or_less_for_a_program_that_is_not_there)
{
    EXPECT_LT(native_desktop.run("Z:\\no\\such\\program.exe", 5), 32u);
    EXPECT_EQ(program_run("Z:\\no\\such\\program.exe"), 0);
}

TEST(native_log_off, is_the_call_of_the_system)
{
    GTEST_SKIP() << "it would end the session in which the tests run";
}

#endif

} // namespace zuk
