#include "desktop/starfield.h"

#include "desktop/app_state.h"
#include "zuk/zuk.h"

namespace zuk {

constexpr i32 WORKSPACE_COLOUR = 12;
constexpr u32 BLACK = 0x000000;
constexpr u32 WHITE = 0xFFFFFF;
constexpr i32 BLACK_BRUSH = 4;

static constinit GHandle stars = 0;      // STAR_COUNT records; 0 while there is no field
static constinit u32 colour_before = 0;  // of the workspace, while there is one

// ---- A star ---------------------------------------------------------------------------------------------------------

constexpr i32 SOURCE_RANGE = 1000;
constexpr i32 DEPTH_RANGE = 1200;
constexpr i32 DEPTH_STEP = 20;
constexpr i32 MAGNIFICATION = 40;

static i32 random_below(i32 limit) { return (i32)(platform_desktop->random() % (u32)limit); }

void star_init(Star *star, i32 index)
{
    *star = {};
    star->source_a = random_below(SOURCE_RANGE);
    star->source_b = random_below(SOURCE_RANGE);
    star->start_depth = random_below(DEPTH_RANGE);
    star->depth = star->start_depth;

    const i32 quadrant = index % 4;
    if (quadrant == 1 || quadrant == 3) star->source_a = -star->source_a;
    if (quadrant == 2 || quadrant == 3) star->source_b = -star->source_b;
}

bool star_advance(Star *star)
{
    star->depth -= DEPTH_STEP;
    if (star->depth > 0) {
        // KEPT: one would expect the first source to drive the horizontal. They are crossed, which shows in where the
        // stars of a known row of random numbers are. Test: star_advance.drives_the_vertical_by_the_first_source
        star->screen_y = star->source_a * MAGNIFICATION / star->depth;
        star->screen_x = star->source_b * MAGNIFICATION / star->depth;
        return true;
    }

    // KEPT: one would expect a star to shine again at once, and every star to shine at some time. It is left out for
    // this tick, and one whose start is within a step of the end is left out for ever.
    // Test: star_advance.never_draws_a_star_that_starts_within_one_step
    star->depth = star->start_depth;
    star->screen_x = 0;
    star->screen_y = 0;
    return false;
}

// ---- The field ------------------------------------------------------------------------------------------------------

void starfield_start()
{
    if (!app_main_window) return;
    if (!platform_desktop->timer_set(app_main_window, STARFIELD_TIMER, STARFIELD_PERIOD)) return;

    // A second start keeps the block, and the colour that was there before the first.
    if (!stars) {
        // KEPT: one would expect the timer to be killed when there is no memory for the stars. It goes on, with nothing
        // to do, and `starfield_stop` does not end it either. Test: starfield_start.keeps_the_timer_without_memory
        stars = galloc(STAR_COUNT * (i32)sizeof(Star), nullptr, 0);
        if (!stars) return;
        colour_before = platform_desktop->colour(WORKSPACE_COLOUR);
    }
    platform_desktop->set_colour(WORKSPACE_COLOUR, BLACK);

    Star *star = (Star *)glock(stars);
    for (i32 i = 0; i < STAR_COUNT; i++) star_init(&star[i], i);
    gunlock(stars);
}

static void draw_star(DrawingRef drawing, const Star *star, u32 colour)
{
    if (!drawing) return;
    platform_desktop->pixel_set(drawing, app_client_width / 2 + star->screen_x, app_client_height / 2 + star->screen_y,
                                colour);
}

// Each star is cleared, moved and drawn before the next one. Without anything to draw on they move all the same.
void starfield_tick()
{
    if (!stars || !app_main_window) return;

    DrawingRef drawing = platform_desktop->drawing_take(app_main_window);
    Star *star = (Star *)glock(stars);
    for (i32 i = 0; i < STAR_COUNT; i++) {
        draw_star(drawing, &star[i], BLACK);
        if (star_advance(&star[i])) draw_star(drawing, &star[i], WHITE);
    }
    gunlock(stars);
    if (drawing) platform_desktop->drawing_release(app_main_window, drawing);
}

void starfield_paint()
{
    if (!app_main_window) return;

    PlatformPaint paint;
    platform_desktop->paint_begin(app_main_window, &paint);
    if (paint.drawing) platform_desktop->paint_fill(&paint, BLACK_BRUSH);
    platform_desktop->paint_end(app_main_window, &paint);
}

void starfield_clear()
{
    if (app_main_window) platform_desktop->invalidate(app_main_window);
}

void starfield_stop()
{
    if (!stars) return;

    platform_desktop->timer_kill(app_main_window, STARFIELD_TIMER);
    platform_desktop->set_colour(WORKSPACE_COLOUR, colour_before);
    gfree(stars);
    stars = 0;
}

} // namespace zuk
