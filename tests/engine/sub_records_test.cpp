#include "engine/sub_records.h"

#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace zuk {
namespace {

// ---- The layouts as they are documented -----------------------------------------------------------------------------

constexpr i32 NONE = -1;

struct Row {
    i32 layout, record_size, header_size, counter, behind;
};

constexpr Row ROWS[] = {
    { 0, 2, 4, 0, NONE },    { 1, 2, 4, 2, 0 },       { 2, 2, 26, 0, NONE },   { 3, 4, 26, 2, 2 },
    { 4, 2, 26, 4, 3 },      { 5, 12, 96, 0, NONE },  { 6, 2, 96, 2, 5 },      { 7, 4, 96, 4, 6 },
    { 8, 8, 4, 0, NONE },    { 9, 2, 18, 0, NONE },   { 10, 4, 4, 0, NONE },   { 11, 64, 10, 0, NONE },
    { 12, 2, 32, 0, NONE },  { 13, 66, 46, 0, NONE }, { 14, 6, 4, 0, NONE },   { 15, 4, 20, 0, NONE },
    { 16, 10, 20, 2, 15 },   { 17, 2, 20, 4, 16 },    { 18, 2, 10, 0, NONE },  { 19, 6, 4, 0, NONE },
    { 20, 18, 6, 0, NONE },  { 21, 18, 6, 0, NONE },  { 22, 2, 4, 0, NONE },   { 23, 2, 8, 0, NONE },
    { 24, 6, 4, 0, NONE },   { 25, 2, 4, 0, NONE },   { 26, 2, 4, 0, NONE },   { 27, 6, 6, 0, NONE },
    { 28, 6, 6, 2, 27 },     { 29, 2, 470, 0, NONE }, { 30, 2, 470, 2, 29 },   { 31, 20, 470, 4, 30 },
    { 32, 20, 470, 6, 31 },  { 33, 2, 94, 0, NONE },  { 34, 8, 94, 2, 33 },    { 35, 16, 94, 4, 34 },
    { 36, 256, 94, 6, 35 },  { 37, 86, 94, 8, 36 },   { 38, 10, 94, 10, 37 },  { 39, 14, 14, 0, NONE },
};
static_assert(sizeof ROWS / sizeof ROWS[0] == 40);

constexpr i32 BAD_LAYOUTS[] = { -1, 40, 41, INT_MAX, INT_MIN };

// The layouts of the group in the order of their arrays. A group is a run of rows, each behind the one before it.
std::vector<i32> group_of(i32 layout)
{
    i32 first = layout;
    while (ROWS[first].behind != NONE) first = ROWS[first].behind;
    std::vector<i32> group = { first };
    for (i32 next = first + 1; next < 40 && ROWS[next].behind == next - 1; next++) group.push_back(next);
    return group;
}

// ---- A body that is plain to see ------------------------------------------------------------------------------------

std::string number(i32 value) { return { (char)(u8)value, (char)(u8)(value >> 8) }; }

// What a body should be: its header, records by layout, and the tail, in vectors.
struct Model {
    i32 layout;
    std::string header;
    std::map<i32, std::vector<std::string>> arrays;
    std::string tail;

    explicit Model(i32 of) : layout(of), header((size_t)ROWS[of].header_size, '\xEE')
    {
        for (i32 member : group_of(of)) arrays[member] = {};
    }

    // All bytes. The counters stand in the header, and nothing else of it may change.
    std::string bytes() const
    {
        std::string all = header;
        for (const auto &[member, records] : arrays) {
            all.replace((size_t)ROWS[member].counter, 2, number((i32)records.size()));
            for (const std::string &record : records) all += record;
        }
        return all + tail;
    }

    std::string record(char fill) const { return std::string((size_t)ROWS[layout].record_size, fill); }
};

// A record of its layout whose bytes tell its number.
std::string record_of(i32 layout, i32 which)
{
    std::string bytes;
    for (i32 i = 0; i < ROWS[layout].record_size; i++) bytes += (char)(u8)(which * 31 + layout + i);
    return bytes;
}

// A model with so many records in each array of the group, and a tail.
Model model_of(i32 layout, i32 records)
{
    Model model(layout);
    for (auto &[member, array] : model.arrays) {
        for (i32 i = 0; i < records; i++) array.push_back(record_of(member, i));
    }
    model.tail = "the tail";
    return model;
}

// A body in a handle, freed at the end.
struct Body {
    GHandle handle;

    explicit Body(const std::string &bytes) : handle(handle_of(bytes)) {}
    ~Body() { gfree(handle); }
    Body(const Body &) = delete;
    Body &operator=(const Body &) = delete;

    std::string bytes() const { return bytes_of(handle); }
    i16 counter(i32 layout) const
    {
        std::string now = bytes();
        return (i16)(u16)u16_at(now, (size_t)ROWS[layout].counter);
    }

