#include "files/file.h"

#include "platform/platform.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace zuk {

// A code that no operation gives: what still holds it was not written.
constexpr u32 UNTOUCHED = 77;

// Every test begins with the error location at `file_error`, and nothing in it that an operation would give.
struct Fresh {
    TempDir dir;

    Fresh()
    {
        file_seterrorptr(&file_error);
        file_error = UNTOUCHED;
    }
    ~Fresh()
    {
        faults_stop();
        file_seterrorptr(&file_error);
        file_error = FILE_OK;
    }

    // A file with this content, open.
    FileHandle open(const std::string &content, u16 mode = FILE_RW_SHARED)
    {
        FileHandle file = file_open(dir.put("a", content), mode);
        EXPECT_NE(file, 0u);
        EXPECT_EQ(file_error, FILE_OK);
        file_error = UNTOUCHED;
        return file;
    }
};

static u32 file_calls()
{
    CallCounts counts = call_counts();
    return counts.open + counts.close + counts.read + counts.write + counts.seek + counts.tell + counts.size +
           counts.set_end + counts.create + counts.remove + counts.rename + counts.lock + counts.unlock;
}

// ---- Errors ---------------------------------------------------------------------------------------------------------

TEST(file_map_code, gives_the_code_of_each_listed_error)
{
    const struct {
        u32 code;
        std::vector<u32> errors;
    } rows[] = {
        { 0, { 0 } },
        { 2, { 18, 38 } },
        { 3, { 2, 80, 110, 183 } },
        { 4, { 4 } },
        { 5, { 5, 32, 167 } },
        { 7, { 39, 82, 112 } },
        { 9, { 3, 161 } },
    };
    for (const auto &row : rows) {
        for (u32 error : row.errors) EXPECT_EQ(file_map_code(error), row.code) << "platform error " << error;
    }
}

TEST(file_map_code, gives_1_for_every_other_error)
{
    u32 general = 0;
    for (u32 error = 0; error < 70000; error++) general += file_map_code(error) == FILE_FAILED;
    EXPECT_EQ(general, 70000u - 16u);  // 16 numbers have a row, 0 among them
    EXPECT_EQ(file_map_code(0xFFFFFFFF), FILE_FAILED);
}

TEST(file_map_code, never_gives_6_or_8)
{
    for (u32 error = 0; error < 70000; error++) {
        EXPECT_NE(file_map_code(error), 6u);
        EXPECT_NE(file_map_code(error), FILE_BAD_NUMBER);
    }
}

TEST(file_map_code, gives_3_for_a_name_that_exists)
{
    EXPECT_EQ(file_map_code(PLATFORM_FILE_EXISTS), file_map_code(PLATFORM_FILE_NOT_FOUND));
    EXPECT_EQ(file_map_code(PLATFORM_ALREADY_EXISTS), file_map_code(PLATFORM_FILE_NOT_FOUND));
}

TEST(file_map_code, gives_1_for_a_refused_lock)
{
    EXPECT_EQ(file_map_code(PLATFORM_LOCK_VIOLATION), FILE_FAILED);
    EXPECT_EQ(file_map_code(PLATFORM_NOT_LOCKED), FILE_FAILED);
    EXPECT_EQ(file_map_code(PLATFORM_LOCK_FAILED), FILE_REFUSED);
}

TEST(file_maperror, gives_the_code_of_the_last_platform_call_that_failed)
{
    Fresh fresh;
    EXPECT_EQ(file_open(fresh.dir.name("d/a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_maperror(), FILE_BAD_PATH);
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_maperror(), FILE_NOT_FOUND);

    // Neither a good call nor a refusal that asked nobody changes it.
    EXPECT_EQ(file_create(fresh.dir.name("a")), 1);
    EXPECT_EQ(file_close(0), 0);
    EXPECT_EQ(file_maperror(), FILE_NOT_FOUND);
}

TEST(file_seterrorptr, moves_the_location_of_the_plain_forms)
{
    Fresh fresh;
    u32 elsewhere = UNTOUCHED;
    file_seterrorptr(&elsewhere);
    EXPECT_EQ(file_errorptr(), &elsewhere);
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(elsewhere, FILE_NOT_FOUND);
    EXPECT_EQ(file_error, UNTOUCHED);
}

TEST(file_seterrorptr, of_null_leaves_file_error_alone)
{
    Fresh fresh;
    file_seterrorptr(nullptr);
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, UNTOUCHED);
    EXPECT_NE(file_errorptr(), &file_error);
    EXPECT_EQ(*file_errorptr(), FILE_NOT_FOUND);
}

TEST(file_seterrorptr, brings_file_error_back)
{
    Fresh fresh;
    file_seterrorptr(nullptr);
    file_seterrorptr(&file_error);
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_NOT_FOUND);
}

