// What every backend has to keep to, asked of the native table. posix_files_test.cpp holds what is the POSIX backend's
// own, and what takes a second process.

#include "platform/file_rows.h"
#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace zuk {

struct NativeFiles : testing::Test {
    TempDir dir;

    FileHandle open_file(const std::string &name, u16 mode = PLATFORM_RW_SHARED)
    {
        FileHandle file = 0;
        EXPECT_EQ(native_files.open(dir.native(name).c_str(), mode, &file), PLATFORM_OK);
        EXPECT_NE(file, 0u);
        return file;
    }

    u32 open_error(const std::string &name, u16 mode = PLATFORM_RW_SHARED)
    {
        FileHandle file = 0;
        u32 error = native_files.open(dir.native(name).c_str(), mode, &file);
        if (error == PLATFORM_OK) native_files.close(file);
        return error;
    }

    // At most 100 bytes from the position on.
    static std::string read_on(FileHandle file)
    {
        char bytes[100];
        u32 done = 0;
        EXPECT_EQ(native_files.read(file, bytes, sizeof bytes, &done), PLATFORM_OK);
        return std::string(bytes, done);
    }

    static u32 write_on(FileHandle file, const std::string &bytes)
    {
        u32 done = 0;
        u32 error = native_files.write(file, bytes.data(), (u32)bytes.size(), &done);
        EXPECT_EQ(done, error ? 0 : bytes.size());
        return error;
    }

    static i32 position_of(FileHandle file)
    {
        i32 position = -1;
        EXPECT_EQ(native_files.tell(file, &position), PLATFORM_OK);
        return position;
    }
};

struct native_open : NativeFiles {};
struct native_close : NativeFiles {};
struct native_read : NativeFiles {};
struct native_write : NativeFiles {};
struct native_seek : NativeFiles {};
struct native_size : NativeFiles {};
struct native_set_end : NativeFiles {};
struct native_create : NativeFiles {};
struct native_remove : NativeFiles {};
struct native_rename : NativeFiles {};
struct native_lock : NativeFiles {};
struct native_unlock : NativeFiles {};

// ---- Opening and closing --------------------------------------------------------------------------------------------

TEST_F(native_open, opens_an_existing_file_in_each_mode)
{
    dir.put("a", "text");
    for (u16 mode : { PLATFORM_RW_SHARED, PLATFORM_READ_ONLY, PLATFORM_RW_EXCLUSIVE }) {
        FileHandle file = open_file("a", mode);
        EXPECT_EQ(read_on(file), "text");
        EXPECT_EQ(native_files.close(file), PLATFORM_OK);
    }
}

TEST_F(native_open, gives_each_opening_a_higher_number)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    native_files.close(first);
    FileHandle second = open_file("a");
    EXPECT_GT(second, first);
    native_files.close(second);
}

TEST_F(native_open, of_a_missing_file_creates_none)
{
    EXPECT_EQ(open_error("a"), PLATFORM_FILE_NOT_FOUND);
    EXPECT_FALSE(dir.has("a"));
}

TEST_F(native_open, tells_a_missing_directory_from_a_missing_file)
{
    EXPECT_EQ(open_error("d/a"), PLATFORM_PATH_NOT_FOUND);
}

TEST_F(native_open, of_an_empty_name_finds_no_path)
{
    FileHandle file = 0;
    EXPECT_EQ(native_files.open("", PLATFORM_RW_SHARED, &file), PLATFORM_PATH_NOT_FOUND);
}

TEST_F(native_open, refuses_a_directory)
{
    std::filesystem::create_directory(dir.path("d"));
    EXPECT_EQ(open_error("d", PLATFORM_RW_SHARED), PLATFORM_ACCESS_DENIED);
    EXPECT_EQ(open_error("d", PLATFORM_READ_ONLY), PLATFORM_ACCESS_DENIED);
}

TEST_F(native_open, refuses_an_unknown_mode)
{
    dir.put("a", "");
    EXPECT_EQ(open_error("a", 1), PLATFORM_ACCESS_DENIED);
}

