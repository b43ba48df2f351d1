// There is no screen here. Whatever would show on one does nothing and fails, and windows are mere addresses that hold
// a number each.

#include "platform/platform.h"

#include <stdlib.h>

namespace zuk {

// The windows whose number is not 0, in no order.
struct WindowValue {
    WindowRef window;
    u32 value;
};
static constinit WindowValue *rows = nullptr;
static constinit size_t row_count = 0;
static constinit size_t row_room = 0;

static WindowValue *row_of(WindowRef window)
{
    for (size_t i = 0; i < row_count; i++)
        if (rows[i].window == window) return &rows[i];
    return nullptr;
}

static u32 posix_value(WindowRef window)
{
    const WindowValue *row = row_of(window);
    return row ? row->value : 0;
}

static bool make_room()
{
    if (row_count < row_room) return true;

    size_t room = rows ? 2 * row_room : 16;
    void *longer = rows ? platform_memory->resize(rows, room * sizeof *rows)
                        : platform_memory->alloc(room * sizeof *rows, false);
    if (!longer) return false;
    rows = (WindowValue *)longer;
    row_room = room;
    return true;
}

static void remove_row(WindowValue *row)
{
    *row = rows[--row_count];
    if (row_count) return;
    platform_memory->free(rows);
    rows = nullptr;
    row_room = 0;
}

// Null is no window and holds nothing. Without memory for one more window the number is lost, as for one that has been
// closed.
static void posix_set_value(WindowRef window, u32 value)
{
    WindowValue *row = row_of(window);
    if (row && value) row->value = value;
    else if (row) remove_row(row);
    else if (value && window && make_room()) rows[row_count++] = { window, value };
}

static u32 posix_random() { return (u32)random(); }

constinit const PlatformDesktop native_desktop = {
    .value = posix_value,
    .set_value = posix_set_value,
    .caret_create = [](WindowRef, i32, i32) { return false; },
    .caret_move = [](i32, i32) {},
    .caret_show = [](WindowRef) {},
    .caret_hide = [](WindowRef) {},
    .capture_set = [](WindowRef) {},
    .capture_release = [] {},
    .beep = [] {},
    .post = [](WindowRef, u32, intptr_t) { return false; },
    .timer_set = [](WindowRef, u32, u32) { return false; },
    .timer_kill = [](WindowRef, u32) {},
    .icon_load = [](u16) -> IconRef { return nullptr; },
    .icon_draw = [](DrawingRef, i32, i32, IconRef) { return false; },
    .icon_free = [](IconRef) {},
    .colour = [](i32) { return 0u; },
    .set_colour = [](i32, u32) {},
    .drawing_take = [](WindowRef) -> DrawingRef { return nullptr; },
    .drawing_release = [](WindowRef, DrawingRef) {},
    .pixel_set = [](DrawingRef, i32, i32, u32) {},
    .paint_begin = [](WindowRef, PlatformPaint *paint) { *paint = {}; },
    .paint_fill = [](const PlatformPaint *, i32) {},
    .paint_end = [](WindowRef, PlatformPaint *) {},
    .invalidate = [](WindowRef) {},
    .run = [](const char *, u32) { return 0u; },
    .log_off = [] {},
    .random = posix_random,
};

} // namespace zuk