// ---- Both forms -----------------------------------------------------------------------------------------------------

TEST(file_forms, of_both_kinds_refuse_handle_0_with_code_1)
{
    Fresh fresh;
    char byte = 0;
    u32 error = UNTOUCHED;
    const std::function<i32()> calls[] = {
        [] { return (i32)file_close(0); },
        [&] { return file_read(0, &byte, 1); },
        [&] { return file_write(0, &byte, 1); },
        [] { return (i32)file_seek(0, 1); },
        [] { return file_size(0); },
        [] { return file_tell(0); },
        [] { return (i32)file_seteof(0, 1); },
        [] { return (i32)file_flush(0); },
        [] { return (i32)file_lock(0, 1, 1); },
        [] { return (i32)file_unlock(0, 1, 1); },
        [&] { return (i32)file_close_err(0, &error); },
        [&] { return file_read_err(0, &byte, 1, &error); },
        [&] { return file_write_err(0, &byte, 1, &error); },
        [&] { return (i32)file_seek_err(0, 1, &error); },
        [&] { return file_size_err(0, &error); },
        [&] { return file_tell_err(0, &error); },
        [&] { return (i32)file_seteof_err(0, 1, &error); },
        [&] { return (i32)file_flush_err(0, &error); },
        [&] { return (i32)file_lock_err(0, 1, 1, &error); },
        [&] { return (i32)file_unlock_err(0, 1, 1, &error); },
    };
    for (size_t i = 0; i < std::size(calls); i++) {
        bool plain = i < 10;
        error = file_error = UNTOUCHED;
        EXPECT_EQ(calls[i](), 0) << i;
        EXPECT_EQ(file_error, plain ? (u32)FILE_FAILED : UNTOUCHED) << i;
        EXPECT_EQ(error, plain ? UNTOUCHED : (u32)FILE_FAILED) << i;
    }
    EXPECT_EQ(file_calls(), 0u);
}

TEST(file_forms, with_err_do_the_same_and_write_to_their_own_word)
{
    Fresh fresh;
    u32 error = UNTOUCHED;
    char bytes[10] = {};
    Name a = fresh.dir.name("a");
    auto good = [&](bool result) {
        EXPECT_TRUE(result);
        EXPECT_EQ(error, FILE_OK);
        error = UNTOUCHED;
    };
    good(file_create_err(a, &error) == 1);
    FileHandle file = file_open_err(a, FILE_RW_SHARED, &error);
    good(file != 0);
    good(file_write_err(file, "abcdef", 6, &error) == 6);
    good(file_seek_err(file, 2, &error) == 1);
    good(file_read_err(file, bytes, 10, &error) == 4);
    EXPECT_EQ(std::string(bytes), "cdef");
    good(file_tell_err(file, &error) == 6);
    good(file_seteof_err(file, 3, &error) == 1);
    good(file_size_err(file, &error) == 3);
    good(file_flush_err(file, &error) == 1);
    good(file_lock_err(file, 50, 2, &error) == 1);
    good(file_unlock_err(file, 50, 2, &error) == 1);
    good(file_close_err(file, &error) == 1);
    EXPECT_EQ(fresh.dir.content("a"), "abc");
    good(file_delete_err(a, &error) == 1);
    EXPECT_FALSE(fresh.dir.has("a"));
    EXPECT_EQ(file_rename_err(a, fresh.dir.name("b"), &error), FILE_NOT_FOUND);
    EXPECT_EQ(error, FILE_NOT_FOUND);
    EXPECT_EQ(file_error, UNTOUCHED);
}

// ---- Names ----------------------------------------------------------------------------------------------------------

