#include "desktop/window.h"

#include "desktop/app_state.h"
#include "foundation/handles.h"
#include "tests/support/faults.h"
#include "tests/support/screen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace zuk {

using Log = std::vector<std::string>;

static WindowRef const MAIN = ref(7);
static WindowRef const CURRENT = ref(8);
static WindowRef const OTHER = ref(9);

namespace {

// A screen with a main window and one beside it; in the end no handle is left.
struct Windows : Screen {
    u32 handles_before = handles_alive();

    Windows() { app_set_main_window(MAIN); }
    ~Windows()
    {
        faults_stop();
        failing.clear();
        for (WindowRef window : { MAIN, CURRENT, OTHER }) window_data_free(window, 1);
        EXPECT_EQ(handles_alive(), handles_before);
    }

    u32 handles() const { return handles_alive() - handles_before; }
    // The 32 bytes of a window that has some.
    u8 *bytes(WindowRef window) { return (u8 *)glock(values.at(window)); }
};

// A view record of so many bytes with this origin.
struct View {
    GHandle handle;

    View(i32 scroll_x, i32 scroll_y, i32 size = 76) : handle(galloc(80, nullptr, 1))
    {
        u8 *record = (u8 *)glock(handle);
        memcpy(record + 68, &scroll_x, 4);  // the eighteenth and nineteenth fields of 4 bytes
        memcpy(record + 72, &scroll_y, 4);
        EXPECT_EQ(grealloc(&handle, size), 1);
    }
    ~View() { gfree(handle); }
};

} // namespace

