// A window of stars, by the services of desktop/: a Windows program to start from.
//
//     window.exe [TICKS [FILE]]
//
// It shows the three icons of the system, a caret, and a star field that starts when the program receives a message of
// its own. After so many ticks (100, ten seconds) it ends. With a FILE, which must not be there, it then makes that,
// writes where it shows, and goes on until somebody deletes it: so the test that takes its picture waits for neither
// more nor less than it has to.
//
// Exit status: 0 when all of that worked, 1 when something failed, which is told on standard error.
#include "desktop/app_state.h"
#include "desktop/args.h"
#include "desktop/starfield.h"
#include "desktop/window.h"
#include "files/file.h"
#include "foundation/pstrings.h"

#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

using namespace zuk;

constexpr i32 WIDTH = 400;
constexpr i32 HEIGHT = 300;
constexpr i32 START_CODE = 5;        // of the message that starts the stars
constexpr i32 START_DATA = -1234;    // and what it carries
constexpr i32 PATIENCE = 6000;       // ticks, ten minutes, for the file to be deleted

static i32 ticks = 0;
static i32 ticks_wanted = 100;
static u8 file_name[PSTRING_SIZE];   // portable; empty: none
static const char *failure = nullptr;  // the first thing that failed

static void need(bool done, const char *what)
{
    if (!done && !failure) failure = what;
}

// The first token is a number, the second the name of a file.
static void read_arguments(const char *command_line)
{
    args_set_text(command_line);
    i16 count;
    i16 first;
    args_count(&count, &first);
    for (i16 i = first; i <= count; i++) {
        u8 name[PSTRING_SIZE];
        u8 type[PSTRING_SIZE];
        args_next(name, type);
        if (pstrisnull(name)) continue;
        if (i == first) ticks_wanted = atoi((const char *)ptocstr(name));
        else pstricpy(file_name, name, 1, PSTRING_SIZE - 1);
    }
    if (ticks_wanted < 1) ticks_wanted = 1;
    args_clear();
}

// ---- What the window shows ------------------------------------------------------------------------------------------

constexpr u32 at(i16 x, i16 y) { return (u32)(u16)y << 16 | (u16)x; }

static void paint(HWND window)
{
    starfield_paint();
    HDC drawing = GetDC(window);
    app_set_device_context(drawing);
    need(icon_draw(ICON_INFORMATION, at(8, 8)), "the information icon");
    need(icon_draw(ICON_WARNING, at(48, 8)), "the warning icon");
    need(icon_draw(ICON_STOP, at(88, 8)), "the stop icon");
    app_set_device_context(nullptr);
    ReleaseDC(window, drawing);
}

// The window is scrolled by 10 and 20, so this caret is 16 high and stands on 56 in the window, at 300.
static void show_caret(HWND window)
{
    GHandle view = galloc(sizeof(ViewRecord), nullptr, 1);
    need(view != 0, "memory for the view");
    if (!view) return;
    ViewRecord *record = (ViewRecord *)glock(view);
    record->scroll_x = le_i32(10);
    record->scroll_y = le_i32(20);
    gunlock(view);
    window_set_view(window, view);
    need(window_get_view(window) == view, "the data of the window");
    caret_show(window, { 310, 76 }, 16);
}

// ---- What happens to it ---------------------------------------------------------------------------------------------

// Tell in the file where on the screen the inside of the window is.
static void make_file(HWND window)
{
    POINT corner = {};
    ClientToScreen(window, &corner);
    char line[80];
    int length = snprintf(line, sizeof line, "window %ld %ld %ld %ld\n", corner.x, corner.y, (long)app_client_width,
                          (long)app_client_height);

    need(file_create(file_name), "making the file");
    FileHandle file = file_open(file_name, FILE_RW_SHARED);
    need(file != 0 && file_write(file, line, length) == length, "writing the file");
    if (file) file_close(file);
}

static bool file_is_there()
{
    FileHandle file = file_open(file_name, FILE_RW_SHARED);
    if (file) file_close(file);
    return file != 0;
}

static void tick(HWND window)
{
    starfield_tick();
    ticks++;
    if (ticks == ticks_wanted && !pstrisnull(file_name)) make_file(window);
    need(ticks < ticks_wanted + PATIENCE, "waiting for the file to be deleted");
    if (failure || (ticks >= ticks_wanted && (pstrisnull(file_name) || !file_is_there()))) DestroyWindow(window);
}

// The window is still there: its data go with it.
static void end(HWND window)
{
    starfield_stop();
    caret_hide();
    gfree(window_get_view(window));
    window_data_free(window, 1);
    app_set_main_window(nullptr);
    PostQuitMessage(0);
}

static LRESULT CALLBACK receive(HWND window, UINT message, WPARAM word, LPARAM data)
{
    switch (message) {
    case WM_SIZE: app_set_client_size(LOWORD(data), HIWORD(data)); return 0;
    case WM_ERASEBKGND: return 1;  // `starfield_paint` does it
    case WM_PAINT: paint(window); return 0;
    case WM_TIMER:
        if (word == STARFIELD_TIMER) tick(window);
        return 0;
    case APP_FIRST_MESSAGE + START_CODE:
        need(data == START_DATA, "what the message carries");
        starfield_clear();
        starfield_start();
        return 0;
    case WM_DESTROY: end(window); return 0;
    default: return DefWindowProcA(window, message, word, data);
    }
}

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, char *command_line, int)
{
    read_arguments(command_line);

    WNDCLASSA kind = {};
    kind.lpfnWndProc = receive;
    kind.cbWndExtra = sizeof(GHandle);  // for the data of a window
    kind.hInstance = instance;
    kind.hCursor = LoadCursorA(nullptr, (LPCSTR)IDC_ARROW);
    kind.lpszClassName = "zuk_window";
    RegisterClassA(&kind);
    RECT frame = { 0, 0, WIDTH, HEIGHT };
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
    HWND window = CreateWindowExA(0, "zuk_window", "Stars", WS_OVERLAPPEDWINDOW, 60, 40, frame.right - frame.left,
                                  frame.bottom - frame.top, nullptr, nullptr, instance, nullptr);
    if (!window) {
        fputs("window: the window cannot be made\n", stderr);
        return 1;
    }
    app_set_main_window(window);
    ShowWindow(window, SW_SHOWNORMAL);
    show_caret(window);
    need(app_post(nullptr, START_CODE, START_DATA), "posting a message");

    MSG message;
    while (!failure && GetMessageA(&message, nullptr, 0, 0) > 0) DispatchMessageA(&message);
    if (IsWindow(window)) DestroyWindow(window);
    if (failure) fprintf(stderr, "window: %s failed\n", failure);
    return failure ? 1 : 0;
}
