#include "decimal/rects.h"

#include "files/file.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <ostream>
#include <stddef.h>
#include <string>
#include <vector>

namespace zuk {

// For expectations: whole records, and their fields in the message.
static bool operator==(const Point16 &a, const Point16 &b) { return a.x == b.x && a.y == b.y; }
static bool operator==(const Rect16 &a, const Rect16 &b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
static bool operator==(const Rect32 &a, const Rect32 &b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
template <typename Rect> static std::ostream &print(std::ostream &out, const Rect &r)
{
    return out << r.left << " " << r.top << " " << r.right << " " << r.bottom;
}
[[maybe_unused]] static void PrintTo(const Rect16 &r, std::ostream *out) { print(*out, r); }
[[maybe_unused]] static void PrintTo(const Rect32 &r, std::ostream *out) { print(*out, r); }
[[maybe_unused]] static void PrintTo(const Point16 &p, std::ostream *out) { *out << p.x << " " << p.y; }

TEST(rects, has_every_operation)
{
    void *const operations[] = {
        (void *)rect_clear,       (void *)point_set,        (void *)rect_set,        (void *)rect_offset,
        (void *)rect_inset,       (void *)rect_normalise,   (void *)rect32_normalise, (void *)rect_is_empty,
        (void *)rect_equal,       (void *)point_equal,      (void *)point_in_rect,   (void *)rect_intersects,
        (void *)rect_intersection, (void *)rect_union,      (void *)rect_bounds,     (void *)file_read_be_rect_at,
        (void *)text_metrics,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// The fields in their order, as callers keep them.
TEST(rects, have_their_fields_in_order)
{
    EXPECT_EQ(offsetof(Point16, x), 0u);
    EXPECT_EQ(offsetof(Point16, y), 2u);
    EXPECT_EQ(offsetof(Rect16, left), 0u);
    EXPECT_EQ(offsetof(Rect16, top), 2u);
    EXPECT_EQ(offsetof(Rect16, right), 4u);
    EXPECT_EQ(offsetof(Rect16, bottom), 6u);
    EXPECT_EQ(offsetof(Rect32, left), 0u);
    EXPECT_EQ(offsetof(Rect32, top), 4u);
    EXPECT_EQ(offsetof(Rect32, right), 8u);
    EXPECT_EQ(offsetof(Rect32, bottom), 12u);
}

TEST(rect_clear, clears_all_four_fields)
{
    Rect16 r = { 1, 2, 3, 4 };
    rect_clear(&r);
    EXPECT_EQ(r, (Rect16{ 0, 0, 0, 0 }));
}

TEST(point_set, fills_the_fields_and_returns_the_point)
{
    Point16 p;
    EXPECT_EQ(point_set(&p, -32768, 32767), &p);
    EXPECT_EQ(p, (Point16{ -32768, 32767 }));
}

TEST(rect_set, fills_the_fields_and_returns_the_rect)
{
    Rect16 r;
    EXPECT_EQ(rect_set(&r, 1, 2, 3, 4), &r);
    EXPECT_EQ(r.left, 1);
    EXPECT_EQ(r.top, 2);
    EXPECT_EQ(r.right, 3);
    EXPECT_EQ(r.bottom, 4);
}

// ---- In place -------------------------------------------------------------------------------------------------------

TEST(rect_offset, adds_to_both_x_and_both_y)
{
    Rect16 r = { 1, 2, 3, 4 };
    rect_offset(&r, 10, -20);
    EXPECT_EQ(r, (Rect16{ 11, -18, 13, -16 }));
}

TEST(rect_offset, wraps)
{
    Rect16 r = { 32767, -32768, 0, 1 };
    rect_offset(&r, 1, -1);
    EXPECT_EQ(r, (Rect16{ -32768, 32767, 1, 0 }));
}

TEST(rect_offset, leaves_null_alone)
{
    rect_offset(nullptr, 1, 1);
}

TEST(rect_inset, moves_each_edge_inward)
{
    Rect16 r = { 10, 20, 110, 220 };
    rect_inset(&r, 3, 5);
    EXPECT_EQ(r, (Rect16{ 13, 25, 107, 215 }));
    rect_inset(&r, -3, -5);
    EXPECT_EQ(r, (Rect16{ 10, 20, 110, 220 }));
}

TEST(rect_inset, may_cross_the_edges)
{
    Rect16 r = { 0, 0, 4, 4 };
    rect_inset(&r, 3, 2);
    EXPECT_EQ(r, (Rect16{ 3, 2, 1, 2 }));
}

TEST(rect_inset, wraps)
{
    Rect16 r = { 32767, 32767, -32768, -32768 };
    rect_inset(&r, 1, 2);
    EXPECT_EQ(r, (Rect16{ -32768, -32767, 32767, 32766 }));
}

TEST(rect_inset, leaves_null_alone)
{
    rect_inset(nullptr, 1, 1);
}

TEST(rect_normalise, swaps_crossed_edges_each_way_by_itself)
{
    Rect16 r = { 3, 4, 1, 2 };
    rect_normalise(&r);
    EXPECT_EQ(r, (Rect16{ 1, 2, 3, 4 }));
    r = { 3, 2, 1, 4 };
    rect_normalise(&r);
    EXPECT_EQ(r, (Rect16{ 1, 2, 3, 4 }));
    r = { 1, 4, 3, 2 };
    rect_normalise(&r);
    EXPECT_EQ(r, (Rect16{ 1, 2, 3, 4 }));
    rect_normalise(&r);
    EXPECT_EQ(r, (Rect16{ 1, 2, 3, 4 }));
}

TEST(rect32_normalise, swaps_crossed_edges_each_way_by_itself)
{
    Rect32 r = { 70000, 2, -70000, 4 };
    rect32_normalise(&r);
    EXPECT_EQ(r, (Rect32{ -70000, 2, 70000, 4 }));
    r = { 1, 70000, 3, -70000 };
    rect32_normalise(&r);
    EXPECT_EQ(r, (Rect32{ 1, -70000, 3, 70000 }));
    rect32_normalise(&r);
    EXPECT_EQ(r, (Rect32{ 1, -70000, 3, 70000 }));
}

TEST(rect32_normalise, leaves_null_alone)
{
    rect32_normalise(nullptr);
}

// ---- Questions ------------------------------------------------------------------------------------------------------

static i16 empty(Rect16 r) { return rect_is_empty(&r); }
static i16 holds(Rect16 r, Point16 p) { return point_in_rect(&p, &r); }
static i16 meet(Rect16 a, Rect16 b)
{
    i16 result = rect_intersects(&a, &b);
    EXPECT_EQ(result, rect_intersects(&b, &a));
    return result;
}

TEST(rect_is_empty, is_true_without_width_or_height)
{
    EXPECT_EQ(empty({ 0, 0, 0, 0 }), 1);
    EXPECT_EQ(empty({ 5, 1, 5, 9 }), 1);
    EXPECT_EQ(empty({ 1, 5, 9, 5 }), 1);
    EXPECT_EQ(empty({ 6, 1, 5, 9 }), 1);
    EXPECT_EQ(empty({ 1, 6, 9, 5 }), 1);
}

TEST(rect_is_empty, is_false_from_one_by_one_on)
{
    EXPECT_EQ(empty({ 0, 0, 1, 1 }), 0);
    EXPECT_EQ(empty({ -32768, -32768, 32767, 32767 }), 0);
}

TEST(rect_equal, compares_all_four_fields)
{
    const Rect16 r = { 1, 2, 3, 4 };
    const Rect16 others[] = { { 0, 2, 3, 4 }, { 1, 0, 3, 4 }, { 1, 2, 0, 4 }, { 1, 2, 3, 0 } };
    Rect16 same = r;
    EXPECT_EQ(rect_equal(&r, &same), 1);
    for (const Rect16 &other : others) EXPECT_EQ(rect_equal(&r, &other), 0);
}

TEST(point_equal, compares_both_fields)
{
    const Point16 p = { 1, 2 };
    const Point16 others[] = { { 0, 2 }, { 1, 0 }, { 2, 1 } };
    Point16 same = p;
    EXPECT_EQ(point_equal(&p, &same), 1);
    for (const Point16 &other : others) EXPECT_EQ(point_equal(&p, &other), 0);
}

TEST(point_in_rect, takes_in_all_four_edges)
{
    const Rect16 r = { 10, 20, 30, 40 };
    EXPECT_EQ(holds(r, { 20, 30 }), 1);
    EXPECT_EQ(holds(r, { 10, 30 }), 1);
    EXPECT_EQ(holds(r, { 30, 30 }), 1);
    EXPECT_EQ(holds(r, { 20, 20 }), 1);
    EXPECT_EQ(holds(r, { 20, 40 }), 1);
    EXPECT_EQ(holds(r, { 30, 40 }), 1);
}

TEST(point_in_rect, leaves_out_what_is_one_beyond_an_edge)
{
    const Rect16 r = { 10, 20, 30, 40 };
    EXPECT_EQ(holds(r, { 9, 30 }), 0);
    EXPECT_EQ(holds(r, { 31, 30 }), 0);
    EXPECT_EQ(holds(r, { 20, 19 }), 0);
    EXPECT_EQ(holds(r, { 20, 41 }), 0);
}

TEST(point_in_rect, finds_a_point_in_an_empty_rect)
{
    const Rect16 r = { 5, 1, 5, 9 };
    EXPECT_EQ(empty(r), 1);
    EXPECT_EQ(holds(r, { 5, 3 }), 1);
}

TEST(rect_intersects, is_true_where_they_overlap)
{
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 5, 5, 15, 15 }), 1);
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 2, 2, 3, 3 }), 1);
    EXPECT_EQ(meet({ 0, 4, 10, 5 }, { 4, 0, 5, 10 }), 1);  // a cross
}

