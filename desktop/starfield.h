// A field of stars that fly by, in the main window of the program.
//
// `starfield_start` sets a timer; for each of its messages the program calls `starfield_tick`, for a repaint
// `starfield_paint`, and in the end `starfield_stop`, which must not be left out: it gives the user the colour back
// that the start took away. The window and its size come from desktop/app_state.h; without a main window there is no
// field.
//
// Between calls:
//   - the stars are there from a start that succeeded to the stop
//   - while they are, the colour of the system's workspace is black
// One thread, that of the windows. Services are those of `platform_desktop`, random numbers too.
#pragma once

#include "zuk/types.h"

namespace zuk {

constexpr u32 STARFIELD_TIMER = 999;        // the number of the timer and so of its messages
constexpr u32 STARFIELD_PERIOD = 100;       // milliseconds
constexpr i32 STAR_COUNT = 100;

// A star. Its sources over its depth give its place, so it moves away from the centre as it comes nearer.
struct Star {
    i32 source_a;     // -999 to 999; drives the vertical
    i32 source_b;     // the same for the horizontal
    i32 screen_x;     // where it was drawn last, from the centre of the window
    i32 screen_y;
    i32 depth;
    i32 start_depth;  // 0 to 1199
};
static_assert(sizeof(Star) == 24);

// The arithmetic of a star needs no window. `index` is its place in the field, from 0, and gives its quadrant: random
// numbers are drawn for `source_a`, `source_b` and `start_depth`, in this order.
void star_init(Star *star, i32 index);
// Come nearer by one tick. True if it is to be drawn at its new place; false if it went back to its start.
bool star_advance(Star *star);

// Set the timer, make the stars and take the colour. Without the timer there is no field; without memory there is the
// timer alone. Called while there is a field, it begins anew.
void starfield_start();
void starfield_tick();
void starfield_paint();  // black, for all of the window that is to be painted
void starfield_clear();  // have the system erase and paint all of the window
void starfield_stop();   // kill the timer, give the colour back, free the stars; nothing without stars

} // namespace zuk