TEST(file_namehook, leaves_the_name_alone)
{
    Name name(":C:DIR/A.TXT");
    file_namehook(name);
    EXPECT_EQ(name.str(), ":C:DIR/A.TXT");
}

TEST(file_settype, leaves_the_file_alone)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "text");
    calls_reset();
    file_settype(a, Name("DICT"), Name("QREB"));
    EXPECT_EQ(file_calls(), 0u);
    EXPECT_EQ(fresh.dir.content("a"), "text");
    EXPECT_EQ(file_error, UNTOUCHED);
}

TEST(file_native_name, converts_a_copy_and_leaves_the_name)
{
    Name name(":C:DIR/A.TXT");
    u8 copy[256];
    EXPECT_STREQ(file_native_name(copy, name), "C:\\DIR\\A.TXT");
    EXPECT_EQ(name.str(), ":C:DIR/A.TXT");
}

TEST(file_native_name, of_an_empty_name_is_empty)
{
    u8 copy[256];
    EXPECT_STREQ(file_native_name(copy, Name()), "");
}

TEST(file_native_name, cuts_before_it_converts)
{
    // 127 colons behind the first character would become 254 characters; the 128th is cut off before.
    u8 copy[256];
    std::string native = file_native_name(copy, Name("A" + std::string(200, ':')));
    EXPECT_EQ(native.size(), 1u + 126 * 2);
}

// ---- Opening and closing --------------------------------------------------------------------------------------------

TEST(file_open, opens_in_the_three_modes)
{
    for (u16 mode : { FILE_RW_SHARED, FILE_READ_ONLY, FILE_RW_EXCLUSIVE }) {
        Fresh fresh;
        FileHandle file = fresh.open("text", mode);
        char bytes[4];
        EXPECT_EQ(file_read(file, bytes, 4), 4);
        EXPECT_EQ(file_write(file, "X", 1), mode == FILE_READ_ONLY ? 0 : 1);
        EXPECT_EQ(file_error, mode == FILE_READ_ONLY ? FILE_REFUSED : FILE_OK);
        EXPECT_EQ(file_close(file), 1);
    }
}

TEST(file_open, takes_the_mode_as_16_bits)
{
    Fresh fresh;
    // The number that a caller with a signed word hands in for 32768.
    FileHandle file = fresh.open("", (u16)(i16)-32768);
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_REFUSED);
    file_close(file);
}

TEST(file_open, refuses_an_unknown_mode_without_a_platform_call)
{
    Fresh fresh;
    for (u32 mode : { 1u, 2u, 16385u, 49152u, 65535u }) {
        file_error = UNTOUCHED;
        EXPECT_EQ(file_open(fresh.dir.name("missing"), (u16)mode), 0u);
        EXPECT_EQ(file_error, FILE_REFUSED);
    }
    EXPECT_EQ(file_calls(), 0u);
}

TEST(file_open, of_a_missing_file_gives_3)
{
    Fresh fresh;
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_NOT_FOUND);
    EXPECT_FALSE(fresh.dir.has("a"));
}