TEST(rect_intersects, counts_touching_edges)
{
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 10, 0, 20, 10 }), 1);
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 0, 10, 10, 20 }), 1);
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 10, 10, 20, 20 }), 1);  // a corner
}

TEST(rect_intersects, is_false_when_one_lies_to_a_side)
{
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 11, 0, 20, 10 }), 0);
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 0, 11, 10, 20 }), 0);
}

TEST(rect_intersects, is_false_when_either_is_empty)
{
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 5, 5, 5, 8 }), 0);
    EXPECT_EQ(meet({ 0, 0, 10, 10 }, { 5, 5, 8, 5 }), 0);
    EXPECT_EQ(meet({ 5, 5, 5, 8 }, { 5, 5, 5, 8 }), 0);
}

// ---- New ones -------------------------------------------------------------------------------------------------------

static Rect16 intersection(Rect16 a, Rect16 b)
{
    Rect16 r = { 77, 77, 77, 77 };
    rect_intersection(&r, &a, &b);
    return r;
}

static Rect16 united(Rect16 a, Rect16 b)
{
    Rect16 r = { 77, 77, 77, 77 };
    rect_union(&r, &a, &b);
    return r;
}

TEST(rect_intersection, takes_the_inner_edges)
{
    EXPECT_EQ(intersection({ 0, 1, 10, 11 }, { 5, 6, 15, 16 }), (Rect16{ 5, 6, 10, 11 }));
    EXPECT_EQ(intersection({ 5, 6, 15, 16 }, { 0, 1, 10, 11 }), (Rect16{ 5, 6, 10, 11 }));
}

