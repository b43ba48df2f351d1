// What the program that uses the library tells about itself: its windows, the size of what it shows, what it draws on,
// its command line, and the services by which all of that is done.
//
// The values are the program's: it sets them when they become known and again when they change. The rest of desktop/
// reads them, and only `args_clear` writes one. All are empty at first. One thread, that of the windows.
#pragma once

#include "platform/platform.h"

namespace zuk {

// ---- Values ---------------------------------------------------------------------------------------------------------

constexpr i32 ARGS_TEXT_SIZE = 128;

extern WindowRef app_main_window;        // null: none
extern WindowRef app_current_window;     // the one that the user works in; null: none
extern i32 app_client_width;             // of the main window, in pixels, without its frame
extern i32 app_client_height;
extern DrawingRef app_device_context;    // what is drawn on at the moment; null: nothing
extern char args_text[ARGS_TEXT_SIZE];   // the command line behind the name of the program, NUL-terminated

void app_set_main_window(WindowRef window);
void app_set_current_window(WindowRef window);
void app_set_client_size(i32 width, i32 height);
void app_set_device_context(DrawingRef drawing);
void args_set_text(const char *text);    // cut to 127 characters; null empties it; the cursor of args.h stays

// ---- Window services ------------------------------------------------------------------------------------------------

// From here on windows are served by `table`, for a program with windows of another system or none at all; null brings
// back what the system has. At first that is in use: the real services on Windows, elsewhere a table that fails at all
// but the values of windows. The table stays the caller's, must live as long as it is in use, and has no null row; it
// can begin as a copy:
//
//     static PlatformDesktop table = native_desktop;
//     table.beep = my_beep;
//     window_platform_set(&table);
//
// What a row has to do is told at `PlatformDesktop` in platform/platform.h. Change tables only while no window has
// data, no caret shows and no star field runs.
void window_platform_set(const PlatformDesktop *table);

} // namespace zuk