// Only mode 0 goes with mode 0, and 16384 with 16384. The same between two processes: posix_files_test.cpp.
TEST_F(native_open, lets_only_two_of_the_nine_pairs_of_modes_together)
{
    dir.put("a", "");
    const u16 modes[] = { PLATFORM_RW_SHARED, PLATFORM_READ_ONLY, PLATFORM_RW_EXCLUSIVE };
    for (u16 first : modes) {
        for (u16 second : modes) {
            FileHandle file = open_file("a", first);
            bool together = first == second && first != PLATFORM_RW_EXCLUSIVE;
            EXPECT_EQ(open_error("a", second), together ? PLATFORM_OK : PLATFORM_SHARING_VIOLATION)
                << first << " then " << second;
            native_files.close(file);
            EXPECT_EQ(open_error("a", second), PLATFORM_OK) << second << " after the close of " << first;
        }
    }
}

TEST_F(native_open, without_memory_for_a_row_has_too_many_files)
{
    dir.put("a", "");
    std::vector<FileHandle> open_files;
    file_rows_resize = [](void *, size_t) -> void * { return nullptr; };
    FileHandle file = 0;
    u32 error;
    while ((error = native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file)) == PLATFORM_OK) {
        open_files.push_back(file);
    }
    file_rows_resize = realloc;
    EXPECT_EQ(error, PLATFORM_TOO_MANY_OPEN_FILES);
    for (FileHandle one : open_files) native_files.close(one);
    EXPECT_EQ(open_error("a", PLATFORM_RW_EXCLUSIVE), PLATFORM_OK);  // the refused opening left nothing behind
}

TEST_F(native_close, makes_the_number_unknown_to_every_call)
{
    dir.put("a", "text");
    FileHandle file = open_file("a");
    EXPECT_EQ(native_files.close(file), PLATFORM_OK);

    u32 done = 7;
    i32 number = 0;
    char byte = 'x';
    EXPECT_EQ(native_files.close(file), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.read(file, &byte, 1, &done), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(native_files.write(file, &byte, 1, &done), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.seek(file, 0), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.tell(file, &number), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.size(file, &number), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.set_end(file), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.lock(file, 1, 1), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(native_files.unlock(file, 1, 1), PLATFORM_INVALID_HANDLE);
    EXPECT_EQ(dir.content("a"), "text");
}

TEST_F(native_close, gives_up_the_locks_of_the_handle)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    ASSERT_EQ(native_files.lock(first, 100, 10), PLATFORM_OK);
    native_files.close(first);
    EXPECT_EQ(native_files.lock(second, 100, 10), PLATFORM_OK);
    native_files.close(second);
}

// ---- Reading and writing --------------------------------------------------------------------------------------------

TEST_F(native_read, moves_the_position_by_what_came)
{
    dir.put("a", "abcdef");
    FileHandle file = open_file("a");
    char bytes[4];
    u32 done = 0;
    EXPECT_EQ(native_files.read(file, bytes, 4, &done), PLATFORM_OK);
    EXPECT_EQ(done, 4u);
    EXPECT_EQ(position_of(file), 4);
    EXPECT_EQ(native_files.read(file, bytes, 4, &done), PLATFORM_OK);
    EXPECT_EQ(std::string(bytes, done), "ef");
    EXPECT_EQ(position_of(file), 6);
    native_files.close(file);
}

TEST_F(native_read, at_and_behind_the_end_gives_no_bytes_and_no_error)
{
    dir.put("a", "abc");
    FileHandle file = open_file("a");
    for (i32 position : { 3, 4, 2000000000 }) {
        native_files.seek(file, position);
        EXPECT_EQ(read_on(file), "");
        EXPECT_EQ(position_of(file), position);
    }
    native_files.close(file);
}

TEST_F(native_read, has_its_own_position_in_each_handle)
{
    dir.put("a", "abcdef");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    native_files.seek(first, 4);
    EXPECT_EQ(read_on(second), "abcdef");
    EXPECT_EQ(read_on(first), "ef");
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_write, puts_the_bytes_at_the_position)
{
    dir.put("a", "abcdef");
    FileHandle file = open_file("a");
    native_files.seek(file, 2);
    EXPECT_EQ(write_on(file, "XY"), PLATFORM_OK);
    EXPECT_EQ(position_of(file), 4);
    EXPECT_EQ(write_on(file, "Z"), PLATFORM_OK);
    native_files.close(file);
    EXPECT_EQ(dir.content("a"), "abXYZf");
}

TEST_F(native_write, behind_the_end_fills_the_gap_with_zeros)
{
    dir.put("a", "ab");
    FileHandle file = open_file("a");
    native_files.seek(file, 5);
    EXPECT_EQ(write_on(file, "Z"), PLATFORM_OK);
    native_files.close(file);
    EXPECT_EQ(dir.content("a"), std::string("ab\0\0\0Z", 6));
}

TEST_F(native_write, is_seen_at_once_by_another_handle)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    EXPECT_EQ(write_on(first, "news"), PLATFORM_OK);
    EXPECT_EQ(read_on(second), "news");
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_write, through_a_handle_for_reading_is_refused)
{
    dir.put("a", "abc");
    FileHandle file = open_file("a", PLATFORM_READ_ONLY);
    EXPECT_EQ(write_on(file, "X"), PLATFORM_ACCESS_DENIED);
    EXPECT_EQ(position_of(file), 0);
    native_files.close(file);
    EXPECT_EQ(dir.content("a"), "abc");
}

