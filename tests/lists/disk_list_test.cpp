#include "lists/disk_list.h"

#include "files/file.h"
#include "tests/lists/lists.h"

#include <algorithm>
#include <chrono>
#include <fstream>

#if defined(__SANITIZE_ADDRESS__)
#define WITH_SANITIZERS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_SANITIZERS 1
#endif
#endif

namespace zuk {
namespace {

using Values = std::vector<i32>;

constexpr Shape THREE_A_PAGE = { "three a page", GLIST_DISK, 12, 0 };
constexpr Shape ONE_FRAME = { "one frame", GLIST_DISK, 8, 1 };    // two i32 a page

Values free_space(List &list)
{
    Values all;
    for (i32 i = 1; i <= glist_count(list.store()->free_space, 0); i++) {
        i32 bytes = -1;
        EXPECT_EQ(glist_get_at(list.store()->free_space, 0, i, &bytes), 1);
        all.push_back(bytes);
    }
    return all;
}

// Page and offset of each element.
std::vector<std::pair<i32, i32>> places(List &list)
{
    std::vector<std::pair<i32, i32>> all;
    for (i32 i = 1; i <= glist_count(list.disk()->table, 0); i++) {
        ElementLocation at = {};
        EXPECT_EQ(glist_get_at(list.disk()->table, 0, i, &at), 1);
        all.push_back({ at.page, at.offset });
    }
    return all;
}
using Places = std::vector<std::pair<i32, i32>>;

PageFrame frame_of(List &list, i32 position)
{
    PageFrame frame = {};
    EXPECT_EQ(glist_get_at(list.store()->frames, 0, position, &frame), 1);
    return frame;
}

// Take the memory of a frame away, or give it back; what it was.
GHandle set_memory(List &list, i32 position, GHandle memory)
{
    PageFrame frame = frame_of(list, position);
    GHandle before = frame.memory;
    frame.memory = memory;
    EXPECT_EQ(glist_replace(list.store()->frames, 0, &frame), 1);
    return before;
}

i32 compact(List &list) { return glist_kind_compact(GLIST_DISK, list.state()); }

// What a compaction drops, told before it.
class DroppedFile {
public:
    explicit DroppedFile(List &list) : file(list.store()->file) {}
    ~DroppedFile()
    {
        if (file) { EXPECT_EQ(file_close(file), 1); }
    }
    FileHandle file;
};

// ---- Creating -------------------------------------------------------------------------------------------------------

TEST(glist_create, of_a_disk_list_begins_like_this)
{
    NothingLeft nothing;
    List list(DISK);
    PageStore *store = list.store();
    EXPECT_EQ(list.disk()->count, 0);
    EXPECT_EQ(list.disk()->element_size, 4);
    EXPECT_EQ(store->page_count, 0);
    EXPECT_EQ(store->file_pages, 0);
    EXPECT_EQ(store->page_size, 4096);
    EXPECT_EQ(store->frames_left, 16);
    EXPECT_EQ(store->file, 0u);
    EXPECT_EQ(store->file_name[0], 0);
    EXPECT_EQ(store->sweep, 1);
    EXPECT_EQ(glist_element_size(list.disk()->table, 0), 8);
    EXPECT_EQ(glist_element_size(store->free_space, 0), 4);
    EXPECT_EQ(glist_element_size(store->frames, 0), 16);

    GlistCallback *row = nullptr;
    EXPECT_EQ(glist_find_callback(store->free_space, 0, 1, &row), 0);
    i32 bytes = 100;
    EXPECT_EQ(row->function(&bytes, 100), 1);
    EXPECT_EQ(row->function(&bytes, 101), 0);
    EXPECT_EQ(glist_find_callback(store->frames, 0, 1, &row), 0);
    PageFrame frame = { .page = 5, .lock_count = 0, .dirty = 0, .referenced = 0, .memory = 0 };
    EXPECT_EQ(row->function(&frame, 5), 1);
    EXPECT_EQ(row->function(&frame, 6), 0);
}

TEST(glist_create, of_a_page_above_65535_gives_14)
{
    NothingLeft nothing;
    i32 err = 77;
    glist_dispose(new_list({ "", GLIST_DISK, 65535, 0 }, 4, &err));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(new_list({ "", GLIST_DISK, 65536, 0 }, 4, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_PAGE_SIZE);
    EXPECT_EQ(new_list({ "", GLIST_DISK, 65536, 0 }, 65537, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_ELEMENT_TOO_BIG_PAGE);    // the element comes first
    EXPECT_EQ(new_list({ "", GLIST_DISK, -1, 0 }, 1, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_ELEMENT_TOO_BIG_PAGE);
}

TEST(glist_create, of_a_disk_list_without_element_size_gives_8)
{
    NothingLeft nothing;
    i32 err = 77;
    EXPECT_EQ(new_list(DISK, 0, &err), 0u);
    EXPECT_EQ(err, GLIST_ERR_BAD_ARGUMENT);
}

// Without any frame a page has nowhere to go; the list of frames says so.
TEST(glist_append, of_a_disk_list_of_0_frames_gives_7)
{
    TemporaryFiles files;
    NothingLeft nothing;
    GHandle attributes = new_attributes(DISK);
    EXPECT_EQ(glist_attr_set(&attributes, GLIST_ATTR_FRAMES, 0), 1);
    i32 err = 77, value = 5;
    GHandle list = glist_create(4, attributes, nullptr, &err);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(glist_append(list, 0, &value, 1, 0), 0);
    EXPECT_EQ(glist_error(list), GLIST_ERR_POSITION);
    glist_attr_dispose(attributes);
    glist_dispose(list);
    EXPECT_EQ(files.count(), 0u);
}

TEST(glist_kind_init, of_a_disk_list_without_an_attribute_gives_9)
{
    NothingLeft nothing;
    GlistDiskState state;
    EXPECT_EQ(glist_kind_init(GLIST_DISK, 0, &state, 4), GLIST_ERR_ATTRIBUTE);
    GHandle attributes = new_attributes(MEMORY);       // has a unit and no frames
    EXPECT_EQ(glist_kind_init(GLIST_DISK, attributes, &state, 4), GLIST_ERR_ATTRIBUTE);
    glist_attr_dispose(attributes);
}

TEST(glist_kind_state_size, of_a_disk_list_is_that_of_its_state)
{
    i32 size = 0;
    EXPECT_EQ(glist_kind_state_size(GLIST_DISK, 0, &size), 0);
    EXPECT_EQ(size, (i32)sizeof(GlistDiskState));
    EXPECT_EQ(size, 304);
}

// ---- Where elements go ----------------------------------------------------------------------------------------------

TEST(glist_append, has_no_file_as_long_as_the_pages_are_in_memory)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3, 4 });    // two pages, two frames
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4 }));
    EXPECT_EQ(list.store()->file_pages, 0);
    EXPECT_EQ(list.store()->file, 0u);
    EXPECT_EQ(files.count(), 0u);
    EXPECT_EQ(list.append(5), 1);
    EXPECT_NE(list.store()->file, 0u);
    EXPECT_EQ(files.count(), 1u);
}

