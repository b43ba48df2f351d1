// What holds for lists of both kinds runs over both (`on_each_kind`); what differs is in memory_list_test.cpp and
// disk_list_test.cpp.
#include "lists/glist.h"

#include "files/file.h"
#include "tests/lists/lists.h"

#include <fstream>
#include <set>

namespace zuk {
namespace {

using Values = std::vector<i32>;

// ---- The interface --------------------------------------------------------------------------------------------------

TEST(glist, has_every_operation)
{
    void *operations[] = {
        (void *)glist_attr_create, (void *)glist_attr_dispose, (void *)glist_attr_get, (void *)glist_attr_set,
        (void *)glist_attr_error, (void *)glist_attr_kind, (void *)glist_create, (void *)glist_dispose,
        (void *)glist_add_callback, (void *)glist_find_callback, (void *)glist_cursor_create,
        (void *)glist_cursor_dispose, (void *)glist_seek, (void *)glist_tell, (void *)glist_error,
        (void *)glist_cursor_error, (void *)glist_count, (void *)glist_element_size, (void *)glist_read,
        (void *)glist_get, (void *)glist_get_next, (void *)glist_get_previous, (void *)glist_get_at,
        (void *)glist_append, (void *)glist_insert, (void *)glist_replace, (void *)glist_delete,
        (void *)glist_delete_matching, (void *)glist_find, (void *)glist_set_debug_file, (void *)glist_dump,
        (void *)handle_from_bytes, (void *)glist_module_value, (void *)glist_module_start,
        (void *)glist_kind_compact, (void *)glist_kind_delete, (void *)glist_kind_read, (void *)glist_kind_write,
        (void *)glist_kind_state_size, (void *)glist_kind_init, (void *)glist_kind_info,
        (void *)glist_kind_element_pointer, (void *)glist_kind_iterator_open, (void *)glist_kind_iterator_close,
        (void *)glist_kind_dispose, (void *)page_fetch, (void *)page_release, (void *)page_frame_obtain,
        (void *)store_open_temporary,
    };
    std::set<void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

TEST(glist, has_these_numbers)
{
    EXPECT_EQ(GLIST_OK, 0);
    EXPECT_EQ(GLIST_ERR_FAILED, 1);
    EXPECT_EQ(GLIST_ERR_ELEMENT_TOO_BIG_CHUNK, 2);
    EXPECT_EQ(GLIST_ERR_MEMORY, 4);
    EXPECT_EQ(GLIST_ERR_NOT_FOUND, 5);
    EXPECT_EQ(GLIST_ERR_POSITION, 7);
    EXPECT_EQ(GLIST_ERR_BAD_ARGUMENT, 8);
    EXPECT_EQ(GLIST_ERR_ATTRIBUTE, 9);
    EXPECT_EQ(GLIST_ERR_ELEMENT_TOO_BIG_PAGE, 10);
    EXPECT_EQ(GLIST_ERR_RANGE, 11);
    EXPECT_EQ(GLIST_ERR_DUPLICATE, 12);
    EXPECT_EQ(GLIST_ERR_BAD_KIND, 13);
    EXPECT_EQ(GLIST_ERR_PAGE_SIZE, 14);
    EXPECT_EQ(GLIST_ERR_ALL_PAGES_BUSY, 15);
    EXPECT_EQ(GLIST_ERR_COMPACT_REFUSED, 16);
    EXPECT_EQ(GLIST_ERR_TEMP_FILE, 17);

    EXPECT_EQ(GLIST_BEFORE_FIRST, -1);
    EXPECT_EQ(GLIST_AFTER_LAST, -2);
    EXPECT_EQ(GLIST_NEXT, -3);
    EXPECT_EQ(GLIST_PREVIOUS, -4);
    EXPECT_EQ(GLIST_FIRST, -5);
    EXPECT_EQ(GLIST_LAST, -6);
}

// The fields of the records, in order.
TEST(glist, has_records_of_this_form)
{
    EXPECT_EQ(offsetof(Glist, cursor), 0u);
    EXPECT_EQ(offsetof(GlistCursor, position), 0u);
    EXPECT_EQ(offsetof(GlistCursor, last_error), 4u);
    EXPECT_EQ(offsetof(Glist, callback_count), 8u);
    EXPECT_EQ(offsetof(Glist, state_size), 12u);
    EXPECT_EQ(offsetof(Glist, kind), 16u);
    EXPECT_EQ(offsetof(Glist, debug_name), 20u);
    EXPECT_EQ(offsetof(GlistMemoryState, count), 0u);
    EXPECT_EQ(offsetof(GlistMemoryState, element_size), 4u);
    EXPECT_EQ(offsetof(GlistMemoryState, chunk), 8u);
    EXPECT_EQ(offsetof(GlistMemoryState, capacity), 12u);
    EXPECT_EQ(offsetof(GlistMemoryState, data), 16u);
    EXPECT_EQ(offsetof(GlistCallback, type), 0u);
    EXPECT_EQ(offsetof(GlistCallback, id), 4u);
    EXPECT_EQ(offsetof(GlistCallback, function), 8u);
    EXPECT_EQ(offsetof(GlistCallback, data), 8u + sizeof(void *));
    EXPECT_EQ(offsetof(GlistDiskState, count), 0u);
    EXPECT_EQ(offsetof(GlistDiskState, element_size), 4u);
    EXPECT_EQ(offsetof(GlistDiskState, table), 8u);
    EXPECT_EQ(offsetof(GlistDiskState, store), 12u);
    EXPECT_EQ(offsetof(PageStore, page_count), 0u);
    EXPECT_EQ(offsetof(PageStore, file_pages), 4u);
    EXPECT_EQ(offsetof(PageStore, page_size), 8u);
    EXPECT_EQ(offsetof(PageStore, frames_left), 12u);
    EXPECT_EQ(offsetof(PageStore, file), 16u);
    EXPECT_EQ(offsetof(PageStore, file_name), 20u);
    EXPECT_EQ(offsetof(PageStore, sweep), 276u);
    EXPECT_EQ(offsetof(PageStore, free_space), 280u);
    EXPECT_EQ(offsetof(PageStore, frames), 284u);
    EXPECT_EQ(offsetof(PageFrame, page), 0u);
    EXPECT_EQ(offsetof(PageFrame, lock_count), 4u);
    EXPECT_EQ(offsetof(PageFrame, dirty), 8u);
    EXPECT_EQ(offsetof(PageFrame, referenced), 10u);
    EXPECT_EQ(offsetof(PageFrame, memory), 12u);
}

// ---- Attributes -----------------------------------------------------------------------------------------------------

TEST(glist_attr_create, makes_attributes_without_pairs)
{
    for (i32 kind : { 0, 1 }) {
        i32 err = 77;
        GHandle attributes = glist_attr_create(kind, 0, &err);
        EXPECT_EQ(err, 0);
        EXPECT_EQ(glist_attr_kind(attributes), kind);
        EXPECT_EQ(glist_attr_error(attributes), 0);
        EXPECT_EQ(((GlistAttributes *)glock(attributes))->pair_count, 0);
        EXPECT_EQ(gsize(attributes), 28);    // a header of 12 bytes and two pairs of 8
        glist_attr_dispose(attributes);
    }
}

TEST(glist_attr_create, refuses_other_kinds_with_8)
{
    for (i32 kind : { -1, 2, 77 }) {
        i32 err = 77;
        EXPECT_EQ(glist_attr_create(kind, 0, &err), 0u);
        EXPECT_EQ(err, GLIST_ERR_BAD_ARGUMENT);
    }
    EXPECT_EQ(glist_attr_create(2, 0, nullptr), 0u);
}

TEST(glist_attr_create, without_memory_gives_4)
{
    faults_start({ .call = FAULT_ALLOC });
    i32 err = 77;
    EXPECT_EQ(glist_attr_create(0, 0, &err), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(err, GLIST_ERR_MEMORY);
}

TEST(glist_attr_dispose, frees_the_block)
{
    u32 before = handles_alive();
    glist_attr_dispose(glist_attr_create(0, 0, nullptr));
    glist_attr_dispose(0);
    EXPECT_EQ(handles_alive(), before);
}

TEST(glist_attr_get, gives_the_defaults_of_the_kind)
{
    GHandle memory = glist_attr_create(GLIST_MEMORY, 0, nullptr);
    GHandle disk = glist_attr_create(GLIST_DISK, 0, nullptr);
    i32 value;
    EXPECT_EQ(glist_attr_get(memory, 0, &value), 1);
    EXPECT_EQ(value, 1024);
    EXPECT_EQ(glist_attr_get(disk, 0, &value), 1);
    EXPECT_EQ(value, 4096);
    EXPECT_EQ(glist_attr_get(disk, 8, &value), 1);
    EXPECT_EQ(value, 16);
    EXPECT_EQ(glist_attr_get(memory, 8, &value), 0);     // frames are of the disk kind alone
    EXPECT_EQ(glist_attr_get(disk, 8, nullptr), 1);
    glist_attr_dispose(memory);
    glist_attr_dispose(disk);
}

TEST(glist_attr_get, of_an_unknown_id_gives_5_and_a_value_of_0)
{
    GHandle attributes = glist_attr_create(GLIST_DISK, 0, nullptr);
    i32 value = 77;
    EXPECT_EQ(glist_attr_get(attributes, 1, &value), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(glist_attr_error(attributes), GLIST_ERR_NOT_FOUND);

    EXPECT_EQ(glist_attr_get(attributes, 0, &value), 1);
    EXPECT_EQ(glist_attr_error(attributes), 0);          // a success clears the status
    glist_attr_dispose(attributes);
}

TEST(glist_attr_get, prefers_what_was_set_to_the_default)
{
    GHandle attributes = glist_attr_create(GLIST_DISK, 0, nullptr);
    EXPECT_EQ(glist_attr_set(&attributes, 0, 512), 1);
    EXPECT_EQ(glist_attr_set(&attributes, 99, 5), 1);    // any id can be set
    i32 value;
    EXPECT_EQ(glist_attr_get(attributes, 0, &value), 1);
    EXPECT_EQ(value, 512);
    EXPECT_EQ(glist_attr_get(attributes, 99, &value), 1);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(glist_attr_get(attributes, 8, &value), 1);
    EXPECT_EQ(value, 16);
    glist_attr_dispose(attributes);
}

TEST(glist_attr_get, of_no_attributes_gives_0)
{
    i32 value = 77;
    EXPECT_EQ(glist_attr_get(0, 0, &value), 0);
    EXPECT_EQ(value, 77);
}

TEST(glist_attr_set, overwrites_a_pair_with_the_same_id)
{
    GHandle attributes = glist_attr_create(GLIST_MEMORY, 0, nullptr);
    EXPECT_EQ(glist_attr_set(&attributes, 0, 512), 1);
    EXPECT_EQ(glist_attr_set(&attributes, 0, 256), 1);
    i32 value;
    EXPECT_EQ(glist_attr_get(attributes, 0, &value), 1);
    EXPECT_EQ(value, 256);
    EXPECT_EQ(((GlistAttributes *)glock(attributes))->pair_count, 1);
    EXPECT_EQ(gsize(attributes), 28);
    glist_attr_dispose(attributes);
}

// 28 bytes hold two pairs; each id behind the first adds 8 bytes first.
TEST(glist_attr_set, keeps_room_for_one_more_pair)
{
    GHandle attributes = glist_attr_create(GLIST_MEMORY, 0, nullptr);
    i32 expected[] = { 28, 36, 44, 52 };
    for (i32 id = 0; id < 4; id++) {
        EXPECT_EQ(glist_attr_set(&attributes, id, 100 + id), 1);
        EXPECT_EQ(gsize(attributes), expected[id]);
    }
    for (i32 id = 0; id < 4; id++) {
        i32 value;
        EXPECT_EQ(glist_attr_get(attributes, id, &value), 1);
        EXPECT_EQ(value, 100 + id);
    }
    glist_attr_dispose(attributes);
}

TEST(glist_attr_set, that_cannot_grow_gives_4_and_changes_nothing)
{
    GHandle attributes = glist_attr_create(GLIST_MEMORY, 0, nullptr);
    EXPECT_EQ(glist_attr_set(&attributes, 0, 512), 1);
    GHandle same = attributes;
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(glist_attr_set(&attributes, 1, 5), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(attributes, same);
    EXPECT_EQ(glist_attr_error(attributes), GLIST_ERR_MEMORY);
    i32 value;
    EXPECT_EQ(glist_attr_get(attributes, 0, &value), 1);
    EXPECT_EQ(value, 512);
    EXPECT_EQ(glist_attr_get(attributes, 1, &value), 0);
    glist_attr_dispose(attributes);
}

TEST(glist_attr_set, of_no_attributes_gives_0)
{
    GHandle none = 0;
    EXPECT_EQ(glist_attr_set(&none, 0, 5), 0);
    EXPECT_EQ(glist_attr_set(nullptr, 0, 5), 0);
}

TEST(glist_attr_error, of_no_attributes_gives_4)
{
    EXPECT_EQ(glist_attr_error(0), GLIST_ERR_MEMORY);
}

TEST(glist_attr_kind, clears_the_status)
{
    GHandle attributes = glist_attr_create(GLIST_DISK, 0, nullptr);
    (void)glist_attr_get(attributes, 77, nullptr);
    EXPECT_EQ(glist_attr_error(attributes), GLIST_ERR_NOT_FOUND);
    EXPECT_EQ(glist_attr_kind(attributes), GLIST_DISK);
    EXPECT_EQ(glist_attr_error(attributes), 0);
    glist_attr_dispose(attributes);
}

TEST(glist_attr_kind, of_no_attributes_gives_2)
{
    EXPECT_EQ(glist_attr_kind(0), 2);
}

// A block that is too small for attributes is as good as none.
TEST(glist_attr_kind, refuses_blocks_of_another_kind)
{
    GHandle small = galloc(27, nullptr, 1);
    i32 value = 77;
    EXPECT_EQ(glist_attr_kind(small), 2);
    EXPECT_EQ(glist_attr_error(small), GLIST_ERR_MEMORY);
    EXPECT_EQ(glist_attr_get(small, 0, &value), 0);
    EXPECT_EQ(glist_attr_set(&small, 0, 5), 0);
    EXPECT_EQ(value, 77);
    EXPECT_EQ(gsize(small), 27);
    EXPECT_EQ(glist_create(4, small, nullptr, &value), 0u);
    EXPECT_EQ(value, GLIST_ERR_BAD_KIND);
    gfree(small);
}

// ---- Creating -------------------------------------------------------------------------------------------------------

TEST(glist_create, without_attributes_makes_a_memory_list_with_units_of_1024)
{
    NothingLeft nothing;
    i32 err = 77;
    GHandle list = glist_create(4, 0, nullptr, &err);
    EXPECT_EQ(err, 0);
    Glist *record = (Glist *)glock(list);
    EXPECT_EQ(record->kind, GLIST_MEMORY);
    EXPECT_EQ(record->state_size, 20);
    EXPECT_EQ(((GlistMemoryState *)glist_state(record))->chunk, 1024);
    EXPECT_EQ(((GlistMemoryState *)glist_state(record))->capacity, 1024);
    EXPECT_EQ(gsize(list), 44);    // a header of 24 bytes and a state of 20
    glist_dispose(list);
}

TEST(glist_create, begins_empty_with_the_cursor_at_0)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.count(), 0);
        EXPECT_EQ(list.tell(), 0);
        EXPECT_EQ(list.error(), 0);
        EXPECT_EQ(glist_element_size(list, 0), 4);
        EXPECT_EQ(list.record()->callback_count, 0);
        EXPECT_EQ(list.record()->debug_name, 0u);
        EXPECT_EQ(list.record()->kind, list.shape.kind);
    });
}

TEST(glist_create, leaves_the_attributes_to_the_caller)
{
    NothingLeft nothing;
    GHandle attributes = new_attributes(MEMORY);
    GHandle list = glist_create(4, attributes, nullptr, nullptr);
    EXPECT_EQ(glist_attr_kind(attributes), GLIST_MEMORY);
    glist_attr_dispose(attributes);
    glist_dispose(list);
}

TEST(glist_create, ignores_the_reserved_arguments)
{
    NothingLeft nothing;
    i32 err;
    GHandle attributes = glist_attr_create(GLIST_MEMORY, 77, &err);
    GHandle list = glist_create(4, attributes, (void *)glist_dispose, &err);
    i32 value = 5;
    EXPECT_EQ(glist_append(list, 0, &value, 1, 77), 1);
    EXPECT_EQ(glist_insert(list, 0, &value, 1, -1), 1);
    EXPECT_EQ(glist_count(list, 0), 2);
    glist_attr_dispose(attributes);
    glist_dispose(list);
}

TEST(glist_create, with_attributes_that_cannot_be_locked_gives_13)
{
    NothingLeft nothing;
    GHandle attributes = new_attributes(MEMORY);
    glist_attr_dispose(attributes);
    i32 err = 77;
    EXPECT_EQ(glist_create(4, attributes, nullptr, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_BAD_KIND);
}

TEST(glist_create, of_an_element_as_large_as_the_unit_succeeds_and_of_one_byte_more_fails)
{
    NothingLeft nothing;
    i32 err = 77;
    glist_dispose(glist_create(1024, 0, nullptr, &err));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(glist_create(1025, 0, nullptr, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_ELEMENT_TOO_BIG_CHUNK);

    glist_dispose(new_list(DISK, 4096, &err));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(new_list(DISK, 4097, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_ELEMENT_TOO_BIG_PAGE);
}

TEST(glist_create, of_a_negative_element_gives_8)
{
    NothingLeft nothing;
    for (const Shape &shape : { MEMORY, DISK }) {
        i32 err = 77;
        EXPECT_EQ(new_list(shape, -1, &err), 0u);
        EXPECT_EQ(err, GLIST_ERR_BAD_ARGUMENT);
    }
}

TEST(glist_create, fails_with_a_status_whichever_call_fails)
{
    for (const Shape &shape : { MEMORY, DISK }) {
        SCOPED_TRACE(shape.name);
        for (bool from_then_on : { false, true }) {
            for (u32 nth = 1;; nth++) {
                NothingLeft nothing;
                GHandle attributes = shape.kind == GLIST_MEMORY ? 0 : new_attributes(shape);
                i32 err = 77;
                faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on });
                GHandle list = glist_create(4, attributes, nullptr, &err);
                bool met = faults_stop();
                EXPECT_EQ(list == 0, met);
                EXPECT_EQ(err, met ? (i32)GLIST_ERR_MEMORY : (i32)GLIST_OK);
                glist_attr_dispose(attributes);
                glist_dispose(list);
                if (!met) break;
            }
            (void)memory_sweep();    // a record of a handle that failed leaves its block by design
        }
    }
}

TEST(glist_dispose, of_what_is_no_list_does_nothing)
{
    NothingLeft nothing;
    glist_dispose(0);
    GHandle list = glist_create(4, 0, nullptr, nullptr);
    glist_dispose(list);
    glist_dispose(list);
    GHandle small = galloc(8, nullptr, 1);
    glist_dispose(small);
    EXPECT_EQ(gsize(small), 8);
    gfree(small);
}

TEST(glist_dispose, leaves_other_cursors)
{
    NothingLeft nothing;
    GHandle list = glist_create(4, 0, nullptr, nullptr);
    GHandle cursor = glist_cursor_create(list, nullptr);
    glist_dispose(list);
    EXPECT_EQ(gsize(cursor), 8);
    EXPECT_EQ(glist_cursor_error(list, cursor), 0);
    EXPECT_EQ(glist_cursor_dispose(list, cursor), 1);    // by its owner, afterwards too
}

TEST(glist_dispose, leaves_the_name_of_the_debug_file)
{
    NothingLeft nothing;
    GHandle list = glist_create(4, 0, nullptr, nullptr);
    GHandle name = glist_set_debug_file(list, "dump.txt");
    glist_dispose(list);
    EXPECT_EQ(gsize(name), 256);
    EXPECT_STREQ((const char *)glock(name), "dump.txt");
    gfree(name);
}

// ---- Callbacks ------------------------------------------------------------------------------------------------------

TEST(glist_add_callback, adds_a_row_to_the_block)
{
    on_each_kind({}, [](List &list) {
        i32 size = gsize(list);
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 30), 1);
        EXPECT_EQ(gsize(list) - size, (i32)sizeof(GlistCallback));
        EXPECT_EQ(glist_add_callback(&list.handle, 1, -7, is_multiple, 40), 1);
        EXPECT_EQ(list.record()->callback_count, 2);

        GlistCallback *row = nullptr;
        EXPECT_EQ(glist_find_callback(list, 1, -7, &row), 0);
        EXPECT_EQ(row->type, 1);
        EXPECT_EQ(row->id, -7);
        EXPECT_EQ((void *)row->function, (void *)is_multiple);
        EXPECT_EQ(row->data, 40);
    });
}

TEST(glist_add_callback, gives_these_sizes)
{
    GHandle list = glist_create(4, 0, nullptr, nullptr);
    i32 row = sizeof(void *) == 4 ? 16 : 24;
    EXPECT_EQ(glist_add_callback(&list, 0, 1, equals, 0), 1);
    EXPECT_EQ(gsize(list), 44 + row);
    EXPECT_EQ(glist_add_callback(&list, 0, 2, equals, 0), 1);
    EXPECT_EQ(gsize(list), 44 + 2 * row);
    glist_dispose(list);
}

TEST(glist_add_callback, of_another_type_gives_8)
{
    on_each_kind({}, [](List &list) {
        for (i32 type : { -1, 2 }) {
            EXPECT_EQ(glist_add_callback(&list.handle, type, 5, equals, 0), 0);
            EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
        }
        EXPECT_EQ(list.record()->callback_count, 0);
    });
}

TEST(glist_add_callback, twice_gives_12_and_leaves_the_first)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 1), 1);
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, is_multiple, 2), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_DUPLICATE);
        GlistCallback *row = nullptr;
        EXPECT_EQ(glist_find_callback(list, 0, 5, &row), 0);
        EXPECT_EQ((void *)row->function, (void *)equals);
        EXPECT_EQ(row->data, 1);

        EXPECT_EQ(glist_add_callback(&list.handle, 1, 5, is_multiple, 2), 1);    // the other type
        EXPECT_EQ(list.error(), 0);
    });
}

