#include "tool/escape.h"

#include <gtest/gtest.h>

namespace zuk::tool {

TEST(escape, leaves_printable_ascii_alone)
{
    EXPECT_EQ(escape("A name, with \"quotes\" and ~"), "A name, with \"quotes\" and ~");
}

TEST(escape, doubles_a_backslash) { EXPECT_EQ(escape("a\\b"), "a\\\\b"); }

TEST(escape, writes_every_other_byte_in_two_upper_case_digits)
{
    EXPECT_EQ(escape(std::string("\0\t\n\x1F\x7F\x80\xFF", 7)), "\\x00\\x09\\x0A\\x1F\\x7F\\x80\\xFF");
}

TEST(unescape, takes_back_any_byte)
{
    std::string all;
    for (int byte = 0; byte < 256; byte++) all += (char)byte;
    std::string back;
    ASSERT_TRUE(unescape(escape(all), &back));
    EXPECT_EQ(back, all);
}

TEST(unescape, refuses_what_an_escape_never_writes)
{
    std::string bytes;
    for (const char *text : { "\t", "\x80", "\\", "\\x", "\\x4", "\\xff", "\\xG0", "\\n", "a\\", "\\X41" }) {
        EXPECT_FALSE(unescape(text, &bytes)) << text;
    }
}

} // namespace zuk::tool
