#include "desktop/substitute.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

namespace zuk {

// The new text and the result. Behind 1,000 bytes for the text stands one that nobody may touch.
static std::pair<std::string, i32> substitute(const std::string &text, i16 number, const std::string &insert)
{
    char buffer[1001];
    memset(buffer, '#', sizeof buffer);
    memcpy(buffer, text.c_str(), text.size() + 1);
    i32 result = text_substitute(buffer, number, insert.c_str());
    EXPECT_EQ(buffer[1000], '#');
    return { buffer, result };
}

static std::string text_of(const std::string &text, i16 number, const std::string &insert)
{
    return substitute(text, number, insert).first;
}

TEST(substitute, has_every_operation)
{
    EXPECT_NE((void *)text_substitute, nullptr);
}

TEST(text_substitute, replaces_the_placeholder_of_its_number)
{
    EXPECT_EQ(text_of("Copy %1 to %2?", 1, "a.txt"), "Copy a.txt to %2?");
    EXPECT_EQ(text_of("Copy %1 to %2?", 2, "b.txt"), "Copy %1 to b.txt?");
    EXPECT_EQ(text_of("%0", 0, "zero"), "zero");
    EXPECT_EQ(text_of("%9", 9, "nine"), "nine");
}

TEST(text_substitute, replaces_the_first_one_alone)
{
    EXPECT_EQ(text_of("%1 %1", 1, "x"), "x %1");
    EXPECT_EQ(text_of("%1", 1, "%1"), "%1");
}

TEST(text_substitute, looks_at_each_percent_by_itself)
{
    EXPECT_EQ(text_of("50%% of %%1", 1, "x"), "50%% of %x");
    EXPECT_EQ(text_of("%%1", 1, "x"), "%x");
    EXPECT_EQ(text_of("%a%12", 1, "x"), "%ax2");
}

TEST(text_substitute, may_shorten_and_may_leave_nothing)
{
    EXPECT_EQ(substitute("a%1b", 1, ""), (std::pair<std::string, i32>{ "ab", 3 }));
    EXPECT_EQ(substitute("%1", 1, ""), (std::pair<std::string, i32>{ "", 1 }));
}

TEST(text_substitute, gives_the_length_plus_1)
{
    EXPECT_EQ(substitute("a%1b", 1, "xyz").second, 6);
    EXPECT_EQ(substitute("abc", 1, "xyz").second, 4);
    EXPECT_EQ(substitute("", 1, "xyz").second, 1);
}

TEST(text_substitute, leaves_a_text_without_the_placeholder)
{
    EXPECT_EQ(text_of("a %2 b %", 1, "xyz"), "a %2 b %");
    EXPECT_EQ(text_of("", 1, "xyz"), "");
    std::string longer(900, 'a');  // longer than any result
    EXPECT_EQ(substitute(longer, 1, "xyz"), (std::pair<std::string, i32>{ longer, 901 }));
}

TEST(text_substitute, knows_no_other_numbers_than_0_to_9)
{
    EXPECT_EQ(text_of("%:", 10, "x"), "%:");         // ':' follows '9'
    EXPECT_EQ(text_of("%/", -1, "x"), "%/");         // and '/' comes ahead of '0'
    EXPECT_EQ(text_of("%", -'0', "x"), "%");         // a NUL in the place of a digit
    EXPECT_EQ(text_of("%1", 256 + 1, "x"), "%1");
}

TEST(text_substitute, cuts_the_result_to_543_characters)
{
    std::string a(300, 'a');
    std::string b(300, 'b');
    EXPECT_EQ(substitute(a + "%1" + b, 1, "x"), (std::pair<std::string, i32>{ a + "x" + std::string(242, 'b'), 544 }));
    EXPECT_EQ(text_of(a + "%1" + "c", 1, b), a + std::string(243, 'b'));
    EXPECT_EQ(text_of(std::string(600, 'a') + "%1", 1, "x"), std::string(543, 'a'));
    // One less is whole.
    EXPECT_EQ(substitute(a + "%1", 1, std::string(243, 'b')).second, 544);
    EXPECT_EQ(substitute(a + "%1", 1, std::string(242, 'b')).second, 543);
}

TEST(text_substitute, may_insert_a_part_of_the_text_itself)
{
    char text[40] = "b %1!";
    EXPECT_EQ(text_substitute(text, 1, text), 9);
    EXPECT_STREQ(text, "b b %1!!");
}

TEST(text_substitute, gives_0_for_a_null_pointer)
{
    char text[10] = "a%1";
    EXPECT_EQ(text_substitute(nullptr, 1, "x"), 0);
    EXPECT_EQ(text_substitute(text, 1, nullptr), 0);
    EXPECT_STREQ(text, "a%1");
}

} // namespace zuk