TEST(glist_add_callback, that_cannot_grow_gives_4_and_changes_nothing)
{
    on_each_kind({ 1, 2, 3 }, [](List &list) {
        GHandle same = list.handle;
        faults_start({ .call = FAULT_RESIZE });
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 1), 0);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(list.handle, same);
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
        EXPECT_EQ(list.record()->callback_count, 0);
        EXPECT_EQ(list.values(), Values({ 1, 2, 3 }));
    });
}

TEST(glist_add_callback, keeps_the_elements_when_the_block_moves)
{
    on_each_kind({ 1, 2, 3 }, [](List &list) {
        for (i32 id = 0; id < 100; id++) EXPECT_EQ(glist_add_callback(&list.handle, 0, id, equals, id), 1);
        for (i32 id = 0; id < 100; id++) {
            GlistCallback *row = nullptr;
            EXPECT_EQ(glist_find_callback(list, 0, id, &row), 0);
            EXPECT_EQ(row->data, id);
        }
        EXPECT_EQ(list.values(), Values({ 1, 2, 3 }));
    });
}

TEST(glist_add_callback, of_no_list_gives_0)
{
    GHandle none = 0;
    EXPECT_EQ(glist_add_callback(&none, 0, 1, equals, 0), 0);
    EXPECT_EQ(glist_add_callback(nullptr, 0, 1, equals, 0), 0);
}

