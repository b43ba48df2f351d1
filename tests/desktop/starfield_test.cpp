#include "desktop/starfield.h"

#include "desktop/app_state.h"
#include "foundation/handles.h"
#include "tests/support/faults.h"
#include "tests/support/screen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace zuk {

using Log = std::vector<std::string>;

constexpr u32 BLACK = 0x000000;
constexpr u32 WHITE = 0xFFFFFF;

namespace {

// A main window of 400 by 300, so that the centre is at 200, 150; and a colour of the workspace. The random numbers are
// those of the first stars; the rest get 0, and are never drawn.
struct Sky : Screen {
    u32 handles_before = handles_alive();

    explicit Sky(std::vector<u32> numbers = {})
    {
        random_numbers.assign(numbers.begin(), numbers.end());
        colours[12] = 0x123456;
        app_set_main_window(ref(7));
        app_set_client_size(400, 300);
    }
    ~Sky()
    {
        faults_stop();
        starfield_stop();
        EXPECT_EQ(handles_alive(), handles_before);
    }

    u32 handles() const { return handles_alive() - handles_before; }
    // What was drawn since the last look, in its order.
    Log tick()
    {
        take_log();
        logs_pixels = true;
        starfield_tick();
        logs_pixels = false;
        return take_log();
    }
    std::vector<std::pair<i32, i32>> white_places() const
    {
        std::vector<std::pair<i32, i32>> places;
        for (const auto &[place, colour] : pixels)
            if (colour == WHITE) places.push_back(place);
        return places;
    }
};

} // namespace

using Places = std::vector<std::pair<i32, i32>>;

