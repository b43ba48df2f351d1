#include "tool/messages.h"

#include <gtest/gtest.h>

namespace zuk::tool {

// What the library's statuses mean to the one who started the tool.
TEST(exit_of, follows_the_status)
{
    EXPECT_EQ(exit_of(DICT_OK), 0);
    EXPECT_EQ(exit_of(DICT_BAD_POSITION), 1);
    EXPECT_EQ(exit_of(DICT_FAILED), 2);
    EXPECT_EQ(exit_of(DICT_NOT_A_DICTIONARY), 2);
    EXPECT_EQ(exit_of(DICT_NO_ROOM), 2);
    EXPECT_EQ(exit_of(DICT_BAD_NAME), 2);
    EXPECT_EQ(exit_of(DICT_NOT_FOUND), 3);
    EXPECT_EQ(exit_of(DICT_NO_FILE), 3);
    EXPECT_EQ(exit_of(DICT_LOCKED_OUT), 4);
    EXPECT_EQ(exit_of(DICT_EXISTS), 5);
}

TEST(fail_with, names_the_thing_the_reason_and_the_status)
{
    try {
        fail_with(DICT_NOT_FOUND, "a.dic: 2/100", "there is no such module");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_STREQ(failure.what(), "a.dic: 2/100: there is no such module (status 3)");
        EXPECT_EQ(failure.exit, EXIT_NOT_FOUND);
    }
}

TEST(fail_with, has_words_for_a_status_alone)
{
    try {
        fail_with(DICT_NO_ROOM, "a.dic");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_STREQ(failure.what(), "a.dic: there is no room left (status 13)");
    }
    // The library's 9 is also that of a block that finds no place.
    EXPECT_EQ(words_of(DICT_NO_MEMORY), "there is not enough memory, or no room for another block");
}

TEST(counted, has_one_form_for_one_and_another_for_more)
{
    EXPECT_EQ(counted(1, "resource"), "1 resource");
    EXPECT_EQ(counted(0, "resource"), "0 resources");
    EXPECT_EQ(counted(2, "entry", "entries"), "2 entries");
}

} // namespace zuk::tool