TEST(rect_intersection, is_cleared_if_they_do_not_meet)
{
    EXPECT_EQ(intersection({ 1, 1, 10, 10 }, { 11, 1, 20, 10 }), (Rect16{ 0, 0, 0, 0 }));
    EXPECT_EQ(intersection({ 1, 1, 10, 10 }, { 5, 5, 5, 8 }), (Rect16{ 0, 0, 0, 0 }));
}

TEST(rect_intersection, of_touching_rects_is_empty)
{
    Rect16 r = intersection({ 0, 0, 10, 10 }, { 10, 2, 20, 8 });
    EXPECT_EQ(r, (Rect16{ 10, 2, 10, 8 }));
    EXPECT_EQ(empty(r), 1);
}

TEST(rect_intersection, may_go_into_an_operand)
{
    Rect16 a = { 0, 1, 10, 11 };
    Rect16 b = { 5, 6, 15, 16 };
    rect_intersection(&a, &a, &b);
    EXPECT_EQ(a, (Rect16{ 5, 6, 10, 11 }));
    a = { 0, 1, 10, 11 };
    rect_intersection(&b, &a, &b);
    EXPECT_EQ(b, (Rect16{ 5, 6, 10, 11 }));
}

TEST(rect_union, takes_the_outer_edges)
{
    EXPECT_EQ(united({ 0, 1, 10, 11 }, { 5, 6, 15, 16 }), (Rect16{ 0, 1, 15, 16 }));
    EXPECT_EQ(united({ 5, 6, 15, 16 }, { 0, 1, 10, 11 }), (Rect16{ 0, 1, 15, 16 }));
}

TEST(rect_union, does_not_skip_an_empty_operand)
{
    EXPECT_EQ(united({ 5, 5, 10, 10 }, { 0, 0, 0, 0 }), (Rect16{ 0, 0, 10, 10 }));
    EXPECT_EQ(united({ 30, 30, 20, 20 }, { 5, 5, 10, 10 }), (Rect16{ 5, 5, 20, 20 }));  // crossed edges too
}