TEST(glist_find_callback, gives_5_for_what_is_not_there)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 0), 1);
        GlistCallback *row = nullptr;
        EXPECT_EQ(glist_find_callback(list, 0, 6, &row), GLIST_ERR_NOT_FOUND);
        EXPECT_EQ(glist_find_callback(list, 1, 5, &row), GLIST_ERR_NOT_FOUND);
        EXPECT_EQ(row, nullptr);
    });
    EXPECT_EQ(glist_find_callback(0, 0, 5, nullptr), GLIST_ERR_MEMORY);
}

// ---- Cursors --------------------------------------------------------------------------------------------------------

TEST(glist_cursor_create, makes_a_block_of_two_zeros)
{
    on_each_kind({ 1, 2 }, [](List &list) {
        i32 err = 0;
        GHandle cursor = glist_cursor_create(list, &err);
        EXPECT_EQ(gsize(cursor), 8);
        EXPECT_EQ(list.tell(cursor), 0);
        EXPECT_EQ(list.error(cursor), 0);
        EXPECT_EQ(glist_cursor_dispose(list, cursor), 1);
    });
}

TEST(glist_cursor_create, leaves_the_status_alone_on_success)
{
    List list;
    i32 err = 77;
    GHandle cursor = glist_cursor_create(list, &err);
    EXPECT_EQ(err, 77);
    glist_cursor_dispose(list, cursor);
}

TEST(glist_cursor_create, of_no_list_gives_8)
{
    i32 err = 77;
    EXPECT_EQ(glist_cursor_create(0, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_BAD_ARGUMENT);
}

TEST(glist_cursor_create, without_memory_gives_4)
{
    List list;
    i32 err = 77;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(glist_cursor_create(list, &err), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(err, GLIST_ERR_MEMORY);
}

TEST(glist_cursor_dispose, gives_0_without_a_list_or_a_cursor)
{
    List list;
    GHandle cursor = list.cursor();
    EXPECT_EQ(glist_cursor_dispose(0, cursor), 0);
    EXPECT_EQ(glist_cursor_dispose(list, 0), 0);
    EXPECT_EQ(gsize(cursor), 8);
    EXPECT_EQ(glist_cursor_dispose(list, cursor), 1);
    EXPECT_EQ(gsize(cursor), 0);
}

TEST(glist_seek, goes_to_any_position_up_to_the_count)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        for (i32 position : { 3, 0, 1, 2 }) {
            EXPECT_EQ(list.seek(position), 1);
            EXPECT_EQ(list.tell(), position);
            EXPECT_EQ(list.error(), 0);
        }
    });
}

