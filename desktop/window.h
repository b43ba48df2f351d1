// Windows of the program: data of a window, the caret, the mouse, sound, programs, the session, messages and icons.
//
// Thin helpers over `platform_desktop`, told apart from it by what they remember. A window is named by its `WindowRef`;
// null is none. Nothing here reports more than its result. One thread, that of the windows.
//
// Between calls:
//   - the number that a window holds (`PlatformDesktop::value`) is 0 or the handle of its `WindowData`
//   - the block of a window lives until `window_data_free`; a window that closes without it leaves the block behind
//   - there is one caret in all, noted since `caret_show` and until `caret_hide`
// On Windows the number is the first 32 bits of the window's extra bytes, so its class needs four of them at least.
#pragma once

#include "decimal/rects.h"
#include "foundation/little_endian.h"
#include "platform/platform.h"

#include <stddef.h>

namespace zuk {

// ---- Window data ----------------------------------------------------------------------------------------------------

// What a window holds for the program: 32 bytes, 0 at first. Only `view` means something here.
//
//   0      4        6        8        12       14       18       20       22       24       28       30       32
//   | view | word_a | word_b | long_a | word_c | long_b | word_d | word_e | word_f | long_c | word_g | word_h |
struct WindowData {
    Le32 view;       // GHandle of a `ViewRecord`, 0 for none
    LeI16 word_a;
    LeI16 word_b;
    LeI32 long_a;
    LeI16 word_c;
    LeI32 long_b;
    LeI16 word_d;
    LeI16 word_e;
    LeI16 word_f;
    LeI32 long_c;
    LeI16 word_g;
    LeI16 word_h;
};
static_assert(sizeof(WindowData) == 32 && offsetof(WindowData, long_b) == 14 && offsetof(WindowData, word_h) == 30);

// The beginning of a view record, which the program defines: where the window is scrolled to.
struct ViewRecord {
    u8 of_the_program[17 * 4];
    LeI32 scroll_x;  // what stands at the left edge of the window
    LeI32 scroll_y;  // what stands at its upper edge
};
static_assert(sizeof(ViewRecord) == 76 && offsetof(ViewRecord, scroll_x) == 68);

// Copy a word or a long of the data of a window to `value`, or with `read` 0 from it. The window gets its data by the
// first access, a reading one too. `offset` counts in bytes, to 30 for a word and to 28 for a long; any other counts as
// 0. Nothing happens for a null `window` or `value`, nor when the block cannot be had.
void window_data_word(WindowRef window, i16 read, i32 offset, i16 *value);
void window_data_long(WindowRef window, i16 read, i32 offset, i32 *value);

// The fields. A getter gives 0 when there is no block and none can be made.
GHandle window_get_view(WindowRef window);
i16 window_get_word_a(WindowRef window);
i16 window_get_word_b(WindowRef window);
i32 window_get_long_a(WindowRef window);
i16 window_get_word_c(WindowRef window);
i32 window_get_long_b(WindowRef window);
i16 window_get_word_d(WindowRef window);
i16 window_get_word_e(WindowRef window);
i16 window_get_word_f(WindowRef window);
i32 window_get_long_c(WindowRef window);
i16 window_get_word_g(WindowRef window);
i16 window_get_word_h(WindowRef window);
void window_set_view(WindowRef window, GHandle view);  // the handle stays the caller's
void window_set_word_a(WindowRef window, i16 value);
void window_set_word_b(WindowRef window, i16 value);
void window_set_long_a(WindowRef window, i32 value);
void window_set_word_c(WindowRef window, i16 value);
void window_set_long_b(WindowRef window, i32 value);
void window_set_word_d(WindowRef window, i16 value);
void window_set_word_e(WindowRef window, i16 value);
void window_set_word_f(WindowRef window, i16 value);
void window_set_long_c(WindowRef window, i32 value);
void window_set_word_g(WindowRef window, i16 value);
void window_set_word_h(WindowRef window, i16 value);

// Free the data of a window, if it has any; those of the main window only with a `force` other than 0. Its view is the
// caller's to free.
void window_data_free(WindowRef window, i16 force);

// ---- Caret, capture, sound ------------------------------------------------------------------------------------------

// Make a caret 1 wide and `height` high, and note the three values. In a window with a view it then shows, with its
// lower end at `position`, which counts from where the view begins; in one without it stays hidden. Nothing happens for
// null and for the address 1.
void caret_show(WindowRef window, Point16 position, i16 height);
void caret_hide();
// The values noted, through each pointer that is not null; 0 after `caret_hide`. 1 if a caret has a window, else 0.
i16 caret_get(WindowRef *window, Point16 *position, i16 *height);

void capture_set(WindowRef window);      // all input of the mouse goes there
void capture_release();
void beep();

// ---- Programs and the session ---------------------------------------------------------------------------------------

// Start a program by its command line, NUL-terminated, with its window shown. The low 16 bits of what the system gives;
// 0 if that is below 32, which is a failure, or `command` is null.
u16 program_run(const char *command);
void user_logoff();

// ---- Messages and icons ---------------------------------------------------------------------------------------------

// The number of the message with code 0, the first one that is a program's own.
constexpr u32 APP_FIRST_MESSAGE = 1024;

// Put a message into the queue of a window, or for null of the current one, or failing that of the main one. 1, or 0 if
// there is no window or the system refuses.
i32 app_post(WindowRef window, i32 code, intptr_t data);

enum IconKind : i16 {
    ICON_INFORMATION = 0,
    ICON_WARNING = 1,
    ICON_STOP = 2,
};

// Draw an icon of the system on the device context of the program. `position` has x in its low and y in its high 16
// bits, both signed. 1; or 0 when there is no device context, no such icon or no such kind.
i16 icon_draw(i16 kind, u32 position);

} // namespace zuk