TEST(file_open, in_a_missing_directory_gives_9)
{
    Fresh fresh;
    EXPECT_EQ(file_open(fresh.dir.name("d/a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_BAD_PATH);
}

TEST(file_open, of_an_empty_name_gives_9)
{
    Fresh fresh;
    EXPECT_EQ(file_open(Name(), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_BAD_PATH);
}

TEST(file_open, of_a_directory_gives_5)
{
    Fresh fresh;
    EXPECT_EQ(file_open(fresh.dir.name(), FILE_READ_ONLY), 0u);
    EXPECT_EQ(file_error, FILE_REFUSED);
}

TEST(file_open, of_a_file_shared_otherwise_gives_5)
{
    Fresh fresh;
    FileHandle file = fresh.open("", FILE_READ_ONLY);
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_REFUSED);
    file_close(file);
}

TEST(file_open, with_too_many_files_gives_4)
{
    Fresh fresh;
    fresh.dir.put("a", "");
    faults_start({ .call = FAULT_OPEN, .error = PLATFORM_TOO_MANY_OPEN_FILES });
    EXPECT_EQ(file_open(fresh.dir.name("a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(file_error, FILE_TOO_MANY_OPEN);
}

TEST(file_open, leaves_the_name_alone)
{
    Fresh fresh;
    Name name = fresh.dir.put("a", "");
    std::string before = name.str();
    file_close(file_open(name, FILE_RW_SHARED));
    EXPECT_EQ(name.str(), before);
}

TEST(file_open, takes_a_relative_name_inside_a_long_directory)
{
    Fresh fresh;
    // The name that counts is the one handed in: the whole path has more than 150 characters.
    std::filesystem::path deep = fresh.dir.path();
    for (char part : { 'x', 'y' }) deep /= std::string(75, part);
    std::filesystem::create_directories(deep);
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(deep);
    EXPECT_EQ(file_create(Name("a")), 1);
    FileHandle file = file_open(Name("a"), FILE_RW_EXCLUSIVE);
    EXPECT_NE(file, 0u);
    EXPECT_EQ(file_close(file), 1);
    EXPECT_TRUE(std::filesystem::exists(deep / "a"));
    std::filesystem::current_path(before);
}

TEST(file_close, of_a_handle_closed_before_gives_1)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    EXPECT_EQ(file_close(file), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_close(file), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
}

TEST(file_close, that_fails_gives_the_code)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    faults_start({ .call = FAULT_CLOSE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(file_close(file), 0);
    EXPECT_EQ(file_error, FILE_FULL);
}

// ---- Reading and writing --------------------------------------------------------------------------------------------

TEST(file_read, reads_on_from_the_position)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcdef");
    char bytes[4];
    EXPECT_EQ(file_read(file, bytes, 4), 4);
    EXPECT_EQ(std::string(bytes, 4), "abcd");
    EXPECT_EQ(file_tell(file), 4);
    file_close(file);
}

TEST(file_read, behind_the_end_gives_no_error)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    char bytes[10];
    EXPECT_EQ(file_read(file, bytes, 10), 4);
    EXPECT_EQ(file_error, FILE_OK);
    file_error = UNTOUCHED;
    EXPECT_EQ(file_read(file, bytes, 10), 0);
    EXPECT_EQ(file_error, FILE_OK);
    file_close(file);
}

TEST(file_read, gives_minus_1_for_a_negative_count)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    calls_reset();
    char byte = 'x';
    EXPECT_EQ(file_read(file, &byte, -1), -1);
    EXPECT_EQ(file_error, FILE_BAD_NUMBER);
    EXPECT_EQ(file_read(file, &byte, INT32_MIN), -1);
    EXPECT_EQ(file_read(0, &byte, -1), 0);  // the handle is looked at first
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(file_calls(), 0u);
    file_close(file);
}

TEST(file_read, of_no_bytes_makes_no_platform_call)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    calls_reset();
    EXPECT_EQ(file_read(file, nullptr, 0), 0);
    EXPECT_EQ(file_error, FILE_OK);
    file_error = UNTOUCHED;
    EXPECT_EQ(file_read(12345, nullptr, 0), 0);  // no such file, and nobody asks
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_calls(), 0u);
    file_close(file);
}

TEST(file_read, is_one_platform_call)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    calls_reset();
    char bytes[10];
    file_read(file, bytes, 10);
    EXPECT_EQ(file_calls(), 1u);
    file_close(file);
}

TEST(file_read, that_fails_gives_0_and_the_code)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    char bytes[4];
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(file_read(file, bytes, 4), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    faults_start({ .call = FAULT_READ, .error = PLATFORM_HANDLE_EOF });
    EXPECT_EQ(file_read(file, bytes, 4), 0);
    EXPECT_EQ(file_error, FILE_END);
    faults_stop();
    file_close(file);
}

TEST(file_write, writes_on_from_the_position)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcdef");
    EXPECT_EQ(file_seek(file, 2), 1);
    EXPECT_EQ(file_write(file, "XY", 2), 2);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_tell(file), 4);
    file_close(file);
    EXPECT_EQ(fresh.dir.content("a"), "abXYef");
}

TEST(file_write, of_fewer_bytes_gives_no_error)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    faults_start({ .call = FAULT_WRITE, .cut = 2 });
    EXPECT_EQ(file_write(file, "abcd", 4), 2);
    EXPECT_EQ(file_error, FILE_OK);
    faults_stop();
    file_close(file);
}

