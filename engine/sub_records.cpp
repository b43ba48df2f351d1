#include "engine/sub_records.h"

#include "foundation/handles.h"
#include "foundation/little_endian.h"

#include <string.h>

namespace zuk {

// ---- The layouts ----------------------------------------------------------------------------------------------------

struct Layout {
    i16 record_size;  // in bytes
    i16 header_size;  // the same for all layouts of a group
    i16 counter;      // where the array's LeI16 stands in the header
    i16 behind;       // the layout of the array in front of this one; FIRST when it opens its group
};
constexpr i16 FIRST = -1;

// Which resource uses which of them is not known here.
constexpr Layout LAYOUTS[] = {
    { 2, 4, 0, FIRST },     //  0
    { 2, 4, 2, 0 },

    { 2, 26, 0, FIRST },    //  2
    { 4, 26, 2, 2 },
    { 2, 26, 4, 3 },

    { 12, 96, 0, FIRST },   //  5
    { 2, 96, 2, 5 },
    { 4, 96, 4, 6 },

    { 8, 4, 0, FIRST },     //  8
    { 2, 18, 0, FIRST },    //  9
    { 4, 4, 0, FIRST },     // 10
    { 64, 10, 0, FIRST },   // 11
    { 2, 32, 0, FIRST },    // 12
    { 66, 46, 0, FIRST },   // 13
    { 6, 4, 0, FIRST },     // 14

    { 4, 20, 0, FIRST },    // 15
    { 10, 20, 2, 15 },
    { 2, 20, 4, 16 },

    { 2, 10, 0, FIRST },    // 18
    { 6, 4, 0, FIRST },     // 19
    { 18, 6, 0, FIRST },    // 20
    { 18, 6, 0, FIRST },    // 21
    { 2, 4, 0, FIRST },     // 22
    { 2, 8, 0, FIRST },     // 23
    { 6, 4, 0, FIRST },     // 24
    { 2, 4, 0, FIRST },     // 25
    { 2, 4, 0, FIRST },     // 26

    { 6, 6, 0, FIRST },     // 27
    { 6, 6, 2, 27 },

    { 2, 470, 0, FIRST },   // 29
    { 2, 470, 2, 29 },
    { 20, 470, 4, 30 },
    { 20, 470, 6, 31 },

    { 2, 94, 0, FIRST },    // 33
    { 8, 94, 2, 33 },
    { 16, 94, 4, 34 },
    { 256, 94, 6, 35 },
    { 86, 94, 8, 36 },
    { 10, 94, 10, 37 },

    { 14, 14, 0, FIRST },   // 39
};
constexpr i32 LAYOUT_COUNT = sizeof LAYOUTS / sizeof LAYOUTS[0];
static_assert(LAYOUT_COUNT == 40);

static const Layout *layout_at(i32 layout)
{
    return layout < 0 || layout >= LAYOUT_COUNT ? nullptr : &LAYOUTS[layout];
}

// ---- Counters and places --------------------------------------------------------------------------------------------

static bool holds_counter(const Layout *layout, i32 size) { return layout->counter + (i32)sizeof(LeI16) <= size; }

// 0 when the body is too short to hold it.
static i16 counter_of(const Layout *layout, const u8 *body, i32 size)
{
    if (!holds_counter(layout, size)) return 0;

    LeI16 counter;
    memcpy(&counter, body + layout->counter, sizeof counter);
    return le_get(counter);
}

// A counter of a damaged body may be negative, and takes its bytes off. Of all layouts the sum fits by far.
static i32 bytes_before(const Layout *layout, const u8 *body, i32 size)
{
    i32 bytes = 0;
    while (layout->behind != FIRST) {
        layout = &LAYOUTS[layout->behind];
        bytes += counter_of(layout, body, size) * layout->record_size;
    }
    return bytes;
}

// Where a record begins, if the body has its whole header and the record lies within the first `room` bytes. False if
// not, and for a layout or a handle that does not exist.
static bool place_of(GHandle body, i32 layout, i32 index, i64 room, i64 *position)
{
    const Layout *at = layout_at(layout);
    i32 size = gsize(body);
    if (!at || size < at->header_size) return false;

    const u8 *bytes = (const u8 *)glock(body);
    *position = (i64)bytes_before(at, bytes, size) + sub_record_offset(layout, index);
    gunlock(body);
    return *position >= 0 && *position + at->record_size <= room;
}

i16 sub_record_size(i32 layout)
{
    const Layout *at = layout_at(layout);
    return at ? at->record_size : (i16)0;
}

i32 sub_records_before(i32 layout, const void *body)
{
    const Layout *at = layout_at(layout);
    return at && body ? bytes_before(at, (const u8 *)body, gsize(ghandle(body))) : 0;
}

i32 sub_record_offset(i32 layout, i32 index)
{
    const Layout *at = layout_at(layout);
    return at ? (i32)(at->header_size + (i64)at->record_size * ((i64)index - 1)) : 0;
}

// KEPT: one would expect a counter to stay within the records that there are. It goes up and down by what is asked,
// below 0 and from 32767 to -32768 too. Test: sub_record_count_add.adds_in_16_bits
void sub_record_count_add(GHandle body, i32 layout, i16 delta)
{
    const Layout *at = layout_at(layout);
    i32 size = gsize(body);
    if (!at || !holds_counter(at, size)) return;

    u8 *bytes = (u8 *)glock(body);
    LeI16 counter = le_i16((i16)(counter_of(at, bytes, size) + delta));
    memcpy(bytes + at->counter, &counter, sizeof counter);
    gunlock(body);
}

} // namespace zuk