TEST(glist_append, gives_an_element_as_large_as_a_page_a_page_of_its_own)
{
    TemporaryFiles files;
    i32 err = 77;
    GHandle list = new_list(DISK, 4096, &err);
    std::string element(4096, 'x');
    for (i32 i = 0; i < 20; i++) {
        element[0] = (char)('a' + i);
        EXPECT_EQ(glist_append(list, 0, element.data(), 1, 0), 1);
    }
    PageStore *store = &((GlistDiskState *)glist_state((Glist *)glock(list)))->store;
    EXPECT_EQ(store->page_count, 20);
    EXPECT_EQ(glist_count(store->free_space, 0), 20);
    EXPECT_EQ(glist_count(store->frames, 0), 16);
    std::string back(4096, 0);
    for (i32 i = 0; i < 20; i++) {
        EXPECT_EQ(glist_get_at(list, 0, i + 1, back.data()), 1);
        element[0] = (char)('a' + i);
        EXPECT_EQ(back, element);
    }
    glist_dispose(list);
    EXPECT_EQ(files.count(), 0u);
}

TEST(glist_append, keeps_the_order_within_a_page)
{
    List list(DISK);
    EXPECT_EQ(list.append_all({ 1, 2, 3, 4 }), 1);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4 }));
    EXPECT_EQ(list.append_all({ 5, 6, 7, 8 }), 1);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4, 5, 6, 7, 8 }));
}

TEST(glist_append, puts_each_batch_in_front_of_the_one_before)
{
    List list(THREE_A_PAGE);
    EXPECT_EQ(list.append_all({ 1, 2, 3, 4, 5, 6 }), 1);
    EXPECT_EQ(list.tell(), 6);
    EXPECT_EQ(list.values(), Values({ 4, 5, 6, 1, 2, 3 }));
    EXPECT_EQ(list.append_all({ 11, 12, 13, 14, 15, 16, 17 }), 1);
    EXPECT_EQ(list.values(), Values({ 4, 5, 6, 1, 2, 3, 17, 14, 15, 16, 11, 12, 13 }));
}

TEST(glist_insert, puts_each_batch_in_front_of_the_one_before)
{
    List list(THREE_A_PAGE, { 100, 200 });
    EXPECT_EQ(list.seek(2), 1);
    i32 values[] = { 1, 2, 3, 4, 5, 6, 7 };
    EXPECT_EQ(glist_insert(list, 0, values, 7, 0), 1);
    EXPECT_EQ(list.tell(), 9);
    EXPECT_EQ(list.values(), Values({ 100, 7, 4, 5, 6, 1, 2, 3, 200 }));
}

TEST(glist_append, takes_the_first_page_with_room)
{
    List list({ "four a page", GLIST_DISK, 16, 0 });
    EXPECT_EQ(list.append_all({ 1, 2, 3 }), 1);
    EXPECT_EQ(list.append_all({ 4, 5, 6 }), 1);
    EXPECT_EQ(free_space(list), Values({ 4, 4 }));
    EXPECT_EQ(list.append_all({ 7, 8 }), 1);
    EXPECT_EQ(free_space(list), Values({ 4, 4, 8 }));
    EXPECT_EQ(list.append(9), 1);
    EXPECT_EQ(list.append(10), 1);
    EXPECT_EQ(list.append(11), 1);
    EXPECT_EQ(free_space(list), Values({ 0, 0, 4 }));
    EXPECT_EQ(places(list), Places({ { 1, 0 }, { 1, 4 }, { 1, 8 }, { 2, 0 }, { 2, 4 }, { 2, 8 }, { 3, 0 }, { 3, 4 },
                                     { 1, 12 }, { 2, 12 }, { 3, 8 } }));
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 }));
}

// One insertion larger than what one piece of table entries holds.
TEST(glist_append, keeps_the_order_of_a_page_of_many_elements)
{
    List list(DISK);
    Values many;
    for (i32 i = 1; i <= 1000; i++) many.push_back(i);
    EXPECT_EQ(list.append_all(many), 1);
    EXPECT_EQ(list.values(), many);
    EXPECT_EQ(list.seek(500), 1);
    EXPECT_EQ(glist_insert(list, 0, many.data(), 200, 0), 1);
    Values expected = many;
    expected.insert(expected.begin() + 499, many.begin(), many.begin() + 200);
    EXPECT_EQ(list.values(), expected);
}

TEST(glist_insert, behind_the_last_of_a_disk_list_gives_7)
{
    List list(SMALL_DISK, { 10, 20 });
    EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
    EXPECT_EQ(list.insert(30), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
    EXPECT_EQ(list.tell(), 3);
    EXPECT_EQ(list.values(), Values({ 10, 20 }));
}

TEST(glist_kind_write, on_disk_in_front_of_the_end_gives_7_after_the_copy)
{
    List list(DISK, { 10 });
    i32 value = 20, done = 77;
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), GLIST_WRITE_BEFORE, 2, 4, 1, &value, &done), 7);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(free_space(list), Values({ 4092 }));    // as if nothing had been taken
    i32 copied = 0;
    memcpy(&copied, (const u8 *)glock(frame_of(list, 1).memory) + 4, sizeof copied);
    EXPECT_EQ(copied, 20);

    EXPECT_EQ(list.append(30), 1);                    // over the same bytes
    EXPECT_EQ(places(list), Places({ { 1, 0 }, { 1, 4 } }));
    EXPECT_EQ(list.values(), Values({ 10, 30 }));
}

