#include "desktop/window.h"

#include "desktop/app_state.h"
#include "zuk/zuk.h"

#include <string.h>

namespace zuk {

// ---- Window data ----------------------------------------------------------------------------------------------------

// The handle of a window's block, made here if the window has none. 0 without memory, and for a window that does not
// keep the number: nobody could free the block then.
static GHandle window_block(WindowRef window)
{
    GHandle block = platform_desktop->value(window);
    if (block) return block;

    // KEPT: one would expect a reading access to leave a window without data as it is. The block is made by whichever
    // access comes first, so that a look at a field costs 32 bytes until `window_data_free`, which leak counts see.
    // Test: window_data_word.makes_the_block_when_it_reads
    block = galloc((i32)sizeof(WindowData), nullptr, 1);
    if (!block) return 0;
    platform_desktop->set_value(window, block);
    if (platform_desktop->value(window) == block) return block;
    gfree(block);
    return 0;
}

static void window_data(WindowRef window, i16 read, i32 offset, void *value, i32 size)
{
    if (!window || !value) return;

    GHandle block = window_block(window);
    if (gsize(block) < (i32)sizeof(WindowData)) return;  // 0, or a number that somebody else gave to the window
    u8 *place = (u8 *)glock(block);

    // KEPT: one would expect an offset outside of the block to be refused. It counts as 0, so a wrong one reads or
    // writes `view`. Test: window_data_word.works_at_the_start_for_an_offset_outside
    if (offset >= 0 && offset <= (i32)sizeof(WindowData) - size) place += offset;

    if (read) memcpy(value, place, (size_t)size);
    else memcpy(place, value, (size_t)size);
    gunlock(block);
}

void window_data_word(WindowRef window, i16 read, i32 offset, i16 *value)
{
    window_data(window, read, offset, value, (i32)sizeof *value);
}

void window_data_long(WindowRef window, i16 read, i32 offset, i32 *value)
{
    window_data(window, read, offset, value, (i32)sizeof *value);
}

static i16 get_word(WindowRef window, size_t offset)
{
    i16 value = 0;
    window_data_word(window, 1, (i32)offset, &value);
    return value;
}

static i32 get_long(WindowRef window, size_t offset)
{
    i32 value = 0;
    window_data_long(window, 1, (i32)offset, &value);
    return value;
}

static void set_word(WindowRef window, size_t offset, i16 value) { window_data_word(window, 0, (i32)offset, &value); }
static void set_long(WindowRef window, size_t offset, i32 value) { window_data_long(window, 0, (i32)offset, &value); }

GHandle window_get_view(WindowRef window) { return (GHandle)get_long(window, offsetof(WindowData, view)); }
i16 window_get_word_a(WindowRef window) { return get_word(window, offsetof(WindowData, word_a)); }
i16 window_get_word_b(WindowRef window) { return get_word(window, offsetof(WindowData, word_b)); }
i32 window_get_long_a(WindowRef window) { return get_long(window, offsetof(WindowData, long_a)); }
i16 window_get_word_c(WindowRef window) { return get_word(window, offsetof(WindowData, word_c)); }
i32 window_get_long_b(WindowRef window) { return get_long(window, offsetof(WindowData, long_b)); }
i16 window_get_word_d(WindowRef window) { return get_word(window, offsetof(WindowData, word_d)); }
i16 window_get_word_e(WindowRef window) { return get_word(window, offsetof(WindowData, word_e)); }
i16 window_get_word_f(WindowRef window) { return get_word(window, offsetof(WindowData, word_f)); }
i32 window_get_long_c(WindowRef window) { return get_long(window, offsetof(WindowData, long_c)); }
i16 window_get_word_g(WindowRef window) { return get_word(window, offsetof(WindowData, word_g)); }
i16 window_get_word_h(WindowRef window) { return get_word(window, offsetof(WindowData, word_h)); }

void window_set_view(WindowRef window, GHandle view) { set_long(window, offsetof(WindowData, view), (i32)view); }
void window_set_word_a(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_a), value); }
void window_set_word_b(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_b), value); }
void window_set_long_a(WindowRef window, i32 value) { set_long(window, offsetof(WindowData, long_a), value); }
void window_set_word_c(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_c), value); }
void window_set_long_b(WindowRef window, i32 value) { set_long(window, offsetof(WindowData, long_b), value); }
void window_set_word_d(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_d), value); }
void window_set_word_e(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_e), value); }
void window_set_word_f(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_f), value); }
void window_set_long_c(WindowRef window, i32 value) { set_long(window, offsetof(WindowData, long_c), value); }
void window_set_word_g(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_g), value); }
void window_set_word_h(WindowRef window, i16 value) { set_word(window, offsetof(WindowData, word_h), value); }