TEST(starfield, has_every_operation)
{
    void *const operations[] = {
        (void *)star_init,       (void *)star_advance,    (void *)starfield_start, (void *)starfield_tick,
        (void *)starfield_paint, (void *)starfield_clear, (void *)starfield_stop,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- A star ---------------------------------------------------------------------------------------------------------

static Star star_of(Sky &sky, i32 index, std::vector<u32> numbers)
{
    sky.random_numbers.assign(numbers.begin(), numbers.end());
    Star star;
    memset(&star, 0x77, sizeof star);
    star_init(&star, index);
    return star;
}

TEST(star_init, draws_the_sources_and_then_the_depth)
{
    Sky sky;
    Star star = star_of(sky, 0, { 11, 22, 33, 44 });
    EXPECT_EQ(star.source_a, 11);
    EXPECT_EQ(star.source_b, 22);
    EXPECT_EQ(star.start_depth, 33);
    EXPECT_EQ(star.depth, 33);
    EXPECT_EQ(star.screen_x, 0);
    EXPECT_EQ(star.screen_y, 0);
    EXPECT_EQ(sky.random_numbers.size(), 1u);
}

TEST(star_init, takes_the_numbers_modulo_1000_and_1200)
{
    Sky sky;
    Star star = star_of(sky, 0, { 1000, 1999, 1200 });
    EXPECT_EQ(star.source_a, 0);
    EXPECT_EQ(star.source_b, 999);
    EXPECT_EQ(star.start_depth, 0);
    star = star_of(sky, 0, { 32767, 999, 1199 });
    EXPECT_EQ(star.source_a, 767);
    EXPECT_EQ(star.source_b, 999);
    EXPECT_EQ(star.start_depth, 1199);
    star = star_of(sky, 0, { 0xFFFFFFFF, 0, 0x80000000 });  // 4,294,967,295 and 2,147,483,648
    EXPECT_EQ(star.source_a, 295);
    EXPECT_EQ(star.start_depth, 848);
}

TEST(star_init, sets_the_signs_by_the_quadrant)
{
    Sky sky;
    const i32 signs[4][2] = { { 1, 1 }, { -1, 1 }, { 1, -1 }, { -1, -1 } };
    for (i32 index = 0; index < STAR_COUNT; index++) {
        Star star = star_of(sky, index, { 5, 6, 7 });
        EXPECT_EQ(star.source_a, 5 * signs[index % 4][0]) << index;
        EXPECT_EQ(star.source_b, 6 * signs[index % 4][1]) << index;
        EXPECT_EQ(star.depth, 7) << index;
    }
}

TEST(star_advance, drives_the_vertical_by_the_first_source)
{
    Star star = { .source_a = 100, .source_b = 7, .screen_x = 1, .screen_y = 2, .depth = 60, .start_depth = 60 };
    EXPECT_TRUE(star_advance(&star));
    EXPECT_EQ(star.depth, 40);
    EXPECT_EQ(star.screen_y, 100);
    EXPECT_EQ(star.screen_x, 7);
    EXPECT_TRUE(star_advance(&star));
    EXPECT_EQ(star.depth, 20);
    EXPECT_EQ(star.screen_y, 200);
    EXPECT_EQ(star.screen_x, 14);
}

TEST(star_advance, divides_towards_0)
{
    Star star = { .source_a = -10, .source_b = 10, .screen_x = 0, .screen_y = 0, .depth = 170, .start_depth = 170 };
    EXPECT_TRUE(star_advance(&star));
    EXPECT_EQ(star.screen_y, -2);  // -400 / 150
    EXPECT_EQ(star.screen_x, 2);
}

TEST(star_advance, goes_as_far_as_999_times_40)
{
    Star star = { .source_a = -999, .source_b = 999, .screen_x = 0, .screen_y = 0, .depth = 21, .start_depth = 21 };
    EXPECT_TRUE(star_advance(&star));
    EXPECT_EQ(star.screen_y, -39960);
    EXPECT_EQ(star.screen_x, 39960);
}

TEST(star_advance, goes_back_to_the_start_when_the_depth_reaches_0)
{
    Star star = { .source_a = 100, .source_b = 7, .screen_x = 3, .screen_y = 4, .depth = 20, .start_depth = 60 };
    EXPECT_FALSE(star_advance(&star));
    EXPECT_EQ(star.depth, 60);
    EXPECT_EQ(star.screen_x, 0);
    EXPECT_EQ(star.screen_y, 0);
    EXPECT_TRUE(star_advance(&star));
    star.depth = 19;
    EXPECT_FALSE(star_advance(&star));
}

TEST(star_advance, never_draws_a_star_that_starts_within_one_step)
{
    for (i32 depth = 0; depth <= 21; depth++) {
        Star star = { 1, 1, 0, 0, depth, depth };
        bool drawn = star_advance(&star);
        EXPECT_EQ(drawn, depth == 21) << depth;
        EXPECT_EQ(star_advance(&star), false) << depth;
    }
}

// ---- starfield_start ------------------------------------------------------------------------------------------------

TEST(starfield_start, sets_the_timer_and_takes_the_colour)
{
    Sky sky;
    starfield_start();
    EXPECT_EQ(sky.take_log(), (Log{ "timer_set 7 999 100", "set_colour 12 0" }));
    EXPECT_EQ(sky.colours[12], BLACK);
    EXPECT_EQ(sky.handles(), 1u);
}

TEST(starfield_start, makes_100_stars_of_three_random_numbers_each)
{
    Sky sky(std::vector<u32>(301, 1));
    starfield_start();
    EXPECT_EQ(sky.random_numbers.size(), 1u);
}

TEST(starfield_start, spreads_the_stars_over_the_quadrants)
{
    std::vector<u32> numbers;
    for (int i = 0; i < 100; i++) numbers.insert(numbers.end(), { 10, 20, 60 });  // drawn at a depth of 40
    Sky sky(numbers);
    starfield_start();
    Log drawn = sky.tick();
    // The two calls for the context aside: the first source is the vertical.
    ASSERT_EQ(drawn.size(), 202u);
    const char *const quadrants[] = { "220 160", "220 140", "180 160", "180 140" };
    for (size_t i = 0; i < 100; i++) {
        EXPECT_EQ(drawn[2 + 2 * i], std::string("pixel 1007 ") + quadrants[i % 4] + " ffffff") << i;
    }
}

TEST(starfield_start, ends_when_the_timer_cannot_be_set)
{
    Sky sky({ 1, 2, 3 });
    sky.failing = { "timer_set" };
    starfield_start();
    EXPECT_EQ(sky.take_log(), (Log{ "timer_set 7 999 100 failed" }));
    EXPECT_EQ(sky.colours[12], 0x123456u);
    EXPECT_EQ(sky.handles(), 0u);
    EXPECT_EQ(sky.random_numbers.size(), 3u);
    starfield_stop();
    EXPECT_EQ(sky.take_log(), Log{});
}

TEST(starfield_start, keeps_the_timer_without_memory)
{
    Sky sky({ 1, 2, 3 });
    for (u32 nth = 1;; nth++) {
        faults_start({ .call = FAULT_ANY_MEMORY, .nth = nth });
        starfield_start();
        if (!faults_stop()) {
            EXPECT_GT(nth, 1u);  // the stars ask for memory
            break;
        }
        EXPECT_EQ(sky.take_log(), (Log{ "timer_set 7 999 100" })) << nth;
        EXPECT_EQ(sky.colours[12], 0x123456u) << nth;
        EXPECT_EQ(sky.handles(), 0u) << nth;
        EXPECT_EQ(sky.random_numbers.size(), 3u) << nth;
        EXPECT_EQ(sky.tick(), Log{}) << nth;  // nothing to do
        starfield_stop();
        EXPECT_EQ(sky.take_log(), Log{}) << nth;
    }
    EXPECT_EQ(sky.handles(), 1u);
}

TEST(starfield_start, does_nothing_without_a_main_window)
{
    Sky sky;
    app_set_main_window(nullptr);
    starfield_start();
    EXPECT_EQ(sky.take_log(), Log{});
    EXPECT_EQ(sky.handles(), 0u);
}

TEST(starfield_start, begins_anew_while_there_is_a_field)
{
    Sky sky({ 10, 20, 60 });
    starfield_start();
    starfield_tick();
    EXPECT_EQ(sky.white_places(), (Places{ { 220, 160 } }));
    sky.pixels.clear();
    sky.random_numbers = { 30, 40, 60 };
    sky.take_log();
    starfield_start();
    EXPECT_EQ(sky.take_log(), (Log{ "timer_set 7 999 100", "set_colour 12 0" }));
    EXPECT_EQ(sky.handles(), 1u);
    starfield_tick();
    EXPECT_EQ(sky.white_places(), (Places{ { 240, 180 } }));
    starfield_stop();
    EXPECT_EQ(sky.colours[12], 0x123456u);  // the one of before the first start
}

// ---- starfield_tick -------------------------------------------------------------------------------------------------

TEST(starfield_tick, clears_moves_and_draws_one_star_after_the_other)
{
    Sky sky({ 10, 20, 80, 30, 40, 60 });  // the second is in the quadrant above
    starfield_start();
    Log drawn = sky.tick();
    // 10 * 40 / 60 is 6 and 20 * 40 / 60 is 13; -30 and 40 come at a depth of 40.
    EXPECT_EQ(Log(drawn.begin(), drawn.begin() + 6),
              (Log{ "drawing_take 7", "pixel 1007 200 150 000000", "pixel 1007 213 156 ffffff",
                    "pixel 1007 200 150 000000", "pixel 1007 240 120 ffffff", "pixel 1007 200 150 000000" }));
    EXPECT_EQ(drawn.size(), 104u);  // 100 points cleared, 2 drawn
    EXPECT_EQ(drawn.back(), "drawing_release 7 1007");

    drawn = sky.tick();
    EXPECT_EQ(Log(drawn.begin(), drawn.begin() + 5),
              (Log{ "drawing_take 7", "pixel 1007 213 156 000000", "pixel 1007 220 160 ffffff",
                    "pixel 1007 240 120 000000", "pixel 1007 280 90 ffffff" }));
}

TEST(starfield_tick, does_not_draw_a_star_that_is_reset)
{
    Sky sky({ 10, 20, 40 });
    starfield_start();
    starfield_tick();
    EXPECT_EQ(sky.white_places(), (Places{ { 240, 170 } }));  // at a depth of 20
    starfield_tick();
    EXPECT_EQ(sky.white_places(), Places{});
    EXPECT_EQ(sky.tick()[1], "pixel 1007 200 150 000000");  // it stood at the centre
    EXPECT_EQ(sky.white_places(), (Places{ { 240, 170 } }));
}

TEST(starfield_tick, never_draws_the_rest_of_the_stars)
{
    Sky sky;  // all random numbers are 0
    starfield_start();
    for (int i = 0; i < 3; i++) starfield_tick();
    EXPECT_EQ(sky.pixels.size(), 1u);
    EXPECT_EQ(sky.white_places(), Places{});
}

TEST(starfield_tick, draws_points_outside_of_the_window)
{
    Sky sky({ 999, 999, 40, 999, 999, 40, 999, 999, 40, 999, 999, 40 });
    starfield_start();
    starfield_tick();
    EXPECT_EQ(sky.white_places(), (Places{ { -1798, -1848 }, { -1798, 2148 }, { 2198, -1848 }, { 2198, 2148 } }));
}

TEST(starfield_tick, halves_the_size_as_it_is_at_the_moment_towards_0)
{
    Sky sky({ 0, 100, 120 });  // 40 beside the centre after a tick
    starfield_start();
    app_set_client_size(401, -3);
    starfield_tick();
    EXPECT_EQ(sky.white_places(), (Places{ { 240, -1 } }));
}

TEST(starfield_tick, moves_the_stars_without_a_context)
{
    Sky sky({ 10, 20, 80 });
    starfield_start();
    sky.failing = { "drawing_take" };
    EXPECT_EQ(sky.tick(), (Log{ "drawing_take 7 failed" }));  // nothing drawn, and nothing to release
    sky.failing.clear();
    starfield_tick();
    EXPECT_EQ(sky.white_places(), (Places{ { 220, 160 } }));  // the second place
}

TEST(starfield_tick, does_nothing_without_stars_or_a_main_window)
{
    Sky sky({ 10, 20, 80 });
    EXPECT_EQ(sky.tick(), Log{});
    starfield_start();
    app_set_main_window(nullptr);
    EXPECT_EQ(sky.tick(), Log{});
    app_set_main_window(ref(7));
}

// ---- starfield_paint, starfield_clear -------------------------------------------------------------------------------

TEST(starfield_paint, fills_what_is_to_be_painted_with_black)
{
    Sky sky;
    sky.to_paint = { .drawing = nullptr, .left = 10, .top = 20, .right = 30, .bottom = 40, .kept = {} };
    starfield_paint();
    EXPECT_EQ(sky.take_log(), (Log{ "paint_begin 7", "paint_fill 1007 10 20 30 40 4", "paint_end 7 1007" }));
}

TEST(starfield_paint, ends_what_could_not_begin)
{
    Sky sky;
    sky.failing = { "paint_begin" };
    starfield_paint();
    EXPECT_EQ(sky.take_log(), (Log{ "paint_begin 7 failed", "paint_end 7 0" }));
}

TEST(starfield_paint, does_nothing_without_a_main_window)
{
    Sky sky;
    app_set_main_window(nullptr);
    starfield_paint();
    EXPECT_EQ(sky.take_log(), Log{});
}

TEST(starfield_clear, has_all_of_the_main_window_painted_anew)
{
    Sky sky;
    starfield_clear();
    EXPECT_EQ(sky.take_log(), (Log{ "invalidate 7" }));
    app_set_main_window(nullptr);
    starfield_clear();
    EXPECT_EQ(sky.take_log(), Log{});
}

// ---- starfield_stop -------------------------------------------------------------------------------------------------

TEST(starfield_stop, kills_the_timer_gives_the_colour_back_and_frees_the_stars)
{
    Sky sky;
    starfield_start();
    sky.take_log();
    starfield_stop();
    EXPECT_EQ(sky.take_log(), (Log{ "timer_kill 7 999", "set_colour 12 " + std::to_string(0x123456) }));
    EXPECT_EQ(sky.colours[12], 0x123456u);
    EXPECT_EQ(sky.handles(), 0u);
    EXPECT_EQ(sky.tick(), Log{});
}

TEST(starfield_stop, does_nothing_without_stars)
{
    Sky sky;
    starfield_stop();
    EXPECT_EQ(sky.take_log(), Log{});
    starfield_start();
    starfield_stop();
    sky.take_log();
    starfield_stop();
    EXPECT_EQ(sky.take_log(), Log{});
}

TEST(starfield_stop, notes_the_colour_of_each_start)
{
    Sky sky;
    starfield_start();
    starfield_stop();
    sky.colours[12] = 0xABCDEF;
    starfield_start();
    starfield_stop();
    EXPECT_EQ(sky.colours[12], 0xABCDEFu);
}

} // namespace zuk
