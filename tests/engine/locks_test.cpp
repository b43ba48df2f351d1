#include "engine/locks.h"

#include "engine/core_tables.h"
#include "engine/cookies.h"
#include "engine/directory.h"
#include "engine/identifiers.h"
#include "engine/lifecycle.h"
#include "engine/pinned_cache.h"
#include "engine/resources.h"
#include "files/file.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <functional>
#include <gtest/gtest.h>

namespace zuk {

using Lines = std::vector<std::string>;

// What read_lock and read_unlock, write_lock and write_unlock ask of the platform when nothing competes.
static const Lines ONE_READ = { "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "unlock 1000000001+1" };
static const Lines ONE_WRITE = { "lock 999999998+1", "lock 1000000001+1000", "unlock 999999998+1",
                                 "unlock 1000000001+1000" };

static Lines lock_lines() { return call_lines({ FAULT_LOCK, FAULT_UNLOCK }); }

static Lines times(u32 count, const Lines &lines)
{
    Lines all;
    for (u32 i = 0; i < count; i++) all.insert(all.end(), lines.begin(), lines.end());
    return all;
}

namespace {

// The file of a dictionary opened once more, as another workstation has it: its locks are its own.
class Other {
public:
    explicit Other(const Name &of, u16 mode = DICT_SHARED) : path(of), file{}
    {
        EXPECT_EQ(dict_file_open(&file, path, mode, 0), (DictStatus)DICT_OK);
    }
    ~Other() { (void)dict_file_close(&file); }
    Other(const Other &) = delete;
    Other &operator=(const Other &) = delete;
    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }

    // Store a header as it is, without a lock.
    void put_header() { EXPECT_EQ(header_write(file.file, &file.header), (DictStatus)DICT_OK); }

    // What a write of another workstation does to the header.
    void count_a_change()
    {
        file.header.change_count = le16((u16)(le_get(file.header.change_count) + 1));
        put_header();
    }

    Name path;
    DictFile file;
};

} // namespace

static bool is_free(Other &other, u32 offset, u32 length)
{
    if (!file_lock(other->file, offset, length)) return false;
    EXPECT_TRUE(file_unlock(other->file, offset, length));
    return true;
}

static bool gate_is_free(Other &other) { return is_free(other, GATE_BYTE, 1); }
static bool range_is_free(Other &other) { return is_free(other, READER_BASE + 1, READER_COUNT); }

static u16 count_of(const DictFile *file) { return le_get(file->header.change_count); }
static u32 count_in(const std::string &bytes) { return u16_at(bytes, 6); }   // `change_count` stands at 6

namespace {

// A library with two modules of kind 2 and a resource in the second, opened in mode 0. It is prepared in mode 32768 and
// has room in every block for one small resource more, so that nothing extends the file and gives up the lock.
class SharedLibrary : public Library {
public:
    SharedLibrary()
    {
        add_module(2, 100, "first");
        add_module(2, 101, "second");
        EXPECT_EQ(add(2, 101, 1, 1, "one", "body of one"), (DictStatus)DICT_OK);
        reopen(DICT_SHARED);
        EXPECT_EQ(file()->lock_state, LOCK_NONE);
        calls_reset();
    }
};

} // namespace

TEST(locks, has_every_operation)
{
    void *const operations[] = {
        (void *)read_lock_needed, (void *)write_lock_needed, (void *)read_lock, (void *)read_unlock, (void *)write_lock,
        (void *)write_unlock, (void *)dict_changed, (void *)dict_reload, (void *)gate_lock, (void *)gate_unlock,
        (void *)spare_byte_lock, (void *)spare_byte_unlock, (void *)delay_half_double_click, (void *)clock_seconds,
        (void *)dict_selected_read_lock, (void *)dict_selected_has_lock, (void *)dict_selected_read_unlock,
        (void *)dict_selected_write_lock, (void *)dict_selected_write_unlock, (void *)dict_selected_spare_lock,
        (void *)dict_selected_spare_unlock,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Waits ----------------------------------------------------------------------------------------------------------

static u32 half_double_click() { return native_clock.double_click_time() / 2; }

TEST(delay_half_double_click, lasts_half_of_the_platforms_time)
{
    clock_virtual_start(1000);
    delay_half_double_click();
    EXPECT_EQ(platform_clock->tick_count(), 1000 + half_double_click());
    EXPECT_EQ(call_counts().slept_ms, half_double_click());
}

TEST(delay_half_double_click, sleeps_for_what_is_left)
{
    clock_virtual_start(0, 100);   // 100 ms go by at each look at the clock
    delay_half_double_click();
    EXPECT_EQ(call_lines({ FAULT_SLEEP }), (Lines{ "sleep " + std::to_string(half_double_click() - 100) }));
}

TEST(delay_half_double_click, goes_on_over_the_turn_of_the_clock)
{
    clock_virtual_start(0xFFFFFFF0);
    delay_half_double_click();
    EXPECT_EQ(platform_clock->tick_count(), half_double_click() - 16);   // 16 ms were left until 0
    EXPECT_EQ(call_counts().slept_ms, half_double_click());
}

TEST(clock_seconds, is_the_tick_count_without_its_thousandths)
{
    clock_virtual_start(0);
    EXPECT_EQ(clock_seconds(), 0u);
    clock_virtual_start(1999);
    EXPECT_EQ(clock_seconds(), 1u);
    clock_virtual_start(2000);
    EXPECT_EQ(clock_seconds(), 2u);
    clock_virtual_start(0xFFFFFFFF);
    EXPECT_EQ(clock_seconds(), 4294967u);
}

// ---- The gate and the spare byte ------------------------------------------------------------------------------------

TEST(gate_lock, takes_the_byte_at_999999998)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    calls_reset();
    EXPECT_TRUE(gate_lock(file));
    EXPECT_EQ(call_lines(), (Lines{ "lock 999999998+1" }));
    EXPECT_FALSE(gate_is_free(other));
    EXPECT_TRUE(is_free(other, SPARE_BYTE, 1));
    EXPECT_TRUE(range_is_free(other));
    gate_unlock(file);
}

TEST(gate_lock, gives_up_after_5001_attempts)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(other));
    clock_virtual_start(0);
    calls_reset();
    EXPECT_FALSE(gate_lock(file));
    EXPECT_EQ(call_counts().lock, 5001u);
    EXPECT_EQ(call_counts().sleeps, 5000u);                              // none behind the last attempt
    EXPECT_EQ(call_counts().slept_ms, 5000u * half_double_click());
    EXPECT_EQ(call_lines().back(), "lock 999999998+1 failed");
    gate_unlock(other);
}

TEST(gate_lock, gives_the_result_of_the_last_attempt)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(other));
    clock_virtual_start(0);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        if (++waits == 5000) gate_unlock(other);
    });
    calls_reset();
    EXPECT_TRUE(gate_lock(file));
    EXPECT_EQ(call_counts().lock, 5001u);
    gate_unlock(file);
}

TEST(gate_lock, stops_at_the_first_success)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(other));
    clock_virtual_start(0);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        if (++waits == 2) gate_unlock(other);
    });
    calls_reset();
    EXPECT_TRUE(gate_lock(file));
    std::string wait = "sleep " + std::to_string(half_double_click());
    EXPECT_EQ(call_lines(), (Lines{ "lock 999999998+1 failed", wait, "lock 999999998+1 failed", wait,
                                    "lock 999999998+1" }));
    gate_unlock(file);
}

TEST(gate_unlock, frees_the_byte)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(file));
    calls_reset();
    gate_unlock(file);
    EXPECT_EQ(call_lines(), (Lines{ "unlock 999999998+1" }));
    EXPECT_TRUE(gate_is_free(other));
}

TEST(gate_unlock, of_a_gate_that_is_not_held_does_nothing)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(other));
    gate_unlock(file);
    EXPECT_FALSE(is_free(other, GATE_BYTE, 1));   // a handle is refused what it holds itself
    gate_unlock(other);
}

