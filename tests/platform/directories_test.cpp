// What both backends have to keep to, on the native table.

#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace zuk {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// All names that a pattern finds, and the error at the end.
static Lines found_by(const std::string &pattern, u32 *end = nullptr)
{
    PlatformSearch search = 0;
    char name[PLATFORM_PATH_SIZE];
    Lines names;
    u32 error = native_directories.find_first(pattern.c_str(), &search, name);
    EXPECT_EQ(error != PLATFORM_OK, search == PLATFORM_FAILED_SEARCH);
    while (error == PLATFORM_OK) {
        names.push_back(name);
        error = native_directories.find_next(search, name);
    }
    native_directories.find_close(search);
    if (end) *end = error;
    return names;
}

static bool is_separator(char character) { return character == '/' || character == '\\'; }

TEST(native_make, makes_a_directory_once)
{
    TempDir dir;
    EXPECT_EQ(native_directories.make(dir.native("d").c_str()), PLATFORM_OK);
    EXPECT_TRUE(fs::is_directory(dir.path("d")));
    u32 again = native_directories.make(dir.native("d").c_str());
    EXPECT_TRUE(again == PLATFORM_ALREADY_EXISTS || again == PLATFORM_FILE_EXISTS) << again;
    EXPECT_EQ(native_directories.make(dir.native("none\\d").c_str()), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(native_directories.make(""), PLATFORM_PATH_NOT_FOUND);
}

TEST(native_change, goes_to_a_directory)
{
    TempDir dir;
    fs::path began_in = fs::current_path();
    EXPECT_EQ(native_directories.change(dir.native().c_str()), PLATFORM_OK);
    EXPECT_TRUE(fs::equivalent(fs::current_path(), dir.path()));
    EXPECT_NE(native_directories.change("none"), PLATFORM_OK);
    EXPECT_TRUE(fs::equivalent(fs::current_path(), dir.path()));
    fs::current_path(began_in);
}

TEST(native_temporary, ends_with_a_separator)
{
    char path[PLATFORM_PATH_SIZE];
    ASSERT_EQ(native_directories.temporary(path), PLATFORM_OK);
    EXPECT_TRUE(is_separator(path[strlen(path) - 1])) << path;
    EXPECT_TRUE(fs::is_directory(path)) << path;
}

#ifndef _WIN32
TEST(posix_temporary, goes_by_the_environment)
{
    auto kept = [](const char *variable) {
        const char *value = getenv(variable);
        return value ? std::string(value) : std::string("none");
    };
    auto put_back = [](const char *variable, const std::string &value) {
        if (value == "none") unsetenv(variable);
        else setenv(variable, value.c_str(), 1);
    };
    std::string tmpdir = kept("TMPDIR"), tmp = kept("TMP");
    char path[PLATFORM_PATH_SIZE];
    auto told = [&] { return native_directories.temporary(path) == PLATFORM_OK ? std::string(path) : std::string(); };

    setenv("TMPDIR", "/one", 1);
    setenv("TMP", "/two/", 1);
    EXPECT_EQ(told(), "/one/");
    setenv("TMPDIR", "", 1);
    EXPECT_EQ(told(), "/two/");
    unsetenv("TMPDIR");
    unsetenv("TMP");
    EXPECT_EQ(told(), "/tmp/");
    setenv("TMPDIR", ("/" + std::string(256, 'x')).c_str(), 1);
    EXPECT_EQ(told().size(), 258u);  // and a terminator are 259 of 260
    setenv("TMPDIR", ("/" + std::string(258, 'x')).c_str(), 1);
    EXPECT_EQ(native_directories.temporary(path), PLATFORM_BUFFER_OVERFLOW);

    put_back("TMPDIR", tmpdir);
    put_back("TMP", tmp);
}
#endif

TEST(native_make_temporary, makes_an_empty_file)
{
    TempDir dir;
    char path[PLATFORM_PATH_SIZE];
    ASSERT_EQ(native_directories.make_temporary(dir.native().c_str(), path), PLATFORM_OK);
    EXPECT_EQ(fs::file_size(path), 0u) << path;
    EXPECT_TRUE(fs::equivalent(fs::path(path).parent_path(), dir.path()));
}

TEST(native_make_temporary, takes_a_separator_behind_the_directory)
{
    TempDir dir;
    char path[PLATFORM_PATH_SIZE];
    ASSERT_EQ(native_directories.make_temporary((dir.native() + "\\").c_str(), path), PLATFORM_OK);
    EXPECT_TRUE(fs::exists(path)) << path;
    EXPECT_TRUE(is_separator(path[dir.native().size()])) << path;
    EXPECT_EQ(std::string(path).substr(dir.native().size() + 1, 3), "TNT") << path;
}

TEST(native_make_temporary, gives_another_name_each_time)
{
    TempDir dir;
    std::set<std::string> paths;
    for (int i = 0; i < 50; i++) {
        char path[PLATFORM_PATH_SIZE];
        ASSERT_EQ(native_directories.make_temporary(dir.native().c_str(), path), PLATFORM_OK);
        paths.insert(path);
    }
    EXPECT_EQ(paths.size(), 50u);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 50);
}