TEST(glist_kind_write, on_disk_accepts_these_positions)
{
    i32 value[] = { 5, 6 };
    for (i32 position = -1; position <= 5; position++) {
        SCOPED_TRACE(position);
        auto write = [&](i32 mode, i32 n) {
            List list(DISK, { 10, 20, 30 });
            return glist_kind_write(GLIST_DISK, list.state(), mode, position, 4, n, value, nullptr);
        };
        EXPECT_EQ(write(0, 1), position >= 0 && position <= 3 ? 0 : 11);
        EXPECT_EQ(write(1, 1), position >= 1 && position <= 3 ? 0 : position == 4 ? 7 : 11);
        EXPECT_EQ(write(2, 1), position >= 1 && position <= 3 ? 0 : 11);
        EXPECT_EQ(write(2, 2), position >= 1 && position <= 2 ? 0 : 11);
        EXPECT_EQ(write(3, 1), 8);
        EXPECT_EQ(write(-1, 1), 8);
    }
}

TEST(glist_kind_write, on_disk_inserts_behind_any_element)
{
    List list(DISK, { 10, 20, 30 });
    i32 value[] = { 5, 6 };
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), 0, 1, 4, 2, value, nullptr), 0);
    EXPECT_EQ(list.values(), Values({ 10, 5, 6, 20, 30 }));
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), 0, 0, 4, 2, value, nullptr), 0);
    EXPECT_EQ(list.values(), Values({ 5, 6, 10, 5, 6, 20, 30 }));
}

TEST(glist_kind_write, on_disk_wants_an_element_size_that_fits)
{
    List list(SMALL_DISK, { 10 });
    u8 bytes[16] = {};
    i32 done = 77;
    for (i32 size : { 0, -1, 9 }) {
        EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), 0, 1, size, 1, bytes, &done), 8);
        EXPECT_EQ(done, 0);
    }
}

// Behind a page that is full for elements there can be room for smaller pieces, which only the dispatch can ask for.
TEST(glist_kind_write, on_disk_looks_at_all_pages_for_less_than_an_element)
{
    List list({ "", GLIST_DISK, 10, 0 }, { 1, 2, 3, 4, 5 });    // two a page, and 2 bytes left
    EXPECT_EQ(free_space(list), Values({ 2, 2, 6 }));
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), 0, 5, 2, 1, "xy", nullptr), 0);
    EXPECT_EQ(free_space(list), Values({ 0, 2, 6 }));
    EXPECT_EQ(places(list).back(), std::pair(1, 8));
    i32 value;
    EXPECT_EQ(glist_get_at(list, 0, 6, &value), 0);             // 4 bytes would reach out of the page
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
}

TEST(glist_append, that_fails_midway_keeps_the_batches_before)
{
    TemporaryFiles files;
    List list(ONE_FRAME);
    i32 values[] = { 1, 2, 3, 4, 5, 6 }, done = 77;
    faults_start({ .call = FAULT_OPEN });                       // when the second page needs the only frame
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), 0, 0, 4, 6, values, &done), 17);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(done, 2);
    EXPECT_EQ(list.values(), Values({ 1, 2 }));
    EXPECT_EQ(list.store()->page_count, 2);                     // the page was taken, and is empty
    EXPECT_EQ(free_space(list), Values({ 0, 8 }));

    faults_start({ .call = FAULT_OPEN });
    EXPECT_EQ(glist_append(list, 0, values, 6, 0), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_TEMP_FILE);
    EXPECT_EQ(list.append_all({ 7, 8 }), 1);
    EXPECT_EQ(places(list), Places({ { 1, 0 }, { 1, 4 }, { 2, 0 }, { 2, 4 } }));
    EXPECT_EQ(list.values(), Values({ 1, 2, 7, 8 }));
}

// The table grows by 1024 bytes, which are 128 entries; the entries of a batch go there by 64.
TEST(glist_append, of_a_batch_that_the_table_has_no_room_for_leaves_none_of_it)
{
    List list(DISK);
    Values first(100), more(70);
    for (size_t i = 0; i < first.size(); i++) first[i] = (i32)i;
    EXPECT_EQ(list.append_all(first), 1);
    EXPECT_EQ(list.seek(50), 1);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(glist_insert(list, 0, more.data(), (i32)more.size(), 0), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    EXPECT_EQ(list.tell(), 50);
    EXPECT_EQ(glist_count(list.disk()->table, 0), 100);
    EXPECT_EQ(list.values(), first);

    List empty(DISK);
    Values many(200, 5);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(empty.append_all(many), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(empty.count(), 0);
    EXPECT_EQ(glist_count(empty.disk()->table, 0), 0);
    EXPECT_EQ(empty.append_all(many), 1);
    EXPECT_EQ(empty.values(), many);
}

// 256 pages of one element: the list of free bytes has 1024 bytes, and the table 2048, and both are full. For a page
// more the free bytes grow first.
TEST(glist_append, that_cannot_note_a_new_page_gives_1_and_takes_none)
{
    TemporaryFiles files;
    List list({ "one a page", GLIST_DISK, 4, 2 });
    for (i32 i = 1; i <= 256; i++) EXPECT_EQ(list.append(i), 1);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(list.append(257), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
    EXPECT_EQ(list.store()->page_count, 256);
    EXPECT_EQ(list.count(), 256);

    faults_start({ .call = FAULT_RESIZE, .nth = 2 });
    EXPECT_EQ(list.append(257), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);     // of the table
    EXPECT_EQ(list.store()->page_count, 257);      // the page stays, empty
    EXPECT_EQ(list.count(), 256);
    EXPECT_EQ(list.append(257), 1);
    EXPECT_EQ(list.store()->page_count, 257);
    EXPECT_EQ(list.at(257), 257);
    EXPECT_EQ(list.at(1), 1);
}

TEST(glist, on_disk_gives_4_when_a_page_cannot_be_locked)
{
    List list(DISK, { 10, 20 });
    GHandle memory = set_memory(list, 1, 0);
    i32 value, done = 77;
    auto fails = [&](i16 flag) {
        EXPECT_EQ(flag, 0);
        EXPECT_EQ(list.error(), GLIST_ERR_MEMORY);
    };
    fails(glist_get_next(list, 0, &value));
    fails(list.replace(25));
    fails(list.append(30));
    fails(glist_find(list, 0, GLIST_FORWARD, GLIST_NO_CALLBACK_ID, equals, 20));
    EXPECT_EQ(frame_of(list, 1).lock_count, 0);    // the page was pinned, and is let go
    EXPECT_EQ(glist_kind_read(GLIST_DISK, list.state(), 1, 2, &value, &done), GLIST_ERR_MEMORY);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), GLIST_WRITE_OVER, 1, 4, 1, &value, &done), GLIST_ERR_MEMORY);
    EXPECT_EQ(done, 0);
    set_memory(list, 1, memory);
    EXPECT_EQ(list.values(), Values({ 10, 20 }));
}