TEST(spare_byte_lock, takes_the_byte_at_999999999)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    calls_reset();
    EXPECT_TRUE(spare_byte_lock(file));
    EXPECT_EQ(call_lines(), (Lines{ "lock 999999999+1" }));
    EXPECT_FALSE(is_free(other, SPARE_BYTE, 1));
    EXPECT_TRUE(gate_is_free(other));
    EXPECT_EQ(file->lock_state, LOCK_NONE);
}

TEST(spare_byte_lock, is_refused_at_once)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(spare_byte_lock(other));
    calls_reset();
    EXPECT_FALSE(spare_byte_lock(file));
    EXPECT_EQ(call_lines(), (Lines{ "lock 999999999+1 failed" }));   // one attempt, no wait
}

// Held by another workstation, it keeps nobody from reading and writing.
TEST(spare_byte_lock, hinders_no_operation)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(spare_byte_lock(other));
    calls_reset();
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 101, 1, 2), "body");
    EXPECT_EQ(call_counts().sleeps, 0u);
    EXPECT_EQ(call_lines({ FAULT_LOCK }), (Lines{ "lock 999999998+1", "lock 1000000001+1000", "lock 999999998+1",
                                                  "lock 1000000001+1" }));
}

TEST(spare_byte_unlock, frees_the_byte)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(spare_byte_lock(file));
    calls_reset();
    EXPECT_TRUE(spare_byte_unlock(file));
    EXPECT_EQ(call_lines(), (Lines{ "unlock 999999999+1" }));
    EXPECT_TRUE(is_free(other, SPARE_BYTE, 1));
}

TEST(spare_byte_unlock, gives_0_when_the_byte_is_not_held)
{
    BareDictionary file(DICT_SHARED);
    EXPECT_FALSE(spare_byte_unlock(file));
}

// ---- Has the file changed? ------------------------------------------------------------------------------------------

TEST(dict_changed, reads_the_header_and_nothing_else)
{
    BareDictionary file(DICT_SHARED);
    calls_reset();
    EXPECT_FALSE(dict_changed(file));
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "read 0+26" }));
}

TEST(dict_changed, tells_another_change_count)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    other.count_a_change();
    EXPECT_TRUE(dict_changed(file));
    EXPECT_EQ(count_of(file), 0u);   // memory stays as it was
}

TEST(dict_changed, compares_for_inequality_alone)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    file->header.change_count = le16(7);   // the file has 0: less than in memory
    EXPECT_TRUE(dict_changed(file));
    file->header.change_count = le16(0);
    other->header.change_count = le16(65535);
    other.put_header();
    EXPECT_TRUE(dict_changed(file));
    other->header.change_count = le16(0);
    other.put_header();
}

TEST(dict_changed, looks_at_no_other_field)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    DictHeader sound = other->header;
    other->header.version = le16(99);
    other->header.free_entries = le32(5);
    other->header.table_entries = le32(512);
    other->header.table_offset = le32(5000);
    other->header.reserved[0] = 1;
    other.put_header();
    EXPECT_FALSE(dict_changed(file));
    other->header = sound;
    other.put_header();
}

TEST(dict_changed, takes_a_failed_read_for_no_change)
{
    BareDictionary file(DICT_SHARED);
    file->header.change_count = le16(7);   // the file has 0
    for (FaultCall call : { FAULT_SEEK, FAULT_READ }) {
        faults_start({ .call = call });
        EXPECT_FALSE(dict_changed(file));
        EXPECT_TRUE(faults_stop());
    }
}

// A short read is none that fails: what it has left of the buffer is compared.
TEST(dict_changed, compares_what_a_short_read_gave)
{
    BareDictionary file(DICT_SHARED);
    file->header.change_count = le16(0x0101);   // the file has 0, and the counter stands at 6 and 7
    faults_start({ .call = FAULT_READ, .cut = 6 });
    EXPECT_FALSE(dict_changed(file));
    faults_start({ .call = FAULT_READ, .cut = 7 });
    EXPECT_TRUE(dict_changed(file));
    EXPECT_TRUE(faults_stop());
}

TEST(dict_reload, lets_go_of_pages_and_module_table_before_it_reads)
{
    BareDictionary file(DICT_SHARED);
    (void)entry_of(file, 1);
    ASSERT_GT(gsize(file->page_cache_handle), 0);
    bool looked = false;
    faults_hook(FAULT_READ, 1, [&] {
        looked = true;
        EXPECT_EQ(gsize(file->page_cache_handle), 0);
        EXPECT_EQ(file->module_table, nullptr);
        EXPECT_EQ(file->directories, nullptr);
    });
    dict_reload(file);
    EXPECT_TRUE(looked);
    EXPECT_NE(file->module_table, nullptr);
}

// The header is read first, then the module table.
TEST(dict_reload, reads_header_then_table)
{
    BareDictionary file(DICT_SHARED);
    calls_reset();
    dict_reload(file);
    // The first page of the block table (64 entries of 14 bytes), for the entry of block 1, then block 1 itself.
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 0+26", "read 26+896", "read 3610+808" }));
}

TEST(dict_reload, takes_the_header_from_the_file)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    other->header.version = le16(99);
    other->header.free_entries = le32(5);
    other.count_a_change();
    dict_reload(file);
    EXPECT_EQ(le_get(file->header.version), 99u);
    EXPECT_EQ(le_get(file->header.free_entries), 5u);
    EXPECT_EQ(count_of(file), 1u);
    EXPECT_FALSE(dict_changed(file));
}

TEST(dict_reload, drops_pages_that_were_changed_in_memory)
{
    BareDictionary file(DICT_SHARED);
    BlockEntry entry = entry_of(file, 2);
    entry.free = le32(1);
    ASSERT_EQ(block_write_entry(file, 1, &entry), (DictStatus)DICT_OK);
    calls_reset();
    dict_reload(file);
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(le_get(entry_of(file, 2).free), 512u);   // as the file has it
}

TEST(dict_reload, loads_directories_anew_when_they_are_wanted)
{
    BareDictionary file;
    ASSERT_EQ(module_create(file, 2, 100, Name("first")), (DictStatus)DICT_OK);
    ASSERT_EQ(block_table_flush(file), (DictStatus)DICT_OK);
    dict_reload(file);
    u32 alive = handles_alive();
    ASSERT_NE(directory_get(file, 0), nullptr);
    dict_reload(file);
    EXPECT_EQ(file->directories[0].handle, 0u);
    EXPECT_EQ(file->directories[0].directory, nullptr);
    EXPECT_EQ(handles_alive(), alive);                 // the old directory is freed
    EXPECT_EQ(le_get(directory_get(file, 0)->module), 100);
}

TEST(dict_reload, sees_what_another_has_made)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_EQ(module_create(other, 2, 100, Name("first")), (DictStatus)DICT_OK);
    ASSERT_EQ(block_table_flush(other), (DictStatus)DICT_OK);
    EXPECT_EQ(module_find(file, 2, 100), MODULE_ABSENT);
    dict_reload(file);
    EXPECT_EQ(module_find(file, 2, 100), 0);
    EXPECT_NE(directory_get(file, 0), nullptr);
}

TEST(dict_reload, leaves_core_tables_and_pinned_blocks)
{
    BareDictionary file(DICT_SHARED);
    ASSERT_EQ(core_tables_init(file), (DictStatus)DICT_OK);
    const CoreRow *rows = file->core_tables;
    std::string table(12 + 20 + 2, '\x0f');
    table.replace(0, 12, std::string("\x14\0\0\0\x14\0\0\0\0\0\0\0", 12));   // capacity and free count 20
    core_table_attach(file, 1, 0, handle_of(table));
    ASSERT_EQ(core_owner_set(file, 1, 5, 3), (DictStatus)DICT_OK);
    ASSERT_TRUE(cache_init());
    ASSERT_EQ(cache_add(file, 2, 100, 1, 0, 4, 0), (DictStatus)DICT_OK);   // the magic

    dict_reload(file);

    EXPECT_EQ(file->core_tables, rows);
    EXPECT_EQ(dd_get_owner(file, 1, 5), 3);
    EXPECT_EQ(cache_count(), 1);
    char bytes[4];
    EXPECT_EQ(cache_read(file, 2, 100, 1, 0, 0, 4, bytes), (DictStatus)DICT_OK);
    EXPECT_EQ(std::string(bytes, 4), "%VTL");
    cache_clear();
    cache_free();
}