TEST(file_write, gives_minus_1_for_a_negative_count)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    calls_reset();
    EXPECT_EQ(file_write(file, "x", -1), -1);
    EXPECT_EQ(file_error, FILE_BAD_NUMBER);
    EXPECT_EQ(file_write(0, "x", -1), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(file_calls(), 0u);
    file_close(file);
}

TEST(file_write, of_no_bytes_makes_no_platform_call)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    calls_reset();
    EXPECT_EQ(file_write(file, nullptr, 0), 0);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_calls(), 0u);
    file_close(file);
}

TEST(file_write, to_a_full_disk_gives_0_and_7)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(file_write(file, "X", 1), 0);
    EXPECT_EQ(file_error, FILE_FULL);
    faults_stop();
    file_close(file);
    EXPECT_EQ(fresh.dir.content("a"), "abcd");
}

TEST(file_write, reaches_the_platform_at_once)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    EXPECT_EQ(file_write(file, "abc", 3), 3);
    EXPECT_EQ(fresh.dir.content("a"), "abc");
    file_close(file);
}

// ---- Position and size ----------------------------------------------------------------------------------------------

TEST(file_seek, counts_from_the_start)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    EXPECT_EQ(file_seek(file, 3), 1);
    EXPECT_EQ(file_seek(file, 1), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_tell(file), 1);
    file_close(file);
}

TEST(file_seek, to_a_negative_position_gives_8_and_stays)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    file_seek(file, 3);
    EXPECT_EQ(file_seek(file, -1), 0);
    EXPECT_EQ(file_error, FILE_BAD_NUMBER);
    EXPECT_EQ(file_tell(file), 3);
    file_close(file);
}

TEST(file_seek, that_fails_gives_the_code)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    faults_start({ .call = FAULT_SEEK, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(file_seek(file, 1), 0);
    EXPECT_EQ(file_error, FILE_REFUSED);
    faults_stop();
    file_close(file);
}

TEST(file_size, leaves_the_position_alone)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    file_seek(file, 2);
    EXPECT_EQ(file_size(file), 4);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_tell(file), 2);
    file_close(file);
}

TEST(file_size, that_fails_gives_minus_1_and_the_code)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    faults_start({ .call = FAULT_SIZE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(file_size(file), -1);
    EXPECT_EQ(file_error, FILE_REFUSED);
    faults_stop();
    file_close(file);
}

TEST(file_tell, that_fails_gives_minus_1_and_the_code)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    faults_start({ .call = FAULT_TELL });
    EXPECT_EQ(file_tell(file), -1);
    EXPECT_EQ(file_error, FILE_FAILED);
    faults_stop();
    file_close(file);
}

TEST(file_seteof, makes_a_file_shorter)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcdef");
    EXPECT_EQ(file_seteof(file, 2), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_tell(file), 2);
    file_close(file);
    EXPECT_EQ(fresh.dir.content("a"), "ab");
}

TEST(file_seteof, makes_a_file_longer)
{
    Fresh fresh;
    FileHandle file = fresh.open("ab");
    EXPECT_EQ(file_seteof(file, 5), 1);
    EXPECT_EQ(file_size(file), 5);
    EXPECT_EQ(file_tell(file), 5);
    file_close(file);
}

TEST(file_seteof, at_a_negative_position_gives_8)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    EXPECT_EQ(file_seteof(file, -1), 0);
    EXPECT_EQ(file_error, FILE_BAD_NUMBER);
    EXPECT_EQ(file_size(file), 4);
    file_close(file);
}