// Only a compaction that broke off can leave free bytes and pages that do not belong together.
TEST(glist_append, never_writes_beyond_a_page)
{
    List list(SMALL_DISK, { 1, 2, 3, 4 });
    list.store()->page_count = 0;
    EXPECT_EQ(list.append(5), 0);    // a new page, which counts as page 1, and that one is full
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4 }));
}

// ---- Replacing ------------------------------------------------------------------------------------------------------

TEST(glist_replace, is_lost_when_the_page_leaves_memory)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4 });
    EXPECT_EQ(list.at(1), 1);            // page 1 is in memory, clean
    EXPECT_EQ(list.seek(1), 1);
    EXPECT_EQ(list.replace(99), 1);
    EXPECT_EQ(list.at(1), 99);
    EXPECT_EQ(list.at(3), 3);            // page 2 takes the frame
    EXPECT_EQ(list.at(1), 1);
}

TEST(glist_replace, stays_in_a_page_that_is_dirty_for_another_reason)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3 });
    EXPECT_EQ(list.seek(3), 1);
    EXPECT_EQ(list.replace(99), 1);      // page 2 has not been written yet
    EXPECT_EQ(list.at(1), 1);
    EXPECT_EQ(list.at(3), 99);
}

TEST(glist_kind_write, over_elements_on_disk_counts_up_to_the_first_failure)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4 });
    i32 values[] = { 91, 92, 93, 94 }, done = 77;
    (void)list.at(1);
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(glist_kind_write(GLIST_DISK, list.state(), GLIST_WRITE_OVER, 1, 4, 4, values, &done), 1);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(done, 2);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(glist_kind_read, on_disk_reads_up_to_the_end)
{
    List list(SMALL_DISK, { 10, 20 });
    Values buffer(5, -1);
    i32 done = 77;
    EXPECT_EQ(glist_kind_read(GLIST_DISK, list.state(), 1, 5, buffer.data(), &done), 7);
    EXPECT_EQ(done, 2);
    EXPECT_EQ(buffer, Values({ 10, 20, -1, -1, -1 }));
    EXPECT_EQ(glist_kind_read(GLIST_DISK, list.state(), 0, 1, buffer.data(), &done), 11);
    EXPECT_EQ(glist_kind_read(GLIST_DISK, list.state(), -5, 1, buffer.data(), &done), 11);    // no position code
    EXPECT_EQ(done, 0);
}

TEST(glist_read, in_mode_3_from_behind_the_last_of_a_disk_list_gives_7)
{
    List list(SMALL_DISK, { 10, 20 });
    Values buffer(9, -1);
    i32 got = 77;
    EXPECT_EQ(list.seek(GLIST_AFTER_LAST), 1);
    EXPECT_EQ(glist_read(list, 0, GLIST_READ_PREVIOUS, buffer.data(), 5, &got), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_POSITION);
    EXPECT_EQ(got, 3);
    EXPECT_EQ(list.tell(), 3);
}

TEST(glist_read, of_a_location_outside_the_pages_gives_1)
{
    for (ElementLocation wrong : { ElementLocation{ 0, 0 }, { -1, 0 }, { 1, -1 }, { 1, 5 }, { 1, INT32_MAX } }) {
        List list(SMALL_DISK, { 10, 20 });
        EXPECT_EQ(glist_seek(list.disk()->table, 0, 2), 1);
        EXPECT_EQ(glist_replace(list.disk()->table, 0, &wrong), 1);
        i32 value;
        EXPECT_EQ(glist_get_at(list, 0, 2, &value), 0);
        EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
        EXPECT_EQ(list.at(1), 10);
    }
}

// ---- Deleting -------------------------------------------------------------------------------------------------------

TEST(glist_delete, frees_no_bytes_of_a_page)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3, 4, 5 });
    while (list.count() > 0) {
        EXPECT_EQ(list.seek(GLIST_LAST), 1);
        EXPECT_EQ(list.remove(), 1);
    }
    EXPECT_EQ(list.store()->page_count, 3);
    EXPECT_EQ(free_space(list), Values({ 0, 0, 4 }));
    EXPECT_EQ(list.append(6), 1);
    EXPECT_EQ(list.append(7), 1);
    EXPECT_EQ(places(list), Places({ { 3, 4 }, { 4, 0 } }));
    EXPECT_EQ(list.values(), Values({ 6, 7 }));
}

TEST(glist_kind_delete, on_disk_runs_backward_over_the_range)
{
    List list(SMALL_DISK, { 10, 20, 30, 40 });
    i32 done = 77;
    EXPECT_EQ(glist_kind_delete(GLIST_DISK, list.state(), 2, 2, &done), 0);
    EXPECT_EQ(done, 2);
    EXPECT_EQ(list.values(), Values({ 10, 40 }));
}

TEST(glist_kind_delete, on_disk_behind_the_end_gives_7)
{
    List list(SMALL_DISK, { 10, 20 });
    i32 done = 77;
    for (auto [position, n] : { std::pair{ 3, 1 }, { 2, 2 }, { 1, INT32_MAX }, { -5, 1 } }) {
        EXPECT_EQ(glist_kind_delete(GLIST_DISK, list.state(), position, n, &done), 7);
        EXPECT_EQ(done, 0);
    }
    EXPECT_EQ(list.values(), Values({ 10, 20 }));
}

// A range that begins in front of the first element: the run ends there.
TEST(glist_kind_delete, on_disk_reports_one_fewer_when_it_fails_midway)
{
    List list(SMALL_DISK, { 10, 20, 30 });
    i32 done = 77;
    EXPECT_EQ(glist_kind_delete(GLIST_DISK, list.state(), 0, 3, &done), 11);
    EXPECT_EQ(done, 1);                               // two are gone
    EXPECT_EQ(list.values(), Values({ 30 }));
    EXPECT_EQ(glist_kind_delete(GLIST_DISK, list.state(), 0, 1, &done), 11);
    EXPECT_EQ(done, 0);                               // none is
    EXPECT_EQ(list.values(), Values({ 30 }));
}

// ---- Walking --------------------------------------------------------------------------------------------------------