TEST(glist_seek, beyond_the_count_or_to_an_unknown_code_gives_7_and_stays)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        EXPECT_EQ(list.seek(2), 1);
        for (i32 position : { 4, 5, INT32_MAX, -7, -100, INT32_MIN }) {
            EXPECT_EQ(list.seek(position), 0);
            EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
            EXPECT_EQ(list.tell(), 2);
        }
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(list.error(), 0);    // a success clears the status
    });
}

TEST(glist_seek, to_0_succeeds_on_every_list)
{
    for (const Values &values : { Values{}, Values{ 10 }, Values{ 10, 20, 30 } }) {
        on_each_kind(values, [](List &list) {
            EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
            EXPECT_EQ(list.seek(0), 1);
            EXPECT_EQ(list.tell(), 0);
        });
    }
}

TEST(glist_seek, in_front_of_the_first_is_0)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(list.seek(GLIST_BEFORE_FIRST), 1);
        EXPECT_EQ(list.tell(), 0);
    });
    on_each_kind({}, [](List &list) { EXPECT_EQ(list.seek(GLIST_BEFORE_FIRST), 1); });
}

TEST(glist_seek, behind_the_last_is_count_plus_1)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.tell(), 3);
    });
}

TEST(glist_seek, behind_the_last_of_an_empty_list_is_1)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.error(), 0);
    });
}

TEST(glist_seek, to_the_next_goes_up_to_the_last_and_no_further)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_NEXT), 1);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.seek(GLIST_NEXT), 1);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.seek(GLIST_NEXT), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.seek(GLIST_NEXT), 0);
        EXPECT_EQ(list.tell(), 3);
    });
}

TEST(glist_seek, to_the_next_of_an_empty_list_gives_7)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_NEXT), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 0);
    });
}

TEST(glist_seek, to_the_previous_goes_down_to_the_first_and_no_further)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        for (i32 position : { 2, 1 }) {
            EXPECT_EQ(list.seek(GLIST_PREVIOUS), 1);
            EXPECT_EQ(list.tell(), position);
        }
        EXPECT_EQ(list.seek(GLIST_PREVIOUS), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.seek(0), 1);
        EXPECT_EQ(list.seek(GLIST_PREVIOUS), 0);
        EXPECT_EQ(list.tell(), 0);
    });
}

TEST(glist_seek, to_the_first_and_the_last)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_LAST), 1);
        EXPECT_EQ(list.tell(), 3);
        EXPECT_EQ(list.seek(GLIST_FIRST), 1);
        EXPECT_EQ(list.tell(), 1);
    });
}

TEST(glist_seek, to_the_first_of_an_empty_list_gives_7_and_position_0)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.seek(GLIST_FIRST), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 0);
    });
}

TEST(glist_seek, to_the_last_of_an_empty_list_gives_11_and_position_0)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.seek(GLIST_LAST), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(list.tell(), 0);
    });
}

TEST(glist_seek, moves_one_cursor_alone)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        GHandle cursor = list.cursor();
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(list.seek(77, cursor), 0);
        EXPECT_EQ(list.error(cursor), GLIST_ERR_POSITION);
        EXPECT_EQ(list.error(), 0);
        EXPECT_EQ(list.seek(3, cursor), 1);
        EXPECT_EQ(list.tell(cursor), 3);
        EXPECT_EQ(list.tell(), 2);
        glist_cursor_dispose(list, cursor);
    });
}

// Every operation with a cursor begins alike.
TEST(glist_seek, of_what_cannot_be_locked_gives_0_and_records_nothing)
{
    on_each_kind({ 10 }, [](List &list) {
        EXPECT_EQ(list.seek(77), 0);
        GHandle cursor = list.cursor();
        glist_cursor_dispose(list, cursor);
        i32 value = 5, n = 5;
        EXPECT_EQ(list.seek(1, cursor), 0);
        EXPECT_EQ(glist_read(list, cursor, 0, &value, 1, &n), 0);
        EXPECT_EQ(n, 0);
        EXPECT_EQ(list.append(1, cursor), 0);
        EXPECT_EQ(list.insert(1, cursor), 0);
        EXPECT_EQ(list.replace(1, cursor), 0);
        EXPECT_EQ(list.remove(cursor), 0);
        EXPECT_EQ(glist_find(list, cursor, 0, GLIST_NO_CALLBACK_ID, equals, 10), 0);
        EXPECT_EQ(glist_delete_matching(list, cursor, GLIST_NO_CALLBACK_ID, equals, 10, &n), 0);
        EXPECT_EQ(glist_count(list, cursor), 0);
        EXPECT_EQ(glist_element_size(list, cursor), 0);
        EXPECT_EQ(list.tell(cursor), 0);
        EXPECT_EQ(list.error(cursor), GLIST_ERR_MEMORY);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);    // still of the first seek
        EXPECT_EQ(list.count(), 1);
    });
    i32 value = 5;
    EXPECT_EQ(glist_seek(0, 0, 0), 0);
    EXPECT_EQ(glist_get(0, 0, &value), 0);
    EXPECT_EQ(glist_append(0, 0, &value, 1, 0), 0);
    EXPECT_EQ(glist_find(0, 0, 0, GLIST_NO_CALLBACK_ID, equals, 10), 0);
    EXPECT_EQ(glist_dump(0, 0, nullptr), 0);
    EXPECT_EQ(glist_set_debug_file(0, "a"), 0u);
    EXPECT_EQ(glist_count(0, 0), 0);
    EXPECT_EQ(glist_error(0), GLIST_ERR_MEMORY);
}

// A block that is too small for a list, or for a cursor, is as good as none.
TEST(glist_seek, refuses_blocks_of_another_kind)
{
    List list(MEMORY, { 10 });
    GHandle small = galloc(7, nullptr, 1);
    EXPECT_EQ(list.seek(1, small), 0);
    EXPECT_EQ(list.error(small), GLIST_ERR_MEMORY);
    EXPECT_EQ(glist_seek(small, 0, 0), 0);
    EXPECT_EQ(glist_error(small), GLIST_ERR_MEMORY);
    gfree(small);
}

TEST(glist_seek, of_a_list_of_an_unknown_kind_gives_13)
{
    List list(MEMORY, { 10 });
    list.record()->kind = 2;
    EXPECT_EQ(list.seek(1), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_BAD_KIND);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.append(5), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_BAD_KIND);
    EXPECT_EQ(list.tell(), 0);
    EXPECT_EQ(glist_add_callback(&list.handle, 0, 1, equals, 0), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_BAD_KIND);
    list.record()->kind = 0;
    EXPECT_EQ(list.count(), 1);
}

TEST(glist_tell, leaves_the_status)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(list.seek(77), 0);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
    });
}

TEST(glist_count, clears_the_status)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        GHandle cursor = list.cursor();
        EXPECT_EQ(list.seek(77, cursor), 0);
        EXPECT_EQ(glist_count(list, cursor), 2);
        EXPECT_EQ(list.error(cursor), 0);
        EXPECT_EQ(list.seek(77, cursor), 0);
        EXPECT_EQ(glist_element_size(list, cursor), 4);
        EXPECT_EQ(list.error(cursor), 0);
        glist_cursor_dispose(list, cursor);
    });
}

// ---- Reading --------------------------------------------------------------------------------------------------------

// What a read gives: the flag, how many were to be read, the elements, and where the cursor is afterwards.
struct Got {
    i16 flag;
    i32 got;
    Values values;
    i32 cursor;
    bool operator==(const Got &) const = default;
};

void PrintTo(const Got &got, std::ostream *out)
{
    *out << "{" << got.flag << ", " << got.got << ", " << testing::PrintToString(got.values) << ", " << got.cursor
         << "}";
}

// A read with the cursor at `from`; the elements that the buffer took.
Got read(List &list, i32 from, i32 mode, i32 count)
{
    list.record()->cursor.position = from;
    Values buffer(100, -1);
    Got got = {};
    got.got = -1;
    got.flag = glist_read(list, 0, mode, buffer.data(), count, &got.got);
    for (size_t i = 0; i < buffer.size() && buffer[i] != -1; i++) got.values.push_back(buffer[i]);
    got.cursor = list.tell();
    return got;
}

const Values FIVE = { 10, 20, 30, 40, 50 };

TEST(glist_read, in_mode_0_reads_from_the_cursor_and_stays)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 2, 0, 3), (Got{ 1, 3, { 20, 30, 40 }, 2 }));
        EXPECT_EQ(read(list, 1, 0, 5), (Got{ 1, 5, FIVE, 1 }));
        EXPECT_EQ(read(list, 4, 0, 3), (Got{ 1, 2, { 40, 50 }, 4 }));    // what there is
        EXPECT_EQ(read(list, 2, 0, 0), (Got{ 1, 0, {}, 2 }));
        EXPECT_EQ(list.error(), 0);
    });
}