// The magic is not looked at again by those who go on.
TEST(dict_reload, of_a_file_without_its_magic_goes_on)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    DictHeader sound = other->header;
    other->header.magic[0] = 'X';
    other.count_a_change();
    dict_reload(file);
    EXPECT_EQ(file->header.magic[0], 'X');
    EXPECT_NE(file->module_table, nullptr);
    other->header = sound;
}

// Tables that lie outside the file: the dictionary reads as empty, and nothing is written by what they say.
TEST(dict_reload, of_a_damaged_header_reads_as_empty)
{
    SharedLibrary library;
    struct Damage { u32 offset, entries; } damages[] = {
        { 26, 0 }, { 26, 0xFFFFFFFF }, { 25, 256 }, { 0xFFFFFFFF, 256 }, { 0x7FFFFFFF, 256 }, { 26, 0x12492493 },
    };   // the last: entries * 14 is 2 in 32 bits
    for (const Damage &damage : damages) {
        Other other(library.path);
        DictHeader sound = other->header;
        other->header.table_offset = le32(damage.offset);
        other->header.table_entries = le32(damage.entries);
        other.count_a_change();
        EXPECT_EQ(library.body(2, 101, 1, 1), "<status 3>") << damage.offset << ' ' << damage.entries;
        EXPECT_EQ(dd_numresources(2, 101, 1), 0);
        EXPECT_EQ(dd_numresources(2, 0, 2), 0);
        EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(library.add(2, 102, 2, 102, "third", ""), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(library.change(2, 101, 1, 1, "eins", "body"), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(dd_remove_resource(2, 0, 2, 101), (DictStatus)DICT_NOT_FOUND);

        // Mended by its owner, it is whole again at the next look.
        u16 next = (u16)(count_of(library.file()) + 1);
        other->header = sound;
        other->header.change_count = le16(next);
        other.put_header();
        EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
    }
}

TEST(dict_reload, of_a_damaged_module_table_reads_as_empty)
{
    SharedLibrary library;
    Other other(library.path);
    BlockEntry block1 = entry_of(other, BLOCK_OF_MODULE_TABLE);
    LeI16 used = other->module_table->module_count;
    other->module_table->module_count = le_i16(-1);
    ASSERT_EQ(dict_write_at(other->file, le_get(block1.offset), other->module_table, 2), (DictStatus)DICT_OK);
    other.count_a_change();
    EXPECT_EQ(library.body(2, 101, 1, 1), "<status 3>");
    EXPECT_EQ(library.file()->module_table, nullptr);

    other->module_table->module_count = used;
    ASSERT_EQ(dict_write_at(other->file, le_get(block1.offset), other->module_table, 2), (DictStatus)DICT_OK);
    other.count_a_change();
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

// A reload has no status: the lock is there, and what could not be loaded reads as empty until the next change.
TEST(dict_reload, without_memory_reads_as_empty)
{
    SharedLibrary library;
    Other other(library.path);
    for (u32 nth = 1;; nth++) {
        other.count_a_change();
        faults_start({ .call = FAULT_ALLOC, .nth = nth });
        EXPECT_TRUE(read_lock(library.file()));
        bool met = faults_stop();
        EXPECT_GT(library.file()->lock_state, 0);
        read_unlock(library.file());
        std::string body = library.body(2, 101, 1, 1);
        if (!met) {
            EXPECT_EQ(body, "body of one");
            break;
        }
        EXPECT_TRUE(body == "body of one" || body == "<status 3>") << nth << ": " << body;
    }
    other.count_a_change();
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

// Whichever look at the file fails: the lock is there, and what was not seen is seen at the next change.
TEST(dict_reload, works_again_after_a_look_that_failed)
{
    SharedLibrary library;
    Other other(library.path);
    for (FaultCall call : { FAULT_SEEK, FAULT_READ }) {
        for (u32 nth = 1;; nth++) {
            other.count_a_change();
            faults_start({ .call = call, .nth = nth });
            EXPECT_TRUE(read_lock(library.file()));
            bool met = faults_stop();
            EXPECT_EQ(library.file()->lock_state, 1);
            read_unlock(library.file());
            EXPECT_TRUE(range_is_free(other));
            if (!met) break;
            std::string body = library.body(2, 101, 1, 1);
            EXPECT_TRUE(body == "body of one" || body == "<status 3>") << call << ' ' << nth << ": " << body;
            other.count_a_change();
            EXPECT_EQ(library.body(2, 101, 1, 1), "body of one") << call << ' ' << nth;
        }
    }
}

// The array of pages is lost for good when it cannot be emptied: the dictionary reads as empty until it is opened
// again.
TEST(dict_reload, that_loses_the_array_of_pages_reads_as_empty)
{
    SharedLibrary library;
    Other other(library.path);
    other.count_a_change();
    library.expect_lost(1);   // the array
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(library.body(2, 101, 1, 1), "<status 3>");
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
    library.reopen(DICT_SHARED);
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

// ---- Readers --------------------------------------------------------------------------------------------------------

TEST(read_lock_needed, asks_for_an_open_shared_file_without_a_lock)
{
    DictFile file = {};
    EXPECT_FALSE(read_lock_needed(&file));   // closed
    file.file = 1;
    EXPECT_TRUE(read_lock_needed(&file));
    for (i16 state : { (i16)1, (i16)1000, LOCK_WRITER }) {
        file.lock_state = state;
        EXPECT_FALSE(read_lock_needed(&file)) << state;
    }
    file.lock_state = LOCK_NONE;
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        file.open_mode = mode;
        EXPECT_FALSE(read_lock_needed(&file)) << mode;
    }
}

TEST(read_lock, takes_a_byte_under_the_gate)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    calls_reset();
    EXPECT_TRUE(read_lock(file));
    EXPECT_EQ(call_lines(), (Lines{ "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "seek 0",
                                    "read 0+26" }));
    EXPECT_EQ(file->lock_state, 1);
    EXPECT_FALSE(is_free(other, 1000000001, 1));
    EXPECT_TRUE(is_free(other, 1000000002, 999));
    EXPECT_TRUE(gate_is_free(other));
}

TEST(read_lock, tries_the_reader_bytes_from_1_upward)
{
    BareDictionary file(DICT_SHARED);
    Other first(file.path), second(file.path);
    ASSERT_TRUE(read_lock(first));
    ASSERT_TRUE(read_lock(second));
    EXPECT_EQ(first->lock_state, 1);
    EXPECT_EQ(second->lock_state, 2);
    calls_reset();
    EXPECT_TRUE(read_lock(file));
    EXPECT_EQ(lock_lines(), (Lines{ "lock 999999998+1", "lock 1000000001+1 failed", "lock 1000000002+1 failed",
                                    "lock 1000000003+1", "unlock 999999998+1" }));
    EXPECT_EQ(file->lock_state, 3);
}

TEST(read_lock, takes_the_first_byte_that_is_free_again)
{
    BareDictionary file(DICT_SHARED);
    Other first(file.path), second(file.path);
    ASSERT_TRUE(read_lock(first));
    ASSERT_TRUE(read_lock(second));
    read_unlock(first);
    EXPECT_TRUE(read_lock(file));
    EXPECT_EQ(file->lock_state, 1);
}

TEST(read_lock, gives_up_after_3_rounds_and_3_waits)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(other));
    clock_virtual_start(100);   // 900 ms to the next second
    calls_reset();
    EXPECT_FALSE(read_lock(file));

    Lines lines = call_lines();
    ASSERT_EQ(lines.size(), 1u + 3 * 1001 + 1);   // the gate, the rounds with the wait behind each, the gate
    EXPECT_EQ(lines.front(), "lock 999999998+1");
    const char *const waits[] = { "sleep 900", "sleep 1000", "sleep 1000" };
    for (u32 round = 0; round < 3; round++) {
        size_t at = 1 + round * 1001;
        EXPECT_EQ(lines[at], "lock 1000000001+1 failed");
        EXPECT_EQ(lines[at + 999], "lock 1000001000+1 failed");
        EXPECT_EQ(lines[at + 1000], waits[round]);
    }
    EXPECT_EQ(lines.back(), "unlock 999999998+1");
    EXPECT_EQ(file->lock_state, LOCK_NONE);
}

TEST(read_lock, waits_for_one_second_to_end_over_the_turn_of_the_clock)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(other));
    clock_virtual_start(0xFFFFFFFF - 95);   // 4,294,967,200
    EXPECT_FALSE(read_lock(file));
    // 800 ms lead over the turn to 704, whose second, the number 0, is another; then 296 and 1000.
    EXPECT_EQ(call_lines({ FAULT_SLEEP }), (Lines{ "sleep 800", "sleep 296", "sleep 1000" }));
}