TEST(file_seteof, that_fails_gives_the_code_of_the_step)
{
    Fresh fresh;
    FileHandle file = fresh.open("abcd");
    faults_start({ .call = FAULT_SEEK, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(file_seteof(file, 1), 0);
    EXPECT_EQ(file_error, FILE_REFUSED);
    EXPECT_EQ(call_counts().set_end, 0u);
    faults_start({ .call = FAULT_SET_END, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(file_seteof(file, 1), 0);
    EXPECT_EQ(file_error, FILE_FULL);
    faults_stop();
    file_close(file);
    EXPECT_EQ(fresh.dir.content("a"), "abcd");
}

// ---- Files by name --------------------------------------------------------------------------------------------------

TEST(file_create, makes_an_empty_file_and_closes_it)
{
    Fresh fresh;
    EXPECT_EQ(file_create(fresh.dir.name("a")), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(fresh.dir.content("a"), "");
    FileHandle file = file_open(fresh.dir.name("a"), FILE_RW_EXCLUSIVE);
    EXPECT_NE(file, 0u);
    file_close(file);
}

TEST(file_create, of_an_existing_file_gives_3)
{
    Fresh fresh;
    EXPECT_EQ(file_create(fresh.dir.put("a", "text")), 0);
    EXPECT_EQ(file_error, FILE_NOT_FOUND);
    EXPECT_EQ(fresh.dir.content("a"), "text");
}

TEST(file_create, in_a_missing_directory_gives_9)
{
    Fresh fresh;
    EXPECT_EQ(file_create(fresh.dir.name("d/a")), 0);
    EXPECT_EQ(file_error, FILE_BAD_PATH);
}

TEST(file_create, cuts_a_name_to_127_characters)
{
    Fresh fresh;
    std::string directory = fresh.dir.name("").str() + "/";
    std::string leaf(127 - directory.size(), 'x');
    Name long_name(directory + leaf + "y");  // 128 characters
    EXPECT_EQ(file_create(long_name), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_TRUE(fresh.dir.has(leaf));
    EXPECT_FALSE(fresh.dir.has(leaf + "y"));

    FileHandle file = file_open(long_name, FILE_RW_SHARED);
    EXPECT_NE(file, 0u);
    file_close(file);
    EXPECT_EQ(file_delete(Name(directory + leaf + std::string(100, 'z'))), 1);
    EXPECT_FALSE(fresh.dir.has(leaf));
}

TEST(file_delete, removes_a_file)
{
    Fresh fresh;
    EXPECT_EQ(file_delete(fresh.dir.put("a", "")), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_FALSE(fresh.dir.has("a"));
}

TEST(file_delete, of_a_missing_file_gives_3)
{
    Fresh fresh;
    EXPECT_EQ(file_delete(fresh.dir.name("a")), 0);
    EXPECT_EQ(file_error, FILE_NOT_FOUND);
}

TEST(file_delete, of_an_open_file_or_a_directory_gives_5)
{
    Fresh fresh;
    for (u16 mode : { FILE_RW_SHARED, FILE_READ_ONLY, FILE_RW_EXCLUSIVE }) {
        FileHandle file = fresh.open("text", mode);
        EXPECT_EQ(file_delete(fresh.dir.name("a")), 0);
        EXPECT_EQ(file_error, FILE_REFUSED);
        file_close(file);
    }
    EXPECT_EQ(fresh.dir.content("a"), "text");

    std::filesystem::create_directory(fresh.dir.path("d"));
    EXPECT_EQ(file_delete(fresh.dir.name("d")), 0);
    EXPECT_EQ(file_error, FILE_REFUSED);
}

TEST(file_rename, gives_the_file_its_new_name)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "text");
    Name b = fresh.dir.name("b");
    file_error = FILE_OK;
    EXPECT_EQ(file_rename(a, b), FILE_OK);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_FALSE(fresh.dir.has("a"));
    EXPECT_EQ(fresh.dir.content("b"), "text");
}

TEST(file_rename, that_succeeds_gives_the_code_of_an_earlier_failure)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "");
    Name b = fresh.dir.name("b");
    file_error = FILE_FULL;
    EXPECT_EQ(file_rename(a, b), FILE_FULL);
    EXPECT_EQ(file_error, FILE_FULL);
    EXPECT_TRUE(fresh.dir.has("b"));

    u32 error = UNTOUCHED;
    EXPECT_EQ(file_rename_err(b, a, &error), UNTOUCHED);
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_TRUE(fresh.dir.has("a"));
}

TEST(file_rename, onto_an_existing_file_gives_3)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "one");
    Name b = fresh.dir.put("b", "two");
    EXPECT_EQ(file_rename(a, b), FILE_NOT_FOUND);
    EXPECT_EQ(file_error, FILE_NOT_FOUND);
    EXPECT_EQ(fresh.dir.content("b"), "two");
}

TEST(file_rename, onto_its_own_name_is_no_failure)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "text");
    Name again = a;
    file_error = FILE_OK;
    EXPECT_EQ(file_rename(a, again), FILE_OK);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(fresh.dir.content("a"), "text");
}