TEST(glist_read, in_mode_0_behind_the_last_reads_nothing_and_succeeds)
{
    on_each_kind(FIVE, [](List &list) { EXPECT_EQ(read(list, 6, 0, 1), (Got{ 1, 0, {}, 6 })); });
    on_each_kind({}, [](List &list) { EXPECT_EQ(read(list, 1, 0, 1), (Got{ 1, 0, {}, 1 })); });
}

TEST(glist_read, in_mode_0_in_front_of_the_first_gives_11)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 0, 0, 1), (Got{ 0, 1, {}, 0 }));
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
    });
}

// Deletions through another cursor can leave one further behind than count + 1.
TEST(glist_read, in_mode_0_from_a_cursor_left_behind_gives_11)
{
    on_each_kind(FIVE, [](List &list) {
        GHandle cursor = list.cursor();
        EXPECT_EQ(list.seek(5, cursor), 1);
        EXPECT_EQ(list.seek(3), 1);
        EXPECT_EQ(list.remove(), 1);
        EXPECT_EQ(list.remove(), 1);
        i32 value = -1, got = 77;
        EXPECT_EQ(glist_read(list, cursor, 0, &value, 1, &got), 0);    // count is 3, and the cursor at 5
        EXPECT_EQ(list.error(cursor), GLIST_ERR_RANGE);
        EXPECT_EQ(got, 0);
        EXPECT_EQ(value, -1);
        glist_cursor_dispose(list, cursor);
    });
}

TEST(glist_read, in_mode_1_reads_from_the_first)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 4, 1, 3), (Got{ 1, 3, { 10, 20, 30 }, 3 }));
        EXPECT_EQ(read(list, 6, 1, 7), (Got{ 1, 5, FIVE, 5 }));
        EXPECT_EQ(read(list, 4, 1, 0), (Got{ 1, 0, {}, 0 }));            // 1 + 0 - 1
    });
}

TEST(glist_read, in_mode_1_of_an_empty_list_gives_7)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(read(list, 1, 1, 1), (Got{ 0, 0, {}, 0 }));
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
    });
}

TEST(glist_read, in_mode_2_reads_from_the_next)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 0, 2, 2), (Got{ 1, 2, { 10, 20 }, 2 }));
        EXPECT_EQ(read(list, 2, 2, 2), (Got{ 1, 2, { 30, 40 }, 4 }));
        EXPECT_EQ(read(list, 4, 2, 2), (Got{ 1, 1, { 50 }, 5 }));
        EXPECT_EQ(read(list, 5, 2, 2), (Got{ 0, 0, {}, 5 }));
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(read(list, 2, 2, 0), (Got{ 1, 0, {}, 2 }));
    });
}

TEST(glist_read, in_mode_3_reads_those_in_front_of_the_cursor)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 5, 3, 2), (Got{ 1, 2, { 30, 40 }, 3 }));
        EXPECT_EQ(read(list, 3, 3, 2), (Got{ 1, 2, { 10, 20 }, 1 }));
        EXPECT_EQ(read(list, 6, 3, 5), (Got{ 1, 5, FIVE, 1 }));
        EXPECT_EQ(read(list, 4, 3, 0), (Got{ 1, 0, {}, 4 }));
    });
}

TEST(glist_read, of_more_than_stand_in_front_takes_in_the_cursors_element)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 3, 3, 3), (Got{ 1, 3, { 10, 20, 30 }, 1 }));
        EXPECT_EQ(read(list, 3, 3, 50), (Got{ 1, 3, { 10, 20, 30 }, 1 }));
        EXPECT_EQ(read(list, 2, 3, 2), (Got{ 1, 2, { 10, 20 }, 1 }));
    });
}

TEST(glist_read, in_mode_3_below_2_gives_7_and_stays)
{
    on_each_kind(FIVE, [](List &list) {
        for (i32 from : { 0, 1 }) {
            EXPECT_EQ(read(list, from, 3, 1), (Got{ 0, 0, {}, from }));
            EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        }
    });
}

TEST(glist_read, in_mode_4_reads_the_last_ones)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(read(list, 1, 4, 2), (Got{ 1, 2, { 40, 50 }, 4 }));
        EXPECT_EQ(read(list, 1, 4, 5), (Got{ 1, 5, FIVE, 1 }));
        EXPECT_EQ(read(list, 1, 4, 50), (Got{ 1, 5, FIVE, 1 }));
        EXPECT_EQ(read(list, 1, 4, 0), (Got{ 1, 0, {}, 6 }));
    });
}

TEST(glist_read, in_mode_4_of_an_empty_list_reads_nothing_and_succeeds)
{
    on_each_kind({}, [](List &list) { EXPECT_EQ(read(list, 0, 4, 3), (Got{ 1, 0, {}, 1 })); });
}

TEST(glist_read, in_another_mode_gives_8)
{
    on_each_kind(FIVE, [](List &list) {
        for (i32 mode : { -1, 5, 100 }) {
            EXPECT_EQ(read(list, 2, mode, 1), (Got{ 0, 0, {}, 2 }));
            EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
        }
    });
}

TEST(glist_read, of_a_negative_count_gives_8_and_stays)
{
    on_each_kind(FIVE, [](List &list) {
        for (i32 mode = 0; mode <= 4; mode++) {
            EXPECT_EQ(read(list, 2, mode, -1), (Got{ 0, 0, {}, 2 }));
            EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
        }
    });
}

// The seek stays with which modes 1, 2 and 4 begin; and it is told how many were to be read.
TEST(glist_read, that_fails_leaves_the_cursor_where_its_seek_sent_it)
{
    on_each_kind(FIVE, [](List &list) {
        WithoutElements without(list);
        EXPECT_EQ(read(list, 3, 0, 9), (Got{ 0, 3, {}, 3 }));
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
        EXPECT_EQ(read(list, 3, 1, 2), (Got{ 0, 2, {}, 1 }));
        EXPECT_EQ(read(list, 3, 2, 2), (Got{ 0, 2, {}, 4 }));
        EXPECT_EQ(read(list, 5, 3, 2), (Got{ 0, 2, {}, 5 }));
        EXPECT_EQ(read(list, 3, 4, 2), (Got{ 0, 2, {}, 6 }));
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    });
}

TEST(glist_get, reads_the_element_at_the_cursor)
{
    on_each_kind(FIVE, [](List &list) {
        i32 value;
        EXPECT_EQ(list.seek(4), 1);
        EXPECT_EQ(glist_get(list, 0, &value), 1);
        EXPECT_EQ(value, 40);
        EXPECT_EQ(list.tell(), 4);

        value = 77;
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(glist_get(list, 0, &value), 1);
        EXPECT_EQ(value, 77);
        EXPECT_EQ(list.seek(0), 1);
        EXPECT_EQ(glist_get(list, 0, &value), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
    });
}

TEST(glist_get_next, walks_to_the_end)
{
    on_each_kind(FIVE, [](List &list) {
        Values seen;
        i32 value;
        while (glist_get_next(list, 0, &value)) seen.push_back(value);
        EXPECT_EQ(seen, FIVE);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 5);
    });
}

TEST(glist_get_previous, walks_to_the_start)
{
    on_each_kind(FIVE, [](List &list) {
        Values seen;
        i32 value;
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        while (glist_get_previous(list, 0, &value)) seen.push_back(value);
        EXPECT_EQ(seen, Values(FIVE.rbegin(), FIVE.rend()));
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 1);
    });
}

TEST(glist_get_previous, at_position_1_gives_7_and_stays)
{
    on_each_kind(FIVE, [](List &list) {
        i32 value = 77;
        EXPECT_EQ(list.seek(1), 1);
        EXPECT_EQ(glist_get_previous(list, 0, &value), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(value, 77);
    });
}

TEST(glist_get_at, seeks_and_reads)
{
    on_each_kind(FIVE, [](List &list) {
        i32 value;
        EXPECT_EQ(glist_get_at(list, 0, 3, &value), 1);
        EXPECT_EQ(value, 30);
        EXPECT_EQ(list.tell(), 3);
        EXPECT_EQ(glist_get_at(list, 0, GLIST_LAST, &value), 1);
        EXPECT_EQ(value, 50);
        EXPECT_EQ(list.tell(), 5);

        EXPECT_EQ(glist_get_at(list, 0, 6, &value), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 5);
        EXPECT_EQ(glist_get_at(list, 0, 0, &value), 0);    // the seek succeeds
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(list.tell(), 0);
    });
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(glist_append, puts_elements_behind_the_last_and_stands_on_the_last_one)
{
    on_each_kind({ 10 }, [](List &list) {
        EXPECT_EQ(list.append_all({ 20, 30 }), 1);
        EXPECT_EQ(list.tell(), 3);
        EXPECT_EQ(list.values(), Values({ 10, 20, 30 }));
        EXPECT_EQ(list.seek(0), 1);
        EXPECT_EQ(list.append(40), 1);
        EXPECT_EQ(list.tell(), 4);
        EXPECT_EQ(list.values(), Values({ 10, 20, 30, 40 }));
    });
}

TEST(glist_append, into_an_empty_list)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.append_all({ 10, 20 }), 1);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.values(), Values({ 10, 20 }));
    });
}