TEST(read_lock, waits_no_longer_than_a_second_when_the_clock_runs_on)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(other));
    clock_virtual_start(998, 1);   // a look at 998, the next at 999, then a new second
    EXPECT_FALSE(read_lock(file));
    EXPECT_EQ(call_lines({ FAULT_SLEEP })[0], "sleep 1");
}

TEST(read_lock, does_not_wait_behind_the_round_that_found_a_byte)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(other));
    clock_virtual_start(0);
    clock_on_sleep([&](u32) { (void)write_unlock(other); });
    calls_reset();
    EXPECT_TRUE(read_lock(file));
    EXPECT_EQ(call_counts().sleeps, 1u);
    EXPECT_EQ(call_counts().lock, 1u + 1000 + 1);
    EXPECT_EQ(file->lock_state, 1);
}

// 1,000 readers are the most.
TEST(read_lock, of_the_1001st_reader_fails)
{
    BareDictionary file(DICT_SHARED);
    Other others(file.path);
    for (u32 n = 1; n <= 1000; n++) ASSERT_TRUE(file_lock(others->file, READER_BASE + n, 1));
    clock_virtual_start(0);
    calls_reset();
    EXPECT_FALSE(read_lock(file));
    EXPECT_EQ(call_counts().lock, 1u + 3 * 1000);   // the gate, and three rounds
    EXPECT_EQ(call_counts().sleeps, 3u);
    ASSERT_TRUE(file_unlock(others->file, READER_BASE + 1000, 1));
    calls_reset();
    EXPECT_TRUE(read_lock(file));
    EXPECT_EQ(file->lock_state, 1000);
    EXPECT_EQ(call_counts().lock, 1001u);
    EXPECT_EQ(call_counts().sleeps, 0u);
    read_unlock(file);
    EXPECT_EQ(call_lines().back(), "unlock 1000001000+1");
}

TEST(read_lock, tries_no_byte_without_the_gate)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(other));
    clock_virtual_start(0);
    calls_reset();
    EXPECT_FALSE(read_lock(file));
    EXPECT_EQ(call_counts().lock, 5001u);   // all of them at the gate
    EXPECT_EQ(call_counts().unlock, 0u);
    EXPECT_EQ(call_counts().read, 0u);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_TRUE(range_is_free(other));
}

// Nobody is told that the gate stays shut behind this workstation, until the file is closed.
TEST(read_lock, is_had_though_the_gate_cannot_be_freed)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    faults_start({ .call = FAULT_UNLOCK });
    EXPECT_TRUE(read_lock(file));
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file->lock_state, 1);
    EXPECT_FALSE(gate_is_free(other));
    read_unlock(file);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_FALSE(gate_is_free(other));
    file.close();
    EXPECT_TRUE(gate_is_free(other));
}

TEST(read_lock, loads_what_another_has_changed_before_it_counts_as_held)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    other.count_a_change();
    bool looked = false;
    faults_hook(FAULT_READ, 2, [&] {   // the first read is that of the comparison
        looked = true;
        EXPECT_EQ(file->lock_state, LOCK_NONE);
    });
    calls_reset();
    EXPECT_TRUE(read_lock(file));
    EXPECT_TRUE(looked);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_LOCK, FAULT_UNLOCK }),
              (Lines{ "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "read 0+26", "read 0+26",
                      "read 26+896", "read 3610+808" }));
    EXPECT_EQ(count_of(file), 1u);
}

TEST(read_lock, under_a_lock_takes_nothing)
{
    BareDictionary file(DICT_SHARED);
    for (bool writer : { false, true }) {
        ASSERT_TRUE(writer ? write_lock(file) : read_lock(file));
        i16 state = file->lock_state;
        calls_reset();
        EXPECT_TRUE(read_lock(file));
        EXPECT_EQ(call_lines(), Lines{});
        EXPECT_EQ(file->lock_state, state);
        if (writer) (void)write_unlock(file);
        else read_unlock(file);
    }
}

TEST(read_lock, does_nothing_in_other_modes)
{
    BareDictionary file(DICT_SHARED);
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        file.close();
        file.open(mode);
        calls_reset();
        EXPECT_TRUE(read_lock(file)) << mode;
        EXPECT_EQ(file->lock_state, LOCK_NONE) << mode;
        read_unlock(file);
        EXPECT_EQ(call_lines(), Lines{}) << mode;
    }
}

TEST(read_lock, of_a_closed_file_does_nothing)
{
    DictFile file = {};
    calls_reset();
    EXPECT_TRUE(read_lock(&file));
    EXPECT_TRUE(write_lock(&file));
    EXPECT_EQ(file.lock_state, LOCK_NONE);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(read_unlock, frees_the_byte_that_is_held)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(read_lock(other));
    ASSERT_TRUE(read_lock(file));
    calls_reset();
    read_unlock(file);
    EXPECT_EQ(call_lines(), (Lines{ "unlock 1000000002+1" }));
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_TRUE(is_free(other, 1000000002, 1));
}

TEST(read_unlock, keeps_the_state_when_it_fails)
{
    BareDictionary file(DICT_SHARED);
    ASSERT_TRUE(read_lock(file));
    faults_start({ .call = FAULT_UNLOCK });
    read_unlock(file);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file->lock_state, 1);
    read_unlock(file);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
}

TEST(read_unlock, without_a_lock_does_nothing)
{
    BareDictionary file(DICT_SHARED);
    calls_reset();
    read_unlock(file);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(read_unlock, as_a_writer_frees_the_spare_byte)
{
    BareDictionary file(DICT_SHARED);
    ASSERT_TRUE(write_lock(file));
    calls_reset();
    read_unlock(file);
    EXPECT_EQ(call_lines(), (Lines{ "unlock 999999999+1 failed" }));   // 1,000,000,000 - 1
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
    ASSERT_TRUE(spare_byte_lock(file));
    read_unlock(file);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
}

// ---- Writers --------------------------------------------------------------------------------------------------------

TEST(write_lock_needed, asks_for_an_open_shared_file_that_is_no_writers)
{
    DictFile file = {};
    EXPECT_FALSE(write_lock_needed(&file));   // closed
    file.file = 1;
    for (i16 state : { LOCK_NONE, (i16)1, (i16)1000 }) {
        file.lock_state = state;
        EXPECT_TRUE(write_lock_needed(&file)) << state;
    }
    file.lock_state = LOCK_WRITER;
    EXPECT_FALSE(write_lock_needed(&file));
    file.lock_state = LOCK_NONE;
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        file.open_mode = mode;
        EXPECT_FALSE(write_lock_needed(&file)) << mode;
    }
}