TEST_F(native_seek, goes_to_any_position_behind_the_end)
{
    dir.put("a", "abc");
    FileHandle file = open_file("a");
    EXPECT_EQ(native_files.seek(file, 0x7FFFFFFF), PLATFORM_OK);
    EXPECT_EQ(position_of(file), 0x7FFFFFFF);
    i32 size = -1;
    EXPECT_EQ(native_files.size(file, &size), PLATFORM_OK);
    EXPECT_EQ(size, 3);  // only a write makes the file longer
    native_files.close(file);
}

TEST_F(native_size, leaves_the_position_alone)
{
    dir.put("a", "abcdef");
    FileHandle file = open_file("a");
    native_files.seek(file, 2);
    i32 size = -1;
    EXPECT_EQ(native_files.size(file, &size), PLATFORM_OK);
    EXPECT_EQ(size, 6);
    EXPECT_EQ(position_of(file), 2);
    native_files.close(file);
}

// A file with a hole, 2 GiB and 5 bytes long, takes no room on the disk.
TEST_F(native_size, of_more_than_31_bits_gives_the_low_32)
{
    dir.put("a", "");
    FileHandle file = open_file("a");
    native_files.seek(file, 0x7FFFFFFF);
    ASSERT_EQ(native_files.set_end(file), PLATFORM_OK);
    if (write_on(file, "123456") != PLATFORM_OK) {
        native_files.close(file);
        GTEST_SKIP() << "this file system has no room for a file of 2 GiB";
    }
    i32 size = 0;
    EXPECT_EQ(native_files.size(file, &size), PLATFORM_OK);
    EXPECT_EQ((u32)size, 0x80000005u);
    EXPECT_EQ((u32)position_of(file), 0x80000005u);
    native_files.seek(file, 0x7FFFFFFF);
    EXPECT_EQ(read_on(file), "123456");
    native_files.close(file);
}

TEST_F(native_set_end, cuts_the_file_at_the_position)
{
    dir.put("a", "abcdef");
    FileHandle file = open_file("a");
    native_files.seek(file, 2);
    EXPECT_EQ(native_files.set_end(file), PLATFORM_OK);
    EXPECT_EQ(position_of(file), 2);
    native_files.close(file);
    EXPECT_EQ(dir.content("a"), "ab");
}

TEST_F(native_set_end, makes_the_file_longer_with_zeros)
{
    dir.put("a", "ab");
    FileHandle file = open_file("a");
    native_files.seek(file, 4);
    EXPECT_EQ(native_files.set_end(file), PLATFORM_OK);
    native_files.close(file);
    EXPECT_EQ(dir.content("a"), std::string("ab\0\0", 4));
}

TEST_F(native_set_end, through_a_handle_for_reading_is_refused)
{
    dir.put("a", "abc");
    FileHandle file = open_file("a", PLATFORM_READ_ONLY);
    EXPECT_EQ(native_files.set_end(file), PLATFORM_ACCESS_DENIED);
    native_files.close(file);
    EXPECT_EQ(dir.content("a"), "abc");
}

// ---- Files by name --------------------------------------------------------------------------------------------------

