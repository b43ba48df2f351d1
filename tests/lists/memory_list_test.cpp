#include "lists/memory_list.h"

#include "tests/lists/lists.h"

namespace zuk {
namespace {

using Values = std::vector<i32>;

// ---- The eleven operations on a kind that there is not --------------------------------------------------------------

TEST(glist_kinds, give_13_for_another_kind)
{
    List list(MEMORY, { 10 });
    void *state = list.state();
    for (i32 kind : { -1, 2, 77 }) {
        i32 number = 0;
        GlistInfo info;
        void *pointer;
        GHandle iterator = 0;
        EXPECT_EQ(glist_kind_compact(kind, state), 13);
        EXPECT_EQ(glist_kind_delete(kind, state, 1, 1, &number), 13);
        EXPECT_EQ(glist_kind_read(kind, state, 1, 1, &number, &number), 13);
        EXPECT_EQ(glist_kind_write(kind, state, 0, 1, 4, 1, &number, &number), 13);
        EXPECT_EQ(glist_kind_state_size(kind, 0, &number), 13);
        EXPECT_EQ(glist_kind_init(kind, 0, state, 4), 13);
        EXPECT_EQ(glist_kind_info(kind, state, &info), 13);
        EXPECT_EQ(glist_kind_element_pointer(kind, 0, 1, &pointer), 13);
        EXPECT_EQ(glist_kind_iterator_open(kind, state, 0, &iterator), 13);
        glist_kind_iterator_close(kind, list);    // does nothing
        EXPECT_EQ(glist_kind_dispose(kind, state), 13);
    }
    EXPECT_EQ(list.values(), Values({ 10 }));
}

TEST(glist_kinds, give_8_without_a_state)
{
    i32 number = 77;
    GlistInfo info;
    GHandle iterator = 0;
    for (i32 kind : { GLIST_MEMORY, GLIST_DISK }) {
        EXPECT_EQ(glist_kind_compact(kind, nullptr), 8);
        EXPECT_EQ(glist_kind_delete(kind, nullptr, 1, 1, &number), 8);
        EXPECT_EQ(number, 0);
        EXPECT_EQ(glist_kind_read(kind, nullptr, 1, 1, &number, nullptr), 8);
        EXPECT_EQ(glist_kind_write(kind, nullptr, 0, 1, 4, 1, &number, nullptr), 8);
        EXPECT_EQ(glist_kind_init(kind, 0, nullptr, 4), 8);
        EXPECT_EQ(glist_kind_info(kind, nullptr, &info), 8);
        EXPECT_EQ(glist_kind_iterator_open(kind, nullptr, 0, &iterator), 8);
        EXPECT_EQ(glist_kind_dispose(kind, nullptr), 8);
    }
}

TEST(glist_kinds, give_8_for_a_negative_count)
{
    on_each_kind({ 10 }, [](List &list) {
        i32 number = 5, done = 77;
        EXPECT_EQ(glist_kind_delete(list.shape.kind, list.state(), 1, -1, &done), 8);
        EXPECT_EQ(done, 0);
        EXPECT_EQ(glist_kind_read(list.shape.kind, list.state(), 1, -1, &number, nullptr), 8);
        EXPECT_EQ(glist_kind_write(list.shape.kind, list.state(), 0, 1, 4, -1, &number, nullptr), 8);
        EXPECT_EQ(list.values(), Values({ 10 }));
    });
}

TEST(glist_kinds, refuse_an_iterator_of_another_mode_with_8)
{
    on_each_kind({ 10 }, [](List &list) {
        GHandle iterator = 77;
        EXPECT_EQ(glist_kind_iterator_open(list.shape.kind, list.state(), 1, &iterator), 8);
        EXPECT_EQ(iterator, 0u);
        EXPECT_EQ(glist_kind_element_pointer(list.shape.kind, 0, 1, nullptr), 4);
        glist_kind_iterator_close(list.shape.kind, 0);
    });
}

TEST(glist_kinds, tell_element_size_and_count)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        GlistInfo info = { 77, 77 };
        EXPECT_EQ(glist_kind_info(list.shape.kind, list.state(), &info), 0);
        EXPECT_EQ(info.element_size, 4);
        EXPECT_EQ(info.count, 2);
        i32 size = 0;
        EXPECT_EQ(glist_kind_state_size(list.shape.kind, 0, &size), 0);
        EXPECT_EQ(size, list.record()->state_size);
    });
}