TEST(write_lock, takes_all_reader_bytes_under_the_gate)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    calls_reset();
    EXPECT_TRUE(write_lock(file));
    EXPECT_EQ(call_lines(), (Lines{ "lock 999999998+1", "lock 1000000001+1000", "unlock 999999998+1", "seek 0",
                                    "read 0+26" }));
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
    for (u32 n : { 1u, 500u, 1000u }) EXPECT_FALSE(is_free(other, READER_BASE + n, 1)) << n;
    EXPECT_TRUE(is_free(other, READER_BASE + 1001, 1));
    EXPECT_TRUE(is_free(other, SPARE_BYTE, 1));
    EXPECT_TRUE(gate_is_free(other));
}

TEST(write_lock, makes_61_attempts_with_60_waits)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(read_lock(other));
    clock_virtual_start(300);
    calls_reset();
    EXPECT_FALSE(write_lock(file));

    Lines lines = call_lines();
    ASSERT_EQ(lines.size(), 1u + 61 + 60 + 1);
    EXPECT_EQ(lines[0], "lock 999999998+1");
    EXPECT_EQ(lines[1], "lock 1000000001+1000 failed");
    EXPECT_EQ(lines[2], "sleep 700");
    EXPECT_EQ(lines[3], "lock 1000000001+1000 failed");
    EXPECT_EQ(lines[4], "sleep 1000");
    EXPECT_EQ(lines[lines.size() - 2], "lock 1000000001+1000 failed");   // no wait behind the last attempt
    EXPECT_EQ(lines.back(), "unlock 999999998+1");
    EXPECT_EQ(call_counts().lock, 1u + 61);
    EXPECT_EQ(call_counts().slept_ms, 700u + 59 * 1000);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_TRUE(gate_is_free(other));
}

TEST(write_lock, holds_the_gate_while_it_waits)
{
    BareDictionary file(DICT_SHARED);
    Other reader(file.path), late(file.path);
    ASSERT_TRUE(read_lock(reader));
    clock_virtual_start(0);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        waits++;
        EXPECT_FALSE(file_lock(late->file, GATE_BYTE, 1));   // a new reader would need it
        if (waits == 2) read_unlock(reader);
    });
    calls_reset();
    EXPECT_TRUE(write_lock(file));
    EXPECT_EQ(waits, 2u);
    EXPECT_EQ(lock_lines(), (Lines{ "lock 999999998+1", "lock 1000000001+1000 failed", "lock 1000000001+1000 failed",
                                    "lock 1000000001+1000", "unlock 999999998+1" }));
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
}

TEST(write_lock, of_a_second_writer_holds_the_gate_for_a_minute)
{
    BareDictionary file(DICT_SHARED);
    Other first(file.path), late(file.path);
    ASSERT_TRUE(write_lock(first));
    clock_virtual_start(0);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        waits++;
        EXPECT_FALSE(file_lock(late->file, GATE_BYTE, 1));   // where a reader stands and waits
    });
    EXPECT_FALSE(write_lock(file));
    EXPECT_EQ(waits, 60u);
    EXPECT_EQ(call_counts().slept_ms, 60000u);
    EXPECT_TRUE(gate_is_free(late));
    EXPECT_EQ(first->lock_state, LOCK_WRITER);
}

// A reader that comes while a writer waits stands at the gate, and gets in when the writer has given up.
TEST(write_lock, keeps_a_reader_waiting_at_the_gate)
{
    BareDictionary file(DICT_SHARED);
    Other writer(file.path), reader(file.path);
    ASSERT_TRUE(read_lock(reader));
    ASSERT_TRUE(gate_lock(writer));   // where the writer is in the midst of its waits
    clock_virtual_start(0);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        if (++waits == 240) gate_unlock(writer);   // a minute of quarters of a second
    });
    EXPECT_TRUE(read_lock(file));
    EXPECT_EQ(waits, 240u);
    EXPECT_EQ(file->lock_state, 2);
}

TEST(write_lock, fails_over_its_own_read_lock)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(read_lock(file));
    clock_virtual_start(0);
    calls_reset();
    EXPECT_FALSE(write_lock(file));
    EXPECT_EQ(call_counts().lock, 1u + 61);
    EXPECT_EQ(call_counts().slept_ms, 60000u);
    EXPECT_EQ(file->lock_state, 1);                          // still a reader
    EXPECT_FALSE(is_free(other, READER_BASE + 1, 1));
    EXPECT_TRUE(gate_is_free(other));

    read_unlock(file);
    EXPECT_TRUE(write_lock(file));
}

TEST(write_lock, tries_nothing_without_the_gate)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(gate_lock(other));
    clock_virtual_start(0);
    calls_reset();
    EXPECT_FALSE(write_lock(file));
    EXPECT_EQ(call_counts().lock, 5001u);
    EXPECT_EQ(call_counts().unlock, 0u);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
}

TEST(write_lock, excludes_readers_and_writers)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(file));
    clock_virtual_start(0);
    EXPECT_FALSE(read_lock(other));
    EXPECT_FALSE(write_lock(other));
    EXPECT_NE(write_unlock(file), 0u);
    EXPECT_TRUE(read_lock(other));
    read_unlock(other);
    EXPECT_TRUE(write_lock(other));
}

TEST(write_lock, loads_what_another_has_changed)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_EQ(module_create(other, 2, 100, Name("first")), (DictStatus)DICT_OK);
    ASSERT_EQ(block_table_flush(other), (DictStatus)DICT_OK);
    other.count_a_change();
    EXPECT_TRUE(write_lock(file));
    EXPECT_EQ(module_find(file, 2, 100), 0);
}

TEST(write_lock, does_nothing_in_other_modes)
{
    BareDictionary file(DICT_SHARED);
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        file.close();
        file.open(mode);
        calls_reset();
        EXPECT_TRUE(write_lock(file)) << mode;
        EXPECT_EQ(file->lock_state, LOCK_NONE) << mode;
        EXPECT_EQ(call_lines(), Lines{}) << mode;
    }
}

// The table of type 1, range 0, as a resource of the current dictionary and in memory.
static void provide_core_table(Library &library)
{
    std::string fresh(12 + 20 + 2, '\x0f');
    fresh.replace(0, 12, std::string("\x14\0\0\0\x14\0\0\0\0\0\0\0", 12));     // capacity and free count 20
    fresh.back() = 0;
    (void)library.add(1, 10, 52, 1, "Local core table 1, 0", fresh);           // 2 if the open has made it
    if (core_table_at(library.file(), 1, 0)) return;
    if (!library.file()->core_tables) (void)core_tables_init(library.file());
    core_table_attach(library.file(), 1, 0, handle_of(library.body(1, 10, 52, 1)));
}

// An add of kind 1 ends with a change of its core table, inside its own lock.
TEST(write_lock, of_a_nested_operation_counts_once)
{
    Library library;
    provide_core_table(library);
    ASSERT_EQ(library.add(1, 1, 1, 5, "five", "body"), (DictStatus)DICT_OK);   // makes the module and the blocks
    library.reopen(DICT_SHARED);
    if (!core_table_at(library.file(), 1, 0)) {
        ASSERT_EQ(core_tables_init(library.file()), (DictStatus)DICT_OK);
        core_table_attach(library.file(), 1, 0, handle_of(library.body(1, 10, 52, 1)));
    }
    u16 count = count_of(library.file());
    calls_reset();
    EXPECT_EQ(library.add(1, 1, 1, 6, "six", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), ONE_WRITE);
    EXPECT_EQ(count_of(library.file()), count + 1);
    EXPECT_EQ(count_in(library.bytes()), count + 1u);
    EXPECT_EQ(library.body(1, 10, 52, 1)[12 + 6], 0);   // the inner operation has written the owner of 6
}

TEST(write_unlock, writes_the_header_then_frees_the_range)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(file));
    calls_reset();
    EXPECT_EQ(write_unlock(file), 1u);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "write 0+26", "unlock 1000000001+1000" }));
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_EQ(count_of(file), 1u);
    EXPECT_EQ(count_in(file.bytes()), 1u);
    EXPECT_TRUE(range_is_free(other));
}

