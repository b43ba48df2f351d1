// Points and rectangles of 16-bit coordinates, x to the right and y down.
//
// Services for callers. Sums wrap as 16-bit numbers. A null pointer is a mistake of the caller where nothing is said of
// it. A result may be one of the operands.
//
// A rectangle is empty when it has no width or no height, yet its edges belong to it: an empty one can hold a point.
#pragma once

#include "zuk/types.h"

namespace zuk {

struct Point16 {
    i16 x;
    i16 y;
};

struct Rect16 {
    i16 left;
    i16 top;
    i16 right;
    i16 bottom;
};

struct Rect32 {
    i32 left;
    i32 top;
    i32 right;
    i32 bottom;
};
static_assert(sizeof(Point16) == 4 && sizeof(Rect16) == 8 && sizeof(Rect32) == 16);

void rect_clear(Rect16 *r);                                             // all four fields 0
Point16 *point_set(Point16 *p, i16 x, i16 y);                           // the result is `p`
Rect16 *rect_set(Rect16 *r, i16 left, i16 top, i16 right, i16 bottom);  // the result is `r`

// Where `r` may be null it is left alone then.
void rect_offset(Rect16 *r, i16 dx, i16 dy);  // move it; null is allowed
void rect_inset(Rect16 *r, i16 dx, i16 dy);   // move each edge inward; null is allowed
void rect_normalise(Rect16 *r);               // uncross the edges: `left` up to `right`, `top` up to `bottom`
void rect32_normalise(Rect32 *r);             // the same; null is allowed

// 1 for yes, 0 for no.
i16 rect_is_empty(const Rect16 *r);                     // also one whose edges are crossed
i16 rect_equal(const Rect16 *a, const Rect16 *b);
i16 point_equal(const Point16 *a, const Point16 *b);
i16 point_in_rect(const Point16 *p, const Rect16 *r);   // on an edge counts
i16 rect_intersects(const Rect16 *a, const Rect16 *b);  // touching counts; an empty one meets nothing

void rect_intersection(Rect16 *dest, const Rect16 *a, const Rect16 *b);  // cleared if they do not meet
void rect_union(Rect16 *dest, const Rect16 *a, const Rect16 *b);         // holds both, an empty one too

// The smallest rectangle that holds `n` points, but that `right` and `bottom` are never below -32767; cleared if there
// are none or `points` is null.
void rect_bounds(Rect16 *r, const Point16 *points, i16 n);

// Four big-endian fields of a file in the order top, left, bottom, right. Bytes that the file does not give are 0.
void file_read_be_rect_at(FileHandle file, i32 offset, Rect16 *r);

// A width and a height for text, through each pointer that is not null: both are 0.
void text_metrics(i16 *width, i16 *height);

} // namespace zuk
