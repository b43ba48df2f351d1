// That the rules of reading are those of the platform is tested in profile_test.cpp; here are the bytes of an edit, and
// what no file may do.

#include "platform/profile_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zuk {
namespace {

// The text after the edit; "refused" for one that is not made.
std::string edited(const std::string &text, const std::string &key, const std::string &value,
                   const std::string &section = "General")
{
    ProfileEdit edit;
    if (!profile_edit(text.data(), text.size(), section.c_str(), key.c_str(), value.c_str(), &edit)) return "refused";
    std::string result = text.substr(0, edit.place.from);
    for (u32 i = 0; i < edit.count; i++) result.append(edit.pieces[i].text, edit.pieces[i].length);
    return result + text.substr(edit.place.to);
}

std::string value_in(const std::string &text, const char *key)
{
    char value[100];
    u32 length = profile_value(text.data(), text.size(), "General", key, value, sizeof value);
    return std::string(value, length);
}

TEST(profile_find, gives_the_place_of_the_value)
{
    std::string text = "[General]\nk = \"v w\" \n";
    TextSpan value;
    ASSERT_TRUE(profile_find(text.data(), text.size(), "General", "k", &value));
    EXPECT_EQ(text.substr(value.from, value.to - value.from), "v w");
    EXPECT_FALSE(profile_find(text.data(), text.size(), "General", "v", &value));
}

TEST(profile_find, does_not_count_blanks_around_the_names_that_it_is_given)
{
    std::string text = "[General]\nk=v\n";
    TextSpan value;
    EXPECT_TRUE(profile_find(text.data(), text.size(), " General\t", " k ", &value));
}

TEST(profile_find, does_not_count_a_mark_of_the_byte_order)
{
    EXPECT_EQ(value_in("\xef\xbb\xbf[General]\nk=v\n", "k"), "v");
    EXPECT_EQ(value_in("\n\xef\xbb\xbf[General]\nk=v\n", "k"), "");  // only in front of all
}

TEST(profile_value, ends_at_a_0)
{
    EXPECT_EQ(value_in(std::string("[General]\nk=a\0b\nz=1\n", 21), "k"), "a");
    EXPECT_EQ(value_in(std::string("[General]\nk=a\0b\nz=1\n", 21), "z"), "1");
}

TEST(profile_value, leaves_a_buffer_of_no_size_alone)
{
    char value[] = "#";
    EXPECT_EQ(profile_value("[General]\nk=v\n", 14, "General", "k", value, 0), 0u);
    EXPECT_EQ(value[0], '#');
}

TEST(profile_value, reads_no_byte_behind_the_text)
{
    std::string text = "[General]\r\nk = \"v\" \r\n[Last]\r\nz=1";
    for (size_t length = 0; length <= text.size(); length++) {
        std::vector<char> exact(text.begin(), text.begin() + (ptrdiff_t)length);  // a sanitizer sees its end
        char value[100];
        (void)profile_value(exact.data(), exact.size(), "General", "k", value, sizeof value);
        ProfileEdit edit;
        (void)profile_edit(exact.data(), exact.size(), "General", "k", "new", &edit);
        (void)profile_edit(exact.data(), exact.size(), "Other", "k", "new", &edit);
        EXPECT_LE(edit.place.to, length);
    }
}

TEST(profile_edit, keeps_every_byte_but_the_value)
{
    EXPECT_EQ(edited("; c\r\n[General]\r\n\tK  = \t old ; x \r\n\r\nnonsense\r\n", "k", "new"),
              "; c\r\n[General]\r\n\tK  = \t new \r\n\r\nnonsense\r\n");
    EXPECT_EQ(edited("[General]\nk=\"a b\"\nk=second\n", "k", "c"), "[General]\nk=c\nk=second\n");
    EXPECT_EQ(edited("[General]\nk=\nz=1\n", "k", "v"), "[General]\nk=v\nz=1\n");
    EXPECT_EQ(edited("[General]\nk\nz=1\n", "k", "v"), "[General]\nk=v\nz=1\n");
    EXPECT_EQ(edited("[General]\nk=v", "k", ""), "[General]\nk=");
}

TEST(profile_edit, adds_a_key_behind_the_last_line_of_its_section)
{
    EXPECT_EQ(edited("[General]\r\na=1\r\n\r\n \r\n[Other]\r\n", "k", "v"),
              "[General]\r\na=1\r\nk=v\r\n\r\n \r\n[Other]\r\n");
    EXPECT_EQ(edited("[General]\r\n[Other]\r\n", "k", "v"), "[General]\r\nk=v\r\n[Other]\r\n");
    EXPECT_EQ(edited("[General]\r\na=1\r\n; c\r\n", "k", "v"), "[General]\r\na=1\r\n; c\r\nk=v\r\n");
    EXPECT_EQ(edited("[General]\r\na=1", "k", "v"), "[General]\r\na=1\r\nk=v\r\n");
}

TEST(profile_edit, adds_a_key_in_front_of_all_sections)
{
    EXPECT_EQ(edited("", "k", "v", ""), "k=v\r\n");
    EXPECT_EQ(edited("[General]\r\na=1\r\n", "k", "v", " "), "k=v\r\n[General]\r\na=1\r\n");
    EXPECT_EQ(edited("a=1\n\n[General]\n", "k", "v", ""), "a=1\nk=v\r\n\n[General]\n");
    EXPECT_EQ(edited("\xef\xbb\xbf[]\r\nk=1\r\n", "k", "v", ""), "\xef\xbb\xbfk=v\r\n[]\r\nk=1\r\n");
    EXPECT_EQ(edited("k=1\r\n[]\r\nk=2\r\n", "k", "v", ""), "k=v\r\n[]\r\nk=2\r\n");
}

TEST(profile_edit, adds_a_section_at_the_end)
{
    EXPECT_EQ(edited("", "k", "v"), "[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("[Other]\r\nk=1\r\n", "k", "v"), "[Other]\r\nk=1\r\n[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("[Other]\r\nk=1", "k", "v"), "[Other]\r\nk=1\r\n[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("\xef\xbb\xbf", "k", "v"), "\xef\xbb\xbf[General]\r\nk=v\r\n");
}

TEST(profile_edit, ends_new_lines_with_both_characters_whatever_the_others_have)
{
    EXPECT_EQ(edited("[General]\na=1\n", "k", "v"), "[General]\na=1\nk=v\r\n");
    EXPECT_EQ(edited("[Other]\n", "k", "v"), "[Other]\n[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("[Other]\na=1", "k", "v"), "[Other]\na=1\r\n[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("[General]\nk=1\n", "k", "v"), "[General]\nk=v\n");    // a line that was there keeps its end
}

TEST(profile_edit, writes_names_and_values_without_blanks_around)
{
    EXPECT_EQ(edited("", " k ", "\t v w \t", " Sec tion "), "[Sec tion]\r\nk=v w\r\n");
}

TEST(profile_edit, lets_a_value_bring_in_no_line_of_its_own)
{
    EXPECT_EQ(edited("", "k", "v\r\n[Other]\r\nk=2"), "[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("", "k", "v\nz=1"), "[General]\r\nk=v\r\n");
    EXPECT_EQ(edited("", "k", "v\rz=1"), "[General]\r\nk=v\r\n");
}

TEST(profile_edit, refuses_names_that_could_not_be_found_again)
{
    for (const char *key : { "a=b", "a\nb", "a\rb", "[a]", " [a", "a\n" }) {
        EXPECT_EQ(edited("", key, "v"), "refused") << key;
    }
    EXPECT_EQ(edited("", "k", "v", "a\nb"), "refused");
    EXPECT_EQ(edited("", "k", "v", "a]b"), "[a]b]\r\nk=v\r\n");
}

} // namespace
} // namespace zuk