TEST(write_unlock, counts_from_65535_to_0)
{
    BareDictionary file(DICT_SHARED);
    ASSERT_TRUE(write_lock(file));
    file->header.change_count = le16(65535);
    EXPECT_EQ(write_unlock(file), 1u);
    EXPECT_EQ(count_of(file), 0u);
    EXPECT_EQ(count_in(file.bytes()), 0u);
}

TEST(write_unlock, raises_change_count_whatever_happened)
{
    SharedLibrary library;
    u16 count = count_of(library.file());
    EXPECT_EQ(library.add(2, 101, 1, 2, "", "body"), (DictStatus)DICT_BAD_NAME);
    EXPECT_EQ(count_of(library.file()), ++count);
    EXPECT_EQ(library.add(2, 101, 1, 1, "two", "body"), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(count_of(library.file()), ++count);
    EXPECT_EQ(library.change(2, 101, 1, 9, "nine", "body"), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(count_of(library.file()), ++count);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 9), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(count_of(library.file()), ++count);
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(count_of(library.file()), ++count);
    EXPECT_EQ(count_in(library.bytes()), count);
}

TEST(write_unlock, does_not_count_where_the_lock_was_refused)
{
    SharedLibrary library;
    u16 count = count_of(library.file());
    Other other(library.path);
    ASSERT_TRUE(read_lock(other));
    clock_virtual_start(0);
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(count_of(library.file()), count);
    EXPECT_EQ(count_in(library.bytes()), count);
}

TEST(write_unlock, frees_the_range_though_the_header_cannot_be_written)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(file));
    faults_start({ .call = FAULT_WRITE });
    EXPECT_EQ(write_unlock(file), 1u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_EQ(count_of(file), 1u);
    EXPECT_EQ(count_in(file.bytes()), 0u);
    EXPECT_TRUE(range_is_free(other));
}

TEST(write_unlock, keeps_the_state_when_the_unlock_fails)
{
    BareDictionary file(DICT_SHARED);
    ASSERT_TRUE(write_lock(file));
    faults_start({ .call = FAULT_UNLOCK });
    EXPECT_EQ(write_unlock(file), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
    EXPECT_EQ(write_unlock(file), 1u);
    EXPECT_EQ(count_of(file), 2u);   // every call counts
}

// A failing unlock is nobody's to hear of in an operation.
TEST(write_unlock, does_not_tell_the_operation_of_a_failure)
{
    SharedLibrary library;
    faults_start({ .call = FAULT_UNLOCK, .nth = 2 });   // behind that of the gate
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(library.file()->lock_state, LOCK_WRITER);
}

TEST(write_unlock, returns_the_mode_unless_shared)
{
    BareDictionary file(DICT_SHARED);
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        file.close();
        file.open(mode);
        calls_reset();
        EXPECT_EQ(write_unlock(file), mode);
        EXPECT_EQ(call_lines(), Lines{});
        EXPECT_EQ(count_of(file), 0u);
    }
}

// A block at the end of the file grows where it stands: the handle stays, and the lock.
TEST(write_unlock, frees_the_range_after_a_growth_in_place)
{
    BareDictionary file(DICT_EXCLUSIVE);
    u32 last = block_allocate(file, BLOCK_BODIES, 100);
    ASSERT_NE(last, 0u);
    file.close();
    file.open(DICT_SHARED);
    Other other(file.path);

    ASSERT_TRUE(write_lock(file));
    BlockEntry entry = entry_of(file, last);
    ASSERT_EQ(block_grow(file, last, &entry, 5000), (DictStatus)DICT_OK);
    ASSERT_EQ(block_write_entry(file, last - 1, &entry), (DictStatus)DICT_OK);
    EXPECT_FALSE(range_is_free(other));
    EXPECT_EQ(write_unlock(file), 1u);
    EXPECT_EQ(file->lock_state, LOCK_NONE);
    EXPECT_TRUE(range_is_free(other));
}

// A new block at the end closes and opens the file, and the lock goes with the handle.
TEST(write_unlock, leaves_the_state_when_the_range_was_lost)
{
    BareDictionary file(DICT_SHARED);
    Other other(file.path);
    ASSERT_TRUE(write_lock(file));
    ASSERT_NE(block_allocate(file, BLOCK_BODIES, 100), 0u);
    EXPECT_TRUE(range_is_free(other));               // in the midst of the operation
    calls_reset();
    EXPECT_EQ(write_unlock(file), 0u);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "write 0+26", "unlock 1000000001+1000 failed" }));
    EXPECT_EQ(count_in(file.bytes()), 1u);           // this once
    EXPECT_EQ(file->lock_state, LOCK_WRITER);

    other.count_a_change();
    calls_reset();
    EXPECT_FALSE(read_lock_needed(file));
    EXPECT_FALSE(write_lock_needed(file));
    EXPECT_TRUE(read_lock(file));
    EXPECT_TRUE(write_lock(file));
    EXPECT_EQ(call_lines(), Lines{});                // no lock, and no look at the counter

    file.close();
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
    file.open(DICT_SHARED);
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
}

// The state goes to whatever file is opened next in the slot, until the library is started anew.
TEST(write_unlock, leaves_a_state_that_the_next_file_of_the_slot_inherits)
{
    SharedLibrary library;
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", std::string(5000, 'x')), (DictStatus)DICT_OK);   // a longer file
    EXPECT_EQ(library.file()->lock_state, LOCK_WRITER);
    u16 count = count_of(library.file());
    calls_reset();
    EXPECT_EQ(library.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 101, 1, 3), "body");
    EXPECT_EQ(lock_lines(), Lines{});
    EXPECT_EQ(count_of(library.file()), count);

    i32 slot = library.cookie.slot;
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    EXPECT_EQ(ds_openfile(7, library.path, DICT_SHARED, 0, &library.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(library.cookie.slot, slot);
    EXPECT_EQ(library.file()->lock_state, LOCK_WRITER);
    calls_reset();
    EXPECT_EQ(library.body(2, 101, 1, 3), "body");
    EXPECT_EQ(lock_lines(), Lines{});

    dd_term();
    EXPECT_EQ(dd_init(), 1);
    EXPECT_EQ(ds_openfile(1, library.path, DICT_SHARED, 0, &library.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
    calls_reset();
    EXPECT_EQ(library.body(2, 101, 1, 3), "body");
    EXPECT_EQ(lock_lines(), ONE_READ);
}

// ---- By cookie ------------------------------------------------------------------------------------------------------

TEST(dict_selected_read_lock, takes_the_lock_of_the_selected_file)
{
    SharedLibrary library;
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(library.file()->lock_state, 1);
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, 0), (DictStatus)DICT_OK);   // it is held already
    dict_selected_read_unlock(&library.cookie, 0);
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
}

TEST(dict_selected_read_lock, gives_6_without_an_open_file)
{
    SharedLibrary library;
    DictCookie nowhere = { 99, 0, 0 };
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, 1), (DictStatus)DICT_NO_FILE);    // not open
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, 3), (DictStatus)DICT_NO_FILE);
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, -1), (DictStatus)DICT_NO_FILE);
    EXPECT_EQ(dict_selected_read_lock(&nowhere, 0), (DictStatus)DICT_NO_FILE);
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, 0), (DictStatus)DICT_NO_FILE);
}

TEST(dict_selected_read_lock, gives_6_before_the_library_is_started)
{
    DictCookie cookie = { 1, 0, 0 };
    EXPECT_EQ(dict_selected_read_lock(&cookie, 0), (DictStatus)DICT_NO_FILE);
    EXPECT_FALSE(dict_selected_has_lock(&cookie, 0));
    EXPECT_FALSE(dict_selected_write_lock(&cookie, 0));
    EXPECT_EQ(dict_selected_write_unlock(&cookie, 0), 0u);
}

TEST(dict_selected_read_lock, gives_21_when_it_is_refused)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(write_lock(other));
    clock_virtual_start(0);
    EXPECT_EQ(dict_selected_read_lock(&library.cookie, 0), (DictStatus)DICT_LOCKED_OUT);
}