TEST(native_make_temporary, takes_a_directory_of_246_characters_and_no_longer_one)
{
    TempDir dir;
    auto named_again = [&](size_t length) {
        std::string directory = dir.native();
        while (directory.size() + 2 <= length) directory += "\\.";
        if (directory.size() < length) directory += "\\";
        return directory;
    };
    std::string room(300, '#');
    EXPECT_EQ(native_directories.make_temporary(named_again(246).c_str(), room.data()), PLATFORM_OK);
    EXPECT_TRUE(fs::exists(room.c_str())) << room;
    EXPECT_EQ(room.substr(PLATFORM_PATH_SIZE), std::string(40, '#'));
    for (size_t length = 247; length < 260; length++) {
        std::string path(300, '#'), directory = named_again(length);
        EXPECT_EQ(native_directories.make_temporary(directory.c_str(), path.data()), PLATFORM_BUFFER_OVERFLOW);
        EXPECT_EQ(path, std::string(300, '#')) << length;
    }
}

TEST(native_make_temporary, fails_without_a_directory)
{
    TempDir dir;
    dir.put("file", "");
    char path[PLATFORM_PATH_SIZE];
    EXPECT_NE(native_directories.make_temporary(dir.native("none").c_str(), path), PLATFORM_OK);
    EXPECT_NE(native_directories.make_temporary(dir.native("file").c_str(), path), PLATFORM_OK);
    EXPECT_NE(native_directories.make_temporary(std::string(300, 'x').c_str(), path), PLATFORM_OK);
}

TEST(native_find_first, lists_the_directory_itself_first_and_the_rest_in_order)
{
    TempDir dir;
    for (const char *name : { "b", "C.txt", "a.txt", ".hidden" }) dir.put(name, "");
    EXPECT_EQ(found_by(dir.native("*.*")), (Lines{ ".", "..", ".hidden", "a.txt", "b", "C.txt" }));
}

TEST(native_find_first, sorts_letters_as_capitals)
{
    TempDir dir;
    for (const char *name : { "a_", "aZ", "ab", "a-", "a^" }) dir.put(name, "");
    EXPECT_EQ(found_by(dir.native("a*.*")), (Lines{ "a-", "ab", "aZ", "a^", "a_" }));
}

TEST(native_find_first, takes_letters_in_any_case)
{
    TempDir dir;
    for (const char *name : { "one.TXT", "TWO.txt", "three.txt.bak" }) dir.put(name, "");
    EXPECT_EQ(found_by(dir.native("*.Txt")), (Lines{ "one.TXT", "TWO.txt" }));
}

TEST(native_find_first, takes_wildcards_anywhere)
{
    TempDir dir;
    for (const char *name : { "ab", "ab.c", "abab.c", "b.c" }) dir.put(name, "");
    EXPECT_EQ(found_by(dir.native("ab*.*")), (Lines{ "ab", "ab.c", "abab.c" }));
    EXPECT_EQ(found_by(dir.native("a*b.c")), (Lines{ "ab.c", "abab.c" }));
    EXPECT_EQ(found_by(dir.native("?b.c")), (Lines{ "ab.c" }));
    EXPECT_EQ(found_by(dir.native("b.c")), (Lines{ "b.c" }));
}

TEST(native_find_first, tells_what_is_missing)
{
    TempDir dir;
    u32 error = PLATFORM_OK;
    EXPECT_EQ(found_by(dir.native("*.txt"), &error), Lines{});
    EXPECT_EQ(error, PLATFORM_FILE_NOT_FOUND);
    EXPECT_EQ(found_by(dir.native("none\\*.*"), &error), Lines{});
    EXPECT_EQ(error, PLATFORM_PATH_NOT_FOUND);
}

TEST(native_find_first, finds_many_names)
{
    TempDir dir;
    Lines names;
    for (int i = 1000; i < 1300; i++) {
        names.push_back("a_rather_long_name_" + std::to_string(i) + ".txt");
        dir.put(names.back(), "");
    }
    EXPECT_EQ(found_by(dir.native("*.txt")), names);
}

TEST(native_find_next, ends_with_no_more_files)
{
    TempDir dir;
    u32 error = PLATFORM_OK;
    (void)found_by(dir.native("*.*"), &error);
    EXPECT_EQ(error, PLATFORM_NO_MORE_FILES);
}

TEST(native_find_next, of_a_failed_search_or_none_is_an_invalid_handle)
{
    for (PlatformSearch search : { PLATFORM_FAILED_SEARCH, (PlatformSearch)0 }) {
        char name[PLATFORM_PATH_SIZE] = "untouched";
        EXPECT_EQ(native_directories.find_next(search, name), PLATFORM_INVALID_HANDLE);
        EXPECT_STREQ(name, "untouched");
        native_directories.find_close(search);
    }
}

} // namespace zuk