TEST(glist_kind_element_pointer, on_disk_gives_7_for_count_plus_1)
{
    List list(SMALL_DISK, { 10, 20 });
    GHandle iterator;
    void *pointer;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_DISK, list.state(), 0, &iterator), 0);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 3, &pointer), 7);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 4, &pointer), 11);
    glist_kind_iterator_close(GLIST_DISK, iterator);
}

TEST(glist_kind_element_pointer, pins_one_page_at_a_time)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3, 4 });
    auto pins = [&] { return std::pair(frame_of(list, 1).lock_count, frame_of(list, 2).lock_count); };
    GHandle iterator;
    void *pointer;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_DISK, list.state(), 0, &iterator), 0);
    EXPECT_EQ(pins(), std::pair(0, 0));
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 1, &pointer), 0);
    EXPECT_EQ(pins(), std::pair(1, 0));
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 2, &pointer), 0);
    EXPECT_EQ(pins(), std::pair(1, 0));
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 3, &pointer), 0);
    EXPECT_EQ(pins(), std::pair(0, 1));
    glist_kind_iterator_close(GLIST_DISK, iterator);
    EXPECT_EQ(pins(), std::pair(0, 0));
}

TEST(glist_kind_element_pointer, on_disk_gives_4_each_time_a_page_cannot_be_locked)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 10, 20 });
    GHandle memory = set_memory(list, 1, 0);
    GHandle iterator;
    void *pointer = nullptr;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_DISK, list.state(), 0, &iterator), 0);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 1, &pointer), GLIST_ERR_MEMORY);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 2, &pointer), GLIST_ERR_MEMORY);
    EXPECT_EQ(pointer, nullptr);
    glist_kind_iterator_close(GLIST_DISK, iterator);
    EXPECT_EQ(frame_of(list, 1).lock_count, 0);
    set_memory(list, 1, memory);
}

// The pinned page, which is in the first frame, is not the one to go, and the pointer stays good.
TEST(glist_kind_element_pointer, keeps_the_page_in_memory)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3, 4, 5, 6 });
    GHandle iterator;
    void *pointer;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_DISK, list.state(), 0, &iterator), 0);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 5, &pointer), 0);
    EXPECT_EQ(frame_of(list, 1).page, 3);
    for (i32 position : { 1, 3, 1, 3 }) EXPECT_EQ(list.at(position), position);
    i32 value;
    memcpy(&value, pointer, sizeof value);
    EXPECT_EQ(value, 5);
    glist_kind_iterator_close(GLIST_DISK, iterator);
}

TEST(glist_append, with_every_page_pinned_gives_15_and_adds_nothing)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2 });
    GHandle iterator;
    void *pointer;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_DISK, list.state(), 0, &iterator), 0);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 1, &pointer), 0);
    EXPECT_EQ(list.append(3), 0);
    EXPECT_EQ(list.error(), GLIST_ERR_ALL_PAGES_BUSY);
    EXPECT_EQ(list.values(), Values({ 1, 2 }));
    glist_kind_iterator_close(GLIST_DISK, iterator);
    EXPECT_EQ(list.append(3), 1);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3 }));
}

TEST(glist_find, on_disk_brings_each_page_in_once)
{
    TemporaryFiles files;
    List list(ONE_FRAME);
    for (i32 i = 1; i <= 40; i++) EXPECT_EQ(list.append(i), 1);    // 20 pages
    (void)list.at(1);
    calls_reset();
    EXPECT_EQ(glist_find(list, 0, GLIST_FORWARD, GLIST_NO_CALLBACK_ID, equals, 77), 0);
    EXPECT_EQ(call_counts().read, 19u);
    EXPECT_EQ(call_counts().write, 0u);
    calls_reset();
    EXPECT_EQ(glist_find(list, 0, GLIST_BACKWARD, GLIST_NO_CALLBACK_ID, equals, 1), 1);
    EXPECT_EQ(call_counts().read, 19u);
    EXPECT_EQ(list.tell(), 1);
}

// Page 1 is in memory, and the next one cannot be read.
TEST(glist_find, on_disk_that_fails_midway_stays_and_pins_nothing)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4, 5, 6 });
    (void)list.at(1);
    EXPECT_EQ(list.seek(6), 1);
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(glist_find(list, 0, GLIST_FORWARD, GLIST_NO_CALLBACK_ID, equals, 5), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
    EXPECT_EQ(list.tell(), 6);
    EXPECT_EQ(frame_of(list, 1).lock_count, 0);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4, 5, 6 }));
}

// The cursor is behind the last element that was examined, and in front of the one that was not.
TEST(glist_delete_matching, on_disk_that_fails_midway_keeps_what_was_deleted)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4, 5, 6 });
    (void)list.at(1);
    i32 removed = 77;
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, equals, 2, &removed), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(list.error(), GLIST_ERR_FAILED);
    EXPECT_EQ(removed, 1);
    EXPECT_EQ(list.tell(), 2);
    EXPECT_EQ(frame_of(list, 1).lock_count, 0);
    EXPECT_EQ(list.values(), Values({ 1, 3, 4, 5, 6 }));
}

// ---- Compaction -----------------------------------------------------------------------------------------------------

TEST(glist_kind_compact, packs_the_elements_in_their_order)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3, 4, 5, 6, 7 });
    for (i32 position : { 6, 3 }) {
        EXPECT_EQ(list.seek(position), 1);
        EXPECT_EQ(list.remove(), 1);
    }
    DroppedFile old(list);
    EXPECT_EQ(compact(list), 0);
    EXPECT_EQ(places(list), Places({ { 1, 0 }, { 1, 4 }, { 2, 0 }, { 2, 4 }, { 3, 0 } }));
    EXPECT_EQ(list.store()->page_count, 3);
    EXPECT_EQ(list.store()->file_pages, 3);
    EXPECT_EQ(file_size(list.store()->file), 3 * 8);
    EXPECT_EQ(list.values(), Values({ 1, 2, 4, 5, 7 }));
    EXPECT_EQ(list.append(8), 1);
    EXPECT_EQ(list.count(), 6);
}