TEST(glist_append, of_no_elements_goes_to_the_last_one)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.append_all({}), 1);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.count(), 2);
    });
}

TEST(glist_append, of_a_negative_count_gives_8)
{
    on_each_kind({ 10 }, [](List &list) {
        i32 value = 20;
        EXPECT_EQ(glist_append(list, 0, &value, -1, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
        EXPECT_EQ(glist_insert(list, 0, &value, -1, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
        EXPECT_EQ(list.values(), Values({ 10 }));
        EXPECT_EQ(list.tell(), 0);
    });
}

TEST(glist_insert, puts_elements_in_front_of_the_cursors_and_goes_along)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        EXPECT_EQ(list.seek(2), 1);
        i32 two[] = { 11, 12 };
        EXPECT_EQ(glist_insert(list, 0, two, 2, 0), 1);
        EXPECT_EQ(list.tell(), 4);
        EXPECT_EQ(list.values(), Values({ 10, 11, 12, 20, 30 }));
        EXPECT_EQ(list.seek(1), 1);
        EXPECT_EQ(list.insert(5), 1);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.values(), Values({ 5, 10, 11, 12, 20, 30 }));
    });
}

TEST(glist_insert, into_an_empty_list_at_0_stands_on_the_element)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.insert(10), 1);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.values(), Values({ 10 }));
    });
}

TEST(glist_insert, into_an_empty_list_at_1_gives_11)
{
    on_each_kind({}, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.insert(10), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.count(), 0);
    });
}

TEST(glist_insert, at_0_gives_11)
{
    on_each_kind({ 10 }, [](List &list) {
        EXPECT_EQ(list.insert(5), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(list.tell(), 0);
        EXPECT_EQ(list.values(), Values({ 10 }));
    });
}

TEST(glist_insert, leaves_other_cursors_at_their_numbers)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        GHandle cursor = list.cursor();
        EXPECT_EQ(list.seek(2, cursor), 1);
        EXPECT_EQ(list.seek(1), 1);
        EXPECT_EQ(list.insert(5), 1);
        EXPECT_EQ(list.tell(cursor), 2);
        i32 value;
        EXPECT_EQ(glist_get(list, cursor, &value), 1);
        EXPECT_EQ(value, 10);    // no longer the 20 that it stood on
        glist_cursor_dispose(list, cursor);
    });
}

TEST(glist_replace, overwrites_one_element_and_stays)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(list.replace(25), 1);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.count(), 3);
        i32 value;
        EXPECT_EQ(glist_get(list, 0, &value), 1);
        EXPECT_EQ(value, 25);
    });
}

TEST(glist_replace, outside_the_elements_gives_11)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        for (i32 position : { 0, (i32)GLIST_AFTER_LAST }) {
            EXPECT_EQ(list.seek(position), 1);
            EXPECT_EQ(list.replace(25), 0);
            EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        }
        EXPECT_EQ(list.values(), Values({ 10, 20 }));
    });
}

// As `glock` counts nothing, there is nothing more to see than that the cursor lives on.
TEST(glist_replace, leaves_a_separate_cursor_locked)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        GHandle cursor = list.cursor();
        EXPECT_EQ(list.seek(2, cursor), 1);
        const void *place = glock(cursor);
        EXPECT_EQ(list.replace(25, cursor), 1);
        EXPECT_EQ(glock(cursor), place);
        EXPECT_EQ(list.tell(cursor), 2);
        EXPECT_EQ(list.tell(), 0);
        glist_cursor_dispose(list, cursor);
    });
}

// ---- Deleting -------------------------------------------------------------------------------------------------------

TEST(glist_delete, moves_the_cursor_back_by_one)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        EXPECT_EQ(list.seek(3), 1);
        EXPECT_EQ(list.remove(), 1);
        EXPECT_EQ(list.tell(), 2);
        EXPECT_EQ(list.remove(), 1);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.values(), Values({ 10 }));
        EXPECT_EQ(list.remove(), 1);
        EXPECT_EQ(list.count(), 0);
    });
}

TEST(glist_delete, of_the_first_leaves_the_cursor_at_0)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        EXPECT_EQ(list.seek(1), 1);
        EXPECT_EQ(list.remove(), 1);
        EXPECT_EQ(list.tell(), 0);

        i32 value;
        EXPECT_EQ(glist_get(list, 0, &value), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(glist_get_next(list, 0, &value), 1);
        EXPECT_EQ(value, 20);
        EXPECT_EQ(list.tell(), 1);
    });
}

TEST(glist_delete, outside_the_elements_fails_and_stays)
{
    on_each_kind({ 10, 20 }, [](List &list) {
        EXPECT_EQ(list.remove(), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(list.tell(), 0);

        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(list.remove(), 0);
        // A disk list is told by its table that there is no such place.
        EXPECT_EQ(list.error(), list.shape.kind == GLIST_MEMORY ? GLIST_ERR_RANGE : GLIST_ERR_POSITION);
        EXPECT_EQ(list.tell(), 3);
        EXPECT_EQ(list.values(), Values({ 10, 20 }));
    });
}

TEST(glist_delete, leaves_other_cursors_behind_the_end)
{
    on_each_kind({ 10, 20, 30 }, [](List &list) {
        GHandle cursor = list.cursor();
        EXPECT_EQ(list.seek(3, cursor), 1);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(list.seek(GLIST_LAST), 1);
            EXPECT_EQ(list.remove(), 1);
        }
        EXPECT_EQ(list.tell(cursor), 3);
        glist_cursor_dispose(list, cursor);
    });
}

// ---- Matching -------------------------------------------------------------------------------------------------------

const Values SIX = { 10, 20, 30, 20, 30, 40 };

TEST(glist_find, looks_in_four_directions)
{
    on_each_kind(SIX, [](List &list) {
        auto find = [&](i32 direction, i32 value) {
            return glist_find(list, 0, direction, GLIST_NO_CALLBACK_ID, equals, value) ? list.tell() : -list.error();
        };
        EXPECT_EQ(find(0, 20), 2);
        EXPECT_EQ(find(1, 20), 4);
        EXPECT_EQ(find(0, 10), 1);
        EXPECT_EQ(find(1, 40), 6);
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(find(2, 20), 4);    // not the one at the cursor
        EXPECT_EQ(find(3, 20), 2);
        EXPECT_EQ(find(3, 20), -GLIST_ERR_NOT_FOUND);
        EXPECT_EQ(list.tell(), 2);    // and stays
        EXPECT_EQ(list.seek(0), 1);
        EXPECT_EQ(find(2, 10), 1);
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(find(3, 40), 6);
        EXPECT_EQ(find(0, 77), -GLIST_ERR_NOT_FOUND);
        EXPECT_EQ(find(1, 77), -GLIST_ERR_NOT_FOUND);
    });
}

TEST(glist_find, in_an_empty_list_gives_5)
{
    on_each_kind({}, [](List &list) {
        for (i32 direction : { 0, 1, 2 }) {
            EXPECT_EQ(glist_find(list, 0, direction, GLIST_NO_CALLBACK_ID, equals, 10), 0);
            EXPECT_EQ(list.error(), GLIST_ERR_NOT_FOUND);
        }
    });
}

TEST(glist_find, in_another_direction_gives_8)
{
    on_each_kind(SIX, [](List &list) {
        for (i32 direction : { -1, 4 }) {
            EXPECT_EQ(glist_find(list, 0, direction, GLIST_NO_CALLBACK_ID, equals, 10), 0);
            EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
            EXPECT_EQ(glist_find(list, 0, direction, 5, equals, 0), 0);
            EXPECT_EQ(list.error(), GLIST_ERR_NOT_FOUND);    // the row is looked for first
        }
    });
}

TEST(glist_find, from_the_place_where_it_would_stop_finds_nothing)
{
    on_each_kind(SIX, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        EXPECT_EQ(glist_find(list, 0, 2, GLIST_NO_CALLBACK_ID, equals, 10), 0);
        EXPECT_EQ(list.tell(), 7);
        EXPECT_EQ(list.seek(0), 1);
        EXPECT_EQ(glist_find(list, 0, 3, GLIST_NO_CALLBACK_ID, equals, 10), 0);
        EXPECT_EQ(list.tell(), 0);
    });
}