TEST(glist_kinds, hand_out_pointers_to_elements)
{
    on_each_kind({ 10, 20, 30, 40, 50 }, [](List &list) {
        GHandle iterator = 0;
        EXPECT_EQ(glist_kind_iterator_open(list.shape.kind, list.state(), 0, &iterator), 0);
        for (i32 position : { 1, 5, 2, 2, 4, 3 }) {
            void *pointer = nullptr;
            EXPECT_EQ(glist_kind_element_pointer(list.shape.kind, iterator, position, &pointer), 0);
            i32 value;
            memcpy(&value, pointer, sizeof value);
            EXPECT_EQ(value, 10 * position);
        }
        void *pointer;
        EXPECT_EQ(glist_kind_element_pointer(list.shape.kind, iterator, 0, &pointer), 11);
        EXPECT_EQ(glist_kind_element_pointer(list.shape.kind, iterator, -1, &pointer), 11);
        EXPECT_EQ(glist_kind_element_pointer(list.shape.kind, iterator, 7, &pointer), 11);
        glist_kind_iterator_close(list.shape.kind, iterator);
    });
}

// ---- A memory list --------------------------------------------------------------------------------------------------

const Shape UNIT_16 = { "units of 16", GLIST_MEMORY, 16, 0 };    // four i32

TEST(glist_create, has_no_upper_bound_for_the_growth_unit)
{
    NothingLeft nothing;
    i32 err = 77;
    GHandle list = new_list({ "", GLIST_MEMORY, 1000000, 0 }, 70000, &err);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(((GlistMemoryState *)glist_state((Glist *)glock(list)))->capacity, 1000000);
    glist_dispose(list);
}

// Whatever there is of an element does not fit into a unit of 0 or less.
TEST(glist_create, of_a_unit_below_1_goes_by_the_element_alone)
{
    NothingLeft nothing;
    GHandle attributes = new_attributes(MEMORY);
    i32 err = 77;
    EXPECT_EQ(glist_attr_set(&attributes, GLIST_ATTR_UNIT, 0), 1);
    EXPECT_EQ(glist_create(1, attributes, nullptr, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_ELEMENT_TOO_BIG_CHUNK);
    GHandle list = glist_create(0, attributes, nullptr, &err);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(glist_append(list, 0, "", 5, 0), 1);
    EXPECT_EQ(glist_count(list, 0), 5);
    glist_dispose(list);

    EXPECT_EQ(glist_attr_set(&attributes, GLIST_ATTR_UNIT, -5), 1);
    EXPECT_EQ(glist_create(0, attributes, nullptr, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_ELEMENT_TOO_BIG_CHUNK);
    glist_attr_dispose(attributes);
}

TEST(glist_create, of_elements_without_bytes_makes_a_list_that_counts)
{
    NothingLeft nothing;
    i32 err = 77, removed;
    GHandle list = glist_create(0, 0, nullptr, &err);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(glist_append(list, 0, nullptr, 1000000000, 0), 1);
    EXPECT_EQ(glist_append(list, 0, nullptr, 1000000000, 0), 1);
    EXPECT_EQ(glist_append(list, 0, nullptr, 1000000000, 0), 0);    // more than a position can say
    EXPECT_EQ(glist_error(list), GLIST_ERR_MEMORY);
    EXPECT_EQ(glist_count(list, 0), 2000000000);
    EXPECT_EQ(glist_seek(list, 0, 7), 1);
    EXPECT_EQ(glist_delete(list, 0), 1);
    EXPECT_EQ(glist_count(list, 0), 1999999999);
    EXPECT_EQ(glist_delete_matching(list, 0, 5, nullptr, 0, &removed), 0);
    glist_dispose(list);
}

TEST(glist_append, grows_by_whole_units)
{
    List list(UNIT_16);
    for (i32 i = 1; i <= 4; i++) {
        EXPECT_EQ(list.append(i), 1);
        EXPECT_EQ(list.memory()->capacity, 16);
    }
    EXPECT_EQ(list.append(5), 1);
    EXPECT_EQ(list.memory()->capacity, 32);
    EXPECT_EQ(list.append_all({ 6, 7, 8 }), 1);
    EXPECT_EQ(list.memory()->capacity, 32);
    EXPECT_EQ(list.append_all(Values(9, 9)), 1);    // 36 bytes: three units
    EXPECT_EQ(list.memory()->capacity, 80);
    EXPECT_EQ(gsize(list.memory()->data), 80);
}

TEST(glist_append, grows_by_a_unit_for_1_byte_more)
{
    i32 err;
    GHandle list = new_list(UNIT_16, 1, &err);
    GlistMemoryState *state = (GlistMemoryState *)glist_state((Glist *)glock(list));
    EXPECT_EQ(glist_append(list, 0, "0123456789abcdef", 16, 0), 1);
    EXPECT_EQ(state->capacity, 16);
    EXPECT_EQ(glist_append(list, 0, "x", 1, 0), 1);
    EXPECT_EQ(state->capacity, 32);
    glist_dispose(list);
}

TEST(glist_append, that_cannot_grow_gives_4_and_changes_nothing)
{
    List list(UNIT_16, { 1, 2, 3, 4 });
    EXPECT_EQ(list.seek(2), 1);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(list.append(5), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(list.insert(5), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    EXPECT_EQ(list.tell(), 2);
    EXPECT_EQ(list.memory()->capacity, 16);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4 }));
    EXPECT_EQ(list.append(5), 1);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4, 5 }));
}