using namespace zuk;

extern "C" {

// ---- The exported operations ----------------------------------------------------------------------------------------

// KEPT: one would expect the index to be held against the counter. It is not, in any of the four: while its place lies
// in the body, the record of a later array, a piece of the tail or, for index 0, the end of the header is what they
// work on. Test: get_res.reads_what_lies_behind_the_last_record
// Test: get_res.reads_the_end_of_the_header_for_index_0
void get_res(GHandle body, int32_t layout, uint16_t index, void *record)
{
    i64 position;
    if (!record || !place_of(body, layout, index, gsize(body), &position)) return;

    const u8 *bytes = (const u8 *)glock(body);
    memmove(record, bytes + position, (size_t)sub_record_size(layout));
    gunlock(body);
}

void change_res(GHandle body, int32_t layout, uint16_t index, const void *record)
{
    i64 position;
    if (!record || !place_of(body, layout, index, gsize(body), &position)) return;

    u8 *bytes = (u8 *)glock(body);
    memmove(bytes + position, record, (size_t)sub_record_size(layout));
    gunlock(body);
}

void add_res(GHandle *body, int32_t layout, int16_t index, const void *record)
{
    // KEPT: one would expect all four to refuse an index below 1. Only this one does; its index has a sign, too.
    // Test: add_res.alone_refuses_an_index_below_1
    if (index < 1 || !body || !record) return;

    // KEPT: one would expect an index behind the end of the array to append, or to be refused. Up to the end of the
    // body the record is put where it would lie if the array went on, between or into the records of the next one.
    // Test: add_res.puts_a_record_of_a_later_index_into_what_lies_behind
    i32 old_size = gsize(*body);
    i32 size = sub_record_size(layout);
    i64 new_size = (i64)old_size + size;
    i64 position;
    if (!place_of(*body, layout, index, new_size, &position) || new_size > INT32_MAX) return;

    // KEPT: one would expect to be told, and to keep the body, when there is no memory for a larger one. The caller's
    // variable is 0 then, and the body is lost. Test: add_res.takes_the_handle_away_when_the_resize_fails
    if (!grealloc(body, (i32)new_size)) return;

    // All that stands from the record's place on moves up: the rest of the array, later arrays, the tail.
    // KEPT: one would expect the counter to end one higher than it was. It is read anew behind the record, whose place
    // went by the counters as they were: where one below 0 has led into the header, 1 is added to what the record has
    // put there. Test: add_res.follows_the_counters_in_front_as_they_were
    // Test: add_res.to_an_empty_first_array_moves_all_later_arrays_up
    u8 *bytes = (u8 *)glock(*body);
    memmove(bytes + position + size, bytes + position, (size_t)(old_size - position));
    memcpy(bytes + position, record, (size_t)size);
    gunlock(*body);
    sub_record_count_add(*body, layout, 1);
}

// KEPT: one would expect an empty array to stay empty. The record behind it, or a piece of the header for index 0, goes
// in its place, and the counter falls below 0; it falls for the last record too, where no byte has to move.
// Test: del_res.counts_down_whatever_it_removed
// Test: del_res.counts_down_for_the_last_record_too
void del_res(GHandle *body, int32_t layout, uint16_t index)
{
    if (!body) return;

    i32 old_size = gsize(*body);
    i32 size = sub_record_size(layout);
    i64 position;
    if (!place_of(*body, layout, index, old_size, &position)) return;

    u8 *bytes = (u8 *)glock(*body);
    memmove(bytes + position, bytes + position + size, (size_t)(old_size - position - size));
    gunlock(*body);

    // A body that cannot be resized is lost, as in `add_res`; its counter is then as it was.
    if (grealloc(body, old_size - size)) sub_record_count_add(*body, layout, -1);
}

} // extern "C"