// It steps past the stop, and there is no element.
TEST(glist_find, from_the_place_where_it_would_stop_gives_11)
{
    on_each_kind(SIX, [](List &list) {
        EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
        (void)glist_find(list, 0, 2, GLIST_NO_CALLBACK_ID, equals, 10);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
        EXPECT_EQ(list.seek(0), 1);
        (void)glist_find(list, 0, 3, GLIST_NO_CALLBACK_ID, equals, 10);
        EXPECT_EQ(list.error(), GLIST_ERR_RANGE);
    });
}

TEST(glist_find, takes_function_and_data_from_the_row)
{
    on_each_kind(SIX, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 30), 1);
        EXPECT_EQ(glist_find(list, 0, 0, 5, nullptr, 0), 1);
        EXPECT_EQ(list.tell(), 3);
        EXPECT_EQ(glist_find(list, 0, 0, 5, nullptr, 40), 1);          // data of the call win
        EXPECT_EQ(list.tell(), 6);
        EXPECT_EQ(glist_find(list, 0, 0, 5, is_multiple, 0), 1);       // and so does the function
        EXPECT_EQ(list.tell(), 3);
        EXPECT_EQ(glist_find(list, 0, 0, 77, is_multiple, 20), 1);     // with both no row is looked for
        EXPECT_EQ(list.tell(), 2);
    });
}

TEST(glist_find, without_a_row_gives_5)
{
    on_each_kind(SIX, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 1, 5, equals, 30), 1);    // of the other type
        EXPECT_EQ(glist_find(list, 0, 0, 5, nullptr, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_NOT_FOUND);
        EXPECT_EQ(glist_find(list, 0, 0, 5, equals, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_NOT_FOUND);
    });
}

TEST(glist_find, takes_data_of_0_from_a_row)
{
    on_each_kind({ 10, 0, 20 }, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 0), 1);
        EXPECT_EQ(glist_find(list, 0, 0, 5, nullptr, 0), 1);
        EXPECT_EQ(list.tell(), 2);
    });
}

TEST(glist_find, without_an_id_needs_function_and_data)
{
    on_each_kind(SIX, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 0, GLIST_NO_CALLBACK_ID, equals, 30), 1);
        EXPECT_EQ(glist_find(list, 0, 0, GLIST_NO_CALLBACK_ID, equals, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
        EXPECT_EQ(glist_find(list, 0, 0, GLIST_NO_CALLBACK_ID, nullptr, 30), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
    });
}

TEST(glist_find, with_a_row_without_a_function_gives_8)
{
    on_each_kind(SIX, [](List &list) {
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, nullptr, 30), 1);
        EXPECT_EQ(glist_find(list, 0, 0, 5, nullptr, 0), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
    });
}

TEST(glist_find, without_memory_for_the_walk_gives_4)
{
    on_each_kind(SIX, [](List &list) {
        faults_start({ .call = FAULT_ALLOC });
        EXPECT_EQ(glist_find(list, 0, 0, GLIST_NO_CALLBACK_ID, equals, 10), 0);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
        EXPECT_EQ(list.tell(), 0);
    });
}

TEST(glist_delete_matching, deletes_each_match_and_counts_them)
{
    on_each_kind(SIX, [](List &list) {
        i32 removed = 77;
        EXPECT_EQ(list.seek(3), 1);
        EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, equals, 20, &removed), 1);
        EXPECT_EQ(removed, 2);
        EXPECT_EQ(list.values(), Values({ 10, 30, 30, 40 }));
        EXPECT_EQ(list.record()->cursor.position, 5);    // behind the last one
    });
}

TEST(glist_delete_matching, of_all_elements_leaves_an_empty_list_and_the_cursor_at_1)
{
    on_each_kind(SIX, [](List &list) {
        i32 removed;
        EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, is_multiple, 10, &removed), 1);
        EXPECT_EQ(removed, 6);
        EXPECT_EQ(list.tell(), 1);
        EXPECT_EQ(list.count(), 0);
    });
}

TEST(glist_delete_matching, of_no_element_succeeds)
{
    on_each_kind(SIX, [](List &list) {
        i32 removed = 77;
        EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, equals, 77, &removed), 1);
        EXPECT_EQ(removed, 0);
        EXPECT_EQ(list.tell(), 7);
        EXPECT_EQ(list.values(), SIX);
        EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, equals, 77, nullptr), 1);
    });
}

TEST(glist_delete_matching, takes_rows_of_type_1)
{
    on_each_kind(SIX, [](List &list) {
        i32 removed = 77;
        EXPECT_EQ(glist_add_callback(&list.handle, 0, 5, equals, 30), 1);
        EXPECT_EQ(glist_delete_matching(list, 0, 5, nullptr, 0, &removed), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_NOT_FOUND);
        EXPECT_EQ(removed, 0);
        EXPECT_EQ(list.tell(), 0);

        EXPECT_EQ(glist_add_callback(&list.handle, 1, 5, equals, 20), 1);
        EXPECT_EQ(glist_delete_matching(list, 0, 5, nullptr, 0, &removed), 1);
        EXPECT_EQ(removed, 2);
        EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, nullptr, 0, &removed), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_BAD_ARGUMENT);
    });
}

TEST(glist_delete_matching, without_memory_for_the_walk_gives_4)
{
    on_each_kind(SIX, [](List &list) {
        i32 removed = 77;
        faults_start({ .call = FAULT_ALLOC });
        EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, equals, 10, &removed), 0);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
        EXPECT_EQ(removed, 0);
        EXPECT_EQ(list.tell(), 0);
        EXPECT_EQ(list.values(), SIX);
    });
}

// Reading aside, for which there is a test above.
TEST(glist, gives_4_when_elements_cannot_be_locked)
{
    on_each_kind(FIVE, [](List &list) {
        EXPECT_EQ(list.seek(2), 1);
        {
            WithoutElements without(list);
            i32 removed = 77;
            auto fails = [&](i16 flag) {
                EXPECT_EQ(flag, 0);
                EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
            };
            fails(list.append(60));
            fails(list.insert(60));
            fails(list.replace(60));
            fails(list.remove());
            fails(glist_find(list, 0, GLIST_FORWARD, GLIST_NO_CALLBACK_ID, equals, 10));
            EXPECT_EQ(list.tell(), 2);
            fails(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, equals, 10, &removed));
            EXPECT_EQ(removed, 0);
        }
        EXPECT_EQ(list.values(), FIVE);
    });
}

// A callback that makes the deletion of its element fail: the count that the walk goes by is older than the list.
List *list_to_empty;
i16 empties_the_list(void *, intptr_t)
{
    list_to_empty->memory()->count = 0;
    return 1;
}

TEST(glist_delete_matching, ends_with_1_when_an_element_cannot_be_deleted)
{
    List list(MEMORY, { 10, 20, 30 });
    list_to_empty = &list;
    i32 removed = 77;
    EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, empties_the_list, 1, &removed), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(list.tell(), 2);    // behind the element examined
}

// ---- Debugging ------------------------------------------------------------------------------------------------------

TEST(glist_set_debug_file, keeps_the_name_in_a_block_of_256_bytes)
{
    on_each_kind({}, [](List &list) {
        GHandle block = glist_set_debug_file(list, "C:\\DUMPS\\A.TXT");
        EXPECT_EQ(gsize(block), 256);
        EXPECT_EQ(list.record()->debug_name, block);
        EXPECT_STREQ((const char *)glock(block), "C:\\DUMPS\\A.TXT");
        EXPECT_EQ(((const u8 *)glock(block))[255], 0);

        EXPECT_EQ(glist_set_debug_file(list, "B"), block);    // again
        EXPECT_STREQ((const char *)glock(block), "B");
        EXPECT_EQ(glist_set_debug_file(list, nullptr), block);
        EXPECT_STREQ((const char *)glock(block), "");
        gfree(block);
    });
}

TEST(glist_set_debug_file, cuts_a_name_to_255)
{
    List list;
    GHandle block = glist_set_debug_file(list, std::string(300, 'x').c_str());
    EXPECT_EQ(std::string((const char *)glock(block)), std::string(255, 'x'));
    gfree(block);
}

TEST(glist_set_debug_file, without_memory_gives_0)
{
    List list;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(glist_set_debug_file(list, "a"), 0u);
    EXPECT_TRUE(faults_stop());
    GHandle block = glist_set_debug_file(list, "a");
    EXPECT_STREQ((const char *)glock(block), "a");
    gfree(block);
}

// A list of two elements of 20 bytes, with bytes from 0x1E on, so that a dump has a full and a part line.
GHandle list_to_dump(const Shape &shape)
{
    i32 err;
    GHandle list = new_list(shape, 20, &err);
    EXPECT_EQ(err, 0);
    u8 bytes[40];
    for (size_t i = 0; i < sizeof bytes; i++) bytes[i] = (u8)(0x1E + i);
    bytes[37] = 0x7E;
    bytes[38] = 0x7F;
    bytes[39] = 0xFE;
    EXPECT_EQ(glist_append(list, 0, bytes, 2, 0), 1);
    return list;
}