// No element is looked at: there is no room for so many.
TEST(glist_append, of_more_than_memory_can_have_gives_4)
{
    List list(MEMORY, { 1 });
    i32 value = 2;
    for (i32 n : { 536870911, 1073741824, INT32_MAX }) {    // 2^31 bytes with the element that is there, and more
        EXPECT_EQ(glist_append(list, 0, &value, n, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    }
    EXPECT_EQ(list.values(), Values({ 1 }));
}

TEST(glist_delete, keeps_the_capacity)
{
    List list(UNIT_16, { 1, 2, 3, 4, 5 });
    i32 removed;
    EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, is_multiple, 1, &removed), 1);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.memory()->capacity, 32);
    EXPECT_EQ(gsize(list.memory()->data), 32);
}

TEST(glist_insert, behind_the_last_of_a_memory_list_appends)
{
    List list(MEMORY, { 10, 20 });
    EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
    EXPECT_EQ(list.insert(30), 1);
    EXPECT_EQ(list.tell(), 4);
    EXPECT_EQ(list.values(), Values({ 10, 20, 30 }));
}

// More than stand in front of the cursor, which is behind the last: the element there is wanted, too.
TEST(glist_read, in_mode_3_from_behind_the_last_of_too_many_gives_11)
{
    List list(MEMORY, { 10, 20 });
    Values buffer(9, -1);
    i32 got = 77;
    EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
    EXPECT_EQ(glist_read(list, 0, GLIST_READ_PREVIOUS, buffer.data(), 5, &got), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
    EXPECT_EQ(got, 3);
    EXPECT_EQ(list.tell(), 3);
    EXPECT_EQ(buffer, Values(9, -1));
}

i32 write(List &list, i32 mode, i32 position, const Values &values)
{
    i32 done = 77;
    i32 status = glist_kind_write(GLIST_MEMORY, list.state(), mode, position, 4, (i32)values.size(), values.data(),
                                  &done);
    EXPECT_EQ(done, status ? 0 : (i32)values.size());
    return status;
}

TEST(glist_kind_write, accepts_these_positions)
{
    for (i32 position = -1; position <= 5; position++) {
        SCOPED_TRACE(position);
        List behind(MEMORY, { 10, 20, 30 }), before(MEMORY, { 10, 20, 30 }), over(MEMORY, { 10, 20, 30 });
        EXPECT_EQ(write(behind, 0, position, { 5 }), position >= 0 && position <= 3 ? 0 : 11);
        EXPECT_EQ(write(before, 1, position, { 5 }), position >= 1 && position <= 4 ? 0 : 11);
        EXPECT_EQ(write(over, 2, position, { 5 }), position >= 1 && position <= 3 ? 0 : 11);
        EXPECT_EQ(write(over, 2, position, { 5, 6 }), position >= 1 && position <= 2 ? 0 : 11);
        EXPECT_EQ(write(over, 2, position, {}), position >= 1 && position <= 3 ? 0 : 11);
        EXPECT_EQ(write(over, 3, position, { 5 }), 8);
        EXPECT_EQ(write(over, -1, position, { 5 }), 8);
    }
}

TEST(glist_kind_write, in_front_moves_the_rest_up)
{
    List list(MEMORY, { 10, 20, 30 });
    EXPECT_EQ(write(list, 1, 2, { 11, 12 }), 0);
    EXPECT_EQ(list.values(), Values({ 10, 11, 12, 20, 30 }));
    EXPECT_EQ(write(list, 1, 6, { 40 }), 0);
    EXPECT_EQ(list.values(), Values({ 10, 11, 12, 20, 30, 40 }));
}

TEST(glist_kind_write, over_elements_replaces_them)
{
    List list(MEMORY, { 10, 20, 30 });
    EXPECT_EQ(write(list, 2, 2, { 21, 31 }), 0);
    EXPECT_EQ(list.values(), Values({ 10, 21, 31 }));
}

TEST(glist_kind_write, behind_an_element_loses_the_last_one)
{
    List list(MEMORY, { 10, 20, 30 });
    EXPECT_EQ(write(list, 0, 1, { 99 }), 0);
    EXPECT_EQ(list.count(), 4);
    EXPECT_EQ(list.values(), Values({ 10, 99, 20, 0 }));    // 0 was behind the last one

    List two(MEMORY, { 10, 20, 30 });
    EXPECT_EQ(write(two, 0, 2, { 98, 99 }), 0);
    EXPECT_EQ(two.values(), Values({ 10, 20, 98, 99, 0 }));
}

TEST(glist_kind_write, behind_0_loses_the_last_one_too)
{
    List list(MEMORY, { 10, 20, 30 });
    EXPECT_EQ(write(list, 0, 0, { 98, 99 }), 0);
    EXPECT_EQ(list.values(), Values({ 98, 99, 10, 20, 0 }));
}

TEST(glist_kind_write, behind_the_last_appends)
{
    List list(MEMORY, { 10, 20 });
    EXPECT_EQ(write(list, 0, 2, { 30, 40 }), 0);
    EXPECT_EQ(list.values(), Values({ 10, 20, 30, 40 }));
}

TEST(glist_kind_write, to_memory_takes_the_lists_own_element_size)
{
    List list(MEMORY);
    i32 values[] = { 10, 20 };
    EXPECT_EQ(glist_kind_write(GLIST_MEMORY, list.state(), 0, 0, 1, 2, values, nullptr), 0);
    EXPECT_EQ(list.values(), Values({ 10, 20 }));
}

TEST(glist_kind_read, from_memory_keeps_to_the_elements)
{
    List list(MEMORY, { 10, 20, 30 });
    Values buffer(5, -1);
    i32 done = 77;
    EXPECT_EQ(glist_kind_read(GLIST_MEMORY, list.state(), 2, 2, buffer.data(), &done), 0);
    EXPECT_EQ(done, 2);
    EXPECT_EQ(buffer, Values({ 20, 30, -1, -1, -1 }));
    for (auto [position, n] : { std::pair{ 0, 1 }, { -1, 3 }, { 3, 2 }, { 4, 1 }, { 1, INT32_MAX }, { 5, 0 } }) {
        EXPECT_EQ(glist_kind_read(GLIST_MEMORY, list.state(), position, n, buffer.data(), &done), 11);
        EXPECT_EQ(done, 0);
    }
}

TEST(glist_kind_delete, from_memory_moves_the_rest_down)
{
    List list(MEMORY, { 10, 20, 30, 40, 50 });
    i32 done = 77;
    EXPECT_EQ(glist_kind_delete(GLIST_MEMORY, list.state(), 2, 3, &done), 0);
    EXPECT_EQ(done, 3);
    EXPECT_EQ(list.values(), Values({ 10, 50 }));
    EXPECT_EQ(glist_kind_delete(GLIST_MEMORY, list.state(), 2, 1, &done), 0);
    EXPECT_EQ(list.values(), Values({ 10 }));
}

TEST(glist_kind_delete, outside_a_memory_list_gives_11)
{
    List list(MEMORY, { 10, 20 });
    i32 done = 77;
    for (auto [position, n] : { std::pair{ 0, 1 }, { 3, 1 }, { 2, 2 }, { 1, INT32_MAX }, { 3, 0 } }) {
        EXPECT_EQ(glist_kind_delete(GLIST_MEMORY, list.state(), position, n, &done), 11);
        EXPECT_EQ(done, 0);
    }
    EXPECT_EQ(list.values(), Values({ 10, 20 }));
}

TEST(glist_kind_state_size, of_a_memory_list_is_20)
{
    i32 size;
    EXPECT_EQ(glist_kind_state_size(GLIST_MEMORY, 0, &size), 0);
    EXPECT_EQ(size, 20);
}

TEST(glist_kind_init, of_a_memory_list_without_attributes_gives_9)
{
    GlistMemoryState state = {};
    EXPECT_EQ(glist_kind_init(GLIST_MEMORY, 0, &state, 4), GLIST_ERR_ATTRIBUTE);
}

TEST(glist_kind_compact, of_a_memory_list_succeeds_at_once)
{
    List list(UNIT_16, { 1, 2, 3, 4, 5 });
    EXPECT_EQ(list.remove(), 0);
    EXPECT_EQ(glist_kind_compact(GLIST_MEMORY, list.state()), 0);
    EXPECT_EQ(list.memory()->capacity, 32);
}

// The elements lie in one block, and the pointers point into it.
TEST(glist_kind_element_pointer, points_into_the_block_of_a_memory_list)
{
    List list(MEMORY, { 10, 20 });
    GHandle iterator;
    void *pointer = nullptr;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_MEMORY, list.state(), 0, &iterator), 0);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_MEMORY, iterator, 2, &pointer), 0);
    EXPECT_EQ(pointer, (u8 *)glock(list.memory()->data) + 4);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_MEMORY, iterator, 3, &pointer), 11);    // count + 1
    glist_kind_iterator_close(GLIST_MEMORY, iterator);
}

} // namespace
} // namespace zuk