TEST(glist_kind_compact, asks_for_a_frame_and_nothing_else)
{
    TemporaryFiles files;
    List list(SMALL_DISK);
    EXPECT_EQ(compact(list), GLIST_ERR_COMPACT_REFUSED);
    EXPECT_EQ(files.count(), 0u);

    EXPECT_EQ(list.append_all({ 1, 2 }), 1);
    GHandle iterator;
    void *pointer;
    EXPECT_EQ(glist_kind_iterator_open(GLIST_DISK, list.state(), 0, &iterator), 0);
    EXPECT_EQ(glist_kind_element_pointer(GLIST_DISK, iterator, 1, &pointer), 0);
    EXPECT_EQ(compact(list), 0);                     // a pinned page does not stop it
    EXPECT_EQ(frame_of(list, 1).page, NO_PAGE);
    EXPECT_EQ(frame_of(list, 1).lock_count, 1);      // and keeps its pin
    EXPECT_EQ(frame_of(list, 1).dirty, 0);
    EXPECT_EQ(frame_of(list, 1).referenced, 0);
    EXPECT_NE(frame_of(list, 1).memory, 0u);
    glist_kind_iterator_close(GLIST_DISK, iterator);
    EXPECT_EQ(list.values(), Values({ 1, 2 }));
}

TEST(glist_kind_compact, notes_the_free_bytes_of_the_last_page_alone)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3, 4, 5, 6, 7 });
    EXPECT_EQ(free_space(list), Values({ 0, 0, 0, 4 }));
    for (i32 position : { 6, 3 }) {
        EXPECT_EQ(list.seek(position), 1);
        EXPECT_EQ(list.remove(), 1);
    }
    DroppedFile old(list);
    EXPECT_EQ(compact(list), 0);
    EXPECT_EQ(free_space(list), Values({ 4, 0, 0 }));    // the 4 are of page 3

    // Page 1 is taken for half empty, and the second element of the list is written over.
    EXPECT_EQ(list.append(99), 1);
    EXPECT_EQ(list.values(), Values({ 1, 99, 4, 5, 7, 99 }));
}

// All but the first element gone: entries behind the first keep what the old pages had, if they stay.
TEST(glist_kind_compact, takes_the_entries_of_pages_that_are_gone_from_the_end)
{
    TemporaryFiles files;
    List list(THREE_A_PAGE);
    for (Values page : { Values{ 1, 2 }, { 3, 4 }, { 5, 6, 7 } }) EXPECT_EQ(list.append_all(page), 1);
    EXPECT_EQ(free_space(list), Values({ 4, 4, 0 }));
    EXPECT_EQ(list.seek(7), 1);
    EXPECT_EQ(list.remove(), 1);
    EXPECT_EQ(compact(list), 0);                         // six elements, two full pages
    EXPECT_EQ(list.store()->page_count, 2);
    EXPECT_EQ(free_space(list), Values({ 0, 4 }));
    EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4, 5, 6 }));
}

TEST(glist_kind_compact, of_an_empty_list_leaves_no_page_and_can_be_repeated)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3 });
    i32 removed;
    EXPECT_EQ(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, is_multiple, 1, &removed), 1);
    EXPECT_EQ(compact(list), 0);
    EXPECT_EQ(list.store()->page_count, 0);
    EXPECT_EQ(list.store()->file_pages, 0);
    EXPECT_EQ(free_space(list), Values());
    {
        DroppedFile old(list);
        EXPECT_EQ(compact(list), 0);
    }
    EXPECT_EQ(list.append(4), 1);
    EXPECT_EQ(list.append(5), 1);
    EXPECT_EQ(list.append(6), 1);
    EXPECT_EQ(list.values(), Values({ 4, 5, 6 }));
}

TEST(glist_kind_compact, makes_replaced_elements_stay)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4 });
    (void)list.at(1);
    EXPECT_EQ(list.seek(1), 1);
    EXPECT_EQ(list.replace(99), 1);
    DroppedFile old(list);
    EXPECT_EQ(compact(list), 0);
    EXPECT_EQ(list.values(), Values({ 99, 2, 3, 4 }));
}

TEST(glist_kind_compact, leaves_the_old_file_open)
{
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4 });
    DroppedFile old(list);
    std::string name = files.names().at(0);
    calls_reset();
    EXPECT_EQ(compact(list), 0);
    EXPECT_NE(list.store()->file, old.file);
    EXPECT_EQ(call_counts().close, 0u);
    EXPECT_EQ(call_counts().remove, 1u);        // refused, as the file is open
    EXPECT_EQ(files.count(), 2u);
    EXPECT_TRUE(files.dir.has(name));
    EXPECT_EQ(file_size(old.file), 16);         // it can still be used
}

TEST(glist_kind_compact, of_a_list_without_a_file_gives_it_one)
{
    TemporaryFiles files;
    List list(SMALL_DISK, { 1, 2, 3 });
    EXPECT_EQ(files.count(), 0u);
    EXPECT_EQ(compact(list), 0);
    EXPECT_EQ(files.count(), 1u);
    EXPECT_EQ(list.values(), Values({ 1, 2, 3 }));
}

TEST(glist_kind_compact, without_a_new_file_gives_17_and_loses_the_old_name)
{
    TemporaryFiles files;
    {
        List list(ONE_FRAME, { 1, 2, 3, 4 });
        Name before;
        memcpy(before.text, list.store()->file_name, sizeof before.text);
        FileHandle file = list.store()->file;
        faults_start({ .call = FAULT_OPEN });
        EXPECT_EQ(compact(list), GLIST_ERR_TEMP_FILE);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(list.store()->file, file);
        EXPECT_NE(memcmp(list.store()->file_name, before.text, before.text[0] + 1), 0);
        EXPECT_NE(list.store()->file_name[0], 0);
        EXPECT_EQ(files.count(), 1u);
        EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4 }));
    }
    EXPECT_EQ(files.count(), 1u);               // the old one
}

TEST(glist_kind_compact, without_memory_for_its_buffers_gives_4_and_changes_nothing)
{
    TemporaryFiles files;
    {
        List list(ONE_FRAME, { 1, 2, 3, 4 });
        for (u32 nth : { 1u, 2u }) {
            faults_start({ .call = FAULT_ALLOC, .nth = nth });
            EXPECT_EQ(compact(list), GLIST_ERR_MEMORY);
            EXPECT_TRUE(faults_stop());
            EXPECT_EQ(files.count(), 1u);
            EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4 }));
        }
    }
    EXPECT_EQ(files.count(), 0u);
}