const std::string DUMP =
    "\r\n\r\n*** Glist DBG List Dump ***"
    "\r\nMessage:        two"
    "\r\nCount:          2"
    "\r\nElement Size:   20"
    "\r\n\r\n  Element #: 1"
    "\r\n  1E 1F 20 21 22 23 24 25 26 27 28 29 2A 2B 2C 2D  -> \".. !\"#$%&'()*+,-\""
    "\r\n  2E 2F 30 31                                      -> \"./01\""
    "\r\n\r\n  Element #: 2"
    "\r\n  32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40 41  -> \"23456789:;<=>?@A\""
    "\r\n  42 7E 7F FE                                      -> \"B~..\"";

TEST(glist_dump, appends_to_the_named_file_and_makes_it)
{
    for (const Shape &shape : { MEMORY, DISK }) {
        SCOPED_TRACE(shape.name);
        TempDir dir;
        NothingLeft nothing;
        GHandle list = list_to_dump(shape);
        GHandle block = glist_set_debug_file(list, dir.native("dump.txt").c_str());
        EXPECT_EQ(glist_dump(list, 0, Name("two")), 1);
        EXPECT_EQ(dir.content("dump.txt"), DUMP);
        EXPECT_EQ(glist_error(list), 0);
        EXPECT_EQ(glist_tell(list, 0), 2);    // where the append left it
        EXPECT_EQ(glist_dump(list, 0, Name("two")), 1);
        EXPECT_EQ(dir.content("dump.txt"), DUMP + DUMP);
        glist_dispose(list);
        gfree(block);
    }
}

TEST(glist_dump, appends_to_an_open_file_which_stays_open)
{
    TempDir dir;
    NothingLeft nothing;
    Name path = dir.put("dump.txt", "before");
    FileHandle file = file_open(path, FILE_RW_SHARED);
    GHandle list = list_to_dump(MEMORY);
    EXPECT_EQ(glist_dump(list, file, Name("two")), 1);
    EXPECT_EQ(file_size(file), (i32)("before" + DUMP).size());
    EXPECT_EQ(file_close(file), 1);
    EXPECT_EQ(dir.content("dump.txt"), "before" + DUMP);
    glist_dispose(list);
}

TEST(glist_dump, without_a_message_has_no_line_for_it)
{
    TempDir dir;
    List list(MEMORY, {});
    GHandle block = glist_set_debug_file(list, dir.native("dump.txt").c_str());
    EXPECT_EQ(glist_dump(list, 0, nullptr), 1);
    EXPECT_EQ(dir.content("dump.txt"),
              "\r\n\r\n*** Glist DBG List Dump ***\r\nCount:          0\r\nElement Size:   4");
    gfree(block);
}

TEST(glist_dump, prints_numbers_of_16_bits)
{
    TempDir dir;
    i32 err;
    GHandle list = glist_create(1, 0, nullptr, &err);
    std::vector<u8> bytes(40000);
    EXPECT_EQ(glist_append(list, 0, bytes.data(), 40000, 0), 1);
    GHandle block = glist_set_debug_file(list, dir.native("dump.txt").c_str());
    EXPECT_EQ(glist_dump(list, 0, nullptr), 1);
    std::string text = dir.content("dump.txt");
    EXPECT_NE(text.find("\r\nCount:          -25536\r\n"), std::string::npos);
    EXPECT_NE(text.find("\r\n\r\n  Element #: 32767\r\n"), std::string::npos);
    EXPECT_NE(text.find("\r\n\r\n  Element #: -32768\r\n"), std::string::npos);
    glist_dispose(list);
    gfree(block);
}

TEST(glist_dump, gives_1_for_an_empty_name_and_a_file_that_cannot_be_made)
{
    on_each_kind({ 10 }, [](List &list) {
        TempDir dir;
        GHandle block = glist_set_debug_file(list, "");
        EXPECT_EQ(glist_dump(list, 0, nullptr), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
        (void)glist_set_debug_file(list, (dir.native() + "\\no\\dump.txt").c_str());
        EXPECT_EQ(glist_dump(list, 0, nullptr), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
        gfree(block);
    });
}

TEST(glist_dump, without_a_file_gives_1)
{
    List list(MEMORY, { 10 });
    EXPECT_EQ(glist_dump(list, 0, nullptr), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
}

// The calls of a dump into a file that is not there yet: an open that fails anyway, create, open, size, seek, the
// buffer for an element, and then the writes and the close.
TEST(glist_dump, tells_of_failed_preparations_and_of_no_failed_write)
{
    for (u32 nth = 1;; nth++) {
        SCOPED_TRACE(nth);
        TempDir dir;
        NothingLeft nothing;
        GHandle list = list_to_dump(MEMORY);
        GHandle block = glist_set_debug_file(list, dir.native("dump.txt").c_str());
        faults_start({ .call = FAULT_ANY, .nth = nth });
        i16 flag = glist_dump(list, 0, Name("two"));
        bool met = faults_stop();
        i32 expected = nth >= 2 && nth <= 5 ? GLIST_ERR_FAILED : nth == 6 ? GLIST_ERR_MEMORY : GLIST_OK;
        EXPECT_EQ(glist_error(list), expected);
        EXPECT_EQ(flag, expected == GLIST_OK);
        glist_dispose(list);
        gfree(block);
        if (!met) break;
    }
}

TEST(glist_dump, opens_the_file_a_second_time_when_it_is_there)
{
    TempDir dir;
    List list(MEMORY, {});
    dir.put("dump.txt", "before");
    GHandle block = glist_set_debug_file(list, dir.native("dump.txt").c_str());
    faults_start({ .call = FAULT_OPEN });
    EXPECT_EQ(glist_dump(list, 0, nullptr), 1);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dir.content("dump.txt").substr(0, 36), "before\r\n\r\n*** Glist DBG List Dump **");
    gfree(block);
}

TEST(glist_dump, without_memory_for_an_element_gives_4)
{
    TempDir dir;
    List list(MEMORY, { 10 });
    FileHandle file = file_open(dir.put("dump.txt", ""), FILE_RW_SHARED);
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(glist_dump(list, file, nullptr), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    EXPECT_EQ(file_size(file), 0);
    file_close(file);
}

// Three bytes of the first element's first line go out, and its second line does not.
TEST(glist_dump, ends_an_element_at_the_line_that_does_not_go_out_whole)
{
    TempDir dir;
    GHandle list = list_to_dump(MEMORY);
    FileHandle file = file_open(dir.put("dump.txt", ""), FILE_RW_SHARED);
    faults_start({ .call = FAULT_WRITE, .nth = 5, .cut = 3 });    // heading, count, size, number of element 1, line
    EXPECT_EQ(glist_dump(list, file, nullptr), 1);
    EXPECT_TRUE(faults_stop());
    file_close(file);
    std::string expected = DUMP.substr(0, DUMP.find("\r\nMessage")) + DUMP.substr(DUMP.find("\r\nCount"));
    size_t line = expected.find("\r\n  1E");
    expected = expected.substr(0, line + 3) + expected.substr(expected.find("\r\n\r\n  Element #: 2"));
    EXPECT_EQ(dir.content("dump.txt"), expected);
    glist_dispose(list);
}

// ---- Companions -----------------------------------------------------------------------------------------------------

TEST(handle_from_bytes, makes_a_handle_with_a_copy)
{
    GHandle handle = handle_from_bytes("abc", 3);
    EXPECT_EQ(gsize(handle), 3);
    EXPECT_EQ(memcmp(glock(handle), "abc", 3), 0);
    gfree(handle);
    handle = handle_from_bytes(nullptr, 0);
    EXPECT_NE(handle, 0u);
    EXPECT_EQ(gsize(handle), 0);
    gfree(handle);
    EXPECT_EQ(handle_from_bytes("abc", -1), 0u);

    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(handle_from_bytes("abc", 3), 0u);
    EXPECT_TRUE(faults_stop());
}

TEST(glist_module_value, is_17_until_another_is_stored)
{
    EXPECT_EQ(glist_module_value(nullptr), 17);
    i16 value = -5;
    EXPECT_EQ(glist_module_value(&value), -5);
    EXPECT_EQ(glist_module_value(nullptr), -5);
    value = 17;
    EXPECT_EQ(glist_module_value(&value), 17);
}

TEST(glist_module_start, does_nothing)
{
    u32 before = handles_alive();
    glist_module_start();
    EXPECT_EQ(handles_alive(), before);
    EXPECT_EQ(glist_module_value(nullptr), 17);
}

} // namespace
} // namespace zuk