TEST(dict_selected_has_lock, is_the_opposite_of_a_lock_that_is_needed)
{
    SharedLibrary library;
    EXPECT_FALSE(dict_selected_has_lock(&library.cookie, 0));
    ASSERT_TRUE(read_lock(library.file()));
    EXPECT_TRUE(dict_selected_has_lock(&library.cookie, 0));
    read_unlock(library.file());
    ASSERT_TRUE(write_lock(library.file()));
    EXPECT_TRUE(dict_selected_has_lock(&library.cookie, 0));
    (void)write_unlock(library.file());
    EXPECT_FALSE(dict_selected_has_lock(&library.cookie, 1));   // closed

    library.reopen(DICT_EXCLUSIVE);
    EXPECT_TRUE(dict_selected_has_lock(&library.cookie, 0));    // none is needed
}

TEST(dict_selected_write_lock, holds_one_lock_over_several_operations)
{
    SharedLibrary library;
    Other other(library.path);
    u16 count = count_of(library.file());
    EXPECT_TRUE(dict_selected_write_lock(&library.cookie, 0));
    calls_reset();
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.change(2, 101, 1, 2, "zwei", "leib"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 101, 1, 2), "leib");
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 2), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), Lines{});
    EXPECT_EQ(count_of(library.file()), count);
    EXPECT_FALSE(range_is_free(other));
    EXPECT_EQ(dict_selected_write_unlock(&library.cookie, 0), 1u);
    EXPECT_EQ(count_of(library.file()), count + 1);
    EXPECT_TRUE(range_is_free(other));
}

TEST(dict_selected_write_lock, fails_when_it_is_refused_or_nothing_is_open)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(read_lock(other));
    clock_virtual_start(0);
    EXPECT_FALSE(dict_selected_write_lock(&library.cookie, 0));
    EXPECT_FALSE(dict_selected_write_lock(&library.cookie, 1));
}

TEST(dict_selected_write_unlock, gives_the_result_of_the_unlock)
{
    SharedLibrary library;
    EXPECT_EQ(dict_selected_write_unlock(&library.cookie, 0), 0u);   // nothing was held
    EXPECT_TRUE(dict_selected_write_lock(&library.cookie, 0));
    EXPECT_EQ(dict_selected_write_unlock(&library.cookie, 0), 1u);
    library.reopen(DICT_EXCLUSIVE);
    EXPECT_EQ(dict_selected_write_unlock(&library.cookie, 0), DICT_EXCLUSIVE);
    EXPECT_EQ(dict_selected_write_unlock(&library.cookie, 1), 0u);
}

TEST(dict_selected_spare_lock, takes_and_frees_the_spare_byte)
{
    SharedLibrary library;
    Other other(library.path);
    EXPECT_TRUE(dict_selected_spare_lock(&library.cookie, 0));
    EXPECT_FALSE(is_free(other, SPARE_BYTE, 1));
    EXPECT_FALSE(dict_selected_spare_lock(&library.cookie, 0));
    EXPECT_TRUE(dict_selected_spare_unlock(&library.cookie, 0));
    EXPECT_FALSE(dict_selected_spare_unlock(&library.cookie, 0));
    EXPECT_TRUE(is_free(other, SPARE_BYTE, 1));
    EXPECT_FALSE(dict_selected_spare_lock(&library.cookie, 1));
    EXPECT_FALSE(dict_selected_spare_unlock(&library.cookie, 1));
}

// ---- Who takes what -------------------------------------------------------------------------------------------------

namespace {

// A read: what it is, how many locks it takes in succession, and whether it gives what the refusal of them all gives.
struct Reading {
    const char *name;
    u32 turns;
    std::function<bool()> reads;         // true if the resource was found
    std::function<bool()> is_refused;    // true if the result is that of a refused lock
};

} // namespace

static u8 read_buffer[256];

static u32 handle_status(const std::function<GHandle(u32 *)> &read)
{
    u32 status = 99;
    gfree(read(&status));
    return status;
}

static std::vector<Reading> readings()
{
    auto body = [] { return handle_status([](u32 *s) { return dd_getresourcehndl(2, 101, 1, 1, 0, s); }); };
    auto nth_body = [] { return handle_status([](u32 *s) { return dd_getnresourcehndl(2, 101, 1, 1, 0, s); }); };
    auto named_body = [] {
        return handle_status([](u32 *s) { return dd_getnamedreshndl(2, 101, 1, Name("one"), 0, s); });
    };
    auto into = [] { return dd_read_into(2, 101, 1, 1, read_buffer, 0); };
    auto nth_into = [] { return dd_nread_into(2, 101, 1, 1, read_buffer, 0); };
    auto named_into = [] { return dd_read_named_into(2, 101, 1, Name("one"), read_buffer, 0); };
    auto name = [] { return dd_getresname(2, 101, 1, 1, read_buffer); };
    auto nth_name = [] { return dd_getnresname(2, 101, 1, 1, read_buffer); };
    auto count = [] { return (i32)dd_numresources(2, 101, 1); };
    auto id = [] { return dd_get_resid(2, 101, 1, Name("one")); };
    auto nth_id = [] { return dd_get_nresid(2, 101, 1, 1); };
    auto position = [] { return (i32)dd_get_resid_pos(2, 101, 1, 1); };
    auto local_count = [] { return (i32)dd_local_numres(6, 2, 5, 1); };           // 6 * 16 + 5 is 101
    auto local_id = [] { return (i32)dd_local_get_nresid(0, 1, 1, 1); };
    auto local_position = [] { return (i32)dd_local_get_nresid_pos(0, 1, 1, 1); };
    auto local_name = [] { return dd_local_get_nresname(0, 1, 1, 1, read_buffer); };
    auto free_id = [] { return (i32)dd_uniqueid(2, 101, 1); };
    auto free_local_id = [] { return (i32)dd_local_uniqueid(2, 101, 1); };
    auto by_name = [] {
        return resource_id_by_name(dict_select_file(2, 1, SELECT_NO_REDIRECT), 2, 101, 1, Name("one"));
    };
    auto is = [](auto call, u32 value) { return [call, value] { return (u32)call() == value; }; };
    return {
        { "dd_getresourcehndl", 1, is(body, DICT_OK), is(body, DICT_LOCKED_OUT) },
        { "dd_getnresourcehndl", 2, is(nth_body, DICT_OK), is(nth_body, DICT_NOT_FOUND) },
        { "dd_getnamedreshndl", 2, is(named_body, DICT_OK), is(named_body, DICT_NOT_FOUND) },
        { "dd_read_into", 1, is(into, DICT_OK), is(into, DICT_LOCKED_OUT) },
        { "dd_nread_into", 2, is(nth_into, DICT_OK), is(nth_into, DICT_NOT_FOUND) },
        { "dd_read_named_into", 2, is(named_into, DICT_OK), is(named_into, DICT_NOT_FOUND) },
        { "dd_getresname", 1, is(name, DICT_OK), is(name, DICT_LOCKED_OUT) },
        { "dd_getnresname", 2, is(nth_name, DICT_OK), is(nth_name, DICT_NOT_FOUND) },
        { "dd_numresources", 1, is(count, 1), is(count, 0) },
        { "dd_get_resid", 1, is(id, 1), is(id, 0) },
        { "dd_get_nresid", 1, is(nth_id, 1), is(nth_id, 0) },
        { "dd_get_resid_pos", 1, is(position, 1), is(position, 0) },
        { "dd_local_numres", 1, is(local_count, 1), is(local_count, 0) },
        { "dd_local_get_nresid", 1, is(local_id, 0), is(local_id, 0) },                     // kind 1 has none
        { "dd_local_get_nresid_pos", 1, is(local_position, 0), is(local_position, 0) },
        { "dd_local_get_nresname", 1, is(local_name, DICT_NOT_FOUND), is(local_name, DICT_LOCKED_OUT) },
        { "dd_uniqueid", 1, is(free_id, 22000), is(free_id, 0) },
        { "dd_local_uniqueid", 1, is(free_local_id, 20000), is(free_local_id, 0) },
        { "resource_id_by_name", 1, is(by_name, 1), is(by_name, 0) },
    };
}

