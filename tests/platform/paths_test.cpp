#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace zuk {
namespace {

using PathCall = u32 (*)(char *path, u32 size);

std::string path_by(PathCall call, u32 size = 500)
{
    std::string path(size, '#');
    u32 length = call(path.data(), size);
    EXPECT_EQ(path[length], 0);
    return path.substr(0, length);
}

u32 module_of_null(char *path, u32 size) { return native_paths.module(nullptr, path, size); }
u32 full_of_a(char *path, u32 size) { return native_paths.full("a", path, size); }

// Each gives all of a path, or nothing.
void expect_all_or_nothing(PathCall call)
{
    std::string whole = path_by(call);
    ASSERT_FALSE(whole.empty());
    EXPECT_EQ(path_by(call, (u32)whole.size() + 1), whole);
    EXPECT_EQ(path_by(call, (u32)whole.size()), "");
    EXPECT_EQ(path_by(call, 1), "");
    char untouched = '#';
    EXPECT_EQ(call(&untouched, 0), 0u);
    EXPECT_EQ(untouched, '#');
}

TEST(windows_directory_row, gives_all_of_a_path_or_nothing)
{
    expect_all_or_nothing(native_paths.windows_directory);
}

#ifndef _WIN32

// The variables that choose the directory, for the length of a test; null takes one away.
struct Variables {
    Variables(const char *zuk, const char *config, const char *home)
    {
        set("ZUK_CONFIG_DIR", zuk);
        set("XDG_CONFIG_HOME", config);
        set("HOME", home);
    }
    ~Variables()
    {
        for (const auto &[name, had, value] : before) set(name, had ? value.c_str() : nullptr, false);
    }

private:
    struct Before {
        const char *name;
        bool had;
        std::string value;
    };
    std::vector<Before> before;

    void set(const char *name, const char *value, bool remember = true)
    {
        const char *now = getenv(name);
        if (remember) before.push_back({ name, now != nullptr, now ? now : "" });
        if (value) setenv(name, value, 1);
        else unsetenv(name);
    }
};

TEST(windows_directory_row, is_that_of_the_first_variable_that_is_set)
{
    const struct {
        const char *zuk, *config, *home, *path;
    } rows[] = {
        { "/z", "/c", "/h", "/z" },
        { "rel", "/c", "/h", "rel" },                    // as somebody asked for it
        { "", "/c", "/h", "/c/zuk" },
        { nullptr, "/c", "/h", "/c/zuk" },
        { nullptr, "", "/h", "/h/.config/zuk" },
        { nullptr, "rel", "/h", "/h/.config/zuk" },      // such a variable holds a whole path or does not count
        { nullptr, nullptr, "/h", "/h/.config/zuk" },
        { nullptr, nullptr, "", "/etc/zuk" },
        { nullptr, nullptr, nullptr, "/etc/zuk" },
        { "/z//", nullptr, nullptr, "/z" },
        { "/", nullptr, nullptr, "/" },
    };
    for (const auto &row : rows) {
        Variables variables(row.zuk, row.config, row.home);
        EXPECT_EQ(path_by(native_paths.windows_directory), row.path);
    }
}

TEST(windows_directory_row, is_none_where_the_chosen_one_does_not_fit)
{
    std::string long_path = "/" + std::string(300, 'z');
    Variables variables(long_path.c_str(), "/c", "/h");
    EXPECT_EQ(path_by(native_paths.windows_directory, 255), "");
    EXPECT_EQ(path_by(native_paths.windows_directory, 302), long_path);
}

#endif

TEST(module_row, gives_all_of_a_path_or_nothing) { expect_all_or_nothing(module_of_null); }

// The static library is linked into the program of the tests.
TEST(module_row, gives_the_file_of_the_program)
{
    std::string path = path_by(module_of_null);
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path;
#ifndef _WIN32
    EXPECT_TRUE(std::filesystem::equivalent(path, "/proc/self/exe")) << path;
#endif
}

TEST(full_row, gives_all_of_a_path_or_nothing) { expect_all_or_nothing(full_of_a); }

TEST(full_row, puts_the_current_directory_in_front_of_a_relative_name)
{
    TempDir dir;
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    (void)dir.put("a", "");
    std::string path = path_by(full_of_a);
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_TRUE(std::filesystem::equivalent(path, "a")) << path;
    std::filesystem::current_path(before);
}

TEST(full_row, leaves_a_whole_name_alone)
{
    TempDir dir;
    std::string whole = dir.native("a");
    std::string path(500, '#');
    path.resize(native_paths.full(whole.c_str(), path.data(), 500));
    EXPECT_EQ(path, whole);
}

#ifndef _WIN32

TEST(full_row, joins_a_name_to_the_root)
{
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path("/");
    EXPECT_EQ(path_by(full_of_a), "/a");
    std::filesystem::current_path(before);
}

#endif

} // namespace
} // namespace zuk