    // A record that get_res leaves alone reads as all `?`.
    std::string get(i32 layout, u16 index) const
    {
        std::string record((size_t)ROWS[layout].record_size, '?');
        get_res(handle, layout, index, record.data());
        return record;
    }
    void add(i32 layout, i16 index, const std::string &record) { add_res(&handle, layout, index, record.data()); }
    void del(i32 layout, u16 index) { del_res(&handle, layout, index); }
    void change(i32 layout, u16 index, const std::string &record) { change_res(handle, layout, index, record.data()); }
};

// A body of layouts 2 to 4 by its parts: three counters, 20 bytes of the format's own, the arrays and the tail.
std::string three_arrays(i32 first, i32 second, i32 third, const std::string &rest)
{
    return number(first) + number(second) + number(third) + std::string(20, 'h') + rest;
}

// A body of layouts 0 and 1.
std::string two_arrays(i32 first, i32 second, const std::string &rest) { return number(first) + number(second) + rest; }

// ---- All operations -------------------------------------------------------------------------------------------------

TEST(sub_records, has_every_operation)
{
    void *const operations[] = {
        (void *)add_res,         (void *)get_res,            (void *)del_res,           (void *)change_res,
        (void *)sub_record_size, (void *)sub_records_before, (void *)sub_record_offset, (void *)sub_record_count_add,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- sub_record_size ------------------------------------------------------------------------------------------------

TEST(sub_record_size, is_that_of_the_layout)
{
    for (const Row &row : ROWS) EXPECT_EQ(sub_record_size(row.layout), row.record_size) << row.layout;
}

TEST(sub_record_size, is_0_for_a_layout_that_does_not_exist)
{
    for (i32 layout : BAD_LAYOUTS) EXPECT_EQ(sub_record_size(layout), 0) << layout;
}

// ---- sub_records_before ---------------------------------------------------------------------------------------------

TEST(sub_records_before, is_the_bytes_of_the_arrays_in_front)
{
    for (const Row &row : ROWS) {
        Body body(model_of(row.layout, 3).bytes());
        i32 expected = 0;
        for (i32 member : group_of(row.layout)) {
            if (member < row.layout) expected += 3 * ROWS[member].record_size;
        }
        EXPECT_EQ(sub_records_before(row.layout, glock(body.handle)), expected) << row.layout;
    }
}

TEST(sub_records_before, takes_each_counter_of_the_group_from_its_place)
{
    // Different counters everywhere, behind each other's backs: 1, 2, 3, ... times the record sizes.
    for (const Row &row : ROWS) {
        Model model(row.layout);
        i32 count = 0;
        for (auto &[member, array] : model.arrays) array.assign((size_t)++count, record_of(member, 1));
        Body body(model.bytes());
        i32 expected = 0;
        count = 0;
        for (i32 member : group_of(row.layout)) {
            EXPECT_EQ(sub_records_before(member, glock(body.handle)), expected) << member;
            expected += ++count * ROWS[member].record_size;
        }
    }
}

TEST(sub_records_before, is_0_for_the_first_array_whatever_its_own_counter)
{
    Body body(two_arrays(3, 4, "112233aabbccdd"));
    EXPECT_EQ(sub_records_before(0, glock(body.handle)), 0);
    EXPECT_EQ(sub_records_before(1, glock(body.handle)), 6);
}

TEST(sub_records_before, takes_a_counter_as_signed)
{
    Body body(three_arrays(-3, 32767, 0, ""));
    EXPECT_EQ(sub_records_before(3, glock(body.handle)), -6);
    EXPECT_EQ(sub_records_before(4, glock(body.handle)), -6 + 32767 * 4);
}

TEST(sub_records_before, takes_a_counter_that_the_body_does_not_hold_as_0)
{
    for (size_t size = 0; size <= 4; size++) {
        Body body(three_arrays(2, 3, 0, "").substr(0, size));
        i32 first = size >= 2 ? 2 * 2 : 0;
        EXPECT_EQ(sub_records_before(3, glock(body.handle)), first) << size;
        EXPECT_EQ(sub_records_before(4, glock(body.handle)), first + (size >= 4 ? 3 * 4 : 0)) << size;
    }
}

TEST(sub_records_before, is_0_without_a_layout_or_a_body)
{
    Body body(two_arrays(3, 4, "112233aabbccdd"));
    for (i32 layout : BAD_LAYOUTS) EXPECT_EQ(sub_records_before(layout, glock(body.handle)), 0) << layout;
    EXPECT_EQ(sub_records_before(1, nullptr), 0);
}

// ---- sub_record_offset ----------------------------------------------------------------------------------------------

TEST(sub_record_offset, is_the_header_and_the_records_below_the_index)
{
    for (const Row &row : ROWS) {
        EXPECT_EQ(sub_record_offset(row.layout, 1), row.header_size) << row.layout;
        EXPECT_EQ(sub_record_offset(row.layout, 4), row.header_size + 3 * row.record_size) << row.layout;
        EXPECT_EQ(sub_record_offset(row.layout, 0), row.header_size - row.record_size) << row.layout;
        EXPECT_EQ(sub_record_offset(row.layout, 65535), row.header_size + 65534 * row.record_size) << row.layout;
    }
}

TEST(sub_record_offset, is_0_for_a_layout_that_does_not_exist)
{
    for (i32 layout : BAD_LAYOUTS) EXPECT_EQ(sub_record_offset(layout, 5), 0) << layout;
}

// ---- sub_record_count_add -------------------------------------------------------------------------------------------

TEST(sub_record_count_add, changes_the_two_bytes_of_the_counter_alone)
{
    for (const Row &row : ROWS) {
        std::string before = model_of(row.layout, 2).bytes();
        Body body(before);
        sub_record_count_add(body.handle, row.layout, 300);
        std::string after = before;
        after.replace((size_t)row.counter, 2, number(302));
        EXPECT_EQ(body.bytes(), after) << row.layout;
        sub_record_count_add(body.handle, row.layout, -301);
        EXPECT_EQ(body.counter(row.layout), 1) << row.layout;
    }
}

TEST(sub_record_count_add, adds_in_16_bits)
{
    Body body(two_arrays(32767, 0, ""));
    sub_record_count_add(body.handle, 0, 1);
    EXPECT_EQ(body.bytes(), two_arrays(-32768, 0, ""));
    sub_record_count_add(body.handle, 0, -1);
    EXPECT_EQ(body.bytes(), two_arrays(32767, 0, ""));
    sub_record_count_add(body.handle, 1, -1);
    EXPECT_EQ(body.bytes(), two_arrays(32767, -1, ""));
}

TEST(sub_record_count_add, needs_no_more_of_the_body_than_the_counter)
{
    for (size_t size = 0; size <= 4; size++) {
        std::string before = std::string("\x05\x00\x07\x00", 4).substr(0, size);
        Body body(before);
        sub_record_count_add(body.handle, 1, 1);  // its counter is bytes 2 and 3
        if (size == 4) before[2] = 8;
        EXPECT_EQ(body.bytes(), before) << size;
    }
}

TEST(sub_record_count_add, does_nothing_without_a_layout_or_a_body)
{
    std::string before = two_arrays(1, 1, "1122");
    Body body(before);
    for (i32 layout : BAD_LAYOUTS) sub_record_count_add(body.handle, layout, 1);
    EXPECT_EQ(body.bytes(), before);
    sub_record_count_add(0, 0, 1);
}

// ---- get_res --------------------------------------------------------------------------------------------------------

TEST(get_res, finds_every_record_of_every_layout)
{
    for (const Row &row : ROWS) {
        Model model = model_of(row.layout, 4);
        Body body(model.bytes());
        for (const auto &[member, records] : model.arrays) {
            for (size_t i = 0; i < records.size(); i++) {
                EXPECT_EQ(body.get(member, (u16)(i + 1)), records[i]) << member << " record " << i + 1;
            }
        }
        EXPECT_EQ(body.bytes(), model.bytes());
    }
}

TEST(get_res, reads_behind_the_arrays_in_front)
{
    // 2 records of layout 2 and 3 of layout 3: 26 + 2 * 2 = 30, 30 + 2 * 4 = 38, 30 + 3 * 4 = 42.
    std::string bytes = three_arrays(2, 3, 1, "");
    for (char c = 'A'; bytes.size() < 44; c++) bytes += c;
    Body body(bytes);
    EXPECT_EQ(body.get(3, 1), bytes.substr(30, 4));
    EXPECT_EQ(body.get(3, 3), bytes.substr(38, 4));
    EXPECT_EQ(body.get(4, 1), bytes.substr(42, 2));
}

TEST(get_res, writes_the_bytes_of_one_record_and_no_more)
{
    for (const Row &row : ROWS) {
        Body body(model_of(row.layout, 2).bytes());
        std::string target((size_t)row.record_size + 2, '!');
        get_res(body.handle, row.layout, 2, target.data() + 1);
        EXPECT_EQ(target, "!" + record_of(row.layout, 1) + "!") << row.layout;
    }
}

TEST(get_res, reads_what_lies_behind_the_last_record)
{
    Body body(two_arrays(1, 2, "11aabbt"));
    EXPECT_EQ(body.get(0, 2), "aa");    // of the next array
    EXPECT_EQ(body.get(0, 3), "bb");
    EXPECT_EQ(body.get(0, 4), "??");    // one byte is left: nothing is read
    EXPECT_EQ(body.get(1, 3), "??");

    Body empty(two_arrays(0, 1, "aatt"));
    EXPECT_EQ(empty.get(0, 1), "aa");
    EXPECT_EQ(empty.get(1, 2), "tt");   // of the tail
}

TEST(get_res, reads_the_end_of_the_header_for_index_0)
{
    Body body(two_arrays(1, 2, "11aabb"));
    EXPECT_EQ(body.get(0, 0), number(2));   // the counter of layout 1
    EXPECT_EQ(body.get(1, 0), "11");        // the array in front

    Body wide(std::string(6, 'h') + std::string(18, 'r'));
    EXPECT_EQ(wide.get(20, 0), std::string(18, '?'));  // 6 - 18 lies in front of the body
}

TEST(get_res, takes_an_index_without_a_sign)
{
    // Record 40000 of 2 bytes: 4 + 39999 * 2.
    std::string bytes(80006, '.');
    bytes.replace(80002, 2, "!!");
    Body body(bytes);
    EXPECT_EQ(body.get(22, 40000), "!!");
    EXPECT_EQ(body.get(22, 40001), "..");
    EXPECT_EQ(body.get(22, 40002), "??");
    EXPECT_EQ(body.get(22, 65535), "??");
}

TEST(get_res, leaves_the_destination_when_the_record_ends_behind_the_body)
{
    for (const Row &row : ROWS) {
        std::string whole = Model(row.layout).bytes() + std::string((size_t)row.record_size, 'r');
        Body enough(whole);
        EXPECT_EQ(enough.get(row.layout, 1), std::string((size_t)row.record_size, 'r')) << row.layout;
        Body short_by_one(whole.substr(1));
        EXPECT_EQ(short_by_one.get(row.layout, 1), std::string((size_t)row.record_size, '?')) << row.layout;
    }
}

TEST(get_res, follows_a_negative_counter_within_the_body_only)
{
    // Layout 3 begins at 26 + 2 * counter of layout 2.
    Body inside(three_arrays(-5, 0, 0, "rrrr"));
    EXPECT_EQ(inside.get(3, 1), "hhhh");
    Body at_the_start(three_arrays(-13, 0, 0, "rrrr"));
    EXPECT_EQ(at_the_start.get(3, 1), number(-13) + number(0));
    Body outside(three_arrays(-14, 0, 0, "rrrr"));
    EXPECT_EQ(outside.get(3, 1), "????");
    EXPECT_EQ(outside.get(3, 2), number(0) + number(0));  // -2 + 4: the counters of layouts 3 and 4
    Body far_outside(three_arrays(-32768, 0, 0, "rrrr"));
    EXPECT_EQ(far_outside.get(3, 1), "????");
}

TEST(get_res, follows_the_largest_counters_within_the_body_only)
{
    Model model(38);
    std::string bytes = model.bytes() + "rrrrrrrrrr";
    for (size_t i = 0; i < 12; i += 2) bytes.replace(i, 2, number(32767));
    Body body(bytes);
    for (i32 layout = 34; layout <= 38; layout++) {
        EXPECT_EQ(body.get(layout, 1), std::string((size_t)ROWS[layout].record_size, '?')) << layout;
    }
}

TEST(get_res, does_nothing_in_a_body_shorter_than_the_header)
{
    for (const Row &row : ROWS) {
        for (size_t size : { (size_t)0, (size_t)1, (size_t)row.header_size - 1 }) {
            Body body(std::string(size, '\0'));
            EXPECT_EQ(body.get(row.layout, 1), std::string((size_t)row.record_size, '?')) << row.layout;
            EXPECT_EQ(body.get(row.layout, 0), std::string((size_t)row.record_size, '?')) << row.layout;
        }
    }
}

TEST(get_res, does_nothing_without_a_handle_a_layout_or_a_destination)
{
    char record[256];
    memset(record, '?', sizeof record);
    get_res(0, 0, 1, record);
    GHandle freed = handle_of(std::string(100, 'x'));
    gfree(freed);
    get_res(freed, 0, 1, record);
    Body body(std::string(1000, 'x'));
    for (i32 layout : BAD_LAYOUTS) get_res(body.handle, layout, 1, record);
    EXPECT_EQ(std::string(record, sizeof record), std::string(256, '?'));
    get_res(body.handle, 0, 1, nullptr);
}

// ---- change_res -----------------------------------------------------------------------------------------------------

TEST(change_res, replaces_one_record_of_every_layout)
{
    for (const Row &row : ROWS) {
        Model model = model_of(row.layout, 3);
        Body body(model.bytes());
        for (u16 index = 1; index <= 3; index++) {
            std::string record = record_of(row.layout, 100 + index);
            body.change(row.layout, index, record);
            model.arrays[row.layout][(size_t)index - 1] = record;
            EXPECT_EQ(body.bytes(), model.bytes()) << row.layout << " record " << index;
        }
    }
}

TEST(change_res, overwrites_what_lies_behind_the_last_record)
{
    Body body(two_arrays(1, 2, "11aabbt"));
    body.change(0, 2, "##");
    EXPECT_EQ(body.bytes(), two_arrays(1, 2, "11##bbt"));
    body.change(0, 4, "##");                                    // one byte is left
    body.change(0, 65535, "##");
    EXPECT_EQ(body.bytes(), two_arrays(1, 2, "11##bbt"));
}

TEST(change_res, overwrites_the_end_of_the_header_for_index_0)
{
    Body body(two_arrays(1, 2, "11aabb"));
    body.change(0, 0, number(9));
    EXPECT_EQ(body.bytes(), two_arrays(1, 9, "11aabb"));

    std::string wide = std::string(6, 'h') + std::string(18, 'r');
    Body outside(wide);
    outside.change(20, 0, std::string(18, '#'));
    EXPECT_EQ(outside.bytes(), wide);
}

TEST(change_res, does_nothing_outside_the_body)
{
    for (const Row &row : ROWS) {
        std::string record((size_t)row.record_size, '#');
        std::string no_record = Model(row.layout).bytes() + record.substr(1);
        Body body(no_record);
        body.change(row.layout, 1, record);
        EXPECT_EQ(body.bytes(), no_record) << row.layout;

        std::string no_header((size_t)row.header_size - 1, '\0');
        Body headless(no_header);
        headless.change(row.layout, 0, record);
        headless.change(row.layout, 1, record);
        EXPECT_EQ(headless.bytes(), no_header) << row.layout;
    }
}

TEST(change_res, does_nothing_without_a_handle_a_layout_or_a_record)
{
    std::string record(256, '#');
    change_res(0, 0, 1, record.data());
    Body body(std::string(1000, '\0'));
    for (i32 layout : BAD_LAYOUTS) change_res(body.handle, layout, 1, record.data());
    change_res(body.handle, 0, 1, nullptr);
    EXPECT_EQ(body.bytes(), std::string(1000, '\0'));
}

// ---- add_res --------------------------------------------------------------------------------------------------------

TEST(add_res, inserts_in_front_of_the_record_at_the_index)
{
    Body body(two_arrays(2, 1, "1122aat"));
    body.add(0, 2, "##");
    EXPECT_EQ(body.bytes(), two_arrays(3, 1, "11##22aat"));
    body.add(0, 1, "^^");
    EXPECT_EQ(body.bytes(), two_arrays(4, 1, "^^11##22aat"));
}

TEST(add_res, appends_at_the_index_behind_the_last)
{
    Body body(two_arrays(2, 1, "1122aat"));
    body.add(0, 3, "33");
    EXPECT_EQ(body.bytes(), two_arrays(3, 1, "112233aat"));
    body.add(1, 2, "bb");
    EXPECT_EQ(body.bytes(), two_arrays(3, 2, "112233aabbt"));
}

TEST(add_res, to_an_empty_first_array_moves_all_later_arrays_up)
{
    for (const Row &row : ROWS) {
        if (row.behind != NONE) continue;
        Model model = model_of(row.layout, 2);
        model.arrays[row.layout].clear();
        Body body(model.bytes());
        body.add(row.layout, 1, record_of(row.layout, 7));
        EXPECT_EQ(body.counter(row.layout), 1) << row.layout;
        for (i32 member : group_of(row.layout)) {
            if (member == row.layout) continue;
            EXPECT_EQ(body.get(member, 1), record_of(member, 0)) << member;
            EXPECT_EQ(body.get(member, 2), record_of(member, 1)) << member;
        }
        model.arrays[row.layout] = { record_of(row.layout, 7) };
        EXPECT_EQ(body.bytes(), model.bytes()) << row.layout;
    }
}

TEST(add_res, makes_every_record_of_an_empty_body)
{
    for (const Row &row : ROWS) {
        Model model(row.layout);
        Body body(model.bytes());
        for (auto &[member, array] : model.arrays) {
            for (i16 index = 1; index <= 3; index++) {
                body.add(member, index, record_of(member, index));
                array.push_back(record_of(member, index));
                EXPECT_EQ(body.bytes(), model.bytes()) << member << " record " << index;
            }
        }
    }
}

TEST(add_res, grows_the_body_by_one_record)
{
    for (const Row &row : ROWS) {
        Body body(model_of(row.layout, 2).bytes());
        i32 before = gsize(body.handle);
        GHandle handle = body.handle;
        body.add(row.layout, 2, record_of(row.layout, 9));
        EXPECT_EQ(gsize(body.handle), before + row.record_size) << row.layout;
        EXPECT_EQ(body.handle, handle);
    }
}

TEST(add_res, alone_refuses_an_index_below_1)
{
    std::string before = two_arrays(2, 1, "1122aat");
    Body body(before);
    for (i16 index : std::initializer_list<i16>{ 0, -1, -32768 }) body.add(0, index, "##");
    EXPECT_EQ(body.bytes(), before);

    // The others work on the bytes of the header that index 0 leads to.
    EXPECT_EQ(body.get(0, 0), number(1));
    body.change(0, 0, number(5));
    EXPECT_EQ(body.bytes(), two_arrays(2, 5, "1122aat"));
    body.del(0, 0);
    EXPECT_EQ(body.bytes(), number(1) + "1122aat");
}

TEST(add_res, puts_a_record_of_a_later_index_into_what_lies_behind)
{
    Body body(two_arrays(1, 2, "11aabbt"));
    body.add(0, 3, "##");                                        // behind aa, in the next array
    EXPECT_EQ(body.bytes(), two_arrays(2, 2, "11aa##bbt"));

    Body between(three_arrays(1, 1, 0, "11aaaa"));
    between.add(2, 3, "##");                                     // in the midst of a record of 4 bytes
    EXPECT_EQ(between.bytes(), three_arrays(2, 1, 0, "11aa##aa"));
}

TEST(add_res, takes_the_end_of_the_body_for_the_last_place)
{
    Body body(two_arrays(0, 0, "tttt"));
    body.add(0, 3, "##");                                        // 4 + 2 * 2: right at the end
    EXPECT_EQ(body.bytes(), two_arrays(1, 0, "tttt##"));

    std::string before = two_arrays(0, 0, "ttt");
    Body odd(before);
    odd.add(0, 3, "##");                                         // a byte behind the end
    EXPECT_EQ(odd.bytes(), before);
    odd.add(0, 32767, "##");
    EXPECT_EQ(odd.bytes(), before);
    odd.add(0, 2, "##");                                         // in front of the last byte
    EXPECT_EQ(odd.bytes(), two_arrays(1, 0, "tt##t"));
}

TEST(add_res, follows_the_counters_in_front_as_they_were)
{
    // Layout 3 begins at 26 + 2 * -12 = 2, over its own counter (0) and that of layout 4 (0). Those move up, and 1 is
    // added to what the new record has put there.
    Body body(three_arrays(-12, 0, 0, "t"));
    body.add(3, 1, std::string("\x10\x00\x20\x00", 4));
    EXPECT_EQ(body.bytes(), number(-12) + number(0x11) + number(0x20) + number(0) + number(0) +
                                std::string(20, 'h') + "t");

    std::string before = three_arrays(-14, 0, 0, "t");
    Body outside(before);
    outside.add(3, 1, "####");
    EXPECT_EQ(outside.bytes(), before);
}

TEST(add_res, counts_from_32767_to_a_negative_number)
{
    Body body(two_arrays(32767, 0, "tt"));
    body.add(0, 1, "##");
    EXPECT_EQ(body.bytes(), two_arrays(-32768, 0, "##tt"));
}

TEST(add_res, does_nothing_in_a_body_shorter_than_the_header)
{
    for (const Row &row : ROWS) {
        std::string before((size_t)row.header_size - 1, '\0');
        Body body(before);
        body.add(row.layout, 1, record_of(row.layout, 1));
        EXPECT_EQ(body.bytes(), before) << row.layout;
    }
}

TEST(add_res, does_nothing_without_a_handle_a_layout_or_a_record)
{
    std::string record(256, '#');
    add_res(nullptr, 0, 1, record.data());
    GHandle none = 0;
    add_res(&none, 0, 1, record.data());
    EXPECT_EQ(none, 0u);
    GHandle freed = handle_of(std::string(100, '\0'));
    gfree(freed);
    GHandle variable = freed;
    add_res(&variable, 0, 1, record.data());
    EXPECT_EQ(variable, freed);

    Body body(std::string(1000, '\0'));
    for (i32 layout : BAD_LAYOUTS) add_res(&body.handle, layout, 1, record.data());
    add_res(&body.handle, 0, 1, nullptr);
    EXPECT_EQ(body.bytes(), std::string(1000, '\0'));
}

TEST(add_res, takes_the_handle_away_when_the_resize_fails)
{
    std::string before = two_arrays(2, 1, "1122aat");
    GHandle handle = handle_of(before);
    GHandle variable = handle;
    faults_start({ .call = FAULT_RESIZE });
    add_res(&variable, 0, 1, "##");
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(variable, 0u);
    EXPECT_EQ(take(handle), before);   // the lost body, by a copy of its handle: nothing was moved or counted
}

TEST(add_res, refuses_a_body_that_cannot_be_larger)
{
    // A handle of the largest size, with a few of its bytes behind it: only its header may be looked at.
    static const PlatformMemory *behind = platform_memory;
    static const PlatformMemory small = {
        .alloc = [](size_t, bool zero) { return behind->alloc(64, zero); },
        .resize = [](void *, size_t) -> void * { ADD_FAILURE() << "resized"; return nullptr; },
        .free = [](void *block) { behind->free(block); },
    };
    gfree(handle_of(""));  // so that the table of handles has its memory
    platform_memory = &small;
    GHandle handle = galloc(INT_MAX, nullptr, 1);
    EXPECT_EQ(gsize(handle), INT_MAX);
    GHandle variable = handle;
    add_res(&variable, 0, 1, "##");
    EXPECT_EQ(variable, handle);
    EXPECT_EQ(memcmp(glock(handle), "\0\0\0\0", 4), 0);
    gfree(handle);
    platform_memory = behind;
}

// ---- del_res --------------------------------------------------------------------------------------------------------

TEST(del_res, moves_down_all_that_lies_behind)
{
    Body body(two_arrays(3, 2, "112233aabbt"));
    body.del(0, 2);
    EXPECT_EQ(body.bytes(), two_arrays(2, 2, "1133aabbt"));
    body.del(0, 1);
    EXPECT_EQ(body.bytes(), two_arrays(1, 2, "33aabbt"));
    body.del(1, 2);
    EXPECT_EQ(body.bytes(), two_arrays(1, 1, "33aat"));
}

TEST(del_res, of_the_only_record_leaves_the_header_and_the_other_arrays)
{
    for (const Row &row : ROWS) {
        Model model = model_of(row.layout, 2);
        model.tail = "";
        i32 last = group_of(row.layout).back();
        model.arrays[last] = { record_of(last, 5) };
        Body body(model.bytes());
        body.del(last, 1);
        model.arrays[last].clear();
        EXPECT_EQ(body.counter(last), 0) << last;
        EXPECT_EQ(body.bytes(), model.bytes()) << last;
    }
}

TEST(del_res, shrinks_the_body_by_one_record)
{
    for (const Row &row : ROWS) {
        Body body(model_of(row.layout, 3).bytes());
        i32 before = gsize(body.handle);
        GHandle handle = body.handle;
        body.del(row.layout, 2);
        EXPECT_EQ(gsize(body.handle), before - row.record_size) << row.layout;
        EXPECT_EQ(body.handle, handle);
    }
}

TEST(del_res, undoes_an_addition)
{
    for (const Row &row : ROWS) {
        std::string before = model_of(row.layout, 3).bytes();
        for (i16 index = 1; index <= 4; index++) {
            Body body(before);
            body.add(row.layout, index, record_of(row.layout, 50));
            body.del(row.layout, (u16)index);
            EXPECT_EQ(body.bytes(), before) << row.layout << " record " << index;
        }
    }
}

TEST(del_res, counts_down_for_the_last_record_too)
{
    Body body(two_arrays(0, 1, "aa"));   // nothing lies behind aa that could move
    body.del(1, 1);
    EXPECT_EQ(body.bytes(), two_arrays(0, 0, ""));
}

TEST(del_res, counts_down_whatever_it_removed)
{
    Body body(two_arrays(0, 2, "aabb"));
    body.del(0, 1);                      // of an empty array: aa goes
    EXPECT_EQ(body.bytes(), two_arrays(-1, 2, "bb"));

    Body header(two_arrays(3, 2, "112233aabb"));
    header.del(0, 0);                    // the counter of layout 1 goes, and 11 is read in its place
    EXPECT_EQ(header.bytes(), number(2) + "112233aabb");

    Body least(two_arrays(-32768, 0, "tt"));
    least.del(0, 1);
    EXPECT_EQ(least.bytes(), two_arrays(32767, 0, ""));
}

TEST(del_res, does_nothing_outside_the_body)
{
    for (const Row &row : ROWS) {
        std::string no_record = Model(row.layout).bytes() + std::string((size_t)row.record_size - 1, 'r');
        Body body(no_record);
        body.del(row.layout, 1);
        body.del(row.layout, 65535);
        EXPECT_EQ(body.bytes(), no_record) << row.layout;

        std::string no_header((size_t)row.header_size - 1, '\0');
        Body headless(no_header);
        headless.del(row.layout, 0);
        headless.del(row.layout, 1);
        EXPECT_EQ(headless.bytes(), no_header) << row.layout;
    }

    std::string wide = std::string(6, 'h') + std::string(18, 'r');
    Body in_front(wide);
    in_front.del(20, 0);                 // 6 - 18
    EXPECT_EQ(in_front.bytes(), wide);
}

TEST(del_res, does_nothing_without_a_handle_or_a_layout)
{
    del_res(nullptr, 0, 1);
    GHandle none = 0;
    del_res(&none, 0, 1);
    EXPECT_EQ(none, 0u);
    Body body(std::string(1000, '\0'));
    for (i32 layout : BAD_LAYOUTS) del_res(&body.handle, layout, 1);
    EXPECT_EQ(body.bytes(), std::string(1000, '\0'));
}

TEST(del_res, takes_the_handle_away_when_the_resize_fails)
{
    GHandle handle = handle_of(two_arrays(2, 1, "1122aat"));
    GHandle variable = handle;
    faults_start({ .call = FAULT_RESIZE });
    del_res(&variable, 0, 1);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(variable, 0u);
    EXPECT_EQ(take(handle).substr(0, 4), two_arrays(2, 1, ""));   // the lost body: its counter is as it was
}

// ---- Together -------------------------------------------------------------------------------------------------------

TEST(sub_records, follow_a_plain_vector_through_any_additions_and_removals)
{
    std::mt19937 random(20);   // the same numbers on every machine
    auto below = [&](size_t limit) { return (size_t)(random() % limit); };
    for (const Row &row : ROWS) {
        Model model = model_of(row.layout, 1);
        Body body(model.bytes());
        std::vector<i32> group = group_of(row.layout);
        for (i32 step = 0; step < 200; step++) {
            // Mostly in this array, now and then in another one of the group.
            i32 layout = below(3) ? row.layout : group[below(group.size())];
            std::vector<std::string> &records = model.arrays[layout];
            std::string record = record_of(layout, step);
            size_t what = below(5);
            if (records.empty() || what < 2) {
                size_t at = below(records.size() + 1);
                body.add(layout, (i16)(at + 1), record);
                records.insert(records.begin() + (i32)at, record);
            } else if (what < 4) {
                size_t at = below(records.size());
                body.del(layout, (u16)(at + 1));
                records.erase(records.begin() + (i32)at);
            } else {
                size_t at = below(records.size());
                body.change(layout, (u16)(at + 1), record);
                records[at] = record;
            }
            ASSERT_EQ(body.bytes(), model.bytes()) << "layout " << layout << ", step " << step;
            for (const auto &[member, array] : model.arrays) {
                if (array.empty()) continue;
                size_t at = below(array.size());
                ASSERT_EQ(body.get(member, (u16)(at + 1)), array[at]) << "layout " << member << ", step " << step;
            }
        }
    }
}

TEST(sub_records, stay_in_the_body_whatever_its_counters_are)
{
    // The sanitizer is what looks on. A body grows and shrinks by these four alone.
    std::mt19937 random(21);
    for (const Row &row : ROWS) {
        for (i32 round = 0; round < 50; round++) {
            std::string bytes(random() % 1200, '\0');
            for (char &c : bytes) c = (char)random();
            // Small counters often, so that places inside the body are met too.
            for (size_t i = 1; i < bytes.size() && i < 12; i += 2) {
                if (random() % 2) bytes[i] = (char)(random() % 2 ? 0 : 0xFF);
            }
            Body body(bytes);
            std::string record = record_of(row.layout, round);
            for (i32 step = 0; step < 10; step++) {
                u16 index = (u16)(random() % 4 ? random() % 20 : random());
                i32 before = gsize(body.handle);
                (void)body.get(row.layout, index);
                body.change(row.layout, index, record);
                EXPECT_EQ(gsize(body.handle), before);
                body.add(row.layout, (i16)index, record);
                i32 grown = gsize(body.handle) - before;
                EXPECT_TRUE(grown == 0 || grown == row.record_size);
                body.del(row.layout, index);
                i32 shrunk = before + grown - gsize(body.handle);
                EXPECT_TRUE(shrunk == 0 || shrunk == row.record_size);
            }
        }
    }
}

TEST(sub_records, use_no_memory_but_to_resize_and_no_file)
{
    Body body(two_arrays(2, 1, "1122aat"));
    calls_reset();
    (void)body.get(0, 1);
    body.change(0, 1, "##");
    EXPECT_EQ(call_counts().alloc + call_counts().resize + call_counts().free, 0u);
    body.add(0, 1, "^^");
    EXPECT_EQ(call_counts().resize, 1u);
    body.del(0, 1);
    EXPECT_EQ(call_counts().resize, 2u);
    EXPECT_EQ(call_counts().alloc + call_counts().free, 0u);
    EXPECT_EQ(call_lines(), std::vector<std::string>());
}

TEST(sub_records, edit_a_body_on_its_way_through_a_dictionary)
{
    Library library;
    library.add_module(2, 100, "first");
    library.add_module(2, 101, "second");
    Model model = model_of(16, 2);
    EXPECT_EQ(library.add(2, 101, 9, 1, "a body with records", model.bytes()), (DictStatus)DICT_OK);

    u32 status = 99;
    Body body("");
    gfree(body.handle);
    body.handle = dd_getresourcehndl(2, 101, 9, 1, 0, &status);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    body.add(15, 3, record_of(15, 40));
    body.del(16, 1);
    body.change(17, 2, record_of(17, 41));
    EXPECT_EQ(dd_change_resource(2, 101, 9, 1, nullptr, body.handle), (DictStatus)DICT_OK);

    model.arrays[15].push_back(record_of(15, 40));
    model.arrays[16].erase(model.arrays[16].begin());
    model.arrays[17][1] = record_of(17, 41);
    library.reopen(DICT_READ_ONLY);
    EXPECT_EQ(library.body(2, 101, 9, 1), model.bytes());
}

} // namespace
} // namespace zuk
