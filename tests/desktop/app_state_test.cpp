#include "desktop/app_state.h"

#include "desktop/window.h"
#include "tests/support/screen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace zuk {

TEST(app_state, has_every_operation)
{
    void *const operations[] = {
        (void *)app_set_main_window,    (void *)app_set_current_window, (void *)app_set_client_size,
        (void *)app_set_device_context, (void *)args_set_text,          (void *)window_platform_set,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

TEST(app_state, keeps_what_the_program_tells)
{
    Screen screen;
    app_set_main_window(ref(1));
    app_set_current_window(ref(2));
    app_set_client_size(-3, 4);
    app_set_device_context(ref(5));
    EXPECT_EQ(app_main_window, ref(1));
    EXPECT_EQ(app_current_window, ref(2));
    EXPECT_EQ(app_client_width, -3);
    EXPECT_EQ(app_client_height, 4);
    EXPECT_EQ(app_device_context, ref(5));
}

TEST(args_set_text, fills_the_text)
{
    Screen screen;
    args_set_text("one two");
    EXPECT_STREQ(args_text, "one two");
    args_set_text("1");
    EXPECT_EQ(std::string(args_text, 5), std::string("1\0\0\0\0", 5));  // nothing is left of the one before
}

TEST(args_set_text, cuts_to_127_characters)
{
    Screen screen;
    args_set_text(std::string(127, 'a').c_str());
    EXPECT_EQ(args_text, std::string(127, 'a'));
    args_set_text(std::string(200, 'b').c_str());
    EXPECT_EQ(args_text, std::string(127, 'b'));
    EXPECT_EQ(args_text[ARGS_TEXT_SIZE - 1], 0);
}

TEST(args_set_text, takes_a_part_of_the_text_itself)
{
    Screen screen;
    args_set_text("one two");
    args_set_text(args_text + 4);
    EXPECT_STREQ(args_text, "two");
}

TEST(args_set_text, is_emptied_by_null)
{
    Screen screen;
    args_set_text("one");
    args_set_text(nullptr);
    EXPECT_STREQ(args_text, "");
}

TEST(window_platform_set, puts_a_table_of_the_program_in_front)
{
    static int beeps;
    beeps = 0;
    static PlatformDesktop table = native_desktop;
    table.beep = [] { beeps++; };
    window_platform_set(&table);
    EXPECT_EQ(platform_desktop, &table);
    beep();
    EXPECT_EQ(beeps, 1);
    window_platform_set(nullptr);
}

TEST(window_platform_set, brings_the_native_table_back_for_null)
{
    Screen screen;
    EXPECT_NE(platform_desktop, &native_desktop);
    window_platform_set(nullptr);
    EXPECT_EQ(platform_desktop, &native_desktop);
}

} // namespace zuk