TEST(window, has_every_operation)
{
    void *const operations[] = {
        (void *)window_data_word,  (void *)window_data_long,  (void *)window_data_free,  (void *)window_get_view,
        (void *)window_get_word_a, (void *)window_get_word_b, (void *)window_get_long_a, (void *)window_get_word_c,
        (void *)window_get_long_b, (void *)window_get_word_d, (void *)window_get_word_e, (void *)window_get_word_f,
        (void *)window_get_long_c, (void *)window_get_word_g, (void *)window_get_word_h, (void *)window_set_view,
        (void *)window_set_word_a, (void *)window_set_word_b, (void *)window_set_long_a, (void *)window_set_word_c,
        (void *)window_set_long_b, (void *)window_set_word_d, (void *)window_set_word_e, (void *)window_set_word_f,
        (void *)window_set_long_c, (void *)window_set_word_g, (void *)window_set_word_h, (void *)caret_show,
        (void *)caret_hide,        (void *)caret_get,         (void *)capture_set,       (void *)capture_release,
        (void *)beep,              (void *)program_run,       (void *)user_logoff,       (void *)app_post,
        (void *)icon_draw,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- window_data_word, window_data_long -----------------------------------------------------------------------------

static i16 word_at(WindowRef window, i32 offset)
{
    i16 value = 77;
    window_data_word(window, 1, offset, &value);
    return value;
}

static i32 long_at(WindowRef window, i32 offset)
{
    i32 value = 77;
    window_data_long(window, 1, offset, &value);
    return value;
}

static void put_word(WindowRef window, i32 offset, i16 value) { window_data_word(window, 0, offset, &value); }
static void put_long(WindowRef window, i32 offset, i32 value) { window_data_long(window, 0, offset, &value); }

TEST(window_data_word, makes_the_block_when_it_reads)
{
    Windows windows;
    EXPECT_EQ(word_at(MAIN, 4), 0);
    EXPECT_EQ(windows.handles(), 1u);
    EXPECT_EQ(gsize(windows.values[MAIN]), 32);
    EXPECT_EQ(windows.take_log(), (Log{ "set_value 7 some" }));
    EXPECT_EQ(word_at(MAIN, 4), 0);
    EXPECT_EQ(windows.take_log(), Log{});  // once
    EXPECT_EQ(windows.handles(), 1u);
}

TEST(window_data_word, makes_the_block_when_it_writes)
{
    Windows windows;
    put_word(MAIN, 4, -2);
    EXPECT_EQ(windows.handles(), 1u);
    EXPECT_EQ(word_at(MAIN, 4), -2);
}

TEST(window_data_word, fills_the_block_with_zeros)
{
    Windows windows;
    put_word(MAIN, 30, 0);
    EXPECT_EQ(std::string((const char *)windows.bytes(MAIN), 32), std::string(32, '\0'));
}

TEST(window_data_word, copies_two_bytes_at_any_offset_to_30)
{
    Windows windows;
    for (i32 offset = 0; offset <= 30; offset++) {
        put_word(MAIN, offset, 0x1234);
        std::string expected(32, '\0');
        expected[(size_t)offset] = 0x34;
        expected[(size_t)offset + 1] = 0x12;
        EXPECT_EQ(std::string((const char *)windows.bytes(MAIN), 32), expected) << offset;
        EXPECT_EQ(word_at(MAIN, offset), 0x1234);
        put_word(MAIN, offset, 0);
    }
}

TEST(window_data_word, works_at_the_start_for_an_offset_outside)
{
    Windows windows;
    put_word(MAIN, 0, 100);
    put_word(MAIN, 30, 130);
    for (i32 offset : { 31, 32, 1000, INT32_MAX, -1, INT32_MIN }) {
        EXPECT_EQ(word_at(MAIN, offset), 100) << offset;
    }
    EXPECT_EQ(word_at(MAIN, 30), 130);
    put_word(MAIN, 31, 5);
    EXPECT_EQ(word_at(MAIN, 0), 5);
    EXPECT_EQ(word_at(MAIN, 30), 130);
}

TEST(window_data_word, does_nothing_for_a_null_window_or_value)
{
    Windows windows;
    i16 value = 77;
    window_data_word(nullptr, 1, 0, &value);
    window_data_word(nullptr, 0, 0, &value);
    window_data_word(MAIN, 1, 0, nullptr);
    window_data_word(MAIN, 0, 0, nullptr);
    EXPECT_EQ(value, 77);
    EXPECT_EQ(windows.handles(), 0u);
    EXPECT_EQ(windows.log, Log{});
}

TEST(window_data_word, reads_for_every_flag_but_0)
{
    Windows windows;
    put_word(MAIN, 4, 3);
    i16 value = 77;
    window_data_word(MAIN, -1, 4, &value);
    EXPECT_EQ(value, 3);
}

TEST(window_data_word, is_left_undone_without_memory)
{
    Windows windows;
    for (u32 nth = 1;; nth++) {
        faults_start({ .call = FAULT_ANY_MEMORY, .nth = nth });
        i16 value = 77;
        window_data_word(MAIN, 1, 0, &value);
        if (!faults_stop()) {
            EXPECT_GT(nth, 1u);  // a block asks for memory
            break;
        }
        EXPECT_EQ(value, 77) << nth;
        EXPECT_EQ(windows.handles(), 0u) << nth;
        EXPECT_EQ(windows.log, Log{}) << nth;
    }
    EXPECT_EQ(windows.handles(), 1u);
}

// A window that has been closed, say. Nobody would ever free a block that no window holds.
TEST(window_data_word, is_left_undone_when_the_window_keeps_no_value)
{
    Windows windows;
    windows.failing = { "set_value" };
    EXPECT_EQ(word_at(MAIN, 0), 77);
    put_word(MAIN, 0, 1);
    EXPECT_EQ(windows.handles(), 0u);
}

TEST(window_data_word, is_left_undone_for_a_value_that_is_no_block)
{
    Windows windows;
    windows.values[OTHER] = 0xFFFFFFF0;
    EXPECT_EQ(word_at(OTHER, 0), 77);
    put_word(OTHER, 0, 1);
    GHandle small = galloc(31, nullptr, 1);
    windows.values[OTHER] = small;
    EXPECT_EQ(word_at(OTHER, 0), 77);
    put_word(OTHER, 0, 1);
    EXPECT_EQ(*(u8 *)glock(small), 0);
    EXPECT_EQ(windows.log, Log{});
    gfree(small);
    windows.values[OTHER] = 0;
}

TEST(window_data_word, keeps_the_data_of_windows_apart)
{
    Windows windows;
    put_word(MAIN, 4, 1);
    put_word(OTHER, 4, 2);
    EXPECT_EQ(word_at(MAIN, 4), 1);
    EXPECT_EQ(word_at(OTHER, 4), 2);
    EXPECT_EQ(windows.handles(), 2u);
}

TEST(window_data_long, makes_the_block_when_it_reads)
{
    Windows windows;
    EXPECT_EQ(long_at(MAIN, 8), 0);
    EXPECT_EQ(windows.handles(), 1u);
    EXPECT_EQ(windows.log, (Log{ "set_value 7 some" }));
}

TEST(window_data_long, copies_four_bytes_at_any_offset_to_28)
{
    Windows windows;
    for (i32 offset = 0; offset <= 28; offset++) {
        put_long(MAIN, offset, 0x12345678);
        std::string expected(32, '\0');
        for (size_t i = 0; i < 4; i++) expected[(size_t)offset + i] = "\x78\x56\x34\x12"[i];
        EXPECT_EQ(std::string((const char *)windows.bytes(MAIN), 32), expected) << offset;
        EXPECT_EQ(long_at(MAIN, offset), 0x12345678);
        put_long(MAIN, offset, 0);
    }
}

TEST(window_data_long, works_at_the_start_for_an_offset_outside)
{
    Windows windows;
    put_long(MAIN, 0, 100000);
    put_long(MAIN, 28, 128000);
    for (i32 offset : { 29, 30, 32, INT32_MAX, -1, INT32_MIN }) EXPECT_EQ(long_at(MAIN, offset), 100000) << offset;
    put_long(MAIN, 29, 5);
    EXPECT_EQ(long_at(MAIN, 0), 5);
    EXPECT_EQ(long_at(MAIN, 28), 128000);
}

TEST(window_data_long, does_nothing_for_a_null_window_or_value)
{
    Windows windows;
    i32 value = 77;
    window_data_long(nullptr, 1, 0, &value);
    window_data_long(nullptr, 0, 0, &value);
    window_data_long(MAIN, 1, 0, nullptr);
    window_data_long(MAIN, 0, 0, nullptr);
    EXPECT_EQ(value, 77);
    EXPECT_EQ(windows.log, Log{});
}

// ---- Fields ---------------------------------------------------------------------------------------------------------

namespace {

template <typename Value> struct Field {
    const char *name;
    i32 offset;
    Value (*get)(WindowRef);
    void (*set)(WindowRef, Value);
};

} // namespace

static const Field<i16> words[] = {
    { "word_a", 4, window_get_word_a, window_set_word_a },  { "word_b", 6, window_get_word_b, window_set_word_b },
    { "word_c", 12, window_get_word_c, window_set_word_c }, { "word_d", 18, window_get_word_d, window_set_word_d },
    { "word_e", 20, window_get_word_e, window_set_word_e }, { "word_f", 22, window_get_word_f, window_set_word_f },
    { "word_g", 28, window_get_word_g, window_set_word_g }, { "word_h", 30, window_get_word_h, window_set_word_h },
};
static const Field<i32> longs[] = {
    { "long_a", 8, window_get_long_a, window_set_long_a },
    { "long_b", 14, window_get_long_b, window_set_long_b },  // directly behind word_c
    { "long_c", 24, window_get_long_c, window_set_long_c },
};

// The field has these bytes alone, sign and all.
template <typename Value> static void check_field(Windows &windows, const Field<Value> &field, Value value)
{
    field.set(MAIN, value);
    EXPECT_EQ(field.get(MAIN), value) << field.name;
    std::string expected(32, '\0');
    memcpy(expected.data() + field.offset, &value, sizeof value);
    EXPECT_EQ(std::string((const char *)windows.bytes(MAIN), 32), expected) << field.name;
    field.set(MAIN, 0);
}

TEST(window_fields, stand_each_at_its_place)
{
    Windows windows;
    for (const Field<i16> &field : words) check_field(windows, field, (i16)-12345);
    for (const Field<i32> &field : longs) check_field(windows, field, -123456789);
    check_field(windows, Field<GHandle>{ "view", 0, window_get_view, window_set_view }, 0x89ABCDEFu);
}

TEST(window_fields, fill_the_block)
{
    Windows windows;
    window_set_view(MAIN, 0xFFFFFFFF);
    for (const Field<i16> &field : words) field.set(MAIN, -1);
    for (const Field<i32> &field : longs) field.set(MAIN, -1);
    EXPECT_EQ(std::string((const char *)windows.bytes(MAIN), 32), std::string(32, '\xFF'));
}

TEST(window_fields, of_a_window_without_a_block_are_0_and_make_one)
{
    for (const Field<i16> &field : words) {
        Windows windows;
        EXPECT_EQ(field.get(MAIN), 0) << field.name;
        EXPECT_EQ(windows.handles(), 1u) << field.name;
    }
    for (const Field<i32> &field : longs) {
        Windows windows;
        EXPECT_EQ(field.get(MAIN), 0) << field.name;
        EXPECT_EQ(windows.handles(), 1u) << field.name;
    }
    Windows windows;
    EXPECT_EQ(window_get_view(MAIN), 0u);
    EXPECT_EQ(windows.handles(), 1u);
}

TEST(window_fields, are_0_without_a_window_or_memory)
{
    Windows windows;
    for (const Field<i16> &field : words) {
        field.set(nullptr, 1);
        EXPECT_EQ(field.get(nullptr), 0) << field.name;
    }
    for (const Field<i32> &field : longs) {
        field.set(nullptr, 1);
        EXPECT_EQ(field.get(nullptr), 0) << field.name;
    }
    faults_start({ .call = FAULT_ALLOC, .from_then_on = true });
    window_set_long_c(MAIN, 1);
    EXPECT_EQ(window_get_view(MAIN), 0u);
    EXPECT_EQ(window_get_word_a(MAIN), 0);
    EXPECT_EQ(window_get_long_c(MAIN), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(windows.log, Log{});
}

// ---- window_data_free -----------------------------------------------------------------------------------------------

TEST(window_data_free, frees_the_block_and_clears_the_value)
{
    Windows windows;
    window_set_word_a(OTHER, 3);
    windows.take_log();
    window_data_free(OTHER, 0);
    EXPECT_EQ(windows.handles(), 0u);
    EXPECT_EQ(windows.values[OTHER], 0u);
    EXPECT_EQ(windows.take_log(), (Log{ "set_value 9 none" }));
    EXPECT_EQ(window_get_word_a(OTHER), 0);  // a new block
}

TEST(window_data_free, keeps_the_block_of_the_main_window_unless_forced)
{
    Windows windows;
    window_set_word_a(MAIN, 3);
    windows.take_log();
    window_data_free(MAIN, 0);
    EXPECT_EQ(windows.handles(), 1u);
    EXPECT_EQ(window_get_word_a(MAIN), 3);
    EXPECT_EQ(windows.take_log(), Log{});
    window_data_free(MAIN, 1);
    EXPECT_EQ(windows.handles(), 0u);
    EXPECT_EQ(windows.take_log(), (Log{ "set_value 7 none" }));
}

TEST(window_data_free, asks_for_the_main_window_at_the_moment)
{
    Windows windows;
    window_set_word_a(MAIN, 3);
    app_set_main_window(OTHER);
    window_data_free(MAIN, 0);
    EXPECT_EQ(windows.handles(), 0u);
}

TEST(window_data_free, does_nothing_without_a_block_or_a_window)
{
    Windows windows;
    window_data_free(OTHER, 0);
    window_data_free(OTHER, 1);
    window_data_free(nullptr, 1);
    app_set_main_window(nullptr);
    window_data_free(nullptr, 0);
    EXPECT_EQ(windows.log, Log{});
    EXPECT_EQ(windows.handles(), 0u);
}

TEST(window_data_free, leaves_the_view_to_its_owner)
{
    Windows windows;
    View view(0, 0);
    window_set_view(OTHER, view.handle);
    window_data_free(OTHER, 0);
    EXPECT_EQ(gsize(view.handle), 76);
}

// ---- Caret ----------------------------------------------------------------------------------------------------------

namespace {

struct Caret {
    WindowRef window = ref(77);
    Point16 position = { 77, 77 };
    i16 height = 77;
    i16 result = caret_get(&window, &position, &height);
};

} // namespace

static void expect_caret(WindowRef window, Point16 position, i16 height)
{
    Caret caret;
    EXPECT_EQ(caret.window, window);
    EXPECT_EQ(caret.position.x, position.x);
    EXPECT_EQ(caret.position.y, position.y);
    EXPECT_EQ(caret.height, height);
    EXPECT_EQ(caret.result, window ? 1 : 0);
}

TEST(caret_show, shows_the_caret_relative_to_the_origin_of_the_view)
{
    Windows windows;
    View view(30, -50);
    window_set_view(MAIN, view.handle);
    windows.take_log();
    caret_show(MAIN, { 100, 200 }, 12);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 7 1 12", "caret_move 70 238", "caret_show 7" }));
    expect_caret(MAIN, { 100, 200 }, 12);
}

TEST(caret_show, counts_beyond_16_bits)
{
    Windows windows;
    View view(-100000, 100000);
    window_set_view(MAIN, view.handle);
    windows.take_log();
    caret_show(MAIN, { 32767, -32768 }, 32767);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 7 1 32767", "caret_move 132767 -165535", "caret_show 7" }));
}

TEST(caret_show, wraps_at_32_bits)
{
    Windows windows;
    View view(INT32_MIN, INT32_MAX);
    window_set_view(MAIN, view.handle);
    windows.take_log();
    caret_show(MAIN, { 1, -1 }, 2);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 7 1 2", "caret_move -2147483647 2147483646", "caret_show 7" }));
}

TEST(caret_show, keeps_the_caret_hidden_without_a_view)
{
    Windows windows;
    caret_show(OTHER, { 1, 2 }, 3);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 9 1 3", "set_value 9 some" }));  // looking for it makes the block
    expect_caret(OTHER, { 1, 2 }, 3);
}

TEST(caret_show, keeps_the_caret_hidden_for_a_view_that_is_too_short)
{
    Windows windows;
    View view(1, 1, 75);
    window_set_view(MAIN, view.handle);
    windows.take_log();
    caret_show(MAIN, { 1, 2 }, 3);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 7 1 3" }));
    expect_caret(MAIN, { 1, 2 }, 3);
}

TEST(caret_show, keeps_the_caret_hidden_for_a_view_that_is_freed)
{
    Windows windows;
    {
        View view(1, 1);
        window_set_view(MAIN, view.handle);
    }
    windows.take_log();
    caret_show(MAIN, { 1, 2 }, 3);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 7 1 3" }));
}

TEST(caret_show, keeps_the_caret_hidden_without_memory_for_the_block)
{
    Windows windows;
    faults_start({ .call = FAULT_ALLOC });
    caret_show(OTHER, { 1, 2 }, 3);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 9 1 3" }));
    expect_caret(OTHER, { 1, 2 }, 3);
}

TEST(caret_show, ignores_the_window_1)
{
    Windows windows;
    caret_show(MAIN, { 1, 2 }, 3);
    windows.take_log();
    caret_show(ref(1), { 4, 5 }, 6);
    EXPECT_EQ(windows.take_log(), Log{});
    EXPECT_EQ(windows.values[ref(1)], 0u);
    expect_caret(MAIN, { 1, 2 }, 3);
}

TEST(caret_show, ignores_null)
{
    Windows windows;
    caret_show(MAIN, { 1, 2 }, 3);
    windows.take_log();
    caret_show(nullptr, { 4, 5 }, 6);
    EXPECT_EQ(windows.take_log(), Log{});
    expect_caret(MAIN, { 1, 2 }, 3);
}

TEST(caret_show, notes_a_caret_that_cannot_be_made)
{
    Windows windows;
    View view(0, 0);
    window_set_view(MAIN, view.handle);
    windows.take_log();
    windows.failing = { "caret_create" };
    caret_show(MAIN, { 4, 5 }, 6);
    EXPECT_EQ(windows.take_log(), (Log{ "caret_create 7 1 6 failed", "caret_move 4 -1", "caret_show 7" }));
    expect_caret(MAIN, { 4, 5 }, 6);
}

TEST(caret_show, replaces_the_caret_of_before)
{
    Windows windows;
    caret_show(MAIN, { 1, 2 }, 3);
    caret_show(OTHER, { 4, 5 }, 6);
    expect_caret(OTHER, { 4, 5 }, 6);
}

TEST(caret_hide, hides_the_caret_and_forgets_it)
{
    Windows windows;
    caret_show(MAIN, { 1, 2 }, 3);
    windows.take_log();
    caret_hide();
    EXPECT_EQ(windows.take_log(), (Log{ "caret_hide 7" }));
    expect_caret(nullptr, { 0, 0 }, 0);
    caret_hide();  // and any other of the program
    EXPECT_EQ(windows.take_log(), (Log{ "caret_hide 0" }));
}

TEST(caret_get, fills_what_is_not_null)
{
    Windows windows;
    caret_show(MAIN, { 1, 2 }, 3);
    EXPECT_EQ(caret_get(nullptr, nullptr, nullptr), 1);
    WindowRef window = nullptr;
    EXPECT_EQ(caret_get(&window, nullptr, nullptr), 1);
    EXPECT_EQ(window, MAIN);
    Point16 position = { 77, 77 };
    EXPECT_EQ(caret_get(nullptr, &position, nullptr), 1);
    EXPECT_EQ(position.x, 1);
    EXPECT_EQ(position.y, 2);
    i16 height = 77;
    EXPECT_EQ(caret_get(nullptr, nullptr, &height), 1);
    EXPECT_EQ(height, 3);
}

TEST(caret_get, gives_0_before_any_caret)
{
    Windows windows;
    EXPECT_EQ(caret_get(nullptr, nullptr, nullptr), 0);
    expect_caret(nullptr, { 0, 0 }, 0);
}

// ---- Capture, sound, programs, session ------------------------------------------------------------------------------

TEST(capture_set, is_the_service)
{
    Windows windows;
    capture_set(OTHER);
    capture_release();
    capture_set(nullptr);
    EXPECT_EQ(windows.log, (Log{ "capture_set 9", "capture_release", "capture_set 0" }));
}

TEST(beep, is_the_service)
{
    Windows windows;
    beep();
    EXPECT_EQ(windows.log, (Log{ "beep" }));
}

TEST(program_run, starts_the_command_with_its_window_shown)
{
    Windows windows;
    EXPECT_EQ(program_run("notepad a.txt"), 33);
    EXPECT_EQ(windows.log, (Log{ "run notepad a.txt 5" }));
}

TEST(program_run, gives_0_below_32)
{
    Windows windows;
    for (u32 result : { 0u, 2u, 31u }) {
        windows.run_result = result;
        EXPECT_EQ(program_run("x"), 0) << result;
    }
    windows.run_result = 32;
    EXPECT_EQ(program_run("x"), 32);
    windows.failing = { "run" };
    EXPECT_EQ(program_run("x"), 0);
}

TEST(program_run, gives_the_low_16_bits)
{
    Windows windows;
    windows.run_result = 0x56781234;
    EXPECT_EQ(program_run("x"), 0x1234);
    windows.run_result = 0x10000;
    EXPECT_EQ(program_run("x"), 0);
    windows.run_result = 0xFFFFFFFF;
    EXPECT_EQ(program_run("x"), 0xFFFF);
}

TEST(program_run, gives_0_for_null)
{
    Windows windows;
    EXPECT_EQ(program_run(nullptr), 0);
    EXPECT_EQ(windows.log, Log{});
}

TEST(user_logoff, is_the_service)
{
    Windows windows;
    user_logoff();
    EXPECT_EQ(windows.log, (Log{ "log_off" }));
}

// ---- app_post -------------------------------------------------------------------------------------------------------

TEST(app_post, adds_1024_to_the_code)
{
    Windows windows;
    EXPECT_EQ(app_post(OTHER, 5, -1), 1);
    EXPECT_EQ(app_post(OTHER, 0, 0), 1);
    EXPECT_EQ(app_post(OTHER, -1, 3), 1);
    EXPECT_EQ(windows.log, (Log{ "post 9 1029 -1", "post 9 1024 0", "post 9 1023 3" }));
}

TEST(app_post, wraps_at_32_bits)
{
    Windows windows;
    EXPECT_EQ(app_post(OTHER, INT32_MAX, 0), 1);
    EXPECT_EQ(windows.log, (Log{ "post 9 2147484671 0" }));
}

TEST(app_post, takes_the_current_window_for_null_and_then_the_main_one)
{
    Windows windows;
    app_set_current_window(CURRENT);
    EXPECT_EQ(app_post(nullptr, 1, 0), 1);
    EXPECT_EQ(app_post(OTHER, 1, 0), 1);
    app_set_current_window(nullptr);
    EXPECT_EQ(app_post(nullptr, 1, 0), 1);
    EXPECT_EQ(windows.log, (Log{ "post 8 1025 0", "post 9 1025 0", "post 7 1025 0" }));
}

TEST(app_post, gives_0_without_any_window)
{
    Windows windows;
    app_set_main_window(nullptr);
    EXPECT_EQ(app_post(nullptr, 1, 0), 0);
    EXPECT_EQ(windows.log, Log{});
}

TEST(app_post, gives_0_when_the_system_refuses)
{
    Windows windows;
    windows.failing = { "post" };
    EXPECT_EQ(app_post(OTHER, 1, 2), 0);
    EXPECT_EQ(windows.log, (Log{ "post 9 1025 2 failed" }));
}

TEST(app_post, hands_on_data_of_the_width_of_an_address)
{
    Windows windows;
    EXPECT_EQ(app_post(OTHER, 1, INTPTR_MIN), 1);
    EXPECT_EQ(windows.log, (Log{ "post 9 1025 " + std::to_string(INTPTR_MIN) }));
}

// ---- icon_draw ------------------------------------------------------------------------------------------------------

TEST(icon_draw, draws_each_kind)
{
    Windows windows;
    app_set_device_context(ref(5));
    EXPECT_EQ(icon_draw(0, 0), 1);
    EXPECT_EQ(windows.take_log(), (Log{ "icon_load 32516", "icon_draw 5 0 0 32516", "icon_free 32516" }));
    EXPECT_EQ(icon_draw(1, 0), 1);
    EXPECT_EQ(windows.take_log(), (Log{ "icon_load 32515", "icon_draw 5 0 0 32515", "icon_free 32515" }));
    EXPECT_EQ(icon_draw(2, 0), 1);
    EXPECT_EQ(windows.take_log(), (Log{ "icon_load 32513", "icon_draw 5 0 0 32513", "icon_free 32513" }));
}

TEST(icon_draw, takes_x_from_the_low_and_y_from_the_high_word)
{
    Windows windows;
    app_set_device_context(ref(5));
    EXPECT_EQ(icon_draw(0, 0x00C80064), 1);
    EXPECT_EQ(icon_draw(0, 0x8000FFFE), 1);
    EXPECT_EQ(windows.log[1], "icon_draw 5 100 200 32516");
    EXPECT_EQ(windows.log[4], "icon_draw 5 -2 -32768 32516");
}

TEST(icon_draw, gives_0_without_an_icon)
{
    Windows windows;
    app_set_device_context(ref(5));
    windows.failing = { "icon_load" };
    EXPECT_EQ(icon_draw(0, 0), 0);
    EXPECT_EQ(windows.log, (Log{ "icon_load 32516 failed" }));
}

TEST(icon_draw, gives_0_for_any_other_kind)
{
    Windows windows;
    app_set_device_context(ref(5));
    EXPECT_EQ(icon_draw(3, 0), 0);
    EXPECT_EQ(icon_draw(-1, 0), 0);
    EXPECT_EQ(windows.log, Log{});
}

TEST(icon_draw, gives_0_without_a_context_and_releases_the_icon)
{
    Windows windows;
    EXPECT_EQ(icon_draw(0, 0), 0);
    EXPECT_EQ(windows.log, (Log{ "icon_load 32516", "icon_free 32516" }));
}

TEST(icon_draw, gives_1_when_the_drawing_fails)
{
    Windows windows;
    app_set_device_context(ref(5));
    windows.failing = { "icon_draw" };
    EXPECT_EQ(icon_draw(0, 0), 1);
    EXPECT_EQ(windows.log, (Log{ "icon_load 32516", "icon_draw 5 0 0 32516 failed", "icon_free 32516" }));
}

} // namespace zuk