// The second page cannot be written: the store has the new file all the same, with one page in it.
TEST(glist_kind_compact, that_cannot_write_gives_17_and_goes_over_to_the_new_file)
{
    for (const Fault &fault : { Fault{ .call = FAULT_SEEK, .nth = 2 }, Fault{ .call = FAULT_WRITE, .nth = 2 },
                                Fault{ .call = FAULT_WRITE, .nth = 2, .cut = 7 } }) {
        TemporaryFiles files;
        List list({ "", GLIST_DISK, 8, 16 }, { 1, 2, 3, 4, 5, 6 });
        faults_start(fault);
        EXPECT_EQ(compact(list), GLIST_ERR_TEMP_FILE);
        EXPECT_TRUE(faults_stop());
        EXPECT_NE(list.store()->file, 0u);
        EXPECT_EQ(list.store()->page_count, 2);
        EXPECT_EQ(list.store()->file_pages, 2);
        EXPECT_EQ(list.values(), Values({ 1, 2, 3, 4, 5, 6 }));    // from the frames, which have not been emptied
    }
}

// 12 bytes a page, of which 8 are in use; a compaction is about to note that it will be 4.
TEST(glist_kind_compact, notes_free_bytes_between_the_seek_and_the_write)
{
    for (auto [call, expected] : { std::pair{ FAULT_SEEK, 4 }, { FAULT_WRITE, 8 } }) {
        TemporaryFiles files;
        List list(THREE_A_PAGE, { 1, 2 });
        EXPECT_EQ(list.seek(2), 1);
        EXPECT_EQ(list.remove(), 1);
        faults_start({ .call = call });
        EXPECT_EQ(compact(list), GLIST_ERR_TEMP_FILE);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(free_space(list), Values({ expected }));
    }
}

// ---- Disposing ------------------------------------------------------------------------------------------------------

TEST(glist_kind_dispose, of_a_list_without_a_file_gives_17)
{
    TemporaryFiles files;
    for (const Values &values : { Values{}, Values{ 1, 2, 3 } }) {
        NothingLeft nothing;
        List list(SMALL_DISK, values);
        EXPECT_EQ(glist_kind_dispose(GLIST_DISK, list.state()), GLIST_ERR_TEMP_FILE);
    }    // the second disposal, by the list itself, finds handles that are gone
}

TEST(glist_kind_dispose, closes_and_deletes_the_file)
{
    NothingLeft nothing;
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4 });
    calls_reset();
    EXPECT_EQ(glist_kind_dispose(GLIST_DISK, list.state()), 0);
    EXPECT_EQ(call_counts().close, 1u);
    EXPECT_EQ(call_counts().remove, 1u);
    EXPECT_EQ(files.count(), 0u);
}

TEST(glist_kind_dispose, gives_17_when_the_file_cannot_be_closed_or_deleted)
{
    for (FaultCall call : { FAULT_CLOSE, FAULT_REMOVE }) {
        NothingLeft nothing;
        TemporaryFiles files;
        List list(ONE_FRAME, { 1, 2, 3, 4 });
        faults_start({ .call = call });
        EXPECT_EQ(glist_kind_dispose(GLIST_DISK, list.state()), GLIST_ERR_TEMP_FILE);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(files.count(), call == FAULT_REMOVE ? 1u : 0u);
    }
}

TEST(glist_kind_dispose, gives_4_for_frames_that_cannot_be_read_and_goes_on)
{
    NothingLeft nothing;
    TemporaryFiles files;
    List list(ONE_FRAME, { 1, 2, 3, 4 });
    GHandle page = frame_of(list, 1).memory;
    GlistMemoryState *frames = (GlistMemoryState *)glist_state((Glist *)glock(list.store()->frames));
    GHandle block = frames->data;
    frames->data = 0;
    EXPECT_EQ(glist_kind_dispose(GLIST_DISK, list.state()), GLIST_ERR_MEMORY);
    EXPECT_EQ(files.count(), 0u);
    gfree(page);
    gfree(block);
}

// ---- Every call of the platform fails -------------------------------------------------------------------------------

// What an operation can tell of a call that failed, beside 0 for one that it could do without.
Values statuses_of(FaultCall call)
{
    switch (call) {
    case FAULT_ANY_MEMORY: return { GLIST_ERR_MEMORY };
    case FAULT_TEMPORARY:
    case FAULT_MAKE_TEMPORARY:
    case FAULT_OPEN: return { GLIST_ERR_TEMP_FILE };
    case FAULT_SEEK:
    case FAULT_READ:
    case FAULT_WRITE: return { GLIST_ERR_FAILED };
    default: return { GLIST_ERR_FAILED, GLIST_ERR_MEMORY, GLIST_ERR_TEMP_FILE };
    }
}

bool is_status(i32 status, const Values &possible)
{
    return status == 0 || std::count(possible.begin(), possible.end(), status) > 0;
}

// A day of a disk list; false at the first operation whose flag and status do not go together, or whose status is not
// one of the possible ones. `*told` if one of them told of a failure.
bool use(List &list, const Values &possible, bool *told)
{
    bool good = true;
    *told = false;
    auto expect = [&](i16 flag) {
        i32 status = list.error();
        if ((flag == 1) != (status == 0) || !is_status(status, possible)) good = false;
        if (status) *told = true;
    };
    for (i32 i = 1; i <= 7; i++) expect(list.append(i));
    (void)list.seek(std::min(list.count(), 2));
    if (list.count() > 1) {
        expect(list.insert(22));
        expect(list.replace(23));
        expect(list.remove());
    }
    Values buffer(20);
    i32 n = 0;
    if (list.count() > 0) expect(glist_read(list, 0, GLIST_READ_FIRST, buffer.data(), 20, &n));
    i16 found = glist_find(list, 0, GLIST_BACKWARD, GLIST_NO_CALLBACK_ID, equals, 1);
    if (list.error() != GLIST_ERR_NOT_FOUND) expect(found);
    expect(glist_delete_matching(list, 0, GLIST_NO_CALLBACK_ID, is_multiple, 3, &n));
    return good;
}

