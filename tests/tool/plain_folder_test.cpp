#include "tool/plain_folder.h"

#include <gtest/gtest.h>

namespace zuk::tool {

TEST(unsafe_file_name, lets_paths_below_the_folder_pass)
{
    for (const char *name : { "a", "a/b/c.txt", "..a", "a..b/c", " a" }) EXPECT_EQ(unsafe_file_name(name), "") << name;
}

TEST(unsafe_file_name, refuses_what_would_leave_it)
{
    for (const char *name : { "/etc/passwd", "..", "../a", "a/../b", "a/..", ".", "./a", "a/./b", "", "a//b", "a/" }) {
        EXPECT_NE(unsafe_file_name(name), "") << name;
    }
}

TEST(unsafe_file_name, refuses_a_nul) { EXPECT_EQ(unsafe_file_name(std::string("a\0b", 3)), "it holds a NUL"); }

TEST(clash_of_names, finds_a_file_that_is_also_a_folder)
{
    EXPECT_EQ(clash_of_names({ "a", "b/c", "b" }), "b");
    EXPECT_EQ(clash_of_names({ "a/b/c/d", "a/b" }), "a/b");
    EXPECT_EQ(clash_of_names({ "a", "ab/c", "a.b" }), "");
}

} // namespace zuk::tool