TEST_F(native_create, makes_an_empty_file_and_leaves_it_closed)
{
    EXPECT_EQ(native_files.create(dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_EQ(dir.content("a"), "");
    EXPECT_EQ(open_error("a", PLATFORM_RW_EXCLUSIVE), PLATFORM_OK);
}

TEST_F(native_create, never_touches_an_existing_file)
{
    dir.put("a", "text");
    EXPECT_EQ(native_files.create(dir.native("a").c_str()), PLATFORM_FILE_EXISTS);
    EXPECT_EQ(dir.content("a"), "text");
}

TEST_F(native_create, in_a_missing_directory_finds_no_path)
{
    EXPECT_EQ(native_files.create(dir.native("d/a").c_str()), PLATFORM_PATH_NOT_FOUND);
}

TEST_F(native_remove, removes_a_file)
{
    dir.put("a", "");
    EXPECT_EQ(native_files.remove(dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_FALSE(dir.has("a"));
}

TEST_F(native_remove, tells_what_is_missing)
{
    EXPECT_EQ(native_files.remove(dir.native("a").c_str()), PLATFORM_FILE_NOT_FOUND);
    EXPECT_EQ(native_files.remove(dir.native("d/a").c_str()), PLATFORM_PATH_NOT_FOUND);
}

TEST_F(native_remove, refuses_a_directory)
{
    std::filesystem::create_directory(dir.path("d"));
    EXPECT_EQ(native_files.remove(dir.native("d").c_str()), PLATFORM_ACCESS_DENIED);
    EXPECT_TRUE(dir.has("d"));
}

TEST_F(native_remove, refuses_a_file_that_is_open_in_any_mode)
{
    dir.put("a", "text");
    for (u16 mode : { PLATFORM_RW_SHARED, PLATFORM_READ_ONLY, PLATFORM_RW_EXCLUSIVE }) {
        FileHandle file = open_file("a", mode);
        EXPECT_EQ(native_files.remove(dir.native("a").c_str()), PLATFORM_SHARING_VIOLATION);
        native_files.close(file);
        EXPECT_EQ(dir.content("a"), "text");
    }
}

TEST_F(native_rename, gives_the_file_its_new_name)
{
    dir.put("a", "text");
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("b").c_str()), PLATFORM_OK);
    EXPECT_FALSE(dir.has("a"));
    EXPECT_EQ(dir.content("b"), "text");
}

TEST_F(native_rename, never_replaces_a_file)
{
    dir.put("a", "one");
    dir.put("b", "two");
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("b").c_str()), PLATFORM_ALREADY_EXISTS);
    EXPECT_EQ(dir.content("a"), "one");
    EXPECT_EQ(dir.content("b"), "two");
}

TEST_F(native_rename, tells_what_is_missing)
{
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("b").c_str()), PLATFORM_FILE_NOT_FOUND);
    EXPECT_EQ(native_files.rename(dir.native("d/a").c_str(), dir.native("b").c_str()), PLATFORM_PATH_NOT_FOUND);
    dir.put("a", "");
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("d/b").c_str()), PLATFORM_PATH_NOT_FOUND);
    EXPECT_TRUE(dir.has("a"));
}

TEST_F(native_rename, refuses_a_file_that_is_open_in_any_mode)
{
    dir.put("a", "text");
    for (u16 mode : { PLATFORM_RW_SHARED, PLATFORM_READ_ONLY, PLATFORM_RW_EXCLUSIVE }) {
        FileHandle file = open_file("a", mode);
        EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("b").c_str()), PLATFORM_SHARING_VIOLATION);
        native_files.close(file);
        EXPECT_FALSE(dir.has("b"));
    }
}

TEST_F(native_rename, onto_its_own_name_is_no_failure)
{
    dir.put("a", "one");
    std::filesystem::create_directory(dir.path("d"));
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("a").c_str()), PLATFORM_OK);
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("d/../a").c_str()), PLATFORM_OK);
    EXPECT_EQ(dir.content("a"), "one");
    EXPECT_EQ(native_files.rename(dir.native("d").c_str(), dir.native("d").c_str()), PLATFORM_OK);
    EXPECT_TRUE(dir.has("d"));
    EXPECT_EQ(native_files.rename(dir.native("b").c_str(), dir.native("b").c_str()), PLATFORM_FILE_NOT_FOUND);

    FileHandle file = open_file("a");
    EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("a").c_str()), PLATFORM_SHARING_VIOLATION);
    native_files.close(file);
}

TEST_F(native_rename, takes_a_directory_too)
{
    std::filesystem::create_directory(dir.path("d"));
    dir.put("d/a", "text");
    EXPECT_EQ(native_files.rename(dir.native("d").c_str(), dir.native("e").c_str()), PLATFORM_OK);
    EXPECT_EQ(dir.content("e/a"), "text");
}

// ---- Byte ranges ----------------------------------------------------------------------------------------------------