TEST(rect_union, may_go_into_an_operand)
{
    Rect16 a = { 0, 1, 10, 11 };
    Rect16 b = { 5, 6, 15, 16 };
    rect_union(&b, &a, &b);
    EXPECT_EQ(b, (Rect16{ 0, 1, 15, 16 }));
}

static Rect16 bounds(const std::vector<Point16> &points)
{
    Rect16 r = { 77, 77, 77, 77 };
    rect_bounds(&r, points.data(), (i16)points.size());
    return r;
}

TEST(rect_bounds, holds_all_points)
{
    EXPECT_EQ(bounds({ { 3, -4 }, { -1, 7 }, { 2, 2 } }), (Rect16{ -1, -4, 3, 7 }));
}

TEST(rect_bounds, of_one_point_is_that_point_alone)
{
    EXPECT_EQ(bounds({ { 3, -4 } }), (Rect16{ 3, -4, 3, -4 }));
    EXPECT_EQ(bounds({ { 32767, -32767 } }), (Rect16{ 32767, -32767, 32767, -32767 }));
}

TEST(rect_bounds, never_ends_below_minus_32767)
{
    EXPECT_EQ(bounds({ { -32768, -32768 } }), (Rect16{ -32768, -32768, -32767, -32767 }));
}

TEST(rect_bounds, is_cleared_without_points)
{
    const Point16 point = { 5, 5 };
    for (i16 n : std::vector<i16>{ 0, -1, -32768 }) {
        Rect16 r = { 77, 77, 77, 77 };
        rect_bounds(&r, &point, n);
        EXPECT_EQ(r, (Rect16{ 0, 0, 0, 0 })) << n;
    }
    Rect16 r = { 77, 77, 77, 77 };
    rect_bounds(&r, nullptr, 1);
    EXPECT_EQ(r, (Rect16{ 0, 0, 0, 0 }));
}

// ---- From outside ---------------------------------------------------------------------------------------------------

namespace {

// A file of one byte and four fields, of which the second is negative; open, with the log begun behind the opening.
struct RectFile {
    TempDir dir;
    FileHandle file;

    RectFile()
    {
        file_seterrorptr(&file_error);
        file = file_open(dir.put("a", std::string("\xEE\x01\x02\xFF\xFE\x03\x04\x05\x06", 9)), FILE_RW_SHARED);
        EXPECT_NE(file, 0u);
        calls_reset();
    }
    ~RectFile()
    {
        faults_stop();
        file_close(file);
        file_error = FILE_OK;
    }
};

} // namespace

TEST(file_read_be_rect_at, reads_top_left_bottom_right)
{
    RectFile open;
    Rect16 r;
    file_read_be_rect_at(open.file, 1, &r);
    EXPECT_EQ(r.top, 0x0102);
    EXPECT_EQ(r.left, -2);
    EXPECT_EQ(r.bottom, 0x0304);
    EXPECT_EQ(r.right, 0x0506);
    EXPECT_EQ(call_lines(), (std::vector<std::string>{ "seek 1", "read 1+8" }));
}

TEST(file_read_be_rect_at, gives_0_for_bytes_that_are_not_read)
{
    RectFile open;
    Rect16 r = { 77, 77, 77, 77 };
    file_read_be_rect_at(open.file, 4, &r);  // FE 03 | 04 05 | 06
    EXPECT_EQ(r, (Rect16{ .left = 0x0405, .top = (i16)0xFE03, .right = 0, .bottom = 0x0600 }));

    r = { 77, 77, 77, 77 };
    faults_start({ .call = FAULT_READ });
    file_read_be_rect_at(open.file, 1, &r);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(r, (Rect16{ 0, 0, 0, 0 }));
}

TEST(text_metrics, gives_0)
{
    i16 width = 77;
    i16 height = 77;
    text_metrics(&width, &height);
    EXPECT_EQ(width, 0);
    EXPECT_EQ(height, 0);
}

TEST(text_metrics, leaves_out_a_null_pointer)
{
    i16 width = 77;
    i16 height = 77;
    text_metrics(nullptr, nullptr);
    text_metrics(&width, nullptr);
    text_metrics(nullptr, &height);
    EXPECT_EQ(width, 0);
    EXPECT_EQ(height, 0);
}

} // namespace zuk