TEST(who_takes_what, each_read_takes_the_read_lock_for_its_own_length)
{
    SharedLibrary library;
    for (const Reading &reading : readings()) {
        calls_reset();
        EXPECT_TRUE(reading.reads()) << reading.name;
        EXPECT_EQ(lock_lines(), times(reading.turns, ONE_READ)) << reading.name;
        EXPECT_EQ(library.file()->lock_state, LOCK_NONE) << reading.name;
    }
}

TEST(who_takes_what, a_read_that_fails_frees_its_lock)
{
    SharedLibrary library;
    calls_reset();
    EXPECT_EQ(library.body(2, 101, 1, 9), "<status 3>");
    EXPECT_EQ(library.body(2, 999, 1, 1), "<status 3>");
    EXPECT_EQ(lock_lines(), times(2, ONE_READ));
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
}

TEST(who_takes_what, a_read_that_cannot_find_anything_takes_no_lock)
{
    SharedLibrary library;
    calls_reset();
    EXPECT_EQ(library.body(2, 101, 1, 0), "<status 3>");
    EXPECT_EQ(lock_lines(), Lines{});
}

TEST(who_takes_what, an_open_takes_the_read_lock_for_each_core_table)
{
    SharedLibrary library;
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    calls_reset();
    EXPECT_EQ(ds_openfile(1, library.path, DICT_SHARED, 0, &library.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), times(156, ONE_READ));
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
}

// An owner is told from memory.
TEST(who_takes_what, asking_for_an_owner_takes_none)
{
    SharedLibrary library;
    calls_reset();
    EXPECT_EQ(dd_get_owner(library.file(), 1, 22000), -1);
    EXPECT_EQ(call_lines(), Lines{});
}

// What is called under a lock of either kind neither takes nor frees any.
TEST(who_takes_what, a_read_under_a_lock_takes_none)
{
    SharedLibrary library;
    for (bool writer : { false, true }) {
        ASSERT_TRUE(writer ? write_lock(library.file()) : read_lock(library.file()));
        i16 state = library.file()->lock_state;
        calls_reset();
        for (const Reading &reading : readings()) EXPECT_TRUE(reading.reads()) << reading.name;
        EXPECT_EQ(lock_lines(), Lines{});
        EXPECT_EQ(library.file()->lock_state, state);
        if (writer) (void)write_unlock(library.file());
        else read_unlock(library.file());
    }
}

TEST(who_takes_what, nobody_takes_a_lock_in_other_modes)
{
    SharedLibrary library;
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        library.reopen(mode);
        calls_reset();
        for (const Reading &reading : readings()) EXPECT_TRUE(reading.reads()) << reading.name;
        if (mode == DICT_EXCLUSIVE) {
            EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_OK);
            EXPECT_EQ(library.change(2, 101, 1, 2, "zwei", "leib"), (DictStatus)DICT_OK);
            EXPECT_EQ(dd_remove_resource(2, 101, 1, 2), (DictStatus)DICT_OK);
        }
        EXPECT_EQ(lock_lines(), Lines{}) << mode;
        EXPECT_EQ(count_of(library.file()), 0u) << mode;
    }
}

TEST(who_takes_what, a_read_that_is_refused_by_a_writer_says_so)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(write_lock(other));
    clock_virtual_start(0);
    for (const Reading &reading : readings()) {
        calls_reset();
        EXPECT_TRUE(reading.is_refused()) << reading.name;
        EXPECT_EQ(call_counts().lock, 1u + 3 * 1000) << reading.name;    // the first lock is the last
        EXPECT_EQ(call_counts().slept_ms, 3000u) << reading.name;
        EXPECT_EQ(library.file()->lock_state, LOCK_NONE) << reading.name;
    }
}

TEST(who_takes_what, the_1001st_reader_gets_21)
{
    SharedLibrary library;
    Other others(library.path);
    for (u32 n = 1; n <= 1000; n++) ASSERT_TRUE(file_lock(others->file, READER_BASE + n, 1));
    clock_virtual_start(0);
    EXPECT_EQ(library.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(dd_numresources(2, 101, 1), 0);
    ASSERT_TRUE(file_unlock(others->file, READER_BASE + 500, 1));
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

TEST(who_takes_what, a_read_that_is_refused_the_gate_says_so)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(gate_lock(other));
    clock_virtual_start(0);
    EXPECT_EQ(library.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_LOCKED_OUT);
}

TEST(who_takes_what, each_write_takes_the_write_lock_for_its_own_length)
{
    SharedLibrary library;
    calls_reset();
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), ONE_WRITE);
    calls_reset();
    EXPECT_EQ(library.change(2, 101, 1, 2, "zwei", "leib"), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), ONE_WRITE);
    calls_reset();
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 2), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), ONE_WRITE);
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
}

TEST(who_takes_what, a_write_that_fails_frees_its_lock)
{
    SharedLibrary library;
    calls_reset();
    EXPECT_EQ(library.add(2, 101, 1, 0, "none", "body"), (DictStatus)DICT_BAD_NAME);
    EXPECT_EQ(library.add(2, 101, 1, 1, "two", "body"), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(library.change(2, 101, 1, 9, "nine", "body"), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 9), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(lock_lines(), times(4, ONE_WRITE));
    EXPECT_EQ(library.file()->lock_state, LOCK_NONE);
}

TEST(who_takes_what, a_write_frees_its_lock_whichever_call_fails)
{
    for (u32 nth = 1;; nth++) {
        SharedLibrary library;
        Other other(library.path);
        faults_start({ .call = FAULT_WRITE, .nth = nth });
        (void)library.add(2, 101, 1, 2, "two", "body");   // any status: the lock is what counts here
        if (!faults_stop()) break;
        EXPECT_EQ(library.file()->lock_state, LOCK_NONE) << nth;
        EXPECT_TRUE(range_is_free(other)) << nth;
    }
}

TEST(who_takes_what, a_write_that_is_refused_gives_21)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(read_lock(other));
    clock_virtual_start(0);
    std::string before = library.bytes();
    calls_reset();
    EXPECT_EQ(library.add(2, 101, 1, 2, "two", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(call_counts().lock, 1u + 61);
    EXPECT_EQ(library.add(2, 101, 1, 0, "none", "body"), (DictStatus)DICT_LOCKED_OUT);   // not 19
    EXPECT_EQ(library.change(2, 101, 1, 1, "eins", "leib"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 9), (DictStatus)DICT_NOT_FOUND);             // one that is not there
    EXPECT_EQ(dd_remove_resource(2, 0, 2, 999), (DictStatus)DICT_NOT_FOUND);
    (void)dd_remove_resource(2, 101, 2, 101);   // 3 or 21; the module stays
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(library.bytes(), before);
    EXPECT_EQ(library.body(2, 101, 1, 1), "body of one");
}

TEST(who_takes_what, setting_flags_takes_no_lock)
{
    SharedLibrary library;
    calls_reset();
    EXPECT_EQ(dd_set_resource_flags(2, 101, 1, 1, 7), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), Lines{});
    EXPECT_EQ(count_of(library.file()), 0u);
}

TEST(who_takes_what, a_close_takes_no_lock_and_writes_the_header)
{
    SharedLibrary library;
    Other other(library.path);
    ASSERT_TRUE(write_lock(other));
    u32 before = count_in(library.bytes());
    other.count_a_change();
    EXPECT_EQ(count_in(library.bytes()), before + 1);
    calls_reset();
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    EXPECT_EQ(lock_lines(), Lines{});
    EXPECT_EQ(call_lines({ FAULT_WRITE }).front(), "write 0+26");
    EXPECT_EQ(count_in(library.bytes()), before);        // the older header is back
}

} // namespace zuk