void window_data_free(WindowRef window, i16 force)
{
    if (!window || (window == app_main_window && !force)) return;

    GHandle block = platform_desktop->value(window);
    if (!block) return;
    gfree(block);
    platform_desktop->set_value(window, 0);
}

// ---- Caret, capture, sound ------------------------------------------------------------------------------------------

struct CaretState {
    WindowRef window;
    Point16 position;
    i16 height;
};
static constinit CaretState caret = {};

constexpr uintptr_t STAND_IN_WINDOW = 1;

// The caret is made first and noted whatever came of it; it moves and shows only when the window has a view.
void caret_show(WindowRef window, Point16 position, i16 height)
{
    // KEPT: one would expect any window that is not null to be handed on, and the system to refuse what is none. The
    // address 1 stands for no window at all, and the caret of before stays. Test: caret_show.ignores_the_window_1
    if (!window || (uintptr_t)window == STAND_IN_WINDOW) return;

    // KEPT: one would expect a caret that cannot be made not to be noted. `caret_get` tells of it all the same.
    // Test: caret_show.notes_a_caret_that_cannot_be_made
    (void)platform_desktop->caret_create(window, 1, height);
    caret = { window, position, height };

    GHandle view = window_get_view(window);
    if (gsize(view) < (i32)sizeof(ViewRecord)) return;  // none, or too short for a place
    const ViewRecord *record = (const ViewRecord *)glock(view);
    i32 x = (i32)((u32)position.x - (u32)le_get(record->scroll_x));
    i32 y = (i32)((u32)position.y - (u32)le_get(record->scroll_y) - (u32)height);
    platform_desktop->caret_move(x, y);
    platform_desktop->caret_show(window);
    gunlock(view);
}

void caret_hide()
{
    platform_desktop->caret_hide(caret.window);
    caret = {};
}

i16 caret_get(WindowRef *window, Point16 *position, i16 *height)
{
    if (window) *window = caret.window;
    if (position) *position = caret.position;
    if (height) *height = caret.height;
    return caret.window != nullptr;
}

void capture_set(WindowRef window) { platform_desktop->capture_set(window); }
void capture_release() { platform_desktop->capture_release(); }
void beep() { platform_desktop->beep(); }

// ---- Programs and the session ---------------------------------------------------------------------------------------

constexpr u32 SHOW_WINDOW = 5;  // as it is, and make it the active one
constexpr u32 FIRST_SUCCESS = 32;

u16 program_run(const char *command)
{
    if (!command) return 0;

    u32 result = platform_desktop->run(command, SHOW_WINDOW);
    return result < FIRST_SUCCESS ? (u16)0 : (u16)result;
}

void user_logoff() { platform_desktop->log_off(); }

// ---- Messages and icons ---------------------------------------------------------------------------------------------

i32 app_post(WindowRef window, i32 code, intptr_t data)
{
    if (!window) window = app_current_window;
    if (!window) window = app_main_window;
    if (!window) return 0;

    // KEPT: one would expect the receiver to see the code that was posted. The message has 1024 more, and whoever
    // receives it takes them off again. Test: app_post.adds_1024_to_the_code
    return platform_desktop->post(window, (u32)code + APP_FIRST_MESSAGE, data);
}

static IconRef icon_of(i16 kind)
{
    switch (kind) {
    case ICON_INFORMATION: return platform_desktop->icon_load(32516);
    case ICON_WARNING: return platform_desktop->icon_load(32515);
    case ICON_STOP: return platform_desktop->icon_load(32513);
    default: return nullptr;
    }
}

i16 icon_draw(i16 kind, u32 position)
{
    IconRef icon = icon_of(kind);
    if (!icon) return 0;

    // KEPT: one would expect 0 when the drawing fails. With an icon and a context the result is 1, whatever the screen
    // shows. Test: icon_draw.gives_1_when_the_drawing_fails
    i16 result = 0;
    if (app_device_context) {
        (void)platform_desktop->icon_draw(app_device_context, (i16)position, (i16)(position >> 16), icon);
        result = 1;
    }
    platform_desktop->icon_free(icon);
    return result;
}

} // namespace zuk