TEST_F(native_lock, excludes_another_handle_of_the_same_process)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    EXPECT_EQ(native_files.lock(first, 1000000001, 1000), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 1000000001, 1000), PLATFORM_LOCK_VIOLATION);
    EXPECT_EQ(native_files.lock(second, 1000000500, 1), PLATFORM_LOCK_VIOLATION);
    EXPECT_EQ(native_files.lock(second, 1000001001, 1), PLATFORM_OK);  // the first byte behind
    EXPECT_EQ(native_files.lock(second, 1000000000, 1), PLATFORM_OK);  // the last in front
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_lock, refuses_what_the_handle_holds_itself)
{
    dir.put("a", "");
    FileHandle file = open_file("a");
    EXPECT_EQ(native_files.lock(file, 1000000001, 1), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(file, 1000000001, 1), PLATFORM_LOCK_VIOLATION);
    EXPECT_EQ(native_files.lock(file, 1000000001, 1000), PLATFORM_LOCK_VIOLATION);
    EXPECT_EQ(native_files.lock(file, 1000000002, 999), PLATFORM_OK);
    native_files.close(file);
}

TEST_F(native_lock, after_a_refusal_holds_nothing_of_the_range)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    ASSERT_EQ(native_files.lock(first, 50, 1), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 0, 100), PLATFORM_LOCK_VIOLATION);
    EXPECT_EQ(native_files.unlock(second, 0, 100), PLATFORM_NOT_LOCKED);
    EXPECT_EQ(native_files.lock(first, 10, 1), PLATFORM_OK);
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_lock, takes_offsets_of_32_bits)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    EXPECT_EQ(native_files.lock(first, 0xFFFFFFFF, 0xFFFFFFFF), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 0xFFFFFFFF, 1), PLATFORM_LOCK_VIOLATION);
    EXPECT_EQ(native_files.lock(second, 0xFFFFFFFE, 1), PLATFORM_OK);
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_lock, of_length_0_locks_nothing)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    EXPECT_EQ(native_files.lock(first, 10, 0), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(first, 10, 0), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 10, 1000), PLATFORM_OK);
    EXPECT_EQ(native_files.unlock(first, 10, 0), PLATFORM_OK);
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_lock, without_memory_for_the_range_fails)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    file_rows_resize = [](void *, size_t) -> void * { return nullptr; };
    EXPECT_EQ(native_files.lock(first, 10, 1), PLATFORM_NOT_ENOUGH_MEMORY);
    file_rows_resize = realloc;
    EXPECT_EQ(native_files.lock(second, 10, 1), PLATFORM_OK);  // nothing was locked
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_lock, does_not_make_the_file_longer)
{
    dir.put("a", "abc");
    FileHandle file = open_file("a");
    ASSERT_EQ(native_files.lock(file, 1000000001, 1000), PLATFORM_OK);
    i32 size = 0;
    EXPECT_EQ(native_files.size(file, &size), PLATFORM_OK);
    EXPECT_EQ(size, 3);
    native_files.close(file);
}

TEST_F(native_unlock, lets_others_in)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    ASSERT_EQ(native_files.lock(first, 10, 5), PLATFORM_OK);
    EXPECT_EQ(native_files.unlock(first, 10, 5), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 10, 5), PLATFORM_OK);
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_unlock, needs_exactly_the_range_that_was_locked)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    ASSERT_EQ(native_files.lock(first, 10, 4), PLATFORM_OK);
    ASSERT_EQ(native_files.lock(first, 14, 4), PLATFORM_OK);
    EXPECT_EQ(native_files.unlock(first, 10, 2), PLATFORM_NOT_LOCKED);
    EXPECT_EQ(native_files.unlock(first, 10, 8), PLATFORM_NOT_LOCKED);  // two ranges do not become one
    EXPECT_EQ(native_files.unlock(first, 30, 1), PLATFORM_NOT_LOCKED);
    EXPECT_EQ(native_files.lock(second, 10, 1), PLATFORM_LOCK_VIOLATION);

    EXPECT_EQ(native_files.unlock(first, 10, 4), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 10, 4), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 14, 1), PLATFORM_LOCK_VIOLATION);
    native_files.close(first);
    native_files.close(second);
}

TEST_F(native_unlock, of_a_range_of_another_handle_is_refused)
{
    dir.put("a", "");
    FileHandle first = open_file("a");
    FileHandle second = open_file("a");
    ASSERT_EQ(native_files.lock(first, 10, 4), PLATFORM_OK);
    EXPECT_EQ(native_files.unlock(second, 10, 4), PLATFORM_NOT_LOCKED);
    EXPECT_EQ(native_files.unlock(first, 10, 4), PLATFORM_OK);
    native_files.close(first);
    native_files.close(second);
}

} // namespace zuk
