#include "lists/page_store.h"

#include "files/file.h"
#include "tests/lists/lists.h"

namespace zuk {
namespace {

using Lines = std::vector<std::string>;

constexpr i32 PAGE = 8;    // bytes of a page in all these stores

// The store of a disk list with nothing in it, and its temporary files.
struct Store {
    explicit Store(i32 frames) : list({ "", GLIST_DISK, PAGE, frames }), store(list.store()) {}

    operator PageStore *() { return store; }
    PageStore *operator->() { return store; }

    // Fetch a page; its memory, or "<status n>".
    std::string fetch(i32 page, i32 mode = PAGE_READ)
    {
        GHandle memory = 0;
        i32 status = page_fetch(store, page, &memory, mode);
        if (status) return "<status " + std::to_string(status) + ">";
        return std::string((const char *)glock(memory), PAGE);
    }
    // Write a page full of one character.
    void fill(i32 page, char character)
    {
        GHandle memory = 0;
        EXPECT_EQ(page_fetch(store, page, &memory, PAGE_WRITE), 0);
        memset(glock(memory), character, PAGE);
    }
    PageFrame frame(i32 position)
    {
        PageFrame at = {};
        EXPECT_EQ(glist_get_at(store->frames, 0, position, &at), 1);
        return at;
    }
    void mark(i32 position, i16 referenced)
    {
        PageFrame at = frame(position);
        at.referenced = referenced;
        EXPECT_EQ(glist_replace(store->frames, 0, &at), 1);
    }
    std::string pages()    // of the frames, in order
    {
        std::string all;
        for (i32 i = 1; i <= glist_count(store->frames, 0); i++) all += std::to_string(frame(i).page) + " ";
        return all;
    }
    std::string file() { return files.dir.content(files.names().at(0)); }

