#include "platform/platform.h"

#include <windows.h>

#include <stdlib.h>

namespace zuk {

static u32 win32_value(WindowRef window) { return (u32)GetWindowLongA((HWND)window, 0); }
static void win32_set_value(WindowRef window, u32 value) { (void)SetWindowLongA((HWND)window, 0, (LONG)value); }

static bool win32_caret_create(WindowRef window, i32 width, i32 height)
{
    return CreateCaret((HWND)window, nullptr, width, height);
}
static void win32_caret_move(i32 x, i32 y) { (void)SetCaretPos(x, y); }
static void win32_caret_show(WindowRef window) { (void)ShowCaret((HWND)window); }
static void win32_caret_hide(WindowRef window) { (void)HideCaret((HWND)window); }

static void win32_capture_set(WindowRef window) { (void)SetCapture((HWND)window); }
static void win32_capture_release() { (void)ReleaseCapture(); }
static void win32_beep() { (void)MessageBeep(0); }

static bool win32_post(WindowRef window, u32 message, intptr_t data)
{
    return PostMessageA((HWND)window, message, 0, (LPARAM)data);
}

static bool win32_timer_set(WindowRef window, u32 number, u32 milliseconds)
{
    return SetTimer((HWND)window, number, milliseconds, nullptr) != 0;
}
static void win32_timer_kill(WindowRef window, u32 number) { (void)KillTimer((HWND)window, number); }

static IconRef win32_icon_load(u16 number) { return LoadIconA(nullptr, MAKEINTRESOURCEA(number)); }
static bool win32_icon_draw(DrawingRef drawing, i32 x, i32 y, IconRef icon)
{
    return DrawIcon((HDC)drawing, x, y, (HICON)icon);
}
static void win32_icon_free(IconRef icon) { (void)FreeResource((HGLOBAL)icon); }

static u32 win32_colour(i32 number) { return GetSysColor(number); }
static void win32_set_colour(i32 number, u32 colour)
{
    COLORREF value = colour;
    (void)SetSysColors(1, &number, &value);
}

static DrawingRef win32_drawing_take(WindowRef window) { return GetDC((HWND)window); }
static void win32_drawing_release(WindowRef window, DrawingRef drawing)
{
    (void)ReleaseDC((HWND)window, (HDC)drawing);
}
static void win32_pixel_set(DrawingRef drawing, i32 x, i32 y, u32 colour)
{
    (void)SetPixel((HDC)drawing, x, y, colour);
}

static_assert(sizeof(PAINTSTRUCT) <= sizeof(PlatformPaint::kept));

static void win32_paint_begin(WindowRef window, PlatformPaint *paint)
{
    PAINTSTRUCT *system = (PAINTSTRUCT *)paint->kept;
    *system = {};
    paint->drawing = BeginPaint((HWND)window, system);
    paint->left = system->rcPaint.left;
    paint->top = system->rcPaint.top;
    paint->right = system->rcPaint.right;
    paint->bottom = system->rcPaint.bottom;
}

static void win32_paint_fill(const PlatformPaint *paint, i32 brush)
{
    RECT rectangle = { paint->left, paint->top, paint->right, paint->bottom };
    (void)FillRect((HDC)paint->drawing, &rectangle, (HBRUSH)GetStockObject(brush));
}

static void win32_paint_end(WindowRef window, PlatformPaint *paint)
{
    (void)EndPaint((HWND)window, (PAINTSTRUCT *)paint->kept);
}

static void win32_invalidate(WindowRef window)
{
    RECT client;
    if (GetClientRect((HWND)window, &client)) (void)InvalidateRect((HWND)window, &client, TRUE);
}

static u32 win32_run(const char *command, u32 show) { return WinExec(command, show); }
static void win32_log_off() { (void)ExitWindowsEx(0, (DWORD)-1); }
static u32 win32_random() { return (u32)rand(); }

constinit const PlatformDesktop native_desktop = {
    .value = win32_value,
    .set_value = win32_set_value,
    .caret_create = win32_caret_create,
    .caret_move = win32_caret_move,
    .caret_show = win32_caret_show,
    .caret_hide = win32_caret_hide,
    .capture_set = win32_capture_set,
    .capture_release = win32_capture_release,
    .beep = win32_beep,
    .post = win32_post,
    .timer_set = win32_timer_set,
    .timer_kill = win32_timer_kill,
    .icon_load = win32_icon_load,
    .icon_draw = win32_icon_draw,
    .icon_free = win32_icon_free,
    .colour = win32_colour,
    .set_colour = win32_set_colour,
    .drawing_take = win32_drawing_take,
    .drawing_release = win32_drawing_release,
    .pixel_set = win32_pixel_set,
    .paint_begin = win32_paint_begin,
    .paint_fill = win32_paint_fill,
    .paint_end = win32_paint_end,
    .invalidate = win32_invalidate,
    .run = win32_run,
    .log_off = win32_log_off,
    .random = win32_random,
};

} // namespace zuk