TEST(file_rename, of_an_open_file_gives_5)
{
    Fresh fresh;
    FileHandle file = fresh.open("text");
    EXPECT_EQ(file_rename(fresh.dir.name("a"), fresh.dir.name("b")), FILE_REFUSED);
    EXPECT_EQ(file_error, FILE_REFUSED);
    file_close(file);
    EXPECT_TRUE(fresh.dir.has("a"));
}

TEST(file_rename, gives_both_names_back_normalised)
{
    Fresh fresh;
    // A volume without its leading colon gains it, a final dot is lost; whatever the platform answers.
    for (bool fails : { false, true }) {
        Name from("Z:DIR/A.");
        Name to("DIR/B");
        faults_start({ .call = FAULT_RENAME, .error = fails ? PLATFORM_DISK_FULL : PLATFORM_OK });
        file_rename(from, to);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(from.str(), ":Z:DIR/A");
        EXPECT_EQ(to.str(), "DIR/B");
        EXPECT_EQ(call_log().back().name, "Z:\\DIR\\A. > DIR\\B");
    }
}

TEST(file_rename, takes_names_whole)
{
    Name from(std::string(200, 'x'));
    Name to(std::string(255, 'y'));
    faults_start({ .call = FAULT_RENAME });
    file_rename(from, to);
    faults_stop();
    EXPECT_EQ(call_log().back().name, std::string(200, 'x') + " > " + std::string(255, 'y'));
    file_error = FILE_OK;
}

TEST(file_flush, only_checks_the_handle_against_0)
{
    Fresh fresh;
    EXPECT_EQ(file_flush(12345), 1);  // no such file, and nobody asks
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_flush(0), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(file_calls(), 0u);
}

// ---- Byte ranges ----------------------------------------------------------------------------------------------------

TEST(file_lock, excludes_another_handle)
{
    Fresh fresh;
    FileHandle first = fresh.open("");
    FileHandle second = file_open(fresh.dir.name("a"), FILE_RW_SHARED);
    EXPECT_EQ(file_lock(first, 999999998, 1), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_lock(second, 999999998, 1), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(file_unlock(first, 999999998, 1), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_lock(second, 999999998, 1), 1);
    file_close(first);
    file_close(second);
}

TEST(file_lock, of_what_the_handle_holds_gives_1)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    EXPECT_EQ(file_lock(file, 1000000001, 1), 1);
    EXPECT_EQ(file_lock(file, 1000000001, 1000), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    file_close(file);
}

TEST(file_lock, of_length_0_makes_no_platform_call)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    calls_reset();
    EXPECT_EQ(file_lock(file, 10, 0), 1);
    EXPECT_EQ(file_error, FILE_OK);
    file_error = UNTOUCHED;
    EXPECT_EQ(file_unlock(file, 10, 0), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(file_calls(), 0u);
    EXPECT_EQ(file_lock(0, 10, 0), 0);  // the handle is looked at first
    EXPECT_EQ(file_error, FILE_FAILED);
    file_close(file);
}

TEST(file_lock, that_fails_gives_the_code)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    faults_start({ .call = FAULT_LOCK, .error = PLATFORM_LOCK_FAILED });
    EXPECT_EQ(file_lock(file, 10, 1), 0);
    EXPECT_EQ(file_error, FILE_REFUSED);
    faults_stop();
    file_close(file);
}

TEST(file_unlock, needs_exactly_the_range)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    EXPECT_EQ(file_lock(file, 10, 4), 1);
    EXPECT_EQ(file_unlock(file, 10, 2), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(file_unlock(file, 10, 4), 1);
    EXPECT_EQ(file_error, FILE_OK);
    file_close(file);
}

TEST(file_unlock, after_a_close_and_an_open_finds_nothing_held)
{
    Fresh fresh;
    FileHandle file = fresh.open("");
    EXPECT_EQ(file_lock(file, 10, 4), 1);
    file_close(file);
    file = file_open(fresh.dir.name("a"), FILE_RW_SHARED);
    EXPECT_EQ(file_unlock(file, 10, 4), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(file_lock(file, 10, 4), 1);
    file_close(file);
}

} // namespace zuk