    NothingLeft nothing;
    TemporaryFiles files;
    List list;
    PageStore *store;
};

std::string of(char character) { return std::string(PAGE, character); }

// ---- page_fetch -----------------------------------------------------------------------------------------------------

TEST(page_fetch, makes_frames_of_zeros_as_long_as_it_may)
{
    Store store(2);
    EXPECT_EQ(store.fetch(1), of('\0'));
    EXPECT_EQ(store.fetch(7), of('\0'));
    EXPECT_EQ(store.pages(), "1 7 ");
    EXPECT_EQ(store->frames_left, 0);
    EXPECT_EQ(store->file, 0u);
    EXPECT_EQ(store.files.count(), 0u);
    EXPECT_EQ(store->file_name[0], 0);
}

TEST(page_fetch, of_a_page_in_memory_gives_the_same_memory)
{
    Store store(2);
    GHandle first = 0, second = 0;
    EXPECT_EQ(page_fetch(store, 3, &first, PAGE_READ), 0);
    EXPECT_EQ(page_fetch(store, 3, &second, PAGE_READ), 0);
    EXPECT_EQ(first, second);
    EXPECT_EQ(gsize(first), PAGE);
    EXPECT_EQ(store->frames_left, 1);
}

TEST(page_fetch, marks_the_frame_by_its_mode)
{
    Store store(4);
    store.fetch(1, PAGE_READ);
    store.fetch(2, PAGE_WRITE);
    store.fetch(3, PAGE_PIN);
    store.fetch(3, PAGE_PIN);
    EXPECT_EQ(store.frame(1).dirty, 0);
    EXPECT_EQ(store.frame(1).lock_count, 0);
    EXPECT_EQ(store.frame(2).dirty, 1);
    EXPECT_EQ(store.frame(2).lock_count, 0);
    EXPECT_EQ(store.frame(3).dirty, 0);
    EXPECT_EQ(store.frame(3).lock_count, 2);
    for (i32 i = 1; i <= 3; i++) EXPECT_EQ(store.frame(i).referenced, 1);

    store.mark(1, 0);
    store.fetch(1);
    EXPECT_EQ(store.frame(1).referenced, 1);
    store.fetch(2, PAGE_READ);
    EXPECT_EQ(store.frame(2).dirty, 1);    // reading does not clean it
}

TEST(page_fetch, of_no_page_gives_1)
{
    Store store(2);
    EXPECT_EQ(store.fetch(0), "<status 1>");
    EXPECT_EQ(store.fetch(NO_PAGE), "<status 1>");
    EXPECT_EQ(store.pages(), "");
}

TEST(page_fetch, brings_back_a_dirty_page_from_the_file)
{
    Store store(1);
    store.fill(1, 'a');
    store.fill(2, 'b');
    EXPECT_EQ(store.fetch(1), of('a'));
    EXPECT_EQ(store.fetch(2), of('b'));
    EXPECT_EQ(store.file(), of('a') + of('b'));
    EXPECT_EQ(store.pages(), "2 ");
}

TEST(page_fetch, of_a_page_that_was_written_without_a_mark_finds_the_old_bytes)
{
    Store store(1);
    store.fill(1, 'a');
    store.fill(2, 'b');
    GHandle memory;
    EXPECT_EQ(page_fetch(store, 1, &memory, PAGE_READ), 0);
    memset(glock(memory), 'x', PAGE);
    EXPECT_EQ(store.fetch(1), of('x'));
    store.fetch(2);
    EXPECT_EQ(store.fetch(1), of('a'));
}

TEST(page_fetch, of_a_new_page_finds_what_the_frame_held)
{
    Store store(1);
    store.fill(1, 'a');
    EXPECT_EQ(store.fetch(2), of('a'));
}

// ---- page_release ---------------------------------------------------------------------------------------------------

TEST(page_release, takes_one_pin_off)
{
    Store store(2);
    store.fetch(1, PAGE_PIN);
    store.fetch(1, PAGE_PIN);
    EXPECT_EQ(page_release(store, 1), 0);
    EXPECT_EQ(store.frame(1).lock_count, 1);
}

TEST(page_release, counts_below_0)
{
    Store store(1);
    store.fetch(1);
    EXPECT_EQ(page_release(store, 1), 0);
    EXPECT_EQ(store.frame(1).lock_count, -1);
    store.fetch(1, PAGE_PIN);
    EXPECT_EQ(store.frame(1).lock_count, 0);
    EXPECT_EQ(store.fetch(2).size(), (size_t)PAGE);    // the pin did not keep it
    EXPECT_EQ(store.pages(), "2 ");
}

TEST(page_release, needs_no_memory)
{
    Store store(2);
    store.fetch(1);
    store.fetch(2, PAGE_PIN);
    faults_start({ .call = FAULT_ANY_MEMORY });
    EXPECT_EQ(page_release(store, 2), 0);
    EXPECT_FALSE(faults_stop());
    EXPECT_EQ(store.frame(2).lock_count, 0);
}

TEST(page_release, of_a_page_that_is_not_in_memory_gives_1)
{
    Store store(1);
    EXPECT_EQ(page_release(store, 1), 1);
    store.fetch(1);
    store.fetch(2);
    EXPECT_EQ(page_release(store, 1), 1);
    EXPECT_EQ(page_release(store, 0), 1);
}

// ---- page_frame_obtain ----------------------------------------------------------------------------------------------

TEST(page_frame_obtain, appends_new_frames)
{
    Store store(3);
    i32 position = 0;
    EXPECT_EQ(page_frame_obtain(store, 5, &position), 0);
    EXPECT_EQ(position, 1);
    EXPECT_EQ(page_frame_obtain(store, 6, &position), 0);
    EXPECT_EQ(position, 2);
    PageFrame frame = store.frame(2);
    EXPECT_EQ(frame.page, 6);
    EXPECT_EQ(frame.lock_count, 0);
    EXPECT_EQ(frame.dirty, 0);
    EXPECT_EQ(frame.referenced, 1);
    EXPECT_EQ(gsize(frame.memory), PAGE);
}

// One frame: the sweep takes its mark, wraps, and then it is the victim.
TEST(page_frame_obtain, gives_the_only_frame_on_the_second_pass)
{
    Store store(1);
    store.fetch(1);
    i32 position = 0;
    EXPECT_EQ(page_frame_obtain(store, 2, &position), 0);
    EXPECT_EQ(position, 1);
    EXPECT_EQ(store.pages(), "2 ");
    EXPECT_EQ(store->sweep, 2);
}

TEST(page_frame_obtain, gives_each_page_a_second_chance)
{
    Store store(3);
    for (i32 page : { 1, 2, 3 }) store.fetch(page);
    store.fetch(4);                          // all lose their marks, and the first goes
    EXPECT_EQ(store.pages(), "4 2 3 ");
    EXPECT_EQ(store->sweep, 2);
    store.fetch(2);                          // marked again
    store.fetch(5);
    EXPECT_EQ(store.pages(), "4 2 5 ");
    EXPECT_EQ(store->sweep, 4);
    EXPECT_EQ(store.frame(2).referenced, 0);
    store.fetch(6);                          // from the start again: 4 and 5 have marks, 2 has none
    EXPECT_EQ(store.pages(), "4 6 5 ");
    EXPECT_EQ(store.frame(1).referenced, 0);
}

TEST(page_frame_obtain, with_every_frame_pinned_gives_15)
{
    Store store(2);
    store.fetch(1, PAGE_PIN);
    store.fetch(2, PAGE_PIN);
    EXPECT_EQ(store.fetch(3), "<status 15>");
    EXPECT_EQ(store.pages(), "1 2 ");
    EXPECT_EQ(page_release(store, 1), 0);
    EXPECT_EQ(store.fetch(3), of('\0'));
    EXPECT_EQ(store.pages(), "3 2 ");
}

TEST(page_frame_obtain, takes_the_mark_of_pinned_frames_too)
{
    Store store(2);
    store.fetch(1, PAGE_PIN);
    store.fetch(2);
    store.mark(2, 0);
    store.fetch(3);                          // 1 is passed by, and 2 goes
    EXPECT_EQ(store.pages(), "1 3 ");
    EXPECT_EQ(store.frame(1).referenced, 0);
    EXPECT_EQ(store.frame(1).lock_count, 1);
}

// A search from the second of three frames: it sees 2 and 3, wraps, sees all, and gives up at the second wrap. Frame 1,
// seen once, has lost its mark and would have been the next victim.
TEST(page_frame_obtain, gives_up_at_the_second_wrap)
{
    Store store(3);
    store.fetch(1);
    store.fetch(2, PAGE_PIN);
    store.fetch(3, PAGE_PIN);
    store->sweep = 2;
    EXPECT_EQ(store.fetch(4), "<status 15>");
    EXPECT_EQ(store->sweep, 1);
    EXPECT_EQ(store.frame(1).referenced, 0);
    EXPECT_EQ(store.fetch(4), of('\0'));
    EXPECT_EQ(store.pages(), "4 2 3 ");
}

TEST(page_frame_obtain, begins_at_1_when_the_sweep_is_behind_the_last_frame)
{
    Store store(2);
    store.fetch(1);
    store.fetch(2);
    store.mark(1, 0);
    store.mark(2, 0);
    store->sweep = 77;
    store.fetch(3);
    EXPECT_EQ(store.pages(), "3 2 ");
    EXPECT_EQ(store->sweep, 2);
}

TEST(page_frame_obtain, without_any_frame_gives_7)
{
    for (i32 frames : { -1, -100 }) {        // 0 in a Shape would be the default
        Store store(frames);
        EXPECT_EQ(store.fetch(1), "<status 7>");
    }
}

TEST(page_frame_obtain, writes_only_dirty_pages)
{
    Store store(1);
    store.fetch(1);
    store.fetch(2);
    EXPECT_EQ(store.file(), "");
    EXPECT_EQ(store->file_pages, 0);
    store.fill(2, 'b');
    store.fetch(1);
    EXPECT_EQ(store->file_pages, 2);
}

TEST(page_frame_obtain, fills_the_gap_in_front_of_a_page_with_its_bytes)
{
    Store store(1);
    store.fill(4, 'd');
    calls_reset();
    store.fill(2, 'b');
    EXPECT_EQ(store.file(), of('d') + of('d') + of('d') + of('d'));
    EXPECT_EQ(store->file_pages, 4);
    EXPECT_EQ(call_lines({ FAULT_SEEK, FAULT_WRITE, FAULT_READ }),
              Lines({ "seek 0", "write 0+8", "write 8+8", "write 16+8", "seek 24", "write 24+8", "seek 8",
                      "read 8+8" }));
    store.fetch(1);                          // page 2 goes to its place
    EXPECT_EQ(store.file(), of('d') + of('b') + of('d') + of('d'));
    EXPECT_EQ(store->file_pages, 4);
}

TEST(page_frame_obtain, makes_the_file_when_a_page_has_to_leave)
{
    Store store(1);
    store.fill(1, 'a');
    EXPECT_EQ(store.files.count(), 0u);
    store.fill(2, 'b');
    EXPECT_EQ(store.files.count(), 1u);
    EXPECT_NE(store->file, 0u);
    std::string name((const char *)store->file_name + 1, store->file_name[0]);
    EXPECT_NE(name.find("TNT"), std::string::npos);
    EXPECT_EQ(name.find('\\'), std::string::npos);    // portable
    store.fill(3, 'c');
    EXPECT_EQ(store.files.count(), 1u);
}

TEST(page_frame_obtain, without_a_file_gives_17)
{
    for (FaultCall call : { FAULT_TEMPORARY, FAULT_MAKE_TEMPORARY, FAULT_OPEN }) {
        SCOPED_TRACE(call);
        Store store(1);
        store.fill(1, 'a');
        faults_start({ .call = call });
        EXPECT_EQ(store.fetch(2), "<status 17>");
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(store.files.count(), 0u);
        EXPECT_EQ(store.fetch(1), of('a'));
        store.fill(2, 'b');                  // the next time it works
        EXPECT_EQ(store.fetch(1), of('a'));
    }
}

TEST(page_frame_obtain, without_memory_gives_4_and_can_be_tried_again)
{
    Store store(1);
    for (u32 nth = 1;; nth++) {
        faults_start({ .call = FAULT_ANY_MEMORY, .nth = nth });
        std::string got = store.fetch(1);
        if (!faults_stop()) break;
        EXPECT_EQ(got, "<status 4>");
        EXPECT_EQ(store->frames_left, 1);
        EXPECT_EQ(store.pages(), "");
    }
    EXPECT_EQ(store.pages(), "1 ");
}

TEST(page_frame_obtain, that_cannot_write_gives_1_and_keeps_the_victim)
{
    for (const Fault &fault : { Fault{ .call = FAULT_SEEK }, Fault{ .call = FAULT_SEEK, .nth = 2 },
                                Fault{ .call = FAULT_WRITE }, Fault{ .call = FAULT_WRITE, .nth = 2 },
                                Fault{ .call = FAULT_WRITE, .cut = PAGE - 1 } }) {
        Store store(1);
        store.fill(2, 'b');                  // with a gap of one page: two seeks and two writes
        faults_start(fault);
        EXPECT_EQ(store.fetch(1), "<status 1>");
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(store.pages(), "2 ");
        EXPECT_EQ(store.frame(1).dirty, 1);
        EXPECT_EQ(store.fetch(2), of('b'));
        EXPECT_EQ(store.fetch(1), of('b'));  // filler
        EXPECT_EQ(store.fetch(2), of('b'));
    }
}

TEST(page_frame_obtain, that_cannot_read_gives_1_and_leaves_a_frame_without_a_page)
{
    for (const Fault &fault : { Fault{ .call = FAULT_SEEK }, Fault{ .call = FAULT_READ },
                                Fault{ .call = FAULT_READ, .cut = PAGE - 1 } }) {
        Store store(1);
        store.fill(1, 'a');
        store.fill(2, 'b');
        store.fetch(1);                      // both are in the file, and 1 is in memory, clean
        faults_start(fault);
        EXPECT_EQ(store.fetch(2), "<status 1>");
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(store.pages(), "-1 ");
        EXPECT_EQ(store.fetch(1), of('a'));
        EXPECT_EQ(store.fetch(2), of('b'));
    }
}

// With frames left and a file, as after a compaction.
TEST(page_frame_obtain, that_cannot_read_into_a_new_frame_makes_none)
{
    Store store(2);
    store.fill(1, 'a');
    EXPECT_EQ(store_open_temporary(store), 0);
    store->file_pages = 1;
    EXPECT_EQ(file_write(store->file, "pagepage", PAGE), PAGE);
    PageFrame frame = store.frame(1);
    frame.page = NO_PAGE;
    EXPECT_EQ(glist_replace(store->frames, 0, &frame), 1);

    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(store.fetch(1), "<status 1>");
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(store.pages(), "-1 ");
    EXPECT_EQ(store->frames_left, 1);
    EXPECT_EQ(store.fetch(1), "pagepage");
    EXPECT_EQ(store.pages(), "-1 1 ");
}

// The first place that no position can say; as if all pages in front of it were there.
TEST(page_frame_obtain, of_a_page_beyond_2_gib_gives_1)
{
    constexpr i32 BEYOND = INT32_MAX / PAGE + 2;
    Store store(1);
    store.fill(BEYOND, 'x');
    store->file_pages = BEYOND - 1;
    EXPECT_EQ(store.fetch(1), "<status 1>");
    EXPECT_EQ(store.pages(), std::to_string(BEYOND) + " ");
    store->file_pages = 0;
}

// ---- store_open_temporary -------------------------------------------------------------------------------------------

TEST(store_open_temporary, makes_a_file_and_opens_it)
{
    Store store(1);
    EXPECT_EQ(store_open_temporary(store), 0);
    EXPECT_EQ(store.files.count(), 1u);
    EXPECT_EQ(file_write(store->file, "abc", 3), 3);
    EXPECT_EQ(file_seek(store->file, 1), 1);
    char back[2];
    EXPECT_EQ(file_read(store->file, back, 2), 2);
    EXPECT_EQ(std::string(back, 2), "bc");
}

TEST(store_open_temporary, that_fails_gives_17_and_leaves_no_file)
{
    for (FaultCall call : { FAULT_TEMPORARY, FAULT_MAKE_TEMPORARY, FAULT_OPEN }) {
        SCOPED_TRACE(call);
        Store store(1);
        faults_start({ .call = call });
        EXPECT_EQ(store_open_temporary(store), 17);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(store->file, 0u);
        EXPECT_EQ(store.files.count(), 0u);
        EXPECT_EQ(store->file_name[0] != 0, call == FAULT_OPEN);
    }
}

} // namespace
} // namespace zuk