void fail_each(FaultCall call, bool from_then_on)
{
    for (u32 nth = 1;; nth++) {
        SCOPED_TRACE(nth);
        TemporaryFiles files;
        bool met;
        size_t kept = 0;    // files that could not be deleted, as this call failed, too
        {
            NothingLeft nothing;
            List list(SMALL_DISK);
            calls_reset();
            faults_start({ .call = call, .nth = nth, .from_then_on = from_then_on });
            bool told;
            EXPECT_TRUE(use(list, statuses_of(call), &told));
            met = faults_stop();
            EXPECT_EQ(told, met);
            for (const CallRecord &record : call_log()) kept += record.call == FAULT_REMOVE && !record.ok;

            // What is there can be read, and the list takes more.
            i32 count = list.count();
            EXPECT_EQ(glist_count(list.disk()->table, 0), count);
            for (i32 i = 1; i <= count; i++) EXPECT_NE(list.at(i), -1);
            EXPECT_EQ(list.append(50), 1);
            EXPECT_EQ(list.count(), count + 1);
        }
        EXPECT_LE(files.count(), kept);
        if (!met || testing::Test::HasFailure()) break;
    }
    (void)memory_sweep();    // a record of a handle that failed leaves its block by design
}

TEST(disk_list, survives_whichever_call_fails)
{
    for (FaultCall call : { FAULT_ANY_MEMORY, FAULT_TEMPORARY, FAULT_MAKE_TEMPORARY, FAULT_OPEN, FAULT_SEEK,
                            FAULT_READ, FAULT_WRITE, FAULT_ANY }) {
        SCOPED_TRACE(call);
        fail_each(call, false);
        fail_each(call, true);
    }
}

TEST(disk_list, survives_a_compaction_in_which_any_call_fails)
{
    for (bool from_then_on : { false, true }) {
        for (u32 nth = 1;; nth++) {
            SCOPED_TRACE(nth);
            TemporaryFiles files;
            NothingLeft nothing;
            List list(SMALL_DISK, { 1, 2, 3, 4, 5, 6, 7 });
            EXPECT_EQ(list.seek(3), 1);
            EXPECT_EQ(list.remove(), 1);
            FileHandle before = list.store()->file;
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on });
            i32 status = compact(list);
            bool met = faults_stop();
            EXPECT_TRUE(is_status(status, statuses_of(FAULT_ANY))) << status;
            EXPECT_EQ(list.count(), 6);
            for (i32 i = 1; i <= 6; i++) (void)list.at(i);    // any bytes, or a status
            (void)list.append(50);
            if (list.store()->file != before) { EXPECT_EQ(file_close(before), 1); }
            if (!met) break;
        }
    }
}

// ---- A large list ---------------------------------------------------------------------------------------------------

size_t resident_bytes()
{
#ifdef __linux__
    std::ifstream in("/proc/self/statm");
    size_t all = 0, resident = 0;
    in >> all >> resident;
    return resident * 4096;
#else
    return 0;
#endif
}

struct Wide {
    u32 number;
    u8 rest[60];
};

Wide wide(i32 number)
{
    Wide element;
    element.number = (u32)number;
    memset(element.rest, number, sizeof element.rest);
    return element;
}

// Looks at one element after the other, and whether each is the next one, byte for byte.
i32 looked_at, wrong;
i16 has_number(void *element, intptr_t data)
{
    Wide next = wide(++looked_at);
    wrong += memcmp(element, &next, sizeof next) != 0;
    return next.number == (u32)data;
}

// $ZUK_LIST_ELEMENTS says how many elements (2000000), $ZUK_LIST_AT_ONCE how many of them are appended in one call (1;
// no more than the 64 of a page, as more would change their order).
// Under the sanitizer it is 100000: there each resize copies the table, which is resized 15625 times.
#ifdef WITH_SANITIZERS
constexpr i32 WIDE_ELEMENTS = 100000;
#else
constexpr i32 WIDE_ELEMENTS = 2000000;
#endif
TEST(disk_list, holds_no_more_in_memory_than_its_frames_and_tables)
{
    const char *setting = getenv("ZUK_LIST_ELEMENTS"), *at_once_setting = getenv("ZUK_LIST_AT_ONCE");
    i32 elements = setting ? atoi(setting) : WIDE_ELEMENTS;
    i32 at_once = at_once_setting ? atoi(at_once_setting) : 1;
    TemporaryFiles files;
    NothingLeft nothing;
    auto since = [start = std::chrono::steady_clock::now()] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    size_t bytes_before = memory_alive_bytes(), resident_before = resident_bytes();

    i32 err = 77;
    GHandle list = new_list(DISK, (i32)sizeof(Wide), &err);
    ASSERT_EQ(err, 0);
    std::vector<Wide> some((size_t)at_once);
    for (i32 i = 0; i < elements; i += at_once) {
        i32 n = std::min(at_once, elements - i);
        for (i32 j = 0; j < n; j++) some[(size_t)j] = wide(i + j + 1);
        ASSERT_EQ(glist_append(list, 0, some.data(), n, 0), 1);
        calls_reset();
    }
    double filled = since();
    size_t resident = resident_bytes();

    // 16 pages; 8 bytes an element and 4 a page, each rounded up to 1024; the table of handles may have grown by some
    // thousand records, as it reuses none at once; and little else.
    size_t pages = ((size_t)elements + 63) / 64;
    size_t bound = 16 * 4096 + (size_t)elements * 8 + pages * 4 + 2 * 1024 + 2 * 4096 * 16 + 8192;
    size_t bytes = memory_alive_bytes() - bytes_before;
    EXPECT_LT(bytes, bound);
    EXPECT_EQ(glist_count(list, 0), elements);

    looked_at = wrong = 0;
    EXPECT_EQ(glist_find(list, 0, GLIST_FORWARD, GLIST_NO_CALLBACK_ID, has_number, elements), 1);
    EXPECT_EQ(glist_tell(list, 0), elements);
    EXPECT_EQ(looked_at, elements);
    EXPECT_EQ(wrong, 0);
    EXPECT_LT(memory_alive_bytes() - bytes_before, bound);
    EXPECT_EQ(call_counts().read, (u32)pages);    // the last ones have left memory when the walk comes to them
    double walked = since();
    Wide element;
    EXPECT_EQ(glist_get_at(list, 0, elements / 2, &element), 1);
    EXPECT_EQ(element.number, (u32)elements / 2);
    EXPECT_EQ(element.rest[59], (u8)(elements / 2));
    EXPECT_EQ(files.count(), 1u);

    glist_dispose(list);
    EXPECT_EQ(files.count(), 0u);
    if (setting) {
        printf("%d elements, %d at once: filled %.2f s, walked %.2f s, disposed of %.2f s; %zu KiB of memory, "
               "%zu KiB more resident\n", elements, at_once, filled, walked - filled, since() - walked, bytes / 1024,
               (resident - resident_before) / 1024);
    }
}

} // namespace
} // namespace zuk
