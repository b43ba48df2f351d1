// The tools of the other tests (tests/support/faults.h), which must not be wrong themselves.

#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>

namespace zuk {

using Lines = std::vector<std::string>;

static void *take(size_t size = 8) { return platform_memory->alloc(size, false); }
static void give(void *block) { platform_memory->free(block); }

static FileHandle open_shared(const TempDir &dir, const std::string &name)
{
    FileHandle file = 0;
    EXPECT_EQ(platform_files->open(dir.native(name).c_str(), PLATFORM_RW_SHARED, &file), PLATFORM_OK);
    return file;
}

static u32 write_text(FileHandle file, const std::string &text)
{
    u32 done = 0;
    u32 error = platform_files->write(file, text.data(), (u32)text.size(), &done);
    return error ? 0 : done;
}

// ---- Faults ---------------------------------------------------------------------------------------------------------

TEST(faults_start, fails_the_nth_call_alone)
{
    faults_start({ .call = FAULT_ALLOC, .nth = 2 });
    void *first = take();
    void *second = take();
    void *third = take();
    EXPECT_TRUE(faults_stop());
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    give(first);
    give(third);
}

TEST(faults_start, fails_every_call_behind_it_when_asked)
{
    faults_start({ .call = FAULT_ALLOC, .nth = 2, .from_then_on = true });
    void *first = take();
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(take(), nullptr);
    EXPECT_EQ(take(), nullptr);
    faults_stop();
    give(first);
}

TEST(faults_start, counts_from_the_start_on)
{
    give(take());
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(take(), nullptr);
}

TEST(faults_start, fails_a_resize_and_leaves_the_block)
{
    u8 *block = (u8 *)take(4);
    block[3] = 77;
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(platform_memory->resize(block, 1000), nullptr);
    faults_stop();
    EXPECT_EQ(block[3], 77);
    give(block);
}

TEST(faults_start, fails_each_call_of_files_with_the_error_of_the_fault)
{
    TempDir dir;
    dir.put("a", "text");
    FileHandle file = open_shared(dir, "a");
    std::string a = dir.native("a");
    std::string b = dir.native("b");
    char byte = 0;
    u32 done = 0;
    i32 number = 0;
    FileHandle other = 0;
    auto with = [](FaultCall call, u32 error) {
        EXPECT_EQ(error, PLATFORM_DISK_FULL) << "call " << call;
        EXPECT_TRUE(faults_stop());
    };
    auto fault = [](FaultCall call) { faults_start({ .call = call, .error = PLATFORM_DISK_FULL }); };

    fault(FAULT_OPEN), with(FAULT_OPEN, platform_files->open(a.c_str(), PLATFORM_RW_SHARED, &other));
    fault(FAULT_READ), with(FAULT_READ, platform_files->read(file, &byte, 1, &done));
    fault(FAULT_WRITE), with(FAULT_WRITE, platform_files->write(file, &byte, 1, &done));
    fault(FAULT_SEEK), with(FAULT_SEEK, platform_files->seek(file, 2));
    fault(FAULT_TELL), with(FAULT_TELL, platform_files->tell(file, &number));
    fault(FAULT_SIZE), with(FAULT_SIZE, platform_files->size(file, &number));
    fault(FAULT_SET_END), with(FAULT_SET_END, platform_files->set_end(file));
    fault(FAULT_CREATE), with(FAULT_CREATE, platform_files->create(b.c_str()));
    fault(FAULT_REMOVE), with(FAULT_REMOVE, platform_files->remove(a.c_str()));
    fault(FAULT_RENAME), with(FAULT_RENAME, platform_files->rename(a.c_str(), b.c_str()));
    fault(FAULT_LOCK), with(FAULT_LOCK, platform_files->lock(file, 1, 1));
    EXPECT_EQ(platform_files->lock(file, 1, 1), PLATFORM_OK);  // the failed one had locked nothing
    fault(FAULT_UNLOCK), with(FAULT_UNLOCK, platform_files->unlock(file, 1, 1));
    EXPECT_EQ(platform_files->unlock(file, 1, 1), PLATFORM_OK);  // nor had the failed one unlocked it

    EXPECT_EQ(platform_files->tell(file, &number), PLATFORM_OK);
    EXPECT_EQ(number, 0);  // no failed call moved anything
    EXPECT_EQ(dir.content("a"), "text");
    EXPECT_FALSE(dir.has("b"));

    fault(FAULT_CLOSE), with(FAULT_CLOSE, platform_files->close(file));
    EXPECT_EQ(platform_files->close(file), PLATFORM_INVALID_HANDLE);  // it was closed all the same
}

TEST(faults_start, fails_each_call_of_directories)
{
    TempDir dir;
    dir.put("a.txt", "");
    std::string d = dir.native("d");
    char text[PLATFORM_PATH_SIZE] = "untouched";
    PlatformSearch failed = 0, search = 0;
    EXPECT_EQ(platform_directories->find_first(dir.native("*.txt").c_str(), &search, text), PLATFORM_OK);
    strcpy(text, "untouched");
    calls_reset();
    faults_start({ .call = FAULT_ANY, .from_then_on = true, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(platform_directories->make(d.c_str()), PLATFORM_DISK_FULL);
    EXPECT_EQ(platform_directories->change(d.c_str()), PLATFORM_DISK_FULL);
    EXPECT_EQ(platform_directories->temporary(text), PLATFORM_DISK_FULL);
    EXPECT_EQ(platform_directories->make_temporary(d.c_str(), text), PLATFORM_DISK_FULL);
    EXPECT_EQ(platform_directories->find_first("*.*", &failed, text), PLATFORM_DISK_FULL);
    EXPECT_EQ(platform_directories->find_next(search, text), PLATFORM_DISK_FULL);
    EXPECT_EQ(failed, PLATFORM_FAILED_SEARCH);
    EXPECT_STREQ(text, "untouched");
    EXPECT_FALSE(dir.has("d"));
    platform_directories->find_close(search);
    EXPECT_EQ(call_lines(), (Lines{ "make_directory " + d + " failed", "change_directory " + d + " failed",
                                    "temporary failed", "make_temporary " + d + " failed", "find_first *.* failed",
                                    "find_next failed", "find_close" }));
}

TEST(faults_start, fails_each_call_of_libraries)
{
    void *library = platform_libraries->load("ZUKOPTS.DLL");
    ASSERT_NE(library, nullptr);
    faults_start({ .call = FAULT_ANY, .from_then_on = true });
    EXPECT_EQ(platform_libraries->load("ZUKOPTS.DLL"), nullptr);
    EXPECT_EQ(platform_libraries->entry(library, "DLLFunction1"), nullptr);
    platform_libraries->free(library);
    platform_diagnostics->debug_break();
    EXPECT_EQ(call_lines(), (Lines{ "load ZUKOPTS.DLL", "load ZUKOPTS.DLL failed", "entry DLLFunction1 failed",
                                    "unload", "debug_break" }));
    EXPECT_EQ(call_counts().debug_break, 1u);
}

TEST(faults_start, cuts_a_write_short_without_an_error)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle file = open_shared(dir, "a");
    faults_start({ .call = FAULT_WRITE, .nth = 2, .cut = 2 });
    EXPECT_EQ(write_text(file, "abcd"), 4u);
    EXPECT_EQ(write_text(file, "efgh"), 2u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(write_text(file, "i"), 1u);
    platform_files->close(file);
    EXPECT_EQ(dir.content("a"), "abcdefi");
}

TEST(faults_start, cuts_a_read_short_without_an_error)
{
    TempDir dir;
    dir.put("a", "abcdef");
    FileHandle file = open_shared(dir, "a");
    char bytes[6];
    u32 done = 0;
    faults_start({ .call = FAULT_READ, .cut = 0 });
    EXPECT_EQ(platform_files->read(file, bytes, 6, &done), PLATFORM_OK);
    EXPECT_EQ(done, 0u);
    faults_start({ .call = FAULT_READ, .cut = 4 });
    EXPECT_EQ(platform_files->read(file, bytes, 6, &done), PLATFORM_OK);
    EXPECT_EQ(std::string(bytes, done), "abcd");
    faults_start({ .call = FAULT_READ, .cut = 100 });
    EXPECT_EQ(platform_files->read(file, bytes, 6, &done), PLATFORM_OK);
    EXPECT_EQ(std::string(bytes, done), "ef");  // a cut never makes more of it
    platform_files->close(file);
}

TEST(faults_start, takes_any_call_of_files_but_none_of_memory)
{
    TempDir dir;
    faults_start({ .call = FAULT_ANY_FILE, .nth = 2 });
    void *block = take();
    EXPECT_EQ(platform_files->create(dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_EQ(platform_files->remove(dir.native("a").c_str()), PLATFORM_GENERAL_FAILURE);
    EXPECT_NE(block, nullptr);
    faults_stop();
    give(block);
}

TEST(faults_start, takes_any_call_of_memory_but_none_of_files)
{
    TempDir dir;
    faults_start({ .call = FAULT_ANY_MEMORY, .nth = 2 });
    void *block = take();
    EXPECT_EQ(platform_files->create(dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_EQ(platform_memory->resize(block, 100), nullptr);
    faults_stop();
    give(block);
}

TEST(faults_start, takes_any_call_of_both)
{
    TempDir dir;
    faults_start({ .call = FAULT_ANY, .nth = 3 });
    void *block = take();
    EXPECT_EQ(platform_files->create(dir.native("a").c_str()), PLATFORM_OK);
    give(block);                                            // cannot fail, and does not count
    EXPECT_EQ(take(), nullptr);
}

TEST(faults_stop, tells_whether_the_fault_was_met)
{
    faults_start({ .call = FAULT_ALLOC, .nth = 2 });
    give(take());
    EXPECT_FALSE(faults_stop());

    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(take(), nullptr);
    EXPECT_TRUE(faults_stop());
    EXPECT_FALSE(faults_stop());
}

TEST(faults_hook, runs_once_before_the_nth_call)
{
    TempDir dir;
    int runs = 0;
    bool was_there = true;
    faults_hook(FAULT_CREATE, 2, [&] {
        runs++;
        was_there = dir.has("b");
    });
    EXPECT_EQ(platform_files->create(dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(platform_files->create(dir.native("b").c_str()), PLATFORM_OK);
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(was_there);
    EXPECT_EQ(platform_files->create(dir.native("c").c_str()), PLATFORM_OK);
    EXPECT_EQ(runs, 1);
}

TEST(faults_hook, acts_in_the_gap_between_two_calls)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle file = open_shared(dir, "a");
    faults_hook(FAULT_OPEN, 1, [&] { dir.put("a", "changed"); });
    platform_files->close(file);
    file = open_shared(dir, "a");
    i32 size = 0;
    platform_files->size(file, &size);
    EXPECT_EQ(size, 7);
    platform_files->close(file);
}

TEST(faults_hook, makes_calls_that_neither_count_nor_fail)
{
    TempDir dir;
    faults_start({ .call = FAULT_CREATE, .nth = 2 });
    faults_hook(FAULT_CREATE, 1, [&] {
        EXPECT_EQ(platform_files->create(dir.native("x").c_str()), PLATFORM_OK);
        EXPECT_EQ(platform_files->create(dir.native("y").c_str()), PLATFORM_OK);
    });
    EXPECT_EQ(platform_files->create(dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_EQ(platform_files->create(dir.native("b").c_str()), PLATFORM_GENERAL_FAILURE);
    EXPECT_EQ(call_counts().create, 2u);
    EXPECT_EQ(call_log().size(), 2u);
}

// ---- Counts and the log ---------------------------------------------------------------------------------------------

TEST(call_counts, counts_each_call_since_the_reset)
{
    TempDir dir;
    give(take());
    calls_reset();
    void *block = take();
    block = platform_memory->resize(block, 20);
    give(block);
    platform_files->create(dir.native("a").c_str());
    FileHandle file = open_shared(dir, "a");
    write_text(file, "x");
    char byte;
    u32 done;
    i32 number;
    platform_files->seek(file, 0);
    platform_files->tell(file, &number);
    platform_files->size(file, &number);
    platform_files->read(file, &byte, 1, &done);
    platform_files->set_end(file);
    platform_files->lock(file, 5, 1);
    platform_files->unlock(file, 5, 1);
    platform_files->close(file);
    platform_files->rename(dir.native("a").c_str(), dir.native("b").c_str());
    platform_files->remove(dir.native("b").c_str());
    CallCounts counts = call_counts();
    u32 all[] = { counts.alloc, counts.resize, counts.free, counts.open, counts.close, counts.read, counts.write,
                  counts.seek, counts.tell, counts.size, counts.set_end, counts.create, counts.remove, counts.rename,
                  counts.lock, counts.unlock };
    for (u32 one : all) EXPECT_EQ(one, 1u);
    EXPECT_EQ(counts.sleeps, 0u);
}

TEST(call_counts, counts_a_call_that_fails_too)
{
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(take(), nullptr);
    EXPECT_EQ(call_counts().alloc, 1u);
}

TEST(call_lines, tells_order_positions_and_lengths)
{
    TempDir dir;
    dir.put("a", "0123456789");
    FileHandle file = open_shared(dir, "a");
    calls_reset();
    char bytes[20];
    u32 done;
    clock_virtual_start(0);
    platform_files->seek(file, 8);
    platform_files->read(file, bytes, 20, &done);
    write_text(file, "abc");
    platform_files->set_end(file);
    platform_files->lock(file, 999999998, 1);
    platform_files->lock(file, 999999998, 1);
    platform_clock->sleep(10);
    platform_files->unlock(file, 999999998, 1);
    platform_files->close(file);
    EXPECT_EQ(call_lines(), (Lines{ "seek 8", "read 8+20 did 2", "write 10+3", "set_end 13", "lock 999999998+1",
                                    "lock 999999998+1 failed", "sleep 10", "unlock 999999998+1", "close" }));
    EXPECT_EQ(call_lines({ FAULT_WRITE, FAULT_SLEEP }), (Lines{ "write 10+3", "sleep 10" }));
}

TEST(call_lines, names_the_files)
{
    TempDir dir;
    std::string a = dir.native("a");
    std::string b = dir.native("b");
    platform_files->create(a.c_str());
    platform_files->close(open_shared(dir, "a"));
    platform_files->rename(a.c_str(), b.c_str());
    platform_files->remove(a.c_str());
    EXPECT_EQ(call_lines(), (Lines{ "create " + a, "open " + a, "close", "rename " + a + " > " + b,
                                    "remove " + a + " failed" }));
}

TEST(call_log, tells_the_handle_and_what_was_done)
{
    TempDir dir;
    dir.put("a", "abc");
    FileHandle file = open_shared(dir, "a");
    char bytes[5];
    u32 done;
    platform_files->read(file, bytes, 5, &done);
    platform_files->close(file);
    ASSERT_EQ(call_log().size(), 3u);
    EXPECT_EQ(call_log()[0].file, file);
    EXPECT_EQ(call_log()[1].call, FAULT_READ);
    EXPECT_EQ(call_log()[1].file, file);
    EXPECT_EQ(call_log()[1].length, 5u);
    EXPECT_EQ(call_log()[1].done, 3u);
    EXPECT_TRUE(call_log()[1].ok);
}

// ---- Clock ----------------------------------------------------------------------------------------------------------

TEST(clock_virtual_start, moves_the_clock_by_sleeping_alone)
{
    clock_virtual_start(5000);
    EXPECT_EQ(platform_clock->tick_count(), 5000u);
    EXPECT_EQ(platform_clock->tick_count(), 5000u);
    platform_clock->sleep(3600000);  // an hour that takes no time
    EXPECT_EQ(platform_clock->tick_count(), 3605000u);
    EXPECT_EQ(call_counts().sleeps, 1u);
    EXPECT_EQ(call_counts().slept_ms, 3600000u);
}

TEST(clock_virtual_start, can_move_at_each_look)
{
    clock_virtual_start(100, 7);
    EXPECT_EQ(platform_clock->tick_count(), 100u);
    EXPECT_EQ(platform_clock->tick_count(), 107u);
}

TEST(clock_virtual_start, wraps_at_32_bits)
{
    clock_virtual_start(0xFFFFFFFF);
    clock_virtual_advance(3);
    EXPECT_EQ(platform_clock->tick_count(), 2u);
}

TEST(clock_virtual_stop, brings_the_real_clock_back)
{
    u32 before = native_clock.tick_count();
    clock_virtual_start(before + 1000000);
    clock_virtual_stop();
    u32 now = platform_clock->tick_count();
    EXPECT_LT(now - before, 1000000u);
    EXPECT_EQ(platform_clock->double_click_time(), native_clock.double_click_time());
}

TEST(clock_on_sleep, lets_a_test_act_in_the_midst_of_a_wait)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle holder = open_shared(dir, "a");
    FileHandle waiter = open_shared(dir, "a");
    ASSERT_EQ(platform_files->lock(holder, 10, 1), PLATFORM_OK);
    clock_virtual_start(0);
    std::vector<u32> seen;
    clock_on_sleep([&](u32 ms) {
        seen.push_back(ms);
        if (platform_clock->tick_count() == 300) platform_files->unlock(holder, 10, 1);
    });
    int attempts = 1;
    while (platform_files->lock(waiter, 10, 1) != PLATFORM_OK && attempts < 10) {
        platform_clock->sleep(100);
        attempts++;
    }
    EXPECT_EQ(attempts, 4);
    EXPECT_EQ(seen, (std::vector<u32>{ 100, 100, 100 }));
    EXPECT_EQ(call_counts().unlock, 0u);  // the one of the hook does not count
    platform_files->close(holder);
    platform_files->close(waiter);
}

// ---- Memory ---------------------------------------------------------------------------------------------------------

TEST(memory_alive, follows_every_block)
{
    u32 before = memory_alive();
    size_t bytes_before = memory_alive_bytes();
    void *first = take(10);
    void *second = take(20);
    EXPECT_EQ(memory_alive(), before + 2);
    EXPECT_EQ(memory_alive_bytes(), bytes_before + 30);
    first = platform_memory->resize(first, 100);
    EXPECT_EQ(memory_alive(), before + 2);
    EXPECT_EQ(memory_alive_bytes(), bytes_before + 120);
    give(first);
    give(second);
    give(nullptr);
    EXPECT_EQ(memory_alive(), before);
    EXPECT_EQ(memory_alive_bytes(), bytes_before);
}

TEST(memory_alive, counts_no_block_for_a_call_that_failed)
{
    u32 before = memory_alive();
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(take(), nullptr);
    EXPECT_EQ(memory_alive(), before);
}

TEST(memory_sweep, forgets_the_blocks_of_this_test)
{
    u32 before = memory_alive();
    (void)take();  // lost for good; the leak checker is told
    void *in_use = take(4);
    EXPECT_EQ(memory_sweep(), 2u);
    EXPECT_EQ(memory_alive(), before);
    memset(in_use, 0, 4);  // a block still in use stays so
    give(in_use);
    EXPECT_EQ(memory_alive(), before);
}

} // namespace zuk
